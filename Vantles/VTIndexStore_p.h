// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include "VTControlFileScanner_p.h"

#include <QList>
#include <QString>

#include <memory>

namespace Vantles {

// A control file as the index last read it. Its vantles are kept by the
// store, not here, so that a large index need not hold them all.
struct VTStoredFile {
    qint64 id = 0;
    QString path;
    qint64 size = -1;
    qint64 modified = 0; // when the file last changed, as the index measures it
    QString firstTag; // the first tag, judged line by line; "vantles" for a control file
    qint64 firstTagLine = 0;
    VTControlFileScan scan; // without its vantles
};

// One definition of a key: the file and the vantle.
struct VTStoredVantle {
    qint64 file = 0;
    VTScannedVantle vantle;
};

// Where the index keeps what it read from control files: in memory, or in an
// SQLite database that outlives the process, so that a later start reads
// only the files that changed.
class VTIndexStore {
public:
    // A store in memory when @p databasePath is empty. A database that cannot
    // be used as it is (damaged, of another version) is made anew; when even
    // that fails, the store is in memory and *problem says why.
    static std::unique_ptr<VTIndexStore> open(const QString& databasePath, QString* problem);
    virtual ~VTIndexStore();

    // The files an earlier run stored; none for a store in memory.
    virtual QList<VTStoredFile> files() = 0;
    // Stores @p file (a new id when its id is 0) with its vantles, replacing
    // what was stored for it; returns its id.
    virtual qint64 put(const VTStoredFile& file, const QList<VTScannedVantle>& vantles) = 0;
    virtual void remove(qint64 file) = 0;
    // Every definition of @p key, in file and document order.
    virtual QList<VTStoredVantle> find(const QString& key) = 0;
    virtual QList<VTScannedVantle> vantles(qint64 file) = 0;
    // The keys with definitions in more than one file.
    virtual QStringList sharedKeys() = 0;
    // Makes the changes so far durable; a store in memory has nothing to do.
    virtual void commit() = 0;
};

} // namespace Vantles
