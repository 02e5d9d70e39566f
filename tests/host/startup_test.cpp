#include "host/startup.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "core/numforms.h"  // the child flag in the locale-independent form
#include "core/runtimefault.h"
#include "host/samplerecord.h"
#include "support/scriptedprompter.h"

namespace kandor {
namespace {

// The six fields of a parsed command line, joined by "/".
std::string fields(const CommandLine& c) {
    return std::to_string(c.hostWindow) + "/" + plainDouble(c.childFlag, true) + "/" +
           c.outgoingKey + "/" + c.instanceId + "/" + std::to_string(c.hostNumber) + "/" +
           c.section;
}

// Records the editor calls, each followed by ";", and the picker's names run together; faults
// in the call that starts with faultIn.
class RecordingEditor final : public EditorForm {
  public:
    void moveTo(int, int, int, int) override {}
    void raiseToTop() override {}
    void unload() override {}
    void giveBackParents() override {}
    void showCommandLog(const std::string&) override {}
    double dpiX() const override { return 96; }
    double dpiY() const override { return 96; }
    void loadForm() override { note("load"); }
    void fillKeywordPicker(std::span<const std::string_view> n) override { note("keys", n); }
    void backupRecord() override { note("copy"); }
    void loadData() override { note("data"); }
    void applySettings(const UserSettings& s) override { note(s.changingLamp + "/" + s.workOn); }
    void showForm() override { note("show"); }
    void note(const std::string& call, std::span<const std::string_view> names = {}) {
        calls += call + ";";
        for (std::string_view name : names)
            picker += name;
        if (!faultIn.empty() && call.starts_with(faultIn)) raiseFault(fault::kInvalidCall);
    }

    std::string calls, faultIn, picker;
};

class EditCoreTest : public ::testing::Test {
  protected:
    void SetUp() override {
        static int argc = 1;
        static char name[] = "startup_test", *argv[] = {name, nullptr};
        static QCoreApplication app(argc, argv);
        core.setDeathInterval(std::chrono::milliseconds(100));
    }
    void runEventsUntil(const std::function<bool()>& done) {
        for (int i = 0; i < 400 && !done(); ++i)
            letEventsRun(std::chrono::milliseconds(5));
    }

    MemorySettingsStore store;
    ToolState state;
    RecordList list;
    RecordingEditor form;
    testing::ScriptedPrompter prompter;
    StartupHooks hooks{.endProgram = [&](int code) { form.note("end " + std::to_string(code)); },
                       .getData = {},
                       .sampleRecord = {}};
    EditCore core{store, state, list, form, prompter, hooks};
};

TEST_F(EditCoreTest, WithoutHostTheSequenceRunsAtOnceAndNamesAFaultingStep) {
    store.save("Lumivex32", "Kandor", "ChangingLamp", "ChangesCandelaValues");
    store.save("Lumivex32", "Kandor", "WorkOn", "Copy");
    EXPECT_EQ(core.Main("4711,1,k,i,3,s,extra"), 0);  // a wrong shape counts as no host
    EXPECT_EQ(fields(core.commandLine()), "0/0///0/");
    EXPECT_EQ(core.sleepInterval(), 0.3f);
    EXPECT_EQ(helpFilePath("/opt/kandor/bin"), "/opt/kandor/bin/help/Lumivex_PE-HTML/index.html");
    EXPECT_EQ(list(1), SampleRecord());
    EXPECT_EQ(form.calls, "load;keys;copy;data;ChangesCandelaValues/Copy;show;");
    EXPECT_EQ(form.picker,
              "[TEST][TESTLAB][ISSUEDATE][TESTDATE][OTHER][NEARFIELD][MANUFAC][LUMCAT][LUMINAIRE]"
              "[LAMPCAT][LAMP][BALLAST][BALLASTCAT][MAINTCAT][DISTRIBUTION][FLASHAREA]"
              "[COLORCONSTANT][LAMPPOSITION][MORE]");

    // The last row has no record to take the old name from.
    const std::pair<const char*, const char*> cases[] = {
        {"keys", "adding keys"},         {"copy", "saving copy"},   {"data", "loading data"},
        {"Changes", "getting settings"}, {"show", "showing form."}, {"", "saving old name"}};
    for (const auto& [faultIn, step] : cases) {
        form.faultIn = faultIn;
        if (!*faultIn) list.clear();
        EXPECT_NE(core.gfnDoStuff(), 0) << step;
        EXPECT_EQ(prompter.last().text, std::string("Error in gfnDoStuff: ") + step);
    }
}

TEST_F(EditCoreTest, WithHostLoadsHiddenAndShowsOnStart) {
    ExchangeSlots(store, "Lumivex_PE", "Sect", list, prompter).writeSlot(1, SampleRecord());
    store.save("Lumivex_PE", "Lumivex_PE", "SleepInterval", "0.05");
    EXPECT_EQ(core.Main("4711.4abc, 2.5 ,Lumivex_PE|Out,inst7,  3 ,Sect"), 0);
    EXPECT_EQ(fields(core.commandLine()), "4711/2.5/Lumivex_PE|Out/inst7/3/Sect");
    EXPECT_EQ(form.calls, "load;");
    EXPECT_TRUE(core.tmrDeath().isActive());
    EXPECT_EQ(core.channel().tmrDataExchange().interval(), 50);
    // The death timer stays quiet once records exist.
    runEventsUntil([&] { return !core.tmrDeath().isActive(); });

    store.save("Lumivex_PE", "Sect", "KandorPE|inst7", "START");
    runEventsUntil([&] { return form.calls.ends_with("show;"); });
    EXPECT_EQ(form.calls, "load;keys;copy;data;ChangesCandelaMultiplier/Original;show;");
    EXPECT_TRUE(prompter.calls().empty());
}

TEST(HelpFile, BesideTheToolFirstThenWhereAnInstallationPutsIt) {
    namespace fs = std::filesystem;
    const fs::path prefix = fs::temp_directory_path() / ("kandor-help-" + std::to_string(getpid()));
    const fs::path beside = prefix / "bin/help/Lumivex_PE-HTML/index.html";
    const fs::path installed = prefix / "share/kandorpe/help/Lumivex_PE-HTML/index.html";
    const std::string bin = (prefix / "bin").string();
    const struct {
        bool beside, installed;
        fs::path expected;
    } cases[] = {{false, false, beside}, {false, true, installed}, {true, true, beside}};
    for (const auto& c : cases) {
        fs::remove_all(prefix);
        for (const auto& [wanted, page] : {std::pair{c.beside, beside}, {c.installed, installed}}) {
            if (!wanted) continue;
            fs::create_directories(page.parent_path());
            std::ofstream(page) << "<html></html>";
        }
        fs::create_directories(bin);
        EXPECT_EQ(helpFilePath(bin), c.expected.string()) << c.beside << c.installed;
    }
    fs::remove_all(prefix);
}

// A host that writes START right after starting the tool used to wait one whole interval.
TEST_F(EditCoreTest, AStartWaitingAtStartUpIsReadOnceStartUpEndsThenEveryInterval) {
    ExchangeSlots(store, "Lumivex_PE", "Sect", list, prompter).writeSlot(1, SampleRecord());
    store.save("Lumivex_PE", "Lumivex_PE", "SleepInterval", "5");
    store.save("Lumivex_PE", "Sect", "KandorPE|inst7", "START");
    EXPECT_EQ(core.Main("4711,0,Out,inst7,3,Sect"), 0);
    EXPECT_EQ(form.calls, "load;");
    QCoreApplication::processEvents();
    EXPECT_EQ(form.calls, "load;keys;copy;data;ChangesCandelaMultiplier/Original;show;");
    EXPECT_EQ(store.get("Lumivex_PE", "Sect", "KandorPE|inst7"), "");
    EXPECT_TRUE(core.channel().tmrDataExchange().isActive());
    EXPECT_EQ(core.channel().tmrDataExchange().interval(), 5000);
}

// A tool that never got its data ends as a failure, so that a script can tell.
TEST_F(EditCoreTest, AFatalFaultInMainOrNoRecordEndsTheToolWithStatusOne) {
    EXPECT_EQ(core.Main("4711,0,k,inst7,abc,Sect"), fault::kTypeMismatch);
    EXPECT_EQ(prompter.last().text, "Died in sub Main. reason: #13");
    EXPECT_EQ(form.calls, "end 1;");

    form.calls.clear();
    EXPECT_EQ(core.Main("4711,0,k,inst7,3,Empty"), 0);
    runEventsUntil([&] { return form.calls.ends_with("end 1;"); });
    EXPECT_EQ(form.calls, "load;end 1;");
    EXPECT_NE(prompter.last().text.find("never received a START. Exiting."), std::string::npos);
}

}  // namespace
}  // namespace kandor
