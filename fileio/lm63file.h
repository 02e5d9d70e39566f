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

// The LM-63 text a user's file is saved as: the writer's layout with candela values to as many
// decimals as the record holds, header lines without the empty ones the exchange adds, and the
// file's own line ends (LF alone when the original had no CR). Empty when the writer refused
// the record (after telling `prompter`).
std::string composeForFile(IesRecord record, bool lfOnly, Prompter& prompter);

// The name of the copy the editor asks for: "Copy_" and the file's name, beside the file.
std::filesystem::path copyPathFor(const std::filesystem::path& file);

}  // namespace kandor::fileio
