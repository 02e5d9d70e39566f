#include <gtest/gtest.h>

#include "core/iesrecord.h"
#include "core/splitfields.h"
#include "core/warnings.h"
#include "support/faults.h"

namespace kandor {
namespace {

using testing::faultNumber;

TEST(OneBasedArrays, BoundsAndSubscriptFault) {
    OneBased<std::string> keywords;
    EXPECT_EQ(faultNumber([&] { keywords(1); }), 9);  // empty: upper bound 0
    keywords.redim(2);
    keywords(2) = "[TEST] 1";
    EXPECT_EQ(faultNumber([&] { keywords(0); }), 9);
    EXPECT_EQ(faultNumber([&] { keywords(3); }), 9);
    keywords.redimPreserve(3);
    EXPECT_EQ(keywords(2), "[TEST] 1");

    OneBased2D<double> grid(2, 3);
    grid(2, 3) = 7;
    EXPECT_EQ(grid.values().back(), 7);
    EXPECT_EQ(faultNumber([&] { grid(3, 1); }), 9);
    EXPECT_EQ(faultNumber([&] { grid(1, 4); }), 9);
}

TEST(Record, CandelaIsHorizontalByVerticalAndCopiesDeeply) {
    IesRecord r;
    r.resizeGrid(3, 1);
    EXPECT_EQ(r.Candela.rows(), 1);
    EXPECT_EQ(r.Candela.cols(), 3);
    r.Candela(1, 3) = 12.5;
    IesRecord copy = r;
    copy.Candela(1, 3) = 1;
    EXPECT_EQ(r.Candela(1, 3), 12.5);
}

TEST(SplitFieldsTest, LinesAndFields) {
    struct Case {
        const char* text;
        bool linesOnly;
        int lines, fields;
    } cases[] = {{"", false, 1, 1},          {"MOVEWIN,1,2,3,4", false, 1, 5},
                 {"a,b\nc", false, 2, 2},    {"a\r\nb\r\n", true, 2, 1},
                 {"x,y,z\r\nw", true, 2, 1}, {"a\n\nb", false, 3, 1}};
    for (const auto& c : cases) {
        FieldSplit s = SplitFields(c.text, c.linesOnly);
        EXPECT_EQ(s.lineCount, c.lines) << c.text;
        EXPECT_EQ(s.fieldCount, c.fields) << c.text;
    }
    FieldSplit s = SplitFields("a,b,c\r\nd\ne,", false);
    EXPECT_EQ(s.lines(1) + "|" + s.cell(1, 3) + "|" + s.cell(2, 2) + "|" + s.cell(3, 1),
              "a,b,c\r|c\r||e");
    EXPECT_EQ(faultNumber([&] { s.cell(1, 4); }), 9);
    EXPECT_EQ(faultNumber([&] { s.cell(4, 1); }), 9);
}

TEST(Warnings, TheTextIsTheList) {
    WarningList w;
    w.Add("");  // an empty message still makes the list unclean
    EXPECT_FALSE(w.Clean());
    w.Clear();
    w.Add("General:Width is empty.");
    w.Add("General:Width is empty.");
    EXPECT_EQ(w.text(), "General:Width is empty.\r\nGeneral:Width is empty.\r\n");
}

TEST(Faults, CurrentFaultMapsStandardExceptions) {
    try {
        throw std::bad_alloc();
    } catch (...) {
        EXPECT_EQ(currentFault().number(), 7);
    }
    EXPECT_EQ(RuntimeFault(9).description(), "Subscript out of range");
    EXPECT_EQ(RuntimeFault(62).description(), "Input past end of file");
}

}  // namespace
}  // namespace kandor
