#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

#include <QTimer>

#include "core/iesrecord.h"
#include "core/prompter.h"
#include "host/channel.h"
#include "host/settingsstore.h"

namespace kandor {

// Start-up's fixed texts and names, kept together so that tests compare them exactly.
namespace startup_text {
inline constexpr std::string_view kDoStuffFailed = "Error in gfnDoStuff: ";
inline constexpr std::string_view kDiedInMain = "Died in sub Main. reason: #";
// The missing-START report: kNeverStartedLead, the instance identifier, kNeverStartedTail.
inline constexpr std::string_view kNeverStartedLead = "Kandor ";
inline constexpr std::string_view kNeverStartedTail = " never received a START. Exiting.";

// The names of the start sequence's steps, as the failure message reports them.
inline constexpr std::string_view kStepAddingKeys = "adding keys";
inline constexpr std::string_view kStepSavingCopy = "saving copy";
inline constexpr std::string_view kStepLoadingData = "loading data";
inline constexpr std::string_view kStepGettingSettings = "getting settings";
inline constexpr std::string_view kStepSavingOldName = "saving old name";
inline constexpr std::string_view kStepShowingForm = "showing form.";

// Where "SleepInterval" lives.
inline constexpr std::string_view kSleepIntervalSection = "Lumivex_PE";
inline constexpr std::string_view kSleepIntervalKey = "SleepInterval";

// The user's persisted settings.
inline constexpr std::string_view kUserApp = "Lumivex32";
inline constexpr std::string_view kUserSection = "Kandor";
inline constexpr std::string_view kChangingLampKey = "ChangingLamp";
inline constexpr std::string_view kWorkOnKey = "WorkOn";
inline constexpr std::string_view kChangesCandelaMultiplier = "ChangesCandelaMultiplier";
inline constexpr std::string_view kChangesCandelaValues = "ChangesCandelaValues";
inline constexpr std::string_view kChangesNothing = "ChangesNothing";
inline constexpr std::string_view kWorkOnOriginal = "Original";
inline constexpr std::string_view kWorkOnCopy = "Copy";

// The help pages, relative to the tool's own directory; an installed tool finds them under
// kInstalledHelpFolder instead (bin/ and share/ side by side under one prefix).
inline constexpr std::string_view kHelpFile = "help/Lumivex_PE-HTML/index.html";
inline constexpr std::string_view kInstalledHelpFolder = "../share/kandorpe/";
}  // namespace startup_text

// The standard keywords the keyword picker offers, in the order it lists them.
inline constexpr std::array<std::string_view, 19> kKeywordPickerNames = {
    "[TEST]",      "[TESTLAB]",       "[ISSUEDATE]",    "[TESTDATE]",  "[OTHER]",
    "[NEARFIELD]", "[MANUFAC]",       "[LUMCAT]",       "[LUMINAIRE]", "[LAMPCAT]",
    "[LAMP]",      "[BALLAST]",       "[BALLASTCAT]",   "[MAINTCAT]",  "[DISTRIBUTION]",
    "[FLASHAREA]", "[COLORCONSTANT]", "[LAMPPOSITION]", "[MORE]"};

// "SleepInterval" when nothing (or nothing readable) is stored, in seconds.
inline constexpr float kDefaultSleepInterval = 0.3f;
// How long the tool waits for "START" before it reports a host that never sent it.
inline constexpr std::chrono::milliseconds kDefaultDeathInterval{30000};
// The number of exchange slots read at start.
inline constexpr int kStartSlotCount = 1;

// The six fields of the host's command line.
struct CommandLine {
    std::int64_t hostWindow = 0;  // field 1: 0 when no host started the tool
    double childFlag = 0;         // field 2: non-zero puts the forms under the host window
    std::string outgoingKey;      // field 3
    std::string instanceId;       // field 4
    std::int16_t hostNumber = 0;  // field 5: kept for the host, not used by the tool
    std::string section;          // field 6: section of the exchange and the channel
};

// Splits the command line. With exactly six fields they are taken as the table says (fields 1
// and 2 read leniently, field 5 as a 16-bit integer); otherwise every field stays empty or 0.
// A field 5 that is no number raises fault 13, a number out of range fault 6.
CommandLine ParseCommandLine(std::string_view text);

// The command line as the host passed it: the program's arguments joined by single blanks.
std::string commandLineFromArguments(int argc, const char* const* argv);

// The user's persisted settings, as stored (defaults when absent).
struct UserSettings {
    std::string changingLamp{startup_text::kChangesCandelaMultiplier};
    std::string workOn{startup_text::kWorkOnOriginal};
};
UserSettings readUserSettings(SettingsStore& store);

// "SleepInterval" in seconds; the default when it is absent or no number.
float readSleepInterval(SettingsStore& store);

// The interval of the incoming-command timer: "SleepInterval", kept between 20 ms and 5 s so
// that neither a zero nor a typing slip turns the poll into a busy loop or a deaf tool.
std::chrono::milliseconds pollInterval(float sleepInterval);

// The help file: the tool's own directory followed by the help pages; when they are not there
// but an installation put them into share/kandorpe beside the tool's bin/, that one.
std::string helpFilePath(std::string_view toolDirectory);

// The editor window as start-up sees it. The editor implements it; tests record the calls.
class EditorForm : public ToolForm {
  public:
    // Loads the form and its dialogs without showing them.
    virtual void loadForm() = 0;
    // Fills the keywords tab's picker with these names, in this order.
    virtual void fillKeywordPicker(std::span<const std::string_view> names) = 0;
    // Keeps the backup copy of the edited record.
    virtual void backupRecord() = 0;
    // Moves the edited record into the form.
    virtual void loadData() = 0;
    // Sets the settings controls from the persisted settings.
    virtual void applySettings(const UserSettings& settings) = 0;
    // Shows the editor.
    virtual void showForm() = 0;
};

// Optional replacements for the parts of start-up that reach outside the process.
struct StartupHooks {
    // Ends the program (after a fatal message) with the given exit status. Default: quit the
    // application's event loop with it.
    std::function<void(int exitCode)> endProgram;
    // Reads the host's records into the record list: 0 read, -1 none, 1 failure with the
    // message in errorText. Default: the exchange slots of the tool's section.
    std::function<int(int slotCount, std::string& errorText)> getData;
    // The record edited without a host. Default: the built-in sample record.
    std::function<IesRecord()> sampleRecord;
};

// The tool's start-up (`EditCore`): reads the command line and the settings, loads the editor
// hidden, runs the command channel and the death timer, and runs the start sequence.
class EditCore {
  public:
    // All references must outlive this object.
    EditCore(SettingsStore& store, ToolState& state, RecordList& list, EditorForm& form,
             Prompter& prompter, StartupHooks hooks = {});
    EditCore(const EditCore&) = delete;
    EditCore& operator=(const EditCore&) = delete;

    // The entry point (`Main`). 0 when the tool is up; else the number of the fault that
    // stopped it, after "Died in sub Main. reason: #" and the end of the program.
    int Main(std::string_view commandLine);

    // The start sequence (`gfnDoStuff`): 0 when the editor is shown; else the fault number,
    // after "Error in gfnDoStuff: " and the step reached. Work done before the fault stays.
    int gfnDoStuff();

    // Reads the host's records (`msbGetData`); a record that cannot be read is reported.
    void msbGetData();

    // The death timer's tick: it switches itself off and, with no record arrived, reports the
    // missing "START" and ends the program.
    void deathTimerTick();

    CommandChannel& channel() { return channel_; }
    QTimer& tmrDeath() { return death_; }
    // The death timer's interval for the next Main (kDefaultDeathInterval unless set).
    void setDeathInterval(std::chrono::milliseconds interval) { deathInterval_ = interval; }

    const CommandLine& commandLine() const noexcept { return commandLine_; }
    float sleepInterval() const noexcept { return sleepInterval_; }
    int slotCount() const noexcept { return slotCount_; }
    const std::string& helpFile() const noexcept { return helpFile_; }
    // The step the start sequence reached last.
    const std::string& step() const noexcept { return step_; }

  private:
    void endProgram(int exitCode = 0);

    SettingsStore& store_;
    ToolState& state_;
    RecordList& list_;
    EditorForm& form_;
    Prompter& prompter_;
    StartupHooks hooks_;
    CommandChannel channel_;
    QTimer death_;
    std::chrono::milliseconds deathInterval_ = kDefaultDeathInterval;
    CommandLine commandLine_;
    float sleepInterval_ = kDefaultSleepInterval;
    int slotCount_ = kStartSlotCount;
    std::string helpFile_;
    std::string step_;
};

}  // namespace kandor
