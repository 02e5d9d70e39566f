#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/onebased.h"
#include "core/warnings.h"

namespace kandor {

// The check made before the editor hands a record on (to the preview or back to the host).
// It reads what the user entered on the form, never a file, changes nothing, and turns every
// finding into one line of the warning list, prefixed with the tab it concerns.

// The warning texts. Field-check warnings are a label followed directly by a suffix.
namespace validation_msg {
inline constexpr std::string_view kIsEmpty = " is empty.";
inline constexpr std::string_view kNotANumber = " is not a number.";
// "positve" is the message as users have always seen it; keep the spelling.
inline constexpr std::string_view kPositiveOrMinusOne = " must be positve or -1";
inline constexpr std::string_view kGreaterThanZero = " must be greater than zero.";
inline constexpr std::string_view kWholeNumber = " must be a whole number (1, 2, 3...)";

inline constexpr std::string_view kNumLamps = "General:Number of Lamps";
inline constexpr std::string_view kLumPerLamp = "General:Lumens per Lamp";
inline constexpr std::string_view kMultiplier = "General:Candela Multiplier";
inline constexpr std::string_view kBallast = "General:Ballast Factor";
inline constexpr std::string_view kWatt = "General:Input Watts";
inline constexpr std::string_view kWidth = "General:Width";
inline constexpr std::string_view kLength = "General:Length";
inline constexpr std::string_view kHeight = "General:Height or Diameter";
inline constexpr std::string_view kNumTiltAngles = "General:Number of Tilt Angles";
inline constexpr std::string_view kTiltFactor = "General:Tilt Factor ";  // + factor index

inline constexpr std::string_view kShapeNotInRevision =
    "General: Fixture shape not valid for this version of LM-63";
inline constexpr std::string_view kTiltAnglesOrder =
    "General:Tilt Angles must be in ascending order";

inline constexpr std::string_view kKeywordPrefix = "Keyword: ";           // + line number
inline constexpr std::string_view kKeywordInvalid = " is invalid: ";      // + the line
inline constexpr std::string_view kKeywordLinePrefix = "Keyword: Line ";  // + line number
inline constexpr std::string_view kKeywordExceeds254 =
    " exceeds 254 characters per line. Please continue on a [MORE] after.";
inline constexpr std::string_view kKeywordExceeds82 =
    " exceeds 82 characters per line. Please continue on a [MORE] after.";
inline constexpr std::string_view kMissingTest =
    "Keyword: IESNA:LM-63-2002 files must contain [TEST]";
inline constexpr std::string_view kMissingTestLab =
    "Keyword: IESNA:LM-63-2002 files must contain [TESTLAB]";
inline constexpr std::string_view kMissingManufac =
    "Keyword: IESNA:LM-63-2002 files must contain [MANUFAC]";
inline constexpr std::string_view kMissingIssueDate =
    "Keyword: IESNA:LM-63-2002 files must contain [ISSUEDATE]";

inline constexpr std::string_view kTypeCFirstVert =
    "Photometric: First vertical angle must be 0 or 90";
inline constexpr std::string_view kTypeCLastVert =
    "Photometric: Last vertical angle must be 90 or 180";
inline constexpr std::string_view kTypeCFirstHorz =
    "Photometric: First Horizontal angle must be 0 or 90.";
inline constexpr std::string_view kTypeCLastHorz =
    "Photometric: Last Horizontal angles must be 0,90,180,270, or 360";
inline constexpr std::string_view kTypeBFirstVert =
    "Photometric: First vertical angle must be 0 or -90";
inline constexpr std::string_view kTypeBLastVert =
    "Photometric: Last vertical angle must be 0 or 90";
inline constexpr std::string_view kTypeBFirstHorz =
    "Photometric: First Horizontal angles must be -90 or 0";
inline constexpr std::string_view kTypeBLastHorz =
    "Photometric: Last Horizontal angles must be 0 or 90";
// + i(Vert(i)) > i+1(Vert(i+1)) for Type C, with " < " for Type B
inline constexpr std::string_view kVertOrder =
    "Photometric: Vertical angles must be in ascending order: ";
inline constexpr std::string_view kHorzOrder =
    "Photometric: Horizontal angles must be in ascending order.";
inline constexpr std::string_view kNadir = "Candela: Nadir values must be equal.";
}  // namespace validation_msg

// Flags of the field check.
enum FieldFlags : int {
    kFieldAnyNumber = 0,     // only an empty or non-numeric text is reported
    kFieldPositive = 1,      // the value must be greater than zero
    kFieldWhole = 2,         // the value must equal its rounding to a 16-bit integer
    kFieldAllowMinusOne = 4  // with kFieldPositive: the exact text "-1" passes too
};

// What the check reads: the lamp tab's text boxes as typed, the selected shape, the tilt box,
// the keyword text, the revision and the editor's working arrays. The arrays are the editor's,
// so for Type B the vertical angles (and the candela columns) are held highest first.
struct ValidationInput {
    std::string txtNumLamps;
    std::string txtLumPerLamp;
    std::string txtMultiplier;
    std::string txtBallast;
    std::string txtWatt;
    std::string txtWidth;
    std::string txtLength;
    std::string txtHeight;
    std::string lmpTxtNumAngles;  // number of tilt angles
    int lmpCmbShape = 0;          // selected shape index
    int tltChkTilt = 0;           // 0 unchecked, 1 ticked, 2 grey; only 1 counts as ticked
    std::string keyRtb;           // the keyword lines, separated by CRLF
    int revision = 3;             // 0 = LM-63-1986, 1 = 1991, 2 = 1995, 3 = 2002
    OneBased<float> tiltAngles;
    OneBased<float> tiltFactors;
    OneBased<float> vertAngles;
    OneBased<float> horAngles;
    int numVert = 0;             // V: the vertical angles in use, which the array may not match
    int numHorz = 0;             // H
    OneBased2D<double> candela;  // (horizontal, vertical), as the candela grid holds it
    int photometricType = 1;     // of the working record, not the form: 1 is Type C
};

// Where on the form a finding of the check belongs, so that the editor can show it at the
// field and lead the user there. Indexes are 1-based; 0 where a kind has none.
enum class FormField {
    kNone,
    kNumLamps,
    kLumPerLamp,
    kMultiplier,
    kBallast,
    kWatt,
    kShape,
    kWidth,
    kLength,
    kHeight,
    kNumTiltAngles,
    kTiltTable,        // index: the tilt pair; second: 1 angle, 2 factor
    kKeywordLine,      // index: the line of the keyword text as typed
    kRequiredKeyword,  // keyword: the missing standard keyword, such as "[TEST]"
    kVertAngles,       // index: the held vertical angle
    kHorzAngles,       // index: the horizontal angle
    kCandela           // index: the horizontal angle; second: the held vertical angle
};

struct WarningTarget {
    FormField field = FormField::kNone;
    int index = 0;
    int second = 0;
    std::string_view keyword{};

    friend bool operator==(const WarningTarget&, const WarningTarget&) = default;
};

// A standard keyword the revision requires, and whether the keyword text holds it as the check
// looks for it (the word anywhere in a line, case-sensitive).
struct RequiredKeyword {
    std::string_view keyword;  // as the picker lists it: "[TEST]"
    bool present = false;
};

// The keywords the revision requires (only LM-63-2002 requires any), in the check's order.
std::vector<RequiredKeyword> requiredKeywords(int revision, std::string_view keyRtb);

// What the save-time check will say about one field of the lamp tab as the form holds it now,
// worded as the check words it; empty when the field passes. Fields the check reads only under
// a condition (the tilt count with the tilt box ticked, the shape against the revision) pass
// while the condition does not hold. Other kinds of field always pass. It never faults, so
// that the form can ask on every keystroke.
std::vector<std::string> FieldFindings(const ValidationInput& form, FormField field);

// The field check: appends to `warnings` at most two findings about `text`, each the label
// followed by its suffix. An empty text or a non-numeric one gives one finding and no more; a
// value beyond the 16-bit range is reported as not whole rather than faulting. A numeric text
// whose value is beyond the range of a double raises fault 6.
void CheckField(std::string_view text, std::string_view label, int flags, WarningList& warnings);

// The first- and last-angle findings of the check, in its order, for the held first and last
// angles (Type B, any type but 1, holds its vertical angles highest first).
std::vector<std::string_view> firstAndLastAngleFindings(int photometricType, float firstVert,
                                                        float lastVert, float firstHorz,
                                                        float lastHorz);

// The number of characters of a keyword line as the user sees them: UTF-8 sequences count
// once; text that is not valid UTF-8 is taken as one byte per character.
std::size_t keywordLineLength(std::string_view line);

// The whole save-time check. Clears `warnings`, appends each finding in the order the checks
// run, and returns true when the list stays empty.
//
// The caller first makes the tilt, angle and candela grids commit any cell still being edited
// (so that `form` holds what the user typed), and afterwards shows the warnings dialog when
// the result is false. A tilt or angle count larger than its arrays, or a number of tilt
// angles beyond the 16-bit range, ends the check with a RuntimeFault (9 or 6) for the
// caller's error trap; the findings added until then stay in the list.
bool Validate(const ValidationInput& form, WarningList& warnings);
// The same check, also giving the place of each finding: `targets` gets one entry per line
// added, in the same order (the entries up to a fault stay too).
bool Validate(const ValidationInput& form, WarningList& warnings,
              std::vector<WarningTarget>& targets);

}  // namespace kandor
