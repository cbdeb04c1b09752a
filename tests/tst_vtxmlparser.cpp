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

using Vantles::VTXmlElement;
using Vantles::VTXmlParser;

// An element class that keeps count of its instances, to see what the parser
// made and what it deleted again.
class CountedElement : public VTXmlElement {
    Q_OBJECT
public:
    Q_INVOKABLE CountedElement(QObject* parent, const QXmlStreamAttributes& attributes)
        : VTXmlElement(parent, attributes)
    {
        ++s_live;
        s_made.append({ attribute(QStringLiteral("id")), this, parent != nullptr });
    }
    ~CountedElement() override { --s_live; }

    struct Made {
        QString id;
        QPointer<CountedElement> object;
        bool hadParent;
    };
    static inline int s_live = 0;
    static inline QList<Made> s_made;
};

// A class without the (parent, attributes) constructor: the parser writes the
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
        ++s_live;
    }
    ~PropertyElement() override { --s_live; }
    QString fixed() const { return QStringLiteral("fixed"); }
    Q_INVOKABLE void appendContent(const QString& text) { content += text; }

    QString title;
    int count = 0;
    QString tagName;
    QString tagNameSpace;
    QString content;
    static inline int s_live = 0;
};

// No invokable constructor at all: the parser cannot make it.
class UnmakeableElement : public QObject {
    Q_OBJECT
};

namespace {

// Every message goes through here before Qt Test sees it, so a test can tell
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
    int asked = 0;
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

// Keeps only the item whose id is *userData, with everything below it.
int selectItem(const QString& name, const QXmlStreamAttributes& attributes, void* userData)
{
    ++g_script->asked;
    if (name != QLatin1String("item"))
        return VTXmlParser::GenerateAndAsk;
    return attributes.value(QLatin1String("id")) == *static_cast<QString*>(userData)
        ? VTXmlParser::GenerateAll
        : VTXmlParser::SkipElement | VTXmlParser::SkipDescendants;
}

// "root(a(a1),b)": tag names of a tree, children in parentheses.
QString render(const QObject* object)
{
    QStringList children;
    for (const QObject* child : object->children())
        children.append(render(child));
    const QString name = object->property("tagName").toString();
    return children.isEmpty() ? name : name + QLatin1Char('(') + children.join(QLatin1Char(',')) + QLatin1Char(')');
}

QString render(const QList<QObject*>& roots)
{
    QStringList texts;
    for (const QObject* root : roots)
        texts.append(render(root));
    return texts.join(QLatin1Char('|'));
}

// The roots read() hands over belong to the test.
struct Roots {
    explicit Roots(QList<QObject*> list)
        : list(std::move(list))
    {
    }
    ~Roots() { qDeleteAll(list); }
    Roots(const Roots&) = delete;
    Roots& operator=(const Roots&) = delete;
    VTXmlElement* element(int i) const { return qobject_cast<VTXmlElement*>(list.value(i)); }
    QList<QObject*> list;
};

// <e><e>...</e></e>, nested depth times.
QByteArray nested(int depth, bool closed)
{
    QByteArray xml = QByteArrayLiteral("<e>").repeated(depth);
    if (closed)
        xml += QByteArrayLiteral("</e>").repeated(depth);
    return xml;
}

QByteArray billionLaughs(const QByteArray& body)
{
    QByteArray xml = "<?xml version=\"1.0\"?>\n<!DOCTYPE lolz [\n <!ENTITY lol \"lol\">\n";
    for (int level = 1; level <= 9; ++level) {
        const QByteArray previous = level == 1 ? QByteArray("lol") : "lol" + QByteArray::number(level - 1);
        xml += " <!ENTITY lol" + QByteArray::number(level) + " \"" + ("&" + previous + ";").repeated(10) + "\">\n";
    }
    return xml + "]>\n" + body + "\n";
}

} // namespace

class TestVTXmlParser : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void nullCallbackBuildsEveryElementWithAllItsData();
    void filterDecidesWhatIsMadeAndWhatIsAsked_data();
    void filterDecidesWhatIsMadeAndWhatIsAsked();
    void callbackGetsQualifiedNameAttributesAndUserData();
    void skippedElementLeavesChildrenParentlessAndDeletesThem();
    void registryChoosesClassByLocalName();
    void unmakeableElementStopsTheParse_data();
    void unmakeableElementStopsTheParse();
    void propertyFallbackFailures_data();
    void propertyFallbackFailures();
    void badDocumentEndsWithFatalErrorAndPartialTree_data();
    void badDocumentEndsWithFatalErrorAndPartialTree();
    void externalEntitiesAndDtdAreNotFetched_data();
    void externalEntitiesAndDtdAreNotFetched();
    void deepNestingBuildsTheWholeChain();
    void fiftyMegabyteDocumentIsReadCompletely();
    void readStartsAfreshAndKeepsTheRegistry();

private:
    void expectMessages(const QStringList& messages);
    QStringList m_expectedMessages;
};

void TestVTXmlParser::initTestCase()
{
    g_testlibHandler = qInstallMessageHandler(recordingHandler);
}

void TestVTXmlParser::cleanupTestCase()
{
    qInstallMessageHandler(g_testlibHandler);
}

void TestVTXmlParser::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    g_messages.clear();
    m_expectedMessages.clear();
    CountedElement::s_made.clear();
    g_script = nullptr;
}

void TestVTXmlParser::cleanup()
{
    // Whatever a test did, the parser wrote exactly the messages it expected.
    QCOMPARE(g_messages, m_expectedMessages);
    QCOMPARE(CountedElement::s_live, 0);
    QCOMPARE(PropertyElement::s_live, 0);
}

// The parser writes with qDebug() << QString: the text arrives quoted, with
// inner quotes and backslashes escaped.
void TestVTXmlParser::expectMessages(const QStringList& messages)
{
    for (const QString& message : messages) {
        QString quoted = message;
        quoted.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
        quoted = QLatin1Char('"') + quoted + QLatin1Char('"');
        QTest::ignoreMessage(QtDebugMsg, quoted.toUtf8().constData());
        m_expectedMessages.append(quoted);
    }
}

void TestVTXmlParser::nullCallbackBuildsEveryElementWithAllItsData()
{
    const QByteArray xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<!-- a comment -->\n"
                           "<vantle xmlns=\"urn:vantles\" xmlns:x=\"  urn:extra \" key=\"open\" x:scope=\"file\">\n"
                           "  <title>Open &amp; save <![CDATA[<now>]]></title>\n"
                           "  <x:text b=\"2\" a=\"1\">Line one<br/>line two\t</x:text>\n"
                           "</vantle>\n";
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    QFile file(VTTest::writeFile(dir, QStringLiteral("Control/open.xml"), xml));
    QVERIFY(file.open(QIODevice::ReadOnly));

    VTXmlParser parser;
    const Roots fromBytes(parser.read(xml));
    const Roots fromDevice(parser.read(&file));

    for (const Roots* roots : { &fromBytes, &fromDevice }) {
        QCOMPARE(roots->list.size(), 1);
        VTXmlElement* root = roots->element(0);
        QVERIFY(root);
        QCOMPARE(root->parent(), nullptr);
        QCOMPARE(render(root), QStringLiteral("vantle(title,x:text(br))"));
        QCOMPARE(root->getTagNameSpace(), QStringLiteral("urn:vantles"));
        // Namespace declarations are not attributes; prefixed names keep their prefix.
        QCOMPARE(root->attributeNames(), QStringList({ QStringLiteral("key"), QStringLiteral("x:scope") }));
        QCOMPARE(root->attribute(QStringLiteral("x:scope")), QStringLiteral("file"));
        // White space between elements is content like any other.
        QCOMPARE(root->content(), QStringLiteral("\n  \n  \n"));

        VTXmlElement* title = root->childElement(QStringLiteral("title"));
        QVERIFY(title);
        QCOMPARE(title->content(), QStringLiteral("Open & save <now>"));
        QCOMPARE(title->getTagNameSpace(), QStringLiteral("urn:vantles"));

        VTXmlElement* text = root->childElement(QStringLiteral("x:text"));
        QVERIFY(text);
        QCOMPARE(text->getTagNameSpace(), QStringLiteral("urn:extra")); // trimmed
        QCOMPARE(text->content(), QStringLiteral("Line oneline two\t"));
        QCOMPARE(text->toXml(), QStringLiteral("<x:text a=\"1\" b=\"2\">\n  <br/>\n</x:text>"));
        VTXmlElement* br = text->childElement(QStringLiteral("br"));
        QVERIFY(br);
        QVERIFY(br->content().isNull());
        QCOMPARE(br->getTagNameSpace(), QStringLiteral("urn:vantles"));
    }
}

void TestVTXmlParser::filterDecidesWhatIsMadeAndWhatIsAsked_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("tree");
    QTest::addColumn<QString>("calls");

    const QString everyone = QStringLiteral("root,a,a1,a11,a2,b,b1,c");
    QTest::newRow("1 everywhere") << QString() << QStringLiteral("root(a(a1(a11),a2),b(b1),c)") << everyone;
    QTest::newRow("0 counts as generate and ask")
        << QStringLiteral("a=0") << QStringLiteral("root(a(a1(a11),a2),b(b1),c)") << everyone;
    QTest::newRow("2 makes the subtree unasked, then asking resumes")
        << QStringLiteral("a=2;b1=4") << QStringLiteral("root(a(a1(a11),a2),b,c)") << QStringLiteral("root,a,b,b1,c");
    QTest::newRow("3 is generate all") << QStringLiteral("a=3;a1=12") << QStringLiteral("root(a(a1(a11),a2),b(b1),c)")
                                       << QStringLiteral("root,a,b,b1,c");
    QTest::newRow("8 keeps the element, nothing below")
        << QStringLiteral("a=8") << QStringLiteral("root(a,b(b1),c)") << QStringLiteral("root,a,b,b1,c");
    QTest::newRow("12 drops the element and everything below")
        << QStringLiteral("a=12") << QStringLiteral("root(b(b1),c)") << QStringLiteral("root,a,b,b1,c");
    QTest::newRow("4 alone drops the element, children still asked")
        << QStringLiteral("a=4") << QStringLiteral("root(b(b1),c)") << everyone;
    QTest::newRow("4 below an element made")
        << QStringLiteral("a1=4") << QStringLiteral("root(a(a2),b(b1),c)") << everyone;
    QTest::newRow("6 drops the element, makes the children unasked")
        << QStringLiteral("a=6") << QStringLiteral("root(b(b1),c)") << QStringLiteral("root,a,b,b1,c");
    QTest::newRow("root 8") << QStringLiteral("root=8") << QStringLiteral("root") << QStringLiteral("root");
    QTest::newRow("root 12") << QStringLiteral("root=12") << QString() << QStringLiteral("root");
    QTest::newRow("root 4 leaves no roots") << QStringLiteral("root=4") << QString() << everyone;
    QTest::newRow("8 then 2 elsewhere") << QStringLiteral("a=8;b=2") << QStringLiteral("root(a,b(b1),c)")
                                        << QStringLiteral("root,a,b,c");
}

void TestVTXmlParser::filterDecidesWhatIsMadeAndWhatIsAsked()
{
    QFETCH(QString, script);
    QFETCH(QString, tree);
    QFETCH(QString, calls);

    FilterScript filter;
    for (const QString& entry : script.split(QLatin1Char(';'), Qt::SkipEmptyParts)) {
        const QStringList parts = entry.split(QLatin1Char('='));
        filter.results.insert(parts.at(0), parts.at(1).toInt());
    }
    g_script = &filter;

    VTXmlParser parser(scriptedFilter, &filter);
    const Roots roots(parser.read(QByteArrayLiteral("<root><a><a1><a11/></a1><a2/></a><b><b1/></b><c/></root>")));
    QCOMPARE(render(roots.list), tree);
    QCOMPARE(filter.calls.join(QLatin1Char(',')), calls);
    for (const QObject* root : roots.list)
        QCOMPARE(root->parent(), nullptr);
}

void TestVTXmlParser::callbackGetsQualifiedNameAttributesAndUserData()
{
    FilterScript filter;
    g_script = &filter;
    int userData = 0;

    VTXmlParser parser(scriptedFilter, &userData);
    const Roots roots(parser.read(QByteArrayLiteral("<p:root xmlns:p=\"urn:p\" xmlns=\"urn:d\" p:a=\"1\" b=\"two\">"
                                                    "<p:child/><plain c=\"&lt;\"/></p:root>")));
    QCOMPARE(render(roots.list), QStringLiteral("p:root(p:child,plain)"));
    QCOMPARE(
        filter.calls, QStringList({ QStringLiteral("p:root"), QStringLiteral("p:child"), QStringLiteral("plain") }));
    const QList<QStringList> attributes { { QStringLiteral("p:a=1"), QStringLiteral("b=two") }, {},
        { QStringLiteral("c=<") } };
    QCOMPARE(filter.attributes, attributes);
    QCOMPARE(filter.userData, QList<void*>(3, &userData));
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

    // The children of the skipped element were made without a parent...
    QStringList made;
    for (const CountedElement::Made& m : CountedElement::s_made)
        made.append(m.id + (m.hadParent ? QString() : QStringLiteral("(orphan)")));
    QCOMPARE(made.join(QLatin1Char(',')), QStringLiteral("root,a1(orphan),a11,a2(orphan),b"));

    // ...are not among the roots, and are gone once read() returns.
    QCOMPARE(render(roots.list), QStringLiteral("root(b)"));
    for (const CountedElement::Made& m : CountedElement::s_made)
        QCOMPARE(m.object.isNull(), m.id.startsWith(QLatin1Char('a')));
    QCOMPARE(CountedElement::s_live, 2);

    // The skipped element's text is dropped, not handed to its parent.
    QCOMPARE(roots.element(0)->content(), QStringLiteral("r1r2"));
}

void TestVTXmlParser::registryChoosesClassByLocalName()
{
    VTXmlParser parser;
    QCOMPARE(parser.defaultElement(), &VTXmlElement::staticMetaObject);
    QCOMPARE(parser.metaObjectForElement(QStringLiteral("item")), nullptr);

    parser.registerElement(QStringLiteral("item"), &CountedElement::staticMetaObject);
    parser.registerElement(QStringLiteral("item"), &PropertyElement::staticMetaObject); // replaces
    parser.registerElement(QStringLiteral("other"), &CountedElement::staticMetaObject);
    QCOMPARE(parser.metaObjectForElement(QStringLiteral("item")), &PropertyElement::staticMetaObject);
    QCOMPARE(parser.metaObjectForElement(QStringLiteral("Item")), nullptr);
    QCOMPARE(parser.metaObjectForElement(QStringLiteral("p:item")), nullptr);
    parser.unregisterElement(QStringLiteral("other"));
    parser.unregisterElement(QStringLiteral("never registered"));
    QCOMPARE(parser.metaObjectForElement(QStringLiteral("other")), nullptr);
    QCOMPARE(parser.metaObjectForElement(QStringLiteral("item")), &PropertyElement::staticMetaObject);

    {
        // PropertyElement has no (parent, attributes) constructor: its attributes go to
        // the properties of their local names, its text to appendContent.
        const Roots roots(parser.read(QByteArrayLiteral("<root xmlns:p=\"urn:p\">"
                                                        "<p:item p:title=\"A\" count=\"7\">text <sub/>more</p:item>"
                                                        "<Item/><other id=\"o\"/></root>")));
        QCOMPARE(render(roots.list), QStringLiteral("root(p:item(sub),Item,other)"));
        const QObjectList children = roots.list.at(0)->children();
        auto item = qobject_cast<PropertyElement*>(children.at(0));
        QVERIFY(item);
        QCOMPARE(item->title, QStringLiteral("A"));
        QCOMPARE(item->count, 7);
        QCOMPARE(item->tagName, QStringLiteral("p:item"));
        QCOMPARE(item->tagNameSpace, QStringLiteral("urn:p"));
        QCOMPARE(item->content, QStringLiteral("text more"));
        QCOMPARE(children.at(1)->metaObject(), &VTXmlElement::staticMetaObject);
        QCOMPARE(children.at(2)->metaObject(), &VTXmlElement::staticMetaObject);
        QCOMPARE(CountedElement::s_live, 0);
    }

    parser.setDefaultElement(&CountedElement::staticMetaObject);
    QCOMPARE(parser.defaultElement(), &CountedElement::staticMetaObject);
    const Roots roots(parser.read(QByteArrayLiteral("<x id=\"x\"><y id=\"y\" z=\"1\"/></x>")));
    QCOMPARE(render(roots.list), QStringLiteral("x(y)"));
    QCOMPARE(CountedElement::s_live, 2);
    auto y = qobject_cast<CountedElement*>(roots.list.at(0)->children().at(0));
    QVERIFY(y);
    QCOMPARE(y->attribute(QStringLiteral("z")), QStringLiteral("1"));
}

void TestVTXmlParser::unmakeableElementStopsTheParse_data()
{
    QTest::addColumn<bool>("nullDefault");
    QTest::newRow("null default element") << true;
    QTest::newRow("class without invokable constructor") << false;
}

void TestVTXmlParser::unmakeableElementStopsTheParse()
{
    QFETCH(bool, nullDefault);

    VTXmlParser parser;
    parser.registerElement(QStringLiteral("root"), &VTXmlElement::staticMetaObject);
    parser.registerElement(QStringLiteral("item"), &VTXmlElement::staticMetaObject);
    if (nullDefault) {
        parser.setDefaultElement(nullptr);
        QCOMPARE(parser.defaultElement(), nullptr);
    } else {
        parser.registerElement(QStringLiteral("unknown"), &UnmakeableElement::staticMetaObject);
    }

    // The message names the local name, without the prefix.
    expectMessages({ QStringLiteral("Could not find object for element: unknown") });
    const Roots roots(parser.read(
        QByteArrayLiteral("<root><item/><q:unknown xmlns:q=\"urn:q\" a=\"1\"><item/></q:unknown><item/></root>")));
    QCOMPARE(render(roots.list), QStringLiteral("root(item)"));
}

void TestVTXmlParser::propertyFallbackFailures_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("tree");
    QTest::addColumn<QString>("title");

    QTest::newRow("unknown attribute stops the parse")
        << QByteArray("<root><item title=\"T\" bogus=\"1\"><sub/></item><after/></root>")
        << QStringLiteral("No Property named bogus on PropertyElement") << QStringLiteral("root") << QString();
    QTest::newRow("prefixed unknown attribute is named locally")
        << QByteArray("<root xmlns:p=\"urn:p\"><item p:bogus=\"1\"/><after/></root>")
        << QStringLiteral("No Property named bogus on PropertyElement") << QStringLiteral("root") << QString();
    QTest::newRow("read-only property, parsing continues")
        << QByteArray("<root><item fixed=\"x\" title=\"T\"/><after/></root>")
        << QStringLiteral("Could not write \"x\" to property fixed of PropertyElement")
        << QStringLiteral("root(item,after)") << QStringLiteral("T");
    QTest::newRow("unconvertible value with quotes and backslash")
        << QByteArray("<root><item count='say \"hi\" \\o/' title=\"T\"/><after/></root>")
        << QStringLiteral("Could not write \"say \"hi\" \\o/\" to property count of PropertyElement")
        << QStringLiteral("root(item,after)") << QStringLiteral("T");
}

void TestVTXmlParser::propertyFallbackFailures()
{
    QFETCH(QByteArray, xml);
    QFETCH(QString, message);
    QFETCH(QString, tree);
    QFETCH(QString, title);

    VTXmlParser parser;
    parser.registerElement(QStringLiteral("item"), &PropertyElement::staticMetaObject);
    expectMessages({ message });
    const Roots roots(parser.read(xml));
    QCOMPARE(render(roots.list), tree);
    auto item = roots.list.isEmpty() ? nullptr : roots.list.at(0)->findChild<PropertyElement*>();
    QCOMPARE(PropertyElement::s_live, item ? 1 : 0); // a stopped element is deleted
    if (item) {
        QCOMPARE(item->title, title);
        QCOMPARE(item->count, 0);
        QCOMPARE(item->tagName, QStringLiteral("item"));
    }
}

void TestVTXmlParser::badDocumentEndsWithFatalErrorAndPartialTree_data()
{
    QTest::addColumn<QByteArray>("xml");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QString>("tree");

    // Line, column and text are the stream reader's.
    QTest::newRow("truncated") << QByteArray("<vantle>\n  <title>Open")
                               << QStringLiteral("Fatal error at 2,13 : Premature end of document.")
                               << QStringLiteral("vantle(title)");
    QTest::newRow("mismatched tag") << QByteArray("<a>\n<b>\n</a>")
                                    << QStringLiteral("Fatal error at 3,4 : Opening and ending tag mismatch.")
                                    << QStringLiteral("a(b)");
    QTest::newRow("garbage") << QByteArray("hello world") << QStringLiteral("Fatal error at 1,1 : Start tag expected.")
                             << QString();
    QTest::newRow("empty input") << QByteArray() << QStringLiteral("Fatal error at 1,0 : Premature end of document.")
                                 << QString();
    QTest::newRow("two root elements") << QByteArray("<a/>\n<b/>")
                                       << QStringLiteral("Fatal error at 2,4 : Extra content at end of document.")
                                       << QStringLiteral("a");
    QTest::newRow("text after the root") << QByteArray("<a>\n</a>garbage")
                                         << QStringLiteral("Fatal error at 2,5 : Extra content at end of document.")
                                         << QStringLiteral("a");
    QTest::newRow("undeclared prefix") << QByteArray("<a>\n  <p:b/>\n</a>")
                                       << QStringLiteral("Fatal error at 2,8 : Namespace prefix 'p' not declared")
                                       << QStringLiteral("a");
    QTest::newRow("duplicate attribute") << QByteArray("<a>\n<b x=\"1\" x=\"2\"/></a>")
                                         << QStringLiteral("Fatal error at 2,16 : Attribute 'x' redefined.")
                                         << QStringLiteral("a");
    QTest::newRow("undeclared entity") << QByteArray("<a>\n text &x; </a>")
                                       << QStringLiteral("Fatal error at 2,9 : Entity 'x' not declared.")
                                       << QStringLiteral("a");
    QTest::newRow("bare ampersand") << QByteArray("<a>\n AT&T </a>")
                                    << QStringLiteral("Fatal error at 2,6 : Expected ';', but got ' '.")
                                    << QStringLiteral("a");
    QTest::newRow("late xml declaration")
        << QByteArray("  <?xml version=\"1.0\"?><a/>")
        << QStringLiteral("Fatal error at 1,23 : XML declaration not at start of document.") << QString();

    // Entity expansion is bounded: these end quickly with an error instead of eating memory.
    const QString limit = QStringLiteral("Entity expands to more characters than the entity expansion limit.");
    QTest::newRow("billion laughs in content")
        << billionLaughs("<lolz>&lol9;</lolz>") << QStringLiteral("Fatal error at 14,12 : ") + limit
        << QStringLiteral("lolz");
    QTest::newRow("billion laughs in an attribute")
        << billionLaughs("<lolz a=\"&lol9;\"/>") << QStringLiteral("Fatal error at 14,15 : ") + limit << QString();
    const QByteArray quadratic = "<!DOCTYPE a [<!ENTITY x \"" + QByteArray(100000, 'x') + "\">]>\n<a>"
        + QByteArray("&x;").repeated(10000) + "</a>";
    QTest::newRow("quadratic blowup") << quadratic << QStringLiteral("Fatal error at 2,6 : ") + limit
                                      << QStringLiteral("a");
    QTest::newRow("self reference") << QByteArray("<!DOCTYPE a [<!ENTITY x \"&y;\"><!ENTITY y \"&x;\">]><a>&x;</a>")
                                    << QStringLiteral("Fatal error at 1,55 : Self-referencing entity detected.")
                                    << QStringLiteral("a");
}

void TestVTXmlParser::badDocumentEndsWithFatalErrorAndPartialTree()
{
    QFETCH(QByteArray, xml);
    QFETCH(QString, message);
    QFETCH(QString, tree);

    VTXmlParser parser;
    expectMessages({ message });
    const Roots roots(parser.read(xml));
    QCOMPARE(render(roots.list), tree);
    for (const QObject* root : roots.list)
        QCOMPARE(root->parent(), nullptr);
    if (VTXmlElement* root = roots.element(0))
        QVERIFY2(root->content().size() < 100000, qPrintable(QString::number(root->content().size())));
}

void TestVTXmlParser::externalEntitiesAndDtdAreNotFetched_data()
{
    QTest::addColumn<QString>("doctype");

    // {dtd} is the URL of a file that declares x, {text} the URL of a plain text file.
    QTest::newRow("external general entity") << QStringLiteral("<!DOCTYPE a [<!ENTITY x SYSTEM \"{text}\">]>");
    QTest::newRow("external subset") << QStringLiteral("<!DOCTYPE a SYSTEM \"{dtd}\">");
    QTest::newRow("external parameter entity") << QStringLiteral("<!DOCTYPE a [<!ENTITY % p SYSTEM \"{dtd}\"> %p;]>");
}

void TestVTXmlParser::externalEntitiesAndDtdAreNotFetched()
{
    QFETCH(QString, doctype);

    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString dtd = VTTest::writeFile(dir, QStringLiteral("ext.dtd"), "<!ENTITY x \"FROM-DTD\">\n");
    const QString secret = VTTest::writeFile(dir, QStringLiteral("secret.txt"), "SECRET");
    QVERIFY(!dtd.isEmpty() && !secret.isEmpty());
    const QString xml = QString(doctype)
                            .replace(QLatin1String("{dtd}"), QUrl::fromLocalFile(dtd).toString())
                            .replace(QLatin1String("{text}"), QUrl::fromLocalFile(secret).toString())
        + QStringLiteral("<a>before&x;after</a>");

    VTXmlParser parser;
    const Roots roots(parser.read(xml.toUtf8()));
    QCOMPARE(render(roots.list), QStringLiteral("a"));
    QCOMPARE(roots.element(0)->content(), QStringLiteral("beforeafter"));
}

void TestVTXmlParser::deepNestingBuildsTheWholeChain()
{
    const int depth = 10000;
    for (bool closed : { true, false }) {
        VTXmlParser parser;
        if (!closed)
            expectMessages({ QStringLiteral("Fatal error at 1,%1 : Premature end of document.").arg(3 * depth) });
        Roots roots(parser.read(nested(depth, closed)));
        QCOMPARE(roots.list.size(), 1);
        int levels = 1;
        for (const QObject* node = roots.list.at(0); !node->children().isEmpty(); ++levels) {
            QCOMPARE(node->children().size(), 1);
            node = node->children().at(0);
            QCOMPARE(node->objectName(), QStringLiteral("e"));
        }
        QCOMPARE(levels, depth);
        if (closed) {
            // One opening line per level (the innermost self-closed), one
            // closing line per level above it, each indented two per level.
            const QString xml = roots.element(0)->toXml();
            const qint64 indentation = qint64(depth) * (depth - 1) + qint64(depth - 1) * (depth - 2);
            const qint64 expected = indentation + 3 * (depth - 1) + 4 + 4 * (depth - 1) + 2 * (depth - 1);
            QCOMPARE(qint64(xml.size()), expected);
            QVERIFY(xml.startsWith(QStringLiteral("<e>\n  <e>\n")));
            QVERIFY(xml.endsWith(QStringLiteral("\n  </e>\n</e>")));
        }
        // Roots deletes the chain here: 10,000 nested destructors.
    }
}

void TestVTXmlParser::fiftyMegabyteDocumentIsReadCompletely()
{
    const int itemCount = 51000;
    const QByteArray text
        = QByteArray("Lorem ipsum dolor sit amet, consectetur adipiscing elit. ").repeated(18).left(1000);
    QByteArray xml;
    xml.reserve(itemCount * 1040 + 32);
    xml += "<catalog>\n";
    for (int i = 0; i < itemCount; ++i) {
        const QByteArray id = QByteArray::number(i);
        xml += "<item id=\"" + id + "\"><name>n" + id + "</name>" + text + "</item>\n";
    }
    xml += "</catalog>\n";
    QVERIFY2(xml.size() >= 50 * 1024 * 1024, QByteArray::number(xml.size()).constData());

    {
        VTXmlParser parser;
        const Roots roots(parser.read(xml));
        QCOMPARE(roots.list.size(), 1);
        const QObjectList items = roots.list.at(0)->children();
        QCOMPARE(items.size(), itemCount);
        qint64 textLength = 0;
        for (int i = 0; i < itemCount; ++i) {
            auto item = qobject_cast<VTXmlElement*>(items.at(i));
            QVERIFY(item);
            textLength += item->content().size();
            if (i == 0 || i == itemCount - 1) {
                QCOMPARE(item->attribute(QStringLiteral("id")), QString::number(i));
                QCOMPARE(item->childElement(QStringLiteral("name"))->content(), QStringLiteral("n%1").arg(i));
                QCOMPARE(item->content(), QString::fromLatin1(text));
            }
        }
        QCOMPARE(textLength, qint64(itemCount) * text.size());
    }

    // Through the filter only the one item wanted is built.
    FilterScript filter;
    g_script = &filter;
    QString wanted = QStringLiteral("25500");
    VTXmlParser parser(selectItem, &wanted);
    const Roots roots(parser.read(xml));
    QCOMPARE(render(roots.list), QStringLiteral("catalog(item(name))"));
    auto item = roots.element(0)->childElement(QStringLiteral("item"));
    QCOMPARE(item->attribute(QStringLiteral("id")), wanted);
    QCOMPARE(item->childElement(QStringLiteral("name"))->content(), QStringLiteral("n25500"));
    QCOMPARE(item->content(), QString::fromLatin1(text));
    QCOMPARE(filter.asked, 1 + itemCount); // nothing below an item is asked
}

void TestVTXmlParser::readStartsAfreshAndKeepsTheRegistry()
{
    FilterScript filter;
    filter.results.insert(QStringLiteral("skip"), VTXmlParser::SkipDescendants);
    g_script = &filter;
    VTXmlParser parser(scriptedFilter, &filter);
    parser.registerElement(QStringLiteral("item"), &CountedElement::staticMetaObject);

    // The first read stops while the mode skips descendants.
    expectMessages({ QStringLiteral("Fatal error at 1,15 : Premature end of document.") });
    {
        const Roots roots(parser.read(QByteArrayLiteral("<root><skip><x>")));
        QCOMPARE(render(roots.list), QStringLiteral("root(skip)"));
    }

    filter.calls.clear();
    const Roots roots(parser.read(QByteArrayLiteral("<doc><item id=\"i\"><y/></item></doc>")));
    QCOMPARE(render(roots.list), QStringLiteral("doc(item(y))"));
    QCOMPARE(filter.calls, QStringList({ QStringLiteral("doc"), QStringLiteral("item"), QStringLiteral("y") }));
    QCOMPARE(CountedElement::s_live, 1);
    QVERIFY(qobject_cast<CountedElement*>(roots.list.at(0)->children().at(0)));
}

QTEST_GUILESS_MAIN(TestVTXmlParser)
#include "tst_vtxmlparser.moc"
