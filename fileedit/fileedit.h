#pragma once

// Editing one photometric file on disk: the file goes to the editor through exchange slot 1,
// the editor's commands are answered as a host answers them, and what the editor hands back is
// saved with the safe saving of fileio, so that no failure, no other program and no second
// editor costs the user the file or the edits.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/iesrecord.h"
#include "core/ldtrecord.h"
#include "core/prompter.h"
#include "fileio/safesave.h"

namespace kandor::fileedit {

// The editor learns from this environment variable that it edits a file for a person at a
// desktop rather than a record for a host application (and which file).
inline constexpr const char* kEditFileVariable = "KANDORPE_EDIT_FILE";

// Under this key of the session's exchange section the editor finds what the reader said of
// the file: the status on the first line, then one finding per line ("line 12: (27) ...").
// Absent for a clean file.
inline constexpr const char* kOpenReportKey = "OpenReport";

// Exit statuses of an editing session.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;
inline constexpr int kExitUnusable = 2;  // the reader cannot use the file
inline constexpr int kExitNoInput = 66;  // missing, unreadable, not a regular file, too large

// What a command from the editor asks of the host.
enum class EditorRequest { None, SaveFile, SaveCopy, Close };
struct ParsedCommand {
    EditorRequest request = EditorRequest::None;
    bool closing = false;
};
ParsedCommand parseEditorCommand(std::string_view command);

// The file being edited, and the rules for writing over it.
class EditedFile {
  public:
    // `bytes` and `snapshot` as the file was read; `original` the record read from it. An
    // EULUMDAT file gives `ldt`, every field as read: the record is saved back into it, so that
    // what the editor does not show stays as it was.
    EditedFile(std::filesystem::path file, const std::string& bytes,
               const fileio::FileSnapshot& snapshot, const IesRecord& original, Prompter& prompter,
               std::optional<LdtRecord> ldt = std::nullopt);

    // Another editor holds the file: saving over it is refused, a copy may still be saved.
    void setHeldElsewhere(std::string holder) { heldBy_ = std::move(holder); }

    // Saves a handed-back record over the file; true when the file holds it afterwards. A
    // record that composes to what the file already holds writes nothing. A file changed by
    // another program is only overwritten when the user agrees; every failure is told to the
    // user, and the caller keeps the editor open.
    bool saveRecord(const IesRecord& record);
    // Saves it as Copy_FILE beside the file; an existing copy is kept as its own .bak once.
    bool saveCopy(const IesRecord& record);

    int saves() const { return saves_; }

  private:
    // The file's text for a record, in the file's own format and line ends; empty (with the
    // reason in `why`) when the record cannot be written so.
    std::string compose(const IesRecord& record, std::string& why) const;
    bool write(const std::filesystem::path& target, const std::string& text, bool backup);

    std::filesystem::path file_;
    bool lfOnly_;
    fileio::FileSnapshot onDisk_;  // what the file held when it was read or last written
    std::string known_;            // that content as the writer composes it
    Prompter& prompter_;
    std::optional<LdtRecord> ldt_;
    std::string heldBy_;
    bool backupKept_ = false;
    bool copyBackupKept_ = false;
    int saves_ = 0;
};

struct EditOptions {
    std::filesystem::path file;
    std::string toolPath;  // the editor executable
    std::string section;   // the exchange section; a private one when empty
    bool child = false;
    bool copy = false;
    bool force = false;
    double startSeconds = 30;  // how long the editor may take to acknowledge "START"
    // Message boxes for the person at the desktop (save failures, questions before writing
    // over a file). Null: a real message box.
    Prompter* prompter = nullptr;
    // Refusals before the editor opens also as a box, for a launch without a terminal.
    bool startErrorsInBox = false;
    // The file as the caller already read it (checking it before looking for a display), so
    // that it is not read twice; empty: read here.
    std::optional<fileio::ReadResult> read;
};

// What the reader said of a file, as the editor shows it when the file opens.
struct OpenReport {
    int status = 0;
    std::vector<std::string> findings;
};
// The report as it travels under kOpenReportKey, and back; an empty text is a clean file.
std::string encodeOpenReport(const OpenReport& report);
OpenReport decodeOpenReport(std::string_view text);

// Runs the whole session; the exit status of `kandor-host edit`.
int runEdit(const EditOptions& options);

}  // namespace kandor::fileedit
