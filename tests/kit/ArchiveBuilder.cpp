#include "kit/ArchiveBuilder.h"

#include <stdexcept>

namespace {

// Header fields: index, offset and width.
enum Field { nameAt, dateAt, uidAt, gidAt, modeAt, sizeAt, endAt, fieldCount };
constexpr uint32_t fieldOffset[fieldCount] = {0, 16, 28, 34, 40, 48, 58};
constexpr uint32_t fieldWidth[fieldCount] = {16, 12, 6, 6, 8, 10, 2};
constexpr uint32_t headerSize = 60;

void putBigEndian(ArchiveBuilder::Bytes &out, size_t at, uint32_t value) {
    out[at] = uint8_t(value >> 24);
    out[at + 1] = uint8_t(value >> 16);
    out[at + 2] = uint8_t(value >> 8);
    out[at + 3] = uint8_t(value);
}

} // namespace

ArchiveBuilder::Bytes ArchiveBuilder::bytes(std::string_view text) {
    return Bytes(text.begin(), text.end());
}

ArchiveBuilder::ArchiveBuilder() = default;

ArchiveBuilder::Entry &ArchiveBuilder::last() {
    if (entries.empty())
        throw std::logic_error("ArchiveBuilder: a field modifier needs an entry before it");
    return entries.back();
}

ArchiveBuilder &ArchiveBuilder::symbolTable(std::vector<Symbol> table) {
    symbols = std::move(table);
    entries.push_back(Entry(Kind::symbols, "/"));
    return *this;
}

ArchiveBuilder &ArchiveBuilder::member(std::string name, Bytes data) {
    Entry entry(Kind::member, std::move(name), std::move(data));
    entry.longName = entry.name.size() > 15;
    entries.push_back(std::move(entry));
    return *this;
}

ArchiveBuilder &ArchiveBuilder::member(std::string name, std::string_view data) {
    return member(std::move(name), bytes(data));
}

ArchiveBuilder &ArchiveBuilder::rawMember(std::string nameField, Bytes data) {
    entries.push_back(Entry(Kind::raw, std::move(nameField), std::move(data)));
    return *this;
}

ArchiveBuilder &ArchiveBuilder::longNameTable() {
    entries.push_back(Entry(Kind::longNames, "//"));
    return *this;
}

ArchiveBuilder &ArchiveBuilder::viaLongNameTable() {
    last().longName = true;
    return *this;
}

ArchiveBuilder &ArchiveBuilder::setField(int field, std::string text) {
    last().fields[field] = std::move(text);
    return *this;
}

ArchiveBuilder &ArchiveBuilder::nameField(std::string text) {
    return setField(nameAt, text);
}
ArchiveBuilder &ArchiveBuilder::dateField(std::string text) {
    return setField(dateAt, text);
}
ArchiveBuilder &ArchiveBuilder::uidField(std::string text) {
    return setField(uidAt, text);
}
ArchiveBuilder &ArchiveBuilder::gidField(std::string text) {
    return setField(gidAt, text);
}
ArchiveBuilder &ArchiveBuilder::modeField(std::string text) {
    return setField(modeAt, text);
}
ArchiveBuilder &ArchiveBuilder::sizeField(std::string text) {
    return setField(sizeAt, text);
}
ArchiveBuilder &ArchiveBuilder::terminator(std::string text) {
    return setField(endAt, text);
}

ArchiveBuilder &ArchiveBuilder::padByte(uint8_t byte) {
    last().pad = byte;
    return *this;
}

ArchiveBuilder &ArchiveBuilder::noPad() {
    last().padded = false;
    return *this;
}

ArchiveBuilder &ArchiveBuilder::symbolCount(uint32_t count) {
    countOverride = count;
    return *this;
}

ArchiveBuilder &ArchiveBuilder::symbolOffset(uint32_t entry, uint32_t offset) {
    offsetOverrides[entry] = offset;
    return *this;
}

ArchiveBuilder &ArchiveBuilder::noFinalSymbolNul() {
    finalSymbolNul = false;
    return *this;
}

ArchiveBuilder &ArchiveBuilder::truncateTo(size_t size) {
    truncation = size;
    return *this;
}

ArchiveBuilder &ArchiveBuilder::append(Bytes more) {
    tail.insert(tail.end(), more.begin(), more.end());
    return *this;
}

ArchiveBuilder::Layout ArchiveBuilder::layOut() const {
    Layout layout;
    layout.entries = entries;

    // The long-name table: "name/\n" for each long name, in member order.
    std::string table;
    bool explicitTable = false;
    for (Entry &entry : layout.entries) {
        explicitTable |= entry.kind == Kind::longNames;
        if (entry.kind == Kind::member && entry.longName) {
            entry.fields.try_emplace(nameAt, "/" + std::to_string(table.size()));
            table += entry.name + "/\n";
        }
    }
    if (!table.empty() && !explicitTable) {
        size_t at = !layout.entries.empty() && layout.entries[0].kind == Kind::symbols ? 1 : 0;
        layout.entries.insert(layout.entries.begin() + at, Entry(Kind::longNames, "//"));
    }

    uint32_t position = 8;
    for (size_t i = 0; i < layout.entries.size(); ++i) {
        Entry &entry = layout.entries[i];
        if (entry.kind == Kind::longNames) entry.data = bytes(table);
        if (entry.kind == Kind::symbols) {
            size_t size = 4 + 4 * symbols.size();
            for (const Symbol &symbol : symbols)
                size += symbol.name.size() + 1;
            if (!finalSymbolNul && !symbols.empty()) --size;
            entry.data.assign(size, 0);
        }
        if (entry.kind == Kind::member || entry.kind == Kind::raw)
            layout.memberEntry.push_back(uint32_t(i));
        layout.headers.push_back(position);
        position += headerSize + uint32_t(entry.data.size());
        if (entry.data.size() % 2 && entry.padded) ++position;
    }

    // The symbol table's contents, now that the members have their places.
    for (Entry &entry : layout.entries) {
        if (entry.kind != Kind::symbols) continue;
        putBigEndian(entry.data, 0, countOverride.value_or(uint32_t(symbols.size())));
        size_t names = 4 + 4 * symbols.size();
        for (uint32_t i = 0; i < symbols.size(); ++i) {
            uint32_t offset = 0;
            if (auto found = offsetOverrides.find(i); found != offsetOverrides.end())
                offset = found->second;
            else if (symbols[i].member < layout.memberEntry.size())
                offset = layout.headers[layout.memberEntry[symbols[i].member]];
            putBigEndian(entry.data, 4 + 4 * size_t(i), offset);
            for (char c : symbols[i].name)
                entry.data[names++] = uint8_t(c);
            if (names < entry.data.size()) entry.data[names++] = 0;
        }
    }
    return layout;
}

ArchiveBuilder::Bytes ArchiveBuilder::build() const {
    Layout layout = layOut();
    Bytes out = bytes("!<arch>\n");
    for (const Entry &entry : layout.entries) {
        std::string text[fieldCount] = {
            "", "0", "0", "0", "644", std::to_string(entry.data.size()), "`\n"};
        switch (entry.kind) {
        case Kind::symbols:
        case Kind::longNames:
        case Kind::raw:
            text[nameAt] = entry.name;
            break;
        case Kind::member:
            text[nameAt] = entry.name + "/";
            break;
        }
        for (const auto &[field, value] : entry.fields)
            text[field] = value;
        for (int field = 0; field < fieldCount; ++field) {
            std::string value = text[field].substr(0, fieldWidth[field]);
            value.resize(fieldWidth[field], ' ');
            out.insert(out.end(), value.begin(), value.end());
        }
        out.insert(out.end(), entry.data.begin(), entry.data.end());
        if (entry.data.size() % 2 && entry.padded) out.push_back(entry.pad);
    }
    out.insert(out.end(), tail.begin(), tail.end());
    if (truncation && *truncation < out.size()) out.resize(*truncation);
    return out;
}

uint32_t ArchiveBuilder::headerOffset(uint32_t index) const {
    Layout layout = layOut();
    return layout.headers.at(layout.memberEntry.at(index));
}

uint32_t ArchiveBuilder::entryHeaderOffset(uint32_t entry) const {
    return layOut().headers.at(entry);
}
