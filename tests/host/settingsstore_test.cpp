#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/settingsstore.h"
#include "host/sqlitesettingsstore.h"

namespace kandor {
namespace {

using Entries = SettingsStore::Entries;

// Under /tmp rather than $TMPDIR, and open to all, so that another user can reach its files.
struct TempDir {
    std::string path = "/tmp/kandor-store-XXXXXX";
    std::error_code ec;
    TempDir() { ::chmod(::mkdtemp(path.data()), 0755); }
    ~TempDir() { std::filesystem::remove_all(path, ec); }
    std::string file(const std::string& name) const { return path + "/" + name; }
};

std::string readFile(const std::string& path) {
    return {std::istreambuf_iterator<char>(std::ifstream(path, std::ios::binary).rdbuf()), {}};
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

unsigned modeOf(const std::string& path) {
    return static_cast<unsigned>(std::filesystem::status(path).permissions());
}

std::string openError(const std::string& path, std::string_view reason) {
    return std::string(storemsg::kCannotOpen) + path + ": " + std::string(reason);
}

std::unique_ptr<SqliteSettingsStore> openStore(const std::string& path) {
    std::string error;
    auto store = SqliteSettingsStore::open(path, error);
    EXPECT_TRUE(store) << error;
    return store;
}

// The rules every store keeps, whether in memory or on disk.
void checkStoreRules(SettingsStore& s) {
    std::string big(1 << 20, '\0');
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<char>((i * 7919) % 251 + 1);
    ASSERT_TRUE(s.save("App", "Big", "Megabyte", big));
    EXPECT_TRUE(s.get("App", "Big", "Megabyte") == big) << "the megabyte value changed";

    // Non-ASCII letters do not fold, so the last two are separate keys.
    Entries entries = {
        {"Crlf", "1\r\n2\r\n"}, {"Latin1", "\xfc\xa9"}, {"\xc3\x84", ""}, {"\xc3\xa4", "a"}};
    for (const auto& [key, value] : entries)
        ASSERT_TRUE(s.save("App", "S", key, value));
    ASSERT_TRUE(s.save("APP", "s", "CRLF", "updated"));
    ASSERT_TRUE(s.save("Ap", "pS", "Crlf", "apart"));  // names must not run together
    entries[0].second = "updated";
    EXPECT_EQ(s.allEntries("app", "S"), entries);
    for (const auto& [key, value] : entries)
        EXPECT_EQ(s.get("app", "s", key, "default"), value) << key;
    EXPECT_EQ(s.get("App", "S", "Other"), "");
    EXPECT_EQ(s.get("App", "S", "Other", "0.3"), "0.3");

    // Deleted and saved again, a key goes to the end.
    ASSERT_TRUE(s.deleteKey("App", "S", "crlf"));
    EXPECT_EQ(s.get("App", "S", "Crlf", "gone"), "gone");
    ASSERT_TRUE(s.save("App", "S", "CRLF", "back"));
    EXPECT_EQ(s.allEntries("App", "S").back(), (Entries::value_type{"CRLF", "back"}));

    ASSERT_TRUE(s.deleteSection("APP", "s"));
    EXPECT_TRUE(s.allEntries("App", "S").empty());
    EXPECT_EQ(s.get("Ap", "pS", "Crlf"), "apart");
    EXPECT_TRUE(s.deleteSection("App", "S"));  // nothing there is no failure
    EXPECT_EQ(s.lastError(), "");
}

TEST(MemorySettingsStore, KeepsTheStoreRules) {
    MemorySettingsStore store;
    checkStoreRules(store);
}

TEST(SqliteSettingsStore, KeepsTheStoreRulesAcrossReopenInOwnerOnlyFiles) {
    TempDir dir;
    const std::string path = dir.file("one/two/settings.sqlite3");
    const mode_t oldMask = ::umask(0);  // the store must not rely on the user's umask
    auto store = openStore(path);
    ::umask(oldMask);
    ASSERT_TRUE(store);
    checkStoreRules(*store);
    ASSERT_TRUE(store->save("Ap", "pS", "Data1", "[TEST] 1\r\n"));
    for (const std::string& file : {dir.file("one"), dir.file("one/two")})
        EXPECT_EQ(modeOf(file), 0700u) << file;
    for (const std::string& file : {path, path + "-wal", path + "-shm"})
        EXPECT_EQ(std::filesystem::exists(file) ? modeOf(file) : 0600u, 0600u) << file;

    store.reset();
    ASSERT_EQ(::chmod(path.c_str(), 0664), 0);  // an existing file loses group and other access
    store = openStore(path);
    ASSERT_TRUE(store);
    EXPECT_EQ(modeOf(path), 0600u);
    EXPECT_EQ(store->allEntries("ap", "PS"),
              (Entries{{"Crlf", "apart"}, {"Data1", "[TEST] 1\r\n"}}));
}

TEST(SqliteSettingsStore, RefusesWhatItCannotOpenAndNamesTheFile) {
    TempDir dir;
    const std::string corrupt = dir.file("corrupt"), readOnly = dir.file("read-only");
    const std::string inFile = dir.file("plain/sub/s"), garbage = "not a database\r\n";
    writeFile(corrupt, garbage);
    writeFile(dir.file("plain"), "x");
    ASSERT_TRUE(openStore(readOnly));  // a good store, made read-only below
    ASSERT_EQ(::chmod(readOnly.c_str(), 0444) | ::chmod(corrupt.c_str(), 0666), 0);
    const std::pair<std::string, std::string> cases[] = {
        {corrupt, openError(corrupt, "file is not a database")},
        {readOnly, openError(readOnly, storemsg::kReadOnly)},
        {inFile, openError(inFile, std::string(storemsg::kCannotCreateFolder) +
                                       dir.file("plain/sub") + ": Not a directory")},
        {"", openError("(per-user settings)", "no file name given")},
    };
    // Root may write anything, so the opens run in a child process as an ordinary user.
    const auto openAll = [&] {
        const bool dropped = ::geteuid() != 0 || (::setgid(65534) == 0 && ::setuid(65534) == 0);
        if (!dropped) std::puts("cannot drop root rights: the read-only file is not tried");
        for (const auto& [path, expected] : cases) {
            std::string error;
            const bool refused = !SqliteSettingsStore::open(path, error) && error == expected;
            if (!refused && (dropped || path != readOnly))
                std::fprintf(stderr, "%s: %s\n", path.c_str(), error.c_str());
        }
        std::exit(0);
    };
    EXPECT_EXIT(openAll(), ::testing::ExitedWithCode(0), "^$");
    EXPECT_EQ(readFile(corrupt), garbage) << "a file that is not a store must stay untouched";
}

// The variables are not put back: every other test here names its store explicitly.
TEST(UserSettingsPath, FollowsTheEnvironment) {
    const char* names[] = {"LUMIVEX_SETTINGS_DB", "XDG_CONFIG_HOME", "HOME"};
    const char* cases[][4] = {
        // the three variables (nullptr: unset), path
        {"/data/s.db", "/xdg", "/home/u", "/data/s.db"},
        {"", "/xdg/", "/home/u", "/xdg/Lumivex/settings.sqlite3"},
        {nullptr, "", "/home/u", "/home/u/.config/Lumivex/settings.sqlite3"},
        {nullptr, "relative", "/home/u", "/home/u/.config/Lumivex/settings.sqlite3"},
    };
    for (const auto& c : cases) {
        for (int i = 0; i < 3; ++i)
            c[i] ? ::setenv(names[i], c[i], 1) : ::unsetenv(names[i]);
        EXPECT_EQ(userSettingsPath(), c[3]);
    }
}

// Runs kandor-settings on the store db; "exit code:stdout|stderr" with stderr cut before the
// usage synopsis.
std::string runTool(const TempDir& dir, const std::string& db, const std::vector<std::string>& args,
                    const std::string& input = {}) {
    writeFile(dir.file("in"), input);
    std::string line = "LUMIVEX_SETTINGS_DB='" + db + "' '" KANDOR_BIN_DIR "/kandor-settings'";
    for (const std::string& arg : args)
        line += " '" + arg + "'";
    const int status = std::system(
        (line + " <" + dir.file("in") + " >" + dir.file("out") + " 2>" + dir.file("err")).c_str());
    const std::string err = readFile(dir.file("err"));
    return std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + ":" +
           readFile(dir.file("out")) + "|" + err.substr(0, err.find("Usage:"));
}

TEST(KandorSettingsTool, DrivesTheStoreByteForByteAndReportsMisuse) {
    TempDir dir;
    const struct {
        std::vector<std::string> args;
        std::string input, expected;
    } steps[] = {
        {{"set", "App", "Sec", "Crlf", "-"}, "one\r\ntwo\r\n", "0:|"},
        {{"get", "APP", "sec", "CRLF"}, "", "0:one\r\ntwo\r\n|"},
        {{"set", "App", "Sec", "Path", "C:\\dir\\a.ies"}, "", "0:|"},
        {{"list", "App", "Sec"}, "", "0:Crlf=one\\r\\ntwo\\r\\n\nPath=C:\\\\dir\\\\a.ies\n|"},
        {{}, "", "64:|kandor-settings: no command given\n"},
        {{"set", "A", "S", "K"}, "", "64:|kandor-settings: wrong number of arguments for set\n"},
    };
    for (const auto& step : steps)
        EXPECT_EQ(runTool(dir, dir.file("db"), step.args, step.input), step.expected);
    writeFile(dir.file("corrupt"), "this is no store");
    EXPECT_EQ(
        runTool(dir, dir.file("corrupt"), {"get", "A", "S", "K"}),
        "1:|kandor-settings: " + openError(dir.file("corrupt"), "file is not a database") + "\n");
}

}  // namespace
}  // namespace kandor
