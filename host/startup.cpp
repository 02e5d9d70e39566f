#include "host/startup.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <system_error>

#include <QCoreApplication>

#include "core/numforms.h"
#include "core/runtimefault.h"
#include "core/splitfields.h"
#include "host/exchange.h"
#include "host/samplerecord.h"

namespace kandor {

namespace {

constexpr int kCommandLineFields = 6;
constexpr std::chrono::milliseconds kShortestPoll{20};
constexpr std::chrono::milliseconds kLongestPoll{5000};

// A window handle is a whole number; halves go to even like every other conversion.
std::int64_t toHandle(double value) {
    if (!(std::fabs(value) < 9.2e18)) raiseFault(fault::kOverflow);
    return static_cast<std::int64_t>(std::nearbyint(value));
}

}  // namespace

CommandLine ParseCommandLine(std::string_view text) {
    CommandLine out;
    const FieldSplit split = SplitFields(text);
    if (split.fieldCount != kCommandLineFields) return out;
    out.hostWindow = toHandle(readLenient(split.cell(1, 1)));
    out.childFlag = readLenient(split.cell(1, 2));
    out.outgoingKey = split.cell(1, 3);
    out.instanceId = split.cell(1, 4);
    out.hostNumber = toInt16(std::string_view(split.cell(1, 5)));
    out.section = split.cell(1, 6);
    return out;
}

std::string commandLineFromArguments(int argc, const char* const* argv) {
    std::string out;
    for (int i = 1; i < argc; ++i) {
        if (i > 1) out += ' ';
        out += argv[i];
    }
    return out;
}

UserSettings readUserSettings(SettingsStore& store) {
    using namespace startup_text;
    UserSettings out;
    out.changingLamp = store.get(kUserApp, kUserSection, kChangingLampKey, out.changingLamp);
    out.workOn = store.get(kUserApp, kUserSection, kWorkOnKey, out.workOn);
    return out;
}

float readSleepInterval(SettingsStore& store) {
    using namespace startup_text;
    const std::string text = store.get(kExchangeApp, kSleepIntervalSection, kSleepIntervalKey);
    // A value the tool cannot read must not keep it from starting: the default serves.
    if (!isNumeric(text)) return kDefaultSleepInterval;
    try {
        return toSingle(std::string_view(text));
    } catch (const RuntimeFault&) {
        return kDefaultSleepInterval;
    }
}

std::chrono::milliseconds pollInterval(float sleepInterval) {
    if (!std::isfinite(sleepInterval)) sleepInterval = kDefaultSleepInterval;
    const double ms = std::round(static_cast<double>(sleepInterval) * 1000.0);
    const double bounded = std::clamp(ms, static_cast<double>(kShortestPoll.count()),
                                      static_cast<double>(kLongestPoll.count()));
    return std::chrono::milliseconds(static_cast<long long>(bounded));
}

std::string helpFilePath(std::string_view toolDirectory) {
    std::string beside(toolDirectory);
    if (!beside.empty() && beside.back() != '/') beside += '/';
    std::string installed = beside + std::string(startup_text::kInstalledHelpFolder);
    beside += startup_text::kHelpFile;
    installed += startup_text::kHelpFile;
    std::error_code ec;
    if (!std::filesystem::is_regular_file(beside, ec) &&
        std::filesystem::is_regular_file(installed, ec))
        return std::filesystem::path(installed).lexically_normal().string();
    return beside;
}

EditCore::EditCore(SettingsStore& store, ToolState& state, RecordList& list, EditorForm& form,
                   Prompter& prompter, StartupHooks hooks)
    : store_(store),
      state_(state),
      list_(list),
      form_(form),
      prompter_(prompter),
      hooks_(std::move(hooks)),
      channel_(store, state, list, form, prompter) {
    channel_.setHooks(ChannelHooks{
        .startSequence = [this] { gfnDoStuff(); },
        .stopDeathTimer = [this] { death_.stop(); },
        .endProgram = [this] { endProgram(0); },
    });
    QObject::connect(&death_, &QTimer::timeout, &death_, [this] { deathTimerTick(); });
}

int EditCore::Main(std::string_view commandLineText) {
    try {
        state_.appName = std::string(kExchangeApp);
        state_.toolTag = std::string(channel_text::kToolTag);
        slotCount_ = kStartSlotCount;
        sleepInterval_ = readSleepInterval(store_);

        const QCoreApplication* app = QCoreApplication::instance();
        helpFile_ = helpFilePath(app ? QCoreApplication::applicationDirPath().toStdString() : "");

        commandLine_ = ParseCommandLine(commandLineText);
        state_.outgoingKey = commandLine_.outgoingKey;
        state_.instanceId = commandLine_.instanceId;
        state_.section = commandLine_.section;
        state_.childMode = commandLine_.childFlag != 0;

        if (commandLine_.hostWindow != 0) {
            form_.loadForm();
            channel_.startPolling(pollInterval(sleepInterval_));
            death_.start(deathInterval_);
            msbGetData();
        } else {
            list_.clear();
            list_.add(hooks_.sampleRecord ? hooks_.sampleRecord() : SampleRecord());
            form_.loadForm();
            gfnDoStuff();
        }
        return 0;
    } catch (...) {
        const RuntimeFault fault = currentFault();
        prompter_.tell(std::string(startup_text::kDiedInMain) + std::to_string(fault.number()));
        endProgram(1);
        return fault.number();
    }
}

int EditCore::gfnDoStuff() {
    using namespace startup_text;
    try {
        step_ = kStepAddingKeys;
        form_.fillKeywordPicker(kKeywordPickerNames);
        step_ = kStepSavingCopy;
        form_.backupRecord();
        step_ = kStepLoadingData;
        form_.loadData();
        step_ = kStepGettingSettings;
        form_.applySettings(readUserSettings(store_));
        step_ = kStepSavingOldName;
        state_.oldName = list_(1).Filename;
        step_ = kStepShowingForm;
        form_.showForm();
        return 0;
    } catch (...) {
        const RuntimeFault fault = currentFault();
        prompter_.tell(std::string(kDoStuffFailed) + step_);
        return fault.number();
    }
}

void EditCore::msbGetData() {
    std::string errorText;
    int result = 0;
    if (hooks_.getData) {
        result = hooks_.getData(slotCount_, errorText);
    } else {
        ExchangeSlots exchange(store_, state_.appName, state_.section, list_, prompter_);
        result = exchange.ReadExchangeRecords(slotCount_, errorText);
    }
    // A host record the tool cannot read is said so at once; waiting for "START" would only
    // end in "never got it" without the reason.
    if (result == 1) prompter_.tell(errorText);
}

void EditCore::deathTimerTick() {
    death_.stop();
    if (!list_.empty()) return;
    prompter_.tell(std::string(startup_text::kNeverStartedLead) + state_.instanceId +
                   std::string(startup_text::kNeverStartedTail));
    // A tool that never got its data did not do its job; scripts must be able to tell.
    endProgram(1);
}

void EditCore::endProgram(int exitCode) {
    channel_.stopPolling();
    death_.stop();
    if (hooks_.endProgram) {
        hooks_.endProgram(exitCode);
        return;
    }
    // Queued, so that it also ends a program whose event loop has not started yet.
    if (QCoreApplication* app = QCoreApplication::instance())
        QTimer::singleShot(0, app, [exitCode] { QCoreApplication::exit(exitCode); });
}

}  // namespace kandor
