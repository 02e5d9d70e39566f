#pragma once

// DataOps: the transfer between the edited record and the editor. The editor's controls only
// show an EditorState; every rule of moving a record into the form and back lives here, so
// that it is tested without a window.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/iesrecord.h"
#include "core/keywords.h"
#include "core/prompter.h"
#include "core/validation.h"

namespace kandor {

// The entries of lmpCmbVersion; the revision index is the list index.
inline constexpr std::array<std::string_view, 4> kRevisionNames = {
    "IESNA: LM-63-1986", "IESNA: LM-63-1991", "IESNA: LM-63-1995", "IESNA: LM-63-2002"};

// The format line SaveData writes for revision indexes 1 to 3 (index 0 has none).
inline constexpr std::array<std::string_view, 4> kFormatLines = {"", "IESNA91", "IESNA:LM-63-1995",
                                                                 "IESNA:LM-63-2002"};

// The entries of lmpCmbLampToLuminare; the list index is the geometry minus 1.
inline constexpr std::array<std::string_view, 3> kLampToLuminaireNames = {
    "1 - Vertical", "2 - Horizontal Along The 90-degree Plane",
    "3 - Horizontal Along The 0-degree Plane"};

namespace transfer_text {
inline constexpr std::string_view kCaptionPrefix = "Edit: ";
inline constexpr std::string_view kTypeC = "Type C Photometry";
inline constexpr std::string_view kTypeB = "Type B Photometry";
// Fill: fault number, a blank, its description, then this.
inline constexpr std::string_view kFillFailedTail = " in Loading Data.";
inline constexpr std::string_view kSaveDataFailed = "Error in SaveData";
// Backup: this, the step, then kBackupExiting with no blank between them.
inline constexpr std::string_view kBackupFailed = "gsbSaveData, failure at: ";
inline constexpr std::string_view kBackupExiting = "exiting...";
inline constexpr std::string_view kStepTransferValues = "transfer of values.";
}  // namespace transfer_text

// Everything the editor's controls show and the tabs work on. The part the save-time check
// reads is the ValidationInput itself, so there is one description of the form, not two.
// The angle, tilt and candela arrays are the grids' working arrays: for Type B (any type but
// C) the vertical order is reversed against the record, highest angle first.
struct EditorState : ValidationInput {
    std::string caption;  // the window's title
    std::string labFile;  // the whole path
    bool rdoFeet = true;
    int lmpCmbLampToLuminare = -1;  // list index, -1 for no selection
    std::string label4;             // "Type C Photometry" / "Type B Photometry"
    // keyRtb's text (ValidationInput::keyRtb, CRLF line ends) split into coloured runs; empty
    // when the lines are shown plain (a 1986 record whose format line does not say so).
    std::vector<KeywordRun> keyRuns;
    bool dataShown = false;  // the grids show values only once a record was filled in
    double maxCandela = 0;   // the current maximum of the candela display array
    // The cells the lamp-change routine rewrote hold its "#0.00#" text rather than a number,
    // and copy writes them as they stand: true per cell (horizontal index first, H x V), empty
    // while no cell holds text.
    std::vector<bool> candelaText;
    // The shape and dimension texts as Fill wrote them. While the user leaves all four as they
    // are, SaveData keeps the record's signed dimensions exactly, even those the shape's
    // display shows as "0".
    struct ShapeAsFilled {
        int shape = -1;
        int revision = -1;
        std::string width, length, height;
        bool feet = true;  // the units buttons likewise keep a units type the list lacks
    } shapeAsFilled;
};

// The part of a path after its last "\" or "/" (the whole text when there is neither).
std::string fileTitle(std::string_view path);

// The revision index a record's first keyword line stands for: "2002" 3, "1995" 2, "91" 1,
// anything else 0; exact, case-sensitive substring tests in that order.
int revisionFromKeyword(std::string_view firstLine);

// True when the record's first keyword line is its format line, so that the editor shows the
// lines after it. A first line that only happens to make the revision test pass (a 1986 file
// whose [TEST] line holds "91") stays an editable line: SaveData writes a format line in
// front of it instead of over it.
bool firstLineIsFormatLine(const IesRecord& record, int revisionIndex);

// The largest value of a candela table (0 for an empty one).
double maxCandelaOf(const OneBased2D<double>& table);

// Fill: the record into the form's state. Under one error trap: a run-time fault shows its
// number, a blank, its description and " in Loading Data." and ends the transfer; what was
// moved so far stays moved. True when everything was moved.
bool Fill(const IesRecord& record, EditorState& form, Prompter& prompter);

// SaveData: the form's state into the record. The caller has validated the form first. A
// fault shows "Error in SaveData" and ends the transfer, what was moved staying moved.
bool SaveData(const EditorState& form, IesRecord& record, Prompter& prompter);

// SaveData's last step alone: the counts, angles and candela table of the form into the
// record (Type B reversed back, lowest angle first). Raises fault 9 when a count exceeds its
// array.
void saveWeb(const ValidationInput& form, IesRecord& record);

// Backup: the parts of the record the editor can change, into the backup copy. A fault shows
// "gsbSaveData, failure at: " with the step the copy reached.
bool Backup(const IesRecord& record, IesRecord& backup, Prompter& prompter);

// Restore: the backup copy into the record; traps nothing.
void Restore(const IesRecord& backup, IesRecord& record);

}  // namespace kandor
