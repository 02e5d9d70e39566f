#include "core/warnings.h"

namespace kandor {

std::vector<std::string> WarningList::lines() const {
    std::vector<std::string> out;
    std::size_t start = 0;
    while (start < text_.size()) {
        std::size_t end = text_.find("\r\n", start);
        if (end == std::string::npos) end = text_.size();
        out.emplace_back(text_.substr(start, end - start));
        start = end + 2;
    }
    return out;
}

}  // namespace kandor
