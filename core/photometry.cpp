#include "core/photometry.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numbers>

#include "core/editorstate.h"
#include "core/iesrecord.h"
#include "core/numforms.h"

namespace kandor {

namespace {

namespace why = photometry_reason;

constexpr double kRad = std::numbers::pi / 180;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The table in the record's order, whichever way the input holds its vertical angles.
class Table {
  public:
    explicit Table(const PhotometryInput& in) : in_(in) {
        if (in.candela == nullptr) return;
        nv_ = std::min(static_cast<int>(in.vertAngles.size()), in.candela->cols());
        nh_ = std::min(static_cast<int>(in.horAngles.size()), in.candela->rows());
        if (nv_ == 0 || nh_ == 0) nv_ = nh_ = 0;
    }
    int numVert() const { return nv_; }
    int numHorz() const { return nh_; }
    bool empty() const { return nv_ == 0; }
    // Zero-based vertical index in the record's order to the column the input holds it in.
    int column(int v) const { return in_.vertReversed ? nv_ - 1 - v : v; }
    double vert(int v) const { return in_.vertAngles[static_cast<std::size_t>(column(v))]; }
    double horz(int h) const { return in_.horAngles[static_cast<std::size_t>(h)]; }
    double raw(int h, int v) const { return row(h)[column(v)]; }
    const double* row(int h) const {
        return in_.candela->values().data() +
               static_cast<std::size_t>(h) * static_cast<std::size_t>(in_.candela->cols());
    }

  private:
    const PhotometryInput& in_;
    int nv_ = 0;
    int nh_ = 0;
};

// One pass over the table: for row weights r, the column sums sum_h r[h] * raw(h, v) (in the
// record's vertical order), and the first largest value in the record's order.
struct TablePass {
    std::vector<double> columnSums;
    double peak = -std::numeric_limits<double>::infinity();
    int peakH = 0, peakV = 0;
};

TablePass passOver(const Table& t, const std::vector<double>& rowWeights) {
    TablePass out;
    const int nv = t.numVert();
    std::vector<double> sums(static_cast<std::size_t>(nv), 0.0);
    for (int h = 0; h < t.numHorz(); ++h) {
        const double* row = t.row(h);
        const double w = rowWeights[static_cast<std::size_t>(h)];
        for (int c = 0; c < nv; ++c)
            sums[static_cast<std::size_t>(c)] += w * row[c];
        for (int c = 0; c < nv; ++c) {
            if (row[c] < out.peak) continue;
            const int v = t.column(c);  // the same map both ways
            if (row[c] > out.peak || (h == out.peakH && v < out.peakV)) {
                out.peak = row[c];
                out.peakH = h;
                out.peakV = v;
            }
        }
    }
    out.columnSums.resize(sums.size());
    for (int v = 0; v < nv; ++v)
        out.columnSums[static_cast<std::size_t>(v)] = sums[static_cast<std::size_t>(t.column(v))];
    return out;
}

// The weights w(s), w(t) of the two ends of a linear intensity in the integral over [s, t]
// (radians) of I(g) times the kernel: sin g for Type C, cos h for Type B.
std::pair<double, double> segmentWeights(double s, double t, bool cosine) {
    const double d = t - s;
    if (!cosine) {
        const double wt = (std::sin(t) - std::sin(s) - d * std::cos(t)) / d;
        return {std::cos(s) - std::cos(t) - wt, wt};
    }
    const double wt = (d * std::sin(t) + std::cos(t) - std::cos(s)) / d;
    return {std::sin(t) - std::sin(s) - wt, wt};
}

// Adds to w (one per angle) the weights of the integral over [lo, hi] degrees of the linear
// interpolant over the ascending angles; intervals outside the angles add nothing, and an
// interval cut by lo or hi is taken with the same interpolant.
void addRangeWeights(const std::vector<double>& angles, double lo, double hi, bool cosine,
                     std::vector<double>& w) {
    for (std::size_t i = 0; i + 1 < angles.size(); ++i) {
        const double a = angles[i], b = angles[i + 1];
        const double s = std::max(a, lo), t = std::min(b, hi);
        if (!(b > a) || !(t > s)) continue;
        const double alpha = (s - a) / (b - a), beta = (t - a) / (b - a);
        const auto [ws, wt] = segmentWeights(s * kRad, t * kRad, cosine);
        w[i] += ws * (1 - alpha) + wt * (1 - beta);
        w[i + 1] += ws * alpha + wt * beta;
    }
}

double dot(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        sum += a[i] * b[i];
    return sum;
}

// ---- Type C ----

struct Plane {
    double c;  // degrees, 0 <= c < 360
    int src;   // zero-based row of the table
};

// The measured planes expanded to the whole circle by the symmetry their first and last angles
// state; empty when they do not say how.
std::vector<Plane> expandPlanes(const Table& t) {
    const int nh = t.numHorz();
    std::vector<Plane> out;
    for (int h = 0; h < nh; ++h)
        if (!std::isfinite(t.horz(h)) || (h > 0 && !(t.horz(h) > t.horz(h - 1)))) return {};
    if (nh == 1) return {{0, 0}};  // the same in every plane
    const double first = t.horz(0), last = t.horz(nh - 1);
    for (int h = 0; h < nh; ++h) {
        const double c = t.horz(h);
        if (first == 0 && last == 90) {
            out.insert(out.end(), {{c, h}, {180 - c, h}, {180 + c, h}, {360 - c, h}});
        } else if (first == 0 && last == 180) {
            out.insert(out.end(), {{c, h}, {360 - c, h}});
        } else if (first == 90 && last == 270) {
            out.push_back({c, h});
            out.push_back({c <= 180 ? 180 - c : 540 - c, h});
        } else if (first == 0 && last == 360) {
            out.push_back({c, h});
        } else {
            return {};
        }
    }
    std::erase_if(out, [](const Plane& p) { return p.c < 0 || p.c >= 360; });
    std::stable_sort(out.begin(), out.end(),
                     [](const Plane& a, const Plane& b) { return a.c < b.c; });
    out.erase(std::unique(out.begin(), out.end(),
                          [](const Plane& a, const Plane& b) { return a.c == b.c; }),
              out.end());
    return out;
}

// Each measured plane's share of the circle: the sectors of the planes it stands for.
std::vector<double> planeWeights(const std::vector<Plane>& planes, int numHorz) {
    std::vector<double> w(static_cast<std::size_t>(numHorz), 0.0);
    const std::size_t n = planes.size();
    for (std::size_t p = 0; p < n; ++p) {
        const double next = p + 1 < n ? planes[p + 1].c : planes[0].c + 360;
        const double prev = p > 0 ? planes[p - 1].c : planes[n - 1].c - 360;
        w[static_cast<std::size_t>(planes[p].src)] += (next - prev) / 2 * kRad;
    }
    return w;
}

// The reason the vertical angles of a Type C table cannot be integrated, if any.
std::string_view typeCVerticalProblem(const Table& t) {
    for (int v = 1; v < t.numVert(); ++v)
        if (t.vert(v) < t.vert(v - 1)) return why::kVertNotAscending;
    for (int v = 0; v < t.numVert(); ++v)
        if (!(t.vert(v) >= 0 && t.vert(v) <= 180)) return why::kVertOutside;
    return {};
}

// The values of plane c (degrees) at every vertical angle, times the multiplier.
std::vector<double> planeValues(const Table& t, const std::vector<Plane>& planes, double c,
                                double multiplier) {
    const std::size_t n = planes.size();
    std::size_t upper = 0;
    while (upper < n && planes[upper].c < c)
        ++upper;
    int lowRow = 0, highRow = 0;
    double share = 0;
    if (upper < n && planes[upper].c == c) {
        lowRow = highRow = planes[upper].src;
    } else {
        const Plane& lo = planes[(upper + n - 1) % n];
        const Plane& hi = planes[upper % n];
        const double loC = lo.c > c ? lo.c - 360 : lo.c;
        const double hiC = hi.c < c ? hi.c + 360 : hi.c;
        lowRow = lo.src;
        highRow = hi.src;
        share = hiC > loC ? (c - loC) / (hiC - loC) : 0;
    }
    std::vector<double> out(static_cast<std::size_t>(t.numVert()));
    for (int v = 0; v < t.numVert(); ++v) {
        const double a = t.raw(lowRow, v), b = t.raw(highRow, v);
        out[static_cast<std::size_t>(v)] = (share == 0 ? a : a + (b - a) * share) * multiplier;
    }
    return out;
}

struct AxisPoint {
    double theta;
    double cd;
};

// The outermost crossings of a threshold on an axis ascending in theta: from each end inward
// to the first point at or above it, interpolated with the point just outside.
SpreadAngle outerWidth(const std::vector<AxisPoint>& axis, double threshold) {
    SpreadAngle out;
    const std::size_t n = axis.size();
    std::size_t r = n - 1;
    while (r > 0 && axis[r].cd < threshold)
        --r;
    std::size_t l = 0;
    while (l + 1 < n && axis[l].cd < threshold)
        ++l;
    auto cross = [threshold](const AxisPoint& in, const AxisPoint& outside) {
        return in.theta + (outside.theta - in.theta) * (in.cd - threshold) / (in.cd - outside.cd);
    };
    const double right = r == n - 1 ? axis[r].theta : cross(axis[r], axis[r + 1]);
    const double left = l == 0 ? axis[l].theta : cross(axis[l], axis[l - 1]);
    out.degrees = right - left;
    out.lowerBound = r == n - 1 || l == 0;
    return out;
}

PairFigures absentPair(std::string_view reason) {
    return {Figure<SpreadAngle>::absent(reason), Figure<SpreadAngle>::absent(reason),
            Figure<bool>::absent(reason)};
}

// Beam, field and batwing of the plane pair (c, c + 180).
PairFigures pairFigures(const Table& t, const std::vector<Plane>& planes, double c,
                        double multiplier) {
    const std::vector<double> first = planeValues(t, planes, c, multiplier);
    const std::vector<double> second = planeValues(t, planes, c + 180, multiplier);
    const int nv = t.numVert();
    bool hasNadir = false, hasZenith = false;
    double pairMax = 0;
    for (int v = 0; v < nv; ++v) {
        hasNadir = hasNadir || t.vert(v) == 0;
        hasZenith = hasZenith || t.vert(v) == 180;
        pairMax = std::max(
            {pairMax, first[static_cast<std::size_t>(v)], second[static_cast<std::size_t>(v)]});
    }
    if (!hasNadir && !hasZenith) return absentPair(why::kNoPole);
    if (!(pairMax > 0)) return absentPair(why::kNoIntensity);
    bool maxBelow = false;
    for (int v = 0; v < nv && t.vert(v) <= 90; ++v)
        maxBelow = maxBelow || first[static_cast<std::size_t>(v)] == pairMax ||
                   second[static_cast<std::size_t>(v)] == pairMax;
    const bool below = hasNadir && (maxBelow || !hasZenith);

    // The hemisphere's angles as distances from its centre, with the horizon interpolated
    // where the file measures on both sides of it.
    struct Sample {
        double distance, a, b;
    };
    std::vector<Sample> half;
    bool centreSeen = false;
    for (int v = 0; v < nv; ++v) {
        const double g = t.vert(v);
        const double distance = below ? g : 180 - g;
        if (distance < 0 || distance > 90) continue;
        if (distance == 0) {
            if (centreSeen) continue;
            centreSeen = true;
        }
        half.push_back(
            {distance, first[static_cast<std::size_t>(v)], second[static_cast<std::size_t>(v)]});
    }
    if (std::none_of(half.begin(), half.end(), [](const Sample& s) { return s.distance == 90; })) {
        for (int v = 0; v + 1 < nv; ++v) {
            const double g1 = t.vert(v), g2 = t.vert(v + 1);
            if (g1 < 90 && g2 > 90) {
                const double share = (90 - g1) / (g2 - g1);
                const auto at = [&](const std::vector<double>& p) {
                    const double x = p[static_cast<std::size_t>(v)];
                    return x + (p[static_cast<std::size_t>(v + 1)] - x) * share;
                };
                half.push_back({90, at(first), at(second)});
            }
        }
    }
    std::sort(half.begin(), half.end(),
              [](const Sample& x, const Sample& y) { return x.distance < y.distance; });

    std::vector<AxisPoint> axis;
    axis.reserve(half.size() * 2);
    for (auto it = half.rbegin(); it != half.rend(); ++it)
        if (it->distance > 0) axis.push_back({-it->distance, it->b});
    for (const Sample& s : half)
        axis.push_back({s.distance, s.a});
    double axisMax = 0;
    for (const AxisPoint& p : axis)
        axisMax = std::max(axisMax, p.cd);
    if (!(axisMax > 0) || axis.size() < 2) return absentPair(why::kNoIntensity);

    PairFigures out;
    out.beam.set(outerWidth(axis, 0.5 * axisMax));
    out.field.set(outerWidth(axis, 0.1 * axisMax));
    out.batwing.set(half.front().a < 0.95 * axisMax);
    return out;
}

void typeCFigures(const Table& t, double multiplier, Photometry& f) {
    const std::vector<Plane> planes = expandPlanes(t);
    const std::string_view vertProblem = typeCVerticalProblem(t);
    const std::vector<double> rowWeights =
        planes.empty() ? std::vector<double>(static_cast<std::size_t>(t.numHorz()), 0.0)
                       : planeWeights(planes, t.numHorz());
    const TablePass pass = passOver(t, rowWeights);
    f.peak.set(PeakIntensity{pass.peak * multiplier, t.horz(pass.peakH), t.vert(pass.peakV)});

    // Flux and beams need the same: a usable vertical range, planes round the circle, and more
    // than one vertical angle.
    std::string_view fluxProblem = vertProblem;
    if (fluxProblem.empty() && planes.empty()) fluxProblem = why::kIncompletePlanes;
    if (fluxProblem.empty() && t.numVert() == 1) fluxProblem = why::kOneVert;
    if (!fluxProblem.empty()) {
        f.totalFlux = f.downwardFlux = f.upwardFlux = Figure<double>::absent(fluxProblem);
        f.zonalFlux.reason = fluxProblem;
        for (Figure<double>& n : f.cieFluxCode)
            n = Figure<double>::absent(fluxProblem);
    } else {
        std::vector<double> angles(static_cast<std::size_t>(t.numVert()));
        for (int v = 0; v < t.numVert(); ++v)
            angles[static_cast<std::size_t>(v)] = t.vert(v);
        const auto flux = [&](double lo, double hi) {
            std::vector<double> w(angles.size(), 0.0);
            addRangeWeights(angles, lo, hi, false, w);
            return dot(w, pass.columnSums) * multiplier;
        };
        const double total = flux(angles.front(), angles.back());
        const double down = flux(0, 90);
        f.totalFlux.set(total);
        f.downwardFlux.set(down);
        f.upwardFlux.set(flux(90, 180));
        std::array<double, kZoneCount> zones{};
        for (int z = 0; z < kZoneCount; ++z)
            zones[static_cast<std::size_t>(z)] = flux(10.0 * z, 10.0 * (z + 1));
        f.zonalFlux.set(zones);

        std::string_view cieProblem;
        if (angles.back() < 90)
            cieProblem = why::kBelow90;
        else if (!(down > 0))
            cieProblem = why::kNoDownward;
        if (!cieProblem.empty()) {
            for (Figure<double>& n : f.cieFluxCode)
                n = Figure<double>::absent(cieProblem);
        } else {
            f.cieFluxCode[0].set(100 * flux(0, 41.4) / down);
            f.cieFluxCode[1].set(100 * flux(0, 60) / down);
            f.cieFluxCode[2].set(100 * flux(0, 75.5) / down);
            f.cieFluxCode[3].set(100 * down / total);
            f.cieFluxCode[4] = f.lampFlux ? Figure<double>{100 * down / *f.lampFlux, {}}
                                          : Figure<double>::absent(f.lampFlux.reason);
        }
    }

    const std::string_view beamProblem = fluxProblem;
    for (std::size_t p = 0; p < f.pairs.size(); ++p)
        f.pairs[p] = beamProblem.empty() ? pairFigures(t, planes, 90.0 * p, multiplier)
                                         : absentPair(beamProblem);
    const Figure<SpreadAngle> notB = Figure<SpreadAngle>::absent(why::kTypeC);
    f.beamH = f.beamV = f.fieldH = f.fieldV = notB;
}

// ---- Type B ----

struct Mirrored {
    std::vector<double> angles;         // ascending
    std::vector<int> src;               // zero-based index into the measured angles
    std::vector<std::size_t> measured;  // where each measured angle sits on the axis
    std::string_view problem;
};

// An axis of measured angles, mirrored to the negative side when it starts at 0.
Mirrored mirrorAxis(int count, const auto& angleAt, std::string_view notAscending) {
    Mirrored m;
    for (int i = 1; i < count; ++i)
        if (angleAt(i) < angleAt(i - 1)) m.problem = notAscending;
    if (!m.problem.empty()) return m;
    if (count > 0 && angleAt(0) == 0)
        for (int i = count - 1; i >= 1; --i) {
            m.angles.push_back(-angleAt(i));
            m.src.push_back(i);
        }
    for (int i = 0; i < count; ++i) {
        m.measured.push_back(m.angles.size());
        m.angles.push_back(angleAt(i));
        m.src.push_back(i);
    }
    for (double a : m.angles)
        if (!(a >= -90 && a <= 90)) m.problem = why::kOutside90;
    return m;
}

// Where along a mirrored axis a threshold is first crossed on either side of index `at`.
SpreadAngle firstWidth(const std::vector<double>& angles, const std::vector<double>& cd,
                       std::size_t at, double threshold) {
    const auto cross = [&](std::size_t in, std::size_t out) {
        return angles[in] + (angles[out] - angles[in]) * (cd[in] - threshold) / (cd[in] - cd[out]);
    };
    SpreadAngle s;
    std::size_t r = at;
    while (r + 1 < cd.size() && cd[r + 1] >= threshold)
        ++r;
    std::size_t l = at;
    while (l > 0 && cd[l - 1] >= threshold)
        --l;
    const double right = r + 1 < cd.size() ? cross(r, r + 1) : angles[r];
    const double left = l > 0 ? cross(l, l - 1) : angles[l];
    s.degrees = right - left;
    s.lowerBound = r + 1 == cd.size() || l == 0;
    return s;
}

void typeBFigures(const Table& t, double multiplier, Photometry& f) {
    const Mirrored lateral = mirrorAxis(
        t.numHorz(), [&](int i) { return t.horz(i); }, why::kHorzNotAscending);
    const Mirrored planes = mirrorAxis(
        t.numVert(), [&](int i) { return t.vert(i); }, why::kVertNotAscending);

    std::vector<double> rowWeights(static_cast<std::size_t>(t.numHorz()), 0.0);
    std::vector<double> lateralW(lateral.angles.size(), 0.0);
    if (!lateral.angles.empty())
        addRangeWeights(lateral.angles, lateral.angles.front(), lateral.angles.back(), true,
                        lateralW);
    for (std::size_t i = 0; i < lateralW.size(); ++i)
        rowWeights[static_cast<std::size_t>(lateral.src[i])] += lateralW[i];
    const TablePass pass = passOver(t, rowWeights);
    const double peak = pass.peak * multiplier;
    f.peak.set(PeakIntensity{peak, t.horz(pass.peakH), t.vert(pass.peakV)});

    std::string_view problem = !planes.problem.empty() ? planes.problem : lateral.problem;
    if (problem.empty() && planes.angles.size() == 1) problem = why::kOneVert;
    if (problem.empty() && lateral.angles.size() == 1) problem = why::kOneHorz;
    if (!problem.empty()) {
        f.totalFlux = Figure<double>::absent(problem);
    } else {
        // Each plane stands for the trapezoid share of the angles around it, without wrapping.
        const std::vector<double>& v = planes.angles;
        const std::size_t n = v.size();
        std::vector<double> colWeights(static_cast<std::size_t>(t.numVert()), 0.0);
        for (std::size_t q = 0; q < n; ++q) {
            const double hi = q + 1 < n ? v[q + 1] : v[q];
            const double lo = q > 0 ? v[q - 1] : v[q];
            colWeights[static_cast<std::size_t>(planes.src[q])] += (hi - lo) / 2 * kRad;
        }
        f.totalFlux.set(dot(colWeights, pass.columnSums) * multiplier);
    }

    // Spreads through the peak on the mirrored table.
    const std::string_view order = !planes.problem.empty() ? planes.problem : lateral.problem;
    const auto spreads = [&](const Mirrored& axis, bool alongH, Figure<SpreadAngle>& beam,
                             Figure<SpreadAngle>& field) {
        std::string_view reason = order;
        if (reason.empty() && axis.angles.size() == 1)
            reason = alongH ? why::kOneHorz : why::kOneVert;
        if (reason.empty() && !(peak > 0)) reason = why::kNoIntensity;
        if (!reason.empty()) {
            beam = field = Figure<SpreadAngle>::absent(reason);
            return;
        }
        const int peakAt = alongH ? pass.peakH : pass.peakV;
        std::vector<double> cd(axis.angles.size());
        for (std::size_t i = 0; i < cd.size(); ++i) {
            const int k = axis.src[i];
            cd[i] = (alongH ? t.raw(k, pass.peakV) : t.raw(pass.peakH, k)) * multiplier;
        }
        const std::size_t at = axis.measured[static_cast<std::size_t>(peakAt)];
        beam.set(firstWidth(axis.angles, cd, at, 0.5 * peak));
        field.set(firstWidth(axis.angles, cd, at, 0.1 * peak));
    };
    spreads(lateral, true, f.beamH, f.fieldH);
    spreads(planes, false, f.beamV, f.fieldV);

    const Figure<double> notC = Figure<double>::absent(why::kTypeB);
    f.downwardFlux = f.upwardFlux = notC;
    f.zonalFlux.reason = why::kTypeB;
    f.cieFluxCode.fill(notC);
    f.pairs.fill(absentPair(why::kTypeB));
}

Photometry allAbsent(std::string_view reason) {
    Photometry f;
    const Figure<double> none = Figure<double>::absent(reason);
    f.totalFlux = f.downwardFlux = f.upwardFlux = f.lampFlux = f.lorPercent = f.efficacy = none;
    f.zonalFlux.reason = f.peak.reason = reason;
    f.cieFluxCode.fill(none);
    f.pairs.fill(absentPair(reason));
    f.beamH = f.beamV = f.fieldH = f.fieldV = Figure<SpreadAngle>::absent(reason);
    return f;
}

// A number that overflowed (huge values times a multiplier) is no figure.
template <class T>
void keepFinite(Figure<T>& f, bool finite) {
    if (f && !finite) f = Figure<T>::absent(why::kOutOfRange);
}
void keepFinite(Figure<double>& f) {
    keepFinite(f, !f || std::isfinite(*f));
}

}  // namespace

Photometry computePhotometry(const PhotometryInput& in) {
    if (!in.readWhole) return allAbsent(why::kNotRead);
    if (in.photometricType == 3) return allAbsent(why::kTypeA);
    if (in.photometricType != 1 && in.photometricType != 2) return allAbsent(why::kUnknownType);
    const Table t(in);
    Photometry f = allAbsent(t.empty() ? why::kNoValues : why::kNoMultiplier);

    if (std::isnan(in.numLamps) || std::isnan(in.lumensPerLamp))
        f.lampFlux = Figure<double>::absent(why::kNoLamps);
    else if (!(in.lumensPerLamp > 0))
        f.lampFlux = Figure<double>::absent(why::kAbsolute);
    else if (const double lamps = in.numLamps * in.lumensPerLamp; !(lamps > 0))
        f.lampFlux = Figure<double>::absent(why::kNoLamps);
    else
        f.lampFlux.set(lamps);
    keepFinite(f.lampFlux);

    if (!t.empty() && std::isfinite(in.multiplier)) {
        if (in.photometricType == 1)
            typeCFigures(t, in.multiplier, f);
        else
            typeBFigures(t, in.multiplier, f);
    }

    keepFinite(f.totalFlux);
    keepFinite(f.downwardFlux);
    keepFinite(f.upwardFlux);
    if (f.zonalFlux)
        keepFinite(f.zonalFlux, std::all_of(f.zonalFlux->begin(), f.zonalFlux->end(),
                                            [](double z) { return std::isfinite(z); }));
    if (f.peak) keepFinite(f.peak, std::isfinite(f.peak->cd));
    for (Figure<double>& n : f.cieFluxCode)
        keepFinite(n);
    // Beams of overflowing values cross at no finite angle.
    for (PairFigures& p : f.pairs)
        for (Figure<SpreadAngle>* s : {&p.beam, &p.field})
            if (*s) keepFinite(*s, std::isfinite((*s)->degrees));
    for (Figure<SpreadAngle>* s : {&f.beamH, &f.beamV, &f.fieldH, &f.fieldV})
        if (*s) keepFinite(*s, std::isfinite((*s)->degrees));

    if (!f.lampFlux)
        f.lorPercent = Figure<double>::absent(f.lampFlux.reason);
    else if (!f.totalFlux)
        f.lorPercent = Figure<double>::absent(f.totalFlux.reason);
    else
        f.lorPercent.set(100 * *f.totalFlux / *f.lampFlux);
    if (!(in.inputWatts > 0))
        f.efficacy = Figure<double>::absent(why::kNoWatts);
    else if (!f.totalFlux)
        f.efficacy = Figure<double>::absent(f.totalFlux.reason);
    else
        f.efficacy.set(*f.totalFlux / in.inputWatts);
    keepFinite(f.lorPercent);
    keepFinite(f.efficacy);
    return f;
}

PhotometryInput photometryInput(const IesRecord& r) {
    PhotometryInput in;
    const LampData& d = r.OtherData;
    in.photometricType = d.photometricType;
    in.vertAngles = r.VertAngles.values();
    in.horAngles = r.HorAngles.values();
    in.candela = &r.Candela;
    in.multiplier = d.multiplier;
    in.numLamps = d.numLamps;
    in.lumensPerLamp = d.lumensPerLamp;
    in.inputWatts = d.inputWatts;
    return in;
}

double lampCountValue(std::string_view text) {
    // A 16-bit count, as the record keeps it.
    try {
        return isNumeric(text) ? static_cast<double>(toInt16(text)) : kNaN;
    } catch (...) {
        return kNaN;
    }
}

double lampFieldValue(std::string_view text) {
    // As the record will keep it once saved: a 32-bit float.
    try {
        return isNumeric(text) ? static_cast<double>(toSingle(text)) : kNaN;
    } catch (...) {
        return kNaN;  // beyond the range of a float
    }
}

PhotometryInput photometryInput(const EditorState& form) {
    PhotometryInput in;
    in.photometricType = form.photometricType;
    const auto& vert = form.vertAngles.values();
    const auto& horz = form.horAngles.values();
    const int nv = std::clamp(form.numVert, 0, static_cast<int>(vert.size()));
    const int nh = std::clamp(form.numHorz, 0, static_cast<int>(horz.size()));
    in.vertAngles = std::span<const float>(vert).first(static_cast<std::size_t>(nv));
    in.horAngles = std::span<const float>(horz).first(static_cast<std::size_t>(nh));
    in.candela = &form.candela;
    // The editor holds every type but C highest vertical angle first.
    in.vertReversed = form.photometricType != 1;
    in.multiplier = lampFieldValue(form.txtMultiplier);
    in.numLamps = lampCountValue(form.txtNumLamps);
    in.lumensPerLamp = lampFieldValue(form.txtLumPerLamp);
    in.inputWatts = lampFieldValue(form.txtWatt);
    return in;
}

Figure<double> totalFlux(const IesRecord& record) {
    return computePhotometry(photometryInput(record)).totalFlux;
}

// ---- Shown ----

namespace {

std::string fixed(double value, int decimals) {
    char buffer[400];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value,
                                      std::chars_format::fixed, std::clamp(decimals, 0, 20));
    std::string text(buffer, result.ec == std::errc() ? result.ptr : buffer);
    // A tiny negative value rounds to zero without its sign.
    if (text.starts_with('-') && text.find_first_not_of("-0.") == std::string::npos)
        text.erase(0, 1);
    return text;
}

}  // namespace

std::string formatFigure(double value) {
    if (value == 0 || !std::isfinite(value)) return fixed(value, 0);
    const int magnitude = static_cast<int>(std::floor(std::log10(std::fabs(value))));
    if (magnitude <= 3) return fixed(value, 3 - magnitude);
    const double unit = std::pow(10.0, magnitude - 3);  // the last digit shown
    return fixed(std::round(value / unit) * unit, 0);
}

std::string formatAngle(double degrees) {
    return fixed(degrees, 1) + "\xC2\xB0";
}

std::string formatSpread(const SpreadAngle& spread) {
    return (spread.lowerBound ? "\xE2\x89\xA5 " : "") + formatAngle(spread.degrees);
}

std::string formatPercent(double percent) {
    return fixed(percent, 1) + " %";
}

std::string formatCieFluxCode(const std::array<Figure<double>, 5>& code) {
    std::string out;
    for (const Figure<double>& n : code) {
        if (!out.empty()) out += ' ';
        out += n ? fixed(std::floor(*n + 0.5), 0) : "-";
    }
    return out;
}

std::vector<std::pair<std::string, std::string>> photometrySummary(const Photometry& f,
                                                                   int photometricType) {
    std::vector<std::pair<std::string, std::string>> rows;
    for (std::string_view whole : {why::kNotRead, why::kTypeA, why::kUnknownType})
        if (f.lampFlux.reason == whole) return {{"Figures", "(" + std::string(whole) + ")"}};
    const auto add = [&rows](std::string label, const auto& figure, const auto& show) {
        // A figure that the photometric type does not have is left out, not listed as absent.
        if (!figure && (figure.reason == why::kTypeB || figure.reason == why::kTypeC)) return;
        rows.emplace_back(std::move(label),
                          figure ? show(*figure) : "(" + std::string(figure.reason) + ")");
    };
    const auto lumens = [](double lm) { return formatFigure(lm) + " lm"; };
    const auto share = [&f](double lm) {
        std::string text = formatFigure(lm) + " lm";
        if (f.totalFlux && *f.totalFlux > 0)
            text += " (" + formatPercent(100 * lm / *f.totalFlux) + ")";
        return text;
    };
    const bool typeC = photometricType == 1;
    add("Total flux", f.totalFlux, lumens);
    add("Downward flux", f.downwardFlux, share);
    add("Upward flux", f.upwardFlux, share);
    add("Lamp flux", f.lampFlux, lumens);
    add("LOR", f.lorPercent, [](double p) { return formatPercent(p); });
    add("Efficacy", f.efficacy, [](double e) { return formatFigure(e) + " lm/W"; });
    add("Peak intensity", f.peak, [typeC](const PeakIntensity& p) {
        return formatFigure(p.cd) + " cd at " + (typeC ? "C " : "H ") + formatAngle(p.h) +
               (typeC ? ", \xCE\xB3 " : ", V ") + formatAngle(p.v);
    });
    if (f.cieFluxCode[0] || f.cieFluxCode[0].reason != why::kTypeB) {
        rows.emplace_back("CIE flux code", f.cieFluxCode[0]
                                               ? formatCieFluxCode(f.cieFluxCode)
                                               : "(" + std::string(f.cieFluxCode[0].reason) + ")");
    }
    for (std::size_t p = 0; p < f.pairs.size(); ++p) {
        const std::string pair(kPairNames[p]);
        const PairFigures& figures = f.pairs[p];
        const auto withBatwing = [&figures](const SpreadAngle& s) {
            return formatSpread(s) + (figures.batwing && *figures.batwing ? " (batwing)" : "");
        };
        add("Beam " + pair, figures.beam, withBatwing);
        add("Field " + pair, figures.field, [](const SpreadAngle& s) { return formatSpread(s); });
    }
    const auto spread = [](const SpreadAngle& s) { return formatSpread(s); };
    add("Beam spread H", f.beamH, spread);
    add("Beam spread V", f.beamV, spread);
    add("Field spread H", f.fieldH, spread);
    add("Field spread V", f.fieldV, spread);
    add("Zonal flux", f.zonalFlux, [](const std::array<double, kZoneCount>& zones) {
        std::string text;
        for (int z = 0; z < kZoneCount; ++z) {
            if (z > 0) text += z % 6 == 0 ? "\n" : "  ";
            text += std::to_string(10 * z) + "-" + std::to_string(10 * z + 10) + ": " +
                    formatFigure(zones[static_cast<std::size_t>(z)]);
        }
        return text + " lm";
    });
    return rows;
}

}  // namespace kandor
