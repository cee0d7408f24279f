// botch: the stop for conditions that must not happen, and for exhausted
// memory.  It needs no ErrorContext: it writes "Fatal error --- ", the
// message (in the program's printf language, "%C" included) and
// "\nAborting...\n" to standard error, then raises SIGABRT.  If a handler
// returns from the signal, the process exits with status 1.
#pragma once

[[noreturn]] void botch(const char *format, ...);
