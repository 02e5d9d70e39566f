#include "core/shapes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace kandor {

namespace {

// A value that is neither above nor below zero counts as zero, so a negative zero (and
// anything stranger) decodes like 0.
int signOf(float value) {
    if (value > 0.0f) return 1;
    if (value < 0.0f) return -1;
    return 0;
}

}  // namespace

LuminousDims storedDims(const LampData& data) {
    return {data.width, data.length, data.height};
}

std::int16_t gfnShapeFromDims(float width, float length, float height) {
    const int w = signOf(width);
    const int l = signOf(length);
    const int h = signOf(height);
    if (w > 0) {
        if (l > 0) return 1;
        if (l < 0) return 4;
        return 8;
    }
    if (w < 0) {
        if (l > 0) return 4;
        if (l < 0) return 6;
        if (h > 0) return 3;
        if (h < 0) return 5;
        return 2;
    }
    return l == 0 && h == 0 ? 0 : 7;
}

std::int16_t gfnShapeFromDims2002(float width, float length, float height) {
    const int w = signOf(width);
    const int l = signOf(length);
    const int h = signOf(height);
    if (w > 0) {
        if (l > 0) return h == 0 ? 9 : 1;
        return length == height ? 8 : 12;
    }
    if (w == 0) return 0;
    if (l > 0) return width == height ? 7 : 11;
    if (l == 0) return width == height ? 13 : 14;
    // Both negative: a sphere is W = L with H below zero; its height is never compared.
    if (width == length) {
        if (h > 0) return 3;
        if (h == 0) return 2;
        return 5;
    }
    if (h > 0) return 4;
    if (h == 0) return 10;
    return 6;
}

std::int16_t shapeFromDims(int revisionIndex, LuminousDims stored) {
    return revisionIndex == kRevision2002
               ? gfnShapeFromDims2002(stored.width, stored.length, stored.height)
               : gfnShapeFromDims(stored.width, stored.length, stored.height);
}

LuminousDims encodeShape(std::int16_t shapeIndex, LuminousDims entered, LuminousDims current) {
    const float w = std::fabs(entered.width);
    const float l = std::fabs(entered.length);
    const float h = std::fabs(entered.height);
    switch (shapeIndex) {
        case 0:
            return {0, 0, 0};
        case 1:
            return {w, l, h};
        case 2:
            return {-w, 0, 0};
        case 3:
            return {-w, 0, h};
        case 4:
            return {-w, l, h};
        case 5:
            return {-w, 0, -w};
        case 6:
            return {-w, -l, -h};
        case 7:
            return {0, l, -h};
        case 8:
            return {w, 0, -h};
        default:
            return current;
    }
}

LuminousDims encodeShape2002(std::int16_t shapeIndex, LuminousDims entered, LuminousDims current) {
    const float w = std::fabs(entered.width);
    const float l = std::fabs(entered.length);
    const float h = std::fabs(entered.height);
    switch (shapeIndex) {
        case 0:
            return {0, 0, 0};
        case 1:
            return {w, l, h};
        case 2:
            return {-w, -w, 0};
        case 3:
            return {-w, -w, entered.height};
        case 4:
            return {-w, -l, entered.height};
        case 5:
            return {-w, -w, -w};
        case 6:
            return {-w, -w, -w};
        case 7:
            return {-w, -l, -h};
        case 8:
            return {-w, l, -h};
        case 9:
            return {entered.width, entered.length, 0};
        case 10:
            return {-w, -l, 0};
        case 11:
            return {-w, entered.length, -w};
        case 12:
            return {w, -l, -l};
        case 13:
            return {-w, 0, -w};
        case 14:
            return {-w, 0, -h};
        default:
            return current;
    }
}

LuminousDims encodeShapeForRevision(int revisionIndex, std::int16_t shapeIndex,
                                    LuminousDims entered, LuminousDims current) {
    return revisionIndex == kRevision2002 ? encodeShape2002(shapeIndex, entered, current)
                                          : encodeShape(shapeIndex, entered, current);
}

void storeShape(LampData& data, int revisionIndex, std::int16_t shapeIndex, LuminousDims entered) {
    const LuminousDims stored =
        encodeShapeForRevision(revisionIndex, shapeIndex, entered, storedDims(data));
    data.width = stored.width;
    data.length = stored.length;
    data.height = stored.height;
}

ShapeChoice checkShapeForRevision(std::int16_t shapeIndex, int revisionIndex) {
    // "2002:Rectangle" and "2002:Ellipse" have always passed here; saving under an older
    // revision then leaves the stored dimensions as they were.
    if (shapeIndex > 10 && revisionIndex != kRevision2002) return {kShapePoint, kMsgNo2002Shapes};
    return {shapeIndex, {}};
}

std::optional<ShapeFieldsView> shapeFieldsView(int shapeIndex) {
    constexpr std::string_view kLength = "Length: (0-180)";
    constexpr bool on = true;
    constexpr bool off = false;
    // The small differences between rows ("Width (90-270)" without a colon, "Height" without
    // one) are what users have always seen; they are kept as they are.
    static constexpr std::array<ShapeFieldsView, 15> kTable = {{
        {{"Width: (90-270)", off}, {kLength, off}, {"Height:", off}},
        {{"Width: (90-270)", on}, {kLength, on}, {"Height:", on}},
        {{"Diameter > 0", on}, {kLength, off}, {"Height:", off}},
        {{"Diameter > 0", on}, {kLength, off}, {"Height:", on}},
        {{"Width (90-270)", on}, {kLength, on}, {"Height:", on}},
        {{"Diameter > 0", on}, {kLength, off}, {"Vertical Diameter > 0", off}},
        {{"Width (90-270)", on}, {kLength, on}, {"Height", on}},
        {{"Width:", off}, {kLength, on}, {"Diameter > 0", on}},
        {{"Width:", on}, {kLength, off}, {"Diameter > 0", on}},
        {{"Width: (90-270)", on}, {kLength, on}, {"Height:", off}},
        {{"Width > 0", on}, {kLength, on}, {"Height:", off}},
        {{"Width:", on}, {kLength, on}, {"Height", on}},
        {{"Width: (90-270)", on}, {kLength, on}, {"Height", on}},
        {{"Diameter", on}, {kLength, off}, {"Height", off}},
        {{"Width: (90-270)", on}, {kLength, off}, {"Height", on}},
    }};
    if (shapeIndex < 0 || shapeIndex >= static_cast<int>(kTable.size())) return std::nullopt;
    return kTable[static_cast<std::size_t>(shapeIndex)];
}

// ---- Sketch ----

namespace {

struct Pen {
    int width;
    SketchLineStyle style;
};

constexpr Pen kAxisPen{1, SketchLineStyle::Solid};
constexpr Pen kOutline{2, SketchLineStyle::Solid};
constexpr Pen kHidden{1, SketchLineStyle::Dash};
constexpr Pen kGuide{1, SketchLineStyle::Dot};
constexpr Pen kSurface{1, SketchLineStyle::Solid};  // a visible line on a curved surface

// The photometric centre sits here; length runs to the right, height up, and width recedes up
// and to the right, foreshortened, so that the three never share a direction on the picture.
constexpr SketchPoint kOrigin{56, 58};
constexpr double kDepthX = 0.55;
constexpr double kDepthY = 0.4;

class Sketch {
  public:
    // The picture point of a point at length l, width w and height h from the centre.
    static SketchPoint at(double l, double w, double h) {
        return {kOrigin.x + l + w * kDepthX, kOrigin.y - w * kDepthY - h};
    }

    void line(SketchPoint from, SketchPoint to, Pen pen) {
        SketchPrimitive p;
        p.kind = SketchKind::Line;
        p.penWidth = pen.width;
        p.style = pen.style;
        p.from = from;
        p.to = to;
        items.push_back(p);
    }

    void ellipse(SketchPoint centre, double rx, double ry, Pen pen, double startDegrees = 0,
                 double spanDegrees = 360) {
        SketchPrimitive p;
        p.kind = SketchKind::Ellipse;
        p.penWidth = pen.width;
        p.style = pen.style;
        p.centre = centre;
        p.radiusX = rx;
        p.radiusY = ry;
        p.startDegrees = startDegrees;
        p.spanDegrees = spanDegrees;
        items.push_back(p);
    }

    void label(SketchPoint centre, std::string_view text) {
        SketchPrimitive p;
        p.kind = SketchKind::Label;
        p.penWidth = kAxisPen.width;
        p.style = kAxisPen.style;
        p.centre = centre;
        p.text = text;
        items.push_back(p);
    }

    // The point at `degrees` on an axis-aligned ellipse, counter-clockwise on the picture.
    static SketchPoint onEllipse(SketchPoint centre, double rx, double ry, double degrees) {
        const double t = degrees * std::numbers::pi / 180.0;
        return {centre.x + rx * std::cos(t), centre.y - ry * std::sin(t)};
    }

    void axes() {
        line(kOrigin, at(52, 0, 0), kAxisPen);
        label(at(57, 0, 0), "L");
        line(kOrigin, at(0, 60, 0), kAxisPen);
        label(at(0, 68, 0), "W");
        line(kOrigin, at(0, 0, 44), kAxisPen);
        label(at(0, 0, 50), "H");
    }

    void point() {
        ellipse(kOrigin, 2.5, 2.5, kOutline);
        for (int ray = 0; ray < 8; ++ray) {
            const double degrees = 22.5 + 45.0 * ray;
            line(onEllipse(kOrigin, 6, 6, degrees), onEllipse(kOrigin, 13, 13, degrees), kGuide);
        }
    }

    // A box with half sizes a (length), b (width), c (height); the edges that meet in the
    // far, left, lower corner are hidden.
    void box(double a, double b, double c) {
        for (int corner = 0; corner < 8; ++corner) {
            const int s[3] = {(corner & 1) ? 1 : -1, (corner & 2) ? 1 : -1, (corner & 4) ? 1 : -1};
            for (int axis = 0; axis < 3; ++axis) {
                if (s[axis] > 0) continue;  // each edge once, from its lower end
                int e[3] = {s[0], s[1], s[2]};
                e[axis] = 1;
                const bool hidden = (s[0] == -1 && s[1] == 1 && s[2] == -1) ||
                                    (e[0] == -1 && e[1] == 1 && e[2] == -1);
                line(at(s[0] * a, s[1] * b, s[2] * c), at(e[0] * a, e[1] * b, e[2] * c),
                     hidden ? kHidden : kOutline);
            }
        }
    }

    // A flat opening in the horizontal plane, facing down.
    void flatRectangle(double a, double b) {
        const SketchPoint corners[4] = {at(-a, -b, 0), at(a, -b, 0), at(a, b, 0), at(-a, b, 0)};
        for (int i = 0; i < 4; ++i)
            line(corners[i], corners[(i + 1) % 4], kOutline);
    }

    // A horizontal ellipse (or circle) with half axes a along length and b along width.
    void flatEllipse(double a, double b) { ellipse(kOrigin, a, b * kDepthY, kOutline); }

    // An upright cylinder of half height c over an ellipse with half axes a and b.
    void verticalCylinder(double a, double b, double c) {
        const SketchPoint top = at(0, 0, c);
        const SketchPoint bottom = at(0, 0, -c);
        const double ry = b * kDepthY;
        ellipse(top, a, ry, kOutline);
        ellipse(bottom, a, ry, kOutline, 180, 180);
        ellipse(bottom, a, ry, kHidden, 0, 180);
        line(onEllipse(top, a, ry, 0), onEllipse(bottom, a, ry, 0), kOutline);
        line(onEllipse(top, a, ry, 180), onEllipse(bottom, a, ry, 180), kOutline);
    }

    // A solid of revolution seen from the side: its outline with half axes a (length) and c
    // (height), and its equator with half width b.
    void spheroid(double a, double b, double c) {
        ellipse(kOrigin, a, c, kOutline);
        ellipse(kOrigin, a, b * kDepthY, kSurface, 180, 180);
        ellipse(kOrigin, a, b * kDepthY, kHidden, 0, 180);
    }

    // A lying cylinder along the length, half length a, ends with half axes b (width) and c
    // (height); the right end faces the viewer.
    void cylinderAlongLength(double a, double b, double c) {
        const SketchPoint left = at(-a, 0, 0);
        const SketchPoint right = at(a, 0, 0);
        const double rx = b * kDepthX;
        ellipse(right, rx, c, kOutline);
        ellipse(left, rx, c, kOutline, 90, 180);
        ellipse(left, rx, c, kHidden, 270, 180);
        line(onEllipse(left, rx, c, 90), onEllipse(right, rx, c, 90), kOutline);
        line(onEllipse(left, rx, c, 270), onEllipse(right, rx, c, 270), kOutline);
    }

    // A lying cylinder across the length, half length b along the width, ends with half axes
    // a (length) and c (height); the near end is drawn whole.
    void cylinderAcrossLength(double a, double b, double c) {
        const SketchPoint nearEnd = at(0, -b, 0);
        const SketchPoint farEnd = at(0, b, 0);
        // Where the outline lines touch the ends: the tangent there runs along the width.
        const double tangent = std::atan2(-c * kDepthX, a * kDepthY) * 180.0 / std::numbers::pi;
        ellipse(nearEnd, a, c, kOutline);
        ellipse(farEnd, a, c, kOutline, tangent, 180);
        ellipse(farEnd, a, c, kHidden, tangent + 180, 180);
        line(onEllipse(nearEnd, a, c, tangent), onEllipse(farEnd, a, c, tangent), kOutline);
        line(onEllipse(nearEnd, a, c, tangent + 180), onEllipse(farEnd, a, c, tangent + 180),
             kOutline);
    }

    // An upright opening facing along the length, half axes b (width) and c (height). It is
    // traced in short lines so that it leans with the width axis: an upright ellipse would
    // read as facing the viewer, across the length.
    void verticalDisc(double b, double c) {
        constexpr int kSegments = 48;
        SketchPoint previous = at(0, b, 0);
        for (int i = 1; i <= kSegments; ++i) {
            const double t = 2.0 * std::numbers::pi * i / kSegments;
            const SketchPoint next = at(0, b * std::cos(t), c * std::sin(t));
            line(previous, next, kOutline);
            previous = next;
        }
    }

    std::vector<SketchPrimitive> items;
};

}  // namespace

std::vector<SketchPrimitive> shapeSketch(int shapeIndex) {
    return shapeSketch(shapeIndex, SketchDimensions{});
}

std::vector<SketchPrimitive> shapeSketch(int shapeIndex, const SketchDimensions& dims) {
    // Which entered number sets each half size of the drawing: a along the length axis, b
    // along the width axis, c up the height axis; and the half sizes drawn when nothing
    // usable is entered, which also bound the drawing so that it stays in the picture.
    enum Source { kNone, kWidth, kLength, kHeight };
    struct Proportions {
        Source a, b, c;
        double na, nb, nc;
    };
    static constexpr Proportions kShapes[] = {
        {kNone, kNone, kNone, 0, 0, 0},           // 0 point
        {kLength, kWidth, kHeight, 24, 14, 13},   // 1 box
        {kWidth, kWidth, kNone, 20, 20, 0},       // 2 circle
        {kWidth, kWidth, kHeight, 18, 18, 16},    // 3 vertical cylinder
        {kLength, kWidth, kHeight, 26, 12, 16},   // 4 vertical ellipsoidal cylinder
        {kWidth, kWidth, kWidth, 20, 20, 20},     // 5 sphere
        {kLength, kWidth, kHeight, 28, 14, 17},   // 6 ellipsoidal spheroid
        {kLength, kHeight, kHeight, 26, 13, 13},  // 7 cylinder along the length
        {kHeight, kWidth, kHeight, 14, 16, 14},   // 8 cylinder across it
        {kLength, kWidth, kNone, 26, 16, 0},      // 9 rectangle
        {kLength, kWidth, kNone, 28, 16, 0},      // 10 ellipse
        {kLength, kWidth, kHeight, 26, 22, 9},    // 11 elliptic cylinder along
        {kLength, kWidth, kHeight, 22, 14, 11},   // 12 elliptic cylinder across
        {kNone, kWidth, kWidth, 0, 20, 20},       // 13 upright circle
        {kNone, kWidth, kHeight, 0, 28, 13},      // 14 upright ellipse
    };
    Sketch s;
    s.axes();
    if (shapeIndex < 0 || shapeIndex > 14) return std::move(s.items);
    const Proportions& p = kShapes[shapeIndex];
    double a = p.na, b = p.nb, c = p.nc;

    const auto size = [&](Source source) {
        const double v = source == kWidth    ? dims.width
                         : source == kLength ? dims.length
                         : source == kHeight ? dims.height
                                             : 0;
        return std::isfinite(v) ? std::fabs(v) : 0.0;
    };
    const double largest = std::max({size(p.a), size(p.b), size(p.c)});
    if (largest > 0) {
        // The largest entered size is drawn as large as the shape's largest half size; the
        // others in proportion, but never so thin that they vanish, nor beyond that bound.
        constexpr double kThinnest = 3;
        const double bound = std::max({p.na, p.nb, p.nc});
        const auto half = [&](Source source) {
            return std::clamp(size(source) / largest * bound, kThinnest, bound);
        };
        a = half(p.a);
        b = half(p.b);
        c = half(p.c);
    }
    switch (shapeIndex) {
        case 0:
            s.point();
            break;
        case 1:
            s.box(a, b, c);
            break;
        case 2:
        case 10:
            s.flatEllipse(a, b);
            break;
        case 3:
        case 4:
            s.verticalCylinder(a, b, c);
            break;
        case 5:
        case 6:
            s.spheroid(a, b, c);
            break;
        case 7:
        case 11:
            s.cylinderAlongLength(a, b, c);
            break;
        case 8:
        case 12:
            s.cylinderAcrossLength(a, b, c);
            break;
        case 9:
            s.flatRectangle(a, b);
            break;
        case 13:
        case 14:
            s.verticalDisc(b, c);
            break;
        default:
            break;
    }
    return std::move(s.items);
}

LuminousShapeView luminousShapeView(std::int16_t shapeIndex, int revisionIndex) {
    const ShapeChoice choice = checkShapeForRevision(shapeIndex, revisionIndex);
    LuminousShapeView view;
    view.message = choice.message;
    view.shapeIndex = choice.shapeIndex;
    view.fields = shapeFieldsView(choice.shapeIndex);
    return view;
}

}  // namespace kandor
