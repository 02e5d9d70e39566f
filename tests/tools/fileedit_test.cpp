// kandor-host edit: how it saves a user's file, and a whole editing session in a real X
// server with a user typing into the editor.

#include "fileedit/fileedit.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "core/iesreader.h"
#include "core/ldtconvert.h"
#include "core/photometry.h"
#include "fileio/lm63file.h"
#include "host/sqlitesettingsstore.h"
#include "support/scriptedprompter.h"

namespace kandor::fileedit {
namespace {

namespace fs = std::filesystem;

std::string readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

IesRecord readRecord(const std::string& bytes, int* status = nullptr) {
    const std::string text = normaliseLineEnds(bytes);
    IesRecord record;
    IesReader reader;
    const int s = reader.ParseIes(record, text, false, text);
    if (status) *status = s;
    return record;
}

fs::path freshFolder(const std::string& name) {
    const fs::path dir = fs::temp_directory_path() / ("kandor-fileedit-" + name);
    fs::remove_all(dir);
    fs::create_directories(dir);
    return dir;
}

TEST(HostEdit, CommandsMapToWhatTheHostDoes) {
    struct Case {
        const char* command;
        EditorRequest request;
        bool closing;
    };
    const Case cases[] = {
        {"SendUpdatedDataClose*,KandorPE,7", EditorRequest::SaveFile, true},
        {"SendUpdatedDataClose,KandorPE,7", EditorRequest::SaveFile, true},
        {"SendUpdatedData*,KandorPE,7", EditorRequest::SaveFile, false},
        {"SendNewDataClose*,KandorPE,7", EditorRequest::SaveCopy, true},
        {"SendNewData*,KandorPE,7", EditorRequest::SaveCopy, false},
        {"ReturnClose,KandorPE,7", EditorRequest::Close, true},
        {"CloseRemove,KandorPE,7", EditorRequest::Close, true},
        {"Echo", EditorRequest::None, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.command);
        const ParsedCommand parsed = parseEditorCommand(c.command);
        EXPECT_EQ(parsed.request, c.request);
        EXPECT_EQ(parsed.closing, c.closing);
    }
    EXPECT_EQ(fileio::copyPathFor("/data/lamps/a.ies"), fs::path("/data/lamps/Copy_a.ies"));
}

TEST(HostEdit, SavedTextReadsBackToTheSameValuesOnEveryCorpusFile) {
    for (const auto& entry : fs::directory_iterator(KANDOR_CORPUS_DIR)) {
        if (entry.path().extension() != ".ies") continue;
        SCOPED_TRACE(entry.path().filename().string());
        const std::string bytes = readBytes(entry.path());
        int status = 0;
        const IesRecord original = readRecord(bytes, &status);
        if (status == kParseUnusable) continue;
        IesRecord handedBack = original;
        // What the editor's transfer does to the format line, as the slot hands it back.
        if (!handedBack.Keywords.empty() && handedBack.Keywords(1).starts_with("IESNA"))
            handedBack.Keywords(1) += "\r\n";
        testing::ScriptedPrompter prompter;
        const bool lfOnly = bytes.find('\r') == std::string::npos;
        const std::string saved = fileio::composeForFile(handedBack, lfOnly, prompter);
        EXPECT_TRUE(prompter.calls().empty());
        EXPECT_EQ(saved.find('\r') == std::string::npos, lfOnly);
        IesRecord again = readRecord(saved);
        // The header's numbers are written with seven significant digits, as the format's
        // writer always has; a file that spelled one with more comes back within a float ulp.
        EXPECT_FLOAT_EQ(again.OtherData.multiplier, original.OtherData.multiplier);
        again.OtherData.multiplier = original.OtherData.multiplier;
        EXPECT_EQ(again.OtherData, original.OtherData);
        EXPECT_EQ(again.VertAngles, original.VertAngles);
        EXPECT_EQ(again.HorAngles, original.HorAngles);
        EXPECT_EQ(again.Candela, original.Candela);
        EXPECT_EQ(again.TiltData, original.TiltData);
    }
}

TEST(HostEdit, RoundingOfLongCandelaValuesIsReported) {
    const std::string text =
        "IESNA:LM-63-1995\r\n[TEST] x\r\nTILT=NONE\r\n1 1000 1 2 1 1 2 0 0 0\r\n1 1 10\r\n"
        "0 90\r\n0\r\n100.12345 50.5\r\n";
    const IesRecord record = readRecord(text);
    const fileio::RoundingReport report = fileio::candelaRounding(text, record);
    EXPECT_EQ(report.count, 1);
    EXPECT_NEAR(report.maxChange, 0.00045, 1e-9);
}

TEST(HostEdit, TheReadersReportReachesTheEditorWhole) {
    const OpenReport report{3, {"line 4: (27) Descriptive line without Keyword.", "line 9: (1) x"}};
    const OpenReport back = decodeOpenReport(encodeOpenReport(report));
    EXPECT_EQ(back.status, 3);
    EXPECT_EQ(back.findings, report.findings);
    EXPECT_EQ(encodeOpenReport({}), "");
    EXPECT_EQ(decodeOpenReport("").status, 0);
}

// What the editor's transfer does to an untouched record on its way back through slot 1.
IesRecord asHandedBack(IesRecord record) {
    if (!record.Keywords.empty() && record.Keywords(1).starts_with("IESNA"))
        record.Keywords(1) += "\r\n";
    return record;
}

TEST(EditedFile, WritesOnlyChangesAndAsksBeforeOverwritingAnotherProgramsVersion) {
    const fs::path dir = freshFolder("edited");
    const fs::path file = dir / "f.ies";
    fs::copy_file(fs::path(KANDOR_CORPUS_DIR) / "unity-1-bega-6339.ies", file);
    const fileio::ReadResult read = fileio::readForEditing(file);
    ASSERT_TRUE(read.ok);
    const IesRecord original = readRecord(read.bytes);
    testing::ScriptedPrompter prompter;
    EditedFile edited(file, read.bytes, read.snapshot, original, prompter);

    // OK on an untouched record leaves the file byte for byte, without a backup.
    const auto stamp = fs::last_write_time(file);
    ASSERT_TRUE(edited.saveRecord(asHandedBack(original)));
    EXPECT_EQ(readBytes(file), read.bytes);
    EXPECT_EQ(fs::last_write_time(file), stamp);
    EXPECT_FALSE(fs::exists(file.string() + ".bak"));

    IesRecord changed = asHandedBack(original);
    changed.OtherData.numLamps = 3;
    ASSERT_TRUE(edited.saveRecord(changed));
    EXPECT_EQ(readRecord(readBytes(file)).OtherData.numLamps, 3);
    EXPECT_EQ(readBytes(file.string() + ".bak"), read.bytes);

    // Another program writes the file; the next save asks, and No keeps its version.
    std::ofstream(file, std::ios::binary) << "another program's text";
    changed.OtherData.numLamps = 4;
    prompter.queue(PromptAnswer::No);
    EXPECT_FALSE(edited.saveRecord(changed));
    EXPECT_EQ(prompter.last().text,
              file.string() + " was changed by another program since it was opened. Overwrite it?");
    EXPECT_EQ(readBytes(file), "another program's text");
    prompter.queue(PromptAnswer::Yes);
    EXPECT_TRUE(edited.saveRecord(changed));
    EXPECT_EQ(readRecord(readBytes(file)).OtherData.numLamps, 4);
    EXPECT_TRUE(prompter.pending() == 0);
}

TEST(EditedFile, AnUntouchedEulumdatFileIsNeverRewritten) {
    const fs::path dir = freshFolder("ldt-untouched");
    for (const auto& entry : fs::directory_iterator(KANDOR_LDT_CORPUS_DIR)) {
        if (entry.path().extension() != ".ldt") continue;
        SCOPED_TRACE(entry.path().filename().string());
        const fs::path file = dir / entry.path().filename();
        fs::copy_file(entry.path(), file, fs::copy_options::overwrite_existing);
        const fileio::ReadResult read = fileio::readForEditing(file);
        LdtDocument document = openLdtDocument(read.bytes);
        testing::ScriptedPrompter prompter;
        EditedFile edited(file, read.bytes, read.snapshot, document.record, prompter,
                          document.original);
        EXPECT_TRUE(edited.saveRecord(asHandedBack(document.record)));
        EXPECT_EQ(edited.saves(), 0);
        EXPECT_TRUE(prompter.calls().empty());
    }
}

TEST(EditedFile, FailuresAreToldAndAFileHeldElsewhereIsOnlyCopied) {
    const fs::path dir = freshFolder("failures");
    const fs::path file = dir / "sub" / "f.ies";
    fs::create_directories(file.parent_path());
    fs::copy_file(fs::path(KANDOR_CORPUS_DIR) / "unity-1-bega-6339.ies", file);
    const fileio::ReadResult read = fileio::readForEditing(file);
    IesRecord record = asHandedBack(readRecord(read.bytes));
    record.OtherData.numLamps = 5;
    testing::ScriptedPrompter prompter;
    EditedFile edited(file, read.bytes, read.snapshot, readRecord(read.bytes), prompter);

    edited.setHeldElsewhere("process 42");
    EXPECT_FALSE(edited.saveRecord(record));
    EXPECT_NE(prompter.last().text.find("cannot save over it"), std::string::npos);
    EXPECT_EQ(readBytes(file), read.bytes);
    ASSERT_TRUE(edited.saveCopy(record));
    // A copy that exists already gets its own backup before a new session writes over it.
    EditedFile again(file, read.bytes, read.snapshot, readRecord(read.bytes), prompter);
    record.OtherData.numLamps = 6;
    ASSERT_TRUE(again.saveCopy(record));
    const fs::path copy = file.parent_path() / "Copy_f.ies";
    EXPECT_EQ(readRecord(readBytes(copy)).OtherData.numLamps, 6);
    EXPECT_EQ(readRecord(readBytes(copy.string() + ".bak")).OtherData.numLamps, 5);

    // The folder is gone: the user is told why, and the data stay with the editor.
    fs::rename(file.parent_path(), dir / "moved");
    EXPECT_FALSE(again.saveRecord(record));
    EXPECT_NE(prompter.last().text.find("could not be saved"), std::string::npos);
    EXPECT_NE(prompter.last().text.find("Your changes are still in the editor"), std::string::npos);
}

// A real session: the stand-in host, the editor, an X server, and a user typing.
class EditSession : public ::testing::TestWithParam<const char*> {};

TEST_P(EditSession, TypedLampCountReachesTheFileAndNothingElseChanges) {
    if (std::system("command -v xvfb-run >/dev/null && command -v xdotool >/dev/null") != 0)
        GTEST_SKIP() << "xvfb-run and xdotool are needed";
    const std::string mode = GetParam();
    const fs::path dir = freshFolder(mode.empty() ? "session" : "session-child");
    const fs::path file = dir / "f.ies";
    fs::copy_file(fs::path(KANDOR_CORPUS_DIR) / "unity-1-bega-6339.ies", file);
    fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
    const std::string original = readBytes(file);
    const fs::path store = dir / "settings.sqlite3";
    {
        std::string error;
        auto settings = SqliteSettingsStore::open(store.string(), error);
        ASSERT_TRUE(settings) << error;
        // Only the typed value may change: lamp edits leave the multiplier alone.
        settings->save("Lumivex32", "Kandor", "ChangingLamp", "ChangesNothing");
    }
    const std::string command = "env -u QT_QPA_PLATFORM LUMIVEX_SETTINGS_DB='" + store.string() +
                                "' timeout 120 xvfb-run -a -s '-screen 0 1600x1200x24' '" +
                                std::string(KANDOR_SOURCE_DIR) + "/tests/tools/edit_session.sh' '" +
                                std::string(KANDOR_BIN_DIR) + "' '" + file.string() + "' 3 " +
                                mode + " > '" + (dir / "log").string() + "' 2>&1";
    std::system(command.c_str());
    const std::string log = readBytes(dir / "log");
    EXPECT_NE(log.find("host-exit=0"), std::string::npos)
        << log << readBytes(file.string() + ".err");
    if (!mode.empty()) {
        EXPECT_NE(log.find("embedded=yes"), std::string::npos) << log;
    }

    EXPECT_EQ(readBytes(file.string() + ".bak"), original);
    const IesRecord before = readRecord(original);
    const IesRecord after = readRecord(readBytes(file));
    EXPECT_EQ(after.OtherData.numLamps, 3);
    IesRecord expected = before;
    expected.OtherData.numLamps = 3;
    EXPECT_EQ(after.OtherData, expected.OtherData);
    EXPECT_EQ(after.Keywords, before.Keywords);
    EXPECT_EQ(after.VertAngles, before.VertAngles);
    EXPECT_EQ(after.HorAngles, before.HorAngles);
    EXPECT_EQ(after.Candela, before.Candela);
}

INSTANTIATE_TEST_SUITE_P(Modes, EditSession, ::testing::Values("", "--child"), [](const auto& row) {
    return std::string(row.param).empty() ? "Window" : "Child";
});

// Sessions in which something goes wrong, each run as a user has it: kandor-host edit, the
// editor, an X server, keys typed into the windows and message boxes.
class FileSession : public ::testing::Test {
  protected:
    void SetUp() override {
        if (std::system("command -v xvfb-run >/dev/null && command -v xdotool >/dev/null") != 0)
            GTEST_SKIP() << "xvfb-run and xdotool are needed";
        dir_ = freshFolder(::testing::UnitTest::GetInstance()->current_test_info()->name());
        file_ = dir_ / "lamps" / "f.ies";
        fs::create_directories(file_.parent_path());
        fs::copy_file(fs::path(KANDOR_CORPUS_DIR) / "unity-1-bega-6339.ies", file_);
        fs::permissions(file_, fs::perms(0644));
        original_ = readBytes(file_);
        std::string error;
        auto settings = SqliteSettingsStore::open((dir_ / "settings.sqlite3").string(), error);
        ASSERT_TRUE(settings) << error;
        settings->save("Lumivex32", "Kandor", "ChangingLamp", "ChangesNothing");
    }

    // Runs a scenario of file_sessions.sh on `file` and returns what it observed.
    std::string run(const char* scenario, const fs::path& file) {
        const std::string command =
            "env -u QT_QPA_PLATFORM LUMIVEX_SETTINGS_DB='" + (dir_ / "settings.sqlite3").string() +
            "' timeout 120 xvfb-run -a -s '-screen 0 1600x1200x24' '" +
            std::string(KANDOR_SOURCE_DIR) + "/tests/tools/file_sessions.sh' '" +
            std::string(KANDOR_BIN_DIR) + "' " + scenario + " '" + file.string() + "' > '" +
            (dir_ / "log").string() + "' 2>&1";
        std::string log;
        // Another X server starting at the same moment may have taken the display number.
        for (int attempt = 0; attempt < 2; ++attempt) {
            fs::remove(file.string() + ".err");
            std::system(command.c_str());
            log = readBytes(dir_ / "log") + readBytes(file.string() + ".err");
            if (log.find("could not connect to display") == std::string::npos) break;
        }
        return log;
    }

    int lamps(const fs::path& file) { return readRecord(readBytes(file)).OtherData.numLamps; }

    fs::path dir_, file_;
    std::string original_;
};

TEST_F(FileSession, AFailedSaveKeepsTheEditorOpenAndOkAgainSaves) {
    const std::string log = run("failed-save", file_);
    EXPECT_NE(log.find("box=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("editor-open=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("host-exit=0"), std::string::npos) << log;
    EXPECT_EQ(lamps(file_), 3);
    EXPECT_EQ(readBytes(file_.string() + ".bak"), original_);
}

TEST_F(FileSession, AFileChangedOnDiskIsOnlyOverwrittenAfterAYes) {
    const std::string log = run("changed-on-disk", file_);
    EXPECT_NE(log.find("box=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("editor-open=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("other-kept=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("host-exit=0"), std::string::npos) << log;
    EXPECT_EQ(lamps(file_), 3);
    // The version the other program wrote is the one kept as the backup.
    EXPECT_NE(readBytes(file_.string() + ".bak").find("another program"), std::string::npos);
}

TEST_F(FileSession, ASecondEditorIsToldAndCannotWriteOverTheFirst) {
    const std::string log = run("second-editor", file_);
    EXPECT_NE(log.find("second-told=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("already being edited"), std::string::npos) << log;
    EXPECT_EQ(log.find("host-exit=1"), std::string::npos) << log;
    EXPECT_EQ(log.find("lock-left=yes"), std::string::npos) << log;
    EXPECT_EQ(lamps(file_), 3);
}

TEST_F(FileSession, LinksOwnerAndModeAreKept) {
    const fs::path real = file_.parent_path() / "real.ies";
    fs::rename(file_, real);
    fs::create_hard_link(real, file_.parent_path() / "hard.ies");
    fs::create_symlink("hard.ies", file_);
    ::chmod(real.c_str(), 0640);
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::chown(real.c_str(), 65534, 65534), 0);
    }
    struct stat before;
    ASSERT_EQ(::stat(real.c_str(), &before), 0);

    const std::string log = run("links", file_);
    EXPECT_NE(log.find("host-exit=0"), std::string::npos) << log;
    EXPECT_TRUE(fs::is_symlink(file_));
    EXPECT_EQ(lamps(real), 3);
    EXPECT_EQ(readBytes(real), readBytes(file_.parent_path() / "hard.ies"));
    struct stat after;
    ASSERT_EQ(::stat(real.c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mode & 07777, 0640u);
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_EQ(readBytes(file_.string() + ".bak"), original_);
}

TEST_F(FileSession, AnEulumdatFileIsEditedAndStaysEulumdat) {
    const fs::path ldt = file_.parent_path() / "road.ldt";
    fs::copy_file(fs::path(KANDOR_LDT_CORPUS_DIR) / "eulumdat-rs-road_luminaire.ldt", ldt);
    fs::permissions(ldt, fs::perms(0644));
    const std::string before = readBytes(ldt);
    const std::string log = run("links", ldt);
    EXPECT_NE(log.find("caption=Edit: road.ldt"), std::string::npos) << log;
    EXPECT_NE(log.find("host-exit=0"), std::string::npos) << log;
    const std::string after = readBytes(ldt);
    const LdtDocument was = openLdtDocument(before);
    const LdtDocument now = openLdtDocument(after);
    EXPECT_EQ(now.status, kLdtClean);
    EXPECT_EQ(now.record.OtherData.numLamps, 3);
    // What the editor does not show comes back as it was.
    EXPECT_EQ(now.original.company, was.original.company);
    EXPECT_EQ(now.original.luminaireName, was.original.luminaireName);
    // Three lamps of the same lumens give the same light: cd/klm drop, intensities stay.
    ASSERT_TRUE(totalFlux(now.record) && totalFlux(was.record));
    EXPECT_NEAR(*totalFlux(now.record), *totalFlux(was.record), 1e-3 * *totalFlux(was.record));
    EXPECT_EQ(readBytes(ldt.string() + ".bak"), before);
}

TEST_F(FileSession, AKilledHostLeavesTheEditsInARecoveryFile) {
    const std::string log = run("host-killed", file_);
    EXPECT_NE(log.find("box=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("editor-ended=yes"), std::string::npos) << log;
    EXPECT_EQ(readBytes(file_), original_);
    EXPECT_EQ(lamps(file_.string() + ".recovered.ies"), 3);
}

TEST_F(FileSession, TheEditorOpensAFileItselfAndTellsWhatItCannotOpen) {
    const std::string log = run("desktop-open", file_);
    EXPECT_NE(log.find("host-exit=0"), std::string::npos) << log;
    EXPECT_EQ(lamps(file_), 3);
    EXPECT_EQ(readBytes(file_.string() + ".bak"), original_);
    EXPECT_NE(log.find("missing-told=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("host-exit=66"), std::string::npos) << log;
}

TEST_F(FileSession, EscapeWithEditsAsksFirst) {
    const std::string log = run("escape-asks", file_);
    EXPECT_NE(log.find("asked=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("editor-open=yes"), std::string::npos) << log;
    EXPECT_NE(log.find("host-exit=0"), std::string::npos) << log;
    EXPECT_EQ(readBytes(file_), original_);
}

}  // namespace
}  // namespace kandor::fileedit
