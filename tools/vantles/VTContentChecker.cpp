// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTContentChecker.h"
#include "VTQuietInterface.h"

#include <Vantles/VTContext.h>
#include <Vantles/VTControlFileScanner_p.h>
#include <Vantles/VTIndex.h>
#include <Vantles/VTInterface.h>
#include <Vantles/VTManager.h>
#include <Vantles/VTVideoSourceFFMPEG.h>
#include <Vantles/VTView.h>
#include <Vantles/VTXmlElement.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QSet>
#include <QRegularExpression>
#include <QThread>
#include <QTranslator>
#include <QUrl>
#include <QXmlStreamReader>

#include <vector>

using namespace Vantles;

namespace {

// How long a clip may take to give its first frame.
constexpr int clipTimeoutMs = 10000;

QString alternatives(const QStringList& paths)
{
    if (paths.size() < 2)
        return paths.value(0);
    return QStringLiteral("%1 or %2").arg(paths.mid(0, paths.size() - 1).join(QLatin1String(", ")), paths.last());
}

// Sources the interface does not look up in the package: URLs and texts
// that the host fills in.
bool isPackageFile(const QString& source)
{
    return !source.isEmpty() && !source.contains(QLatin1String("://")) && !source.startsWith(QLatin1String("qrc:"))
        && !source.startsWith(QLatin1String("data:")) && !source.contains(QLatin1String("%("));
}

} // namespace

class VTContentCheckerPrivate {
public:
    explicit VTContentCheckerPrivate(const VTContentChecker::Options& options)
        : options(options)
    {
        if (!options.keyDataFile.isEmpty())
            context.set(VTContextKeyDataFile, QFileInfo(options.keyDataFile).absoluteFilePath());
        if (!options.trustedFolders.isEmpty())
            context.set(VTContextTrustedDataFolders, options.trustedFolders);
    }

    VTContentChecker::Options options;
    VTContext context;
    std::unique_ptr<VTQuietInterface> interface;
    // Compiles the interfaces. Not the view's engine, which refuses every
    // file outside the package of the vantle it shows.
    QQmlEngine engine;
    int packageCount = 0;
    int controlFileCount = 0;
    int keyCount = 0;
    QList<VTContentChecker::Package> packages;

    QSet<QString> checkedInterfaces;
    QSet<QString> missingInterfaces;
    QSet<QString> checkedClips;
    QSet<QString> checkedTranslations;
    // The full and simple interface of the vantle being checked.
    QStringList interfacesInUse;

    VTManager* manager() const { return interface->manager(); }
    void report(VTMessageType type, const QString& file, qint64 line, qint64 column, const QString& text)
    {
        manager()->report({ type, file, line, column, text });
    }
    bool servesCheckedLocale(const QString& locale) const
    {
        return locale.isEmpty() || options.locales.isEmpty() || options.locales.contains(locale);
    }

    void checkVantle(VTView& view, const VTKeyDefinition& definition);
    void checkInterface(VTView& view, const VTKeyDefinition& definition, bool simple);
    void checkClip(const QString& path, const VTKeyDefinition& definition);
    void checkTranslation(VTView& view, const VTKeyDefinition& definition);
    void checkTranslatedTexts(const QString& translationFile, const QString& locale);
    void checkMixedContent(const QString& file);
    void checkKeyData(const QSet<QString>& keys);
};

void VTContentCheckerPrivate::checkVantle(VTView& view, const VTKeyDefinition& definition)
{
    const QLocale locale(definition.locale.isEmpty() ? options.locales.value(0, QStringLiteral("en_US"))
                                                     : definition.locale);
    VTXmlElement* root = nullptr;
    VTXmlElement* vantle = manager()->index()->load(definition.key, definition.file, locale, root);
    if (!vantle)
        return;
    view.setContent(vantle);
    view.setPackageRoot(QFileInfo(definition.file).absoluteDir());

    interfacesInUse.clear();
    checkInterface(view, definition, false);
    checkInterface(view, definition, true);

    // Every "source" in the tree, resolved as the interface resolves it;
    // the view reports what it cannot find or refuses.
    std::vector<VTXmlElement*> pending { vantle };
    while (!pending.empty()) {
        VTXmlElement* element = pending.back();
        pending.pop_back();
        const QString source = element->attribute(QStringLiteral("source"));
        if (isPackageFile(source)) {
            const QString path = view.findResource(source);
            if (element->getTagName() == QLatin1String("video") && QFileInfo(path).isFile())
                checkClip(path, definition);
        }
        for (QObject* child : element->children()) {
            if (auto childElement = qobject_cast<VTXmlElement*>(child))
                pending.push_back(childElement);
        }
    }

    if (!definition.locale.isEmpty())
        checkTranslation(view, definition);

    view.setContent(nullptr);
    delete root;
}

void VTContentCheckerPrivate::checkInterface(VTView& view, const VTKeyDefinition& definition, bool simple)
{
    // The same choice as VTView::loadInterface() makes in each mode.
    const QString attribute = simple ? QStringLiteral("simple") : QStringLiteral("ui");
    const VTContextKey key = simple ? VTContextSimpleInterfaceFile : VTContextFullInterfaceFile;
    const QString defaultFile = simple ? QStringLiteral("ui/SimpleTooltip.qml") : QStringLiteral("ui/VantleUI.qml");
    // Empty when the only file found lies outside the package: the view has
    // reported that.
    const QString path = view.findComponent(attribute, key, defaultFile, QString());
    if (path.isEmpty())
        return;
    if (!QFileInfo(path).isFile()) {
        interfacesInUse.append(VTView::builtInInterfacePath(simple));
        // Without a file of its own the package gets the library's interface,
        // which is fine unless the content or the settings named a file.
        if (view.categoryPath(attribute, defaultFile, key) == defaultFile)
            return;
        const QStringList candidates = view.componentCandidates(attribute, key, defaultFile, QString());
        const QString looked = candidates.isEmpty() ? path : alternatives(candidates);
        // Once for each set of places, not for every vantle that names them.
        if (!missingInterfaces.contains(looked)) {
            missingInterfaces.insert(looked);
            report(VTMessageWarning, definition.file, definition.line, definition.column,
                QStringLiteral("Can't find the interface file of this vantle: looked for %1. The library's own "
                               "interface is shown instead.")
                    .arg(looked));
        }
        return;
    }
    interfacesInUse.append(path);
    if (checkedInterfaces.contains(path))
        return;
    checkedInterfaces.insert(path);
    QQmlComponent component(&engine, QUrl::fromLocalFile(path), QQmlComponent::PreferSynchronous);
    QElapsedTimer timer;
    timer.start();
    while (component.isLoading() && timer.elapsed() < clipTimeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    for (const QQmlError& error : component.errors()) {
        const QString file = error.url().isLocalFile() ? error.url().toLocalFile() : error.url().toString();
        report(VTMessageError, file, qMax(0, error.line()), qMax(0, error.column()), error.description());
    }
}

void VTContentCheckerPrivate::checkClip(const QString& path, const VTKeyDefinition& definition)
{
    if (checkedClips.contains(path))
        return;
    checkedClips.insert(path);
    VTVideoSourceFFMPEG source(nullptr);
    QString reason;
    QObject::connect(
        &source, &VTVideoSource::sourceFailed, &source, [&reason](const QString&, const QString& why) { reason = why; },
        Qt::QueuedConnection);
    source.start(QThread::InheritPriority);
    source.setSource(QUrl::fromLocalFile(path));
    QElapsedTimer timer;
    timer.start();
    while (reason.isEmpty() && source.loadedFrameCount() == 0 && timer.elapsed() < clipTimeoutMs)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    const bool decoded = source.loadedFrameCount() > 0;
    source.quit();
    if (decoded)
        return;
    // The source's reason is a whole sentence about "this clip".
    const QLatin1String sentence("This clip cannot be played: ");
    report(VTMessageError, definition.file, definition.line, definition.column,
        reason.isEmpty() ? QStringLiteral("The clip %1 gives no frame within %2 seconds.")
                               .arg(path, QString::number(clipTimeoutMs / 1000))
                         : QStringLiteral("The clip %1 cannot be played: %2")
                               .arg(path, reason.startsWith(sentence) ? reason.mid(sentence.size()) : reason));
}

void VTContentCheckerPrivate::checkTranslation(VTView& view, const VTKeyDefinition& definition)
{
    // An invalid locale name is reported where it is written.
    if (!definition.locale.isEmpty() && !isValidLocaleName(definition.locale))
        return;
    const QString package = manager()->index()->packageNameForLocation(definition.file);
    if (checkedTranslations.contains(package + QLatin1Char('|') + definition.locale))
        return;
    checkedTranslations.insert(package + QLatin1Char('|') + definition.locale);
    const QString prefix = context.get(VTContextTranslationPrefix, QStringLiteral("Vantles")).toString();
    const QString fileName = QStringLiteral("%1_%2.qm").arg(prefix, definition.locale);
    const QStringList candidates
        = view.componentCandidates(QStringLiteral("l10n_name"), VTContextTranslationFolder, QStringLiteral("l10n"),
            fileName);
    for (const QString& candidate : candidates) {
        if (QFileInfo(candidate).isFile()) {
            checkTranslatedTexts(candidate, definition.locale);
            return;
        }
    }
    QString text = QStringLiteral("The locale %1 has no translation file (looked for %2), so the interface's own "
                                  "texts stay as written in it.")
                       .arg(definition.locale, alternatives(candidates));
    for (const QString& candidate : candidates) {
        const QString source = candidate.chopped(3) + QLatin1String(".ts");
        if (QFileInfo(source).isFile()) {
            text += QStringLiteral(" %1 is there: compile it with lrelease.").arg(source);
            break;
        }
    }
    report(VTMessageWarning, definition.file, 0, 0, text);
}

// The library hands the interface the translator's answer as it is, which
// is an empty text for a text the file lacks: each text an interface asks
// for by a literal translate("text", "context") must be in the file.
void VTContentCheckerPrivate::checkTranslatedTexts(const QString& translationFile, const QString& locale)
{
    QTranslator translator;
    if (!translator.load(translationFile)) {
        report(VTMessageWarning, translationFile, 0, 0, QStringLiteral("This translation file cannot be loaded."));
        return;
    }
    static const QRegularExpression call(
        QStringLiteral("translate\\(\\s*\"((?:[^\"\\\\]|\\\\.)*)\"\\s*,\\s*\"((?:[^\"\\\\]|\\\\.)*)\"\\s*\\)"));
    for (const QString& interfaceFile : qAsConst(interfacesInUse)) {
        QFile file(interfaceFile);
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QString source = QString::fromUtf8(file.readAll());
        for (auto it = call.globalMatch(source); it.hasNext();) {
            const QRegularExpressionMatch match = it.next();
            const QString text = match.captured(1);
            const QString context = match.captured(2);
            if (!translator.translate(context.toUtf8().constData(), text.toUtf8().constData()).isEmpty())
                continue;
            const qint64 line = source.left(match.capturedStart()).count(QLatin1Char('\n')) + 1;
            report(VTMessageWarning, interfaceFile.startsWith(QLatin1String(":/")) ? QString() : interfaceFile,
                line, 0,
                QStringLiteral("%1 has no translation of \"%2\" (context %3), so this text shows empty in %4.")
                    .arg(translationFile, text, context, locale));
        }
    }
}

// An element with both words and child elements, inside a vantle: most often
// markup meant as text that was neither escaped nor put in CDATA.
void VTContentCheckerPrivate::checkMixedContent(const QString& file)
{
    QFile input(file);
    if (input.size() > VTIndex::MaximumControlFileSize || !input.open(QIODevice::ReadOnly))
        return;
    // Read from text, so that the reader's offsets index it: a start tag
    // begins at the last "<" before the offset the reader ends it at.
    const QString text = QString::fromUtf8(input.readAll());
    // Columns in characters, as the index gives them: a surrogate pair is one.
    qsizetype counted = 0;
    qint64 line = 1;
    qint64 column = 1;
    auto placeOf = [&](qsizetype offset) {
        for (; counted < offset; ++counted) {
            if (text.at(counted) == QLatin1Char('\n')) {
                ++line;
                column = 1;
            } else if (!text.at(counted).isLowSurrogate()) {
                ++column;
            }
        }
        return std::pair<qint64, qint64>(line, column);
    };
    struct Open {
        QString name;
        std::pair<qint64, qint64> place;
        bool hasText;
        QString child;
        qint64 childLine;
    };
    std::vector<Open> open;
    QXmlStreamReader reader(text);
    while (!reader.atEnd() && !reader.hasError()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartElement: {
            const auto place = placeOf(text.lastIndexOf(QLatin1Char('<'), reader.characterOffset() - 1));
            if (!open.empty() && open.back().child.isEmpty()) {
                open.back().child = reader.qualifiedName().toString();
                open.back().childLine = place.first;
            }
            open.push_back({ reader.qualifiedName().toString(), place, false, QString(), 0 });
            break;
        }
        case QXmlStreamReader::Characters:
            if (!open.empty() && !reader.isWhitespace())
                open.back().hasText = true;
            break;
        case QXmlStreamReader::EndElement: {
            const Open element = open.back();
            open.pop_back();
            // Depth 3 and below: inside a vantle.
            if (open.size() >= 2 && element.hasText && !element.child.isEmpty()) {
                report(VTMessageWarning, file, element.place.first, element.place.second,
                    QStringLiteral("<%1> holds both text and elements (<%2> at line %3): the interface shows none of "
                                   "the words inside them. Escape the markup (&lt;%2&gt;) or put the text in a "
                                   "CDATA section.")
                        .arg(element.name, element.child, QString::number(element.childLine)));
            }
            break;
        }
        default:
            break;
        }
    }
}

void VTContentCheckerPrivate::checkKeyData(const QSet<QString>& keys)
{
    const QString path = context.get(VTContextKeyDataFile).toString();
    if (path.isEmpty())
        return;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        report(VTMessageError, path, 0, 0,
            QFileInfo::exists(path) ? QStringLiteral("The key-data file cannot be read.")
                                    : QStringLiteral("The key-data file does not exist."));
        return;
    }
    // The index reports a file that is not well-formed when it reads it.
    VTXmlElement probe;
    manager()->index()->loadKeyData(QString(), QString(), &probe);

    QXmlStreamReader reader(&file);
    int depth = 0;
    bool afterText = false;
    while (!reader.atEnd() && !reader.hasError()) {
        // Where the tag about to be read begins: the reader has read the '<'
        // that ends a text already.
        const qint64 line = reader.lineNumber(), column = reader.columnNumber() + (afterText ? 0 : 1);
        const QXmlStreamReader::TokenType token = reader.readNext();
        afterText = token == QXmlStreamReader::Characters && !reader.isCDATA();
        if (token == QXmlStreamReader::EndElement)
            --depth;
        if (token != QXmlStreamReader::StartElement)
            continue;
        ++depth;
        // The reader skips the blanks before the first element: the line its
        // tag ends on stands for its place.
        if (depth == 1 && reader.qualifiedName() != QLatin1String("vantlekeys")) {
            report(VTMessageWarning, path, reader.lineNumber(), 0,
                QStringLiteral("The first element is <%1>, not <vantlekeys>: this is not a key-data file.")
                    .arg(reader.qualifiedName()));
            return;
        }
        if (depth != 2 || reader.qualifiedName() != QLatin1String("key"))
            continue;
        const QString name = reader.attributes().value(QLatin1String("name")).toString();
        if (name.isEmpty()) {
            report(VTMessageWarning, path, line, column,
                QStringLiteral("This <key> has no \"name\" attribute."));
        } else if (!keys.contains(name)) {
            report(VTMessageWarning, path, line, column,
                QStringLiteral("The key \"%1\" is defined by no control file.").arg(name));
        }
    }
}

VTContentChecker::VTContentChecker(const Options& options)
    : d(new VTContentCheckerPrivate(options))
{
}

VTContentChecker::~VTContentChecker() = default;

QList<VTProblem> VTContentChecker::run()
{
    d->interface.reset(new VTQuietInterface(d->context, d->options.dataPath));
    VTIndex* index = d->manager()->index();

    QSet<QString> files;
    QSet<QString> keys;
    VTView view(d->manager(), nullptr);
    const QList<VTKeyDefinition> definitions = index->keyDefinitions();
    for (const VTKeyDefinition& definition : definitions) {
        keys.insert(definition.key);
        if (d->servesCheckedLocale(definition.locale))
            d->checkVantle(view, definition);
    }
    for (const VTControlPath& path : index->controlPaths()) {
        if (!files.contains(path.path)) {
            files.insert(path.path);
            d->checkMixedContent(path.path);
        }
    }
    d->checkKeyData(keys);

    d->packageCount = int(index->packages().size());
    for (const QStringList& folders : index->packages()) {
        for (const QString& folder : folders)
            d->packages.append({ folder, d->manager()->isTrusted(folder) });
    }
    d->controlFileCount = int(files.size());
    d->keyCount = int(keys.size());
    return d->manager()->problems();
}

int VTContentChecker::packageCount() const
{
    return d->packageCount;
}

int VTContentChecker::controlFileCount() const
{
    return d->controlFileCount;
}

QList<VTContentChecker::Package> VTContentChecker::packages() const
{
    return d->packages;
}

int VTContentChecker::keyCount() const
{
    return d->keyCount;
}
