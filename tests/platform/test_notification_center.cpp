#include "PLVCommon/platform/PLVNotificationCenter.h"

#include <QThread>

#include <thread>

#include <gtest/gtest.h>

#include <atomic>

namespace {

class Listener : public QObject
{
    Q_OBJECT
public:
    QStringList calls;
    QList<PLVNotification> received;
    QThread *lastThread = nullptr;
    std::function<void()> onPlain;

public slots:
    void plain()
    {
        calls << QStringLiteral("plain");
        lastThread = QThread::currentThread();
        if (onPlain)
            onPlain();
    }
    void withNote(const PLVNotification &n)
    {
        calls << QStringLiteral("withNote:") + n.name;
        received << n;
        lastThread = QThread::currentThread();
    }
};

} // namespace

TEST(NotificationCenter, DeliversByNameAndSenderInRegistrationOrder)
{
    PLVNotificationCenter center;
    Listener a, b;
    QObject sender, otherSender;
    center.addObserver(&a, "plain", QStringLiteral("Tick"));
    center.addObserver(&b, "withNote", QStringLiteral("Tick"), &sender);
    center.addObserver(&a, "withNote", QString()); // every name

    center.postNotificationName(QStringLiteral("Tick"), &otherSender, {{QStringLiteral("k"), 1}});
    EXPECT_EQ(a.calls, (QStringList{QStringLiteral("plain"), QStringLiteral("withNote:Tick")}));
    EXPECT_TRUE(b.calls.isEmpty()) << "b only observes one sender";

    center.postNotificationName(QStringLiteral("Tick"), &sender, {{QStringLiteral("k"), 2}});
    ASSERT_EQ(b.received.size(), 1);
    EXPECT_EQ(b.received[0].object, &sender);
    EXPECT_EQ(b.received[0].userInfo.value(QStringLiteral("k")).toInt(), 2);

    a.calls.clear();
    center.postNotificationName(QStringLiteral("Other"));
    EXPECT_EQ(a.calls, QStringList{QStringLiteral("withNote:Other")});
}

TEST(NotificationCenter, FunctionObserversAndTheirTokens)
{
    PLVNotificationCenter center;
    int hits = 0;
    QObject *token = center.addObserverForName(QStringLiteral("N"), nullptr, [&](const PLVNotification &n) {
        EXPECT_EQ(n.name, QStringLiteral("N"));
        ++hits;
    });
    center.postNotificationName(QStringLiteral("N"));
    center.postNotificationName(QStringLiteral("M"));
    EXPECT_EQ(hits, 1);
    center.removeObserver(token);
    center.postNotificationName(QStringLiteral("N"));
    EXPECT_EQ(hits, 1);
    EXPECT_EQ(center.observerCount(), 0);

    // With a context object the registration ends with the context.
    auto *context = new QObject;
    center.addObserverForName(QStringLiteral("N"), nullptr, [&](const PLVNotification &) { ++hits; }, context);
    delete context;
    center.postNotificationName(QStringLiteral("N"));
    EXPECT_EQ(hits, 1);
    EXPECT_EQ(center.observerCount(), 0);
}

TEST(NotificationCenter, RemovalByObserverByNameAndBySender)
{
    PLVNotificationCenter center;
    Listener a;
    QObject s1, s2;
    center.addObserver(&a, "withNote", QStringLiteral("X"), &s1);
    center.addObserver(&a, "withNote", QStringLiteral("X"), &s2);
    center.addObserver(&a, "withNote", QStringLiteral("Y"));

    center.removeObserver(&a, QStringLiteral("X"), &s1);
    center.postNotificationName(QStringLiteral("X"), &s1);
    center.postNotificationName(QStringLiteral("X"), &s2);
    EXPECT_EQ(a.calls, QStringList{QStringLiteral("withNote:X")});

    center.removeObserver(&a, QStringLiteral("X"));
    a.calls.clear();
    center.postNotificationName(QStringLiteral("X"), &s2);
    center.postNotificationName(QStringLiteral("Y"));
    EXPECT_EQ(a.calls, QStringList{QStringLiteral("withNote:Y")});

    center.removeObserver(&a);
    EXPECT_EQ(center.observerCount(), 0);
}

TEST(NotificationCenter, DestroyedObserversAreRemovedAndUnknownSelectorsIgnored)
{
    PLVNotificationCenter center;
    auto *gone = new Listener;
    center.addObserver(gone, "plain", QStringLiteral("Z"));
    center.addObserver(gone, "noSuchMethod", QStringLiteral("Z"));
    EXPECT_EQ(center.observerCount(), 1);
    delete gone;
    EXPECT_EQ(center.observerCount(), 0);
    center.postNotificationName(QStringLiteral("Z")); // must not touch the freed object

    // A new object that happens to reuse the address is a new observer.
    Listener fresh;
    center.addObserver(&fresh, "plain", QStringLiteral("Z"));
    center.postNotificationName(QStringLiteral("Z"));
    EXPECT_EQ(fresh.calls.size(), 1);
}

TEST(NotificationCenter, AnObserverRemovedDuringDeliveryIsNotCalled)
{
    PLVNotificationCenter center;
    Listener first, second;
    first.onPlain = [&] { center.removeObserver(&second); };
    center.addObserver(&first, "plain", QStringLiteral("R"));
    center.addObserver(&second, "plain", QStringLiteral("R"));
    center.postNotificationName(QStringLiteral("R"));
    EXPECT_EQ(first.calls.size(), 1);
    EXPECT_TRUE(second.calls.isEmpty());
}

TEST(NotificationCenter, DeliveryHappensOnThePostingThread)
{
    PLVNotificationCenter center;
    Listener a;
    std::atomic<QThread *> blockThread{nullptr};
    center.addObserver(&a, "plain", QStringLiteral("T"));
    center.addObserverForName(QStringLiteral("T"), nullptr, [&](const PLVNotification &) {
        blockThread = QThread::currentThread();
    });
    QThread *posterThread = nullptr;
    std::thread poster([&] {
        posterThread = QThread::currentThread();
        center.postNotificationName(QStringLiteral("T"));
    });
    poster.join();
    ASSERT_NE(posterThread, QThread::currentThread());
    EXPECT_EQ(a.lastThread, posterThread);
    EXPECT_EQ(blockThread.load(), posterThread);
}

TEST(NotificationCenter, ConcurrentPostersAndRegistrationsDoNotRace)
{
    PLVNotificationCenter center;
    std::atomic<int> hits{0};
    center.addObserverForName(QStringLiteral("C"), nullptr, [&](const PLVNotification &) { hits.fetch_add(1); });
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                center.postNotificationName(QStringLiteral("C"));
                QObject *tmp = center.addObserverForName(QStringLiteral("D"), nullptr, [](const PLVNotification &) {});
                center.removeObserver(tmp);
            }
        });
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(hits.load(), 2000);
    EXPECT_EQ(center.observerCount(), 1);
}

#include "test_notification_center.moc"
