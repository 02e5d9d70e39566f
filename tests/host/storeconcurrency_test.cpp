// Host and tool hold the same store open in two processes and write the same keys; this runs
// real processes against one file and checks that no value is lost, torn or refused.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <thread>

#include "host/sqlitesettingsstore.h"

namespace kandor {
namespace {

using Clock = std::chrono::steady_clock;
constexpr int kKeys = 4;
constexpr const char* kApp = "Lumivex_PE";

std::string keyName(int k) {
    return "Slot" + std::to_string(k);
}

// "writer|seq|" and a payload that follows from both, so a reader can tell a whole value from
// a torn or mixed one. The payload runs through every byte but NUL, line ends included.
std::string makeValue(long writer, long seq) {
    std::string value = std::to_string(writer) + "|" + std::to_string(seq) + "|";
    const size_t sizes[] = {0, 17, 4099, 40000};
    for (size_t i = 0; i < sizes[seq & 3]; ++i)
        value += static_cast<char>((seq + writer + i * 31) % 255 + 1);
    return value;
}

// The writer and sequence number of a whole value; {-1, -1} for a torn or mixed one.
std::pair<long, long> stampOf(const std::string& value) {
    long w = -1, s = -1;
    const bool parsed = std::sscanf(value.c_str(), "%ld|%ld|", &w, &s) == 2;
    return parsed && value == makeValue(w, s) ? std::pair{w, s} : std::pair{-1L, -1L};
}

// One process: saves and reads the shared keys until the time is up, then leaves under "Done"
// how many values it wrote and the last it gave each key. Exits 1 after reporting any failed
// call or torn value on standard error.
[[noreturn]] void writeAndRead(const std::string& path, int writer, Clock::time_point start) {
    std::this_thread::sleep_until(start);
    std::string error;
    auto store = SqliteSettingsStore::open(path, error);
    if (!store) {
        std::fprintf(stderr, "writer %d: %s\n", writer, error.c_str());
        ::_exit(1);
    }
    int problems = 0;
    auto check = [&](bool ok) {
        const std::string& e = store->lastError();
        if ((!ok || !e.empty()) && problems++ < 5)
            std::fprintf(stderr, "writer %d: %s\n", writer, e.empty() ? "torn value" : e.c_str());
    };
    auto whole = [](const std::string& v) { return v.empty() || stampOf(v).first >= 0; };
    std::minstd_rand rng(writer + 1);
    long seq = 0, last[kKeys] = {-1, -1, -1, -1};
    while (Clock::now() < start + std::chrono::seconds(3)) {
        const int k = static_cast<int>(rng() % kKeys);
        check(store->save(kApp, "Race", keyName(k), makeValue(writer, ++seq)));
        last[k] = seq;
        check(whole(store->get(kApp, "Race", keyName(static_cast<int>(rng() % kKeys)))));
        for (const auto& entry : store->allEntries(kApp, "Race"))
            check(whole(entry.second));
    }
    const std::string me = std::to_string(writer);
    for (int k = 0; k < kKeys; ++k)
        check(store->save(kApp, "Done", me + keyName(k), std::to_string(last[k])));
    check(store->save(kApp, "Done", me, std::to_string(seq)));
    ::_exit(problems == 0 ? 0 : 1);
}

TEST(StoreConcurrency, TwoWritersNeitherLoseNorTearValues) {
    std::string dir = std::filesystem::temp_directory_path().string() + "/kandor-race-XXXXXX";
    ASSERT_TRUE(::mkdtemp(dir.data()));
    // Neither finds a store yet: both create folder, file and table at the same moment.
    const std::string path = dir + "/Lumivex/settings.sqlite3";
    const auto start = Clock::now() + std::chrono::milliseconds(200);
    pid_t pids[2];
    for (int writer = 0; writer < 2; ++writer)
        if ((pids[writer] = ::fork()) == 0) writeAndRead(path, writer, start);
    int status = 0;
    for (pid_t pid : pids)
        EXPECT_TRUE(::waitpid(pid, &status, 0) == pid && WIFEXITED(status) && !WEXITSTATUS(status))
            << "see the writer's report";

    std::string error;
    auto store = SqliteSettingsStore::open(path, error);
    ASSERT_TRUE(store) << error;
    for (const char* writer : {"0", "1"})
        EXPECT_GT(std::stol(store->get(kApp, "Done", writer, "0")), 50) << "writer " << writer;
    // Each key holds, whole, the last value one of the writers gave it.
    for (int k = 0; k < kKeys; ++k) {
        const auto [writer, seq] = stampOf(store->get(kApp, "Race", keyName(k)));
        EXPECT_GE(writer, 0) << keyName(k) << " is torn or empty";
        EXPECT_EQ(std::to_string(seq),
                  store->get(kApp, "Done", std::to_string(writer) + keyName(k)))
            << keyName(k) << " holds an older value";
    }
    store.reset();
    std::filesystem::remove_all(dir);
}

}  // namespace
}  // namespace kandor
