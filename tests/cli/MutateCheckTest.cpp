// fuzz/mutate-check, the check that runs tnm over damaged copies of real
// files, run against a stand-in for tnm that misbehaves on purpose: dies by
// a signal, aborts, hangs or exits oddly on one chosen kind of mutant.  The
// check must name exactly the mutants that broke the rules (a signal other
// than SIGABRT, a run over the time limit, a status other than 0, 1 or 3) and
// pass when only allowed endings occur.  The stand-in also proves that the
// field mutations reach the fields they claim to, inside library members too.
#include "kit/RunTool.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <vector>

namespace {

// The stand-in: takes tnm's arguments, skips options, and for each file
// checks the rule in STANDIN_RULE, "<test>:<action>":
//   size=N          the file is N bytes long
//   le16@O=V        the 16-bit little-endian number at offset O is V (decimal)
//   text=T          the file holds the text T
// and the action is one of segv, abort, hang, exit3, exit4.
const char standIn[] = R"sh(#!/bin/sh
rule=${STANDIN_RULE%%:*}
action=${STANDIN_RULE#*:}
for f; do
    case $f in -*) continue ;; esac
    hit=
    case $rule in
    size=*) [ "$(wc -c <"$f")" -eq "${rule#size=}" ] && hit=1 ;;
    le16@*)
        at=${rule#le16@}
        at=${at%%=*}
        [ "$(od -An -tu2 -j"$at" -N2 "$f" | tr -d ' ')" = "${rule#*=}" ] && hit=1 ;;
    text=*) grep -q -- "${rule#text=}" "$f" && hit=1 ;;
    esac
    if [ -n "$hit" ]; then
        case $action in
        segv) kill -SEGV $$ ;;
        abort) kill -ABRT $$ ;;
        hang) exec sleep 5 ;;
        exit3) exit 3 ;;
        exit4) exit 4 ;;
        esac
    fi
done
exit 0
)sh";

// A bare 32-bit little-endian ELF header: no section table, so its nine
// size, count and offset fields are all the fields there are.
std::string elfHeader() {
    std::string h(52, '\0');
    h.replace(0, 7,
              "\x7f"
              "ELF\x01\x01\x01");
    return h;
}

// A library of one member that holds such a header.
std::string library() {
    std::string header = "named.o/        0           0     0     644     52        `\n";
    return "!<arch>\n" + header + elfHeader();
}

struct Case {
    const char *rule;
    const char *file;                // in the scratch directory
    bool fieldsOnly;                 // only the field mutations, no truncations
    int status;                      // of mutate-check
    std::vector<const char *> lines; // that its output must hold
};

TEST(MutateCheck, NamesExactlyTheMutantsThatBreakTheRules) {
    ScratchDir dir;
    std::string fake = dir.write("fake-tnm", std::string(standIn));
    ASSERT_EQ(chmod(fake.c_str(), 0755), 0);
    dir.write("text.txt", std::string("twenty-four bytes of it\n"));
    dir.write("header.o", elfHeader());
    dir.write("lib.a", library());

    const Case cases[] = {
        // A truncation that kills: found, named by its length and signal.
        {"size=7:segv",
         "text.txt",
         false,
         1,
         {"FAIL text.txt: truncated to 7 bytes, killed by SIGSEGV", "24 mutants, 1 failures"}},
        // The ends of botch are allowed: status 3, or the signal when a
        // handler let it through.
        {"size=7:abort", "text.txt", false, 0, {"24 mutants, 0 failures"}},
        {"size=7:exit3", "text.txt", false, 0, {"24 mutants, 0 failures"}},
        // A run over the limit of one second.
        {"size=14:hang",
         "text.txt",
         false,
         1,
         {"FAIL text.txt: truncated to 14 bytes, ran longer than 1s"}},
        {"size=21:exit4", "text.txt", false, 1, {"truncated to 21 bytes, exit status 4"}},
        // Each header field takes each edge value: e_shnum at 48 set to 0xFFFF.
        {"le16@48=65535:segv",
         "header.o",
         true,
         1,
         {"FAIL header.o: e_shnum at 0x30 = 0xffff, killed by SIGSEGV", "28 mutants, 1 failures"}},
        // The member's size as decimal text, and the fields of the ELF file
        // inside the member at their place in the library.
        {"text=4294967295:segv",
         "lib.a",
         true,
         1,
         {"FAIL lib.a: member 0 (named.o/) size at 0x38 = 4294967295, killed by SIGSEGV"}},
        {"le16@116=32767:segv",
         "lib.a",
         true,
         1,
         {"FAIL lib.a: member 0 (named.o/) e_shnum at 0x74 = 0x7fff, killed by SIGSEGV",
          "31 mutants, 1 failures"}},
    };
    for (const Case &c : cases) {
        std::vector<std::string> args = {TNM_SOURCE_DIR "/fuzz/mutate-check", "--flips", "0"};
        args.insert(args.end(), {"--jobs", "1", "--tnm", fake, "--failures", dir.path() + "/f"});
        if (c.fieldsOnly) args.insert(args.end(), {"--stride", "100000"});
        args.push_back(dir.path() + "/" + c.file);
        ToolResult r =
            runProgram("/usr/bin/python3", args, "", {std::string("STANDIN_RULE=") + c.rule});
        EXPECT_EQ(r.status, c.status) << c.rule << "\n" << r.out << r.err;
        for (const char *line : c.lines)
            EXPECT_NE(r.out.find(line), std::string::npos) << c.rule << " lacks: " << line << "\n"
                                                           << r.out << r.err;
    }
}

} // namespace
