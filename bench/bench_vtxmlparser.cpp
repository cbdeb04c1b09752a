// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// Throughput of VTXmlParser on a control file of about 1 MB, against the
// bare token loop of QXmlStreamReader that it is built on.

#include "BenchContent.h"

#include <Vantles/VTXmlElement.h>
#include <Vantles/VTXmlParser.h>

#include <QByteArray>
#include <QObject>
#include <QXmlStreamReader>

#include <benchmark/benchmark.h>

#include <string>

namespace {

constexpr int vantleCount = 1000;

const QByteArray& controlFile()
{
    static const QByteArray data
        = VTBench::controlFile(vantleCount, [](int i) { return "key" + QByteArray::number(i); });
    return data;
}

// The content lookup's filter: the root, and only the vantle with the key
// passed as user data, with all of its content.
int lookupFilter(const QString& name, const QXmlStreamAttributes& attributes, void* userData)
{
    using Parser = Vantles::VTXmlParser;
    constexpr int makeSubtree = Parser::GenerateAndAsk | Parser::GenerateAll;
    constexpr int skipSubtree = Parser::SkipElement | Parser::SkipDescendants;
    if (name == QLatin1String("vantle")) {
        const QString& key = *static_cast<const QString*>(userData);
        return attributes.value(QLatin1String("key")) == key ? makeSubtree : skipSubtree;
    }
    if (name == QLatin1String("vantles"))
        return Parser::GenerateAndAsk;
    return skipSubtree;
}

void BM_ParseAll(benchmark::State& state)
{
    const QByteArray& data = controlFile();
    for (auto _ : state) {
        Vantles::VTXmlParser parser;
        QList<QObject*> roots = parser.read(data);
        if (roots.size() != 1 || roots.first()->children().size() != vantleCount) {
            state.SkipWithError("the parse did not build every vantle");
            break;
        }
        // Freeing the tree is part of the cost: every caller deletes the
        // roots it was handed, so it is timed with the parse.
        qDeleteAll(roots);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * data.size());
    state.SetLabel(std::to_string(data.size()) + " bytes");
}
BENCHMARK(BM_ParseAll)->Unit(benchmark::kMillisecond);

void BM_ParseOneKey(benchmark::State& state)
{
    const QByteArray& data = controlFile();
    const QString key = QStringLiteral("key%1").arg(vantleCount / 2);
    for (auto _ : state) {
        Vantles::VTXmlParser parser(lookupFilter, const_cast<QString*>(&key));
        QList<QObject*> roots = parser.read(data);
        const auto root = roots.size() == 1 ? qobject_cast<Vantles::VTXmlElement*>(roots.first()) : nullptr;
        const auto vantle = root ? root->childElement(QStringLiteral("vantle")) : nullptr;
        if (!vantle || root->children().size() != 1 || vantle->attribute(QStringLiteral("key")) != key) {
            state.SkipWithError("the parse did not build exactly the vantle with the key");
            break;
        }
        qDeleteAll(roots);
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * data.size());
    state.SetLabel(std::to_string(data.size()) + " bytes");
}
BENCHMARK(BM_ParseOneKey)->Unit(benchmark::kMillisecond);

// The ceiling for both: reading the tokens and nothing else, with namespace
// processing on as the parser has it.
void BM_StreamReaderTokens(benchmark::State& state)
{
    const QByteArray& data = controlFile();
    for (auto _ : state) {
        QXmlStreamReader reader(data);
        reader.setNamespaceProcessing(true);
        while (!reader.atEnd())
            reader.readNext();
        if (reader.hasError()) {
            state.SkipWithError("the control file is not well-formed");
            break;
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * data.size());
    state.SetLabel(std::to_string(data.size()) + " bytes");
}
BENCHMARK(BM_StreamReaderTokens)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
