// plvhelper, the real program, on private buses: its methods over a fixture
// powercap tree, what it refuses, its rate limit, and its D-Bus policy.
#include "support/PLVTestBus.h"
#include "support/PLVTest.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QElapsedTimer>
#include <QProcess>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTextStream>
#include <QThread>

#include <gtest/gtest.h>

#include <grp.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString kName = u"Q4HZ8RMW2C.com.tallowcrest.plvsmchelper3"_s;
const QString kPath = u"/Q4HZ8RMW2C/com/tallowcrest/plvsmchelper3"_s;
const QString kPackage0 = u"sys/devices/virtual/powercap/intel-rapl/intel-rapl:0/"_s;
constexpr quint64 kRange = 262143328850ULL; // the fixture's max_energy_range_uj
const QString kHelper = QStringLiteral(PLV_BUILD_BIN_DIR "/plvhelper");

QDBusMessage call(const QDBusConnection &bus, const QString &member, const QVariantList &args = {},
                  const QString &interface = kName, const QString &path = kPath)
{
    QDBusMessage m = QDBusMessage::createMethodCall(kName, path, interface, member);
    m.setArguments(args);
    return bus.call(m, QDBus::Block, 10000);
}

struct Package {
    QString name;
    double watts = 0, seconds = 0;
};

QList<Package> packages(const QDBusMessage &reply)
{
    QList<Package> out;
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != "a(sdd)"_L1)
        return out;
    const QDBusArgument arg = reply.arguments().constFirst().value<QDBusArgument>();
    arg.beginArray();
    while (!arg.atEnd()) {
        Package p;
        arg.beginStructure();
        arg >> p.name >> p.watts >> p.seconds;
        arg.endStructure();
        out.append(p);
    }
    arg.endArray();
    return out;
}

// A copy of the recorded tree, symbolic links kept as the kernel has them.
bool copyFixture(const QString &to)
{
    return QProcess::execute(u"cp"_s, {u"-a"_s, plvtest::fixturePath(u"powercap/laptop"_s) + u"/."_s, to}) == 0;
}

struct Helper {
    explicit Helper(const QString &policy = QString()) : bus(policy)
    {
        if (!bus.isRunning() || !copyFixture(root.path()))
            return;
        service = std::make_unique<plvtest::ServiceProcess>(
            kHelper, QStringList{u"--address"_s, bus.address(), u"--sysfs-root"_s, root.path()}, "ready");
        client = QDBusConnection::connectToBus(bus.address(), u"client"_s);
    }
    ~Helper() { QDBusConnection::disconnectFromBus(u"client"_s); }
    bool ready() const { return service && service->isReady() && client.isConnected(); }
    void setEnergy(const QByteArray &text) const { plvtest::writeFile(root.path() + u'/' + kPackage0 + u"energy_uj"_s, text); }

    plvtest::PrivateBus bus;
    QTemporaryDir root;
    std::unique_ptr<plvtest::ServiceProcess> service;
    QDBusConnection client{u"none"_s};
};

} // namespace

TEST(HelperService, PackagePowerFollowsTheCounterThroughWrapsAndBadReadings)
{
    Helper h;
    if (!h.bus.isRunning())
        GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_TRUE(h.ready());

    const QDBusMessage version = call(h.client, u"Version"_s);
    ASSERT_EQ(version.type(), QDBusMessage::ReplyMessage) << version.errorMessage().toStdString();
    EXPECT_EQ(version.signature(), "u"_L1);
    EXPECT_EQ(version.arguments().constFirst().toUInt(), uint(PLV_TEST_HELPER_VERSION));

    // The first call already has a power: two readings of an idle counter.
    // Only the package counts: not its sub-zones, psys, nor the MMIO copy.
    const QList<Package> first = packages(call(h.client, u"PackagePower"_s));
    ASSERT_EQ(first.size(), 1);
    EXPECT_EQ(first[0].name, "package-0"_L1);
    EXPECT_EQ(first[0].watts, 0.0);
    EXPECT_GE(first[0].seconds, 0.1);

    struct Step {
        const char *what;
        QByteArray energy;
        std::optional<double> microjoules; // none: the package is left out of the answer
    };
    // A reading that cannot continue the last one starts afresh: the service
    // reads again at once and answers over that short window.
    const Step steps[] = {
        {"counter moves", "24878260427\n", 5e6},
        {"near the top of its range", QByteArray::number(kRange - 1'000'000) + '\n', kRange - 1e6 - 24878260427.0},
        {"wraps", "2000000\n", 3e6},
        {"unreadable", "garbage\n", std::nullopt},
        {"readable again: a fresh start", "2500000\n", 0},
        {"then moves", "4500000", 2e6}, // no newline: still a counter
        {"jumps above its range", QByteArray::number(kRange + 10) + '\n', kRange + 10 - 4.5e6},
        {"back below: no wrap of this counter, a fresh start", "100\n", 0},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.what);
        h.setEnergy(step.energy);
        QThread::msleep(150); // past the window within which calls share a reading
        const QList<Package> now = packages(call(h.client, u"PackagePower"_s));
        if (!step.microjoules) {
            EXPECT_TRUE(now.isEmpty());
            continue;
        }
        ASSERT_EQ(now.size(), 1);
        EXPECT_GE(now[0].seconds, 0.099);
        EXPECT_NEAR(now[0].watts * now[0].seconds * 1e6, *step.microjoules, 1e-9 * *step.microjoules + 1e-6);
    }
}

TEST(HelperService, RefusesEverythingButItsFixedMethodsAndKeepsServing)
{
    Helper h;
    if (!h.bus.isRunning())
        GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_TRUE(h.ready());

    const QString props = u"org.freedesktop.DBus.Properties"_s;
    struct Case {
        QString interface, member;
        QVariantList args;
        QString path;
        QString error; // empty: answered
    };
    const Case cases[] = {
        {kName, u"Shutdown"_s, {}, kPath, u"org.freedesktop.DBus.Error.UnknownMethod"_s},
        {kName, u"Version"_s, {u"/etc/shadow"_s}, kPath, u"org.freedesktop.DBus.Error.InvalidArgs"_s},
        {kName, u"PackagePower"_s, {42}, kPath, u"org.freedesktop.DBus.Error.InvalidArgs"_s},
        {u"org.example.Other"_s, u"Version"_s, {}, kPath, u"org.freedesktop.DBus.Error.UnknownInterface"_s},
        {props, u"Get"_s, {kName, u"Version"_s}, kPath, u"org.freedesktop.DBus.Error.UnknownProperty"_s},
        {props, u"Set"_s, {kName, u"Root"_s, QVariant::fromValue(QDBusVariant(u"/"_s))}, kPath,
         u"org.freedesktop.DBus.Error.UnknownProperty"_s},
        {props, u"Get"_s, {kName}, kPath, u"org.freedesktop.DBus.Error.UnknownMethod"_s},
        {kName, u"Version"_s, {}, kPath + u"/sub"_s, u"org.freedesktop.DBus.Error.UnknownObject"_s},
        {QString(), u"Version"_s, {}, kPath, QString()}, // no interface: the member alone decides
        {props, u"GetAll"_s, {kName}, kPath, QString()},
        {u"org.freedesktop.DBus.Peer"_s, u"Ping"_s, {}, kPath, QString()},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE((c.interface + u'.' + c.member + u' ' + c.path).toStdString());
        const QDBusMessage r = call(h.client, c.member, c.args, c.interface, c.path);
        if (c.error.isEmpty())
            EXPECT_EQ(r.type(), QDBusMessage::ReplyMessage) << r.errorMessage().toStdString();
        else
            EXPECT_EQ(r.errorName(), c.error);
    }
    const QDBusMessage xml = call(h.client, u"Introspect"_s, {}, u"org.freedesktop.DBus.Introspectable"_s);
    ASSERT_EQ(xml.type(), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(xml.arguments().constFirst().toString().contains("<method name=\"PackagePower\">"_L1));

    EXPECT_EQ(h.service->process().state(), QProcess::Running);
    EXPECT_EQ(call(h.client, u"Version"_s).type(), QDBusMessage::ReplyMessage);
}

TEST(HelperService, AFloodIsRefusedForItsSenderWhileOthersAreServed)
{
    Helper h;
    if (!h.bus.isRunning())
        GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_TRUE(h.ready());

    QElapsedTimer clock;
    clock.start();
    QList<QDBusPendingCall> flood;
    for (int i = 0; i < 300; ++i)
        flood.append(h.client.asyncCall(QDBusMessage::createMethodCall(kName, kPath, kName,
                                                                       i % 2 ? u"Version"_s : u"PackagePower"_s)));
    int served = 0, limited = 0;
    for (QDBusPendingCall &c : flood) {
        c.waitForFinished();
        if (!c.isError())
            ++served;
        else if (c.error().name() == "org.freedesktop.DBus.Error.LimitsExceeded"_L1)
            ++limited;
    }
    const double elapsed = double(clock.elapsed()) / 1000;
    EXPECT_EQ(served + limited, 300);
    EXPECT_GE(served, 20); // the burst
    EXPECT_LE(served, 20 + int(10 * elapsed) + 1);

    QDBusConnection other = QDBusConnection::connectToBus(h.bus.address(), u"other"_s);
    EXPECT_EQ(call(other, u"Version"_s).type(), QDBusMessage::ReplyMessage);
    QDBusConnection::disconnectFromBus(u"other"_s);

    QThread::msleep(300); // a few tokens come back
    EXPECT_EQ(call(h.client, u"Version"_s).type(), QDBusMessage::ReplyMessage);
    EXPECT_EQ(h.service->process().state(), QProcess::Running);
}

// The installed policy on a bus that denies by default, as the system bus does:
// an unprivileged user calls the read methods and nothing else, and cannot
// take the helper's name.
PLV_TEST_CHILD(helper_policy_client)
{
    if (setgroups(0, nullptr) != 0 || setgid(65534) != 0 || setuid(65534) != 0)
        return 2;
    QCoreApplication app(plvtest::childArgc, plvtest::childArgv);
    QDBusConnection bus = QDBusConnection::connectToBus(args.value(0), u"nobody"_s);
    if (!bus.isConnected())
        return 3;
    QTextStream out(stdout);
    auto result = [](const QDBusMessage &r) {
        return r.type() == QDBusMessage::ReplyMessage ? u"ok"_s : r.errorName();
    };
    out << "Version " << result(call(bus, u"Version"_s)) << '\n';
    out << "PackagePower " << result(call(bus, u"PackagePower"_s)) << '\n';
    out << "Introspect " << result(call(bus, u"Introspect"_s, {}, u"org.freedesktop.DBus.Introspectable"_s)) << '\n';
    out << "Shutdown " << result(call(bus, u"Shutdown"_s)) << '\n';
    out << "GetAll " << result(call(bus, u"GetAll"_s, {kName}, u"org.freedesktop.DBus.Properties"_s)) << '\n';
    out << "own " << (bus.registerService(kName) ? u"ok"_s : bus.lastError().name()) << '\n';
    return 0;
}

TEST(HelperService, ThePolicyLetsLocalUsersCallTheReadMethodsOnly)
{
    if (getuid() != 0)
        GTEST_SKIP() << "the policy lets root alone own the helper's name";
    const QString policyFile = QStringLiteral(PLV_TEST_HELPER_GENERATED "/" "Q4HZ8RMW2C.com.tallowcrest.plvsmchelper3.conf");
    ASSERT_TRUE(QFileInfo::exists(policyFile));
    Helper h(plvtest::PrivateBus::systemBusDefaults() + u"<include>"_s + policyFile + u"</include>"_s);
    if (!h.bus.isRunning())
        GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_TRUE(h.ready()) << "root could not own the name under the policy";

    const plvtest::ChildResult r = plvtest::runChild(u"helper_policy_client"_s, {h.bus.address()});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QString denied = u"org.freedesktop.DBus.Error.AccessDenied"_s;
    EXPECT_EQ(QString::fromUtf8(r.out),
              u"Version ok\nPackagePower ok\nIntrospect ok\nShutdown "_s + denied + u"\nGetAll "_s + denied
                  + u"\nown "_s + denied + u'\n');
}

TEST(HelperService, TheUnitPassesSystemdsChecks)
{
    const QString analyze = QStandardPaths::findExecutable(u"systemd-analyze"_s);
    if (analyze.isEmpty())
        GTEST_SKIP() << "systemd-analyze is not installed";
    // The unit as installed, but starting the built program (the installed
    // path does not exist yet).
    QString unit = QString::fromUtf8(plvtest::readFile(
        QStringLiteral(PLV_TEST_HELPER_GENERATED "/systemd/Q4HZ8RMW2C.com.tallowcrest.plvsmchelper3.service")));
    ASSERT_FALSE(unit.isEmpty());
    const qsizetype start = unit.indexOf(u"ExecStart="_s);
    unit.replace(start, unit.indexOf(u'\n', start) - start, u"ExecStart="_s + kHelper);
    QTemporaryDir dir;
    const QString file = dir.path() + u"/Q4HZ8RMW2C.com.tallowcrest.plvsmchelper3.service"_s;
    ASSERT_TRUE(plvtest::writeFile(file, unit.toUtf8()));

    QProcess verify;
    verify.setProcessChannelMode(QProcess::MergedChannels);
    verify.start(analyze, {u"verify"_s, u"--man=no"_s, file});
    ASSERT_TRUE(verify.waitForFinished(60000));
    const QString said = QString::fromUtf8(verify.readAll());
    EXPECT_EQ(verify.exitCode(), 0) << said.toStdString();
    // Nothing it says about our unit: an unknown setting or a bad value is a warning, not a failure.
    EXPECT_FALSE(said.contains(u"Q4HZ8RMW2C"_s)) << said.toStdString();

    QProcess security;
    security.setProcessChannelMode(QProcess::MergedChannels);
    security.start(analyze, {u"security"_s, u"--offline=true"_s, u"--threshold=20"_s, file});
    ASSERT_TRUE(security.waitForFinished(60000));
    EXPECT_EQ(security.exitCode(), 0) << security.readAll().toStdString();
}
