#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/onebased.h"

namespace kandor {

// The keyword catalogue: the 21 keywords the system knows, in search order. The same list
// serves every revision of the format.
inline constexpr std::array<std::string_view, 21> kKeywordCatalogue = {
    "TEST",         "TESTLAB",   "TESTDATE",      "NEARFIELD",    "MANUFAC",    "LUMCAT",
    "LUMINAIRE",    "LAMPCAT",   "LAMP",          "BALLAST",      "BALLASTCAT", "MAINTCAT",
    "DISTRIBUTION", "FLASHAREA", "COLORCONSTANT", "LAMPPOSITION", "ISSUEDATE",  "OTHER",
    "SEARCH",       "MORE",      "DATE"};

// Built beside the catalogue but consulted for nothing: a [BLOCK] line is classed like any
// other line.
inline constexpr std::array<std::string_view, 2> kBlockKeywords = {"BLOCK", "ENDBLOCK"};

// Classes of a keyword line.
enum KeywordClass : std::int16_t {
    kIesnaDefined = 0,
    kUserDefined = 1,
    kDeprecated = 2,  // shown in the legend; nothing classifies a line so
    kInvalid = 3,
    kRevisionLine = 4,
};

// Display colours of the classes, as 24-bit blue-green-red integers.
inline constexpr std::int32_t kColorBlack = 0x000000;
inline constexpr std::int32_t kColorBlue = 0xFF0000;
inline constexpr std::int32_t kColorGrey = 0x888888;
inline constexpr std::int32_t kColorRed = 0x0000FF;

// The colour of a class's keyword part.
std::int32_t keywordClassColor(std::int16_t keywordClass);

// The reader's validity check of a line that begins with "[". `lastComposedText` is the text
// the writer composed most recently: when it holds no "IESNA" (a 1986 file) every line is
// valid. Otherwise user keywords ("[_") are valid, and so is a line that begins with one of
// the bracketed catalogue keywords, compared case-sensitively. The caller reports the
// invalid ones.
bool CheckKeyword(std::string_view line, std::string_view lastComposedText);

// ASCII upper case: keyword and command comparisons must not depend on the user's locale.
std::string upperAscii(std::string_view text);

// The class of a line, judged on its upper-cased text: "[_" user defined, "IESNA" revision
// line, any catalogue word anywhere IESNA defined, else invalid. The looseness (a word
// anywhere, brackets not needed) is how lines have always been classed.
std::int16_t ClassifyKeyword(std::string_view line);

// One piece of text appended to a rich text box, in the bold and colour it takes.
struct KeywordRun {
    std::string text;
    bool bold = false;
    std::int32_t color = kColorBlack;  // 24-bit blue-green-red

    friend bool operator==(const KeywordRun&, const KeywordRun&) = default;
};

// Shown when a run-time fault ends the colouring of the keyword lines.
inline constexpr std::string_view kMsgBadKeys = "Bad keys..";

// The runs that fill keyRtb from the given keyword lines, first to last, each line followed by
// CRLF: the keyword part up to and including the first "]" bold in its class colour and the
// rest plain black; a revision line bold black throughout; an invalid line without "]" plain
// red throughout. Runs are kept as they are appended (no merging); empty pieces are left out.
std::vector<KeywordRun> ColorKeywords(const OneBased<std::string>& keywords);

// The runs of the colour legend keyLegend, one per class that can be shown.
std::vector<KeywordRun> keywordLegendRuns();

}  // namespace kandor
