#pragma once

// plotCD's geometry: the polar candela diagram as lighting data sheets draw it, reduced to
// plain numbers so that it is checked without pixels. The widget only maps these to the
// screen: nadir (0 degrees) at the bottom, 180 at the top, the first plane of each curve to
// the right of the vertical axis and its opposite plane to the left. Type B is drawn the same
// way with the aiming direction (0) at the bottom and signed angles, -90 left and +90 right.

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/onebased.h"

namespace kandor {

// What the candela tab shows: the grid's own arrays, so that the plot shows what the grid
// shows (after a rescale, the rescaled values).
struct PlotInput {
    int photometricType = 1;                      // 1 = C; anything else is drawn as Type B
    std::span<const float> vertAngles;            // one per vertical index, in the grid's order
    std::span<const float> horAngles;             // one per horizontal index
    const OneBased2D<double>* candela = nullptr;  // horizontal index first
    double multiplier = 1;                        // the multiplier shown; values are drawn times it
    // Type C: draw this plane (degrees) and its opposite instead of C0 - C180 and C90 - C270.
    std::optional<double> plane = std::nullopt;
};

// One plotted value: `degrees` from nadir along the half plane, `candela` after the multiplier.
struct PolarSample {
    double degrees = 0;
    double candela = 0;
};

// One curve: a plane through the vertical axis, its two halves each in ascending angle.
struct PolarCurve {
    std::string label;      // the legend's text, left half first: "C180 | C0"
    std::string rightName;  // what a reading on each half names: "C0", "H +"
    std::string leftName;
    std::vector<PolarSample> right;  // the first half plane (C0, C90; Type B: positive angles)
    std::vector<PolarSample> left;   // the opposite half plane (C180, C270; negative angles)
    bool dashed = false;             // the second curve is dashed, as data sheets draw it
};

// The whole diagram: its curves and the round scale of its rings.
struct PolarPlot {
    std::vector<PolarCurve> curves;
    double peak = 0;      // the largest plotted value
    double ringStep = 1;  // candela between rings
    int ringCount = 1;    // rings from the centre out; the outer one is the scale's end
    bool typeB = false;   // the angles are Type B's, from the axis, not from nadir
    // The part of the circle the data reach, in degrees from nadir (Type B: from the axis):
    // 0-90 the lower half, 90-180 the upper half, 0-180 the whole circle.
    double fromDegrees = 0;
    double toDegrees = 180;
    // Which half plane lies on which side, for the rim: "C180 | C0"; empty when every plane
    // is the same.
    std::string rimLabel;
    double scaleMax() const { return ringStep * ringCount; }
    bool halfCircle() const { return toDegrees - fromDegrees <= 90; }
};

// The diagram for the data; no curves when the table is empty (no angles or no values).
// Type C draws C0 - C180 and C90 - C270; a plane the data do not hold is mirrored where the
// horizontal angles say the distribution is symmetric (one plane, 0-90, 0-180, 90-270) and
// interpolated from its neighbouring planes otherwise. Type B draws the horizontal plane
// through the axis (V = 0) and the vertical plane (H = 0) the same way.
PolarPlot polarPlot(const PlotInput& input);

// The planes a user may choose to see with their opposite: the measured planes in 0 <= C < 360,
// ascending, without one whose opposite is already offered.
std::vector<double> pairPlanes(std::span<const float> horAngles);

// The legend's name of a plane pair: "C15 - C195".
std::string pairLabel(double plane);

// A half plane's value at an angle, linear between its samples; none outside them.
std::optional<double> halfPlaneValue(const std::vector<PolarSample>& half, double degrees);

// What the diagram reads at `degrees` from the axis on one side: one line per curve that has a
// value there, "C0, γ 35.0°: 1234 cd" (Type B: "H +35.0°: 1234 cd").
std::vector<std::string> polarReadout(const PolarPlot& plot, double degrees, bool leftSide,
                                      std::string_view unit);

// What the diagram's values are, for the caption under it.
struct PlotCaptionInput {
    bool perKilolumen = false;            // cd/klm rather than cd
    std::optional<double> multiplier;     // as typed; none when the field holds no number
    std::optional<double> lampLumens;     // number of lamps x lumens per lamp, for cd/klm
    std::optional<double> ballastFactor;  // as typed; none when the field holds no number
    bool tilt = false;                    // a tilt table is included
};

// The caption: "cd = file values x multiplier 1.875 (ballast factor and tilt not applied)",
// "cd/klm = file values x multiplier 1 x 1000 / 2000 lamp lm"; the factors the diagram does not
// apply are named only when they would change something (a ballast factor other than 1, a
// tilt table).
std::string plotCaption(const PlotCaptionInput& input);

// A round scale for a peak: 1, 2, 2.5 or 5 times a power of ten between rings, at most five
// rings, the outer one at or beyond the peak. A peak of 0 or less gives one ring of 1.
void roundScale(double peak, double& ringStep, int& ringCount);

// The value of a Type C distribution in plane `c` (degrees, any turn) at the vertical index
// `v` of the grid, by the symmetry the horizontal angles imply; NaN where the data hold
// nothing for it.
double typeCValue(const PlotInput& input, double c, int v);

}  // namespace kandor
