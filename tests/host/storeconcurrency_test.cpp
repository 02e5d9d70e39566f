// Host and tool hold the same store open in two processes and write the same keys; these tests
// run real processes against one file and check that no value is lost, torn or refused.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "host/sqlitesettingsstore.h"

namespace kandor {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kKeys = 4;
constexpr const char* kApp = "Lumivex_PE";
constexpr const char* kSection = "Race";

std::string keyName(int k) {
    return "Slot" + std::to_string(k + 1);
}

std::uint32_t checksum(std::string_view bytes) {
    std::uint32_t h = 2166136261u;
    for (unsigned char c : bytes)
        h = (h ^ c) * 16777619u;
    return h;
}

// "writer|seq|length|checksum|" then the payload, so every value can prove it is whole.
std::string makeValue(int writer, long seq, std::mt19937& rng) {
    std::uniform_int_distribution<int> size(0, 3), byte(1, 255);
    static const int kSizes[] = {0, 17, 4096 + 3, 40000};
    std::string payload(kSizes[size(rng)], '\0');
    for (char& c : payload)
        c = static_cast<char>(byte(rng));
    if (!payload.empty()) payload[0] = '\r';  // line ends must survive as well
    return std::to_string(writer) + "|" + std::to_string(seq) + "|" +
           std::to_string(payload.size()) + "|" + std::to_string(checksum(payload)) + "|" + payload;
}

struct Stamp {
    int writer = -1;
    long seq = -1;
};

// The writer and sequence number of a whole value; nullopt for a torn or foreign one.
std::optional<Stamp> parseValue(const std::string& value) {
    std::size_t pos = 0;
    long fields[4];
    for (long& field : fields) {
        const std::size_t bar = value.find('|', pos);
        if (bar == std::string::npos || bar == pos) return std::nullopt;
        field = 0;
        for (std::size_t i = pos; i < bar; ++i) {
            if (value[i] < '0' || value[i] > '9') return std::nullopt;
            field = field * 10 + (value[i] - '0');
        }
        pos = bar + 1;
    }
    const std::string_view payload = std::string_view(value).substr(pos);
    if (static_cast<long>(payload.size()) != fields[2] ||
        static_cast<long>(checksum(payload)) != fields[3])
        return std::nullopt;
    return Stamp{static_cast<int>(fields[0]), fields[1]};
}

// Crosses the pipe from child to parent as raw bytes, so it holds no pointers.
struct Report {
    long writes = 0, reads = 0, errors = 0, torn = 0;
    long lastSeq[kKeys] = {-1, -1, -1, -1};
    char firstProblem[512] = {};
};

std::string serialise(const Report& r) {
    return std::string(reinterpret_cast<const char*>(&r), sizeof r);
}

Report deserialise(const std::string& bytes) {
    Report r;
    if (bytes.size() == sizeof r) std::memcpy(&r, bytes.data(), sizeof r);
    return r;
}

// Forks one child per body, all bodies starting together; returns each child's output, or
// nullopt for a child that died or overran the time limit.
std::vector<std::optional<std::string>> runTogether(
    const std::vector<std::function<std::string()>>& bodies, std::chrono::seconds limit) {
    struct Child {
        pid_t pid;
        int fd;
    };
    std::vector<Child> children;
    for (const auto& body : bodies) {
        int fds[2];
        if (::pipe(fds) != 0) break;
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::close(fds[0]);
            const std::string out = body();
            const bool written = ::write(fds[1], out.data(), out.size()) == ssize_t(out.size());
            ::_exit(written ? 0 : 3);
        }
        ::close(fds[1]);
        children.push_back({pid, fds[0]});
    }
    std::vector<std::optional<std::string>> results;
    const auto deadline = Clock::now() + limit;
    for (const Child& child : children) {
        int status = 0;
        bool done = false;
        while (!(done = ::waitpid(child.pid, &status, WNOHANG) == child.pid) &&
               Clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        if (!done) {
            ::kill(child.pid, SIGKILL);
            ::waitpid(child.pid, &status, 0);
        }
        std::string out;
        char buffer[4096];
        ssize_t n;
        while ((n = ::read(child.fd, buffer, sizeof buffer)) > 0)
            out.append(buffer, size_t(n));
        ::close(child.fd);
        const bool ok = done && WIFEXITED(status) && WEXITSTATUS(status) == 0;
        results.push_back(ok ? std::optional<std::string>(out) : std::nullopt);
    }
    return results;
}

class TempDir {
  public:
    TempDir() {
        std::string pattern = fs::temp_directory_path().string() + "/kandor-race-XXXXXX";
        path_ = ::mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    }
    ~TempDir() {
        std::error_code ec;
        if (!path_.empty()) fs::remove_all(path_, ec);
    }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

Report writeAndRead(const std::string& path, int writer, Clock::time_point start,
                    Clock::duration length) {
    Report r;
    auto note = [&r](const std::string& problem) {
        if (r.firstProblem[0] == '\0') problem.copy(r.firstProblem, sizeof r.firstProblem - 1);
    };
    std::this_thread::sleep_until(start);
    std::string error;
    auto store = SqliteSettingsStore::open(path, error);
    if (!store) {
        ++r.errors;
        note(error);
        return r;
    }
    std::mt19937 rng(static_cast<unsigned>(writer) * 7919u + 1u);
    std::uniform_int_distribution<int> pickKey(0, kKeys - 1);
    auto check = [&](const std::string& value, const std::string& key) {
        ++r.reads;
        if (!store->lastError().empty()) {
            ++r.errors;
            note(store->lastError());
        } else if (!value.empty() && !parseValue(value)) {
            ++r.torn;
            note("torn value under " + key + " (" + std::to_string(value.size()) + " bytes)");
        }
    };
    long seq = 0;
    while (Clock::now() < start + length) {
        const int k = pickKey(rng);
        ++seq;
        if (store->save(kApp, kSection, keyName(k), makeValue(writer, seq, rng))) {
            ++r.writes;
            r.lastSeq[k] = seq;
        } else {
            ++r.errors;
            note(store->lastError());
        }
        const std::string key = keyName(pickKey(rng));
        check(store->get(kApp, kSection, key), key);
        if (seq % 10 == 0) {
            for (const auto& [name, value] : store->allEntries(kApp, kSection))
                check(value, name);
        }
    }
    return r;
}

TEST(StoreConcurrency, TwoWritersNeitherLoseNorTearValues) {
    TempDir dir;
    const std::string path = dir.file("settings.sqlite3");
    const auto start = Clock::now() + std::chrono::milliseconds(200);
    const auto length = std::chrono::milliseconds(3000);
    std::vector<std::function<std::string()>> bodies;
    for (int writer = 0; writer < 2; ++writer)
        bodies.push_back([=] { return serialise(writeAndRead(path, writer, start, length)); });
    const auto outputs = runTogether(bodies, std::chrono::seconds(20));

    std::vector<Report> reports;
    for (std::size_t w = 0; w < outputs.size(); ++w) {
        ASSERT_TRUE(outputs[w].has_value()) << "writer " << w << " died or hung";
        ASSERT_EQ(outputs[w]->size(), sizeof(Report));
        reports.push_back(deserialise(*outputs[w]));
        const Report& r = reports.back();
        EXPECT_EQ(r.errors, 0) << "writer " << w << ": " << r.firstProblem;
        EXPECT_EQ(r.torn, 0) << "writer " << w << ": " << r.firstProblem;
        EXPECT_GT(r.writes, 50) << "writer " << w << " hardly got to write";
        EXPECT_GT(r.reads, r.writes);
    }
    ASSERT_EQ(reports.size(), 2u);

    // Each key must hold, whole, the last value one of the writers gave it.
    std::string error;
    auto store = SqliteSettingsStore::open(path, error);
    ASSERT_TRUE(store) << error;
    for (int k = 0; k < kKeys; ++k) {
        const std::string value = store->get(kApp, kSection, keyName(k));
        const auto stamp = parseValue(value);
        ASSERT_TRUE(stamp) << keyName(k) << " is torn or empty";
        ASSERT_TRUE(stamp->writer == 0 || stamp->writer == 1);
        EXPECT_EQ(stamp->seq, reports[stamp->writer].lastSeq[k])
            << keyName(k) << " holds an older value of writer " << stamp->writer;
    }
    EXPECT_EQ(store->allEntries(kApp, kSection).size(), std::size_t(kKeys));
}

TEST(StoreConcurrency, HostAndToolCreatingTheStoreTogetherBothSucceed) {
    // Both processes may find no store yet: folder, file, journal mode and table are all made
    // by whichever comes first, and the other must simply use them.
    for (int round = 0; round < 6; ++round) {
        TempDir dir;
        const std::string path = dir.file("Lumivex/settings.sqlite3");
        const auto start = Clock::now() + std::chrono::milliseconds(100);
        std::vector<std::function<std::string()>> bodies;
        for (int writer = 0; writer < 2; ++writer) {
            bodies.push_back([=]() -> std::string {
                std::this_thread::sleep_until(start);
                std::string error;
                auto store = SqliteSettingsStore::open(path, error);
                if (!store) return error;
                if (!store->save(kApp, kSection, "Writer" + std::to_string(writer), "here"))
                    return store->lastError();
                return "ok";
            });
        }
        const auto outputs = runTogether(bodies, std::chrono::seconds(20));
        for (const auto& out : outputs) {
            ASSERT_TRUE(out.has_value()) << "round " << round;
            EXPECT_EQ(*out, "ok") << "round " << round;
        }
        std::string error;
        auto store = SqliteSettingsStore::open(path, error);
        ASSERT_TRUE(store) << error;
        EXPECT_EQ(store->allEntries(kApp, kSection).size(), 2u) << "round " << round;
    }
}

}  // namespace
}  // namespace kandor
