#include "VTControlFileScanner_p.h"

#include <QLocale>
#include <QRegularExpression>
#include <QXmlStreamReader>

#include <cstring>

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

VTControlFileScan scanControlFile(const QByteArray& data)
{
    VTControlFileScan scan;
    scan.size = data.size();
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
