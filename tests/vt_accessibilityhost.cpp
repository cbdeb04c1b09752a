// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// The host that tst_accessibility.py drives from outside, as a screen reader
// and a keyboard user would: a window with two controls that have vantles
// and one that has none. It writes every resource it is asked to open (and
// never opens it) and every message as one line on its standard output.
#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>

#include <QApplication>
#include <QHBoxLayout>
#include <QPushButton>
#include <QTextStream>

namespace {

class Host : public VTTest::RecordingHost {
public:
    using RecordingHost::RecordingHost;
    bool openExternalResource(Vantles::VTExternalResourceType type, const QString& resource) override
    {
        say(QStringLiteral("opened %1:%2").arg(int(type)).arg(resource));
        return true;
    }
    void handleMessage(Vantles::VTMessageType type, const QString& message) override
    {
        say(QStringLiteral("message %1:%2").arg(int(type)).arg(message));
    }
    static void say(const QString& line)
    {
        QTextStream(stdout) << line << Qt::endl;
    }
};

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vt_accessibilityhost"));
    QTemporaryDir dir;
    const QList<QPair<QString, QByteArray>> vantles {
        { QStringLiteral("insertTable"),
            "<title>Insert table</title><text><![CDATA[Adds a <b>table</b> at the cursor.]]></text>"
            "<link href=\"https://example.org/tables\">Tables on the web</link>"
            "<link topic=\"table-borders\">Sizing columns</link>" },
        { QStringLiteral("saveDocument"), "<title>Save</title><text>Writes the document to its file.</text>" },
    };
    if (VTTest::makeUiPackage(dir, QStringLiteral("data"), QStringLiteral("Host.vantles"), QString(), vantles, {})
            .isEmpty())
        return 1;

    VTContext settings;
    settings.set(VTContextInstallEventFilter, true);
    settings.set(VTContextShowOnFocus, true);
    settings.set(VTContextFadeOutDuration, 0);
    // Short, so that the test sees the countdown end, or not, soon.
    settings.set(VTContextTimerInterval, 400);
    Host host(settings, { dir.filePath(QStringLiteral("data")) });

    QWidget window;
    window.setWindowTitle(QStringLiteral("Accessibility host"));
    auto layout = new QHBoxLayout(&window);
    for (const char* name : { "insertTable", "saveDocument", "plain" }) {
        auto button = new QPushButton(QString::fromLatin1(name));
        button->setObjectName(QString::fromLatin1(name));
        layout->addWidget(button);
    }
    window.move(100, 100);
    window.show();
    window.activateWindow();
    Host::say(QStringLiteral("ready"));
    return app.exec();
}
