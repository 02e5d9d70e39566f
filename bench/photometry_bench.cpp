// The photometric figures of large webs, as the candela tab's panel recomputes them on every
// edit and kandor-lint for every file. Goal: a 721 x 1441 near-field web within 10 ms.

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>

#include "core/editorstate.h"
#include "core/photometry.h"
#include "core/prompter.h"
#include "roadweb.h"

namespace {

using namespace kandor;

void figures(benchmark::State& st, int numVert, int numHorz, std::int16_t type) {
    const IesRecord r = bench::roadWeb(numVert, numHorz, type);
    for (auto _ : st) {
        const Photometry f = computePhotometry(photometryInput(r));
        benchmark::DoNotOptimize(f.totalFlux.value);
    }
    st.counters["values"] = static_cast<double>(numVert) * numHorz;
}

// The panel's path: the editor's working arrays, Type B held highest vertical angle first.
void editorFigures(benchmark::State& st, int numVert, int numHorz) {
    const IesRecord r = bench::roadWeb(numVert, numHorz, 2);
    EditorState form;
    SilentPrompter prompter;
    Fill(r, form, prompter);
    for (auto _ : st) {
        const Photometry f = computePhotometry(photometryInput(form));
        benchmark::DoNotOptimize(f.totalFlux.value);
    }
}

void BM_Figures_181x361(benchmark::State& st) {
    figures(st, 181, 361, 1);
}
void BM_Figures_NearField721x1441(benchmark::State& st) {
    figures(st, 721, 1441, 1);
}
void BM_Figures_TypeB_NearField721x1441(benchmark::State& st) {
    figures(st, 721, 1441, 2);
}
void BM_EditorFigures_TypeB_NearField721x1441(benchmark::State& st) {
    editorFigures(st, 721, 1441);
}

BENCHMARK(BM_Figures_181x361)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Figures_NearField721x1441)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Figures_TypeB_NearField721x1441)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_EditorFigures_TypeB_NearField721x1441)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
