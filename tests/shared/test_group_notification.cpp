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
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

using plvtest::waitUntil;

namespace {

class GroupNotification : public ::testing::Test
{
protected:
    void SetUp() override
    {
        center = TQGroupNotificationCenter::defaultCenter();
        // The centre reads its folder once per process; each test runs alone.
        ASSERT_EQ(center->notificationsFolderURL().toLocalFile(), container.notificationsFolder())
            << "run each test in its own process (as ctest does)";
        ASSERT_TRUE(center->isValid());
    }

    QString fileOf(const QString &name) const { return container.notificationsFolder() + QLatin1Char('/') + name; }
    QVariantMap contentsOf(const QString &name) const { return PLVPlist::readDictionary(fileOf(name)).toMap(); }

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
        for (QChar c : ref) {
            ASSERT_TRUE(alphabet.contains(c)) << ref.toStdString();
            seen.insert(c);
        }
        refs.insert(ref);
    }
    // 60000 draws leave no character of 62 unseen unless the modulus is wrong.
    EXPECT_EQ(seen.size(), 62);
    EXPECT_EQ(refs.size(), 3000);
}

TEST_F(GroupNotification, PostingWritesAPrivateXmlPropertyList)
{
    EXPECT_EQ(QFileInfo(container.notificationsFolder()).permissions() & 0x0077, 0) << "folder must be private";

    // Nobody watches this name: the file is written all the same.
    center->postNotificationName(QStringLiteral("Plain"));
    const QString path = fileOf(QStringLiteral("Plain"));
    ASSERT_TRUE(QFileInfo::exists(path));
    EXPECT_TRUE(plvtest::readFile(path).startsWith("<?xml"));
    struct stat st {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    const QVariantMap first = contentsOf(QStringLiteral("Plain"));
    EXPECT_EQ(first.keys(), QStringList{QStringLiteral("randomKey")});
    EXPECT_EQ(first.value(QStringLiteral("randomKey")).toString().size(), 20);

    center->postNotificationName(QStringLiteral("Plain"));
    EXPECT_NE(contentsOf(QStringLiteral("Plain")).value(QStringLiteral("randomKey")), first.value(QStringLiteral("randomKey")));

    const QVariantMap info{{QStringLiteral("count"), qint64(3)}, {QStringLiteral("who"), QStringLiteral("app")}};
    center->postNotificationName(QStringLiteral("WithInfo"), info);
    EXPECT_EQ(contentsOf(QStringLiteral("WithInfo")).value(QStringLiteral("userInfo")).toMap(), info);

    // An empty dictionary was given, so it is written; no dictionary writes no key.
    center->postNotificationName(QStringLiteral("EmptyInfo"), QVariantMap());
    EXPECT_TRUE(contentsOf(QStringLiteral("EmptyInfo")).contains(QStringLiteral("userInfo")));
}

TEST_F(GroupNotification, NamesThatAreNotPlainFileNamesAreIgnored)
{
    const QString parent = QFileInfo(container.notificationsFolder()).absolutePath();
    const QStringList before = QDir(parent).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
    Recorder observer;
    const QStringList names{QString(), QStringLiteral(""), QStringLiteral("."), QStringLiteral(".."),
                            QStringLiteral("../Escaped"), QStringLiteral("a/b"), QStringLiteral("/tmp/plv-escaped"),
                            QString::fromUtf16(u"nul\0name", 8)};
    for (const QString &name : names) {
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
    // The container would have to lie inside a regular file: it cannot be made.
    QTemporaryDir dir;
    const QString blocker = dir.path() + QStringLiteral("/file");
    ASSERT_TRUE(plvtest::writeFile(blocker, "x"));
    plvtest::ScopedEnv env("PLV_GROUP_CONTAINER", QFile::encodeName(blocker + QStringLiteral("/group")));

    TQGroupNotificationCenter *center = TQGroupNotificationCenter::defaultCenter();
    ASSERT_EQ(center->notificationsFolderURL().toLocalFile(), blocker + QStringLiteral("/group/Library/Notifications"))
        << "run each test in its own process (as ctest does)";
    EXPECT_FALSE(center->isValid());
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Name"));
    center->postNotificationName(QStringLiteral("Name"));
    EXPECT_TRUE(center->observedNames().isEmpty());
    EXPECT_EQ(center->watcherCount(), 0);
    EXPECT_EQ(plvtest::readFile(blocker), QByteArray("x"));
}

TEST_F(GroupNotification, ObserversAreCalledOnTheMainThreadWithANullArgument)
{
    Recorder plain, pointer, variant;
    center->addObserver(&plain, "plain", QStringLiteral("A"));
    center->addObserver(&pointer, "withPointer", QStringLiteral("B"));
    center->addObserver(&variant, "withVariant", QStringLiteral("C"));
    // Registering wrote a default file for each name, holding only a random key.
    EXPECT_EQ(contentsOf(QStringLiteral("A")).keys(), QStringList{QStringLiteral("randomKey")});
    settle();
    plain.reset();
    pointer.reset();
    variant.reset();

    for (const char *name : {"A", "B", "C"})
        center->postNotificationName(QString::fromLatin1(name), QVariantMap{{QStringLiteral("ignored"), true}});
    ASSERT_TRUE(waitUntil([&] { return plain.plainCalls && pointer.pointerCalls && variant.variantCalls; }));
    settle();
    EXPECT_EQ(plain.total(), 1);
    EXPECT_EQ(pointer.total(), 1);
    EXPECT_EQ(variant.total(), 1);
    for (Recorder *r : {&plain, &pointer, &variant}) {
        EXPECT_TRUE(r->allOnMainThread);
        EXPECT_TRUE(r->argumentsWereNull);
    }
}

TEST_F(GroupNotification, SameObserverAndSelectorTwiceKeepsOneEntry)
{
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Twice"));
    TQFileCoord *watcher = center->fileCoordForName(QStringLiteral("Twice"));
    center->addObserver(&observer, "plain", QStringLiteral("Twice"));
    EXPECT_EQ(center->observerCountForName(QStringLiteral("Twice")), 1);
    EXPECT_EQ(center->fileCoordForName(QStringLiteral("Twice")), watcher);
    EXPECT_EQ(center->replacedWatcherCount(), 0);
    settle();
    observer.reset();

    center->postNotificationName(QStringLiteral("Twice"));
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls > 0; }));
    settle();
    EXPECT_EQ(observer.plainCalls, 1);
}

TEST_F(GroupNotification, ASecondEntryReplacesTheWatcherButTheOldOneKeepsDelivering)
{
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Shared"));
    TQFileCoord *first = center->fileCoordForName(QStringLiteral("Shared"));
    center->addObserver(&observer, "withPointer", QStringLiteral("Shared"));
    EXPECT_EQ(center->observerCountForName(QStringLiteral("Shared")), 2);
    EXPECT_NE(center->fileCoordForName(QStringLiteral("Shared")), first);
    EXPECT_EQ(center->watcherCount(), 1);
    EXPECT_EQ(center->replacedWatcherCount(), 1);
    settle();
    observer.reset();

    // Two watchers see the post, and each delivers to both entries.
    center->postNotificationName(QStringLiteral("Shared"));
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls == 2 && observer.pointerCalls == 2; }));
    settle();
    EXPECT_EQ(observer.plainCalls, 2);
    EXPECT_EQ(observer.pointerCalls, 2);
}

TEST_F(GroupNotification, FirstCallbackOfANewWatcherDeliversAnEarlierWrite)
{
    // Written before anything watches the folder, so no event is pending.
    center->postNotificationName(QStringLiteral("Old"));
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Old"));
    TQFileCoord *watcher = center->fileCoordForName(QStringLiteral("Old"));
    ASSERT_NE(watcher, nullptr);
    settle();
    EXPECT_EQ(observer.plainCalls, 0);
    EXPECT_EQ(watcher->lastModificationDate(), 0.0);

    // A change of mode is an event that leaves the modification time alone:
    // the first one delivers the old write, the next one nothing new.
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
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls == 2; }));
}

TEST_F(GroupNotification, DestroyedObserversAndMissingMethodsAreSkipped)
{
    Recorder live;
    auto *doomed = new Recorder;
    QObject noMethods;
    center->addObserver(doomed, "plain", QStringLiteral("Mixed"));
    center->addObserver(&noMethods, "plain", QStringLiteral("Mixed"));
    center->addObserver(&live, "plain", QStringLiteral("Mixed"));
    delete doomed; // the centre does not own its observers
    EXPECT_EQ(center->observerCountForName(QStringLiteral("Mixed")), 3);
    settle();
    live.reset();

    center->postNotificationName(QStringLiteral("Mixed"));
    // Three registrations left three watchers delivering.
    ASSERT_TRUE(waitUntil([&] { return live.plainCalls == 3; }));

    // A removal clears the destroyed observer's entry too.
    center->removeObserver(&live);
    EXPECT_TRUE(center->observedNames().isEmpty());
}

TEST_F(GroupNotification, DeliveryWorksOnASnapshotOfTheObservers)
{
    Recorder first, second;
    first.onPlain = [&] { center->removeObserver(&first); };
    center->addObserver(&first, "plain", QStringLiteral("Snapshot"));
    center->addObserver(&second, "plain", QStringLiteral("Snapshot"));
    settle();
    first.reset();
    second.reset();

    center->postNotificationName(QStringLiteral("Snapshot"));
    ASSERT_TRUE(waitUntil([&] { return second.plainCalls > 0; }));
    settle();
    // The pass that removed everyone still called the second observer, and
    // no later pass found anyone.
    EXPECT_EQ(first.plainCalls, 1);
    EXPECT_EQ(second.plainCalls, 1);
}

TEST_F(GroupNotification, RemovalByNameClearsEveryObserverOfTheName)
{
    Recorder a, b, other;
    QObject bystander;
    center->addObserver(&a, "plain", QStringLiteral("N"));
    center->addObserver(&b, "plain", QStringLiteral("N"));
    center->addObserver(&other, "plain", QStringLiteral("M"));
    settle();
    a.reset();
    b.reset();
    other.reset();

    center->removeObserver(nullptr, QStringLiteral("N"));
    center->removeObserver(&bystander, QString());
    EXPECT_EQ(center->observerCountForName(QStringLiteral("N")), 2) << "null arguments must do nothing";

    // The given object is not even registered: the name is cleared all the same.
    center->removeObserver(&bystander, QStringLiteral("N"));
    EXPECT_TRUE(center->hasObserverEntriesForName(QStringLiteral("N")));
    EXPECT_EQ(center->observerCountForName(QStringLiteral("N")), 0);
    EXPECT_EQ(center->fileCoordForName(QStringLiteral("N")), nullptr);
    EXPECT_FALSE(QFileInfo::exists(fileOf(QStringLiteral("N"))));
    EXPECT_TRUE(QFileInfo::exists(fileOf(QStringLiteral("M"))));

    center->postNotificationName(QStringLiteral("N"));
    center->postNotificationName(QStringLiteral("M"));
    ASSERT_TRUE(waitUntil([&] { return other.plainCalls > 0; }));
    settle();
    EXPECT_EQ(a.plainCalls + b.plainCalls, 0);
}

TEST_F(GroupNotification, RemovingAnyObserverClearsTheWholeProcess)
{
    Recorder a, b;
    QObject stranger;
    center->addObserver(&a, "plain", QStringLiteral("One"));
    center->addObserver(&b, "withVariant", QStringLiteral("Two"));
    settle();
    a.reset();
    b.reset();

    center->removeObserver(nullptr);
    EXPECT_EQ(center->observedNames().size(), 2);

    center->removeObserver(&stranger);
    EXPECT_TRUE(center->observedNames().isEmpty());
    EXPECT_EQ(center->watcherCount(), 0);
    EXPECT_TRUE(QDir(container.notificationsFolder()).isEmpty());

    center->postNotificationName(QStringLiteral("One"));
    center->postNotificationName(QStringLiteral("Two"));
    settle();
    EXPECT_EQ(a.total() + b.total(), 0);
}

TEST_F(GroupNotification, WakingTearsWatchersDownAndGoingToSleepRebuildsThem)
{
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Sleepy"));
    settle();
    observer.reset();

    center->prepareForSleep(false); // woke up
    EXPECT_EQ(center->watcherCount(), 0);
    EXPECT_FALSE(QFileInfo::exists(fileOf(QStringLiteral("Sleepy"))));
    EXPECT_EQ(center->observerCountForName(QStringLiteral("Sleepy")), 1);
    center->postNotificationName(QStringLiteral("Sleepy"));
    settle();
    EXPECT_EQ(observer.plainCalls, 0) << "nothing is delivered after waking";

    QFile::remove(fileOf(QStringLiteral("Sleepy")));
    center->prepareForSleep(true); // about to sleep
    EXPECT_EQ(center->watcherCount(), 1);
    EXPECT_FALSE(QFileInfo::exists(fileOf(QStringLiteral("Sleepy")))) << "rebuilding does not make files";
    center->postNotificationName(QStringLiteral("Sleepy"));
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls == 1; }));

    // Going to sleep twice replaces the watchers; it does not add to them.
    center->prepareForSleep(true);
    EXPECT_EQ(center->watcherCount(), 1);
    EXPECT_EQ(center->replacedWatcherCount(), 0);
}

// logind's signal on a private bus standing in for the system bus.
TEST(GroupNotificationLogind, PrepareForSleepFromTheSystemBusDrivesPauseAndWake)
{
    const QString daemon = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
    if (daemon.isEmpty())
        GTEST_SKIP() << "dbus-daemon is not installed";
    QProcess bus;
    bus.start(daemon, {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
    ASSERT_TRUE(bus.waitForStarted(5000));
    ASSERT_TRUE(waitUntil([&] { return bus.canReadLine(); }, std::chrono::seconds(10)));
    const QByteArray address = bus.readLine().trimmed();
    plvtest::ScopedEnv env("DBUS_SYSTEM_BUS_ADDRESS", address);

    plvtest::TempGroupContainer container;
    TQGroupNotificationCenter *center = TQGroupNotificationCenter::defaultCenter();
    ASSERT_EQ(center->notificationsFolderURL().toLocalFile(), container.notificationsFolder())
        << "run each test in its own process (as ctest does)";
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Logind"));
    settle();
    observer.reset();

    QDBusConnection logind = QDBusConnection::connectToBus(QString::fromUtf8(address), QStringLiteral("logind"));
    ASSERT_TRUE(logind.isConnected());
    ASSERT_TRUE(logind.registerService(QStringLiteral("org.freedesktop.login1")));
    auto emitPrepareForSleep = [&](bool goingToSleep) {
        QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/login1"),
                                                         QStringLiteral("org.freedesktop.login1.Manager"),
                                                         QStringLiteral("PrepareForSleep"));
        signal << goingToSleep;
        return logind.send(signal);
    };

    ASSERT_TRUE(emitPrepareForSleep(false));
    ASSERT_TRUE(waitUntil([&] { return center->watcherCount() == 0; }));
    ASSERT_TRUE(emitPrepareForSleep(true));
    ASSERT_TRUE(waitUntil([&] { return center->watcherCount() == 1; }));
    center->postNotificationName(QStringLiteral("Logind"));
    EXPECT_TRUE(waitUntil([&] { return observer.plainCalls == 1; }));

    QDBusConnection::disconnectFromBus(QStringLiteral("logind"));
    bus.terminate();
    bus.waitForFinished(5000);
}

#include "moc_GroupNotificationTestSupport.cpp"
