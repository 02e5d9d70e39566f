#include "core/numforms.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <clocale>

#include "core/runtimefault.h"

namespace kandor {
namespace {

TEST(PlainForm, SingleAndDouble) {
    struct Case {
        double value;
        bool isSingle;
        bool trim;
        const char* expected;
    } cases[] = {
        {0.5, true, false, " .5"},
        {-0.25, true, false, "-.25"},
        {12, true, false, " 12"},
        {12, true, true, "12"},
        {0, true, false, " 0"},
        {-0.0, true, true, "0"},
        {1e20, true, false, " 1E+20"},
        {1.5e-7, true, true, "1.5E-07"},
        {1234567, true, true, "1234567"},
        {12345678, true, true, "1.234568E+07"},
        {0.0001, true, true, ".0001"},
        {0.00001, true, true, "1E-05"},
        {-1, true, false, "-1"},
        {1.35985071695148, true, true, "1.359851"},
        {1.35985071695148, false, true, "1.35985071695148"},
        {0.1, false, true, ".1"},
        {123456789012345.0, false, true, "123456789012345"},
        {1234567890123456.0, false, true, "1.23456789012346E+15"},
    };
    for (const auto& c : cases) {
        std::string got = c.isSingle ? plainSingle(static_cast<float>(c.value), c.trim)
                                     : plainDouble(c.value, c.trim);
        EXPECT_EQ(got, c.expected) << c.value;
    }
    EXPECT_EQ(plainInt(7), " 7");
    EXPECT_EQ(plainInt(-7), "-7");
    EXPECT_EQ(plainInt(0, true), "0");
}

TEST(GeneralForm, SevenDigitsPositionalWithinRange) {
    struct Case {
        float value;
        const char* expected;
    } cases[] = {
        {0, "0"},
        {-0.0f, "0"},
        {90, "90"},
        {22.5f, "22.5"},
        {-1, "-1"},
        {0.5f, "0.5"},
        {-2, "-2"},
        {12345678, "12345680"},
        {0.00001f, "0.00001"},
        {1.35985071695148f, "1.359851"},
        {4170.2998f, "4170.3"},
        {112.5f, "112.5"},
        {1e14f, "100000000000000"},
        {1e15f, "1E15"},
        {1e20f, "1E20"},
        {1.5e-20f, "1.5E-20"},
        {1e-15f, "0.000000000000001"},
        {-3.4e38f, "-3.4E38"},
        {65.58f, "65.58"},
        {0.1f, "0.1"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(generalSingle(c.value), c.expected) << c.value;
}

TEST(Patterns, RoundHalfAwayFromZeroOnFifteenDigits) {
    struct Case {
        double value;
        const char* pattern;
        const char* expected;
    } cases[] = {
        {0, "#0.00", "0.00"},
        {1234.5, "#0.00", "1234.50"},
        {12.345, "#0.00", "12.35"},
        {0.125, "#0.00", "0.13"},
        {2.675, "#0.00", "2.68"},
        {0.005, "#0.00", "0.01"},
        {0.0049, "#0.00", "0.00"},
        {-0.001, "#0.00", "-0.00"},
        {-12.345, "#0.00", "-12.35"},
        {99.995, "#0.00", "100.00"},
        {1e20, "#0.00", "100000000000000000000.00"},
        {1e-20, "#0.00", "0.00"},
        {2, "#0.00000", "2.00000"},
        {1.234567, "#0.00000", "1.23457"},
        {1.5, "#0.00#", "1.50"},
        {1.2345, "#0.00#", "1.235"},
        {50, "#0.00#", "50.00"},
        {0.0005, "#0.00#", "0.001"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(formatPattern(c.value, c.pattern), c.expected) << c.value << " " << c.pattern;
}

TEST(LenientReading, LongestPrefixElseZero) {
    struct Case {
        const char* text;
        double expected;
    } cases[] = {
        {"12", 12},       {"  \t.5", 0.5}, {"-.25x", -0.25}, {"1.5E03", 1500},
        {"1.5e+3", 1500}, {"1E", 1},       {"1E+", 1},       {"+7", 7},
        {"abc", 0},       {"", 0},         {"-", 0},         {".", 0},
        {"3,5", 3},       {"\n5", 0},      {"1e-400", 0},    {"00012.50", 12.5},
    };
    for (const auto& c : cases)
        EXPECT_DOUBLE_EQ(readLenient(c.text), c.expected) << c.text;
    try {
        readLenient("1E999");
        FAIL() << "expected an overflow";
    } catch (const RuntimeFault& f) {
        EXPECT_EQ(f.number(), 6);
        EXPECT_EQ(f.description(), "Overflow");
    }
}

TEST(NumericTest, AcceptsOnlyPlainDecimalNotation) {
    const char* numeric[] = {"0", " 12 ", "\t-1.5", "+3", ".5", "5.", "1E5", "1.5e-3", "-2E+07 "};
    const char* notNumeric[] = {"",   " ",   "-",  ".",   "1,5", "1D3",   "5-",
                                "$5", "&H1", "1E", "1E+", "1 2", "12abc", "e5"};
    for (auto t : numeric)
        EXPECT_TRUE(isNumeric(t)) << t;
    for (auto t : notNumeric)
        EXPECT_FALSE(isNumeric(t)) << t;
}

TEST(Conversions, HalvesToEvenAndOverflowAsFaultSix) {
    EXPECT_EQ(toInt16(2.5), 2);
    EXPECT_EQ(toInt16(3.5), 4);
    EXPECT_EQ(toInt16(-2.5), -2);
    EXPECT_EQ(toInt16(32767.4), 32767);
    EXPECT_EQ(toInt32(1234567.5), 1234568);
    EXPECT_EQ(toInt16(std::string_view(" 7 ")), 7);
    EXPECT_FLOAT_EQ(toSingle(std::string_view("22.5")), 22.5f);

    auto faultOf = [](auto&& call) {
        try {
            call();
        } catch (const RuntimeFault& f) {
            return f.number();
        }
        return 0;
    };
    EXPECT_EQ(faultOf([] { toInt16(32767.5); }), 6);
    EXPECT_EQ(faultOf([] { toInt16(-32768.6); }), 6);
    EXPECT_EQ(faultOf([] { toInt32(3e9); }), 6);
    EXPECT_EQ(faultOf([] { toSingle(1e39); }), 6);
    EXPECT_EQ(faultOf([] { toSingle(std::string_view("abc")); }), 13);
    EXPECT_EQ(faultOf([] { toInt16(std::string_view("")); }), 13);
}

TEST(NumberForms, IgnoreTheUserLocale) {
    // A desktop session in a comma-decimal locale must not change the exchanged text.
    const char* previous = std::setlocale(LC_ALL, nullptr);
    std::string saved = previous ? previous : "C";
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no de_DE locale";
    EXPECT_EQ(plainSingle(0.5f), " .5");
    EXPECT_EQ(generalSingle(22.5f), "22.5");
    EXPECT_EQ(formatPattern(1.5, "#0.00"), "1.50");
    EXPECT_DOUBLE_EQ(readLenient("1.5"), 1.5);
    std::setlocale(LC_ALL, saved.c_str());
}

}  // namespace
}  // namespace kandor
