// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <Vantles/VTInterface.h>

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QPair>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QWidget>

namespace VTTest {

/// Writes @p contents to @p relativePath below @p dir, creating folders on
/// the way; returns the file's absolute path (empty on failure).
QString writeFile(const QTemporaryDir& dir, const QString& relativePath, const QByteArray& contents);

/// Makes the package folder @p packageFolder (for example "Shapes.vantles")
/// inside @p dataFolder below @p dir, with each of @p controlFiles (file name
/// to contents) in its "Control" folder; no "Control" folder when the map is
/// empty. Returns the package's absolute path (empty on failure).
QString makePackage(const QTemporaryDir& dir, const QString& dataFolder, const QString& packageFolder,
    const QMap<QString, QByteArray>& controlFiles);

/// A control file: a "vantles" root with the "locale" and "search"
/// attributes unless they are null, holding one "vantle" element per entry
/// (key, inner XML) in list order; a key may repeat.
QByteArray controlFileXml(
    const QString& locale, const QString& search, const QList<QPair<QString, QByteArray>>& vantles);

/// Collects the messages sent to Qt's message handler while it lives, in
/// place of the handler that was installed before (QTest::ignoreMessage does
/// not see them meanwhile).
class MessageLog {
public:
    MessageLog();
    ~MessageLog();
    MessageLog(const MessageLog&) = delete;
    MessageLog& operator=(const MessageLog&) = delete;

    /// The texts of the QtDebugMsg messages, in order.
    QStringList debugMessages() const;

private:
    QtMessageHandler m_previous;
};

/// Counts the QObjects made and destroyed while it lives, through the hooks
/// Qt keeps for debugging tools: a tree that a lookup drops without deleting
/// shows as objects still alive.
class LiveObjects {
public:
    LiveObjects();
    ~LiveObjects();
    LiveObjects(const LiveObjects&) = delete;
    LiveObjects& operator=(const LiveObjects&) = delete;

    /// False when this Qt keeps no hooks of the expected layout.
    bool isCounting() const { return m_counting; }
    /// Objects made minus objects destroyed since the counter was made.
    qint64 count() const;

private:
    const bool m_counting;
};

// Fixtures for the window and view tests -------------------------------------

/// A package folder like makePackage() with one control file "Vantles.xml"
/// made by controlFileXml(QString(), @p search, @p vantles), the QML
/// interface "ui/VantleUI.qml" holding @p rootQml (left out when empty) and
/// an empty "Resources" folder. Returns the package's absolute path (empty
/// on failure).
QString makeUiPackage(const QTemporaryDir& dir, const QString& dataFolder, const QString& packageFolder,
    const QString& search, const QList<QPair<QString, QByteArray>>& vantles, const QByteArray& rootQml);

/// A host that records what the library hands it: messages, resources to
/// open (never opened), shortcut questions (answered with shortcutAnswer
/// when set) and window requests; when provideHostWindow is set it hands out
/// a new QWidget for every reserved vantle (the test deletes them;
/// hostWindows tracks them).
class RecordingHost : public Vantles::VTInterface {
public:
    using Vantles::VTInterface::VTInterface;

    QWidget* createWindow(Vantles::VTWindowType type) override;
    void handleMessage(Vantles::VTMessageType type, const QString& message) override;
    bool openExternalResource(Vantles::VTExternalResourceType type, const QString& resource) override;
    QString shortCutForObject(const QString& key, QObject* object, const QString& shortcut) override;

    /// Each message as "<type>:<text>", in order of arrival.
    QStringList messages;
    /// Each resource as "<type>:<resource>"; the host says it opened each.
    QStringList opened;
    /// Each question as "<key>|<shortcut offered>", and the last object asked about.
    QStringList shortcutCalls;
    QObject* shortcutObject = nullptr;
    QString shortcutAnswer;
    /// The window type of every createWindow() call.
    QList<int> windowRequests;
    bool provideHostWindow = false;
    QList<QPointer<QWidget>> hostWindows;
};

/// The errors and warnings of @p messages (as a RecordingHost or the default
/// handler through a MessageLog writes them) as "<type>:<text>", with
/// @p prefix taken out of the texts.
QStringList problems(const QStringList& messages, const QString& prefix);

// Video clips ------------------------------------------------------------------

/// Makes the media file @p name inside @p dir with the ffmpeg command line,
/// which gets "-v error -y", then @p arguments (inputs and encoder options),
/// then the output path. Returns the file's absolute path, empty when ffmpeg
/// is missing or fails.
QString makeClip(const QTemporaryDir& dir, const QString& name, const QStringList& arguments);

} // namespace VTTest
