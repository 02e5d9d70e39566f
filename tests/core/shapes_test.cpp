#include "core/shapes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>

#include "core/numforms.h"

namespace kandor {

void PrintTo(const LuminousDims& d, std::ostream* os) {
    *os << "{" << generalSingle(d.width) << ", " << generalSingle(d.length) << ", "
        << generalSingle(d.height) << "}";
}

namespace {

TEST(LuminousShape, ListHoldsTheOlderShapesThenThe2002Ones) {
    for (std::size_t i = 0; i < kShapeNames.size(); ++i)
        EXPECT_EQ(kShapeNames[i].starts_with("2002:"), i >= 9 && i <= 14) << kShapeNames[i];
    EXPECT_EQ(kShapeNames[kShapePoint], "Point");
    EXPECT_EQ(kShapeNames[kShapeUndefined], "< Undefined >");
}

TEST(LuminousShape, DecodingUnderEachRevision) {
    const float nz = -0.0f;
    struct Case {
        float w, l, h;
        std::int16_t older;  // 1986, 1991, 1995
        std::int16_t y2002;
    } cases[] = {
        {1, 2, 0, 1, 9},
        {1, 2, -3, 1, 1},
        {1, 2, 3, 1, 1},
        {1, -2, 3, 4, 12},
        {1, -2, -2, 4, 8},
        {1, -2, -3, 4, 12},
        {1, 0, -3, 8, 12},
        {1, 0, 0, 8, 8},
        // The two zeros compare equal.
        {1, nz, 0, 8, 8},
        {-1, 2, 3, 4, 11},
        {-2, 3, -2, 4, 7},
        {-1, -2, -3, 6, 6},
        {-2, -2, 0, 6, 2},
        {-2, -2, nz, 6, 2},
        {-2, -2, 3, 6, 3},
        // A sphere's height is never compared with its width.
        {-2, -2, -7, 6, 5},
        {-1, -2, 3, 6, 4},
        {-1, -2, 0, 6, 10},
        {-1, 0, 2, 3, 14},
        {-1, 0, -1, 5, 13},
        {-1, 0, -3, 5, 14},
        {-2, 0, 0, 2, 14},
        {-2, nz, 0, 2, 14},
        {0, 0, 0, 0, 0},
        {nz, nz, nz, 0, 0},
        {0, 3, -1, 7, 0},
        {0, 0, 2, 7, 0},
        {0, -1, 0, 7, 0},
        {nz, 5, 5, 7, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "W=" << c.w << " L=" << c.l << " H=" << c.h);
        EXPECT_EQ(gfnShapeFromDims(c.w, c.l, c.h), c.older);
        EXPECT_EQ(gfnShapeFromDims2002(c.w, c.l, c.h), c.y2002);
        for (int revision = 0; revision <= 3; ++revision)
            EXPECT_EQ(shapeFromDims(revision, {c.w, c.l, c.h}),
                      revision == kRevision2002 ? c.y2002 : c.older)
                << "revision " << revision;
    }
}

// How one stored dimension is made from the numbers typed into the three boxes.
enum class Op { Zero, Abs, NegAbs, AsEntered, Keep };
struct Cell {
    Op op;
    char from;  // 'w', 'l' or 'h'; for Keep the stored dimension itself
};

float typed(const LuminousDims& d, char from) {
    return from == 'w' ? d.width : from == 'l' ? d.length : d.height;
}

float apply(Cell cell, const LuminousDims& entered, const LuminousDims& current) {
    switch (cell.op) {
        case Op::Zero:
            return 0;
        case Op::Abs:
            return std::fabs(typed(entered, cell.from));
        case Op::NegAbs:
            return -std::fabs(typed(entered, cell.from));
        case Op::AsEntered:
            return typed(entered, cell.from);
        case Op::Keep:
            return typed(current, cell.from);
    }
    return 0;
}

struct EncodingRow {
    std::int16_t shape;
    Cell W, L, H;
};

void expectEncoding(const EncodingRow (&rows)[16], int revision) {
    const LuminousDims current{7, -8, 9};
    const LuminousDims typings[] = {{1.5f, 2.5f, 4}, {-1.5f, -2.5f, -4}, {-1.5f, 2.5f, -4}};
    for (const EncodingRow& row : rows) {
        for (const LuminousDims& entered : typings) {
            const LuminousDims expected{apply(row.W, entered, current),
                                        apply(row.L, entered, current),
                                        apply(row.H, entered, current)};
            EXPECT_EQ(encodeShapeForRevision(revision, row.shape, entered, current), expected)
                << "shape " << row.shape << " revision " << revision;
        }
    }
}

constexpr Cell kZero{Op::Zero, 0};
constexpr Cell kW{Op::Abs, 'w'}, kL{Op::Abs, 'l'}, kH{Op::Abs, 'h'};
constexpr Cell kNegW{Op::NegAbs, 'w'}, kNegL{Op::NegAbs, 'l'}, kNegH{Op::NegAbs, 'h'};
constexpr Cell kTypedW{Op::AsEntered, 'w'}, kTypedL{Op::AsEntered, 'l'};
constexpr Cell kTypedH{Op::AsEntered, 'h'};
constexpr Cell kKeepW{Op::Keep, 'w'}, kKeepL{Op::Keep, 'l'}, kKeepH{Op::Keep, 'h'};

TEST(LuminousShape, EncodingBefore2002) {
    const EncodingRow rows[16] = {
        {0, kZero, kZero, kZero},     {1, kW, kL, kH},
        {2, kNegW, kZero, kZero},     {3, kNegW, kZero, kH},
        {4, kNegW, kL, kH},           {5, kNegW, kZero, kNegW},
        {6, kNegW, kNegL, kNegH},     {7, kZero, kL, kNegH},
        {8, kW, kZero, kNegH},        {9, kKeepW, kKeepL, kKeepH},
        {10, kKeepW, kKeepL, kKeepH}, {11, kKeepW, kKeepL, kKeepH},
        {12, kKeepW, kKeepL, kKeepH}, {13, kKeepW, kKeepL, kKeepH},
        {14, kKeepW, kKeepL, kKeepH}, {15, kKeepW, kKeepL, kKeepH},
    };
    for (int revision = 0; revision < kRevision2002; ++revision)
        expectEncoding(rows, revision);
}

TEST(LuminousShape, Encoding2002) {
    const EncodingRow rows[16] = {
        {0, kZero, kZero, kZero},   {1, kW, kL, kH},
        {2, kNegW, kNegW, kZero},   {3, kNegW, kNegW, kTypedH},
        {4, kNegW, kNegL, kTypedH}, {5, kNegW, kNegW, kNegW},
        {6, kNegW, kNegW, kNegW},   {7, kNegW, kNegL, kNegH},
        {8, kNegW, kL, kNegH},      {9, kTypedW, kTypedL, kZero},
        {10, kNegW, kNegL, kZero},  {11, kNegW, kTypedL, kNegW},
        {12, kW, kNegL, kNegL},     {13, kNegW, kZero, kNegW},
        {14, kNegW, kZero, kNegH},  {15, kKeepW, kKeepL, kKeepH},
    };
    expectEncoding(rows, kRevision2002);
}

// What the lamp tab does on saving: a field the shape disables shows "0", the three texts are
// converted, the shape's encoding is stored; filling the form again decodes it.
LuminousDims saveThroughForm(int revision, std::int16_t shape, LuminousDims typedIn,
                             LampData& data) {
    const LuminousShapeView view = luminousShapeView(shape, revision);
    if (view.fields) {
        const float zero = toSingle(kDisabledFieldText);
        if (!view.fields->width.enabled) typedIn.width = zero;
        if (!view.fields->length.enabled) typedIn.length = zero;
        if (!view.fields->height.enabled) typedIn.height = zero;
    }
    storeShape(data, revision, shape, typedIn);
    return storedDims(data);
}

TEST(LuminousShape, SavingAndReadingBack) {
    const LuminousDims before{5, -6, 7};
    struct Case {
        int revision;
        std::int16_t shape;
        LuminousDims typedIn;
        LuminousDims stored;
        std::int16_t readBack;
    } cases[] = {
        // Every older shape comes back as itself.
        {2, 0, {1, 2, 3}, {0, 0, 0}, 0},
        {2, 1, {1, 2, 3}, {1, 2, 3}, 1},
        {2, 2, {1, 2, 3}, {-1, 0, 0}, 2},
        {2, 3, {1, 2, 3}, {-1, 0, 3}, 3},
        {2, 4, {1, 2, 3}, {-1, 2, 3}, 4},
        {2, 5, {1.5f, 2, 3}, {-1.5f, 0, -1.5f}, 5},
        {2, 6, {1, 2, 3}, {-1, -2, -3}, 6},
        {2, 7, {1, 2, 3}, {0, 2, -3}, 7},
        {2, 8, {1, 2, 3}, {1, 0, -3}, 8},
        {0, 6, {1, 2, 3}, {-1, -2, -3}, 6},
        {1, 7, {1, 2, 3}, {0, 2, -3}, 7},
        // "2002:Rectangle" under 1995: no message, nothing stored.
        {2, 9, {1, 2, 3}, before, 4},
        // 2002: most shapes come back as themselves...
        {3, 0, {1, 2, 3}, {0, 0, 0}, 0},
        {3, 1, {1, 2, 3}, {1, 2, 3}, 1},
        {3, 2, {1, 2, 3}, {-1, -1, 0}, 2},
        {3, 3, {1, 2, 3}, {-1, -1, 3}, 3},
        {3, 4, {1, 2, 3}, {-1, -2, 3}, 4},
        {3, 5, {1.5f, 2, 3}, {-1.5f, -1.5f, -1.5f}, 5},
        {3, 9, {1, 2, 3}, {1, 2, 0}, 9},
        {3, 10, {1, 2, 3}, {-1, -2, 0}, 10},
        {3, 13, {1, 2, 3}, {-1, 0, -1}, 13},
        {3, 14, {1, 2, 3}, {-1, 0, -3}, 14},
        // ...and these do not, as files have always been written.
        {3, 6, {1, 2, 3}, {-1, -1, -1}, 5},
        {3, 7, {1, 2, 3}, {-0.0f, -2, -3}, 0},
        {3, 8, {1, 2, 3}, {-1, 0, -3}, 14},
        {3, 8, {3, 2, 3}, {-3, 0, -3}, 13},
        {3, 11, {1, 2, 3}, {-1, 2, -1}, 7},
        {3, 12, {1, 2, 3}, {1, -2, -2}, 8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "revision " << c.revision << " shape " << c.shape);
        LampData data;
        data.width = before.width;
        data.length = before.length;
        data.height = before.height;
        const LuminousDims stored = saveThroughForm(c.revision, c.shape, c.typedIn, data);
        EXPECT_EQ(stored, c.stored);
        EXPECT_EQ(shapeFromDims(c.revision, stored), c.readBack);
    }
}

TEST(LuminousShape, HorizontalCylinderStoresANegativeZeroWidthUnder2002) {
    LampData data;
    saveThroughForm(kRevision2002, 7, {1, 2, 3}, data);
    EXPECT_TRUE(std::signbit(data.width));
    EXPECT_EQ(gfnShapeFromDims2002(data.width, data.length, data.height), kShapePoint);
}

TEST(LuminousShape, DimensionFieldsOfEachShape) {
    const std::string_view len = "Length: (0-180)";
    const bool on = true, off = false;
    const ShapeFieldsView rows[15] = {
        {{"Width: (90-270)", off}, {len, off}, {"Height:", off}},
        {{"Width: (90-270)", on}, {len, on}, {"Height:", on}},
        {{"Diameter > 0", on}, {len, off}, {"Height:", off}},
        {{"Diameter > 0", on}, {len, off}, {"Height:", on}},
        {{"Width (90-270)", on}, {len, on}, {"Height:", on}},
        {{"Diameter > 0", on}, {len, off}, {"Vertical Diameter > 0", off}},
        {{"Width (90-270)", on}, {len, on}, {"Height", on}},
        {{"Width:", off}, {len, on}, {"Diameter > 0", on}},
        {{"Width:", on}, {len, off}, {"Diameter > 0", on}},
        {{"Width: (90-270)", on}, {len, on}, {"Height:", off}},
        {{"Width > 0", on}, {len, on}, {"Height:", off}},
        {{"Width:", on}, {len, on}, {"Height", on}},
        {{"Width: (90-270)", on}, {len, on}, {"Height", on}},
        {{"Diameter", on}, {len, off}, {"Height", off}},
        {{"Width: (90-270)", on}, {len, off}, {"Height", on}},
    };
    for (int shape = 0; shape < 15; ++shape) {
        const auto view = shapeFieldsView(shape);
        ASSERT_TRUE(view.has_value()) << shape;
        EXPECT_EQ(view->width, rows[shape].width) << shape;
        EXPECT_EQ(view->length, rows[shape].length) << shape;
        EXPECT_EQ(view->height, rows[shape].height) << shape;
    }
    for (int shape : {-1, 15, 16, 32767})
        EXPECT_FALSE(shapeFieldsView(shape).has_value());
    EXPECT_EQ(kDisabledFieldText, "0");
}

TEST(LuminousShape, ShapesOnlyThe2002RevisionKnows) {
    for (int revision = 0; revision <= 3; ++revision) {
        for (std::int16_t shape = -1; shape <= 15; ++shape) {
            SCOPED_TRACE(testing::Message() << "revision " << revision << " shape " << shape);
            const bool refused = shape > 10 && revision != kRevision2002;
            const ShapeChoice choice = checkShapeForRevision(shape, revision);
            EXPECT_EQ(choice.shapeIndex, refused ? kShapePoint : shape);
            EXPECT_EQ(choice.message, refused ? kMsgNo2002Shapes : std::string_view{});
        }
    }
    EXPECT_EQ(kMsgNo2002Shapes,
              "This version of LM-63 doesn't include 2002 definitions of luminous shape.");

    // A refused shape is shown as "Point": every field off.
    const LuminousShapeView view = luminousShapeView(13, 2);
    EXPECT_EQ(view.message, kMsgNo2002Shapes);
    EXPECT_EQ(view.shapeIndex, kShapePoint);
    EXPECT_EQ(view.fields, shapeFieldsView(kShapePoint));
    EXPECT_EQ(view.sketch, shapeSketch(kShapePoint));

    // The placeholder under 2002 changes no control.
    const LuminousShapeView placeholder = luminousShapeView(kShapeUndefined, kRevision2002);
    EXPECT_TRUE(placeholder.message.empty());
    EXPECT_FALSE(placeholder.fields.has_value());
}

TEST(LuminousShape, UnitsOptionButtons) {
    struct Case {
        std::int16_t unitsType;
        bool feet;
    } cases[] = {{1, true}, {2, false}, {0, false}, {-1, false}, {3, false}};
    for (const Case& c : cases)
        EXPECT_EQ(unitsShowFeet(c.unitsType), c.feet) << c.unitsType;
    EXPECT_EQ(unitsTypeFromForm(true), 1);
    EXPECT_EQ(unitsTypeFromForm(false), 2);
}

bool insidePicture(const SketchPrimitive& p) {
    auto inside = [](SketchPoint q, double margin) {
        return q.x >= margin && q.x <= kSketchWidth - margin && q.y >= margin &&
               q.y <= kSketchHeight - margin;
    };
    switch (p.kind) {
        case SketchKind::Line:
            return inside(p.from, 0) && inside(p.to, 0);
        case SketchKind::Ellipse:
            return inside({p.centre.x - p.radiusX, p.centre.y - p.radiusY}, 0) &&
                   inside({p.centre.x + p.radiusX, p.centre.y + p.radiusY}, 0);
        case SketchKind::Label:
            return inside(p.centre, 4);  // room for the letter itself
    }
    return false;
}

TEST(LuminousShape, SketchesAreDrawableAndDistinct) {
    const std::vector<SketchPrimitive> axesOnly = shapeSketch(kShapeUndefined);
    ASSERT_EQ(axesOnly.size(), 6u);
    for (int i = 0; i < 6; i += 2) {
        const SketchPrimitive& axis = axesOnly[static_cast<std::size_t>(i)];
        const SketchPrimitive& letter = axesOnly[static_cast<std::size_t>(i + 1)];
        ASSERT_EQ(axis.kind, SketchKind::Line);
        ASSERT_EQ(letter.kind, SketchKind::Label);
        EXPECT_EQ(axis.penWidth, 1);
        EXPECT_EQ(axis.style, SketchLineStyle::Solid);
        // The letter sits just beyond the axis's far end.
        const double reach = std::hypot(axis.to.x - axis.from.x, axis.to.y - axis.from.y);
        const double toLetter =
            std::hypot(letter.centre.x - axis.from.x, letter.centre.y - axis.from.y);
        const double gap = std::hypot(letter.centre.x - axis.to.x, letter.centre.y - axis.to.y);
        EXPECT_GT(toLetter, reach);
        EXPECT_LT(gap, 10);
        EXPECT_EQ(letter.text, std::string_view("LWH").substr(static_cast<std::size_t>(i / 2), 1));
    }
    EXPECT_EQ(shapeSketch(-1), axesOnly);
    EXPECT_EQ(shapeSketch(16), axesOnly);

    std::vector<std::vector<SketchPrimitive>> seen;
    for (int shape = 0; shape <= 14; ++shape) {
        SCOPED_TRACE(testing::Message() << "shape " << shape);
        const std::vector<SketchPrimitive> sketch = shapeSketch(shape);
        ASSERT_GT(sketch.size(), axesOnly.size());
        EXPECT_TRUE(std::equal(axesOnly.begin(), axesOnly.end(), sketch.begin()));
        bool outlined = false;
        for (const SketchPrimitive& p : sketch) {
            EXPECT_TRUE(insidePicture(p));
            EXPECT_TRUE(p.penWidth == 1 || p.penWidth == 2);
            // Outlines are solid; only thin lines are dashed or dotted.
            EXPECT_TRUE(p.penWidth == 1 || p.style == SketchLineStyle::Solid);
            if (p.kind == SketchKind::Ellipse) {
                EXPECT_GT(p.radiusX, 0);
                EXPECT_GT(p.radiusY, 0);
                EXPECT_GT(p.spanDegrees, 0);
                EXPECT_LE(p.spanDegrees, 360);
            }
            outlined = outlined || p.penWidth == 2;
        }
        EXPECT_TRUE(outlined);
        for (const auto& other : seen)
            EXPECT_NE(sketch, other);
        seen.push_back(sketch);
    }
}

}  // namespace
}  // namespace kandor
