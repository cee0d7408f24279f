// Argument files: "@name" on a command line stands for the words of the
// file `name`.  The file is read line by line (a line ending with a
// backslash continues on the next one) and each line is split into words:
// white space separates words, and a word that begins with a double or a
// single quotation mark runs to the same mark, with a backslash hiding the
// next character from that search; the quotation marks are dropped and an
// empty quoted word is dropped with them.  "@" alone and "@E" are ordinary
// arguments.  Files may name further argument files.
#pragma once

#include "support/FunctionRef.h"

class ErrorContext;

// Replaces argc and argv by the expanded list (with a null entry behind the
// last word) if any argument file was read.  A file that does not open is
// reported through `errors`, if given, and stays in the list as it was.  The
// new vector and its words live to the end of the program.
void expandArgumentFiles(int &argc, char **&argv, ErrorContext *errors);

// Splits `text` into words as an argument file line is split, and calls the
// visitor once with the count and a vector of the words (null-terminated),
// `firstWord` in front if it is given.  The words live during the call only.
void splitIntoArguments(const char *text, const char *firstWord,
                        FunctionRef<void(int argc, char **argv)> visitor);
