// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// Vantles under a real Wayland compositor (weston; see
// wayland/run-under-weston.sh), judged from the compositor's own screenshots:
// where a vantle lands relative to the pointer and its control, near the
// screen's corner too, with its fades printing nothing; the countdown, a
// click elsewhere and Escape closing it; pinning.
#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>

#include <QDir>
#include <QImage>
#include <QPointer>
#include <QProcess>
#include <QPushButton>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QWindow>

#include <memory>

using namespace Vantles;

namespace {

const QSize screenSize(1024, 768);
const QSize vantleSize(200, 90);
const QPoint offset(35, 30);
const QRgb hostColour = qRgb(10, 120, 90);
const QRgb buttonColour = qRgb(200, 40, 40);
const QRgb vantleColour = qRgb(255, 0, 255);

// The panel of the vantle: one colour that nothing else on the screen has.
const QByteArray panelQml = R"(import QtQuick 2.15
Rectangle { width: 200; height: 90; color: "#ff00ff" }
)";

QStringList warnings;
QtMessageHandler previousHandler = nullptr;

void recordWarnings(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtWarningMsg || type == QtCriticalMsg)
        warnings.append(message);
    previousHandler(type, context, message);
}

void xdotool(const QStringList& arguments)
{
    QCOMPARE(QProcess::execute(QStringLiteral("xdotool"), arguments), 0);
}

// The bounding rectangle of the pixels of @p colour, and how many there are.
QRect findColour(const QImage& image, QRgb colour, int* count = nullptr)
{
    QRect found;
    int n = 0;
    for (int y = 0; y < image.height(); ++y) {
        const QRgb* line = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if ((line[x] & 0xffffff) == (colour & 0xffffff)) {
                found |= QRect(x, y, 1, 1);
                ++n;
            }
        }
    }
    if (count)
        *count = n;
    return found;
}

} // namespace

class TestWayland : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void vantleLandsBesidePointerOffItsControl_data();
    void vantleLandsBesidePointerOffItsControl();
    void vantleNearTheCornerStaysOnTheScreen();
    void dismissalsAndPinningWork();

private:
    QImage screenshot();
    // Waits for a screenshot in which the vantle is wholly drawn; its rectangle.
    QRect shownVantle(QImage* shot = nullptr);
    QRect findHost();
    void hideVantle();
    // Rests the real pointer at @p screenPos, coming from a spot of the host
    // window away from the button, so that the rest begins anew.
    void restPointerAt(const QPoint& screenPos);
    VTWidget* window() const { return m_vantles->manager()->widget(); }

    QTemporaryDir m_dir;
    QWidget m_host;
    QPushButton* m_button = nullptr;
    std::unique_ptr<VTInterface> m_vantles;
    // Where the host window's content is on the screen.
    QPoint m_origin;
    QStringList m_distances;
};

void TestWayland::initTestCase()
{
    QVERIFY2(QGuiApplication::platformName().startsWith(QLatin1String("wayland")),
        qPrintable(QGuiApplication::platformName()));
    QVERIFY(!QStandardPaths::findExecutable(QStringLiteral("weston-screenshooter")).isEmpty());
    QVERIFY(!QStandardPaths::findExecutable(QStringLiteral("xdotool")).isEmpty());
    previousHandler = qInstallMessageHandler(recordWarnings);

    QVERIFY(!VTTest::makeUiPackage(m_dir, QStringLiteral("data"), QStringLiteral("Panel.vantles"), QString(),
        { { QStringLiteral("actionOpen"), "<title>Open</title>" } }, panelQml)
                 .isEmpty());
    VTContext settings;
    settings.set(VTContextInstallEventFilter, true);
    settings.set(VTContextFadeInDuration, 150);
    settings.set(VTContextFadeOutDuration, 150);
    // No countdown: a vantle the host shows stays while the pointer is away.
    settings.set(VTContextTimerInterval, 0);
    m_vantles = std::make_unique<VTInterface>(settings, QStringList { m_dir.filePath(QStringLiteral("data")) });

    QPalette palette = m_host.palette();
    palette.setColor(QPalette::Window, QColor(hostColour));
    m_host.setPalette(palette);
    m_host.setAutoFillBackground(true);
    m_host.resize(640, 420);
    m_button = new QPushButton(&m_host);
    m_button->setObjectName(QStringLiteral("actionOpen"));
    m_button->setStyleSheet(QStringLiteral("background: rgb(200, 40, 40); border: none;"));
    m_button->setGeometry(240, 160, 120, 40);
    m_host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&m_host));
    QTRY_VERIFY_WITH_TIMEOUT(!findHost().isEmpty(), 10000);
    m_origin = findHost().topLeft();
}

void TestWayland::cleanupTestCase()
{
    qInstallMessageHandler(previousHandler);
    qInfo("Distance from the pointer to the vantle's top-left corner: %s", qPrintable(m_distances.join(QLatin1String(", "))));
    // The fades animate the content where Wayland has no window opacity.
    QCOMPARE(warnings.filter(QStringLiteral("opacity")), QStringList());
}

void TestWayland::init()
{
    hideVantle();
    // Off the host window, where the pointer hides no part of a vantle.
    xdotool({ QStringLiteral("mousemove"), QStringLiteral("--sync"), QString::number(screenSize.width() - 4),
        QString::number(screenSize.height() - 4) });
}

QImage TestWayland::screenshot()
{
    QTemporaryDir folder;
    QProcess shooter;
    shooter.setWorkingDirectory(folder.path());
    shooter.start(QStringLiteral("weston-screenshooter"), QStringList());
    if (!shooter.waitForFinished(10000) || shooter.exitCode() != 0)
        return QImage();
    const QStringList shots = QDir(folder.path()).entryList({ QStringLiteral("*.png") });
    return shots.isEmpty() ? QImage() : QImage(folder.filePath(shots.first())).convertToFormat(QImage::Format_RGB32);
}

QRect TestWayland::findHost()
{
    int count = 0;
    const QRect host = findColour(screenshot(), hostColour, &count);
    return count > 0 && host.size() == m_host.size() ? host : QRect();
}

QRect TestWayland::shownVantle(QImage* shot)
{
    QRect found;
    (void)QTest::qWaitFor(
        [&] {
            if (!window() || !window()->isVisible() || window()->fadeLevel() < 1.0)
                return false;
            QImage image = screenshot();
            int count = 0;
            found = findColour(image, vantleColour, &count);
            if (shot)
                *shot = image;
            return found.size() == vantleSize && count == vantleSize.width() * vantleSize.height();
        },
        20000);
    return found;
}

void TestWayland::hideVantle()
{
    if (window() && window()->isVisible()) {
        window()->hide();
        QTRY_VERIFY(findColour(screenshot(), vantleColour).isEmpty());
    }
}

void TestWayland::restPointerAt(const QPoint& screenPos)
{
    const QPoint away = findHost().topLeft() + QPoint(20, m_host.height() - 20);
    xdotool({ QStringLiteral("mousemove"), QStringLiteral("--sync"), QString::number(away.x()),
        QString::number(away.y()) });
    QTest::qWait(300);
    xdotool({ QStringLiteral("mousemove"), QStringLiteral("--sync"), QString::number(screenPos.x()),
        QString::number(screenPos.y()) });
}

void TestWayland::vantleLandsBesidePointerOffItsControl_data()
{
    QTest::addColumn<bool>("byPointer");
    QTest::addColumn<QPoint>("onButton");

    for (const bool byPointer : { false, true }) {
        for (int i = 0; i < 5; ++i) {
            const QPoint spot(12 + 24 * i, 8 + 6 * i);
            QTest::addRow("%s %d", byPointer ? "pointer rest" : "host API", i + 1) << byPointer << spot;
        }
    }
}

void TestWayland::vantleLandsBesidePointerOffItsControl()
{
    QFETCH(bool, byPointer);
    QFETCH(QPoint, onButton);

    const QPoint inHost = m_button->mapTo(&m_host, onButton);
    const QPoint pointer = m_origin + inHost;
    if (byPointer)
        restPointerAt(pointer);
    else
        QVERIFY(m_vantles->show(QStringLiteral("actionOpen"), m_button->mapToGlobal(onButton), m_button));
    QImage shot;
    const QRect vantle = shownVantle(&shot);
    // Kept beside the test program, for a person to look at.
    shot.save(QStringLiteral("wayland-%1.png").arg(QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-'))));
    QCOMPARE(vantle.size(), vantleSize);
    const QPoint distance = vantle.topLeft() - pointer;
    m_distances.append(QStringLiteral("(%1, %2)").arg(distance.x()).arg(distance.y()));
    const QRect button = findColour(shot, buttonColour);
    QCOMPARE(button, QRect(m_origin + m_button->mapTo(&m_host, QPoint(0, 0)), m_button->size()));
    // Beside the pointer at the offset, or 2 pixels below the button where
    // that would cover it; the panel sits inside the window's shadow margin.
    const QPoint expected(pointer.x() + offset.x(), qMax(pointer.y() + offset.y(), button.bottom() + 3));
    QCOMPARE(vantle.topLeft(), expected + window()->view()->pos());
    QVERIFY(!vantle.intersects(button));
}

void TestWayland::vantleNearTheCornerStaysOnTheScreen()
{
    // A maximised window with its control in the corner: the vantle goes to
    // where the window has room, wholly on the screen.
    const QSize before = m_host.size();
    m_host.showMaximized();
    QTRY_VERIFY_WITH_TIMEOUT(m_host.size() != before && !findHost().isEmpty(), 10000);
    m_button->move(m_host.width() - m_button->width() - 4, m_host.height() - m_button->height() - 4);
    const QPoint origin = findHost().topLeft();
    const QRect screen(QPoint(0, 0), screenSize);
    const QRect button(origin + m_button->mapTo(&m_host, QPoint(0, 0)), m_button->size());
    QVERIFY(screen.contains(button));
    const QPoint pointer = button.center();

    for (const bool byPointer : { false, true }) {
        hideVantle();
        if (byPointer) {
            restPointerAt(pointer);
        } else {
            QVERIFY(m_vantles->show(
                QStringLiteral("actionOpen"), m_button->mapToGlobal(m_button->rect().center()), m_button));
        }
        QImage shot;
        const QRect vantle = shownVantle(&shot);
        shot.save(QStringLiteral("wayland-corner-%1.png").arg(byPointer ? QLatin1String("pointer") : QLatin1String("api")));
        QCOMPARE(vantle.size(), vantleSize);
        QVERIFY(screen.contains(vantle));
        QVERIFY(!vantle.intersects(button));
        // Above and to the left of the pointer.
        QVERIFY(vantle.right() < pointer.x() && vantle.bottom() < pointer.y());
    }
    hideVantle();
    m_host.showNormal();
    m_button->move(240, 160);
    QTRY_VERIFY_WITH_TIMEOUT(m_host.size() == before && !findHost().isEmpty(), 10000);
    m_origin = findHost().topLeft();
}

void TestWayland::dismissalsAndPinningWork()
{
    const QPoint onButton = m_origin + m_button->mapTo(&m_host, m_button->rect().center());
    const QPoint away = m_origin + QPoint(20, m_host.height() - 20);
    const auto shownAfterRest = [&] {
        restPointerAt(onButton);
        return !shownVantle().isEmpty();
    };

    // The countdown once the pointer has left.
    m_vantles->context()->set(VTContextTimerInterval, 300);
    QVERIFY(shownAfterRest());
    xdotool({ QStringLiteral("mousemove"), QStringLiteral("--sync"), QString::number(away.x()),
        QString::number(away.y()) });
    QTRY_VERIFY(!window()->isVisible());
    m_vantles->context()->set(VTContextTimerInterval, 0);

    // A click elsewhere, and Escape.
    QVERIFY(shownAfterRest());
    xdotool({ QStringLiteral("mousemove"), QStringLiteral("--sync"), QString::number(away.x()),
        QString::number(away.y()), QStringLiteral("click"), QStringLiteral("1") });
    QTRY_VERIFY(!window()->isVisible());
    QVERIFY(shownAfterRest());
    xdotool({ QStringLiteral("key"), QStringLiteral("Escape") });
    QTRY_VERIFY(!window()->isVisible());
    QVERIFY(findColour(screenshot(), vantleColour).isEmpty());

    // Pinned, a window of the host's window.
    QVERIFY(shownAfterRest());
    QPointer<VTWidget> pinned = window();
    pinned->view()->setStayOpen(true);
    pinned->view()->setReserved(true);
    QCOMPARE(pinned->parentWidget(), &m_host);
    QVERIFY(pinned->isWindow());
    QCOMPARE(pinned->windowHandle()->transientParent(), m_host.windowHandle());
    int count = 0;
    QTRY_VERIFY_WITH_TIMEOUT((findColour(screenshot(), vantleColour, &count), count == vantleSize.width() * vantleSize.height()), 20000);
    pinned->close();
    QTRY_VERIFY(!pinned);
}

QTEST_MAIN(TestWayland)
#include "tst_wayland.moc"
