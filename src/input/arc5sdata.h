// arc5sdata: the layout of the small-data section of an ARC-A5 link.
//
// An ARC-A5 instruction reaches small data through a base register with a
// short offset that is scaled by the access width: word accesses reach from
// -0x400 to 0x3FF around the base, half-word accesses from -0x200 to 0x1FF,
// byte accesses only from -0x100 to 0xFF.  A .sdata of more than 0x200 bytes
// is therefore laid out anew: the input sections that are reached by byte
// lie in the middle, the half-word ones on both sides of them, the word ones
// at both ends, and the sections that no small-data relocation reaches go
// behind everything.  The base is then placed so that as many of the
// accesses as possible are within reach.  The relocation handlers report any
// access that still is not.
#pragma once

#include <cstdint>

class ElfOutputSection;
class ObjectFile;

// Reorders the members of `smallData` (the output file's .sdata) by the
// narrowest small-data access that each receives from any relocation of
// `output`, and stores in `base` the offset of the small-data base inside
// the section.  A section of at most 0x200 bytes keeps its layout.
void remapSmallData(ElfOutputSection &smallData, ObjectFile &output, uint32_t &base);
