// kandorpe: the photometric editor. Started by the host with its six-field command line, or
// without one on the built-in sample record.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <QApplication>

#include "core/iesrecord.h"
#include "core/runtimefault.h"
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

// Qt's own message for a missing display names plug-ins, not the problem.
bool displayAvailable() {
    if (const char* platform = std::getenv("QT_QPA_PLATFORM"); platform && *platform) return true;
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY"})
        if (const char* value = std::getenv(name); value && *value) return true;
    return false;
}

}  // namespace

int main(int argc, char** argv) {
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
    }
    if (parsed.hostWindow != 0) {
        context.sendCommand = [&core, &state](std::string_view command) {
            if (core) core->channel().SendCommand(state.outgoingKey, "", command);
        };
    }
    context.endProgram = [] { QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(0); }); };

    frmEdit form(context);
    prompter.setOwner(&form);
    EditCore editCore(*store, state, list, form, prompter);
    core = &editCore;
    if (editCore.Main(commandLine) != 0) return 1;
    return app.exec();
}
