#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVDispatch.h"
#include "support/PLVTest.h"

#include <QCoreApplication>
#include <QThread>

#include <thread>

#include <gtest/gtest.h>

#include <atomic>

using plvtest::waitUntil;

// --- Dispatch ---------------------------------------------------------------

TEST(Dispatch, MainQueueRunsInOrderOnTheMainThreadEvenWhenSubmittedFromWorkers)
{
    QList<int> order;
    std::atomic<bool> offMain{false};
    QThread *main = QThread::currentThread();
    bool allOnMain = true;
    for (int i = 0; i < 5; ++i)
        PLVDispatch::asyncMain([&, i] {
            order << i;
            allOnMain = allOnMain && QThread::currentThread() == main;
        });
    PLVDispatch::asyncGlobal([&] {
        offMain = !PLVDispatch::isMainThread();
        PLVDispatch::asyncMain([&] {
            order << 99;
            allOnMain = allOnMain && PLVDispatch::isMainThread();
        });
    });
    EXPECT_TRUE(order.isEmpty()) << "async work must not run inline";
    ASSERT_TRUE(waitUntil([&] { return order.size() == 6; }));
    EXPECT_EQ(order.mid(0, 5), (QList<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(order.last(), 99);
    EXPECT_TRUE(allOnMain);
    EXPECT_TRUE(offMain.load());
}

TEST(Dispatch, GlobalQueueRunsConcurrentlyBeyondTheCoreCount)
{
    // Eight tasks that each wait for all the others: only a queue wider than
    // the machine's two cores lets them all meet.
    constexpr int n = 8;
    std::atomic<int> arrived{0};
    std::atomic<int> done{0};
    for (int i = 0; i < n; ++i)
        PLVDispatch::asyncGlobal([&] {
            arrived.fetch_add(1);
            for (int spin = 0; spin < 5000 && arrived.load() < n; ++spin)
                QThread::msleep(1);
            if (arrived.load() == n)
                done.fetch_add(1);
        });
    PLVDispatch::drainGlobal();
    EXPECT_EQ(done.load(), n);
}

TEST(Dispatch, AfterRunsLaterOnTheRequestedQueue)
{
    QList<QString> order;
    std::atomic<bool> globalRan{false};
    std::atomic<bool> globalOffMain{false};
    PLVDispatch::after(0.05, PLVDispatch::Queue::Main, [&] { order << QStringLiteral("late"); });
    PLVDispatch::after(0.0, PLVDispatch::Queue::Main, [&] { order << QStringLiteral("soon"); });
    PLVDispatch::after(0.01, PLVDispatch::Queue::Global, [&] {
        globalOffMain = !PLVDispatch::isMainThread();
        globalRan = true;
    });
    ASSERT_TRUE(waitUntil([&] { return order.size() == 2 && globalRan.load(); }));
    EXPECT_EQ(order, (QList<QString>{QStringLiteral("soon"), QStringLiteral("late")}));
    EXPECT_TRUE(globalOffMain.load());
}

// --- Bindings ---------------------------------------------------------------

namespace {

class Inner : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString label READ label WRITE setLabel NOTIFY labelChanged)
public:
    QString label() const { return m_label; }
    void setLabel(const QString &l)
    {
        if (l == m_label)
            return;
        m_label = l;
        emit labelChanged();
    }
signals:
    void labelChanged();

private:
    QString m_label;
};

class Source : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int count READ count WRITE setCount NOTIFY countChanged)
    Q_PROPERTY(Inner *inner READ inner WRITE setInner NOTIFY innerChanged)
    Q_PROPERTY(QVariantMap values READ values WRITE setValues NOTIFY valuesChanged)
public:
    int count() const { return m_count.load(); }
    void setCount(int c)
    {
        m_count = c;
        emit countChanged();
    }
    Inner *inner() const { return m_inner; }
    void setInner(Inner *i)
    {
        m_inner = i;
        emit innerChanged();
    }
    QVariantMap values() const { return m_values; }
    void setValues(const QVariantMap &v)
    {
        m_values = v;
        emit valuesChanged();
    }
signals:
    void countChanged();
    void innerChanged();
    void valuesChanged();

private:
    std::atomic<int> m_count{0}; // written from a worker in one test
    Inner *m_inner = nullptr;
    QVariantMap m_values;
};

class Target : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariant value READ value WRITE setValue)
    Q_PROPERTY(int readOnly READ readOnly)
public:
    QVariant value() const { return m_value; }
    void setValue(const QVariant &v)
    {
        m_value = v;
        ++writes;
    }
    int readOnly() const { return 0; }
    int writes = 0;

private:
    QVariant m_value;
};

} // namespace

TEST(Binding, TargetFollowsAPropertyUntilUnbound)
{
    Source source;
    Target target;
    source.setCount(3);
    ASSERT_TRUE(PLVBinding::bind(&target, "value", &source, QStringLiteral("count")));
    EXPECT_EQ(target.value().toInt(), 3) << "the current value arrives at once";
    source.setCount(4);
    EXPECT_EQ(target.value().toInt(), 4);
    EXPECT_TRUE(PLVBinding::isBound(&target, "value"));

    PLVBinding::unbind(&target, "value");
    source.setCount(5);
    EXPECT_EQ(target.value().toInt(), 4);
    EXPECT_FALSE(PLVBinding::isBound(&target, "value"));

    EXPECT_FALSE(PLVBinding::bind(&target, "readOnly", &source, QStringLiteral("count")));
    EXPECT_FALSE(PLVBinding::bind(&target, "missing", &source, QStringLiteral("count")));
}

TEST(Binding, KeyPathsThroughObjectsAndDictionariesFollowEveryStep)
{
    Source source;
    Inner first, second;
    first.setLabel(QStringLiteral("one"));
    second.setLabel(QStringLiteral("two"));
    source.setInner(&first);
    Target label, fromMap;
    PLVBinding::bind(&label, "value", &source, QStringLiteral("inner.label"));
    PLVBinding::bind(&fromMap, "value", &source, QStringLiteral("values.cpu"));
    EXPECT_EQ(label.value().toString(), QStringLiteral("one"));
    EXPECT_FALSE(fromMap.value().isValid());

    first.setLabel(QStringLiteral("uno"));
    EXPECT_EQ(label.value().toString(), QStringLiteral("uno"));
    source.setInner(&second); // the path now runs through another object
    EXPECT_EQ(label.value().toString(), QStringLiteral("two"));
    first.setLabel(QStringLiteral("ignored"));
    EXPECT_EQ(label.value().toString(), QStringLiteral("two"));
    second.setLabel(QStringLiteral("dos"));
    EXPECT_EQ(label.value().toString(), QStringLiteral("dos"));

    source.setValues({{QStringLiteral("cpu"), 0.25}});
    EXPECT_DOUBLE_EQ(fromMap.value().toDouble(), 0.25);
    EXPECT_EQ(PLVBinding::valueForKeyPath(&source, QStringLiteral("inner.label")).toString(), QStringLiteral("dos"));
    EXPECT_FALSE(PLVBinding::valueForKeyPath(&source, QStringLiteral("inner.nothing.here")).isValid());
}

TEST(Binding, EndsWhenEitherSideIsDestroyed)
{
    auto *source = new Source;
    auto *target = new Target;
    PLVBinding::bind(target, "value", source, QStringLiteral("count"));
    delete source;
    EXPECT_FALSE(PLVBinding::isBound(target, "value"));
    delete target;

    Source s2;
    auto *t2 = new Target;
    PLVBinding::bind(t2, "value", &s2, QStringLiteral("count"));
    delete t2;
    s2.setCount(9); // must not write into the freed target
    Target t3;
    EXPECT_FALSE(PLVBinding::isBound(&t3, "value"));
}

TEST(Binding, ChangesMadeOnAWorkerReachTheTargetOnItsOwnThread)
{
    Source source;
    Target target;
    PLVBinding::bind(&target, "value", &source, QStringLiteral("count"));
    std::thread worker([&] { source.setCount(42); });
    worker.join();
    ASSERT_TRUE(waitUntil([&] { return target.value().toInt() == 42; }));
}

// --- Class registry ---------------------------------------------------------

namespace {

class RegisteredBase : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE RegisteredBase() = default;
    Q_INVOKABLE virtual void init() { trail << hookName(); }
    virtual QString hookName() const { return QStringLiteral("base"); }
    QStringList trail;
};

class RegisteredDerived : public RegisteredBase
{
    Q_OBJECT
public:
    Q_INVOKABLE RegisteredDerived() = default;
    QString hookName() const override { return QStringLiteral("derived"); }
    Q_INVOKABLE QString statusbarView() const { return {}; }
};

class NotCreatable : public QObject
{
    Q_OBJECT
public:
    explicit NotCreatable(int) {}
};

} // namespace

PLV_REGISTER_CLASS(RegisteredBase)
PLV_REGISTER_CLASS(RegisteredDerived)
PLV_REGISTER_CLASS(NotCreatable)

TEST(ClassRegistry, CreatesByNameAndRunsInitWithTheFinalClassHooks)
{
    EXPECT_EQ(PLVClassRegistry::classNamed(QStringLiteral("RegisteredDerived")), &RegisteredDerived::staticMetaObject);
    EXPECT_EQ(PLVClassRegistry::classNamed(QStringLiteral("PLVPluginsLoader")), nullptr);
    EXPECT_EQ(PLVClassRegistry::classNamed(QString()), nullptr);

    std::unique_ptr<QObject> object(PLVClassRegistry::createInstance(QStringLiteral("RegisteredDerived")));
    auto *derived = qobject_cast<RegisteredDerived *>(object.get());
    ASSERT_NE(derived, nullptr);
    EXPECT_EQ(derived->trail, QStringList{QStringLiteral("derived")}) << "init() must see the derived hook";

    EXPECT_EQ(PLVClassRegistry::createInstance(QStringLiteral("NotCreatable")), nullptr);
    EXPECT_EQ(PLVClassRegistry::createInstance(QStringLiteral("Nope")), nullptr);

    EXPECT_TRUE(PLVClassRegistry::respondsToSelector(derived, "statusbarView"));
    EXPECT_TRUE(PLVClassRegistry::respondsToSelector(derived, "init"));
    RegisteredBase base;
    EXPECT_FALSE(PLVClassRegistry::respondsToSelector(&base, "statusbarView"));
    EXPECT_FALSE(PLVClassRegistry::respondsToSelector(nullptr, "init"));
}

#include "test_dispatch_binding_registry.moc"
