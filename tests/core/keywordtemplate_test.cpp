#include "core/keywordtemplate.h"

#include <gtest/gtest.h>

#include "core/keywords.h"

namespace kandor {
namespace {

using Lines = std::vector<std::string>;

TEST(KeywordTemplate, SaveSplitsEachLineAtItsFirstBracket) {
    bool ok = false;
    const TemplateEntries entries =
        templateEntries({"[TEST] 123", "[LAMP] X", "free text", "[A]b]c", ""}, ok);
    ASSERT_TRUE(ok);
    const TemplateEntries expected = {
        {"B[TEST]", " 123"}, {"C[LAMP]", " X"}, {"D", "free text"}, {"E[A]", "b]c"}, {"F", ""}};
    EXPECT_EQ(entries, expected);
}

TEST(KeywordTemplate, LoadAppendsKeyWithoutLetterAndValue) {
    bool defaults = true;
    const Lines lines =
        appendTemplate({"[MANUFAC] ACME"}, {{"B[TEST]", " 123"}, {"C", "free text"}}, defaults);
    EXPECT_FALSE(defaults);
    EXPECT_EQ(lines, (Lines{"[MANUFAC] ACME", "[TEST] 123", "free text"}));
}

TEST(KeywordTemplate, LoadWithoutTemplateAppendsTheTenDefaults) {
    bool defaults = false;
    const Lines lines = appendTemplate({"[TEST] 1", "[TESTLAB] 2", "[MANUFAC] 3"}, {}, defaults);
    EXPECT_TRUE(defaults);
    ASSERT_EQ(lines.size(), 13u);
    EXPECT_EQ(lines[2], "[MANUFAC] 3");
    EXPECT_EQ(lines[3], "IESNA:LM-63-2002\r\n");
    EXPECT_EQ(lines[4], "[TEST]");
    EXPECT_EQ(lines[11], "[LAMP]");
    EXPECT_EQ(lines[12], "");
}

// Every line a user can type comes back as it was saved, whatever its brackets.
TEST(KeywordTemplate, SaveThenLoadGivesTheLinesBack) {
    const Lines typed = {"[TEST] 123", "[LAMP] X", "no bracket at all",   "]",
                         "[_MINE]",    "",         "[MORE] with ] inside"};
    bool ok = false;
    bool defaults = true;
    EXPECT_EQ(appendTemplate({}, templateEntries(typed, ok), defaults), typed);
    EXPECT_TRUE(ok);
}

// The store folds the case of keys: line 33's "b[MORE]" would overwrite line 1's "B[MORE]".
TEST(KeywordTemplate, KeysStayDistinctWithoutRegardToCase) {
    Lines typed(60, "[MORE] continued");
    for (int i = 0; i < 100; ++i)
        typed.push_back("[MORE] part " + std::to_string(i));
    bool ok = false;
    const TemplateEntries entries = templateEntries(typed, ok);
    ASSERT_TRUE(ok);
    ASSERT_EQ(entries.size(), typed.size());
    std::set<std::string> folded;
    for (const auto& [key, value] : entries) {
        std::string f = key;
        for (char& c : f)
            if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
        EXPECT_TRUE(folded.insert(f).second) << key;
        EXPECT_GE(key[0], '!');
        EXPECT_LE(key[0], '~');
    }
    EXPECT_EQ(entries[0].first, "B[MORE]");
    EXPECT_EQ(entries[31].first, "a[MORE]");  // 'a' folds to 'A', which no line uses
    EXPECT_NE(entries[32].first, "b[MORE]");
    EXPECT_EQ(entries.back().first.substr(1), "[MORE] part 99");  // letters ran out
    bool defaults = true;
    EXPECT_EQ(appendTemplate({}, entries, defaults), typed);
}

TEST(KeywordTemplate, RefusesWhenNoLetterIsLeft) {
    bool ok = true;
    EXPECT_TRUE(templateEntries(Lines(200, "same"), ok).empty());
    EXPECT_FALSE(ok);
}

TEST(KeywordTemplate, SplitKeywordLines) {
    EXPECT_EQ(splitKeywordLines(""), Lines{});
    EXPECT_EQ(splitKeywordLines("a\r\nb\r\n"), (Lines{"a", "b"}));
    EXPECT_EQ(splitKeywordLines("a\r\n\r\nb"), (Lines{"a", "", "b"}));
}

TEST(KeywordDropPlacement, AboveTheLineDroppedOnOrAppended) {
    struct Case {
        int pointerLine, lineCount;
        bool lastEmpty;
        int line;
        bool breakFirst;
    };
    const Case cases[] = {
        {0, 3, true, 0, false},   // on the first line: a new line above it
        {1, 3, true, 1, false},   // on the second
        {2, 3, true, 2, false},   // on the empty line after the last line end: appended
        {-1, 3, true, 2, false},  // below everything: appended
        {-1, 2, false, 2, true},  // the last line has text and no line end: break first
        {1, 2, false, 1, false},  // on that last line: above it
        {-1, 1, true, 0, false},  // empty text
        {5, 3, true, 2, false},   // a line past the end counts as below
    };
    for (const Case& c : cases) {
        const KeywordDrop drop = planKeywordDrop(c.pointerLine, c.lineCount, c.lastEmpty);
        EXPECT_EQ(drop.line, c.line) << c.pointerLine << "/" << c.lineCount;
        EXPECT_EQ(drop.breakFirst, c.breakFirst) << c.pointerLine << "/" << c.lineCount;
        EXPECT_EQ(drop.append, c.line == (c.lastEmpty ? c.lineCount - 1 : c.lineCount))
            << c.pointerLine << "/" << c.lineCount;
    }
}

TEST(KeywordLiveColouring, KeyActions) {
    using A = KeywordKeyAction;
    struct Case {
        const char* typed;
        bool closed;
        char before;
        A action;
    };
    const Case cases[] = {
        {"[", false, ' ', A::BoldOn},       {"[", true, ']', A::BoldOn},
        {"]", false, 'T', A::CloseKeyword}, {"_", false, '[', A::UserKeyword},
        {"_", false, 'A', A::None},         {"_", true, ']', A::PlainAfterKey},
        {"a", true, ']', A::PlainAfterKey}, {" ", true, ']', A::PlainAfterKey},
        {"a", false, ' ', A::None},         {"", true, ']', A::None},  // Shift alone
    };
    for (const Case& c : cases)
        EXPECT_EQ(keywordKeyAction(c.typed, c.closed, c.before), c.action)
            << "'" << c.typed << "' closed=" << c.closed;
}

TEST(KeywordLiveColouring, ClosingBracketColoursByClass) {
    struct Case {
        std::string_view line;
        std::size_t caret;
        std::size_t start;
        std::optional<std::int32_t> color;
    };
    const Case cases[] = {
        {"[TEST", 5, 0, kColorBlack},
        {"[_MINE", 6, 0, kColorBlue},
        {"[FOO", 4, 0, kColorRed},
        {"[test", 5, 0, kColorBlack},         // classed on the upper-cased text
        {"[A] x [LAMP", 11, 6, kColorBlack},  // the last "[" before the caret
        {"[FOO tail", 4, 0, kColorRed},       // text after the caret does not count
    };
    for (const Case& c : cases) {
        const auto closing = closingKeyword(c.line, c.caret);
        ASSERT_TRUE(closing.has_value()) << c.line;
        EXPECT_EQ(closing->start, c.start) << c.line;
        EXPECT_EQ(closing->color, c.color) << c.line;
    }
    EXPECT_FALSE(closingKeyword("no bracket", 10).has_value());
    EXPECT_FALSE(closingKeyword("", 0).has_value());
}

}  // namespace
}  // namespace kandor
