#include "support/StringTable.h"

#include "support/botch.h"
#include "support/sdict.h"

#include <cstring>

namespace {
constexpr uint32_t maximumEntries = 0x3E800;
constexpr char nullText[] = "<<<NULL_SYMBOL>>>";

uint32_t checkedMaximum(uint32_t maximum) {
    if (maximum > maximumEntries) botch("StringTable:: max too big: %u", maximum);
    return maximum;
}
} // namespace

StringTable::StringTable(uint32_t maximum)
    : hashSize((checkedMaximum(maximum) / 3) | 1), pool(0x1000, "HEAP"),
      hashHeads(std::make_unique<uint32_t[]>(hashSize)), nodes(64) {
    addNullEntry();
}

StringTable::~StringTable() = default;

void StringTable::addNullEntry() {
    Node *node = static_cast<Node *>(pool.allocate(sizeof(Node) + sizeof nullText));
    node->next = 0;
    node->length = sizeof nullText - 1;
    memcpy(node->text(), nullText, sizeof nullText);
    nodes.count = 0;
    nodes.append(node);
}

uint32_t StringTable::find(const char *text, uint32_t length) const {
    if (!text) return 0;
    uint32_t index = hashHeads[hashText(text, length) % hashSize];
    while (index) {
        Node *node = nodes[index];
        if (node->length == length && (length == 0 || (node->text()[0] == text[0] &&
                                                       memcmp(node->text(), text, length) == 0)))
            return index;
        index = node->next;
    }
    return 0;
}

uint32_t StringTable::find(const char *text) const {
    return text ? find(text, static_cast<uint32_t>(strlen(text))) : 0;
}

uint32_t StringTable::intern(const char *text, uint32_t length) {
    if (!text) return 0;
    if (uint32_t index = find(text, length)) return index;
    uint32_t index = ++count;
    Node *node = static_cast<Node *>(pool.allocate(sizeof(Node) + length + 1));
    node->length = length;
    memcpy(node->text(), text, length);
    node->text()[length] = 0;
    uint32_t &head = hashHeads[hashText(text, length) % hashSize];
    node->next = head;
    head = index;
    nodes.append(node);
    return index;
}

uint32_t StringTable::intern(const char *text) {
    return text ? intern(text, static_cast<uint32_t>(strlen(text))) : 0;
}

void StringTable::reset() {
    pool.reset();
    memset(hashHeads.get(), 0, sizeof(uint32_t) * hashSize);
    count = 0;
    addNullEntry();
}

void StringTable::each(FunctionRef<void(const char *text)> visitor) const {
    for (uint32_t i = 1; i <= count; ++i)
        visitor(nodes[i]->text());
}
