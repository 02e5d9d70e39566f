#pragma once

// Conversions between EULUMDAT (LdtRecord) and LM-63 (IesRecord). What one format holds and
// the other cannot is carried, where that is sensible, in user keywords ([_LDT_...]) on the
// LM-63 side and in the date/user line on the EULUMDAT side, so that converting there and back
// restores it; what cannot be carried is named in a finding.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/iesrecord.h"
#include "core/ldtrecord.h"

namespace kandor {

// The conversions' texts; a value or a name follows where a text ends in a blank.
namespace ldtconvert_msg {
inline constexpr std::string_view kIncomplete =
    "The data are incomplete (the counts do not match the tables); nothing was converted";
inline constexpr std::string_view kLampSets =
    " lamp sets: the candela values use the first, as "
    "the sets are alternative equipments";
inline constexpr std::string_view kConversionFactor =
    "The conversion factor is applied through the candela multiplier: ";
inline constexpr std::string_view kNoFlux =
    "No lamp flux: the candela values are the cd/klm values, with multiplier 1";
inline constexpr std::string_view kPadded =
    "Gamma angles added with zero intensities, as LM-63 "
    "needs the vertical angles to run 0 or 90 to 90 or "
    "180: ";
inline constexpr std::string_view kNotTypeC =
    "Only Type C photometry has an EULUMDAT form; Type B and Type A cannot be converted";
inline constexpr std::string_view kNoSymmetry =
    "The horizontal angles have no EULUMDAT symmetry (one angle, 0-90, 0-180, 90-270 or a full "
    "circle), read ";
inline constexpr std::string_view kTo = " to ";
inline constexpr std::string_view kAllPlanes =
    "The planes do not fit the positions symmetry stores; all planes of the circle are written "
    "(symmetry 0)";
inline constexpr std::string_view k360Differs =
    "The 360-degree plane differs from the 0-degree plane; EULUMDAT keeps only the 0-degree one";
inline constexpr std::string_view kTiltLost = "The TILT table has no place in EULUMDAT; not kept";
inline constexpr std::string_view kBallastLost = "The ballast factor has no place in EULUMDAT: ";
inline constexpr std::string_view kOptionalLost =
    "The text after the candela table has no place in EULUMDAT; not kept";
inline constexpr std::string_view kShape = "The luminous shape has no EULUMDAT form: ";
inline constexpr std::string_view kShapeTail = "; written as its bounding box";
inline constexpr std::string_view kLongText =
    " is longer than the 78 characters of the old field list; kept whole: ";
inline constexpr std::string_view kTooManyAngles =
    "More than 32767 angles in one direction; LM-63 cannot hold the table";
inline constexpr std::string_view kBadAngles =
    "The angles do not rise; the table cannot be placed in EULUMDAT's planes";
}  // namespace ldtconvert_msg

// The numbers of the conversions' findings (after the reader's).
namespace ldtconvert_code {
inline constexpr int kIncomplete = 40;
inline constexpr int kLampSets = 41;
inline constexpr int kConversionFactor = 42;
inline constexpr int kNoFlux = 43;
inline constexpr int kPadded = 44;
inline constexpr int kNotTypeC = 45;
inline constexpr int kNoSymmetry = 46;
inline constexpr int kAllPlanes = 47;
inline constexpr int k360Differs = 48;
inline constexpr int kTiltLost = 49;
inline constexpr int kBallastLost = 50;
inline constexpr int kOptionalLost = 51;
inline constexpr int kShape = 52;
inline constexpr int kLongText = 53;
inline constexpr int kBadAngles = 54;
inline constexpr int kTooManyAngles = 55;
}  // namespace ldtconvert_code

// The user keywords that carry EULUMDAT fields through an LM-63 file.
namespace ldt_keyword {
inline constexpr std::string_view kPrefix = "[_LDT_";
inline constexpr std::string_view kRotation = "[_LDT_ROTATION]";  // 0 or 90: H = C + this
inline constexpr std::string_view kType = "[_LDT_TYPE]";          // type indicator
inline constexpr std::string_view kFileName = "[_LDT_FILENAME]";
inline constexpr std::string_view kLuminaire = "[_LDT_LUMINAIRE]";  // length width height, mm
// length width and the heights at C0 C90 C180 C270, mm
inline constexpr std::string_view kLuminous = "[_LDT_LUMINOUS]";
inline constexpr std::string_view kDff = "[_LDT_DFF]";
inline constexpr std::string_view kLorl = "[_LDT_LORL]";
inline constexpr std::string_view kTilt = "[_LDT_TILT]";  // measurement attitude, degrees
inline constexpr std::string_view kDirectRatios = "[_LDT_DR]";
inline constexpr std::string_view kGrid = "[_LDT_GRID]";      // Isym Mc Dc Ng Dg as stated
inline constexpr std::string_view kPadded = "[_LDT_PADDED]";  // vertical angles added
// [_LDT_SETn_FIELD]: the fields of lamp set n that the LM-63 numbers do not hold
inline constexpr std::string_view kSetPrefix = "[_LDT_SET";
}  // namespace ldt_keyword

// From EULUMDAT to LM-63.
struct LdtToIesOptions {
    // LM-63's horizontal 0 along the luminaire's length: H = C + 90, and the luminous length
    // goes to LM-63's length. Without it H = C and the luminous length goes to the width.
    bool quarterTurn = false;
    // Carry the fields LM-63 cannot hold as [_LDT_...] keywords (for a file converted to
    // LM-63); without them the caller keeps the LdtRecord to save into (the editor).
    bool ldtKeywords = true;
};

struct LdtToIesResult {
    IesRecord record;
    std::vector<LdtFinding> findings;
    int status = kLdtClean;
};

// The LM-63-2002 record of an EULUMDAT record. A record that is not consistent is refused
// (status kLdtUnusable, an empty record).
LdtToIesResult ldtToIes(const LdtRecord& ldt, const LdtToIesOptions& options = {});

// From LM-63 to EULUMDAT.
struct IesToLdtOptions {
    // Unset: as the record's [_LDT_ROTATION] keyword says, else no turn.
    std::optional<bool> quarterTurn;
    // The file-name line when neither the keywords nor the original give one.
    std::string fileName;
};

struct IesToLdtResult {
    LdtRecord record;
    std::vector<LdtFinding> findings;
    int status = kLdtClean;
};

// The EULUMDAT record of an LM-63 record. `original`, when given, is the EULUMDAT record the
// LM-63 one was made from: every field LM-63 cannot hold is kept from it (an [_LDT_...]
// keyword of the record wins over it). Type B and A, and horizontal angles without an
// EULUMDAT symmetry, are refused with status kLdtUnusable.
IesToLdtResult iesToLdt(const IesRecord& ies, const LdtRecord* original = nullptr,
                        const IesToLdtOptions& options = {});

// The editor's two steps on an .ldt file.
struct LdtDocument {
    IesRecord record;                  // what the editor shows and edits
    LdtRecord original;                // every field as read, for saving into
    std::vector<LdtFinding> findings;  // the reader's, then the conversion's
    int status = kLdtClean;
};

// Reads an .ldt text into the record the editor edits, keeping the fields it does not show.
LdtDocument openLdtDocument(std::string_view text, bool quarterTurn = false);
// The same with the conversion's options: with ldtKeywords for a file that becomes LM-63.
LdtDocument openLdtDocument(std::string_view text, const LdtToIesOptions& options);

struct LdtSaved {
    std::string text;  // empty when the conversion was refused
    std::vector<LdtFinding> findings;
    int status = kLdtClean;
};

// The .ldt text of an edited record, keeping the original's other fields; without an original,
// the record converted afresh.
LdtSaved saveLdtDocument(const IesRecord& edited, const LdtRecord* original,
                         const IesToLdtOptions& options);
LdtSaved saveLdtDocument(const IesRecord& edited, const LdtRecord& original,
                         bool quarterTurn = false);

// The flux of an EULUMDAT table over the whole sphere and below the horizontal, in lumens
// per 1000 lamp lumens (the unit of the intensities), with the intensity linear in gamma
// between measured angles. The record must be consistent.
struct LdtFlux {
    double total = 0;
    double downward = 0;
};
LdtFlux ldtFlux(const LdtRecord& ldt);

}  // namespace kandor
