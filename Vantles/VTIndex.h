// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QList>
#include <QLocale>
#include <QMap>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QXmlStreamAttributes>

#include <Vantles/VTControlPath.h>
#include <Vantles/VTKeyDefinition.h>
#include <Vantles/VTProblem.h>
#include <Vantles/vantles_export.h>

#include <memory>

class VTContext;

namespace Vantles {

class VTIndexPrivate;
class VTXmlElement;

/**
 * Knows where vantle content lives: the control files found in the packages
 * on the data path, searched most recently indexed first, and the folders of
 * every package.
 *
 * Every storage operation is virtual, so a host can supply a subclass backed
 * by its own storage and hand it to VTInterface. An index the host supplies
 * is the host's to delete after the interface is gone.
 *
 * A control file is an XML file whose first element is "vantles" (optionally
 * with "locale" and "search" attributes) holding one "vantle" element per
 * control key. Each file is read once when it is indexed, to record where its
 * keys are; a lookup then reads only the vantle it needs. Files that change
 * are read again before their keys are used, control files added to or
 * removed from a folder of indexed files are indexed or forgotten as they
 * come and go, and mistakes found in a file are reported through
 * problemFound() when the file is read, once for each version of it.
 *
 * With setting VTContextIndexDatabase naming a file, what was read is kept
 * in an SQLite database there (opened by open()), and a later start reads
 * only the control files that changed since.
 */
class VANTLES_EXPORT VTIndex : public QObject {
    Q_OBJECT
public:
    /// @name Bounds on content
    /// So that a hostile package cannot exhaust the host: elements nested
    /// deeper below a `vantle` element, text of one element beyond its bound
    /// and text of a control file beyond its bound (entities expanded) are
    /// left out; a control file larger than its bound is not read. Each is
    /// reported with the file and line.
    ///@{
    /// Levels of elements kept below a `vantle` element.
    static constexpr int MaximumVantleDepth = 64;
    /// Characters kept of the text of one element.
    static constexpr qsizetype MaximumElementText = 32 * 1024;
    /// Characters read of a control file, entities expanded.
    static constexpr qsizetype MaximumFileText = 4 * 1024 * 1024;
    /// Bytes of a control file that is read at all.
    static constexpr qint64 MaximumControlFileSize = 16 * 1024 * 1024;
    ///@}

    /// Whether @p root is a document that a lookup of the index parsed, which
    /// is deleted whole with its content.
    static bool isParsedDocument(const QObject* root);

    /// @p context is watched, not owned; @p paths is kept for subclasses.
    VTIndex(VTContext* context, const QStringList& paths);
    ~VTIndex() override;

    /// The settings the index reads. When none was given, or it was deleted,
    /// an empty context owned by the index is made and used from then on.
    ///@{
    VTContext* context();
    const VTContext* context() const;
    ///@}
    /// The data path given to the constructor.
    QStringList paths() const;
    /// The indexed control files in search order.
    QList<VTControlPath> controlPaths() const;
    /// The folders indexed for each package name, in the order first seen.
    QMap<QString, QStringList> packages() const;

    /// Opens the database that setting VTContextIndexDatabase names, if any;
    /// a subclass with storage of its own opens it here. These hooks return
    /// true on success; the base class always succeeds.
    virtual bool open();
    /// Calls clear() unless setting VTContextSetupClearsIndex is false.
    virtual bool setup();
    /// Hook: empty the external storage. The base class does nothing.
    virtual bool clear();
    /// Hook: close the external storage. The base class does nothing.
    virtual bool close();
    /// Hook: delete the external storage. The base class does nothing.
    virtual bool remove();

    /**
     * The "vantle" element for @p key in the first control file, in search
     * order, that defines it for @p locale (or for every locale). On success
     * @p location is the folder of that file, @p depth its depth and @p root
     * the file's root element, which owns the result and which the caller
     * must delete. On failure null, with @p location and @p depth unchanged;
     * @p root then means nothing.
     */
    virtual VTXmlElement* retrieve(
        const QString& key, const QLocale& locale, QString& location, int& depth, VTXmlElement*& root);
    /// Records @p location with @p depth as a control path searched after the
    /// indexed ones; the base class ignores @p element and @p locale.
    virtual bool store(VTXmlElement* element, const QLocale& locale, const QString& location, int depth);
    /// Bracket a batch of changes; the base class only keeps the flag.
    ///@{
    virtual void startUpdate();
    virtual void endUpdate();
    ///@}
    /// True between startUpdate() and endUpdate().
    bool isInUpdate() const;
    /// Every control key defined directly under the root of every control
    /// file, in search order, duplicates kept.
    virtual QStringList keys() const;
    /// Where each of keys() is defined, in the same order.
    QList<VTKeyDefinition> keyDefinitions() const;
    /// The first definition of @p key in the control file @p file, or a null one.
    VTKeyDefinition definition(const QString& file, const QString& key) const;
    /// Reports what only the whole index can tell about the files read since
    /// the last check: a key that another file defines for the same locale,
    /// and a "search" list naming no indexed package. Run once all packages
    /// are indexed; later changes are checked as they are read.
    void checkReferences();
    /// Forgets @p file: its control paths and what was read from it.
    void removeControlFile(const QString& file);
    /// Indexes @p file, a control file below the folder @p location, unless
    /// it is not a control file, lies outside @p location or is indexed
    /// already. The file indexed last is searched first.
    virtual void indexControlFile(const QString& file, const QString& location);

    /// The lookup in one control file; see retrieve().
    VTXmlElement* load(const QString& key, const QString& controlFile, const QLocale& locale, VTXmlElement*& root);
    /// Copies the attributes of @p key's entry in the key-data file (setting
    /// VTContextKeyDataFile) other than "name" onto @p element.
    void loadKeyData(const QString& key, const QString& controlFile, VTXmlElement* element);

    /// The base name of the nearest folder at or above @p location named
    /// "*.<package extension>", or a null string.
    QString packageNameForLocation(const QString& location) const;
    /// The package's folders, then VTContextExtraComponentFolder when set.
    QStringList componentPathsForPackageNamed(const QString& name) const;
    /// @p relativePath in every folder where components of @p element's
    /// package, and of the packages its root names in "search", are found.
    QStringList componentPathsForElement(const VTXmlElement* element, const QString& relativePath) const;

    /// Parser filter for the key scan: builds the root and its "vantle" children.
    static int indexDataShouldGenerateElement(
        const QString& name, const QXmlStreamAttributes& attributes, void* userData);
    /// Parser filter for a lookup; @p userData is the key, a const QString*.
    static int retrieveElementShouldGenerateElement(
        const QString& name, const QXmlStreamAttributes& attributes, void* userData);
    /// Parser filter for the key-data file; @p userData is the key, a const QString*.
    static int loadKeyDataShouldGenerateElement(
        const QString& name, const QXmlStreamAttributes& attributes, void* userData);

Q_SIGNALS:
    /// A mistake in a control file or the key-data file, found while reading it.
    void problemFound(const Vantles::VTProblem& problem);

private:
    void mapControlFile(const QString& file, const QString& location);

    friend class VTIndexPrivate;
    std::unique_ptr<VTIndexPrivate> const d;
};

} // namespace Vantles
