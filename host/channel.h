#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include <QTimer>

#include "core/iesrecord.h"
#include "core/prompter.h"
#include "core/splitfields.h"
#include "host/exchange.h"
#include "host/settingsstore.h"

namespace kandor {

// The command channel's fixed texts, kept together so that tests compare them exactly.
namespace channel_text {
inline constexpr std::string_view kToolTag = "KandorPE";
inline constexpr std::string_view kWaitedForData = "Kandor waited for data, never got it.";
// A fault while a command was handled: kCommandFailed, the fault number, a blank and its
// description.
inline constexpr std::string_view kCommandFailed = "Error in msbCmd: #";

inline constexpr std::string_view kVerbStart = "START";
inline constexpr std::string_view kVerbSendNewDataClose = "SENDNEWDATACLOSE";
inline constexpr std::string_view kVerbMoveWin = "MOVEWIN";
inline constexpr std::string_view kVerbClose = "CLOSE";
inline constexpr std::string_view kVerbDeleteFile = "DELETEFILE";
}  // namespace channel_text

// How long a sent command waits for the host to clear it.
inline constexpr std::chrono::milliseconds kAckTimeout{3000};
// How often a waiting send looks at its key again; short enough not to slow a round trip,
// long enough that a three-second wait costs a few hundred cheap reads and no busy core.
inline constexpr std::chrono::milliseconds kAckPollStep{10};
// "START" looks this many times for the host's records, this far apart.
inline constexpr int kStartTries = 5;
inline constexpr std::chrono::milliseconds kStartTryPause{100};

// The values that address the command channel and describe this run. Set at start from the
// command line; read by the exchange, the channel and the editor.
struct ToolState {
    std::string appName{kExchangeApp};  // settings application of exchange and channel
    std::string section;                // command-line field 6
    std::string toolTag{channel_text::kToolTag};
    std::string instanceId;   // command-line field 4
    std::string outgoingKey;  // command-line field 3: where the host listens
    std::string lastCommand;  // the last incoming command, kept until the next
    bool childMode = false;   // the forms were given the host window as parent
    std::string oldName;      // the edited record's Filename as it arrived

    // The key the host writes the tool's commands to: tool tag, "|", instance identifier.
    std::string incomingKey() const;
};

// The state of the running tool.
ToolState& toolState();

// What the command channel asks of the editor window. The editor implements it; tests record
// the calls.
class ToolForm {
  public:
    virtual ~ToolForm() = default;

    // Moves and sizes the form to the given pixels and repaints it.
    virtual void moveTo(int left, int top, int width, int height) = 0;
    // Brings the form to the top of the z-order without moving or sizing it.
    virtual void raiseToTop() = 0;
    // Unloads the form, running its unload handling; this ends the tool.
    virtual void unload() = 0;
    // In child mode: gives the form and its two dialogs back their own (desktop) parent.
    virtual void giveBackParents() = 0;
    // Shows the command log (`txtCmds`) after a command was appended to it.
    virtual void showCommandLog(const std::string& log) = 0;
    // The screen's logical dots per inch, horizontally and vertically.
    virtual double dpiX() const = 0;
    virtual double dpiY() const = 0;
};

// What the channel asks of the rest of the process.
struct ChannelHooks {
    std::function<void()> startSequence;   // "START" found records: fill and show the editor
    std::function<void()> stopDeathTimer;  // "START" arrived: the missing-START report is moot
    std::function<void()> endProgram;      // "START" found no records: the tool ends
};

// Lets pending events run for about `pause` without burning a core; without an application
// object it simply sleeps.
void letEventsRun(std::chrono::milliseconds pause);

// Writes `text` under `key` and waits, letting events run, until the key reads empty or
// `timeout` has passed. True when the receiver acknowledged; a timeout leaves the value.
bool writeAndAwaitAck(SettingsStore& store, std::string_view app, std::string_view section,
                      std::string_view key, std::string_view text,
                      std::chrono::milliseconds timeout = kAckTimeout);

// The host's units to pixels: a value in twips divided by the screen's twips per pixel
// (1440 / dpi), rounded halves to even. A dpi that is not positive counts as 96. A result
// beyond 32 bits raises fault 6.
std::int32_t twipsToPixels(double twips, double dpi);

// The tool's end of the command channel (`ToolFrame`): sends commands to the host, polls the
// incoming key with `tmrDataExchange` and carries out the host's verbs. Runs on the one user
// interface thread; waits let events run, so handlers may be entered again while one waits.
class CommandChannel {
  public:
    // All references must outlive the channel.
    CommandChannel(SettingsStore& store, ToolState& state, RecordList& list, ToolForm& form,
                   Prompter& prompter, ChannelHooks hooks = {});
    CommandChannel(const CommandChannel&) = delete;
    CommandChannel& operator=(const CommandChannel&) = delete;

    // Writes commandText under key ("key|subKey" when subKey is not empty) and waits up to three
    // seconds for the host to clear it. Always 0: an unacknowledged command costs the wait only.
    int SendCommand(std::string_view key, std::string_view subKey, std::string_view commandText);

    // The incoming-command timer. startPolling sets its interval and starts it; the first look
    // comes as soon as control is back in the event loop (the start-up that called it has
    // ended), the next ones every interval.
    QTimer& tmrDataExchange() { return timer_; }
    void startPolling(std::chrono::milliseconds interval);
    void stopPolling() { timer_.stop(); }

    // One tick of the timer: a command waiting under the incoming key is kept as the last
    // command, acknowledged and handled.
    void pollIncoming();

    // Handles the last incoming command (`msbCmd`).
    void msbCmd();

    // The command log (`txtCmds`): every incoming command followed by CRLF.
    const std::string& txtCmds() const noexcept { return txtCmds_; }

    void setHooks(ChannelHooks hooks) { hooks_ = std::move(hooks); }
    // Replaces the wait between "START"'s looks for records (letEventsRun), so that a test or a
    // fuzzer can run "START" without really waiting.
    void setStartPause(std::function<void(std::chrono::milliseconds)> pause) {
        pause_ = std::move(pause);
    }

  private:
    void tick();
    void start();
    void moveWindow(const FieldSplit& split);
    void deleteFile(const std::string& firstLine);

    SettingsStore& store_;
    ToolState& state_;
    RecordList& list_;
    ToolForm& form_;
    Prompter& prompter_;
    ChannelHooks hooks_;
    std::function<void(std::chrono::milliseconds)> pause_;
    QTimer timer_;
    std::string txtCmds_;
};

}  // namespace kandor
