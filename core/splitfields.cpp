#include "core/splitfields.h"

namespace kandor {

const std::string& FieldSplit::cell(int line, int field) const {
    static const std::string empty;
    if (line < 1 || line > lineCount || field < 1 || field > fieldCount)
        raiseFault(fault::kSubscriptOutOfRange);
    const auto& row = fields[static_cast<std::size_t>(line - 1)];
    return static_cast<std::size_t>(field) <= row.size() ? row[static_cast<std::size_t>(field - 1)]
                                                         : empty;
}

FieldSplit SplitFields(std::string_view text, bool linesOnly) {
    FieldSplit out;
    std::size_t start = 0;
    while (true) {
        std::size_t lf = text.find('\n', start);
        std::string_view line =
            text.substr(start, lf == std::string_view::npos ? std::string_view::npos : lf - start);
        out.lines.append(std::string(line));
        std::vector<std::string> row;
        if (linesOnly) {
            row.emplace_back(line);
        } else {
            std::size_t from = 0;
            while (true) {
                std::size_t comma = line.find(',', from);
                row.emplace_back(line.substr(
                    from, comma == std::string_view::npos ? std::string_view::npos : comma - from));
                if (comma == std::string_view::npos) break;
                from = comma + 1;
            }
        }
        if (static_cast<int>(row.size()) > out.fieldCount)
            out.fieldCount = static_cast<int>(row.size());
        out.fields.push_back(std::move(row));
        if (lf == std::string_view::npos || lf + 1 == text.size()) break;
        start = lf + 1;
    }
    out.lineCount = out.lines.ubound();
    return out;
}

}  // namespace kandor
