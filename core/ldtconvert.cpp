#include "core/ldtconvert.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <utility>

#include "core/editorstate.h"
#include "core/ldtreader.h"
#include "core/ldtwriter.h"
#include "core/numforms.h"
#include "core/shapes.h"

namespace kandor {
namespace {

namespace msg = ldtconvert_msg;
namespace code = ldtconvert_code;
namespace kw = ldt_keyword;

constexpr double kPi = 3.14159265358979323846;
constexpr double kMmPerFoot = 304.8;
constexpr double kAngleTolerance = 1e-6;
constexpr int kMaxAngles = std::numeric_limits<std::int16_t>::max();  // LM-63's counts
constexpr std::string_view kFormatLine = "IESNA:LM-63-2002";

std::string concat(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (std::string_view part : parts)
        text += part;
    return text;
}

template <class Values>
std::string numberList(const Values& values) {
    std::string text;
    for (double v : values) {
        if (!text.empty()) text += ' ';
        text += ldtNumberText(v);
    }
    return text;
}
std::string numberList(std::initializer_list<double> values) {
    return numberList<std::initializer_list<double>>(values);
}

// An angle without the noise that subtracting from 180 or 360 leaves, in [0, 360).
double circleAngle(double degrees) {
    double a = std::fmod(degrees, 360.0);
    if (a < 0) a += 360.0;
    a = std::round(a * 1e9) / 1e9;
    return a >= 360.0 || a == 0 ? 0.0 : a;
}

// A 32-bit float of a value, the largest one where the value is beyond them.
float single(double value) {
    constexpr double kMax = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(value, -kMax, kMax));
}

// A whole number of a keyword, or `fallback` for one that is not a modest whole number.
int whole(double value, int fallback) {
    return std::fabs(value) <= 1e9 && value == std::nearbyint(value) ? static_cast<int>(value)
                                                                     : fallback;
}

bool sameAngle(double a, double b) {
    return std::fabs(a - b) < kAngleTolerance;
}

bool sameValue(double a, double b, double relative) {
    return std::fabs(a - b) <= relative * std::max(std::fabs(a), std::fabs(b)) + 1e-12;
}

// The step of evenly spaced values, 0 when they are not (or fewer than two).
double evenStep(const std::vector<double>& values) {
    if (values.size() < 2) return 0;
    const double step = values[1] - values[0];
    for (std::size_t k = 1; k < values.size(); ++k)
        if (std::fabs(values[k] - values[k - 1] - step) > kAngleTolerance) return 0;
    return std::round(step * 1e9) / 1e9;
}

// ---- keyword lines -----------------------------------------------------------------------

std::string keywordLine(std::string_view keyword, std::string_view text) {
    std::string line(keyword);
    if (!text.empty()) {
        line += ' ';
        line += text;
    }
    return line;
}

// "TEST" for "[TEST] x"; empty for a line that does not begin with a bracketed keyword.
std::string_view keywordName(std::string_view line) {
    if (!line.starts_with('[')) return {};
    const std::size_t close = line.find(']');
    return close == std::string_view::npos ? std::string_view{} : line.substr(1, close - 1);
}

std::string_view keywordText(std::string_view line) {
    std::string_view text = line.substr(line.find(']') + 1);
    if (text.starts_with(' ')) text.remove_prefix(1);
    return text;
}

bool isMarkerAt(std::string_view line, std::size_t p) {
    if (line[p] != '[' || (p > 0 && line[p - 1] != ' ')) return false;
    std::size_t q = p + 1;
    while (q < line.size() && ((line[q] >= 'A' && line[q] <= 'Z') ||
                               (line[q] >= '0' && line[q] <= '9') || line[q] == '_'))
        ++q;
    return q > p + 1 && q < line.size() && line[q] == ']';
}

// The date/user line split into its own text and the LM-63 keyword lines appended to it,
// each after one blank: "2024-01-05 [TESTLAB] ACME [MORE] x" gives "2024-01-05",
// "[TESTLAB] ACME", "[MORE] x".
std::vector<std::string_view> splitDateLine(std::string_view line) {
    std::vector<std::size_t> marks;
    for (std::size_t p = 0; p < line.size(); ++p)
        if (isMarkerAt(line, p)) marks.push_back(p);
    marks.push_back(line.size());
    std::vector<std::string_view> parts;
    std::size_t from = 0;
    for (std::size_t m : marks) {
        std::size_t to = m;
        if (m < line.size() && m > 0) --to;  // the blank before a marker
        parts.push_back(line.substr(from, to >= from ? to - from : 0));
        from = m;
    }
    return parts;
}

std::string joinDateLine(std::string_view own, const std::vector<std::string>& extras) {
    std::string line(own);
    for (const std::string& extra : extras) {
        if (!line.empty()) line += ' ';
        line += extra;
    }
    return line;
}

std::vector<double> numbersOf(std::string_view text) {
    std::vector<double> values;
    std::size_t p = 0;
    while (p < text.size()) {
        while (p < text.size() && text[p] == ' ')
            ++p;
        std::size_t q = p;
        while (q < text.size() && text[q] != ' ')
            ++q;
        double v = 0;
        if (q > p && parseLdtNumber(text.substr(p, q - p), v)) values.push_back(v);
        p = q;
    }
    return values;
}

// ---- the EULUMDAT fields an LM-63 record cannot hold -------------------------------------

// What the original record and the [_LDT_...] keywords say about them; unset when neither does.
struct Carried {
    std::optional<int> rotation;
    std::optional<int> ityp;
    std::optional<std::string> fileName;
    std::optional<std::array<double, 3>> luminaire;
    std::optional<std::array<double, 6>> luminous;
    std::optional<double> dff, lorl;
    bool ratiosFromOriginal = false;  // dff and lorl hold only while the table is unchanged
    std::optional<double> tilt;
    std::optional<std::array<double, 10>> directRatios;
    std::optional<std::array<double, 5>> grid;  // Isym Mc Dc Ng Dg
    std::vector<double> cAngles;                // the original's, when there is one
    std::vector<double> gammaAngles;
    std::vector<double> intensities;
    std::vector<double> padded;
    std::vector<LdtLampSet> sets;
    bool set1Known = false;  // lamps and flux of set 1
    std::string trailingText;
};

Carried fromOriginal(const LdtRecord& o) {
    Carried c;
    c.ityp = o.ityp;
    c.fileName = o.fileName;
    c.luminaire = {o.length, o.width, o.height};
    c.luminous = {o.luminousLength,     o.luminousWidth,      o.luminousHeights[0],
                  o.luminousHeights[1], o.luminousHeights[2], o.luminousHeights[3]};
    c.dff = o.dff;
    c.lorl = o.lorl;
    c.ratiosFromOriginal = true;
    c.tilt = o.tilt;
    c.directRatios = o.directRatios;
    c.grid = {static_cast<double>(o.isym), static_cast<double>(o.mc), o.dc,
              static_cast<double>(o.ng), o.dg};
    c.cAngles = o.cAngles;
    c.gammaAngles = o.gammaAngles;
    c.intensities = o.intensities;
    c.sets = o.lampSets;
    c.set1Known = !o.lampSets.empty();
    c.trailingText = o.trailingText;
    return c;
}

template <std::size_t N>
std::optional<std::array<double, N>> fixedNumbers(std::string_view text) {
    const std::vector<double> values = numbersOf(text);
    if (values.size() != N) return std::nullopt;
    std::array<double, N> out{};
    std::copy(values.begin(), values.end(), out.begin());
    return out;
}

// Takes one [_LDT_...] line into `c`; lines it does not know are left alone.
void takeLdtKeyword(std::string_view line, Carried& c) {
    const std::string_view name = keywordName(line);
    const std::string_view text = keywordText(line);
    const std::vector<double> values = numbersOf(text);
    const auto one = [&](std::optional<double>& out) {
        if (values.size() == 1) out = values[0];
    };
    const std::string full = concat({"[", name, "]"});
    if (full == kw::kRotation && values.size() == 1) {
        c.rotation = values[0] == 90 ? 90 : 0;
    } else if (full == kw::kType && values.size() == 1) {
        c.ityp = whole(values[0], 0);
    } else if (full == kw::kFileName) {
        c.fileName = std::string(text);
    } else if (full == kw::kLuminaire) {
        if (auto v = fixedNumbers<3>(text)) c.luminaire = v;
    } else if (full == kw::kLuminous) {
        if (auto v = fixedNumbers<6>(text)) c.luminous = v;
    } else if (full == kw::kDff) {
        one(c.dff);
        c.ratiosFromOriginal = false;
    } else if (full == kw::kLorl) {
        one(c.lorl);
        c.ratiosFromOriginal = false;
    } else if (full == kw::kTilt) {
        one(c.tilt);
    } else if (full == kw::kDirectRatios) {
        if (auto v = fixedNumbers<10>(text)) c.directRatios = v;
    } else if (full == kw::kGrid) {
        if (auto v = fixedNumbers<5>(text)) c.grid = v;
    } else if (full == kw::kPadded) {
        c.padded = values;
    } else if (full.starts_with(kw::kSetPrefix)) {
        // [_LDT_SETn_FIELD]
        std::string_view rest = name.substr(kw::kSetPrefix.size() - 1);
        int n = 0;
        const auto res = std::from_chars(rest.data(), rest.data() + rest.size(), n);
        if (res.ec != std::errc() || n < 1 || n > 1000 || res.ptr == rest.data() + rest.size() ||
            *res.ptr != '_')
            return;
        const std::string_view field =
            rest.substr(static_cast<std::size_t>(res.ptr - rest.data()) + 1);
        if (c.sets.size() < static_cast<std::size_t>(n)) c.sets.resize(static_cast<std::size_t>(n));
        LdtLampSet& set = c.sets[static_cast<std::size_t>(n - 1)];
        if (field == "LAMPS" && values.size() == 1) {
            set.numLamps = whole(values[0], 0);
            if (n == 1) c.set1Known = true;
        } else if (field == "FLUX" && values.size() == 1) {
            set.flux = values[0];
            if (n == 1) c.set1Known = true;
        } else if (field == "TYPE") {
            set.type = text;
        } else if (field == "COLOUR") {
            set.colour = text;
        } else if (field == "RENDERING") {
            set.rendering = text;
        } else if (field == "WATTS" && values.size() == 1) {
            set.watts = values[0];
        }
    }
}

// ---- symmetry and planes -----------------------------------------------------------------

// The horizontal ranges LM-63 (and the photometric expansion) know.
enum class Range { Single, Quadrant, HalfC0, HalfC90, Full };

// The LM-63 horizontal angle an EULUMDAT plane at C lands on, folded into the range by the
// range's own symmetry.
double foldIntoRange(Range range, double h) {
    h = circleAngle(h);
    switch (range) {
        case Range::Single:
            return 0;
        case Range::Quadrant: {
            double x = std::fmod(h, 180.0);
            return x > 90 ? circleAngle(180 - x) : x;
        }
        case Range::HalfC0:
            return h > 180 ? circleAngle(360 - h) : h;
        case Range::HalfC90:
            if (h < 90) return circleAngle(180 - h);
            if (h > 270) return circleAngle(540 - h);
            return h;
        case Range::Full:
            return h;
    }
    return h;
}

// The LM-63 range of an EULUMDAT symmetry, and back.
Range rangeOf(int isym, int rotation) {
    switch (isym) {
        case 1:
            return Range::Single;
        case 2:
            return rotation == 90 ? Range::HalfC90 : Range::HalfC0;
        case 3:
            return rotation == 90 ? Range::HalfC0 : Range::HalfC90;
        case 4:
            return Range::Quadrant;
        default:
            return Range::Full;
    }
}

int symmetryOf(Range range, int rotation) {
    switch (range) {
        case Range::Single:
            return 1;
        case Range::Quadrant:
            return 4;
        case Range::HalfC0:
            return rotation == 90 ? 3 : 2;
        case Range::HalfC90:
            return rotation == 90 ? 2 : 3;
        case Range::Full:
            return 0;
    }
    return 0;
}

// The stored plane (0-based) that holds the plane at position k of the whole circle, by the
// positions the symmetry stores.
int storedPlaneAt(int isym, int mc, int k) {
    switch (isym) {
        case 1:
            return 0;
        case 2:
            return k <= mc / 2 ? k : mc - k;
        case 3: {
            const int off = ((k - 3 * mc / 4) % mc + mc) % mc;
            if (off <= mc / 2) return off;
            return ((mc / 2 - k - 3 * mc / 4) % mc + 2 * mc) % mc;
        }
        case 4: {
            const int m = k % (mc / 2);
            return m <= mc / 4 ? m : mc / 2 - m;
        }
        default:
            return k;
    }
}

// ---- luminous area -----------------------------------------------------------------------

struct LuminousArea {
    double length = 0;  // mm, or the diameter when width is 0
    double width = 0;
    double height = 0;  // the largest of the four heights
};

// LM-63's width, length and height in metres for a luminous area: a round area as the 2002
// circle (or vertical cylinder), a rectangle as the 2002 rectangle (or one with luminous
// sides), with the luminous length in the width slot unless the luminaire is turned.
LuminousDims iesDimsOf(const LuminousArea& a, int rotation) {
    const auto m = [](double mm) { return single(mm / 1000.0); };
    if (a.length == 0 && a.width == 0) return {0, 0, 0};
    if (a.width == 0) return {-m(a.length), -m(a.length), m(a.height)};
    if (rotation == 90) return {m(a.width), m(a.length), m(a.height)};
    return {m(a.length), m(a.width), m(a.height)};
}

// ---- flux --------------------------------------------------------------------------------

// The integral of I(g) sin g over [g1, g2] (degrees) for I linear between i1 and i2.
double zoneIntegral(double g1, double g2, double i1, double i2) {
    if (g2 <= g1) return 0;
    const double r1 = g1 * kPi / 180;
    const double r2 = g2 * kPi / 180;
    const double b = (i2 - i1) / (r2 - r1);
    const double a = i1 - b * r1;
    const auto f = [&](double g) { return -a * std::cos(g) + b * (std::sin(g) - g * std::cos(g)); };
    return f(r2) - f(r1);
}

struct PlaneFlux {
    double total = 0;
    double downward = 0;
};

PlaneFlux planeFlux(const std::vector<double>& gamma, const double* values) {
    PlaneFlux flux;
    for (std::size_t i = 1; i < gamma.size(); ++i) {
        const double g1 = gamma[i - 1], g2 = gamma[i];
        const double i1 = values[i - 1], i2 = values[i];
        flux.total += zoneIntegral(g1, g2, i1, i2);
        const double hi = std::min(g2, 90.0);
        if (hi > g1 && g2 > g1) {
            const double atHi = i1 + (i2 - i1) * (hi - g1) / (g2 - g1);
            flux.downward += zoneIntegral(g1, hi, i1, atHi);
        }
    }
    return flux;
}

}  // namespace

LdtFlux ldtFlux(const LdtRecord& ldt) {
    LdtFlux flux;
    if (!ldtConsistent(ldt)) return flux;
    const auto ng = static_cast<std::size_t>(ldt.ng);
    const auto plane = [&](int j) {
        return ldt.intensities.data() + static_cast<std::size_t>(j) * ng;
    };
    if (ldt.isym == 1 || ldt.mc == 1) {
        const PlaneFlux p = planeFlux(ldt.gammaAngles, plane(0));
        return {2 * kPi * p.total, 2 * kPi * p.downward};
    }
    const std::vector<double>& c = ldt.cAngles;
    for (int k = 0; k < ldt.mc; ++k) {
        const auto ku = static_cast<std::size_t>(k);
        const double next = ku + 1 < c.size() ? c[ku + 1] : c[0] + 360;
        const double prev = ku > 0 ? c[ku - 1] : c.back() - 360;
        const double weight = (next - prev) / 2 * kPi / 180;
        const PlaneFlux p = planeFlux(ldt.gammaAngles, plane(storedPlaneAt(ldt.isym, ldt.mc, k)));
        flux.total += weight * p.total;
        flux.downward += weight * p.downward;
    }
    return flux;
}

LdtToIesResult ldtToIes(const LdtRecord& ldt, const LdtToIesOptions& options) {
    LdtToIesResult result;
    std::vector<LdtFinding>& findings = result.findings;
    if (!ldtConsistent(ldt)) {
        findings.push_back({code::kIncomplete, 0, kLdtUnusable, std::string(msg::kIncomplete)});
        result.status = kLdtUnusable;
        return result;
    }
    const int rotation = options.quarterTurn ? 90 : 0;
    IesRecord& r = result.record;

    // Descriptive lines: the date/user line may carry LM-63 keyword lines of an earlier export.
    const std::vector<std::string_view> dateParts = splitDateLine(ldt.dateUser);
    std::string testLab = "[TESTLAB]";
    bool testLabFound = false;
    std::vector<std::string> extras;
    for (std::size_t i = 1; i < dateParts.size(); ++i) {
        if (keywordName(dateParts[i]) == "TESTLAB" && !testLabFound) {
            testLab = dateParts[i];
            testLabFound = true;
        } else {
            extras.emplace_back(dateParts[i]);
        }
    }
    const LdtLampSet set1 = ldt.lampSets.empty() ? LdtLampSet{} : ldt.lampSets.front();
    for (std::string line :
         {std::string(kFormatLine), keywordLine("[TEST]", ldt.report), testLab,
          keywordLine("[ISSUEDATE]", dateParts[0]), keywordLine("[MANUFAC]", ldt.company),
          keywordLine("[LUMCAT]", ldt.luminaireNumber),
          keywordLine("[LUMINAIRE]", ldt.luminaireName)})
        r.Keywords.append(std::move(line));
    if (!set1.type.empty()) r.Keywords.append(keywordLine("[LAMP]", set1.type));
    for (std::string& line : extras)
        r.Keywords.append(std::move(line));

    // Candela = cd/klm x flux / 1000: the cd/klm values stay as they are and the multiplier
    // carries the flux (and the conversion factor), so that no value is rounded on the way.
    LampData& d = r.OtherData;
    const bool absolute = set1.numLamps < 0;
    const double flux = set1.flux;
    d.numLamps = static_cast<std::int16_t>(absolute ? 1 : std::clamp(set1.numLamps, -32768, 32767));
    d.lumensPerLamp = absolute ? -1.0f : single(set1.numLamps > 0 ? flux / set1.numLamps : flux);
    d.multiplier = single(ldt.conversionFactor * (flux > 0 ? flux / 1000.0 : 1.0));
    if (flux <= 0) findings.push_back({code::kNoFlux, 0, kLdtRepaired, std::string(msg::kNoFlux)});
    if (ldt.lampSets.size() > 1)
        findings.push_back({code::kLampSets, 0, kLdtClean,
                            concat({std::to_string(ldt.lampSets.size()), msg::kLampSets})});
    if (ldt.conversionFactor != 1)
        findings.push_back({code::kConversionFactor, 0, kLdtClean,
                            concat({msg::kConversionFactor, ldtNumberText(ldt.conversionFactor)})});
    d.photometricType = 1;
    d.unitsType = kUnitsMetres;
    const LuminousArea area{
        ldt.luminousLength, ldt.luminousWidth,
        *std::max_element(ldt.luminousHeights.begin(), ldt.luminousHeights.end())};
    const LuminousDims dims = iesDimsOf(area, rotation);
    d.width = dims.width;
    d.length = dims.length;
    d.height = dims.height;
    d.ballastFactor = 1;
    d.inputWatts = single(set1.watts);

    // Vertical angles: gamma as it is, padded with zero rows to where LM-63 lets a Type C
    // table begin and end.
    std::vector<double> gamma = ldt.gammaAngles;
    std::vector<double> padded;
    std::size_t lead = 0;
    if (gamma.size() > 1) {
        const double first = gamma.front(), last = gamma.back();
        if (first != 0 && first != 90 && first > 0 && first < 180) {
            padded.push_back(first < 90 ? 0 : 90);
            gamma.insert(gamma.begin(), padded.back());
            lead = 1;
        }
        if (last != 90 && last != 180 && last < 180 && last > gamma.front()) {
            padded.push_back(last < 90 ? 90 : 180);
            gamma.push_back(padded.back());
        }
    }
    if (!padded.empty())
        findings.push_back(
            {code::kPadded, 0, kLdtClean, concat({msg::kPadded, numberList(padded)})});

    // Horizontal angles: each stored plane where its symmetry puts it in LM-63's range, in
    // ascending order; a full circle closes with a copy of its 0 plane at 360.
    const int planes = ldtStoredPlanes(ldt.isym, ldt.mc);
    const Range range = rangeOf(ldt.isym, rotation);
    std::vector<std::pair<double, int>> order;  // (H, stored plane)
    for (int j = 0; j < planes; ++j) {
        const double c = ldtStoredAngle(ldt, j);
        double h = 0;
        if (ldt.isym == 3 && rotation == 0)
            h = 180 - c;
        else if (ldt.isym == 4 && rotation == 90)
            h = 90 - c;
        else if (ldt.isym != 1)
            h = c + rotation;
        order.emplace_back(circleAngle(h), j);
    }
    std::stable_sort(order.begin(), order.end());
    if (range == Range::Full && order.size() > 1 && order.front().first == 0)
        order.emplace_back(360.0, order.front().second);

    const int numV = static_cast<int>(gamma.size());
    const int numH = static_cast<int>(order.size());
    if (numV > kMaxAngles || numH > kMaxAngles) {
        findings.push_back(
            {code::kTooManyAngles, 0, kLdtUnusable, std::string(msg::kTooManyAngles)});
        result.status = kLdtUnusable;
        result.record = IesRecord{};
        return result;
    }
    r.resizeGrid(numV, numH);
    for (int v = 1; v <= numV; ++v)
        r.VertAngles(v) = single(gamma[static_cast<std::size_t>(v - 1)]);
    const auto ng = static_cast<std::size_t>(ldt.ng);
    for (int h = 1; h <= numH; ++h) {
        const auto& [angle, j] = order[static_cast<std::size_t>(h - 1)];
        r.HorAngles(h) = single(angle);
        const double* row = ldt.intensities.data() + static_cast<std::size_t>(j) * ng;
        for (std::size_t g = 0; g < ng; ++g)
            r.Candela(h, static_cast<int>(g + lead) + 1) = row[g];
    }

    if (options.ldtKeywords) {
        const auto& h = ldt.luminousHeights;
        for (std::string line :
             {keywordLine(kw::kRotation, std::to_string(rotation)),
              keywordLine(kw::kType, std::to_string(ldt.ityp)),
              keywordLine(kw::kFileName, ldt.fileName),
              keywordLine(kw::kLuminaire, numberList({ldt.length, ldt.width, ldt.height})),
              keywordLine(kw::kLuminous, numberList({ldt.luminousLength, ldt.luminousWidth, h[0],
                                                     h[1], h[2], h[3]})),
              keywordLine(kw::kDff, ldtNumberText(ldt.dff)),
              keywordLine(kw::kLorl, ldtNumberText(ldt.lorl)),
              keywordLine(kw::kTilt, ldtNumberText(ldt.tilt)),
              keywordLine(kw::kDirectRatios, numberList(ldt.directRatios)),
              keywordLine(kw::kGrid,
                          numberList({static_cast<double>(ldt.isym), static_cast<double>(ldt.mc),
                                      ldt.dc, static_cast<double>(ldt.ng), ldt.dg}))})
            r.Keywords.append(std::move(line));
        if (!padded.empty()) r.Keywords.append(keywordLine(kw::kPadded, numberList(padded)));
        for (std::size_t s = 0; s < ldt.lampSets.size(); ++s) {
            const LdtLampSet& set = ldt.lampSets[s];
            const std::string prefix = concat({kw::kSetPrefix, std::to_string(s + 1), "_"});
            const auto add = [&](std::string_view field, std::string_view text) {
                r.Keywords.append(keywordLine(concat({prefix, field, "]"}), text));
            };
            add("LAMPS", std::to_string(set.numLamps));
            add("FLUX", ldtNumberText(set.flux));
            if (s > 0) add("TYPE", set.type);
            add("COLOUR", set.colour);
            add("RENDERING", set.rendering);
            if (s > 0) add("WATTS", ldtNumberText(set.watts));
        }
    }
    result.status = ldtWorstStatus(findings);
    return result;
}

IesToLdtResult iesToLdt(const IesRecord& ies, const LdtRecord* original,
                        const IesToLdtOptions& options) {
    IesToLdtResult result;
    std::vector<LdtFinding>& findings = result.findings;
    const auto refuse = [&](int c, std::string text) {
        findings.push_back({c, 0, kLdtUnusable, std::move(text)});
        result.status = kLdtUnusable;
        return result;
    };
    const LampData& d = ies.OtherData;
    if (d.photometricType != 1) return refuse(code::kNotTypeC, std::string(msg::kNotTypeC));
    const int numV = d.numVertAngles, numH = d.numHorzAngles;
    if (numV < 1 || numH < 1 || ies.VertAngles.ubound() != numV || ies.HorAngles.ubound() != numH ||
        ies.Candela.rows() != numH || ies.Candela.cols() != numV)
        return refuse(code::kIncomplete, std::string(msg::kIncomplete));

    Carried carried = original != nullptr ? fromOriginal(*original) : Carried{};
    LdtRecord& out = result.record;

    // Descriptive lines: the mapped keywords to their lines, the rest after the date.
    std::optional<std::string> manufac, test, luminaire, lumcat, issueDate, date, lamp;
    std::vector<std::string> extras;
    for (int i = 1; i <= ies.Keywords.ubound(); ++i) {
        const std::string& line = ies.Keywords(i);
        if (line.empty()) continue;
        if (i == 1 && (line.starts_with("IESNA") || line.starts_with("IES:"))) continue;
        if (line.starts_with(kw::kPrefix)) {
            takeLdtKeyword(line, carried);
            continue;
        }
        const std::string_view name = keywordName(line);
        const std::string text(name.empty() ? std::string_view{} : keywordText(line));
        std::optional<std::string>* slot = nullptr;
        if (name == "MANUFAC") slot = &manufac;
        if (name == "TEST") slot = &test;
        if (name == "LUMINAIRE") slot = &luminaire;
        if (name == "LUMCAT") slot = &lumcat;
        if (name == "ISSUEDATE") slot = &issueDate;
        if (name == "DATE") slot = &date;
        if (name == "LAMP") slot = &lamp;
        if (slot != nullptr && !slot->has_value()) {
            *slot = text;
        } else if (!(name == "TESTLAB" && text.empty())) {
            extras.push_back(line);
        }
    }
    if (issueDate && date) extras.insert(extras.begin(), keywordLine("[DATE]", *date));
    out.company = manufac.value_or("");
    out.report = test.value_or("");
    out.luminaireName = luminaire.value_or("");
    out.luminaireNumber = lumcat.value_or("");
    out.dateUser = joinDateLine(issueDate ? *issueDate : date.value_or(""), extras);
    out.fileName = carried.fileName.value_or(options.fileName);
    for (const auto& [label, text] :
         {std::pair<std::string_view, const std::string*>{"The company line", &out.company},
          {"The report line", &out.report},
          {"The luminaire name", &out.luminaireName},
          {"The luminaire number", &out.luminaireNumber},
          {"The date and user line", &out.dateUser}})
        if (text->size() > kLdtNominalTextWidth)
            findings.push_back(
                {code::kLongText, 0, kLdtClean, concat({label, msg::kLongText, *text})});
    if (ies.TiltIncl)
        findings.push_back({code::kTiltLost, 0, kLdtRepaired, std::string(msg::kTiltLost)});
    if (d.ballastFactor != 1)
        findings.push_back(
            {code::kBallastLost, 0, kLdtRepaired,
             concat({msg::kBallastLost, ldtNumberText(shortestDecimal(d.ballastFactor))})});
    if (!ies.OptionalData.empty())
        findings.push_back({code::kOptionalLost, 0, kLdtRepaired, std::string(msg::kOptionalLost)});

    const int rotation =
        options.quarterTurn ? (*options.quarterTurn ? 90 : 0) : carried.rotation.value_or(0);

    // The range of the horizontal angles decides the symmetry.
    std::vector<double> hor(static_cast<std::size_t>(numH));
    for (int h = 1; h <= numH; ++h)
        hor[static_cast<std::size_t>(h - 1)] = shortestDecimal(ies.HorAngles(h));
    for (std::size_t k = 1; k < hor.size(); ++k)
        if (hor[k] <= hor[k - 1]) return refuse(code::kBadAngles, std::string(msg::kBadAngles));
    std::optional<Range> range;
    bool closing = false;
    const double firstH = hor.front(), lastH = hor.back();
    if (numH == 1) {
        range = Range::Single;
    } else if (firstH == 0 && lastH == 90) {
        range = Range::Quadrant;
    } else if (firstH == 0 && lastH == 180) {
        range = Range::HalfC0;
    } else if (firstH == 90 && lastH == 270) {
        range = Range::HalfC90;
    } else if (firstH == 0 && lastH == 360) {
        range = Range::Full;
        closing = true;
    } else if (firstH == 0 && lastH < 360 && evenStep(hor) > 0 &&
               sameAngle(lastH + evenStep(hor), 360)) {
        range = Range::Full;  // a full circle written without its closing plane
    }
    if (!range)
        return refuse(code::kNoSymmetry, concat({msg::kNoSymmetry, ldtNumberText(firstH), msg::kTo,
                                                 ldtNumberText(lastH)}));
    if (closing) {
        for (int v = 1; v <= numV; ++v)
            if (ies.Candela(numH, v) != ies.Candela(1, v)) {
                findings.push_back(
                    {code::k360Differs, 0, kLdtRepaired, std::string(msg::k360Differs)});
                break;
            }
        hor.pop_back();
    }

    // The whole circle of C angles: the planes LM-63's symmetry implies, turned back.
    std::vector<double> circle;
    int isym = symmetryOf(*range, rotation);
    if (*range == Range::Single) {
        // One plane stands for every C plane; the list of C angles is kept as it was stated.
        const int statedMc = carried.grid ? whole((*carried.grid)[1], 1) : 1;
        if (statedMc > 0 && carried.cAngles.size() == static_cast<std::size_t>(statedMc)) {
            circle = carried.cAngles;
        } else if (statedMc > 1 && statedMc <= 3600) {
            const double step = (*carried.grid)[2] > 0 ? (*carried.grid)[2] : 360.0 / statedMc;
            for (int k = 0; k < statedMc; ++k)
                circle.push_back(circleAngle(k * step));
        } else {
            circle = {0};
        }
    } else {
        for (double h : hor) {
            std::vector<double> images = {h};
            if (*range == Range::Quadrant) images = {h, 180 - h, 180 + h, 360 - h};
            if (*range == Range::HalfC0) images = {h, 360 - h};
            if (*range == Range::HalfC90) images = {h, 180 - h};
            for (double image : images)
                circle.push_back(circleAngle(image - rotation));
        }
        std::sort(circle.begin(), circle.end());
        circle.erase(std::unique(circle.begin(), circle.end(), sameAngle), circle.end());
    }
    const int mc = static_cast<int>(circle.size());

    // Which LM-63 plane each stored plane takes its values from; a symmetry whose positions
    // do not hold the planes LM-63 has falls back to storing the whole circle.
    const auto sourcesFor = [&](int symmetry) {
        std::vector<int> sources;
        const int planes = ldtStoredPlanes(symmetry, mc);
        if (planes < 0) return sources;
        std::vector<bool> used(hor.size(), false);
        const int first = ldtFirstStoredPosition(symmetry, mc);
        for (int j = 0; j < planes; ++j) {
            const double c = circle[static_cast<std::size_t>((first + j) % mc)];
            const double h =
                *range == Range::Single ? hor.front() : foldIntoRange(*range, c + rotation);
            // The angles rise, so the first not below h - tolerance is the only candidate.
            const auto at = std::lower_bound(hor.begin(), hor.end(), h - kAngleTolerance);
            if (at == hor.end() || !sameAngle(*at, h)) return std::vector<int>{};
            used[static_cast<std::size_t>(at - hor.begin())] = true;
            sources.push_back(static_cast<int>(at - hor.begin()) + 1);
        }
        if (std::find(used.begin(), used.end(), false) != used.end()) return std::vector<int>{};
        return sources;
    };
    // The symmetry as it was stated while it still fits the planes (a full circle of two
    // planes turned a quarter looks like a half circle, one plane like rotational symmetry).
    std::vector<int> sources;
    if (carried.grid) {
        const int stated = whole((*carried.grid)[0], 0);
        if (stated != isym && (*range != Range::Single || stated == 0)) {
            sources = sourcesFor(stated);
            if (!sources.empty()) isym = stated;
        }
    }
    if (sources.empty()) sources = sourcesFor(isym);
    if (sources.empty() && *range != Range::Single) {
        sources = sourcesFor(0);
        if (!sources.empty()) {
            isym = 0;
            findings.push_back({code::kAllPlanes, 0, kLdtClean, std::string(msg::kAllPlanes)});
        }
    }
    if (sources.empty())
        return refuse(code::kNoSymmetry, concat({msg::kNoSymmetry, ldtNumberText(firstH), msg::kTo,
                                                 ldtNumberText(lastH)}));

    // Vertical angles, without the rows an earlier conversion added for LM-63.
    std::vector<double> padded = carried.padded;
    if (original != nullptr)
        for (int v : {1, numV}) {
            const double g = shortestDecimal(ies.VertAngles(v));
            if (std::none_of(original->gammaAngles.begin(), original->gammaAngles.end(),
                             [&](double x) { return sameAngle(x, g); }))
                padded.push_back(g);
        }
    const auto dropRow = [&](int v) {
        const double g = shortestDecimal(ies.VertAngles(v));
        if (std::none_of(padded.begin(), padded.end(), [&](double p) { return sameAngle(p, g); }))
            return false;
        for (int h = 1; h <= numH; ++h)
            if (ies.Candela(h, v) != 0) return false;
        return true;
    };
    int firstV = 1, lastV = numV;
    if (numV > 1 && dropRow(firstV)) ++firstV;
    if (lastV > firstV && dropRow(lastV)) --lastV;
    std::vector<double> gamma;
    for (int v = firstV; v <= lastV; ++v)
        gamma.push_back(shortestDecimal(ies.VertAngles(v)));

    out.isym = isym;
    out.mc = mc;
    out.cAngles = circle;
    out.dc = mc > 1 && sameAngle(evenStep(circle) * mc, 360) ? evenStep(circle) : 0;
    out.ng = static_cast<int>(gamma.size());
    out.dg = evenStep(gamma);
    out.gammaAngles = gamma;
    if (carried.grid) {
        // Distances as they were stated (even where they do not match the angles) while the
        // angles are the same: the original's lists, or as many as the keyword says.
        const auto& g = *carried.grid;
        if (carried.cAngles.empty() ? g[1] == mc : carried.cAngles == circle) out.dc = g[2];
        if (carried.gammaAngles.empty() ? g[3] == out.ng : carried.gammaAngles == gamma)
            out.dg = g[4];
    }

    // Lamp set 1 from LM-63's numbers; the stated flux is kept while LM-63's agrees with it.
    const bool absolute = d.lumensPerLamp < 0;
    LdtLampSet set1 = carried.sets.empty() ? LdtLampSet{} : carried.sets.front();
    const bool carriedAbsolute = carried.set1Known && set1.numLamps < 0;
    double multiplier = shortestDecimal(d.multiplier);
    const auto storedValue = [&](int j, int v) {
        return ies.Candela(sources[static_cast<std::size_t>(j)], v);
    };
    out.intensities.reserve(sources.size() * gamma.size());
    for (std::size_t j = 0; j < sources.size(); ++j)
        for (int v = firstV; v <= lastV; ++v)
            out.intensities.push_back(storedValue(static_cast<int>(j), v));
    double flux = 0;
    if (absolute) {
        set1.numLamps = carriedAbsolute ? set1.numLamps : -1;
        if (carriedAbsolute && set1.flux > 0) {
            flux = set1.flux;
        } else {
            // Flux is linear in the intensities: the table's in candela is its own times the
            // multiplier.
            flux = roundSignificant(ldtFlux(out).total * multiplier, 6);
        }
    } else {
        set1.numLamps = d.numLamps;
        const double lmpFlux = d.numLamps * shortestDecimal(d.lumensPerLamp);
        flux = carried.set1Known && sameValue(set1.flux, lmpFlux, 1e-6)
                   ? set1.flux
                   : roundSignificant(lmpFlux, 7);
    }
    set1.flux = flux;
    set1.type = lamp.value_or("");
    set1.watts = shortestDecimal(d.inputWatts);
    // cd/klm = candela x multiplier x 1000 / flux; exactly the candela values when the
    // multiplier is the flux in klm, as it is for a record converted from EULUMDAT.
    const double scale = flux > 0 ? multiplier * 1000 / flux : multiplier;
    if (!sameValue(scale, 1, 1e-6))
        for (double& value : out.intensities)
            value = roundSignificant(value * scale, 6);
    out.lampSets = carried.sets.empty() ? std::vector<LdtLampSet>{set1} : carried.sets;
    out.lampSets.front() = set1;

    // The luminous area: kept as stated while LM-63's dimensions still say the same.
    const double toMm = d.unitsType == kUnitsFeet ? kMmPerFoot : 1000.0;
    // LM-63-2019 keeps the 2002 shapes.
    const std::string formatLine = ies.Keywords.empty() ? std::string() : ies.Keywords(1);
    const int revision = formatLine.find("LM-63-2019") != std::string_view::npos
                             ? kRevision2002
                             : revisionFromKeyword(formatLine);
    const std::int16_t shape = shapeFromDims(revision, storedDims(d));
    const double w = std::fabs(shortestDecimal(d.width)) * toMm;
    const double l = std::fabs(shortestDecimal(d.length)) * toMm;
    const double hgt = std::fabs(shortestDecimal(d.height)) * toMm;
    LuminousArea area;
    if (shape == 2 || shape == 3 || shape == 5) {
        // Round: a circle, a vertical cylinder, and a sphere as the cylinder around it.
        area = {w, 0, shape == 3 ? hgt : shape == 5 ? w : 0};
    } else if (shape != 0) {
        // A rectangle, or the box around a shape EULUMDAT has no form for: a horizontal
        // cylinder's diameter is in the height.
        const double across = shape == 7 && d.width == 0 ? hgt : w;  // along 90-270
        const double along = shape == 8 ? hgt : l;                   // along 0-180
        area = rotation == 90 ? LuminousArea{along, across, hgt} : LuminousArea{across, along, hgt};
    }
    if (shape != 0 && shape != 1 && shape != 2 && shape != 3 && shape != 9)
        findings.push_back(
            {code::kShape, 0, kLdtRepaired,
             concat({msg::kShape, kShapeNames[static_cast<std::size_t>(shape)], msg::kShapeTail})});
    area = {roundSignificant(area.length, 6), roundSignificant(area.width, 6),
            roundSignificant(area.height, 6)};
    out.luminousLength = area.length;
    out.luminousWidth = area.width;
    out.luminousHeights.fill(area.height);
    if (carried.luminous) {
        const auto& c = *carried.luminous;
        const LuminousArea was{c[0], c[1], std::max({c[2], c[3], c[4], c[5]})};
        if (sameValue(was.length, area.length, 1e-6) && sameValue(was.width, area.width, 1e-6) &&
            sameValue(was.height, area.height, 1e-6)) {
            out.luminousLength = c[0];
            out.luminousWidth = c[1];
            out.luminousHeights = {c[2], c[3], c[4], c[5]};
        }
    }
    if (carried.luminaire) {
        out.length = (*carried.luminaire)[0];
        out.width = (*carried.luminaire)[1];
        out.height = (*carried.luminaire)[2];
    } else {
        // The luminaire's own size is unknown: the luminous area's stands in for it.
        out.length = out.luminousLength;
        out.width = out.luminousWidth;
        out.height = area.height;
    }

    // Type indicator: kept, else a long luminaire is linear, one plane a point source.
    if (carried.ityp && *carried.ityp >= 1 && *carried.ityp <= 3) {
        out.ityp = *carried.ityp;
    } else {
        const double longer = std::max(out.luminousLength, out.luminousWidth);
        const double shorter = std::min(out.luminousLength, out.luminousWidth);
        out.ityp = out.luminousWidth > 0 && longer > 2 * shorter ? 2 : isym == 1 ? 1 : 3;
    }
    out.conversionFactor = 1;
    out.tilt = carried.tilt.value_or(0);
    out.directRatios = carried.directRatios.value_or(std::array<double, 10>{});
    out.trailingText = carried.trailingText;

    // DFF and LORL as stated while the table is the one they were stated for.
    bool keepRatios = carried.dff && carried.lorl;
    if (keepRatios && carried.ratiosFromOriginal) {
        keepRatios = carried.intensities.size() == out.intensities.size() &&
                     carried.gammaAngles == out.gammaAngles && carried.cAngles == out.cAngles;
        for (std::size_t i = 0; keepRatios && i < out.intensities.size(); ++i)
            keepRatios = std::fabs(carried.intensities[i] - out.intensities[i]) <=
                         5e-4 + 1e-6 * std::fabs(carried.intensities[i]);
    }
    if (keepRatios) {
        out.dff = *carried.dff;
        out.lorl = *carried.lorl;
    } else {
        const LdtFlux f = ldtFlux(out);
        out.dff = f.total > 0 ? std::round(f.downward / f.total * 10000) / 100 : 0;
        out.lorl = absolute ? 100 : std::round(f.total / 10 * 100) / 100;
    }
    result.status = ldtWorstStatus(findings);
    return result;
}

LdtDocument openLdtDocument(std::string_view text, bool quarterTurn) {
    return openLdtDocument(text, LdtToIesOptions{quarterTurn, false});
}

LdtDocument openLdtDocument(std::string_view text, const LdtToIesOptions& options) {
    LdtDocument doc;
    LdtReadResult read = readLdt(text);
    doc.findings = std::move(read.findings);
    doc.original = std::move(read.record);
    if (read.status != kLdtUnusable) {
        LdtToIesResult converted = ldtToIes(doc.original, options);
        doc.record = std::move(converted.record);
        doc.findings.insert(doc.findings.end(), converted.findings.begin(),
                            converted.findings.end());
    }
    doc.status = ldtWorstStatus(doc.findings);
    return doc;
}

LdtSaved saveLdtDocument(const IesRecord& edited, const LdtRecord* original,
                         const IesToLdtOptions& options) {
    LdtSaved saved;
    IesToLdtResult converted = iesToLdt(edited, original, options);
    saved.findings = std::move(converted.findings);
    saved.status = converted.status;
    if (converted.status != kLdtUnusable) saved.text = composeLdt(converted.record);
    return saved;
}

LdtSaved saveLdtDocument(const IesRecord& edited, const LdtRecord& original, bool quarterTurn) {
    IesToLdtOptions options;
    options.quarterTurn = quarterTurn;
    return saveLdtDocument(edited, &original, options);
}

}  // namespace kandor
