#include "core/numforms.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <vector>

#include "support/faults.h"

namespace kandor {
namespace {

using testing::faultNumber;

TEST(PlainForm, SingleAndDouble) {
    struct Case {
        double value;
        bool isSingle, trim;
        const char* expected;
    } cases[] = {{0.5, true, false, " .5"},
                 {-0.25, true, false, "-.25"},
                 {12, true, false, " 12"},
                 {-0.0, true, true, "0"},
                 {1e20, true, false, " 1E+20"},
                 {1.5e-7, true, true, "1.5E-07"},
                 {12345678, true, true, "1.234568E+07"},
                 {0.0001, true, true, ".0001"},
                 {1.35985071695148, true, true, "1.359851"},
                 {1.35985071695148, false, true, "1.35985071695148"},
                 {1234567890123456.0, false, true, "1.23456789012346E+15"}};
    for (const auto& c : cases) {
        std::string got = c.isSingle ? plainSingle(static_cast<float>(c.value), c.trim)
                                     : plainDouble(c.value, c.trim);
        EXPECT_EQ(got, c.expected) << c.value;
    }
    EXPECT_EQ(plainInt(7) + plainInt(-7), " 7-7");
}

// "1.79769313486232E+308" is beyond the largest double, so a slot holding it could not be read
// a second time.
TEST(PlainForm, EveryDoubleReadsBack) {
    constexpr double kLargest = std::numeric_limits<double>::max();
    struct Case {
        double value;
        const char* plain;
    } cases[] = {{kLargest, "1.7976931348623157E+308"},
                 {-kLargest, "-1.7976931348623157E+308"},
                 {std::nextafter(kLargest, 0.0), "1.7976931348623155E+308"},
                 {1.7976931348623e308, "1.7976931348623E+308"},
                 {1.79769313486231e308, "1.79769313486231E+308"}};
    for (const auto& c : cases) {
        EXPECT_EQ(plainDouble(c.value, true), c.plain);
        std::string list;
        appendPlainDouble(list, c.value);
        EXPECT_EQ(list, c.plain);
        EXPECT_EQ(readLenient(c.plain), c.value) << c.plain;
        const std::string fixed = formatPattern(c.value, "#0.00");
        EXPECT_EQ(fixed.size(), c.value < 0 ? 313u : 312u);
        EXPECT_EQ(readLenient(fixed), c.value) << fixed;
    }
}

TEST(GeneralForm, SevenDigitsPositionalWithinRange) {
    struct Case {
        float value;
        const char* expected;
    } cases[] = {{-0.0f, "0"},
                 {90, "90"},
                 {22.5f, "22.5"},
                 {-1, "-1"},
                 {0.5f, "0.5"},
                 {12345678, "12345680"},
                 {0.00001f, "0.00001"},
                 {4170.2998f, "4170.3"},
                 {1e14f, "100000000000000"},
                 {1e15f, "1E15"},
                 {1.5e-20f, "1.5E-20"},
                 {1e-15f, "0.000000000000001"},
                 {-3.4e38f, "-3.4E38"}};
    for (const auto& c : cases)
        EXPECT_EQ(generalSingle(c.value), c.expected) << c.value;
}

// The table path (whole thousandths) and the general path must agree, so both are here.
TEST(Patterns, RoundHalfAwayFromZeroOnFifteenDigits) {
    struct Case {
        double value;
        const char* pattern;
        const char* expected;
    } cases[] = {{0, "#0.00", "0.00"},
                 {1234.5, "#0.00", "1234.50"},
                 {0.125, "#0.00", "0.13"},
                 {2.675, "#0.00", "2.68"},
                 {0.005, "#0.00", "0.01"},
                 {0.0049, "#0.00", "0.00"},
                 {-0.001, "#0.00", "-0.00"},
                 {99.995, "#0.00", "100.00"},
                 {1e20, "#0.00", "100000000000000000000.00"},
                 {1.234567, "#0.00000", "1.23457"},
                 {1.5, "#0.00#", "1.50"},
                 {1.2345, "#0.00#", "1.235"}};
    for (const auto& c : cases)
        EXPECT_EQ(formatPattern(c.value, c.pattern), c.expected) << c.value << " " << c.pattern;
    std::string list;
    for (double v : {0.5, -0.25, 1234.125, 0.0, 1e20, 1.0 / 3}) {
        appendPlainDouble(list, v);
        list += ',';
    }
    EXPECT_EQ(list, ".5,-.25,1234.125,0,1E+20,.333333333333333,");
}

TEST(LenientReading, LongestPrefixElseZero) {
    struct Case {
        const char* text;
        double expected;
    } cases[] = {{"  \t.5", 0.5}, {"-.25x", -0.25}, {"1.5E03", 1500}, {"1.5e+3", 1500},
                 {"1E+", 1},      {"+7", 7},        {"abc", 0},       {"-", 0},
                 {".", 0},        {"3,5", 3},       {"\n5", 0},       {"1e-400", 0}};
    for (const auto& c : cases)
        EXPECT_DOUBLE_EQ(readLenient(c.text), c.expected) << c.text;
    EXPECT_EQ(faultNumber([] { readLenient("1E999"); }), 6);
}

TEST(NumericTest, AcceptsOnlyPlainDecimalNotation) {
    for (auto t : {"0", " 12 ", "\t-1.5", "+3", ".5", "5.", "1.5e-3", "-2E+07 "})
        EXPECT_TRUE(isNumeric(t)) << t;
    for (auto t : {"", " ", "-", ".", "1,5", "1D3", "5-", "$5", "&H1", "1E+", "1 2", "e5"})
        EXPECT_FALSE(isNumeric(t)) << t;
}

TEST(Conversions, HalvesToEvenAndOverflowAsFaultSix) {
    EXPECT_EQ((std::vector<int>{toInt16(2.5), toInt16(3.5), toInt16(-2.5)}),
              (std::vector<int>{2, 4, -2}));
    EXPECT_EQ(toInt32(1234567.5), 1234568);
    EXPECT_EQ(toInt16(std::string_view(" 7 ")), 7);
    EXPECT_EQ(faultNumber([] { toInt16(32767.5); }), 6);
    EXPECT_EQ(faultNumber([] { toInt32(3e9); }), 6);
    EXPECT_EQ(faultNumber([] { toSingle(1e39); }), 6);
    EXPECT_EQ(faultNumber([] { toSingle(std::string_view("abc")); }), 13);
}

TEST(NumberForms, IgnoreTheUserLocale) {
    // A desktop session in a comma-decimal locale must not change the exchanged text.
    std::string saved = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no de_DE locale";
    EXPECT_EQ(plainSingle(0.5f) + generalSingle(22.5f) + formatPattern(1.5, "#0.00"),
              " .522.51.50");
    EXPECT_DOUBLE_EQ(readLenient("1.5"), 1.5);
    std::setlocale(LC_ALL, saved.c_str());
}

}  // namespace
}  // namespace kandor
