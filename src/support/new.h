// The program's global operator new and operator delete, over malloc and
// free.  They never return null: a negative (above 2 GiB) size or exhausted
// memory is a botch, which is why no caller tests the result.
//
// Two environment variables, read while the statics are set up:
//   TV_MALLOC_DEBUG=n  trace every allocation of at least n bytes to standard
//                      output as "HEAP> new(0x<size>) = 0x<block> from 0x<caller>
//                      from 0x<its caller>"; with n at most 8 trace frees too.
//   MALLOC_FILL        (any value, even empty) fill new blocks with 0xAA.
#pragma once

#include <cstdint>

extern bool heapTrace;
extern uint32_t heapTraceThreshold;
extern bool heapFill;

// (Re)reads the two variables.  Runs at start-up; tests call it again.
void readHeapEnvironment();
