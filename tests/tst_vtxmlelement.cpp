// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

#include <Vantles/VTXmlElement.h>

#include <QRegularExpression>
#include <QTest>

using Vantles::VTXmlElement;

class TestVTXmlElement : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void toXmlIndentsSortsAndSkipsContentAndNonElements();
    void toXmlFillsPlaceholdersOneAfterAnother_data();
    void toXmlFillsPlaceholdersOneAfterAnother();
    void contentIsAppendedAndAttributesTellAbsentFromEmpty();
    void childElementPrefersDirectChildrenAndListIsDepthFirst();
};

static VTXmlElement* makeElement(const QString& tag, QObject* parent = nullptr)
{
    auto element = new VTXmlElement(parent);
    element->setTagName(tag);
    return element;
}

void TestVTXmlElement::init()
{
    // QString::arg warns about missing placeholders.
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

    makeElement(QStringLiteral("title"), &root)->appendContent(QStringLiteral("Open"));
    new QObject(&root); // not an element: skipped
    auto body = makeElement(QStringLiteral("body"), &root);
    body->setAttribute(QStringLiteral("x:lang"), QStringLiteral("en"));
    makeElement(QStringLiteral("br"), makeElement(QStringLiteral("p"), body));
    new QObject(makeElement(QStringLiteral("empty"), &root));

    const QString expected = QStringLiteral("<vantle Mid=\"\" alpha=\"say \"hi\" & <go>\" zeta=\"1\">\n  <title/>\n"
                                            "  <body x:lang=\"en\">\n    <p>\n      <br/>\n    </p>\n  </body>\n"
                                            "  <empty/>\n</vantle>");
    QCOMPARE(root.toXml(), expected);

    // Every line, closing tags included, moves by the given indentation.
    QStringList shifted = expected.split(QLatin1Char('\n'));
    for (QString& line : shifted)
        line.prepend(QStringLiteral("   "));
    QCOMPARE(root.toXml(3), shifted.join(QLatin1Char('\n')));
}

void TestVTXmlElement::toXmlFillsPlaceholdersOneAfterAnother_data()
{
    QTest::addColumn<QString>("tag");
    QTest::addColumn<QString>("value");
    QTest::addColumn<bool>("withChild");
    QTest::addColumn<QString>("expected");

    // The library's documented contract, odd as it is: "%1<%2%3%4>" is filled
    // by .arg(indent).arg(tag).arg(attributes).arg(closing) and an attribute by
    // "%1=\"%2\"".arg(name).arg(value): each .arg() replaces every occurrence of
    // the lowest placeholder left in the text built so far. A null value means
    // no attribute.
    QTest::newRow("tag %3 takes the attribute part")
        << QStringLiteral("t%3") << QStringLiteral("1") << false << QStringLiteral("<t a=\"1\" a=\"1\"/>");
    QTest::newRow("tag %3 with children, closing tag untouched")
        << QStringLiteral("t%3") << QString() << true << QStringLiteral("<t>\n  <c/>\n</t%3>");
    QTest::newRow("value %4 takes the closing mark")
        << QStringLiteral("t") << QStringLiteral("%4") << false << QStringLiteral("<t a=\"/\"/>");
    QTest::newRow("value %1 steals the closing mark")
        << QStringLiteral("t") << QStringLiteral("%1") << false << QStringLiteral("<t a=\"/\"%4>");
    QTest::newRow("plain percent is kept")
        << QStringLiteral("t") << QStringLiteral("100%") << false << QStringLiteral("<t a=\"100%\"/>");
}

void TestVTXmlElement::toXmlFillsPlaceholdersOneAfterAnother()
{
    QFETCH(QString, tag);
    QFETCH(QString, value);
    QFETCH(bool, withChild);

    VTXmlElement element;
    element.setTagName(tag);
    if (!value.isNull())
        element.setAttribute(QStringLiteral("a"), value);
    if (withChild)
        makeElement(QStringLiteral("c"), &element);
    QTEST(element.toXml(), "expected");
}

void TestVTXmlElement::contentIsAppendedAndAttributesTellAbsentFromEmpty()
{
    VTXmlElement element;
    QVERIFY(element.content().isNull());
    QVERIFY(!element.setProperty("content", QStringLiteral("ignored"))); // read-only for QML
    element.appendContent(QStringLiteral("Open "));
    QVERIFY(QMetaObject::invokeMethod(&element, "appendContent", Q_ARG(QString, QStringLiteral("file"))));
    QCOMPARE(element.content(), QStringLiteral("Open file"));

    // Attributes tell absent from empty.
    for (const char* name : { "empty", "b", "Z", "\u00e4", "a" })
        element.setAttribute(QString::fromUtf8(name), QStringLiteral("first"));
    element.setAttribute(QStringLiteral("empty"), QStringLiteral(""));
    element.setAttribute(QStringLiteral("b"), QStringLiteral("second"));
    QVERIFY(element.hasAttribute(QStringLiteral("empty")));
    QVERIFY(!element.attribute(QStringLiteral("empty")).isNull());
    QVERIFY(element.attribute(QStringLiteral("empty")).isEmpty());
    QVERIFY(!element.hasAttribute(QStringLiteral("B"))); // case-sensitive
    QVERIFY(element.attribute(QStringLiteral("B")).isNull());
    QCOMPARE(element.attribute(QStringLiteral("b")), QStringLiteral("second"));
    // Code-unit order, not locale order: upper case first, the umlaut last.
    QCOMPARE(element.attributeNames().join(QLatin1Char(',')), QStringLiteral("Z,a,b,empty,\u00e4"));
}

void TestVTXmlElement::childElementPrefersDirectChildrenAndListIsDepthFirst()
{
    VTXmlElement root;
    auto first = makeElement(QStringLiteral("first"), &root);
    auto nested = makeElement(QStringLiteral("target"), first);
    auto grandchild = makeElement(QStringLiteral("deep"), nested);
    auto plain = new QObject(&root);
    plain->setObjectName(QStringLiteral("target")); // named like one, before the direct element
    auto direct = makeElement(QStringLiteral("target"), &root);
    auto inner = makeElement(QStringLiteral("target"), grandchild);

    // What QML does: call the invokable by name.
    VTXmlElement* found = nullptr;
    QVERIFY(QMetaObject::invokeMethod(
        &root, "childElement", Q_RETURN_ARG(Vantles::VTXmlElement*, found), Q_ARG(QString, QStringLiteral("target"))));
    QCOMPARE(found, direct);
    QCOMPARE(first->childElement(QStringLiteral("target")), nested);
    QCOMPARE(root.childElement(QStringLiteral("deep")), grandchild);
    QCOMPARE(root.childElement(QStringLiteral("Deep")), nullptr);
    // The list takes any QObject type, depth first.
    QCOMPARE(root.childElementList(QStringLiteral("target")), QList<QObject*>({ nested, inner, plain, direct }));
}

QTEST_GUILESS_MAIN(TestVTXmlElement)
#include "tst_vtxmlelement.moc"
