// ArchiveBuilder: writes "!<arch>\n" libraries in memory for the tests, the
// way a System V / GNU ar lays them out, with handles to damage any field.
//
//   ArchiveBuilder()
//       .symbolTable({{"main", 0}, {"helper", 1}})   // "/" member, entry -> member index
//       .member("a.o", objectBytes)                  // "a.o/" in the name field
//       .member("a_rather_long_name.o", moreBytes)   // goes through "//"
//       .build();
//
// Members are numbered from 0 in the order of `member` and `rawMember`
// calls; the system members ("/" and "//") are not counted.  The long-name
// table is written, when some name needs it, right behind the symbol table
// (or first), unless `longNameTable()` placed it elsewhere.
//
// The field modifiers (`sizeField`, `terminator`, ...) change the header of
// the entry added last, so a damaged case reads as one more call:
//
//   ArchiveBuilder().member("a.o", bytes).sizeField("-7").build();
//
// The whole-file modifiers (`symbolCount`, `truncateTo`, ...) act on the
// finished bytes.  Offsets of headers are there to be asked for, so that a
// test can name the place its message is to speak of.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class ArchiveBuilder {
public:
    using Bytes = std::vector<uint8_t>;
    // Bytes of a text, without a NUL.
    static Bytes bytes(std::string_view text);

    struct Symbol {
        std::string name;
        uint32_t member; // index of the defining member
    };

    ArchiveBuilder();

    // The "/" member with these entries; offsets are filled in at build.
    ArchiveBuilder &symbolTable(std::vector<Symbol> symbols);
    // An ordinary member; a name of more than 15 bytes goes through "//".
    ArchiveBuilder &member(std::string name, Bytes data);
    ArchiveBuilder &member(std::string name, std::string_view data);
    // A member whose 16-byte name field holds `nameField` as it stands
    // (padded with blanks): "/", "/7", "__.SYMDEF", "name without slash".
    ArchiveBuilder &rawMember(std::string nameField, Bytes data);
    // Places the "//" member here, holding the long names of all members.
    ArchiveBuilder &longNameTable();
    // Makes the last member's name go through "//" whatever its length.
    ArchiveBuilder &viaLongNameTable();

    // Header fields of the entry added last, as text; each is cut or padded
    // with blanks to its width.  The data is not changed.
    ArchiveBuilder &nameField(std::string text);
    ArchiveBuilder &dateField(std::string text);
    ArchiveBuilder &uidField(std::string text);
    ArchiveBuilder &gidField(std::string text);
    ArchiveBuilder &modeField(std::string text);
    ArchiveBuilder &sizeField(std::string text);
    ArchiveBuilder &terminator(std::string twoBytes);
    // The byte written behind the entry's data when its size is odd ("\n"
    // by default), or no pad byte at all.
    ArchiveBuilder &padByte(uint8_t byte);
    ArchiveBuilder &noPad();

    // The symbol table's count word, written instead of the true count.
    ArchiveBuilder &symbolCount(uint32_t count);
    // The file offset of entry `entry`, written instead of the member's.
    ArchiveBuilder &symbolOffset(uint32_t entry, uint32_t offset);
    // Drops the NUL behind the last symbol name.
    ArchiveBuilder &noFinalSymbolNul();
    // The finished file cut to `size` bytes, or with bytes added behind.
    ArchiveBuilder &truncateTo(size_t size);
    ArchiveBuilder &append(Bytes tail);

    Bytes build() const;

    // File offset of the header, and of the data, of member `index`.
    uint32_t headerOffset(uint32_t index) const;
    uint32_t dataOffset(uint32_t index) const { return headerOffset(index) + 60; }
    // File offset of the header of the n-th entry of any kind, system
    // members included, in file order.
    uint32_t entryHeaderOffset(uint32_t entry) const;

private:
    enum class Kind { symbols, longNames, member, raw };
    struct Entry {
        Entry(Kind kind, std::string name, Bytes data = {})
            : kind(kind), name(std::move(name)), data(std::move(data)) {}
        Kind kind;
        std::string name;
        Bytes data;
        bool longName = false;
        std::map<int, std::string> fields; // field index -> text
        uint8_t pad = '\n';
        bool padded = true;
    };
    struct Layout {
        std::vector<Entry> entries;        // system members in place
        std::vector<uint32_t> headers;     // header offset of each entry
        std::vector<uint32_t> memberEntry; // entry index of each member
    };

    Entry &last();
    ArchiveBuilder &setField(int field, std::string text);
    Layout layOut() const;

    std::vector<Entry> entries;
    std::vector<Symbol> symbols;
    std::optional<uint32_t> countOverride;
    std::map<uint32_t, uint32_t> offsetOverrides;
    bool finalSymbolNul = true;
    std::optional<size_t> truncation;
    Bytes tail;
};
