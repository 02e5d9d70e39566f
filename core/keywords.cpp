#include "core/keywords.h"

#include <string>

namespace kandor {

std::int32_t keywordClassColor(std::int16_t keywordClass) {
    switch (keywordClass) {
        case kUserDefined:
            return kColorBlue;
        case kDeprecated:
            return kColorGrey;
        case kInvalid:
            return kColorRed;
        default:
            return kColorBlack;
    }
}

bool CheckKeyword(std::string_view line, std::string_view lastComposedText) {
    if (lastComposedText.find("IESNA") == std::string_view::npos) return true;
    if (line.starts_with("[_")) return true;
    for (std::string_view word : kKeywordCatalogue) {
        // "[" + word + "]" compared over its own length.
        if (line.size() >= word.size() + 2 && line[0] == '[' &&
            line.substr(1, word.size()) == word && line[word.size() + 1] == ']')
            return true;
    }
    return false;
}

std::string upperAscii(std::string_view text) {
    std::string out(text);
    for (char& c : out)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return out;
}

std::int16_t ClassifyKeyword(std::string_view line) {
    const std::string upper = upperAscii(line);
    if (upper.starts_with("[_")) return kUserDefined;
    if (upper.starts_with("IESNA")) return kRevisionLine;
    for (std::string_view word : kKeywordCatalogue)
        if (upper.find(word) != std::string::npos) return kIesnaDefined;
    return kInvalid;
}

std::vector<KeywordRun> ColorKeywords(const OneBased<std::string>& keywords) {
    std::vector<KeywordRun> runs;
    auto append = [&runs](std::string text, bool bold, std::int32_t color) {
        if (!text.empty()) runs.push_back({std::move(text), bold, color});
    };
    for (const std::string& line : keywords) {
        const std::size_t bracket = line.find(']');
        const std::size_t keyLength = bracket == std::string::npos ? 0 : bracket + 1;
        const std::string keyPart = line.substr(0, keyLength);
        const std::string rest = line.substr(keyLength) + "\r\n";
        switch (const std::int16_t keywordClass = ClassifyKeyword(line)) {
            case kIesnaDefined:
            case kUserDefined:
            case kDeprecated:
                append(keyPart, true, keywordClassColor(keywordClass));
                append(rest, false, kColorBlack);
                break;
            case kRevisionLine:
                append(line + "\r\n", true, kColorBlack);
                break;
            default:
                // A free line without "]" is plain red even right after a revision line,
                // whose bold would otherwise carry over and make it look like a keyword.
                if (keyLength == 0) {
                    append(rest, false, kColorRed);
                } else {
                    append(keyPart, true, kColorRed);
                    append(rest, false, kColorBlack);
                }
                break;
        }
    }
    return runs;
}

std::vector<KeywordRun> keywordLegendRuns() {
    return {{"Colors: IESNA defined", false, kColorBlack},
            {" User defined", false, kColorBlue},
            {" Deprecated", false, kColorGrey},
            {" Invalid", false, kColorRed}};
}

}  // namespace kandor
