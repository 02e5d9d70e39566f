// Feeds arbitrary command lines and settings to the tool's start-up, with a form that records
// what it is asked to do and a store in memory.
//
// Input, cut at byte 0x1E: the command line, the "SleepInterval" value, the "ChangingLamp" and
// "WorkOn" settings, then the eleven values of exchange slot 1 in the section that the command
// line names. Nothing waits: the timers are started but never run.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <QCoreApplication>

#include "core/prompter.h"
#include "core/runtimefault.h"
#include "fuzzsupport.h"
#include "host/exchange.h"
#include "host/settingsstore.h"
#include "host/startup.h"

namespace {

using namespace kandor;

class RecordingEditor final : public EditorForm {
  public:
    void moveTo(int, int, int, int) override {}
    void raiseToTop() override {}
    void unload() override {}
    void giveBackParents() override {}
    void showCommandLog(const std::string&) override {}
    double dpiX() const override { return 96; }
    double dpiY() const override { return 96; }
    void loadForm() override { ++loads; }
    void fillKeywordPicker(std::span<const std::string_view> names) override {
        fuzz::require(names.size() == kKeywordPickerNames.size(), "the picker got other names");
    }
    void backupRecord() override {}
    void loadData() override {}
    void applySettings(const UserSettings&) override {}
    void showForm() override { ++shows; }

    int loads = 0, shows = 0;
};

class CountingPrompter final : public Prompter {
  public:
    PromptAnswer ask(const std::string& text, const std::string&, PromptButtons) override {
        last = text;
        ++boxes;
        return PromptAnswer::Ok;
    }
    int boxes = 0;
    std::string last;
};

// The largest number of ","-separated fields in any line, as the command line is split.
std::size_t mostFields(std::string_view text) {
    std::size_t most = 0;
    for (std::string_view line : fuzz::pieces(text, '\n')) {
        std::size_t fields = 1;
        for (char c : line)
            fields += c == ',';
        if (fields > most) most = fields;
    }
    return most;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    // Timers need an application object; it lives until the process ends.
    static QCoreApplication* app = new QCoreApplication(*argc, *argv);
    (void)app;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    std::vector<std::string_view> parts = fuzz::pieces(input);
    parts.resize(std::max<std::size_t>(parts.size(), 4));
    const std::string_view commandLine = parts[0];

    CommandLine parsed;
    int parseFault = 0;
    try {
        parsed = ParseCommandLine(commandLine);
    } catch (const RuntimeFault& fault) {
        parseFault = fault.number();
        fuzz::require(parseFault == fault::kOverflow || parseFault == fault::kTypeMismatch,
                      "the command line raised a fault other than overflow or type mismatch");
    }
    if (parseFault == 0 && mostFields(commandLine) != 6)
        fuzz::require(parsed.hostWindow == 0 && parsed.childFlag == 0 && parsed.hostNumber == 0 &&
                          parsed.outgoingKey.empty() && parsed.instanceId.empty() &&
                          parsed.section.empty(),
                      "a command line without six fields set a field");

    MemorySettingsStore store;
    store.save(kExchangeApp, startup_text::kSleepIntervalSection, startup_text::kSleepIntervalKey,
               parts[1]);
    store.save(startup_text::kUserApp, startup_text::kUserSection, startup_text::kChangingLampKey,
               parts[2]);
    store.save(startup_text::kUserApp, startup_text::kUserSection, startup_text::kWorkOnKey,
               parts[3]);
    for (std::size_t i = 4; i < parts.size() && i - 4 < SlotValues::kCount; ++i)
        store.save(kExchangeApp, parsed.section, exchangeKey(exchange_key::kAll[i - 4], 1),
                   parts[i]);

    ToolState state;
    RecordList list;
    RecordingEditor form;
    CountingPrompter prompter;
    int ends = 0;
    EditCore core(store, state, list, form, prompter,
                  StartupHooks{.endProgram = [&](int) { ++ends; }});
    const int result = core.Main(commandLine);

    fuzz::require(result == parseFault, "Main failed other than the command line did");
    if (result != 0) {
        fuzz::require(
            ends == 1 && prompter.boxes == 1 &&
                prompter.last == std::string(startup_text::kDiedInMain) + std::to_string(result),
            "a failed start did not say why and end");
        return 0;
    }
    fuzz::require(state.section == parsed.section && state.instanceId == parsed.instanceId &&
                      state.outgoingKey == parsed.outgoingKey &&
                      state.childMode == (parsed.childFlag != 0),
                  "the tool state differs from the command line");
    if (parsed.hostWindow == 0) {
        fuzz::require(list.ubound() == 1 && form.loads == 1 && form.shows == 1 && ends == 0,
                      "without a host the sample record was not shown");
        return 0;
    }
    fuzz::require(form.loads == 1 && form.shows == 0 && ends == 0 && prompter.boxes <= 1,
                  "with a host the form was shown before START, or the tool ended");
    fuzz::require(core.channel().tmrDataExchange().isActive() && core.tmrDeath().isActive(),
                  "with a host the command poll or the death timer is not running");
    const auto poll = core.channel().tmrDataExchange().interval();
    fuzz::require(poll >= 20 && poll <= 5000, "the command poll interval is out of bounds");
    for (int i = 1; i <= list.ubound(); ++i)
        fuzz::requireShape(list(i));
    const int boxes = prompter.boxes;
    core.deathTimerTick();
    fuzz::require(!core.tmrDeath().isActive(), "the death timer did not switch itself off");
    fuzz::require(ends == (list.empty() ? 1 : 0) && prompter.boxes == boxes + ends,
                  "the death timer ended a tool with records, or spared one without");
    return 0;
}
