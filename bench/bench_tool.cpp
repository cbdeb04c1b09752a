// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// How long `vantles check` takes: on the sample data, and on packages of
// generated control files (10 vantles each, with the markup, images and
// clips the other benchmarks use, none of them present, so every vantle
// also yields findings to report).
#include "BenchContent.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

namespace {

constexpr int vantlesPerFile = 10;

// Runs the program and returns its number of output lines; -1 on failure.
int check(const QString& data)
{
    QProcess process;
    process.start(QStringLiteral(VANTLES_TOOL), { QStringLiteral("check"), data });
    if (!process.waitForFinished(600000) || process.exitStatus() != QProcess::NormalExit)
        return -1;
    return int(process.readAllStandardOutput().count('\n'));
}

void BM_CheckSample(benchmark::State& state)
{
    const QString data = QStringLiteral(VANTLES_SAMPLE_DATA_DIR);
    int lines = 0;
    for (auto _ : state)
        lines = check(data);
    state.counters["output_lines"] = lines;
}
BENCHMARK(BM_CheckSample)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

void BM_CheckGenerated(benchmark::State& state)
{
    const int files = int(state.range(0));
    QTemporaryDir dir;
    const QString control = dir.filePath(QStringLiteral("data/Benchmark.vantles/Control"));
    QDir().mkpath(control);
    for (int f = 0; f < files; ++f) {
        QFile file(QStringLiteral("%1/file%2.xml").arg(control).arg(f));
        if (!file.open(QIODevice::WriteOnly))
            return state.SkipWithError("cannot write the control files");
        file.write(VTBench::controlFile(
            vantlesPerFile, [f](int i) { return QByteArray("key_") + QByteArray::number(f * vantlesPerFile + i); }));
    }
    int lines = 0;
    for (auto _ : state)
        lines = check(dir.filePath(QStringLiteral("data")));
    if (lines < 0)
        state.SkipWithError("vantles check failed");
    state.counters["output_lines"] = lines;
    state.counters["files_per_s"] = benchmark::Counter(double(files), benchmark::Counter::kIsRate);
}
BENCHMARK(BM_CheckGenerated)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
