#include "VTXmlElement.h"

#include <algorithm>

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

VTXmlElement::~VTXmlElement() = default;

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

VTXmlElement* VTXmlElement::childElement(const QString& name) const
{
    return findChild<VTXmlElement*>(name);
}

QList<QObject*> VTXmlElement::childElementList(const QString& name) const
{
    return findChildren<QObject*>(name);
}

// Appends the rendering to one buffer instead of joining child texts level by
// level, so a deeply nested tree costs its output size, not its depth cubed.
static void writeXml(const VTXmlElement* element, int index, QString& out)
{
    const QString indentation(index, QLatin1Char(' '));

    QStringList attributeTexts;
    for (const QString& name : element->attributeNames())
        attributeTexts.append(QStringLiteral("%1=\"%2\"").arg(name).arg(element->attribute(name)));

    bool hasChildren = false;
    for (QObject* child : element->children()) {
        if (qobject_cast<VTXmlElement*>(child)) {
            hasChildren = true;
            break;
        }
    }

    const QString closing = hasChildren ? QString() : QStringLiteral("/");
    const QString attributePart
        = attributeTexts.isEmpty() ? QString() : QLatin1Char(' ') + attributeTexts.join(QLatin1Char(' '));

    out += QStringLiteral("%1<%2%3%4>").arg(indentation).arg(element->getTagName()).arg(attributePart).arg(closing);
    if (!hasChildren)
        return;
    for (QObject* child : element->children()) {
        if (auto childElement = qobject_cast<VTXmlElement*>(child)) {
            out += QLatin1Char('\n');
            writeXml(childElement, index + 2, out);
        }
    }
    out += QLatin1Char('\n');
    out += QStringLiteral("%1</%2>").arg(indentation).arg(element->getTagName());
}

QString VTXmlElement::toXml(int index) const
{
    QString out;
    writeXml(this, index, out);
    return out;
}

QString VTXmlElement::toXml() const
{
    return toXml(0);
}

} // namespace Vantles
