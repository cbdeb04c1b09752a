// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTXmlElement.h"

#include <algorithm>
#include <vector>

namespace Vantles {

class VTXmlElementPrivate {
public:
    using Attribute = std::pair<QString, QString>;

    // Sorted by name; a sorted vector is much lighter than a map for the
    // handful of attributes an element carries.
    std::vector<Attribute> attributes;
    QString tagNameSpace;
    QString content;

    std::vector<Attribute>::iterator find(const QString& name)
    {
        return std::lower_bound(attributes.begin(), attributes.end(), name,
            [](const Attribute& attribute, const QString& key) { return attribute.first < key; });
    }

    std::vector<Attribute>::const_iterator find(const QString& name) const
    {
        return const_cast<VTXmlElementPrivate*>(this)->find(name);
    }
};

VTXmlElement::VTXmlElement(QObject* parent, const QXmlStreamAttributes& attrs)
    : QObject(parent)
    , d(new VTXmlElementPrivate)
{
    d->attributes.reserve(attrs.size());
    for (const QXmlStreamAttribute& attr : attrs)
        setAttribute(attr.qualifiedName().toString(), attr.value().toString());
}

VTXmlElement::~VTXmlElement()
{
    // QObject deletes its children recursively, one stack frame per level:
    // a deep tree would overflow the stack. Leaves go first here instead.
    std::vector<QObject*> pending(children().cbegin(), children().cend());
    while (!pending.empty()) {
        QObject* object = pending.back();
        if (object->children().isEmpty()) {
            pending.pop_back();
            delete object;
        } else {
            pending.insert(pending.end(), object->children().cbegin(), object->children().cend());
        }
    }
}

QString VTXmlElement::getTagName() const
{
    return objectName();
}

void VTXmlElement::setTagName(const QString& tagName)
{
    setObjectName(tagName);
    Q_EMIT tagNameChanged();
}

QString VTXmlElement::getTagNameSpace() const
{
    return d->tagNameSpace;
}

void VTXmlElement::setTagNameSpace(const QString& tagNameSpace)
{
    d->tagNameSpace = tagNameSpace;
    Q_EMIT tagNameSpaceChanged();
}

QString VTXmlElement::content() const
{
    return d->content;
}

void VTXmlElement::setContent(const QString& content)
{
    d->content = content;
    Q_EMIT contentChanged();
}

void VTXmlElement::appendContent(const QString& content)
{
    d->content.append(content);
    Q_EMIT contentChanged();
}

QStringList VTXmlElement::attributeNames() const
{
    QStringList names;
    names.reserve(qsizetype(d->attributes.size()));
    for (const auto& attribute : d->attributes)
        names.append(attribute.first);
    return names;
}

void VTXmlElement::setAttribute(const QString& name, const QString& value)
{
    auto it = d->find(name);
    if (it != d->attributes.end() && it->first == name)
        it->second = value;
    else
        d->attributes.emplace(it, name, value);
}

QString VTXmlElement::attribute(const QString& name) const
{
    const auto it = d->find(name);
    return it != d->attributes.end() && it->first == name ? it->second : QString();
}

bool VTXmlElement::hasAttribute(const QString& name) const
{
    const auto it = d->find(name);
    return it != d->attributes.end() && it->first == name;
}

// Both searches keep QObject's order without its recursion, so that a deep
// tree cannot overflow the stack.

VTXmlElement* VTXmlElement::childElement(const QString& name) const
{
    // Each object's own children first, then, child by child, their subtrees.
    auto matching = [&name](QObject* object) {
        auto element = qobject_cast<VTXmlElement*>(object);
        return element && element->objectName() == name ? element : nullptr;
    };
    struct Frame {
        const QObject* object;
        qsizetype next;
    };
    for (QObject* child : children()) {
        if (VTXmlElement* found = matching(child))
            return found;
    }
    std::vector<Frame> stack { { this, 0 } };
    while (!stack.empty()) {
        Frame& top = stack.back();
        const QObjectList& list = top.object->children();
        if (top.next == list.size()) {
            stack.pop_back();
            continue;
        }
        const QObject* object = list.at(top.next++);
        for (QObject* child : object->children()) {
            if (VTXmlElement* found = matching(child))
                return found;
        }
        stack.push_back({ object, 0 });
    }
    return nullptr;
}

QList<QObject*> VTXmlElement::childElementList(const QString& name) const
{
    // Depth first, each object before its subtree.
    QList<QObject*> result;
    std::vector<QObject*> pending(children().crbegin(), children().crend());
    while (!pending.empty()) {
        QObject* object = pending.back();
        pending.pop_back();
        if (object->objectName() == name)
            result.append(object);
        pending.insert(pending.end(), object->children().crbegin(), object->children().crend());
    }
    return result;
}

static bool hasElementChildren(const VTXmlElement* element)
{
    for (QObject* child : element->children()) {
        if (qobject_cast<VTXmlElement*>(child))
            return true;
    }
    return false;
}

// The opening line of one element; children follow on lines of their own.
static QString openingLine(const VTXmlElement* element, const QString& indentation, bool hasChildren)
{
    QStringList attributeTexts;
    for (const QString& name : element->attributeNames())
        attributeTexts.append(QStringLiteral("%1=\"%2\"").arg(name).arg(element->attribute(name)));
    const QString closing = hasChildren ? QString() : QStringLiteral("/");
    const QString attributePart
        = attributeTexts.isEmpty() ? QString() : QLatin1Char(' ') + attributeTexts.join(QLatin1Char(' '));
    return QStringLiteral("%1<%2%3%4>").arg(indentation).arg(element->getTagName()).arg(attributePart).arg(closing);
}

QString VTXmlElement::toXml(int index) const
{
    // Walks the tree with a stack of its own and writes into one buffer, so
    // neither the depth of the tree nor the size of the text is limited by
    // the call stack or by copying child texts level by level.
    struct Open {
        const VTXmlElement* element;
        int index;
        qsizetype nextChild;
    };
    QString out;
    std::vector<Open> stack;

    auto open = [&](const VTXmlElement* element, int indent) {
        const bool hasChildren = hasElementChildren(element);
        out += openingLine(element, QString(indent, QLatin1Char(' ')), hasChildren);
        if (hasChildren)
            stack.push_back({ element, indent, 0 });
    };

    open(this, index);
    while (!stack.empty()) {
        Open& top = stack.back();
        const QObjectList& children = top.element->children();
        const VTXmlElement* next = nullptr;
        while (!next && top.nextChild < children.size())
            next = qobject_cast<const VTXmlElement*>(children.at(top.nextChild++));
        if (next) {
            out += QLatin1Char('\n');
            open(next, top.index + 2);
            continue;
        }
        out += QLatin1Char('\n');
        out += QStringLiteral("%1</%2>").arg(QString(top.index, QLatin1Char(' '))).arg(top.element->getTagName());
        stack.pop_back();
    }
    return out;
}

QString VTXmlElement::toXml() const
{
    return toXml(0);
}

} // namespace Vantles
