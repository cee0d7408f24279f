// The listing of one object file: a heading, a column header and one row per
// selected symbol on standard output, in the layout, order and radix that the
// run's options (tool/nm_main.h) choose.  A plain object file and each member
// of a library come here alike.
//
// Rows are formatted by hand into a line buffer and written to the buffered
// standard output (stdio), in the fields of these printf formats:
//
//   full      "%08x   " value, " %5d %-7s %c%-5s %-8s " size, binding, "m" flag,
//             type, section, then the name
//   parsable  value, " %-3s " type letter, then the name
//   undefined four blanks, then the name
//
// With -A the name is padded to 24 and the file's display name follows it.
#pragma once

class ErrorContext;
class ObjectFile;
class Symbol;

// Lists `object` as the options say.  Neither owns nor destroys it.  An object
// without symbols gives the warning "%s has no symbols" and no heading.
void displayObject(ObjectFile &object, ErrorContext &errors);

// The text shown as the symbol's name: its own name (demangled with -C), or
// for a nameless section symbol the section's name.  A demangled text stays
// valid until the next call but one, so a comparison can hold two.
const char *displayName(Symbol &symbol);

// The one-letter type of the parsable layout: S F T t B b D d U C A ?.
const char *typeLetter(Symbol &symbol);

// The "Sect" column of the full layout: the section's name, or UNDEF, ABS,
// SCOMM, COMM, or nothing.
const char *sectionColumn(Symbol &symbol);

// qsort comparators over an array of Symbol pointers.
//
// By name: each display name without its leading bytes that are no ASCII
// letter or digit, compared with strcmp.  So "_foo", ".foo" and "foo" are
// equal and "_b" sorts behind "a".
int compareSymbolNames(const void *left, const void *right);
// By value: the 32-bit difference read as signed, so values 0x80000000 or
// more apart compare by wrap-around (0x80000000 sorts before 0).
int compareSymbolValues(const void *left, const void *right);
