#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/onebased.h"

namespace kandor {

// The result of SplitFields: one-based lines and a one-based (line, field) view of the fields.
struct FieldSplit {
    OneBased<std::string> lines;  // each line as cut at LF; a CR before the LF stays in it
    int lineCount = 0;
    int fieldCount = 0;  // the largest number of fields in any line

    // Field `field` of line `line`, both from 1. A line with fewer fields than fieldCount
    // gives the empty string for the rest; an index beyond the counts raises fault 9.
    const std::string& cell(int line, int field) const;

    std::vector<std::vector<std::string>> fields;  // per line, 0-based; ragged, never padded
};

// The one splitter for comma- and line-feed-separated text (exchange values, commands, the
// command line): lines at each line feed, fields at each ",". A text without a line feed is
// one line; a line feed that ends the text does not open another line. With linesOnly the
// lines are not cut at "," and each line is its own single field.
FieldSplit SplitFields(std::string_view text, bool linesOnly = false);

}  // namespace kandor
