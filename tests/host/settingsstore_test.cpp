#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "host/settingsstore.h"
#include "host/sqlitesettingsstore.h"

namespace kandor {
namespace {

namespace fs = std::filesystem;

class TempDir {
  public:
    explicit TempDir(const std::string& base = fs::temp_directory_path().string()) {
        std::string pattern = base + "/kandor-store-XXXXXX";
        path_ = ::mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    }
    ~TempDir() {
        std::error_code ec;
        if (!path_.empty()) fs::remove_all(path_, ec);
    }
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

unsigned modeOf(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0xFFFFu;
}

std::string openError(const std::string& path, const std::string& reason) {
    return std::string(storemsg::kCannotOpen) + path + ": " + reason;
}

// Runs body in a forked child (for what cannot be undone in the test process: another user,
// a file size limit) and returns what it wrote back, or nullopt when the child died.
std::optional<std::string> inChild(const std::function<std::string()>& body) {
    int fds[2];
    if (::pipe(fds) != 0) return std::nullopt;
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        const std::string out = body();
        if (::write(fds[1], out.data(), out.size()) < 0) ::_exit(3);
        ::_exit(0);
    }
    ::close(fds[1]);
    std::string out;
    char buffer[4096];
    ssize_t n;
    while ((n = ::read(fds[0], buffer, sizeof buffer)) > 0)
        out.append(buffer, size_t(n));
    ::close(fds[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return std::nullopt;
    return out;
}

// ---- The same behaviour from both stores ---------------------------------------------------

struct MemoryStoreMaker {
    std::unique_ptr<SettingsStore> make() { return std::make_unique<MemorySettingsStore>(); }
};

struct SqliteStoreMaker {
    TempDir dir;
    std::unique_ptr<SettingsStore> make() {
        std::string error;
        auto store = SqliteSettingsStore::open(dir.file("settings.sqlite3"), error);
        EXPECT_TRUE(store) << error;
        return store;
    }
};

template <class Maker>
class SettingsStoreBehaviour : public ::testing::Test {
  protected:
    void SetUp() override {
        store_ = maker_.make();
        ASSERT_TRUE(store_);
    }
    SettingsStore& store() { return *store_; }
    std::vector<std::string> keys(std::string_view app, std::string_view section) {
        std::vector<std::string> out;
        for (const auto& entry : store_->allEntries(app, section))
            out.push_back(entry.first);
        return out;
    }

    Maker maker_;
    std::unique_ptr<SettingsStore> store_;
};

using StoreMakers = ::testing::Types<MemoryStoreMaker, SqliteStoreMaker>;
TYPED_TEST_SUITE(SettingsStoreBehaviour, StoreMakers);

std::string megabyteValue() {
    std::string value(1 << 20, '\0');
    for (size_t i = 0; i < value.size(); ++i)
        value[i] = static_cast<char>((i * 7919) % 251 + 1);
    return value;
}

TYPED_TEST(SettingsStoreBehaviour, ValuesComeBackByteForByte) {
    const struct {
        const char* key;
        std::string value;
    } cases[] = {
        {"Empty", ""},
        {"Plain", "C:\\Photometry\\lamp.ies"},
        {"Crlf", "line one\r\nline two\r\n"},
        {"LoneCrAndLf", "a\rb\nc"},
        {"Latin1", "Gr\xfc\xdf\x65 \xa9"},  // not UTF-8
        {"Utf8", "Leuchte \xc3\xa4 \xe2\x80\x94 \xf0\x9f\x92\xa1"},
        {"Blanks", "  .5 "},
        {"Megabyte", megabyteValue()},
    };
    for (const auto& c : cases)
        ASSERT_TRUE(this->store().save("Lumivex_PE", "S", c.key, c.value));
    for (const auto& c : cases) {
        EXPECT_EQ(this->store().get("Lumivex_PE", "S", c.key, "default"), c.value) << c.key;
        EXPECT_EQ(this->store().lastError(), "") << c.key;
    }
    const auto entries = this->store().allEntries("Lumivex_PE", "S");
    ASSERT_EQ(entries.size(), std::size(cases));
    for (size_t i = 0; i < entries.size(); ++i)
        EXPECT_EQ(entries[i].second, cases[i].value);
}

TYPED_TEST(SettingsStoreBehaviour, MissingNamesReadAsTheDefault) {
    ASSERT_TRUE(this->store().save("App", "Section", "Key", "v"));
    EXPECT_EQ(this->store().get("App", "Section", "Other"), "");
    EXPECT_EQ(this->store().get("App", "Section", "Other", "0.3"), "0.3");
    EXPECT_EQ(this->store().get("App", "Elsewhere", "Key", "d"), "d");
    EXPECT_EQ(this->store().get("Nowhere", "Section", "Key", "d"), "d");
    EXPECT_TRUE(this->store().allEntries("App", "Elsewhere").empty());
    EXPECT_EQ(this->store().lastError(), "");
}

TYPED_TEST(SettingsStoreBehaviour, NamesIgnoreAsciiCaseAndKeepTheirFirstSpelling) {
    ASSERT_TRUE(this->store().save("Lumivex_PE", "Exchange", "Filename1", "first"));
    ASSERT_TRUE(this->store().save("LUMIVEX_PE", "exchange", "FILENAME1", "second"));
    EXPECT_EQ(this->store().get("lumivex_pe", "EXCHANGE", "filename1"), "second");
    const auto entries = this->store().allEntries("lumivex_pe", "EXCHANGE");
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].first, "Filename1");
    EXPECT_EQ(entries[0].second, "second");

    // Only ASCII letters fold: these are two keys.
    ASSERT_TRUE(this->store().save("App", "S", "\xc3\x84", "upper"));
    ASSERT_TRUE(this->store().save("App", "S", "\xc3\xa4", "lower"));
    EXPECT_EQ(this->store().get("App", "S", "\xc3\x84"), "upper");
    EXPECT_EQ(this->store().get("App", "S", "\xc3\xa4"), "lower");

    // The three names stay apart however their letters could be joined.
    ASSERT_TRUE(this->store().save("ab", "c", "d", "1"));
    ASSERT_TRUE(this->store().save("a", "bc", "d", "2"));
    EXPECT_EQ(this->store().get("ab", "c", "d"), "1");
}

TYPED_TEST(SettingsStoreBehaviour, EntriesKeepTheOrderOfFirstSave) {
    SettingsStore& s = this->store();
    for (const char* key : {"c", "a", "b"})
        ASSERT_TRUE(s.save("App", "S", key, key));
    ASSERT_TRUE(s.save("App", "Other", "z", "elsewhere"));
    ASSERT_TRUE(s.save("App", "S", "a", "updated in place"));
    EXPECT_EQ(this->keys("App", "S"), (std::vector<std::string>{"c", "a", "b"}));
    EXPECT_EQ(s.get("App", "S", "a"), "updated in place");

    // Deleted and saved again, a key goes to the end.
    ASSERT_TRUE(s.deleteKey("App", "S", "A"));
    EXPECT_EQ(s.get("App", "S", "a", "gone"), "gone");
    ASSERT_TRUE(s.save("App", "S", "A", "back"));
    EXPECT_EQ(this->keys("App", "S"), (std::vector<std::string>{"c", "b", "A"}));
}

TYPED_TEST(SettingsStoreBehaviour, DeleteSectionLeavesOtherSectionsAlone) {
    SettingsStore& s = this->store();
    ASSERT_TRUE(s.save("Lumivex32", "Kandor", "WorkOn", "Copy"));
    ASSERT_TRUE(s.save("Lumivex32", "Kandor", "ChangingLamp", "ChangesNothing"));
    ASSERT_TRUE(s.save("Lumivex32", "Tool_DefaultKeywords", "1", "[TEST]"));
    ASSERT_TRUE(s.save("Lumivex_PE", "Kandor", "WorkOn", "kept"));

    ASSERT_TRUE(s.deleteSection("LUMIVEX32", "kandor"));
    EXPECT_TRUE(s.allEntries("Lumivex32", "Kandor").empty());
    EXPECT_EQ(s.get("Lumivex32", "Kandor", "WorkOn", "Original"), "Original");
    EXPECT_EQ(s.get("Lumivex32", "Tool_DefaultKeywords", "1"), "[TEST]");
    EXPECT_EQ(s.get("Lumivex_PE", "Kandor", "WorkOn"), "kept");

    // Deleting what is not there is no failure.
    EXPECT_TRUE(s.deleteSection("Lumivex32", "Kandor"));
    EXPECT_TRUE(s.deleteKey("Lumivex32", "Kandor", "WorkOn"));
    EXPECT_EQ(s.lastError(), "");
}

// ---- The store on disk -------------------------------------------------------------------

TEST(SqliteSettingsStore, KeepsValuesOrderAndSpellingAcrossReopen) {
    TempDir dir;
    const std::string path = dir.file("settings.sqlite3");
    std::string error;
    {
        auto store = SqliteSettingsStore::open(path, error);
        ASSERT_TRUE(store) << error;
        EXPECT_EQ(store->path(), path);
        ASSERT_TRUE(
            store->save("Lumivex_PE", "Sec", "KeywordData1", "[TEST] 1\r\n[MANUFAC] x\r\n"));
        ASSERT_TRUE(store->save("Lumivex_PE", "Sec", "Filename1", "a.ies"));
        ASSERT_TRUE(store->save("Lumivex_PE", "Sec", "Empty1", ""));
    }
    auto store = SqliteSettingsStore::open(path, error);
    ASSERT_TRUE(store) << error;
    const SettingsStore::Entries expected = {
        {"KeywordData1", "[TEST] 1\r\n[MANUFAC] x\r\n"}, {"Filename1", "a.ies"}, {"Empty1", ""}};
    EXPECT_EQ(store->allEntries("lumivex_pe", "sec"), expected);
    EXPECT_EQ(store->get("Lumivex_PE", "Sec", "Empty1", "default"), "");
}

TEST(SqliteSettingsStore, CreatesItsFoldersAndFilesForTheOwnerOnly) {
    TempDir dir;
    const std::string path = dir.file("one/two/three/settings.sqlite3");
    const mode_t oldMask = ::umask(0);  // the store must not rely on the user's umask
    std::string error;
    auto store = SqliteSettingsStore::open(path, error);
    ::umask(oldMask);
    ASSERT_TRUE(store) << error;
    ASSERT_TRUE(store->save("A", "S", "K", "v"));
    for (const char* folder : {"one", "one/two", "one/two/three"})
        EXPECT_EQ(modeOf(dir.file(folder)), 0700u) << folder;
    EXPECT_EQ(modeOf(path), 0600u);
    for (const char* suffix : {"-wal", "-shm"}) {
        if (fs::exists(path + suffix)) {
            EXPECT_EQ(modeOf(path + suffix), 0600u) << suffix;
        }
    }

    // An existing file loses group and other access.
    store.reset();
    ASSERT_EQ(::chmod(path.c_str(), 0664), 0);
    ASSERT_TRUE(SqliteSettingsStore::open(path, error)) << error;
    EXPECT_EQ(modeOf(path), 0600u);
}

TEST(SqliteSettingsStore, RefusesWhatItCannotOpenAndNamesTheFile) {
    TempDir dir;
    writeFile(dir.file("plainfile"), "x");
    const std::string corrupt = dir.file("corrupt.sqlite3");
    const std::string garbage = std::string(8192, 'G') + "\r\nnot a database\0tail";
    writeFile(corrupt, garbage);
    fs::create_directory(dir.file("folder"));

    const struct {
        const char* name;
        std::string path;
        std::string expected;  // exact message, or just its start when exact is false
        bool exact;
    } cases[] = {
        {"corrupt file", corrupt, openError(corrupt, "file is not a database"), true},
        {"parent is a file", dir.file("plainfile/sub/settings.sqlite3"),
         openError(dir.file("plainfile/sub/settings.sqlite3"),
                   std::string(storemsg::kCannotCreateFolder) + dir.file("plainfile/sub") +
                       ": Not a directory"),
         true},
        {"path is a folder", dir.file("folder"), openError(dir.file("folder"), ""), false},
        {"no path", "", openError("(per-user settings)", "no file name given"), true},
    };
    for (const auto& c : cases) {
        std::string error;
        EXPECT_FALSE(SqliteSettingsStore::open(c.path, error)) << c.name;
        if (c.exact)
            EXPECT_EQ(error, c.expected) << c.name;
        else
            EXPECT_EQ(error.substr(0, c.expected.size()), c.expected) << c.name << ": " << error;
    }
    EXPECT_EQ(readFile(corrupt), garbage) << "a file that is not a store must stay untouched";
}

TEST(SqliteSettingsStore, RefusesAFileItMayOnlyRead) {
    // Root may write anything, so the open runs as an ordinary user in a child process.
    TempDir dir("/tmp");
    ASSERT_EQ(::chmod(dir.path().c_str(), 0755), 0);
    const std::string path = dir.file("settings.sqlite3");
    {
        std::string error;
        auto store = SqliteSettingsStore::open(path, error);
        ASSERT_TRUE(store) << error;
        ASSERT_TRUE(store->save("A", "S", "K", "kept"));
    }
    ASSERT_EQ(::chmod(path.c_str(), 0444), 0);
    const auto result = inChild([&]() -> std::string {
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0)) return "skip";
        std::string error;
        auto store = SqliteSettingsStore::open(path, error);
        return store ? "opened" : error;
    });
    ASSERT_TRUE(result.has_value());
    if (*result == "skip") GTEST_SKIP() << "cannot drop root rights here";
    EXPECT_EQ(*result, openError(path, "the file is read-only"));
    ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
    std::string error;
    auto store = SqliteSettingsStore::open(path, error);
    ASSERT_TRUE(store) << error;
    EXPECT_EQ(store->get("A", "S", "K"), "kept");
}

TEST(SqliteSettingsStore, AFailedWriteReportsTheFileAndKeepsTheOldValue) {
    TempDir dir;
    const std::string path = dir.file("settings.sqlite3");
    // A file size limit stands in for a full disk; it can only be set in a child process.
    const auto result = inChild([&]() -> std::string {
        std::string error;
        auto store = SqliteSettingsStore::open(path, error);
        if (!store) return "open: " + error;
        if (!store->save("A", "S", "K", "old")) return "first save: " + store->lastError();
        ::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{64 * 1024, 64 * 1024};
        if (::setrlimit(RLIMIT_FSIZE, &limit) != 0) return "setrlimit";
        if (store->save("A", "S", "K", megabyteValue())) return "big save succeeded";
        std::string report = store->lastError() + "\n";
        report += store->get("A", "S", "K") + "\n";
        report += store->lastError();
        return report;
    });
    ASSERT_TRUE(result.has_value());
    const std::string leadIn = std::string(storemsg::kCannotWrite) + path + ": ";
    EXPECT_EQ(result->substr(0, leadIn.size()), leadIn) << *result;
    EXPECT_EQ(result->substr(result->find('\n')), "\nold\n") << "read after the failure";

    std::string error;
    auto store = SqliteSettingsStore::open(path, error);
    ASSERT_TRUE(store) << error;
    EXPECT_EQ(store->get("A", "S", "K"), "old");
}

TEST(UserSettingsPath, FollowsTheEnvironment) {
    const struct {
        const char* explicitPath;  // nullptr: unset
        const char* xdg;
        const char* home;
        const char* expected;
    } cases[] = {
        {"/data/store.db", "/xdg", "/home/u", "/data/store.db"},
        {"", "/xdg", "/home/u", "/xdg/Lumivex/settings.sqlite3"},
        {nullptr, "/xdg/", "/home/u", "/xdg/Lumivex/settings.sqlite3"},
        {nullptr, "", "/home/u", "/home/u/.config/Lumivex/settings.sqlite3"},
        {nullptr, nullptr, "/home/u", "/home/u/.config/Lumivex/settings.sqlite3"},
        {nullptr, "relative/dir", "/home/u", "/home/u/.config/Lumivex/settings.sqlite3"},
    };
    const char* names[] = {"LUMIVEX_SETTINGS_DB", "XDG_CONFIG_HOME", "HOME"};
    std::optional<std::string> saved[3];
    for (int i = 0; i < 3; ++i)
        if (const char* v = std::getenv(names[i])) saved[i] = v;
    for (const auto& c : cases) {
        const char* values[] = {c.explicitPath, c.xdg, c.home};
        for (int i = 0; i < 3; ++i)
            values[i] ? ::setenv(names[i], values[i], 1) : ::unsetenv(names[i]);
        EXPECT_EQ(userSettingsPath(), c.expected);
    }
    for (int i = 0; i < 3; ++i)
        saved[i] ? ::setenv(names[i], saved[i]->c_str(), 1) : ::unsetenv(names[i]);
}

// ---- kandor-settings as a process ----------------------------------------------------------

struct ToolRun {
    int code = -1;
    std::string out;
    std::string err;
};

ToolRun runTool(const std::string& db, const std::vector<std::string>& args,
                const std::string& input = {}) {
    TempDir io;
    const std::string in = io.file("in"), out = io.file("out"), err = io.file("err");
    writeFile(in, input);
    const std::string tool = std::string(KANDOR_BIN_DIR) + "/kandor-settings";
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::setenv("LUMIVEX_SETTINGS_DB", db.c_str(), 1);
        const int fdIn = ::open(in.c_str(), O_RDONLY);
        const int fdOut = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int fdErr = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (fdIn < 0 || fdOut < 0 || fdErr < 0) ::_exit(120);
        ::dup2(fdIn, 0);
        ::dup2(fdOut, 1);
        ::dup2(fdErr, 2);
        std::vector<char*> argv{const_cast<char*>(tool.c_str())};
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        ::execv(tool.c_str(), argv.data());
        ::_exit(121);
    }
    ToolRun run;
    int status = 0;
    for (int waited = 0; waited < 2000; ++waited) {  // 20 s at most
        if (::waitpid(pid, &status, WNOHANG) == pid) {
            run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (run.code == -1 && ::kill(pid, SIGKILL) == 0) ::waitpid(pid, &status, 0);
    run.out = readFile(out);
    run.err = readFile(err);
    return run;
}

class KandorSettingsTool : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(fs::exists(std::string(KANDOR_BIN_DIR) + "/kandor-settings"))
            << "build the kandor-settings target first";
    }
    TempDir dir_;
    std::string db_ = dir_.file("settings.sqlite3");
};

TEST_F(KandorSettingsTool, DrivesTheStoreByteForByte) {
    const struct {
        std::vector<std::string> args;
        std::string input;
        int code;
        std::string out;
    } steps[] = {
        {{"get", "App", "Sec", "Missing"}, "", 0, ""},
        {{"set", "App", "Sec", "Crlf", "-"}, "one\r\ntwo\r\n", 0, ""},
        {{"get", "APP", "sec", "CRLF"}, "", 0, "one\r\ntwo\r\n"},
        {{"set", "App", "Sec", "Path", "C:\\dir\\a.ies"}, "", 0, ""},
        {{"set", "App", "Sec", "Dash", "-"}, "-", 0, ""},
        {{"set", "App", "Other", "Key", "elsewhere"}, "", 0, ""},
        {{"list", "App", "Sec"},
         "",
         0,
         "Crlf=one\\r\\ntwo\\r\\n\nPath=C:\\\\dir\\\\a.ies\nDash=-\n"},
        {{"delete", "App", "Sec", "path"}, "", 0, ""},
        {{"get", "App", "Sec", "Path"}, "", 0, ""},
        {{"delete-section", "app", "sec"}, "", 0, ""},
        {{"list", "App", "Sec"}, "", 0, ""},
        {{"get", "App", "Other", "Key"}, "", 0, "elsewhere"},
    };
    for (const auto& step : steps) {
        const ToolRun run = runTool(db_, step.args, step.input);
        EXPECT_EQ(run.code, step.code) << step.args[0] << " " << step.args.back();
        EXPECT_EQ(run.out, step.out) << step.args[0] << " " << step.args.back();
        EXPECT_EQ(run.err, "") << step.args[0];
    }
}

TEST_F(KandorSettingsTool, ReportsMisuseAndStoreFailuresOnStandardError) {
    writeFile(dir_.file("corrupt"), "this is no store");
    const struct {
        const char* name;
        std::string db;
        std::vector<std::string> args;
        int code;
        std::string errStart;
    } cases[] = {
        {"no command", db_, {}, 64, "kandor-settings: no command given\nUsage:"},
        {"unknown", db_, {"put", "A", "S", "K"}, 64, "kandor-settings: unknown command put\n"},
        {"too few",
         db_,
         {"set", "A", "S", "K"},
         64,
         "kandor-settings: wrong number of arguments for set\n"},
        {"too many",
         db_,
         {"list", "A", "S", "K"},
         64,
         "kandor-settings: wrong number of arguments for list\n"},
        {"corrupt store",
         dir_.file("corrupt"),
         {"get", "A", "S", "K"},
         1,
         "kandor-settings: " + openError(dir_.file("corrupt"), "file is not a database") + "\n"},
    };
    for (const auto& c : cases) {
        const ToolRun run = runTool(c.db, c.args);
        EXPECT_EQ(run.code, c.code) << c.name;
        EXPECT_EQ(run.out, "") << c.name;
        EXPECT_EQ(run.err.substr(0, c.errStart.size()), c.errStart) << c.name << ": " << run.err;
    }
    EXPECT_EQ(readFile(dir_.file("corrupt")), "this is no store");

    const ToolRun help = runTool(db_, {"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("kandor-settings set APP SECTION KEY VALUE"), std::string::npos);
    EXPECT_EQ(help.err, "");
}

}  // namespace
}  // namespace kandor
