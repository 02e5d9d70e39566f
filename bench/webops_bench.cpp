// Reshaping the largest webs users open: a 721 x 1441 near-field web (0.25 degrees by 0.25
// degrees, a million values). Every operation is to stay below a second there, so that the
// reshape dialog's preview follows the user's choices without a wait.

#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>

#include "core/webops.h"
#include "roadweb.h"

namespace {

using namespace kandor;

Web nearField() {
    const int numVert = 721;
    const int numHorz = 1441;
    Web w;
    w.vertAngles.redim(numVert);
    w.horAngles.redim(numHorz);
    w.candela.redim(numHorz, numVert);
    for (int v = 1; v <= numVert; ++v)
        w.vertAngles(v) = static_cast<float>(0.25 * (v - 1));
    for (int h = 1; h <= numHorz; ++h)
        w.horAngles(h) = static_cast<float>(0.25 * (h - 1));
    for (int h = 1; h <= numHorz; ++h)
        for (int v = 1; v <= numVert; ++v)
            w.candela(h, v) = bench::roadLobe(w.horAngles(h), w.vertAngles(v));
    return w;
}

const Web& web() {
    static const Web w = nearField();
    return w;
}

void BM_InsertVertical(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(insertAngle(web(), Axis::kVertical, 45.1));
}
BENCHMARK(BM_InsertVertical)->Unit(benchmark::kMillisecond);

void BM_ResampleToFive(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(resample(web(), 5, 5));
}
BENCHMARK(BM_ResampleToFive)->Unit(benchmark::kMillisecond);

void BM_ResampleToTenth(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(resample(web(), 0.125, {}));
}
BENCHMARK(BM_ResampleToTenth)->Unit(benchmark::kMillisecond);

void BM_SymmetriseQuadrant(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(symmetrise(web(), Symmetry::kQuadrant));
}
BENCHMARK(BM_SymmetriseQuadrant)->Unit(benchmark::kMillisecond);

void BM_Rotate90(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(rotate(web(), 90));
}
BENCHMARK(BM_Rotate90)->Unit(benchmark::kMillisecond);

void BM_DetectSymmetry(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(detectSymmetry(web(), 0.01));
}
BENCHMARK(BM_DetectSymmetry)->Unit(benchmark::kMillisecond);

void BM_Scale(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(scale(web(), 1.07));
}
BENCHMARK(BM_Scale)->Unit(benchmark::kMillisecond);

void BM_ScaleToFlux(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(scaleToFlux(web(), 10000, 1));
}
BENCHMARK(BM_ScaleToFlux)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
