// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

// libFuzzer target for VTXmlParser and the VTXmlElement trees it builds.
//
// The first byte picks the filter callback (its value modulo 5) and the
// parser set-up (its high bits register element classes of this file, clear
// the default class or read through a QIODevice); the rest is the document.
// Every tree that comes back is walked the way the library's readers walk it
// (toXml, child lookups, attributes) and then deleted, so AddressSanitizer
// and LeakSanitizer see the whole life of the objects.

#include <Vantles/VTXmlElement.h>
#include <Vantles/VTXmlParser.h>

#include <QBuffer>
#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QXmlStreamAttributes>
#include <QtGlobal>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

using Vantles::VTXmlElement;
using Vantles::VTXmlParser;

// An element class without the attribute constructor: the parser makes it
// through (QObject* parent) and writes each attribute to a property, so names
// registered for it drive the property path and its failures.
class FuzzItem : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString tagName READ objectName WRITE setObjectName)
    Q_PROPERTY(QString title MEMBER m_title)
    Q_PROPERTY(int count MEMBER m_count)
    Q_PROPERTY(QString fixed READ fixed)
public:
    Q_INVOKABLE explicit FuzzItem(QObject* parent = nullptr)
        : QObject(parent)
    {
    }

    QString fixed() const { return QStringLiteral("fixed"); }
    Q_INVOKABLE void appendContent(const QString& text) { m_content += text; }

private:
    QString m_title;
    QString m_content;
    int m_count = 0;
};

// A content class of its own with the attribute constructor: the parser
// makes it through QMetaObject::newInstance rather than directly.
class FuzzElement : public VTXmlElement {
    Q_OBJECT
public:
    Q_INVOKABLE FuzzElement(QObject* parent, const QXmlStreamAttributes& attributes)
        : VTXmlElement(parent, attributes)
    {
    }
};

// A class the parser cannot make at all: no invokable constructor.
class FuzzUnmakeable : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
};

namespace {

constexpr int makeSubtree = VTXmlParser::GenerateAndAsk | VTXmlParser::GenerateAll;
constexpr int skipSubtree = VTXmlParser::SkipElement | VTXmlParser::SkipDescendants;

struct FilterState {
    QString key;
    int calls = 0;
    uint seed = 0;
};

// The content lookup's filter for the key "k".
int lookupFilter(const QString& name, const QXmlStreamAttributes& attributes, void* userData)
{
    const auto state = static_cast<FilterState*>(userData);
    if (name == QLatin1String("vantle"))
        return attributes.value(QLatin1String("key")) == state->key ? makeSubtree : skipSubtree;
    if (name == QLatin1String("vantles"))
        return VTXmlParser::GenerateAndAsk;
    return skipSubtree;
}

// Makes the document element only; everything below is skipped one element
// at a time, so the callback is asked for every element of the document.
int rootOnlyFilter(const QString&, const QXmlStreamAttributes&, void* userData)
{
    const auto state = static_cast<FilterState*>(userData);
    return state->calls++ == 0 ? int(VTXmlParser::GenerateAndAsk) : int(VTXmlParser::SkipElement);
}

// Makes the document element, then skips every other element: the elements
// made below a skipped one have no parent (orphans), and orphans get children.
int alternatingFilter(const QString&, const QXmlStreamAttributes&, void* userData)
{
    const auto state = static_cast<FilterState*>(userData);
    const int call = state->calls++;
    if (call == 0)
        return VTXmlParser::GenerateAndAsk;
    return call % 2 ? int(VTXmlParser::SkipElement) : int(VTXmlParser::GenerateAndAsk);
}

// Any bits at all, stable for a name within one input.
int hashFilter(const QString& name, const QXmlStreamAttributes& attributes, void* userData)
{
    const auto state = static_cast<FilterState*>(userData);
    return int(qHash(name, state->seed) ^ uint(attributes.size()));
}

// toXml() writes an indentation of twice the level per line, so its output
// grows with the square of the depth: past a few thousand levels the run
// would spend its time and memory writing hundreds of megabytes. Deeper trees
// are still parsed, searched and deleted.
constexpr int maxDepthForXml = 4000;

// Counted without recursion, so that measuring a deep tree is safe.
int treeDepth(QObject* root)
{
    int depth = 0;
    std::vector<std::pair<QObject*, int>> pending { { root, 1 } };
    while (!pending.empty()) {
        const auto [object, level] = pending.back();
        pending.pop_back();
        depth = std::max(depth, level);
        for (QObject* child : object->children())
            pending.emplace_back(child, level + 1);
    }
    return depth;
}

void walk(QObject* root, const QString& probe)
{
    auto element = qobject_cast<VTXmlElement*>(root);
    if (!element)
        return;
    if (treeDepth(element) <= maxDepthForXml) {
        const QString xml = element->toXml() + element->toXml(3);
        Q_UNUSED(xml);
    }
    for (const QString& name : element->attributeNames()) {
        if (!element->hasAttribute(name))
            __builtin_trap(); // a listed attribute must be found
        Q_UNUSED(element->attribute(name).size());
    }
    VTXmlElement* child = element->childElement(probe);
    if (child)
        Q_UNUSED(child->content().size());
    const QList<QObject*> list = element->childElementList(probe);
    if (child && list.isEmpty())
        __builtin_trap(); // both lookups search the same subtree
    Q_UNUSED(element->childElement(QStringLiteral("vantle")));
    Q_UNUSED(element->childElementList(QStringLiteral("title")).size());
}

void dropMessages(QtMsgType, const QMessageLogContext&, const QString&) { }

} // namespace

extern "C" const char* __ubsan_default_options()
{
    return "halt_on_error=1:print_stacktrace=1";
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // The parser reports every malformed document on the debug channel.
    qInstallMessageHandler(dropMessages);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const uint8_t control = data[0];
    const QByteArray document = QByteArray::fromRawData(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1));

    FilterState state;
    state.key = QStringLiteral("k");
    state.seed = control >> 3;

    VTXmlParser::ShouldGenerateFunction filter = nullptr;
    switch (control % 5) {
    case 0:
        break;
    case 1:
        filter = lookupFilter;
        break;
    case 2:
        filter = rootOnlyFilter;
        break;
    case 3:
        filter = alternatingFilter;
        break;
    case 4:
        filter = hashFilter;
        break;
    }

    VTXmlParser parser(filter, &state);
    parser.registerElement(QStringLiteral("VTXmlElement"), &VTXmlElement::staticMetaObject);
    if (control & 0x10) {
        parser.registerElement(QStringLiteral("vantle"), &FuzzElement::staticMetaObject);
        parser.registerElement(QStringLiteral("text"), &FuzzElement::staticMetaObject);
        parser.registerElement(QStringLiteral("link"), &FuzzUnmakeable::staticMetaObject);
    }
    if (control & 0x20)
        parser.registerElement(QStringLiteral("item"), &FuzzItem::staticMetaObject);
    if (control & 0x40)
        parser.registerElement(QStringLiteral("title"), &QObject::staticMetaObject);
    if (control & 0x80)
        parser.setDefaultElement(nullptr);

    // Through a device the reader gets its input in chunks, so text runs
    // and tokens can be split where they are not when it has all bytes.
    QList<QObject*> roots;
    if (control & 0x08) {
        QByteArray bytes = document;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::ReadOnly);
        roots = parser.read(&buffer);
    } else {
        roots = parser.read(document);
    }
    // Look up a name that occurs in the tree when there is one.
    QString probe;
    if (!roots.isEmpty()) {
        const QObjectList& children = roots.first()->children();
        probe = (children.isEmpty() ? roots.first() : children.last())->objectName();
    }
    for (QObject* root : roots) {
        if (root->parent())
            __builtin_trap(); // the caller owns the roots outright
        walk(root, probe);
    }
    qDeleteAll(roots);
    return 0;
}

#include "fuzz_vtxmlparser.moc"
