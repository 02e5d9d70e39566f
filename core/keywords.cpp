#include "core/keywords.h"

#include <string>

namespace kandor {

std::int32_t keywordClassColor(std::int16_t keywordClass) {
    switch (keywordClass) {
        case kUserDefined: return kColorBlue;
        case kDeprecated: return kColorGrey;
        case kInvalid: return kColorRed;
        default: return kColorBlack;
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

std::int16_t ClassifyKeyword(std::string_view line) {
    std::string upper(line);
    for (char& c : upper)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (upper.starts_with("[_")) return kUserDefined;
    if (upper.starts_with("IESNA")) return kRevisionLine;
    for (std::string_view word : kKeywordCatalogue)
        if (upper.find(word) != std::string::npos) return kIesnaDefined;
    return kInvalid;
}

}  // namespace kandor
