// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include "VTTestHelpers.h"

#include <Vantles/VTXmlElement.h>
#include <Vantles/VTXmlParser.h>

#include <QFile>
#include <QHash>
#include <QPointer>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

#include <functional>

#include <memory>

using Vantles::VTXmlElement;
using Vantles::VTXmlParser;

// Records its instances, to see what the parser made and deleted again.
class CountedElement : public VTXmlElement {
    Q_OBJECT
public:
    Q_INVOKABLE CountedElement(QObject* parent, const QXmlStreamAttributes& attributes)
        : VTXmlElement(parent, attributes)
    {
        s_made.append({ attribute(QStringLiteral("id")), this, parent != nullptr });
    }

    struct Made {
        QString id;
        QPointer<CountedElement> object;
        bool hadParent;
    };
    static inline QList<Made> s_made;
};

// Without the (parent, attributes) constructor the parser writes the
// attributes to its properties one by one.
class PropertyElement : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title MEMBER title)
    Q_PROPERTY(int count MEMBER count)
    Q_PROPERTY(QString fixed READ fixed CONSTANT)
    Q_PROPERTY(QString tagName MEMBER tagName)
    Q_PROPERTY(QString tagNameSpace MEMBER tagNameSpace)
public:
    Q_INVOKABLE explicit PropertyElement(QObject* parent = nullptr)
        : QObject(parent)
    {
    }
    QString fixed() const { return QStringLiteral("fixed"); }
    Q_INVOKABLE void appendContent(const QString& text) { content += text; }

    QString title;
    int count = 0;
    QString tagName;
    QString tagNameSpace;
    QString content;
};

// No invokable constructor at all: the parser cannot make it.
class UnmakeableElement : public QObject {
    Q_OBJECT
};

namespace {

// Every message passes here before Qt Test sees it, so cleanup() can tell
// that nothing beyond the expected messages was written.
QStringList g_messages;
QtMessageHandler g_testlibHandler = nullptr;

void recordingHandler(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    g_messages.append(message);
    g_testlibHandler(type, context, message);
}

// The filter callback's script: answers by qualified name, GenerateAndAsk
// for names it does not list, and records what it was asked.
struct FilterScript {
    QHash<QString, int> results;
    QStringList calls;
    QList<QStringList> attributes;
    QList<void*> userData;
};
FilterScript* g_script = nullptr;

int scriptedFilter(const QString& name, const QXmlStreamAttributes& attributes, void* userData)
{
    g_script->userData.append(userData);
    g_script->calls.append(name);
    QStringList texts;
    for (const QXmlStreamAttribute& attribute : attributes)
        texts.append(attribute.qualifiedName().toString() + QLatin1Char('=') + attribute.value().toString());
    g_script->attributes.append(texts);
    return g_script->results.value(name, VTXmlParser::GenerateAndAsk);
}

// "root(a(a1),b)|other": tag names of trees, children in parentheses.
QString render(const QList<QObject*>& objects)
{
    QStringList texts;
    for (const QObject* object : objects) {
        const QString children = render(object->children());
        texts.append(object->property("tagName").toString()
            + (children.isEmpty() ? QString() : QLatin1Char('(') + children + QLatin1Char(')')));
    }
    return texts.join(objects.value(0) && objects.value(0)->parent() ? QLatin1Char(',') : QLatin1Char('|'));
}

// The roots read() hands over belong to the test; all of them must be parentless.
struct Roots {
    explicit Roots(QList<QObject*> list)
        : list(std::move(list))
    {
        for (const QObject* root : this->list)
            parentless &= root->parent() == nullptr;
    }
    ~Roots() { qDeleteAll(list); }
    Roots(const Roots&) = delete;
    Roots& operator=(const Roots&) = delete;
    VTXmlElement* element(int i) const { return qobject_cast<VTXmlElement*>(list.value(i)); }
    QString tree() const { return parentless ? render(list) : QStringLiteral("<root with a parent>"); }
    QList<QObject*> list;
    bool parentless = true;
};

// A row of text columns.
void addRow(const char* name, std::initializer_list<const char*> columns)
{
    QTestData& row = QTest::newRow(name);
    for (const char* column : columns)
        row << QString::fromUtf8(column);
}

QString billionLaughs(const QByteArray& body)
{
    QByteArray xml = "<?xml version=\"1.0\"?>\n<!DOCTYPE lolz [\n <!ENTITY lol \"lol\">\n";
    for (int level = 1; level <= 9; ++level) {
        const QByteArray previous = level == 1 ? QByteArray("lol") : "lol" + QByteArray::number(level - 1);
        xml += " <!ENTITY lol" + QByteArray::number(level) + " \"" + ("&" + previous + ";").repeated(10) + "\">\n";
    }
    return QString::fromUtf8(xml + "]>\n" + body + "\n");
}

} // namespace

class TestVTXmlParser : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { g_testlibHandler = qInstallMessageHandler(recordingHandler); }
    void cleanupTestCase() { qInstallMessageHandler(g_testlibHandler); }
    void init();
    void cleanup();

    void nullCallbackBuildsEveryElementWithAllItsData();
    void filterDecidesWhatIsMadeAndWhatIsAsked_data();
    void filterDecidesWhatIsMadeAndWhatIsAsked();
    void skippedElementLeavesChildrenParentlessAndDeletesThem();
    void registryChoosesClassByLocalName();
    void elementThatCannotBeMadeIsReported_data();
    void elementThatCannotBeMadeIsReported();
    void badDocumentEndsWithFatalErrorAndPartialTree_data();
    void badDocumentEndsWithFatalErrorAndPartialTree();
    void externalEntitiesAndDtdAreNotFetched();
    void limitsHoldAtTheLimitAndCutOnePast_data();
    void limitsHoldAtTheLimitAndCutOnePast();
    void deepNestingBuildsTheWholeChain();
    void readStartsAfreshKeepsTheRegistryAndPassesNamesAndUserData();

private:
    void expectMessage(const QString& message);
    QStringList m_expectedMessages;
    std::unique_ptr<VTTest::LiveObjects> m_live;
};

void TestVTXmlParser::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    g_messages.clear();
    m_expectedMessages.clear();
    CountedElement::s_made.clear();
    g_script = nullptr;
    m_live = std::make_unique<VTTest::LiveObjects>();
    QVERIFY(m_live->isCounting());
}

void TestVTXmlParser::cleanup()
{
    // Whatever a test did, the parser left nothing it made behind and wrote
    // exactly the messages the test expected.
    const qint64 left = m_live->count();
    m_live.reset();
    QCOMPARE(left, 0);
    QCOMPARE(g_messages, m_expectedMessages);
}

// The parser writes with qDebug() << QString: the text arrives quoted, with
// inner quotes and backslashes escaped.
void TestVTXmlParser::expectMessage(const QString& message)
{
    QString quoted = message;
    quoted.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
    quoted = QLatin1Char('"') + quoted + QLatin1Char('"');
    QTest::ignoreMessage(QtDebugMsg, quoted.toUtf8().constData());
    m_expectedMessages.append(quoted);
}

void TestVTXmlParser::nullCallbackBuildsEveryElementWithAllItsData()
{
    const QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- a comment -->\n"
                           "<vantle xmlns=\"urn:vantles\" xmlns:x=\"  urn:extra \" key=\"open\" x:scope=\"file\">\n"
                           "  <title>Open &amp; save <![CDATA[<now>]]></title>\n"
                           "  <x:text b=\"2\" a=\"1\">Line one<br/>line two\t</x:text>\n"
                           "</vantle>\n";
    QTemporaryDir dir;
    QFile file(VTTest::writeFile(dir, QStringLiteral("Control/open.xml"), xml));
    QVERIFY(file.open(QIODevice::ReadOnly));

    VTXmlParser parser;
    const Roots fromBytes(parser.read(xml));
    const Roots fromDevice(parser.read(&file));
    for (const Roots* roots : { &fromBytes, &fromDevice }) {
        QCOMPARE(roots->tree(), QStringLiteral("vantle(title,x:text(br))"));
        // Namespace declarations are not attributes; prefixed names keep their prefix.
        VTXmlElement* root = roots->element(0);
        QCOMPARE(root->toXml(),
            QStringLiteral("<vantle key=\"open\" x:scope=\"file\">\n  <title/>\n  <x:text a=\"1\" b=\"2\">\n"
                           "    <br/>\n  </x:text>\n</vantle>"));
        QCOMPARE(root->content(), QStringLiteral("\n  \n  \n")); // white space is content like any other
        QCOMPARE(root->childElement(QStringLiteral("title"))->content(), QStringLiteral("Open & save <now>"));
        VTXmlElement* text = root->childElement(QStringLiteral("x:text"));
        QCOMPARE(text->getTagNameSpace(), QStringLiteral("urn:extra")); // trimmed
        QCOMPARE(text->content(), QStringLiteral("Line oneline two\t"));
        VTXmlElement* br = text->childElement(QStringLiteral("br"));
        QVERIFY(br->content().isNull());
        QCOMPARE(br->getTagNameSpace(), QStringLiteral("urn:vantles"));
    }
}

void TestVTXmlParser::filterDecidesWhatIsMadeAndWhatIsAsked_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("tree");
    QTest::addColumn<QString>("calls");

    // Read from <root><a><a1><a11/></a1><a2/></a><b><b1/></b><c/></root>.
    const char* all = "root(a(a1(a11),a2),b(b1),c)";
    const char* everyone = "root,a,a1,a11,a2,b,b1,c";
    const char* notBelowA = "root,a,b,b1,c";
    addRow("1 everywhere", { "", all, everyone });
    addRow("0 counts as generate and ask", { "a=0", all, everyone });
    addRow("2 makes the subtree unasked, then asking resumes", { "a=2;b1=4", "root(a(a1(a11),a2),b,c)", notBelowA });
    addRow("3 is generate all", { "a=3;a1=12", all, notBelowA });
    addRow("8 keeps the element, nothing below", { "a=8", "root(a,b(b1),c)", notBelowA });
    addRow("12 drops the element and everything below", { "a=12", "root(b(b1),c)", notBelowA });
    addRow("4 alone drops the element, children still asked", { "a=4", "root(b(b1),c)", everyone });
    addRow("4 below an element made", { "a1=4", "root(a(a2),b(b1),c)", everyone });
    addRow("6 drops the element, makes the children unasked", { "a=6", "root(b(b1),c)", notBelowA });
    addRow("root 4 leaves no roots", { "root=4", "", everyone });
    addRow("8 then 2 elsewhere", { "a=8;b=2", "root(a,b(b1),c)", "root,a,b,c" });
}

void TestVTXmlParser::filterDecidesWhatIsMadeAndWhatIsAsked()
{
    QFETCH(QString, script);

    FilterScript filter;
    for (const QString& entry : script.split(QLatin1Char(';'), Qt::SkipEmptyParts))
        filter.results.insert(entry.section(QLatin1Char('='), 0, 0), entry.section(QLatin1Char('='), 1).toInt());
    g_script = &filter;

    VTXmlParser parser(scriptedFilter, &filter);
    const Roots roots(parser.read(QByteArrayLiteral("<root><a><a1><a11/></a1><a2/></a><b><b1/></b><c/></root>")));
    QTEST(roots.tree(), "tree");
    QTEST(filter.calls.join(QLatin1Char(',')), "calls");
}

void TestVTXmlParser::skippedElementLeavesChildrenParentlessAndDeletesThem()
{
    FilterScript filter;
    filter.results.insert(QStringLiteral("a"), VTXmlParser::SkipElement);
    g_script = &filter;

    VTXmlParser parser(scriptedFilter, &filter);
    parser.setDefaultElement(&CountedElement::staticMetaObject);
    Roots roots(parser.read(QByteArrayLiteral("<root id=\"root\">r1<a id=\"a\">at<a1 id=\"a1\"><a11 id=\"a11\"/></a1>"
                                              "<a2 id=\"a2\"/>a2t</a><b id=\"b\"/>r2</root>")));

    // The children of the skipped element were made without a parent, are
    // not among the roots, and are gone once read() returns.
    QStringList made;
    for (const CountedElement::Made& m : CountedElement::s_made) {
        made.append(m.id + (m.hadParent ? QString() : QStringLiteral("(orphan)")));
        QCOMPARE(m.object.isNull(), m.id.startsWith(QLatin1Char('a')));
    }
    QCOMPARE(made.join(QLatin1Char(',')), QStringLiteral("root,a1(orphan),a11,a2(orphan),b"));
    QCOMPARE(roots.tree(), QStringLiteral("root(b)"));
    // The skipped element's text is dropped, not handed to its parent.
    QCOMPARE(roots.element(0)->content(), QStringLiteral("r1r2"));
}

void TestVTXmlParser::registryChoosesClassByLocalName()
{
    VTXmlParser parser;
    parser.registerElement(QStringLiteral("item"), &CountedElement::staticMetaObject);
    parser.registerElement(QStringLiteral("item"), &PropertyElement::staticMetaObject); // replaces
    parser.registerElement(QStringLiteral("other"), &CountedElement::staticMetaObject);
    parser.unregisterElement(QStringLiteral("other"));
    parser.unregisterElement(QStringLiteral("never registered"));

    // PropertyElement's attributes go to the properties of their local names,
    // its text to appendContent; the lookup is by local name, case-sensitive.
    const Roots roots(parser.read(QByteArrayLiteral("<root xmlns:p=\" urn:p\">"
                                                    "<p:item p:title=\"A\" count=\"7\">text <sub/>more</p:item>"
                                                    "<Item/><other id=\"o\"/></root>")));
    QCOMPARE(roots.tree(), QStringLiteral("root(p:item(sub),Item,other)"));
    const QObjectList children = roots.list.at(0)->children();
    auto item = qobject_cast<PropertyElement*>(children.at(0));
    QVERIFY(item);
    const QStringList values { item->title, QString::number(item->count), item->tagName, item->tagNameSpace,
        item->content };
    QCOMPARE(values.join(QLatin1Char('|')), QStringLiteral("A|7|p:item|urn:p|text more"));
    QCOMPARE(children.at(1)->metaObject(), &VTXmlElement::staticMetaObject);
    QCOMPARE(children.at(2)->metaObject(), &VTXmlElement::staticMetaObject);
}

void TestVTXmlParser::elementThatCannotBeMadeIsReported_data()
{
    QTest::addColumn<QString>("item"); // class of "item": property, none (null default) or unmakeable
    QTest::addColumn<QString>("xml");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("tree");

    // The message names the local name, without the prefix.
    const char* unknown = "<root><a/><q:item xmlns:q=\"urn:q\" a=\"1\"><a/></q:item><a/></root>";
    const char* notFound = "Could not find object for element: item";
    const char* noProperty = "No Property named bogus on PropertyElement";
    addRow("null default element", { "none", unknown, notFound, "root(a)" });
    addRow("class without invokable constructor", { "unmakeable", unknown, notFound, "root(a)" });
    addRow("unknown attribute stops the parse",
        { "property", "<root><item title=\"T\" bogus=\"1\"><sub/></item><after/></root>", noProperty, "root" });
    addRow("prefixed unknown attribute is named locally",
        { "property", "<root xmlns:p=\"urn:p\"><item p:bogus=\"1\"/><after/></root>", noProperty, "root" });
    addRow("read-only property, parsing continues",
        { "property", "<root><item fixed=\"x\" title=\"T\"/><after/></root>",
            "Could not write \"x\" to property fixed of PropertyElement", "root(item,after)" });
    addRow("unconvertible value with quotes and backslash",
        { "property", "<root><item count='say \"hi\" \\o/' title=\"T\"/><after/></root>",
            "Could not write \"say \"hi\" \\o/\" to property count of PropertyElement", "root(item,after)" });
}

void TestVTXmlParser::elementThatCannotBeMadeIsReported()
{
    QFETCH(QString, item);
    QFETCH(QString, xml);
    QFETCH(QString, message);

    VTXmlParser parser;
    parser.registerElement(QStringLiteral("root"), &VTXmlElement::staticMetaObject);
    parser.registerElement(QStringLiteral("a"), &VTXmlElement::staticMetaObject);
    if (item == QLatin1String("none"))
        parser.setDefaultElement(nullptr);
    else
        parser.registerElement(QStringLiteral("item"),
            item == QLatin1String("property") ? &PropertyElement::staticMetaObject
                                              : &UnmakeableElement::staticMetaObject);
    expectMessage(message);
    const Roots roots(parser.read(xml.toUtf8()));
    QTEST(roots.tree(), "tree");
    auto made = roots.list.isEmpty() ? nullptr : roots.list.at(0)->findChild<PropertyElement*>();
    if (made) {
        QCOMPARE(made->title, QStringLiteral("T"));
        QCOMPARE(made->count, 0);
    }
}

void TestVTXmlParser::badDocumentEndsWithFatalErrorAndPartialTree_data()
{
    QTest::addColumn<QString>("xml");
    QTest::addColumn<QString>("message"); // after "Fatal error at "; the stream reader's text
    QTest::addColumn<QString>("tree");

    addRow("truncated", { "<vantle>\n  <title>Open", "2,13 : Premature end of document.", "vantle(title)" });
    addRow("mismatched tag", { "<a>\n<b>\n</a>", "3,4 : Opening and ending tag mismatch.", "a(b)" });
    addRow("garbage", { "hello world", "1,1 : Start tag expected.", "" });
    addRow("empty input", { "", "1,0 : Premature end of document.", "" });
    addRow("two root elements", { "<a/>\n<b/>", "2,4 : Extra content at end of document.", "a" });
    addRow("text after the root", { "<a>\n</a>garbage", "2,5 : Extra content at end of document.", "a" });
    addRow("undeclared prefix", { "<a>\n  <p:b/>\n</a>", "2,8 : Namespace prefix 'p' not declared", "a" });
    addRow("duplicate attribute", { "<a>\n<b x=\"1\" x=\"2\"/></a>", "2,16 : Attribute 'x' redefined.", "a" });
    addRow("undeclared entity", { "<a>\n text &x; </a>", "2,9 : Entity 'x' not declared.", "a" });
    addRow("bare ampersand", { "<a>\n AT&T </a>", "2,6 : Expected ';', but got ' '.", "a" });
    addRow("late xml declaration",
        { "  <?xml version=\"1.0\"?><a/>", "1,23 : XML declaration not at start of document.", "" });
    addRow("self reference",
        { "<!DOCTYPE a [<!ENTITY x \"&y;\"><!ENTITY y \"&x;\">]><a>&x;</a>", "1,55 : Self-referencing entity detected.",
            "a" });

    // Entity expansion is bounded: these end quickly with an error instead of eating memory.
    const QString limit = QStringLiteral(" : Entity expands to more characters than the entity expansion limit.");
    QTest::newRow("billion laughs in content")
        << billionLaughs("<lolz>&lol9;</lolz>") << QStringLiteral("14,12") + limit << QStringLiteral("lolz");
    QTest::newRow("billion laughs in an attribute")
        << billionLaughs("<lolz a=\"&lol9;\"/>") << QStringLiteral("14,15") + limit << QString();
    QTest::newRow("quadratic blowup") << QStringLiteral("<!DOCTYPE a [<!ENTITY x \"%1\">]>\n<a>%2</a>")
                                             .arg(QString(100000, QLatin1Char('x')),
                                                 QStringLiteral("&x;").repeated(10000))
                                      << QStringLiteral("2,6") + limit << QStringLiteral("a");
}

void TestVTXmlParser::badDocumentEndsWithFatalErrorAndPartialTree()
{
    QFETCH(QString, xml);
    QFETCH(QString, message);

    VTXmlParser parser;
    expectMessage(QStringLiteral("Fatal error at ") + message);
    const Roots roots(parser.read(xml.toUtf8()));
    QTEST(roots.tree(), "tree");
    if (VTXmlElement* root = roots.element(0))
        QVERIFY2(root->content().size() < 100000, qPrintable(QString::number(root->content().size())));
}

void TestVTXmlParser::externalEntitiesAndDtdAreNotFetched()
{
    QTemporaryDir dir;
    const QString dtd = VTTest::writeFile(dir, QStringLiteral("ext.dtd"), "<!ENTITY x \"FROM-DTD\">\n");
    const QString secret = VTTest::writeFile(dir, QStringLiteral("secret.txt"), "SECRET");
    QVERIFY(!dtd.isEmpty() && !secret.isEmpty());
    const QString dtdUrl = QUrl::fromLocalFile(dtd).toString();
    // An external general entity, an external subset, an external parameter entity.
    for (const QString& doctype :
        { QStringLiteral("<!DOCTYPE a [<!ENTITY x SYSTEM \"%1\">]>").arg(QUrl::fromLocalFile(secret).toString()),
            QStringLiteral("<!DOCTYPE a SYSTEM \"%1\">").arg(dtdUrl),
            QStringLiteral("<!DOCTYPE a [<!ENTITY % p SYSTEM \"%1\"> %p;]>").arg(dtdUrl) }) {
        VTXmlParser parser;
        const Roots roots(parser.read((doctype + QStringLiteral("<a>before&x;after</a>")).toUtf8()));
        QCOMPARE(roots.tree(), QStringLiteral("a"));
        QCOMPARE(roots.element(0)->content(), QStringLiteral("beforeafter"));
    }
}

void TestVTXmlParser::limitsHoldAtTheLimitAndCutOnePast_data()
{
    QTest::addColumn<QString>("limits"); // depth, element text, document text
    QTest::addColumn<QString>("xml");
    QTest::addColumn<QString>("tree"); // tag[content](children)
    QTest::addColumn<QString>("problems"); // "line:column: message", one per line

    // The index's table holds the depth and an element's text at the limit;
    // here, what it cannot show.
    const char* document = "<a>12<b>34</b>56</a>";
    const char* entities = "<!DOCTYPE a [<!ENTITY e \"xyz\">]><a>&e;&e;</a>"; // 45 bytes, two references
    addRow("too deep after a text", { "2,0,0", "<a><b> <c/></b></a>", "a(b[ ])",
        "1:8: Elements are nested more than 2 deep here: this one and all below it are left out." });
    addRow("a piece of text after a text", { "0,5,0", "<a>1<![CDATA[2<3]]>45<b>x</b>6</a>", "a[12<34](b[x])",
        "1:20: The text of this element exceeds 5 characters: the rest is left out." });
    addRow("document text at the limit", { "0,0,6", document, "a[1256](b[34])", "" });
    addRow("document text one past", { "0,0,5", document, "a[12](b[34])",
        "1:15: The text of this document exceeds 5 characters with its entities expanded: the rest is left out." });
    addRow("entities at their bound", { "0,0,51", entities, "a[xyzxyz]", "" });
    addRow("entities one past their bound", { "0,0,50", entities, "",
        "1:1: The entities of this document could expand it beyond 50 characters: it is not read." });
}

void TestVTXmlParser::limitsHoldAtTheLimitAndCutOnePast()
{
    QFETCH(QString, limits);
    QFETCH(QString, xml);
    const QStringList numbers = limits.split(QLatin1Char(','));
    VTXmlParser parser;
    parser.setLimits({ numbers.at(0).toInt(), numbers.at(1).toInt(), numbers.at(2).toInt() });
    const Roots roots(parser.read(xml.toUtf8()));
    std::function<QString(const QObject*)> describe = [&](const QObject* object) {
        const auto element = qobject_cast<const VTXmlElement*>(object);
        QStringList children;
        for (const QObject* child : object->children())
            children.append(describe(child));
        const QString content = element->content();
        return element->getTagName() + (content.isEmpty() ? QString() : QLatin1Char('[') + content + QLatin1Char(']'))
            + (children.isEmpty() ? QString() : QLatin1Char('(') + children.join(QLatin1Char(',')) + QLatin1Char(')'));
    };
    QTEST(roots.list.isEmpty() ? QString() : describe(roots.list.first()), "tree");
    QStringList problems;
    for (const VTXmlParser::Problem& problem : parser.problems())
        problems.append(QStringLiteral("%1:%2: %3").arg(problem.line).arg(problem.column).arg(problem.message));
    QTEST(problems.join(QLatin1Char('\n')), "problems");
}

void TestVTXmlParser::deepNestingBuildsTheWholeChain()
{
    const int depth = 10000;
    const QByteArray open = QByteArrayLiteral("<e>").repeated(depth);
    for (const QByteArray& xml : { open + QByteArrayLiteral("</e>").repeated(depth), open }) {
        VTXmlParser parser;
        if (xml == open)
            expectMessage(QStringLiteral("Fatal error at 1,%1 : Premature end of document.").arg(3 * depth));
        const Roots roots(parser.read(xml));
        QCOMPARE(roots.list.size(), 1);
        int levels = 1;
        for (const QObject* node = roots.list.at(0); !node->children().isEmpty(); ++levels) {
            QCOMPARE(node->children().size(), 1);
            node = node->children().at(0);
        }
        QCOMPARE(levels, depth);
        // Roots deletes the chain here: 10,000 nested destructors.
    }
}

void TestVTXmlParser::readStartsAfreshKeepsTheRegistryAndPassesNamesAndUserData()
{
    FilterScript filter;
    filter.results.insert(QStringLiteral("skip"), VTXmlParser::SkipDescendants);
    g_script = &filter;
    int userData = 0;
    VTXmlParser parser(scriptedFilter, &userData);
    parser.registerElement(QStringLiteral("item"), &CountedElement::staticMetaObject);

    // The first read stops while the mode skips descendants.
    expectMessage(QStringLiteral("Fatal error at 1,15 : Premature end of document."));
    QCOMPARE(Roots(parser.read(QByteArrayLiteral("<root><skip><x>"))).tree(), QStringLiteral("root(skip)"));

    // The callback gets qualified names, attributes and the user data.
    filter = FilterScript();
    const Roots roots(parser.read(QByteArrayLiteral("<p:doc xmlns:p=\"urn:p\" xmlns=\"urn:d\" p:a=\"1\" b=\"two\">"
                                                    "<p:item id=\"i\"><y c=\"&lt;\"/></p:item></p:doc>")));
    QCOMPARE(roots.tree(), QStringLiteral("p:doc(p:item(y))"));
    QCOMPARE(filter.calls.join(QLatin1Char(',')), QStringLiteral("p:doc,p:item,y"));
    const QList<QStringList> attributes { { QStringLiteral("p:a=1"), QStringLiteral("b=two") },
        { QStringLiteral("id=i") }, { QStringLiteral("c=<") } };
    QCOMPARE(filter.attributes, attributes);
    QCOMPARE(filter.userData, QList<void*>(3, &userData));
}

QTEST_GUILESS_MAIN(TestVTXmlParser)
#include "tst_vtxmlparser.moc"
