#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "host/settingsstore.h"
#include "host/sqlitesettingsstore.h"

namespace kandor {
namespace {

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

// The rules every store keeps, whether in memory or on disk.
void checkStoreRules(SettingsStore& s) {
    std::string big(1 << 20, '\0');
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<char>((i * 7919) % 251 + 1);
    EXPECT_TRUE(s.save("App", "Big", "Megabyte", big) && s.get("App", "Big", "Megabyte") == big);

    // Non-ASCII letters do not fold, so the last two are separate keys.
    SettingsStore::Entries entries = {
        {"Crlf", "1\r\n2\r\n"}, {"Latin1", "\xfc\xa9"}, {"\xc3\x84", ""}, {"\xc3\xa4", "a"}};
    for (const auto& [key, value] : entries)
        ASSERT_TRUE(s.save("App", "S", key, value));
    ASSERT_TRUE(s.save("APP", "s", "CRLF", "updated"));
    ASSERT_TRUE(s.save("Ap", "pS", "Crlf", "apart"));  // names must not run together
    entries[0].second = "updated";
    EXPECT_EQ(s.allEntries("app", "S"), entries);
    for (const auto& [key, value] : entries)
        EXPECT_EQ(s.get("app", "s", key, "default"), value) << key;
    EXPECT_EQ(s.get("App", "S", "Other", "0.3"), "0.3");

    // Deleted and saved again, a key goes to the end.
    ASSERT_TRUE(s.deleteKey("App", "S", "crlf"));
    ASSERT_TRUE(s.save("App", "S", "CRLF", "back"));
    EXPECT_EQ(s.allEntries("App", "S").back().first, "CRLF");

    ASSERT_TRUE(s.deleteSection("APP", "s"));
    EXPECT_TRUE(s.allEntries("App", "S").empty());
    EXPECT_EQ(s.get("Ap", "pS", "Crlf"), "apart");
    EXPECT_TRUE(s.deleteSection("App", "S"));  // nothing there is no failure
    EXPECT_EQ(s.lastError(), "");
}

// The disk store also keeps what it holds across a reopen, in owner-only files.
TEST(SettingsStores, KeepTheStoreRulesInMemoryAndOnDisk) {
    MemorySettingsStore memory;
    checkStoreRules(memory);
    TempDir dir;
    const std::string path = dir.file("one/two/settings.sqlite3");
    std::string error;
    const mode_t oldMask = ::umask(0);  // the store must not rely on the user's umask
    auto store = SqliteSettingsStore::open(path, error);
    ::umask(oldMask);
    ASSERT_TRUE(store) << error;
    checkStoreRules(*store);
    for (const std::string& file : {dir.file("one"), dir.file("one/two")})
        EXPECT_EQ(modeOf(file), 0700u) << file;
    for (const std::string& file : {path, path + "-wal", path + "-shm"})
        EXPECT_EQ(std::filesystem::exists(file) ? modeOf(file) : 0600u, 0600u) << file;

    store.reset();
    ASSERT_EQ(::chmod(path.c_str(), 0664), 0);  // an existing file loses group and other access
    ASSERT_TRUE(store = SqliteSettingsStore::open(path, error)) << error;
    EXPECT_EQ(modeOf(path), 0600u);
    EXPECT_EQ(store->allEntries("ap", "PS"), (SettingsStore::Entries{{"Crlf", "apart"}}));
}

TEST(SqliteSettingsStore, RefusesWhatItCannotOpenAndNamesTheFile) {
    TempDir dir;
    const std::string corrupt = dir.file("corrupt"), readOnly = dir.file("read-only");
    const std::string inFile = corrupt + "/sub/s", garbage = "not a database\r\n";
    writeFile(corrupt, garbage);
    writeFile(readOnly, "");  // an empty file is a good store, made read-only below
    ASSERT_EQ(::chmod(readOnly.c_str(), 0444) | ::chmod(corrupt.c_str(), 0666), 0);
    const std::pair<std::string, std::string> cases[] = {
        {corrupt, openError(corrupt, "file is not a database")},
        {readOnly, openError(readOnly, storemsg::kReadOnly)},
        {inFile, openError(inFile, std::string(storemsg::kCannotCreateFolder) + corrupt +
                                       "/sub: Not a directory")},
        {"", openError("(per-user settings)", "no file name given")}};
    // Root may write anything, so the opens run in a child process as an ordinary user.
    const auto openAll = [&] {
        const bool dropped = ::geteuid() != 0 || (::setgid(65534) == 0 && ::setuid(65534) == 0);
        if (!dropped) std::puts("cannot drop root rights: the read-only file is not tried");
        std::string error;
        for (const auto& [path, expected] : cases)
            if ((SqliteSettingsStore::open(path, error) || error != expected) &&
                (dropped || path != readOnly))
                std::fprintf(stderr, "%s: %s\n", path.c_str(), error.c_str());
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
        {nullptr, "relative", "/home/u", "/home/u/.config/Lumivex/settings.sqlite3"}};
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
    const std::tuple<std::vector<std::string>, std::string, std::string> steps[] = {
        {{"set", "App", "Sec", "Crlf", "-"}, "one\r\ntwo\r\n", "0:|"},
        {{"get", "APP", "sec", "CRLF"}, "", "0:one\r\ntwo\r\n|"},
        {{"set", "App", "Sec", "Path", "C:\\dir\\a.ies"}, "", "0:|"},
        {{"list", "App", "Sec"}, "", "0:Crlf=one\\r\\ntwo\\r\\n\nPath=C:\\\\dir\\\\a.ies\n|"},
        {{}, "", "64:|kandor-settings: no command given\n"},
        {{"set", "A", "S", "K"}, "", "64:|kandor-settings: wrong number of arguments for set\n"}};
    for (const auto& [args, input, expected] : steps)
        EXPECT_EQ(runTool(dir, dir.file("db"), args, input), expected);
    // The input file doubles as a store that is not one.
    EXPECT_EQ(runTool(dir, dir.file("in"), {"get", "A", "S", "K"}, "this is no store"),
              "1:|kandor-settings: " + openError(dir.file("in"), "file is not a database") + "\n");
}

}  // namespace
}  // namespace kandor
