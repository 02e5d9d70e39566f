// The command channel's costs: how long a host waits for the tool to take a command, how long
// the tool waits for the host, and what the tool's idle polling costs.
#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "core/prompter.h"
#include "host/channel.h"
#include "host/sqlitesettingsstore.h"

namespace {

using namespace kandor;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class QuietForm final : public ToolForm {
  public:
    void moveTo(int, int, int, int) override {}
    void raiseToTop() override {}
    void unload() override {}
    void giveBackParents() override {}
    void showCommandLog(const std::string&) override {}
    double dpiX() const override { return 96; }
    double dpiY() const override { return 96; }
};

// One store file, the tool's connection to it and the tool's channel.
struct Tool {
    Tool() {
        std::string error;
        store = SqliteSettingsStore::open(path(), error);
        if (!store) throw std::runtime_error(error);
        state.section = "Bench";
        state.instanceId = "b1";
        state.outgoingKey = "Lumivex_PE|Out";
        channel = std::make_unique<CommandChannel>(*store, state, list, form, prompter);
    }
    std::string path() const { return dir.filePath("settings.sqlite3").toStdString(); }
    // A second connection, as another process or thread would hold.
    std::unique_ptr<SqliteSettingsStore> hostConnection() const {
        std::string error;
        auto host = SqliteSettingsStore::open(path(), error);
        if (!host) throw std::runtime_error(error);
        return host;
    }

    QTemporaryDir dir;
    std::unique_ptr<SqliteSettingsStore> store;
    ToolState state;
    RecordList list;
    QuietForm form;
    SilentPrompter prompter;
    std::unique_ptr<CommandChannel> channel;
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double cpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Host writes a command, the tool's timer picks it up and clears it, the host sees the key
// empty. The host writes at a random moment of the tool's poll cycle, as a real host does.
void HostCommandRoundTrip(benchmark::State& st) {
    const auto interval = std::chrono::milliseconds(st.range(0));
    Tool tool;
    tool.channel->startPolling(interval);
    auto host = tool.hostConnection();
    const std::string key = tool.state.incomingKey();
    std::mt19937 random(42);
    std::uniform_int_distribution<int> phase(0, static_cast<int>(interval.count()));
    std::vector<double> millis;

    for (auto _ : st) {
        std::atomic<bool> done{false};
        double roundTrip = 0;
        std::thread writer([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(phase(random)));
            const auto sent = Clock::now();
            host->save("Lumivex_PE", "Bench", key, "ECHO");
            while (!host->get("Lumivex_PE", "Bench", key).empty())
                std::this_thread::sleep_for(500us);
            roundTrip = std::chrono::duration<double, std::milli>(Clock::now() - sent).count();
            done = true;
        });
        while (!done)
            letEventsRun(1ms);
        writer.join();
        millis.push_back(roundTrip);
        st.SetIterationTime(roundTrip / 1000.0);
    }
    st.counters["median_ms"] = median(millis);
    st.counters["max_ms"] = *std::max_element(millis.begin(), millis.end());
    st.counters["goal_ms"] = static_cast<double>(interval.count()) + 10.0;
}
BENCHMARK(HostCommandRoundTrip)
    ->Arg(300)
    ->Arg(50)
    ->Iterations(30)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// The tool sends a command and waits for a host that looks at its key every 5 ms.
void ToolCommandRoundTrip(benchmark::State& st) {
    Tool tool;
    auto host = tool.hostConnection();
    std::atomic<bool> stop{false};
    std::thread listener([&] {
        while (!stop) {
            if (!host->get("Lumivex_PE", "Bench", "Lumivex_PE|Out").empty())
                host->save("Lumivex_PE", "Bench", "Lumivex_PE|Out", "");
            std::this_thread::sleep_for(5ms);
        }
    });
    std::vector<double> millis;
    for (auto _ : st) {
        const auto start = Clock::now();
        tool.channel->SendCommand("Lumivex_PE|Out", "", "SendUpdatedData*,KandorPE,b1");
        const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        millis.push_back(ms);
        st.SetIterationTime(ms / 1000.0);
    }
    stop = true;
    listener.join();
    st.counters["median_ms"] = median(millis);
}
BENCHMARK(ToolCommandRoundTrip)->Iterations(50)->UseManualTime()->Unit(benchmark::kMillisecond);

// The tool sits hidden, polling for commands that do not come.
void IdlePollingCpu(benchmark::State& st) {
    const auto interval = std::chrono::milliseconds(st.range(0));
    Tool tool;
    tool.channel->startPolling(interval);
    for (auto _ : st) {
        const double cpuBefore = cpuSeconds();
        QElapsedTimer wall;
        wall.start();
        while (wall.elapsed() < 10000)
            letEventsRun(100ms);
        const double cpu = cpuSeconds() - cpuBefore;
        st.counters["cpu_percent_of_core"] =
            100.0 * cpu / (static_cast<double>(wall.elapsed()) / 1000.0);
    }
}
BENCHMARK(IdlePollingCpu)->Arg(300)->Arg(50)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
