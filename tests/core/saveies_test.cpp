#include "core/saveies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/numforms.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using testing::ScriptedPrompter;

// A small, valid record: one plane of three vertical angles.
IesRecord sampleRecord(std::vector<std::string> keywords = {"IESNA:LM-63-2002", "[TEST] 1"}) {
    IesRecord r;
    r.Filename = "C:\\photometry\\sample.ies";
    for (auto& k : keywords)
        r.Keywords.append(k);
    r.resizeGrid(3, 1);
    r.OtherData.numLamps = 1;
    r.OtherData.lumensPerLamp = -1;
    r.OtherData.multiplier = 1;
    r.OtherData.photometricType = 1;
    r.OtherData.unitsType = 2;
    r.OtherData.width = -0.5f;
    r.OtherData.ballastFactor = 1;
    r.OtherData.inputWatts = 150;
    r.VertAngles(1) = 0;
    r.VertAngles(2) = 22.5f;
    r.VertAngles(3) = 90;
    r.Candela(1, 1) = 1234.5;
    r.Candela(1, 2) = 0.005;
    r.Candela(1, 3) = 0;
    return r;
}

const std::string kSampleBody =
    "TILT=NONE\r\n"
    "1 -1 1 3 1 1 2 -0.5 0 0\r\n"
    "1 1 150\r\n"
    "0 22.5 90\r\n"
    "0\r\n"
    "1234.50 0.01 0.00";

std::string compose(const IesRecord& r) {
    ScriptedPrompter prompter;
    SaveIES w;
    std::string text = w.Compose(r, prompter);
    EXPECT_TRUE(prompter.calls().empty()) << prompter.last().text;
    return text;
}

// Lines of the text without their CRLF.
std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t pos; (pos = text.find("\r\n", start)) != std::string::npos; start = pos + 2)
        lines.push_back(text.substr(start, pos - start));
    lines.push_back(text.substr(start));
    return lines;
}

std::string repeat(std::string_view piece, int times) {
    std::string s;
    for (int i = 0; i < times; ++i)
        s += piece;
    return s;
}

TEST(SaveIES, WritesTheWholeFileLayout) {
    IesRecord r = sampleRecord();
    const IesRecord before = r;
    EXPECT_EQ(compose(r), "IESNA:LM-63-2002\r\n[TEST] 1\r\n" + kSampleBody);
    EXPECT_EQ(r, before);
}

TEST(SaveIES, RowsOfTheCandelaTableAreSeparatedButNotEnded) {
    IesRecord r = sampleRecord({"[TEST] 1986"});
    r.resizeGrid(2, 3);
    r.VertAngles(2) = 90;
    r.HorAngles(2) = 45;
    r.HorAngles(3) = 90;
    for (int h = 1; h <= 3; ++h)
        for (int v = 1; v <= 2; ++v)
            r.Candela(h, v) = h * 10 + v;
    const auto lines = linesOf(compose(r));
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_EQ(lines[3], "1 1 150");
    EXPECT_EQ(lines[4], "0 90");
    EXPECT_EQ(lines[5], "0 45 90");
    EXPECT_EQ(lines[6], "11.00 12.00");
    EXPECT_EQ(lines[8], "31.00 32.00");
}

TEST(SaveIES, TiltBlockFollowsTheFlagAndThePairCount) {
    struct Case {
        const char* name;
        bool incl;
        std::int16_t pairs;
        std::string expected;
    };
    const std::vector<Case> cases = {
        {"none ignores stored angles", false, 2, "TILT=NONE\r\n1 -1"},
        {"include with no pairs", true, 0, "TILT=INCLUDE\r\n3\r\n0\r\n1 -1"},
        {"include", true, 2, "TILT=INCLUDE\r\n3\r\n2\r\n0 90\r\n1 0.75\r\n1 -1"},
        {"pair count rules, not array size", true, 1, "TILT=INCLUDE\r\n3\r\n1\r\n0\r\n1\r\n1 -1"},
    };
    for (const Case& c : cases) {
        IesRecord r = sampleRecord({"IESNA91"});
        r.TiltIncl = c.incl;
        r.TiltData.lampToLuminaire = 3;
        r.TiltData.numPairs = c.pairs;
        r.TiltData.angles = {0, 90};
        r.TiltData.factors = {1, 0.75f};
        const std::string text = compose(r);
        EXPECT_EQ(text.substr(9, c.expected.size()), c.expected) << c.name;
    }
}

TEST(SaveIES, ZeroVerticalAnglesWriteNoAngleLine) {
    IesRecord r = sampleRecord({"IESNA:LM-63-1995"});
    r.resizeGrid(0, 2);
    r.HorAngles(2) = 180;
    EXPECT_EQ(compose(r),
              "IESNA:LM-63-1995\r\nTILT=NONE\r\n1 -1 1 0 2 1 2 -0.5 0 0\r\n1 1 150\r\n0 180\r\n"
              "\r\n");
}

TEST(SaveIES, NumberForms) {
    struct Case {
        double candela;
        const char* text;
    };
    // Rounded half away from zero on the 15-digit decimal form, never with a 32-bit step.
    const Case cases[] = {
        {1234.5, "1234.50"}, {0, "0.00"},          {-0.0, "0.00"},
        {0.005, "0.01"},     {0.004999, "0.00"},   {2.675, "2.68"},
        {12.345, "12.35"},   {999.995, "1000.00"}, {-0.001, "-0.00"},
        {-12.5, "-12.50"},   {0.125, "0.13"},      {3e6, "3000000.00"},
        {1e-300, "0.00"},    {99.999, "100.00"},   {1e20, "100000000000000000000.00"},
    };
    for (const Case& c : cases) {
        IesRecord r = sampleRecord({"x"});
        r.Candela(1, 3) = c.candela;
        const std::string text = compose(r);
        EXPECT_EQ(text.substr(text.rfind(' ') + 1), c.text) << c.candela;
    }

    IesRecord r = sampleRecord({"x"});
    r.OtherData.lumensPerLamp = 12345678;
    r.OtherData.multiplier = 0.00001f;
    r.OtherData.height = 1e20f;
    r.OtherData.numLamps = -2;
    r.OtherData.ballastFactor = 0.95f;
    r.OtherData.inputWatts = 1.5e-20f;
    EXPECT_EQ(linesOf(compose(r))[2], "-2 12345680 0.00001 3 1 1 2 -0.5 0 1E20");
    EXPECT_EQ(linesOf(compose(r))[3], "0.95 1 1.5E-20");
}

// The table is formatted without the shared pattern routine; both must agree on every value.
TEST(SaveIES, CandelaFormAgreesWithTheSharedPattern) {
    std::mt19937_64 rng(20261122);
    std::vector<double> values;
    std::uniform_real_distribution<double> unit(0, 1);
    for (int i = 0; i < 4000; ++i) {
        const double magnitude = std::pow(10.0, -6 + 24 * unit(rng));
        values.push_back((i % 3 == 0 ? -1 : 1) * magnitude * unit(rng));
        // Whole thousandths of any size, as the reader stores them, and halves at the second
        // and third decimal, where the rounding matters.
        const double digits = std::pow(10.0, 1 + i % 15);
        values.push_back((i % 2 ? -1 : 1) * std::floor(unit(rng) * digits) / 1000);
        values.push_back(std::floor(unit(rng) * 1e6) / 1000 + 0.0005);
        values.push_back(std::floor(unit(rng) * 1e5) / 100 + 0.005);
    }
    values.insert(values.end(), {9.995, 99999999999999.99, 999999999999.999, 1e12, 1e300, -1e300,
                                 5e-3, 4.9999999e-3, -5e-3});

    IesRecord r = sampleRecord({"x"});
    r.resizeGrid(static_cast<int>(values.size()), 1);
    for (std::size_t i = 0; i < values.size(); ++i)
        r.Candela(1, static_cast<int>(i) + 1) = values[i];
    r.HorAngles(1) = 7;
    const std::string text = compose(r);
    std::size_t pos = text.find("\r\n7\r\n") + 5;
    for (double v : values) {
        while (text[pos] == ' ' || text[pos] == '\r' || text[pos] == '\n')
            ++pos;
        const std::size_t end = text.find_first_of(" \r", pos);
        const std::string token = text.substr(pos, end - pos);
        ASSERT_EQ(token, formatPattern(v, "#0.00")) << v;
        pos = end;
    }
}

TEST(SaveIES, LineLimitDependsOnTheExactFormatLine) {
    struct Case {
        std::string first;
        std::size_t widest;  // the longest wrapped value line, in visible characters
    };
    const Case cases[] = {
        {"IESNA:LM-63-2002", 255},
        {"IESNA:LM-63-1995", 131},
        {"IESNA91", 131},
        {"iesna:lm-63-2002", 131},
        {"[TEST] 1986", 131},
        // After the form transfer the format line carries its own line end.
        {"IESNA:LM-63-2002\r\n", 131},
    };
    for (const Case& c : cases) {
        // Values of 4 and 6 characters: the 2 characters wide blank-plus-LF make 131 and 255
        // reachable exactly.
        IesRecord r = sampleRecord({c.first, "[TEST] 1"});
        r.resizeGrid(300, 1);
        for (int v = 1; v <= 300; ++v)
            r.VertAngles(v) = v % 2 ? 12.5f : 1234.5f;
        const std::string text = compose(r);
        std::size_t widest = 0;
        for (const auto& line : linesOf(text))
            widest = std::max(widest, line.size());
        EXPECT_EQ(widest, c.widest) << c.first;
        if (c.first.ends_with("\r\n")) {
            EXPECT_TRUE(text.starts_with("IESNA:LM-63-2002\r\n\r\n[TEST]"));
        }
    }
}

TEST(SaveIES, WrapsBeforeThePieceThatWouldPassTheLimit) {
    IesRecord r = sampleRecord({"IESNA:LM-63-1995"});
    r.resizeGrid(40, 1);
    for (int v = 1; v <= 40; ++v)
        r.VertAngles(v) = 112.5f;
    // The 22nd value fills the line to 131 characters, so the blank after it starts the next
    // line.
    const std::string expected =
        repeat("112.5 ", 21) + "112.5\r\n" + repeat(" 112.5", 18) + "\r\n0\r\n";
    const std::string text = compose(r);
    EXPECT_NE(text.find("1 1 150\r\n" + expected), std::string::npos) << text;

    // Under the wider limit a value, not a blank, is the piece that overflows.
    r.Keywords(1) = "IESNA:LM-63-2002";
    r.resizeGrid(100, 1);
    for (int v = 1; v <= 100; ++v)
        r.VertAngles(v) = 112.5f;
    const std::string wide =
        repeat(repeat("112.5 ", 42) + "\r\n", 2) + repeat("112.5 ", 15) + "112.5\r\n0\r\n";
    EXPECT_NE(compose(r).find("1 1 150\r\n" + wide), std::string::npos);
}

TEST(SaveIES, LinesWithTheirOwnLineEndAreNeverWrapped) {
    const std::string longLine = "[MORE] " + std::string(293, 'x');
    for (const char* first : {"IESNA:LM-63-2002", "IESNA:LM-63-1995"}) {
        IesRecord r = sampleRecord({first, longLine});
        r.OtherData.width = 1.234567e-7f;  // stretch the lamp line too
        const auto lines = linesOf(compose(r));
        EXPECT_EQ(lines[1], longLine);
        EXPECT_EQ(lines[3].substr(0, 10), "1 -1 1 3 1");
    }
    // A value wider than the limit stands alone on its line.
    IesRecord r = sampleRecord({"x"});
    r.Candela(1, 3) = 1e200;
    const auto lines = linesOf(compose(r));
    EXPECT_EQ(lines[lines.size() - 2], "1234.50 0.01 ");
    EXPECT_EQ(lines.back().size(), 204u);
}

// What the writer composes from a sample file, the reader reads back into a record that
// composes to the very same text, with the same verdict.
TEST(SaveIES, SampleFilesSurviveAWriteAndReadBack) {
    int files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(KANDOR_CORPUS_DIR)) {
        if (entry.path().extension() != ".ies") continue;
        ++files;
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string original{std::istreambuf_iterator<char>(in), {}};
        IesRecord first;
        const auto firstStatus = IesReader().ParseIes(first, original, false, original);
        const std::string text = compose(first);
        IesRecord second;
        const auto secondStatus = IesReader().ParseIes(second, text, false, text);
        EXPECT_EQ(secondStatus, firstStatus) << entry.path().filename();
        EXPECT_EQ(compose(second), text) << entry.path().filename();
    }
    EXPECT_GT(files, 0);
}

class SaveErrors : public ::testing::Test {
  protected:
    // A composition that leaves its text behind, as the previous save would.
    void SetUp() override {
        ScriptedPrompter ok;
        previous = w.Compose(sampleRecord(), ok);
    }
    SaveIES w;
    std::string previous;
};

TEST_F(SaveErrors, NoKeywordLinesFaultBeforeTheOutputIsEmptied) {
    IesRecord r = sampleRecord();
    r.Keywords.clear();
    ScriptedPrompter prompter{PromptAnswer::Ok, PromptAnswer::Cancel};
    EXPECT_EQ(w.Compose(r, prompter), previous);
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().title, "Error saving C:\\photometry\\sample.ies");
    EXPECT_EQ(prompter.last().text,
              "Windows Error 9 Subscript out of range KandorPE\r\nOK to Retry, Cancel to quit.");
    EXPECT_EQ(prompter.last().buttons, PromptButtons::OkCancel);

    EXPECT_EQ(w.Compose(r, prompter), "");
    EXPECT_EQ(w.lastText(), previous);
}

TEST_F(SaveErrors, CountsBeyondTheArraysEndTheTextWhereTheyFault) {
    IesRecord r = sampleRecord({"[TEST] x"});
    r.OtherData.numVertAngles = 5;
    const IesRecord before = r;
    ScriptedPrompter prompter{PromptAnswer::Ok, PromptAnswer::Cancel};
    const std::string partial = w.Compose(r, prompter);
    EXPECT_TRUE(partial.ends_with("150\r\n0 22.5 90 ")) << partial;
    EXPECT_EQ(w.lastText(), partial);
    EXPECT_EQ(w.Compose(r, prompter), "");
    EXPECT_EQ(prompter.calls().size(), 2u);
    EXPECT_EQ(r, before);

    IesRecord tilt = sampleRecord({"[TEST] x"});
    tilt.TiltIncl = true;
    tilt.TiltData.numPairs = 2;
    EXPECT_EQ(w.Compose(tilt, prompter), "[TEST] x\r\nTILT=INCLUDE\r\n0\r\n2\r\n");
}

TEST(SaveIES, TheLastTextIsTheReadersReference) {
    SaveIES& w = writer();
    w.setLastText("edited by hand");
    EXPECT_EQ(writer().lastText(), "edited by hand");
    ScriptedPrompter prompter;
    const std::string text = w.Compose(sampleRecord(), prompter);
    EXPECT_EQ(writer().lastText(), text);
}

TEST(SaveErrorMessages, KnownNumbersHaveTheirOwnText) {
    EXPECT_EQ(saveErrorMessage(6), "Calculation Overflow");
    EXPECT_EQ(saveErrorMessage(53), "File not found. funny, I've got it!");
    EXPECT_EQ(saveErrorMessage(31036),
              "Invalid file handle or insufficient disk space to save file.");
    for (int number : {5, 7, 9, 13, 62, 3985})
        EXPECT_TRUE(saveErrorMessage(number).empty());
}

}  // namespace
}  // namespace kandor
