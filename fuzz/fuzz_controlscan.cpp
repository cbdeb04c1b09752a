// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// libFuzzer target that checks the control-file scanner against
// QXmlStreamReader: for any input, the fast scan and the reader's scan must
// find the same root, attributes, vantles with their positions and byte
// ranges, and the same error. The fast scanner hands anything it does not
// handle to the reader, so a difference means it accepted what the reader
// would not, or read something differently.

#include <Vantles/VTControlFileScanner_p.h>

#include <QByteArray>
#include <QStringList>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

using Vantles::VTControlFileScan;
using Vantles::VTScannedVantle;

static QStringList describe(const VTControlFileScan& scan)
{
    QStringList parts { scan.rootName, QString::number(scan.rootLine), QString::number(scan.rootColumn),
        scan.hasLocale ? scan.locale : QStringLiteral("-"), scan.search, QString::fromUtf8(scan.rootTag.toHex()),
        scan.error, QString::number(scan.errorLine), QString::number(scan.errorColumn) };
    for (const auto& list : { scan.vantles, scan.others }) {
        for (const VTScannedVantle& v : list) {
            parts << QStringLiteral("%1|%2|%3|%4|%5|%6")
                         .arg(QString::number(v.hasKey), v.key, QString::number(v.line), QString::number(v.column),
                             QString::number(v.begin), QString::number(v.end));
        }
    }
    return parts;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), qsizetype(size));
    const QStringList fast = describe(Vantles::scanControlFile(input));
    const QStringList reader = describe(Vantles::scanControlFileWithReader(input));
    if (fast != reader) {
        std::fprintf(stderr, "fast:   %s\nreader: %s\n", qPrintable(fast.join(QLatin1String(" ; "))),
            qPrintable(reader.join(QLatin1String(" ; "))));
        std::abort();
    }
    return 0;
}
