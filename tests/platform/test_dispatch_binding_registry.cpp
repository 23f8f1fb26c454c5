#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVDispatch.h"
#include "support/PLVTest.h"

#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <thread>

using plvtest::waitUntil;

TEST(Dispatch, MainQueueRunsInOrderOnTheMainThreadAndTheGlobalQueueElsewhere)
{
    QList<int> order;
    std::atomic<int> offMain{0};
    bool allOnMain = true;
    for (int i = 0; i < 5; ++i)
        PLVDispatch::asyncMain([&, i] {
            order << i;
            allOnMain = allOnMain && PLVDispatch::isMainThread();
        });
    PLVDispatch::asyncGlobal([&] {
        offMain += !PLVDispatch::isMainThread();
        PLVDispatch::asyncMain([&] { order << 99; });
    });
    PLVDispatch::after(0.05, PLVDispatch::Queue::Main, [&] { order << 100; });
    PLVDispatch::after(0.01, PLVDispatch::Queue::Global, [&] { offMain += !PLVDispatch::isMainThread(); });
    EXPECT_TRUE(order.isEmpty()) << "async work must not run inline";
    ASSERT_TRUE(waitUntil([&] { return order.size() == 7 && offMain == 2; }));
    EXPECT_EQ(order.mid(0, 5), (QList<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(order.last(), 100) << "the delayed work comes last";
    EXPECT_TRUE(allOnMain);
}

TEST(Dispatch, GlobalQueueRunsConcurrentlyBeyondTheCoreCount)
{
    // Eight tasks that each wait for all the others: only a queue wider than
    // the machine's two cores lets them all meet.
    constexpr int n = 8;
    std::atomic<int> arrived{0}, met{0};
    for (int i = 0; i < n; ++i)
        PLVDispatch::asyncGlobal([&] {
            ++arrived;
            for (int spin = 0; spin < 5000 && arrived < n; ++spin)
                QThread::msleep(1);
            met += arrived == n;
        });
    PLVDispatch::drainGlobal();
    EXPECT_EQ(met, n);
}

namespace {

// A node of an object graph: a value (any variant, a dictionary included), a
// child node and a read-only property. Writes may come from any thread.
class Node : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariant value READ value WRITE setValue NOTIFY changed)
    Q_PROPERTY(Node *child READ child WRITE setChild NOTIFY changed)
    Q_PROPERTY(int fixed READ fixed)
public:
    QVariant value() const
    {
        std::lock_guard lock(m_mutex);
        return m_value;
    }
    void setValue(const QVariant &v)
    {
        {
            std::lock_guard lock(m_mutex);
            m_value = v;
            ++writes;
        }
        emit changed();
    }
    Node *child() const { return m_child; }
    void setChild(Node *c)
    {
        m_child = c;
        emit changed();
    }
    int fixed() const { return 0; }
    int writes = 0;
signals:
    void changed();

private:
    mutable std::mutex m_mutex;
    QVariant m_value;
    Node *m_child = nullptr;
};

} // namespace

TEST(Binding, TargetFollowsAKeyPathThroughObjectsAndDictionariesUntilUnbound)
{
    Node source, first, second, target, fromMap;
    first.setValue(QStringLiteral("one"));
    second.setValue(QStringLiteral("two"));
    source.setChild(&first);
    ASSERT_TRUE(PLVBinding::bind(&target, "value", &source, QStringLiteral("child.value")));
    ASSERT_TRUE(PLVBinding::bind(&fromMap, "value", &first, QStringLiteral("value.cpu")));
    EXPECT_EQ(target.value().toString(), QStringLiteral("one")) << "the current value arrives at once";
    EXPECT_FALSE(fromMap.value().isValid()) << "a missing step gives no value";

    first.setValue(QStringLiteral("uno"));
    EXPECT_EQ(target.value().toString(), QStringLiteral("uno"));
    source.setChild(&second); // the path now runs through another object
    EXPECT_EQ(target.value().toString(), QStringLiteral("two"));
    first.setValue(QVariantMap{{QStringLiteral("cpu"), 0.25}});
    EXPECT_EQ(target.value().toString(), QStringLiteral("two")) << "the old object no longer counts";
    EXPECT_DOUBLE_EQ(fromMap.value().toDouble(), 0.25);
    EXPECT_EQ(PLVBinding::valueForKeyPath(&source, QStringLiteral("child.value")).toString(), QStringLiteral("two"));

    PLVBinding::unbind(&target, "value");
    EXPECT_FALSE(PLVBinding::isBound(&target, "value"));
    second.setValue(QStringLiteral("dos"));
    EXPECT_EQ(target.value().toString(), QStringLiteral("two"));

    EXPECT_FALSE(PLVBinding::bind(&target, "fixed", &source, QStringLiteral("value")));
    EXPECT_FALSE(PLVBinding::bind(&target, "missing", &source, QStringLiteral("value")));
}

TEST(Binding, EndsWhenEitherSideGoesAndDeliversWorkerChangesOnTheTargetsThread)
{
    auto *source = new Node;
    Node target;
    PLVBinding::bind(&target, "value", source, QStringLiteral("value"));
    delete source;
    EXPECT_FALSE(PLVBinding::isBound(&target, "value"));

    Node s2;
    auto *gone = new Node;
    PLVBinding::bind(gone, "value", &s2, QStringLiteral("value"));
    delete gone;
    s2.setValue(9); // must not write into the freed target

    PLVBinding::bind(&target, "value", &s2, QStringLiteral("value"));
    std::thread worker([&] { s2.setValue(42); });
    worker.join();
    ASSERT_TRUE(waitUntil([&] { return target.value().toInt() == 42; }));
}

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

PLV_REGISTER_CLASS(RegisteredDerived)
PLV_REGISTER_CLASS(NotCreatable)

TEST(ClassRegistry, CreatesByNameAndRunsInitWithTheFinalClassHooks)
{
    EXPECT_EQ(PLVClassRegistry::classNamed(QStringLiteral("RegisteredDerived")), &RegisteredDerived::staticMetaObject);
    EXPECT_EQ(PLVClassRegistry::classNamed(QStringLiteral("PLVPluginsLoader")), nullptr);

    std::unique_ptr<QObject> object(PLVClassRegistry::createInstance(QStringLiteral("RegisteredDerived")));
    auto *derived = qobject_cast<RegisteredDerived *>(object.get());
    ASSERT_NE(derived, nullptr);
    EXPECT_EQ(derived->trail, QStringList{QStringLiteral("derived")}) << "init() must see the derived hook";
    EXPECT_EQ(PLVClassRegistry::createInstance(QStringLiteral("NotCreatable")), nullptr);

    EXPECT_TRUE(PLVClassRegistry::respondsToSelector(derived, "statusbarView"));
    RegisteredBase base;
    EXPECT_FALSE(PLVClassRegistry::respondsToSelector(&base, "statusbarView"));
    EXPECT_FALSE(PLVClassRegistry::respondsToSelector(nullptr, "init"));
}

#include "test_dispatch_binding_registry.moc"
