#include "PLVCommon/platform/PLVNotificationCenter.h"

#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

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
    }
};

} // namespace

TEST(NotificationCenter, DeliversByNameAndSenderInRegistrationOrderUntilRemoved)
{
    PLVNotificationCenter center;
    Listener a, b;
    QObject sender, other;
    center.addObserver(&a, "plain", QStringLiteral("Tick"));
    center.addObserver(&b, "withNote", QStringLiteral("Tick"), &sender);
    center.addObserver(&a, "withNote", QString()); // every name
    center.addObserver(&a, "noSuchMethod", QStringLiteral("Tick"));

    center.postNotificationName(QStringLiteral("Tick"), &other);
    EXPECT_EQ(a.calls, (QStringList{QStringLiteral("plain"), QStringLiteral("withNote:Tick")}));
    EXPECT_TRUE(b.calls.isEmpty()) << "b only observes one sender";
    center.postNotificationName(QStringLiteral("Tick"), &sender, {{QStringLiteral("k"), 2}});
    ASSERT_EQ(b.received.size(), 1);
    EXPECT_EQ(b.received[0].object, &sender);
    EXPECT_EQ(b.received[0].userInfo.value(QStringLiteral("k")).toInt(), 2);

    // Removal by name and sender, by name, then altogether.
    center.addObserver(&b, "withNote", QStringLiteral("Tick"), &other);
    center.removeObserver(&b, QStringLiteral("Tick"), &sender);
    b.calls.clear();
    center.postNotificationName(QStringLiteral("Tick"), &sender);
    center.postNotificationName(QStringLiteral("Tick"), &other);
    EXPECT_EQ(b.calls, QStringList{QStringLiteral("withNote:Tick")});
    center.removeObserver(&a, QStringLiteral("Tick"));
    a.calls.clear();
    center.postNotificationName(QStringLiteral("Tick"));
    EXPECT_EQ(a.calls, QStringList{QStringLiteral("withNote:Tick")}) << "the every-name entry stays";
    center.removeObserver(&a);
    center.removeObserver(&b);
    EXPECT_EQ(center.observerCount(), 0);
}

TEST(NotificationCenter, FunctionObserversTokensAndContexts)
{
    PLVNotificationCenter center;
    int hits = 0;
    QObject *token = center.addObserverForName(QStringLiteral("N"), nullptr, [&](const PLVNotification &n) {
        EXPECT_EQ(n.name, QStringLiteral("N"));
        ++hits;
    });
    center.postNotificationName(QStringLiteral("N"));
    center.postNotificationName(QStringLiteral("M"));
    center.removeObserver(token);
    center.postNotificationName(QStringLiteral("N"));
    EXPECT_EQ(hits, 1);

    auto *context = new QObject;
    center.addObserverForName(QStringLiteral("N"), nullptr, [&](const PLVNotification &) { ++hits; }, context);
    delete context;
    center.postNotificationName(QStringLiteral("N"));
    EXPECT_EQ(hits, 1);
    EXPECT_EQ(center.observerCount(), 0);
}

TEST(NotificationCenter, DestroyedAndRemovedObserversAreNeverCalled)
{
    PLVNotificationCenter center;
    auto *gone = new Listener;
    center.addObserver(gone, "plain", QStringLiteral("Z"));
    delete gone;
    EXPECT_EQ(center.observerCount(), 0);
    center.postNotificationName(QStringLiteral("Z")); // must not touch the freed object

    // An observer removed by an earlier one during delivery is skipped.
    Listener first, second;
    first.onPlain = [&] { center.removeObserver(&second); };
    center.addObserver(&first, "plain", QStringLiteral("R"));
    center.addObserver(&second, "plain", QStringLiteral("R"));
    center.postNotificationName(QStringLiteral("R"));
    EXPECT_EQ(first.calls.size(), 1);
    EXPECT_TRUE(second.calls.isEmpty());
}

TEST(NotificationCenter, DeliversOnThePostingThreadAndToleratesConcurrentUse)
{
    PLVNotificationCenter center;
    Listener a;
    std::atomic<int> hits{0};
    center.addObserver(&a, "plain", QStringLiteral("T"));
    center.addObserverForName(QStringLiteral("C"), nullptr, [&](const PLVNotification &) { ++hits; });
    QThread *posterThread = nullptr;
    std::thread poster([&] {
        posterThread = QThread::currentThread();
        center.postNotificationName(QStringLiteral("T"));
    });
    poster.join();
    EXPECT_EQ(a.lastThread, posterThread);
    EXPECT_NE(posterThread, QThread::currentThread());

    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 500; ++i) {
                center.postNotificationName(QStringLiteral("C"));
                center.removeObserver(center.addObserverForName(QStringLiteral("D"), nullptr, [](const PLVNotification &) {}));
            }
        });
    for (std::thread &t : threads)
        t.join();
    EXPECT_EQ(hits, 2000);
    EXPECT_EQ(center.observerCount(), 2);
}

#include "test_notification_center.moc"
