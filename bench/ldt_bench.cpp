// Throughput of the EULUMDAT reader and writer beside the LM-63 reader on the same data, and of
// the conversions: values (angles and intensities) per second on a full circle of a road
// luminaire, 360 C planes by 181 gamma angles, as instruments export it.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/iesreader.h"
#include "core/ldtconvert.h"
#include "core/ldtreader.h"
#include "core/ldtwriter.h"
#include "core/prompter.h"
#include "core/saveies.h"

namespace {

using namespace kandor;

LdtRecord makeGrid() {
    LdtRecord r;
    r.company = "Bench Lighting";
    r.ityp = 3;
    r.isym = 0;
    r.mc = 360;
    r.dc = 1;
    r.ng = 181;
    r.dg = 1;
    r.luminaireName = "Road luminaire";
    r.fileName = "bench.ldt";
    r.luminousLength = 640;
    r.luminousWidth = 320;
    r.dff = 97.5;
    r.lorl = 100;
    r.lampSets = {{-1, "LED module", 12000, "4000", "70", 86.5}};
    const double pi = std::acos(-1.0);
    for (int c = 0; c < 360; ++c)
        r.cAngles.push_back(c);
    for (int g = 0; g <= 180; ++g)
        r.gammaAngles.push_back(g);
    for (int c = 0; c < 360; ++c)
        for (int g = 0; g <= 180; ++g) {
            const double cr = c * pi / 180, gr = g * pi / 180;
            const double cdklm = g < 90 ? 350 * std::pow(std::cos(gr), 1.3) *
                                                  (1 + 0.35 * std::cos(2 * cr)) *
                                                  (1 + 0.6 * std::sin(gr) * std::cos(cr)) +
                                              1.2
                                        : 1.2 * std::cos(gr - pi / 2);
            r.intensities.push_back(std::round(cdklm * 10) / 10);
        }
    return r;
}

struct Fixture {
    LdtRecord grid = makeGrid();
    std::string ldtText = composeLdt(grid);
    IesRecord ies = ldtToIes(grid).record;
    std::string iesText;
    std::int64_t values = static_cast<std::int64_t>(grid.cAngles.size() + grid.gammaAngles.size() +
                                                    grid.intensities.size());
    std::vector<std::string> corpus;
    std::int64_t corpusValues = 0;

    Fixture() {
        SilentPrompter silent;
        SaveIES writer;
        iesText = writer.Compose(ies, silent);
        for (const auto& entry : std::filesystem::directory_iterator(KANDOR_LDT_CORPUS_DIR)) {
            if (entry.path().extension() != ".ldt") continue;
            std::ifstream in(entry.path(), std::ios::binary);
            corpus.emplace_back(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
            const LdtRecord r = readLdt(corpus.back()).record;
            corpusValues += static_cast<std::int64_t>(r.cAngles.size() + r.gammaAngles.size() +
                                                      r.intensities.size());
        }
    }
};

const Fixture& fixture() {
    static const Fixture f;
    return f;
}

void BM_LdtReaderGrid(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(readLdt(f.ldtText));
    state.SetItemsProcessed(state.iterations() * f.values);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(f.ldtText.size()));
}

// The same distribution as LM-63 text (the closing 360 plane and the table in rows).
void BM_Lm63ReaderGrid(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state) {
        IesRecord record;
        benchmark::DoNotOptimize(IesReader().ParseIes(record, f.iesText, false, f.iesText));
    }
    state.SetItemsProcessed(state.iterations() * f.values);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(f.iesText.size()));
}

void BM_LdtReaderCorpus(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        for (const std::string& text : f.corpus)
            benchmark::DoNotOptimize(readLdt(text));
    state.SetItemsProcessed(state.iterations() * f.corpusValues);
}

void BM_LdtWriterGrid(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(composeLdt(f.grid));
    state.SetItemsProcessed(state.iterations() * f.values);
}

void BM_LdtToIesGrid(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(ldtToIes(f.grid));
    state.SetItemsProcessed(state.iterations() * f.values);
}

void BM_IesToLdtGrid(benchmark::State& state) {
    const Fixture& f = fixture();
    for (auto _ : state)
        benchmark::DoNotOptimize(iesToLdt(f.ies));
    state.SetItemsProcessed(state.iterations() * f.values);
}

}  // namespace

BENCHMARK(BM_LdtReaderGrid)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Lm63ReaderGrid)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LdtReaderCorpus)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LdtWriterGrid)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_LdtToIesGrid)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IesToLdtGrid)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
