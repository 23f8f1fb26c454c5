// The group notification centre: the files it writes, how observers are
// registered, called and removed, sleep and wake, and delivery between real
// processes (this program's children, and python3 as any other writer).
#include "support/PLVTest.h"

#include <PLVCommon/platform/PLVPlist.h>
#include <PLVCommon/shared/TQFileCoord.h>
#include <PLVCommon/shared/TQGroupNotificationCenter.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QThread>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using plvtest::waitUntil;

namespace {

const char kOwnProcess[] = "the centre reads its folder once: run each test in its own process (as ctest does)";

// Counts calls of each method form an observer may have, and where they ran.
class Recorder : public QObject
{
    Q_OBJECT
public:
    int plainCalls = 0, pointerCalls = 0, variantCalls = 0;
    bool onMainThread = true, argumentsNull = true;
    std::function<void()> onPlain;

    int calls() const { return plainCalls + pointerCalls + variantCalls; }
    void reset() { plainCalls = pointerCalls = variantCalls = 0; }
    Q_INVOKABLE void plain() { note(true), ++plainCalls, onPlain ? onPlain() : void(); }
    Q_INVOKABLE void withPointer(QObject *argument) { note(argument == nullptr), ++pointerCalls; }
    Q_INVOKABLE void withVariant(const QVariant &argument) { note(!argument.isValid()), ++variantCalls; }
    void note(bool nullArgument) { argumentsNull &= nullArgument, onMainThread &= QThread::currentThread() == qApp->thread(); }
};

// Runs the event loop for a while, so that late deliveries would arrive.
void settle() { waitUntil([] { return false; }, std::chrono::milliseconds(300)); }

// Two writes within one tick of the file system's clock leave the same
// modification time and count as one post; this waits for the next tick.
void nextClockTick() { QThread::msleep(20); }

class GroupNotification : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(center->notificationsFolderURL().toLocalFile(), container.notificationsFolder()) << kOwnProcess; }
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
    TQGroupNotificationCenter *center = TQGroupNotificationCenter::defaultCenter();
};

} // namespace

// Observes the first name and says "ready"; once called, posts the second name
// and reports what it received.
PLV_TEST_CHILD(gn_observe_then_post)
{
    QCoreApplication app(plvtest::childArgc, plvtest::childArgv);
    Recorder observer;
    TQGroupNotificationCenter::defaultCenter()->addObserver(&observer, "plain", args.value(0));
    fprintf(stdout, "ready\n");
    fflush(stdout);
    waitUntil([&] { return observer.plainCalls > 0; }, std::chrono::seconds(20));
    settle();
    TQGroupNotificationCenter::defaultCenter()->postNotificationName(args.value(1));
    fprintf(stdout, "calls=%d main=%d\n", observer.plainCalls, observer.onMainThread ? 1 : 0);
    return observer.plainCalls > 0 ? 0 : 1;
}

TEST(GroupNotificationRandomReference, TwentyCharactersDrawnFromTheWholeAlphabet)
{
    const QString alphabet = QStringLiteral("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXZY0123456789");
    QSet<QChar> seen;
    QSet<QString> refs;
    for (int i = 0; i < 3000; ++i) {
        const QString ref = TQGroupNotificationCenter::generateRandomInternalRef();
        ASSERT_EQ(ref.size(), 20);
        seen.unite(QSet<QChar>(ref.begin(), ref.end()));
        refs.insert(ref);
    }
    // 60000 draws give all 62 characters and no other, unless the table or the modulus is wrong.
    EXPECT_EQ(seen, QSet<QChar>(alphabet.begin(), alphabet.end()));
    EXPECT_EQ(refs.size(), 3000);
}

TEST_F(GroupNotification, PostingWritesAPrivatePropertyListUnderPlainNamesOnly)
{
    const QString parent = QFileInfo(container.notificationsFolder()).absolutePath();
    const QStringList before = QDir(parent).entryList(QDir::AllEntries | QDir::NoDotAndDotDot);
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

    // Names that are not plain file names are neither posted nor observed.
    Recorder observer;
    for (const QString &name : {QString(), QStringLiteral(""), QStringLiteral("."), QStringLiteral(".."),
                                QStringLiteral("../Escaped"), QStringLiteral("a/b"), QStringLiteral("/tmp/plv-escaped"),
                                QString::fromUtf16(u"nul\0name", 8)}) {
        center->postNotificationName(name, info);
        center->addObserver(&observer, "plain", name);
    }
    EXPECT_EQ(QDir(container.notificationsFolder()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              (QStringList{QStringLiteral("EmptyInfo"), QStringLiteral("Plain"), QStringLiteral("WithInfo")}));
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

// One name, observed through each method form an observer may have.
TEST_F(GroupNotification, EntriesAndWatchersOfANameAndHowObserversAreCalled)
{
    Recorder observer;
    const QString name = QStringLiteral("Shared");
    center->addObserver(&observer, "plain", name);
    EXPECT_EQ(contentsOf(name).keys(), QStringList{QStringLiteral("randomKey")}) << "default file";
    TQFileCoord *first = center->fileCoordForName(name);
    center->addObserver(&observer, "plain", name); // a duplicate is dropped
    EXPECT_EQ(center->observerCountForName(name), 1);
    EXPECT_EQ(center->fileCoordForName(name), first);

    // Another selector is a second entry, and a new watcher replaces the old one,
    // which keeps watching.
    center->addObserver(&observer, "withPointer", name);
    center->addObserver(&observer, "withVariant", name);
    EXPECT_EQ(center->observerCountForName(name), 3);
    EXPECT_NE(center->fileCoordForName(name), first);
    EXPECT_EQ(center->replacedWatcherCount(), 2);
    quiet({&observer});

    // Each of the three watchers delivers to the three entries, on the main thread, with null arguments.
    center->postNotificationName(name, QVariantMap{{QStringLiteral("ignored"), true}});
    ASSERT_TRUE(waitUntil([&] { return observer.calls() == 9; }));
    settle();
    EXPECT_EQ(std::tuple(observer.plainCalls, observer.pointerCalls, observer.variantCalls), std::tuple(3, 3, 3));
    EXPECT_TRUE(observer.onMainThread && observer.argumentsNull);
}

TEST_F(GroupNotification, FirstCallbackOfANewWatcherDeliversAnEarlierWrite)
{
    center->postNotificationName(QStringLiteral("Old")); // before any watch: no event pending
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Old"));
    settle();
    EXPECT_EQ(observer.plainCalls, 0);

    // A change of mode is an event that keeps the modification time: the first
    // one delivers the old write, the second finds nothing new.
    const QByteArray path = QFile::encodeName(fileOf(QStringLiteral("Old")));
    ASSERT_EQ(::chmod(path.constData(), 0640), 0);
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls == 1; }));
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
    for (QObject *o : std::initializer_list<QObject *>{&remover, doomed, &noSuchMethod, &live})
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

// Plays logind on dbus-run-session's private bus, which stands in for the system bus.
PLV_TEST_CHILD(gn_logind)
{
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    QCoreApplication app(plvtest::childArgc, plvtest::childArgv);
    TQGroupNotificationCenter *center = TQGroupNotificationCenter::defaultCenter();
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Logind"));
    QDBusConnection logind = QDBusConnection::sessionBus();
    if (!logind.registerService(QStringLiteral("org.freedesktop.login1")))
        return 2;
    // Sent again until seen: the centre's match rule may reach the bus after the
    // first signal. The bus keeps one sender's messages in order.
    for (const bool goingToSleep : {false, true}) {
        QDBusMessage signal = QDBusMessage::createSignal(QStringLiteral("/org/freedesktop/login1"),
            QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("PrepareForSleep"));
        signal << goingToSleep;
        if (!waitUntil([&] { return center->watcherCount() == int(goingToSleep) || (logind.send(signal), false); }))
            return goingToSleep ? 4 : 3;
    }
    return 0;
}

TEST(GroupNotificationLogind, PrepareForSleepOnTheSystemBusDrivesPauseAndWake)
{
    const QString runSession = QStandardPaths::findExecutable(QStringLiteral("dbus-run-session"));
    if (runSession.isEmpty())
        GTEST_SKIP() << "dbus-run-session is not installed";
    plvtest::TempGroupContainer container;
    QProcess child;
    child.start(runSession, {QStringLiteral("--"), QCoreApplication::applicationFilePath(), QStringLiteral("--plv-child"),
                             QStringLiteral("gn_logind")});
    ASSERT_TRUE(child.waitForFinished(60000));
    EXPECT_EQ(child.exitCode(), 0) << "3: waking kept the watchers, 4: going to sleep did not rebuild them; "
                                   << child.readAllStandardError().toStdString();
}

TEST_F(GroupNotification, PostsReachAChildProcessAndItsPostsReachTheParent)
{
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("FromChild"));
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--plv-child"), QStringLiteral("gn_observe_then_post"),
                                                          QStringLiteral("FromParent"), QStringLiteral("FromChild")});
    QByteArray out;
    ASSERT_TRUE(waitUntil([&] { return (out += child.readAllStandardOutput()).contains("ready\n"); }));

    center->postNotificationName(QStringLiteral("FromParent"));
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls > 0; }, std::chrono::seconds(30)));
    ASSERT_TRUE(child.state() == QProcess::NotRunning || child.waitForFinished(30000)); // it may be done already
    out += child.readAllStandardOutput();
    EXPECT_EQ(child.exitCode(), 0) << child.readAllStandardError().toStdString();
    EXPECT_TRUE(out.contains("calls=1 main=1")) << out.toStdString();
    settle();
    EXPECT_EQ(observer.plainCalls, 1);
    EXPECT_TRUE(observer.onMainThread);
}

TEST_F(GroupNotification, Python3ReadsPostedFilesAndItsWritesAreDelivered)
{
    const QString python = QStandardPaths::findExecutable(QStringLiteral("python3"));
    if (python.isEmpty())
        GTEST_SKIP() << "python3 is not installed";
    // Prints the file as JSON, replaces it as the product's writers do (a
    // temporary file renamed over it), or rewrites it in place.
    const auto run = [&](const char *mode) {
        QProcess p;
        p.start(python, {QStringLiteral("-c"), QStringLiteral(R"(
import json, os, plistlib, sys, tempfile
path, mode = sys.argv[1], sys.argv[2]
if mode == "read":
    print(json.dumps(plistlib.load(open(path, "rb"))))
elif mode == "replace":
    fd, tmp = tempfile.mkstemp(dir=os.path.dirname(path))
    os.write(fd, plistlib.dumps({"randomKey": "fromPythonReplacing0"}))
    os.close(fd)
    os.replace(tmp, path)
else:
    open(path, "wb").write(plistlib.dumps({"randomKey": "fromPythonInPlace000", "userInfo": {"a": 1}}))
)"), fileOf(QStringLiteral("Interop")), QLatin1String(mode)});
        EXPECT_TRUE(p.waitForFinished(30000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0)
            << mode << p.readAllStandardError().toStdString();
        return p.readAllStandardOutput();
    };

    center->postNotificationName(QStringLiteral("Interop"), QVariantMap{{QStringLiteral("count"), qint64(7)}});
    const QJsonObject seen = QJsonDocument::fromJson(run("read")).object();
    EXPECT_EQ(seen.value(QStringLiteral("randomKey")).toString(), contentsOf(QStringLiteral("Interop")).value(QStringLiteral("randomKey")));
    EXPECT_EQ(seen.value(QStringLiteral("userInfo")).toObject().value(QStringLiteral("count")).toInt(), 7);

    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Interop"));
    quiet({&observer});
    for (const char *mode : {"replace", "in place"}) {
        nextClockTick();
        run(mode);
        EXPECT_TRUE(waitUntil([&] { return observer.plainCalls == 1; })) << mode;
        settle();
        EXPECT_EQ(observer.plainCalls, 1) << mode;
        observer.reset();
    }
}

#include "test_group_notification.moc"
