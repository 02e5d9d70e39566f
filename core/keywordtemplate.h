#pragma once

// The keywords tab's rules apart from its widgets: the user's keyword template as the settings
// store keeps it, where a keyword dragged from the picker lands, and what typing "[", "]" or
// "_" does to the colour of the keyword being typed.

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kandor {

namespace keyword_template_text {
// The section of the user's application that holds the template.
inline constexpr std::string_view kSection = "Tool_DefaultKeywords";
inline constexpr std::string_view kNoDefaults = "No default keywords saved.";
inline constexpr std::string_view kSaveQuestion =
    "This will save keywords and values as a template";
// Shown instead of saving when the lines cannot all get keys of their own; the stored
// template is then left as it was.
inline constexpr std::string_view kTooManyAlike =
    "The keyword template was not saved: too many of its lines begin with the same keyword "
    "for each to be kept apart. The template saved before is unchanged.";
}  // namespace keyword_template_text

// The lines a load appends when no template is saved. The first carries its own line end, so
// an empty line follows it; a tenth, empty line follows the nine.
inline constexpr std::array<std::string_view, 10> kDefaultTemplateLines = {"IESNA:LM-63-2002\r\n",
                                                                           "[TEST]",
                                                                           "[TESTLAB]",
                                                                           "[ISSUEDATE]",
                                                                           "[MANUFAC]",
                                                                           "[LUMCAT]",
                                                                           "[LUMINAIRE]",
                                                                           "[LAMPCAT]",
                                                                           "[LAMP]",
                                                                           ""};

using TemplateEntries = std::vector<std::pair<std::string, std::string>>;

// The store entries that keep `lines` as a template, in line order. Each key is one letter
// followed by the line up to and including its first "]"; the value is the rest of the line.
// The letter of line i (1-based) is the character 65 + i, so the first line's key starts with
// "B". The store compares keys without regard to case, so a later line whose key would be
// taken already (line 33 "b[MORE]" against line 1 "B[MORE]") or whose letter would leave
// printable ASCII gets the first free printable letter instead, and lines alike up to their
// "]" carry their whole text in the key once the letters run out: a load drops the first
// character whatever it is, and order comes from the store. Empty, with `ok` false, when even
// that cannot keep the lines apart (dozens of identical lines); nothing must be saved then.
TemplateEntries templateEntries(const std::vector<std::string>& lines, bool& ok);

// The lines after a template load: `lines` with one line per entry appended (the key without
// its first character, then the value). With no entries the ten default lines are appended
// and `usedDefaults` is set. Loading never replaces a line.
std::vector<std::string> appendTemplate(std::vector<std::string> lines,
                                        const TemplateEntries& entries, bool& usedDefaults);

// The lines of a keyword text whose line ends are CRLF; a final line end closes the last line
// rather than opening an empty one.
std::vector<std::string> splitKeywordLines(std::string_view text);

// Where a keyword dropped on the keyword text goes. The new line holds the keyword and a
// blank, and the caret stays after the blank so the user types the value next.
struct KeywordDrop {
    int line = 0;             // 0-based line the new line goes in front of, unless appending
    bool breakFirst = false;  // appending after a last line with text: start a new line first
    bool append = false;      // the new line goes at the end of the text
};
// `lineUnderPointer` is the 0-based line the pointer is over, -1 when it is below the last
// line (or there is no text). `lastLineEmpty` tells whether the text ends in a line end (its
// last line is then the empty one after it).
KeywordDrop planKeywordDrop(int lineUnderPointer, int lineCount, bool lastLineEmpty);

// What a typed character does to the formatting of keyRtb, decided before it is inserted.
enum class KeywordKeyAction {
    None,           // type as usual
    BoldOn,         // "[": a keyword starts; what follows is bold
    CloseKeyword,   // "]": colour the keyword typed since its "[" by its class; set the flag
    UserKeyword,    // "_" right after "[": the "[" turns blue, and so does what follows
    PlainAfterKey,  // first key after "]": clear the flag; what follows is plain black
};

// The action for the text of a key press (empty for keys that type nothing, such as Shift,
// which leave the flag alone). `charBeforeCaret` is 0 at the start of the text.
KeywordKeyAction keywordKeyAction(std::string_view typed, bool keywordClosed, char charBeforeCaret);

// The keyword being closed by a "]" typed at `caret` (an offset into `line`): the offset of
// the last "[" at or before the caret and the colour its text "[..." takes by its class (24-bit
// blue-green-red). No colour when the class leaves the colour as it is; nothing at all when the
// line holds no "[" before the caret.
struct ClosingKeyword {
    std::size_t start = 0;
    std::optional<std::int32_t> color;
};
std::optional<ClosingKeyword> closingKeyword(std::string_view line, std::size_t caret);

}  // namespace kandor
