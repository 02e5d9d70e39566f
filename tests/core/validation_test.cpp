#include "core/validation.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "core/runtimefault.h"

namespace kandor {
namespace {

using Lines = std::vector<std::string>;

TEST(Validation, FieldCheck) {
    const int whole = kFieldPositive | kFieldWhole, minusOne = kFieldPositive | kFieldAllowMinusOne;
    const std::string zero = "L must be greater than zero.\r\n",
                      positve = "L must be positve or -1\r\n",
                      whole16 = "L must be a whole number (1, 2, 3...)\r\n";
    // 40000 is not whole rather than an overflow.
    const std::tuple<const char*, int, std::string> cases[] = {
        {"", whole, "L is empty.\r\n"},  {"1,5", kFieldAnyNumber, "L is not a number.\r\n"},
        {"-2.5", whole, zero + whole16}, {" 3 ", whole, ""},
        {"40000", kFieldWhole, whole16}, {"-1", minusOne, ""},
        {"-1.0", minusOne, positve},     {"0", minusOne, positve},
        {"-1", kFieldPositive, zero}};
    for (const auto& [text, flags, expected] : cases) {
        WarningList warnings;
        CheckField(text, "L", flags, warnings);
        EXPECT_EQ(warnings.text(), expected) << '"' << text << '"';
    }
}

// The parts of the form that the cases vary; by default a 2002 form that passes every check.
struct Form {
    // Lamps, lumens per lamp, multiplier, ballast, watts, width, length, height.
    std::vector<std::string> fields{"1", "1000", "1", "1", "100", "0", "0", "0"};
    // Point, which every revision knows; tilt box unchecked; 2002; Type C.
    int shape = 0, tilt = 0, revision = 3, type = 1;
    std::string tiltCount{};
    OneBased<float> tiltAngles{}, tiltFactors{};
    std::string keys = "IESNA:LM-63-2002\r\n[TEST]\r\n[TESTLAB]\r\n[MANUFAC]\r\n[ISSUEDATE]";
    OneBased<float> vert{0, 45, 90}, hor{0, 90, 180};
    std::vector<double> nadir{};  // candela at vertical index 1 along the planes
};

// The warnings in order, then "fault N" when the check ended with a run-time fault.
Lines validate(const Form& c) {
    // In ValidationInput's member order; the candela grid is sized below.
    ValidationInput f{c.fields[0], c.fields[1], c.fields[2],     c.fields[3],    c.fields[4],
                      c.fields[5], c.fields[6], c.fields[7],     c.tiltCount,    c.shape,
                      c.tilt,      c.keys,      c.revision,      c.tiltAngles,   c.tiltFactors,
                      c.vert,      c.hor,       c.vert.ubound(), c.hor.ubound(), {},
                      c.type};
    f.candela.redim(f.numHorz, f.numVert);
    for (std::size_t h = 0; h < c.nadir.size(); ++h)
        f.candela(static_cast<int>(h) + 1, 1) = c.nadir[h];

    WarningList warnings;
    warnings.Add("left over from the last run");
    try {
        const bool clean = Validate(f, warnings);
        EXPECT_EQ(clean, warnings.text().empty());
    } catch (const RuntimeFault& fault) {
        warnings.Add("fault " + std::to_string(fault.number()));
    }
    return warnings.lines();
}

TEST(Validation, FindingsInOrder) {
    auto a = [](std::size_t n) { return std::string(n, 'A'); };
    const std::string more = " characters per line. Please continue on a [MORE] after.";
    const std::string must = "Keyword: IESNA:LM-63-2002 files must contain [";
    const std::string order = "Photometric: Vertical angles must be in ascending order: ";
    const std::string horzOrder = "Photometric: Horizontal angles must be in ascending order.";
    const std::pair<Form, Lines> cases[] = {
        // One finding from each step, in the order the steps run.
        {{.fields = {"-2.5", "-1.0", "", "0", "x", "-2", "", "h"},
          .shape = 9,
          .tilt = 1,
          .revision = 2,
          .tiltCount = "1",
          .tiltFactors = {0},
          .keys = "[TEST] 1\r\nfree text",
          .vert = {0, 45, 100},
          .nadir = {100, 5, 100}},
         {"General:Number of Lamps must be greater than zero.",
          "General:Number of Lamps must be a whole number (1, 2, 3...)",
          "General:Lumens per Lamp must be positve or -1", "General:Candela Multiplier is empty.",
          "General:Ballast Factor must be greater than zero.",
          "General:Input Watts is not a number.",
          "General: Fixture shape not valid for this version of LM-63", "General:Length is empty.",
          "General:Height or Diameter is not a number.",
          "General:Tilt Factor 1 must be greater than zero.", "Keyword: 2 is invalid: free text",
          "Photometric: Last vertical angle must be 90 or 180",
          "Candela: Nadir values must be equal."}},
        // Only a ticked tilt box counts; a clean form returns true.
        {{.tilt = 2, .tiltAngles = {5, 1}, .tiltFactors = {0, -1}}, {}},
        {{.tilt = 1, .tiltCount = "4", .tiltAngles = {0, 10, 5, 3}, .tiltFactors = {1, 1, 1, 1}},
         Lines(2, "General:Tilt Angles must be in ascending order")},
        // A count beyond the arrays faults for the caller; the findings so far stay.
        {{.tilt = 1, .tiltCount = "3", .tiltAngles = {0, 1}, .tiltFactors = {1, 0}},
         {"General:Tilt Factor 2 must be greater than zero.", "fault 9"}},
        // Keyword lines are numbered from 1, empty ones included.
        {{.revision = 2, .keys = "[TEST] " + a(75) + "\r\n\r\n[TEST] " + a(76) + "\r\nfree"},
         {"Keyword: Line 3 exceeds 82" + more, "Keyword: 4 is invalid: free"}},
        {{.revision = 0, .keys = "free text\r\n[TEST] " + a(76)},  // 1986: not classed
         {"Keyword: Line 2 exceeds 82" + more}},
        // [TESTLAB] holds TEST.
        {{.keys = "[TESTLAB] " + a(244) + "\r\n\r\n\r\n" + a(255) + "\r\n[manufac] [issuedate]"},
         {"Keyword: 4 is invalid: " + a(255), "Keyword: Line 4 exceeds 254" + more,
          must + "MANUFAC]", must + "ISSUEDATE]"}},
        // Keyword tags are case-sensitive. Angles: only the first pair out of order is reported.
        {{.keys = "[test] [testlab]", .vert = {10, 45, 22.5f, 20, 100}, .hor = {-90, 30, 20, 10}},
         {must + "TEST]", must + "TESTLAB]", must + "MANUFAC]", must + "ISSUEDATE]",
          "Photometric: First vertical angle must be 0 or 90",
          "Photometric: Last vertical angle must be 90 or 180",
          "Photometric: First Horizontal angle must be 0 or 90.",
          "Photometric: Last Horizontal angles must be 0,90,180,270, or 360",
          order + "2(45) > 3(22.5)", horzOrder}},
        // Type B vertical angles are held highest first. No nadir at 90; equal angles pass.
        {{.type = 2, .vert = {90, 45, 0}, .hor = {0, 0, 90}, .nadir = {1, 2, 3}}, {}},
        {{.type = 2, .vert = {-90, 0, 90}, .hor = {10, 0, 80}},
         {"Photometric: First vertical angle must be 0 or -90",
          "Photometric: Last vertical angle must be 0 or 90",
          "Photometric: First Horizontal angles must be -90 or 0",
          "Photometric: Last Horizontal angles must be 0 or 90", order + "1(-90) < 2(0)",
          horzOrder}},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(validate(cases[i].first), cases[i].second) << "case " << i;
    // A degree sign is one character; bytes that are not UTF-8 count one each.
    EXPECT_EQ(keywordLineLength("30\xC2\xB0"), 3u);
    EXPECT_EQ(keywordLineLength("\xFF\xFE"), 2u);
}

TEST(Validation, OneFieldAsTheCheckWordsIt) {
    ValidationInput f;
    f.txtNumLamps = "2.5";
    f.txtWidth = "x";
    f.lmpTxtNumAngles = "0";
    f.lmpCmbShape = 9;
    EXPECT_EQ(FieldFindings(f, FormField::kNumLamps),
              Lines{"General:Number of Lamps must be a whole number (1, 2, 3...)"});
    EXPECT_EQ(FieldFindings(f, FormField::kWidth), Lines{"General:Width is not a number."});
    EXPECT_EQ(FieldFindings(f, FormField::kShape), Lines{});          // a 2002 form knows it
    EXPECT_EQ(FieldFindings(f, FormField::kNumTiltAngles), Lines{});  // tilt box unticked
    f.tltChkTilt = 1;
    f.revision = 1;
    EXPECT_EQ(FieldFindings(f, FormField::kNumTiltAngles).size(), 1u);
    EXPECT_EQ(FieldFindings(f, FormField::kShape).size(), 1u);
    EXPECT_EQ(FieldFindings(f, FormField::kCandela), Lines{});
}

}  // namespace
}  // namespace kandor
