// The cost of handing a full 181 x 361 web through an exchange slot, beside the cost of the
// same number of bytes stored as one value: the slot's own overhead (eleven keys, the clearing
// of the other slots, number forms and parsing) should stay within a small factor of the
// store's.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>

#include "core/prompter.h"
#include "host/exchange.h"
#include "host/samplerecord.h"
#include "host/sqlitesettingsstore.h"

namespace {

using namespace kandor;
namespace fs = std::filesystem;

constexpr std::string_view kSection = "Bench";

IesRecord fullWeb() {
    IesRecord r = SampleRecord();
    r.resizeGrid(181, 361);
    for (int v = 1; v <= 181; ++v)
        r.VertAngles(v) = 0.5f * static_cast<float>(v - 1) + 90;
    for (int h = 1; h <= 361; ++h)
        r.HorAngles(h) = static_cast<float>(h - 1);
    for (int h = 1; h <= 361; ++h)
        for (int v = 1; v <= 181; ++v)
            // Three decimals at most, as the reader leaves them.
            r.Candela(h, v) = std::round((1000.0 / (1 + 0.01 * v) + 0.001 * h) * 1000) / 1000;
    return r;
}

// One store file per run, removed at the end.
class BenchStore {
  public:
    BenchStore() {
        std::string pattern = (fs::temp_directory_path() / "kandor-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) dir_ = pattern;
        std::string error;
        store_ = SqliteSettingsStore::open(dir_ + "/settings.sqlite3", error);
        error_ = error;
    }
    ~BenchStore() {
        store_.reset();
        std::error_code ec;
        if (!dir_.empty()) fs::remove_all(dir_, ec);
    }
    SettingsStore* get() const { return store_.get(); }
    const std::string& error() const { return error_; }

  private:
    std::string dir_;
    std::string error_;
    std::unique_ptr<SqliteSettingsStore> store_;
};

// The bytes a slot holds for the record, so that the one-value runs move as much.
std::size_t slotBytes(const IesRecord& record) {
    SlotValues values;
    encodeSlot(record, values);
    std::size_t bytes = 0;
    for (const auto& v : values.values)
        bytes += v.size();
    return bytes;
}

void BM_SlotWrite(benchmark::State& state) {
    BenchStore store;
    if (!store.get()) return state.SkipWithError(store.error().c_str());
    SilentPrompter quiet;
    RecordList list;
    list.add(fullWeb());
    ExchangeSlots slots(*store.get(), std::string(kExchangeApp), std::string(kSection), list,
                        quiet);
    slots.WriteExchangeRecords(1, 1, 1);  // the keys exist from here on, as in a running host
    for (auto _ : state)
        if (slots.WriteExchangeRecords(1, 1, 1) != 1) state.SkipWithError("write failed");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * slotBytes(list(1))));
}

void BM_SlotRead(benchmark::State& state) {
    BenchStore store;
    if (!store.get()) return state.SkipWithError(store.error().c_str());
    SilentPrompter quiet;
    RecordList list;
    list.add(fullWeb());
    ExchangeSlots slots(*store.get(), std::string(kExchangeApp), std::string(kSection), list,
                        quiet);
    const std::size_t bytes = slotBytes(list(1));
    slots.WriteExchangeRecords(1, 1, 1);
    std::string error;
    for (auto _ : state)
        if (slots.ReadExchangeRecords(1, error) != 0) state.SkipWithError(error.c_str());
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}

void BM_OneValueWrite(benchmark::State& state) {
    BenchStore store;
    if (!store.get()) return state.SkipWithError(store.error().c_str());
    std::string value(slotBytes(fullWeb()), '7');
    for (auto _ : state) {
        // A different value each time, as a changed record is: a store may skip a write that
        // changes nothing.
        value.front() = value.front() == '7' ? '8' : '7';
        if (!store.get()->save(kExchangeApp, kSection, "Blob", value))
            state.SkipWithError("write failed");
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * value.size()));
}

void BM_OneValueRead(benchmark::State& state) {
    BenchStore store;
    if (!store.get()) return state.SkipWithError(store.error().c_str());
    const std::string value(slotBytes(fullWeb()), '7');
    store.get()->save(kExchangeApp, kSection, "Blob", value);
    for (auto _ : state)
        benchmark::DoNotOptimize(store.get()->get(kExchangeApp, kSection, "Blob"));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * value.size()));
}

// The slot's own work without any store: number forms out, lenient reading back.
void BM_Encode(benchmark::State& state) {
    const IesRecord record = fullWeb();
    SlotValues values;
    for (auto _ : state)
        benchmark::DoNotOptimize(encodeSlot(record, values));
}

void BM_Decode(benchmark::State& state) {
    SlotValues values;
    encodeSlot(fullWeb(), values);
    IesRecord back;
    std::string error;
    for (auto _ : state)
        benchmark::DoNotOptimize(decodeSlot(values, back, error));
}

BENCHMARK(BM_SlotWrite)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OneValueWrite)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SlotRead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OneValueRead)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Encode)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decode)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
