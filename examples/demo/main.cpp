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
#include <QQuickItem>
#include <QScreen>
#include <QTextStream>
#include <QTimer>

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
    QRect area = window.frameGeometry();
    if (vantle && vantle->isVisible())
        area |= vantle->frameGeometry();
    QScreen* screen = window.screen();
    area &= screen->geometry();
    return screen->grabWindow(0, area.x(), area.y(), area.width(), area.height()).toImage();
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
            QWidget* control = window.widgetForKey(key);
            if (!control)
                continue;
            const QPoint pointer = control->mapToGlobal(control->rect().center());
            if (!manager->show(key, pointer, control))
                continue;
            Vantles::VTWidget* vantle = manager->widget();
            waitFor([&] { return vantle->isVisible() && vantle->view()->rootObject(); });
            // Long enough for a clip to decode and play a little.
            wait(1200);
            const QString path = QDir(folder).absoluteFilePath(QStringLiteral("%1-%2.png").arg(key, localeName));
            if (compose(window, vantle).save(path)) {
                out << path << '\n';
                ++written;
            }
            vantle->hide();
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
