#pragma once

// Reshaping the measurement web of the editor's working data: inserting and removing angles,
// resampling to a regular step, averaging into a symmetry or expanding out of one, turning and
// mirroring the C planes, equal nadir values and scaling. Every operation takes a web and gives
// a new one or says why it does not apply, leaving its input as it was; the editor and the
// command-line tools only show or write what comes back.
//
// New values (interpolated, averaged or scaled) are rounded to three decimals, halves to
// even, as the reader rounds what it reads; values that an operation only moves are kept
// exactly. Interpolation is linear in the angle.
//
// A tool without a window works the same way: Fill a working state from the record, take its
// web with webOf, and put the result back with putWeb and SaveData.

#include <optional>
#include <string>
#include <string_view>

#include "core/editorstate.h"
#include "core/onebased.h"
#include "core/photometry.h"

namespace kandor {

namespace webops_text {
inline constexpr std::string_view kCountsDiffer =
    "The angle counts do not match the candela table.";
inline constexpr std::string_view kNoWeb = "There are no angles to work on.";
// + "vertical" / "horizontal" + this
inline constexpr std::string_view kNotInOrder =
    " angles are not in order; put them in order first.";
inline constexpr std::string_view kNoSuchAngle = "There is no such angle.";
inline constexpr std::string_view kOnlyOne = "The only angle cannot be removed.";
inline constexpr std::string_view kBreaksRule =
    "Removing this angle would break a rule of saving: ";
inline constexpr std::string_view kTooMany = "There can be at most 32767 angles.";
inline constexpr std::string_view kTooManyValues =
    "That step would give more than 4,000,000 candela values.";
inline constexpr std::string_view kStepNotPositive = "The step must be a number greater than zero.";
inline constexpr std::string_view kOneAngleNoRange = "A single angle has no range to resample.";
inline constexpr std::string_view kFactorNotPositive =
    "The factor must be a number greater than zero.";
inline constexpr std::string_view kFactorTooLarge = "The factor makes the values too large.";
inline constexpr std::string_view kFluxNotPositive =
    "The total flux must be a number greater than zero.";
// + " (" + the reason + ")" when the flux calculation gives one, then "."
inline constexpr std::string_view kNoFlux = "The data give no flux to scale from";
inline constexpr std::string_view kTypeCOnly = "C planes are turned and mirrored in Type C only.";
inline constexpr std::string_view kRotation = "The C planes turn by 90, 180 or 270 degrees.";
inline constexpr std::string_view kSeamDiffers =
    "The planes at 0 and 360 degrees differ; make them equal (symmetrise) first.";
inline constexpr std::string_view kNotForType = "This symmetry does not apply to this type.";
inline constexpr std::string_view kNoNadir =
    "There is no nadir (0) or zenith (180) vertical angle with values to make equal.";
inline constexpr std::string_view kOnePlane = "With one horizontal angle there is one nadir value.";
}  // namespace webops_text

// The measurement web as the editor holds it: the angles in use and their candela table.
struct Web {
    int photometricType = 1;     // 1 is Type C; every other type is held as Type B
    OneBased<float> vertAngles;  // Type B: highest angle first
    OneBased<float> horAngles;
    OneBased2D<double> candela;  // (horizontal, vertical), as the candela grid holds it

    int numVert() const noexcept { return vertAngles.ubound(); }
    int numHorz() const noexcept { return horAngles.ubound(); }

    friend bool operator==(const Web&, const Web&) = default;
};

// An operation's outcome: the new web, or the reason in the user's words why it does not apply.
struct WebResult {
    std::optional<Web> web;
    std::string refusal;

    explicit operator bool() const noexcept { return web.has_value(); }
};

enum class Axis { kVertical, kHorizontal };

// The symmetry data have or are reduced to. kNone is a full set of planes (Type C 0 to 360,
// Type B -90 to 90); kLateral is Type B's only one, about the 0 horizontal plane.
enum class Symmetry { kNone, kRotational, kQuadrant, kC0C180, kC90C270, kLateral };

enum class MirrorPlane { kC0C180, kC90C270 };

// The web of the working state: its counts must match its arrays and the table.
WebResult webOf(const ValidationInput& state);

// Puts a web into the working state: the arrays, the counts and the current maximum.
void putWeb(Web web, EditorState& state);

// A new angle at `angle`, its candela row or column interpolated from its neighbours. Refused
// outside the range of the angles, on an angle already there, and past 32767 angles.
WebResult insertAngle(const Web& web, Axis axis, double angle);

// Without the angle at held index `index` (1-based) and its row or column. Refused for the only
// angle, and where the first- and last-angle rules of saving would fail that held before.
WebResult removeAngle(const Web& web, Axis axis, int index);

// The held index (1-based) of the angle `angle` of an axis, or the refusal that there is none.
struct AngleAt {
    std::optional<int> index;
    std::string refusal;
};
AngleAt angleIndex(const Web& web, Axis axis, double angle);

// The angles of each axis given a step replaced by a regular step over the same range, every
// value interpolated. Refused for a step that does not divide the range.
WebResult resample(const Web& web, std::optional<double> vertStep, std::optional<double> horzStep);

// The symmetry the horizontal angles stand for: a full set, one plane (rotational), 0 to 90
// (quadrant), 0 to 180 (C0-C180), 90 to 270 (C90-C270); Type B -90 to 90 or 0 to 90 (lateral).
// None for any other range.
std::optional<Symmetry> heldSymmetry(const Web& web);

// What symmetry the data have, within `tolerance` (a fraction of the peak candela).
struct SymmetryFinding {
    std::optional<Symmetry> held;  // as heldSymmetry
    Symmetry found = Symmetry::kNone;
    std::string text;  // both, in words
};
SymmetryFinding detectSymmetry(const Web& web, double tolerance);

// The planes averaged into `target` and reduced to its range (Type C: quadrant 0 to 90,
// C0-C180 0 to 180, C90-C270 90 to 270, rotational one plane at 0; Type B: lateral 0 to 90).
// kNone expands the held symmetry into a full set instead (a single plane becomes the planes
// 0, 90, 180, 270 and 360). Refused when the held angles are no symmetric set.
WebResult symmetrise(const Web& web, Symmetry target);

// Type C: the C planes turned by 90, 180 or 270 degrees (the plane at C becomes the plane at C
// + degrees), or mirrored about a plane; a reduced set stays reduced to the symmetry it turns
// into.
WebResult rotate(const Web& web, int degrees);
WebResult mirror(const Web& web, MirrorPlane plane);

// The values at the nadir (a first held vertical angle of 0, as the save check reads it) and,
// for Type C, the zenith (a last angle of 180) made equal to their average over the planes.
WebResult equalNadir(const Web& web);

// The values found at one pole over the planes, the ones equalNadir would make equal.
struct PoleValues {
    double vertAngle = 0;  // 0 for the nadir, 180 for the zenith
    double minimum = 0;
    double maximum = 0;
    double average = 0;
};
// The poles that equalNadir reads, nadir first; none for a web it would refuse.
std::vector<PoleValues> poleValues(const Web& web);

// Every candela value times `factor`.
WebResult scale(const Web& web, double factor);

// The total luminous flux of the web with this candela multiplier, in lumens, as the
// photometric figures compute it; or why there is none.
Figure<double> webFlux(const Web& web, double multiplier);

// Every candela value scaled so that the web, with this candela multiplier, gives `targetFlux`
// lumens in total. Refused when the web gives no flux to scale from.
WebResult scaleToFlux(const Web& web, double targetFlux, double multiplier);

}  // namespace kandor
