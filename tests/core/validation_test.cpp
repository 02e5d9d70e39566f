#include "core/validation.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "core/runtimefault.h"

namespace kandor {
namespace {

using Lines = std::vector<std::string>;

// A 2002 form that passes every check: Type C, 0..90 by 0..180, equal nadir values.
ValidationInput validForm() {
    ValidationInput f;
    f.txtNumLamps = "1";
    f.txtLumPerLamp = "1000";
    f.txtMultiplier = "1";
    f.txtBallast = "1";
    f.txtWatt = "100";
    f.txtWidth = f.txtLength = f.txtHeight = "0";
    f.lmpCmbShape = 12;  // a shape of 2002 only
    f.keyRtb = "IESNA:LM-63-2002\r\n[TEST] 1\r\n[TESTLAB] Lab\r\n[MANUFAC] M\r\n[ISSUEDATE] 1-1-02";
    f.revision = 3;
    f.vertAngles = {0, 45, 90};
    f.horAngles = {0, 90, 180};
    f.numVert = f.numHorz = 3;
    f.candela.redim(3, 3);
    for (double& cd : f.candela.values())
        cd = 100;
    f.photometricType = 1;
    return f;
}

Lines validate(const ValidationInput& form) {
    WarningList warnings;
    warnings.Add("left over from the last run");
    const bool clean = Validate(form, warnings);
    EXPECT_EQ(clean, warnings.text().empty());
    return warnings.lines();
}

Lines validateWith(const std::function<void(ValidationInput&)>& change) {
    ValidationInput f = validForm();
    change(f);
    return validate(f);
}

TEST(Validation, ValidFormIsClean) {
    WarningList warnings;
    EXPECT_TRUE(Validate(validForm(), warnings));
    EXPECT_EQ(warnings.text(), "");
}

TEST(Validation, FieldCheck) {
    struct Case {
        const char* text;
        int flags;
        Lines expected;
    } cases[] = {
        {"", kFieldPositive | kFieldWhole, {"L is empty."}},
        {"abc", kFieldPositive | kFieldWhole, {"L is not a number."}},
        {"1,5", kFieldAnyNumber, {"L is not a number."}},
        {"-2.5",
         kFieldPositive | kFieldWhole,
         {"L must be greater than zero.", "L must be a whole number (1, 2, 3...)"}},
        {" 3 ", kFieldPositive | kFieldWhole, {}},
        {"2.5E1", kFieldWhole, {}},
        {"32767", kFieldWhole, {}},
        {"40000", kFieldWhole, {"L must be a whole number (1, 2, 3...)"}},  // no overflow fault
        {"-1", kFieldPositive | kFieldAllowMinusOne, {}},
        {"-1.0", kFieldPositive | kFieldAllowMinusOne, {"L must be positve or -1"}},
        {" -1", kFieldPositive | kFieldAllowMinusOne, {"L must be positve or -1"}},
        {"0", kFieldPositive | kFieldAllowMinusOne, {"L must be positve or -1"}},
        {"-1", kFieldPositive, {"L must be greater than zero."}},
        {"0.001", kFieldPositive, {}},
        {"-2", kFieldAnyNumber, {}},
    };
    for (const Case& c : cases) {
        WarningList warnings;
        CheckField(c.text, "L", c.flags, warnings);
        EXPECT_EQ(warnings.lines(), c.expected) << '"' << c.text << '"';
    }
}

TEST(Validation, LampShapeAndDimensionsInOrder) {
    Lines got = validateWith([](ValidationInput& f) {
        f.txtNumLamps = "-2.5";
        f.txtLumPerLamp = "-1.0";
        f.txtMultiplier = "";
        f.txtBallast = "0";
        f.txtWatt = "x";
        f.lmpCmbShape = 9;
        f.revision = 2;
        f.keyRtb = "[TEST] 1";
        f.txtWidth = "-2";
        f.txtLength = "";
        f.txtHeight = "h";
    });
    EXPECT_EQ(got,
              (Lines{"General:Number of Lamps must be greater than zero.",
                     "General:Number of Lamps must be a whole number (1, 2, 3...)",
                     "General:Lumens per Lamp must be positve or -1",
                     "General:Candela Multiplier is empty.",
                     "General:Ballast Factor must be greater than zero.",
                     "General:Input Watts is not a number.",
                     "General: Fixture shape not valid for this version of LM-63",
                     "General:Length is empty.", "General:Height or Diameter is not a number."}));
}

TEST(Validation, Tilt) {
    const std::string order = "General:Tilt Angles must be in ascending order";
    struct Case {
        int check;
        const char* count;
        OneBased<float> angles, factors;
        Lines expected;
    } cases[] = {
        {0, "abc", {5, 1}, {0, -1}, {}},  // unchecked: nothing is looked at
        {2, "", {5, 1}, {0, -1}, {}},     // grey is not ticked
        {1, "4", {0, 10, 5, 3}, {1, 1, 1, 1}, {order, order}},
        {1, "3", {0, 0, 10}, {1, 1, 0}, {"General:Tilt Factor 3 must be greater than zero."}},
        {1,
         "1",
         {0},
         {std::numeric_limits<float>::quiet_NaN()},
         {"General:Tilt Factor 1 is not a number."}},
        // 2.5 rounds to 2, so the bad third factor is never reached
        {1,
         "2.5",
         {0, 10, 20},
         {1, 1, 0},
         {"General:Number of Tilt Angles must be a whole number (1, 2, 3...)"}},
        {1, "abc", {}, {}, {"General:Number of Tilt Angles is not a number."}},
        {1, "0", {}, {}, {"General:Number of Tilt Angles must be greater than zero."}},
    };
    for (const Case& c : cases) {
        Lines got = validateWith([&](ValidationInput& f) {
            f.tltChkTilt = c.check;
            f.lmpTxtNumAngles = c.count;
            f.tiltAngles = c.angles;
            f.tiltFactors = c.factors;
        });
        EXPECT_EQ(got, c.expected) << c.check << " count " << c.count;
    }
}

TEST(Validation, KeywordLines) {
    const std::string l82(82, 'A'), l83(83, 'A'), l254(254, 'A'), l255(255, 'A');
    std::string degrees82 = "[LAMP] 30\xC2\xB0";  // the degree sign is one character
    degrees82 += std::string(82 - 10, 'x');
    const std::string required = "\r\n[TESTLAB]\r\n[MANUFAC]\r\n[ISSUEDATE]";
    struct Case {
        int revision;
        std::string text;
        Lines expected;
    } cases[] = {
        {2,
         "[TEST] " + l82.substr(7) + "\r\n\r\n[TEST] " + l83.substr(7),
         {"Keyword: Line 3 exceeds 82 characters per line. Please continue on a [MORE] after."}},
        {2, degrees82 + "\r\n", {}},
        {3,
         "[TEST] " + l254.substr(7) + "\r\n\r\n\r\n[TEST] " + l255.substr(7) + required,
         {"Keyword: Line 4 exceeds 254 characters per line. Please continue on a [MORE] after."}},
        {0,
         "free text\r\n" + l83,
         {"Keyword: Line 2 exceeds 82 characters per line. Please continue on a [MORE] after."}},
        {1, "[TEST]\r\n\r\nfree text", {"Keyword: 3 is invalid: free text"}},
        {1, "IESNA91\r\n[_OWN] x\r\n[FOO] LAMP\r\n[BLOCK]", {"Keyword: 4 is invalid: [BLOCK]"}},
        // [TESTLAB] holds TEST, and any line may hold the word
        {3, "[TESTLAB] x\r\n[OTHER] MANUFAC and ISSUEDATE", {}},
        {3,
         "[test] [testlab] [manufac] [issuedate]",
         {"Keyword: IESNA:LM-63-2002 files must contain [TEST]",
          "Keyword: IESNA:LM-63-2002 files must contain [TESTLAB]",
          "Keyword: IESNA:LM-63-2002 files must contain [MANUFAC]",
          "Keyword: IESNA:LM-63-2002 files must contain [ISSUEDATE]"}},
        {3,
         "[TEST] 1\r\n" + l255 + "\r\n[MANUFAC] M",
         {"Keyword: 2 is invalid: " + l255,
          "Keyword: Line 2 exceeds 254 characters per line. Please continue on a [MORE] after.",
          "Keyword: IESNA:LM-63-2002 files must contain [TESTLAB]",
          "Keyword: IESNA:LM-63-2002 files must contain [ISSUEDATE]"}},
    };
    for (const Case& c : cases) {
        Lines got = validateWith([&](ValidationInput& f) {
            f.lmpCmbShape = 8;  // the last shape every revision knows
            f.revision = c.revision;
            f.keyRtb = c.text;
        });
        EXPECT_EQ(got, c.expected) << c.text.substr(0, 40);
    }
    EXPECT_EQ(keywordLineLength("\xFF\xFE"), 2u);  // not UTF-8: one byte, one character
}

TEST(Validation, AnglesAndNadir) {
    const std::string order = "Photometric: Vertical angles must be in ascending order: ";
    const std::string horzOrder = "Photometric: Horizontal angles must be in ascending order.";
    struct Case {
        int type;
        OneBased<float> vert, hor;
        std::vector<double> nadir;  // candela at vertical index 1, along the planes
        Lines expected;
    } cases[] = {
        // clang-format off
        {1, {0, 22.5f, 45, 90}, {0, 90, 180, 270, 360}, {5, 5, 5, 5, 5}, {}},
        {1, {0, 45, 40, 30, 90}, {0}, {1}, {order + "2(45) > 3(40)"}},
        {1, {90, 180}, {90, 90, 270}, {1, 2, 3}, {}},  // no nadir at 90; equal angles pass
        {1, {10, 22.5f, 100}, {-90, 30, 20, 10}, {1, 1, 1, 1},
         {"Photometric: First vertical angle must be 0 or 90",
          "Photometric: Last vertical angle must be 90 or 180",
          "Photometric: First Horizontal angle must be 0 or 90.",
          "Photometric: Last Horizontal angles must be 0,90,180,270, or 360", horzOrder}},
        {1, {0, 90}, {0, 90, 180, 360}, {100, 100, 100.5, 100},
         {"Candela: Nadir values must be equal."}},
        {1, {0, 90}, {0}, {100}, {}},  // one plane: no nadir check
        {2, {90, 45, 0}, {0, 45, 90}, {1, 2, 3}, {}},
        // held rising, the wrong way round for Type B
        {2, {-90, 0, 90}, {-90, 0, 90}, {1, 1, 1},
         {"Photometric: First vertical angle must be 0 or -90",
          "Photometric: Last vertical angle must be 0 or 90", order + "1(-90) < 2(0)"}},
        {3, {0, -90}, {10, 0, 80}, {3, 3, 4},
         {"Photometric: First Horizontal angles must be -90 or 0",
          "Photometric: Last Horizontal angles must be 0 or 90", horzOrder,
          "Candela: Nadir values must be equal."}},
        // clang-format on
    };
    for (const Case& c : cases) {
        Lines got = validateWith([&](ValidationInput& f) {
            f.photometricType = c.type;
            f.vertAngles = c.vert;
            f.horAngles = c.hor;
            f.numVert = c.vert.ubound();
            f.numHorz = c.hor.ubound();
            f.candela.redim(f.numHorz, f.numVert);
            for (int h = 1; h <= f.numHorz; ++h)
                f.candela(h, 1) = c.nadir[h - 1];
        });
        EXPECT_EQ(got, c.expected) << "type " << c.type << ", " << c.vert.ubound() << " vert";
    }
}

TEST(Validation, CountsBeyondTheArraysFaultForTheCaller) {
    struct Case {
        const char* what;
        std::function<void(ValidationInput&)> change;
        int fault;
        std::size_t warningsKept;
    } cases[] = {
        // clang-format off
        {"tilt count", [](ValidationInput& f) {
             f.tltChkTilt = 1;
             f.lmpTxtNumAngles = "3";
             f.tiltAngles = f.tiltFactors = {1, 2};
             f.txtWatt = "";
         }, fault::kSubscriptOutOfRange, 1},
        {"tilt count beyond 16 bits", [](ValidationInput& f) {
             f.tltChkTilt = 1;
             f.lmpTxtNumAngles = "40000";
         }, fault::kOverflow, 1},
        {"vertical count", [](ValidationInput& f) { f.numVert = 4; }, fault::kSubscriptOutOfRange, 0},
        {"no angles", [](ValidationInput& f) { f.numVert = 0; f.vertAngles = {}; },
         fault::kSubscriptOutOfRange, 0},
        {"candela grid", [](ValidationInput& f) { f.candela.redim(2, 3); },
         fault::kSubscriptOutOfRange, 0},
        {"number beyond a double", [](ValidationInput& f) { f.txtWatt = "1E999"; },
         fault::kOverflow, 0},
        // clang-format on
    };
    for (const Case& c : cases) {
        ValidationInput f = validForm();
        c.change(f);
        WarningList warnings;
        int number = 0;
        try {
            Validate(f, warnings);
        } catch (const RuntimeFault& fault) {
            number = fault.number();
        }
        EXPECT_EQ(number, c.fault) << c.what;
        EXPECT_EQ(warnings.lines().size(), c.warningsKept) << c.what;
    }
}

}  // namespace
}  // namespace kandor
