#include "support/botch.h"

#include "support/ErrFormat.h"
#include "support/osprintf.h"

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace {
BotchHook botchHook = nullptr;
}

BotchHook setBotchHook(BotchHook hook) {
    BotchHook old = botchHook;
    botchHook = hook;
    return old;
}

void botch(const char *format, ...) {
    // A botch while botching (say, memory ran out for the engine's own copy
    // of the continuation string) must not recurse: say what we can and go.
    static bool botching = false;
    if (botching) {
        fputs("Fatal error --- ", stderr);
        fputs(format, stderr);
        fputs("\nAborting...\n", stderr);
    } else {
        botching = true;
        ErrFormat engine("\n|\t");
        StreamFormatOut out(std::cerr, engine);
        va_list args;
        va_start(args, format);
        out.print("Fatal error --- ");
        out.vprint(format, args);
        out.print("\nAborting...\n");
        va_end(args);
        out.flush();
    }
    if (botchHook) {
        // The process goes on: the next botch is an ordinary one again.
        botching = false;
        botchHook(format);
    }
    // The abort signal.  Left to its default handling, it ends the process
    // with status 3, which is what the tool's callers test for: that ending
    // is made here directly, since a signal's own default would give the
    // shell's 134.  A handler of the program's (a test's, a debugger's) gets
    // the signal itself; if it returns, the status is 1.
    struct sigaction current {};
    if (sigaction(SIGABRT, nullptr, &current) == 0 && current.sa_handler == SIG_DFL &&
        !(current.sa_flags & SA_SIGINFO))
        _exit(3);
    raise(SIGABRT);
    exit(1);
}
