// kandorpe: the photometric editor. Started by the host with its six-field command line, or
// without one on the built-in sample record.

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <QApplication>
#include <QEvent>

#include "core/iesrecord.h"
#include "core/runtimefault.h"
#include "dialogs/version.h"
#include "editor/frmedit.h"
#include "editor/guardedapplication.h"
#include "editor/helpopener.h"
#include "editor/qtprompter.h"
#include "fileedit/fileedit.h"
#include "host/channel.h"
#include "host/sqlitesettingsstore.h"
#include "host/startup.h"

namespace {

using namespace kandor;

constexpr std::string_view kHelp =
    "Usage: kandorpe\n"
    "       kandorpe FILE\n"
    "       kandorpe HOSTWINDOW,CHILD,OUTKEY,INSTANCE,NUMBER,SECTION\n"
    "       kandorpe --help | --version\n"
    "\n"
    "The photometric data editor of KandorPE: keywords, lamp and luminaire data, angles and\n"
    "candela values of one IESNA LM-63 file, checked against the rules of its revision.\n"
    "\n"
    "  (nothing)   the editor on its built-in sample record\n"
    "  FILE        FILE opened in the editor; OK saves it in place (the original is kept once\n"
    "              as FILE.bak), a file the reader calls unusable is refused with its findings\n"
    "  six fields  started by the host application, which hands over the record and the\n"
    "              commands through the per-user settings store\n"
    "\n"
    "The settings store is $LUMIVEX_SETTINGS_DB when set, else\n"
    "$XDG_CONFIG_HOME/Lumivex/settings.sqlite3. See kandorpe(1).\n";

// The one argument that asks for a text instead of the editor; a host's command line always
// has commas, so it is never mistaken for one.
bool answeredOption(int argc, char** argv) {
    if (argc != 2) return false;
    const std::string_view arg = argv[1];
    if (arg == "--help" || arg == "-h") {
        std::fwrite(kHelp.data(), 1, kHelp.size(), stdout);
        return true;
    }
    if (arg == "--version") {
        const std::string text = build_info::versionText("kandorpe");
        std::fwrite(text.data(), 1, text.size(), stdout);
        return true;
    }
    return false;
}

// With KANDOR_SHOWN_STAMP set, the editor says on standard error when its window first paints,
// as wall-clock seconds (the form of bash's EPOCHREALTIME), so that a script can time the whole
// process from the moment it started it.
class ShownStamp final : public QObject {
  public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            using namespace std::chrono;
            const long long us =
                duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
            std::fprintf(stderr, "kandorpe: shown at %lld.%06lld\n", us / 1000000, us % 1000000);
            watched->removeEventFilter(this);
        }
        return false;
    }
};

// `kandorpe FILE`: one argument that names a file. A host's six-field command line has commas
// and names no file, so a text with commas counts as a file only when it exists.
std::optional<std::filesystem::path> fileToEdit(int argc, char** argv) {
    if (argc != 2) return std::nullopt;
    const std::string_view arg = argv[1];
    if (arg.empty() || arg.starts_with("-")) return std::nullopt;
    std::error_code ec;
    if (arg.find(',') != std::string_view::npos && !std::filesystem::exists(arg, ec))
        return std::nullopt;
    return std::filesystem::path(arg);
}

// Opens a file as kandor-host edit does: this process plays the host and saves the file, a
// second process of this program is the editor, so that the edits survive this one's end.
int editFile(const std::filesystem::path& file) {
    fileedit::EditOptions options;
    options.file = file;
    std::error_code ec;
    const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
    options.toolPath = ec ? "kandorpe" : self.string();
    // Started from a file manager there is no terminal to read refusals on.
    options.startErrorsInBox = true;
    return fileedit::runEdit(options);
}

// Qt's own message for a missing display names plug-ins, not the problem.
bool displayAvailable() {
    if (const char* platform = std::getenv("QT_QPA_PLATFORM"); platform && *platform) return true;
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"})
        if (const char* value = std::getenv(name); value && *value) return true;
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (answeredOption(argc, argv)) return std::fflush(stdout) == 0 ? 0 : 1;
    if (!displayAvailable()) {
        std::fputs(
            "kandorpe: no display to show the editor on (DISPLAY is not set); run it "
            "inside a desktop session, or under xvfb-run -a to try it without one.\n",
            stderr);
        return 2;
    }
    GuardedApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("KandorPE"));
    QApplication::setDesktopFileName(QStringLiteral("kandorpe"));
    if (const auto file = fileToEdit(argc, argv)) return editFile(*file);

    const std::string commandLine = commandLineFromArguments(argc, argv);
    CommandLine parsed;
    try {
        parsed = ParseCommandLine(commandLine);
    } catch (const RuntimeFault&) {
        // EditCore::Main reports the same fault in its own words.
    }

    QtPrompter prompter;
    app.report = [&prompter](const std::string& text) { prompter.tell(text); };
    std::string storeError;
    std::unique_ptr<SettingsStore> store = openUserSettingsStore(storeError);
    if (!store) {
        // Without its store the tool can still show the sample record; settings are not kept.
        prompter.tell(storeError);
        store = std::make_unique<MemorySettingsStore>();
    }

    ToolState& state = toolState();
    RecordList& list = records();
    PageHelpOpener help(prompter,
                        helpFilePath(QCoreApplication::applicationDirPath().toStdString()));

    EditCore* core = nullptr;
    EditorContext context{*store, state, list, prompter, help, {}, {}, parsed.hostWindow};
    // Started by kandor-host edit for a file: a person at the desktop, not a host, owns it.
    if (const char* file = std::getenv(fileedit::kEditFileVariable);
        file && *file && parsed.hostWindow != 0) {
        context.editedFile = file;
        context.hostProcess = static_cast<std::int64_t>(::getppid());
        const fileedit::OpenReport report = fileedit::decodeOpenReport(
            store->get(kExchangeApp, parsed.section, fileedit::kOpenReportKey));
        context.openStatus = report.status;
        context.openFindings = report.findings;
    }
    if (parsed.hostWindow != 0) {
        context.sendCommand = [&core, &state](std::string_view command) {
            if (core) core->channel().SendCommand(state.outgoingKey, "", command);
        };
    }
    context.endProgram = [] { QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(0); }); };

    frmEdit form(context);
    prompter.setOwner(&form);
    ShownStamp stamp;
    if (const char* wanted = std::getenv("KANDOR_SHOWN_STAMP"); wanted && *wanted)
        form.installEventFilter(&stamp);
    EditCore editCore(*store, state, list, form, prompter);
    core = &editCore;
    if (editCore.Main(commandLine) != 0) return 1;
    return app.exec();
}
