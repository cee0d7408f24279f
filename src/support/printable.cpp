#include "support/printable.h"

#include <ostream>

void Printable::printOn(std::ostream &stream) const {
    const char *text = printableText();
    stream << (text ? text : "<NULL>");
}

Printable::~Printable() = default;
