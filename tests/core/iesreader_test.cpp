#include "core/iesreader.h"

#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "core/runtimefault.h"

namespace kandor {
namespace {

// Statuses in the tables: 0 clean, 1 value problems, 2 unusable, 3 keyword problems only.

using Issue = std::tuple<int, int, std::string>;  // code, line, message
using Issues = std::vector<Issue>;
using Prompt = std::array<std::string, 3>;  // text, default, title

// A reader whose hooks record every report and give the same answer to every prompt.
// The hooks point at this object, so it is never copied.
struct Harness {
    IesReader reader;
    IesRecord r;
    Issues issues;
    std::vector<Prompt> prompts;
    std::string answer;

    explicit Harness(std::string reply = "") : answer(std::move(reply)) {
        reader.hooks.ReportIssue = [this](int c, int l, auto& m) { issues.push_back({c, l, m}); };
        reader.hooks.RepBox = [this](auto&... box) {
            prompts.push_back({box...});
            return answer;
        };
    }

    // Parses as the preview does: the text is also the writer's last text.
    auto parse(std::string_view t, bool ask = false) { return reader.ParseIes(r, t, ask, t); }
};

// A small Type C file; with the defaults the lines are: 1-3 header, 4 TILT, 5 numbers,
// 6 ballast/future/watts, 7 vertical angles, 8 horizontal angles, 9-10 candela.
struct Doc {
    std::vector<std::string> head = {"IESNA:LM-63-1995", "[TEST] 1", "[MANUFAC] ACME"};
    std::vector<std::string> tilt = {"TILT=NONE"};
    std::string numbers = "1 1000 1 3 2 1 1 0 0 0", ballast = "1 1 50", vert = "0 45 90",
                horz = "0 90";
    std::vector<std::string> candela = {"100 80 10", "100 70 5"};

    std::string text() const {
        std::string out;
        for (const auto& part : {head, tilt, std::vector{numbers, ballast, vert, horz}, candela})
            for (const std::string& line : part)
                out += line + "\r\n";
        return out.substr(0, out.size() - 2);
    }
};

// The record's invariants, which hold whatever the text and however the parse ended.
void expectShape(const IesRecord& r) {
    const int v = std::max<int>(r.OtherData.numVertAngles, 0);
    const int h = std::max<int>(r.OtherData.numHorzAngles, 0);
    EXPECT_EQ((std::vector{r.VertAngles.ubound(), r.HorAngles.ubound(), r.Candela.rows(),
                           r.Candela.cols(), std::min(r.Keywords.ubound(), 1)}),
              (std::vector{v, h, v > 0 ? h : 0, h > 0 ? v : 0, 1}));
    if (!r.TiltIncl) return;
    const int pairs = std::max<int>(r.TiltData.numPairs, 0);
    EXPECT_EQ(std::pair(r.TiltData.angles.ubound(), r.TiltData.factors.ubound()),
              std::pair(pairs, pairs));
}

struct Case {
    Doc doc;
    Issues issues = {};
    std::int16_t status = kParseClean;
};

// Parses each case without prompting; every header line is kept, valid or not.
void expectReports(const std::vector<Case>& cases) {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.doc.text());
        Harness h;
        EXPECT_EQ(h.parse(c.doc.text()), c.status);
        EXPECT_EQ(h.issues, c.issues);
        EXPECT_EQ(h.r.Keywords.values(), c.doc.head);
        expectShape(h.r);
    }
}

TEST(IesReader, CleanFileFillsTheRecordHorizontalFirst) {
    const Doc doc{.tilt = {"TILT=INCLUDE", "3", "4", "0 45 90 180", "1 .9 .8 1"}};
    expectReports({{doc}});
    Harness h;
    h.parse(doc.text());
    EXPECT_EQ(std::pair(h.r.TiltIncl, int{h.r.TiltData.lampToLuminaire}), std::pair(true, 3));
    EXPECT_EQ(h.r.TiltData.angles.values(), (std::vector<float>{0, 45, 90, 180}));
    EXPECT_EQ(h.r.TiltData.factors.values(), (std::vector<float>{1, .9f, .8f, 1}));
    EXPECT_EQ(h.r.VertAngles.values(), (std::vector<float>{0, 45, 90}));
    EXPECT_EQ(h.r.HorAngles.values(), (std::vector<float>{0, 90}));
    EXPECT_EQ(h.r.Candela.values(), (std::vector<double>{100, 80, 10, 100, 70, 5}));
    EXPECT_EQ(h.reader.CurrentField, "candela value V=90 H=90");
}

TEST(IesReader, ReportsAndStatuses) {
    const std::string ies = "IESNA:LM-63-1995", v2002 = "IESNA:LM-63-2002";
    const Issue required{34, 0,
                         "IES:LM-63-2002 files must have [TEST], [TESTLAB], [MANUFAC], and "
                         "[ISSUEDATE] keywords."};
    expectReports({
        {{.head = {ies, "[_", "[_MY KEY] x"}}},
        {{.head = {ies, "[FOO] x"}}, {{27, 2, "Invalid Keyword"}}, 3},
        {{.head = {ies, "[test] 1"}}, {{27, 2, "Invalid Keyword"}}, 3},
        {{.head = {ies, "free text"}}, {{27, 2, " Descriptive line without Keyword."}}, 3},
        // Keywords are only checked in a text that names "IESNA", in capitals.
        {{.head = {"iesna:LM-63-1995", "free text", "[FOO] x"}}},
        {{.head = {v2002, "[TEST]", "[TESTLAB]", "[MANUFAC]", "[ISSUEDATE]"}}},
        {{.head = {v2002, "[TESTLAB]", "[MANUFAC]", "[ISSUEDATE]"}}, {required}, 3},
        {{.head = {v2002, "[TEST]", "[TESTLAB]", "[MANUFAC]", "[_[issuedate]"}}, {required}, 3},
        {{.tilt = {"tilt=NONE  "}}},
        {{.tilt = {"TILT=none"}}},  // names a tilt file, which is not opened
        // Zero watts gives a report that shows the line counting after the block.
        {Doc{.tilt = {"TILT=INCLUDE", "1", "2", "0 90", "1 1"}, .ballast = "1 1 0"},
         Issues{{25, 10, " Invalid input watts, read: 0"}}, 1},
        {{.tilt = {"TILT=INCLUDE", "4", "2", "0 90", "1 1"}},
         {{2, 5, "invalid Lamp to Luminaire Geometry, must be 1, 2, or 3, read 4"}}},
        // A numeric line needs 11 pieces or more (extra spaces) to be taken for the numbers.
        {Doc{.tilt = {}, .numbers = "1  1000 1 3 2 1 1 0 0 0"},
         Issues{{2, 4, " Missing TILT, ran headlong into numeric data."}}, 2},
    });
    // Single-spaced, a numeric line is only a descriptive line, and the TILT line never comes.
    Harness h;
    EXPECT_EQ(h.parse(Doc{.tilt = {}}.text()), kParseUnusable);
    EXPECT_EQ(h.issues.at(0), (Issue{27, 4, " Descriptive line without Keyword."}));
    EXPECT_EQ(h.issues.at(h.issues.size() - 1), (Issue{28, 9, " TILT= line never found "}));
    // The keyword check consults the text composed last, not the one being parsed.
    const std::string foo = Doc{.head = {"[FOO] x"}}.text();
    EXPECT_EQ(h.reader.ParseIes(h.r, foo, false, "IESNA91"), kParseKeywordProblems);
    // The numbers; a bad photometric type makes the text unusable, yet the units are still read.
    const Issue typeA{6, 5, " Invalid Photometric Type (B or C only), read: 3"};
    const std::string b = "1 1000 1 3 2 2 1 0 0 0";
    expectReports({
        {{.numbers = "1 -1 1 3 2 1 1 0 0 0"}},  // absolute photometry
        {{.numbers = "1 -1.4 1 3 2 1 1 0 0 0"}},
        {Doc{.numbers = "1.5 1000 1 3 2 1 1 0 0 0"},
         Issues{{3, 5, " Invalid number of lamps, must be a whole # greater than 0"}}, 1},
        {{.numbers = "1 -2 1 3 2 1 1 0 0 0"}, {{4, 5, " Invalid Lumens Per Lamp, read: -2"}}, 1},
        {{.numbers = "1 0 1 3 2 1 1 0 0 0"}, {{4, 5, " Invalid Lumens Per Lamp, read: 0"}}, 1},
        {{.numbers = "1 1 0 3 2 1 1 0 0 0"}, {{5, 5, " Invalid Candela Multiplier, read: 0"}}, 1},
        {Doc{.numbers = "1 1000 1 0 2 1 1 0 0 0", .vert = "0 90"},
         Issues{{29, 5, " Invalid entry of Vertical Angles, read: 0"}}, 2},
        // A count that rounds to no angles at all is as invalid as 0; read as 0 it used to
        // pass clean and drop the candela values.
        {Doc{.numbers = "1 1000 1 0.4 2 1 1 0 0 0", .vert = "0 90"},
         Issues{{29, 5, " Invalid entry of Vertical Angles, read: 0.4"}}, 2},
        {Doc{.numbers = "1 1000 1 3 .5 1 1 0 0 0", .ballast = "0 1 0"},
         Issues{{30, 5, " Invalid entry of Horizontal Angles, read: 0.5"}}, 2},
        // The parse stops here, so the zero ballast factor and watts go unreported.
        {Doc{.numbers = "1 1000 1 3 -1 1 1 0 0 0", .ballast = "0 1 0"},
         Issues{{30, 5, " Invalid entry of Horizontal Angles, read: -1"}}, 2},
        {{.numbers = "1 1000 1 3 2 3 3 0 0 0"}, {typeA, {31, 5, " invalid Units, read: 3"}}, 2},
        {{.numbers = "1 1000 1 3 2 1 3 0 0 0"}, {{31, 5, " invalid Units, read: 3"}}, 1},
        {{.ballast = "0 1 50"}, {{7, 6, " invalid Ballast Factor, read: 0"}}, 1},
        {{.ballast = "1 1 -2.5"}, {{25, 6, " Invalid input watts, read: -2.5"}}, 1},
        {{.numbers = "1 1000 1 3 1 2 1 0 0 0", .horz = "0", .candela = {"100 80 10"}},
         {{33, 5,
           "File has 1 plane of horizontal data, but says it's Type B, this may be a mis-labeled "
           "Type C"}},
         1},
        // Beyond a 32-bit float: a run-time fault, which ends the parse without a report.
        {{.numbers = "1E39 1000 1 3 2 1 1 0 0 0"}, {}, 2},
        // The angles, whose rules depend on the photometric type.
        {{.vert = "10 45 90"}, {{10, 7, " First vertical must be 0 or 90, read 10"}}},
        {{.vert = "-90 0 90"}, {{10, 7, " Incorect Photometric type for distribution "}}, 1},
        {{.vert = "0 -5 90"}, {{9, 7, " Vertical angles not in ascending order, read 0 then -5"}}},
        {{.vert = "0 45 100"}, {{11, 7, " Last vertical angle must be 90 or 180, read 100"}}},
        {{.horz = "-90 90"}, {{16, 8, " First horizontal angle is -90. Possible Type B not C"}}, 1},
        {{.horz = "45 90"}, {{16, 8, " First horizontal angle must be 0 or 90, read 45"}}, 1},
        {{.horz = "0 100"},
         {{17, 8,
           " Last horizontal angle must be 90, 180, 270, or 360 if first angle is 0, read 100"}}},
        {{.horz = "90 180"},
         {{18, 8, " Last horizontal angle must be 270 if first angle is 90, read 180"}}},
        {{.numbers = b, .vert = "-5 0 90"}, {{12, 7, " First vertical must be 0 or -90, read -5"}}},
        {Doc{.numbers = b, .vert = "0 45 180"},
         Issues{{13, 7, " Incorect Photometric type for distribution"}}, 1},
        {{.numbers = b, .vert = "0 45 80"}, {{13, 7, " Last vertical angle must be 90, read 80"}}},
        {{.numbers = b, .horz = "5 90"}, {{16, 8, " first angle must be 0 or -90, read 5"}}},
        {{.numbers = b, .horz = "0 80"}, {{19, 8, " last angle must be 90"}}},
        {{.numbers = "1 1 1 3 3 2 1 0 0 0", .horz = "0 -10 90", .candela = {"1 1 1 1 1 1 1 1 1"}},
         {{15, 8, " Horizontal angles not in ascending order"}}},
    });
}

TEST(IesReader, InteractiveRepairsStoreTheAnswer) {
    // Every prompt is answered "2"; then the number of lamps and the photometric type.
    const std::tuple<Doc, std::pair<int, int>, Prompt> cases[] = {
        {Doc{.numbers = "0 1000 1 3 2 1 1 0 0 0"}, std::pair(2, 1),
         Prompt{"There must be a positive, whole number of lamps.  0 instead.", "1",
                "Invalid Number of Lamps"}},
        {Doc{.vert = "-90 0 90"}, std::pair(1, 2),
         Prompt{"This file is designated as a Type C (1) but has a Type B (2) photometric web.",
                "2", "Incorect Photometric type for distribution"}},
    };
    for (const auto& [doc, after, prompt] : cases) {
        Harness h("2");
        h.parse(doc.text(), true);
        EXPECT_EQ(h.issues, Issues{});
        EXPECT_EQ(h.prompts, std::vector<Prompt>{prompt});
        EXPECT_EQ(std::pair(int{h.r.OtherData.numLamps}, int{h.r.OtherData.photometricType}),
                  after);
    }
    // Without hooks every prompt reads as 0; without prompting, a rejected value is kept.
    const std::string text = Doc{.numbers = "1 -2 1 3 2 1 1 0 0 0"}.text();
    IesRecord zeroed, kept;
    IesReader().ParseIes(zeroed, text, true, text);
    IesReader().ParseIes(kept, text, false, text);
    EXPECT_EQ(std::pair(zeroed.OtherData.lumensPerLamp, kept.OtherData.lumensPerLamp),
              std::pair(0.0f, -2.0f));
    // Nadir and zenith values that disagree are reported, or averaged and the answer stored.
    Doc doc{.numbers = "1 1000 1 3 3 1 1 0 0 0", .vert = "0 90 180", .horz = "0 45 90"};
    doc.candela = {"10 5 1", "10 5 2", "10.4 5 1"};
    Harness reported, asked("10.1");
    EXPECT_EQ(reported.parse(doc.text()), kParseClean);
    EXPECT_EQ(reported.issues, (Issues{{22, 11, "Nadir Candela Values do not agree."},
                                       {35, 11, "Zenith Candela Values do not agree."}}));
    EXPECT_EQ(asked.parse(doc.text(), true), kParseClean);
    EXPECT_EQ(asked.prompts,
              (std::vector<Prompt>{
                  {"Read 3 values: 10, 10, 10.4, \r\nAverage is 10.13333 this is a small "
                   "difference, likely a rounding error.",
                   "10.13333", "Nadir candela values not equal"},
                  {"Read 3 values: 1, 2, 1, \r\nAverage is 1.333333 this is a small difference, "
                   "likely a rounding error.",
                   "1.333333", "Zenith candela values not equal"}}));
    EXPECT_EQ(asked.r.Candela.values(),
              (std::vector<double>{10.1, 5, 10.1, 10.1, 5, 10.1, 10.1, 5, 10.1}));
}

TEST(IesReader, NumberTokens) {
    const std::tuple<const char*, std::vector<double>, Issues> cases[] = {
        {"1.5E03", std::vector<double>{1500},
         Issues{{1, 0, "Exponential value (1.5E03) = (1500) found for F. Considered Harmful."}}},
        // "+" is no number character: it ends the token and is skipped.
        {"1.2E+07", {0, 7}, {{32, 0, "Non numeric value (1.2E) found for F"}}},
        {" 1,\t2 ,\r\n.5\t\t,-.25 7.", {1, 2, 0.5, -0.25, 7}, {}},
        {"1-2", {0}, {{32, 0, "Non numeric value (1-2) found for F"}}},
        {"abc7 e7", {7, 0}, {{32, 0, "Non numeric value (e7) found for F"}}},
        // Running out: the empty token reads as 0; only the next read meets the end.
        {"5 \r\n", {5, 0}, {{32, 1, "Non numeric value () found for F"}}}};
    for (const auto& [text, expected, issues] : cases) {
        SCOPED_TRACE(text);
        Harness h;
        h.reader.CurrentField = "F";
        std::size_t pos = 0;
        std::vector<double> values(expected.size());
        for (double& value : values)
            value = h.reader.gfnValueInput(text, pos);
        EXPECT_EQ(values, expected);
        EXPECT_EQ(h.issues, issues);
        EXPECT_THROW(h.reader.gfnValueInput(text, pos), RuntimeFault);
    }
}

TEST(IesReader, CandelaValues) {
    // The value is at H=90 V=22.5: the reports name the angles, not the indices.
    const auto text = [](const std::string& value) {
        return Doc{.vert = "0 22.5 90", .candela = {"1 1 1", "1 " + value + " 1"}}.text();
    };
    // Three places, halves to even, and no 32-bit overflow above 2147483.647.
    const std::tuple<std::string, double, Issues> cases[] = {
        {"12.34567", 12.346, {}},
        {"0.0125", 0.012, {}},
        {"0.0135", 0.014, {}},
        {"3000000.1234", 3000000.123, {}},
        {"x-y", 0, {{32, 10, "Non numeric value (-) found for candela value V=22.5 H=90"}}}};
    for (const auto& [value, stored, issues] : cases) {
        SCOPED_TRACE(value);
        Harness h;
        EXPECT_EQ(h.parse(text(value)), kParseClean);
        EXPECT_EQ(h.issues, issues);
        EXPECT_DOUBLE_EQ(h.r.Candela(2, 2), stored);
    }
    // A negative value is zeroed and makes the text unusable. The reports count every line, on
    // past 32767, and the preview's reader keeps counting from one parse to the next.
    const std::string negative =
        "Negative candela value (-7) at H=90 V=22.5, can't suck light, setting to 0";
    Harness h;
    EXPECT_EQ(h.parse(text("-7")), kParseUnusable);
    EXPECT_EQ(h.r.Candela(2, 2), 0.0);
    h.parse(text(std::string(40000, '\r') + "-7"));
    EXPECT_EQ(h.issues, (Issues{{21, 10, negative}, {21, 40020, negative}}));
}

// Cut short, the text is unusable and the reports say where it ended; cut anywhere, the record
// keeps its invariants. Counts far beyond the values present end without allocating for them:
// angles that fit and a table that does not (301 x 301 with one value), or neither.
TEST(IesReader, TruncatedText) {
    std::string ramp;  // 0 to 90 in 301 steps
    for (int i = 0; i <= 300; ++i)
        ramp += std::to_string(i * 0.3) + " ";
    const auto full = Doc{}.text(), huge = Doc{.numbers = "1 1 1 32767 32767 1 1 0 0 0"}.text();
    Doc table{.numbers = "1 1 1 301 301 1 1 0 0 0", .vert = ramp, .horz = ramp, .candela = {"1"}};
    const std::pair<std::string, Issues> cases[] = {
        {full.substr(0, full.find("100 70")),
         {{32, 10, "Non numeric value () found for candela value V=0 H=90"},
          {23, 10, "Premature End of File at candela value V=45 H=90"}}},
        {full.substr(0, full.find(" 3 2 1")),
         {{23, 5, "Premature End of File at number of vertical angles"}}},
        {"IESNA:LM-63-1995\r\n[TEST] 1\r\n", {{28, 2, " TILT= line never found "}}},
        {"", {{28, 0, " TILT= line never found "}}},
        {huge.substr(0, huge.find("\r\n0 90")),
         {{23, 7, "Premature End of File at vertical angle 4"}}},
        {table.text(), {{23, 9, "Premature End of File at candela value V=0.3 H=0"}}}};
    for (const auto& [text, issues] : cases) {
        SCOPED_TRACE(text);
        Harness h;
        EXPECT_EQ(h.parse(text), kParseUnusable);
        EXPECT_EQ(h.issues, issues);
        EXPECT_LE(h.r.Candela.values().size(), 70000u);
        expectShape(h.r);
    }
    const std::string tilted = Doc{.tilt = {"TILT=INCLUDE", "1", "2", "0 90", "1 1"}}.text();
    for (const std::string& text : {full, tilted})
        for (std::size_t n = 0; n < text.size(); ++n)
            for (bool interactive : {false, true}) {
                SCOPED_TRACE(text.substr(0, n));
                Harness h;
                h.parse(text.substr(0, n), interactive);
                expectShape(h.r);
            }
}

// Texts the fuzzers once broke the reader or the round trip with must stay harmless.
TEST(IesReader, FuzzRegressionsStayHarmless) {
    const auto dir = std::filesystem::path(KANDOR_SOURCE_DIR) / "tests/fuzz/regressions";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir)) {
        const std::string target = entry.path().parent_path().filename().string();
        if (!entry.is_regular_file() || !target.starts_with("ies_")) continue;
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        for (bool interactive : {false, true}) {
            SCOPED_TRACE(entry.path().filename().string());
            Harness h;
            h.parse(text, interactive);
            expectShape(h.r);
        }
    }
}

}  // namespace
}  // namespace kandor
