// BsdUtil: the byte work of the a.out reader.  A file is read raw; a file
// whose magic number reads reversed in host order was written in the other
// byte order, and its header and nlist entries are swapped right after they
// are read.  Single bytes (machine, type, other) never move.
#pragma once

#include "aout/BsdRecords.h"

#include <cstdint>

class InputFile;

// Swaps magic and the seven size words, and moves the dynamic bit of a
// big-endian header (the top bit of byte 0) to bit 0, the tool version to
// bits 1 to 7.
void swapBsdHeader(BsdExecHeader &header);

// Swaps strx, desc and value of each entry; type and other stay.
void swapBsdNlists(BsdNlist *entries, uint32_t count);

// The header of the file laid out into fields, as stored (not swapped).
BsdExecHeader decodeBsdHeader(const uint8_t *raw);

// One nlist entry laid out into fields, as stored.
BsdNlist decodeBsdNlist(const uint8_t *raw);

// Reads the exec header at offset 0 into host order.  False when the read
// fails (failBit: the file could not be opened or positioned).  A file
// shorter than a header reads as if padded with zeros.  `swapped` says
// whether the file's order differs from the host's.
bool readBsdHeader(InputFile &file, BsdExecHeader &header, bool &swapped);
