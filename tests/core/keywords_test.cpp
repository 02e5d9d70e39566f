#include "core/keywords.h"

#include <gtest/gtest.h>

namespace kandor {
namespace {

TEST(KeywordCatalogue, ReaderCheckAndClassifier) {
    struct Case {
        const char* line;
        bool validForReader;  // against a composed text that holds "IESNA"
        std::int16_t keywordClass;
    } cases[] = {
        {"[TEST] 123", true, kIesnaDefined},
        {"[test] 123", false, kIesnaDefined},  // the reader is case-sensitive, the classifier not
        {"[TESTER] x", false, kIesnaDefined},  // no "[KW]" prefix, but "TEST" occurs
        {"[_X] value", true, kUserDefined},
        {"[MORE]continued", true, kIesnaDefined},
        {"[DATE", false, kIesnaDefined},
        {"[FOO] LAMP TYPE", false, kIesnaDefined},
        {"[BLOCK]", false, kInvalid},
        {"iesna91", false, kRevisionLine},
        {"a free descriptive line", false, kInvalid},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CheckKeyword(c.line, "IESNA:LM-63-2002\r\n[TEST] 1\r\n"), c.validForReader)
            << c.line;
        EXPECT_EQ(ClassifyKeyword(c.line), c.keywordClass) << c.line;
        // A 1986 text holds no "IESNA": every line passes the reader.
        EXPECT_TRUE(CheckKeyword(c.line, "[TEST] 1\r\nTILT=NONE")) << c.line;
    }
}

TEST(KeywordColouring, RunsOfEachClassAndTheLegend) {
    constexpr bool kBold = true, kPlain = false;
    const OneBased<std::string> keywords{
        "IESNA91", "free text", "[TEST] 1", "[_X]", "[A]]b", "TEST REPORT", "IESNA:LM-63-2002\r\n"};
    const std::vector<KeywordRun> expected = {
        {"IESNA91\r\n", kBold, kColorBlack},
        // Regression: the revision line's bold must not carry over to a free line.
        {"free text\r\n", kPlain, kColorRed},
        {"[TEST]", kBold, kColorBlack},
        {" 1\r\n", kPlain, kColorBlack},
        {"[_X]", kBold, kColorBlue},
        {"\r\n", kPlain, kColorBlack},
        // Only the first "]" ends the keyword part.
        {"[A]", kBold, kColorRed},
        {"]b\r\n", kPlain, kColorBlack},
        {"TEST REPORT\r\n", kPlain, kColorBlack},
        // A format line stored with its own line end keeps it.
        {"IESNA:LM-63-2002\r\n\r\n", kBold, kColorBlack},
    };
    EXPECT_EQ(ColorKeywords(keywords), expected);

    const std::vector<KeywordRun> legend = {{"Colors: IESNA defined", kPlain, 0x000000},
                                            {" User defined", kPlain, 0xFF0000},
                                            {" Deprecated", kPlain, 0x888888},
                                            {" Invalid", kPlain, 0x0000FF}};
    EXPECT_EQ(keywordLegendRuns(), legend);
}

}  // namespace
}  // namespace kandor
