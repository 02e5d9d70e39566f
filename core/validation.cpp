#include "core/validation.h"

#include <array>
#include <cmath>
#include <initializer_list>
#include <string>
#include <vector>

#include "core/keywords.h"
#include "core/numforms.h"

namespace kandor {
namespace msg = validation_msg;

namespace {

constexpr int kRevision1986 = 0;
constexpr int kRevision2002 = 3;
constexpr int kLastShapeOfAllRevisions = 8;  // shapes above exist only in LM-63-2002
constexpr std::size_t kLineLimit2002 = 254;
constexpr std::size_t kLineLimitOlder = 82;

std::string concat(std::initializer_list<std::string_view> parts) {
    std::string s;
    for (std::string_view p : parts)
        s += p;
    return s;
}

// True when the value equals its rounding to a 16-bit integer (halves to even). A value the
// 16-bit range cannot hold is simply not whole: a warning serves the user better than a fault.
bool isWhole16(double value) {
    const double rounded = std::nearbyint(value);
    if (!(rounded >= -32768.0 && rounded <= 32767.0)) return false;
    return value == rounded;
}

std::vector<std::string_view> splitCrLf(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = text.find("\r\n", start);
        if (end == std::string_view::npos) {
            lines.push_back(text.substr(start));
            return lines;
        }
        lines.push_back(text.substr(start, end - start));
        start = end + 2;
    }
}

// The 0-based index of the first line containing `word` anywhere (case-sensitive), or -1.
// Brackets are not required: a line that begins [TESTLAB] also counts as holding TEST.
int findKeywordLine(const std::vector<std::string_view>& lines, std::string_view word) {
    for (std::size_t i = 0; i < lines.size(); ++i)
        if (lines[i].find(word) != std::string_view::npos) return static_cast<int>(i);
    return -1;
}

void checkLampFields(const ValidationInput& form, WarningList& warnings) {
    CheckField(form.txtNumLamps, msg::kNumLamps, kFieldPositive | kFieldWhole, warnings);
    CheckField(form.txtLumPerLamp, msg::kLumPerLamp, kFieldPositive | kFieldAllowMinusOne,
               warnings);
    CheckField(form.txtMultiplier, msg::kMultiplier, kFieldPositive, warnings);
    CheckField(form.txtBallast, msg::kBallast, kFieldPositive, warnings);
    CheckField(form.txtWatt, msg::kWatt, kFieldPositive, warnings);
}

void checkShapeAndDimensions(const ValidationInput& form, WarningList& warnings) {
    if (form.lmpCmbShape > kLastShapeOfAllRevisions && form.revision != kRevision2002)
        warnings.Add(msg::kShapeNotInRevision);
    // Signs are the shape's business and are added on saving, so zero and negative pass.
    CheckField(form.txtWidth, msg::kWidth, kFieldAnyNumber, warnings);
    CheckField(form.txtLength, msg::kLength, kFieldAnyNumber, warnings);
    CheckField(form.txtHeight, msg::kHeight, kFieldAnyNumber, warnings);
}

void checkTilt(const ValidationInput& form, WarningList& warnings) {
    if (form.tltChkTilt != 1) return;
    CheckField(form.lmpTxtNumAngles, msg::kNumTiltAngles, kFieldPositive | kFieldWhole, warnings);
    if (!isNumeric(form.lmpTxtNumAngles)) return;
    // The count is trusted as typed: one larger than the tilt table faults on the subscript.
    const int count = toInt16(toDouble(form.lmpTxtNumAngles));
    for (int i = 1; i <= count; ++i) {
        CheckField(generalSingle(form.tiltFactors(i)),
                   concat({msg::kTiltFactor, std::to_string(i)}), kFieldPositive, warnings);
        if (i > 1 && form.tiltAngles(i) < form.tiltAngles(i - 1))
            warnings.Add(msg::kTiltAnglesOrder);
    }
}

void checkKeywordLines(const std::vector<std::string_view>& lines, int revision,
                       WarningList& warnings) {
    const std::size_t limit = revision == kRevision2002 ? kLineLimit2002 : kLineLimitOlder;
    const std::string_view exceeds =
        revision == kRevision2002 ? msg::kKeywordExceeds254 : msg::kKeywordExceeds82;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string_view line = lines[i];
        if (line.empty()) continue;
        const std::string number = std::to_string(i + 1);
        // LM-63-1986 knows no keywords, so its header lines are free text.
        if (revision != kRevision1986 && ClassifyKeyword(line) == kInvalid)
            warnings.Add(concat({msg::kKeywordPrefix, number, msg::kKeywordInvalid, line}));
        if (keywordLineLength(line) > limit)
            warnings.Add(concat({msg::kKeywordLinePrefix, number, exceeds}));
    }
}

void checkRequiredKeywords(const std::vector<std::string_view>& lines, int revision,
                           WarningList& warnings) {
    if (revision != kRevision2002) return;
    struct Required {
        std::string_view word;
        std::string_view warning;
    };
    static constexpr std::array<Required, 4> kRequired = {{
        {"TEST", msg::kMissingTest},
        {"TESTLAB", msg::kMissingTestLab},
        {"MANUFAC", msg::kMissingManufac},
        {"ISSUEDATE", msg::kMissingIssueDate},
    }};
    for (const Required& r : kRequired)
        if (findKeywordLine(lines, r.word) < 0) warnings.Add(r.warning);
}

bool isOneOf(float value, std::initializer_list<float> allowed) {
    for (float a : allowed)
        if (value == a) return true;
    return false;
}

void checkFirstAndLastAngles(const ValidationInput& form, WarningList& warnings) {
    for (std::string_view finding : firstAndLastAngleFindings(
             form.photometricType, form.vertAngles(1), form.vertAngles(form.numVert),
             form.horAngles(1), form.horAngles(form.numHorz)))
        warnings.Add(finding);
}

void checkAngleOrder(const ValidationInput& form, bool typeC, WarningList& warnings) {
    for (int i = 1; i <= form.numVert - 1; ++i) {
        const float here = form.vertAngles(i);
        const float next = form.vertAngles(i + 1);
        if (typeC ? next < here : next > here) {
            std::string text(msg::kVertOrder);
            text += std::to_string(i) + "(" + generalSingle(here) + (typeC ? ") > " : ") < ");
            text += std::to_string(i + 1) + "(" + generalSingle(next) + ")";
            warnings.Add(text);
            break;
        }
    }
    for (int i = 1; i <= form.numHorz - 1; ++i) {
        if (form.horAngles(i + 1) < form.horAngles(i)) {
            warnings.Add(msg::kHorzOrder);
            break;
        }
    }
}

void checkNadir(const ValidationInput& form, WarningList& warnings) {
    if (form.vertAngles(1) != 0 || form.numHorz <= 1) return;
    for (int i = 1; i <= form.numHorz - 1; ++i) {
        if (form.candela(i, 1) != form.candela(i + 1, 1)) {
            warnings.Add(msg::kNadir);
            return;
        }
    }
}

}  // namespace

std::vector<std::string_view> firstAndLastAngleFindings(int photometricType, float firstVert,
                                                        float lastVert, float firstHorz,
                                                        float lastHorz) {
    std::vector<std::string_view> out;
    if (photometricType == 1) {
        if (!isOneOf(firstVert, {0, 90})) out.push_back(msg::kTypeCFirstVert);
        if (!isOneOf(lastVert, {90, 180})) out.push_back(msg::kTypeCLastVert);
        if (!isOneOf(firstHorz, {0, 90})) out.push_back(msg::kTypeCFirstHorz);
        if (!isOneOf(lastHorz, {0, 90, 180, 270, 360})) out.push_back(msg::kTypeCLastHorz);
    } else {
        // Type B vertical angles are held highest first, so the rule about the first angle of
        // the file looks at the last held value and the rule about the last angle at the first.
        if (!isOneOf(lastVert, {-90, 0})) out.push_back(msg::kTypeBFirstVert);
        if (!isOneOf(firstVert, {0, 90})) out.push_back(msg::kTypeBLastVert);
        if (!isOneOf(firstHorz, {-90, 0})) out.push_back(msg::kTypeBFirstHorz);
        if (!isOneOf(lastHorz, {0, 90})) out.push_back(msg::kTypeBLastHorz);
    }
    return out;
}

void CheckField(std::string_view text, std::string_view label, int flags, WarningList& warnings) {
    if (text.empty()) {
        warnings.Add(concat({label, msg::kIsEmpty}));
        return;
    }
    if (!isNumeric(text)) {
        warnings.Add(concat({label, msg::kNotANumber}));
        return;
    }
    const double value = toDouble(text);
    if (flags & kFieldPositive) {
        if (flags & kFieldAllowMinusOne) {
            // Only the exact text "-1" marks absolute photometry; "-1.0" does not.
            if (text != "-1" && value <= 0) warnings.Add(concat({label, msg::kPositiveOrMinusOne}));
        } else if (value <= 0) {
            warnings.Add(concat({label, msg::kGreaterThanZero}));
        }
    }
    if ((flags & kFieldWhole) && !isWhole16(value))
        warnings.Add(concat({label, msg::kWholeNumber}));
}

std::size_t keywordLineLength(std::string_view line) {
    std::size_t characters = 0;
    std::size_t i = 0;
    while (i < line.size()) {
        const auto lead = static_cast<unsigned char>(line[i]);
        std::size_t extra = 0;
        if (lead < 0x80) {
            extra = 0;
        } else if (lead >= 0xC2 && lead <= 0xDF) {
            extra = 1;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            extra = 2;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            extra = 3;
        } else {
            return line.size();
        }
        for (std::size_t k = 1; k <= extra; ++k) {
            if (i + k >= line.size()) return line.size();
            const auto cont = static_cast<unsigned char>(line[i + k]);
            if ((cont & 0xC0) != 0x80) return line.size();
        }
        i += extra + 1;
        ++characters;
    }
    return characters;
}

bool Validate(const ValidationInput& form, WarningList& warnings) {
    warnings.Clear();
    checkLampFields(form, warnings);
    checkShapeAndDimensions(form, warnings);
    checkTilt(form, warnings);

    const std::vector<std::string_view> lines = splitCrLf(form.keyRtb);
    checkKeywordLines(lines, form.revision, warnings);
    checkRequiredKeywords(lines, form.revision, warnings);

    const bool typeC = form.photometricType == 1;
    checkFirstAndLastAngles(form, warnings);
    checkAngleOrder(form, typeC, warnings);
    checkNadir(form, warnings);
    return warnings.Clean();
}

}  // namespace kandor
