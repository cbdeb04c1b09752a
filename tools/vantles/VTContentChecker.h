// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <Vantles/VTProblem.h>

#include <memory>

class VTContentCheckerPrivate;

/**
 * Loads data folders as a host does and looks for everything a content
 * author can get wrong: what the library itself reports while indexing,
 * then, for every vantle, its interface files (present and compiling), its
 * resources and clips, the translations of the locales its files serve,
 * text mixed with markup, and the key-data file.
 *
 * Runs on the GUI thread of a QApplication (the interfaces compile in a QML
 * engine); needs no display.
 */
class VTContentChecker {
public:
    struct Options {
        QStringList dataPath;
        /// Only control files serving one of these (or every locale); all when empty.
        QStringList locales;
        QString keyDataFile;
        /// Data folders the host trusts (VTContextTrustedDataFolders).
        QStringList trustedFolders;
    };

    struct Package {
        QString folder;
        bool trusted;
    };

    explicit VTContentChecker(const Options& options);
    ~VTContentChecker();

    /// Runs every check once; returns the errors and warnings found, each
    /// once, in the order found.
    QList<Vantles::VTProblem> run();

    int packageCount() const;
    int controlFileCount() const;
    int keyCount() const;
    /// Every package folder found, in the order indexed, with whether a
    /// host with these options trusts it.
    QList<Package> packages() const;

private:
    std::unique_ptr<VTContentCheckerPrivate> const d;
};
