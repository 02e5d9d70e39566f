#include "host/channel.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <ctime>
#include <string>
#include <vector>

#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using namespace std::chrono_literals;

// Records what the channel asks of the window, each call followed by ";".
class RecordingForm final : public ToolForm {
  public:
    void moveTo(int left, int top, int width, int height) override {
        calls += "move " + std::to_string(left) + "," + std::to_string(top) + "," +
                 std::to_string(width) + "," + std::to_string(height) + ";";
    }
    void raiseToTop() override { calls += "raise;"; }
    void unload() override { calls += "unload;"; }
    void giveBackParents() override { calls += "give back;"; }
    void showCommandLog(const std::string&) override {}
    double dpiX() const override { return dpi[0]; }
    double dpiY() const override { return dpi[1]; }

    std::string calls;
    double dpi[2] = {96, 96};
};

class ChannelTest : public ::testing::Test {
  protected:
    void SetUp() override {
        static int argc = 1;
        static char name[] = "channel_test", *argv[] = {name, nullptr};
        static QCoreApplication app(argc, argv);
        state.section = "Sect";
        state.instanceId = "inst7";
        channel.setHooks({.startSequence = [this] { form.calls += "start sequence;"; },
                          .stopDeathTimer = [this] { form.calls += "death timer off;"; },
                          .endProgram = [this] { form.calls += "end;"; }});
    }
    // Writes a command as the host does and, unless `tick` is false, delivers it the way a timer
    // tick does; gives the window calls it caused.
    std::string deliver(const std::string& command, bool tick = true) {
        form.calls.clear();
        store.save(state.appName, state.section, state.incomingKey(), command);
        if (tick) channel.pollIncoming();
        return form.calls;
    }

    MemorySettingsStore store;
    ToolState state;
    RecordList list;
    RecordingForm form;
    testing::ScriptedPrompter prompter;
    CommandChannel channel{store, state, list, form, prompter};
};

TEST_F(ChannelTest, VerbsAreMatchedWithoutRegardToCaseAndBlanks) {
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(deliver("START"), "death timer off;end;");  // no records after five looks
    EXPECT_TRUE(clock.elapsed() >= 390 && clock.elapsed() < 1500) << clock.elapsed();
    EXPECT_EQ(prompter.last().text, "Kandor waited for data, never got it.");
    QTimer::singleShot(150ms, [this] { list.add(); });
    EXPECT_EQ(deliver(" sTart \t\r\n"), "death timer off;start sequence;");

    state.oldName = " /data/Lum A,1.ies ";
    EXPECT_EQ(deliver("close\nSTART"), "unload;");  // only line 1 carries the verb
    // The path is the rest of the line, commas and all, trimmed and compared upper-cased.
    EXPECT_EQ(deliver("deletefile,  /DATA/lum a,1.IES \r\n"), "unload;");
    for (const char* ignored : {"SendNewDataClose", "CLOSE_ALL", "STAR T", "\nCLOSE",
                                "MOVEWIN,1,2,3", "MOVEWIN,1,2,3\n4,5,6,7,8", "MOVEWIN,1E30,0,0,0",
                                "DELETEFILE,/data/Lum A", "DELETEFILE,/data/Lum A,1.ies.bak"})
        EXPECT_EQ(deliver(ignored), "") << ignored;
    state.childMode = true;
    EXPECT_EQ(deliver(" Close ,now"), "unload;");
    EXPECT_EQ(deliver("DELETEFILE,/data/lum a,1.ies"), "give back;unload;");
    state.oldName = "";  // no path names no file, not even before any record arrived
    EXPECT_EQ(deliver("DELETEFILE,   "), "");
    EXPECT_EQ(prompter.calls().size(), 1u);
}

// The fuzzer runs "START" without the real pauses; the looks must still be five, 100 ms apart,
// and records that arrive during a pause must be found.
TEST_F(ChannelTest, StartLooksFiveTimesThroughAReplaceablePause) {
    std::vector<long long> pauses;
    channel.setStartPause(
        [&](std::chrono::milliseconds pause) { pauses.push_back(pause.count()); });
    EXPECT_EQ(deliver("START"), "death timer off;end;");
    EXPECT_EQ(pauses, (std::vector<long long>{100, 100, 100, 100}));
    channel.setStartPause([&](std::chrono::milliseconds) {
        if (list.empty()) list.add();
    });
    EXPECT_EQ(deliver("START"), "death timer off;start sequence;");
}

TEST_F(ChannelTest, EveryCommandIsLoggedAndAcknowledgedOnce) {
    deliver("MOVEWIN,15,15,15,15", false);
    deliver("CLOSE", false);  // overwrites the first before the tick
    channel.pollIncoming();
    channel.pollIncoming();
    EXPECT_EQ(form.calls, "unload;");
    EXPECT_EQ(store.get(state.appName, state.section, state.incomingKey()), "");
    deliver("MOVEWIN,1");
    EXPECT_EQ(channel.txtCmds(), "CLOSE\r\nMOVEWIN,1\r\n");
}

TEST_F(ChannelTest, MoveWinScalesEachAxisByItsOwnDpi) {
    // 97.5 and 112.5 twips are 6.5 and 7.5 pixels at 96 dpi: halves go to even.
    EXPECT_EQ(deliver("MOVEWIN,97.5,112.5,-15,0"), "move 6,8,-1,0;raise;");
    EXPECT_EQ(deliver("\tmoveWin , 150px,abc,30.9e1,"), "move 10,0,21,0;raise;");
    form.dpi[0] = 120, form.dpi[1] = 144;
    EXPECT_EQ(deliver("MOVEWIN,1200,1000,2400,2000"), "move 100,100,200,200;raise;");
    form.dpi[0] = 0, form.dpi[1] = -1;  // counts as 96
    EXPECT_EQ(deliver("MOVEWIN,150,150,150,150"), "move 10,10,10,10;raise;");
}

TEST_F(ChannelTest, SendWaitsForTheAcknowledgementAtMostThreeSeconds) {
    const std::string key = "Lumivex_PE|Out|sub";
    QTimer::singleShot(100ms, [&] { store.save(state.appName, state.section, key, ""); });
    QElapsedTimer clock;
    clock.start();
    channel.SendCommand("Lumivex_PE|Out", "sub", "SendNewData*,KandorPE,inst7");
    EXPECT_TRUE(clock.elapsed() >= 90 && clock.elapsed() < 1000) << clock.elapsed();

    // Unanswered, the wait ends after three seconds without burning a core, and the host's
    // commands are still handled meanwhile.
    channel.startPolling(10ms);
    QTimer::singleShot(50ms, [this] { deliver("CLOSE", false); });
    const std::clock_t cpuBefore = std::clock();
    clock.restart();
    channel.SendCommand("Lumivex_PE|Out", "sub", "SendUpdatedDataClose*,KandorPE,inst7");
    EXPECT_TRUE(clock.elapsed() >= 2990 && clock.elapsed() < 4000) << clock.elapsed();
    EXPECT_LT(static_cast<double>(std::clock() - cpuBefore) / CLOCKS_PER_SEC, 0.5);
    EXPECT_EQ(form.calls, "unload;");
    EXPECT_EQ(store.get(state.appName, state.section, key), "SendUpdatedDataClose*,KandorPE,inst7");
}

}  // namespace
}  // namespace kandor
