#pragma once

#include <string_view>
#include <vector>

#include "core/ldtrecord.h"

namespace kandor {

// The reader's texts. A field's name, a value or a line follows where a text ends in a blank.
namespace ldtreader_msg {
inline constexpr std::string_view kEndsInHeader = "The file ends before its ";
inline constexpr std::string_view kEmptyNumber = "No number on the line of the ";
inline constexpr std::string_view kNotANumber = "Not a number for the ";
inline constexpr std::string_view kReadAsZero = ", read as 0: ";
inline constexpr std::string_view kTextAfterNumber = "Text after the number ignored for the ";
inline constexpr std::string_view kNotWhole = "Not a whole number for the ";
inline constexpr std::string_view kBadSymmetry = "The symmetry indicator must be 0 to 4, read ";
inline constexpr std::string_view kBadPlaneCount = "The number of C planes does not suit symmetry ";
inline constexpr std::string_view kBadGammaCount =
    "The number of gamma angles must be 1 or more, read ";
inline constexpr std::string_view kBadLampSets = "The number of lamp sets must be 0 or more, read ";
inline constexpr std::string_view kNoLampSet = "No lamp set: the intensities have no lamp flux";
inline constexpr std::string_view kItypZero =
    "Type indicator 0 is not in every field list; read as a point source without symmetry";
inline constexpr std::string_view kItypRange = "The type indicator should be 1, 2 or 3, read ";
inline constexpr std::string_view kShortTable = "The file holds only ";
inline constexpr std::string_view kShortTableOf = " of the ";
inline constexpr std::string_view kShortTableTail = " angles and intensities it declares";
inline constexpr std::string_view kTrailing =
    "Data after the declared angles and intensities, kept apart from them";
inline constexpr std::string_view kCOrder =
    "The C angles should rise from 0 and stay below 360; read ";
inline constexpr std::string_view kGammaOrder =
    "The gamma angles should rise and stay within 0 to 180; read ";
inline constexpr std::string_view kAfter = " after ";
inline constexpr std::string_view kNegative = " negative intensities set to 0, the first at C ";
inline constexpr std::string_view kNegativeGamma = ", gamma ";
inline constexpr std::string_view kDcMismatch =
    "The distance between C planes does not match the C angles: ";
inline constexpr std::string_view kDgMismatch =
    "The distance between gamma angles does not match the gamma angles: ";
inline constexpr std::string_view kFirstPlane = "Symmetry ";
inline constexpr std::string_view kFirstPlaneMiddle = " stores its first plane at C ";
inline constexpr std::string_view kFirstPlaneTail = "; the C angles put C ";
inline constexpr std::string_view kFirstPlaneThere = " there";
}  // namespace ldtreader_msg

// The numbers of the reader's findings.
namespace ldtreader_code {
inline constexpr int kEndsInHeader = 1;
inline constexpr int kEmptyNumber = 2;
inline constexpr int kNotANumber = 3;
inline constexpr int kTextAfterNumber = 4;
inline constexpr int kNotWhole = 5;
inline constexpr int kBadSymmetry = 6;
inline constexpr int kBadPlaneCount = 7;
inline constexpr int kBadGammaCount = 8;
inline constexpr int kBadLampSets = 9;
inline constexpr int kNoLampSet = 20;
inline constexpr int kItypZero = 10;
inline constexpr int kItypRange = 11;
inline constexpr int kShortTable = 12;
inline constexpr int kTrailing = 13;
inline constexpr int kCOrder = 14;
inline constexpr int kGammaOrder = 15;
inline constexpr int kNegative = 16;
inline constexpr int kDcMismatch = 17;
inline constexpr int kDgMismatch = 18;
inline constexpr int kFirstPlane = 19;
}  // namespace ldtreader_code

// What a reading gives: the record, the findings in the order met, and their worst status.
struct LdtReadResult {
    LdtRecord record;
    std::vector<LdtFinding> findings;
    int status = kLdtClean;
};

// Reads the text of an EULUMDAT file. Tolerant of what real files do: CR LF, LF or CR line
// ends, a missing last line end, a UTF-8 byte-order mark, decimal commas, blanks around
// numbers, a trailing point ("750."), several values on one line of the tables, blank lines
// among them. Header lines are counted, so an empty line there is a value (an empty text).
// The tables stop at the declared count; what follows is kept in trailingText and reported.
// Counts are checked against the text before anything is allocated. Never throws.
LdtReadResult readLdt(std::string_view text);

// Whether a text is EULUMDAT rather than LM-63, judged by its content: no "TILT" line, and
// the lines of the type and symmetry indicators and the plane and angle counts are numbers.
bool looksLikeLdt(std::string_view text);

enum class PhotometricFormat { Lm63, Eulumdat };

// The format of a photometric file: by its content where that tells (a TILT line is LM-63,
// looksLikeLdt EULUMDAT), else by the name's extension (".ldt", in any case, is EULUMDAT).
PhotometricFormat photometricFormat(std::string_view text, std::string_view fileName);

}  // namespace kandor
