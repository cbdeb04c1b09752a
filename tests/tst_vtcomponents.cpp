// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTTestHelpers.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTScrollBarComponent.h>
#include <Vantles/VTStyledRectangleComponent.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QQuickItem>
#include <QQuickWidget>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QTest>
#include <QToolTip>
#include <QWheelEvent>

#include <memory>

using namespace Vantles;

namespace {

const QColor marker(255, 0, 255);

QColor toolTipBase()
{
    return QToolTip::palette().color(QPalette::Current, QPalette::ToolTipBase);
}

QColor windowColor()
{
    return QApplication::palette().color(QPalette::Active, QPalette::Window);
}

// The handle's rectangle in the scroll bar's own coordinates.
QRect sliderRect(const QScrollBar* bar)
{
    QStyleOptionSlider option;
    option.initFrom(bar);
    option.orientation = bar->orientation();
    option.minimum = bar->minimum();
    option.maximum = bar->maximum();
    option.sliderPosition = bar->sliderPosition();
    option.pageStep = bar->pageStep();
    if (bar->orientation() == Qt::Horizontal)
        option.state |= QStyle::State_Horizontal;
    return bar->style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, bar);
}

int countPixels(const QImage& image, const QRect& area, const QColor& color)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            count += QColor(image.pixel(x, y)) == color ? 1 : 0;
    }
    return count;
}

// Where @p actual and @p expected differ by more than @p tolerance in a
// channel: the first such pixel, and how many there are; empty when none.
QString difference(const QImage& actual, const QImage& expected, int tolerance)
{
    if (actual.size() != expected.size())
        return QStringLiteral("sizes %1x%2 and %3x%4")
            .arg(actual.width())
            .arg(actual.height())
            .arg(expected.width())
            .arg(expected.height());
    QString first;
    int count = 0;
    for (int y = 0; y < actual.height(); ++y) {
        for (int x = 0; x < actual.width(); ++x) {
            const QRgb a = actual.pixel(x, y), e = expected.pixel(x, y);
            if (qAbs(qRed(a) - qRed(e)) > tolerance || qAbs(qGreen(a) - qGreen(e)) > tolerance
                || qAbs(qBlue(a) - qBlue(e)) > tolerance) {
                if (first.isEmpty())
                    first = QStringLiteral("(%1, %2) is %3, not %4")
                                .arg(x)
                                .arg(y)
                                .arg(QColor(a).name(), QColor(e).name());
                ++count;
            }
        }
    }
    return count ? QStringLiteral("%1 pixels differ; the first: %2").arg(count).arg(first) : QString();
}

// A horizontal bar from 0 to 10 at (20, 10), 200 by 20, on magenta.
const QByteArray horizontalBarQml = R"(Rectangle {
    width: 240; height: 40; color: "#ff00ff"
    VTScrollBar {
        objectName: "bar"
        x: 20; y: 10; width: 200; height: 20
        orientHorizontal: true
        start: 0; end: 10
        Component.onCompleted: updateDimensions()
    }
}
)";

} // namespace

class TestVTComponents : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void coloursAreExactAndReadable_data();
    void coloursAreExactAndReadable();
    void paintFollowsStyleAndNesting_data();
    void paintFollowsStyleAndNesting();
    void sceneRootPaintsWindowColour();
    void panelInSceneMatchesPaint_data();
    void panelInSceneMatchesPaint();

    void positionNotifiesPerChange();
    void scrollBarIsNeverAWindow();
    void pointerMovesPaintedHandle();

private:
    // Shows @p qml in a QQuickWidget sized to its root item.
    std::unique_ptr<QQuickWidget> showScene(const QByteArray& qml);

    QTemporaryDir m_dir;
    std::unique_ptr<VTInterface> m_interface;
    int m_scenes = 0;
};

void TestVTComponents::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // Making a manager registers the QML module.
    VTContext context;
    m_interface.reset(new VTInterface(context, {}));
    QVERIFY2(toolTipBase() != windowColor(), "the style paints both panels alike");
    QVERIFY(toolTipBase() != marker && windowColor() != marker);
}

void TestVTComponents::cleanupTestCase()
{
    m_interface.reset();
}

std::unique_ptr<QQuickWidget> TestVTComponents::showScene(const QByteArray& qml)
{
    const QString path = VTTest::writeFile(m_dir, QStringLiteral("scene%1.qml").arg(++m_scenes),
        "import QtQuick 2.15\n"
        "import com.zelvane.vantles.qml 1.0\n"
            + qml);
    std::unique_ptr<QQuickWidget> widget(new QQuickWidget);
    widget->setResizeMode(QQuickWidget::SizeViewToRootObject);
    widget->setSource(QUrl::fromLocalFile(path));
    if (widget->status() != QQuickWidget::Ready)
        return nullptr;
    widget->move(20, 20);
    widget->show();
    if (!QTest::qWaitForWindowExposed(widget.get()))
        return nullptr;
    return widget;
}

void TestVTComponents::coloursAreExactAndReadable_data()
{
    QTest::addColumn<bool>("toolTipStyle");
    QTest::addColumn<QStringList>("palette"); // panel, text, link
    QTest::addColumn<QStringList>("expected"); // text, link, secondary text

    // A link is moved toward the text colour a tenth at a time until it is
    // readable on the panel (a WCAG 2 contrast of 4.5:1).
    auto row = [](const char* name, bool toolTip, const QStringList& palette, const QStringList& expected) {
        QTest::newRow(name) << toolTip << palette << expected;
    };
    row("light tooltip, link kept", true, { "#ffffdc", "#000000", "#1a0dab" }, { "#000000", "#1a0dab", "#59594d" });
    row("dark tooltip, link moved six tenths", true, { "#2b2b2b", "#eeeeee", "#1a0dab" },
        { "#eeeeee", "#9994d3", "#aaaaaa" });
    row("window panel, link at 4.54:1 kept", false, { "#ffffff", "#000000", "#767676" },
        { "#000000", "#767676", "#595959" });
    row("window panel, link at 4.48:1 moved a tenth", false, { "#ffffff", "#000000", "#777777" },
        { "#000000", "#6b6b6b", "#595959" });
}

void TestVTComponents::coloursAreExactAndReadable()
{
    QFETCH(bool, toolTipStyle);
    QFETCH(QStringList, palette);
    QFETCH(QStringList, expected);

    // Each style reads its own palette; the other one is made from the marker.
    const QPalette savedToolTip = QToolTip::palette(), savedApplication = QApplication::palette();
    QPalette given;
    const QPalette other(marker);
    for (const QPalette::ColorRole role : { QPalette::ToolTipBase, QPalette::Window })
        given.setColor(role, QColor(palette.at(0)));
    for (const QPalette::ColorRole role : { QPalette::ToolTipText, QPalette::WindowText })
        given.setColor(role, QColor(palette.at(1)));
    given.setColor(QPalette::Link, QColor(palette.at(2)));
    QToolTip::setPalette(toolTipStyle ? given : other);
    QApplication::setPalette(toolTipStyle ? other : given);
    VTStyledRectangleComponent item;
    item.setToolTipStyle(toolTipStyle);
    const QStringList colours { item.textColor().name(), item.linkColor().name(), item.secondaryTextColor().name() };
    // A change of the application's palette reaches the QML bindings.
    QSignalSpy changed(&item, &VTStyledRectangleComponent::textColorChanged);
    QToolTip::setPalette(savedToolTip);
    QApplication::setPalette(savedApplication);
    QCOMPARE(colours, expected);
    QCOMPARE(changed.count(), 1);
}

void TestVTComponents::paintFollowsStyleAndNesting_data()
{
    QTest::addColumn<bool>("toolTipStyle");
    QTest::addColumn<bool>("nested");
    QTest::addColumn<qreal>("width");
    QTest::addColumn<bool>("paints");
    QTest::addColumn<int>("left");
    QTest::addColumn<int>("right");

    // left and right: the outermost columns the rectangle's outline covers.
    QTest::newRow("tooltip root") << true << false << 30.0 << true << 0 << 30;
    QTest::newRow("tooltip nested") << true << true << 30.0 << true << 0 << 30;
    QTest::newRow("tooltip half pixel rounds up") << true << false << 30.5 << true << 0 << 31;
    QTest::newRow("tooltip under half rounds down") << true << false << 30.4 << true << 0 << 30;
    QTest::newRow("plain root grows a pixel") << false << false << 30.0 << true << -1 << 31;
    QTest::newRow("plain root half pixel rounds up") << false << false << 30.5 << true << -1 << 32;
    QTest::newRow("plain nested paints nothing") << false << true << 30.0 << false << 0 << 0;
}

void TestVTComponents::paintFollowsStyleAndNesting()
{
    QFETCH(bool, toolTipStyle);
    QFETCH(bool, nested);
    QFETCH(qreal, width);
    QFETCH(bool, paints);
    QFETCH(int, left);
    QFETCH(int, right);

    QQuickItem parent;
    VTStyledRectangleComponent item;
    if (nested)
        item.setParentItem(&parent);
    item.setToolTipStyle(toolTipStyle);
    item.setSize(QSizeF(width, 20));

    // Item coordinates start at (10, 10) of the image.
    QImage image(60, 40, QImage::Format_ARGB32);
    image.fill(marker);
    {
        QPainter painter(&image);
        painter.translate(10, 10);
        item.paint(&painter);
    }
    if (!paints) {
        QCOMPARE(countPixels(image, image.rect(), marker), image.width() * image.height());
        return;
    }
    const int y = 10 + 5;
    QCOMPARE(QColor(image.pixel(10 + left - 1, y)), marker);
    QVERIFY(QColor(image.pixel(10 + left, y)) != marker);
    QVERIFY(QColor(image.pixel(10 + right, y)) != marker);
    QCOMPARE(QColor(image.pixel(10 + right + 1, y)), marker);
    QCOMPARE(QColor(image.pixel(10 + 15, 10 + 10)), toolTipStyle ? toolTipBase() : windowColor());
}

void TestVTComponents::sceneRootPaintsWindowColour()
{
    // The root panel hangs below the window's content item and still counts
    // as the root; the nested plain panel leaves the green through.
    auto widget = showScene(R"(VTStyledRectangle {
    width: 80; height: 60
    Rectangle {
        x: 40; width: 40; height: 60; color: "#00ff00"
        VTStyledRectangle { anchors.fill: parent }
    }
    VTStyledRectangle { y: 30; width: 40; height: 30; toolTipStyle: true }
}
)");
    QVERIFY(widget);
    QCOMPARE(widget->size(), QSize(80, 60));
    const QImage image = widget->grabFramebuffer();
    QVERIFY(!image.isNull());
    QCOMPARE(QColor(image.pixel(20, 15)), windowColor());
    QCOMPARE(QColor(image.pixel(60, 30)), QColor(0, 255, 0));
    QCOMPARE(QColor(image.pixel(20, 45)), toolTipBase());
}

void TestVTComponents::panelInSceneMatchesPaint_data()
{
    QTest::addColumn<bool>("toolTipStyle");
    QTest::addColumn<qreal>("radius");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QSize>("resized");

    QTest::newRow("square") << true << 0.0 << QSize(60, 30) << QSize(90, 45);
    QTest::newRow("rounded") << true << 4.0 << QSize(60, 30) << QSize(40, 70);
    QTest::newRow("fractional radius") << true << 6.5 << QSize(60, 40) << QSize(61, 41);
    // A radius of 4 takes corners of 5 pixels: 11 is the smallest panel cut
    // into them, 10 is drawn whole.
    QTest::newRow("smallest cut, then too small") << true << 4.0 << QSize(11, 11) << QSize(10, 11);
    QTest::newRow("too small, then cut") << true << 4.0 << QSize(11, 10) << QSize(11, 11);
    QTest::newRow("radius past half the height") << true << 10.0 << QSize(30, 12) << QSize(30, 40);
    QTest::newRow("plain nested paints nothing") << false << 0.0 << QSize(60, 30) << QSize(30, 60);
}

void TestVTComponents::panelInSceneMatchesPaint()
{
    QFETCH(bool, toolTipStyle);
    QFETCH(qreal, radius);
    QFETCH(QSize, size);
    QFETCH(QSize, resized);

    // The scene draws the panel with its own nodes, pixel for pixel what
    // paint() draws within the panel, at each size and after the palette
    // changed.
    auto widget = showScene(QStringLiteral(R"(Rectangle {
    width: 120; height: 100; color: "#ff00ff"
    VTStyledRectangle { objectName: "panel"; x: 10; y: 10; width: %1; height: %2; toolTipStyle: %3; radius: %4 }
}
)")
                                .arg(size.width())
                                .arg(size.height())
                                .arg(toolTipStyle ? QStringLiteral("true") : QStringLiteral("false"))
                                .arg(radius)
                                .toUtf8());
    QVERIFY(widget);
    auto panel = widget->rootObject()->findChild<VTStyledRectangleComponent*>(QStringLiteral("panel"));
    QVERIFY(panel);
    QQuickItem parent;
    VTStyledRectangleComponent reference;
    reference.setParentItem(&parent);
    reference.setToolTipStyle(toolTipStyle);
    reference.setRadius(radius);
    // Also run with QT_SCALE_FACTOR 1.5 and 2, where the scene has more pixels.
    const qreal ratio = widget->devicePixelRatioF();
    auto expected = [&](const QSize& at) {
        reference.setSize(at);
        QImage image(QSize(120, 100) * ratio, QImage::Format_ARGB32);
        image.setDevicePixelRatio(ratio);
        image.fill(marker);
        QPainter painter(&image);
        painter.translate(10, 10);
        painter.setClipRect(QRect(QPoint(0, 0), at));
        reference.paint(&painter);
        return image;
    };

    QString differs = difference(widget->grabFramebuffer(), expected(size), 2);
    QVERIFY2(differs.isEmpty(), qPrintable(differs));
    panel->setSize(resized);
    differs = difference(widget->grabFramebuffer(), expected(resized), 2);
    QVERIFY2(differs.isEmpty(), qPrintable(differs));

    const QPalette savedToolTip = QToolTip::palette(), savedApplication = QApplication::palette();
    QPalette dark(QColor(40, 40, 48));
    dark.setColor(QPalette::ToolTipBase, QColor(30, 30, 36));
    dark.setColor(QPalette::ToolTipText, QColor(230, 230, 230));
    QToolTip::setPalette(dark);
    QApplication::setPalette(dark);
    const QImage darkScene = widget->grabFramebuffer(), darkExpected = expected(resized);
    QToolTip::setPalette(savedToolTip);
    QApplication::setPalette(savedApplication);
    differs = difference(darkScene, darkExpected, 2);
    QVERIFY2(differs.isEmpty(), qPrintable(differs));
    if (toolTipStyle)
        QCOMPARE(
            QColor(darkScene.pixel(QPointF(10 + resized.width() / 2, 10 + resized.height() / 2).toPoint() * ratio)),
            QColor(30, 30, 36));
}

void TestVTComponents::positionNotifiesPerChange()
{
    VTScrollBarComponent item;
    item.setStart(0);
    item.setEnd(10);
    QSignalSpy changed(&item, &VTScrollBarComponent::positionChanged);
    // Kept in hundredths and inside the range, whichever way it is set.
    item.setPositionExternal(4.567f);
    QCOMPARE(item.position(), 4.56f);
    item.setProperty("position", 25.0);
    QCOMPARE(item.position(), 10.0f);
    QCOMPARE(item.scrollBar()->value(), 1000);

    // The QML hears of each change of the bar's value, and of nothing else.
    changed.clear();
    item.setPositionExternal(10);
    item.scrollBar()->setValue(1000);
    QCOMPARE(changed.count(), 0);
    item.scrollBar()->setValue(700);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(item.position(), 7.0f);
}

void TestVTComponents::scrollBarIsNeverAWindow()
{
    VTScrollBarComponent item;
    QScrollBar* bar = item.scrollBar();
    item.setVisible(false);
    QVERIFY(bar->isHidden());
    item.setVisible(true);
    QVERIFY(!bar->isHidden());
    // Never a window of its own: showing one would close an open menu.
    QVERIFY(!bar->isWindow());
    QVERIFY(!bar->window()->isVisible());
}

void TestVTComponents::pointerMovesPaintedHandle()
{
    auto widget = showScene(horizontalBarQml);
    QVERIFY(widget);
    auto item = widget->rootObject()->findChild<VTScrollBarComponent*>(QStringLiteral("bar"));
    QVERIFY(item);
    QCOMPARE(item->scrollBar()->size(), QSize(200, 20));
    QSignalSpy changed(item, &VTScrollBarComponent::positionChanged);
    const QRect barArea(20, 10, 200, 20);

    const QImage atStart = widget->grabFramebuffer();
    // Around the bar only the background; on it, no background at all.
    QCOMPARE(countPixels(atStart, QRect(0, 0, 240, 10), marker), 240 * 10);
    QCOMPARE(countPixels(atStart, QRect(0, 10, 20, 20), marker), 20 * 20);
    QCOMPARE(countPixels(atStart, barArea, marker), 0);

    const QRect handleAtStart = sliderRect(item->scrollBar()).translated(barArea.topLeft());
    const QPoint grab = handleAtStart.center();
    QTest::mousePress(widget.get(), Qt::LeftButton, Qt::NoModifier, grab);
    QVERIFY(item->scrollBar()->isSliderDown());
    QTest::mouseMove(widget.get(), grab + QPoint(30, 0));
    QTest::mouseMove(widget.get(), grab + QPoint(60, 0));
    const float dragged = item->position();
    QVERIFY2(dragged > 0.5f && dragged < 10.0f, qPrintable(QString::number(dragged)));
    QVERIFY(changed.count() > 0);
    // The grab holds beyond the item's edge.
    const QPoint outside(widget->width() - 1, 35);
    QTest::mouseMove(widget.get(), outside);
    QCOMPARE(item->position(), 10.0f);
    QTest::mouseRelease(widget.get(), Qt::LeftButton, Qt::NoModifier, outside);
    QVERIFY(!item->scrollBar()->isSliderDown());
    QCOMPARE(item->position(), 10.0f);

    // The handle left its old place for the new one, looking the same there.
    const QRect handleAtEnd = sliderRect(item->scrollBar()).translated(barArea.topLeft());
    QVERIFY(handleAtEnd.left() > handleAtStart.right());
    QTRY_VERIFY(widget->grabFramebuffer().copy(barArea) != atStart.copy(barArea));
    const QImage atEnd = widget->grabFramebuffer();
    QVERIFY(atEnd.copy(handleAtStart) != atStart.copy(handleAtStart));
    QVERIFY(atEnd.copy(handleAtEnd) != atStart.copy(handleAtEnd));
    QCOMPARE(atEnd.copy(handleAtEnd), atStart.copy(handleAtStart));

    auto wheel = [&widget](int delta) {
        const QPointF pos(120, 20);
        QWheelEvent event(pos, widget->mapToGlobal(pos), QPoint(), QPoint(0, delta), Qt::NoButton, Qt::NoModifier,
            Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(widget.get(), &event);
    };
    changed.clear();
    wheel(120);
    QVERIFY(changed.count() > 0);
    QVERIFY2(item->position() < 10.0f, qPrintable(QString::number(item->position())));
    wheel(-120);
    QCOMPARE(item->position(), 10.0f);

    // The middle button puts the handle where it is pressed.
    const QPoint nearStart(barArea.left() + 25, barArea.center().y());
    QTest::mouseClick(widget.get(), Qt::MiddleButton, Qt::NoModifier, nearStart);
    QVERIFY2(item->position() < 2.0f, qPrintable(QString::number(item->position())));
}

QTEST_MAIN(TestVTComponents)
#include "tst_vtcomponents.moc"
