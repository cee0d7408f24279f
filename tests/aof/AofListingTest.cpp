// The listing of a kit-made AOF file, whole: each kind of AOF symbol gives
// the row that its attributes and its area say, in both layouts and in both
// byte orders.
#include "AofTestSupport.h"

#include "tool/nm_listing.h"

namespace {

TEST_F(AofTest, ListingOfAnAofFile) {
    const std::string full = "\nlisting.o:\n"
                             "Value        Size Binding  Type  Sect     Name\n"
                             "00000000        0 GLOBAL   FUNC  C$$code  main\n"
                             "00000020        0 LOCAL    FUNC  C$$code  helper\n"
                             "00000004        0 GLOBAL   DATA  C$$data  table\n"
                             "00000000        0 GLOBAL   DATA  C$$zidata buffer\n"
                             "00000008        0 WEAK     DATA  C$$data  fallback\n"
                             "00000000        0 GLOBAL   NOTY  UNDEF    printf\n"
                             "00000010        0 GLOBAL   NOTY  UNDEF    shared\n"
                             "00001234        0 GLOBAL   NOTY  ABS      limit\n"
                             "00000000        0 GLOBAL   NOTY           loose\n";
    const std::string parsable = "\nlisting.o:\n"
                                 "Value     Type  Name\n"
                                 "00000000    T   main\n"
                                 "00000020    t   helper\n"
                                 "00000004    D   table\n"
                                 "00000000    B   buffer\n"
                                 "00000008    d   fallback\n"
                                 "00000000    U   printf\n"
                                 "00000010    U   shared\n"
                                 "00001234    A   limit\n"
                                 "00000000    ?   loose\n";
    const std::string undefinedOnly = "\nUndefined symbols from listing.o:\n"
                                      "    printf\n"
                                      "    shared\n";
    for (auto order : bothOrders) {
        AofBuilder aof(order);
        aof.area("C$$code", AofBuilder::code | AofBuilder::readOnly | 2, std::vector<uint8_t>(64));
        aof.area("C$$data", 2, std::vector<uint8_t>(16));
        aof.zeroArea("C$$zidata", 2, 0x400);
        aof.symbol("main", 0x03, 0, "C$$code");
        aof.symbol("helper", 0x01, 0x20, "C$$code");
        aof.symbol("table", 0x03, 4, "C$$data");
        aof.symbol("buffer", 0x03, 0, "C$$zidata");
        aof.symbol("fallback", 0x13, 8, "C$$data");
        aof.symbol("printf", 0x02, 0);
        // A common reference: undefined, with its size in the value.
        aof.symbol("shared", 0x42, 0x10);
        aof.symbol("limit", 0x07, 0x1234);
        aof.symbol("loose", 0x03, 0);
        LoadedAof loaded = load(aof.build(), "listing.o");
        ASSERT_TRUE(loaded.object) << errors.lines;
        for (const auto &[letters, expected] :
             {std::pair{"-", full}, {"-p", parsable}, {"-u", undefinedOnly}}) {
            nmOptions = optionsOf(letters);
            EXPECT_EQ(captureStdout([&] { displayObject(*loaded.object, errors); }), expected)
                << letters << " (order " << order << ")";
        }
        EXPECT_EQ(errors.lines, "");
    }
}

} // namespace
