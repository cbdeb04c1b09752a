// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// The Vantles demo: a small document editor whose controls have vantles.
//
//   vantles-demo DATA_FOLDER                     interactive
//   vantles-demo DATA_FOLDER --screenshots DIR   shows every vantle in turn and
//                                                writes a screenshot of each
#include "DemoVantles.h"
#include "DemoWindow.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTView.h>
#include <Vantles/VTWidget.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QPainter>
#include <QPalette>
#include <QQuickItem>
#include <QScreen>
#include <QTextStream>
#include <QTimer>
#include <QToolTip>

#include <memory>

namespace {

void waitFor(const std::function<bool()>& ready, int timeoutMs = 3000)
{
    QElapsedTimer timer;
    timer.start();
    while (!ready() && timer.elapsed() < timeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

void wait(int ms)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}

// The part of the screen that holds the main window and the vantle.
QImage compose(DemoWindow& window, Vantles::VTWidget* vantle)
{
    const bool shown = vantle && vantle->isVisible();
    QRect area = window.frameGeometry();
    if (shown)
        area |= vantle->frameGeometry();
    QScreen* screen = window.screen();
    area &= screen->geometry();
    const QImage grabbed = screen->grabWindow(0, area.x(), area.y(), area.width(), area.height()).toImage();
    if (!grabbed.isNull())
        return grabbed;
    // Wayland gives a client no picture of the screen: the windows paint
    // themselves, the vantle over the main window, where they are relative
    // to each other (the screen positions Qt reports there are its own).
    const QRect main(window.mapToGlobal(QPoint(0, 0)), window.size());
    area = main;
    if (shown)
        area |= QRect(vantle->mapToGlobal(QPoint(0, 0)), vantle->size());
    QImage image(area.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(QColor(0x30, 0x30, 0x30));
    QPainter painter(&image);
    painter.drawPixmap(main.topLeft() - area.topLeft(), window.grab());
    if (shown)
        painter.drawPixmap(vantle->mapToGlobal(QPoint(0, 0)) - area.topLeft(), vantle->grab());
    return image;
}

// A dark palette for the whole application, tooltips included.
void useDarkPalette()
{
    QPalette palette = QApplication::palette();
    const std::pair<QPalette::ColorRole, QRgb> colours[] = { { QPalette::Window, 0x2d2d2d },
        { QPalette::WindowText, 0xe6e6e6 }, { QPalette::Base, 0x1f1f1f }, { QPalette::Text, 0xe6e6e6 },
        { QPalette::Button, 0x383838 }, { QPalette::ButtonText, 0xe6e6e6 }, { QPalette::ToolTipBase, 0x3c3c3c },
        { QPalette::ToolTipText, 0xf2f2f2 }, { QPalette::Link, 0x99c1f1 }, { QPalette::Highlight, 0x3584e4 } };
    for (const auto& [role, rgb] : colours)
        palette.setColor(role, QColor(rgb));
    // The tooltip palette first: vantles follow the application's palette
    // change and read both.
    QToolTip::setPalette(palette);
    QApplication::setPalette(palette);
}

// Shows the vantle of @p key with the pointer on its control and writes the
// screen part holding both to @p path; whether it did.
bool shoot(DemoWindow& window, Vantles::VTManager* manager, const QString& key, const QString& path)
{
    QWidget* control = window.widgetForKey(key);
    if (!control)
        return false;
    const QPoint pointer = control->mapToGlobal(control->rect().center());
    if (!manager->show(key, pointer, control))
        return false;
    Vantles::VTWidget* vantle = manager->widget();
    waitFor([&] { return vantle->isVisible() && vantle->view()->rootObject(); });
    // Long enough for a clip to decode and play a little.
    wait(1200);
    const bool saved = compose(window, vantle).save(path);
    vantle->hide();
    return saved;
}

int takeScreenshots(DemoWindow& window, DemoVantles& vantles, const QString& folder)
{
    QTextStream out(stdout);
    QDir().mkpath(folder);
    Vantles::VTManager* manager = vantles.manager();
    window.move(40, 40);
    window.show();
    waitFor([&] { return window.isVisible(); });
    wait(300);

    QStringList keys = vantles.keys();
    keys.removeDuplicates();
    int written = 0;
    for (const QString& localeName : { QStringLiteral("en_US"), QStringLiteral("fr_FR") }) {
        window.setFrench(localeName == QLatin1String("fr_FR"));
        for (const QString& key : keys) {
            const QString path = QDir(folder).absoluteFilePath(QStringLiteral("%1-%2.png").arg(key, localeName));
            if (shoot(window, manager, key, path)) {
                out << path << '\n';
                ++written;
            }
        }
    }

    // Near the bottom-right corner of the screen the vantle goes to the
    // other side of the pointer; then the same in a dark palette.
    window.setFrench(false);
    const QRect screen = window.screen()->availableGeometry();
    for (const char* palette : { "light", "dark" }) {
        if (qstrcmp(palette, "dark") == 0) {
            useDarkPalette();
            window.move(40, 40);
            wait(300);
            for (const char* key : { "actionOpen", "exportFormat" }) {
                const QString path = QDir(folder).absoluteFilePath(QStringLiteral("dark-%1.png").arg(QLatin1String(key)));
                if (shoot(window, manager, QLatin1String(key), path)) {
                    out << path << '\n';
                    ++written;
                }
            }
        }
        window.move(screen.right() - window.frameGeometry().width(), screen.bottom() - window.frameGeometry().height());
        wait(300);
        const QString path = QDir(folder).absoluteFilePath(QStringLiteral("corner-%1.png").arg(QLatin1String(palette)));
        if (shoot(window, manager, QStringLiteral("autosaveCheck"), path)) {
            out << path << '\n';
            ++written;
        }
    }
    out.flush();
    return written > 0 ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Vantles demo"));

    QCommandLineParser options;
    options.addHelpOption();
    options.addPositionalArgument(QStringLiteral("data"), QStringLiteral("The data folder holding the packages."));
    QCommandLineOption screenshots(QStringLiteral("screenshots"),
        QStringLiteral("Show every vantle in turn and write a screenshot of each to <folder>."),
        QStringLiteral("folder"));
    options.addOption(screenshots);
    options.process(app);
    if (options.positionalArguments().isEmpty())
        options.showHelp(2);
    const QString data = QDir(options.positionalArguments().first()).absolutePath();

    DemoWindow window;
    VTContext settings;
    DemoVantles::configure(settings, data);
    DemoVantles vantles(settings, { data }, &window);
    window.setVantles(&vantles);
    vantles.setGlobalProperties();

    if (options.isSet(screenshots))
        return takeScreenshots(window, vantles, options.value(screenshots));

    window.show();
    return app.exec();
}
