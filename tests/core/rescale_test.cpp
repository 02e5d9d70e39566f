#include "core/rescale.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "core/numforms.h"

namespace kandor {
namespace {

namespace t = rescale_text;

// Two planes by three vertical angles, values 100 * h + 10 * v; multiplier 1, 2 lamps of 1000
// lumens.
IesRecord smallRecord(std::int16_t type = 1) {
    IesRecord r;
    r.OtherData.numLamps = 2;
    r.OtherData.lumensPerLamp = 1000;
    r.OtherData.multiplier = 1;
    r.OtherData.photometricType = type;
    r.resizeGrid(3, 2);
    for (int h = 1; h <= 2; ++h)
        for (int v = 1; v <= 3; ++v)
            r.Candela(h, v) = 100.0 * h + 10.0 * v;
    return r;
}

// The display array as the form fills it: Type B with the vertical order reversed.
OneBased2D<double> displayOf(const IesRecord& r) {
    OneBased2D<double> d(r.Candela.rows(), r.Candela.cols());
    const int n = r.Candela.cols();
    for (int h = 1; h <= d.rows(); ++h)
        for (int v = 1; v <= n; ++v)
            d(h, v) = r.Candela(h, r.OtherData.photometricType == 1 ? v : n - v + 1);
    return d;
}

TEST(LampChange, MultiplierFollowsTheLampsAlwaysFromTheRecord) {
    const IesRecord r = smallRecord();
    OneBased2D<double> d = displayOf(r);
    const OneBased2D<double> before = d;
    struct Case {
        LampTexts texts;
        bool multiplierEdited;
        std::string multiplier;
    } cases[] = {
        {{"4", "1000", "1"}, false, "2.00000"},
        // Typing back 2 after 4: the record still says 2 lamps, so the factor is 1 again.
        {{"2", "1000", "2.00000"}, false, "1.00000"},
        {{"2.5", "1000", "1"}, false, "1.25000"},
        {{"2", "1500", "1"}, false, "1.50000"},
        {{"3", "333.333", "1"}, false, "0.4999995"},
        // Five decimals would round these off; they keep seven significant digits instead.
        {{"1", "0.278294", "1"}, false, "0.000139147"},
        {{"1", "0.002", "1"}, false, "0.000001"},
        {{"3", "1000", "1"}, false, "1.50000"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.texts.numLamps) + " x " + std::string(c.texts.lumPerLamp));
        const LampChange out =
            lampChanged(r, c.texts, c.multiplierEdited, kLampScalesMultiplier, d);
        EXPECT_EQ(out.multiplierText, c.multiplier);
        EXPECT_EQ(out.step, t::kStepChangeMult);
        EXPECT_FALSE(out.candelaChanged);
        EXPECT_TRUE(out.faultMessage.empty());
    }
    EXPECT_EQ(d, before);
}

TEST(LampChange, ValuesKeepTheAbsoluteIntensity) {
    IesRecord r = smallRecord();
    r.OtherData.multiplier = 2;
    OneBased2D<double> d = displayOf(r);
    // Typing 3 first and then 4 ends where typing 4 at once does: nothing accumulates.
    lampChanged(r, {"2", "1000", "3"}, true, kLampScalesValues, d);
    const LampChange out = lampChanged(r, {"2", "1000", "4"}, true, kLampScalesValues, d);
    ASSERT_TRUE(out.factor);
    EXPECT_DOUBLE_EQ(*out.factor, 0.5);
    EXPECT_TRUE(out.candelaChanged);
    EXPECT_EQ(out.step, t::kStepSetMaxx);
    EXPECT_EQ(d(1, 1), 55.0);
    EXPECT_EQ(d(2, 3), 115.0);
    EXPECT_DOUBLE_EQ(out.maxCandela, 115.0);
    EXPECT_TRUE(out.multiplierText.empty());

    // A lamp edit scales the values by the change in lamp lumens.
    d = displayOf(r);
    lampChanged(r, {"3", "1000", "2"}, false, kLampScalesValues, d);
    EXPECT_EQ(d(1, 1), 165.0);
    // Three decimals at most, as "#0.00#" shows them; halves away from zero.
    d = displayOf(r);
    lampChanged(r, {"2", "1000", "6"}, true, kLampScalesValues, d);
    EXPECT_EQ(d(1, 1), 36.667);
    EXPECT_EQ(d(1, 2), 40.0);
}

TEST(LampChange, TypeBIsReadWithTheVerticalOrderReversed) {
    for (std::int16_t type : {2, 3}) {
        IesRecord r = smallRecord(type);
        OneBased2D<double> d = displayOf(r);
        lampChanged(r, {"4", "1000", "1"}, false, kLampScalesValues, d);
        // Display row 1 is the record's last vertical angle.
        EXPECT_EQ(d(1, 1), 2 * r.Candela(1, 3)) << "type " << type;
        EXPECT_EQ(d(2, 3), 2 * r.Candela(2, 1)) << "type " << type;
    }
}

TEST(LampChange, NothingChangesWithoutAFactorOrAChoice) {
    IesRecord absolute = smallRecord();
    absolute.OtherData.lumensPerLamp = -1;
    struct Case {
        const char* name;
        IesRecord record;
        LampTexts texts;
        bool multiplierEdited;
        int choice;
        std::string_view step;
    } cases[] = {
        {"empty multiplier",
         smallRecord(),
         {"4", "1000", ""},
         false,
         kLampScalesValues,
         t::kStepStart},
        {"multiplier not numeric",
         smallRecord(),
         {"2", "1000", "x"},
         true,
         kLampScalesValues,
         t::kStepIsMult},
        {"multiplier 0",
         smallRecord(),
         {"2", "1000", "0"},
         true,
         kLampScalesValues,
         t::kStepIsMult},
        {"multiplier negative",
         smallRecord(),
         {"2", "1000", "-3"},
         true,
         kLampScalesMultiplier,
         t::kStepIsMult},
        {"lamps not numeric",
         smallRecord(),
         {"abc", "1000", "1"},
         false,
         kLampScalesValues,
         t::kStepNotMult},
        {"lumens empty", smallRecord(), {"2", "", "1"}, false, kLampScalesValues, t::kStepNotMult},
        {"absolute photometry",
         absolute,
         {"4", "1000", "1"},
         false,
         kLampScalesMultiplier,
         t::kStepBuiltMult},
        {"-1 typed into lumens",
         smallRecord(),
         {"2", "-1", "1"},
         false,
         kLampScalesMultiplier,
         t::kStepBuiltMult},
        {"no lamps typed yet",
         smallRecord(),
         {"0", "1000", "1"},
         false,
         kLampScalesValues,
         t::kStepBuiltMult},
        {"changes nothing",
         smallRecord(),
         {"4", "1000", "1"},
         false,
         kLampChangesNothing,
         t::kStepBuiltMult},
        {"no selection", smallRecord(), {"2", "1000", "5"}, true, -1, t::kStepIsMult},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        OneBased2D<double> d = displayOf(c.record);
        const OneBased2D<double> before = d;
        const LampChange out = lampChanged(c.record, c.texts, c.multiplierEdited, c.choice, d);
        EXPECT_EQ(out.step, c.step);
        EXPECT_TRUE(out.multiplierText.empty());
        EXPECT_FALSE(out.candelaChanged);
        EXPECT_TRUE(out.faultMessage.empty());
        EXPECT_EQ(d, before);
    }
}

TEST(LampChange, AFaultNamesTheStepAndKeepsWhatWasWritten) {
    IesRecord noLamps = smallRecord();
    noLamps.OtherData.numLamps = 0;
    OneBased2D<double> d = displayOf(noLamps);
    LampChange out = lampChanged(noLamps, {"2", "1000", "1"}, false, kLampScalesValues, d);
    EXPECT_EQ(out.faultMessage,
              "Ran out of fingers and toes to count on at not mult : 11Division "
              "by zero");

    out = lampChanged(smallRecord(), {"2", "1e999", "1"}, false, kLampScalesMultiplier, d);
    EXPECT_EQ(out.faultMessage, "Ran out of fingers and toes to count on at not mult : 6Overflow");

    // The second plane overflows: the first stays rescaled.
    IesRecord huge = smallRecord();
    huge.Candela(2, 1) = 1e300;
    d = displayOf(huge);
    out = lampChanged(huge, {"2", "1000", "1e-300"}, true, kLampScalesValues, d);
    EXPECT_EQ(out.faultMessage,
              "Ran out of fingers and toes to count on at change cda : 6Overflow");
    EXPECT_TRUE(out.candelaChanged);
    EXPECT_EQ(d(1, 3), rescaledValue(1e300, 130));

    // A display that no longer matches the record's table.
    OneBased2D<double> wider(3, 3);
    out = lampChanged(smallRecord(), {"4", "1000", "1"}, false, kLampScalesValues, wider);
    EXPECT_EQ(out.faultMessage,
              "Ran out of fingers and toes to count on at change cda : 9Subscript out of range");
}

TEST(LampChange, RescaledValueIsWhatTheTextShows) {
    // The fast rounding must agree with the decimal form everywhere, halves included.
    std::mt19937_64 gen(7);
    std::uniform_real_distribution<double> magnitude(-3, 7);
    std::uniform_real_distribution<double> factor(0.01, 20);
    for (int i = 0; i < 200000; ++i) {
        const double c = std::round(std::pow(10.0, magnitude(gen)) * 1000) / 1000;
        const double f = factor(gen);
        ASSERT_EQ(rescaledValue(f, c), readLenient(formatPattern(f * c, "#0.00#")))
            << f << " x " << c;
    }
    for (double x : {2.675, 0.0005, 1.0005, 2.6745, 1234.5675, 0.1235, 99.9995}) {
        EXPECT_EQ(rescaledValue(1, x), readLenient(formatPattern(x, "#0.00#"))) << x;
        EXPECT_EQ(rescaledValue(-1, x), readLenient(formatPattern(-x, "#0.00#"))) << x;
    }
}

TEST(LampChange, WholeLampCount) {
    EXPECT_EQ(wholeLampCount("4"), 4);
    EXPECT_EQ(wholeLampCount(" 2.5 "), 2);  // halves to even, then the routine reads 2.5
    EXPECT_EQ(wholeLampCount("3.5"), 4);
    for (std::string_view refused : {"", "abc", "2,5", "40000", "1e999"})
        EXPECT_FALSE(wholeLampCount(refused)) << refused;
}

}  // namespace
}  // namespace kandor
