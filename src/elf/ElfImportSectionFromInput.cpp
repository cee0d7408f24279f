#include "elf/ElfImportSectionFromInput.h"

#include "elf/Elf32Reader.h"
#include "elf/Elf32Util.h"
#include "elf/ElfSymtabSection.h"
#include "support/botch.h"
#include "support/error.h"

namespace {

constexpr uint32_t recordSize = 16;
constexpr uint32_t wordsPerRecord = 4;

} // namespace

ElfImportSectionFromInput::ElfImportSectionFromInput(const char *name, Elf32Reader &reader,
                                                     ElfStrtabSection *stringTable,
                                                     const Elf32_Shdr &header,
                                                     ElfObjectFile *objectFile,
                                                     ErrorContext &errorContext)
    : ElfSection(name, header, objectFile), count(fileSize() >> 4), stringTable(stringTable) {
    if (header.sh_entsize != recordSize)
        errorContext.warning("\"%O\", section %s: `entsize' is %d, but should be %d", fileName(),
                             name, header.sh_entsize, recordSize);
    if (count == 0) {
        errorContext.warning("\"%O\", section %s has no entries.", fileName(), name);
        return;
    }
    reader.status = elfReadOk;
    records = reader.readRecords<uint32_t>(header.sh_offset, count * wordsPerRecord);
    if (!records || reader.status != elfReadOk) {
        errorContext.error("Can't read section %s in %O", name, fileName());
        records.reset();
        return;
    }
    if (reader.swap)
        for (uint32_t i = 0; i < count * wordsPerRecord; ++i)
            Elf32Util::swapField(records[i]);
    if (!stringTable) return;
    uint32_t size = stringTable->size();
    for (uint32_t entry = 0; entry < count; ++entry) {
        const uint32_t *record = &records[entry * wordsPerRecord];
        if (record[1] >= size)
            errorContext.error("\"%O\", section %s - %Cname field of entry #%d is not a valid "
                               "string table index: %d",
                               fileName(), name, entry, record[1]);
        uint32_t type = record[2] >> 24;
        uint32_t dll = record[2] & 0xFFFFFF;
        if (type != 1)
            errorContext.error("\"%O\", section %s - %Ctype field of entry #%d is %d, but should "
                               "be %d",
                               fileName(), name, entry, type, 1);
        else if (dll >= size)
            errorContext.error("\"%O\", section %s - %CDLL field of entry #%d is not a valid "
                               "string table index: %d",
                               fileName(), name, entry, dll);
    }
}

ElfImportSectionFromInput::~ElfImportSectionFromInput() = default;

bool ElfImportSectionFromInput::isValid() {
    return count == 0 || records != nullptr;
}

ElfImportSectionFromInput *ElfImportSectionFromInput::asImportSection() {
    return this;
}

void ElfImportSectionFromInput::eachRawDataChunk(RawDataChunkVisitor visitor) {
    if (records)
        visitor(0, count * recordSize, reinterpret_cast<uint8_t *>(records.get()), nullptr);
}

ImportEntry ElfImportSectionFromInput::importAt(uint32_t offset) {
    if (offset % recordSize != 0 || offset >= size())
        botch("\"%O\": Invalid offset into %s section: 0x%lx", fileName(), sectionName, offset);
    // Without records or strings (a damaged section) the entry is empty.
    if (!records || offset / recordSize >= count) return ImportEntry{0, "???", "???"};
    const uint32_t *record = &records[offset / recordSize * wordsPerRecord];
    const char *name = stringTable ? stringTable->stringAt(record[1]) : "???";
    const char *dll = stringTable ? stringTable->stringAt(record[2] & 0xFFFFFF) : "???";
    return ImportEntry{record[0], name, dll};
}
