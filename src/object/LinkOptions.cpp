// LinkOptions is an interface only; its destructor lives here.
#include "object/LinkOptions.h"

LinkOptions::~LinkOptions() = default;
