// The photometric figures of large webs, as the candela tab's panel recomputes them on every
// edit and kandor-lint for every file. Goal: a 721 x 1441 near-field web within 10 ms.

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>

#include "core/editorstate.h"
#include "core/photometry.h"
#include "core/prompter.h"

namespace {

using namespace kandor;

// A road luminaire's asymmetric distribution over the whole sphere (Type C), or a floodlight's
// over the front hemisphere (Type B, planes -90..90 and lateral angles -90..90).
IesRecord makeWeb(int numVert, int numHorz, std::int16_t type) {
    IesRecord r;
    r.OtherData.numLamps = 1;
    r.OtherData.lumensPerLamp = 10000;
    r.OtherData.multiplier = 1;
    r.OtherData.photometricType = type;
    r.OtherData.inputWatts = 80;
    r.resizeGrid(numVert, numHorz);
    const double from = type == 1 ? 0 : -90;
    for (int v = 1; v <= numVert; ++v)
        r.VertAngles(v) = static_cast<float>(from + 180.0 * (v - 1) / (numVert - 1));
    for (int h = 1; h <= numHorz; ++h)
        r.HorAngles(h) = static_cast<float>(type == 1 ? 360.0 * (h - 1) / (numHorz - 1)
                                                      : -90 + 180.0 * (h - 1) / (numHorz - 1));
    for (int h = 1; h <= numHorz; ++h) {
        const double c = r.HorAngles(h) * std::numbers::pi / 180;
        for (int v = 1; v <= numVert; ++v) {
            const double g = r.VertAngles(v) * std::numbers::pi / 180;
            const double lobe = std::max(0.0, std::cos(g - 1.1 * (0.6 + 0.4 * std::cos(c))));
            r.Candela(h, v) = std::round(4000 * lobe * lobe * 1000) / 1000;
        }
    }
    return r;
}

void figures(benchmark::State& st, int numVert, int numHorz, std::int16_t type) {
    const IesRecord r = makeWeb(numVert, numHorz, type);
    for (auto _ : st) {
        const Photometry f = computePhotometry(photometryInput(r));
        benchmark::DoNotOptimize(f.totalFlux.value);
    }
    st.counters["values"] = static_cast<double>(numVert) * numHorz;
}

// The panel's path: the editor's working arrays, Type B held highest vertical angle first.
void editorFigures(benchmark::State& st, int numVert, int numHorz) {
    const IesRecord r = makeWeb(numVert, numHorz, 2);
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
