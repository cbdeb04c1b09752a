// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// Content lookup through the index, the list of keys, and package loading at
// manager construction, for 10 to 10,000 control files of 100 vantles each
// (about 1 KB per vantle) in one package.
//
// Lookups: the first key of the file searched first, the last key of the
// file searched last, and a key no file defines. Construction: a VTInterface
// over the data folder with the index in memory, with a new database
// ("cold": every file is read and stored) and with that database again
// ("warm": no file changed, none is read).
//
// The files are made once per size in a temporary folder and stay in the
// page cache, so "read" means parsed from memory, not from the disk.

#include "BenchContent.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTXmlElement.h>

#include <QApplication>
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <map>
#include <memory>

using namespace Vantles;

namespace {

constexpr int vantlesPerFile = 100;

QByteArray keyFor(int file, int vantle)
{
    return "file" + QByteArray::number(file) + "key" + QByteArray::number(vantle);
}

// A data folder with one package of N control files; file 0 is indexed first
// and so searched last.
struct Content {
    QTemporaryDir dir;
    qint64 totalBytes = 0;
    int files = 0;
    bool ok = false;

    explicit Content(int count)
        : files(count)
    {
        const QString control = dir.filePath(QStringLiteral("data/Bench.vantles/Control"));
        if (!dir.isValid() || !QDir().mkpath(control))
            return;
        for (int f = 0; f < count; ++f) {
            QFile out(QDir(control).filePath(QStringLiteral("Controls%1.xml").arg(f)));
            const QByteArray data = VTBench::controlFile(vantlesPerFile, [f](int i) { return keyFor(f, i); });
            if (!out.open(QIODevice::WriteOnly) || out.write(data) != data.size())
                return;
            totalBytes += data.size();
        }
        ok = true;
    }
    QString dataFolder() const { return dir.filePath(QStringLiteral("data")); }
    QString database() const { return dir.filePath(QStringLiteral("index.sqlite")); }
};

std::map<int, std::unique_ptr<Content>> contents;

Content* contentFor(benchmark::State& state)
{
    const int files = int(state.range(0));
    auto& content = contents[files];
    if (!content)
        content = std::make_unique<Content>(files);
    if (!content->ok) {
        state.SkipWithError("the control files could not be made");
        return nullptr;
    }
    state.counters["files"] = files;
    return content.get();
}

// An interface over @p content whose index the lookups use.
std::unique_ptr<VTInterface> load(const Content& content, const QString& database = QString())
{
    VTContext context;
    context.set(VTContextMessageThreshold, 0);
    if (!database.isEmpty())
        context.set(VTContextIndexDatabase, database);
    return std::make_unique<VTInterface>(context, QStringList { content.dataFolder() });
}

void runLookups(benchmark::State& state, const QByteArray& key, bool expectFound)
{
    Content* content = contentFor(state);
    if (!content)
        return;
    const std::unique_ptr<VTInterface> iface = load(*content);
    VTIndex* index = iface->manager()->index();
    const QLocale locale(QStringLiteral("en_US"));
    const QString wanted = QString::fromLatin1(key);
    for (auto _ : state) {
        QString location;
        int depth = 0;
        VTXmlElement* root = nullptr;
        VTXmlElement* element = index->retrieve(wanted, locale, location, depth, root);
        const bool found = element && element->attribute(QStringLiteral("key")) == wanted;
        if (element)
            delete root;
        if (found != expectFound) {
            state.SkipWithError(expectFound ? "the key was not found" : "a key that exists nowhere was found");
            break;
        }
    }
}

void BM_LookupFirstKey(benchmark::State& state)
{
    runLookups(state, keyFor(int(state.range(0)) - 1, 0), true);
}

void BM_LookupLastKey(benchmark::State& state)
{
    runLookups(state, keyFor(0, vantlesPerFile - 1), true);
}

void BM_LookupMissingKey(benchmark::State& state)
{
    runLookups(state, "noSuchKey", false);
}

void BM_Keys(benchmark::State& state)
{
    Content* content = contentFor(state);
    if (!content)
        return;
    const std::unique_ptr<VTInterface> iface = load(*content);
    for (auto _ : state) {
        if (iface->keys().size() != content->files * vantlesPerFile) {
            state.SkipWithError("keys are missing");
            break;
        }
    }
}

// One construction; the interface and what it made are freed untimed.
template <typename Prepare> void runConstruction(benchmark::State& state, bool withDatabase, Prepare prepare)
{
    Content* content = contentFor(state);
    if (!content)
        return;
    for (auto _ : state) {
        state.PauseTiming();
        prepare(*content);
        state.ResumeTiming();
        auto iface = load(*content, withDatabase ? content->database() : QString());
        state.PauseTiming();
        const bool complete = iface->manager()->index()->controlPaths().size() == content->files;
        iface.reset();
        state.ResumeTiming();
        if (!complete) {
            state.SkipWithError("not every control file was indexed");
            break;
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * content->totalBytes);
}

void BM_ConstructInMemory(benchmark::State& state)
{
    runConstruction(state, false, [](const Content&) {});
}

void BM_ConstructColdDatabase(benchmark::State& state)
{
    runConstruction(state, true, [](const Content& content) { QFile::remove(content.database()); });
}

void BM_ConstructWarmDatabase(benchmark::State& state)
{
    runConstruction(state, true, [](const Content& content) {
        if (!QFile::exists(content.database()))
            load(content, content.database());
    });
}

#define VANTLES_SIZES ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)
BENCHMARK(BM_LookupFirstKey) VANTLES_SIZES;
BENCHMARK(BM_LookupLastKey) VANTLES_SIZES;
BENCHMARK(BM_LookupMissingKey) VANTLES_SIZES;
BENCHMARK(BM_Keys) VANTLES_SIZES;
BENCHMARK(BM_ConstructInMemory) VANTLES_SIZES->Iterations(3);
BENCHMARK(BM_ConstructColdDatabase) VANTLES_SIZES->Iterations(3);
BENCHMARK(BM_ConstructWarmDatabase) VANTLES_SIZES->Iterations(3);

} // namespace

int main(int argc, char** argv)
{
    // Widgets need an application object; no window is ever shown here.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    contents.clear();
    return 0;
}
