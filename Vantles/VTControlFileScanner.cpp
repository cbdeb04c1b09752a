// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTControlFileScanner_p.h"

#include "VTIndex.h"
#include "VTXmlParser.h"

#include <QLocale>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <algorithm>
#include <cstring>
#include <vector>

namespace Vantles {

namespace {

// Maps the reader's character offsets (UTF-16 units after any byte order
// mark) to byte offsets in UTF-8 data. Offsets only grow during a read, so
// the walk over the data is done once.
class Utf8Cursor {
public:
    explicit Utf8Cursor(const QByteArray& data)
        : m_data(data)
    {
        if (data.startsWith("\xEF\xBB\xBF"))
            m_byte = 3;
    }

    qint64 byteAt(qint64 characterOffset)
    {
        const qint64 size = m_data.size();
        const auto* bytes = reinterpret_cast<const unsigned char*>(m_data.constData());
        while (m_character < characterOffset && m_byte < size) {
            const unsigned char lead = bytes[m_byte];
            if (lead < 0x80) {
                m_byte += 1;
                m_character += 1;
            } else if ((lead & 0xE0) == 0xC0) {
                m_byte += 2;
                m_character += 1;
            } else if ((lead & 0xF0) == 0xE0) {
                m_byte += 3;
                m_character += 1;
            } else if ((lead & 0xF8) == 0xF0) {
                m_byte += 4;
                m_character += 2; // a surrogate pair
            } else {
                m_byte += 1;
                m_character += 1;
            }
        }
        return m_character == characterOffset ? qMin(m_byte, size) : -1;
    }

private:
    const QByteArray& m_data;
    qint64 m_byte = 0;
    qint64 m_character = 0;
};

// The 1-based line and column (in characters) of byte offsets, asked for in
// growing order, so that the lines are counted once.
class LineCounter {
public:
    explicit LineCounter(const QByteArray& data)
        : m_data(data)
    {
    }

    void locate(qint64 offset, qint64* line, qint64* column)
    {
        const char* begin = m_data.constData();
        for (const char* p = begin + m_counted;
             (p = static_cast<const char*>(std::memchr(p, '\n', size_t(offset - (p - begin)))));) {
            ++m_line;
            m_counted = ++p - begin;
            m_characters = 0;
        }
        // Characters, not bytes: count every byte that starts one.
        for (qint64 i = m_counted; i < offset; ++i) {
            if ((static_cast<unsigned char>(begin[i]) & 0xC0) != 0x80)
                ++m_characters;
        }
        m_counted = offset;
        *line = m_line;
        *column = m_characters + 1;
    }

private:
    const QByteArray& m_data;
    qint64 m_counted = 0; // bytes looked at
    qint64 m_line = 1;
    qint64 m_characters = 0; // on the current line, up to m_counted
};

bool isUtf8Name(QStringView encoding)
{
    return encoding.isEmpty() || encoding.compare(QLatin1String("UTF-8"), Qt::CaseInsensitive) == 0
        || encoding.compare(QLatin1String("US-ASCII"), Qt::CaseInsensitive) == 0;
}

} // namespace

VTControlFileScan scanControlFileWithReader(const QByteArray& data)
{
    VTControlFileScan scan;
    scan.size = data.size();
    if (data.contains("<!ENTITY") && VTXmlParser::expansionBound(data) > VTIndex::MaximumFileText) {
        scan.error = QStringLiteral("The entities of this file could expand it beyond %1 characters.")
                         .arg(VTIndex::MaximumFileText);
        scan.errorLine = scan.errorColumn = 1;
        return scan;
    }
    // Pieces of the file are parsed on their own only when byte offsets can
    // be told: UTF-8 without a document type declaration.
    bool cuttable = !data.startsWith("\xFE\xFF") && !data.startsWith("\xFF\xFE");
    Utf8Cursor cursor(data);
    LineCounter lines(data);
    QXmlStreamReader reader(data);
    reader.setNamespaceProcessing(true);

    // The byte range of the tag the reader has just read: it ends at the
    // reader's offset and starts at the last '<' before it, since '<' cannot
    // appear inside a tag.
    auto tagRange = [&](qint64* begin, qint64* end) {
        *begin = *end = -1;
        const qint64 tagEnd = cuttable ? cursor.byteAt(reader.characterOffset()) : -1;
        if (tagEnd <= 0 || data.at(tagEnd - 1) != '>')
            return false;
        const void* open = memrchr(data.constData(), '<', size_t(tagEnd));
        if (!open)
            return false;
        *begin = static_cast<const char*>(open) - data.constData();
        *end = tagEnd;
        return true;
    };

    int depth = 0;
    VTScannedVantle open; // the vantle being read, while depth >= 2
    bool inVantle = false;
    qsizetype text = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::StartDocument:
            cuttable = cuttable && isUtf8Name(reader.documentEncoding());
            break;
        case QXmlStreamReader::DTD:
            cuttable = false;
            break;
        case QXmlStreamReader::StartElement: {
            ++depth;
            if (depth == 1) {
                scan.rootName = reader.qualifiedName().toString();
                const QXmlStreamAttributes attributes = reader.attributes();
                scan.hasLocale = attributes.hasAttribute(QLatin1String("locale"));
                scan.locale = attributes.value(QLatin1String("locale")).toString();
                scan.search = attributes.value(QLatin1String("search")).toString();
                qint64 begin, end;
                if (tagRange(&begin, &end)) {
                    scan.rootTag = data.mid(begin, end - begin);
                    lines.locate(begin, &scan.rootLine, &scan.rootColumn);
                } else {
                    scan.rootLine = reader.lineNumber();
                    cuttable = false;
                }
                if (!scan.isControlFile())
                    return scan;
            } else if (depth == 2 && reader.qualifiedName() != QLatin1String("vantle")) {
                VTScannedVantle other;
                other.key = reader.qualifiedName().toString();
                qint64 end;
                if (tagRange(&other.begin, &end))
                    lines.locate(other.begin, &other.line, &other.column);
                else
                    other.line = reader.lineNumber();
                other.begin = -1;
                scan.others.append(other);
            } else if (depth == 2) {
                inVantle = true;
                open = VTScannedVantle();
                const QXmlStreamAttributes attributes = reader.attributes();
                open.hasKey = attributes.hasAttribute(QLatin1String("key"));
                open.key = attributes.value(QLatin1String("key")).toString();
                qint64 end;
                if (tagRange(&open.begin, &end))
                    lines.locate(open.begin, &open.line, &open.column);
                else
                    open.line = reader.lineNumber();
            }
            break;
        }
        case QXmlStreamReader::Characters:
            // Entities can make a small file expand to any size: stop where
            // a lookup would stop too.
            text += reader.text().size();
            if (text > VTIndex::MaximumFileText) {
                reader.raiseError(QStringLiteral("The text of this file exceeds %1 characters with its entities "
                                                 "expanded.")
                                      .arg(VTIndex::MaximumFileText));
            }
            break;
        case QXmlStreamReader::EndElement:
            if (depth == 2 && inVantle) {
                inVantle = false;
                const qint64 end = cuttable ? cursor.byteAt(reader.characterOffset()) : -1;
                if (open.begin >= 0 && end > open.begin && data.at(end - 1) == '>') {
                    open.end = end;
                } else {
                    open.begin = open.end = -1;
                }
                scan.vantles.append(open);
            }
            --depth;
            break;
        default:
            break;
        }
    }
    if (reader.hasError()) {
        scan.error = reader.errorString();
        scan.errorLine = reader.lineNumber();
        scan.errorColumn = qMax<qint64>(1, reader.columnNumber());
    }
    if (!cuttable) {
        scan.rootTag.clear();
        for (VTScannedVantle& vantle : scan.vantles)
            vantle.begin = vantle.end = -1;
    }
    return scan;
}

namespace {

// A scanner for the common control file: UTF-8, no document type
// declaration. It checks every well-formedness rule the reader checks and
// gives up (returns false) on anything else, errors included, so that the
// reader then reads the file and reports as it would.
class FastScanner {
public:
    FastScanner(const QByteArray& data, VTControlFileScan* scan)
        : m_data(data)
        , m_p(data.constData())
        , m_end(data.constData() + data.size())
        , m_scan(scan)
        , m_lines(data)
    {
    }

    bool run()
    {
        if (m_data.startsWith("\xFE\xFF") || m_data.startsWith("\xFF\xFE"))
            return false;
        if (m_data.startsWith("\xEF\xBB\xBF"))
            m_p += 3;
        if (startsWith("<?xml") && m_p + 5 < m_end && isSpace(m_p[5]) && !declaration())
            return false;
        if (!misc())
            return false;
        if (m_p == m_end || !element(true))
            return false;
        // A file with another root is checked to its end all the same: the
        // reader judges the encoding of the whole file before its first tag.
        while (!m_open.empty()) {
            if (!content() || !element(false))
                return false;
        }
        return misc() && m_p == m_end;
    }

private:
    struct Open {
        QByteArrayView name;
        size_t prefixes; // declared prefixes before this element
        bool vantle;
    };

    static bool isSpace(char c) { return c == ' ' || c == '\n' || c == '\t' || c == '\r'; }
    static bool isNameStart(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':'; }
    static bool isNameChar(char c)
    {
        return isNameStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
    }

    bool startsWith(const char* text) const
    {
        const size_t length = std::strlen(text);
        return size_t(m_end - m_p) >= length && std::memcmp(m_p, text, length) == 0;
    }

    void skipSpaces()
    {
        while (m_p < m_end && isSpace(*m_p))
            ++m_p;
    }

    // One multi-byte UTF-8 character that XML allows.
    bool character()
    {
        const auto* p = reinterpret_cast<const unsigned char*>(m_p);
        const qint64 left = m_end - m_p;
        auto follows = [&](int i, unsigned char low, unsigned char high) {
            return i < left && p[i] >= low && p[i] <= high;
        };
        if (p[0] >= 0xC2 && p[0] <= 0xDF && follows(1, 0x80, 0xBF)) {
            m_p += 2;
        } else if (p[0] >= 0xE0 && p[0] <= 0xEF) {
            const unsigned char low = p[0] == 0xE0 ? 0xA0 : 0x80;
            const unsigned char high = p[0] == 0xED ? 0x9F : 0xBF; // no surrogates
            if (!follows(1, low, high) || !follows(2, 0x80, 0xBF))
                return false;
            if (p[0] == 0xEF && p[1] == 0xBF && p[2] >= 0xBE) // U+FFFE, U+FFFF
                return false;
            m_p += 3;
        } else if (p[0] >= 0xF0 && p[0] <= 0xF4) {
            const unsigned char low = p[0] == 0xF0 ? 0x90 : 0x80;
            const unsigned char high = p[0] == 0xF4 ? 0x8F : 0xBF;
            if (!follows(1, low, high) || !follows(2, 0x80, 0xBF) || !follows(3, 0x80, 0xBF))
                return false;
            m_p += 4;
        } else {
            return false;
        }
        return true;
    }

    // Characters up to @p stop (exclusive), as XML allows them.
    bool characters(const char* stop)
    {
        while (m_p < stop) {
            const unsigned char c = static_cast<unsigned char>(*m_p);
            if (c >= 0x80) {
                if (!character() || m_p > stop)
                    return false;
            } else if (c < 0x20 && !isSpace(char(c))) {
                return false;
            } else {
                ++m_p;
            }
        }
        return true;
    }

    const char* find(const char* text) const
    {
        const QByteArrayView rest(m_p, m_end - m_p);
        const qsizetype at = rest.indexOf(QByteArrayView(text));
        return at < 0 ? nullptr : m_p + at;
    }

    bool name(QByteArrayView* result)
    {
        const char* start = m_p;
        if (m_p == m_end || !isNameStart(*m_p))
            return false;
        while (m_p < m_end && isNameChar(*m_p))
            ++m_p;
        *result = QByteArrayView(start, m_p - start);
        return m_p < m_end;
    }

    // "&...;": one of the five predefined entities or a character reference.
    bool reference()
    {
        const char* semicolon = static_cast<const char*>(std::memchr(m_p, ';', size_t(std::min<qint64>(m_end - m_p, 12))));
        if (!semicolon)
            return false;
        const QByteArrayView body(m_p + 1, semicolon - m_p - 1);
        if (body.startsWith('#')) {
            const bool hex = body.startsWith("#x");
            const QByteArrayView digits = body.sliced(hex ? 2 : 1);
            uint value = 0;
            for (const char c : digits) {
                const int digit = c >= '0' && c <= '9' ? c - '0'
                    : hex && c >= 'a' && c <= 'f'      ? c - 'a' + 10
                    : hex && c >= 'A' && c <= 'F'      ? c - 'A' + 10
                                                       : -1;
                if (digit < 0 || value > 0x10FFFF)
                    return false;
                value = value * (hex ? 16 : 10) + uint(digit);
            }
            const bool allowed = value == 0x9 || value == 0xA || value == 0xD || (value >= 0x20 && value <= 0xD7FF)
                || (value >= 0xE000 && value <= 0xFFFD) || (value >= 0x10000 && value <= 0x10FFFF);
            if (digits.isEmpty() || !allowed)
                return false;
        } else if (body != "lt" && body != "gt" && body != "amp" && body != "apos" && body != "quot") {
            return false;
        }
        m_p = semicolon + 1;
        return true;
    }

    bool comment()
    {
        m_p += 4;
        const char* close = find("--");
        if (!close || close + 2 >= m_end || close[2] != '>' || !characters(close))
            return false;
        m_p = close + 3;
        return true;
    }

    bool processingInstruction()
    {
        m_p += 2;
        QByteArrayView target;
        if (!name(&target) || target.compare("xml", Qt::CaseInsensitive) == 0 || target.contains(':'))
            return false;
        const char* close = find("?>");
        if (!close || (close != m_p && !isSpace(*m_p)) || !characters(close))
            return false;
        m_p = close + 2;
        return true;
    }

    // The version must be 1.0 and the encoding, when given, one whose bytes
    // are UTF-8; anything else is the reader's to judge.
    bool declaration()
    {
        // XML's white space only: "\\s" would take a form feed too.
        static const QRegularExpression plain(QStringLiteral(
            "^[ \\t\\r\\n]+version[ \\t\\r\\n]*=[ \\t\\r\\n]*([\"'])1\\.0\\1"
            "([ \\t\\r\\n]+encoding[ \\t\\r\\n]*=[ \\t\\r\\n]*([\"'])(?i:utf-8|us-ascii)\\3)?"
            "([ \\t\\r\\n]+standalone[ \\t\\r\\n]*=[ \\t\\r\\n]*([\"'])(?:yes|no)\\5)?[ \\t\\r\\n]*$"));
        const char* close = find("?>");
        if (!close)
            return false;
        if (!plain.match(QLatin1String(m_p + 5, close - m_p - 5)).hasMatch())
            return false;
        m_p = close + 2;
        return true;
    }

    // White space, comments and processing instructions, before and after
    // the document element.
    bool misc()
    {
        for (;;) {
            skipSpaces();
            if (m_p == m_end || *m_p != '<')
                return m_p == m_end || m_open.empty();
            if (startsWith("<!--")) {
                if (!comment())
                    return false;
            } else if (startsWith("<?")) {
                if (!processingInstruction())
                    return false;
            } else {
                return true;
            }
        }
    }

    // Character data up to the next '<'.
    bool content()
    {
        for (;;) {
            while (m_p < m_end && !special(*m_p))
                ++m_p;
            if (m_p == m_end)
                return false;
            const unsigned char c = static_cast<unsigned char>(*m_p);
            if (c == '<')
                return true;
            if (c == '&') {
                if (!reference())
                    return false;
            } else if (c == ']') {
                if (startsWith("]]>"))
                    return false;
                ++m_p;
            } else if (c >= 0x80) {
                if (!character())
                    return false;
            } else if (isSpace(char(c))) {
                ++m_p;
            } else {
                return false;
            }
        }
    }

    static bool special(char c)
    {
        const auto u = static_cast<unsigned char>(c);
        return u < 0x20 || u >= 0x80 || c == '<' || c == '&' || c == ']';
    }

    bool declared(QByteArrayView prefix) const
    {
        return prefix == "xml" || std::find(m_prefixes.cbegin(), m_prefixes.cend(), prefix) != m_prefixes.cend();
    }

    // A qualified name whose prefix, if any, is declared.
    bool qualified(QByteArrayView name) const
    {
        const qsizetype colon = name.indexOf(':');
        if (colon < 0)
            return true;
        if (colon == 0 || colon == name.size() - 1 || name.lastIndexOf(':') != colon)
            return false;
        return declared(name.first(colon));
    }

    // An attribute value as the reader gives it: references resolved, white
    // space characters turned into blanks.
    static QString attributeValue(QByteArrayView raw)
    {
        if (!raw.contains('&') && !raw.contains('\n') && !raw.contains('\t') && !raw.contains('\r'))
            return QString::fromUtf8(raw);
        QByteArray value;
        for (qsizetype i = 0; i < raw.size(); ++i) {
            const char c = raw.at(i);
            if (c == '\r' && i + 1 < raw.size() && raw.at(i + 1) == '\n') {
                continue;
            } else if (isSpace(c)) {
                value += ' ';
            } else if (c == '&') {
                const qsizetype semicolon = raw.indexOf(';', i);
                const QByteArrayView body = raw.sliced(i + 1, semicolon - i - 1);
                if (body.startsWith('#')) {
                    const char32_t code
                        = body.startsWith("#x") ? body.sliced(2).toUInt(nullptr, 16) : body.sliced(1).toUInt();
                    value += QString::fromUcs4(&code, 1).toUtf8();
                } else {
                    value += body == "lt" ? '<' : body == "gt" ? '>' : body == "amp" ? '&' : body == "apos" ? '\'' : '"';
                }
                i = semicolon;
            } else {
                value += c;
            }
        }
        return QString::fromUtf8(value);
    }

    // A start, end or empty tag, a comment, a processing instruction or a
    // CDATA section at '<'; @p root for the document element.
    bool element(bool root)
    {
        if (m_p == m_end || *m_p != '<')
            return false;
        const char* tagBegin = m_p;
        if (!root) {
            if (startsWith("</"))
                return endTag();
            if (startsWith("<!--"))
                return comment();
            if (startsWith("<![CDATA[")) {
                m_p += 9;
                const char* close = find("]]>");
                if (!close || !characters(close))
                    return false;
                m_p = close + 3;
                return true;
            }
            if (startsWith("<?"))
                return processingInstruction();
        }
        if (startsWith("<!"))
            return false;
        ++m_p;
        QByteArrayView tag;
        if (!name(&tag))
            return false;
        const size_t prefixes = m_prefixes.size();
        m_attributes.clear();
        bool empty = false;
        for (;;) {
            const char* before = m_p;
            skipSpaces();
            if (m_p == m_end)
                return false;
            if (*m_p == '>') {
                ++m_p;
                break;
            }
            if (*m_p == '/') {
                if (m_p + 1 == m_end || m_p[1] != '>')
                    return false;
                m_p += 2;
                empty = true;
                break;
            }
            QByteArrayView attribute;
            if (m_p == before || !name(&attribute))
                return false;
            skipSpaces();
            if (m_p == m_end || *m_p != '=')
                return false;
            ++m_p;
            skipSpaces();
            if (m_p == m_end || (*m_p != '"' && *m_p != '\''))
                return false;
            const char quote = *m_p++;
            const char* valueBegin = m_p;
            while (m_p < m_end && *m_p != quote) {
                const unsigned char c = static_cast<unsigned char>(*m_p);
                if (c == '<')
                    return false;
                if (c == '&') {
                    if (!reference())
                        return false;
                } else if (c >= 0x80) {
                    if (!character())
                        return false;
                } else if (c < 0x20 && !isSpace(char(c))) {
                    return false;
                } else {
                    ++m_p;
                }
            }
            if (m_p == m_end)
                return false;
            const QByteArrayView value(valueBegin, m_p - valueBegin);
            ++m_p;
            for (const auto& [other, otherValue] : m_attributes) {
                // Two names of one namespace are the same attribute: the reader's to judge.
                if (other == attribute || (other.contains(':') && attribute.contains(':')
                                              && other.sliced(other.indexOf(':')) == attribute.sliced(attribute.indexOf(':'))))
                    return false;
            }
            m_attributes.push_back({ attribute, value });
            if (attribute.startsWith("xmlns:")) {
                const QByteArrayView prefix = attribute.sliced(6);
                if (prefix.isEmpty() || value.isEmpty() || prefix == "xmlns" || prefix == "xml" || prefix.contains(':'))
                    return false;
                m_prefixes.push_back(prefix);
            } else if (attribute == "xmlns") {
                if (value == "http://www.w3.org/XML/1998/namespace" || value == "http://www.w3.org/2000/xmlns/")
                    return false;
            }
        }
        if (!qualified(tag))
            return false;
        for (const auto& [attribute, value] : m_attributes) {
            if (attribute != "xmlns" && !attribute.startsWith("xmlns:") && !qualified(attribute))
                return false;
        }
        auto attributeNamed = [this](const char* wanted, bool* present) {
            for (const auto& [attribute, value] : m_attributes) {
                if (attribute == wanted) {
                    *present = true;
                    return attributeValue(value);
                }
            }
            *present = false;
            return QString();
        };

        const size_t depth = m_open.size() + 1;
        bool vantle = false;
        if (depth == 1) {
            m_scan->rootName = QString::fromLatin1(tag);
            m_lines.locate(tagBegin - m_data.constData(), &m_scan->rootLine, &m_scan->rootColumn);
            m_scan->locale = attributeNamed("locale", &m_scan->hasLocale);
            bool present;
            m_scan->search = attributeNamed("search", &present);
            m_scan->rootTag = QByteArray(tagBegin, m_p - tagBegin);
        } else if (depth == 2 && m_scan->isControlFile()) {
            VTScannedVantle found;
            found.begin = tagBegin - m_data.constData();
            m_lines.locate(found.begin, &found.line, &found.column);
            vantle = tag == "vantle";
            if (vantle) {
                found.key = attributeNamed("key", &found.hasKey);
                m_vantle = found;
            } else {
                found.key = QString::fromLatin1(tag);
                found.begin = -1;
                m_scan->others.append(found);
            }
        }
        if (empty) {
            m_prefixes.resize(prefixes);
            if (vantle) {
                m_vantle.end = m_p - m_data.constData();
                m_scan->vantles.append(m_vantle);
            }
        } else {
            m_open.push_back({ tag, prefixes, vantle });
        }
        return true;
    }

    bool endTag()
    {
        m_p += 2;
        QByteArrayView tag;
        if (!name(&tag))
            return false;
        skipSpaces();
        if (m_p == m_end || *m_p != '>' || m_open.empty() || m_open.back().name != tag)
            return false;
        ++m_p;
        const Open closed = m_open.back();
        m_open.pop_back();
        m_prefixes.resize(closed.prefixes);
        if (closed.vantle && m_open.size() == 1) {
            m_vantle.end = m_p - m_data.constData();
            m_scan->vantles.append(m_vantle);
        }
        return true;
    }

    const QByteArray& m_data;
    const char* m_p;
    const char* const m_end;
    VTControlFileScan* m_scan;
    LineCounter m_lines;
    std::vector<Open> m_open;
    std::vector<QByteArrayView> m_prefixes;
    std::vector<std::pair<QByteArrayView, QByteArrayView>> m_attributes;
    VTScannedVantle m_vantle; // the one being read
};

} // namespace

VTControlFileScan scanControlFile(const QByteArray& data)
{
    VTControlFileScan scan;
    scan.size = data.size();
    if (FastScanner(data, &scan).run())
        return scan;
    return scanControlFileWithReader(data);
}

bool isValidLocaleName(const QString& name)
{
    static const QRegularExpression pattern(
        QStringLiteral("^([a-z]{2,3})(?:[_-]([A-Z][a-z]{3}))?(?:[_-]([A-Z]{2}|[0-9]{3}))?$"));
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch())
        return false;
    if (QLocale::codeToLanguage(match.capturedView(1)) == QLocale::AnyLanguage)
        return false;
    if (match.hasCaptured(2) && QLocale::codeToScript(match.capturedView(2)) == QLocale::AnyScript)
        return false;
    if (match.hasCaptured(3) && QLocale::codeToTerritory(match.capturedView(3)) == QLocale::AnyTerritory)
        return false;
    return true;
}

} // namespace Vantles
