#include "host/channel.h"

#include <algorithm>
#include <cmath>
#include <thread>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>

#include "core/keywords.h"
#include "core/numforms.h"
#include "core/runtimefault.h"

namespace kandor {

namespace {

// Blanks around a verb or a path. A carriage return counts too: a host that ends its command
// with CRLF leaves one in front of the line feed, and it can be part of neither.
constexpr std::string_view kBlanks = " \t\r\n";

std::string_view trimBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    const auto last = text.find_last_not_of(kBlanks);
    return text.substr(first, last - first + 1);
}

bool onGuiThread() {
    const QCoreApplication* app = QCoreApplication::instance();
    return app != nullptr && QThread::currentThread() == app->thread();
}

}  // namespace

std::string ToolState::incomingKey() const {
    return toolTag + "|" + instanceId;
}

ToolState& toolState() {
    static ToolState state;
    return state;
}

void letEventsRun(std::chrono::milliseconds pause) {
    QElapsedTimer clock;
    clock.start();
    if (onGuiThread()) {
        QEventLoop loop;
        QTimer::singleShot(pause, Qt::PreciseTimer, &loop, &QEventLoop::quit);
        loop.exec();
    }
    // An event loop refuses to run once the application is quitting; sleep out the rest so
    // that a wait never turns into a busy spin.
    const auto left = pause - std::chrono::milliseconds(clock.elapsed());
    if (left > std::chrono::milliseconds::zero()) std::this_thread::sleep_for(left);
}

bool writeAndAwaitAck(SettingsStore& store, std::string_view app, std::string_view section,
                      std::string_view key, std::string_view text,
                      std::chrono::milliseconds timeout) {
    if (!store.save(app, section, key, text)) return false;
    QElapsedTimer clock;
    clock.start();
    while (true) {
        if (onGuiThread()) QCoreApplication::processEvents();
        const std::chrono::milliseconds spent{clock.elapsed()};
        if (spent >= timeout) return false;
        // A read that failed says nothing about the host; only a real empty value is the answer.
        const std::string now = store.get(app, section, key);
        if (now.empty() && store.lastError().empty()) return true;
        letEventsRun(std::min(kAckPollStep, timeout - spent));
    }
}

std::int32_t twipsToPixels(double twips, double dpi) {
    if (!(dpi > 0) || !std::isfinite(dpi)) dpi = 96;
    const double twipsPerPixel = 1440.0 / dpi;
    return toInt32(twips / twipsPerPixel);
}

CommandChannel::CommandChannel(SettingsStore& store, ToolState& state, RecordList& list,
                               ToolForm& form, Prompter& prompter, ChannelHooks hooks)
    : store_(store),
      state_(state),
      list_(list),
      form_(form),
      prompter_(prompter),
      hooks_(std::move(hooks)) {
    QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { tick(); });
}

void CommandChannel::tick() {
    // A slot must not let a fault escape into the event loop: that would end the tool without
    // a word and with the user's edits.
    try {
        pollIncoming();
    } catch (...) {
        const RuntimeFault fault = currentFault();
        prompter_.tell(std::string(channel_text::kCommandFailed) + std::to_string(fault.number()) +
                       " " + fault.description());
    }
}

int CommandChannel::SendCommand(std::string_view key, std::string_view subKey,
                                std::string_view commandText) {
    std::string fullKey(key);
    if (!subKey.empty()) {
        fullKey += '|';
        fullKey += subKey;
    }
    writeAndAwaitAck(store_, state_.appName, state_.section, fullKey, commandText);
    return 0;
}

void CommandChannel::startPolling(std::chrono::milliseconds interval) {
    timer_.setInterval(interval);
    timer_.start();
    // A host writes "START" right after starting the tool; waiting a whole interval for the
    // first look would keep the window from appearing for nothing.
    QTimer::singleShot(0, &timer_, [this] {
        if (timer_.isActive()) tick();
    });
}

void CommandChannel::pollIncoming() {
    const std::string key = state_.incomingKey();
    std::string text = store_.get(state_.appName, state_.section, key);
    if (text.empty()) return;
    state_.lastCommand = std::move(text);
    store_.save(state_.appName, state_.section, key, "");
    msbCmd();
}

void CommandChannel::msbCmd() {
    // A copy: a command that arrives while this one waits replaces the last command.
    const std::string command = state_.lastCommand;
    txtCmds_ += command;
    txtCmds_ += "\r\n";
    form_.showCommandLog(txtCmds_);

    const FieldSplit split = SplitFields(command);
    const std::string verb = upperAscii(trimBlanks(split.cell(1, 1)));
    if (verb == channel_text::kVerbStart) {
        start();
    } else if (verb == channel_text::kVerbSendNewDataClose) {
        // The host confirms a hand-back; nothing is left to do here.
    } else if (verb == channel_text::kVerbMoveWin) {
        moveWindow(split);
    } else if (verb == channel_text::kVerbClose) {
        timer_.stop();
        form_.unload();
    } else if (verb == channel_text::kVerbDeleteFile) {
        deleteFile(split.lines(1));
    }
}

void CommandChannel::start() {
    if (hooks_.stopDeathTimer) hooks_.stopDeathTimer();
    // The host may still be writing its records when "START" arrives.
    for (int attempt = 1; attempt <= kStartTries; ++attempt) {
        if (!list_.empty()) {
            if (hooks_.startSequence) hooks_.startSequence();
            return;
        }
        if (attempt < kStartTries) {
            if (pause_)
                pause_(kStartTryPause);
            else
                letEventsRun(kStartTryPause);
        }
    }
    prompter_.tell(std::string(channel_text::kWaitedForData));
    timer_.stop();
    if (hooks_.endProgram) hooks_.endProgram();
}

void CommandChannel::moveWindow(const FieldSplit& split) {
    if (split.fields.front().size() < 5) return;
    std::int32_t left = 0, top = 0, width = 0, height = 0;
    try {
        left = twipsToPixels(readLenient(split.cell(1, 2)), form_.dpiX());
        top = twipsToPixels(readLenient(split.cell(1, 3)), form_.dpiY());
        width = twipsToPixels(readLenient(split.cell(1, 4)), form_.dpiX());
        height = twipsToPixels(readLenient(split.cell(1, 5)), form_.dpiY());
    } catch (const RuntimeFault&) {
        // Numbers no screen can hold: as malformed as a short list, and treated the same.
        return;
    }
    form_.moveTo(left, top, width, height);
    form_.raiseToTop();
}

void CommandChannel::deleteFile(const std::string& firstLine) {
    // The path starts after "DELETEFILE,".
    constexpr std::size_t kPathStart = 11;
    const std::string_view rest =
        firstLine.size() > kPathStart ? std::string_view(firstLine).substr(kPathStart) : "";
    const std::string path = upperAscii(trimBlanks(rest));
    // An empty path names no file, so it can never be the one being edited.
    if (path.empty() || path != upperAscii(trimBlanks(state_.oldName))) return;
    if (state_.childMode) form_.giveBackParents();
    timer_.stop();
    form_.unload();
}

}  // namespace kandor
