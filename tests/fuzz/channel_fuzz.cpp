// Feeds arbitrary commands to the command channel, as a host would write them under the
// tool's incoming key, with a form that records what it is asked to do.
//
// Input: one byte of set-up (screen dots per inch from a table of odd values, child mode,
// whether the records have arrived), then pieces cut at byte 0x1E: the edited record's file
// name, then the commands. A command whose first byte is odd arrives through the receive
// path (the incoming key, acknowledged), otherwise straight through `msbCmd`. "START" never
// really waits.

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include <QCoreApplication>

#include "core/prompter.h"
#include "fuzzsupport.h"
#include "host/channel.h"
#include "host/settingsstore.h"

namespace {

using namespace kandor;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr std::array<double, 8> kDpis = {96, 144, 0, -96, kNaN, kInf, 1e-300, 1e300};

class RecordingForm final : public ToolForm {
  public:
    RecordingForm(double x, double y) : x_(x), y_(y) {}
    void moveTo(int, int, int, int) override { ++moves; }
    void raiseToTop() override { ++raises; }
    void unload() override { ++unloads; }
    void giveBackParents() override { ++parentsGiven; }
    void showCommandLog(const std::string& log) override { shownLog = log; }
    double dpiX() const override { return x_; }
    double dpiY() const override { return y_; }

    int moves = 0, raises = 0, unloads = 0, parentsGiven = 0;
    std::string shownLog;

  private:
    double x_, y_;
};

class CountingPrompter final : public Prompter {
  public:
    PromptAnswer ask(const std::string&, const std::string&, PromptButtons) override {
        ++boxes;
        return PromptAnswer::Ok;
    }
    int boxes = 0;
};

// The verb as the channel matches it: field 1 of line 1, without blanks, in capitals.
std::string verbOf(std::string_view command) {
    std::string_view first = command.substr(0, command.find('\n'));
    first = first.substr(0, first.find(','));
    const auto from = first.find_first_not_of(" \t\r\n");
    if (from == std::string_view::npos) return {};
    first = first.substr(from, first.find_last_not_of(" \t\r\n") - from + 1);
    std::string verb(first);
    for (char& c : verb)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return verb;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    // Timers and event loops need an application object; it lives until the process ends.
    static QCoreApplication* app = new QCoreApplication(*argc, *argv);
    (void)app;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const unsigned setup = data[0];
    const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::vector<std::string_view> parts = fuzz::pieces(input);

    MemorySettingsStore store;
    ToolState state;
    state.section = "Fuzz";
    state.instanceId = "1";
    state.childMode = (setup & 0x40) != 0;
    state.oldName = std::string(parts.front());
    RecordList list;
    if (setup & 0x80) list.add();
    RecordingForm form(kDpis[setup % kDpis.size()], kDpis[(setup / 8) % kDpis.size()]);
    CountingPrompter prompter;
    int starts = 0, ends = 0, deathStops = 0, pauses = 0;
    CommandChannel channel(store, state, list, form, prompter,
                           ChannelHooks{.startSequence = [&] { ++starts; },
                                        .stopDeathTimer = [&] { ++deathStops; },
                                        .endProgram = [&] { ++ends; }});
    channel.setStartPause([&](std::chrono::milliseconds) { ++pauses; });

    std::string log;
    for (std::size_t i = 1; i < parts.size(); ++i) {
        const std::string_view command = parts[i];
        const std::string verb = verbOf(command);
        const int moves = form.moves, unloads = form.unloads, parentsGiven = form.parentsGiven;
        const int startsBefore = starts, endsBefore = ends, boxes = prompter.boxes;
        if (!command.empty() && (command.front() & 1)) {
            store.save(kExchangeApp, state.section, state.incomingKey(), command);
            channel.pollIncoming();
            fuzz::require(store.get(kExchangeApp, state.section, state.incomingKey()).empty(),
                          "a received command was not acknowledged");
        } else {
            state.lastCommand = std::string(command);
            channel.msbCmd();
        }
        log += command;
        log += "\r\n";
        fuzz::require(channel.txtCmds() == log && form.shownLog == log,
                      "the command log is not every command followed by CRLF");

        fuzz::require(form.moves == form.raises, "a move without bringing the form to the top");
        fuzz::require(form.moves == moves || verb == "MOVEWIN", "the form moved on another verb");
        fuzz::require(form.unloads == unloads || verb == "CLOSE" || verb == "DELETEFILE",
                      "the form was unloaded on another verb");
        fuzz::require(form.parentsGiven == parentsGiven ||
                          (verb == "DELETEFILE" && state.childMode && form.unloads > unloads),
                      "parents given back outside a child-mode DELETEFILE");
        if (verb == "START") {
            fuzz::require(starts + ends == startsBefore + endsBefore + 1,
                          "START neither started nor ended the tool");
            fuzz::require(list.empty() == (ends > endsBefore && prompter.boxes == boxes + 1),
                          "START without records did not say so, or said so with records");
        } else {
            fuzz::require(starts == startsBefore && ends == endsBefore && prompter.boxes == boxes,
                          "a verb other than START started, ended or showed a box");
        }
    }
    fuzz::require(pauses <= 4 * deathStops, "START looked for records more than five times");
    return 0;
}
