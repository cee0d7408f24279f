// botch: the stop for conditions that must not happen, and for exhausted
// memory.  It needs no ErrorContext: it writes "Fatal error --- ", the
// message (in the program's printf language, "%C" included) and
// "\nAborting...\n" to standard error, then raises SIGABRT.  With the
// signal's default handling the process ends with status 3; if a handler
// returns from the signal, the process exits with status 1.
#pragma once

[[noreturn]] void botch(const char *format, ...);

// Called with the format of the message, after it was written and in place
// of raising SIGABRT; null means raise.  A hook must not return (it throws or
// exits).  Only a test harness sets one: the fuzz targets, which let the stops
// that damaged files can reach by design end an input like a fatal error.
using BotchHook = void (*)(const char *format);
BotchHook setBotchHook(BotchHook hook);
