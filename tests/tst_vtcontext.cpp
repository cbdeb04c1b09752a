// SPDX-FileCopyrightText: 2026 The Vantles Authors
// SPDX-License-Identifier: BSD-3-Clause

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
    void getReturnsStoredValueOrDefault();
    void copyAndAssignmentEmitNothingStayIndependentAndKeepKeysSorted();
};

void TestVTContext::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void TestVTContext::setEmitsWillThenStoresThenDidOnEveryCall()
{
    VTContext context;
    QStringList events;
    auto record = [&](const char* signal, VTContextKey k) {
        events.append(QStringLiteral("%1 %2 %3")
                          .arg(QLatin1String(signal))
                          .arg(int(k))
                          .arg(context.get(k, QStringLiteral("none")).toString()));
    };
    connect(&context, &VTContext::settingWillChange, this, [&](VTContextKey k) { record("will", k); });
    connect(&context, &VTContext::settingDidChange, this, [&](VTContextKey k) { record("did", k); });

    context.set(VTContextTimerInterval, 1500);
    context.set(VTContextTimerInterval, 1500); // same value: the store never compares
    context.set(VTContextTimerInterval, 2500);
    context.set(static_cast<VTContextKey>(4711), QStringLiteral("kept")); // unknown keys are kept too
    QCOMPARE(events.join(QLatin1Char(',')),
        QStringLiteral("will 2 none,did 2 1500,will 2 1500,did 2 1500,will 2 1500,did 2 2500,"
                       "will 4711 none,did 4711 kept"));
}

void TestVTContext::getReturnsStoredValueOrDefault()
{
    VTContext context;
    context.set(VTContextFallbackLocale, QStringLiteral("other key"));
    QVERIFY(!context.contains(VTContextCurrentLocale));
    QCOMPARE(context.get(VTContextCurrentLocale, 3000), QVariant(3000));
    QCOMPARE(context.get(VTContextCurrentLocale), QVariant());

    context.set(VTContextCurrentLocale, QSize(5, 6));
    QCOMPARE(context.get(VTContextCurrentLocale, QSize(20, 20)), QVariant(QSize(5, 6)));
    // Present but invalid beats the default.
    context.set(VTContextCurrentLocale, QVariant());
    QVERIFY(context.contains(VTContextCurrentLocale));
    QVERIFY(!context.get(VTContextCurrentLocale, true).isValid());
}

void TestVTContext::copyAndAssignmentEmitNothingStayIndependentAndKeepKeysSorted()
{
    QObject owner;
    VTContext original(&owner);
    for (int key : { 38, 2, 1000, 36, -5, 10 })
        original.set(static_cast<VTContextKey>(key), key);
    original.set(VTContextPackageExtension, QStringLiteral("vantles")); // replacing keeps one entry
    QSignalSpy originalDid(&original, &VTContext::settingDidChange);

    VTContext copy(original);
    VTContext assigned;
    assigned.set(VTContextDisabled, true); // replaced, not merged
    QSignalSpy assignedWill(&assigned, &VTContext::settingWillChange);
    assigned = original;
    QVERIFY(!copy.parent() && !assigned.parent());
    // Keys come back sorted, not in insertion order.
    const QList<VTContextKey> keys { static_cast<VTContextKey>(-5), VTContextTimerInterval, VTContextPackageExtension,
        VTContextMessageThreshold, VTContextInterfaceScale, static_cast<VTContextKey>(1000) };
    QCOMPARE(original.keys(), keys);
    QCOMPARE(copy.keys(), keys);
    QCOMPARE(assigned.keys(), keys);
    QCOMPARE(originalDid.count() + assignedWill.count(), 0);

    // Writes on one side after sharing must not show on the other.
    copy.set(VTContextMessageThreshold, 400);
    assigned.set(VTContextPackageExtension, QStringLiteral("assigned"));
    original.set(VTContextCurrentLocale, QStringLiteral("de_DE"));
    QCOMPARE(original.get(VTContextMessageThreshold), QVariant(36));
    QCOMPARE(original.get(VTContextPackageExtension), QVariant(QStringLiteral("vantles")));
    QCOMPARE(copy.get(VTContextPackageExtension), QVariant(QStringLiteral("vantles")));
    QCOMPARE(copy.get(VTContextMessageThreshold), QVariant(400));
    QCOMPARE(assigned.get(VTContextMessageThreshold), QVariant(36));
    QVERIFY(!copy.contains(VTContextCurrentLocale) && !assigned.contains(VTContextCurrentLocale));
}

QTEST_GUILESS_MAIN(TestVTContext)
#include "tst_vtcontext.moc"
