#pragma once

// `kandor-host edit`: plays the host for one LM-63 file on disk. It hands the file to the
// editor through slot 1, answers the editor's commands, and saves what the editor hands back
// without ever leaving the file half-written.

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "core/iesrecord.h"
#include "core/prompter.h"

namespace kandor::hostedit {

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
// file's own line ends (LF alone when the original had no CR).
std::string composeForFile(IesRecord record, bool lfOnly, Prompter& prompter);

// Writes `bytes` to `file` so that a reader sees either the old or the new file, never a part:
// a temporary file beside it, flushed to disk, then renamed over it. False with `error` set.
bool saveAtomically(const std::filesystem::path& file, std::string_view bytes, std::string& error);

// The name of the copy the editor asks for: "Copy_" and the file's name, beside the file.
std::filesystem::path copyPathFor(const std::filesystem::path& file);

// What a command from the editor asks of the host.
enum class EditorRequest { None, SaveFile, SaveCopy, Close };
struct ParsedCommand {
    EditorRequest request = EditorRequest::None;
    bool closing = false;
};
ParsedCommand parseEditorCommand(std::string_view command);

struct EditOptions {
    std::filesystem::path file;
    std::string toolPath;  // the editor executable
    std::string section;   // the exchange section; a private one when empty
    bool child = false;
    bool copy = false;
    bool force = false;
    double startSeconds = 30;  // how long the editor may take to acknowledge "START"
};

// Runs the whole session; the exit status of `kandor-host edit`.
int runEdit(const EditOptions& options);

}  // namespace kandor::hostedit
