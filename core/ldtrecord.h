#pragma once

// EULUMDAT (.ldt): the record that holds every field of the format as it was read, and the
// findings that the reader and the conversions report about it.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kandor {

// One standard lamp set: six lines of the file, written set by set.
struct LdtLampSet {
    int numLamps = 0;       // negative: absolute photometry (the flux is then the luminaire's)
    std::string type;       // lamp type, free text
    double flux = 0;        // lm, all lamps of the set together
    std::string colour;     // colour appearance or temperature ("3000", "nw/4200"), free text
    std::string rendering;  // colour rendering group or index ("1B/86"), free text
    double watts = 0;       // including ballast

    friend bool operator==(const LdtLampSet&, const LdtLampSet&) = default;
};

// Every field of an EULUMDAT file, in file order. Lengths in mm, angles in degrees,
// percentages 0..100, intensities in cd per 1000 lamp lumens. Texts are the bytes of their
// lines exactly (no transcoding, spaces kept).
//
// Consistent (ldtConsistent) when cAngles holds mc values, gammaAngles ng, and intensities
// ldtStoredPlanes(isym, mc) x ng; a record the reader found unusable may not be.
struct LdtRecord {
    std::string company;  // company identification, data bank, version
    int ityp = 1;         // type indicator: 1 point source, 2 linear, 3 other point source
    int isym = 0;         // symmetry indicator 0..4: which C planes are stored
    int mc = 0;           // number of C planes over the whole circle
    double dc = 0;        // distance between C planes; 0 when they are not equidistant
    int ng = 0;           // number of gamma angles per plane
    double dg = 0;        // distance between gamma angles; 0 when not equidistant
    std::string report;   // measurement report number
    std::string luminaireName;
    std::string luminaireNumber;
    std::string fileName;
    std::string dateUser;
    double length = 0;  // of the luminaire, or its diameter when width is 0
    double width = 0;
    double height = 0;
    double luminousLength = 0;  // of the luminous area, or its diameter when its width is 0
    double luminousWidth = 0;
    std::array<double, 4> luminousHeights{};  // luminous side heights at C0, C90, C180, C270
    double dff = 0;                           // downward flux fraction, %
    double lorl = 0;                          // light output ratio of the luminaire, %
    double conversionFactor = 1;              // for the intensities
    double tilt = 0;  // the luminaire's attitude during measurement, not a tilt table
    std::vector<LdtLampSet> lampSets;
    std::array<double, 10> directRatios{};  // for room indices 0.6, 0.8, 1, ... 5
    std::vector<double> cAngles;            // all mc angles of the circle, from 0 upward
    std::vector<double> gammaAngles;        // from 0 (nadir) upward
    std::vector<double> intensities;        // stored plane by stored plane, gamma ascending within
    std::string trailingText;               // what followed the declared values, CR LF line ends

    friend bool operator==(const LdtRecord&, const LdtRecord&) = default;
};

// The room indices the ten direct ratios belong to.
inline constexpr std::array<double, 10> kLdtRoomIndices = {0.6, 0.8, 1.0, 1.25, 1.5,
                                                           2.0, 2.5, 3.0, 4.0,  5.0};

// The number of stored C planes for a symmetry indicator and a number of planes: all of them
// without symmetry, one for rotational symmetry, half plus one about a plane, a quarter plus
// one about both; -1 when the indicator is not 0..4 or the planes do not divide as it needs.
int ldtStoredPlanes(int isym, int mc);

// The 0-based position in cAngles of the first stored plane (the later ones follow, wrapping
// past the end of the list): C270 for symmetry about the plane C90-C270, else the first.
int ldtFirstStoredPosition(int isym, int mc);

// The C angle of stored plane j (0-based); the record must be consistent.
double ldtStoredAngle(const LdtRecord& record, int j);

// Whether the arrays match the counts, so that the writer and the conversions can use it.
bool ldtConsistent(const LdtRecord& record);

// The status of a reading or a conversion, the worst of its findings'.
enum LdtStatus : int {
    kLdtClean = 0,     // nothing changed (notes may still say something)
    kLdtRepaired = 1,  // values were repaired, or something could not be kept
    kLdtUnusable = 2,  // the data are incomplete, or the conversion was refused
};

// One problem: a number that names its kind, the line of the file (0 when it concerns no
// line), the status it gives, and the text.
struct LdtFinding {
    int code = 0;
    int line = 0;
    int status = kLdtClean;
    std::string message;

    friend bool operator==(const LdtFinding&, const LdtFinding&) = default;
};

// The worst status of a list of findings.
int ldtWorstStatus(const std::vector<LdtFinding>& findings);

// Reads one number of a header line or a table: an optional sign, digits with a decimal point
// or a decimal comma ("123,45"), a trailing point ("750."), an optional exponent; nothing
// else (no "inf", no thousands separators). False, and 0, for anything else.
bool parseLdtNumber(std::string_view token, double& value);

// The shortest decimal text that reads back as the value, never with an exponent: "100",
// "0.68625", "-2.5"; "0" for either zero.
std::string ldtNumberText(double value);
// The same appended to `out`, for tables, without a string per value.
void appendLdtNumber(std::string& out, double value);

// The value rounded to `digits` significant decimal digits, which takes away the noise that
// arithmetic and 32-bit floats leave in values that were short decimals.
double roundSignificant(double value, int digits);

// Texts wider than this break the old field list, which real files ignore.
inline constexpr std::size_t kLdtNominalTextWidth = 78;

}  // namespace kandor
