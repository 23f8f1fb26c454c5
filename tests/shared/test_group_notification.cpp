// The group notification centre within one process: the files it writes, how
// observers are registered, called and removed, and sleep and wake.
#include "GroupNotificationTestSupport.h"
#include "support/PLVTest.h"

#include <PLVCommon/platform/PLVPlist.h>
#include <PLVCommon/shared/TQFileCoord.h>
#include <PLVCommon/shared/TQGroupNotificationCenter.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

using plvtest::waitUntil;

namespace {

const char kOwnProcess[] = "the centre reads its folder once: run each test in its own process (as ctest does)";

class GroupNotification : public ::testing::Test
{
protected:
    void SetUp() override
    {
        center = TQGroupNotificationCenter::defaultCenter();
        ASSERT_EQ(center->notificationsFolderURL().toLocalFile(), container.notificationsFolder()) << kOwnProcess;
    }
    QString fileOf(const QString &name) const { return container.notificationsFolder() + QLatin1Char('/') + name; }
    QVariantMap contentsOf(const QString &name) const { return PLVPlist::readDictionary(fileOf(name)).toMap(); }
    // Lets the registrations' own file events pass, then starts counting afresh.
    static void quiet(std::initializer_list<Recorder *> recorders)
    {
        settle();
        for (Recorder *r : recorders)
            r->reset();
    }

    plvtest::TempGroupContainer container;
    TQGroupNotificationCenter *center = nullptr;
};

} // namespace

TEST(GroupNotificationRandomReference, TwentyCharactersDrawnFromTheWholeAlphabet)
{
    const QString alphabet = QStringLiteral("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXZY0123456789");
    QSet<QChar> seen;
    QSet<QString> refs;
    for (int i = 0; i < 3000; ++i) {
        const QString ref = TQGroupNotificationCenter::generateRandomInternalRef();
        ASSERT_EQ(ref.size(), 20);
        for (QChar c : ref)
            ASSERT_TRUE(alphabet.contains(c)) << ref.toStdString();
        seen.unite(QSet<QChar>(ref.begin(), ref.end()));
        refs.insert(ref);
    }
    EXPECT_EQ(seen.size(), 62); // 60000 draws miss none unless the modulus is wrong
    EXPECT_EQ(refs.size(), 3000);
}

TEST_F(GroupNotification, PostingWritesAPrivateXmlPropertyList)
{
    EXPECT_EQ(QFileInfo(container.notificationsFolder()).permissions() & 0x0077, 0) << "folder must be private";
    center->postNotificationName(QStringLiteral("Plain")); // nobody watches it: written all the same
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(fileOf(QStringLiteral("Plain"))).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    EXPECT_TRUE(plvtest::readFile(fileOf(QStringLiteral("Plain"))).startsWith("<?xml"));
    const QVariantMap first = contentsOf(QStringLiteral("Plain"));
    EXPECT_EQ(first.keys(), QStringList{QStringLiteral("randomKey")});
    center->postNotificationName(QStringLiteral("Plain"));
    EXPECT_NE(contentsOf(QStringLiteral("Plain")).value(QStringLiteral("randomKey")), first.value(QStringLiteral("randomKey")));

    const QVariantMap info{{QStringLiteral("count"), qint64(3)}, {QStringLiteral("who"), QStringLiteral("app")}};
    center->postNotificationName(QStringLiteral("WithInfo"), info);
    EXPECT_EQ(contentsOf(QStringLiteral("WithInfo")).value(QStringLiteral("userInfo")).toMap(), info);
    center->postNotificationName(QStringLiteral("EmptyInfo"), QVariantMap()); // given, so written
    EXPECT_TRUE(contentsOf(QStringLiteral("EmptyInfo")).contains(QStringLiteral("userInfo")));
}

TEST_F(GroupNotification, NamesThatAreNotPlainFileNamesAreIgnored)
{
    const QString parent = QFileInfo(container.notificationsFolder()).absolutePath();
    const QStringList before = QDir(parent).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    Recorder observer;
    for (const QString &name : {QString(), QStringLiteral(""), QStringLiteral("."), QStringLiteral(".."),
                                QStringLiteral("../Escaped"), QStringLiteral("a/b"), QStringLiteral("/tmp/plv-escaped"),
                                QString::fromUtf16(u"nul\0name", 8)}) {
        center->postNotificationName(name, QVariantMap{{QStringLiteral("k"), 1}});
        center->addObserver(&observer, "plain", name);
    }
    EXPECT_TRUE(QDir(container.notificationsFolder()).isEmpty());
    EXPECT_EQ(QDir(parent).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), before);
    EXPECT_FALSE(QFileInfo::exists(QStringLiteral("/tmp/plv-escaped")));
    EXPECT_TRUE(center->observedNames().isEmpty());
    EXPECT_EQ(center->watcherCount(), 0);
}

TEST(GroupNotificationInvalid, CentreWithoutAFolderIgnoresEverything)
{
    QTemporaryDir dir; // the container would have to lie inside a regular file
    const QString blocker = dir.path() + QStringLiteral("/file");
    ASSERT_TRUE(plvtest::writeFile(blocker, "x"));
    plvtest::ScopedEnv env("PLV_GROUP_CONTAINER", QFile::encodeName(blocker + QStringLiteral("/group")));
    TQGroupNotificationCenter *center = TQGroupNotificationCenter::defaultCenter();
    ASSERT_TRUE(center->notificationsFolderURL().toLocalFile().startsWith(blocker)) << kOwnProcess;
    EXPECT_FALSE(center->isValid());
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Name"));
    center->postNotificationName(QStringLiteral("Name"));
    EXPECT_TRUE(center->observedNames().isEmpty());
    EXPECT_EQ(plvtest::readFile(blocker), QByteArray("x"));
}

TEST_F(GroupNotification, ObserversAreCalledOnTheMainThreadWithANullArgument)
{
    Recorder plain, pointer, variant;
    center->addObserver(&plain, "plain", QStringLiteral("A"));
    center->addObserver(&pointer, "withPointer", QStringLiteral("B"));
    center->addObserver(&variant, "withVariant", QStringLiteral("C"));
    EXPECT_EQ(contentsOf(QStringLiteral("A")).keys(), QStringList{QStringLiteral("randomKey")}) << "default file";
    quiet({&plain, &pointer, &variant});

    for (const char *name : {"A", "B", "C"})
        center->postNotificationName(QString::fromLatin1(name), QVariantMap{{QStringLiteral("ignored"), true}});
    ASSERT_TRUE(waitUntil([&] { return plain.plainCalls && pointer.pointerCalls && variant.variantCalls; }));
    settle();
    for (Recorder *r : {&plain, &pointer, &variant}) {
        EXPECT_EQ(r->plainCalls + r->pointerCalls + r->variantCalls, 1);
        EXPECT_TRUE(r->onMainThread);
        EXPECT_TRUE(r->argumentsNull);
    }
}

TEST_F(GroupNotification, ADuplicateIsDroppedAndASecondEntryLeavesTheOldWatcherDelivering)
{
    Recorder observer;
    const QString name = QStringLiteral("Shared");
    center->addObserver(&observer, "plain", name);
    TQFileCoord *first = center->fileCoordForName(name);
    center->addObserver(&observer, "plain", name);
    EXPECT_EQ(center->observerCountForName(name), 1);
    EXPECT_EQ(center->fileCoordForName(name), first);

    center->addObserver(&observer, "withPointer", name);
    EXPECT_EQ(center->observerCountForName(name), 2);
    EXPECT_NE(center->fileCoordForName(name), first);
    EXPECT_EQ(center->replacedWatcherCount(), 1);
    quiet({&observer});

    // Both watchers see the post, and each delivers to both entries.
    center->postNotificationName(name);
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls == 2 && observer.pointerCalls == 2; }));
    settle();
    EXPECT_EQ(observer.plainCalls + observer.pointerCalls, 4);
}

TEST_F(GroupNotification, FirstCallbackOfANewWatcherDeliversAnEarlierWrite)
{
    center->postNotificationName(QStringLiteral("Old")); // before any watch: no event pending
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Old"));
    TQFileCoord *watcher = center->fileCoordForName(QStringLiteral("Old"));
    settle();
    EXPECT_EQ(observer.plainCalls, 0);
    EXPECT_EQ(watcher->lastModificationDate(), 0.0);

    // A change of mode is an event that keeps the modification time: the first
    // one delivers the old write, the second finds nothing new.
    const QByteArray path = QFile::encodeName(fileOf(QStringLiteral("Old")));
    ASSERT_EQ(::chmod(path.constData(), 0640), 0);
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls == 1; }));
    struct stat st {};
    ASSERT_EQ(::stat(path.constData(), &st), 0);
    EXPECT_DOUBLE_EQ(watcher->lastModificationDate(), double(st.st_mtim.tv_sec) + double(st.st_mtim.tv_nsec) / 1e9);
    ASSERT_EQ(::chmod(path.constData(), 0600), 0);
    settle();
    EXPECT_EQ(observer.plainCalls, 1);

    nextClockTick();
    center->postNotificationName(QStringLiteral("Old"));
    EXPECT_TRUE(waitUntil([&] { return observer.plainCalls == 2; }));
}

TEST_F(GroupNotification, DeliverySkipsTheDeadAndWorksOnASnapshot)
{
    Recorder remover, live;
    auto *doomed = new Recorder;
    QObject noSuchMethod;
    remover.onPlain = [&] { center->removeObserver(&remover); };
    for (QObject *o : {static_cast<QObject *>(&remover), static_cast<QObject *>(doomed), &noSuchMethod,
                       static_cast<QObject *>(&live)})
        center->addObserver(o, "plain", QStringLiteral("Snapshot"));
    delete doomed; // the centre does not own its observers
    quiet({&remover, &live});

    center->postNotificationName(QStringLiteral("Snapshot"));
    ASSERT_TRUE(waitUntil([&] { return live.plainCalls > 0; }));
    settle();
    // The pass that removed everyone still reached the live observer; the
    // other watchers' passes found no one.
    EXPECT_EQ(remover.plainCalls, 1);
    EXPECT_EQ(live.plainCalls, 1);
    EXPECT_TRUE(center->observedNames().isEmpty()) << "the dead observer's entry went too";
}

TEST_F(GroupNotification, RemovalsClearMoreThanTheGivenObserver)
{
    Recorder a, b, other;
    QObject bystander;
    center->addObserver(&a, "plain", QStringLiteral("N"));
    center->addObserver(&b, "plain", QStringLiteral("N"));
    center->addObserver(&other, "withVariant", QStringLiteral("M"));
    quiet({&a, &b, &other});
    center->removeObserver(nullptr, QStringLiteral("N"));
    center->removeObserver(&bystander, QString());
    center->removeObserver(nullptr);
    ASSERT_EQ(center->observerCountForName(QStringLiteral("N")), 2) << "null arguments do nothing";

    // By name: every observer of the name, although the given one is not even registered.
    center->removeObserver(&bystander, QStringLiteral("N"));
    EXPECT_TRUE(center->hasObserverEntriesForName(QStringLiteral("N")));
    EXPECT_EQ(center->observerCountForName(QStringLiteral("N")), 0);
    EXPECT_EQ(center->fileCoordForName(QStringLiteral("N")), nullptr);
    EXPECT_FALSE(QFileInfo::exists(fileOf(QStringLiteral("N"))));
    center->postNotificationName(QStringLiteral("N"));
    center->postNotificationName(QStringLiteral("M"));
    ASSERT_TRUE(waitUntil([&] { return other.variantCalls > 0; }));
    settle();
    EXPECT_EQ(a.plainCalls + b.plainCalls, 0);

    // By observer: every name of the process, and the watched files go (N's
    // was written again by the post above, with no watcher left to delete it).
    center->removeObserver(&bystander);
    EXPECT_TRUE(center->observedNames().isEmpty());
    EXPECT_EQ(center->watcherCount(), 0);
    EXPECT_EQ(QDir(container.notificationsFolder()).entryList(QDir::Files), QStringList{QStringLiteral("N")});
    other.reset();
    center->postNotificationName(QStringLiteral("M"));
    settle();
    EXPECT_EQ(other.variantCalls, 0);
}

TEST_F(GroupNotification, WakingTearsWatchersDownAndGoingToSleepRebuildsThem)
{
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Sleepy"));
    quiet({&observer});

    center->prepareForSleep(false); // woke up
    EXPECT_EQ(center->watcherCount(), 0);
    EXPECT_FALSE(QFileInfo::exists(fileOf(QStringLiteral("Sleepy"))));
    EXPECT_EQ(center->observerCountForName(QStringLiteral("Sleepy")), 1);
    center->postNotificationName(QStringLiteral("Sleepy"));
    settle();
    EXPECT_EQ(observer.plainCalls, 0) << "nothing is delivered after waking";

    QFile::remove(fileOf(QStringLiteral("Sleepy")));
    center->prepareForSleep(true); // about to sleep
    center->prepareForSleep(true); // again: replaces, does not add
    EXPECT_EQ(center->watcherCount(), 1);
    EXPECT_EQ(center->replacedWatcherCount(), 0);
    EXPECT_FALSE(QFileInfo::exists(fileOf(QStringLiteral("Sleepy")))) << "rebuilding makes no files";
    center->postNotificationName(QStringLiteral("Sleepy"));
    EXPECT_TRUE(waitUntil([&] { return observer.plainCalls == 1; }));
}

// logind's signal, on a private bus standing in for the system bus.
TEST(GroupNotificationLogind, PrepareForSleepOnTheSystemBusDrivesPauseAndWake)
{
    const QString daemon = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
    if (daemon.isEmpty())
        GTEST_SKIP() << "dbus-daemon is not installed";
    // Started with fork() rather than QProcess: QProcess's vfork-style child
    // runs ThreadSanitizer's hooks on the parent's thread state and leaves it
    // blind to the main thread's later locks.
    int out[2];
    ASSERT_EQ(::pipe(out), 0);
    const QByteArray program = QFile::encodeName(daemon);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(out[1], STDOUT_FILENO);
        ::execl(program.constData(), "dbus-daemon", "--session", "--nofork", "--print-address=1", nullptr);
        ::_exit(127);
    }
    ::close(out[1]);
    QFile pipe;
    ASSERT_TRUE(pipe.open(out[0], QIODevice::ReadOnly, QFileDevice::AutoCloseHandle));
    const QByteArray address = pipe.readLine().trimmed();
    ASSERT_FALSE(address.isEmpty());
    const std::unique_ptr<void, std::function<void(void *)>> stopBus(&pipe, [pid](void *) { ::kill(pid, SIGTERM), ::waitpid(pid, nullptr, 0); });
    plvtest::ScopedEnv env("DBUS_SYSTEM_BUS_ADDRESS", address);
    plvtest::TempGroupContainer container;
    TQGroupNotificationCenter *center = TQGroupNotificationCenter::defaultCenter();
    ASSERT_EQ(center->notificationsFolderURL().toLocalFile(), container.notificationsFolder()) << kOwnProcess;
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Logind"));
    settle();

    QDBusConnection logind = QDBusConnection::connectToBus(QString::fromUtf8(address), QStringLiteral("logind"));
    ASSERT_TRUE(logind.registerService(QStringLiteral("org.freedesktop.login1")));
    auto prepareForSleep = [&](bool goingToSleep) {
        QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"));
        return logind.send(signal << goingToSleep);
    };
    ASSERT_TRUE(prepareForSleep(false));
    ASSERT_TRUE(waitUntil([&] { return center->watcherCount() == 0; }));
    ASSERT_TRUE(prepareForSleep(true));
    ASSERT_TRUE(waitUntil([&] { return center->watcherCount() == 1; }));
    observer.reset();
    center->postNotificationName(QStringLiteral("Logind"));
    EXPECT_TRUE(waitUntil([&] { return observer.plainCalls == 1; }));

    QDBusConnection::disconnectFromBus(QStringLiteral("logind"));
}

#include "moc_GroupNotificationTestSupport.cpp"
