#include "host/channel.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <ctime>
#include <string>
#include <vector>

#include "core/runtimefault.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using namespace std::chrono_literals;

QCoreApplication& application() {
    static int argc = 1;
    static char name[] = "channel_test";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    return app;
}

// Records what the channel asks of the window, one line per call.
class RecordingForm final : public ToolForm {
  public:
    void moveTo(int left, int top, int width, int height) override {
        calls.push_back("move " + std::to_string(left) + "," + std::to_string(top) + "," +
                        std::to_string(width) + "," + std::to_string(height));
    }
    void raiseToTop() override { calls.push_back("raise"); }
    void unload() override {
        calls.push_back("unload");
        if (faultOnUnload) raiseFault(faultOnUnload);
    }
    void giveBackParents() override { calls.push_back("give back"); }
    void showCommandLog(const std::string& log) override { shownLog = log; }
    double dpiX() const override { return dpi[0]; }
    double dpiY() const override { return dpi[1]; }

    std::vector<std::string> calls;
    std::string shownLog;
    double dpi[2] = {96, 96};
    int faultOnUnload = 0;
};

class ChannelTest : public ::testing::Test {
  protected:
    void SetUp() override {
        application();
        state.section = "Sect";
        state.instanceId = "inst7";
        state.outgoingKey = "Lumivex_PE|Out";
        channel.setHooks({
            .startSequence = [this] { form.calls.push_back("start sequence"); },
            .stopDeathTimer = [this] { form.calls.push_back("death timer off"); },
            .endProgram = [this] { form.calls.push_back("end"); },
        });
    }

    void hostWrites(const std::string& command) {
        store.save(state.appName, state.section, state.incomingKey(), command);
    }
    std::string incoming() { return store.get(state.appName, state.section, state.incomingKey()); }
    // Delivers one command the way a timer tick does.
    void deliver(const std::string& command) {
        hostWrites(command);
        channel.pollIncoming();
    }

    MemorySettingsStore store;
    ToolState state;
    RecordList list;
    RecordingForm form;
    testing::ScriptedPrompter prompter;
    CommandChannel channel{store, state, list, form, prompter};
};

TEST_F(ChannelTest, VerbsAreMatchedWithoutRegardToCaseAndBlanks) {
    struct Case {
        const char* command;
        std::vector<std::string> calls;
    };
    const Case cases[] = {
        {"START", {"death timer off", "start sequence"}},
        {" start \t", {"death timer off", "start sequence"}},
        {"Start,ignored,args", {"death timer off", "start sequence"}},
        {"START\r\n", {"death timer off", "start sequence"}},
        {"SendNewDataClose", {}},
        {"MOVEWIN,1440,2880,4320,5760", {"move 96,192,288,384", "raise"}},
        {"\tmoveWin ,0,0,15,15", {"move 0,0,1,1", "raise"}},
        {"close", {"unload"}},
        {" Close ,now", {"unload"}},
        {"CLOSE_ALL", {}},
        {"ECHO", {}},
        {"STAR T", {}},
        // Only line 1 carries the verb.
        {"close\nSTART", {"unload"}},
        {"\nCLOSE", {}},
    };
    list.add();
    for (const Case& c : cases) {
        form.calls.clear();
        channel.tmrDataExchange().start(1h);
        deliver(c.command);
        EXPECT_EQ(form.calls, c.calls) << c.command;
    }
    EXPECT_TRUE(prompter.calls().empty());
}

TEST_F(ChannelTest, EveryCommandIsLoggedAndAcknowledged) {
    channel.pollIncoming();
    EXPECT_EQ(channel.txtCmds(), "");
    deliver("ECHO");
    EXPECT_EQ(incoming(), "");
    deliver("MOVEWIN,1");
    EXPECT_EQ(channel.txtCmds(), "ECHO\r\nMOVEWIN,1\r\n");
    EXPECT_EQ(form.shownLog, channel.txtCmds());
    EXPECT_EQ(state.lastCommand, "MOVEWIN,1");
}

TEST_F(ChannelTest, CommandWrittenTwiceBeforeTheTickIsSeenOnce) {
    hostWrites("MOVEWIN,15,15,15,15");
    hostWrites("CLOSE");
    channel.pollIncoming();
    channel.pollIncoming();
    EXPECT_EQ(form.calls, std::vector<std::string>{"unload"});
    EXPECT_EQ(channel.txtCmds(), "CLOSE\r\n");
}

TEST_F(ChannelTest, MoveWinScalesEachAxisByItsOwnDpi) {
    struct Case {
        double dpiX, dpiY;
        const char* command;
        const char* move;  // nullptr: ignored
    };
    const Case cases[] = {
        {120, 144, "MOVEWIN,1200,1000,2400,2000", "move 100,100,200,200"},
        {144, 120, "MOVEWIN,1200,1000,2400,2000", "move 120,83,240,167"},
        // 97.5 and 112.5 twips are 6.5 and 7.5 pixels at 96 dpi: halves go to even.
        {96, 96, "MOVEWIN,97.5,112.5,-15,0", "move 6,8,-1,0"},
        // Numbers are read leniently.
        {96, 96, "MOVEWIN, 150px,abc,30.9e1,", "move 10,0,21,0"},
        // A dpi the screen cannot have counts as 96.
        {0, -1, "MOVEWIN,150,150,150,150", "move 10,10,10,10"},
        {96, 96, "MOVEWIN,1,2,3", nullptr},
        {96, 96, "MOVEWIN,1,2,3\n4,5,6,7,8", nullptr},
        {96, 96, "MOVEWIN,1E30,0,0,0", nullptr},
        {96, 96, "MOVEWIN,0,0,0,1E999", nullptr},
    };
    for (const Case& c : cases) {
        form.calls.clear();
        form.dpi[0] = c.dpiX;
        form.dpi[1] = c.dpiY;
        deliver(c.command);
        if (c.move) {
            EXPECT_EQ(form.calls, (std::vector<std::string>{c.move, "raise"})) << c.command;
        } else {
            EXPECT_TRUE(form.calls.empty()) << c.command;
        }
    }
}

TEST_F(ChannelTest, DeleteFileUnloadsOnlyForTheEditedFile) {
    struct Case {
        const char* oldName;
        bool childMode;
        const char* command;
        std::vector<std::string> calls;
    };
    const Case cases[] = {
        {"/data/Lum A.ies", false, "DELETEFILE,/data/Lum A.ies", {"unload"}},
        {"/data/Lum A.ies", false, "deletefile,  /DATA/lum a.IES \r\n", {"unload"}},
        {" /data/Lum A.ies ", true, "DELETEFILE,/data/lum a.ies", {"give back", "unload"}},
        // The path is the rest of the line, commas and all.
        {"/data/a,b.ies", false, "DELETEFILE,/data/a,b.ies", {"unload"}},
        {"/data/a.ies", false, "DELETEFILE,/data/a.ies,b", {}},
        {"/data/a.ies", true, "DELETEFILE,/data/b.ies", {}},
        {"/data/a.ies", false, "DELETEFILE,/data/a.ies.bak", {}},
        // No path names no file, not even before any record arrived.
        {"", false, "DELETEFILE", {}},
        {"", false, "DELETEFILE,   ", {}},
    };
    for (const Case& c : cases) {
        form.calls.clear();
        state.oldName = c.oldName;
        state.childMode = c.childMode;
        deliver(c.command);
        EXPECT_EQ(form.calls, c.calls) << c.command << " for " << c.oldName;
    }
}

TEST_F(ChannelTest, CloseAndDeleteStopThePoll) {
    channel.startPolling(1h);
    deliver("CLOSE");
    EXPECT_FALSE(channel.tmrDataExchange().isActive());
    channel.startPolling(1h);
    state.oldName = "x.ies";
    deliver("DELETEFILE,y.ies");
    EXPECT_TRUE(channel.tmrDataExchange().isActive());
    deliver("DELETEFILE,x.ies");
    EXPECT_FALSE(channel.tmrDataExchange().isActive());
}

TEST_F(ChannelTest, StartWithoutRecordsGivesUpAfterFiveTries) {
    QElapsedTimer clock;
    clock.start();
    deliver("START");
    const auto spent = clock.elapsed();
    EXPECT_EQ(form.calls, (std::vector<std::string>{"death timer off", "end"}));
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text, "Kandor waited for data, never got it.");
    // Four pauses of a tenth of a second between the five looks.
    EXPECT_GE(spent, 390);
    EXPECT_LT(spent, 1500);
}

TEST_F(ChannelTest, StartWaitsForRecordsThatArriveMeanwhile) {
    QTimer::singleShot(150ms, [this] { list.add(); });
    deliver("START");
    EXPECT_EQ(form.calls, (std::vector<std::string>{"death timer off", "start sequence"}));
    EXPECT_TRUE(prompter.calls().empty());
}

// A fault in a window call once escaped the timer's slot and ended the tool without a word.
TEST_F(ChannelTest, FaultDuringATickIsReportedNotThrown) {
    form.faultOnUnload = fault::kSubscriptOutOfRange;
    channel.startPolling(10ms);
    hostWrites("CLOSE");
    QElapsedTimer clock;
    clock.start();
    while (prompter.calls().empty() && clock.elapsed() < 2000)
        letEventsRun(5ms);
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text, "Error in msbCmd: #9 Subscript out of range");
}

TEST_F(ChannelTest, SendWritesKeyBarSubKeyAndReturnsOnAcknowledgement) {
    const std::string key = "Lumivex_PE|Out|sub";
    QTimer::singleShot(100ms, [&] {
        EXPECT_EQ(store.get(state.appName, state.section, key), "SendNewData*,KandorPE,inst7");
        store.save(state.appName, state.section, key, "");
    });
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(channel.SendCommand("Lumivex_PE|Out", "sub", "SendNewData*,KandorPE,inst7"), 0);
    EXPECT_GE(clock.elapsed(), 90);
    EXPECT_LT(clock.elapsed(), 1000);
}

TEST_F(ChannelTest, TickHandledDuringASendWait) {
    // The host answers a closing command with CLOSE before it clears the key.
    channel.startPolling(10ms);
    QTimer::singleShot(50ms, [this] { hostWrites("CLOSE"); });
    QTimer::singleShot(200ms,
                       [this] { store.save(state.appName, state.section, state.outgoingKey, ""); });
    channel.SendCommand(state.outgoingKey, "", "SendUpdatedDataClose*,KandorPE,inst7");
    EXPECT_EQ(form.calls, std::vector<std::string>{"unload"});
}

TEST(LetEventsRun, SleepsInsteadOfSpinning) {
    application();
    const std::clock_t before = std::clock();
    QElapsedTimer clock;
    clock.start();
    letEventsRun(200ms);
    EXPECT_GE(clock.elapsed(), 195);
    const double cpuSeconds = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    EXPECT_LT(cpuSeconds, 0.05);
}

}  // namespace
}  // namespace kandor
