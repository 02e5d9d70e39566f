// The tool's channel in this process and a real stand-in host process, sharing one settings
// store file.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>

#include <functional>

#include "host/sqlitesettingsstore.h"
#include "host/startup.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

constexpr const char* kToolLine = "4711,0,Lumivex_PE|Out,i1,0,MP";

class RecordingEditor final : public EditorForm {
  public:
    void moveTo(int, int, int, int) override { calls.push_back("move"); }
    void raiseToTop() override { calls.push_back("raise"); }
    void unload() override { calls.push_back("unload"); }
    void giveBackParents() override {}
    void showCommandLog(const std::string&) override {}
    double dpiX() const override { return 96; }
    double dpiY() const override { return 96; }
    void loadForm() override { calls.push_back("load"); }
    void fillKeywordPicker(std::span<const std::string_view>) override {}
    void backupRecord() override {}
    void loadData() override {}
    void applySettings(const UserSettings&) override {}
    void showForm() override { calls.push_back("show"); }
    std::vector<std::string> calls;
};

class MultiProcessTest : public ::testing::Test {
  protected:
    void SetUp() override {
        static int argc = 1;
        static char* argv[] = {const_cast<char*>("multiprocess_test"), nullptr};
        static QCoreApplication app(argc, argv);
        qputenv("LUMIVEX_SETTINGS_DB", QByteArray::fromStdString(path));  // for the host
        ASSERT_TRUE(store) << error;
        core = std::make_unique<EditCore>(*store, state, list, form, prompter,
                                          StartupHooks{[this](int) { ++ended; }, {}, {}});
    }

    // Starts the stand-in host, kandor-host args..., on the tool's section.
    static std::unique_ptr<QProcess> host(const QStringList& args) {
        auto process = std::make_unique<QProcess>();
        process->start(KANDOR_BIN_DIR "/kandor-host", args + QStringList{"--section", "MP"});
        return process;
    }

    // Lets this process's timers run until done() or the time is up.
    static void runEventsUntil(const std::function<bool()>& done, qint64 limitMs) {
        QElapsedTimer clock;
        clock.start();
        while (!done() && clock.elapsed() < limitMs)
            letEventsRun(std::chrono::milliseconds(5));
    }

    // Lets this process's timers run until the host ends; "exit code|standard output".
    static std::string finish(QProcess& process) {
        runEventsUntil([&] { return process.state() == QProcess::NotRunning; }, 10000);
        if (process.state() != QProcess::NotRunning || process.exitStatus() != QProcess::NormalExit)
            return "hung or crashed";
        return std::to_string(process.exitCode()) + "|" +
               process.readAllStandardOutput().toStdString();
    }

    QTemporaryDir dir;
    const std::string path = dir.filePath("settings.sqlite3").toStdString();
    std::string error;
    std::unique_ptr<SettingsStore> store = SqliteSettingsStore::open(path, error);
    ToolState state;
    RecordList list;
    RecordingEditor form;
    testing::ScriptedPrompter prompter;
    int ended = 0;
    std::unique_ptr<EditCore> core;
};

TEST_F(MultiProcessTest, CommandsGoBothWaysAndAnUnacknowledgedOneCostsOnlyThreeSeconds) {
    ASSERT_EQ(finish(*host({"put", KANDOR_CORPUS_DIR "/babylon-bega-11719.ies"})), "0|");
    ASSERT_EQ(core->Main(kToolLine), 0);
    EXPECT_EQ(finish(*host({"send", "--to", "KandorPE|i1", "START"})), "0|");

    const std::string update = "SendUpdatedData*,KandorPE,i1";
    auto recv = host({"recv", "--from", "Lumivex_PE|Out"});
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(core->channel().SendCommand("Lumivex_PE|Out", "", update), 0);
    EXPECT_LT(clock.elapsed(), 2500);
    EXPECT_EQ(finish(*recv), "0|" + update + "\n");

    // A host that reads the command but never clears it.
    auto peek = host({"recv", "--from", "Lumivex_PE|Out", "--no-ack"});
    clock.restart();
    EXPECT_EQ(core->channel().SendCommand("Lumivex_PE|Out", "", update), 0);
    EXPECT_TRUE(clock.elapsed() >= 3000 && clock.elapsed() < 3600) << clock.elapsed();
    EXPECT_EQ(finish(*peek), "0|" + update + "\n");
    EXPECT_EQ(form.calls, (std::vector<std::string>{"load", "show"}));

    // The tool still listens.
    EXPECT_EQ(finish(*host({"send", "--to", "KandorPE|i1", "CLOSE"})), "0|");
    EXPECT_EQ(form.calls.back(), "unload");
    EXPECT_TRUE(prompter.calls().empty());
}

TEST_F(MultiProcessTest, HostThatNeverSendsStartIsReported) {
    core->setDeathInterval(std::chrono::seconds(2));
    ASSERT_EQ(core->Main(kToolLine), 0);
    // Other commands do not count as "START".
    EXPECT_EQ(finish(*host({"send", "--to", "KandorPE|i1", "MOVEWIN,0,0,15,15"})), "0|");
    runEventsUntil([this] { return ended > 0; }, 5000);
    EXPECT_EQ(prompter.last().text, "Kandor i1 never received a START. Exiting.");
    EXPECT_EQ(ended, 1);
}

}  // namespace
}  // namespace kandor
