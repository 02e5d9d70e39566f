#include "core/ldtreader.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "core/ldtwriter.h"

namespace kandor {
namespace {

// A small file in the usual layout: symmetry 4 (planes C0 and C90 of four), three gamma
// angles, one lamp set. Line n of the file is element n - 1.
std::vector<std::string> sampleLines() {
    return {"ACME \xE9 ", "2",    "4",    "4",    "90",  "3",    "45",   "R-1",  "Lum",  "L-1",
            "a.ldt",      "2024", "600",  "300",  "80",  "500",  "200",  "10",   "20",   "10",
            "20",         "100",  "85.5", "1",    "0",   "1",    "2",    "T5",   "2000", "3000",
            "80",         "30",   "0.5",  "0.55", "0.6", "0.62", "0.64", "0.66", "0.68", "0.7",
            "0.71",       "0.72", "0",    "90",   "180", "270",  "0",    "45",   "90",   "300",
            "200",        "10",   "300",  "150",  "5"};
}

std::string join(const std::vector<std::string>& lines, const std::string& end = "\r\n",
                 bool lastEnd = true) {
    std::string text;
    for (std::size_t i = 0; i < lines.size(); ++i)
        text += lines[i] + (i + 1 < lines.size() || lastEnd ? end : "");
    return text;
}

TEST(LdtReader, ReadsEveryFieldWhateverTheLineEnds) {
    const std::string usual = join(sampleLines());
    const LdtReadResult first = readLdt(usual);
    EXPECT_EQ(first.status, kLdtClean);
    EXPECT_TRUE(first.findings.empty());
    const LdtRecord& r = first.record;
    EXPECT_EQ(r.company, "ACME \xE9 ");
    EXPECT_EQ((std::vector<double>{r.dc, r.dg, r.luminousHeights[1], r.lorl, r.directRatios[9]}),
              (std::vector<double>{90, 45, 20, 85.5, 0.72}));
    EXPECT_EQ(r.lampSets, (std::vector<LdtLampSet>{{2, "T5", 2000, "3000", "80", 30}}));
    EXPECT_EQ(r.intensities, (std::vector<double>{300, 200, 10, 300, 150, 5}));
    // The writer gives the file back byte for byte.
    EXPECT_EQ(composeLdt(r), usual);

    for (const char* end : {"\n", "\r", "\r\n"})
        for (bool lastEnd : {false, true})
            for (const char* bom : {"", "\xEF\xBB\xBF"}) {
                const LdtReadResult read = readLdt(bom + join(sampleLines(), end, lastEnd));
                EXPECT_EQ(read.record, r) << int(end[0]) << lastEnd << bom;
                EXPECT_EQ(read.status, kLdtClean);
            }
}

TEST(LdtReader, TakesTheNumberFormsOfRealFiles) {
    const LdtRecord expected = readLdt(join(sampleLines())).record;
    const std::vector<std::function<void(std::vector<std::string>&)>> forms = {
        [](auto& l) { l[22] = "85,5"; },       // a decimal comma
        [](auto& l) { l[12] = "600."; },       // a trailing point
        [](auto& l) { l[12] = "  600  \t"; },  // blanks around a number
        [](auto& l) { l[49] = "  300"; },      // right-aligned in the table
        [](auto& l) { l[52] = "3e2"; },        // an exponent
        [](auto& l) { l[50] = "200,0"; },      // a comma in the table
        [](auto& l) {                          // a plane on one line, a blank line
            l[49] = "300 200\t10";
            l.erase(l.begin() + 50, l.begin() + 52);
            l.insert(l.begin() + 50, "");
        },
    };
    for (std::size_t i = 0; i < forms.size(); ++i) {
        std::vector<std::string> lines = sampleLines();
        forms[i](lines);
        const LdtReadResult read = readLdt(join(lines));
        EXPECT_EQ(read.record, expected) << i;
        EXPECT_EQ(read.status, kLdtClean) << i;
    }
}

TEST(LdtReader, ReportsEachProblemWithItsLineAndStatus) {
    namespace c = ldtreader_code;
    struct Case {
        std::function<void(std::vector<std::string>&)> change;
        LdtFinding first;  // code, line, status; the message's start
        int status;
    };
    const auto set = [](std::size_t line, std::string text) {
        return [=](std::vector<std::string>& l) { l[line - 1] = text; };
    };
    const Case cases[] = {
        {set(2, "0"), {c::kItypZero, 2, 0, "Type indicator 0"}, 0},
        {set(2, "7"), {c::kItypRange, 2, 1, "The type indicator should be 1, 2 or 3, read 7"}, 1},
        {set(3, "5"), {c::kBadSymmetry, 3, 2, "The symmetry indicator must be 0 to 4, read 5"}, 2},
        {set(4, ""), {c::kEmptyNumber, 4, 2, "No number on the line of the number of C planes"}, 2},
        {set(4, "6"),
         {c::kBadPlaneCount, 4, 2, "The number of C planes does not suit symmetry 4: 6"},
         2},
        {set(4, "4.5"),
         {c::kNotWhole, 4, 2, "Not a whole number for the number of C planes: 4.5"},
         2},
        {set(5, "45"), {c::kDcMismatch, 0, 0, "The distance between C planes does not match"}, 0},
        {set(6, "0"), {c::kBadGammaCount, 6, 2, "The number of gamma angles must be 1 or more"}, 2},
        {set(13, "abc"),
         {c::kNotANumber, 13, 1, "Not a number for the luminaire length, read as 0: abc"},
         1},
        {set(15, "80 mm"), {c::kTextAfterNumber, 15, 1, "Text after the number ignored"}, 1},
        {set(26, "-1"), {c::kBadLampSets, 26, 2, "The number of lamp sets must be 0 or more"}, 2},
        {set(26, "0"), {c::kNoLampSet, 26, 1, "No lamp set"}, 1},
        {[](auto& l) { l.resize(30); },
         {c::kEndsInHeader, 30, 2, "The file ends before its colour rendering of lamp set 1"},
         2},
        {[](auto& l) { l.pop_back(); },
         {c::kShortTable, 55, 2, "The file holds only 12 of the 13 angles"},
         2},
        {[](auto& l) {
             l.insert(l.end(), {"", "7 8"});
         },
         {c::kTrailing, 57, 1, "Data after the declared"},
         1},
        {set(44, "x"), {c::kNotANumber, 44, 1, "Not a number for the C angle 2, read as 0: x"}, 1},
        {set(45, "300"),
         {c::kCOrder, 0, 1,
          "The C angles should rise from 0 and stay below 360; read 270 after 300"},
         1},
        {set(49, "200"),
         {c::kGammaOrder, 0, 1, "The gamma angles should rise and stay within 0 to 180; read 200"},
         1},
        {set(54, "-5"),
         {c::kNegative, 0, 1, "1 negative intensities set to 0, the first at C 90, gamma 45"},
         1},
        // Counts far beyond the text: nothing is allocated for them, the text runs out.
        {[](auto& l) { l[2] = "0", l[3] = "200000000"; },
         {c::kShortTable, 56, 2, "The file holds only 13 of the"},
         2},
        {set(6, "200000000"), {c::kShortTable, 56, 2, "The file holds only 13 of the"}, 2},
    };
    for (const Case& k : cases) {
        std::vector<std::string> lines = sampleLines();
        k.change(lines);
        const LdtReadResult read = readLdt(join(lines));
        ASSERT_FALSE(read.findings.empty()) << k.first.message;
        const LdtFinding& f = read.findings.front();
        EXPECT_EQ((std::vector<int>{f.code, f.line, f.status, read.status}),
                  (std::vector<int>{k.first.code, k.first.line, k.first.status, k.status}))
            << f.message;
        EXPECT_TRUE(f.message.starts_with(k.first.message)) << f.message;
    }
}

TEST(LdtReader, KeepsWhatFollowsTheTableAndWritesItBack) {
    std::vector<std::string> lines = sampleLines();
    lines.insert(lines.end(), {"   ", "", "1 2", "3"});
    const LdtReadResult read = readLdt(join(lines, "\n", false));
    EXPECT_EQ(read.record.trailingText, "   \r\n\r\n1 2\r\n3");
    EXPECT_EQ(readLdt(composeLdt(read.record)).record, read.record);
}

TEST(LdtReader, TellsEulumdatFromLm63) {
    const std::string ldt = join(sampleLines());
    const std::string ies = "IESNA:LM-63-2002\n[TEST] 1\nTILT=NONE\n1 1000 1 1 1 1 2 0 0 0\n";
    const std::string neither = "hello\n";
    EXPECT_EQ(photometricFormat(ldt, "a.ies"), PhotometricFormat::Eulumdat);
    EXPECT_EQ(photometricFormat("\xEF\xBB\xBF" + ldt, "a"), PhotometricFormat::Eulumdat);
    EXPECT_EQ(photometricFormat(ies, "a.LDT"), PhotometricFormat::Lm63);
    EXPECT_EQ(photometricFormat(neither, "a.LDT"), PhotometricFormat::Eulumdat);
    EXPECT_EQ(photometricFormat(neither, "a.ies"), PhotometricFormat::Lm63);
    // A TILT line first with the header one value per line is LM-63; a luminaire named
    // "TILT=..." in an EULUMDAT file stays EULUMDAT.
    EXPECT_EQ(photometricFormat("TILT=NONE\n1\n1000\n1\n37\n1\n1\n", "a.ldt"),
              PhotometricFormat::Lm63);
    std::vector<std::string> named = sampleLines();
    named[8] = "TILT=INCLUDE Test Fixture";
    EXPECT_EQ(photometricFormat(join(named), "a.ldt"), PhotometricFormat::Eulumdat);
}

}  // namespace
}  // namespace kandor
