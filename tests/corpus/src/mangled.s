# Symbols named the way old C++ compilers mangled them, in three schemes:
#   cfront style:  name__<class><signature>, e.g. draw__3FooFi, __ct__3FooFv
#   at-sign style: name@q<parameters>$<return>@<class>, e.g. name@qi$v@3Foo
#   keyword style: name__ofq<parameters>of<return>__in<class>
# plus a few names that only look mangled.  The code bodies are placeholder
# words: only the symbol table matters.  No instructions are used, so the
# same source assembles for every target.

	.file	"mangled.s"
	.text
	.p2align 2

# cfront-style functions
	.globl	"__ct__3FooFv"
	.type	"__ct__3FooFv", %function
"__ct__3FooFv":
	.4byte	0
	.4byte	0
	.size	"__ct__3FooFv", 8
	.globl	"__dt__3FooFv"
	.type	"__dt__3FooFv", %function
"__dt__3FooFv":
	.4byte	0
	.4byte	0
	.size	"__dt__3FooFv", 8
	.globl	"area__3FooCFv"
	.type	"area__3FooCFv", %function
"area__3FooCFv":
	.4byte	0
	.4byte	0
	.size	"area__3FooCFv", 8
	.globl	"draw__3FooFi"
	.type	"draw__3FooFi", %function
"draw__3FooFi":
	.4byte	0
	.4byte	0
	.size	"draw__3FooFi", 8
	.globl	"__pl__3FooFRC3Foo"
	.type	"__pl__3FooFRC3Foo", %function
"__pl__3FooFRC3Foo":
	.4byte	0
	.4byte	0
	.size	"__pl__3FooFRC3Foo", 8
	.globl	"__as__3FooFRC3Foo"
	.type	"__as__3FooFRC3Foo", %function
"__as__3FooFRC3Foo":
	.4byte	0
	.4byte	0
	.size	"__as__3FooFRC3Foo", 8
	.globl	"m__3FooVCFi"
	.type	"m__3FooVCFi", %function
"m__3FooVCFi":
	.4byte	0
	.4byte	0
	.size	"m__3FooVCFi", 8
	.globl	"foo__Fv"
	.type	"foo__Fv", %function
"foo__Fv":
	.4byte	0
	.4byte	0
	.size	"foo__Fv", 8
	.globl	"foo___Fv"
	.type	"foo___Fv", %function
"foo___Fv":
	.4byte	0
	.4byte	0
	.size	"foo___Fv", 8
	.globl	"foo__y7bar__FvFi"
	.type	"foo__y7bar__FvFi", %function
"foo__y7bar__FvFi":
	.4byte	0
	.4byte	0
	.size	"foo__y7bar__FvFi", 8
	.globl	"foo__Fi.x__Fc.y__Fl"
	.type	"foo__Fi.x__Fc.y__Fl", %function
"foo__Fi.x__Fc.y__Fl":
	.4byte	0
	.4byte	0
	.size	"foo__Fi.x__Fc.y__Fl", 8
	.globl	"Yield_12__Fv"
	.type	"Yield_12__Fv", %function
"Yield_12__Fv":
	.4byte	0
	.4byte	0
	.size	"Yield_12__Fv", 8
	.globl	"print__3BarFPCce"
	.type	"print__3BarFPCce", %function
"print__3BarFPCce":
	.4byte	0
	.4byte	0
	.size	"print__3BarFPCce", 8
	.globl	"__mod_I__abc"
	.type	"__mod_I__abc", %function
"__mod_I__abc":
	.4byte	0
	.4byte	0
	.size	"__mod_I__abc", 8
	.globl	"__alloc__Fv"
	.type	"__alloc__Fv", %function
"__alloc__Fv":
	.4byte	0
	.4byte	0
	.size	"__alloc__Fv", 8
	.globl	"__am__Fv"
	.type	"__am__Fv", %function
"__am__Fv":
	.4byte	0
	.4byte	0
	.size	"__am__Fv", 8

# at-sign style functions
	.globl	"name@qi$v@3Foo"
	.type	"name@qi$v@3Foo", %function
"name@qi$v@3Foo":
	.4byte	0
	.4byte	0
	.size	"name@qi$v@3Foo", 8
	.globl	"name@qi$0@3Foo"
	.type	"name@qi$0@3Foo", %function
"name@qi$0@3Foo":
	.4byte	0
	.4byte	0
	.size	"name@qi$0@3Foo", 8
	.globl	"__opstar@qi$i@3Foo"
	.type	"__opstar@qi$i@3Foo", %function
"__opstar@qi$i@3Foo":
	.4byte	0
	.4byte	0
	.size	"__opstar@qi$i@3Foo", 8
	.globl	"__opconv@i@@3Foo"
	.type	"__opconv@i@@3Foo", %function
"__opconv@i@@3Foo":
	.4byte	0
	.4byte	0
	.size	"__opconv@i@@3Foo", 8
	.globl	"__opnew@qUi$Pv"
	.type	"__opnew@qUi$Pv", %function
"__opnew@qUi$Pv":
	.4byte	0
	.4byte	0
	.size	"__opnew@qUi$Pv", 8
	.globl	"__opdelete@qPv$0"
	.type	"__opdelete@qPv$0", %function
"__opdelete@qPv$0":
	.4byte	0
	.4byte	0
	.size	"__opdelete@qPv$0", 8
	.globl	"f@qiRc$v"
	.type	"f@qiRc$v", %function
"f@qiRc$v":
	.4byte	0
	.4byte	0
	.size	"f@qiRc$v", 8
	.globl	"f@qib1b_21$v"
	.type	"f@qib1b_21$v", %function
"f@qib1b_21$v":
	.4byte	0
	.4byte	0
	.size	"f@qib1b_21$v", 8
	.globl	"bar@qPc$0@Q28typeinfo9Type_info"
	.type	"bar@qPc$0@Q28typeinfo9Type_info", %function
"bar@qPc$0@Q28typeinfo9Type_info":
	.4byte	0
	.4byte	0
	.size	"bar@qPc$0@Q28typeinfo9Type_info", 8

# keyword style functions
	.globl	"f__ofqiofv__in3Foo"
	.type	"f__ofqiofv__in3Foo", %function
"f__ofqiofv__in3Foo":
	.4byte	0
	.4byte	0
	.size	"f__ofqiofv__in3Foo", 8
	.globl	"f__ofqrcofv"
	.type	"f__ofqrcofv", %function
"f__ofqrcofv":
	.4byte	0
	.4byte	0
	.size	"f__ofqrcofv", 8

# file-local functions
	.type	"cache__Fv", %function
"cache__Fv":
	.4byte	0
	.4byte	0
	.size	"cache__Fv", 8
	.type	"__sti__mangled_s_", %function
"__sti__mangled_s_":
	.4byte	0
	.4byte	0
	.size	"__sti__mangled_s_", 8

# plain C names beside them
	.globl	"main"
	.type	"main", %function
"main":
	.4byte	0
	.4byte	0
	.size	"main", 8

	.data
	.p2align 2

# virtual tables and static members
	.globl	"__vt__3Foo"
	.type	"__vt__3Foo", %object
"__vt__3Foo":
	.4byte	"__ct__3FooFv"
	.4byte	"__dt__3FooFv"
	.4byte	"area__3FooCFv"
	.4byte	"draw__3FooFi"
	.size	"__vt__3Foo", 16
	.globl	"__vt__3Foo__3Bar"
	.type	"__vt__3Foo__3Bar", %object
"__vt__3Foo__3Bar":
	.4byte	"print__3BarFPCce"
	.4byte	0
	.size	"__vt__3Foo__3Bar", 8
	.globl	"x__3FooS"
	.type	"x__3FooS", %object
"x__3FooS":
	.4byte	7
	.size	"x__3FooS", 4
	.globl	"count__3Bar"
	.type	"count__3Bar", %object
"count__3Bar":
	.4byte	0
	.size	"count__3Bar", 4
	.globl	"name@@3Foo"
	.type	"name@@3Foo", %object
"name@@3Foo":
	.4byte	1
	.size	"name@@3Foo", 4
	.globl	"__vt__Foo@@3Bar"
	.type	"__vt__Foo@@3Bar", %object
"__vt__Foo@@3Bar":
	.4byte	"name@qi$v@3Foo"
	.4byte	"__opstar@qi$i@3Foo"
	.size	"__vt__Foo@@3Bar", 8
	.globl	"x__in3Foo"
	.type	"x__in3Foo", %object
"x__in3Foo":
	.4byte	"f__ofqiofv__in3Foo"
	.size	"x__in3Foo", 4

# references to names defined elsewhere
	.type	call_table, %object
call_table:
	.4byte	"printf@@VERS_2.0"
	.4byte	"__nw__FUi"
	.4byte	"__dl__FPv"
	.4byte	"helper@qi$v"
	.4byte	"g__ofqiofv"
	.4byte	"cache__Fv"
	.4byte	"__sti__mangled_s_"
	.size	call_table, 28

	.bss
	.p2align 2
	.type	"instances__3Foo", %object
	.globl	"instances__3Foo"
"instances__3Foo":
	.zero	16
	.size	"instances__3Foo", 16
	.comm	"pool__3Bar",32,4
