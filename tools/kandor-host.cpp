// kandor-host: plays the host's side of the exchange from a shell or a test. It puts LM-63
// files into the exchange slots, reads a slot back as LM-63 text, and sends and receives
// commands on the channel keys, through the same library and the same per-user store as the
// tool itself.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <QApplication>
#include <QCoreApplication>

#include "core/iesreader.h"
#include "core/iesrecord.h"
#include "core/numforms.h"
#include "core/prompter.h"
#include "core/saveies.h"
#include "dialogs/version.h"
#include "fileedit/fileedit.h"
#include "host/exchange.h"
#include "host/sqlitesettingsstore.h"

namespace {

using namespace kandor;
using Clock = std::chrono::steady_clock;

constexpr int kExitOk = 0;
constexpr int kExitFailed = 1;  // a timeout, an empty or unreadable slot, a store failure
constexpr int kExitUsage = 64;
constexpr int kExitNoInput = 66;

// The host's usual section when the command line does not name one.
constexpr std::string_view kDefaultSection = "Lumivex_PE";
// How long the host waits for the tool to clear a command, as the tool does for the host.
constexpr double kAckSeconds = 3.0;
constexpr double kDefaultRecvSeconds = 10.0;
constexpr auto kPollEvery = std::chrono::milliseconds(5);

constexpr std::string_view kUsage =
    "usage: kandor-host put  [--section S] [--slot N] FILE.ies...\n"
    "       kandor-host get  [--section S] [--slot N] > FILE.ies\n"
    "       kandor-host send [--section S] --to KEY [--timeout SECONDS] COMMAND\n"
    "       kandor-host recv [--section S] --from KEY [--timeout SECONDS] [--no-ack]\n"
    "       kandor-host edit [--child] [--copy] [--force] [--tool PATH] FILE.ies|FILE.ldt\n"
    "       kandor-host --help | --version\n"
    "\n"
    "Stands in for the host application: moves records and commands through the\n"
    "per-user settings store ($LUMIVEX_SETTINGS_DB selects the file).\n"
    "\n"
    "  put   reads LM-63 files and writes them into slots N, N+1, ... (default 1);\n"
    "        every other slot is cleared, as the host does before it starts the tool.\n"
    "  get   reads slot N (default 1) and writes it to standard output as LM-63 text.\n"
    "  send  writes COMMAND under KEY and waits for it to be cleared (default 3 s);\n"
    "        exit status 1 when nobody acknowledged it.\n"
    "  recv  waits for a command under KEY (default 10 s), prints it and clears it\n"
    "        (unless --no-ack); exit status 1 when none came.\n"
    "  edit  opens FILE.ies in the editor (kandorpe beside this tool, or --tool PATH)\n"
    "        and saves what the editor hands back: FILE.ies itself (the original kept\n"
    "        once as FILE.ies.bak), or Copy_FILE.ies beside it. --child puts the editor\n"
    "        inside a window of this tool; --copy starts the editor on a copy; --force\n"
    "        edits an LM-63 file the reader calls unusable (status 2). An EULUMDAT file\n"
    "        (.ldt) is edited as LM-63 data and saved back as EULUMDAT, its other fields\n"
    "        kept. Exit status 0 when the editor ended normally, 2 for a refused file,\n"
    "        66 for one that cannot be opened, 1 for any other failure.\n"
    "\n"
    "  --section S   section of application \"Lumivex_PE\" (default \"Lumivex_PE\")\n"
    "\n"
    "Exit status: 0 done, 1 failed or timed out, 64 bad command line, 66 unreadable file.\n";

void say(std::string_view text) {
    std::fwrite(text.data(), 1, text.size(), stderr);
    std::fputc('\n', stderr);
}

int usageError(std::string_view problem) {
    std::string text = "kandor-host: ";
    text += problem;
    say(text);
    say("Try 'kandor-host --help'.");
    return kExitUsage;
}

// Message boxes of the library go to standard error; nobody is there to answer, so every box
// takes its first button. The count lets a command tell that something went wrong.
class StderrPrompter final : public Prompter {
  public:
    PromptAnswer ask(const std::string& text, const std::string& title,
                     PromptButtons buttons) override {
        ++shown_;
        say("kandor-host: " + (title.empty() ? std::string() : title + ": ") + text);
        return buttons == PromptButtons::YesNo ? PromptAnswer::Yes : PromptAnswer::Ok;
    }
    int shown() const noexcept { return shown_; }

  private:
    int shown_ = 0;
};

struct Options {
    std::string command;
    std::string section{kDefaultSection};
    int slot = 1;
    std::string key;  // --to or --from
    std::optional<double> timeout;
    bool noAck = false;
    bool child = false;
    bool copy = false;
    bool force = false;
    std::string tool;
    std::vector<std::string> positional;
};

bool parseNumber(std::string_view text, double& value) {
    if (!isNumeric(text)) return false;
    try {
        value = readLenient(text);
    } catch (const RuntimeFault&) {
        return false;
    }
    return true;
}

// Parses the arguments after the command name. Returns an exit status when the run ends here
// (help or a usage error).
std::optional<int> parseOptions(int argc, char** argv, Options& options) {
    bool optionsEnded = false;
    for (int i = 2; i < argc; ++i) {
        std::string_view arg = argv[i];
        if (optionsEnded || !arg.starts_with("--")) {
            options.positional.emplace_back(arg);
            continue;
        }
        if (arg == "--") {
            optionsEnded = true;
            continue;
        }
        std::string_view name = arg;
        std::optional<std::string_view> value;
        if (std::size_t eq = arg.find('='); eq != std::string_view::npos) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
        }
        auto takeValue = [&]() -> std::optional<std::string_view> {
            if (value) return value;
            if (i + 1 >= argc) return std::nullopt;
            return std::string_view(argv[++i]);
        };
        if (name == "--help") {
            std::fwrite(kUsage.data(), 1, kUsage.size(), stdout);
            return kExitOk;
        }
        if (name == "--no-ack" && !value) {
            options.noAck = true;
            continue;
        }
        if (options.command == "edit" && !value &&
            (name == "--child" || name == "--copy" || name == "--force")) {
            (name == "--child"  ? options.child
             : name == "--copy" ? options.copy
                                : options.force) = true;
            continue;
        }
        if (name == "--tool" && options.command == "edit") {
            std::optional<std::string_view> path = takeValue();
            if (!path || path->empty()) return usageError("option '--tool' needs a path");
            options.tool = *path;
            continue;
        }
        if (name != "--section" && name != "--slot" && name != "--to" && name != "--from" &&
            name != "--timeout")
            return usageError("unknown option '" + std::string(arg) + "'");
        std::optional<std::string_view> text = takeValue();
        if (!text) return usageError("option '" + std::string(name) + "' needs a value");
        if (name == "--section") {
            if (text->empty()) return usageError("the section name is empty");
            options.section = *text;
        } else if (name == "--slot") {
            double slot = 0;
            if (!parseNumber(*text, slot) || slot < 1 || slot > MaxExchangeSlots ||
                slot != static_cast<double>(static_cast<int>(slot)))
                return usageError("the slot must be a whole number from 1 to 25, not '" +
                                  std::string(*text) + "'");
            options.slot = static_cast<int>(slot);
        } else if (name == "--timeout") {
            double seconds = 0;
            if (!parseNumber(*text, seconds) || seconds < 0 || seconds > 86400)
                return usageError("the timeout must be a number of seconds from 0 to 86400, not '" +
                                  std::string(*text) + "'");
            options.timeout = seconds;
        } else {
            if (text->empty()) return usageError("the key name is empty");
            options.key = *text;
        }
    }
    return std::nullopt;
}

std::unique_ptr<SettingsStore> openStore() {
    std::string error;
    std::unique_ptr<SettingsStore> store = openUserSettingsStore(error);
    if (!store) say("kandor-host: " + error);
    return store;
}

std::string_view statusMeaning(int status) {
    switch (status) {
        case 0:
            return "read cleanly";
        case 3:
            return "read, with keyword problems";
        case 1:
            return "read, with value problems";
        default:
            return "not usable as it stands";
    }
}

int runPut(const Options& options) {
    if (options.positional.empty()) return usageError("put needs at least one LM-63 file");
    if (options.positional.size() > static_cast<std::size_t>(MaxExchangeSlots))
        return usageError("at most 25 files fit into the exchange slots");

    RecordList list;
    for (const std::string& file : options.positional) {
        std::error_code ec;
        if (std::filesystem::is_directory(file, ec)) {
            say("kandor-host: '" + file + "' is a folder, not an LM-63 file.");
            return kExitNoInput;
        }
        std::ifstream in(file, std::ios::binary);
        std::string text;
        if (in) text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (!in && !in.eof()) {
            say("kandor-host: cannot read '" + file + "'.");
            return kExitNoInput;
        }
        text = normaliseLineEnds(text);
        // The reader's keyword check consults the text last composed; for a file read from disk
        // that is the file itself.
        writer().setLastText(text);
        IesRecord& record = list.add();
        IesReader reader;
        reader.hooks.ReportIssue = [&file](int code, int line, const std::string& message) {
            say("kandor-host: " + file + ":" + plainInt(line, true) + ": (" + plainInt(code, true) +
                ") " + message);
        };
        const int status = reader.ParseIes(record, text, false, writer().lastText());
        std::filesystem::path absolute = std::filesystem::absolute(file, ec);
        record.Filename = ec ? file : absolute.lexically_normal().string();
        say("kandor-host: " + file + ": status " + plainInt(status, true) + ", " +
            std::string(statusMeaning(status)) + ".");
    }

    std::unique_ptr<SettingsStore> store = openStore();
    if (!store) return kExitFailed;
    StderrPrompter prompter;
    ExchangeSlots exchange(*store, std::string(kExchangeApp), options.section, list, prompter);
    const int last = options.slot + list.ubound() - 1;
    const int result = exchange.WriteExchangeRecords(options.slot, last, 1);
    if (result < 1) {
        if (!exchange.lastError().empty()) say("kandor-host: " + exchange.lastError());
        return kExitFailed;
    }
    return kExitOk;
}

int runGet(const Options& options) {
    if (!options.positional.empty()) return usageError("get takes no file; redirect its output");
    std::unique_ptr<SettingsStore> store = openStore();
    if (!store) return kExitFailed;
    StderrPrompter prompter;
    RecordList list;
    ExchangeSlots exchange(*store, std::string(kExchangeApp), options.section, list, prompter);
    IesRecord record;
    std::string error;
    const int status = exchange.readSlot(options.slot, record, error);
    if (status == -1) {
        say("kandor-host: slot " + plainInt(options.slot, true) + " of section '" +
            options.section + "' is empty.");
        return kExitFailed;
    }
    if (status != 0) {
        say("kandor-host: slot " + plainInt(options.slot, true) + ": " + error);
        return kExitFailed;
    }
    const std::string text = writer().Compose(record, prompter);
    if (prompter.shown() > 0) return kExitFailed;  // the writer has said what went wrong
    std::fwrite(text.data(), 1, text.size(), stdout);
    return std::fflush(stdout) == 0 ? kExitOk : kExitFailed;
}

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// False when the store failed; the message has been shown.
bool readKey(SettingsStore& store, const Options& options, std::string& value) {
    value = store.get(kExchangeApp, options.section, options.key);
    if (store.lastError().empty()) return true;
    say("kandor-host: " + store.lastError());
    return false;
}

int runSend(const Options& options) {
    if (options.key.empty()) return usageError("send needs --to KEY");
    if (options.positional.size() != 1) return usageError("send needs exactly one COMMAND");
    if (options.positional.front().empty()) return usageError("the command is empty");
    std::unique_ptr<SettingsStore> store = openStore();
    if (!store) return kExitFailed;
    if (!store->save(kExchangeApp, options.section, options.key, options.positional.front())) {
        say("kandor-host: " + store->lastError());
        return kExitFailed;
    }
    const double limit = options.timeout.value_or(kAckSeconds);
    const Clock::time_point start = Clock::now();
    std::string value;
    while (true) {
        if (!readKey(*store, options, value)) return kExitFailed;
        if (value.empty()) return kExitOk;
        if (secondsSince(start) >= limit) break;
        std::this_thread::sleep_for(kPollEvery);
    }
    say("kandor-host: nobody acknowledged the command under '" + options.key + "' within " +
        generalSingle(static_cast<float>(limit)) + " s.");
    return kExitFailed;
}

int runRecv(const Options& options) {
    if (options.key.empty()) return usageError("recv needs --from KEY");
    if (!options.positional.empty()) return usageError("recv takes no arguments besides options");
    std::unique_ptr<SettingsStore> store = openStore();
    if (!store) return kExitFailed;
    const double limit = options.timeout.value_or(kDefaultRecvSeconds);
    const Clock::time_point start = Clock::now();
    std::string value;
    while (true) {
        if (!readKey(*store, options, value)) return kExitFailed;
        if (!value.empty()) break;
        if (secondsSince(start) >= limit) {
            say("kandor-host: no command arrived under '" + options.key + "' within " +
                generalSingle(static_cast<float>(limit)) + " s.");
            return kExitFailed;
        }
        std::this_thread::sleep_for(kPollEvery);
    }
    if (!options.noAck && !store->save(kExchangeApp, options.section, options.key, "")) {
        say("kandor-host: " + store->lastError());
        return kExitFailed;
    }
    std::fwrite(value.data(), 1, value.size(), stdout);
    std::fputc('\n', stdout);
    return std::fflush(stdout) == 0 ? kExitOk : kExitFailed;
}

int runEditCommand(int argc, char** argv, const Options& options) {
    if (options.positional.size() != 1) return usageError("edit needs exactly one LM-63 file");
    fileedit::EditOptions edit;
    edit.file = options.positional.front();
    edit.child = options.child;
    edit.copy = options.copy;
    edit.force = options.force;
    if (options.section != kDefaultSection) edit.section = options.section;
    if (options.timeout) edit.startSeconds = *options.timeout;
    edit.toolPath = options.tool;
    if (edit.toolPath.empty()) {
        std::error_code ec;
        const auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
        edit.toolPath = (ec ? std::filesystem::path("kandorpe") : self.parent_path() / "kandorpe");
    }
    // A folder, a device, a pipe or a missing file is refused at once, display or not.
    edit.read = fileio::readForEditing(edit.file);
    if (!edit.read->ok) {
        say("kandor-host: " + edit.read->error);
        return fileedit::kExitNoInput;
    }
    const char* display = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    if ((!display || !*display) && (!wayland || !*wayland) && (!platform || !*platform)) {
        say("kandor-host: no display to show the editor on (DISPLAY is not set); run it inside "
            "a desktop session, or under xvfb-run -a to try it without one.");
        return kExitFailed;
    }
    // A real application: a save that fails, or a file changed behind the editor's back, is
    // told in a message box.
    QApplication app(argc, argv);
    return fileedit::runEdit(edit);
}

int run(int argc, char** argv) {
    if (argc < 2) return usageError("no command given");
    Options options;
    options.command = argv[1];
    if (options.command == "--help" || options.command == "-h" || options.command == "help") {
        std::fwrite(kUsage.data(), 1, kUsage.size(), stdout);
        return kExitOk;
    }
    if (options.command == "--version") {
        const std::string text = build_info::versionText("kandor-host");
        std::fwrite(text.data(), 1, text.size(), stdout);
        return kExitOk;
    }
    if (std::optional<int> done = parseOptions(argc, argv, options)) return *done;
    if (options.command == "put") return runPut(options);
    if (options.command == "get") return runGet(options);
    if (options.command == "send") return runSend(options);
    if (options.command == "recv") return runRecv(options);
    if (options.command == "edit") return runEditCommand(argc, argv, options);
    return usageError("unknown command '" + options.command + "'");
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& e) {
        // Nothing above should throw; if something does, say so rather than abort.
        say(std::string("kandor-host: unexpected failure: ") + e.what());
        return kExitFailed;
    }
}
