#include "coff/CoffObjectFileInput.h"

#include "coff/CoffSection.h"
#include "input/InputFile.h"
#include "support/botch.h"
#include "support/error.h"

#include <cstring>

namespace {

constexpr uint32_t copyReference = 0x80000000u; // top bit: a name copy
constexpr uint32_t noText = 0xFFFFFFFFu;        // a name that has no text
constexpr uint32_t copySize = 9;                // 8 characters and a NUL

const char emptyText[] = "";

} // namespace

CoffObjectFileInput::CoffObjectFileInput(InputFile &file, ErrorContext &errors, Args *args)
    : CoffObjectFileRep(file.fileName, CoffFileHeader{}) {
    bool swap = false;
    if (!CoffUtil::readCoffHeader(file, header, swap))
        errors.fatal("COFF file %O appears unreadable or badly truncated", fileName);

    if ((header.f_flags & coffExecutable) && header.f_opthdr != 0) {
        CoffOptionalHeader optional{};
        file.seek(coffFileHeaderSize);
        file.readCount(&optional, sizeof optional);
        if (swap) CoffUtil::swapOptionalHeader(optional);
        entryPoint = optional.entry;
    }

    // A table that the file cannot hold whole is refused like one that lies
    // beyond it: a damaged count makes no section objects out of nothing.
    uint32_t sectionTotal = header.f_nscns;
    uint32_t tableAt = coffFileHeaderSize + uint32_t(header.f_opthdr);
    file.seek(tableAt);
    uint32_t end = file.bytesInFile();
    bool fits = tableAt <= end && sectionTotal <= (end - tableAt) / coffSectionHeaderSize;
    if ((file.status & InputFile::failBit) || !fits)
        errors.fatal("Not able to read section table of %O", fileName);
    auto rawSections = std::make_unique<CoffSectionHeader[]>(sectionTotal);
    for (uint32_t i = 0; i < sectionTotal; ++i)
        file.readCount(&rawSections[i], coffSectionHeaderSize);

    sections.reserve(sectionTotal);
    for (uint32_t i = 0; i < sectionTotal; ++i) {
        if (swap) CoffUtil::swapSectionHeader(rawSections[i]);
        sections.push_back(
            std::make_unique<CoffInputSection>(file, swap, errors, rawSections[i], *this, args));
    }

    std::unique_ptr<struct syment[]> table =
        CoffUtil::readCoffSymbolsAndStrings(file, header, errors, swap, strings);
    setSymbolTable(std::move(table), header.f_nsyms);
    normalise(errors);
}

CoffObjectFileInput::~CoffObjectFileInput() = default;

CoffInputSection *CoffObjectFileInput::inputSectionAt(int32_t number) {
    // Every section of a file read here is a CoffInputSection.
    return static_cast<CoffInputSection *>(sectionAt(number));
}

void CoffObjectFileInput::normalise(ErrorContext &errors) {
    uint32_t count = entryCount;
    // The copies of full 8-byte names go into one block, counted first so
    // that it never moves: a COMDAT section keeps a pointer into it.
    uint32_t copies = 0;
    for (uint32_t i = 0; i < count; i += 1u + entries[i].numaux) {
        if (CoffUtil::get32(entries[i].name) != 0 && entries[i].name[7] != '\0') ++copies;
        if (count - i <= entries[i].numaux) break;
    }
    nameCopyBytes = copies * copySize;
    if (copies) nameCopies = std::make_unique<char[]>(nameCopyBytes);
    uint32_t copied = 0;

    uint32_t sectionTotal = uint32_t(sections.size());
    for (uint32_t i = 0; i < count; i += 1u + entries[i].numaux) {
        struct syment &e = entries[i];
        if (CoffUtil::get32(e.name) == 0) {
            uint32_t offset = CoffUtil::get32(e.name + 4);
            uint32_t reference = offset;
            if (offset >= strings.size) {
                errors.error("Symbol table entry #%d of %O has garbage name (%d>=%d)", int32_t(i),
                             fileName, int32_t(offset), int32_t(strings.size));
                reference = noText;
            }
            CoffUtil::put32(e.name + 4, reference);
        } else if (e.name[7] != '\0') {
            char *copy = nameCopies.get() + size_t(copied) * copySize;
            std::memcpy(copy, e.name, 8);
            copy[8] = '\0';
            CoffUtil::put32(e.name, 0);
            CoffUtil::put32(e.name + 4, copyReference | (copied * copySize));
            ++copied;
        }

        if (e.scnum > 0) {
            if (uint32_t(e.scnum) > sectionTotal) {
                errors.error("Symbol table entry #%d of %O has garbage scnum member(=%d)",
                             int32_t(i), fileName, int32_t(e.scnum));
            } else {
                CoffInputSection *defining = inputSectionAt(e.scnum);
                e.value -= defining->inputAddress();
                // An i386 COMDAT section is named after the first symbol,
                // other than a static one, that the file defines in it.
                if (header.f_magic == coffMagicI386 &&
                    (defining->header.s_flags & coffSectionComdat) && e.sclass != coffClassStatic) {
                    const char *text = symbolName(i);
                    if (defining->isComdat())
                        errors.error("Symbol table entry #%d (%s) of %O%Cis defined in COMDAT "
                                     "section, but is not the first definition.",
                                     int32_t(i), text, fileName);
                    else
                        defining->setComdatName(text);
                }
            }
        }
        if (count - i <= e.numaux) break;
    }
}

uint32_t CoffObjectFileInput::entry() {
    return entryPoint;
}

const char *CoffObjectFileInput::stringAt(uint32_t offset) {
    if (offset >= strings.size) return nullptr;
    // Past the bytes that the file held, a name has no text.
    return offset < strings.held ? strings.bytes.get() + offset : emptyText;
}

const char *CoffObjectFileInput::referencedText(uint32_t reference) {
    if (reference == noText) return emptyText;
    if (reference & copyReference) {
        uint32_t at = reference & ~copyReference;
        // Only references made by the reader reach here from a symbol
        // entry; an auxiliary slot asked for as a name may hold anything.
        if (at >= nameCopyBytes || at % copySize != 0) return emptyText;
        return nameCopies.get() + at;
    }
    const char *text = stringAt(reference);
    return text ? text : emptyText;
}

const char *CoffObjectFileInput::symbolName(uint32_t index) {
    if (index >= entryCount) botch("CoffObjectFileInput::symbolName(%d >= %d)", index, entryCount);
    struct syment &e = entries[index];
    if (CoffUtil::get32(e.name) == 0) return referencedText(CoffUtil::get32(e.name + 4));
    // A symbol entry's name is NUL-terminated by now; an auxiliary slot
    // may not be.
    if (!std::memchr(e.name, 0, sizeof e.name)) return emptyText;
    return e.name;
}

std::unique_ptr<CoffObjectFileInput> readCoffFile(InputFile &file, ErrorContext &errors, bool nt,
                                                  Args *args) {
    // NT objects differ from System V COFF only by their magics, which the
    // reader looks at where they matter.
    (void)nt;
    auto object = std::make_unique<CoffObjectFileInput>(file, errors, args);
    if (object->header.f_flags & coffRelocationsStripped)
        errors.error("Input COFF file %O has its relocation information stripped.",
                     object->fileName);
    return object;
}
