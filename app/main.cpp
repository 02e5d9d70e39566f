// kandorpe: the photometric editor. Started by the host with its six-field command line, or
// without one on the built-in sample record.

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

#include "core/iesrecord.h"
#include "core/runtimefault.h"
#include "editor/frmedit.h"
#include "editor/qtprompter.h"
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

// The help pages beside the tool, opened in the desktop's browser.
class PageHelp final : public HelpOpener {
  public:
    PageHelp(Prompter& prompter, std::string helpFile)
        : prompter_(prompter), helpFile_(std::move(helpFile)) {}
    bool openTopic(int topic) override {
        const QString folder = QFileInfo(QString::fromStdString(helpFile_)).absolutePath();
        const QString page = folder + QStringLiteral("/topic-%1.html").arg(topic);
        if (!QFileInfo::exists(page)) {
            prompter_.tell("The help page " + page.toStdString() +
                           " is missing. Reinstall the tool to get its help pages back.");
            return false;
        }
        return QDesktopServices::openUrl(QUrl::fromLocalFile(page));
    }

  private:
    Prompter& prompter_;
    std::string helpFile_;
};

}  // namespace

int main(int argc, char** argv) {
    if (!displayAvailable()) {
        std::fputs(
            "kandorpe: no display to show the editor on (DISPLAY is not set); run it "
            "inside a desktop session, or under xvfb-run -a to try it without one.\n",
            stderr);
        return 2;
    }
    QApplication app(argc, argv);
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
    std::string storeError;
    std::unique_ptr<SettingsStore> store = openUserSettingsStore(storeError);
    if (!store) {
        // Without its store the tool can still show the sample record; settings are not kept.
        prompter.tell(storeError);
        store = std::make_unique<MemorySettingsStore>();
    }

    ToolState& state = toolState();
    RecordList& list = records();
    PageHelp help(prompter, helpFilePath(QCoreApplication::applicationDirPath().toStdString()));

    EditCore* core = nullptr;
    EditorContext context{*store, state, list, prompter, help, {}, {}, parsed.hostWindow};
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
