#pragma once

// The LM-63 text of a user's file as KandorPE saves it, apart from any window.

#include <filesystem>
#include <string>
#include <string_view>

#include "core/iesrecord.h"
#include "core/prompter.h"

namespace kandor::fileio {

// How far the reader had to round the file's candela values (it keeps three decimals).
struct RoundingReport {
    int count = 0;         // values that changed
    double maxChange = 0;  // the largest absolute change, in cd
};

// Compares the candela values as the file spells them with what the reader kept. A text whose
// numbers cannot be lined up with the record (a damaged table) gives an empty report.
RoundingReport candelaRounding(std::string_view text, const IesRecord& record);

// The record's header lines as a file holds them: the editor stores the format line with its
// CRLF, and the exchange hands that back as an empty line after it; a saved file must not grow
// blank header lines.
IesRecord withFileKeywords(IesRecord record);

// The text with every CRLF made a lone LF, for a file that had LF line ends.
std::string withLfLineEnds(std::string_view text);

// The LM-63 text a user's file is saved as: the writer's layout with candela values to as many
// decimals as the record holds, header lines without the empty ones the exchange adds, and the
// file's own line ends (LF alone when the original had no CR). Empty when the writer refused
// the record (after telling `prompter`).
std::string composeForFile(IesRecord record, bool lfOnly, Prompter& prompter);

// The name of the copy the editor asks for: "Copy_" and the file's name, beside the file.
std::filesystem::path copyPathFor(const std::filesystem::path& file);

}  // namespace kandor::fileio
