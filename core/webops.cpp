#include "core/webops.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <span>
#include <vector>

#include "core/numforms.h"
#include "core/validation.h"

namespace kandor {
namespace text = webops_text;

namespace {

constexpr int kMaxAngles = 32767;
// Four times the largest webs measured (721 x 1441), so that a step typed too small cannot
// take the memory of the machine.
constexpr std::size_t kMaxValues = 4'000'000;
constexpr double kSameAngle = 1e-4;  // degrees: angles closer than this are one angle

// ---- Numbers ----

std::vector<double> decimals(const OneBased<float>& angles) {
    std::vector<double> out;
    out.reserve(angles.values().size());
    for (float a : angles)
        out.push_back(shortestDecimal(a));
    return out;
}

std::string shown(double value) {
    return generalSingle(static_cast<float>(value));
}

// Three decimals, halves to even, as the reader keeps a value it reads.
double round3(double value) {
    const double scaled = value * 1000.0;
    if (!(std::fabs(scaled) < 4.5e15)) return value;
    return std::nearbyint(scaled) / 1000.0;
}

double mix(double a, double b, double t) {
    if (t == 0 || a == b) return a;
    if (t == 1) return b;
    return round3(a + (b - a) * t);
}

// An average that leaves equal values exactly as they are.
double meanOf(std::span<const double> values) {
    if (std::all_of(values.begin(), values.end(), [&](double v) { return v == values.front(); }))
        return values.front();
    return round3(std::accumulate(values.begin(), values.end(), 0.0) /
                  static_cast<double>(values.size()));
}

// ---- The web ----

bool typeC(const Web& web) {
    return web.photometricType == 1;
}

const char* axisName(Axis axis) {
    return axis == Axis::kVertical ? "vertical" : "horizontal";
}

WebResult refuse(std::string why) {
    return {std::nullopt, std::move(why)};
}

WebResult done(Web web) {
    return {std::move(web), {}};
}

std::optional<std::string> webFault(const Web& web) {
    if (web.numVert() < 1 || web.numHorz() < 1) return std::string(text::kNoWeb);
    if (web.candela.rows() != web.numHorz() || web.candela.cols() != web.numVert())
        return std::string(text::kCountsDiffer);
    return std::nullopt;
}

// Every type but C holds its vertical angles highest first; the same call turns them back.
void flipVertical(Web& web) {
    auto& angles = web.vertAngles.values();
    std::reverse(angles.begin(), angles.end());
    const auto numVert = static_cast<std::ptrdiff_t>(web.numVert());
    auto& values = web.candela.values();
    for (auto row = values.begin(); row != values.end(); row += numVert)
        std::reverse(row, row + numVert);
}

// The web with its vertical angles lowest first, whatever the type.
Web ascending(Web web) {
    if (!typeC(web)) flipVertical(web);
    return web;
}

Web held(Web ascendingWeb) {
    return ascending(std::move(ascendingWeb));
}

// The refusal for angles of an axis that are not in order (lowest first once turned).
std::optional<std::string> orderFault(const std::vector<double>& lowestFirst, Axis axis) {
    if (std::is_sorted(lowestFirst.begin(), lowestFirst.end())) return std::nullopt;
    std::string why = "The ";
    why += axisName(axis);
    why += text::kNotInOrder;
    return why;
}

// ---- Interpolation along one axis ----

struct Blend {
    std::size_t lo = 0;  // 0-based source angles
    std::size_t hi = 0;
    double t = 0;  // 0: the value at lo exactly
};

// For each new angle (lowest first, within the range of the old ones) the old angles around
// it; an angle that is an old one takes that one's values as they are. One pass over both.
std::vector<Blend> blendsFor(const std::vector<double>& old, const std::vector<double>& wanted) {
    std::vector<Blend> out;
    out.reserve(wanted.size());
    const std::size_t n = old.size();
    std::size_t i = 0;
    for (double y : wanted) {
        while (i + 1 < n && old[i + 1] < y - kSameAngle)
            ++i;
        if (std::fabs(old[i] - y) <= kSameAngle) {
            out.push_back({i, i, 0});
        } else if (i + 1 < n && std::fabs(old[i + 1] - y) <= kSameAngle) {
            out.push_back({i + 1, i + 1, 0});
        } else if (i + 1 < n && old[i] < y && y < old[i + 1]) {
            out.push_back({i, i + 1, (y - old[i]) / (old[i + 1] - old[i])});
        } else {
            const std::size_t edge = y < old.front() ? 0 : n - 1;
            out.push_back({edge, edge, 0});
        }
    }
    return out;
}

OneBased<float> anglesAt(const OneBased<float>& old, const std::vector<double>& wanted,
                         const std::vector<Blend>& blends) {
    OneBased<float> out(static_cast<int>(wanted.size()));
    for (std::size_t j = 0; j < wanted.size(); ++j)
        out.values()[j] =
            blends[j].t == 0 ? old.values()[blends[j].lo] : static_cast<float>(wanted[j]);
    return out;
}

// The web (vertical angles lowest first) at new vertical angles.
Web regridVertical(const Web& web, const std::vector<double>& wanted) {
    const std::vector<Blend> blends = blendsFor(decimals(web.vertAngles), wanted);
    Web out{web.photometricType, anglesAt(web.vertAngles, wanted, blends), web.horAngles, {}};
    const auto oldCount = static_cast<std::size_t>(web.numVert());
    const std::size_t newCount = wanted.size();
    out.candela.redim(web.numHorz(), static_cast<int>(newCount));
    const double* src = web.candela.values().data();
    double* dst = out.candela.values().data();
    for (int h = 0; h < web.numHorz(); ++h, src += oldCount, dst += newCount)
        for (std::size_t j = 0; j < newCount; ++j)
            dst[j] = mix(src[blends[j].lo], src[blends[j].hi], blends[j].t);
    return out;
}

// The web at new horizontal angles: each new plane from the two planes around it.
Web regridHorizontal(const Web& web, const std::vector<double>& wanted) {
    const std::vector<Blend> blends = blendsFor(decimals(web.horAngles), wanted);
    Web out{web.photometricType, web.vertAngles, anglesAt(web.horAngles, wanted, blends), {}};
    const auto numVert = static_cast<std::size_t>(web.numVert());
    out.candela.redim(static_cast<int>(wanted.size()), web.numVert());
    const double* src = web.candela.values().data();
    double* dst = out.candela.values().data();
    for (const Blend& b : blends) {
        const double* lo = src + b.lo * numVert;
        const double* hi = src + b.hi * numVert;
        for (std::size_t v = 0; v < numVert; ++v)
            *dst++ = mix(lo[v], hi[v], b.t);
    }
    return out;
}

// A regular step over the range of `angles` (lowest first), or the refusal.
std::optional<std::string> regularAngles(const std::vector<double>& angles, double step, Axis axis,
                                         std::vector<double>& out) {
    if (!(step > 0) || !std::isfinite(step)) return std::string(text::kStepNotPositive);
    const double lo = angles.front();
    const double hi = angles.back();
    if (!(hi > lo)) return std::string(text::kOneAngleNoRange);
    const double steps = (hi - lo) / step;
    const double whole = std::round(steps);
    if (std::fabs(steps - whole) > 1e-6 * std::max(1.0, whole)) {
        return "A step of " + shown(step) + " does not divide the " + axisName(axis) + " angles " +
               shown(lo) + " to " + shown(hi) + " evenly.";
    }
    if (whole + 1 > kMaxAngles) {
        return "A step of " + shown(step) + " gives more than 32767 " + axisName(axis) + " angles.";
    }
    const auto count = static_cast<std::size_t>(whole);
    out.resize(count + 1);
    for (std::size_t i = 0; i < count; ++i)
        out[i] = lo + static_cast<double>(i) * step;
    out[count] = hi;
    return std::nullopt;
}

// ---- The planes around the circle ----

// Where the symmetries send an angle; the first image is the angle itself.
std::vector<double> images(Symmetry symmetry, double angle) {
    switch (symmetry) {
        case Symmetry::kQuadrant:
            return {angle, -angle, 180 - angle, 180 + angle};
        case Symmetry::kC0C180:
        case Symmetry::kLateral:
            return {angle, -angle};
        case Symmetry::kC90C270:
            return {angle, 180 - angle};
        case Symmetry::kNone:
        case Symmetry::kRotational:
            break;
    }
    return {angle};
}

double aroundCircle(double angle) {
    double a = std::fmod(angle, 360.0);
    if (a < 0) a += 360;
    return a > 360 - kSameAngle ? 0 : a;
}

// The planes of a web, one per distinct angle: around the circle of C angles (0 to 360,
// exclusive, wrapping) for Type C, along the line -90 to 90 for Type B.
struct Planes {
    bool wraps = true;
    std::size_t numVert = 0;
    std::vector<double> angles;  // lowest first, distinct
    std::vector<double> values;  // numVert per angle

    std::span<const double> row(std::size_t i) const {
        return {values.data() + i * numVert, numVert};
    }

    // The plane at any angle, interpolated between the two around it.
    void sample(double angle, std::vector<double>& out) const {
        out.resize(numVert);
        const std::size_t n = angles.size();
        const double a = wraps ? aroundCircle(angle) : angle;
        const auto above = std::upper_bound(angles.begin(), angles.end(), a + kSameAngle);
        const std::ptrdiff_t i = (above - angles.begin()) - 1;
        if (i >= 0 && std::fabs(angles[static_cast<std::size_t>(i)] - a) <= kSameAngle) {
            std::ranges::copy(row(static_cast<std::size_t>(i)), out.begin());
            return;
        }
        std::size_t lo = 0;
        std::size_t hi = 0;
        double from = 0;
        double to = 0;
        if (i < 0) {
            lo = wraps ? n - 1 : 0;
            from = wraps ? angles[lo] - 360 : angles[0];
        } else {
            lo = static_cast<std::size_t>(i);
            from = angles[lo];
        }
        if (static_cast<std::size_t>(i + 1) >= n) {
            hi = wraps ? 0 : n - 1;
            to = wraps ? angles[hi] + 360 : angles[n - 1];
        } else {
            hi = static_cast<std::size_t>(i + 1);
            to = angles[hi];
        }
        const double t = to > from ? std::clamp((a - from) / (to - from), 0.0, 1.0) : 0.0;
        const auto a0 = row(lo);
        const auto a1 = row(hi);
        for (std::size_t v = 0; v < numVert; ++v)
            out[v] = mix(a0[v], a1[v], t);
    }
};

// Sorts entries (angle, source row) into planes, keeping the first of angles that coincide.
Planes collect(std::vector<std::pair<double, std::span<const double>>> entries, bool wraps,
               std::size_t numVert) {
    std::stable_sort(entries.begin(), entries.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    Planes planes{wraps, numVert, {}, {}};
    planes.values.reserve(entries.size() * numVert);
    for (const auto& [angle, row] : entries) {
        if (!planes.angles.empty() && angle - planes.angles.back() <= kSameAngle) continue;
        planes.angles.push_back(angle);
        planes.values.insert(planes.values.end(), row.begin(), row.end());
    }
    return planes;
}

// The planes a web stands for through its held symmetry. A full Type C set's plane at 360 is
// the one at 0 again: with `averageSeam` two differing planes there are averaged, otherwise
// they are refused.
std::optional<std::string> planesOf(const Web& web, Symmetry heldAs, bool averageSeam,
                                    Planes& out) {
    const auto numVert = static_cast<std::size_t>(web.numVert());
    const std::vector<double> angles = decimals(web.horAngles);
    const bool wraps = typeC(web);
    auto rowOf = [&](std::size_t h) {
        return std::span<const double>(web.candela.values().data() + h * numVert, numVert);
    };
    std::vector<std::pair<double, std::span<const double>>> entries;
    std::vector<double> seam;
    std::size_t count = angles.size();
    if (wraps && heldAs == Symmetry::kNone && count > 1) {
        const auto first = rowOf(0);
        const auto last = rowOf(count - 1);
        if (!std::ranges::equal(first, last)) {
            if (!averageSeam) return std::string(text::kSeamDiffers);
            seam.resize(numVert);
            for (std::size_t v = 0; v < numVert; ++v)
                seam[v] = meanOf(std::array<double, 2>{first[v], last[v]});
        }
        --count;
    }
    if (heldAs == Symmetry::kRotational) {
        for (double a : {0.0, 90.0, 180.0, 270.0})
            entries.emplace_back(a, rowOf(0));
    } else {
        for (std::size_t h = 0; h < count; ++h) {
            const auto row = h == 0 && !seam.empty() ? std::span<const double>(seam) : rowOf(h);
            for (double image : images(heldAs, angles[h]))
                entries.emplace_back(wraps ? aroundCircle(image) : image, row);
        }
    }
    out = collect(std::move(entries), wraps, numVert);
    return std::nullopt;
}

// The range a symmetry keeps: Type C from 0 to 90, 180 or 270, Type B 0 to 90.
std::pair<double, double> keptRange(Symmetry symmetry, bool wraps) {
    switch (symmetry) {
        case Symmetry::kQuadrant:
        case Symmetry::kLateral:
            return {0, 90};
        case Symmetry::kC0C180:
            return {0, 180};
        case Symmetry::kC90C270:
            return {90, 270};
        case Symmetry::kRotational:
            return {0, 0};
        case Symmetry::kNone:
            break;
    }
    return wraps ? std::pair<double, double>{0, 360} : std::pair<double, double>{-90, 90};
}

// The planes as a web held with `symmetry`: the planes within its range (and its two ends,
// interpolated where missing), each the average of the planes its symmetry makes equal.
Web reduce(const Planes& planes, Symmetry symmetry, const Web& like) {
    const auto [lo, hi] = keptRange(symmetry, planes.wraps);
    std::vector<double> kept;
    if (symmetry != Symmetry::kRotational)
        for (double a : planes.angles)
            if (a >= lo - kSameAngle && a <= hi + kSameAngle) kept.push_back(a);
    // A full circle's ends are 0 and 360, where it meets its plane at 0 again.
    for (double end : {lo, hi})
        if (std::none_of(kept.begin(), kept.end(),
                         [&](double a) { return std::fabs(a - end) <= kSameAngle; }))
            kept.push_back(end);
    std::sort(kept.begin(), kept.end());
    kept.erase(std::unique(kept.begin(), kept.end()), kept.end());

    const std::size_t numVert = planes.numVert;
    Web out{
        like.photometricType, like.vertAngles, OneBased<float>(static_cast<int>(kept.size())), {}};
    out.candela.redim(static_cast<int>(kept.size()), static_cast<int>(numVert));
    double* dst = out.candela.values().data();
    std::vector<std::vector<double>> samples;
    std::vector<double> column;
    for (std::size_t k = 0; k < kept.size(); ++k) {
        out.horAngles.values()[k] = static_cast<float>(kept[k]);
        if (symmetry == Symmetry::kRotational) {
            samples.resize(planes.angles.size());
            for (std::size_t i = 0; i < samples.size(); ++i)
                samples[i].assign(planes.row(i).begin(), planes.row(i).end());
        } else {
            const std::vector<double> at = images(symmetry, kept[k]);
            samples.resize(at.size());
            for (std::size_t i = 0; i < at.size(); ++i)
                planes.sample(at[i], samples[i]);
        }
        column.resize(samples.size());
        for (std::size_t v = 0; v < numVert; ++v) {
            for (std::size_t i = 0; i < samples.size(); ++i)
                column[i] = samples[i][v];
            *dst++ = meanOf(column);
        }
    }
    return out;
}

// The planes with every angle moved by `move`, sorted again.
Planes moved(const Planes& planes, double (*move)(double, double), double by) {
    std::vector<std::pair<double, std::span<const double>>> entries;
    entries.reserve(planes.angles.size());
    for (std::size_t i = 0; i < planes.angles.size(); ++i)
        entries.emplace_back(aroundCircle(move(planes.angles[i], by)), planes.row(i));
    return collect(std::move(entries), planes.wraps, planes.numVert);
}

std::string heldRangeFault(const Web& web) {
    return "The horizontal angles " + shown(web.horAngles(1)) + " to " +
           shown(web.horAngles(web.numHorz())) +
           " are neither a full set nor a symmetric part of one.";
}

// The checks every plane operation makes first; the held symmetry when they pass.
std::optional<Symmetry> planeChecks(const Web& web, std::string& why) {
    if (auto fault = webFault(web)) {
        why = *fault;
        return std::nullopt;
    }
    if (auto fault = orderFault(decimals(web.horAngles), Axis::kHorizontal)) {
        why = *fault;
        return std::nullopt;
    }
    const std::optional<Symmetry> heldAs = heldSymmetry(web);
    if (!heldAs) why = heldRangeFault(web);
    return heldAs;
}

WebResult movePlanes(const Web& web, double (*move)(double, double), double by, bool swapMirrors) {
    std::string why;
    if (!typeC(web)) return refuse(std::string(text::kTypeCOnly));
    const std::optional<Symmetry> heldAs = planeChecks(web, why);
    if (!heldAs) return refuse(why);
    if (*heldAs == Symmetry::kRotational) return done(web);
    Planes planes;
    if (auto fault = planesOf(web, *heldAs, false, planes)) return refuse(*fault);
    Symmetry after = *heldAs;
    if (swapMirrors && after == Symmetry::kC0C180)
        after = Symmetry::kC90C270;
    else if (swapMirrors && after == Symmetry::kC90C270)
        after = Symmetry::kC0C180;
    return done(reduce(moved(planes, move, by), after, web));
}

std::string_view foundText(Symmetry s) {
    switch (s) {
        case Symmetry::kRotational:
            return "Rotationally symmetric";
        case Symmetry::kQuadrant:
            return "Symmetric in all four quadrants";
        case Symmetry::kC0C180:
            return "Symmetric about the C0-C180 plane";
        case Symmetry::kC90C270:
            return "Symmetric about the C90-C270 plane";
        case Symmetry::kLateral:
            return "Symmetric about the 0 horizontal plane";
        case Symmetry::kNone:
            break;
    }
    return "No symmetry found";
}

std::string_view heldText(Symmetry s, bool wraps) {
    switch (s) {
        case Symmetry::kRotational:
            return "the data hold one plane (rotational).";
        case Symmetry::kQuadrant:
            return "the data hold 0 to 90 (one quadrant).";
        case Symmetry::kC0C180:
            return "the data hold 0 to 180 (bilateral about C0-C180).";
        case Symmetry::kC90C270:
            return "the data hold 90 to 270 (bilateral about C90-C270).";
        case Symmetry::kLateral:
            return "the data hold 0 to 90 (lateral).";
        case Symmetry::kNone:
            break;
    }
    return wraps ? "the data hold a full set, 0 to 360." : "the data hold a full set, -90 to 90.";
}

// The largest difference between planes that `symmetry` would make equal.
double deviation(const Planes& planes, Symmetry symmetry) {
    double worst = 0;
    std::vector<double> sample;
    for (std::size_t i = 0; i < planes.angles.size(); ++i) {
        const auto here = planes.row(i);
        if (symmetry == Symmetry::kRotational) {
            const auto first = planes.row(0);
            for (std::size_t v = 0; v < planes.numVert; ++v)
                worst = std::max(worst, std::fabs(here[v] - first[v]));
            continue;
        }
        const std::vector<double> at = images(symmetry, planes.angles[i]);
        for (std::size_t k = 1; k < at.size(); ++k) {
            planes.sample(at[k], sample);
            for (std::size_t v = 0; v < planes.numVert; ++v)
                worst = std::max(worst, std::fabs(here[v] - sample[v]));
        }
    }
    return worst;
}

}  // namespace

// ---- Public operations ----

WebResult webOf(const ValidationInput& state) {
    if (state.numVert != state.vertAngles.ubound() || state.numHorz != state.horAngles.ubound())
        return refuse(std::string(text::kCountsDiffer));
    Web web{state.photometricType, state.vertAngles, state.horAngles, state.candela};
    if (auto fault = webFault(web)) return refuse(*fault);
    return done(std::move(web));
}

void putWeb(Web web, EditorState& state) {
    state.numVert = web.numVert();
    state.numHorz = web.numHorz();
    state.vertAngles = std::move(web.vertAngles);
    state.horAngles = std::move(web.horAngles);
    state.candela = std::move(web.candela);
    state.maxCandela = maxCandelaOf(state.candela);
    // The lamp change's texts belong to the values it wrote, which the operation replaced.
    state.candelaText.clear();
}

WebResult insertAngle(const Web& web, Axis axis, double angle) {
    if (auto fault = webFault(web)) return refuse(*fault);
    const Web w = ascending(web);
    const bool vertical = axis == Axis::kVertical;
    std::vector<double> angles = decimals(vertical ? w.vertAngles : w.horAngles);
    if (auto fault = orderFault(angles, axis)) return refuse(*fault);
    if (angles.size() >= kMaxAngles) return refuse(std::string(text::kTooMany));
    if (!(angle >= angles.front() - kSameAngle && angle <= angles.back() + kSameAngle)) {
        return refuse("The angle " + shown(angle) + " lies outside the " + axisName(axis) +
                      " angles, " + shown(angles.front()) + " to " + shown(angles.back()) + ".");
    }
    if (std::any_of(angles.begin(), angles.end(),
                    [&](double a) { return std::fabs(a - angle) <= kSameAngle; }))
        return refuse("There is a " + std::string(axisName(axis)) + " angle of " + shown(angle) +
                      " already.");
    angles.insert(std::upper_bound(angles.begin(), angles.end(), angle), angle);
    return done(held(vertical ? regridVertical(w, angles) : regridHorizontal(w, angles)));
}

WebResult removeAngle(const Web& web, Axis axis, int index) {
    if (auto fault = webFault(web)) return refuse(*fault);
    const bool vertical = axis == Axis::kVertical;
    const int count = vertical ? web.numVert() : web.numHorz();
    if (count == 1) return refuse(std::string(text::kOnlyOne));
    if (index < 1 || index > count) return refuse(std::string(text::kNoSuchAngle));

    Web out{web.photometricType, web.vertAngles, web.horAngles, {}};
    auto& angles = (vertical ? out.vertAngles : out.horAngles).values();
    angles.erase(angles.begin() + (index - 1));
    const int numVert = out.numVert();
    out.candela.redim(out.numHorz(), numVert);
    for (int h = 1, hs = 1; h <= out.numHorz(); ++h, ++hs) {
        if (!vertical && hs == index) ++hs;
        for (int v = 1, vs = 1; v <= numVert; ++v, ++vs) {
            if (vertical && vs == index) ++vs;
            out.candela(h, v) = web.candela(hs, vs);
        }
    }

    auto findings = [](const Web& w) {
        return firstAndLastAngleFindings(w.photometricType, w.vertAngles(1),
                                         w.vertAngles(w.numVert()), w.horAngles(1),
                                         w.horAngles(w.numHorz()));
    };
    const std::vector<std::string_view> before = findings(web);
    for (std::string_view finding : findings(out))
        if (std::find(before.begin(), before.end(), finding) == before.end())
            return refuse(std::string(text::kBreaksRule) + std::string(finding));
    return done(std::move(out));
}

AngleAt angleIndex(const Web& web, Axis axis, double angle) {
    const auto& angles = (axis == Axis::kVertical ? web.vertAngles : web.horAngles).values();
    for (std::size_t i = 0; i < angles.size(); ++i)
        if (std::fabs(shortestDecimal(angles[i]) - angle) <= kSameAngle)
            return {static_cast<int>(i) + 1, {}};
    return {std::nullopt,
            "There is no " + std::string(axisName(axis)) + " angle of " + shown(angle) + "."};
}

WebResult resample(const Web& web, std::optional<double> vertStep, std::optional<double> horzStep) {
    if (auto fault = webFault(web)) return refuse(*fault);
    Web w = ascending(web);
    for (const auto& [step, axis] :
         {std::pair{vertStep, Axis::kVertical}, std::pair{horzStep, Axis::kHorizontal}}) {
        if (!step) continue;
        const bool vertical = axis == Axis::kVertical;
        const std::vector<double> angles = decimals(vertical ? w.vertAngles : w.horAngles);
        if (auto fault = orderFault(angles, axis)) return refuse(*fault);
        std::vector<double> wanted;
        if (auto fault = regularAngles(angles, *step, axis, wanted)) return refuse(*fault);
        const auto other = static_cast<std::size_t>(vertical ? w.numHorz() : w.numVert());
        if (wanted.size() * other > kMaxValues) return refuse(std::string(text::kTooManyValues));
        w = vertical ? regridVertical(w, wanted) : regridHorizontal(w, wanted);
    }
    return done(held(std::move(w)));
}

std::optional<Symmetry> heldSymmetry(const Web& web) {
    if (webFault(web) || orderFault(decimals(web.horAngles), Axis::kHorizontal))
        return std::nullopt;
    const float first = web.horAngles(1);
    const float last = web.horAngles(web.numHorz());
    if (typeC(web)) {
        if (web.numHorz() == 1) return Symmetry::kRotational;
        if (first == 0 && last == 360) return Symmetry::kNone;
        if (first == 0 && last == 90) return Symmetry::kQuadrant;
        if (first == 0 && last == 180) return Symmetry::kC0C180;
        if (first == 90 && last == 270) return Symmetry::kC90C270;
        return std::nullopt;
    }
    if (first == -90 && last == 90) return Symmetry::kNone;
    if (first == 0 && last == 90) return Symmetry::kLateral;
    return std::nullopt;
}

SymmetryFinding detectSymmetry(const Web& web, double tolerance) {
    SymmetryFinding finding;
    std::string why;
    finding.held = planeChecks(web, why);
    if (!finding.held) {
        finding.text = why;
        return finding;
    }
    Planes planes;
    planesOf(web, *finding.held, true, planes);
    const auto& values = web.candela.values();
    double peak = 0;
    for (double v : values)
        peak = std::max(peak, std::fabs(v));
    const double limit = std::max(tolerance, 0.0) * peak;
    // The most symmetric first: quadrant symmetry is both bilateral ones at once.
    const std::vector<Symmetry> candidates =
        typeC(web) ? std::vector<Symmetry>{Symmetry::kRotational, Symmetry::kQuadrant,
                                           Symmetry::kC0C180, Symmetry::kC90C270}
                   : std::vector<Symmetry>{Symmetry::kLateral};
    for (Symmetry candidate : candidates) {
        if (deviation(planes, candidate) <= limit) {
            finding.found = candidate;
            break;
        }
    }
    finding.text = foundText(finding.found);
    if (finding.found != Symmetry::kNone)
        finding.text +=
            " within " + generalSingle(static_cast<float>(tolerance * 100)) + " % of the peak";
    finding.text += "; ";
    finding.text += heldText(*finding.held, typeC(web));
    return finding;
}

WebResult symmetrise(const Web& web, Symmetry target) {
    const bool fits = typeC(web) ? target != Symmetry::kLateral
                                 : target == Symmetry::kNone || target == Symmetry::kLateral;
    if (!fits) return refuse(std::string(text::kNotForType));
    std::string why;
    const std::optional<Symmetry> heldAs = planeChecks(web, why);
    if (!heldAs) return refuse(why);
    if (target == Symmetry::kNone && *heldAs == Symmetry::kNone) return done(web);
    Planes planes;
    planesOf(web, *heldAs, true, planes);
    return done(reduce(planes, target, web));
}

WebResult rotate(const Web& web, int degrees) {
    if (typeC(web) && degrees != 90 && degrees != 180 && degrees != 270)
        return refuse(std::string(text::kRotation));
    const auto turn = [](double angle, double by) { return angle + by; };
    return movePlanes(web, turn, degrees, degrees != 180);
}

WebResult mirror(const Web& web, MirrorPlane plane) {
    const auto reflect = [](double angle, double about) { return about - angle; };
    return movePlanes(web, reflect, plane == MirrorPlane::kC0C180 ? 0.0 : 180.0, false);
}

namespace {

// The held vertical indexes of the nadir and the zenith that equalNadir makes equal.
std::vector<int> poleRows(const Web& web) {
    std::vector<int> rows;
    if (web.vertAngles(1) == 0) rows.push_back(1);
    if (typeC(web) && web.numVert() > 1 && web.vertAngles(web.numVert()) == 180)
        rows.push_back(web.numVert());
    return rows;
}

}  // namespace

std::vector<PoleValues> poleValues(const Web& web) {
    std::vector<PoleValues> out;
    if (webFault(web) || web.numHorz() < 1) return out;
    for (int v : poleRows(web)) {
        std::vector<double> along;
        for (int h = 1; h <= web.numHorz(); ++h)
            along.push_back(web.candela(h, v));
        const auto [low, high] = std::minmax_element(along.begin(), along.end());
        // The average is the value that equalNadir puts in.
        out.push_back({web.vertAngles(v), *low, *high, meanOf(along)});
    }
    return out;
}

WebResult equalNadir(const Web& web) {
    if (auto fault = webFault(web)) return refuse(*fault);
    const std::vector<int> rows = poleRows(web);
    if (rows.empty()) return refuse(std::string(text::kNoNadir));
    if (web.numHorz() == 1) return refuse(std::string(text::kOnePlane));
    Web out = web;
    std::vector<double> along(static_cast<std::size_t>(web.numHorz()));
    for (int v : rows) {
        for (int h = 1; h <= web.numHorz(); ++h)
            along[static_cast<std::size_t>(h - 1)] = web.candela(h, v);
        const double mean = meanOf(along);
        for (int h = 1; h <= web.numHorz(); ++h)
            out.candela(h, v) = mean;
    }
    return done(std::move(out));
}

WebResult scale(const Web& web, double factor) {
    if (auto fault = webFault(web)) return refuse(*fault);
    if (!(factor > 0) || !std::isfinite(factor))
        return refuse(std::string(text::kFactorNotPositive));
    Web out = web;
    if (factor == 1) return done(std::move(out));
    for (double& v : out.candela.values()) {
        v = round3(v * factor);
        if (!std::isfinite(v)) return refuse(std::string(text::kFactorTooLarge));
    }
    return done(std::move(out));
}

Figure<double> webFlux(const Web& web, double multiplier) {
    if (webFault(web)) return Figure<double>::absent(photometry_reason::kNoValues);
    PhotometryInput input;
    input.photometricType = web.photometricType;
    input.vertAngles = web.vertAngles.values();
    input.horAngles = web.horAngles.values();
    input.candela = &web.candela;
    input.vertReversed = !typeC(web);
    input.multiplier = multiplier;
    return computePhotometry(input).totalFlux;
}

WebResult scaleToFlux(const Web& web, double targetFlux, double multiplier) {
    if (!(targetFlux > 0) || !std::isfinite(targetFlux))
        return refuse(std::string(text::kFluxNotPositive));
    const Figure<double> now = webFlux(web, multiplier);
    if (!now || !(*now > 0)) {
        std::string why(text::kNoFlux);
        if (!now.reason.empty()) why += " (" + std::string(now.reason) + ")";
        return refuse(why + ".");
    }
    return scale(web, targetFlux / *now);
}

}  // namespace kandor
