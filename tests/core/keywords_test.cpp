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

}  // namespace
}  // namespace kandor
