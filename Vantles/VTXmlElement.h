// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QXmlStreamAttributes>

#include <Vantles/vantles_export.h>

#include <memory>

namespace Vantles {

class VTXmlElementPrivate;

/**
 * One node of parsed vantle content: a tag name, a namespace, attributes kept
 * in ascending name order, the element's character data and its child
 * elements.
 *
 * The tag name is the object name, and child elements are the element's
 * QObject children in document order, so deleting an element deletes its
 * whole subtree. An element made without a parent is owned by its maker.
 *
 * The element is what QML sees of the content: it reads tagName, content,
 * attributes and children through the properties and invokables below.
 */
class VANTLES_EXPORT VTXmlElement : public QObject {
    Q_OBJECT
    /// The element's local name, also its object name.
    Q_PROPERTY(QString tagName READ getTagName WRITE setTagName NOTIFY tagNameChanged)
    /// The element's namespace URI; empty when it has none.
    Q_PROPERTY(QString tagNameSpace READ getTagNameSpace WRITE setTagNameSpace NOTIFY tagNameSpaceChanged)
    /// The element's own character data, as written (CDATA included).
    Q_PROPERTY(QString content READ content NOTIFY contentChanged)
public:
    /// Makes an element with the given attributes; later duplicates of a
    /// qualified name replace earlier ones.
    Q_INVOKABLE explicit VTXmlElement(QObject* parent = nullptr, const QXmlStreamAttributes& attrs = {});
    /// Deletes the children with it.
    ~VTXmlElement() override;

    /// The element's local name.
    QString getTagName() const;
    /// Sets the object name and emits tagNameChanged(), also when it is unchanged.
    void setTagName(const QString& tagName);

    /// The element's namespace URI.
    QString getTagNameSpace() const;
    /// Emits tagNameSpaceChanged() on every call.
    void setTagNameSpace(const QString& tagNameSpace);

    /// The element's own character data.
    QString content() const;
    /// Emits contentChanged() on every call.
    void setContent(const QString& content);
    /// Appends to the content and emits contentChanged().
    Q_INVOKABLE void appendContent(const QString& content);

    /// All attribute names in ascending order.
    QStringList attributeNames() const;
    /// Inserts the attribute or replaces its value; emits nothing.
    void setAttribute(const QString& name, const QString& value);
    /// The value, or a null string when there is no such attribute.
    Q_INVOKABLE QString attribute(const QString& name) const;
    /// True when the element has the attribute @p name.
    Q_INVOKABLE bool hasAttribute(const QString& name) const;

    /// The first descendant element named @p name: direct children first,
    /// then each child's descendants in order. Null when there is none.
    Q_INVOKABLE Vantles::VTXmlElement* childElement(const QString& name) const;
    /// Every descendant object named @p name, depth first in child order.
    Q_INVOKABLE QList<QObject*> childElementList(const QString& name) const;

    /// An indented one-tag-per-line rendering of the element and its element
    /// children, for diagnostics: no content, no namespace, no escaping.
    /// Each line is filled by successive QString::arg() calls, so a
    /// placeholder such as "%1" in a name or value is filled in turn.
    /// The outermost tag is indented by @p index spaces, each level by two more.
    Q_INVOKABLE QString toXml(int index) const;
    /// toXml() with no indent at the top.
    Q_INVOKABLE QString toXml() const;

Q_SIGNALS:
    /// setTagName() was called.
    void tagNameChanged();
    /// setTagNameSpace() was called.
    void tagNameSpaceChanged();
    /// The content was set or appended to.
    void contentChanged();

private:
    std::unique_ptr<VTXmlElementPrivate> const d;
};

} // namespace Vantles
