#include "elf/Elf32Reader.h"

#include "elf/Elf32Util.h"
#include "input/InputFile.h"

#include <cstring>

std::unique_ptr<ElfStringBlock> ElfStringBlock::allocate(uint32_t size) {
    auto block = std::make_unique<ElfStringBlock>();
    block->storage = std::make_unique<char[]>(size_t(size) + 1);
    block->storage[size] = '\0';
    block->data = block->storage.get();
    block->size = size;
    block->ownsData = true;
    return block;
}

Elf32Reader::Elf32Reader(InputFile &input) : file(&input) {
    construct();
}

Elf32Reader::Elf32Reader(const char *path, ErrorContext *errorContext)
    : ownedFile(std::make_unique<InputFile>(path, errorContext)) {
    file = ownedFile.get();
    ownsFile = true;
    construct();
}

Elf32Reader::Elf32Reader(const FileName &name, ErrorContext &errorContext)
    : ownedFile(std::make_unique<InputFile>(name, errorContext)) {
    file = ownedFile.get();
    ownsFile = true;
    construct();
}

Elf32Reader::~Elf32Reader() = default;

void Elf32Reader::construct() {
    if (file->status & InputFile::failBit) {
        file = nullptr;
        status = elfInputFailed;
        return;
    }
    if (!readAt(&header, 0, sizeof header)) {
        status = elfReadFailed;
        return;
    }
    if (!Elf32Util::isElfMagic(header)) {
        status = elfBadMagic;
        return;
    }
    swap = Elf32Util::needsSwap(header);
    if (swap) Elf32Util::swap(header);
    if (header.e_phnum == 0) return;
    programHeaders = readRecords<Elf32_Phdr>(header.e_phoff, header.e_phnum);
    if (!programHeaders) {
        status = elfReadFailed;
        return;
    }
    if (swap)
        for (uint32_t i = 0; i < header.e_phnum; ++i)
            Elf32Util::swap(programHeaders[i]);
}

const FileName &Elf32Reader::fileName() const {
    return file->fileName;
}

void Elf32Reader::copyHeader(Elf32_Ehdr &out) const {
    out = header;
}

bool Elf32Reader::fits(uint32_t offset, uint32_t size) {
    // Bytes past the end of the input are not the file's: a table or a
    // section that reaches there is damaged, and reading it fails.  The end
    // is where the file really ends, which for a library member that claims
    // more than the library holds lies before the end of its window.
    uint32_t end = file ? file->bytesInFile() : 0;
    if (!file || offset > end || size > end - offset) {
        status = elfReadFailed;
        return false;
    }
    return true;
}

bool Elf32Reader::readAt(void *buffer, uint32_t offset, uint32_t size) {
    if (!fits(offset, size)) return false;
    if (file->seek(offset) < 0) {
        status = elfSeekFailed;
        return false;
    }
    // A window may claim more bytes than the file holds (a library member
    // whose header says so): a short read there is damage as well.
    file->read(buffer, size);
    if (file->status & (InputFile::failBit | InputFile::badBit | InputFile::eofBit)) {
        status = elfReadFailed;
        return false;
    }
    return true;
}

std::unique_ptr<uint8_t[]> Elf32Reader::readBlock(uint32_t offset, uint32_t size) {
    // The size is checked against the input before anything is allocated.
    if (!fits(offset, size)) return nullptr;
    auto block = std::make_unique<uint8_t[]>(size);
    if (!readAt(block.get(), offset, size)) return nullptr;
    return block;
}

std::unique_ptr<Elf32_Shdr[]> Elf32Reader::readSectionTable() {
    status = elfReadOk;
    if (header.e_shnum == 0) return nullptr;
    auto table = readRecords<Elf32_Shdr>(header.e_shoff, header.e_shnum);
    if (table && swap)
        for (uint32_t i = 0; i < header.e_shnum; ++i)
            Elf32Util::swap(table[i]);
    return table;
}

std::unique_ptr<uint8_t[]> Elf32Reader::readSection(const Elf32_Shdr &h) {
    if (h.sh_type == SHT_NOBITS) return nullptr;
    return readBlock(h.sh_offset, h.sh_size);
}

bool Elf32Reader::readSectionInto(const Elf32_Shdr &h, void *buffer, uint32_t size) {
    uint32_t count = h.sh_size < size ? h.sh_size : size;
    if (h.sh_type == SHT_NOBITS) {
        memset(buffer, 0, count);
        return true;
    }
    return readAt(buffer, h.sh_offset, count);
}

std::unique_ptr<uint8_t[]> Elf32Reader::readAtAddress(uint32_t address, uint32_t size) {
    if (!programHeaders) return nullptr;
    for (uint32_t i = 0; i < header.e_phnum; ++i) {
        const Elf32_Phdr &p = programHeaders[i];
        if (p.p_type != PT_LOAD || p.p_vaddr > address || address - p.p_vaddr >= p.p_filesz)
            continue;
        uint32_t inSegment = address - p.p_vaddr;
        if (size > p.p_filesz - inSegment) {
            status = elfReadFailed;
            return nullptr;
        }
        if (inSegment > 0xFFFFFFFFu - p.p_offset) {
            status = elfReadFailed;
            return nullptr;
        }
        return readBlock(inSegment + p.p_offset, size);
    }
    return nullptr;
}

std::unique_ptr<Elf32_Phdr[]> Elf32Reader::copyProgramHeaders() const {
    if (!programHeaders) return nullptr;
    auto copy = std::make_unique<Elf32_Phdr[]>(header.e_phnum);
    std::copy(programHeaders.get(), programHeaders.get() + header.e_phnum, copy.get());
    return copy;
}

void Elf32Reader::readDynamicEntries() {
    if (dynamicEntries || !programHeaders) return;
    // Every PT_DYNAMIC segment is read in table order; the last one stays.
    for (uint32_t i = 0; i < header.e_phnum; ++i) {
        const Elf32_Phdr &p = programHeaders[i];
        if (p.p_type != PT_DYNAMIC) continue;
        uint32_t count = p.p_filesz / sizeof(Elf32_Dyn);
        auto entries = readRecords<Elf32_Dyn>(p.p_offset, count);
        if (!entries) continue;
        // The entry of tag 0 ends the table and stays as the file has it.
        if (swap) {
            for (uint32_t e = 0; e < count; ++e) {
                if (entries[e].d_tag == DT_NULL) break;
                Elf32Util::swap(entries[e]);
            }
        }
        dynamicEntries = std::move(entries);
        dynamicCount = count;
    }
}

void Elf32Reader::eachDynamicEntry(FunctionRef<void(const Elf32_Dyn &)> visitor) {
    readDynamicEntries();
    for (uint32_t i = 0; i < dynamicCount; ++i) {
        visitor(dynamicEntries[i]);
        if (dynamicEntries[i].d_tag == DT_NULL) break;
    }
}

const Elf32_Dyn *Elf32Reader::dynamicEntry(int32_t tag) {
    readDynamicEntries();
    for (uint32_t i = 0; i < dynamicCount; ++i)
        if (dynamicEntries[i].d_tag == tag) return &dynamicEntries[i];
    return nullptr;
}

std::unique_ptr<Elf32_Dyn[]> Elf32Reader::copyDynamicEntries() {
    readDynamicEntries();
    auto copy = std::make_unique<Elf32_Dyn[]>(dynamicCount);
    std::copy(dynamicEntries.get(), dynamicEntries.get() + dynamicCount, copy.get());
    return copy;
}

const char *Elf32Reader::dynamicString(uint32_t offset) {
    if (!dynamicStringsRead) {
        dynamicStringsRead = true;
        uint32_t address = 0;
        uint32_t size = 0;
        eachDynamicEntry([&](const Elf32_Dyn &entry) {
            if (entry.d_tag == DT_STRTAB)
                address = entry.d_val;
            else if (entry.d_tag == DT_STRSZ)
                size = entry.d_val;
        });
        if (address != 0) {
            auto bytes = readAtAddress(address, size);
            if (bytes) {
                dynamicStrings = ElfStringBlock::allocate(size);
                memcpy(dynamicStrings->storage.get(), bytes.get(), size);
            }
        }
    }
    if (!dynamicStrings) return nullptr;
    return offset < dynamicStrings->size ? dynamicStrings->at(offset) : "???";
}
