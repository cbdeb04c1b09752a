#include <Vantles/VTXmlElement.h>

#include <QMetaProperty>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

using Vantles::VTXmlElement;

class TestVTXmlElement : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void toXmlIndentsSortsAndSkipsContentAndNonElements();
    void toXmlFillsPlaceholdersOneAfterAnother_data();
    void toXmlFillsPlaceholdersOneAfterAnother();
    void settersEmitOnEveryCallAndAttributesEmitNothing();
    void attributeTellsAbsentFromEmpty();
    void childElementSearchesDirectChildrenBeforeGrandchildren();
    void childElementListIsDepthFirst();
    void invokableConstructorsWorkThroughMetaObject();
    void metaObjectExposesPropertiesAndInvokables();
};

static VTXmlElement* makeElement(const QString& tag, QObject* parent = nullptr)
{
    auto element = new VTXmlElement(parent);
    element->setTagName(tag);
    return element;
}

void TestVTXmlElement::init()
{
    // QString::arg complains about missing placeholders through a warning.
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void TestVTXmlElement::toXmlIndentsSortsAndSkipsContentAndNonElements()
{
    VTXmlElement root;
    root.setTagName(QStringLiteral("vantle"));
    root.setTagNameSpace(QStringLiteral("urn:not-written"));
    root.setAttribute(QStringLiteral("zeta"), QStringLiteral("1"));
    root.setAttribute(QStringLiteral("alpha"), QStringLiteral("say \"hi\" & <go>"));
    root.setAttribute(QStringLiteral("Mid"), QString());
    root.setContent(QStringLiteral("root text is never written"));

    auto title = makeElement(QStringLiteral("title"), &root);
    title->appendContent(QStringLiteral("Open"));
    new QObject(&root); // not an element: skipped
    auto body = makeElement(QStringLiteral("body"), &root);
    body->setAttribute(QStringLiteral("x:lang"), QStringLiteral("en"));
    auto para = makeElement(QStringLiteral("p"), body);
    makeElement(QStringLiteral("br"), para);
    auto onlyPlainChild = makeElement(QStringLiteral("empty"), &root);
    new QObject(onlyPlainChild);

    const QString expected = QStringLiteral("<vantle Mid=\"\" alpha=\"say \"hi\" & <go>\" zeta=\"1\">\n"
                                            "  <title/>\n"
                                            "  <body x:lang=\"en\">\n"
                                            "    <p>\n"
                                            "      <br/>\n"
                                            "    </p>\n"
                                            "  </body>\n"
                                            "  <empty/>\n"
                                            "</vantle>");
    QCOMPARE(root.toXml(), expected);
    QCOMPARE(root.toXml(0), expected);

    // Every line, closing tags included, moves by the given indentation.
    QStringList shifted = expected.split(QLatin1Char('\n'));
    for (QString& line : shifted)
        line.prepend(QStringLiteral("   "));
    QCOMPARE(root.toXml(3), shifted.join(QLatin1Char('\n')));

    QCOMPARE(body->toXml(), QStringLiteral("<body x:lang=\"en\">\n  <p>\n    <br/>\n  </p>\n</body>"));
    QCOMPARE(title->toXml(), QStringLiteral("<title/>"));
}

void TestVTXmlElement::toXmlFillsPlaceholdersOneAfterAnother_data()
{
    QTest::addColumn<QString>("tag");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("withChild");
    QTest::addColumn<QString>("expected");

    // The first line is "%1<%2%3%4>" filled by .arg(indent).arg(tag).arg(attributes).arg(closing),
    // an attribute is "%1=\"%2\"" filled by .arg(name).arg(value): each .arg() replaces every
    // occurrence of the lowest placeholder left in the text built so far.
    QTest::newRow("tag %3 takes the attribute part")
        << QStringLiteral("t%3") << QStringLiteral("a") << QStringLiteral("1") << false
        << QStringLiteral("<t a=\"1\" a=\"1\"/>");
    QTest::newRow("tag %4 takes the closing mark")
        << QStringLiteral("t%4") << QString() << QString() << false << QStringLiteral("<t//>");
    QTest::newRow("tag %3 with children, closing tag untouched")
        << QStringLiteral("t%3") << QString() << QString() << true << QStringLiteral("<t>\n  <c/>\n</t%3>");
    QTest::newRow("value %4 takes the closing mark") << QStringLiteral("t") << QStringLiteral("a")
                                                     << QStringLiteral("%4") << false << QStringLiteral("<t a=\"/\"/>");
    QTest::newRow("value %4 with children becomes empty")
        << QStringLiteral("t") << QStringLiteral("a") << QStringLiteral("%4") << true
        << QStringLiteral("<t a=\"\">\n  <c/>\n</t>");
    QTest::newRow("value %1 steals the closing mark")
        << QStringLiteral("t") << QStringLiteral("a") << QStringLiteral("%1") << false
        << QStringLiteral("<t a=\"/\"%4>");
    QTest::newRow("name %1 takes the value") << QStringLiteral("t") << QStringLiteral("n%1") << QStringLiteral("v")
                                             << false << QStringLiteral("<t nv=\"/\"%4>");
    QTest::newRow("value %2 stays in the attribute, then takes the closing mark") << QStringLiteral(
        "t") << QStringLiteral("a") << QStringLiteral("x%2") << false << QStringLiteral("<t a=\"x/\"%4>");
    QTest::newRow("plain percent is kept") << QStringLiteral("t") << QStringLiteral("a") << QStringLiteral("100%")
                                           << false << QStringLiteral("<t a=\"100%\"/>");
}

void TestVTXmlElement::toXmlFillsPlaceholdersOneAfterAnother()
{
    QFETCH(QString, tag);
    QFETCH(QString, name);
    QFETCH(QString, value);
    QFETCH(bool, withChild);
    QFETCH(QString, expected);

    VTXmlElement element;
    element.setTagName(tag);
    if (!name.isEmpty())
        element.setAttribute(name, value);
    if (withChild)
        makeElement(QStringLiteral("c"), &element);
    QCOMPARE(element.toXml(), expected);
}

void TestVTXmlElement::settersEmitOnEveryCallAndAttributesEmitNothing()
{
    VTXmlElement element;
    QSignalSpy tagSpy(&element, &VTXmlElement::tagNameChanged);
    QSignalSpy namespaceSpy(&element, &VTXmlElement::tagNameSpaceChanged);
    QSignalSpy contentSpy(&element, &VTXmlElement::contentChanged);

    element.setTagName(QStringLiteral("title"));
    element.setTagName(QStringLiteral("title"));
    QCOMPARE(tagSpy.count(), 2);
    QCOMPARE(element.objectName(), QStringLiteral("title"));
    QCOMPARE(element.getTagName(), QStringLiteral("title"));

    element.setTagNameSpace(QStringLiteral("urn:a"));
    element.setTagNameSpace(QStringLiteral("urn:a"));
    QCOMPARE(namespaceSpy.count(), 2);
    QCOMPARE(element.getTagNameSpace(), QStringLiteral("urn:a"));

    QVERIFY(element.content().isNull());
    element.appendContent(QStringLiteral("Open "));
    element.appendContent(QString());
    element.appendContent(QStringLiteral("file"));
    QCOMPARE(contentSpy.count(), 3);
    QCOMPARE(element.content(), QStringLiteral("Open file"));
    element.setContent(QStringLiteral("Open file"));
    QCOMPARE(contentSpy.count(), 4);

    element.setAttribute(QStringLiteral("key"), QStringLiteral("1"));
    element.setAttribute(QStringLiteral("key"), QStringLiteral("2"));
    QCOMPARE(tagSpy.count(), 2);
    QCOMPARE(namespaceSpy.count(), 2);
    QCOMPARE(contentSpy.count(), 4);
}

void TestVTXmlElement::attributeTellsAbsentFromEmpty()
{
    VTXmlElement element;
    element.setAttribute(QStringLiteral("empty"), QStringLiteral(""));
    element.setAttribute(QStringLiteral("b"), QStringLiteral("first"));
    element.setAttribute(QStringLiteral("b"), QStringLiteral("second"));
    element.setAttribute(QStringLiteral("Z"), QStringLiteral("upper"));
    element.setAttribute(QStringLiteral("\u00e4"), QStringLiteral("umlaut"));
    element.setAttribute(QStringLiteral("a"), QStringLiteral("lower"));

    QVERIFY(element.hasAttribute(QStringLiteral("empty")));
    QVERIFY(!element.attribute(QStringLiteral("empty")).isNull());
    QVERIFY(element.attribute(QStringLiteral("empty")).isEmpty());

    QVERIFY(!element.hasAttribute(QStringLiteral("missing")));
    QVERIFY(element.attribute(QStringLiteral("missing")).isNull());
    QVERIFY(!element.hasAttribute(QStringLiteral("B"))); // case-sensitive
    QVERIFY(element.attribute(QStringLiteral("B")).isNull());

    QCOMPARE(element.attribute(QStringLiteral("b")), QStringLiteral("second"));
    // Code-unit order, not locale order: upper case first, the umlaut last.
    const QStringList names { QStringLiteral("Z"), QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("empty"),
        QStringLiteral("\u00e4") };
    QCOMPARE(element.attributeNames(), names);
}

void TestVTXmlElement::childElementSearchesDirectChildrenBeforeGrandchildren()
{
    VTXmlElement root;
    auto first = makeElement(QStringLiteral("first"), &root);
    auto nested = makeElement(QStringLiteral("target"), first);
    auto grandchild = makeElement(QStringLiteral("deep"), first);
    auto plain = new QObject(&root); // named like an element, before the direct element
    plain->setObjectName(QStringLiteral("target"));
    auto direct = makeElement(QStringLiteral("target"), &root);

    QCOMPARE(root.childElement(QStringLiteral("target")), direct);
    QCOMPARE(first->childElement(QStringLiteral("target")), nested);
    QCOMPARE(root.childElement(QStringLiteral("deep")), grandchild);
    QCOMPARE(root.childElement(QStringLiteral("Deep")), nullptr);
    QCOMPARE(root.childElement(QStringLiteral("missing")), nullptr);
}

void TestVTXmlElement::childElementListIsDepthFirst()
{
    VTXmlElement root;
    auto a = makeElement(QStringLiteral("x"), &root);
    auto b = makeElement(QStringLiteral("x"), a);
    auto c = makeElement(QStringLiteral("y"), a);
    auto d = makeElement(QStringLiteral("x"), c);
    auto e = new QObject(&root); // any QObject type counts here
    e->setObjectName(QStringLiteral("x"));
    makeElement(QStringLiteral("y"), &root);

    const QList<QObject*> expected { a, b, d, e };
    QCOMPARE(root.childElementList(QStringLiteral("x")), expected);
    QCOMPARE(root.childElementList(QStringLiteral("y")).size(), 2);
    QVERIFY(root.childElementList(QStringLiteral("z")).isEmpty());
}

void TestVTXmlElement::invokableConstructorsWorkThroughMetaObject()
{
    const QMetaObject& mo = VTXmlElement::staticMetaObject;
    QCOMPARE(mo.constructorCount(), 3);

    QScopedPointer<QObject> bare(mo.newInstance());
    QVERIFY(bare);
    QCOMPARE(bare->parent(), nullptr);
    QVERIFY(qobject_cast<VTXmlElement*>(bare.data())->attributeNames().isEmpty());

    VTXmlElement parent;
    QObject* child = mo.newInstance(Q_ARG(QObject*, &parent));
    QVERIFY(child);
    QCOMPARE(child->parent(), &parent);
    QSignalSpy destroyed(child, &QObject::destroyed);

    QXmlStreamAttributes attributes;
    attributes.append(QStringLiteral("key"), QStringLiteral("open"));
    attributes.append(QStringLiteral("x:lang"), QStringLiteral("de"));
    attributes.append(QStringLiteral("dup"), QStringLiteral("first"));
    attributes.append(QStringLiteral("dup"), QStringLiteral("second"));
    auto withAttributes
        = qobject_cast<VTXmlElement*>(mo.newInstance(Q_ARG(QObject*, child), Q_ARG(QXmlStreamAttributes, attributes)));
    QVERIFY(withAttributes);
    QCOMPARE(withAttributes->parent(), child);
    const QStringList names { QStringLiteral("dup"), QStringLiteral("key"), QStringLiteral("x:lang") };
    QCOMPARE(withAttributes->attributeNames(), names);
    QCOMPARE(withAttributes->attribute(QStringLiteral("dup")), QStringLiteral("second"));
    QCOMPARE(withAttributes->attribute(QStringLiteral("x:lang")), QStringLiteral("de"));
    QVERIFY(withAttributes->content().isNull());
    QVERIFY(withAttributes->getTagNameSpace().isNull());
    QSignalSpy grandchildDestroyed(withAttributes, &QObject::destroyed);

    delete child; // takes its subtree along
    QCOMPARE(destroyed.count(), 1);
    QCOMPARE(grandchildDestroyed.count(), 1);
    QVERIFY(parent.children().isEmpty());
}

void TestVTXmlElement::metaObjectExposesPropertiesAndInvokables()
{
    const QMetaObject& mo = VTXmlElement::staticMetaObject;
    const QMetaProperty tagName = mo.property(mo.indexOfProperty("tagName"));
    const QMetaProperty tagNameSpace = mo.property(mo.indexOfProperty("tagNameSpace"));
    const QMetaProperty content = mo.property(mo.indexOfProperty("content"));
    QVERIFY(tagName.isValid() && tagNameSpace.isValid() && content.isValid());
    QVERIFY(tagName.isWritable());
    QVERIFY(tagNameSpace.isWritable());
    QVERIFY(!content.isWritable());
    QCOMPARE(tagName.notifySignal().name(), QByteArrayLiteral("tagNameChanged"));
    QCOMPARE(tagNameSpace.notifySignal().name(), QByteArrayLiteral("tagNameSpaceChanged"));
    QCOMPARE(content.notifySignal().name(), QByteArrayLiteral("contentChanged"));

    for (const char* signature : { "childElement(QString)", "childElementList(QString)", "attribute(QString)",
             "hasAttribute(QString)", "appendContent(QString)", "toXml(int)", "toXml()" }) {
        const int index = mo.indexOfMethod(signature);
        QVERIFY2(index >= 0, signature);
        QCOMPARE(mo.method(index).methodType(), QMetaMethod::Method);
    }

    VTXmlElement element;
    QSignalSpy tagSpy(&element, &VTXmlElement::tagNameChanged);
    QVERIFY(element.setProperty("tagName", QStringLiteral("title")));
    QCOMPARE(element.objectName(), QStringLiteral("title"));
    QCOMPARE(tagSpy.count(), 1);
    QVERIFY(!element.setProperty("content", QStringLiteral("ignored")));
    QVERIFY(element.content().isNull());

    // What QML does: call the invokables by name.
    auto child = makeElement(QStringLiteral("child"), &element);
    VTXmlElement* found = nullptr;
    QVERIFY(QMetaObject::invokeMethod(&element, "childElement", Q_RETURN_ARG(Vantles::VTXmlElement*, found),
        Q_ARG(QString, QStringLiteral("child"))));
    QCOMPARE(found, child);
    QString xml;
    QVERIFY(QMetaObject::invokeMethod(&element, "toXml", Q_RETURN_ARG(QString, xml), Q_ARG(int, 2)));
    QCOMPARE(xml, QStringLiteral("  <title>\n    <child/>\n  </title>"));
    QVERIFY(QMetaObject::invokeMethod(&element, "appendContent", Q_ARG(QString, QStringLiteral("text"))));
    QCOMPARE(element.content(), QStringLiteral("text"));
}

QTEST_GUILESS_MAIN(TestVTXmlElement)
#include "tst_vtxmlelement.moc"
