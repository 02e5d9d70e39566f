#pragma once

// The main of the benchmarks that build widgets: one QApplication, offscreen unless the
// environment names a platform, then Google Benchmark as usual.

#include <benchmark/benchmark.h>

#include <QApplication>

inline int runWidgetBenchmarks(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", QByteArrayLiteral("offscreen"));
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
