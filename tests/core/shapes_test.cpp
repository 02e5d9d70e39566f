#include "core/shapes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ranges>
#include <sstream>

#include "core/numforms.h"

namespace kandor {
namespace {

TEST(LuminousShape, DecodingUnderEachRevision) {
    const float nz = -0.0f;
    // W, L, H, then the shape under 1986/1991/1995 and under 2002.
    const std::array<float, 5> rows[] = {
        {1, 2, 0, 1, 9},    {1, 2, -3, 1, 1},   {1, -2, -2, 4, 8}, {1, -2, -3, 4, 12},
        {1, 0, -3, 8, 12},  {1, nz, 0, 8, 8},   {-1, 2, 3, 4, 11}, {-2, 3, -2, 4, 7},
        {-1, -2, -3, 6, 6}, {-2, -2, nz, 6, 2}, {-2, -2, 3, 6, 3}, {-2, -2, -7, 6, 5},
        {-1, -2, 3, 6, 4},  {-1, -2, 0, 6, 10}, {-1, 0, 2, 3, 14}, {-1, 0, -1, 5, 13},
        {-2, nz, 0, 2, 14}, {nz, nz, nz, 0, 0}, {0, 3, -1, 7, 0},  {0, -1, 0, 7, 0},
    };
    for (const auto& [w, l, h, older, y2002] : rows) {
        SCOPED_TRACE(testing::Message() << "W=" << w << " L=" << l << " H=" << h);
        EXPECT_EQ(gfnShapeFromDims(w, l, h), older);
        EXPECT_EQ(gfnShapeFromDims2002(w, l, h), y2002);
    }
}

// One stored dimension per token: "0"; "w", "l" or "h" the typed number's magnitude, "-w" its
// negated magnitude, "W" the number as typed. A shape left out keeps the current dimensions.
void expectEncoding(int revision, const std::array<std::string_view, 16>& rows) {
    const LuminousDims current{7, -8, 9};
    for (const LuminousDims typed : {LuminousDims{1.5f, 2.5f, 4}, LuminousDims{-1.5f, -2.5f, -4}}) {
        const float numbers[] = {typed.width, typed.length, typed.height};
        for (std::int16_t shape = 0; shape < 16; ++shape) {
            std::istringstream tokens{std::string(rows[static_cast<std::size_t>(shape)])};
            std::array expected{current.width, current.length, current.height};
            std::string t;
            for (std::size_t i = 0; tokens >> t; ++i) {
                const std::size_t from = std::string_view("wlhWLH").find(t.back());
                const float n = from < 6 ? numbers[from % 3] : 0;
                expected[i] = from >= 3 ? n : t[0] == '-' ? -std::fabs(n) : std::fabs(n);
            }
            const LuminousDims got = encodeShapeForRevision(revision, shape, typed, current);
            EXPECT_EQ((std::array{got.width, got.length, got.height}), expected)
                << "shape " << shape << " revision " << revision << " typed " << typed.width;
        }
    }
}

TEST(LuminousShape, EncodingUnderEachRevision) {
    for (int revision = 0; revision < kRevision2002; ++revision)
        expectEncoding(revision, {"0 0 0", "w l h", "-w 0 0", "-w 0 h", "-w l h", "-w 0 -w",
                                  "-w -l -h", "0 l -h", "w 0 -h"});
    expectEncoding(kRevision2002, {"0 0 0", "w l h", "-w -w 0", "-w -w H", "-w -l H", "-w -w -w",
                                   "-w -w -w", "-w -l -h", "-w l -h", "W L 0", "-w -l 0", "-w L -w",
                                   "w -l -l", "-w 0 -w", "-w 0 -h"});
}

TEST(LuminousShape, DimensionFieldsOfEachShape) {
    const std::string_view w = "Width: (90-270)", w2 = "Width (90-270)", w3 = "Width:";
    const std::string_view h = "Height:", h2 = "Height", d = "Diameter > 0";
    // Width and height captions, then which of width, length and height are enabled.
    const std::array<std::string_view, 3> rows[15] = {
        {w, h, "000"},   {w, h, "111"},           {d, h, "100"},
        {d, h, "101"},   {w2, h, "111"},          {d, "Vertical Diameter > 0", "100"},
        {w2, h2, "111"}, {w3, d, "011"},          {w3, d, "101"},
        {w, h, "110"},   {"Width > 0", h, "110"}, {w3, h2, "111"},
        {w, h2, "111"},  {"Diameter", h2, "100"}, {w, h2, "101"}};
    for (int shape = 0; shape < 15; ++shape) {
        const auto& [width, height, on] = rows[shape];
        const ShapeFieldsView expected{
            {width, on[0] == '1'}, {"Length: (0-180)", on[1] == '1'}, {height, on[2] == '1'}};
        EXPECT_EQ(shapeFieldsView(shape), expected) << shape;
    }
    for (int shape : {-1, 15})
        EXPECT_FALSE(shapeFieldsView(shape).has_value());
}

// What the lamp tab does on saving: a field the shape disables shows "0", the three texts are
// converted and the shape's encoding is stored; filling the form again decodes it.
LuminousDims saveThroughForm(int revision, std::int16_t shape, LuminousDims typedIn) {
    LampData data{.width = 5, .length = -6, .height = 7};  // the dimensions stored before
    const ShapeFieldsView on = *luminousShapeView(shape, revision).fields;
    const float zero = toSingle(kDisabledFieldText);
    storeShape(data, revision, shape,
               {on.width.enabled ? typedIn.width : zero, on.length.enabled ? typedIn.length : zero,
                on.height.enabled ? typedIn.height : zero});
    return storedDims(data);
}

TEST(LuminousShape, ChoosingSavingAndReadingBack) {
    // Older revisions give their own shapes back; the 2002 ones store nothing there, so the
    // previous dimensions read back (as 4). Under 2002 a few shapes have always come back as
    // another.
    const std::int16_t older[15] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 4, 4, 4, 4, 4, 4};
    const std::int16_t y2002[15] = {0, 1, 2, 3, 4, 5, 5, 0, 14, 9, 10, 7, 8, 13, 14};
    for (int revision = 0; revision <= kRevision2002; ++revision) {
        for (std::int16_t shape = 0; shape <= 14; ++shape) {
            SCOPED_TRACE(testing::Message() << "revision " << revision << " shape " << shape);
            const bool is2002 = revision == kRevision2002, refused = shape > 10 && !is2002;
            // A refused shape is shown as "Point" after the message.
            const LuminousShapeView view = luminousShapeView(shape, revision);
            EXPECT_EQ(view.message, refused ? kMsgNo2002Shapes : "");
            EXPECT_EQ(view.shapeIndex, refused ? kShapePoint : shape);
            EXPECT_EQ(view.fields, shapeFieldsView(view.shapeIndex));
            EXPECT_EQ(shapeFromDims(revision, saveThroughForm(revision, shape, {1, 2, 3})),
                      is2002 ? y2002[shape] : older[shape]);
        }
    }
    EXPECT_EQ(kMsgNo2002Shapes,
              "This version of LM-63 doesn't include 2002 definitions of luminous shape.");
    // The placeholder under 2002 changes no control.
    EXPECT_FALSE(luminousShapeView(kShapeUndefined, kRevision2002).fields.has_value());
    EXPECT_EQ(shapeFromDims(3, saveThroughForm(3, 8, {3, 2, 3})), 13);  // width equals height
    EXPECT_TRUE(std::signbit(saveThroughForm(3, 7, {1, 2, 3}).width));
}

TEST(LuminousShape, UnitsOptionButtons) {
    for (std::int16_t type : {-1, 0, 1, 2, 3})
        EXPECT_EQ(unitsShowFeet(type), type == 1) << type;
    EXPECT_EQ(unitsTypeFromForm(true), 1);
    EXPECT_EQ(unitsTypeFromForm(false), 2);
}

TEST(LuminousShape, SketchesAreDistinctOutlinesOverTheAxes) {
    const std::vector<SketchPrimitive> axes = shapeSketch(kShapeUndefined);
    ASSERT_EQ(axes.size(), 6u);
    std::vector<std::vector<SketchPrimitive>> seen;
    for (int shape = 0; shape <= 14; ++shape) {
        const std::vector<SketchPrimitive> sketch = shapeSketch(shape);
        EXPECT_TRUE(std::ranges::equal(axes, sketch | std::views::take(6))) << shape;
        EXPECT_TRUE(std::ranges::any_of(sketch, [](const auto& p) { return p.penWidth == 2; }));
        EXPECT_EQ(std::ranges::find(seen, sketch), seen.end()) << shape;
        seen.push_back(sketch);
    }
}

TEST(ShapeSketch, EnteredSizesSetTheProportionsWithinLimits) {
    // The box's own lines (after the three axes and their letters) span its half sizes:
    // length across, width receding to the right and up, height up.
    const auto extent = [](const SketchDimensions& dims) {
        const std::vector<SketchPrimitive> sketch = shapeSketch(1, dims);
        double x0 = 1e9, x1 = -1e9, y0 = 1e9, y1 = -1e9;
        for (std::size_t i = 6; i < sketch.size(); ++i)
            for (const SketchPoint& p : {sketch[i].from, sketch[i].to}) {
                x0 = std::min(x0, p.x);
                x1 = std::max(x1, p.x);
                y0 = std::min(y0, p.y);
                y1 = std::max(y1, p.y);
            }
        return std::pair{x1 - x0, y1 - y0};
    };
    // 2 long, 0.01 wide, 0.5 high: length at the full 24, width at the thinnest 3, height 6.
    const auto [w, h] = extent({-0.01, 2, 0.5});
    EXPECT_NEAR(w, 2 * 24 + 2 * 3 * 0.55, 1e-9);
    EXPECT_NEAR(h, 2 * 6 + 2 * 3 * 0.4, 1e-9);
    // Nothing usable entered: the plain sketch.
    EXPECT_EQ(shapeSketch(1, {0, std::nan(""), 0}), shapeSketch(1));
}

}  // namespace
}  // namespace kandor
