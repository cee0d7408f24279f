#include "aout/BsdObjectFileInput.h"

#include "aout/BsdUtil.h"
#include "input/InputFile.h"
#include "support/endian.h"
#include "support/error.h"

#include <algorithm>
#include <cstring>

namespace {

// A string table longer than this must be backed by the symbol count: it may
// hold at most 30 bytes of names per symbol.
constexpr uint32_t plainStringLimit = 1000000;
constexpr uint32_t namesPerSymbol = 30;

} // namespace

BsdObjectFileInput::BsdObjectFileInput(InputFile &file, const BsdExecHeader &header, bool swapped,
                                       ErrorContext &errorContext)
    : BsdObjectFile(file.fileName, header), symbolTotal(header.syms / bsdNlistSize) {
    // A dynamic file has no sections; its symbols then have none either.
    if (!isSharedObject()) {
        text = std::make_unique<BsdSectionFromInput>(file, this, bsdTextId, swapped, errorContext);
        data = std::make_unique<BsdSectionFromInput>(file, this, bsdDataId, swapped, errorContext);
        bss = std::make_unique<BsdBssSection>(this, header.bss);
    }
    // 32-bit sums, as the format makes them (see BsdSectionFromInput).
    uint32_t symbolOffset =
        bsdTextOffset(header) + header.text + header.data + header.trsize + header.drsize;
    uint32_t stringOffset = symbolOffset + header.syms;
    readStrings(file, stringOffset, swapped, errorContext);
    readSymbols(file, symbolOffset, swapped, errorContext);
}

BsdObjectFileInput::~BsdObjectFileInput() = default;

void BsdObjectFileInput::readStrings(InputFile &file, uint32_t offset, bool swapped,
                                     ErrorContext &errorContext) {
    // A file that ends right at the string table has no length word; the
    // seek to the end succeeds and the read comes up short, so the bytes
    // that are missing count as zero.
    uint8_t word[4] = {};
    file.seek(offset);
    file.read(word, sizeof word);
    if (file.status & InputFile::failBit)
        errorContext.fatal("From file %O: couldn't read string table.", fileName);
    std::memcpy(&stringSize, word, sizeof stringSize);
    if (swapped) stringSize = byteSwap32(stringSize);
    if (stringSize > plainStringLimit && stringSize > uint64_t(namesPerSymbol) * symbolTotal)
        errorContext.fatal("In file %O: string table length appears to be garbage (=%lu).",
                           fileName, stringSize);

    // Any length up to the plain limit is taken, even one that runs past the
    // end of the file: the bytes beyond the end read as zeros.  A longer
    // table must be in the file, so that no length word makes the reader
    // allocate more than the file holds.
    file.seek(offset);
    uint32_t end = file.bytesInFile();
    if (stringSize > plainStringLimit && (offset > end || stringSize > end - offset))
        errorContext.fatal("In file %O: string table appears to be truncated (size=%d).", fileName,
                           stringSize);
    // The block keeps at least the length word, which a strx of 0 reads as
    // a name, and one NUL behind the table, so that a last name without its
    // own NUL ends there.
    uint32_t blockSize = std::max<uint32_t>(stringSize, sizeof word);
    stringBlock = std::make_unique<char[]>(blockSize + 1);
    std::memcpy(stringBlock.get(), word, sizeof word);
    file.read(stringBlock.get(), stringSize);
    if (file.status & InputFile::failBit)
        errorContext.fatal("In file %O: string table appears to be truncated (size=%d).", fileName,
                           stringSize);
}

void BsdObjectFileInput::readSymbols(InputFile &file, uint32_t offset, bool swapped,
                                     ErrorContext &errorContext) {
    // The entries must all be in the file before anything is allocated for
    // them: only a header whose sums wrap can ask for more.
    file.seek(offset);
    uint32_t end = file.bytesInFile();
    if ((file.status & InputFile::failBit) || offset > end ||
        uint64_t(symbolTotal) * bsdNlistSize > end - offset)
        errorContext.fatal("In file %O: symbol table appears to be truncated.", fileName);
    auto entries = std::make_unique<BsdNlist[]>(symbolTotal);
    for (uint32_t i = 0; i < symbolTotal; ++i) {
        uint8_t raw[bsdNlistSize];
        file.read(raw, sizeof raw);
        entries[i] = decodeBsdNlist(raw);
    }
    if (swapped) swapBsdNlists(entries.get(), symbolTotal);

    for (uint32_t i = 0; i < symbolTotal; ++i)
        if (entries[i].strx >= stringSize)
            errorContext.fatal("In file %O: nlist entry #%u has a bad string table index(=%ld)",
                               fileName, i, entries[i].strx);

    symbols = std::make_unique<BsdSymbol[]>(symbolTotal);
    for (uint32_t i = 0; i < symbolTotal; ++i) {
        BsdNlist &entry = entries[i];
        // Values in the file are addresses of the unlinked image; a symbol
        // keeps its offset in its own section.
        switch (entry.type & bsdTypeMask) {
        case bsdData:
            entry.value -= header.text;
            break;
        case bsdBss:
            entry.value -= header.text + header.data;
            break;
        default:
            break;
        }
        symbols[i].place(entry, stringBlock.get() + entry.strx, this);
    }
}

uint32_t BsdObjectFileInput::symbolCount() {
    return symbolTotal;
}

Symbol *BsdObjectFileInput::symbolAt(uint32_t index) {
    return index < symbolTotal ? &symbols[index] : nullptr;
}

std::unique_ptr<BsdObjectFileInput> readBsdFile(InputFile &file, ErrorContext &errorContext) {
    BsdExecHeader header;
    bool swapped = false;
    if (!readBsdHeader(file, header, swapped))
        errorContext.fatal("File %O appears unreadable or badly truncated", &file.fileName);
    if (header.machine != bsdSparcMachine)
        errorContext.fatal("File %O: not a  SPARC object file. Others not yet supported",
                           &file.fileName);
    return std::make_unique<BsdObjectFileInput>(file, header, swapped, errorContext);
}
