#include "core/polarplot.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>

#include "core/numforms.h"
#include "core/photometry.h"

namespace kandor {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Angle {
    double degrees;
    int index;  // one-based index into the grid
};

// The first `count` angles with their grid indexes, ascending; the grid may hold them in any
// order (Type B highest first, or as the user typed them).
std::vector<Angle> sortedAngles(std::span<const float> angles, int count) {
    std::vector<Angle> out;
    out.reserve(static_cast<std::size_t>(std::max(count, 0)));
    for (int i = 0; i < count; ++i)
        out.push_back({angles[static_cast<std::size_t>(i)], i + 1});
    std::stable_sort(out.begin(), out.end(),
                     [](const Angle& a, const Angle& b) { return a.degrees < b.degrees; });
    return out;
}

int usedVert(const PlotInput& in) {
    return in.candela ? std::min(static_cast<int>(in.vertAngles.size()), in.candela->cols()) : 0;
}
int usedHorz(const PlotInput& in) {
    return in.candela ? std::min(static_cast<int>(in.horAngles.size()), in.candela->rows()) : 0;
}

// Where x falls on an ascending axis: the lower neighbour and the share of the upper one.
// False when x lies outside the axis.
bool bracket(const std::vector<Angle>& axis, double x, std::size_t& lower, double& t) {
    if (axis.empty() || x < axis.front().degrees || x > axis.back().degrees) return false;
    const auto upper =
        std::upper_bound(axis.begin(), axis.end(), x,
                         [](double value, const Angle& a) { return value < a.degrees; });
    if (upper == axis.end()) {
        lower = axis.size() - 1;
        t = 0;
        return true;
    }
    lower = static_cast<std::size_t>(upper - axis.begin()) - 1;
    const double span = upper->degrees - axis[lower].degrees;
    t = span > 0 ? (x - axis[lower].degrees) / span : 0;
    return true;
}

double lerp(double a, double b, double t) {
    return t == 0 ? a : a + (b - a) * t;
}

// The plane a Type C plane reads from, by the symmetry the first and last horizontal angles
// state; `wrap` says whether the planes close the circle by interpolation past the last one.
double foldTypeC(double c, double first, double last, bool& wrap) {
    wrap = false;
    c = std::fmod(c, 360.0);
    if (c < 0) c += 360.0;
    if (first == 0 && last == 90) {  // quadrant symmetry
        c = std::fmod(c, 180.0);
        return c > 90 ? 180 - c : c;
    }
    if (first == 0 && last == 180) return c > 180 ? 360 - c : c;  // about the 0-180 plane
    if (first == 90 && last == 270) {                             // about the 90-270 plane
        if (c >= 90 && c <= 270) return c;
        c = 180 - c;
        return c < 0 ? c + 360 : c;
    }
    wrap = last - first < 360;
    if (wrap && c < first) c += 360;
    return c;
}

// A Type B angle on an axis that holds one side only (from 0, or from just above it, as some
// files start at 1) reads from its mirror; an angle a little beyond the axis's ends takes the
// nearest one, so that the axis at 0 is drawn for such files too.
double foldTypeB(const std::vector<Angle>& axis, double x) {
    constexpr double kNearEnough = 5;
    if (axis.front().degrees >= 0 && x < 0) x = -x;
    if (x < axis.front().degrees && x >= axis.front().degrees - kNearEnough)
        return axis.front().degrees;
    if (x > axis.back().degrees && x <= axis.back().degrees + kNearEnough)
        return axis.back().degrees;
    return x;
}

// An angle as the file writes it: 22.5, 0.1, 90.
std::string angleText(double degrees) {
    char buffer[32];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, static_cast<float>(degrees));
    return std::string(buffer, result.ptr);
}

double candelaAt(const PlotInput& in, int h, int v) {
    return (*in.candela)(h, v);
}

// Type B: the value at horizontal angle h and vertical angle v, bilinear between the grid's
// angles; a table that starts at 0 holds one side and is mirrored to the other.
double typeBValue(const PlotInput& in, const std::vector<Angle>& hs, const std::vector<Angle>& vs,
                  double h, double v) {
    if (hs.empty() || vs.empty()) return kNaN;
    h = foldTypeB(hs, h);
    v = foldTypeB(vs, v);
    std::size_t hi = 0, vi = 0;
    double ht = 0, vt = 0;
    if (!bracket(hs, h, hi, ht) || !bracket(vs, v, vi, vt)) return kNaN;
    const std::size_t hj = std::min(hi + 1, hs.size() - 1);
    const std::size_t vj = std::min(vi + 1, vs.size() - 1);
    const double low = lerp(candelaAt(in, hs[hi].index, vs[vi].index),
                            candelaAt(in, hs[hj].index, vs[vi].index), ht);
    const double high = lerp(candelaAt(in, hs[hi].index, vs[vj].index),
                             candelaAt(in, hs[hj].index, vs[vj].index), ht);
    return lerp(low, high, vt);
}

void addSample(std::vector<PolarSample>& half, double degrees, double value, double multiplier,
               double& peak) {
    const double cd = value * multiplier;
    if (!std::isfinite(cd)) return;  // nothing a circle of finite size can show
    half.push_back({degrees, cd});
    if (cd > peak) peak = cd;
}

// A plane as a blend of two of the grid's planes.
struct PlaneWeights {
    int lower = 1;
    int upper = 1;
    double t = 0;  // the share of `upper`
    double value(const PlotInput& in, int v) const {
        return lerp(candelaAt(in, lower, v), candelaAt(in, upper, v), t);
    }
};

PlaneWeights planeWeights(const std::vector<Angle>& hs, double c) {
    PlaneWeights w;
    w.lower = w.upper = hs.front().index;
    if (hs.size() == 1) return w;  // one plane: the same all round
    const double first = hs.front().degrees;
    const double last = hs.back().degrees;
    bool wrap = false;
    c = foldTypeC(c, first, last, wrap);
    if (wrap && c > last) {
        // Between the last plane and the first one a turn later.
        const double span = first + 360 - last;
        w.lower = hs.back().index;
        w.upper = hs.front().index;
        w.t = span > 0 ? (c - last) / span : 0;
        return w;
    }
    std::size_t lower = 0;
    bracket(hs, std::clamp(c, first, last), lower, w.t);
    w.lower = hs[lower].index;
    w.upper = hs[std::min(lower + 1, hs.size() - 1)].index;
    return w;
}

}  // namespace

void roundScale(double peak, double& ringStep, int& ringCount) {
    if (!(peak > 0) || !std::isfinite(peak)) {
        ringStep = 1;
        ringCount = 1;
        return;
    }
    const double power = std::pow(10.0, std::floor(std::log10(peak / 5)));
    for (double m : {1.0, 2.0, 2.5, 5.0, 10.0}) {
        ringStep = m * power;
        if (std::ceil(peak / ringStep - 1e-9) <= 5) break;
    }
    ringCount = std::max(1, static_cast<int>(std::ceil(peak / ringStep - 1e-9)));
}

double typeCValue(const PlotInput& in, double c, int v) {
    const int nh = usedHorz(in);
    if (nh == 0 || v < 1 || v > usedVert(in)) return kNaN;
    return planeWeights(sortedAngles(in.horAngles, nh), c).value(in, v);
}

PolarPlot polarPlot(const PlotInput& in) {
    PolarPlot plot;
    const int nv = usedVert(in);
    const int nh = usedHorz(in);
    if (nv == 0 || nh == 0) return plot;
    const std::vector<Angle> vs = sortedAngles(in.vertAngles, nv);
    const std::vector<Angle> hs = sortedAngles(in.horAngles, nh);
    double peak = 0;

    if (in.photometricType == 1) {
        struct Plane {
            const char* label;  // null: the two half planes, left first
            double right, left;
            bool dashed;
        };
        // A single plane is the same all round: one curve says so, where two would lie on
        // top of each other and one of them would seem to be missing.
        std::vector<Plane> planes{{nullptr, 0, 180, false}, {nullptr, 90, 270, true}};
        if (hs.size() == 1) {
            planes = {{"All C planes (rotationally symmetric)", 0, 180, false}};
        } else if (in.plane) {
            planes = {{nullptr, *in.plane, std::fmod(*in.plane + 180, 360.0), false}};
        }
        for (const Plane& p : planes) {
            PolarCurve curve;
            curve.dashed = p.dashed;
            curve.rightName = "C" + angleText(p.right);
            curve.leftName = "C" + angleText(p.left);
            curve.label = p.label ? std::string(p.label) : curve.leftName + " | " + curve.rightName;
            const PlaneWeights right = planeWeights(hs, p.right);
            const PlaneWeights left = planeWeights(hs, p.left);
            for (const Angle& a : vs) {
                if (a.degrees < 0 || a.degrees > 180) continue;
                addSample(curve.right, a.degrees, right.value(in, a.index), in.multiplier, peak);
                addSample(curve.left, a.degrees, left.value(in, a.index), in.multiplier, peak);
            }
            plot.curves.push_back(std::move(curve));
        }
        if (hs.size() > 1) plot.rimLabel = plot.curves.front().label;
        // A web that stops at the horizon is drawn as the half it measured.
        double lowest = 180, highest = 0;
        for (const Angle& a : vs)
            if (a.degrees >= 0 && a.degrees <= 180) {
                lowest = std::min(lowest, a.degrees);
                highest = std::max(highest, a.degrees);
            }
        if (lowest < highest && highest <= 90) plot.toDegrees = 90;
        if (lowest < highest && lowest >= 90) plot.fromDegrees = 90;
    } else {
        // Each principal plane at its own angles, both sides of the axis; a side the table
        // holds only by symmetry reads from its mirror.
        auto planeAngles = [](const std::vector<Angle>& axis) {
            std::vector<double> out;
            for (const Angle& a : axis)
                out.push_back(std::fabs(a.degrees));
            std::sort(out.begin(), out.end());
            out.erase(std::unique(out.begin(), out.end()), out.end());
            return out;
        };
        plot.typeB = true;
        PolarCurve horizontal;
        horizontal.label = "H\xE2\x88\x92 | H+ (V = 0\xC2\xB0)";
        horizontal.rightName = "H +";
        horizontal.leftName = "H -";
        for (double d : planeAngles(hs)) {
            if (d > 180) continue;
            addSample(horizontal.right, d, typeBValue(in, hs, vs, d, 0), in.multiplier, peak);
            addSample(horizontal.left, d, typeBValue(in, hs, vs, -d, 0), in.multiplier, peak);
        }
        PolarCurve vertical;
        vertical.label = "V\xE2\x88\x92 | V+ (H = 0\xC2\xB0)";
        vertical.rightName = "V +";
        vertical.leftName = "V -";
        vertical.dashed = true;
        for (double d : planeAngles(vs)) {
            if (d > 180) continue;
            addSample(vertical.right, d, typeBValue(in, hs, vs, 0, d), in.multiplier, peak);
            addSample(vertical.left, d, typeBValue(in, hs, vs, 0, -d), in.multiplier, peak);
        }
        // Lateral angles reach +-90 at most; only angles beyond that need the whole circle.
        bool beyond = false;
        for (const PolarCurve* c : {&horizontal, &vertical})
            for (const auto* half : {&c->right, &c->left})
                for (const PolarSample& s : *half)
                    beyond = beyond || s.degrees > 90;
        plot.toDegrees = beyond ? 180 : 90;
        plot.rimLabel = "H\xE2\x88\x92 | H+";
        plot.curves.push_back(std::move(horizontal));
        plot.curves.push_back(std::move(vertical));
    }
    plot.peak = peak;
    roundScale(peak, plot.ringStep, plot.ringCount);
    return plot;
}

std::string plotCaption(const PlotCaptionInput& in) {
    const auto number = [](double x) { return generalSingle(static_cast<float>(x)); };
    std::string text = in.perKilolumen ? "cd/klm" : "cd";
    text += " = file values";
    std::vector<std::string> notes;
    if (in.multiplier)
        text += " x multiplier " + number(*in.multiplier);
    else
        notes.push_back("multiplier not a number");
    if (in.perKilolumen && in.lampLumens)
        text += " x 1000 / " + number(*in.lampLumens) + " lamp lm";
    std::string notApplied;
    if (in.ballastFactor && *in.ballastFactor != 1) notApplied = "ballast factor";
    if (in.tilt) notApplied += notApplied.empty() ? "tilt" : " and tilt";
    if (!notApplied.empty()) notes.push_back(notApplied + " not applied");
    for (std::size_t i = 0; i < notes.size(); ++i)
        text += (i == 0 ? " (" : "; ") + notes[i] + (i + 1 == notes.size() ? ")" : "");
    return text;
}

std::vector<double> pairPlanes(std::span<const float> horAngles) {
    std::vector<double> planes;
    for (float h : horAngles)
        if (h >= 0 && h < 360) planes.push_back(h);
    std::sort(planes.begin(), planes.end());
    planes.erase(std::unique(planes.begin(), planes.end()), planes.end());
    std::vector<double> out;
    for (double c : planes)
        if (c < 180 || !std::binary_search(out.begin(), out.end(), c - 180)) out.push_back(c);
    return out;
}

std::string pairLabel(double plane) {
    return "C" + angleText(plane) + " - C" + angleText(std::fmod(plane + 180, 360.0));
}

std::optional<double> halfPlaneValue(const std::vector<PolarSample>& half, double degrees) {
    for (std::size_t i = 0; i < half.size(); ++i) {
        if (half[i].degrees == degrees) return half[i].candela;
        if (i + 1 < half.size() && half[i].degrees < degrees && degrees < half[i + 1].degrees) {
            const double t = (degrees - half[i].degrees) / (half[i + 1].degrees - half[i].degrees);
            return lerp(half[i].candela, half[i + 1].candela, t);
        }
    }
    return std::nullopt;
}

std::vector<std::string> polarReadout(const PolarPlot& plot, double degrees, bool leftSide,
                                      std::string_view unit) {
    std::vector<std::string> lines;
    for (const PolarCurve& c : plot.curves) {
        const std::optional<double> value = halfPlaneValue(leftSide ? c.left : c.right, degrees);
        if (!value) continue;
        const std::string& name = leftSide ? c.leftName : c.rightName;
        const std::string at =
            plot.typeB ? name + formatAngle(degrees) : name + ", \xCE\xB3 " + formatAngle(degrees);
        lines.push_back(at + ": " + formatFigure(*value) + " " + std::string(unit));
    }
    return lines;
}

}  // namespace kandor
