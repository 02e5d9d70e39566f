// The tool's channel in this process and a real stand-in host process, sharing one settings
// store file.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/channel.h"
#include "host/exchange.h"
#include "host/sqlitesettingsstore.h"
#include "host/startup.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using namespace std::chrono_literals;

QCoreApplication& application() {
    static int argc = 1;
    static char name[] = "multiprocess_test";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    return app;
}

const QString kHostProgram = QStringLiteral(KANDOR_BIN_DIR "/kandor-host");
const QString kSection = QStringLiteral("MP");
constexpr const char* kToolLine = "4711,0,Lumivex_PE|Out,i1,0,MP";

class RecordingEditor final : public EditorForm {
  public:
    void moveTo(int l, int t, int w, int h) override {
        calls.push_back("move " + std::to_string(l) + "," + std::to_string(t) + "," +
                        std::to_string(w) + "," + std::to_string(h));
    }
    void raiseToTop() override { calls.push_back("raise"); }
    void unload() override { calls.push_back("unload"); }
    void giveBackParents() override { calls.push_back("give back"); }
    void showCommandLog(const std::string&) override {}
    double dpiX() const override { return 96; }
    double dpiY() const override { return 96; }
    void loadForm() override { calls.push_back("load"); }
    void fillKeywordPicker(std::span<const std::string_view>) override {}
    void backupRecord() override {}
    void loadData() override {}
    void applySettings(const UserSettings&) override {}
    void showForm() override { calls.push_back("show"); }

    bool did(const std::string& call) const {
        return std::find(calls.begin(), calls.end(), call) != calls.end();
    }
    std::vector<std::string> calls;
};

class MultiProcessTest : public ::testing::Test {
  protected:
    void SetUp() override {
        application();
        ASSERT_TRUE(QFileInfo(kHostProgram).isExecutable())
            << "build kandor-host first: " << kHostProgram.toStdString();
        ASSERT_TRUE(dir.isValid());
        qputenv("LUMIVEX_SETTINGS_DB", dir.filePath("settings.sqlite3").toUtf8());
        std::string error;
        store = openUserSettingsStore(error);
        ASSERT_TRUE(store) << error;
        core = std::make_unique<EditCore>(*store, state, list, form, prompter, hooks());
    }

    StartupHooks hooks() {
        StartupHooks h;
        h.endProgram = [this] { ++ended; };
        return h;
    }

    // Starts the stand-in host with the given arguments.
    std::unique_ptr<QProcess> host(const QStringList& arguments) {
        auto process = std::make_unique<QProcess>();
        process->start(kHostProgram, arguments);
        EXPECT_TRUE(process->waitForStarted(5000)) << process->errorString().toStdString();
        return process;
    }

    // Lets this process's timers run until the host ends; its exit code, -1 when it did not.
    static int awaitExit(QProcess& process, std::chrono::milliseconds limit = 10s) {
        runEventsUntil([&] { return process.state() == QProcess::NotRunning; }, limit);
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished(2000);
            return -1;
        }
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    }

    static void runEventsUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
        QElapsedTimer clock;
        clock.start();
        while (!done() && clock.elapsed() < limit.count())
            letEventsRun(5ms);
    }

    std::string value(const std::string& key) { return store->get("Lumivex_PE", "MP", key); }

    QTemporaryDir dir;
    std::unique_ptr<SettingsStore> store;
    ToolState state;
    RecordList list;
    RecordingEditor form;
    testing::ScriptedPrompter prompter;
    int ended = 0;
    std::unique_ptr<EditCore> core;
};

TEST_F(MultiProcessTest, UnacknowledgedCommandCostsThreeSecondsAndNothingElse) {
    store->save("Lumivex_PE", "Lumivex_PE", "SleepInterval", "0.05");
    ASSERT_EQ(core->Main(kToolLine), 0);
    // A host that reads the command but never clears it.
    auto recv = host({"recv", "--section", kSection, "--from", "Lumivex_PE|Out", "--no-ack"});
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(core->channel().SendCommand("Lumivex_PE|Out", "", "SendUpdatedData*,KandorPE,i1"), 0);
    const auto spent = clock.elapsed();
    EXPECT_GE(spent, 3000);
    EXPECT_LT(spent, 3600);
    EXPECT_EQ(awaitExit(*recv), 0);
    EXPECT_EQ(recv->readAllStandardOutput().toStdString(), "SendUpdatedData*,KandorPE,i1\n");
    EXPECT_EQ(value("Lumivex_PE|Out"), "SendUpdatedData*,KandorPE,i1");
    EXPECT_TRUE(prompter.calls().empty());
    EXPECT_EQ(form.calls, std::vector<std::string>{"load"});

    // The tool still listens.
    EXPECT_TRUE(core->channel().tmrDataExchange().isActive());
    auto close = host({"send", "--section", kSection, "--to", "KandorPE|i1", "CLOSE"});
    EXPECT_EQ(awaitExit(*close), 0);
    EXPECT_TRUE(form.did("unload"));
}

TEST_F(MultiProcessTest, WholeRunFromPutToClose) {
    const QString file = QStringLiteral(KANDOR_CORPUS_DIR "/babylon-bega-11719.ies");
    auto put = host({"put", "--section", kSection, file});
    ASSERT_EQ(awaitExit(*put), 0) << put->readAllStandardError().toStdString();

    store->save("Lumivex_PE", "Lumivex_PE", "SleepInterval", "0.05");
    ASSERT_EQ(core->Main(kToolLine), 0);
    ASSERT_EQ(list.ubound(), 1);
    EXPECT_EQ(list(1).Filename, QFileInfo(file).absoluteFilePath().toStdString());
    EXPECT_EQ(list(1).OtherData.numVertAngles, 37);

    auto start = host({"send", "--section", kSection, "--to", "KandorPE|i1", "START"});
    EXPECT_EQ(awaitExit(*start), 0) << start->readAllStandardError().toStdString();
    EXPECT_EQ(value("KandorPE|i1"), "");
    EXPECT_TRUE(form.did("show"));
    EXPECT_EQ(state.oldName, list(1).Filename);

    // The tool hands the record back and the host collects it.
    list(1).OtherData.multiplier = 2.5f;
    ExchangeSlots toolSlots(*store, state.appName, state.section, list, prompter);
    ASSERT_EQ(toolSlots.WriteExchangeRecords(1, 1, 1), 1) << toolSlots.lastError();
    auto recv = host({"recv", "--section", kSection, "--from", "Lumivex_PE|Out"});
    QElapsedTimer clock;
    clock.start();
    core->channel().SendCommand(state.outgoingKey, "", "SendUpdatedDataClose*,KandorPE,i1");
    EXPECT_LT(clock.elapsed(), 2500);
    EXPECT_EQ(awaitExit(*recv), 0);
    EXPECT_EQ(value("Lumivex_PE|Out"), "");
    EXPECT_EQ(recv->readAllStandardOutput().toStdString(), "SendUpdatedDataClose*,KandorPE,i1\n");
    auto get = host({"get", "--section", kSection});
    ASSERT_EQ(awaitExit(*get), 0) << get->readAllStandardError().toStdString();
    const std::string text = get->readAllStandardOutput().toStdString();
    EXPECT_EQ(text.rfind("IESNA:LM-63-1995\r\n", 0), 0u) << text.substr(0, 40);
    EXPECT_NE(text.find("2.5"), std::string::npos);

    auto close = host({"send", "--section", kSection, "--to", "KandorPE|i1", "CLOSE"});
    EXPECT_EQ(awaitExit(*close), 0);
    EXPECT_TRUE(form.did("unload"));
    EXPECT_TRUE(prompter.calls().empty());
}

TEST_F(MultiProcessTest, HostThatNeverSendsStartIsReported) {
    core->setDeathInterval(2s);
    ASSERT_EQ(core->Main(kToolLine), 0);
    // Other commands do not count as "START".
    auto move = host({"send", "--section", kSection, "--to", "KandorPE|i1", "MOVEWIN,0,0,15,15"});
    EXPECT_EQ(awaitExit(*move), 0);
    runEventsUntil([&] { return ended > 0; }, 5s);
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text, "Kandor i1 never received a START. Exiting.");
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(core->channel().tmrDataExchange().isActive());
}

}  // namespace
}  // namespace kandor
