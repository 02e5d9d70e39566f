#include "core/keywords.h"

#include <gtest/gtest.h>

namespace kandor {
namespace {

constexpr std::string_view kIesnaText = "IESNA:LM-63-2002\r\n[TEST] 1\r\n";

TEST(KeywordCatalogue, ReaderCheckAndClassifier) {
    struct Case {
        const char* line;
        bool validForReader;  // with a composed text that holds "IESNA"
        std::int16_t keywordClass;
    } cases[] = {
        {"[TEST] 123", true, kIesnaDefined},
        {"[test] 123", false, kIesnaDefined},  // reader is case-sensitive, classifier is not
        {"[TESTER] x", false, kIesnaDefined},  // no "[KW]" prefix, but "TEST" occurs
        {"[_MYKEY] value", true, kUserDefined},
        {"[_", true, kUserDefined},
        {"[FOO] LAMP TYPE", false, kIesnaDefined},
        {"[FOO] bar", false, kInvalid},
        {"[BLOCK]", false, kInvalid},
        {"[ENDBLOCK]", false, kInvalid},
        {"[DATE] 1995", true, kIesnaDefined},
        {"[DATE]", true, kIesnaDefined},
        {"[DATE", false, kIesnaDefined},
        {"[MORE]continued", true, kIesnaDefined},
        {"[ISSUEDATE] 2002-01-01", true, kIesnaDefined},
        {"[COLORCONSTANT] 1", true, kIesnaDefined},
        {"IESNA:LM-63-2002", false, kRevisionLine},
        {"iesna91", false, kRevisionLine},
        {"TEST REPORT", false, kIesnaDefined},
        {"a free descriptive line", false, kInvalid},
        {"", false, kInvalid},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CheckKeyword(c.line, kIesnaText), c.validForReader) << c.line;
        EXPECT_EQ(ClassifyKeyword(c.line), c.keywordClass) << c.line;
        // A text of 1986 has no "IESNA": every bracketed line passes the reader.
        EXPECT_TRUE(CheckKeyword(c.line, "[TEST] 1\r\nTILT=NONE")) << c.line;
    }
}

TEST(KeywordCatalogue, EveryCatalogueKeywordIsValidBracketed) {
    ASSERT_EQ(kKeywordCatalogue.size(), 21u);
    for (std::string_view word : kKeywordCatalogue) {
        std::string line = "[" + std::string(word) + "] x";
        EXPECT_TRUE(CheckKeyword(line, kIesnaText)) << line;
        EXPECT_EQ(ClassifyKeyword(line), kIesnaDefined) << line;
    }
}

TEST(KeywordCatalogue, ClassColours) {
    EXPECT_EQ(keywordClassColor(kIesnaDefined), 0x000000);
    EXPECT_EQ(keywordClassColor(kUserDefined), 0xFF0000);
    EXPECT_EQ(keywordClassColor(kDeprecated), 0x888888);
    EXPECT_EQ(keywordClassColor(kInvalid), 0x0000FF);
    EXPECT_EQ(keywordClassColor(kRevisionLine), 0x000000);
}

constexpr bool kBold = true;
constexpr bool kPlain = false;

TEST(KeywordColouring, RunsOfEachKindOfLine) {
    struct Case {
        const char* line;
        std::vector<KeywordRun> runs;
    } cases[] = {
        {"[TEST] 123", {{"[TEST]", kBold, kColorBlack}, {" 123\r\n", kPlain, kColorBlack}}},
        {"[_MYKEY] value", {{"[_MYKEY]", kBold, kColorBlue}, {" value\r\n", kPlain, kColorBlack}}},
        {"[FOO] bar", {{"[FOO]", kBold, kColorRed}, {" bar\r\n", kPlain, kColorBlack}}},
        {"[FOO] LAMP TYPE",
         {{"[FOO]", kBold, kColorBlack}, {" LAMP TYPE\r\n", kPlain, kColorBlack}}},
        {"[TEST]", {{"[TEST]", kBold, kColorBlack}, {"\r\n", kPlain, kColorBlack}}},
        // Only the first "]" ends the keyword part.
        {"[A]]b", {{"[A]", kBold, kColorRed}, {"]b\r\n", kPlain, kColorBlack}}},
        {"x] [TEST", {{"x]", kBold, kColorBlack}, {" [TEST\r\n", kPlain, kColorBlack}}},
        // Without "]" the keyword part is empty.
        {"TEST REPORT", {{"TEST REPORT\r\n", kPlain, kColorBlack}}},
        {"a free descriptive line", {{"a free descriptive line\r\n", kPlain, kColorRed}}},
        {"", {{"\r\n", kPlain, kColorRed}}},
        {"IESNA:LM-63-2002", {{"IESNA:LM-63-2002\r\n", kBold, kColorBlack}}},
        // A format line stored with its own line end keeps it.
        {"IESNA:LM-63-2002\r\n", {{"IESNA:LM-63-2002\r\n\r\n", kBold, kColorBlack}}},
        {"iesna91 ]x", {{"iesna91 ]x\r\n", kBold, kColorBlack}}},
    };
    for (const auto& c : cases) {
        OneBased<std::string> keywords{c.line};
        EXPECT_EQ(ColorKeywords(keywords), c.runs) << c.line;
    }
}

TEST(KeywordColouring, LinesFollowEachOtherInOrder) {
    OneBased<std::string> keywords{"IESNA91", "free text", "[_X] 1", "[TEST] 2"};
    const std::vector<KeywordRun> expected = {
        {"IESNA91\r\n", kBold, kColorBlack},
        // Regression: the revision line's bold must not carry over to a free line.
        {"free text\r\n", kPlain, kColorRed},
        {"[_X]", kBold, kColorBlue},
        {" 1\r\n", kPlain, kColorBlack},
        {"[TEST]", kBold, kColorBlack},
        {" 2\r\n", kPlain, kColorBlack},
    };
    EXPECT_EQ(ColorKeywords(keywords), expected);
    EXPECT_TRUE(ColorKeywords(OneBased<std::string>{}).empty());
}

TEST(KeywordColouring, Legend) {
    const std::vector<KeywordRun> expected = {
        {"Colors: IESNA defined", kPlain, 0x000000},
        {" User defined", kPlain, 0xFF0000},
        {" Deprecated", kPlain, 0x888888},
        {" Invalid", kPlain, 0x0000FF},
    };
    EXPECT_EQ(keywordLegendRuns(), expected);
}

}  // namespace
}  // namespace kandor
