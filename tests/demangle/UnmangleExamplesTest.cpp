// Whole-name behaviour of unmangle: each row is a mangled name and the exact
// text it must show as, blanks included, or null where the name must come
// back as the very same pointer.
#include "demangle/unmangle.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

struct Example {
    const char *name;
    const char *shown; // null: not decoded
};

void expectShownAs(const Example &example) {
    char buffer[512];
    std::memset(buffer, 'X', sizeof buffer);
    const char *result = unmangle(example.name, buffer, sizeof buffer);
    if (example.shown == nullptr) {
        EXPECT_EQ(result, example.name) << "decoded as \"" << result << "\"";
    } else {
        ASSERT_EQ(result, buffer) << "not decoded";
        EXPECT_STREQ(result, example.shown);
    }
}

class ExampleTable : public testing::TestWithParam<Example> {};

TEST_P(ExampleTable, ShownExactly) {
    SCOPED_TRACE(GetParam().name);
    expectShownAs(GetParam());
}

// The signature scheme: entities, name parts and operators.
const Example signatureEntities[] = {
    {"foo__Fv", "foo(void)"},
    {"foo__Fv_i", "foo(void)"},
    {"foo___Fv", "foo_(void)"},
    {"___pl__3FooFi", "Foo::___pl(int)"},
    {"foo__", nullptr},
    {"foo__S", nullptr},
    {"__mod_I__abc", nullptr},
    {"__mod_D__abc", nullptr},
    {"Yield_12__Fv", "Yield_12"},
    {"_Yield_7__Fv", "_Yield_7"},
    {"__vt__3Foo", "Foo::__vt"},
    {"__vt__3Foo__3Bar", "Bar::[virtual table] 3Foo"},
    {"x__3Foo", "Foo::x"},
    {"x__3FooS", "static Foo::x"},
    {"x__3FooSS", "Foo::x"},
    {"x__3Foo_", nullptr},
    {"m__3FooVCFi", "Foo::m(int)const volatile "},
    {"m__3FooCCFi", "Foo::m(int)"},
    {"a__3FooVCF", nullptr},
    {"foo__y7bar__FvFi", "foo(int) of bar(void)"},
    {"foo__y9bar__FvFi", nullptr},
    {"x__y7bar__Fv3Foo", "Foo::x"},
    {"foo__Fi.x__Fc.y__Fl", "y(long) of x(char) of foo(int)"},
    {"foo__Fi.", nullptr},
    {"__ct__3FooFv", "Foo::Foo(void)"},
    {"__dt__3FooFv", "Foo::~Foo(void)"},
    {"__ct__Q28typeinfo9Type_infoFv", "typeinfo::Type_info::Type_info(void)"},
    {"__dt__Q28typeinfo9Type_infoFv", "typeinfo::Type_info::~Type_info(void)"},
    {"__ct__ti_3VecFv", "Vec<int>::Vec<int>(void)"},
    {"__dt__QFv", "::~(void)"},
    {"__ct__QFv", "::(void)"},
    {"bar__3FooFi", "Foo::bar(int)"},
    {"bar__3FooCFi", "Foo::bar(int)const "},
    {"bar__3FooSFi", "static Foo::bar(int)"},
    {"__nw__3FooSFUi", "static Foo::operator new(unsigned int)"},
    {"__nw__FUi", "operator new(unsigned int)"},
    {"__dl__FPv", "operator delete(void*)"},
    {"__pl__3FooFRC3Foo", "Foo::operator +(const Foo&)"},
    {"__op__i__3FooFv", "Foo::operator int(void)"},
    {"__op__PC3Foo__3BarCFv", "Bar::operator const Foo*(void)const "},
    {"__op__i3FooFv", nullptr},
    {"__eq__Q28typeinfo9Type_infoCFRCQ28typeinfo9Type_info",
     "typeinfo::Type_info::operator ==(typeinfo::Type_info&)const "},
    {"__am__Fv", "__am(void)"},
    {"__alloc__Fv", nullptr},
    {"__abc__Fv", "__abc(void)"},
    {"__aerial__Fv", "__aerial(void)"},
    {"__aax__Fv", "__aax(void)"},
    {"a__x3Bar3FooFv", "Foo::Bar::a(void)"},
    {"a__Q", "::a"},
    {"Foo", nullptr},
    {"printf@@VERS_2.0", nullptr},
};
INSTANTIATE_TEST_SUITE_P(SignatureEntities, ExampleTable, testing::ValuesIn(signatureEntities));

// Type codes, declarators and parameter repeats.
const Example types[] = {
    {"f__Fsilcfdgrv", "f(short,int,long,char,float,double,long double,long double,void)"},
    {"f__FLeB", "f(long long,...,!)"},
    {"foo__FiT1", "foo(int,int)"},
    {"foo__FiN21", "foo(int,int,int)"},
    {"foo__FiT2", "foo(int,)"},
    {"foo__FN22", "foo(,)"},
    {"foo__FiN01", "foo(int)"},
    {"foo__FiT12", nullptr},
    {"f__FiiiiiiiiicT10_", "f(int,int,int,int,int,int,int,int,int,char,char)"},
    {"foo__FiN", nullptr},
    {"foo__FiNx", nullptr},
    {"f__F7Abcdefgj8", "f(Abcdefg,Abcdefg)"},
    {"f__Fj0", nullptr},
    {"f__Fj9", nullptr},
    {"foo__Fh3", "foo(?\?\?)"},
    {"foo__Fhi0", "foo(?\?\?)"},
    {"foo__Fh", nullptr},
    {"foo__Fh!", nullptr},
    {"f__FCPc", "f(char*)"},
    {"f__FPCc", "f(const char*)"},
    {"f__FDnPc", "f(char*)"},
    {"f__FSc", "f(signed char)"},
    {"f__Fwc", "f(signed char)"},
    {"f__FucUc", "f(unsigned char,unsigned char)"},
    {"f__FVCi", "f(volatile const int)"},
    {"f__FDnDfDhi", "f(near far huge int)"},
    {"f__Fzczzvzznzzfzi", "f(const volatile near far int)"},
    {"f__FD", nullptr},
    {"f__FCh1", "f(const ?\?\?)"},
    {"f__FB", "f(!)"},
    {"f__Fe", "f(...)"},
    {"f__Fr", "f(long double)"},
    {"f__FPA3_i", "f(int*[3])"},
    {"f__FPa3_i", "f(int(*)[3])"},
    {"f__FPq_i", nullptr},
    {"f__FPqi_v", "f(void(*)(int))"},
    {"f__FA3i", nullptr},
    {"f__FA0_i", "f(int[0])"},
    {"f__FA_c", "f(char[0])"},
    {"f__FA4294967295_c", "f(char[-1])"},
    {"f__Fi$x", "f(int)"},
    {"f__Fiofx", "f(int)"},
    {"f__Fo", nullptr},
    {"f__FUiFi_v", "f(unsigned int,void(int))"},
    {"f__FF_v", nullptr},
    {"f__FFi", "f((int))"},
    {"foo__FQ", "foo()"},
    {"f__FA3_Q", "f([3])"},
    {"f__FQ13FooPi", "f(Foo,int*)"},
    {"f__FQ03Foo", "f(Foo)"},
    {"f__FPQ13Foo", "f(Foo)"},
    {"f__FPQ23Foo3Bar", "f(Foo::Bar*)"},
    {"f__FQ2Q", nullptr},
    {"f__FQ23FooQ", nullptr},
    {"f__FQ33Foo", nullptr},
    {"f__FPx3Bar3Foo", "f(Foo::Bar*)"},
    {"f__FxQ3Foo", nullptr},
    {"f__FRC3Foo", "f(const Foo&)"},
    {"f__F3Fo", nullptr},
    {"f__F0i", "f(,int)"},
    {"f__Fy0", "f()"},
    {"f__Fy7bar__Fv", "f({bar(void)})"},
    {"f__Fy1ii", "f(,int,int)"},
    {"f__Fy9bar", nullptr},
    {"f__Fy", nullptr},
    {"f__Fyx", nullptr},
    {"g__FRA5_c", "g(char&[5])"},
    {"g__FRa5_c", "g(char(&)[5])"},
    {"f__FA2_A3_i", "f(int[3][2])"},
    {"f__FM3Fooi", "f(intFoo::*)"},
    {"f__FM3FooPi", "f(int*Foo::*)"},
    {"f__FM3Foopi", "f(int*Foo::* )"},
    {"f__FM3Foomi", nullptr},
    {"f__FM3Foom3Bari", "f(intBar::*Foo::* )"},
    {"f__FM3FooFi_v", "f(void(Foo::*)(int))"},
    {"f__Fm3Fooa2_i", "f(int(Foo::*)[2])"},
    {"f__FMQi", nullptr},
    {"f__Ft3Foo1i_3Bar", "f(Bar<Foo,i>)"},
    {"f__FXi_3Bar", "f(Bar<int>)"},
    {"f__FXi$3BarPc", "f(Bar<int>,char*)"},
    {"f__FXiof3Bar", "f(Bar<int>)"},
    {"f__FPXi_3Bar", "f(Bar<int>*)"},
    {"f__FX_3Bar", nullptr},
    {"f__FXi_Q", nullptr},
    {"f__FXi", "f()"},
    {"foo__FPCcUlT1", "foo(const char*,unsigned long,const char*)"},
    {"f__FPFPc_i", "f(int(*)(char*))"},
    {"f__FRCiT1N21", "f(const int&,const int&,const int&,const int&)"},
};
INSTANTIATE_TEST_SUITE_P(Types, ExampleTable, testing::ValuesIn(types));

// The "@" scheme and the keyword scheme.
const Example keywordSchemes[] = {
    {"__opnew@qUi$Pv", "void* operator  new(unsigned int)"},
    {"__opdelete@qPv$0", "operator  delete(void*)"},
    {"f@qiRc$v", "void f(int,char&)"},
    {"f@qirc$v", "void f(int,char&)"},
    {"f@qib1b_21$v", "void f(int,int,int,int)"},
    {"f@qib2$v", "void f(int,)"},
    {"f@qcib_01$v", "void f(char,int)"},
    {"f@qcij1$v", "void f(char,int,int)"},
    // Base 18, lowest place first: "i1" is 18, "j1" 19, "h" 17, "k2" 38.
    {"f@q1a1b1c1d1e1f1g1h1i1j1k1l1m1n1o1p1q1r1sbi1bj1bhbk2$v",
     "void f(a,b,c,d,e,f,g,h,i,j,k,l,m,n,o,p,q,r,s,r,s,q,)"},
    {"f@qib_x1$v", nullptr},
    {"f@qib$v", nullptr},
    {"f@qi$vtrailing", "void f(int)"},
    {"f@qi@3Foo", "Foo::f(int)"},
    {"f@qi", "f(int)"},
    {"f@q$v", "void f"},
    {"f@qA2$i$v", "void f(int[2])"},
    {"f@qA2_i$v", nullptr},
    {"f@qXi$3Bar$v", "void f(Bar<int>)"},
    {"bar@qPc$0@Q28typeinfo9Type_info", "typeinfo::Type_info::bar(char*)"},
    {"__dtor3Foo@@3Foo", "Foo::~3Foo"},
    {"__vt__Foo@@3Bar", "Bar::[virtual table] Foo"},
    {"__vt__Foo__ofqi", nullptr},
    {"f__ofqrcofv", "void f(char&)"},
    {"name@qi$v@3Foo", "void Foo::name(int)"},
    {"name@qi$0@3Foo", "Foo::name(int)"},
    {"name@@3Foo", "Foo::name"},
    {"name@3Foo", "Foo::name"},
    {"name@@Q", "name"},
    {"__opstar@qi$i@3Foo", "int Foo::operator *(int)"},
    {"__opconv@i@@3Foo", "Foo::operator int"},
    {"__opconvx@qi$v", "void x(int)"},
    {"__opconv@Q@qi$v", nullptr},
    {"f__ofqiofv__in3Foo", "void Foo::f(int)"},
    {"__vt__Foo__in3Bar", "Bar::[virtual table] Foo"},
    {"x__in3Foo", nullptr},
    {"f__ofqA2ofiofv", "void f(int[2])"},
    {"f__ofqy7g__ofqiofv", "void f({g(int)})"},
    {"__opfoo@qi$v", "void __opfoo(int)"},
};
INSTANTIATE_TEST_SUITE_P(KeywordSchemes, ExampleTable, testing::ValuesIn(keywordSchemes));

// Every row of both operator tables.  In the signature scheme a code stands
// between "__" and "__"; in the others a word follows "__op", and the first
// word that the text begins with must win.
TEST(OperatorTables, EveryCodeGivesItsText) {
    const Example codes[] = {
        {"aad", "&="},  {"aa", "&&"},     {"adv", "/="}, {"ad", "&"},   {"aer", "^="},
        {"als", "<<="}, {"amd", "%="},    {"ami", "-="}, {"amu", "*="}, {"aor", "|="},
        {"apl", "+="},  {"ars", ">>="},   {"as", "="},   {"cl", "()"},  {"cm", ","},
        {"co", "~"},    {"dl", "delete"}, {"dv", "/"},   {"eq", "=="},  {"er", "^"},
        {"ge", ">="},   {"gt", ">"},      {"le", "<="},  {"ls", "<<"},  {"lt", "<"},
        {"md", "%"},    {"mi", "-"},      {"ml", "*"},   {"mm", "--"},  {"ne", "!="},
        {"nt", "!"},    {"nw", "new"},    {"oo", "||"},  {"or", "|"},   {"pl", "+"},
        {"pp", "++"},   {"rf", "->"},     {"rm", "->*"}, {"rs", ">>"},
    };
    for (const Example &code : codes) {
        std::string name = std::string("__") + code.name + "__Fv";
        std::string shown = std::string("operator ") + code.shown + "(void)";
        SCOPED_TRACE(name);
        expectShownAs({name.c_str(), shown.c_str()});
    }
    // A code of three letters whose third does not follow fails the name,
    // except after "am".
    for (const char *refused : {"__ae__Fv", "__al__Fv", "__ao__Fv", "__ap__Fv", "__ar__Fv"})
        expectShownAs({refused, nullptr});

    const Example words[] = {
        {"xorie", "^="}, {"xori", "^"},         {"subsc", "[]"}, {"sube", "-="},  {"sub", "-"},
        {"star", "*"},   {"shre", ">>="},       {"shr", ">>"},   {"shle", "<<="}, {"shl", "<<"},
        {"ppfm", "->*"}, {"pp", "++"},          {"pfm", ".*"},   {"orie", "|="},  {"ori", "|"},
        {"or", "||"},    {"noti", "~"},         {"not", "!"},    {"new", " new"}, {"neq", "!="},
        {"mpye", "*="},  {"mode", "%="},        {"mod", "%"},    {"mm", "--"},    {"lss", "<"},
        {"leq", "<="},   {"gtr", ">"},          {"geq", ">="},   {"eql", "=="},   {"dive", "/="},
        {"div", "/"},    {"delete", " delete"}, {"comma", ","},  {"call", "()"},  {"asn", "="},
        {"arrow", "->"}, {"ande", "&="},        {"and", "&&"},   {"amp", "&"},    {"adde", "+="},
        {"add", "+"},
    };
    for (const Example &word : words) {
        std::string name = std::string("__op") + word.name + "@qi$0";
        std::string shown = std::string("operator ") + word.shown + "(int)";
        SCOPED_TRACE(name);
        expectShownAs({name.c_str(), shown.c_str()});
    }
}

} // namespace
