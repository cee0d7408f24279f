#include "kit/BsdArchiveBuilder.h"

#include <stdexcept>

namespace {

// Header fields: index, offset and width.
enum Field { nameAt, dateAt, uidAt, gidAt, modeAt, sizeAt, endAt, fieldCount };
constexpr uint32_t fieldWidth[fieldCount] = {16, 12, 6, 6, 8, 10, 2};
constexpr uint32_t headerSize = 60;

void putBigEndian(BsdArchiveBuilder::Bytes &out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(uint8_t(value >> shift));
}

} // namespace

BsdArchiveBuilder::BsdArchiveBuilder() {
    members.push_back(Member{"__.SYMDEF", {}, {}});
}

BsdArchiveBuilder &BsdArchiveBuilder::symbol(std::string name, uint32_t member) {
    symbols.push_back(Symbol{std::move(name), member});
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::member(std::string nameField, Bytes data) {
    members.push_back(Member{std::move(nameField), std::move(data), {}});
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::dateField(std::string text) {
    members.back().fields[dateAt] = std::move(text);
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::modeField(std::string text) {
    members.back().fields[modeAt] = std::move(text);
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::terminator(std::string twoBytes) {
    members.back().fields[endAt] = std::move(twoBytes);
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::tableNameField(std::string text) {
    members.front().name = std::move(text);
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::tableSizeField(std::string text) {
    members.front().fields[sizeAt] = std::move(text);
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::tableSize(uint32_t size) {
    tableSizeOverride = size;
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::stringsSize(uint32_t size) {
    stringsSizeOverride = size;
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::afterEntries(Bytes bytes) {
    betweenEntriesAndStrings = std::move(bytes);
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::nameOffset(uint32_t entry, uint32_t offset) {
    nameOffsets[entry] = offset;
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::noFinalNul() {
    finalNul = false;
    return *this;
}

BsdArchiveBuilder &BsdArchiveBuilder::truncateTo(size_t size) {
    truncation = size;
    return *this;
}

BsdArchiveBuilder::Bytes BsdArchiveBuilder::tableData() const {
    // The table's size does not depend on the offsets in it, so the header
    // offsets can be worked out from a first pass with none filled in.
    std::vector<uint32_t> headers;
    uint32_t position = 8;
    for (size_t i = 0; i < members.size(); ++i) {
        headers.push_back(position);
        size_t size = members[i].data.size();
        if (i == 0) {
            size = 4 + 8 * symbols.size() + betweenEntriesAndStrings.size() + 4;
            for (const Symbol &symbol : symbols)
                size += symbol.name.size() + 1;
            if (!finalNul && !symbols.empty()) --size;
        }
        position += headerSize + uint32_t(size) + uint32_t(size & 1);
    }

    std::string strings;
    Bytes entries;
    for (uint32_t i = 0; i < symbols.size(); ++i) {
        const Symbol &symbol = symbols[i];
        if (symbol.member + 1 >= members.size())
            throw std::logic_error("BsdArchiveBuilder: a symbol names a member not added");
        auto offset = nameOffsets.find(i);
        putBigEndian(entries,
                     offset != nameOffsets.end() ? offset->second : uint32_t(strings.size()));
        putBigEndian(entries, headers[symbol.member + 1]);
        strings += symbol.name;
        strings += '\0';
    }
    if (!finalNul && !strings.empty()) strings.pop_back();

    Bytes data;
    putBigEndian(data, tableSizeOverride.value_or(uint32_t(entries.size())));
    data.insert(data.end(), entries.begin(), entries.end());
    data.insert(data.end(), betweenEntriesAndStrings.begin(), betweenEntriesAndStrings.end());
    putBigEndian(data, stringsSizeOverride.value_or(uint32_t(strings.size())));
    data.insert(data.end(), strings.begin(), strings.end());
    return data;
}

BsdArchiveBuilder::Bytes BsdArchiveBuilder::build() const {
    Bytes out = {'!', '<', 'a', 'r', 'c', 'h', '>', '\n'};
    for (size_t i = 0; i < members.size(); ++i) {
        const Member &member = members[i];
        Bytes data = i == 0 ? tableData() : member.data;
        std::string text[fieldCount] = {
            member.name, "0", "0", "0", "644", std::to_string(data.size()), "`\n"};
        for (const auto &[field, value] : member.fields)
            text[field] = value;
        for (int field = 0; field < fieldCount; ++field) {
            std::string value = text[field].substr(0, fieldWidth[field]);
            value.resize(fieldWidth[field], ' ');
            out.insert(out.end(), value.begin(), value.end());
        }
        out.insert(out.end(), data.begin(), data.end());
        if (data.size() % 2) out.push_back('\n');
    }
    if (truncation && *truncation < out.size()) out.resize(*truncation);
    return out;
}

uint32_t BsdArchiveBuilder::headerOffset(uint32_t index) const {
    if (index + 1 >= members.size()) throw std::out_of_range("BsdArchiveBuilder: no such member");
    // Member `index` stands behind the table member and the members before it.
    uint32_t position = 8;
    for (size_t i = 0; i <= index; ++i) {
        size_t size = i == 0 ? tableData().size() : members[i].data.size();
        position += headerSize + uint32_t(size) + uint32_t(size & 1);
    }
    return position;
}
