// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTScrollBarComponent.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>

#include <QCoreApplication>
#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QPointer>
#include <QProcess>
#include <QStandardPaths>
#include <QQuickItem>
#include <QScreen>
#include <QSet>
#include <QTest>
#include <QToolTip>

#include <functional>
#include <memory>

using namespace Vantles;

namespace {

const QByteArray panelQml = R"(import QtQuick 2.15
import com.zelvane.vantles.qml 1.0
VTStyledRectangle {
    id: root
    toolTipStyle: true
    width: 320
    height: 140
    Text {
        objectName: "title"
        x: 12; y: 10; width: 270
        text: vantle.childElement("title").content
        font.bold: true
        font.pixelSize: 16
        color: root.textColor
    }
    Text {
        x: 12; y: 38; width: 270
        wrapMode: Text.Wrap
        text: vantle.childElement("text").content
        font.pixelSize: 13
        color: root.textColor
    }
    VTScrollBar {
        objectName: "bar"
        x: root.width - width - 4; y: 4
        width: 16; height: root.height - 8
        start: 0; end: 5; position: 1
        Component.onCompleted: updateDimensions()
    }
}
)";

int countWhere(const QImage& image, const QRect& area, const std::function<bool(QRgb)>& test)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            count += test(image.pixel(x, y)) ? 1 : 0;
    }
    return count;
}

// A host over one package whose vantle "shot" has the panel above.
std::unique_ptr<VTTest::RecordingHost> showHost(const QTemporaryDir& dir)
{
    if (VTTest::makeUiPackage(dir, QStringLiteral("data"), QStringLiteral("Shot.vantles"), QString(),
            { { QStringLiteral("shot"),
                "<title>Insert table</title><text>Adds a table at the cursor. Drag its borders to size the "
                "columns.</text>" } },
            panelQml)
            .isEmpty())
        return nullptr;
    VTContext context;
    return std::make_unique<VTTest::RecordingHost>(context, QStringList { dir.filePath(QStringLiteral("data")) });
}

} // namespace

class TestVTScreenshot : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void vantleWithScrollBarAppearsOnScreen();
    void shadowOnlyWhereTheDesktopComposites();
};

void TestVTScreenshot::vantleWithScrollBarAppearsOnScreen()
{
    QTemporaryDir dir;
    const auto host = showHost(dir);
    QVERIFY(host);
    VTManager* manager = host->manager();

    QVERIFY(manager->show(QStringLiteral("shot"), QPoint(100, 100), nullptr));
    VTWidget* window = manager->widget();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QCOMPARE(window->view()->status(), QQuickWidget::Ready);
    QTRY_COMPARE(window->size(), QSize(321, 141));
    auto bar = window->view()->rootObject()->findChild<VTScrollBarComponent*>(QStringLiteral("bar"));
    QVERIFY(bar);
    const QRect barArea = bar->mapRectToScene(QRectF(0, 0, bar->width(), bar->height())).toRect();
    QCOMPARE(barArea, QRect(300, 4, 16, 132));

    // What the X server shows where the window is.
    const QRgb tooltipBase = QToolTip::palette().color(QPalette::Current, QPalette::ToolTipBase).rgb();
    auto isBase = [tooltipBase](QRgb pixel) { return (pixel & 0xffffff) == (tooltipBase & 0xffffff); };
    const QRect frame(window->mapToGlobal(QPoint(0, 0)), window->size());
    QImage shot;
    QTRY_VERIFY_WITH_TIMEOUT(
        (shot = window->screen()->grabWindow(0, frame.x(), frame.y(), frame.width(), frame.height()).toImage(),
            countWhere(shot, QRect(QPoint(0, 0), barArea.bottomLeft() - QPoint(1, 0)), isBase) > 20000),
        10000);
    const QString path = QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("vtscreenshot.png"));
    QVERIFY(shot.save(path));
    qInfo("screenshot: %s", qPrintable(path));

    QCOMPARE(shot.size(), frame.size());
    // The column and row the view leaves uncovered show the window's own background.
    const QRgb background = window->palette().color(QPalette::Window).rgb();
    auto isBackground = [background](QRgb pixel) { return (pixel & 0xffffff) == (background & 0xffffff); };
    QCOMPARE(countWhere(shot, QRect(320, 0, 1, 141), isBackground), 141);
    QCOMPARE(countWhere(shot, QRect(0, 140, 321, 1), isBackground), 321);
    const QRect panel(0, 0, 320, 140);
    QVERIFY(countWhere(shot, panel, isBase) > panel.width() * panel.height() / 2);

    // The bar covers its place, handle and groove in different shades.
    QCOMPARE(countWhere(shot, barArea, isBase), 0);
    QSet<QRgb> shades;
    countWhere(shot, barArea, [&shades](QRgb pixel) {
        shades.insert(pixel & 0xffffff);
        return true;
    });
    QVERIFY2(shades.size() >= 3, qPrintable(QString::number(shades.size())));
    // Left and above the bar there is background only: the bar stays in its place.
    QCOMPARE(countWhere(shot, QRect(barArea.left() - 3, barArea.top(), 3, barArea.height()), isBase), 3 * 132);

    // Dark text on the title line.
    auto isDark = [](QRgb pixel) { return qGray(pixel) < 96; };
    QVERIFY(countWhere(shot, QRect(12, 10, 270, 20), isDark) > 50);
    QCOMPARE(countWhere(shot, QRect(12, 112, 270, 20), isDark), 0);
}

void TestVTScreenshot::shadowOnlyWhereTheDesktopComposites()
{
    // Without a compositing manager (the test before): square, no shadow.
    QVERIFY(!VTWidget::windowsCanBeTranslucent());
    const QString compositor = QStandardPaths::findExecutable(QStringLiteral("xcompmgr"));
    if (compositor.isEmpty())
        QSKIP("xcompmgr is not installed");
    QProcess xcompmgr;
    xcompmgr.start(compositor, QStringList());
    QVERIFY(xcompmgr.waitForStarted());
    auto stop = qScopeGuard([&xcompmgr] {
        xcompmgr.terminate();
        xcompmgr.waitForFinished();
    });
    QTRY_VERIFY_WITH_TIMEOUT(VTWidget::windowsCanBeTranslucent(), 10000);

    // A white window behind the vantle, so that the shadow can be seen.
    QWidget behind;
    behind.setAutoFillBackground(true);
    behind.setPalette(QPalette(Qt::white));
    behind.setWindowFlags(Qt::FramelessWindowHint);
    behind.setGeometry(0, 0, 700, 500);
    behind.show();
    QVERIFY(QTest::qWaitForWindowExposed(&behind));

    QTemporaryDir dir;
    const auto host = showHost(dir);
    QVERIFY(host);
    QVERIFY(host->manager()->show(QStringLiteral("shot"), QPoint(100, 100), nullptr));
    VTWidget* window = host->manager()->widget();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    const QMargins margins = window->shadowMargins();
    QVERIFY(margins.left() > 0 && margins.bottom() > margins.top());
    QTRY_COMPARE(window->size(), QSize(321, 141).grownBy(margins));
    QCOMPARE(window->view()->pos(), QPoint(margins.left(), margins.top()));

    const QRect frame(window->mapToGlobal(QPoint(0, 0)), window->size());
    const QRect panel = QRect(QPoint(margins.left(), margins.top()), QSize(320, 140));
    const int below = panel.bottom() + 3;
    QImage shot;
    // Grey under the panel, fading to the white behind towards the window's edge.
    QTRY_VERIFY_WITH_TIMEOUT(
        (shot = window->screen()->grabWindow(0, frame.x(), frame.y(), frame.width(), frame.height()).toImage(),
            qGray(shot.pixel(panel.center().x(), below)) < 235),
        10000);
    const QString path = QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("vtshadow.png"));
    QVERIFY(shot.save(path));
    qInfo("screenshot: %s", qPrintable(path));
    const int nearEdge = qGray(shot.pixel(panel.center().x(), below));
    const int farEdge = qGray(shot.pixel(panel.center().x(), frame.height() - 1));
    QVERIFY2(nearEdge > 100 && nearEdge < farEdge && farEdge > 235,
        qPrintable(QStringLiteral("%1 %2").arg(nearEdge).arg(farEdge)));
    // The corners of the window stay the white behind it.
    QVERIFY(qGray(shot.pixel(0, 0)) > 245);

    // Pinned, it is a window of its own, without the shadow.
    window->view()->setStayOpen(true);
    window->view()->setReserved(true);
    QTRY_COMPARE(window->view()->pos(), QPoint(0, 0));
    QCOMPARE(window->shadowMargins(), QMargins());
    // A pinned window is the user's: it goes when closed.
    QPointer<VTWidget> pinned = window;
    window->close();
    QTRY_VERIFY(pinned.isNull());
}

QTEST_MAIN(TestVTScreenshot)
#include "tst_vtscreenshot.moc"
