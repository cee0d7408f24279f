// ArmObjectFileInput: an ARM AOF object file read from an InputFile, and
// readArmFile, the loader's entry to it.
//
// An AOF file is a chunk file (see ArmUtil.h) with these chunks:
//
//   "OBJ_HEAD"  AOFObjHeader (24 bytes: object file type 0xC5E2D080,
//               version, number of areas, number of symbols, entry area,
//               entry offset), then one 20-byte header per area
//   "OBJ_AREA"  the areas' bytes, each directly followed by its relocation
//               records; zero-initialised areas have no bytes here
//   "OBJ_SYMT"  16-byte symbol records
//   "OBJ_STRT"  the string table; names are offsets from its start
//   "OBJ_IDFN"  the identification string of the producer (never read)
//
// The constructor reads everything, in the order string table, symbol table,
// object header with the areas.  Damage it cannot go on from is fatal; a
// chunk of an unknown kind is a warning.  Afterwards the object answers from
// memory: the symbols hold copies of their records, the areas their bytes.
//
// The object also keeps a 52-byte ELF file header, all zero but for e_machine
// (ARM) and e_flags, so that code that asks an object file for its ELF header
// and flags works on AOF files too.
#pragma once

#include "aof/ArmObjectFile.h"
#include "aof/ArmSection.h"
#include "aof/ArmSymbol.h"
#include "aof/ArmUtil.h"
#include "elf/ElfRecords.h"

#include <cstdint>
#include <memory>
#include <vector>

class ErrorContext;
class InputFile;

class ArmObjectFileInput : public ArmObjectFile {
public:
    // `chunkHeader` is the file's chunk file header in host order, as
    // readChunkFileHeader gave it with `swap`.
    ArmObjectFileInput(InputFile &file, ErrorContext &errorContext,
                       const ChunkFileHeader &chunkHeader, bool swap);
    ~ArmObjectFileInput() override;

    // SymbolCollection
    void each(SymbolVisitor visitor) override;
    uint32_t count() override;

    // ObjectFile
    bool isReentrant() override;
    // The areas in table order.
    void eachSection(SectionVisitor visitor) override;
    uint32_t sectionCount() override;
    uint32_t symbolCount() override;
    void eachSymbol(SymbolVisitor visitor) override;
    Elf32_Ehdr *elfHeader() override;
    bool isLittleEndian() override;

    // The symbol at `index` of the table; null at or beyond the count.
    virtual ArmSymbol *symbolAt(uint32_t index);
    // The NUL-terminated text at `offset` of the string table; null at or
    // beyond its size.
    virtual const char *stringAt(uint32_t offset);
    // A slot that answers 0.
    virtual uint32_t reservedArmOperation();
    // The area at `index` of the area table; null at or beyond the count.
    virtual ArmInputSection *areaAt(uint32_t index);
    // The first area whose name field is `offset`, or null.
    virtual ArmInputSection *areaWithNameOffset(uint32_t offset);

    // The object header in host order; all zero without "OBJ_HEAD".
    const AOFObjHeader &objectHeader() const { return header; }

private:
    // Chunk entries of the five kinds that the reader knows; all zero when
    // the file lacks the chunk.
    ChunkEntry headChunk = {};
    ChunkEntry areaChunk = {};
    ChunkEntry symbolChunk = {};
    ChunkEntry stringChunk = {};
    ChunkEntry identChunk = {};

    AOFObjHeader header = {};
    std::vector<std::unique_ptr<ArmInputSection>> areas;
    // All symbols in one block.
    std::unique_ptr<ArmSymbol[]> symbols;
    uint32_t symbolTotal = 0;
    // The string table, with one NUL added behind its last byte so that a
    // text at its end is terminated even when the file's is not.
    std::unique_ptr<char[]> strings;
    uint32_t stringTableSize = 0;
    bool littleEndian;
    bool reentrant = false;
    Elf32_Ehdr elfImage = {};

    void readChunkEntries(InputFile &file, ErrorContext &errorContext, bool swap,
                          uint32_t numChunks);
    void readStrings(InputFile &file, ErrorContext &errorContext);
    void readSymbols(InputFile &file, ErrorContext &errorContext, bool swap);
    void readObjectHeader(InputFile &file, ErrorContext &errorContext, bool swap);
};

// Reads the AOF file `file`; a file whose chunk file header cannot be read is
// fatal, as is damage that the constructor cannot go on from.
std::unique_ptr<ArmObjectFileInput> readArmFile(InputFile &file, ErrorContext &errorContext);
