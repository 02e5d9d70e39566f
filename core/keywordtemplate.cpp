#include "core/keywordtemplate.h"

#include <set>

#include "core/keywords.h"

namespace kandor {

namespace {

char foldAscii(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

std::string folded(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        c = foldAscii(c);
    return out;
}

constexpr char kFirstPrintable = '!';
constexpr char kLastPrintable = '~';

}  // namespace

TemplateEntries templateEntries(const std::vector<std::string>& lines, bool& ok) {
    TemplateEntries entries;
    std::set<std::string> taken;  // folded keys, as the store compares them
    ok = true;
    for (std::size_t index = 0; index < lines.size(); ++index) {
        const std::string& line = lines[index];
        const std::size_t bracket = line.find(']');
        const std::size_t keyLength = bracket == std::string::npos ? 0 : bracket + 1;
        // Letter and split point: the letter of the line's number and its keyword part when
        // free; else any free letter; else, for lines alike up to their "]" but not beyond, the
        // whole line in the key. A load gives the same line back for any of them.
        const int preferred = 65 + static_cast<int>(index) + 1;
        std::string key;
        for (const std::size_t split : {keyLength, line.size()}) {
            const std::string foldedPart = folded(line.substr(0, split));
            auto freeWith = [&](int letter) {
                return taken.count(std::string(1, foldAscii(static_cast<char>(letter))) +
                                   foldedPart) == 0;
            };
            int letter = -1;
            if (preferred <= kLastPrintable && freeWith(preferred)) {
                letter = preferred;
            } else {
                for (int c = kFirstPrintable; c <= kLastPrintable && letter < 0; ++c)
                    if (freeWith(c)) letter = c;
            }
            if (letter >= 0) {
                key = std::string(1, static_cast<char>(letter)) + line.substr(0, split);
                break;
            }
        }
        if (key.empty()) {
            ok = false;
            return {};
        }
        taken.insert(folded(key));
        entries.emplace_back(key, line.substr(key.size() - 1));
    }
    return entries;
}

std::vector<std::string> appendTemplate(std::vector<std::string> lines,
                                        const TemplateEntries& entries, bool& usedDefaults) {
    usedDefaults = entries.empty();
    if (usedDefaults) {
        for (std::string_view line : kDefaultTemplateLines)
            lines.emplace_back(line);
        return lines;
    }
    for (const auto& [key, value] : entries)
        lines.push_back((key.empty() ? std::string() : key.substr(1)) + value);
    return lines;
}

std::vector<std::string> splitKeywordLines(std::string_view text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find("\r\n", start);
        if (end == std::string_view::npos) {
            lines.emplace_back(text.substr(start));
            break;
        }
        lines.emplace_back(text.substr(start, end - start));
        start = end + 2;
    }
    return lines;
}

KeywordDrop planKeywordDrop(int lineUnderPointer, int lineCount, bool lastLineEmpty) {
    // The empty line after a final line end is where the caret sits when appending; dropping
    // on it appends as well.
    const int usedLines = lastLineEmpty ? lineCount - 1 : lineCount;
    if (lineUnderPointer >= 0 && lineUnderPointer < usedLines)
        return {lineUnderPointer, false, false};
    return {usedLines < 0 ? 0 : usedLines, !lastLineEmpty && lineCount > 0, true};
}

KeywordKeyAction keywordKeyAction(std::string_view typed, bool keywordClosed,
                                  char charBeforeCaret) {
    if (typed.empty()) return KeywordKeyAction::None;
    if (typed == "[") return KeywordKeyAction::BoldOn;
    if (typed == "]") return KeywordKeyAction::CloseKeyword;
    // Only a "_" that starts a user keyword recolours: elsewhere it is an ordinary character
    // of a value and must not disturb the text around it.
    if (typed == "_" && charBeforeCaret == '[') return KeywordKeyAction::UserKeyword;
    return keywordClosed ? KeywordKeyAction::PlainAfterKey : KeywordKeyAction::None;
}

std::optional<ClosingKeyword> closingKeyword(std::string_view line, std::size_t caret) {
    if (caret > line.size()) caret = line.size();
    if (caret == 0) return std::nullopt;
    const std::size_t open = line.rfind('[', caret - 1);
    if (open == std::string_view::npos) return std::nullopt;
    const std::int16_t keywordClass = ClassifyKeyword(line.substr(open, caret - open));
    ClosingKeyword result{open, std::nullopt};
    if (keywordClass != kRevisionLine) result.color = keywordClassColor(keywordClass);
    return result;
}

}  // namespace kandor
