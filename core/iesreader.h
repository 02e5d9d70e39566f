#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "core/iesrecord.h"

namespace kandor {

// The reader's own texts: report messages, field names and repair prompts. A value in a message
// is appended as the general form of the 32-bit float.
namespace iesreader_msg {
// Header lines.
inline constexpr std::string_view kTiltNeverFound = " TILT= line never found ";
inline constexpr std::string_view kInvalidKeyword = "Invalid Keyword";
inline constexpr std::string_view kDescriptiveLine = " Descriptive line without Keyword.";
inline constexpr std::string_view kMissingTilt = " Missing TILT, ran headlong into numeric data.";
inline constexpr std::string_view kRequired2002 =
    "IES:LM-63-2002 files must have [TEST], [TESTLAB], [MANUFAC], and [ISSUEDATE] keywords.";
inline constexpr std::string_view kInvalidGeometry =
    "invalid Lamp to Luminaire Geometry, must be 1, 2, or 3, read ";

// Tokens.
inline constexpr std::string_view kExponentialPrefix = "Exponential value (";
inline constexpr std::string_view kExponentialMiddle = ") = (";
inline constexpr std::string_view kExponentialFoundFor = ") found for ";
inline constexpr std::string_view kExponentialSuffix = ". Considered Harmful.";
inline constexpr std::string_view kNonNumericPrefix = "Non numeric value (";
inline constexpr std::string_view kNonNumericFoundFor = ") found for ";
inline constexpr std::string_view kPrematureEnd = "Premature End of File at ";

// Field names (`CurrentField`).
inline constexpr std::string_view kFieldLamps = "number of lamps";
inline constexpr std::string_view kFieldLumens = "lumens per lamp";
inline constexpr std::string_view kFieldMultiplier = "candela multiplier";
inline constexpr std::string_view kFieldVertCount = "number of vertical angles";
inline constexpr std::string_view kFieldHorzCount = "number of horizontal angles";
inline constexpr std::string_view kFieldType = "photometric type";
inline constexpr std::string_view kFieldUnits = "units";
inline constexpr std::string_view kFieldWidth = "fixture width";
inline constexpr std::string_view kFieldLength = "fixture length";
inline constexpr std::string_view kFieldHeight = "fixture height";
inline constexpr std::string_view kFieldBallast = "ballast factor";
inline constexpr std::string_view kFieldFuture = "future (never) used factor";
inline constexpr std::string_view kFieldWatts = "input watts";
inline constexpr std::string_view kFieldTilt = "Included tilt factors";
inline constexpr std::string_view kFieldVertAngle = "vertical angle ";
inline constexpr std::string_view kFieldHorzAngle = "horizontal angle ";
inline constexpr std::string_view kFieldCandelaV = "candela value V=";
inline constexpr std::string_view kFieldCandelaH = " H=";

// Header values: reports (not interactive), then repair prompts and titles (interactive).
inline constexpr std::string_view kBadLamps =
    " Invalid number of lamps, must be a whole # greater than 0";
inline constexpr std::string_view kBadLumens = " Invalid Lumens Per Lamp, read: ";
inline constexpr std::string_view kBadMultiplier = " Invalid Candela Multiplier, read: ";
inline constexpr std::string_view kBadVertCount = " Invalid entry of Vertical Angles, read: ";
inline constexpr std::string_view kBadHorzCount = " Invalid entry of Horizontal Angles, read: ";
inline constexpr std::string_view kBadType = " Invalid Photometric Type (B or C only), read: ";
inline constexpr std::string_view kBadUnits = " invalid Units, read: ";
inline constexpr std::string_view kBadBallast = " invalid Ballast Factor, read: ";
inline constexpr std::string_view kBadWatts = " Invalid input watts, read: ";
inline constexpr std::string_view kOnePlaneTypeB =
    "File has 1 plane of horizontal data, but says it's Type B, this may be a mis-labeled Type C";

inline constexpr std::string_view kAskLampsPrefix =
    "There must be a positive, whole number of lamps.  ";
inline constexpr std::string_view kAskInstead = " instead.";
inline constexpr std::string_view kTitleLamps = "Invalid Number of Lamps";
inline constexpr std::string_view kAskLumens =
    "The lumens per lamp must be greater than zero or -1";
inline constexpr std::string_view kTitleLumens = "Invalid Lumens Per Lamp";
inline constexpr std::string_view kAskMultiplierPrefix =
    "The Candela Multiplier must be greater than zero, Read ";
inline constexpr std::string_view kTitleMultiplier = "Invalid Candela Multiplier";
inline constexpr std::string_view kAskTypePrefix =
    "Roadway and Indoor fixtures are usually 1, Floodlights are 2, Read ";
inline constexpr std::string_view kTitleType = "Invalid Photometric Type";
inline constexpr std::string_view kAskUnitsPrefix =
    "1 for fixture measured in feet, 2 for meters, Read ";
inline constexpr std::string_view kTitleUnits = "Invalid Units. ";
inline constexpr std::string_view kAskBallastPrefix = "Ballast Factor must be > 0, read ";
inline constexpr std::string_view kTitleBallast = "Invalid Ballast Factor";
inline constexpr std::string_view kAskWattsPrefix = "Must be a positive value. read ";
inline constexpr std::string_view kTitleWatts = "Invalid Watts";
inline constexpr std::string_view kAskOnePlane =
    "This should be a type C (1) file, only 1 plane of data";
inline constexpr std::string_view kTitleOnePlane = "Incorrect Photometric Type B (2)";
inline constexpr std::string_view kDefaultOne = "1";
inline constexpr std::string_view kDefaultTwo = "2";

// Vertical angles.
inline constexpr std::string_view kVertTypeBWebInC = " Incorect Photometric type for distribution ";
inline constexpr std::string_view kVertFirstC = " First vertical must be 0 or 90, read ";
inline constexpr std::string_view kVertFirstB = " First vertical must be 0 or -90, read ";
inline constexpr std::string_view kVertOrderPrefix =
    " Vertical angles not in ascending order, read ";
inline constexpr std::string_view kVertOrderThen = " then ";
inline constexpr std::string_view kVertLastC = " Last vertical angle must be 90 or 180, read ";
inline constexpr std::string_view kVertTypeCWebInB = " Incorect Photometric type for distribution";
inline constexpr std::string_view kVertLastB = " Last vertical angle must be 90, read ";
inline constexpr std::string_view kAskTypeBWeb =
    "This file is designated as a Type C (1) but has a Type B (2) photometric web.";
inline constexpr std::string_view kAskTypeCWeb =
    "This file is designated as a Type B (2) but has a Type C (1) photometric web.";
inline constexpr std::string_view kTitleWeb = "Incorect Photometric type for distribution";

// Horizontal angles.
inline constexpr std::string_view kHorzFirstMinus90 =
    " First horizontal angle is -90. Possible Type B not C";
inline constexpr std::string_view kHorzFirstC = " First horizontal angle must be 0 or 90, read ";
inline constexpr std::string_view kHorzLastFrom0 =
    " Last horizontal angle must be 90, 180, 270, or 360 if first angle is 0, read ";
inline constexpr std::string_view kHorzLastFrom90 =
    " Last horizontal angle must be 270 if first angle is 90, read ";
inline constexpr std::string_view kHorzFirstB = " first angle must be 0 or -90, read ";
inline constexpr std::string_view kHorzLastB = " last angle must be 90";
inline constexpr std::string_view kHorzOrder = " Horizontal angles not in ascending order";
inline constexpr std::string_view kAskHorzFirst = "This may be a Type B (2) file, not a Type C (1)";
inline constexpr std::string_view kTitleHorzFirst = "First horizontal angle is -90";

// Candela values.
inline constexpr std::string_view kNegativePrefix = "Negative candela value (";
inline constexpr std::string_view kNegativeAtH = ") at H=";
inline constexpr std::string_view kNegativeV = " V=";
inline constexpr std::string_view kNegativeSuffix = ", can't suck light, setting to 0";
inline constexpr std::string_view kNadirDisagree = "Nadir Candela Values do not agree.";
inline constexpr std::string_view kZenithDisagree = "Zenith Candela Values do not agree.";
inline constexpr std::string_view kPolesRead = "Read ";
inline constexpr std::string_view kPolesValues = " values: ";
inline constexpr std::string_view kPolesSeparator = ", ";
inline constexpr std::string_view kPolesAverage = "Average is ";
inline constexpr std::string_view kPolesSmall =
    " this is a small difference, likely a rounding error.";
inline constexpr std::string_view kPolesLarge =
    " this is a large difference, possibly a corrupt file. Contact the Manufacturer for a "
    "correct file";
inline constexpr std::string_view kTitleNadir = "Nadir candela values not equal";
inline constexpr std::string_view kTitleZenith = "Zenith candela values not equal";
}  // namespace iesreader_msg

// Report codes the reader hands to ReportIssue.
namespace iesreader_code {
inline constexpr int kExponential = 1;
inline constexpr int kMissingTilt = 2;  // also the lamp-to-luminaire geometry
inline constexpr int kLamps = 3;
inline constexpr int kLumens = 4;
inline constexpr int kMultiplier = 5;
inline constexpr int kType = 6;
inline constexpr int kBallast = 7;
inline constexpr int kVertOrder = 9;
inline constexpr int kVertFirstC = 10;
inline constexpr int kVertLastC = 11;
inline constexpr int kVertFirstB = 12;
inline constexpr int kVertLastB = 13;
inline constexpr int kHorzOrder = 15;
inline constexpr int kHorzFirst = 16;
inline constexpr int kHorzLastFrom0 = 17;
inline constexpr int kHorzLastFrom90 = 18;
inline constexpr int kHorzLastB = 19;
inline constexpr int kNegativeCandela = 21;
inline constexpr int kNadir = 22;
inline constexpr int kPrematureEnd = 23;
inline constexpr int kWatts = 25;
inline constexpr int kKeyword = 27;
inline constexpr int kTiltNeverFound = 28;
inline constexpr int kVertCount = 29;
inline constexpr int kHorzCount = 30;
inline constexpr int kUnits = 31;
inline constexpr int kNonNumeric = 32;
inline constexpr int kOnePlaneTypeB = 33;
inline constexpr int kRequired2002 = 34;
inline constexpr int kZenith = 35;
}  // namespace iesreader_code

// The two hooks; an empty ReportIssue discards, an empty RepBox returns "" (which reads as 0).
struct ReaderHooks {
    std::function<void(int code, int lineNumber, const std::string& message)> ReportIssue;
    std::function<std::string(const std::string& prompt, const std::string& defaultValue,
                              const std::string& title)>
        RepBox;
};

// The text with every line end as CRLF: LF alone and CR alone become CRLF. Files from other
// systems often end their lines with LF only, while the reader ends header lines at CR.
std::string normaliseLineEnds(std::string_view text);

// A line that begins with "TILT", in any case.
bool startsWithTilt(std::string_view line);

// The outcome of a parse; any value other than kParseClean means the text is not a valid file.
enum ReaderStatus : std::int16_t {
    kParseClean = 0,
    kParseValueProblems = 1,
    kParseUnusable = 2,
    kParseKeywordProblems = 3
};

// The LM-63 reader. It reads numbers by character class rather than by column, repairs what
// it can (asking through RepBox when interactive), reports every other problem through
// ReportIssue and returns a status. One instance keeps LineNumber and CurrentField across
// parses; a fresh instance starts at line 0 with no field.
class IesReader {
  public:
    std::int32_t LineNumber = 0;  // lines read so far; the line every report carries
    std::string CurrentField;     // the field being read, as reports and the end-of-text name it
    ReaderHooks hooks;

    // Parses `text` into `record`; returns the status. lastComposedText is what CheckKeyword
    // consults. Keywords is reset; every other member is overwritten as it is read, so a parse
    // that stops early leaves the rest as it was. Afterwards the angle arrays and the candela
    // table match the counts (a table declared larger than the text could hold keeps the rows
    // there was room for, and the horizontal count follows), and no run-time fault escapes:
    // one that ends the parse makes the status kParseUnusable.
    std::int16_t ParseIes(IesRecord& record, std::string_view text, bool interactive,
                          std::string_view lastComposedText);

    // The run-time fault that ended the last parse early (0 for none, 62 for the end of the
    // text), and its description.
    int lastFaultNumber() const noexcept { return lastFault_; }
    const std::string& lastFaultDescription() const noexcept { return lastFaultText_; }

    // The reader's steps, over `text` from the 0-based offset `pos`, which they advance.

    // One header line: the characters up to the next carriage return (a last line without one
    // loses its last character), then past every following space, CR, LF, comma and tab.
    // Raises fault 62 when `pos` is already past the end.
    std::string_view gfnLineInput(std::string_view text, std::size_t& pos);
    // Advances to the next character of "0123456789-.Ee", counting the CRs passed.
    void SkipToNumber(std::string_view text, std::size_t& pos);
    // The next number; a token that is not a number is reported (code 32) and reads as 0.
    // Raises fault 62 when `pos` is already past the end.
    double gfnValueInput(std::string_view text, std::size_t& pos);
    // Appends a header line to Keywords, filling the empty first element first.
    static void AddKeywordLine(IesRecord& record, std::string_view line);
    // Reads the TILT=INCLUDE block: geometry, pair count, angles, factors.
    void ReadTiltBlock(IesRecord& record, std::string_view text, std::size_t& pos);
    // The hooks, through which every report and repair prompt passes.
    void ReportIssue(int code, int lineNumber, const std::string& message);
    std::string RepBox(const std::string& prompt, const std::string& defaultValue,
                       const std::string& title);

  private:
    struct Parse;  // the state of one parse
    void parseBody(Parse& p);
    bool readHeaderLines(Parse& p);
    void readHeaderNumbers(Parse& p, bool fromStart);
    void readVerticalAngles(Parse& p);
    void readHorizontalAngles(Parse& p);
    void readCandela(Parse& p);
    void checkPole(Parse& p, int vIndex, int code, std::string_view report, std::string_view title);
    void settle(Parse& p);
    const std::string& field();
    void setField(std::string_view name);
    void setCandelaField(const IesRecord& record, int h, int v);

    // The candela value whose field name has not been built yet (none while lazyRecord_ is
    // null): the name is only wanted by a report, so the table loop does not build it for
    // every value.
    const IesRecord* lazyRecord_ = nullptr;
    int lazyH_ = 0;
    int lazyV_ = 0;
    int lastFault_ = 0;
    std::string lastFaultText_;
};

}  // namespace kandor
