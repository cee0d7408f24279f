#!/usr/bin/env python3
"""Records the symbol tables of corpus objects, as llvm-readobj reads them,
into ElfCorpusExpected.h for ElfCorpusTest.  Run from the source root:
    python3 tests/elf/record-corpus-symbols.py > tests/elf/ElfCorpusExpected.h
A file with a dynamic symbol table is recorded by that table, as the reader
lists it; any other by its static table."""
import re, subprocess, sys

FILES = ["i386-shapes.o", "i386-mangled.o", "i386-prog", "arm-shapes.o", "arm-shapes-llvm.o",
         "arm-base.so", "mips-shapes.o", "mips-prog", "ppc-shapes.o", "ppc-emb-shapes.o",
         "ppc-base.so", "ppc-plugin.so", "sparc-shapes.o", "m68k-shapes.o"]

def symbols(path):
    sections = subprocess.run(["llvm-readobj", "--sections", path], capture_output=True,
                              text=True, check=True).stdout
    dynamic = "SHT_DYNSYM" in sections
    out = subprocess.run(["llvm-readobj", "--dyn-symbols" if dynamic else "--symbols", path],
                         capture_output=True, text=True, check=True).stdout
    rows, cur = [], None
    for line in out.splitlines():
        line = line.strip()
        if line == "Symbol {":
            cur = {}
        elif line == "}" and cur is not None:
            rows.append(cur)
            cur = None
        elif cur is not None and ":" in line:
            key, value = line.split(":", 1)
            cur[key] = value.strip()
    result = []
    for i, r in enumerate(rows):
        if i == 0:
            continue
        m = re.match(r"(.*?)\s*\((\d+)\)$", r["Name"])
        name = "" if m.group(2) == "0" else m.group(1)
        if dynamic:  # llvm-readobj shows dynamic symbols with their version
            name = name.split("@")[0]
        num = lambda s: int(re.search(r"\((0x[0-9A-Fa-f]+)\)$", s).group(1), 16)
        result.append((i, int(r["Value"], 16), int(r["Size"]), num(r["Binding"]), num(r["Type"]),
                       num(r["Section"]), name))
    return result

print("// Symbol tables of corpus objects as llvm-readobj reads them; made by")
print("// record-corpus-symbols.py.  Rows: index, value, size, binding, type,")
print("// section index, name.")
print("#pragma once\n")
print('#include "ElfCorpusRow.h"\n')
print("inline const CorpusFile corpusFiles[] = {")
for f in FILES:
    rows = symbols("tests/corpus/" + f)
    print('    {"%s", %d, {' % (f, len(rows)))
    for r in rows:
        print('        {%d, 0x%x, %d, %d, %d, 0x%x, "%s"},' % r)
    print("    }},")
print("};")
