#include "host/startup.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "core/runtimefault.h"
#include "host/exchange.h"
#include "host/samplerecord.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

using namespace std::chrono_literals;

QCoreApplication& application() {
    static int argc = 1;
    static char name[] = "startup_test";
    static char* argv[] = {name, nullptr};
    static QCoreApplication app(argc, argv);
    return app;
}

// Records the editor calls, one line per call; can fault in a chosen call.
class RecordingEditor final : public EditorForm {
  public:
    void moveTo(int, int, int, int) override { note("move"); }
    void raiseToTop() override { note("raise"); }
    void unload() override { note("unload"); }
    void giveBackParents() override { note("give back"); }
    void showCommandLog(const std::string&) override {}
    double dpiX() const override { return 96; }
    double dpiY() const override { return 96; }

    void loadForm() override { note("load"); }
    void fillKeywordPicker(std::span<const std::string_view> names) override {
        picker.assign(names.begin(), names.end());
        note("picker");
    }
    void backupRecord() override { note("backup"); }
    void loadData() override { note("fill"); }
    void applySettings(const UserSettings& settings) override {
        applied = settings;
        note("settings");
    }
    void showForm() override { note("show"); }

    std::vector<std::string> calls;
    std::vector<std::string_view> picker;
    UserSettings applied;
    std::string faultIn;  // the call that raises a fault

  private:
    void note(const std::string& call) {
        calls.push_back(call);
        if (call == faultIn) raiseFault(fault::kInvalidCall);
    }
};

TEST(ParseCommandLine, TakesExactlySixFields) {
    struct Case {
        const char* text;
        std::int64_t window;
        double child;
        const char* out;
        const char* id;
        std::int16_t number;
        const char* section;
    };
    const Case cases[] = {
        {"4711,1,Lumivex_PE|Out,inst7,3,Sect", 4711, 1, "Lumivex_PE|Out", "inst7", 3, "Sect"},
        {"0,0,,,0,", 0, 0, "", "", 0, ""},
        {" 12abc, 1.5 , key , id ,  42 ,S x", 12, 1.5, " key ", " id ", 42, "S x"},
        {"2.5,x,k,i,-7,s", 2, 0, "k", "i", -7, "s"},
        {"4294967295,0,k,i,0,s", 4294967295LL, 0, "k", "i", 0, "s"},
        {"4711,1,k,i,3", 0, 0, "", "", 0, ""},
        {"4711,1,k,i,3,s,extra", 0, 0, "", "", 0, ""},
        {"", 0, 0, "", "", 0, ""},
    };
    for (const Case& c : cases) {
        const CommandLine line = ParseCommandLine(c.text);
        EXPECT_EQ(line.hostWindow, c.window) << c.text;
        EXPECT_EQ(line.childFlag, c.child) << c.text;
        EXPECT_EQ(line.outgoingKey, c.out) << c.text;
        EXPECT_EQ(line.instanceId, c.id) << c.text;
        EXPECT_EQ(line.hostNumber, c.number) << c.text;
        EXPECT_EQ(line.section, c.section) << c.text;
    }
}

TEST(ParseCommandLine, FaultsOnFieldsThatAreNoNumbers) {
    struct Case {
        const char* text;
        int fault;
    };
    const Case cases[] = {
        {"1,0,k,i,abc,s", fault::kTypeMismatch}, {"1,0,k,i,,s", fault::kTypeMismatch},
        {"1,0,k,i,40000,s", fault::kOverflow},   {"1E999,0,k,i,1,s", fault::kOverflow},
        {"1E300,0,k,i,1,s", fault::kOverflow},
    };
    for (const Case& c : cases) {
        try {
            ParseCommandLine(c.text);
            ADD_FAILURE() << "no fault for " << c.text;
        } catch (const RuntimeFault& f) {
            EXPECT_EQ(f.number(), c.fault) << c.text;
        }
    }
}

TEST(Settings, SleepIntervalAndPollInterval) {
    struct Case {
        const char* stored;  // nullptr: absent
        float seconds;
        long long pollMs;
    };
    const Case cases[] = {
        {nullptr, 0.3f, 300}, {"0.5", 0.5f, 500},    {" .05 ", 0.05f, 50},
        {"abc", 0.3f, 300},   {"1E999", 0.3f, 300},  {"0", 0.0f, 20},
        {"-2", -2.0f, 20},    {"100", 100.0f, 5000}, {"0,5", 0.3f, 300},
    };
    for (const Case& c : cases) {
        MemorySettingsStore store;
        if (c.stored) store.save("Lumivex_PE", "Lumivex_PE", "SleepInterval", c.stored);
        const float seconds = readSleepInterval(store);
        EXPECT_EQ(seconds, c.seconds) << (c.stored ? c.stored : "(absent)");
        EXPECT_EQ(pollInterval(seconds).count(), c.pollMs) << (c.stored ? c.stored : "(absent)");
    }
    EXPECT_EQ(pollInterval(std::numeric_limits<float>::quiet_NaN()).count(), 300);
}

TEST(Settings, HelpFileBesideTheTool) {
    EXPECT_EQ(helpFilePath("/opt/kandor/bin"), "/opt/kandor/bin/help/Lumivex_PE-HTML/index.html");
}

class EditCoreTest : public ::testing::Test {
  protected:
    void SetUp() override { application(); }

    // Puts a record into exchange slot 1 of section "Sect", as the host does before it starts
    // the tool.
    void hostPuts(const IesRecord& record) {
        RecordList hostList;
        hostList.add(record);
        testing::ScriptedPrompter quiet;
        ExchangeSlots host(store, "Lumivex_PE", "Sect", hostList, quiet);
        ASSERT_EQ(host.WriteExchangeRecords(1, 1, 1), 1) << host.lastError();
    }
    void hostSends(const std::string& command) {
        store.save("Lumivex_PE", "Sect", "KandorPE|inst7", command);
    }
    void runEventsUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
        QElapsedTimer clock;
        clock.start();
        while (!done() && clock.elapsed() < limit.count())
            letEventsRun(5ms);
    }

    static constexpr const char* kHostLine = "4711,0,Lumivex_PE|Out,inst7,0,Sect";

    MemorySettingsStore store;
    ToolState state;
    RecordList list;
    RecordingEditor form;
    testing::ScriptedPrompter prompter;
    int ended = 0;
    EditCore core{store, state, list, form, prompter, countingEnd()};

  private:
    StartupHooks countingEnd() {
        StartupHooks hooks;
        hooks.endProgram = [this] { ++ended; };
        return hooks;
    }
};

TEST_F(EditCoreTest, WithoutHostEditsTheSampleAtOnce) {
    EXPECT_EQ(core.Main("0,0,,,0,"), 0);
    ASSERT_EQ(list.ubound(), 1);
    EXPECT_EQ(list(1), SampleRecord());
    EXPECT_EQ(form.calls,
              (std::vector<std::string>{"load", "picker", "backup", "fill", "settings", "show"}));
    EXPECT_EQ(state.oldName, SampleRecord().Filename);
    EXPECT_FALSE(core.channel().tmrDataExchange().isActive());
    EXPECT_FALSE(core.tmrDeath().isActive());
    EXPECT_TRUE(prompter.calls().empty());
    // A command line of the wrong shape counts as no host.
    list.clear();
    form.calls.clear();
    EXPECT_EQ(core.Main("garbage"), 0);
    EXPECT_EQ(list.ubound(), 1);
    EXPECT_EQ(form.calls.back(), "show");
}

TEST_F(EditCoreTest, StartSequenceFillsThePickerInOrderAndAppliesSettings) {
    store.save("Lumivex32", "Kandor", "ChangingLamp", "ChangesCandelaValues");
    core.Main("");
    const std::vector<std::string_view> expected = {
        "[TEST]",      "[TESTLAB]",       "[ISSUEDATE]",    "[TESTDATE]",  "[OTHER]",
        "[NEARFIELD]", "[MANUFAC]",       "[LUMCAT]",       "[LUMINAIRE]", "[LAMPCAT]",
        "[LAMP]",      "[BALLAST]",       "[BALLASTCAT]",   "[MAINTCAT]",  "[DISTRIBUTION]",
        "[FLASHAREA]", "[COLORCONSTANT]", "[LAMPPOSITION]", "[MORE]"};
    EXPECT_EQ(form.picker, expected);
    EXPECT_EQ(form.applied.changingLamp, "ChangesCandelaValues");
    EXPECT_EQ(form.applied.workOn, "Original");
    store.save("Lumivex32", "Kandor", "WorkOn", "Copy");
    core.gfnDoStuff();
    EXPECT_EQ(form.applied.workOn, "Copy");
}

TEST_F(EditCoreTest, WithHostLoadsHiddenReadsSlotOneAndWaitsForStart) {
    IesRecord record = SampleRecord();
    record.Filename = "/photometry/troffer.ies";
    hostPuts(record);
    store.save("Lumivex_PE", "Lumivex_PE", "SleepInterval", "0.05");

    EXPECT_EQ(core.Main(kHostLine), 0);
    EXPECT_EQ(form.calls, std::vector<std::string>{"load"});
    ASSERT_EQ(list.ubound(), 1);
    EXPECT_EQ(list(1).Filename, "/photometry/troffer.ies");
    EXPECT_EQ(state.section, "Sect");
    EXPECT_EQ(state.outgoingKey, "Lumivex_PE|Out");
    EXPECT_EQ(state.incomingKey(), "KandorPE|inst7");
    EXPECT_FALSE(state.childMode);
    EXPECT_FLOAT_EQ(core.sleepInterval(), 0.05f);
    EXPECT_EQ(core.slotCount(), 1);
    EXPECT_TRUE(core.tmrDeath().isActive());
    EXPECT_TRUE(core.channel().tmrDataExchange().isActive());
    EXPECT_EQ(core.channel().tmrDataExchange().interval(), 50);

    hostSends("START");
    runEventsUntil([&] { return form.calls.back() == "show"; }, 2s);
    EXPECT_EQ(form.calls.back(), "show");
    EXPECT_FALSE(core.tmrDeath().isActive());
    EXPECT_EQ(state.oldName, "/photometry/troffer.ies");
    EXPECT_EQ(store.get("Lumivex_PE", "Sect", "KandorPE|inst7"), "");
    EXPECT_TRUE(prompter.calls().empty());
    EXPECT_EQ(ended, 0);
}

TEST_F(EditCoreTest, UnreadableHostRecordIsReported) {
    hostPuts(SampleRecord());
    store.save("Lumivex_PE", "Sect", "OtherData1", "1,1000,1");
    EXPECT_EQ(core.Main(kHostLine), 0);
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text, "Problem parsing other data");
    EXPECT_TRUE(list.empty());
}

TEST_F(EditCoreTest, FaultInTheEntryPointEndsTheTool) {
    EXPECT_EQ(core.Main("4711,0,k,inst7,abc,Sect"), fault::kTypeMismatch);
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text, "Died in sub Main. reason: #13");
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(core.channel().tmrDataExchange().isActive());
}

TEST_F(EditCoreTest, FaultInTheStartSequenceNamesTheStep) {
    struct Case {
        const char* faultIn;
        const char* message;
        std::size_t callsMade;
    };
    const Case cases[] = {
        {"picker", "Error in gfnDoStuff: adding keys", 1},
        {"backup", "Error in gfnDoStuff: saving copy", 2},
        {"fill", "Error in gfnDoStuff: loading data", 3},
        {"settings", "Error in gfnDoStuff: getting settings", 4},
        {"show", "Error in gfnDoStuff: showing form.", 5},
    };
    list.add(SampleRecord());
    for (const Case& c : cases) {
        form.calls.clear();
        form.faultIn = c.faultIn;
        prompter.reset();
        EXPECT_EQ(core.gfnDoStuff(), fault::kInvalidCall) << c.faultIn;
        ASSERT_EQ(prompter.calls().size(), 1u) << c.faultIn;
        EXPECT_EQ(prompter.last().text, c.message);
        EXPECT_EQ(form.calls.size(), c.callsMade) << c.faultIn;
    }
    // No record to edit: the old name cannot be taken.
    list.clear();
    form.faultIn.clear();
    prompter.reset();
    EXPECT_EQ(core.gfnDoStuff(), fault::kSubscriptOutOfRange);
    EXPECT_EQ(prompter.last().text, "Error in gfnDoStuff: saving old name");
    EXPECT_EQ(core.step(), "saving old name");
}

TEST_F(EditCoreTest, DeathTimerReportsAMissingStart) {
    core.setDeathInterval(50ms);
    EXPECT_EQ(core.Main(kHostLine), 0);
    EXPECT_TRUE(list.empty());
    runEventsUntil([&] { return ended > 0; }, 2s);
    ASSERT_EQ(prompter.calls().size(), 1u);
    EXPECT_EQ(prompter.last().text, "Kandor inst7 never received a START. Exiting.");
    EXPECT_EQ(ended, 1);
    EXPECT_FALSE(core.tmrDeath().isActive());
    EXPECT_FALSE(core.channel().tmrDataExchange().isActive());
}

TEST_F(EditCoreTest, DeathTimerIsQuietOnceRecordsArrived) {
    hostPuts(SampleRecord());
    core.setDeathInterval(30ms);
    core.Main(kHostLine);
    runEventsUntil([&] { return !core.tmrDeath().isActive(); }, 2s);
    EXPECT_FALSE(core.tmrDeath().isActive());
    EXPECT_TRUE(prompter.calls().empty());
    EXPECT_EQ(ended, 0);
}

}  // namespace
}  // namespace kandor
