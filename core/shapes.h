#pragma once

// luminaireDimension: the luminous shape that the signs of the stored width, length and height
// stand for, the signed numbers stored for a chosen shape, and what the lamp tab shows for it.
// The lamp tab only applies what these functions return.

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "core/iesrecord.h"

namespace kandor {

// The entries of lmpCmbShape; the shape index is the list index. Indices 9 to 14 are the
// shapes that only the 2002 revision of the format defines; 15 is a placeholder that decoding
// never produces.
inline constexpr std::array<std::string_view, 16> kShapeNames = {
    "Point",
    "Rectangle w/ Luminous Sides",
    "Circle",
    "Vertical Cylinder",
    "Vertical Ellipsoidal Cylinder",
    "Sphere",
    "Ellipsoidal Spheroid",
    "Horz Cylinder Along Photometric Horz.",
    "Horz Cylinder Perpendicular Photometric Horz.",
    "2002:Rectangle",
    "2002:Ellipse",
    "2002:Horz Ellipsoidal Cylinder Along Photometric Horz.",
    "2002:Horz Ellipsoidal Cylinder Perpendicular Photometric Horz.",
    "2002:Vertical Circle Facing Photometric Horizontal",
    "2002:Vertical Ellipse Facing Photometric Horizontal",
    "< Undefined >",
};

// Shape indices that the code names on their own.
inline constexpr std::int16_t kShapePoint = 0;
inline constexpr std::int16_t kShapeUndefined = 15;

// The revision index of LM-63-2002 in lmpCmbVersion (0 = 1986, 1 = 1991, 2 = 1995).
inline constexpr int kRevision2002 = 3;

// Shown, with an OK button only, when a 2002-only shape is chosen under an older revision.
inline constexpr std::string_view kMsgNo2002Shapes =
    "This version of LM-63 doesn't include 2002 definitions of luminous shape.";

// Luminous width, length and height as 32-bit floats: signed as the record stores them, or as
// read from the three text boxes.
struct LuminousDims {
    float width = 0;
    float length = 0;
    float height = 0;

    friend bool operator==(const LuminousDims&, const LuminousDims&) = default;
};

// The stored dimensions of a record's numeric header.
LuminousDims storedDims(const LampData& data);

// The shape index that W, L, H mean under LM-63-1986, 1991 and 1995; only the signs count.
std::int16_t gfnShapeFromDims(float width, float length, float height);

// The shape index that W, L, H mean under LM-63-2002, from their signs and three equalities.
std::int16_t gfnShapeFromDims2002(float width, float length, float height);

// The decoder of the revision in force: the 2002 table for revision index 3, else the older.
std::int16_t shapeFromDims(int revisionIndex, LuminousDims stored);

// The W, L, H to store for a shape under LM-63-1986, 1991 and 1995, given the numbers read
// from the text boxes; shapes the older revisions do not know keep `current`.
LuminousDims encodeShape(std::int16_t shapeIndex, LuminousDims entered, LuminousDims current);

// The W, L, H to store for a shape under LM-63-2002. Some rows are not the inverse of the
// 2002 decoding (a saved "Ellipsoidal Spheroid" reads back as "Sphere"): that is how files
// have always been written, so they stay.
LuminousDims encodeShape2002(std::int16_t shapeIndex, LuminousDims entered, LuminousDims current);

// The encoder of the revision in force: the 2002 table for revision index 3, else the older.
LuminousDims encodeShapeForRevision(int revisionIndex, std::int16_t shapeIndex,
                                    LuminousDims entered, LuminousDims current);

// Stores the encoded dimensions of the chosen shape into the record's numeric header.
void storeShape(LampData& data, int revisionIndex, std::int16_t shapeIndex, LuminousDims entered);

// The outcome of choosing a shape under a revision: the index the display continues with, and
// the message to show first (empty when there is none).
struct ShapeChoice {
    std::int16_t shapeIndex = 0;
    std::string_view message;
};

// A 2002-only shape (above 10) under an older revision continues as "Point" with
// kMsgNo2002Shapes; "2002:Rectangle" and "2002:Ellipse" pass silently in every revision.
ShapeChoice checkShapeForRevision(std::int16_t shapeIndex, int revisionIndex);

// What one dimension field (caption label and text box together) shows.
struct DimensionFieldView {
    std::string_view caption;
    bool enabled = true;  // a disabled field shows kDisabledFieldText

    friend bool operator==(const DimensionFieldView&, const DimensionFieldView&) = default;
};

// The three dimension fields of the lamp tab for one shape.
struct ShapeFieldsView {
    DimensionFieldView width;
    DimensionFieldView length;
    DimensionFieldView height;

    friend bool operator==(const ShapeFieldsView&, const ShapeFieldsView&) = default;
};

// The text a disabled dimension field is given, so that the shape's encoding reads it as 0.
inline constexpr std::string_view kDisabledFieldText = "0";

// Captions and enabled states for shape indices 0 to 14; no value for any other index, which
// leaves the controls as they are.
std::optional<ShapeFieldsView> shapeFieldsView(int shapeIndex);

// Units of the record: type 1 shows feet, anything else metres. Switching converts nothing.
inline constexpr std::int16_t kUnitsFeet = 1;
inline constexpr std::int16_t kUnitsMetres = 2;

// Whether rdoFeet (rather than rdoMeters) is selected for a record's units type.
inline bool unitsShowFeet(std::int16_t unitsType) {
    return unitsType == kUnitsFeet;
}

// The units type stored for the selected option button.
inline std::int16_t unitsTypeFromForm(bool feetSelected) {
    return feetSelected ? kUnitsFeet : kUnitsMetres;
}

// ---- The sketch of lmpPicHousing, as data for the widget to paint ----

// The picture's own scale: x to the right, y downwards, both starting at 0.
inline constexpr double kSketchWidth = 120;
inline constexpr double kSketchHeight = 100;

enum class SketchLineStyle { Solid, Dash, Dot };
enum class SketchKind { Line, Ellipse, Label };

struct SketchPoint {
    double x = 0;
    double y = 0;

    friend bool operator==(const SketchPoint&, const SketchPoint&) = default;
};

// One drawing primitive. Outlines use pen width 2; hidden and construction lines width 1,
// dashed or dotted. The fields a kind does not use keep their defaults.
struct SketchPrimitive {
    SketchKind kind = SketchKind::Line;
    int penWidth = 1;
    SketchLineStyle style = SketchLineStyle::Solid;
    SketchPoint from;    // Line
    SketchPoint to;      // Line
    SketchPoint centre;  // Ellipse: its centre; Label: the centre of the text
    double radiusX = 0;  // Ellipse, axis-aligned
    double radiusY = 0;
    // Ellipse: the drawn arc, in degrees counter-clockwise from three o'clock as seen on the
    // screen, measured on the circle that the ellipse is squeezed from; 360 draws it whole.
    double startDegrees = 0;
    double spanDegrees = 360;
    std::string_view text;  // Label

    friend bool operator==(const SketchPrimitive&, const SketchPrimitive&) = default;
};

// The sketch for a shape index: the three reference axes with the letters "L", "W" and "H"
// at their ends (black, width 1, solid), then the shape for indices 0 to 14. Any other index
// gives the axes alone.
std::vector<SketchPrimitive> shapeSketch(int shapeIndex);

// The sizes entered for the opening, in any unit (the same for all three): their signs are
// ignored, and 0 or NaN means none was entered.
struct SketchDimensions {
    double width = 0;
    double length = 0;
    double height = 0;
};

// The same sketch drawn in the proportions of the entered sizes that the shape uses: the
// largest as large as the plain sketch draws the shape, the others in proportion but never
// thinner than a few points, so that a 0.01 by 2 opening still shows its thin side. Without
// any entered size it is the plain sketch.
std::vector<SketchPrimitive> shapeSketch(int shapeIndex, const SketchDimensions& dims);

// Everything gsbShowLuminousShape does to the lamp tab for a chosen shape, in order: show
// `message` in an OK-only box when it is not empty, apply `fields` when present (writing
// kDisabledFieldText into each disabled text box), then sketch the shape `shapeIndex`, the
// index the display continued with, in the proportions of the entered sizes.
struct LuminousShapeView {
    std::string_view message;
    std::int16_t shapeIndex = 0;
    std::optional<ShapeFieldsView> fields;
};

// The view of a shape chosen in lmpCmbShape under the revision in force.
LuminousShapeView luminousShapeView(std::int16_t shapeIndex, int revisionIndex);

}  // namespace kandor
