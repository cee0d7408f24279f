#include "input/FileIdentity.h"

#include "archive/Archive.h"
#include "elf/Elf32Reader.h"
#include "elf/Elf32Util.h"
#include "input/EachArchiveObject.h"
#include "support/endian.h"
#include "support/errors.h"

#include <cstring>

namespace {

constexpr uint32_t probeSize = 32;

// Text is what an editor would show: tab, new line, vertical tab, form
// feed, carriage return and the visible ASCII characters.
bool isPrintable(const uint8_t *bytes, uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) {
        uint8_t c = bytes[i];
        if (!((c >= 0x09 && c <= 0x0D) || (c >= 0x20 && c <= 0x7E))) return false;
    }
    return true;
}

uint16_t bigEndian16(const uint8_t *p) {
    return uint16_t(p[0] << 8 | p[1]);
}
uint16_t littleEndian16(const uint8_t *p) {
    return uint16_t(p[1] << 8 | p[0]);
}
uint32_t bigEndian32(const uint8_t *p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

bool isAoutMagic(const uint8_t *b) {
    uint16_t magic = bigEndian16(b + 2);
    return (magic == 0x107 || magic == 0x108 || magic == 0x10B) && b[1] <= 3;
}

bool isNewerCoffMagic(const uint8_t *b) {
    uint16_t v = littleEndian16(b);
    uint16_t exchanged = byteSwap16(v);
    return v == 0x14C || v == 0x166 || v == 0x184 || v == 0x1F0 || exchanged == 0x268 ||
           exchanged == 0x290;
}

bool isOlderCoffMagic(const uint8_t *b) {
    int32_t w = bigEndian16(b);
    // A high byte beyond 1 cannot begin a magic of this family in big-endian
    // order: the file is little-endian, so read the number the other way.
    if (b[0] & 0xFE) w = int16_t(littleEndian16(b));
    return w >= 0x142 && w <= 0x17F;
}

Processor *elfProcessor(uint32_t machine, uint32_t flags) {
    switch (machine) {
    case 2:
        return &Processor::sparc();
    case 3:
    case 6:
        return &Processor::iX86();
    case 4:
        return &Processor::mc680x0();
    case 7:
        return &Processor::i860();
    case 8:
        return &Processor::mips();
    case 0x0B:
    case 0x11:
    case 0x14:
        return (flags & 0x80000000u) ? &Processor::powerPCEmbedded(machine)
                                     : &Processor::powerPC(machine);
    case 0x28:
        return &Processor::arm();
    case 0x2D:
        return &Processor::arc();
    case 0x5D:
        return &Processor::arcA5();
    case 0x5F:
        return &Processor::videoCore();
    case 0x63:
        return &Processor::pjc();
    case 0x9999:
        return &Processor::ilMachine();
    default:
        return nullptr;
    }
}

void identifyElfTarget(FileIdentity &id, InputFile &file, const uint8_t *probe) {
    // The byte order by EI_DATA alone; a value other than 1 or 2 says
    // nothing, and the file is then taken in the host's order.
    uint8_t data = probe[5];
    id.byteSwapped = (data == 1 && !hostIsLittleEndian) || (data == 2 && hostIsLittleEndian);
    // The reader says nothing of its own: a short or damaged header leaves
    // the magic unread and the target unknown.
    Elf32Reader reader(file);
    if (!Elf32Util::isElfMagic(reader.header)) return;
    uint16_t machine = reader.header.e_machine;
    uint32_t flags = reader.header.e_flags;
    // The reader may have taken a meaningless EI_DATA the other way round.
    if (reader.swap != id.byteSwapped) {
        machine = byteSwap16(machine);
        flags = byteSwap32(flags);
    }
    id.machine = machine;
    id.processor = elfProcessor(machine, flags);
}

void identifyAoutTarget(FileIdentity &id, InputFile &file) {
    uint8_t machine = 0;
    file.seek(1);
    file.read(&machine, 1);
    id.machine = machine;
    id.processor = machine == 3   ? &Processor::sparc()
                   : machine == 2 ? &Processor::mc680x0()
                                  : nullptr;
    // a.out files are big-endian on every target read here.
    id.byteSwapped = hostIsLittleEndian;
}

void identifyCoffTarget(FileIdentity &id, InputFile &file) {
    uint8_t header[20];
    if (file.seek(0) < 0 || file.readCount(header, sizeof header) != sizeof header) return;
    // The magic's low byte stands second in a file of the other order; no
    // magic of either family has a high byte above 7.
    id.byteSwapped = (header[1] & 0xF8) != 0;
    uint16_t magic;
    std::memcpy(&magic, header, sizeof magic);
    if (id.byteSwapped) magic = byteSwap16(magic);
    id.machine = magic;
    switch (magic) {
    case 0x14C:
        id.processor = &Processor::iX86();
        break;
    case 0x150:
        id.processor = &Processor::mc680x0();
        break;
    case 0x17A:
        id.processor = &Processor::am29k();
        break;
    case 0x17B:
        id.processor = &Processor::am29kL();
        break;
    default:
        id.processor = nullptr;
    }
}

// A library says what it holds through its first members: the first of
// the first six that has a known format gives the library's target.
void identifyArchiveTarget(FileIdentity &id, InputFile &file) {
    // Libraries nested beyond what the walk reads say nothing here either.
    if (libraryNesting(file.fileName) > maxLibraryNesting) return;
    NullErrorContext silent;
    std::unique_ptr<Archive> archive = Archive::open(file, &silent);
    if (!archive) return;
    int misses = 0;
    archive->eachMember([&](const ArchiveMember &member) {
        ArchiveMemberName name(&file.fileName, member.name, member.offset, member.size);
        InputFile memberFile(name, silent, file);
        if (!(memberFile.status & (InputFile::failBit | InputFile::badBit))) {
            FileIdentity memberId;
            FileIdentity::identify(memberId, memberFile, true);
            if (memberId.kind != unknownFormat) {
                id.processor = memberId.processor;
                id.kind = memberId.kind;
                id.byteSwapped = memberId.byteSwapped;
                return false;
            }
        }
        return ++misses < 6;
    });
}

const char *const kindNames[] = {"unknown", "DOS", "COFF", "ELF",      "BSD",
                                 "ARM",     "NT",  "PE",   "COMMANDS", "???"};

} // namespace

void FileIdentity::identify(FileIdentity &id, InputFile &file, bool deep) {
    id = FileIdentity();
    uint8_t b[probeSize];
    file.seek(0);
    uint32_t n = file.readCount(b, probeSize);
    if (n < probeSize) {
        // Too short for any magic number: text or nothing.
        if (n > 0 && isPrintable(b, n)) id.kind = commandsFormat;
        return;
    }
    if (std::memcmp(b, "!<arch>\n", 8) == 0) {
        id.isArchive = true;
        if (deep) identifyArchiveTarget(id, file);
        return;
    }
    if (b[0] == 0x7F && b[1] == 'E' && b[2] == 'L' && b[3] == 'F') {
        id.kind = elfFormat;
        if (deep) identifyElfTarget(id, file, b);
        return;
    }
    if (isAoutMagic(b)) {
        id.kind = bsdFormat;
        if (deep) identifyAoutTarget(id, file);
        return;
    }
    if (isNewerCoffMagic(b)) {
        id.kind = ntFormat;
        if (deep) identifyCoffTarget(id, file);
        return;
    }
    if (isOlderCoffMagic(b)) {
        id.kind = coffFormat;
        if (deep) identifyCoffTarget(id, file);
        return;
    }
    uint32_t chunkMagic = bigEndian32(b);
    if (chunkMagic == 0xC3CBC6C5 || chunkMagic == 0xC5C6CBC3) {
        id.kind = armFormat;
        id.isArchive = std::memcmp(b + 12, "LIB_", 4) == 0;
        // Chunk files of this kind come from ARM's tools only; nothing reads
        // the processor of such a file, but ARM is the honest answer.
        id.processor = &Processor::arm();
        return;
    }
    if (b[0] == 0x80) {
        id.kind = dosFormat;
        id.processor = &Processor::iX86();
        return;
    }
    if (b[0] == 0xF0 && ((b[1] + b[3]) & 0x0F) == 0) {
        // An OMF library: its numbers are little-endian.
        id.isArchive = true;
        id.processor = &Processor::iX86();
        id.byteSwapped = !hostIsLittleEndian;
        return;
    }
    if (isPrintable(b, probeSize)) id.kind = commandsFormat;
}

const char *FileIdentity::kindName() const {
    return kind < sizeof kindNames / sizeof kindNames[0] ? kindNames[kind] : "???";
}

bool FileIdentity::isLittleEndian() const {
    return byteSwapped != hostIsLittleEndian;
}
