#include "core/ldtreader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "core/iesreader.h"

namespace kandor {
namespace {

namespace msg = ldtreader_msg;
namespace code = ldtreader_code;

// The names of header lines 1 to 26, as findings name them.
constexpr std::array<std::string_view, 26> kHeaderNames = {
    "company identification",
    "type indicator",
    "symmetry indicator",
    "number of C planes",
    "distance between C planes",
    "number of gamma angles",
    "distance between gamma angles",
    "measurement report number",
    "luminaire name",
    "luminaire number",
    "file name",
    "date and user",
    "luminaire length",
    "luminaire width",
    "luminaire height",
    "luminous length",
    "luminous width",
    "luminous height at C0",
    "luminous height at C90",
    "luminous height at C180",
    "luminous height at C270",
    "downward flux fraction",
    "light output ratio",
    "conversion factor",
    "measurement tilt",
    "number of lamp sets",
};
constexpr std::array<std::string_view, 6> kLampSetNames = {
    "number of lamps", "lamp type", "lamp flux", "colour", "colour rendering", "wattage"};

enum Header : int {
    kCompany,
    kItyp,
    kIsym,
    kMc,
    kDc,
    kNg,
    kDg,
    kReport,
    kName,
    kNumber,
    kFileName,
    kDateUser,
    kLength,
    kWidth,
    kHeight,
    kLumLength,
    kLumWidth,
    kLumHeight0,
    kDff = kLumHeight0 + 4,
    kLorl,
    kConversion,
    kTilt,
    kLampSets,
};

constexpr std::string_view kBom = "\xEF\xBB\xBF";

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}
bool isLineEnd(char c) {
    return c == '\r' || c == '\n';
}

// The position after the line end at `pos` (CR LF, CR or LF), or `pos` when there is none.
std::size_t skipLineEnd(std::string_view text, std::size_t pos) {
    if (pos < text.size() && text[pos] == '\r') {
        ++pos;
        if (pos < text.size() && text[pos] == '\n') ++pos;
    } else if (pos < text.size() && text[pos] == '\n') {
        ++pos;
    }
    return pos;
}

int countLineEnds(std::string_view text) {
    int count = 0;
    std::size_t i = 0;
    while (i < text.size()) {
        if (isLineEnd(text[i])) {
            ++count;
            i = skipLineEnd(text, i);
        } else {
            ++i;
        }
    }
    return count;
}

std::string_view trimBlanks(std::string_view text) {
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

// Lines one by one; CR LF, LF and CR each end one line, and a last line needs no line end.
class LineCursor {
  public:
    explicit LineCursor(std::string_view text) : text_(text) {}

    bool next(std::string_view& line) {
        if (pos_ >= text_.size()) return false;
        std::size_t end = pos_;
        while (end < text_.size() && !isLineEnd(text_[end]))
            ++end;
        line = text_.substr(pos_, end - pos_);
        pos_ = skipLineEnd(text_, end);
        ++number_;
        return true;
    }
    int number() const { return number_; }  // of the line last returned
    std::size_t pos() const { return pos_; }

  private:
    std::string_view text_;
    std::size_t pos_ = 0;
    int number_ = 0;
};

enum class NumberForm { Ok, Empty, Extra, Bad };

// A header number: the first blank-separated token of the line must be a number; anything
// after it is ignored and said so.
NumberForm headerNumber(std::string_view line, double& value) {
    line = trimBlanks(line);
    value = 0;
    if (line.empty()) return NumberForm::Empty;
    std::size_t cut = 0;
    while (cut < line.size() && !isBlank(line[cut]))
        ++cut;
    if (!parseLdtNumber(line.substr(0, cut), value)) return NumberForm::Bad;
    return cut == line.size() ? NumberForm::Ok : NumberForm::Extra;
}

std::string concat(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (std::string_view part : parts)
        text += part;
    return text;
}

class Reader {
  public:
    explicit Reader(std::string_view text) : text_(text), lines_(text) {}

    LdtReadResult run() {
        readHeader();
        if (tablesReadable_) readTables();
        result_.status = ldtWorstStatus(result_.findings);
        return std::move(result_);
    }

  private:
    void find(int c, int line, int status, std::string message) {
        result_.findings.push_back({c, line, status, std::move(message)});
    }

    // The next header line, or false (with the finding) when the file ends before it.
    bool line(std::string_view name, std::string_view& out) {
        if (lines_.next(out)) return true;
        find(code::kEndsInHeader, lines_.number(), kLdtUnusable,
             concat({msg::kEndsInHeader, name}));
        ended_ = true;
        tablesReadable_ = false;
        return false;
    }

    void text(Header field, std::string& out) {
        std::string_view l;
        if (!ended_ && line(kHeaderNames[field], l)) out.assign(l);
    }

    // A number; a structural one (a count or indicator the layout depends on) makes the
    // file unusable when it cannot be read.
    bool number(std::string_view name, double& out, bool structural = false) {
        std::string_view l;
        if (ended_ || !line(name, l)) return false;
        const int status = structural ? kLdtUnusable : kLdtRepaired;
        switch (headerNumber(l, out)) {
            case NumberForm::Ok:
                return true;
            case NumberForm::Extra:
                find(code::kTextAfterNumber, lines_.number(), kLdtRepaired,
                     concat({msg::kTextAfterNumber, name, ": ", l}));
                return true;
            case NumberForm::Empty:
                find(code::kEmptyNumber, lines_.number(), status,
                     concat({msg::kEmptyNumber, name}));
                break;
            case NumberForm::Bad:
                find(code::kNotANumber, lines_.number(), status,
                     concat({msg::kNotANumber, name, msg::kReadAsZero, l}));
                break;
        }
        if (structural) tablesReadable_ = false;
        return false;
    }
    void number(Header field, double& out) { number(kHeaderNames[field], out); }

    bool integer(std::string_view name, int& out, bool structural = false) {
        double value = 0;
        const bool read = number(name, value, structural);
        out = 0;
        if (!read) return false;
        if (value != std::nearbyint(value) || std::fabs(value) > 1e9) {
            find(code::kNotWhole, lines_.number(), structural ? kLdtUnusable : kLdtRepaired,
                 concat({msg::kNotWhole, name, ": ", ldtNumberText(value)}));
            if (structural) tablesReadable_ = false;
            if (std::fabs(value) > 1e9) return false;
        }
        out = static_cast<int>(std::nearbyint(value));
        return true;
    }
    bool integer(Header field, int& out, bool structural = false) {
        return integer(kHeaderNames[field], out, structural);
    }

    void readHeader() {
        LdtRecord& r = result_.record;
        text(kCompany, r.company);
        if (integer(kItyp, r.ityp)) {
            if (r.ityp == 0)
                find(code::kItypZero, lines_.number(), kLdtClean, std::string(msg::kItypZero));
            else if (r.ityp < 1 || r.ityp > 3)
                find(code::kItypRange, lines_.number(), kLdtRepaired,
                     concat({msg::kItypRange, std::to_string(r.ityp)}));
        }
        const bool isymRead = integer(kIsym, r.isym, true);
        if (isymRead && (r.isym < 0 || r.isym > 4)) {
            find(code::kBadSymmetry, lines_.number(), kLdtUnusable,
                 concat({msg::kBadSymmetry, std::to_string(r.isym)}));
            tablesReadable_ = false;
        }
        if (integer(kMc, r.mc, true) && isymRead && r.isym >= 0 && r.isym <= 4 &&
            ldtStoredPlanes(r.isym, r.mc) < 0) {
            find(code::kBadPlaneCount, lines_.number(), kLdtUnusable,
                 concat({msg::kBadPlaneCount, std::to_string(r.isym), ": ", std::to_string(r.mc)}));
            tablesReadable_ = false;
        }
        number(kDc, r.dc);
        if (integer(kNg, r.ng, true) && r.ng < 1) {
            find(code::kBadGammaCount, lines_.number(), kLdtUnusable,
                 concat({msg::kBadGammaCount, std::to_string(r.ng)}));
            tablesReadable_ = false;
        }
        number(kDg, r.dg);
        text(kReport, r.report);
        text(kName, r.luminaireName);
        text(kNumber, r.luminaireNumber);
        text(kFileName, r.fileName);
        text(kDateUser, r.dateUser);
        number(kLength, r.length);
        number(kWidth, r.width);
        number(kHeight, r.height);
        number(kLumLength, r.luminousLength);
        number(kLumWidth, r.luminousWidth);
        for (int i = 0; i < 4; ++i)
            number(static_cast<Header>(kLumHeight0 + i),
                   r.luminousHeights[static_cast<std::size_t>(i)]);
        number(kDff, r.dff);
        number(kLorl, r.lorl);
        number(kConversion, r.conversionFactor);
        number(kTilt, r.tilt);

        int sets = 0;
        if (!integer(kLampSets, sets, true)) {
            // Without the number of sets nothing after them can be found.
            ended_ = true;
            tablesReadable_ = false;
            return;
        }
        if (sets < 0) {
            find(code::kBadLampSets, lines_.number(), kLdtUnusable,
                 concat({msg::kBadLampSets, std::to_string(sets)}));
            ended_ = true;
            tablesReadable_ = false;
            return;
        }
        if (sets == 0)
            find(code::kNoLampSet, lines_.number(), kLdtRepaired, std::string(msg::kNoLampSet));
        // Sets are appended as they are read, so a huge count in a short file allocates
        // nothing: the file ends first.
        for (int s = 1; s <= sets && !ended_; ++s) {
            const std::string suffix = " of lamp set " + std::to_string(s);
            const auto name = [&](int i) {
                return concat({kLampSetNames[static_cast<std::size_t>(i)], suffix});
            };
            LdtLampSet set;
            std::string_view l;
            integer(name(0), set.numLamps);
            if (!ended_ && line(name(1), l)) set.type.assign(l);
            number(name(2), set.flux);
            if (!ended_ && line(name(3), l)) set.colour.assign(l);
            if (!ended_ && line(name(4), l)) set.rendering.assign(l);
            number(name(5), set.watts);
            r.lampSets.push_back(std::move(set));
        }
        for (std::size_t i = 0; i < r.directRatios.size() && !ended_; ++i)
            number("direct ratio for room index " + ldtNumberText(kLdtRoomIndices[i]),
                   r.directRatios[i]);
    }

    // The next token of the tables and the line it is on; false at the end of the text.
    bool token(std::string_view& out, int& line) {
        while (pos_ < text_.size()) {
            const char c = text_[pos_];
            if (c == '\r') {
                ++tableLine_;
                if (pos_ + 1 < text_.size() && text_[pos_ + 1] == '\n') ++pos_;
            } else if (c == '\n') {
                ++tableLine_;
            } else if (!isBlank(c)) {
                break;
            }
            ++pos_;
        }
        if (pos_ >= text_.size()) return false;
        const std::size_t start = pos_;
        while (pos_ < text_.size() && !isBlank(text_[pos_]) && !isLineEnd(text_[pos_]))
            ++pos_;
        out = text_.substr(start, pos_ - start);
        line = tableLine_;
        return true;
    }

    // Reads `count` values into `out`; false when the text ends first.
    bool values(std::vector<double>& out, std::int64_t count, std::string_view name) {
        // A value takes at least two characters but the last, so the text bounds the
        // allocation whatever the header declares.
        const auto bound = static_cast<std::int64_t>((text_.size() - pos_) / 2 + 1);
        out.reserve(static_cast<std::size_t>(std::min(count, bound)));
        std::string_view tok;
        int line = 0;
        for (std::int64_t i = 0; i < count; ++i) {
            if (!token(tok, line)) return false;
            double value = 0;
            if (!parseLdtNumber(tok, value))
                find(code::kNotANumber, line, kLdtRepaired,
                     concat({msg::kNotANumber, name, " ", std::to_string(i + 1), msg::kReadAsZero,
                             tok}));
            out.push_back(value);
            ++read_;
        }
        lastLine_ = line;
        return true;
    }

    void readTables() {
        LdtRecord& r = result_.record;
        pos_ = lines_.pos();
        tableLine_ = lines_.number() + 1;
        const std::int64_t planes = ldtStoredPlanes(r.isym, r.mc);
        const std::int64_t declared = std::int64_t{r.mc} + r.ng + planes * r.ng;
        if (!values(r.cAngles, r.mc, "C angle") || !values(r.gammaAngles, r.ng, "gamma angle") ||
            !values(r.intensities, planes * r.ng, "intensity")) {
            find(code::kShortTable, tableLine_, kLdtUnusable,
                 concat({msg::kShortTable, std::to_string(read_), msg::kShortTableOf,
                         std::to_string(declared), msg::kShortTableTail}));
            return;
        }
        readTrailing();
        checkAngles();
        checkIntensities();
    }

    void readTrailing() {
        // The line end of the last value's line belongs to the table, not to what follows.
        std::size_t p = pos_;
        while (p < text_.size() && isBlank(text_[p]))
            ++p;
        const std::string_view rest = text_.substr(skipLineEnd(text_, p));
        const std::size_t data = rest.find_first_not_of(" \t\r\n");
        if (data == std::string_view::npos) return;
        const int line =
            lastLine_ +
            countLineEnds(text_.substr(
                pos_, static_cast<std::size_t>(rest.data() - text_.data()) + data - pos_));
        result_.record.trailingText = normaliseLineEnds(rest);
        find(code::kTrailing, line, kLdtRepaired, std::string(msg::kTrailing));
    }

    void checkAngles() {
        const LdtRecord& r = result_.record;
        const auto rising = [](const std::vector<double>& a, double low, double high,
                               std::size_t& bad) {
            for (bad = 0; bad < a.size(); ++bad)
                if (a[bad] < low || a[bad] > high || (bad > 0 && a[bad] <= a[bad - 1]))
                    return false;
            return true;
        };
        const auto orderText = [](const std::vector<double>& a, std::size_t bad) {
            std::string text = ldtNumberText(a[bad]);
            if (bad > 0) text += concat({msg::kAfter, ldtNumberText(a[bad - 1])});
            return text;
        };
        std::size_t bad = 0;
        if (!rising(r.cAngles, 0, std::nextafter(360.0, 0.0), bad))
            find(code::kCOrder, 0, kLdtRepaired, concat({msg::kCOrder, orderText(r.cAngles, bad)}));
        if (!rising(r.gammaAngles, 0, 180, bad))
            find(code::kGammaOrder, 0, kLdtRepaired,
                 concat({msg::kGammaOrder, orderText(r.gammaAngles, bad)}));

        const auto evenly = [](const std::vector<double>& a, double step) {
            for (std::size_t k = 0; k < a.size(); ++k)
                if (std::fabs(a[k] - a[0] - static_cast<double>(k) * step) > 1e-3) return false;
            return true;
        };
        if (r.dc != 0 && r.mc > 1 && !evenly(r.cAngles, r.dc))
            find(code::kDcMismatch, 0, kLdtClean, concat({msg::kDcMismatch, ldtNumberText(r.dc)}));
        if (r.dg != 0 && r.ng > 1 && !evenly(r.gammaAngles, r.dg))
            find(code::kDgMismatch, 0, kLdtClean, concat({msg::kDgMismatch, ldtNumberText(r.dg)}));

        // The planes a symmetry stores by position must lie where the symmetry needs them.
        struct Expected {
            int position;
            double angle;
        };
        std::vector<Expected> expected;
        if (r.isym == 2) expected = {{0, 0}, {r.mc / 2, 180}};
        if (r.isym == 3) expected = {{3 * r.mc / 4, 270}, {r.mc / 4, 90}};
        if (r.isym == 4) expected = {{0, 0}, {r.mc / 4, 90}};
        for (const Expected& e : expected) {
            const double at = r.cAngles[static_cast<std::size_t>(e.position)];
            if (std::fabs(at - e.angle) > 1e-6) {
                find(code::kFirstPlane, 0, kLdtRepaired,
                     concat({msg::kFirstPlane, std::to_string(r.isym), msg::kFirstPlaneMiddle,
                             ldtNumberText(e.angle), msg::kFirstPlaneTail, ldtNumberText(at),
                             msg::kFirstPlaneThere}));
                break;
            }
        }
    }

    void checkIntensities() {
        LdtRecord& r = result_.record;
        std::size_t negatives = 0;
        std::size_t first = 0;
        for (std::size_t i = 0; i < r.intensities.size(); ++i) {
            if (r.intensities[i] < 0) {
                if (negatives++ == 0) first = i;
                r.intensities[i] = 0;
            }
        }
        if (negatives == 0) return;
        const auto ng = static_cast<std::size_t>(r.ng);
        find(code::kNegative, 0, kLdtRepaired,
             concat({std::to_string(negatives), msg::kNegative,
                     ldtNumberText(ldtStoredAngle(r, static_cast<int>(first / ng))),
                     msg::kNegativeGamma, ldtNumberText(r.gammaAngles[first % ng])}));
    }

    std::string_view text_;
    LineCursor lines_;
    LdtReadResult result_;
    bool ended_ = false;
    bool tablesReadable_ = true;
    std::size_t pos_ = 0;
    int tableLine_ = 0;
    int lastLine_ = 0;
    std::int64_t read_ = 0;
};

}  // namespace

LdtReadResult readLdt(std::string_view text) {
    if (text.starts_with(kBom)) text.remove_prefix(kBom.size());
    try {
        return Reader(text).run();
    } catch (...) {  // only an allocation can fail here; never let it out
        LdtReadResult failed;
        failed.findings.push_back(
            {code::kShortTable, 0, kLdtUnusable, "The file could not be read"});
        failed.status = kLdtUnusable;
        return failed;
    }
}

namespace {

// True when one of the first lines begins with "TILT", in any case: an LM-63 file always has
// its TILT line before the numbers, an EULUMDAT file has none.
bool hasTiltLine(std::string_view text) {
    LineCursor lines(text);
    std::string_view line;
    for (int n = 1; n <= 2000 && lines.next(line); ++n) {
        if (startsWithTilt(trimBlanks(line))) return true;
    }
    return false;
}

}  // namespace

bool looksLikeLdt(std::string_view text) {
    if (text.starts_with(kBom)) text.remove_prefix(kBom.size());
    // Lines 2 to 7: the type and symmetry indicators, the counts and distances of the planes.
    // LM-63 numbers come only after its TILT line, so numbers there make an LM-63 file only when
    // line 1 is that TILT line; a "TILT" further down is EULUMDAT free text (a luminaire name).
    LineCursor lines(text);
    std::string_view line;
    for (int n = 1; n <= 7; ++n) {
        double value = 0;
        if (!lines.next(line)) return false;
        if (n == 1 && hasTiltLine(line)) return false;
        if (n >= 2 && headerNumber(line, value) != NumberForm::Ok) return false;
    }
    return true;
}

PhotometricFormat photometricFormat(std::string_view text, std::string_view fileName) {
    if (looksLikeLdt(text)) return PhotometricFormat::Eulumdat;
    if (hasTiltLine(text.starts_with(kBom) ? text.substr(kBom.size()) : text))
        return PhotometricFormat::Lm63;
    std::string ext(fileName.size() >= 4 ? fileName.substr(fileName.size() - 4) : "");
    for (char& c : ext)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return ext == ".ldt" ? PhotometricFormat::Eulumdat : PhotometricFormat::Lm63;
}

}  // namespace kandor
