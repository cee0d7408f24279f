#!/bin/sh
# Rebuilds the object-file corpus in tests/corpus/ from the sources in
# tests/corpus/src/.  The outputs are committed, so the build and the tests
# never run this script; run it by hand after changing a source.
#
# It needs these Debian 12 packages:
#   clang-14 ("clang", "clang++")        C and C++ compiler for every target,
#                                        and the assembler for SPARC and 68000
#   binutils                             readelf, ar (host), for the records
#   binutils-i686-linux-gnu              i686-linux-gnu-as, -ld, -strip
#   binutils-arm-linux-gnueabi           arm-linux-gnueabi-as, -ld, -ar
#   binutils-mips-linux-gnu              mips-linux-gnu-as, -ld
#   binutils-powerpc-linux-gnu           powerpc-linux-gnu-as, -ld, -ar
#
# C is compiled by clang into assembly and assembled by the GNU cross
# assembler (-fno-integrated-as), the way a traditional toolchain does it:
# GNU as writes the plain ARM mapping symbols "$a", "$t" and "$d".  One ARM
# object is instead assembled by clang's own assembler, which names its
# mapping symbols "$a.0", "$d.1" and so on.
#
# Every output <name> gets <name>.readelf.txt (readelf -s -W, the expected
# symbols) and <name>.sections.txt (readelf -h -S -W).  Shared objects also
# get <name>.versions.txt (readelf -d -V -W); libraries get
# <name>.index.txt (ar tv and readelf -c, the members and the symbol index).
#
# Usage: sh tests/corpus/make-corpus.sh   (from anywhere)
set -eu

here=$(cd "$(dirname "$0")" && pwd)
src="$here/src"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Code generation common to all targets: freestanding, no position-
# independent code unless asked, uninitialised globals as common blocks, no
# unwind tables or compiler identification.
BASEFLAGS="-ffreestanding -fno-builtin -fcommon -fno-ident -fno-addrsig
  -fno-asynchronous-unwind-tables -fno-unwind-tables"
CFLAGS="-O1 $BASEFLAGS -fno-integrated-as"

# Linker options that keep linked files small: 4 KiB pages, no build id.
LDFLAGS="-z max-page-size=0x1000 -z common-page-size=0x1000 -z noseparate-code
  -z noexecstack
  --build-id=none"

# cc <triple> <extra flags> <source> <output>
# Compiles from inside src/ so that the file symbol holds the plain source
# name.  clang finds the assembler by the triple: <triple>-as.
cc() {
  (cd "$src" && clang --target="$1" $CFLAGS $2 -c -o "$4" "$3")
}

# The four targets, as clang triples (also the binutils prefixes).
i386_t=i686-linux-gnu
arm_t=arm-linux-gnueabi
mips_t=mips-linux-gnu
ppc_t=powerpc-linux-gnu

nopic="-fno-pic"
mipsflags="-fno-pic -mno-abicalls"

# --- Relocatable objects ---------------------------------------------------
cc $i386_t "$nopic" shapes.c "$work/i386-shapes.o"
cc $i386_t "$nopic" support.c "$work/i386-support.o"
# C++ at -O0 keeps its inline functions and template instances, each in a
# COMDAT group (a section of type SHT_GROUP) of its own.
(cd "$src" && clang++ --target=$i386_t -O0 $BASEFLAGS -fno-exceptions -fno-rtti \
  $nopic -fno-integrated-as -c -o "$work/i386-widgets.o" widgets.cpp)
(cd "$src" && i686-linux-gnu-as -o "$work/i386-mangled.o" mangled.s)

cc $arm_t "$nopic" shapes.c "$work/arm-shapes.o"
cc $arm_t "$nopic" support.c "$work/arm-support.o"
cc $arm_t "$nopic" geometry_helpers.c "$work/arm-geometry-helpers.o"
# The same module through clang's integrated assembler ("$a.0" style
# mapping symbols, which are no mapping symbols to a lister that wants the
# plain names).
(cd "$src" && clang --target=$arm_t -O1 $BASEFLAGS $nopic -fintegrated-as \
  -c -o "$work/arm-shapes-llvm.o" shapes.c)

cc $mips_t "$mipsflags" shapes.c "$work/mips-shapes.o"
cc $mips_t "$mipsflags" support.c "$work/mips-support.o"

cc $ppc_t "$nopic" shapes.c "$work/ppc-shapes.o"
cc $ppc_t "$nopic" geometry_helpers.c "$work/ppc-geometry-helpers.o"
# Embedded PowerPC: the assembler sets the EF_PPC_EMB bit (0x80000000) of
# e_flags, which tells the embedded target from the plain one.
cc $ppc_t "$nopic -Wa,-memb" shapes.c "$work/ppc-emb-shapes.o"
(cd "$src" && powerpc-linux-gnu-as -o "$work/ppc-mangled.o" mangled.s)

# Two more big-endian targets, SPARC and Motorola 68000, through clang's
# integrated assembler (no GNU cross assembler needed).
for t in sparc m68k; do
  (cd "$src" && clang --target=$t-linux-gnu -O1 $BASEFLAGS $nopic -fintegrated-as \
    -c -o "$work/$t-shapes.o" shapes.c)
done

# --- Statically linked executables ----------------------------------------
i686-linux-gnu-ld $LDFLAGS -static -e _start -o "$work/i386-prog" \
  "$work/i386-shapes.o" "$work/i386-support.o"
# The same program without its symbol table: a file with nothing to list.
i686-linux-gnu-strip -o "$work/i386-prog-stripped" "$work/i386-prog"
mips-linux-gnu-ld $LDFLAGS -static -e _start -o "$work/mips-prog" \
  "$work/mips-shapes.o" "$work/mips-support.o"

# --- Shared objects with version definitions and requirements --------------
# base.so defines BASE_1.0 and BASE_2.0; plugin.so defines PLUGIN_1.0 and
# PLUGIN_1.1 and needs both BASE versions from libbase.so.1.
shared() {
  arch=$1 triple=$2 prefix=$3 pic=$4
  cc "$triple" "$pic" base.c "$work/$arch-base-pic.o"
  cc "$triple" "$pic" plugin.c "$work/$arch-plugin-pic.o"
  "$prefix-ld" $LDFLAGS -shared -soname libbase.so.1 \
    --version-script "$src/base.map" -o "$work/$arch-base.so" \
    "$work/$arch-base-pic.o"
  "$prefix-ld" $LDFLAGS -shared -soname libplugin.so.1 \
    --version-script "$src/plugin.map" -o "$work/$arch-plugin.so" \
    "$work/$arch-plugin-pic.o" "$work/$arch-base.so"
}
shared arm $arm_t arm-linux-gnueabi -fPIC
# The secure PLT keeps PowerPC's PLT out of a writable, executable segment.
shared ppc $ppc_t powerpc-linux-gnu "-fPIC -msecure-plt"

# --- Libraries ------------------------------------------------------------
# A System V / GNU library with a "/" symbol index; the member
# arm-geometry-helpers.o has a name longer than 15 characters, which puts
# it into the "//" long-name table.
(cd "$work" && arm-linux-gnueabi-ar rcsD libshapes-arm.a arm-shapes.o \
  arm-support.o arm-geometry-helpers.o)
# A library that holds that library as a member, between objects of other
# targets (one of them with a long name too).
(cd "$work" && ar rcsD libnested.a i386-mangled.o libshapes-arm.a \
  ppc-geometry-helpers.o mips-support.o)

# A big-endian library with an index, a long name and mangled names.
(cd "$work" && powerpc-linux-gnu-ar rcsD libppc.a ppc-shapes.o \
  ppc-geometry-helpers.o ppc-mangled.o)

# Libraries without a symbol index ("S"). With short names only, the first
# member is an object; with a long name, the "//" table comes first.
(cd "$work" && ar rcSD libnoindex.a i386-shapes.o i386-support.o)
(cd "$work" && ar rcSD libnoindex-long.a ppc-shapes.o ppc-geometry-helpers.o)

# --- Copy the outputs and write the records ---------------------------------
objects="i386-shapes.o i386-support.o i386-mangled.o i386-widgets.o
  arm-shapes.o arm-support.o arm-geometry-helpers.o arm-shapes-llvm.o
  mips-shapes.o mips-support.o
  ppc-shapes.o ppc-geometry-helpers.o ppc-mangled.o ppc-emb-shapes.o
  sparc-shapes.o m68k-shapes.o"
linked="i386-prog i386-prog-stripped mips-prog"
shlibs="arm-base.so arm-plugin.so ppc-base.so ppc-plugin.so"
libs="libshapes-arm.a libppc.a libnested.a libnoindex.a libnoindex-long.a"

for f in $objects $linked $shlibs $libs; do
  cp "$work/$f" "$here/$f"
done

cd "$here"
for f in $objects $linked $shlibs; do
  readelf -s -W "$f" >"$f.readelf.txt"
  readelf -h -S -W "$f" >"$f.sections.txt"
done
for f in $shlibs; do
  readelf -d -V -W "$f" >"$f.versions.txt"
done
for f in $libs; do
  { ar tvO "$f"; echo; readelf -c "$f" 2>/dev/null || true; } >"$f.index.txt"
done
for f in libshapes-arm.a libppc.a libnoindex.a libnoindex-long.a; do
  readelf -s -W "$f" >"$f.readelf.txt"
done
# readelf cannot look inside a library held in a library; it says so (that
# line is kept in the record), and the inner library's members are then
# listed from a copy named the way a lister shows a nested member:
# libnested.a(libshapes-arm.a)(arm-shapes.o).
inner="$work/libnested.a(libshapes-arm.a)"
(cd "$work" && mkdir x && cd x && ar x ../libnested.a libshapes-arm.a &&
  mv libshapes-arm.a "$inner")
{
  readelf -s -W libnested.a 2>&1 || true
  (cd "$work" && readelf -s -W "libnested.a(libshapes-arm.a)")
} >libnested.a.readelf.txt

# Three of them also serve as the samples that "make run" lists.
for f in i386-shapes.o libppc.a ppc-plugin.so; do
  cp "$f" "$here/../../examples/$f"
done

echo "corpus rebuilt in $here"

# --- COFF objects ------------------------------------------------------------
# i386 COFF objects of the Windows flavour (magic 0x14C), made by clang's own
# assembler: no cross binutils needed.  The C++ one puts each inline member
# function, virtual table and type record in a COMDAT section (flag 0x1000)
# whose defining symbol gives the section its listed name.  Records, by LLVM's
# objdump 14: <name>.syms.txt (llvm-objdump --syms: index, section number,
# type, storage class, auxiliary count, value and name of every entry),
# <name>.headers.txt (llvm-objdump -h) and <name>.relocs.txt (llvm-objdump -r:
# offset, type and target of every relocation entry, section by section).
# Beyond the packages above it needs llvm-14 ("llvm-objdump").
coff_t=i686-pc-windows-msvc
# A time stamp of 0 in the file header keeps the output the same each run.
coffflags="-mno-incremental-linker-compatible"
(cd "$src" && clang --target=$coff_t -O1 $BASEFLAGS $coffflags -c \
  -o "$here/coff-i386-shapes.obj" shapes.c)
(cd "$src" && clang++ --target=$coff_t -O0 $BASEFLAGS $coffflags -fno-exceptions \
  -c -o "$here/coff-i386-widgets.obj" widgets.cpp)
for f in coff-i386-shapes.obj coff-i386-widgets.obj; do
  llvm-objdump --syms "$here/$f" | sed "s|$here/||" >"$here/$f.syms.txt"
  llvm-objdump -h "$here/$f" | sed "s|$here/||" >"$here/$f.headers.txt"
  llvm-objdump -r "$here/$f" | sed "s|$here/||" >"$here/$f.relocs.txt"
done
# The C one is also a sample that "make run" lists.
cp "$here/coff-i386-shapes.obj" "$here/../../examples/coff-i386-shapes.obj"
echo "COFF objects rebuilt in $here"
