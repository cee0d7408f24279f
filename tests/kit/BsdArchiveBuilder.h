// BsdArchiveBuilder: writes BSD "!<arch>\n" libraries in memory for the
// tests: a "__.SYMDEF" first member, the table ranlib builds, then the
// members, each name standing in its 16-byte field padded with blanks.
//
//   BsdArchiveBuilder()
//       .symbol("main", 0)              // table entry -> member index
//       .member("main.o", objectBytes)
//       .build();
//
// The table's numbers are big-endian, as the format has them on every host:
// table size (8 per entry), the entries (name offset in the strings, header
// offset of the member), strings size, strings.  Members are numbered from
// 0, the "__.SYMDEF" member not counted.  The damage handles change one
// field of the table or of its header; the rest is laid out as usual.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

class BsdArchiveBuilder {
public:
    using Bytes = std::vector<uint8_t>;

    BsdArchiveBuilder();

    // An entry of the table for member `member`; names are stored in the
    // strings in order, each with its NUL.
    BsdArchiveBuilder &symbol(std::string name, uint32_t member);
    // A member; `nameField` is written as it stands, cut or padded with
    // blanks to 16 bytes.
    BsdArchiveBuilder &member(std::string nameField, Bytes data);
    // Header fields of the member added last (cut or padded to their width).
    BsdArchiveBuilder &dateField(std::string text);
    BsdArchiveBuilder &modeField(std::string text);
    BsdArchiveBuilder &terminator(std::string twoBytes);

    // The table member's name field, and its size field, as they stand.
    BsdArchiveBuilder &tableNameField(std::string text);
    BsdArchiveBuilder &tableSizeField(std::string text);
    // The table's size words, instead of the true ones.
    BsdArchiveBuilder &tableSize(uint32_t size);
    BsdArchiveBuilder &stringsSize(uint32_t size);
    // Bytes written between the last entry and the strings size word.
    BsdArchiveBuilder &afterEntries(Bytes bytes);
    // Entry `entry`'s name offset, instead of its name's.
    BsdArchiveBuilder &nameOffset(uint32_t entry, uint32_t offset);
    // Drops the NUL behind the last name.
    BsdArchiveBuilder &noFinalNul();
    // The finished file cut to `size` bytes.
    BsdArchiveBuilder &truncateTo(size_t size);

    Bytes build() const;

    // The data of the "__.SYMDEF" member.
    Bytes tableData() const;
    // File offset of the header, and of the data, of member `index`.
    uint32_t headerOffset(uint32_t index) const;
    uint32_t dataOffset(uint32_t index) const { return headerOffset(index) + 60; }

private:
    struct Member {
        std::string name;
        Bytes data;
        std::map<int, std::string> fields; // field index -> text
    };
    struct Symbol {
        std::string name;
        uint32_t member;
    };

    std::vector<Member> members; // the table member first
    std::vector<Symbol> symbols;
    std::optional<uint32_t> tableSizeOverride;
    std::optional<uint32_t> stringsSizeOverride;
    Bytes betweenEntriesAndStrings;
    std::map<uint32_t, uint32_t> nameOffsets;
    bool finalNul = true;
    std::optional<size_t> truncation;
};
