#include <gtest/gtest.h>

#include "core/iesrecord.h"
#include "core/onebased.h"
#include "core/runtimefault.h"
#include "core/splitfields.h"
#include "core/warnings.h"

namespace kandor {
namespace {

int faultNumber(auto&& call) {
    try {
        call();
    } catch (const RuntimeFault& f) {
        return f.number();
    }
    return 0;
}

TEST(OneBasedArrays, BoundsAndSubscriptFault) {
    OneBased<std::string> keywords;
    EXPECT_EQ(keywords.ubound(), 0);
    EXPECT_EQ(faultNumber([&] { keywords(1); }), 9);
    keywords.redim(2);
    keywords(2) = "[TEST] 1";
    EXPECT_EQ(faultNumber([&] { keywords(0); }), 9);
    EXPECT_EQ(faultNumber([&] { keywords(3); }), 9);
    keywords.redimPreserve(3);
    EXPECT_EQ(keywords(2), "[TEST] 1");
    keywords.redim(-4);
    EXPECT_EQ(keywords.ubound(), 0);

    OneBased2D<double> grid(2, 3);
    grid(2, 3) = 7;
    EXPECT_EQ(grid.values().back(), 7);
    EXPECT_EQ(faultNumber([&] { grid(3, 1); }), 9);
    EXPECT_EQ(faultNumber([&] { grid(1, 4); }), 9);
    try {
        grid(0, 0);
    } catch (const RuntimeFault& f) {
        EXPECT_EQ(f.description(), "Subscript out of range");
    }
}

TEST(Record, CandelaIsHorizontalByVerticalAndCopiesDeeply) {
    IesRecord r;
    r.resizeGrid(3, 1);
    EXPECT_EQ(r.Candela.rows(), 1);
    EXPECT_EQ(r.Candela.cols(), 3);
    EXPECT_EQ(r.OtherData.numVertAngles, 3);
    r.Candela(1, 3) = 12.5;
    r.Keywords.append("IESNA:LM-63-2002");

    IesRecord copy = r;
    copy.Candela(1, 3) = 1;
    copy.Keywords(1) = "changed";
    EXPECT_EQ(r.Candela(1, 3), 12.5);
    EXPECT_EQ(r.Keywords(1), "IESNA:LM-63-2002");
    EXPECT_NE(copy, r);
}

TEST(SplitFieldsTest, LinesAndFields) {
    struct Case {
        const char* text;
        bool linesOnly;
        int lines;
        int fields;
    } cases[] = {
        {"", false, 1, 1},       {"START", false, 1, 1},     {"MOVEWIN,1,2,3,4", false, 1, 5},
        {"a,b\nc", false, 2, 2}, {"a\r\nb\r\n", true, 2, 1}, {"x,y,z\r\nw", true, 2, 1},
        {"\n", false, 1, 1},     {"a\n\nb", false, 3, 1},
    };
    for (const auto& c : cases) {
        FieldSplit s = SplitFields(c.text, c.linesOnly);
        EXPECT_EQ(s.lineCount, c.lines) << c.text;
        EXPECT_EQ(s.fieldCount, c.fields) << c.text;
    }
    FieldSplit s = SplitFields("a,b,c\r\nd\ne,", false);
    EXPECT_EQ(s.lines(1), "a,b,c\r");
    EXPECT_EQ(s.cell(1, 3), "c\r");
    EXPECT_EQ(s.cell(2, 2), "");
    EXPECT_EQ(s.cell(3, 1), "e");
    EXPECT_EQ(s.cell(3, 2), "");
    EXPECT_EQ(faultNumber([&] { s.cell(1, 4); }), 9);
    EXPECT_EQ(faultNumber([&] { s.cell(4, 1); }), 9);
    EXPECT_EQ(SplitFields("x,y\r\nz", true).cell(1, 1), "x,y\r");
}

TEST(Warnings, TheTextIsTheList) {
    WarningList w;
    w.Add("");  // an empty message still makes the list unclean
    EXPECT_FALSE(w.Clean());
    w.Clear();
    w.Add("General:Width is empty.");
    w.Add("General:Width is empty.");
    EXPECT_EQ(w.text(), "General:Width is empty.\r\nGeneral:Width is empty.\r\n");
    EXPECT_EQ(w.lines().size(), 2u);
}

TEST(Faults, CurrentFaultMapsStandardExceptions) {
    auto mapped = [](auto&& thrower) {
        try {
            thrower();
        } catch (...) {
            return currentFault().number();
        }
        return 0;
    };
    EXPECT_EQ(mapped([] { throw std::bad_alloc(); }), 7);
    EXPECT_EQ(mapped([] { raiseFault(62); }), 62);
    EXPECT_EQ(RuntimeFault(62).description(), "Input past end of file");
    EXPECT_EQ(RuntimeFault(11).description(), "Division by zero");
    EXPECT_EQ(RuntimeFault(13).description(), "Type mismatch");
}

}  // namespace
}  // namespace kandor
