#include <Vantles/VTContext.h>

#include <QRegularExpression>
#include <QSignalSpy>
#include <QSize>
#include <QTest>

class TestVTContext : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void init();
    void setEmitsWillThenStoresThenDidOnEveryCall();
    void getReturnsStoredValueOrDefault_data();
    void getReturnsStoredValueOrDefault();
    void copyAndAssignmentEmitNothingAndStayIndependent();
    void keysComeBackSortedNotInInsertionOrder();
};

void TestVTContext::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void TestVTContext::setEmitsWillThenStoresThenDidOnEveryCall()
{
    VTContext context;
    const auto key = VTContextTimerInterval;
    QStringList events;
    connect(&context, &VTContext::settingWillChange, this, [&](VTContextKey k) {
        events.append(QStringLiteral("will %1 contains=%2 value=%3")
                          .arg(int(k))
                          .arg(context.contains(k))
                          .arg(context.get(k, QStringLiteral("none")).toString()));
    });
    connect(&context, &VTContext::settingDidChange, this, [&](VTContextKey k) {
        events.append(QStringLiteral("did %1 contains=%2 value=%3")
                          .arg(int(k))
                          .arg(context.contains(k))
                          .arg(context.get(k, QStringLiteral("none")).toString()));
    });
    QSignalSpy willSpy(&context, &VTContext::settingWillChange);
    QSignalSpy didSpy(&context, &VTContext::settingDidChange);

    context.set(key, 1500);
    context.set(key, 1500); // same value: the store never compares
    context.set(key, 2500);

    const QStringList expected {
        QStringLiteral("will 2 contains=0 value=none"),
        QStringLiteral("did 2 contains=1 value=1500"),
        QStringLiteral("will 2 contains=1 value=1500"),
        QStringLiteral("did 2 contains=1 value=1500"),
        QStringLiteral("will 2 contains=1 value=1500"),
        QStringLiteral("did 2 contains=1 value=2500"),
    };
    QCOMPARE(events, expected);
    QCOMPARE(willSpy.count(), 3);
    QCOMPARE(didSpy.count(), 3);
    QCOMPARE(didSpy.at(2).at(0).value<VTContextKey>(), key);

    // A key the library does not know is kept like any other.
    const auto unknown = static_cast<VTContextKey>(4711);
    context.set(unknown, QStringLiteral("kept"));
    QCOMPARE(willSpy.count(), 4);
    QCOMPARE(willSpy.last().at(0).value<VTContextKey>(), unknown);
    QCOMPARE(context.get(unknown), QVariant(QStringLiteral("kept")));
}

void TestVTContext::getReturnsStoredValueOrDefault_data()
{
    QTest::addColumn<bool>("store");
    QTest::addColumn<QVariant>("stored");
    QTest::addColumn<QVariant>("defaultValue");
    QTest::addColumn<QVariant>("expected");

    QTest::newRow("absent gives int default") << false << QVariant() << QVariant(3000) << QVariant(3000);
    QTest::newRow("absent gives string default")
        << false << QVariant() << QVariant(QStringLiteral("vantles")) << QVariant(QStringLiteral("vantles"));
    QTest::newRow("absent gives invalid default") << false << QVariant() << QVariant() << QVariant();
    QTest::newRow("present ignores default")
        << true << QVariant(QSize(5, 6)) << QVariant(QSize(20, 20)) << QVariant(QSize(5, 6));
    QTest::newRow("present keeps its own type") << true << QVariant(1.5) << QVariant(1) << QVariant(1.5);
    QTest::newRow("present but invalid beats default") << true << QVariant() << QVariant(true) << QVariant();
    QTest::newRow("present empty string beats default")
        << true << QVariant(QString()) << QVariant(QStringLiteral("en_US")) << QVariant(QString());
}

void TestVTContext::getReturnsStoredValueOrDefault()
{
    QFETCH(bool, store);
    QFETCH(QVariant, stored);
    QFETCH(QVariant, defaultValue);
    QFETCH(QVariant, expected);

    VTContext context;
    context.set(VTContextFallbackLocale, QStringLiteral("other key"));
    if (store)
        context.set(VTContextCurrentLocale, stored);
    QCOMPARE(context.contains(VTContextCurrentLocale), store);

    const QVariant value = context.get(VTContextCurrentLocale, defaultValue);
    QCOMPARE(value.isValid(), expected.isValid());
    QCOMPARE(value.metaType(), expected.metaType());
    QCOMPARE(value, expected);
}

void TestVTContext::copyAndAssignmentEmitNothingAndStayIndependent()
{
    QObject owner;
    VTContext original(&owner);
    original.set(VTContextPackageExtension, QStringLiteral("vantles"));
    original.set(VTContextMessageThreshold, 300);

    QSignalSpy originalWill(&original, &VTContext::settingWillChange);
    QSignalSpy originalDid(&original, &VTContext::settingDidChange);

    VTContext copy(original);
    QCOMPARE(copy.parent(), nullptr);
    QCOMPARE(copy.keys(), original.keys());
    QCOMPARE(copy.get(VTContextMessageThreshold), QVariant(300));

    VTContext assigned;
    assigned.set(VTContextDisabled, true); // replaced, not merged
    QSignalSpy assignedWill(&assigned, &VTContext::settingWillChange);
    QSignalSpy assignedDid(&assigned, &VTContext::settingDidChange);
    assigned = original;
    QCOMPARE(assigned.keys(), original.keys());
    QVERIFY(!assigned.contains(VTContextDisabled));
    QCOMPARE(assigned.parent(), nullptr);

    QCOMPARE(originalWill.count(), 0);
    QCOMPARE(originalDid.count(), 0);
    QCOMPARE(assignedWill.count(), 0);
    QCOMPARE(assignedDid.count(), 0);

    // Writes on one side after sharing must not show on the other.
    copy.set(VTContextMessageThreshold, 400);
    assigned.set(VTContextPackageExtension, QStringLiteral("assigned"));
    original.set(VTContextCurrentLocale, QStringLiteral("de_DE"));

    QCOMPARE(original.get(VTContextMessageThreshold), QVariant(300));
    QCOMPARE(original.get(VTContextPackageExtension), QVariant(QStringLiteral("vantles")));
    QCOMPARE(copy.get(VTContextPackageExtension), QVariant(QStringLiteral("vantles")));
    QCOMPARE(assigned.get(VTContextMessageThreshold), QVariant(300));
    QVERIFY(!copy.contains(VTContextCurrentLocale));
    QVERIFY(!assigned.contains(VTContextCurrentLocale));
    QCOMPARE(copy.get(VTContextMessageThreshold), QVariant(400));
    QCOMPARE(assigned.get(VTContextPackageExtension), QVariant(QStringLiteral("assigned")));
}

void TestVTContext::keysComeBackSortedNotInInsertionOrder()
{
    VTContext context;
    QVERIFY(context.keys().isEmpty());

    for (int key : { 38, 2, 1000, 17, -5, 10 })
        context.set(static_cast<VTContextKey>(key), key);
    context.set(VTContextTimerInterval, 1); // replacing keeps one entry

    const QList<VTContextKey> expected { static_cast<VTContextKey>(-5), VTContextTimerInterval,
        VTContextPackageExtension, VTContextInstallEventFilter, VTContextInterfaceScale,
        static_cast<VTContextKey>(1000) };
    QCOMPARE(context.keys(), expected);
}

QTEST_GUILESS_MAIN(TestVTContext)
#include "tst_vtcontext.moc"
