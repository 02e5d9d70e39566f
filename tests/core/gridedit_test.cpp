#include "core/gridedit.h"

#include <gtest/gtest.h>

#include <string>

namespace kandor {
namespace {

namespace g = grid_text;

TEST(GridEdit, CandelaEntriesAreCheckedInOrder) {
    struct Case {
        std::string_view typed;
        std::optional<float> stored;
        std::string_view message;
        std::string_view title;
    } cases[] = {
        {"12a", {}, g::kCandelaNotANumber, g::kInvalidEntryTitle},
        {"", {}, g::kCandelaNotANumber, g::kInvalidEntryTitle},
        {"1,5", {}, g::kCandelaNotANumber, g::kInvalidEntryTitle},
        {"-0.5", {}, g::kCandelaNegative, ""},
        {"-1e999", {}, g::kCandelaNegative, ""},
        {"9999999", {}, g::kCandelaTooLarge, ""},
        {"1e999", {}, g::kCandelaTooLarge, ""},
        {"9999998.5", 9999998.5f, "", ""},
        {" 12.25 ", 12.25f, "", ""},
        {"0", 0.0f, "", ""},
    };
    for (const Case& c : cases) {
        const CellEntry e = candelaEntry(c.typed);
        EXPECT_EQ(e.value, c.stored) << c.typed;
        EXPECT_EQ(e.message, c.message) << c.typed;
        EXPECT_EQ(e.title, c.title) << c.typed;
    }
    EXPECT_EQ(g::kCandelaNotANumber, "Not a number I know.");
    EXPECT_EQ(g::kCandelaTooLarge, "Candela values must be less than 10 million.");
}

TEST(GridEdit, AngleGridsRefuseWithTheirOwnText) {
    EXPECT_EQ(vertAngleEntry("abc").message, "Not a number I know!");
    EXPECT_EQ(horzAngleEntry("abc").message, "Not a number I know.");
    EXPECT_EQ(vertAngleEntry("1e39").message, "Not a number I know!");  // no 32-bit float
    EXPECT_EQ(vertAngleEntry("22.5").value, 22.5f);
    EXPECT_EQ(horzAngleEntry("-90").value, -90.0f);
    EXPECT_TRUE(vertAngleEntry("22.5").message.empty());
}

TEST(GridEdit, CopyWritesRowsPerVerticalAngle) {
    OneBased2D<double> d(2, 3);  // H = 2, V = 3
    d(1, 1) = 0;
    d(2, 1) = 12.5;
    d(1, 2) = 100;
    d(2, 2) = 1234.567;
    d(1, 3) = 0.001;
    d(2, 3) = static_cast<float>(12.3);  // a typed value keeps the text it was typed as
    EXPECT_EQ(candelaCopyText(d), "0\t12.5\r\n100\t1234.567\r\n0.001\t12.3\r\n");
    EXPECT_EQ(candelaCopyText(OneBased2D<double>()), "");
}

TEST(GridEdit, PasteReadsWhatCopyWrote) {
    OneBased2D<double> d(3, 2);
    for (int h = 1; h <= 3; ++h)
        for (int v = 1; v <= 2; ++v)
            d(h, v) = h * 10 + v + 0.25;
    const std::string text = candelaCopyText(d);
    for (const std::string& variant : {text, text.substr(0, text.size() - 2),
                                       std::string("11.25\t21.25\t31.25\n12.25\t22.25\t32.25\n")}) {
        const CandelaPaste p = readCandelaPaste(variant, 3, 2);
        ASSERT_TRUE(p.values) << p.message;
        EXPECT_EQ(*p.values, d);
        EXPECT_EQ(candelaCopyText(*p.values), text);
    }
}

TEST(GridEdit, PasteRefusals) {
    struct Case {
        std::string_view text;
        int numHorz, numVert;
        std::string_view message;
        std::string_view title;
    } cases[] = {
        // 10 pieces for a 3 by 4 table: both counts are shown one short.
        {"1\t2\t3\t4\t5\r\n6\t7\t8\t9\t10\r\n", 3, 4, "9 values read; need 11", ""},
        {"1\t2\r\n\r\n", 2, 1, "2 values read; need 1", ""},
        {"", 2, 2, "0 values read; need 3", ""},
        {"1\tx\r\n3\t4\r\n", 2, 2, "Not a number I know.", "Invalid entry"},
        {"1\t\r\n3\t4\r\n", 2, 2, "Not a number I know.", "Invalid entry"},
        {"1\t1e39\r\n3\t4\r\n", 2, 2, "Not a number I know.", "Invalid entry"},
    };
    for (const Case& c : cases) {
        const CandelaPaste p = readCandelaPaste(c.text, c.numHorz, c.numVert);
        EXPECT_FALSE(p.values) << c.text;
        EXPECT_EQ(p.message, c.message) << c.text;
        EXPECT_EQ(p.title, c.title) << c.text;
    }
    // Every piece passes the one numeric test, however it is written.
    const CandelaPaste forms = readCandelaPaste("+5\t-.5\t 7 \t1e2\t5.", 5, 1);
    ASSERT_TRUE(forms.values) << forms.message;
    EXPECT_EQ(forms.values->values(), (std::vector<double>{5, -0.5, 7, 100, 5}));
    for (std::string_view refused : {"inf", "nan", "-inf", "1e", "0x10", "1d5", "5\r"})
        EXPECT_FALSE(readCandelaPaste(refused, 1, 1).values) << refused;

    // Pasted values are not held to the limits of typed ones.
    const CandelaPaste big = readCandelaPaste("-5\t12000000", 2, 1);
    ASSERT_TRUE(big.values);
    EXPECT_EQ((*big.values)(1, 1), -5);
    EXPECT_EQ((*big.values)(2, 1), 12000000);
}

TEST(GridEdit, ChangedCells) {
    EXPECT_FALSE(candelaDiffers(12.3f, 12.3));
    EXPECT_FALSE(candelaDiffers(9999998, 9999998.4));
    EXPECT_TRUE(candelaDiffers(12.31, 12.3));
    EXPECT_TRUE(candelaDiffers(0.001, 0));
}

TEST(GridEdit, ACellReadOutNamesTheAnglesOfItsType) {
    EXPECT_EQ(candelaCellLine(2, -12.5f, 7, "40.00", 40, 2.5),
              "H -12.5\u00B0 V 7\u00B0: 40.00 (x 2.5 = 100.0 cd)");
    EXPECT_EQ(candelaCellLine(1, 0, 90, "5.00", 5, std::nullopt),
              "C 0\u00B0 \u03B3 90\u00B0: 5.00 cd");
    // A selection outside the table copies nothing.
    EXPECT_EQ(candelaSelectionText(OneBased2D<double>(2, 2), {}, {{3, 1}, {0, 0}}), "");
}

}  // namespace
}  // namespace kandor
