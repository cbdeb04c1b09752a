// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// vantles: the content author's command line. Checks data folders, lists
// their keys, prints a vantle's content and pictures it, with the library's
// own code paths, so that what it says is what a host will do.
#include "VTContentChecker.h"
#include "VTVantleRenderer.h"
#include "VTQuietInterface.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTControlFileScanner_p.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTXmlElement.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QPalette>
#include <QTextStream>
#include <QXmlStreamWriter>

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

using namespace Vantles;

namespace {

constexpr int usageError = 2;

const char usage[] = R"(usage: vantles COMMAND [OPTIONS] ARGUMENTS

Commands:
  check DATA... [--locale NAME]... [--key-data FILE] [--trusted DATA]... [--werror] [--json]
        Checks the packages of the data folders for every mistake an author can
        make and tells which a host trusting the --trusted folders trusts;
        exit status 0 without errors, 1 with errors.
  keys DATA... [--locale NAME]
        Prints every control key with its file, line and locale, in search order.
  dump DATA... KEY [--locale NAME] [--key-data FILE]
        Prints the content a host receives for KEY, as XML.
  show DATA... KEY [--locale NAME] [--key-data FILE] [--simple] [--dark]
       [--scale FACTOR] -o FILE.png
        Renders the vantle of KEY as the tooltip window shows it, into a PNG.

Run "vantles COMMAND --help" for the options of one command.
)";

// Gives up on input that would keep the program busy for ever (an interface
// that never stops computing, a clip that never ends loading).
class Watchdog {
public:
    explicit Watchdog(int seconds)
        : m_thread([this, seconds] {
            std::unique_lock<std::mutex> lock(m_mutex);
            if (!m_done.wait_for(lock, std::chrono::seconds(seconds), [this] { return m_finished; })) {
                std::fprintf(stderr, "vantles: gave up after %d seconds\n", seconds);
                std::fflush(stderr);
                std::_Exit(1);
            }
        })
    {
    }
    ~Watchdog()
    {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_finished = true;
        }
        m_done.notify_all();
        m_thread.join();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_done;
    bool m_finished = false;
    std::thread m_thread;
};

// The library reports what matters to the user; Qt's own chatter about the
// offscreen platform is not for authors.
void quietMessages(QtMsgType type, const QMessageLogContext&, const QString& message)
{
    if (type == QtCriticalMsg || type == QtFatalMsg)
        std::fprintf(stderr, "%s\n", qPrintable(message));
}

// Relative to the current folder below it; absolute elsewhere, and from the
// root folder, where a relative path would read as one below any folder.
QString displayPath(const QString& path)
{
    if (path.isEmpty() || QDir::current().isRoot())
        return path;
    const QString relative = QDir::current().relativeFilePath(path);
    return relative.startsWith(QLatin1String("../")) ? path : relative;
}

// The library names other files by their absolute paths; shown as the
// file names are, below the current folder.
QString displayText(const QString& text)
{
    QString shown = text;
    return shown.replace(QDir::currentPath() + QLatin1Char('/'), QString());
}

QString problemLine(const VTProblem& problem)
{
    QString place = problem.file.isEmpty() ? QStringLiteral("vantles") : displayPath(problem.file);
    if (!problem.file.isEmpty() && problem.line > 0) {
        place += QStringLiteral(":%1").arg(problem.line);
        if (problem.column > 0)
            place += QStringLiteral(":%1").arg(problem.column);
    }
    const QString severity = problem.type <= VTMessageError ? QStringLiteral("error") : QStringLiteral("warning");
    return QStringLiteral("%1: %2: %3").arg(place, severity, displayText(problem.text));
}

QString counted(int count, const char* one, const char* many)
{
    return QStringLiteral("%1 %2").arg(count).arg(QLatin1String(count == 1 ? one : many));
}

int usageFailure(const QString& message)
{
    QTextStream(stderr) << "vantles: " << message << "\nRun \"vantles --help\" for the commands.\n";
    return usageError;
}

// The options every command shares; the rest are added per command.
struct Command {
    QCommandLineParser parser;
    QCommandLineOption locale { QStringLiteral("locale"), QStringLiteral("The locale, such as fr_FR."),
        QStringLiteral("name") };
    QCommandLineOption keyData { QStringLiteral("key-data"), QStringLiteral("The key-data file."),
        QStringLiteral("file") };
    QStringList positional;

    explicit Command(const QString& name, const QString& arguments)
    {
        parser.setApplicationDescription(QStringLiteral("vantles %1").arg(name));
        parser.addOption(QCommandLineOption(
            { QStringLiteral("h"), QStringLiteral("help") }, QStringLiteral("Shows the options of this command.")));
        parser.addOption(locale);
        parser.addOption(keyData);
        parser.addPositionalArgument(arguments, QString());
    }

    // -1 when the command may go on, else the exit status.
    int parse(const QStringList& arguments, int minimumPositional)
    {
        if (!parser.parse(arguments))
            return usageFailure(parser.errorText());
        if (parser.isSet(QStringLiteral("help"))) {
            QTextStream(stderr) << parser.helpText();
            return 0;
        }
        positional = parser.positionalArguments();
        if (positional.size() < minimumPositional)
            return usageFailure(QStringLiteral("%1 needs more arguments.").arg(parser.applicationDescription()));
        for (const QString& name : parser.values(locale)) {
            if (!isValidLocaleName(name))
                return usageFailure(QStringLiteral("\"%1\" is not a valid locale name (such as en_US).").arg(name));
        }
        return -1;
    }
    QStringList dataPath(int keep) const
    {
        QStringList folders;
        for (const QString& folder : positional.mid(0, positional.size() - keep))
            folders.append(QDir(folder).absolutePath());
        return folders;
    }
};

int check(const QStringList& arguments)
{
    Command command(QStringLiteral("check"), QStringLiteral("DATA..."));
    const QCommandLineOption werror(QStringLiteral("werror"), QStringLiteral("Fails on warnings too."));
    const QCommandLineOption json(QStringLiteral("json"), QStringLiteral("Prints the findings as a JSON array."));
    const QCommandLineOption trusted(QStringLiteral("trusted"),
        QStringLiteral("A data folder the host trusts (VTContextTrustedDataFolders)."), QStringLiteral("folder"));
    command.parser.addOption(werror);
    command.parser.addOption(json);
    command.parser.addOption(trusted);
    if (const int status = command.parse(arguments, 1); status >= 0)
        return status;

    QStringList trustedFolders;
    for (const QString& folder : command.parser.values(trusted))
        trustedFolders.append(QDir(folder).absolutePath());
    VTContentChecker checker({ command.dataPath(0), command.parser.values(command.locale),
        command.parser.value(command.keyData), trustedFolders });
    const QList<VTProblem> problems = checker.run();
    int errors = 0;
    for (const VTProblem& problem : problems)
        errors += problem.type <= VTMessageError ? 1 : 0;
    const int warnings = int(problems.size()) - errors;

    QTextStream out(stdout);
    if (command.parser.isSet(json)) {
        QJsonArray array;
        for (const VTProblem& problem : problems) {
            array.append(QJsonObject { { QStringLiteral("file"), problem.file },
                { QStringLiteral("line"), problem.line }, { QStringLiteral("column"), problem.column },
                { QStringLiteral("severity"),
                    problem.type <= VTMessageError ? QStringLiteral("error") : QStringLiteral("warning") },
                { QStringLiteral("message"), displayText(problem.text) } });
        }
        out << QJsonDocument(array).toJson(QJsonDocument::Indented);
    } else {
        for (const VTProblem& problem : problems)
            out << problemLine(problem) << '\n';
        // Untrusted: the interfaces run with the limits the README lists.
        for (const VTContentChecker::Package& package : checker.packages())
            out << QStringLiteral("%1: %2 package\n")
                       .arg(displayPath(package.folder), package.trusted ? QStringLiteral("trusted") : QStringLiteral("untrusted"));
        out << QStringLiteral("%1, %2 in %3, %4 and %5.\n")
                   .arg(counted(errors, "error", "errors"), counted(warnings, "warning", "warnings"),
                       counted(checker.packageCount(), "package", "packages"),
                       counted(checker.controlFileCount(), "control file", "control files"),
                       counted(checker.keyCount(), "key", "keys"));
    }
    return errors > 0 || (warnings > 0 && command.parser.isSet(werror)) ? 1 : 0;
}

int keys(const QStringList& arguments)
{
    Command command(QStringLiteral("keys"), QStringLiteral("DATA..."));
    if (const int status = command.parse(arguments, 1); status >= 0)
        return status;
    const QString locale = command.parser.value(command.locale);
    VTContext context;
    VTQuietInterface vantles(context, command.dataPath(0));
    QTextStream out(stdout);
    for (const VTKeyDefinition& definition : vantles.manager()->index()->keyDefinitions()) {
        if (!locale.isEmpty() && !definition.locale.isEmpty() && definition.locale != locale)
            continue;
        out << definition.key << '\t' << displayPath(definition.file) << '\t' << definition.line << '\t'
            << (definition.locale.isEmpty() ? QStringLiteral("*") : definition.locale) << '\n';
    }
    return 0;
}

void writeElement(QXmlStreamWriter& writer, const VTXmlElement* element)
{
    writer.writeStartElement(element->getTagName());
    for (const QString& name : element->attributeNames())
        writer.writeAttribute(name, element->attribute(name));
    // The indentation between child elements is not content.
    if (!element->content().trimmed().isEmpty())
        writer.writeCharacters(element->content());
    for (const QObject* child : element->children()) {
        if (auto childElement = qobject_cast<const VTXmlElement*>(child))
            writeElement(writer, childElement);
    }
    writer.writeEndElement();
}

int dump(const QStringList& arguments)
{
    Command command(QStringLiteral("dump"), QStringLiteral("DATA... KEY"));
    if (const int status = command.parse(arguments, 2); status >= 0)
        return status;
    VTContext context;
    if (command.parser.isSet(command.locale))
        context.set(VTContextCurrentLocale, command.parser.value(command.locale));
    if (command.parser.isSet(command.keyData))
        context.set(VTContextKeyDataFile, QFileInfo(command.parser.value(command.keyData)).absoluteFilePath());
    VTQuietInterface vantles(context, command.dataPath(1));
    const QString key = command.positional.last();
    QString location;
    int depth = 0;
    VTXmlElement* root = nullptr;
    VTXmlElement* vantle = vantles.manager()->retrieve(key, location, depth, root);
    if (!vantle) {
        QTextStream(stderr) << QStringLiteral("vantles: there is no vantle for the key \"%1\" in %2.\n")
                                   .arg(key, vantles.manager()->currentLocale().name());
        return 1;
    }
    QString text;
    QXmlStreamWriter writer(&text);
    writer.setAutoFormatting(true);
    writeElement(writer, vantle);
    delete root;
    QTextStream(stdout) << text.trimmed() << '\n';
    return 0;
}

int show(const QStringList& arguments)
{
    Command command(QStringLiteral("show"), QStringLiteral("DATA... KEY"));
    const QCommandLineOption simple(QStringLiteral("simple"), QStringLiteral("Uses the simple interface."));
    const QCommandLineOption dark(QStringLiteral("dark"), QStringLiteral("Renders with a dark palette."));
    const QCommandLineOption scale(
        QStringLiteral("scale"), QStringLiteral("The interface scale (default 1)."), QStringLiteral("factor"));
    const QCommandLineOption output(
        { QStringLiteral("o"), QStringLiteral("output") }, QStringLiteral("The PNG file to write."), QStringLiteral("file"));
    for (const QCommandLineOption& option : { simple, dark, scale, output })
        command.parser.addOption(option);
    if (const int status = command.parse(arguments, 2); status >= 0)
        return status;
    if (!command.parser.isSet(output))
        return usageFailure(QStringLiteral("vantles show needs -o FILE.png."));
    bool scaleOk = true;
    const double factor = command.parser.isSet(scale) ? command.parser.value(scale).toDouble(&scaleOk) : 1.0;
    if (!scaleOk || factor < 0.25 || factor > 8.0)
        return usageFailure(QStringLiteral("The scale must be a number from 0.25 to 8."));

    if (command.parser.isSet(dark))
        QApplication::setPalette(VTVantleRenderer::darkPalette());
    VTVantleRenderer renderer({ command.dataPath(1), command.positional.last(),
        command.parser.value(command.locale), command.parser.value(command.keyData),
        command.parser.isSet(simple), factor });
    const QImage image = renderer.render();
    QTextStream err(stderr);
    for (const VTProblem& problem : renderer.problems())
        err << problemLine(problem) << '\n';
    if (image.isNull()) {
        err << "vantles: " << renderer.errorString() << '\n';
        return 1;
    }
    const QString path = command.parser.value(output);
    if (!image.save(path, "PNG")) {
        err << QStringLiteral("vantles: cannot write %1.\n").arg(path);
        return 1;
    }
    QTextStream(stdout) << QStringLiteral("%1: %2 x %3\n").arg(path).arg(image.width()).arg(image.height());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    // No display needed: the offscreen platform and the software renderer,
    // unless the caller chose others.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    qInstallMessageHandler(quietMessages);
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vantles"));

    QStringList arguments = app.arguments();
    const QString name = arguments.value(1);
    if (name.isEmpty() || name == QLatin1String("--help") || name == QLatin1String("-h")
        || name == QLatin1String("help")) {
        std::fputs(usage, stderr);
        return name.isEmpty() ? usageError : 0;
    }
    arguments.removeAt(1);

    const Watchdog watchdog(qEnvironmentVariableIntValue("VANTLES_TIMEOUT") > 0
            ? qEnvironmentVariableIntValue("VANTLES_TIMEOUT")
            : 300);
    if (name == QLatin1String("check"))
        return check(arguments);
    if (name == QLatin1String("keys"))
        return keys(arguments);
    if (name == QLatin1String("dump"))
        return dump(arguments);
    if (name == QLatin1String("show"))
        return show(arguments);
    return usageFailure(QStringLiteral("\"%1\" is no command.").arg(name));
}
