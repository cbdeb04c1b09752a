// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTXmlParser.h"

#include "VTLogging_p.h"
#include "VTXmlElement.h"

#include <QDebug>
#include <QHash>
#include <QMap>
#include <QMetaMethod>
#include <QMetaObject>
#include <QMetaProperty>
#include <QPointer>
#include <QXmlStreamReader>

#include <functional>
#include <utility>
#include <vector>

namespace Vantles {

namespace {

// One open element: the object made for it (null when it was skipped) and the
// mode in force for its children.
struct XmlParserAncestorRecord {
    QPointer<QObject> object;
    int mode;
    // Characters given to the object so far, and whether its text was cut.
    qsizetype text = 0;
    bool cut = false;
};

// What the parser needs to know about a class it makes, looked up once per
// meta-object instead of by name for every element.
struct ClassInfo {
    int tagNameSpaceProperty = -1;
    int tagNameProperty = -1;
    int appendContentMethod = -1;
};

} // namespace

class VTXmlParserPrivate {
public:
    QMap<QString, const QMetaObject*> registry;
    const QMetaObject* defaultElement = &VTXmlElement::staticMetaObject;
    std::vector<XmlParserAncestorRecord> ancestors;
    VTXmlParser::ShouldGenerateFunction shouldGenerate = nullptr;
    void* userData = nullptr;
    int mode = VTXmlParser::GenerateAndAsk;
    VTXmlParser::Limits limits;
    QList<VTXmlParser::Problem> problems;
    qsizetype documentText = 0;
    bool depthReported = false;

    // Objects made below a skipped element: parentless and out of the
    // caller's reach, so they are deleted when the read ends.
    std::vector<QPointer<QObject>> orphans;
    QHash<const QMetaObject*, ClassInfo> classInfos;

    const ClassInfo& classInfo(const QMetaObject* metaObject)
    {
        auto it = classInfos.find(metaObject);
        if (it == classInfos.end()) {
            ClassInfo info;
            info.tagNameSpaceProperty = metaObject->indexOfProperty("tagNameSpace");
            info.tagNameProperty = metaObject->indexOfProperty("tagName");
            info.appendContentMethod
                = metaObject->indexOfMethod(QMetaObject::normalizedSignature("appendContent(const QString&)"));
            it = classInfos.insert(metaObject, info);
        }
        return it.value();
    }

    QObject* innermostObject() const { return ancestors.empty() ? nullptr : ancestors.back().object.data(); }

    // Null when the class could not be made; *aborted tells whether that was
    // already reported (an attribute without a property).
    QObject* makeObject(
        const QMetaObject* metaObject, QObject* parent, const QXmlStreamAttributes& attributes, bool* aborted);
};

static bool isPlainElement(const QMetaObject* metaObject)
{
    return metaObject == &VTXmlElement::staticMetaObject;
}

QObject* VTXmlParserPrivate::makeObject(
    const QMetaObject* metaObject, QObject* parent, const QXmlStreamAttributes& attributes, bool* aborted)
{
    *aborted = false;
    // The default class is made directly: the same constructor that
    // newInstance() would find, without its per-call signature lookup.
    if (isPlainElement(metaObject))
        return new VTXmlElement(parent, attributes);

    QObject* object = metaObject->newInstance(Q_ARG(QObject*, parent), Q_ARG(QXmlStreamAttributes, attributes));
    if (object)
        return object;

    object = metaObject->newInstance(Q_ARG(QObject*, parent));
    if (!object)
        return nullptr;

    for (const QXmlStreamAttribute& attribute : attributes) {
        const QString name = attribute.name().toString();
        const int propertyIndex = metaObject->indexOfProperty(name.toLatin1().constData());
        if (propertyIndex < 0) {
            qCDebug(lcVantlesXml)
                << QStringLiteral("No Property named %1 on %2").arg(name, QString::fromLatin1(metaObject->className()));
            delete object;
            *aborted = true;
            return nullptr;
        }
        const QString value = attribute.value().toString();
        if (!metaObject->property(propertyIndex).write(object, QVariant(value))) {
            qCDebug(lcVantlesXml) << QStringLiteral("Could not write \"%1\" to property %2 of %3")
                                         .arg(value, name, QString::fromLatin1(metaObject->className()));
        }
    }
    return object;
}

VTXmlParser::VTXmlParser(ShouldGenerateFunction shouldGenerate, void* userData)
    : d(new VTXmlParserPrivate)
{
    d->shouldGenerate = shouldGenerate;
    d->userData = userData;
}

VTXmlParser::~VTXmlParser() = default;

void VTXmlParser::registerElement(const QString& name, const QMetaObject* metaObject)
{
    d->registry.insert(name, metaObject);
}

void VTXmlParser::unregisterElement(const QString& name)
{
    d->registry.remove(name);
}

const QMetaObject* VTXmlParser::metaObjectForElement(const QString& name) const
{
    return d->registry.value(name, nullptr);
}

void VTXmlParser::setDefaultElement(const QMetaObject* metaObject)
{
    d->defaultElement = metaObject;
}

const QMetaObject* VTXmlParser::defaultElement() const
{
    return d->defaultElement;
}

void VTXmlParser::setLimits(const Limits& limits)
{
    d->limits = limits;
}

VTXmlParser::Limits VTXmlParser::limits() const
{
    return d->limits;
}

QList<VTXmlParser::Problem> VTXmlParser::problems() const
{
    return d->problems;
}

qint64 VTXmlParser::expansionBound(const QByteArray& data)
{
    if (!data.contains("<!ENTITY"))
        return data.size();
    QHash<QString, QString> values;
    QXmlStreamReader reader(data);
    while (!reader.atEnd() && values.isEmpty()) {
        const QXmlStreamReader::TokenType token = reader.readNext();
        if (token == QXmlStreamReader::StartElement)
            break;
        if (token == QXmlStreamReader::DTD) {
            for (const QXmlStreamEntityDeclaration& entity : reader.entityDeclarations())
                values.insert(entity.name().toString(), entity.value().toString());
        }
    }
    // The reader stops any one reference at its expansion limit.
    const qint64 limit = reader.entityExpansionLimit();
    QHash<QString, qint64> lengths;
    std::function<qint64(const QString&, int)> length = [&](const QString& name, int depth) -> qint64 {
        const auto known = lengths.constFind(name);
        if (known != lengths.constEnd())
            return known.value();
        const QString value = values.value(name);
        qint64 total = value.size();
        for (qsizetype at = value.indexOf(QLatin1Char('&')); at >= 0 && total < limit;
             at = value.indexOf(QLatin1Char('&'), at + 1)) {
            const qsizetype end = value.indexOf(QLatin1Char(';'), at);
            const QString inner = value.mid(at + 1, end - at - 1);
            total += depth > 8 || !values.contains(inner) ? limit : length(inner, depth + 1);
        }
        total = qMin(total, limit);
        lengths.insert(name, total);
        return total;
    };
    qint64 longest = 0;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        longest = qMax(longest, length(it.key(), 0));
    return data.size() + data.count('&') * longest;
}

QList<QObject*> VTXmlParser::read(QIODevice* input)
{
    if (d->limits.maximumDocumentText > 0 && input)
        return read(input->readAll());
    QXmlStreamReader reader(input);
    return readDocument(reader);
}

QList<QObject*> VTXmlParser::read(const QByteArray& data)
{
    // Without entities the text is counted as it is read.
    if (d->limits.maximumDocumentText > 0 && data.contains("<!ENTITY")
        && expansionBound(data) > d->limits.maximumDocumentText) {
        d->problems = { { 1, 1,
            QStringLiteral("The entities of this document could expand it beyond %1 characters: it is not read.")
                .arg(d->limits.maximumDocumentText) } };
        return {};
    }
    QXmlStreamReader reader(data);
    return readDocument(reader);
}

QList<QObject*> VTXmlParser::readDocument(QXmlStreamReader& reader)
{
    d->mode = GenerateAndAsk;
    d->ancestors.clear();
    d->orphans.clear();
    d->problems.clear();
    d->documentText = 0;
    d->depthReported = false;
    const Limits& limits = d->limits;

    auto holder = std::make_unique<VTXmlElement>();
    d->ancestors.push_back({ holder.get(), GenerateAndAsk });

    reader.setNamespaceProcessing(true);
    bool stopped = false;
    bool afterText = false;
    while (!stopped && !reader.atEnd()) {
        // Where the next token begins, for a problem found in it: the reader
        // has read the '<' that ends a text already.
        const qint64 line = reader.lineNumber(), column = reader.columnNumber() + (afterText ? 0 : 1);
        const QXmlStreamReader::TokenType token = reader.readNext();
        afterText = token == QXmlStreamReader::Characters && !reader.isCDATA();
        switch (token) {
        case QXmlStreamReader::StartElement:
            if (limits.maximumDepth > 0 && qsizetype(d->ancestors.size()) > limits.maximumDepth) {
                // The holder is at the bottom of the stack: its size is the new element's depth.
                if (!std::exchange(d->depthReported, true)) {
                    d->problems.append({ line, column,
                        QStringLiteral("Elements are nested more than %1 deep here: this one and all below it "
                                       "are left out.")
                            .arg(limits.maximumDepth) });
                }
                d->ancestors.push_back({ nullptr, SkipDescendants });
                d->mode = SkipDescendants;
                break;
            }
            if (d->mode == SkipDescendants) {
                // The common case when a filter skips large parts of a file:
                // nothing below here is looked at.
                d->ancestors.push_back({ nullptr, SkipDescendants });
                break;
            }
            stopped = !startElement(reader.namespaceUri(), reader.name(), reader.qualifiedName(), reader.attributes());
            break;
        case QXmlStreamReader::EndElement:
            stopped = !endElement();
            break;
        case QXmlStreamReader::Characters: {
            QStringView text = reader.text();
            d->documentText += text.size();
            if (limits.maximumDocumentText > 0 && d->documentText > limits.maximumDocumentText) {
                d->problems.append({ line, column,
                    QStringLiteral("The text of this document exceeds %1 characters with its entities expanded: "
                                   "the rest is left out.")
                        .arg(limits.maximumDocumentText) });
                stopped = true;
                break;
            }
            if (!d->innermostObject())
                break;
            XmlParserAncestorRecord& record = d->ancestors.back();
            if (limits.maximumElementText > 0 && record.text + text.size() > limits.maximumElementText) {
                if (!std::exchange(record.cut, true)) {
                    d->problems.append({ line, column,
                        QStringLiteral("The text of this element exceeds %1 characters: the rest is left out.")
                            .arg(limits.maximumElementText) });
                }
                text = text.left(limits.maximumElementText - record.text);
                if (text.isEmpty())
                    break;
            }
            record.text += text.size();
            stopped = reader.isWhitespace() ? !ignorableWhitespace(text) : !characters(text);
            break;
        }
        default:
            break;
        }
    }
    if (!stopped && reader.hasError())
        fatalError(reader.lineNumber(), reader.columnNumber(), reader.errorString());

    d->ancestors.clear();
    for (const QPointer<QObject>& orphan : d->orphans) {
        if (orphan && !orphan->parent())
            delete orphan.data();
    }
    d->orphans.clear();

    QList<QObject*> roots = holder->children();
    for (QObject* root : roots)
        root->setParent(nullptr);
    return roots;
}

bool VTXmlParser::startElement(
    QStringView namespaceUri, QStringView localName, QStringView qualifiedName, const QXmlStreamAttributes& attributes)
{
    if (d->mode == SkipDescendants) {
        d->ancestors.push_back({ nullptr, SkipDescendants });
        return true;
    }

    int result;
    if (d->mode == GenerateAndAsk && d->shouldGenerate) {
        result = d->shouldGenerate(qualifiedName.toString(), attributes, d->userData);
        d->mode = (result & SkipDescendants) ? SkipDescendants : (result & GenerateAll) ? GenerateAll : GenerateAndAsk;
    } else {
        result = d->mode;
        d->mode = d->mode == GenerateAll ? GenerateAll : GenerateAndAsk;
    }

    if (result & SkipElement) {
        d->ancestors.push_back({ nullptr, d->mode });
        return true;
    }

    QObject* parent = d->innermostObject();
    const QString name = localName.toString();
    const QMetaObject* metaObject = metaObjectForElement(name);
    if (!metaObject)
        metaObject = d->defaultElement;

    bool aborted = false;
    QObject* object = metaObject ? d->makeObject(metaObject, parent, attributes, &aborted) : nullptr;
    if (aborted)
        return false;
    if (!object) {
        qCDebug(lcVantlesXml) << QStringLiteral("Could not find object for element: %1").arg(name);
        return false;
    }
    if (!parent)
        d->orphans.emplace_back(object);

    if (isPlainElement(metaObject)) {
        auto element = static_cast<VTXmlElement*>(object);
        element->setTagNameSpace(namespaceUri.trimmed().toString());
        element->setTagName(qualifiedName.trimmed().toString());
    } else {
        const ClassInfo& info = d->classInfo(metaObject);
        if (info.tagNameSpaceProperty >= 0)
            metaObject->property(info.tagNameSpaceProperty).write(object, namespaceUri.trimmed().toString());
        if (info.tagNameProperty >= 0)
            metaObject->property(info.tagNameProperty).write(object, qualifiedName.trimmed().toString());
    }

    d->ancestors.push_back({ object, d->mode });
    return true;
}

bool VTXmlParser::endElement()
{
    d->ancestors.pop_back();
    d->mode = d->ancestors.empty() ? GenerateAndAsk : d->ancestors.back().mode;
    return true;
}

bool VTXmlParser::characters(QStringView text)
{
    QObject* object = d->innermostObject();
    if (!object)
        return true;
    const QMetaObject* metaObject = object->metaObject();
    if (isPlainElement(metaObject)) {
        static_cast<VTXmlElement*>(object)->appendContent(text.toString());
        return true;
    }
    const int method = d->classInfo(metaObject).appendContentMethod;
    if (method >= 0)
        metaObject->method(method).invoke(object, Qt::AutoConnection, Q_ARG(QString, text.toString()));
    return true;
}

bool VTXmlParser::ignorableWhitespace(QStringView text)
{
    return characters(text);
}

bool VTXmlParser::fatalError(qint64 lineNumber, qint64 columnNumber, const QString& message)
{
    qCDebug(lcVantlesXml) << QStringLiteral("Fatal error at %1,%2 : %3")
                                 .arg(QString::number(lineNumber), QString::number(columnNumber), message);
    return false;
}

} // namespace Vantles
