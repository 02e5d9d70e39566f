#include "core/iesreader.h"

#include <gtest/gtest.h>

#include <charconv>
#include <chrono>
#include <cmath>
#include <deque>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "core/runtimefault.h"

namespace kandor {
namespace {

struct Issue {
    int code;
    int line;
    std::string message;
    friend bool operator==(const Issue&, const Issue&) = default;
    friend std::ostream& operator<<(std::ostream& os, const Issue& i) {
        return os << "{" << i.code << ", " << i.line << ", \"" << i.message << "\"}";
    }
};

struct Prompt {
    std::string text;
    std::string defaultValue;
    std::string title;
    friend bool operator==(const Prompt&, const Prompt&) = default;
    friend std::ostream& operator<<(std::ostream& os, const Prompt& p) {
        return os << "{\"" << p.text << "\", \"" << p.defaultValue << "\", \"" << p.title << "\"}";
    }
};

// A reader whose hooks record every report and answer the repair prompts from a script.
struct Harness {
    IesReader reader;
    std::vector<Issue> issues;
    std::vector<Prompt> prompts;
    std::deque<std::string> answers;

    Harness() {
        reader.hooks.ReportIssue = [this](int code, int line, const std::string& message) {
            issues.push_back({code, line, message});
        };
        reader.hooks.RepBox = [this](const std::string& prompt, const std::string& def,
                                     const std::string& title) {
            prompts.push_back({prompt, def, title});
            if (answers.empty()) return std::string();
            std::string answer = answers.front();
            answers.pop_front();
            return answer;
        };
    }

    // Parses as the preview does: the text is also the writer's last text.
    std::int16_t parse(IesRecord& record, std::string_view text, bool interactive = false) {
        return reader.ParseIes(record, text, interactive, text);
    }
};

// A small Type C file; with the defaults the lines are: 1-3 header, 4 TILT, 5 numbers,
// 6 ballast/future/watts, 7 vertical angles, 8 horizontal angles, 9-10 candela.
struct Doc {
    std::vector<std::string> head = {"IESNA:LM-63-1995", "[TEST] 1", "[MANUFAC] ACME"};
    std::vector<std::string> tilt = {"TILT=NONE"};
    std::string numbers = "1 1000 1 3 2 1 1 0 0 0";
    std::string ballast = "1 1 50";
    std::string vert = "0 45 90";
    std::string horz = "0 90";
    std::vector<std::string> candela = {"100 80 10", "100 70 5"};

    std::string text() const {
        std::vector<std::string> lines = head;
        lines.insert(lines.end(), tilt.begin(), tilt.end());
        for (const std::string* s : {&numbers, &ballast, &vert, &horz})
            lines.push_back(*s);
        lines.insert(lines.end(), candela.begin(), candela.end());
        std::string out;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (i > 0) out += "\r\n";
            out += lines[i];
        }
        return out;
    }
};

void expectShape(const IesRecord& r) {
    const LampData& d = r.OtherData;
    const int v = std::max<int>(d.numVertAngles, 0);
    const int h = std::max<int>(d.numHorzAngles, 0);
    EXPECT_EQ(r.VertAngles.ubound(), v);
    EXPECT_EQ(r.HorAngles.ubound(), h);
    EXPECT_EQ(r.Candela.rows(), v > 0 ? h : 0);
    EXPECT_EQ(r.Candela.cols(), h > 0 ? v : 0);
    EXPECT_GE(r.Keywords.ubound(), 1);
    if (r.TiltIncl) {
        EXPECT_EQ(r.TiltData.angles.ubound(), std::max<int>(r.TiltData.numPairs, 0));
        EXPECT_EQ(r.TiltData.factors.ubound(), std::max<int>(r.TiltData.numPairs, 0));
    }
}

TEST(IesReader, CleanFileFillsTheRecordHorizontalFirst) {
    Harness h;
    IesRecord r;
    EXPECT_EQ(h.parse(r, Doc{}.text()), kParseClean);
    EXPECT_TRUE(h.issues.empty());
    EXPECT_EQ(r.Keywords.values(),
              (std::vector<std::string>{"IESNA:LM-63-1995", "[TEST] 1", "[MANUFAC] ACME"}));
    EXPECT_FALSE(r.TiltIncl);
    EXPECT_EQ(r.OtherData.inputWatts, 50.0f);
    EXPECT_EQ(r.VertAngles.values(), (std::vector<float>{0, 45, 90}));
    EXPECT_EQ(r.HorAngles.values(), (std::vector<float>{0, 90}));
    ASSERT_EQ(r.Candela.rows(), 2);
    EXPECT_EQ(r.Candela(1, 3), 10.0);
    EXPECT_EQ(r.Candela(2, 2), 70.0);
    expectShape(r);
    EXPECT_EQ(h.reader.CurrentField, "candela value V=90 H=90");
}

TEST(IesReader, HeaderLines) {
    const std::string ies = "IESNA:LM-63-1995";
    struct Case {
        const char* name;
        std::vector<std::string> head;
        std::vector<Issue> issues;
        std::int16_t status;
    } cases[] = {
        {"user keyword", {ies, "[_", "[_MY KEY] x"}, {}, kParseClean},
        {"unknown keyword", {ies, "[FOO] x"}, {{27, 2, "Invalid Keyword"}}, kParseKeywordProblems},
        {"keyword case", {ies, "[test] 1"}, {{27, 2, "Invalid Keyword"}}, kParseKeywordProblems},
        {"descriptive after revision",
         {ies, "free text"},
         {{27, 2, " Descriptive line without Keyword."}},
         kParseKeywordProblems},
        {"descriptive before revision", {"free text", "[FOO] x"}, {}, kParseClean},
        {"revision needs upper case", {"iesna:LM-63-1995", "free text"}, {}, kParseClean},
        {"2002 complete",
         {"IESNA:LM-63-2002", "[TEST] 1", "[TESTLAB] L", "[MANUFAC] M", "[ISSUEDATE] D"},
         {},
         kParseClean},
        {"2002 without [TEST]",
         {"IESNA:LM-63-2002", "[TESTLAB] L", "[MANUFAC] M", "[ISSUEDATE] D"},
         {{34, 0, std::string(iesreader_msg::kRequired2002)}},
         kParseKeywordProblems},
        {"2002 lookup is case-sensitive",
         {"IESNA:LM-63-2002", "[TEST] 1", "[TESTLAB] L", "[MANUFAC] M", "[_x] [issuedate] D"},
         {{34, 0, std::string(iesreader_msg::kRequired2002)}},
         kParseKeywordProblems},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Doc doc;
        doc.head = c.head;
        Harness h;
        IesRecord r;
        EXPECT_EQ(h.parse(r, doc.text()), c.status);
        EXPECT_EQ(h.issues, c.issues);
        EXPECT_EQ(r.Keywords.values(), c.head);  // every header line is kept, valid or not
    }
}

TEST(IesReader, KeywordsAreOnlyCheckedWhenTheComposedTextNamesIesna) {
    Doc doc;
    doc.head = {"[FOO] x"};
    Harness h;
    IesRecord r;
    EXPECT_EQ(h.reader.ParseIes(r, doc.text(), false, "[TEST] 1\r\nTILT=NONE"), kParseClean);
    EXPECT_EQ(h.reader.ParseIes(r, doc.text(), false, "IESNA91\r\n"), kParseKeywordProblems);
}

TEST(IesReader, TiltLine) {
    struct Case {
        std::vector<std::string> tilt;
        bool included;
        std::vector<Issue> issues;
    } cases[] = {
        {{"TILT=NONE"}, false, {}},
        {{"tilt=NONE  "}, false, {}},
        {{"TILT=none"}, false, {}},  // names a tilt file, which is not opened
        {{"TILT=lamp.tlt"}, false, {}},
        {{"TILT=INCLUDE", "1", "4", "0 45 90 180", "1 .9 .8 1"}, true, {}},
        {{"TILT=INCLUDE", "4", "2", "0 90", "1 1"},
         true,
         {{2, 5, "invalid Lamp to Luminaire Geometry, must be 1, 2, or 3, read 4"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.tilt.front());
        Doc doc;
        doc.tilt = c.tilt;
        doc.ballast = "1 1 0";  // a report that shows the line counting after the block
        Harness h;
        IesRecord r;
        r.TiltIncl = !c.included;
        h.parse(r, doc.text());
        std::vector<Issue> expected = c.issues;
        expected.push_back(
            {25, 5 + static_cast<int>(c.tilt.size()), " Invalid input watts, read: 0"});
        EXPECT_EQ(h.issues, expected);
        EXPECT_EQ(r.TiltIncl, c.included);
        EXPECT_EQ(r.OtherData.inputWatts, 0.0f);
        expectShape(r);
    }
    Doc doc;
    doc.tilt = {"TILT=INCLUDE", "1", "4", "0 45 90 180", "1 .9 .8 1"};
    IesRecord r;
    Harness().parse(r, doc.text());
    EXPECT_EQ(r.TiltData.lampToLuminaire, 1);
    EXPECT_EQ(r.TiltData.angles.values(), (std::vector<float>{0, 45, 90, 180}));
    EXPECT_EQ(r.TiltData.factors.values(), (std::vector<float>{1, .9f, .8f, 1}));
}

TEST(IesReader, MissingTiltLine) {
    // A numeric line needs extra spaces (11 pieces or more) to be taken for the numbers.
    Doc doc;
    doc.tilt = {};
    doc.numbers = "1  1000 1 3 2 1 1 0 0 0";
    Harness h;
    IesRecord r;
    EXPECT_EQ(h.parse(r, doc.text()), kParseUnusable);
    EXPECT_EQ(h.issues,
              (std::vector<Issue>{{2, 4, " Missing TILT, ran headlong into numeric data."}}));
    EXPECT_EQ(r.OtherData.lumensPerLamp, 1000.0f);
    EXPECT_EQ(r.OtherData.inputWatts, 50.0f);
    EXPECT_EQ(r.Candela(2, 3), 5.0);
    expectShape(r);

    // Single-spaced, the same line is only a descriptive line, and the TILT line never comes.
    doc.numbers = "1 1000 1 3 2 1 1 0 0 0";
    Harness h2;
    EXPECT_EQ(h2.parse(r, doc.text()), kParseUnusable);
    ASSERT_FALSE(h2.issues.empty());
    EXPECT_EQ(h2.issues.front(), (Issue{27, 4, " Descriptive line without Keyword."}));
    EXPECT_EQ(h2.issues.back(), (Issue{28, 9, " TILT= line never found "}));
}

TEST(IesReader, HeaderValuesReported) {
    struct Case {
        const char* numbers;
        const char* ballast;
        std::vector<Issue> issues;
        std::int16_t status;
    } cases[] = {
        {"1 -1 1 3 2 1 1 0 0 0", "1 1 50", {}, kParseClean},
        {"1 -1.4 1 3 2 1 1 0 0 0", "1 1 50", {}, kParseClean},
        {"1 -.6 1 3 2 1 1 0 0 0", "1 1 50", {}, kParseClean},
        {"1.5 1000 1 3 2 1 1 0 0 0",
         "1 1 50",
         {{3, 5, " Invalid number of lamps, must be a whole # greater than 0"}},
         kParseValueProblems},
        {"1 -2 1 3 2 1 1 0 0 0",
         "1 1 50",
         {{4, 5, " Invalid Lumens Per Lamp, read: -2"}},
         kParseValueProblems},
        {"1 0 1 3 2 1 1 0 0 0",
         "1 1 50",
         {{4, 5, " Invalid Lumens Per Lamp, read: 0"}},
         kParseValueProblems},
        {"1 1000 0 3 2 1 1 0 0 0",
         "1 1 50",
         {{5, 5, " Invalid Candela Multiplier, read: 0"}},
         kParseValueProblems},
        {"1 1000 1 3 2 1 3 0 0 0",
         "1 1 50",
         {{31, 5, " invalid Units, read: 3"}},
         kParseValueProblems},
        {"1 1000 1 3 2 1 1 0 0 0",
         "0 1 50",
         {{7, 6, " invalid Ballast Factor, read: 0"}},
         kParseValueProblems},
        {"1 1000 1 3 2 1 1 0 0 0",
         "1 1 -2.5",
         {{25, 6, " Invalid input watts, read: -2.5"}},
         kParseValueProblems},
        {"1 1000 1 3 2 3 1 0 0 0",
         "1 1 50",
         {{6, 5, " Invalid Photometric Type (B or C only), read: 3"}},
         kParseUnusable},
        // Status 2 outranks a later value problem; a value problem outranks a keyword one.
        {"1 1000 1 3 2 3 3 0 0 0",
         "1 1 50",
         {{6, 5, " Invalid Photometric Type (B or C only), read: 3"},
          {31, 5, " invalid Units, read: 3"}},
         kParseUnusable},
        // No angles to read; the horizontal angles are read from the vertical line.
        {"1 1000 1 0 2 1 1 0 0 0",
         "1 1 50",
         {{29, 5, " Invalid entry of Vertical Angles, read: 0"},
          {17, 7,
           " Last horizontal angle must be 90, 180, 270, or 360 if first angle is 0, read 45"}},
         kParseUnusable},
        {"1 1000 1 3 -1 1 1 0 0 0",
         "0 1 0",
         {{30, 5, " Invalid entry of Horizontal Angles, read: -1"}},
         kParseUnusable},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.numbers) + " / " + c.ballast);
        Doc doc;
        doc.numbers = c.numbers;
        doc.ballast = c.ballast;
        Harness h;
        IesRecord r;
        EXPECT_EQ(h.parse(r, doc.text()), c.status);
        EXPECT_EQ(h.issues, c.issues);
        expectShape(r);
    }

    // A rejected value is stored all the same.
    Doc doc;
    doc.numbers = "1 -2 0 3 2 1 1 0 0 0";
    IesRecord r;
    Harness().parse(r, doc.text());
    EXPECT_EQ(r.OtherData.lumensPerLamp, -2.0f);
    EXPECT_EQ(r.OtherData.multiplier, 0.0f);
}

TEST(IesReader, TypeBWithOnePlane) {
    Doc doc;
    doc.numbers = "1 1000 1 3 1 2 1 0 0 0";
    doc.horz = "0";
    doc.candela = {"100 80 10"};
    Harness h;
    IesRecord r;
    EXPECT_EQ(h.parse(r, doc.text()), kParseValueProblems);
    EXPECT_EQ(h.issues, (std::vector<Issue>{{33, 5, std::string(iesreader_msg::kOnePlaneTypeB)}}));

    Harness ask;
    ask.answers = {"1"};
    EXPECT_EQ(ask.parse(r, doc.text(), true), kParseClean);
    EXPECT_EQ(ask.prompts, (std::vector<Prompt>{{std::string(iesreader_msg::kAskOnePlane), "1",
                                                 "Incorrect Photometric Type B (2)"}}));
    EXPECT_EQ(r.OtherData.photometricType, 1);
}

TEST(IesReader, HeaderValuesRepairedInteractively) {
    using Get = float (*)(const LampData&);
    struct Case {
        const char* numbers;
        const char* answer;
        Prompt prompt;
        Get get;
        float repaired;
    } cases[] = {
        {"0 1000 1 3 2 1 1 0 0 0",
         "2",
         {"There must be a positive, whole number of lamps.  0 instead.", "1",
          "Invalid Number of Lamps"},
         [](const LampData& d) -> float { return d.numLamps; },
         2},
        {"1 -2 1 3 2 1 1 0 0 0",
         "",  // an empty answer reads as 0
         {"The lumens per lamp must be greater than zero or -1", "1", "Invalid Lumens Per Lamp"},
         [](const LampData& d) { return d.lumensPerLamp; },
         0},
        {"1 1000 1 3 2 1 0 0 0 0",
         "2",
         {"1 for fixture measured in feet, 2 for meters, Read 0 instead.", "1", "Invalid Units. "},
         [](const LampData& d) -> float { return d.unitsType; },
         2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.prompt.title);
        Doc doc;
        doc.numbers = c.numbers;
        Harness h;
        h.answers = {c.answer};
        IesRecord r;
        EXPECT_EQ(h.parse(r, doc.text(), true), kParseValueProblems);
        EXPECT_TRUE(h.issues.empty());
        EXPECT_EQ(h.prompts, std::vector<Prompt>{c.prompt});
        EXPECT_EQ(c.get(r.OtherData), c.repaired);
    }
}

TEST(IesReader, AngleRules) {
    const char* typeC = "1 1000 1 3 2 1 1 0 0 0";
    const char* typeB = "1 1000 1 3 2 2 1 0 0 0";
    const char* typeA = "1 1000 1 3 2 3 1 0 0 0";
    const Issue typeAReport{6, 5, " Invalid Photometric Type (B or C only), read: 3"};
    struct Case {
        const char* numbers;
        const char* vert;
        const char* horz;
        std::vector<Issue> issues;
        std::int16_t status;
    } cases[] = {
        {typeC, "10 45 90", "0 90", {{10, 7, " First vertical must be 0 or 90, read 10"}}, 0},
        {typeC, "-90 0 90", "0 90", {{10, 7, " Incorect Photometric type for distribution "}}, 1},
        {typeC,
         "0 -5 90",
         "0 90",
         {{9, 7, " Vertical angles not in ascending order, read 0 then -5"}},
         0},
        {typeC, "0 95 90", "0 90", {}, 0},  // the last angle is not compared with the one before
        {typeC,
         "0 45 100",
         "0 90",
         {{11, 7, " Last vertical angle must be 90 or 180, read 100"}},
         0},
        {typeC,
         "0 45 90",
         "-90 90",
         {{16, 8, " First horizontal angle is -90. Possible Type B not C"}},
         1},
        {typeC,
         "0 45 90",
         "45 90",
         {{16, 8, " First horizontal angle must be 0 or 90, read 45"}},
         1},
        {typeC,
         "0 45 90",
         "0 100",
         {{17, 8,
           " Last horizontal angle must be 90, 180, 270, or 360 if first angle is 0, read 100"}},
         0},
        {typeC,
         "0 45 90",
         "90 180",
         {{18, 8, " Last horizontal angle must be 270 if first angle is 90, read 180"}},
         0},
        {typeC, "0 45 90", "0 360", {}, 0},
        {typeB, "-90 0 90", "-90 90", {}, 0},
        {typeB, "-45 0 90", "0 90", {{12, 7, " First vertical must be 0 or -90, read -45"}}, 0},
        {typeB, "0 45 180", "0 90", {{13, 7, " Incorect Photometric type for distribution"}}, 1},
        {typeB, "0 45 80", "0 90", {{13, 7, " Last vertical angle must be 90, read 80"}}, 0},
        {typeB, "0 45 90", "5 90", {{16, 8, " first angle must be 0 or -90, read 5"}}, 0},
        {typeB, "0 45 90", "0 80", {{19, 8, " last angle must be 90"}}, 0},
        // Type A: only the vertical order and the "any other type" last-angle rule.
        {typeA,
         "7 3 90",
         "50 10",
         {typeAReport, {9, 7, " Vertical angles not in ascending order, read 7 then 3"}},
         2},
        {typeA,
         "0 45 80",
         "0 90",
         {typeAReport, {13, 7, " Last vertical angle must be 90, read 80"}},
         2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.numbers) + " / " + c.vert + " / " + c.horz);
        Doc doc;
        doc.numbers = c.numbers;
        doc.vert = c.vert;
        doc.horz = c.horz;
        Harness h;
        IesRecord r;
        EXPECT_EQ(h.parse(r, doc.text()), c.status);
        EXPECT_EQ(h.issues, c.issues);
    }

    // Three planes, the middle one out of order.
    Doc doc;
    doc.numbers = "1 1000 1 3 3 2 1 0 0 0";
    doc.horz = "0 -10 90";
    doc.candela = {"1 1 1", "1 1 1", "1 1 1"};
    Harness h;
    IesRecord r;
    h.parse(r, doc.text());
    EXPECT_EQ(h.issues, (std::vector<Issue>{{15, 8, " Horizontal angles not in ascending order"}}));

    // With a single horizontal angle only the first-angle rule applies.
    doc.numbers = "1 1000 1 3 1 1 1 0 0 0";
    doc.horz = "45";
    doc.candela = {"1 1 1"};
    Harness single;
    EXPECT_EQ(single.parse(r, doc.text()), kParseValueProblems);
    EXPECT_EQ(single.issues,
              (std::vector<Issue>{{16, 8, " First horizontal angle must be 0 or 90, read 45"}}));
}

TEST(IesReader, AngleRepairsChangeThePhotometricType) {
    struct Case {
        const char* numbers;
        const char* vert;
        const char* horz;
        Prompt prompt;
        std::int16_t type;
    } cases[] = {
        {"1 1000 1 3 2 1 1 0 0 0",
         "-90 0 90",
         "0 90",
         {std::string(iesreader_msg::kAskTypeBWeb), "2",
          "Incorect Photometric type for distribution"},
         2},
        {"1 1000 1 3 2 2 1 0 0 0",
         "0 90 180",
         "0 90",
         {std::string(iesreader_msg::kAskTypeCWeb), "1",
          "Incorect Photometric type for distribution"},
         1},
        {"1 1000 1 3 2 1 1 0 0 0",
         "0 45 90",
         "-90 90",
         {"This may be a Type B (2) file, not a Type C (1)", "2", "First horizontal angle is -90"},
         2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.vert);
        Doc doc;
        doc.numbers = c.numbers;
        doc.vert = c.vert;
        doc.horz = c.horz;
        doc.candela = {"100 80 10", "100 70 10"};
        Harness h;
        h.answers = {c.prompt.defaultValue};
        IesRecord r;
        h.parse(r, doc.text(), true);
        EXPECT_EQ(h.prompts, std::vector<Prompt>{c.prompt});
        EXPECT_EQ(r.OtherData.photometricType, c.type);
    }
}

TEST(IesReader, Tokens) {
    struct Case {
        const char* text;
        std::vector<double> values;
        std::vector<Issue> issues;
        int lines = 0;
    } cases[] = {
        {"1.5E03",
         {1500},
         {{1, 0, "Exponential value (1.5E03) = (1500) found for F. Considered Harmful."}}},
        {"2.5e-3",
         {0.0025},
         {{1, 0, "Exponential value (2.5E-3) = (0.0025) found for F. Considered Harmful."}}},
        // "+" is no number character: it ends the token and is skipped.
        {"1.2E+07", {0, 7}, {{32, 0, "Non numeric value (1.2E) found for F"}}},
        {" 1,\t2 ,\r\n3\t\t,4", {1, 2, 3, 4}, {}, 1},
        {".5 -.25 7.", {0.5, -0.25, 7}, {}},
        {"1-2", {0}, {{32, 0, "Non numeric value (1-2) found for F"}}},
        {"abc7 e7", {7, 0}, {{32, 0, "Non numeric value (e7) found for F"}}},
        // Running out: the empty token reads as 0; only the next read meets the end.
        {"5 \r\n", {5, 0}, {{32, 1, "Non numeric value () found for F"}}, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Harness h;
        h.reader.CurrentField = "F";
        std::size_t pos = 0;
        std::vector<double> values;
        for (std::size_t i = 0; i < c.values.size(); ++i)
            values.push_back(h.reader.gfnValueInput(c.text, pos));
        EXPECT_EQ(values, c.values);
        EXPECT_EQ(h.issues, c.issues);
        EXPECT_EQ(h.reader.LineNumber, c.lines);
        try {
            h.reader.gfnValueInput(c.text, pos);
            ADD_FAILURE() << "no end-of-input fault";
        } catch (const RuntimeFault& f) {
            EXPECT_EQ(f.number(), fault::kInputPastEnd);
        }
    }
}

TEST(IesReader, LineInput) {
    struct Case {
        const char* text;
        std::size_t from;
        const char* line;
        std::size_t to;
    } cases[] = {
        {"abc\r\n  def", 0, "abc", 7},
        {"abc", 0, "ab", 2},  // a last line without CR loses its last character
        {"x\r\n\r\n, \t", 0, "x", 8},
        {"abc\r\n  def", 7, "de", 9},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        IesReader reader;
        std::size_t pos = c.from;
        EXPECT_EQ(reader.gfnLineInput(c.text, pos), c.line);
        EXPECT_EQ(pos, c.to);
        EXPECT_EQ(reader.LineNumber, 1);
    }
    IesReader reader;
    std::size_t pos = 3;
    EXPECT_THROW(reader.gfnLineInput("abc", pos), RuntimeFault);
}

TEST(IesReader, CandelaValues) {
    struct Case {
        const char* value;
        double stored;
        std::vector<Issue> issues;
        std::int16_t status;
    } cases[] = {
        {"12.34567", 12.346, {}, 0},
        {"0.0004", 0, {}, 0},
        {"0.0125", 0.012, {}, 0},  // halves to even
        {"0.0135", 0.014, {}, 0},
        {"3000000.1234", 3000000.123, {}, 0},  // no 32-bit overflow above 2147483.647
        {"1.5E03",
         1500,
         {{1, 9,
           "Exponential value (1.5E03) = (1500) found for candela value V=0 H=0. Considered "
           "Harmful."}},
         0},
        {"-2.5",
         0,
         {{21, 9, "Negative candela value (-2.5) at H=0 V=0, can't suck light, setting to 0"}},
         2},
        {"x-y", 0, {{32, 9, "Non numeric value (-) found for candela value V=0 H=0"}}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        Doc doc;
        doc.numbers = "1 1000 1 1 1 1 1 0 0 0";
        doc.vert = "0";
        doc.horz = "0";
        doc.candela = {c.value};
        Harness h;
        IesRecord r;
        EXPECT_EQ(h.parse(r, doc.text()), c.status);
        EXPECT_EQ(h.issues, c.issues);
        ASSERT_EQ(r.Candela.values().size(), 1u);
        EXPECT_DOUBLE_EQ(r.Candela(1, 1), c.stored);
    }

    // The field names the angles, not the indices, in the general form.
    Doc doc;
    doc.vert = "0 22.5 90";
    doc.candela = {"100 80 10", "100 -7 5"};
    Harness h;
    IesRecord r;
    h.parse(r, doc.text());
    EXPECT_EQ(h.issues,
              (std::vector<Issue>{
                  {21, 10,
                   "Negative candela value (-7) at H=90 V=22.5, can't suck light, setting to 0"}}));
}

TEST(IesReader, EveryCandelaValueIsRoundedToThreeDecimals) {
    std::mt19937 random(1995);
    Doc doc;
    doc.numbers = "1 1000 1 3 200 3 1 0 0 0";  // type A: no angle or pole rules
    doc.horz.clear();
    doc.candela.clear();
    std::vector<double> expected;
    for (int i = 0; i < 200; ++i) {
        doc.horz += std::to_string(i) + " ";
        std::string line;
        for (int v = 0; v < 3; ++v) {
            std::string token = std::to_string(random() % 100000000);
            const std::size_t decimals = random() % 7;
            if (decimals > 0) token.insert(token.size() - std::min(decimals, token.size()), ".");
            line += token + " ";
            double x = 0;
            std::from_chars(token.data(), token.data() + token.size(), x);
            expected.push_back(std::nearbyint(x * 1000) / 1000);
        }
        doc.candela.push_back(line);
    }
    IesRecord r;
    Harness h;
    h.parse(r, doc.text());
    EXPECT_EQ(r.Candela.values(), expected);
}

TEST(IesReader, NadirAndZenith) {
    Doc doc;
    doc.numbers = "1 1000 1 3 3 1 1 0 0 0";
    doc.vert = "0 90 180";
    doc.horz = "0 45 90";
    struct Case {
        std::vector<std::string> candela;
        std::vector<Issue> issues;
        Prompt prompt;
        int vIndex;
    } cases[] = {
        {{"10 5 1", "10 5 1", "10.4 5 1"},
         {{22, 11, "Nadir Candela Values do not agree."}},
         {"Read 3 values: 10, 10, 10.4, \r\nAverage is 10.13333 this is a small difference, likely "
          "a rounding error.",
          "10.13333", "Nadir candela values not equal"},
         1},
        {{"10 5 1", "10 5 1", "20 5 1"},
         {{22, 11, "Nadir Candela Values do not agree."}},
         {"Read 3 values: 10, 10, 20, \r\nAverage is 13.33333 this is a large difference, possibly "
          "a corrupt file. Contact the Manufacturer for a correct file",
          "13.33333", "Nadir candela values not equal"},
         1},
        // The spread is the root of the last plane's squared deviation over the planes.
        {{"10 5 1", "10 5 1", "13 5 1"},
         {{22, 11, "Nadir Candela Values do not agree."}},
         {"Read 3 values: 10, 10, 13, \r\nAverage is 11 this is a large difference, possibly a "
          "corrupt file. Contact the Manufacturer for a correct file",
          "11", "Nadir candela values not equal"},
         1},
        {{"10 5 1", "10 5 2", "10 5 1"},
         {{35, 11, "Zenith Candela Values do not agree."}},
         {"Read 3 values: 1, 2, 1, \r\nAverage is 1.333333 this is a small difference, likely a "
          "rounding error.",
          "1.333333", "Zenith candela values not equal"},
         3},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.prompt.text);
        doc.candela = c.candela;
        Harness reported;
        IesRecord r;
        EXPECT_EQ(reported.parse(r, doc.text()), kParseClean);
        EXPECT_EQ(reported.issues, c.issues);

        Harness asked;
        asked.answers = {"10.1"};
        EXPECT_EQ(asked.parse(r, doc.text(), true), kParseClean);
        EXPECT_EQ(asked.prompts, std::vector<Prompt>{c.prompt});
        for (int plane = 1; plane <= 3; ++plane)
            EXPECT_EQ(r.Candela(plane, c.vIndex), 10.1);
    }

    // Type B and a single plane are not checked.
    doc.candela = {"10 5 1", "10 5 1", "10.4 5 1"};
    doc.numbers = "1 1000 1 3 3 2 1 0 0 0";
    doc.vert = "-90 0 90";
    doc.horz = "-90 0 90";
    Harness typeB;
    IesRecord r;
    EXPECT_EQ(typeB.parse(r, doc.text()), kParseClean);
    EXPECT_TRUE(typeB.issues.empty());
}

TEST(IesReader, PrematureEnd) {
    Doc doc;
    struct Case {
        std::string text;
        std::vector<Issue> tail;  // the last reports
    } cases[] = {
        {doc.text().substr(0, doc.text().find("100 70")),
         {{32, 10, "Non numeric value () found for candela value V=0 H=90"},
          {23, 10, "Premature End of File at candela value V=45 H=90"}}},
        {doc.text().substr(0, doc.text().find(" 3 2 1")),
         {{23, 5, "Premature End of File at number of vertical angles"}}},
        {doc.text().substr(0, doc.text().find("1 1000")),
         {{23, 5, "Premature End of File at number of lamps"}}},
        {"IESNA:LM-63-1995\r\n[TEST] 1\r\n", {{28, 2, " TILT= line never found "}}},
        {"", {{28, 0, " TILT= line never found "}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        Harness h;
        IesRecord r;
        EXPECT_EQ(h.parse(r, c.text), kParseUnusable);
        ASSERT_GE(h.issues.size(), c.tail.size());
        EXPECT_EQ(
            std::vector<Issue>(h.issues.end() - static_cast<long>(c.tail.size()), h.issues.end()),
            c.tail);
        expectShape(r);
    }
}

TEST(IesReader, RunTimeFaultEndsTheParseAsUnusable) {
    Doc doc;
    doc.numbers = "1E39 1000 1 3 2 1 1 0 0 0";  // beyond a 32-bit float
    Harness h;
    IesRecord r;
    EXPECT_EQ(h.parse(r, doc.text()), kParseUnusable);
    EXPECT_EQ(h.reader.lastFaultNumber(), fault::kOverflow);
    EXPECT_TRUE(h.issues.empty());
    expectShape(r);
}

TEST(IesReader, LineNumberAndFieldCarryOverBetweenParses) {
    Doc doc;
    doc.candela = {"100 -1 10", "100 70 5"};
    Harness h;
    IesRecord r;
    h.parse(r, doc.text());
    EXPECT_EQ(h.reader.LineNumber, 10);
    h.parse(r, doc.text());
    ASSERT_EQ(h.issues.size(), 2u);
    EXPECT_EQ(h.issues[0].line, 9);
    EXPECT_EQ(h.issues[1].line, 19);  // the preview's reader keeps counting
}

TEST(IesReader, LineNumberGoesPast32767) {
    Doc doc;
    doc.candela = {std::string(40000, '\r') + "100 80 10", "100 70 -5"};
    Harness h;
    IesRecord r;
    h.parse(r, doc.text());
    ASSERT_EQ(h.issues.size(), 1u);
    EXPECT_EQ(h.issues[0].line, 40010);
}

TEST(IesReader, HugeDeclaredCountsEndQuicklyWithoutAllocating) {
    struct Case {
        Doc doc;
        Issue last;
    };
    Doc angles;
    angles.numbers = "1 1000 1 32767 32767 1 1 0 0 0";
    angles.vert = "0 1 2";
    angles.horz = "";
    angles.candela = {};

    // Angles that fit, a table that does not: 300 x 300 with three values.
    Doc table;
    table.numbers = "1 1000 1 300 300 1 1 0 0 0";
    table.vert.clear();
    table.horz.clear();
    for (int i = 0; i < 299; ++i)
        table.vert += std::to_string(i) + " ";
    table.vert += "90";
    for (int i = 0; i < 299; ++i)
        table.horz += std::to_string(i) + " ";
    table.horz += "360";
    table.candela = {"1 2 3"};

    const Case cases[] = {
        {angles, {23, 8, "Premature End of File at vertical angle 5"}},
        {table, {23, 9, "Premature End of File at candela value V=3 H=0"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.doc.numbers);
        Harness h;
        IesRecord r;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(h.parse(r, c.doc.text()), kParseUnusable);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
        ASSERT_FALSE(h.issues.empty());
        EXPECT_EQ(h.issues.back(), c.last);
        EXPECT_LE(r.Candela.values().size(), 70000u);
        expectShape(r);
    }
    IesRecord r;
    Harness().parse(r, table.text());
    EXPECT_EQ(r.Candela(1, 3), 3.0);  // what was read is kept
}

// Whatever the text, the parse returns and leaves a record of consistent shape.
TEST(IesReader, EveryPrefixAndRandomTextLeaveAConsistentRecord) {
    Doc tilted;
    tilted.tilt = {"TILT=INCLUDE", "1", "2", "0 90", "1 1"};
    std::vector<std::string> texts;
    for (const std::string& full : {Doc{}.text(), tilted.text()})
        for (std::size_t n = 0; n <= full.size(); ++n)
            texts.push_back(full.substr(0, n));
    std::mt19937 random(63);
    const std::string alphabet = "0123456789 -.eE+\r\n,\t[]_TILT=NONEINCLUDEIESNA";
    for (int i = 0; i < 300; ++i) {
        std::string text = "IESNA91\r\nTILT=NONE\r\n";
        const int length = static_cast<int>(random() % 200);
        for (int k = 0; k < length; ++k)
            text += alphabet[random() % alphabet.size()];
        texts.push_back(text);
    }
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        for (bool interactive : {false, true}) {
            Harness h;
            IesRecord r;
            const std::int16_t status = h.parse(r, text, interactive);
            EXPECT_TRUE(status >= 0 && status <= 3);
            expectShape(r);
        }
    }
}

TEST(IesReader, EmptyHooksDiscardAndAnswerZero) {
    Doc doc;
    doc.numbers = "1 1000 -1 3 2 1 1 0 0 0";
    IesReader reader;
    IesRecord r;
    EXPECT_EQ(reader.ParseIes(r, doc.text(), true, doc.text()), kParseValueProblems);
    EXPECT_EQ(r.OtherData.multiplier, 0.0f);
}

}  // namespace
}  // namespace kandor
