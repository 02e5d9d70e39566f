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

// Where the findings go: the warning list and, when asked for, the place of each.
struct Sink {
    WarningList& warnings;
    std::vector<WarningTarget>* targets = nullptr;

    void add(std::string_view message, WarningTarget target = {}) {
        warnings.Add(message);
        if (targets) targets->push_back(target);
    }
};

WarningTarget at(FormField field, int index = 0, int second = 0) {
    return {field, index, second, {}};
}

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

void checkField(std::string_view text, std::string_view label, int flags, Sink& sink,
                WarningTarget target) {
    if (text.empty()) {
        sink.add(concat({label, msg::kIsEmpty}), target);
        return;
    }
    if (!isNumeric(text)) {
        sink.add(concat({label, msg::kNotANumber}), target);
        return;
    }
    const double value = toDouble(text);
    if (flags & kFieldPositive) {
        if (flags & kFieldAllowMinusOne) {
            // Only the exact text "-1" marks absolute photometry; "-1.0" does not.
            if (text != "-1" && value <= 0)
                sink.add(concat({label, msg::kPositiveOrMinusOne}), target);
        } else if (value <= 0) {
            sink.add(concat({label, msg::kGreaterThanZero}), target);
        }
    }
    if ((flags & kFieldWhole) && !isWhole16(value))
        sink.add(concat({label, msg::kWholeNumber}), target);
}

void checkLampFields(const ValidationInput& form, Sink& sink) {
    checkField(form.txtNumLamps, msg::kNumLamps, kFieldPositive | kFieldWhole, sink,
               at(FormField::kNumLamps));
    checkField(form.txtLumPerLamp, msg::kLumPerLamp, kFieldPositive | kFieldAllowMinusOne, sink,
               at(FormField::kLumPerLamp));
    checkField(form.txtMultiplier, msg::kMultiplier, kFieldPositive, sink,
               at(FormField::kMultiplier));
    checkField(form.txtBallast, msg::kBallast, kFieldPositive, sink, at(FormField::kBallast));
    checkField(form.txtWatt, msg::kWatt, kFieldPositive, sink, at(FormField::kWatt));
}

void checkShapeAndDimensions(const ValidationInput& form, Sink& sink) {
    if (form.lmpCmbShape > kLastShapeOfAllRevisions && form.revision != kRevision2002)
        sink.add(msg::kShapeNotInRevision, at(FormField::kShape));
    // Signs are the shape's business and are added on saving, so zero and negative pass.
    checkField(form.txtWidth, msg::kWidth, kFieldAnyNumber, sink, at(FormField::kWidth));
    checkField(form.txtLength, msg::kLength, kFieldAnyNumber, sink, at(FormField::kLength));
    checkField(form.txtHeight, msg::kHeight, kFieldAnyNumber, sink, at(FormField::kHeight));
}

void checkTilt(const ValidationInput& form, Sink& sink) {
    if (form.tltChkTilt != 1) return;
    checkField(form.lmpTxtNumAngles, msg::kNumTiltAngles, kFieldPositive | kFieldWhole, sink,
               at(FormField::kNumTiltAngles));
    if (!isNumeric(form.lmpTxtNumAngles)) return;
    // The count is trusted as typed: one larger than the tilt table faults on the subscript.
    const int count = toInt16(toDouble(form.lmpTxtNumAngles));
    for (int i = 1; i <= count; ++i) {
        checkField(generalSingle(form.tiltFactors(i)),
                   concat({msg::kTiltFactor, std::to_string(i)}), kFieldPositive, sink,
                   at(FormField::kTiltTable, i, 2));
        if (i > 1 && form.tiltAngles(i) < form.tiltAngles(i - 1))
            sink.add(msg::kTiltAnglesOrder, at(FormField::kTiltTable, i, 1));
    }
}

void checkKeywordLines(const std::vector<std::string_view>& lines, int revision, Sink& sink) {
    const std::size_t limit = revision == kRevision2002 ? kLineLimit2002 : kLineLimitOlder;
    const std::string_view exceeds =
        revision == kRevision2002 ? msg::kKeywordExceeds254 : msg::kKeywordExceeds82;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::string_view line = lines[i];
        if (line.empty()) continue;
        const int lineNumber = static_cast<int>(i + 1);
        const std::string number = std::to_string(lineNumber);
        // LM-63-1986 knows no keywords, so its header lines are free text.
        if (revision != kRevision1986 && ClassifyKeyword(line) == kInvalid)
            sink.add(concat({msg::kKeywordPrefix, number, msg::kKeywordInvalid, line}),
                     at(FormField::kKeywordLine, lineNumber));
        if (keywordLineLength(line) > limit)
            sink.add(concat({msg::kKeywordLinePrefix, number, exceeds}),
                     at(FormField::kKeywordLine, lineNumber));
    }
}

struct Required {
    std::string_view word;  // what the check looks for
    std::string_view keyword;
    std::string_view warning;
};
constexpr std::array<Required, 4> kRequired2002 = {{
    {"TEST", "[TEST]", msg::kMissingTest},
    {"TESTLAB", "[TESTLAB]", msg::kMissingTestLab},
    {"MANUFAC", "[MANUFAC]", msg::kMissingManufac},
    {"ISSUEDATE", "[ISSUEDATE]", msg::kMissingIssueDate},
}};

void checkRequiredKeywords(const std::vector<std::string_view>& lines, int revision, Sink& sink) {
    if (revision != kRevision2002) return;
    for (const Required& r : kRequired2002)
        if (findKeywordLine(lines, r.word) < 0)
            sink.add(r.warning, {FormField::kRequiredKeyword, 0, 0, r.keyword});
}

bool isOneOf(float value, std::initializer_list<float> allowed) {
    for (float a : allowed)
        if (value == a) return true;
    return false;
}

struct AngleFinding {
    std::string_view message;
    bool vertical;
    bool first;  // about the first held angle, else the last
};

std::vector<AngleFinding> angleFindings(int photometricType, float firstVert, float lastVert,
                                        float firstHorz, float lastHorz) {
    std::vector<AngleFinding> out;
    if (photometricType == 1) {
        if (!isOneOf(firstVert, {0, 90})) out.push_back({msg::kTypeCFirstVert, true, true});
        if (!isOneOf(lastVert, {90, 180})) out.push_back({msg::kTypeCLastVert, true, false});
        if (!isOneOf(firstHorz, {0, 90})) out.push_back({msg::kTypeCFirstHorz, false, true});
        if (!isOneOf(lastHorz, {0, 90, 180, 270, 360}))
            out.push_back({msg::kTypeCLastHorz, false, false});
    } else {
        // Type B vertical angles are held highest first, so the rule about the first angle of
        // the file looks at the last held value and the rule about the last angle at the first.
        if (!isOneOf(lastVert, {-90, 0})) out.push_back({msg::kTypeBFirstVert, true, false});
        if (!isOneOf(firstVert, {0, 90})) out.push_back({msg::kTypeBLastVert, true, true});
        if (!isOneOf(firstHorz, {-90, 0})) out.push_back({msg::kTypeBFirstHorz, false, true});
        if (!isOneOf(lastHorz, {0, 90})) out.push_back({msg::kTypeBLastHorz, false, false});
    }
    return out;
}

void checkFirstAndLastAngles(const ValidationInput& form, Sink& sink) {
    for (const AngleFinding& f :
         angleFindings(form.photometricType, form.vertAngles(1), form.vertAngles(form.numVert),
                       form.horAngles(1), form.horAngles(form.numHorz))) {
        const int last = f.vertical ? form.numVert : form.numHorz;
        sink.add(f.message, at(f.vertical ? FormField::kVertAngles : FormField::kHorzAngles,
                               f.first ? 1 : last));
    }
}

void checkAngleOrder(const ValidationInput& form, bool typeC, Sink& sink) {
    for (int i = 1; i <= form.numVert - 1; ++i) {
        const float here = form.vertAngles(i);
        const float next = form.vertAngles(i + 1);
        if (typeC ? next < here : next > here) {
            std::string text(msg::kVertOrder);
            text += std::to_string(i) + "(" + generalSingle(here) + (typeC ? ") > " : ") < ");
            text += std::to_string(i + 1) + "(" + generalSingle(next) + ")";
            sink.add(text, at(FormField::kVertAngles, i + 1));
            break;
        }
    }
    for (int i = 1; i <= form.numHorz - 1; ++i) {
        if (form.horAngles(i + 1) < form.horAngles(i)) {
            sink.add(msg::kHorzOrder, at(FormField::kHorzAngles, i + 1));
            break;
        }
    }
}

void checkNadir(const ValidationInput& form, Sink& sink) {
    if (form.vertAngles(1) != 0 || form.numHorz <= 1) return;
    for (int i = 1; i <= form.numHorz - 1; ++i) {
        if (form.candela(i, 1) != form.candela(i + 1, 1)) {
            sink.add(msg::kNadir, at(FormField::kCandela, i + 1, 1));
            return;
        }
    }
}

bool validate(const ValidationInput& form, Sink& sink) {
    sink.warnings.Clear();
    if (sink.targets) sink.targets->clear();
    checkLampFields(form, sink);
    checkShapeAndDimensions(form, sink);
    checkTilt(form, sink);

    const std::vector<std::string_view> lines = splitCrLf(form.keyRtb);
    checkKeywordLines(lines, form.revision, sink);
    checkRequiredKeywords(lines, form.revision, sink);

    const bool typeC = form.photometricType == 1;
    checkFirstAndLastAngles(form, sink);
    checkAngleOrder(form, typeC, sink);
    checkNadir(form, sink);
    return sink.warnings.Clean();
}

}  // namespace

std::vector<std::string_view> firstAndLastAngleFindings(int photometricType, float firstVert,
                                                        float lastVert, float firstHorz,
                                                        float lastHorz) {
    std::vector<std::string_view> out;
    for (const AngleFinding& f :
         angleFindings(photometricType, firstVert, lastVert, firstHorz, lastHorz))
        out.push_back(f.message);
    return out;
}

std::vector<RequiredKeyword> requiredKeywords(int revision, std::string_view keyRtb) {
    std::vector<RequiredKeyword> out;
    if (revision != kRevision2002) return out;
    const std::vector<std::string_view> lines = splitCrLf(keyRtb);
    for (const Required& r : kRequired2002)
        out.push_back({r.keyword, findKeywordLine(lines, r.word) >= 0});
    return out;
}

std::vector<std::string> FieldFindings(const ValidationInput& form, FormField field) {
    struct Rule {
        FormField field;
        const std::string ValidationInput::*text;
        std::string_view label;
        int flags;
    };
    static constexpr std::array<Rule, 9> kRules = {{
        {FormField::kNumLamps, &ValidationInput::txtNumLamps, msg::kNumLamps,
         kFieldPositive | kFieldWhole},
        {FormField::kLumPerLamp, &ValidationInput::txtLumPerLamp, msg::kLumPerLamp,
         kFieldPositive | kFieldAllowMinusOne},
        {FormField::kMultiplier, &ValidationInput::txtMultiplier, msg::kMultiplier, kFieldPositive},
        {FormField::kBallast, &ValidationInput::txtBallast, msg::kBallast, kFieldPositive},
        {FormField::kWatt, &ValidationInput::txtWatt, msg::kWatt, kFieldPositive},
        {FormField::kWidth, &ValidationInput::txtWidth, msg::kWidth, kFieldAnyNumber},
        {FormField::kLength, &ValidationInput::txtLength, msg::kLength, kFieldAnyNumber},
        {FormField::kHeight, &ValidationInput::txtHeight, msg::kHeight, kFieldAnyNumber},
        {FormField::kNumTiltAngles, &ValidationInput::lmpTxtNumAngles, msg::kNumTiltAngles,
         kFieldPositive | kFieldWhole},
    }};
    WarningList list;
    if (field == FormField::kShape) {
        if (form.lmpCmbShape > kLastShapeOfAllRevisions && form.revision != kRevision2002)
            list.Add(msg::kShapeNotInRevision);
    } else if (field != FormField::kNumTiltAngles || form.tltChkTilt == 1) {
        for (const Rule& rule : kRules)
            if (rule.field == field) CheckField(form.*(rule.text), rule.label, rule.flags, list);
    }
    return list.lines();
}

void CheckField(std::string_view text, std::string_view label, int flags, WarningList& warnings) {
    Sink sink{warnings};
    checkField(text, label, flags, sink, {});
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
    Sink sink{warnings};
    return validate(form, sink);
}

bool Validate(const ValidationInput& form, WarningList& warnings,
              std::vector<WarningTarget>& targets) {
    Sink sink{warnings, &targets};
    return validate(form, sink);
}

}  // namespace kandor
