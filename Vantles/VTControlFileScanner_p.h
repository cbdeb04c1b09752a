// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <Vantles/vantles_export.h>

namespace Vantles {

// One "vantle" element directly under a control file's root, read to its end.
struct VTScannedVantle {
    QString key; // its "key" attribute; empty when it has none
    bool hasKey = false;
    qint64 line = 0; // where its start tag begins, both 1-based
    qint64 column = 0;
    // The element's bytes in the file, start tag to end tag; -1 when the
    // file cannot be cut into pieces (see VTControlFileScan::rootTag).
    qint64 begin = -1;
    qint64 end = -1;
};

// What one pass over a control file found.
struct VTControlFileScan {
    QString rootName; // qualified name of the document element; empty when none was read
    qint64 rootLine = 0;
    qint64 rootColumn = 0;
    QString locale; // the root's "locale" attribute
    bool hasLocale = false;
    QString search; // the root's "search" attribute
    qint64 size = 0; // bytes scanned
    // The root's start tag as written. With it, a vantle's bytes can be
    // parsed on their own; empty when the file is not UTF-8 or has a
    // document type declaration (whose entities a piece would miss).
    QByteArray rootTag;
    // Each vantle read completely before the end or the first error, in
    // document order.
    QList<VTScannedVantle> vantles;
    // Other elements directly under the root, which lookups ignore: name and
    // position, as keys and lines of VTScannedVantle.
    QList<VTScannedVantle> others;
    // The reader's error and where it stopped; empty for a well-formed file.
    QString error;
    qint64 errorLine = 0;
    qint64 errorColumn = 0;

    bool isControlFile() const { return rootName == QLatin1String("vantles"); }
};

// Reads @p data, a whole control file, as the parser reads it (namespace
// processing on) and records where its vantles are. Plain UTF-8 files are
// read by a scanner of its own, several times faster than QXmlStreamReader;
// any other file, and any file that is not well-formed, by the reader, so
// that an error is the reader's own, at the reader's position.
VANTLES_EXPORT VTControlFileScan scanControlFile(const QByteArray& data);
// The same with QXmlStreamReader alone.
VANTLES_EXPORT VTControlFileScan scanControlFileWithReader(const QByteArray& data);

// Whether @p name is a locale name QLocale understands as written: a known
// language, optionally a known script and territory ("en", "en_US", "sr_Latn_RS").
VANTLES_EXPORT bool isValidLocaleName(const QString& name);

} // namespace Vantles
