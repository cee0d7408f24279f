// Elf32Reader: the lowest layer of the ELF input.  It reads the file header,
// the program and section header tables and raw blocks from an InputFile and
// turns each record into host byte order right after reading it.
//
// The reader reports nothing itself: an operation that fails returns null or
// false and leaves the reason in `status`, and the caller words the message.
// Reads that would pass the end of the input are refused as failed reads,
// and a read cut short by the end of the file fails too, so a damaged count
// or offset never leads to a huge allocation or to bytes that the file does
// not hold: the callers report such a file as damaged.
#pragma once

#include "elf/ElfRecords.h"
#include "support/FunctionRef.h"

#include <cstdint>
#include <memory>

class ErrorContext;
class FileName;
class InputFile;

// A block of string table bytes.  The block always carries one NUL behind
// its last byte, so that a table whose last string lacks its terminator still
// gives terminated strings.  Lookups take an offset that the caller has
// checked against `size`.
struct ElfStringBlock {
    const char *data = nullptr;
    uint32_t size = 0;
    bool ownsData = false;
    std::unique_ptr<char[]> storage; // the owned bytes when ownsData is set

    const char *at(uint32_t offset) const { return data + offset; }
    // A block of `size` bytes plus the guard NUL, owned by the block.
    static std::unique_ptr<ElfStringBlock> allocate(uint32_t size);
};

enum ElfReaderStatus : uint8_t {
    elfReadOk = 0,
    elfInputFailed = 1,
    elfReadFailed = 2,
    elfBadMagic = 3,
    elfSeekFailed = 4,
    elfNoMemory = 5,
};

class Elf32Reader {
public:
    InputFile *file = nullptr; // null when the input was unusable
    bool swap = false;
    bool ownsFile = false;
    Elf32_Ehdr header{};
    uint8_t status = elfReadOk;
    std::unique_ptr<Elf32_Phdr[]> programHeaders;
    std::unique_ptr<Elf32_Dyn[]> dynamicEntries;
    uint32_t dynamicCount = 0;
    std::unique_ptr<ElfStringBlock> dynamicStrings;
    bool dynamicStringsRead = false;

    explicit Elf32Reader(InputFile &input);
    // These two open the file themselves and own it.
    Elf32Reader(const char *path, ErrorContext *errorContext);
    Elf32Reader(const FileName &name, ErrorContext &errorContext);
    ~Elf32Reader();
    Elf32Reader(const Elf32Reader &) = delete;
    Elf32Reader &operator=(const Elf32Reader &) = delete;

    const FileName &fileName() const;
    void copyHeader(Elf32_Ehdr &out) const;
    bool readAt(void *buffer, uint32_t offset, uint32_t size);
    std::unique_ptr<uint8_t[]> readBlock(uint32_t offset, uint32_t size);
    // Null with status 0 when e_shnum is 0.
    std::unique_ptr<Elf32_Shdr[]> readSectionTable();
    // Null for SHT_NOBITS.
    std::unique_ptr<uint8_t[]> readSection(const Elf32_Shdr &header);
    bool readSectionInto(const Elf32_Shdr &header, void *buffer, uint32_t size);
    std::unique_ptr<uint8_t[]> readAtAddress(uint32_t address, uint32_t size);
    std::unique_ptr<Elf32_Phdr[]> copyProgramHeaders() const;
    // Visits the dynamic entries up to and including the one of tag 0.
    void eachDynamicEntry(FunctionRef<void(const Elf32_Dyn &)> visitor);
    const Elf32_Dyn *dynamicEntry(int32_t tag);
    std::unique_ptr<Elf32_Dyn[]> copyDynamicEntries();
    // The string at `offset` of the dynamic string table, "???" beyond its
    // end, null without a table.
    const char *dynamicString(uint32_t offset);

    // False, with status 2, when the range passes the end of the input.
    bool fits(uint32_t offset, uint32_t size);

    // Reads `count` records of type T at `offset` into a fresh array, in
    // file order.  The records are plain integers without padding, so the
    // bytes of the file land field by field.  Null on failure.
    template <typename T> std::unique_ptr<T[]> readRecords(uint32_t offset, uint32_t count) {
        if (count > 0xFFFFFFFFu / sizeof(T)) {
            status = elfReadFailed;
            return nullptr;
        }
        uint32_t bytes = count * static_cast<uint32_t>(sizeof(T));
        if (!fits(offset, bytes)) return nullptr;
        auto records = std::make_unique<T[]>(count);
        if (!readAt(records.get(), offset, bytes)) return nullptr;
        return records;
    }

private:
    std::unique_ptr<InputFile> ownedFile;
    void construct();
    void readDynamicEntries();
};
