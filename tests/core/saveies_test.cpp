#include "core/saveies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "core/numforms.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

// A small, valid record: one plane of three vertical angles.
IesRecord sampleRecord(OneBased<std::string> keywords = {"IESNA:LM-63-2002", "[TEST] 1"}) {
    IesRecord r;
    r.Filename = "C:\\photometry\\sample.ies";
    r.Keywords = std::move(keywords);
    r.resizeGrid(3, 1);
    r.OtherData = {1, -1, 1, 3, 1, 1, 2, -0.5f, 0, 0, 1, 150};
    r.VertAngles = {0, 22.5f, 90};
    r.Candela(1, 1) = 1234.5;
    r.Candela(1, 2) = 0.005;
    return r;
}

std::string compose(const IesRecord& r) {
    testing::ScriptedPrompter prompter;
    std::string text = SaveIES().Compose(r, prompter);
    EXPECT_TRUE(prompter.calls().empty()) << prompter.last().text;
    return text;
}

TEST(SaveIES, WritesTheWholeFile) {
    IesRecord r = sampleRecord();
    const IesRecord before = r;
    EXPECT_EQ(compose(r),
              "IESNA:LM-63-2002\r\n[TEST] 1\r\nTILT=NONE\r\n1 -1 1 3 1 1 2 -0.5 0 0\r\n1 1 150\r\n"
              "0 22.5 90\r\n0\r\n1234.50 0.01 0.00");
    EXPECT_EQ(r, before);

    r = sampleRecord({"IESNA:LM-63-1995"});
    r.resizeGrid(0, 2);
    r.HorAngles(2) = 180;
    EXPECT_EQ(compose(r),
              "IESNA:LM-63-1995\r\nTILT=NONE\r\n1 -1 1 0 2 1 2 -0.5 0 0\r\n1 1 150\r\n"
              "0 180\r\n\r\n");
}

TEST(SaveIES, TiltBlockFollowsTheFlagAndThePairCount) {
    const std::tuple<bool, std::int16_t, std::string> cases[] = {
        {false, 2, "TILT=NONE\r\n1 -1"},  // stored angles are ignored
        {true, 0, "TILT=INCLUDE\r\n3\r\n0\r\n1 -1"},
        {true, 2, "TILT=INCLUDE\r\n3\r\n2\r\n0 90\r\n1 0.75\r\n1 -1"},
        {true, 1, "TILT=INCLUDE\r\n3\r\n1\r\n0\r\n1\r\n1 -1"},  // the count rules, not the arrays
    };
    for (const auto& [incl, pairs, expected] : cases) {
        IesRecord r = sampleRecord({"IESNA91"});
        r.TiltIncl = incl;
        r.TiltData = {3, pairs, {0, 90}, {1, 0.75f}};
        EXPECT_EQ(compose(r).substr(9, expected.size()), expected) << pairs;
    }
}

TEST(SaveIES, LineLimitDependsOnTheExactFormatLine) {
    const std::pair<std::string, std::size_t> cases[] = {
        {"IESNA:LM-63-2002", 255},
        {"IESNA:LM-63-1995", 131},
        {"iesna:lm-63-2002", 131},
        // After the form transfer the format line carries its own line end.
        {"IESNA:LM-63-2002\r\n", 131},
    };
    for (const auto& [first, widest] : cases) {
        // Values of 4 and 6 characters make 131 and 255 reachable exactly.
        IesRecord r = sampleRecord({first, "[TEST] 1"});
        r.resizeGrid(300, 1);
        for (int v = 1; v <= 300; ++v)
            r.VertAngles(v) = v % 2 ? 12.5f : 1234.5f;
        const std::string text = compose(r);
        std::size_t longest = 0;
        for (std::size_t start = 0, end = 0; start < text.size(); start = end + 2) {
            end = std::min(text.find("\r\n", start), text.size());
            longest = std::max(longest, end - start);
        }
        EXPECT_EQ(longest, widest) << first;
        EXPECT_EQ(text.starts_with("IESNA:LM-63-2002\r\n\r\n[TEST]"), first.ends_with("\r\n"));
    }
}

TEST(SaveIES, WrapsBeforeThePieceThatWouldPassTheLimit) {
    IesRecord r = sampleRecord({"IESNA:LM-63-1995"});
    r.resizeGrid(40, 1);
    std::string expected = "1 1 150\r\n";
    for (int v = 1; v <= 40; ++v) {
        r.VertAngles(v) = 112.5f;
        // The 22nd value fills the line to 131 characters, so the blank after it starts the next.
        expected += v == 1 ? "112.5" : v == 23 ? "\r\n 112.5" : " 112.5";
    }
    EXPECT_NE(compose(r).find(expected + "\r\n0\r\n"), std::string::npos) << compose(r);

    // A line that brings its own line end is never wrapped.
    const std::string longLine = "[MORE] " + std::string(293, 'x');
    EXPECT_EQ(compose(sampleRecord({"IESNA:LM-63-1995", longLine})).substr(18, 302),
              longLine + "\r\n");
}

TEST(SaveIES, FaultsOfferRetryAndKeepTheText) {
    SaveIES w;
    testing::ScriptedPrompter prompter{PromptAnswer::Ok, PromptAnswer::Cancel};
    const std::string previous = w.Compose(sampleRecord(), prompter);
    // Without keyword lines the fault comes before the output is emptied.
    IesRecord r = sampleRecord();
    r.Keywords.clear();
    EXPECT_EQ(w.Compose(r, prompter), previous);
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().title, "Error saving C:\\photometry\\sample.ies");
    EXPECT_EQ(prompter.last().text,
              "Windows Error 9 Subscript out of range KandorPE\r\nOK to Retry, Cancel to quit.");
    EXPECT_EQ(prompter.last().buttons, PromptButtons::OkCancel);
    EXPECT_EQ(w.Compose(r, prompter), "");
    EXPECT_EQ(w.lastText(), previous);

    // A count beyond the arrays ends the text where it faults; OK keeps what was written.
    r = sampleRecord({"[TEST] x"});
    r.OtherData.numVertAngles = 5;
    const std::string partial = w.Compose(r, prompter);
    EXPECT_EQ(partial, "[TEST] x\r\nTILT=NONE\r\n1 -1 1 5 1 1 2 -0.5 0 0\r\n1 1 150\r\n0 22.5 90 ");
    EXPECT_EQ(w.lastText(), partial);

    // Error numbers with a text of their own show it instead of the "Windows Error" form.
    EXPECT_EQ(saveErrorMessage(6), "Calculation Overflow");
    EXPECT_EQ(saveErrorMessage(53), "File not found. funny, I've got it!");
    EXPECT_EQ(saveErrorMessage(31036),
              "Invalid file handle or insufficient disk space to save file.");
    EXPECT_TRUE(saveErrorMessage(9).empty());
}

}  // namespace
}  // namespace kandor
