#include "core/iesreader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <utility>

#include "core/keywords.h"
#include "core/numforms.h"
#include "core/runtimefault.h"

namespace kandor {
namespace {

namespace msg = iesreader_msg;
namespace code = iesreader_code;

constexpr std::array<bool, 256> charClass(std::string_view members) {
    std::array<bool, 256> table{};
    for (char c : members)
        table[static_cast<unsigned char>(c)] = true;
    return table;
}

// A number is gathered from these characters; "+" is not among them, so it ends a token.
constexpr auto kNumberChars = charClass("0123456789-.Ee");
// What gfnLineInput skips after a header line.
constexpr auto kLineSeparators = charClass(" \r\n,\t");

bool isNumberChar(char c) {
    return kNumberChars[static_cast<unsigned char>(c)];
}
bool isLineSeparator(char c) {
    return kLineSeparators[static_cast<unsigned char>(c)];
}

// The candela table is sized from two counts in the text; it is kept to what the text could
// hold (a value needs a character and a separator) or to one full-size table, whichever is
// larger, so that a header declaring 32767 x 32767 values cannot make the reader allocate
// gigabytes. A text that really declares more than it holds runs out of values first, so the
// cap never changes what a parse reports. (Angle and tilt arrays are at most 32767 long.)
std::int64_t allocationLimit(std::string_view text) {
    return std::max<std::int64_t>(static_cast<std::int64_t>(text.size() / 2) + 2, 65536);
}

std::string gs(float value) {
    return generalSingle(value);
}

std::string cat(std::initializer_list<std::string_view> parts) {
    std::size_t size = 0;
    for (std::string_view part : parts)
        size += part.size();
    std::string text;
    text.reserve(size);
    for (std::string_view part : parts)
        text += part;
    return text;
}

// A check sets 3 only over a clean status and 1 only over anything short of unusable.
void markKeywordProblem(std::int16_t& status) {
    if (status == kParseClean) status = kParseKeywordProblems;
}
void markValueProblem(std::int16_t& status) {
    if (status != kParseUnusable) status = kParseValueProblems;
}

std::string_view trimSpaces(std::string_view text) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

// Converts a validated token. The table is most of a file, so the common case converts in
// place; anything out of the double's range takes the lenient reader's way (fault 6 above the
// range, 0 below it), which gives the same value in every other case.
double tokenValue(std::string_view token) {
    double value = 0;
    const auto res = std::from_chars(token.data(), token.data() + token.size(), value);
    if (res.ec == std::errc() && res.ptr == token.data() + token.size()) return value;
    return readLenient(token);
}

// gfnValueInput's common case, for the table loop: a token without an exponent that converts
// whole. Anything else (the end of the text, an exponent, a token that is no number) is left
// untouched, returning false, for gfnValueInput to read and report. `fewDecimals` tells that
// the token has at most three decimals and a modest size: rounding it to three decimals gives
// the same double back, so the table loop can skip the division.
inline bool plainValue(std::string_view text, std::size_t& pos, std::int32_t& lineNumber,
                       double& value, bool& fewDecimals) {
    const char* p = text.data() + pos;
    const char* const end = text.data() + text.size();
    if (p >= end) return false;
    std::int32_t carriageReturns = 0;
    while (p < end && !isNumberChar(*p)) {
        carriageReturns += *p == '\r';
        ++p;
    }
    const char* const start = p;
    const char* point = nullptr;
    while (p < end && isNumberChar(*p)) {
        if ((*p | 0x20) == 'e') return false;
        if (*p == '.') point = p;
        ++p;
    }
    const auto res = std::from_chars(start, p, value);
    if (p == start || res.ec != std::errc() || res.ptr != p) return false;
    fewDecimals = (point == nullptr || p - point <= 4) && value < 1e12;
    pos = static_cast<std::size_t>(p - text.data());
    lineNumber = carriageReturns > std::numeric_limits<std::int32_t>::max() - lineNumber
                     ? std::numeric_limits<std::int32_t>::max()
                     : lineNumber + carriageReturns;
    return true;
}

// Three decimals, halves to even, for a value >= 0. Adding and taking away 2^52 leaves the
// nearest whole number, halves to even (the default rounding mode), without the cost of a
// library call per value; from 2^52 on every double is whole already.
double roundCandela(double value) {
    constexpr double kWhole = 4503599627370496.0;  // 2^52
    const double scaled = value * 1000.0;
    if (!(scaled < kWhole)) return std::isfinite(scaled) ? scaled / 1000.0 : value;
    return (scaled + kWhole - kWhole) / 1000.0;
}

// A number of angles is valid when it is positive and still at least 1 once rounded (halves to
// even) to the whole count that the record keeps.
bool isAngleCount(float value) {
    return value > 0 && std::nearbyint(value) >= 1;
}

}  // namespace

bool startsWithTilt(std::string_view line) {
    if (line.size() < 4) return false;
    constexpr std::string_view kTilt = "TILT";
    for (std::size_t i = 0; i < 4; ++i) {
        char c = line[i];
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        if (c != kTilt[i]) return false;
    }
    return true;
}

std::string normaliseLineEnds(std::string_view text) {
    std::string out;
    out.reserve(text.size() + text.size() / 16);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r' || c == '\n') {
            out += "\r\n";
            if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
        } else {
            out += c;
        }
    }
    return out;
}

struct IesReader::Parse {
    IesRecord& record;
    std::string_view text;
    std::size_t pos = 0;
    bool interactive = false;
    bool composedHasIesna = false;
    std::int64_t limit = 0;
    std::int16_t status = kParseClean;
};

// ---- hooks -------------------------------------------------------------------------------

void IesReader::ReportIssue(int code, int lineNumber, const std::string& message) {
    if (hooks.ReportIssue) hooks.ReportIssue(code, lineNumber, message);
}

std::string IesReader::RepBox(const std::string& prompt, const std::string& defaultValue,
                              const std::string& title) {
    if (!hooks.RepBox) return {};
    return hooks.RepBox(prompt, defaultValue, title);
}

// ---- fields ------------------------------------------------------------------------------

void IesReader::setField(std::string_view name) {
    lazyRecord_ = nullptr;
    CurrentField.assign(name);
}

void IesReader::setCandelaField(const IesRecord& record, int h, int v) {
    lazyRecord_ = &record;
    lazyH_ = h;
    lazyV_ = v;
}

const std::string& IesReader::field() {
    if (lazyRecord_ != nullptr) {
        const IesRecord& r = *lazyRecord_;
        lazyRecord_ = nullptr;
        const float v = lazyV_ <= r.VertAngles.ubound() ? r.VertAngles(lazyV_) : 0.0f;
        const float h = lazyH_ <= r.HorAngles.ubound() ? r.HorAngles(lazyH_) : 0.0f;
        CurrentField = cat({msg::kFieldCandelaV, gs(v), msg::kFieldCandelaH, gs(h)});
    }
    return CurrentField;
}

// ---- the reader's steps ------------------------------------------------------------------

std::string_view IesReader::gfnLineInput(std::string_view text, std::size_t& pos) {
    if (pos >= text.size()) raiseFault(fault::kInputPastEnd);
    std::size_t end = text.find('\r', pos);
    // Without a carriage return the line runs to the last character, exclusive: a last line
    // without a line end loses its last character, as it always has.
    if (end == std::string_view::npos) end = text.size() - 1;
    const std::string_view line = text.substr(pos, end - pos);
    pos = end;
    while (pos < text.size() && isLineSeparator(text[pos]))
        ++pos;
    if (LineNumber < std::numeric_limits<std::int32_t>::max()) ++LineNumber;
    return line;
}

void IesReader::SkipToNumber(std::string_view text, std::size_t& pos) {
    const std::size_t size = text.size();
    while (pos < size && !isNumberChar(text[pos])) {
        if (text[pos] == '\r' && LineNumber < std::numeric_limits<std::int32_t>::max())
            ++LineNumber;
        ++pos;
    }
}

double IesReader::gfnValueInput(std::string_view text, std::size_t& pos) {
    if (pos >= text.size()) raiseFault(fault::kInputPastEnd);
    SkipToNumber(text, pos);
    const std::size_t start = pos;
    bool exponent = false;
    while (pos < text.size() && isNumberChar(text[pos])) {
        exponent |= text[pos] == 'E' || text[pos] == 'e';
        ++pos;
    }
    const std::string_view token = text.substr(start, pos - start);
    if (!exponent) {
        // Without an exponent a token of these characters is a number exactly when the
        // conversion takes all of it; the table is most of a file, so this is the common way.
        double value = 0;
        const auto res = std::from_chars(token.data(), token.data() + token.size(), value);
        if (res.ec == std::errc() && res.ptr == token.data() + token.size()) return value;
    }
    if (!isNumeric(token)) {
        ReportIssue(code::kNonNumeric, LineNumber,
                    cat({msg::kNonNumericPrefix, token, msg::kNonNumericFoundFor, field()}));
        return 0;
    }
    if (exponent) {
        std::string upper(token);
        for (char& c : upper)
            if (c == 'e') c = 'E';
        ReportIssue(code::kExponential, LineNumber,
                    cat({msg::kExponentialPrefix, upper, msg::kExponentialMiddle,
                         gs(toSingle(tokenValue(token))), msg::kExponentialFoundFor, field(),
                         msg::kExponentialSuffix}));
    }
    return tokenValue(token);
}

void IesReader::AddKeywordLine(IesRecord& record, std::string_view line) {
    if (record.Keywords.ubound() >= 1 && record.Keywords(1).empty()) {
        record.Keywords(1).assign(line);
        return;
    }
    record.Keywords.append(std::string(line));
}

void IesReader::ReadTiltBlock(IesRecord& record, std::string_view text, std::size_t& pos) {
    TiltTable& tilt = record.TiltData;
    tilt.lampToLuminaire = toInt16(gfnValueInput(text, pos));
    if (tilt.lampToLuminaire < 1 || tilt.lampToLuminaire > 3)
        ReportIssue(code::kMissingTilt, LineNumber,
                    cat({msg::kInvalidGeometry, plainInt(tilt.lampToLuminaire, true)}));
    const int pairs = toInt16(gfnValueInput(text, pos));
    tilt.numPairs = static_cast<std::int16_t>(pairs);
    tilt.angles.redim(pairs);
    tilt.factors.redim(pairs);
    for (int i = 1; i <= pairs; ++i)
        tilt.angles(i) = toSingle(gfnValueInput(text, pos));
    for (int i = 1; i <= pairs; ++i)
        tilt.factors(i) = toSingle(gfnValueInput(text, pos));
}

// ---- the parse ---------------------------------------------------------------------------

std::int16_t IesReader::ParseIes(IesRecord& record, std::string_view text, bool interactive,
                                 std::string_view lastComposedText) {
    Parse p{record, text};
    p.interactive = interactive;
    p.composedHasIesna = lastComposedText.find("IESNA") != std::string_view::npos;
    p.limit = allocationLimit(text);
    lastFault_ = 0;
    lastFaultText_.clear();
    try {
        parseBody(p);
    } catch (...) {
        const RuntimeFault f = currentFault();
        lastFault_ = f.number();
        lastFaultText_ = f.description();
        p.status = kParseUnusable;
        if (f.number() == fault::kInputPastEnd) {
            try {
                ReportIssue(code::kPrematureEnd, LineNumber, cat({msg::kPrematureEnd, field()}));
            } catch (...) {  // a failing hook must not take the parse down with it
            }
        }
    }
    try {
        settle(p);
        field();  // leave the name of the last field read, as a caller may show it
    } catch (...) {
        p.status = kParseUnusable;
    }
    lazyRecord_ = nullptr;
    return p.status;
}

void IesReader::parseBody(Parse& p) {
    p.record.Keywords.redim(1);
    if (!readHeaderLines(p)) return;
    readHeaderNumbers(p, true);
}

// Reads the lines before the numbers. Returns false when the parse ends there; a numeric line
// met where the TILT line should be has already been taken as the first header numbers.
bool IesReader::readHeaderLines(Parse& p) {
    IesRecord& r = p.record;
    bool revisionSeen = false;
    std::string_view line;
    for (;;) {
        if (p.pos + 1 >= p.text.size()) {
            ReportIssue(code::kTiltNeverFound, LineNumber, std::string(msg::kTiltNeverFound));
            p.status = kParseUnusable;
            return false;
        }
        line = gfnLineInput(p.text, p.pos);
        if (line.starts_with("IESNA")) {
            revisionSeen = true;
            AddKeywordLine(r, line);
            continue;
        }
        if (line.starts_with("[")) {
            // The check only asks whether the composed text holds "IESNA"; answering that once
            // keeps a long keyword block from searching the whole text per line.
            if (!CheckKeyword(line, p.composedHasIesna ? "IESNA" : "")) {
                ReportIssue(code::kKeyword, LineNumber, std::string(msg::kInvalidKeyword));
                markKeywordProblem(p.status);
            }
            AddKeywordLine(r, line);
            continue;
        }
        if (startsWithTilt(line)) break;

        // A numeric line needs extra spaces to be recognised; single-spaced lines stay
        // descriptive.
        if (std::count(line.begin(), line.end(), ' ') >= 10) {
            std::array<std::string_view, 10> numbers;
            std::size_t found = 0;
            std::size_t start = 0;
            for (;;) {
                const std::size_t blank = line.find(' ', start);
                const std::string_view piece = line.substr(start, blank - start);
                if (isNumeric(piece)) {
                    if (found < numbers.size()) numbers[found] = piece;
                    ++found;
                }
                if (blank == std::string_view::npos) break;
                start = blank + 1;
            }
            if (found == numbers.size()) {
                ReportIssue(code::kMissingTilt, LineNumber, std::string(msg::kMissingTilt));
                p.status = kParseUnusable;
                LampData& d = r.OtherData;
                d.numLamps = toInt16(numbers[0]);
                d.lumensPerLamp = toSingle(numbers[1]);
                d.multiplier = toSingle(numbers[2]);
                d.numVertAngles = toInt16(numbers[3]);
                d.numHorzAngles = toInt16(numbers[4]);
                d.photometricType = toInt16(numbers[5]);
                d.unitsType = toInt16(numbers[6]);
                d.width = toSingle(numbers[7]);
                d.length = toSingle(numbers[8]);
                d.height = toSingle(numbers[9]);
                readHeaderNumbers(p, false);
                return false;
            }
        }
        AddKeywordLine(r, line);
        if (revisionSeen) {
            ReportIssue(code::kKeyword, LineNumber, std::string(msg::kDescriptiveLine));
            markKeywordProblem(p.status);
        }
    }

    // The TILT line; the next line is the first of the numbers.
    if (LineNumber < std::numeric_limits<std::int32_t>::max()) ++LineNumber;
    const std::string_view tilt = trimSpaces(line);
    if (tilt.ends_with("NONE")) {
        r.TiltIncl = false;
    } else if (tilt.ends_with("INCLUDE")) {
        r.TiltIncl = true;
        setField(msg::kFieldTilt);
        ReadTiltBlock(r, p.text, p.pos);
    } else {
        r.TiltIncl = false;  // a tilt file, which the reader does not open
    }

    if (r.Keywords(1).find("2002") != std::string::npos) {
        bool complete = true;
        for (std::string_view required : {"[TEST]", "[TESTLAB]", "[MANUFAC]", "[ISSUEDATE]"}) {
            complete =
                complete &&
                std::any_of(r.Keywords.begin(), r.Keywords.end(), [&](const std::string& keyword) {
                    return keyword.find(required) != std::string::npos;
                });
        }
        if (!complete) {
            ReportIssue(code::kRequired2002, 0, std::string(msg::kRequired2002));
            markKeywordProblem(p.status);
        }
    }
    return true;
}

void IesReader::readHeaderNumbers(Parse& p, bool fromStart) {
    IesRecord& r = p.record;
    LampData& d = r.OtherData;
    std::int16_t& status = p.status;
    const auto read = [&](std::string_view name) {
        setField(name);
        return toSingle(gfnValueInput(p.text, p.pos));
    };
    const auto report = [&](int c, std::string_view text, float value) {
        ReportIssue(c, LineNumber, cat({text, gs(value)}));
    };
    const auto ask = [&](std::string prompt, std::string_view defaultValue,
                         std::string_view title) {
        return readLenient(RepBox(prompt, std::string(defaultValue), std::string(title)));
    };

    if (fromStart) {
        float v = read(msg::kFieldLamps);
        if (v > 0 && v == std::nearbyint(v)) {
            d.numLamps = toInt16(v);
        } else {
            if (p.interactive) {
                d.numLamps = toInt16(ask(cat({msg::kAskLampsPrefix, gs(v), msg::kAskInstead}),
                                         msg::kDefaultOne, msg::kTitleLamps));
            } else {
                ReportIssue(code::kLamps, LineNumber, std::string(msg::kBadLamps));
                d.numLamps = toInt16(v);
            }
            status = kParseValueProblems;
        }

        v = read(msg::kFieldLumens);
        if (v > 0 || std::nearbyint(v) == -1.0f) {
            d.lumensPerLamp = v;
        } else {
            if (p.interactive) {
                d.lumensPerLamp = toSingle(
                    ask(std::string(msg::kAskLumens), msg::kDefaultOne, msg::kTitleLumens));
            } else {
                report(code::kLumens, msg::kBadLumens, v);
                d.lumensPerLamp = v;
            }
            status = kParseValueProblems;
        }

        v = read(msg::kFieldMultiplier);
        if (v > 0) {
            d.multiplier = v;
        } else {
            if (p.interactive) {
                d.multiplier =
                    toSingle(ask(cat({msg::kAskMultiplierPrefix, gs(v), msg::kAskInstead}),
                                 msg::kDefaultOne, msg::kTitleMultiplier));
            } else {
                report(code::kMultiplier, msg::kBadMultiplier, v);
                d.multiplier = v;
            }
            status = kParseValueProblems;
        }

        // A count is stored as a whole number: one that rounds to none (0.4, 0.5) is as
        // invalid as 0, or the angles and candela values that follow would be dropped.
        v = read(msg::kFieldVertCount);
        if (!isAngleCount(v)) {
            report(code::kVertCount, msg::kBadVertCount, v);
            status = kParseUnusable;
        }
        d.numVertAngles = toInt16(v);

        v = read(msg::kFieldHorzCount);
        if (!isAngleCount(v)) {
            report(code::kHorzCount, msg::kBadHorzCount, v);
            status = kParseUnusable;
            d.numHorzAngles = toInt16(v);
            return;
        }
        d.numHorzAngles = toInt16(v);

        v = read(msg::kFieldType);
        if (v == 1 || v == 2) {
            d.photometricType = toInt16(v);
        } else {
            if (p.interactive) {
                d.photometricType = toInt16(ask(cat({msg::kAskTypePrefix, gs(v), msg::kAskInstead}),
                                                msg::kDefaultOne, msg::kTitleType));
            } else {
                report(code::kType, msg::kBadType, v);
                d.photometricType = toInt16(v);
            }
            status = kParseUnusable;
        }
        if (d.photometricType == 2 && d.numHorzAngles == 1) {
            if (p.interactive) {
                d.photometricType = toInt16(
                    ask(std::string(msg::kAskOnePlane), msg::kDefaultOne, msg::kTitleOnePlane));
            } else {
                ReportIssue(code::kOnePlaneTypeB, LineNumber, std::string(msg::kOnePlaneTypeB));
                markValueProblem(status);
            }
        }

        v = read(msg::kFieldUnits);
        if (v == 1 || v == 2) {
            d.unitsType = toInt16(v);
        } else {
            if (p.interactive) {
                d.unitsType = toInt16(ask(cat({msg::kAskUnitsPrefix, gs(v), msg::kAskInstead}),
                                          msg::kDefaultOne, msg::kTitleUnits));
            } else {
                report(code::kUnits, msg::kBadUnits, v);
                d.unitsType = toInt16(v);
            }
            markValueProblem(status);
        }

        // The dimensions are always numbers by the time they get here: a token that is not
        // has already been reported and read as 0.
        d.width = read(msg::kFieldWidth);
        d.length = read(msg::kFieldLength);
        d.height = read(msg::kFieldHeight);
    }

    float v = read(msg::kFieldBallast);
    if (v > 0) {
        d.ballastFactor = v;
    } else {
        if (p.interactive) {
            d.ballastFactor = toSingle(ask(cat({msg::kAskBallastPrefix, gs(v), msg::kAskInstead}),
                                           msg::kDefaultOne, msg::kTitleBallast));
        } else {
            report(code::kBallast, msg::kBadBallast, v);
            d.ballastFactor = v;
        }
        markValueProblem(status);
    }

    setField(msg::kFieldFuture);
    gfnValueInput(p.text, p.pos);  // read past, never kept

    v = read(msg::kFieldWatts);
    if (v > 0) {
        d.inputWatts = v;
    } else {
        if (p.interactive) {
            d.inputWatts = toSingle(ask(cat({msg::kAskWattsPrefix, gs(v), msg::kAskInstead}),
                                        msg::kDefaultOne, msg::kTitleWatts));
        } else {
            report(code::kWatts, msg::kBadWatts, v);
            d.inputWatts = v;
        }
        markValueProblem(status);
    }

    readVerticalAngles(p);
    readHorizontalAngles(p);
    readCandela(p);
}

void IesReader::readVerticalAngles(Parse& p) {
    IesRecord& r = p.record;
    LampData& d = r.OtherData;
    const int count = d.numVertAngles;
    r.VertAngles.redim(count);
    const auto report = [&](int c, std::string text) { ReportIssue(c, LineNumber, text); };
    const auto askType = [&](std::string_view prompt, std::string_view defaultValue) {
        d.photometricType = toInt16(readLenient(
            RepBox(std::string(prompt), std::string(defaultValue), std::string(msg::kTitleWeb))));
    };

    float previous = 0;
    for (int i = 1; i <= count; ++i) {
        CurrentField.assign(msg::kFieldVertAngle);
        CurrentField += plainInt(i, true);
        lazyRecord_ = nullptr;
        const float a = toSingle(gfnValueInput(p.text, p.pos));
        r.VertAngles(i) = a;

        if (i == 1) {
            if (d.photometricType == 1) {
                if (a == 0 || a == 90) {
                } else if (a == -90) {
                    if (p.interactive) {
                        askType(msg::kAskTypeBWeb, msg::kDefaultTwo);
                    } else {
                        report(code::kVertFirstC, std::string(msg::kVertTypeBWebInC));
                        markValueProblem(p.status);
                    }
                } else {
                    report(code::kVertFirstC, cat({msg::kVertFirstC, gs(a)}));
                }
            } else if (d.photometricType == 2) {
                if (a != 0 && a != -90) report(code::kVertFirstB, cat({msg::kVertFirstB, gs(a)}));
            }
        } else if (i == count) {
            if (d.photometricType == 1) {
                if (a != 90 && a != 180) report(code::kVertLastC, cat({msg::kVertLastC, gs(a)}));
            } else if (a == 90) {
            } else if (a == 180) {
                if (p.interactive) {
                    askType(msg::kAskTypeCWeb, msg::kDefaultOne);
                } else {
                    report(code::kVertLastB, std::string(msg::kVertTypeCWebInB));
                    markValueProblem(p.status);
                }
            } else {
                report(code::kVertLastB, cat({msg::kVertLastB, gs(a)}));
            }
        } else if (a < previous) {
            report(code::kVertOrder,
                   cat({msg::kVertOrderPrefix, gs(previous), msg::kVertOrderThen, gs(a)}));
        }
        previous = a;
    }
}

void IesReader::readHorizontalAngles(Parse& p) {
    IesRecord& r = p.record;
    LampData& d = r.OtherData;
    const int count = d.numHorzAngles;
    r.HorAngles.redim(count);
    const auto report = [&](int c, std::string text) { ReportIssue(c, LineNumber, text); };

    float first = 0;
    float previous = 0;
    for (int i = 1; i <= count; ++i) {
        CurrentField.assign(msg::kFieldHorzAngle);
        CurrentField += plainInt(i, true);
        lazyRecord_ = nullptr;
        const float a = toSingle(gfnValueInput(p.text, p.pos));
        r.HorAngles(i) = a;
        if (i == 1) first = a;

        if (d.photometricType == 1) {
            if (i == 1) {
                if (a != 0 && a != 90) {
                    if (p.interactive) {
                        d.photometricType = toInt16(readLenient(
                            RepBox(std::string(msg::kAskHorzFirst), std::string(msg::kDefaultTwo),
                                   std::string(msg::kTitleHorzFirst))));
                    } else if (a == -90) {
                        report(code::kHorzFirst, std::string(msg::kHorzFirstMinus90));
                    } else {
                        report(code::kHorzFirst, cat({msg::kHorzFirstC, gs(a)}));
                    }
                    markValueProblem(p.status);
                }
            } else if (i == count) {
                if (first == 0) {
                    if (a != 90 && a != 180 && a != 270 && a != 360)
                        report(code::kHorzLastFrom0, cat({msg::kHorzLastFrom0, gs(a)}));
                } else if (first == 90) {
                    if (a != 270) report(code::kHorzLastFrom90, cat({msg::kHorzLastFrom90, gs(a)}));
                }
            } else if (a < previous) {
                report(code::kHorzOrder, std::string(msg::kHorzOrder));
            }
        } else if (d.photometricType == 2) {
            if (i == 1) {
                if (a != 0 && a != -90) report(code::kHorzFirst, cat({msg::kHorzFirstB, gs(a)}));
            } else if (i == count) {
                if (a != 90) report(code::kHorzLastB, std::string(msg::kHorzLastB));
            } else if (a < previous) {
                report(code::kHorzOrder, std::string(msg::kHorzOrder));
            }
        }
        previous = a;
    }
}

void IesReader::readCandela(Parse& p) {
    IesRecord& r = p.record;
    const LampData& d = r.OtherData;
    const int numH = d.numHorzAngles;
    const int numV = d.numVertAngles;
    int rows = std::max(numH, 0);
    if (numV > 0 && static_cast<std::int64_t>(rows) * numV > p.limit)
        rows = static_cast<int>((p.limit + numV - 1) / numV);
    r.Candela.redim(rows, numV);
    std::vector<double>& cells = r.Candela.values();

    for (int h = 1; h <= numH; ++h) {
        // A table with no vertical angles has no cells at all, so no row to point into.
        double* row = h <= r.Candela.rows()
                          ? cells.data() + static_cast<std::size_t>(h - 1) *
                                               static_cast<std::size_t>(r.Candela.cols())
                          : nullptr;
        for (int v = 1; v <= numV; ++v) {
            double value = 0;
            bool fewDecimals = false;
            if (!plainValue(p.text, p.pos, LineNumber, value, fewDecimals)) {
                setCandelaField(r, h, v);
                value = gfnValueInput(p.text, p.pos);
            }
            double stored = 0;
            if (value >= 0) {
                stored = fewDecimals ? value : roundCandela(value);
            } else {
                setCandelaField(r, h, v);
                ReportIssue(code::kNegativeCandela, LineNumber,
                            cat({msg::kNegativePrefix, gs(toSingle(value)), msg::kNegativeAtH,
                                 gs(r.HorAngles(h)), msg::kNegativeV, gs(r.VertAngles(v)),
                                 msg::kNegativeSuffix}));
                p.status = kParseUnusable;
            }
            if (row != nullptr) row[v - 1] = stored;
        }
    }
    if (numH >= 1 && numV >= 1) setCandelaField(r, numH, numV);

    if (d.photometricType == 1 && numH >= 2 && numV >= 1) {
        if (r.VertAngles(1) == 0)
            checkPole(p, 1, code::kNadir, msg::kNadirDisagree, msg::kTitleNadir);
        if (r.VertAngles(numV) == 180)
            checkPole(p, numV, code::kZenith, msg::kZenithDisagree, msg::kTitleZenith);
    }
}

// Every plane measures the same point at the nadir (and at the zenith), so the values there
// must agree; interactively the user may put one value, offered as their average, in all.
void IesReader::checkPole(Parse& p, int vIndex, int c, std::string_view report,
                          std::string_view title) {
    OneBased2D<double>& cd = p.record.Candela;
    const int planes = p.record.OtherData.numHorzAngles;
    int h = 2;
    while (h <= planes && cd(h, vIndex) == cd(1, vIndex))
        ++h;
    if (h > planes) return;
    if (!p.interactive) {
        ReportIssue(c, LineNumber, std::string(report));
        return;
    }
    float average = 0;
    std::string list;
    for (int i = 1; i <= planes; ++i) {
        average = toSingle(average + cd(i, vIndex));
        list += gs(toSingle(cd(i, vIndex)));
        list += msg::kPolesSeparator;
    }
    average = toSingle(average / static_cast<float>(planes));
    // Only the last plane's deviation enters the spread; the squares are not summed.
    const double deviation = cd(planes, vIndex) - average;
    const double spread = std::sqrt(deviation * deviation / planes);
    const std::string prompt =
        cat({msg::kPolesRead, plainInt(planes, true), msg::kPolesValues, list, "\r\n",
             msg::kPolesAverage, gs(average), spread < 1.0 ? msg::kPolesSmall : msg::kPolesLarge});
    const double value = readLenient(RepBox(prompt, gs(average), std::string(title)));
    for (int i = 1; i <= planes; ++i)
        cd(i, vIndex) = value;
}

// Brings the arrays back in line with their counts after a parse that stopped early, so that
// every consumer can trust the record's shape. A table too large for the text keeps the rows
// that were read, and the horizontal count follows it.
void IesReader::settle(Parse& p) {
    IesRecord& r = p.record;
    LampData& d = r.OtherData;
    if (r.VertAngles.ubound() != std::max<int>(d.numVertAngles, 0))
        r.VertAngles.redimPreserve(d.numVertAngles);
    if (r.HorAngles.ubound() != std::max<int>(d.numHorzAngles, 0))
        r.HorAngles.redimPreserve(d.numHorzAngles);

    int rows = std::max<int>(d.numHorzAngles, 0);
    int cols = std::max<int>(d.numVertAngles, 0);
    if (cols > 0 && static_cast<std::int64_t>(rows) * cols > p.limit) {
        rows = r.Candela.cols() == cols && r.Candela.rows() < rows
                   ? r.Candela.rows()
                   : static_cast<int>(p.limit / cols);
        d.numHorzAngles = static_cast<std::int16_t>(rows);
        r.HorAngles.redimPreserve(rows);
    }
    if (rows == 0 || cols == 0) rows = cols = 0;
    if (r.Candela.rows() != rows || r.Candela.cols() != cols) {
        OneBased2D<double> table(rows, cols);
        const int keepRows = std::min(rows, r.Candela.rows());
        const int keepCols = std::min(cols, r.Candela.cols());
        for (int h = 1; h <= keepRows; ++h)
            for (int v = 1; v <= keepCols; ++v)
                table(h, v) = r.Candela(h, v);
        r.Candela = std::move(table);
    }

    TiltTable& t = r.TiltData;
    if (r.TiltIncl && (t.angles.ubound() != std::max<int>(t.numPairs, 0) ||
                       t.factors.ubound() != std::max<int>(t.numPairs, 0))) {
        t.angles.redimPreserve(t.numPairs);
        t.factors.redimPreserve(t.numPairs);
    }
}

}  // namespace kandor
