// Content lookup through the index and package loading at manager
// construction.
//
// Lookup: N control files of 100 vantles each (about 1 KB per vantle) in one
// package; the wanted key sits in the file that is searched last, so every
// file is parsed once per lookup. Loading: a VTInterface over a data folder
// of 100 packages with 10 such control files each.
//
// The files are made once per size in a temporary folder and stay in the
// page cache, so "read" below means parsed from memory, not from the disk.

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

#include <cstdio>
#include <map>
#include <memory>

using namespace Vantles;

namespace {

constexpr int vantlesPerFile = 100;

QByteArray keyFor(int file, int vantle)
{
    return "file" + QByteArray::number(file) + "key" + QByteArray::number(vantle);
}

// Writes control file number @p file into @p controlFolder; its size, or -1.
qint64 writeControlFile(const QString& controlFolder, int file)
{
    QFile out(QDir(controlFolder).filePath(QStringLiteral("Controls%1.xml").arg(file)));
    const QByteArray data = VTBench::controlFile(vantlesPerFile, [file](int i) { return keyFor(file, i); });
    if (!out.open(QIODevice::WriteOnly) || out.write(data) != data.size())
        return -1;
    return data.size();
}

// N control files in one package, indexed so that file 0 is searched last.
struct LookupData {
    QTemporaryDir dir;
    VTContext context;
    std::unique_ptr<VTIndex> index;
    qint64 totalBytes = 0;
    bool ok = false;

    explicit LookupData(int files)
    {
        const QString package = dir.filePath(QStringLiteral("Bench.vantles"));
        const QString control = package + QStringLiteral("/Control");
        if (!dir.isValid() || !QDir().mkpath(control))
            return;
        index = std::make_unique<VTIndex>(&context, QStringList { dir.path() });
        const QString location = QFileInfo(package).canonicalFilePath();
        for (int f = 0; f < files; ++f) {
            const qint64 size = writeControlFile(control, f);
            if (size < 0)
                return;
            totalBytes += size;
            index->indexControlFile(
                QFileInfo(QDir(control).filePath(QStringLiteral("Controls%1.xml").arg(f))).canonicalFilePath(),
                location);
        }
        ok = index->controlPaths().size() == files;
    }
};

std::map<int, std::unique_ptr<LookupData>> lookupData;

LookupData& lookupDataFor(int files)
{
    auto& data = lookupData[files];
    if (!data)
        data = std::make_unique<LookupData>(files);
    return *data;
}

void runLookups(benchmark::State& state, int files, const QString& key, bool expectFound)
{
    LookupData& data = lookupDataFor(files);
    if (!data.ok) {
        state.SkipWithError("the control files could not be made or indexed");
        return;
    }
    const QLocale locale(QStringLiteral("en_US"));
    for (auto _ : state) {
        QString location;
        int depth = 0;
        VTXmlElement* root = nullptr;
        VTXmlElement* element = data.index->retrieve(key, locale, location, depth, root);
        const bool found = element && root && element->attribute(QStringLiteral("key")) == key;
        if (element)
            delete root;
        if (found != expectFound) {
            state.SkipWithError(expectFound ? "the key was not found" : "a key that exists nowhere was found");
            break;
        }
    }
    // Every file is parsed in both cases: the key's file is searched last,
    // and a missing key is looked for in all of them.
    state.SetBytesProcessed(int64_t(state.iterations()) * data.totalBytes);
    state.counters["files"] = files;
    state.counters["MB_read"] = double(data.totalBytes) / 1e6;
}

// A key in the file searched last, among N files.
void BM_RetrieveLastFile(benchmark::State& state)
{
    const int files = int(state.range(0));
    runLookups(state, files, QString::fromLatin1(keyFor(0, vantlesPerFile / 2)), true);
}
BENCHMARK(BM_RetrieveLastFile)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond);

// A key that no file defines, among N files.
void BM_RetrieveMissingKey(benchmark::State& state)
{
    const int files = int(state.range(0));
    runLookups(state, files, QStringLiteral("noSuchKey"), false);
}
BENCHMARK(BM_RetrieveMissingKey)->Arg(1000)->Unit(benchmark::kMillisecond);

// A data folder of 100 packages with 10 control files each.
struct PackageData {
    static constexpr int packages = 100;
    static constexpr int filesPerPackage = 10;

    QTemporaryDir dir;
    bool ok = false;

    PackageData()
    {
        if (!dir.isValid())
            return;
        for (int p = 0; p < packages; ++p) {
            const QString control = dir.filePath(QStringLiteral("Package%1.vantles/Control").arg(p));
            if (!QDir().mkpath(control))
                return;
            for (int f = 0; f < filesPerPackage; ++f) {
                if (writeControlFile(control, p * filesPerPackage + f) < 0)
                    return;
            }
        }
        ok = true;
    }
};

std::unique_ptr<PackageData> packageData;

// Building the interface (and so the manager) indexes every package; the
// interface and the index it made are freed in each iteration, untimed.
void BM_ConstructManager(benchmark::State& state)
{
    if (!packageData)
        packageData = std::make_unique<PackageData>();
    if (!packageData->ok) {
        state.SkipWithError("the packages could not be made");
        return;
    }
    constexpr int expected = PackageData::packages * PackageData::filesPerPackage;
    VTContext context;
    const QStringList dataPath { packageData->dir.path() };
    for (auto _ : state) {
        auto iface = std::make_unique<VTInterface>(context, dataPath);
        state.PauseTiming();
        const bool complete = iface->manager()->index()->controlPaths().size() == expected;
        iface.reset();
        state.ResumeTiming();
        if (!complete) {
            state.SkipWithError("not every control file was indexed");
            break;
        }
    }
    state.counters["packages"] = PackageData::packages;
    state.counters["controlFiles"] = expected;
}
BENCHMARK(BM_ConstructManager)->Unit(benchmark::kMillisecond);

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
    lookupData.clear();
    packageData.reset();
    return 0;
}
