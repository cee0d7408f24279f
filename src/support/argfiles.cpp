#include "support/argfiles.h"

#include "support/array.h"
#include "support/error.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

namespace {

// Passes of expansion before we give up: a file that names itself would
// otherwise grow the list for ever.
constexpr int maximumNesting = 32;

// Everything the expansion makes, kept to the end of the program so that
// the argument vectors stay valid (and reachable).
struct ArgumentStore {
    std::vector<std::unique_ptr<char[]>> words;
    std::vector<std::unique_ptr<char *[]>> vectors;
};

ArgumentStore &store() {
    static ArgumentStore argumentStore;
    return argumentStore;
}

std::unique_ptr<char[]> copyWord(const char *start, size_t length) {
    std::unique_ptr<char[]> word(new char[length + 1]);
    memcpy(word.get(), start, length);
    word[length] = 0;
    return word;
}

// Calls `word` with each word of `text` as a fresh block.
void splitWords(const char *text, FunctionRef<void(std::unique_ptr<char[]> word)> word) {
    const char *p = text;
    for (;;) {
        while (*p && isspace(static_cast<unsigned char>(*p)))
            ++p;
        if (!*p) return;
        if (*p == '"' || *p == '\'') {
            char mark = *p++;
            const char *start = p;
            while (*p && *p != mark) {
                if (*p == '\\' && p[1]) ++p;
                ++p;
            }
            if (p > start) word(copyWord(start, static_cast<size_t>(p - start)));
            if (*p) ++p;
        } else {
            const char *start = p;
            while (*p && !isspace(static_cast<unsigned char>(*p)))
                ++p;
            word(copyWord(start, static_cast<size_t>(p - start)));
        }
    }
}

// Reads one logical line into `buffer` (2048 bytes): a trailing "\n" and
// then "\r" are cut, and a line that then ends with a backslash is joined
// with the next one over the backslash.  A backslash on the last line of the
// file has nothing to join and is dropped.  False at the end of the file.
bool readLine(FILE *file, char *buffer, size_t size) {
    size_t used = 0;
    bool any = false;
    for (;;) {
        if (!fgets(buffer + used, static_cast<int>(size - used), file)) {
            buffer[used] = 0;
            return any;
        }
        any = true;
        size_t n = used + strlen(buffer + used);
        if (n > 0 && buffer[n - 1] == '\n') buffer[--n] = 0;
        if (n > 0 && buffer[n - 1] == '\r') buffer[--n] = 0;
        if (n == 0 || buffer[n - 1] != '\\') return true;
        // Continue over the backslash, if there is room for more.
        used = n - 1;
        buffer[used] = 0;
        if (size - used < 2) return true;
    }
}

bool isArgumentFile(const char *argument) {
    return argument[0] == '@' && argument[1] != 0 && strcmp(argument, "@E") != 0;
}

// An argument that names a file that did not open stays in the list, and a
// later pass would try it (and report it) again; `failed` remembers them, so
// that each is reported once and is an ordinary argument afterwards.
using FailedList = std::vector<const char *>;

bool hasFailed(const FailedList &failed, const char *argument) {
    for (const char *f : failed)
        if (f == argument) return true;
    return false;
}

// One pass; true if it read at least one file.
bool expandOnce(int &argc, char **&argv, ErrorContext *errors, FailedList &failed) {
    auto isArgumentFile = [&](const char *argument) {
        return argument && ::isArgumentFile(argument) && !hasFailed(failed, argument);
    };
    bool anyArgumentFile = false;
    for (int i = 0; i < argc && !anyArgumentFile; ++i)
        anyArgumentFile = isArgumentFile(argv[i]);
    if (!anyArgumentFile) return false;

    dynarray<char *> list(25);
    bool readAny = false;
    for (int i = 0; i < argc; ++i) {
        char *argument = argv[i];
        if (!isArgumentFile(argument)) {
            list.append(argument);
            continue;
        }
        const char *name = argument + 1;
        FILE *file = fopen(name, "r");
        if (!file) {
            if (errors)
                errors->error("Error opening arg file %s: %s.\n|\tArg file ignored.\n", name,
                              strerror(errno));
            failed.push_back(argument);
            list.append(argument);
            continue;
        }
        readAny = true;
        char line[2048];
        while (readLine(file, line, sizeof line)) {
            splitWords(line, [&](std::unique_ptr<char[]> word) {
                list.append(word.get());
                store().words.push_back(std::move(word));
            });
        }
        fclose(file);
    }
    if (!readAny) return false;
    std::unique_ptr<char *[]> vector(new char *[list.count + 1]);
    for (uint32_t i = 0; i < list.count; ++i)
        vector[i] = list[i];
    vector[list.count] = nullptr;
    argc = static_cast<int>(list.count);
    argv = vector.get();
    store().vectors.push_back(std::move(vector));
    return true;
}

} // namespace

void expandArgumentFiles(int &argc, char **&argv, ErrorContext *errors) {
    FailedList failed;
    for (int pass = 0; expandOnce(argc, argv, errors, failed); ++pass) {
        if (pass + 1 == maximumNesting) {
            if (errors)
                errors->error("Arg files nested more than %d deep; expansion stopped.",
                              maximumNesting);
            return;
        }
    }
}

void splitIntoArguments(const char *text, const char *firstWord,
                        FunctionRef<void(int argc, char **argv)> visitor) {
    std::vector<std::unique_ptr<char[]>> words;
    if (firstWord) words.push_back(copyWord(firstWord, strlen(firstWord)));
    if (text)
        splitWords(text, [&](std::unique_ptr<char[]> word) { words.push_back(std::move(word)); });
    std::unique_ptr<char *[]> vector(new char *[words.size() + 1]);
    for (size_t i = 0; i < words.size(); ++i)
        vector[i] = words[i].get();
    vector[words.size()] = nullptr;
    visitor(static_cast<int>(words.size()), vector.get());
}
