#pragma once

// The photometric figures of a distribution: luminous flux (total, downward, upward, by
// ten-degree zone), lamp flux, light output ratio, efficacy, peak intensity, CIE flux code,
// beam and field angles of the main plane pairs and the spreads of a floodlight. Every part of
// the tool (the candela tab's panel, kandor-lint, other modules) computes them here, so that
// they agree to the last digit. A figure that cannot be computed is absent with a short
// reason; it is never 0 or NaN.

#include <array>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/onebased.h"

namespace kandor {

struct IesRecord;
struct EditorState;

// Why a figure is absent.
namespace photometry_reason {
inline constexpr std::string_view kNotRead = "file not read";
inline constexpr std::string_view kNoValues = "no candela values";
inline constexpr std::string_view kTypeA = "Type A";
inline constexpr std::string_view kTypeB = "Type B";
inline constexpr std::string_view kTypeC = "Type C";
inline constexpr std::string_view kUnknownType = "unknown photometric type";
inline constexpr std::string_view kAbsolute = "absolute photometry";
inline constexpr std::string_view kNoLamps = "no lamps";
inline constexpr std::string_view kNoWatts = "no input watts";
inline constexpr std::string_view kNoMultiplier = "no candela multiplier";
inline constexpr std::string_view kIncompletePlanes = "incomplete planes";
inline constexpr std::string_view kVertNotAscending = "vertical angles not ascending";
inline constexpr std::string_view kHorzNotAscending = "horizontal angles not ascending";
inline constexpr std::string_view kVertOutside = "vertical angles outside 0..180";
inline constexpr std::string_view kOutside90 = "angles outside -90..90";
inline constexpr std::string_view kOneVert = "one vertical angle";
inline constexpr std::string_view kOneHorz = "one horizontal angle";
inline constexpr std::string_view kNoPole = "vertical angles do not start at 0";
inline constexpr std::string_view kBelow90 = "vertical angles end below 90";
inline constexpr std::string_view kNoIntensity = "no intensity";
inline constexpr std::string_view kNoDownward = "no downward flux";
inline constexpr std::string_view kOutOfRange = "values out of range";
}  // namespace photometry_reason

// What the figures are computed from: views of a record's or the editor's arrays, copied
// nowhere. Vertical index v and horizontal index h (one-based) address candela(h, v).
struct PhotometryInput {
    int photometricType = 1;                      // 1 = C, 2 = B, 3 = A
    std::span<const float> vertAngles;            // in the order of the candela columns
    std::span<const float> horAngles;             // in the order of the candela rows
    const OneBased2D<double>* candela = nullptr;  // horizontal index first, before the multiplier
    // The vertical angles and candela columns are held highest first (the editor's Type B):
    // the figures read them the other way round.
    bool vertReversed = false;
    double multiplier = 1;     // NaN when the editor's text is no number
    double numLamps = 0;       // NaN when the editor's text is no number
    double lumensPerLamp = 0;  // -1 (or anything not above 0): absolute photometry
    double inputWatts = 0;
    bool readWhole = true;  // false when a parse ended early: every figure is "file not read"
};

// A figure, or the reason it is absent.
template <class T>
struct Figure {
    std::optional<T> value;
    std::string_view reason;  // one of photometry_reason; empty while the value is there

    static Figure absent(std::string_view why) { return {std::nullopt, why}; }
    void set(T v) {
        value = std::move(v);
        reason = {};
    }
    explicit operator bool() const { return value.has_value(); }
    const T& operator*() const { return *value; }
    const T* operator->() const { return &*value; }
};

// A beam, field or spread angle in degrees; a lower bound when the intensity never fell below
// the threshold on some side.
struct SpreadAngle {
    double degrees = 0;
    bool lowerBound = false;
};

// The largest intensity of the table and the first angles (h, v) where it occurs.
struct PeakIntensity {
    double cd = 0;
    double h = 0;
    double v = 0;
};

// Beam, field and batwing of one Type C plane pair.
struct PairFigures {
    Figure<SpreadAngle> beam;
    Figure<SpreadAngle> field;
    Figure<bool> batwing;
};

inline constexpr int kZoneCount = 18;  // ten-degree zones 0-10 .. 170-180
inline constexpr std::array<std::string_view, 2> kPairNames = {"C0-C180", "C90-C270"};
inline constexpr std::array<std::string_view, 5> kCieNames = {"N1", "N2", "N3", "N4", "N5"};

struct Photometry {
    Figure<double> totalFlux;  // lm
    Figure<double> downwardFlux;
    Figure<double> upwardFlux;
    Figure<std::array<double, kZoneCount>> zonalFlux;
    Figure<double> lampFlux;
    Figure<double> lorPercent;
    Figure<double> efficacy;  // lm/W
    Figure<PeakIntensity> peak;
    std::array<Figure<double>, 5> cieFluxCode;         // N1..N5 in percent, unrounded
    std::array<PairFigures, 2> pairs;                  // C0-C180, C90-C270 (Type C)
    Figure<SpreadAngle> beamH, beamV, fieldH, fieldV;  // Type B spreads
};

// The figures of a distribution.
Photometry computePhotometry(const PhotometryInput& input);

// The input over a record's own arrays (which must outlive it).
PhotometryInput photometryInput(const IesRecord& record);

// The input over the editor's working arrays and the lamp texts it holds, so that the figures
// follow edits not yet saved. A text that is no number gives NaN.
PhotometryInput photometryInput(const EditorState& form);

// A number typed into a lamp field as the record will keep it once saved (a 32-bit float, a
// 16-bit count); NaN when it is no number or out of range.
double lampFieldValue(std::string_view text);
double lampCountValue(std::string_view text);

// The total luminous flux of a record in lumens, or why there is none.
Figure<double> totalFlux(const IesRecord& record);

// ---- How the figures are shown (the panel and kandor-lint --summary) ----

// Four significant digits without an exponent: 3254.7 gives "3255", 0.012345 "0.01235".
std::string formatFigure(double value);
// Degrees to 0.1 with the degree sign ("62.4°"), ">= " in front of a lower bound.
std::string formatAngle(double degrees);
std::string formatSpread(const SpreadAngle& spread);
// A percentage to 0.1 ("81.3 %").
std::string formatPercent(double percent);
// The CIE flux code as five whole percentages rounded half up; "-" for an absent one.
std::string formatCieFluxCode(const std::array<Figure<double>, 5>& code);

// The figures as labelled lines for a plain-text summary: (label, value or reason).
std::vector<std::pair<std::string, std::string>> photometrySummary(const Photometry& figures,
                                                                   int photometricType);

}  // namespace kandor
