// Reading a file for editing and saving it back: what is refused, what a save keeps of the
// file (links, mode, owner, backup) and that a failure leaves the old file whole.

#include "fileio/safesave.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

namespace kandor::fileio {
namespace {

namespace fs = std::filesystem;

std::string readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void writeBytes(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

unsigned modeOf(const fs::path& path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

class SafeSave : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("kandor-safesave-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        fs::permissions(dir_, fs::perms(0755));
    }
    void TearDown() override {
        fs::permissions(dir_, fs::perms(0755));
        fs::remove_all(dir_);
    }
    std::size_t entries() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(dir_), fs::directory_iterator()));
    }
    fs::path dir_;
};

// Hands paths to the user the unprivileged child runs as (a no-op without root).
void giveToChild(std::initializer_list<fs::path> paths) {
    if (::geteuid() != 0) return;
    for (const fs::path& p : paths)
        EXPECT_EQ(::chown(p.c_str(), 65534, 65534), 0) << p;
}

// Runs `body` in a child process without root's power over permissions; the child's exit code
// (0 for success) comes back, so expectations are checked in the child and summed up here.
int unprivileged(const std::function<bool()>& body) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 &&
            (::setresgid(65534, 65534, 65534) != 0 || ::setresuid(65534, 65534, 65534) != 0))
            ::_exit(3);
        ::_exit(body() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
}

TEST_F(SafeSave, OnlyRegularFilesOfSensibleSizeAreRead) {
    writeBytes(dir_ / "a.ies", "IESNA:LM-63-2002\n");
    ASSERT_EQ(::mkfifo((dir_ / "pipe").c_str(), 0600), 0);
    struct Case {
        fs::path path;
        bool ok;
        const char* says;
    };
    const Case cases[] = {
        {dir_ / "a.ies", true, ""},
        {dir_, false, "is a folder"},
        {dir_ / "pipe", false, "not a regular file"},
        {"/dev/zero", false, "not a regular file"},
        {dir_ / "missing.ies", false, "No such file or directory"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.path.string());
        const ReadResult r = readForEditing(c.path);
        EXPECT_EQ(r.ok, c.ok);
        EXPECT_NE(r.error.find(c.says), std::string::npos) << r.error;
    }
    const ReadResult big = readForEditing(dir_ / "a.ies", 4);
    EXPECT_FALSE(big.ok);
    EXPECT_NE(big.error.find("larger than any photometric file"), std::string::npos);
}

TEST_F(SafeSave, OnlyDifferentBytesCountAsAChangeOnDisk) {
    const fs::path file = dir_ / "a.ies";
    writeBytes(file, "one");
    const FileSnapshot read = readForEditing(file).snapshot;
    EXPECT_EQ(compareWithDisk(file, read), DiskState::Unchanged);
    fs::last_write_time(file, fs::last_write_time(file) + std::chrono::hours(1));
    EXPECT_EQ(compareWithDisk(file, read), DiskState::Unchanged);
    writeBytes(file, "two");
    EXPECT_EQ(compareWithDisk(file, read), DiskState::Changed);
    fs::remove(file);
    EXPECT_EQ(compareWithDisk(file, read), DiskState::Missing);
}

TEST_F(SafeSave, ReplacesWholeKeepingModeAndABackupNoWiderThanTheFile) {
    const fs::path file = dir_ / "a.ies";
    writeBytes(file, "old");
    ::chmod(file.c_str(), 0600);
    writeBytes(dir_ / "a.ies.bak", "older");
    ::chmod((dir_ / "a.ies.bak").c_str(), 0644);
    const SaveOutcome out = saveFile({file, "new", true}, nullptr);
    ASSERT_TRUE(out.saved()) << out.error;
    EXPECT_TRUE(out.backupMade);
    EXPECT_FALSE(out.inPlace);
    EXPECT_EQ(readBytes(file), "new");
    EXPECT_EQ(modeOf(file), 0600u);
    EXPECT_EQ(readBytes(dir_ / "a.ies.bak"), "old");
    EXPECT_EQ(modeOf(dir_ / "a.ies.bak"), 0600u);
    EXPECT_EQ(entries(), 2u);  // no temporary file left
    EXPECT_EQ(compareWithDisk(file, out.written), DiskState::Unchanged);
}

TEST_F(SafeSave, LinksStayLinks) {
    writeBytes(dir_ / "real.ies", "old");
    fs::create_symlink("real.ies", dir_ / "link.ies");
    ASSERT_TRUE(saveFile({dir_ / "link.ies", "via link", false}, nullptr).saved());
    EXPECT_TRUE(fs::is_symlink(dir_ / "link.ies"));
    EXPECT_EQ(readBytes(dir_ / "real.ies"), "via link");

    fs::create_hard_link(dir_ / "real.ies", dir_ / "hard.ies");
    const auto inode = fs::hard_link_count(dir_ / "real.ies");
    const SaveOutcome out = saveFile({dir_ / "hard.ies", "both names", true}, nullptr);
    ASSERT_TRUE(out.saved()) << out.error;
    EXPECT_TRUE(out.inPlace);
    EXPECT_EQ(fs::hard_link_count(dir_ / "real.ies"), inode);
    EXPECT_EQ(readBytes(dir_ / "real.ies"), "both names");
    EXPECT_EQ(readBytes(dir_ / "hard.ies.bak"), "via link");
}

TEST_F(SafeSave, AReadOnlyFileIsReplacedOnlyWhenTheUserAgrees) {
    const fs::path file = dir_ / "a.ies";
    writeBytes(file, "old");
    ::chmod(file.c_str(), 0444);
    giveToChild({dir_, file});
    const int code = unprivileged([&] {
        std::vector<SaveQuestion> asked;
        const auto answer = [&](bool yes) {
            return [&asked, yes](SaveQuestion q, const std::string&) {
                asked.push_back(q);
                return yes;
            };
        };
        const SaveOutcome no = saveFile({file, "new", false}, answer(false));
        const bool keptOnNo =
            no.result == SaveOutcome::Result::Declined && readBytes(file) == "old";
        const SaveOutcome yes = saveFile({file, "new", false}, answer(true));
        return keptOnNo && yes.saved() && readBytes(file) == "new" && modeOf(file) == 0444 &&
               asked == std::vector<SaveQuestion>(2, SaveQuestion::OverwriteReadOnly);
    });
    EXPECT_EQ(code, 0);
}

TEST_F(SafeSave, AWritableFileInAReadOnlyFolderIsWrittenInPlaceAfterItsBackup) {
    const fs::path file = dir_ / "a.ies";
    writeBytes(file, "old");
    writeBytes(dir_ / "a.ies.bak", "");
    for (const fs::path& p : {file, dir_ / "a.ies.bak"})
        ::chmod(p.c_str(), 0666);
    // Root's folder is read-only for the child; without root the folder is made so.
    ::chmod(dir_.c_str(), ::geteuid() == 0 ? 0755 : 0555);
    const int code = unprivileged([&] {
        const SaveOutcome out = saveFile({file, "new", true}, nullptr);
        return out.saved() && out.inPlace && out.backupMade && readBytes(file) == "new" &&
               readBytes(dir_ / "a.ies.bak") == "old";
    });
    EXPECT_EQ(code, 0);

    // No backup can be made at all: the user decides.
    ::chmod(dir_.c_str(), 0755);
    fs::remove(dir_ / "a.ies.bak");
    ::chmod(dir_.c_str(), ::geteuid() == 0 ? 0755 : 0555);
    const int asked = unprivileged([&] {
        bool question = false;
        const SaveOutcome no = saveFile({file, "newer", true}, [&](SaveQuestion q, const auto&) {
            question = q == SaveQuestion::SaveWithoutBackup;
            return false;
        });
        return question && no.result == SaveOutcome::Result::Declined && readBytes(file) == "new";
    });
    EXPECT_EQ(asked, 0);
}

TEST_F(SafeSave, AFailedWriteLeavesTheOldFileWhole) {
    const fs::path file = dir_ / "a.ies";
    writeBytes(file, "old");
    const std::string big(64 * 1024, 'x');
    giveToChild({dir_, file});
    // A file-size limit fails the write part way, as a full disk would.
    const int code = unprivileged([&] {
        struct rlimit limit {
            4096, 4096
        };
        ::setrlimit(RLIMIT_FSIZE, &limit);
        const SaveOutcome out = saveFile({file, big, false}, nullptr);
        return out.result == SaveOutcome::Result::Failed &&
               out.error.find("File too large") != std::string::npos && readBytes(file) == "old";
    });
    EXPECT_EQ(code, 0);
    EXPECT_EQ(entries(), 1u);

    const SaveOutcome missing = saveFile({dir_ / "gone" / "b.ies", "x", false}, nullptr);
    EXPECT_EQ(missing.result, SaveOutcome::Result::Failed);
    EXPECT_NE(missing.error.find("No such file or directory"), std::string::npos);
}

TEST_F(SafeSave, OneEditorHoldsAFileAndALeftBehindLockIsTakenOver) {
    const fs::path file = dir_ / "a.ies";
    writeBytes(file, "x");
    {
        const EditLock first(file);
        ASSERT_EQ(first.state(), EditLock::State::Held);
        // A second editor in another process sees the first one.
        const int code = unprivileged([&] {
            const EditLock second(file);
            return second.state() == EditLock::State::HeldByOther &&
                   second.holder().find(std::to_string(::getppid())) != std::string::npos;
        });
        EXPECT_EQ(code, 0);
    }
    EXPECT_FALSE(fs::exists(EditLock::lockPathFor(file)));

    char host[256] = {};
    ::gethostname(host, sizeof host - 1);
    writeBytes(EditLock::lockPathFor(file), "999999999 " + std::string(host) + "\n");
    const EditLock taken(file);
    EXPECT_EQ(taken.state(), EditLock::State::Held);
}

TEST_F(SafeSave, RecoveryFilesNeverReplaceEachOther) {
    const fs::path file = dir_ / "a.ies";
    std::string error;
    ASSERT_TRUE(writeNewFile(recoveryPathFor(file), "first", error)) << error;
    ASSERT_TRUE(writeNewFile(recoveryPathFor(file), "second", error)) << error;
    EXPECT_EQ(readBytes(dir_ / "a.ies.recovered.ies"), "first");
    EXPECT_EQ(readBytes(dir_ / "a.ies.recovered-2.ies"), "second");
    EXPECT_FALSE(writeNewFile(dir_ / "a.ies.recovered.ies", "third", error));
}

}  // namespace
}  // namespace kandor::fileio
