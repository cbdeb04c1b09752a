// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringView>
#include <QXmlStreamAttributes>

#include <Vantles/vantles_export.h>

#include <memory>

class QIODevice;
class QObject;
class QXmlStreamReader;
struct QMetaObject;

namespace Vantles {

class VTXmlParserPrivate;

/**
 * Reads an XML document and builds, while reading, a tree of QObjects: one
 * object per element, of a class chosen by the element's local name from a
 * registry of meta-objects, by default Vantles::VTXmlElement.
 *
 * A filter callback decides, element by element, whether an object is made
 * and whether the callback is asked again for the element's descendants (see
 * FilterResult), so a caller can read a large file while building only the
 * elements it needs.
 *
 * A class is made through its invokable constructor (QObject* parent,
 * const QXmlStreamAttributes& attributes) when it has one; otherwise through
 * (QObject* parent), after which every attribute is written to the property
 * of the attribute's local name. Tag name and namespace go to the properties
 * "tagName" and "tagNameSpace" when the class has them, character data to an
 * invokable appendContent(const QString&).
 *
 * Diagnostics go to Qt's debug channel. A parser is meant to live on the
 * stack for one or a few reads on one thread.
 */
class VANTLES_EXPORT VTXmlParser {
public:
    /// Bits of the filter callback's answer.
    enum FilterResult {
        GenerateAndAsk = 1, ///< make this element and ask again for each child
        GenerateAll = 2, ///< make this element and all its descendants without asking
        SkipElement = 4, ///< make no object for this element
        SkipDescendants = 8, ///< make nothing below this element and do not ask for it
    };

    /// Called with the qualified element name, its attributes and the user data.
    using ShouldGenerateFunction = int (*)(const QString& name, const QXmlStreamAttributes& attributes, void* userData);

    /// Both may be null; with no callback every element is made.
    explicit VTXmlParser(ShouldGenerateFunction shouldGenerate = nullptr, void* userData = nullptr);
    virtual ~VTXmlParser();

    VTXmlParser(const VTXmlParser&) = delete;
    VTXmlParser& operator=(const VTXmlParser&) = delete;

    /// Makes elements named @p name (local name, case-sensitive) of the class of @p metaObject.
    void registerElement(const QString& name, const QMetaObject* metaObject);
    /// Makes elements named @p name of the default class again.
    void unregisterElement(const QString& name);
    /// The meta-object registered for exactly @p name, or null.
    const QMetaObject* metaObjectForElement(const QString& name) const;

    /// The class made for names that are not registered; null makes any
    /// unregistered element stop the parse.
    void setDefaultElement(const QMetaObject* metaObject);
    /// The class made for names that are not registered (VTXmlElement
    /// unless set).
    const QMetaObject* defaultElement() const;

    /**
     * Bounds on what one read() builds, so that a hostile or broken document
     * cannot exhaust the stack, the memory or the time of its reader. Zero
     * means no bound.
     *
     * An element nested deeper than maximumDepth (the document element is at
     * depth 1) is skipped with its descendants; the text of one element is
     * cut after maximumElementText characters; the read stops once the
     * document's text, entities expanded, exceeds maximumDocumentText
     * characters. Each of these is listed in problems().
     */
    struct Limits {
        int maximumDepth = 0; ///< deepest element made, the document element at 1
        qsizetype maximumElementText = 0; ///< characters kept of one element's text
        qsizetype maximumDocumentText = 0; ///< characters of the whole document, entities expanded
    };
    /// The bounds of the next read()s.
    void setLimits(const Limits& limits);
    /// The bounds in force; none unless set.
    Limits limits() const;

    /**
     * An upper bound of the characters @p data expands to: its size plus,
     * when its document type declares entities, the longest expansion of one
     * of them (nested references included, at most what the reader allows)
     * for every '&'. The reader expands a run of references into one string
     * before anyone can count it, so a document that declares entities and
     * whose bound exceeds maximumDocumentText is not read at all.
     */
    static qint64 expansionBound(const QByteArray& data);

    /// What a limit made the last read() leave out, and where.
    struct Problem {
        qint64 line = 0; ///< the line of the document, from 1
        qint64 column = 0; ///< the column of the line, from 1
        QString message; ///< what was left out, as a sentence
    };
    /// What the limits made the last read() leave out, in document order.
    QList<Problem> problems() const;

    /**
     * Parses the whole input and returns the objects made for top-level
     * elements (normally one, for the document element). The caller owns
     * them and, through QObject parenthood, everything below them.
     *
     * A malformed document, or an element that cannot be made, stops the
     * parse; what was built until then is returned, so callers must not
     * assume a complete tree. Objects made below a skipped element have no
     * parent and cannot be reached; they are deleted before read() returns.
     */
    QList<QObject*> read(QIODevice* input);
    /// read() of a document in memory.
    QList<QObject*> read(const QByteArray& data);

protected:
    /// The handlers the reading loop drives; each returns false to stop the parse.
    /// An element starts: asks the filter and makes its object.
    virtual bool startElement(QStringView namespaceUri, QStringView localName, QStringView qualifiedName,
        const QXmlStreamAttributes& attributes);
    /// The innermost element ends.
    virtual bool endElement();
    /// Character data of the innermost element: appended to its object's
    /// content.
    virtual bool characters(QStringView text);
    /// Whitespace between elements: handled as characters().
    virtual bool ignorableWhitespace(QStringView text);
    /// The document is not well-formed at @p lineNumber, @p columnNumber:
    /// writes @p message to the debug channel and stops.
    virtual bool fatalError(qint64 lineNumber, qint64 columnNumber, const QString& message);

private:
    QList<QObject*> readDocument(QXmlStreamReader& reader);

    std::unique_ptr<VTXmlParserPrivate> const d;
};

} // namespace Vantles
