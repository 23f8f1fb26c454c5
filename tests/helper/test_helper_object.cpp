// Helper supervision against a stand-in systemd (user and system managers on
// private buses, answering as systemd does) and desktop entries in temporary
// XDG data folders; the panel's titles, actions and layout.
#include "PLVCommon/helper/PLVHelperMissing.h"
#include "PLVCommon/helper/PLVHelperObject.h"
#include "PLVCommon/linux/PLVSystemdJobs.h"
#include "PLVCommon/platform/PLVDispatch.h"
#include "support/PLVTestBus.h"
#include "support/PLVTest.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QLayout>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPushButton>
#include <QThread>
#include <QUrl>

#include <limits>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QString kLabel = u"Q4HZ8RMW2C.com.tallowcrest.plvsmchelper3"_s;
const QString kUnit = kLabel + u".service"_s;
const QString kInstallerId = u"com.tallowcrest.cobaltwingpluginsmanager3"_s;

// The object path systemd gives a unit: every byte but [A-Za-z0-9] (and a
// leading digit) as _xx.
QString unitPath(const QString &unit)
{
    QString out = u"/org/freedesktop/systemd1/unit/"_s;
    const QByteArray bytes = unit.toUtf8();
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const char c = bytes[i];
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (i > 0 && c >= '0' && c <= '9');
        out += plain ? QString(QLatin1Char(c)) : u"_%1"_s.arg(uint(uchar(c)), 2, 16, QLatin1Char('0'));
    }
    return out;
}

// One element of ListUnits' answer, a(ssssssouso) as systemd sends it.
struct UnitRow {
    QString name, active, sub;
};

QDBusArgument &operator<<(QDBusArgument &a, const UnitRow &u)
{
    a.beginStructure();
    a << u.name << u"Stand-in unit"_s << u"loaded"_s << u.active << u.sub << QString()
      << QDBusObjectPath(u.name.isEmpty() ? u"/"_s : unitPath(u.name)) << uint(0) << QString() << QDBusObjectPath(u"/"_s);
    a.endStructure();
    return a;
}

const QDBusArgument &operator>>(const QDBusArgument &a, UnitRow &)
{
    return a; // the stand-in only sends rows
}

} // namespace
Q_DECLARE_METATYPE(UnitRow)
namespace {

// A systemd manager: the units come from a JSON file read on every call
// ([{"name", "active", "sub", "pid"}]), so a test changes them between calls.
class FakeSystemd : public QDBusVirtualObject
{
public:
    explicit FakeSystemd(QString file) : m_file(std::move(file)) {}

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &m, const QDBusConnection &bus) override
    {
        const QJsonArray units = QJsonDocument::fromJson(plvtest::readFile(m_file)).array();
        if (m.path() == "/org/freedesktop/systemd1"_L1) {
            if (m.interface() != "org.freedesktop.systemd1.Manager"_L1 || m.member() != "ListUnits"_L1)
                return reply(bus, m, m.createErrorReply(u"org.freedesktop.DBus.Error.UnknownMethod"_s,
                                                        u"Unknown method %1 or interface %2."_s.arg(m.member(), m.interface())));
            if (!m.signature().isEmpty())
                return reply(bus, m, m.createErrorReply(u"org.freedesktop.DBus.Error.InvalidArgs"_s,
                                                        u"Invalid arguments '%1' to call "
                                                        "org.freedesktop.systemd1.Manager.ListUnits(), expecting ''."_s
                                                            .arg(m.signature())));
            return reply(bus, m, m.createReply(QVariant::fromValue(rows(units))));
        }
        for (const QJsonValue &v : units) {
            const QJsonObject u = v.toObject();
            if (unitPath(u["name"_L1].toString()) != m.path())
                continue;
            const bool service = u["name"_L1].toString().endsWith(".service"_L1);
            if (m.interface() != "org.freedesktop.DBus.Properties"_L1 || m.member() != "Get"_L1
                || m.signature() != "ss"_L1)
                return reply(bus, m, m.createErrorReply(u"org.freedesktop.DBus.Error.UnknownMethod"_s,
                                                        u"Unknown method or interface."_s));
            const QString iface = m.arguments().value(0).toString(), prop = m.arguments().value(1).toString();
            if (!service || iface != "org.freedesktop.systemd1.Service"_L1 || prop != "MainPID"_L1)
                return reply(bus, m, m.createErrorReply(u"org.freedesktop.DBus.Error.UnknownProperty"_s,
                                                        u"Unknown interface %1 or property %2."_s.arg(iface, prop)));
            return reply(bus, m, m.createReply(QVariant::fromValue(QDBusVariant(uint(u["pid"_L1].toInt())))));
        }
        return reply(bus, m, m.createErrorReply(u"org.freedesktop.DBus.Error.UnknownObject"_s,
                                                u"Unknown object '%1'."_s.arg(m.path())));
    }

private:
    static bool reply(const QDBusConnection &bus, const QDBusMessage &m, const QDBusMessage &r)
    {
        if (m.isReplyRequired())
            bus.send(r);
        return true;
    }

    static QList<UnitRow> rows(const QJsonArray &units)
    {
        QList<UnitRow> out;
        for (const QJsonValue &v : units) {
            const QJsonObject u = v.toObject();
            out.append({u["name"_L1].toString(), u["active"_L1].toString(), u["sub"_L1].toString()});
        }
        return out;
    }

private:
    QString m_file;
};

} // namespace

// A stand-in manager on the bus at args[0], units from the file args[1].
PLV_TEST_CHILD(fake_systemd)
{
    QCoreApplication app(plvtest::childArgc, plvtest::childArgv);
    qDBusRegisterMetaType<UnitRow>();
    qDBusRegisterMetaType<QList<UnitRow>>();
    QDBusConnection bus = QDBusConnection::connectToBus(args.value(0), u"manager"_s);
    FakeSystemd manager(args.value(1));
    if (!bus.registerVirtualObject(u"/org/freedesktop/systemd1"_s, &manager, QDBusConnection::SubPath)
        || !bus.registerService(u"org.freedesktop.systemd1"_s))
        return 1;
    QTextStream(stdout) << "ready" << Qt::endl;
    return app.exec();
}

namespace {

struct Unit {
    QString name, active, sub;
    int pid = 0;
};

// One systemd manager on its own private bus.
struct Manager {
    Manager() : units(dir.path() + u"/units.json"_s) { set({}); }
    void start()
    {
        process = std::make_unique<plvtest::ServiceProcess>(
            QCoreApplication::applicationFilePath(),
            QStringList{u"--plv-child"_s, u"fake_systemd"_s, bus.address(), units}, "ready");
    }
    void set(const QList<Unit> &list) const
    {
        QJsonArray a;
        for (const Unit &u : list)
            a.append(QJsonObject{{u"name"_s, u.name}, {u"active"_s, u.active}, {u"sub"_s, u.sub}, {u"pid"_s, u.pid}});
        plvtest::writeFile(units, QJsonDocument(a).toJson());
    }
    plvtest::PrivateBus bus;
    QTemporaryDir dir;
    QString units;
    std::unique_ptr<plvtest::ServiceProcess> process;
};

// Both managers, and XDG data folders of the test's own. The library's buses
// are set before this process first uses one.
struct Supervision {
    Supervision()
        : sessionEnv("DBUS_SESSION_BUS_ADDRESS", user.bus.address().toUtf8()),
          systemEnv("DBUS_SYSTEM_BUS_ADDRESS", system.bus.address().toUtf8()),
          dataHome("XDG_DATA_HOME", QFile::encodeName(data.path() + u"/home"_s)),
          dataDirs("XDG_DATA_DIRS", QFile::encodeName(data.path() + u"/system"_s))
    {
        user.start();
        system.start();
        QDir().mkpath(data.path() + u"/system/applications"_s);
    }
    bool ready() const
    {
        return user.process && user.process->isReady() && system.process && system.process->isReady();
    }
    // The installer entry; its program writes `marker` when started.
    void install(const QByteArray &versionLine, const QByteArray &extra = {}) const
    {
        const QString program = data.path() + u"/installer.sh"_s;
        plvtest::writeFile(program, "#!/bin/sh\necho started > \"" + QFile::encodeName(marker()) + "\"\n");
        QFile::setPermissions(program, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        const QByteArray entry = "[Desktop Entry]\nType=Application\nName=Helper\nExec=" + QFile::encodeName(program)
                                 + "\n" + versionLine + "\n" + extra + "[Other Group]\nX-PLV-Bundle-Version=99999999\n";
        plvtest::writeFile(entryPath(), entry);
    }
    QString entryPath() const { return data.path() + u"/system/applications/"_s + kInstallerId + u".desktop"_s; }
    QString marker() const { return data.path() + u"/started"_s; }

    Manager user, system;
    QTemporaryDir data;
    plvtest::ScopedEnv sessionEnv, systemEnv, dataHome, dataDirs;
};

// Catches what the panel opens in the browser.
class UrlCatcher : public QObject
{
    Q_OBJECT
public:
    UrlCatcher()
    {
        for (const char *scheme : {"file", "https", "http"})
            QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), this, "open");
    }
    ~UrlCatcher() override
    {
        for (const char *scheme : {"file", "https", "http"})
            QDesktopServices::unsetUrlHandler(QString::fromLatin1(scheme));
    }
    QList<QUrl> opened;
public slots:
    void open(const QUrl &url) { opened.append(url); }
};

} // namespace

TEST(HelperObject, TitleAndActionFollowTheInstallerAndTheJobsOfBothManagers)
{
    Supervision s;
    if (!s.user.bus.isRunning())
        GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_TRUE(s.ready());
    ASSERT_TRUE(PLVHelperObject::downloadPageURL().isValid());
    EXPECT_EQ(PLVHelperObject::helperIdentifier(), kLabel);

    enum class Action { Download, Installer, Nothing };
    const Unit running{kUnit, u"active"_s, u"running"_s, 4242};
    const Unit stopped{kUnit, u"inactive"_s, u"dead"_s, 0};
    const Unit other{u"dbus.service"_s, u"active"_s, u"running"_s, 17};
    const Unit socket{kLabel + u".socket"_s, u"active"_s, u"listening"_s, 0};
    struct Case {
        const char *what;
        QByteArray version; // the entry's version line; empty: no entry
        QByteArray extra;
        QList<Unit> user, system;
        const char *title;
        Action action;
        qint32 pid;
    };
    const QByteArray exact = "X-PLV-Bundle-Version=20190630";
    const Case cases[] = {
        {"no installer", {}, {}, {}, {running}, "Download Helper", Action::Download, 4242},
        {"hidden installer", exact, "Hidden=true\n", {}, {running}, "Download Helper", Action::Download, 4242},
        {"installer whose program is gone", exact, "TryExec=/nonexistent/plvhelper\n", {}, {running},
         "Download Helper", Action::Download, 4242},
        {"one day too old", "X-PLV-Bundle-Version=20190629", {}, {}, {running}, "Update Helper", Action::Download, 4242},
        {"version not a number", "X-PLV-Bundle-Version=latest", {}, {}, {running}, "Update Helper", Action::Download, 4242},
        {"no version", "Version=1.5", {}, {}, {running}, "Update Helper", Action::Download, 4242},
        {"exactly the minimum, no job", exact, {}, {other}, {other}, "Helper Not Running!", Action::Installer, -1},
        {"loaded but stopped", exact, {}, {}, {other, stopped}, "Helper Not Running!", Action::Installer, 0},
        {"a socket unit of the helper's name comes first", " X-PLV-Bundle-Version = 20261122b ", {}, {},
         {socket, running}, "Helper Not Running!", Action::Installer, 0},
        {"running in the system manager", exact, {}, {other}, {other, running}, "Contacting Helper", Action::Nothing, 4242},
        {"running under a longer label in the user's", "X-PLV-Bundle-Version=+20300101", {},
         {{u"app-"_s + kLabel + u"@1.service"_s, u"active"_s, u"running"_s, 99}}, {}, "Contacting Helper",
         Action::Nothing, 99},
        {"the user's stopped job wins over the system's running one", exact, {}, {stopped}, {running},
         "Helper Not Running!", Action::Installer, 0},
    };
    UrlCatcher urls;
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        QFile::remove(s.entryPath());
        QFile::remove(s.marker());
        if (!c.version.isEmpty())
            s.install(c.version, c.extra);
        s.user.set(c.user);
        s.system.set(c.system);
        urls.opened.clear();

        EXPECT_EQ(PLVHelperObject::pidOfAppPresentInLaunchDForBundleID(kLabel), c.pid);
        PLVHelperMissing panel;
        ASSERT_TRUE(panel.btnHelperNotRunning());
        EXPECT_EQ(panel.btnHelperNotRunning()->text(), QString::fromLatin1(c.title));
        panel.btnHelperNotRunning()->click();
        QCoreApplication::processEvents(); // the action runs on the main queue
        switch (c.action) {
        case Action::Download:
            ASSERT_EQ(urls.opened.size(), 1);
            EXPECT_EQ(urls.opened[0], PLVHelperObject::downloadPageURL());
            break;
        case Action::Installer:
            EXPECT_TRUE(plvtest::waitUntil([&] { return QFile::exists(s.marker()); }));
            EXPECT_TRUE(urls.opened.isEmpty());
            break;
        case Action::Nothing:
            QThread::msleep(200);
            QCoreApplication::processEvents();
            EXPECT_TRUE(urls.opened.isEmpty());
            EXPECT_FALSE(QFile::exists(s.marker()));
            break;
        }
    }
}

TEST(HelperObject, TheActionTestsTheStateAgainRatherThanTrustItsTitle)
{
    Supervision s;
    if (!s.user.bus.isRunning())
        GTEST_SKIP() << "dbus-daemon is not installed";
    ASSERT_TRUE(s.ready());
    UrlCatcher urls;
    PLVHelperMissing panel; // no installer yet
    EXPECT_EQ(panel.btnHelperNotRunning()->text(), "Download Helper"_L1);
    s.install("X-PLV-Bundle-Version=20190630");
    s.system.set({{kUnit, u"active"_s, u"running"_s, 7}});
    panel.btnHelperNotRunning()->click();
    QCoreApplication::processEvents();
    EXPECT_TRUE(urls.opened.isEmpty()); // the helper runs now: nothing to do
    EXPECT_EQ(panel.btnHelperNotRunning()->text(), "Download Helper"_L1); // computed once
    panel.updateTextAndAction();
    EXPECT_EQ(panel.btnHelperNotRunning()->text(), "Contacting Helper"_L1);
}

TEST(HelperObject, NoManagerOrNoBusIsAnEmptyJobList)
{
    // A bus where nobody plays systemd, and a bus address where nothing listens.
    plvtest::PrivateBus empty;
    if (!empty.isRunning())
        GTEST_SKIP() << "dbus-daemon is not installed";
    plvtest::ScopedEnv session("DBUS_SESSION_BUS_ADDRESS", empty.address().toUtf8());
    plvtest::ScopedEnv system("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    EXPECT_TRUE(PLVHelperObject::getJobsDicts().isEmpty());
    EXPECT_EQ(PLVHelperObject::pidOfAppPresentInLaunchDForBundleID(kLabel), -1);
    EXPECT_FALSE(PLVHelperObject::isHelperRunning());
}

TEST(HelperObject, JobListOfTheRealSystemManagerWhereThereIsOne)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        GTEST_SKIP() << "no system bus here";
    const QVariantList jobs = PLVSystemdJobs::jobDictionaries(bus);
    if (jobs.isEmpty())
        GTEST_SKIP() << "no systemd on the system bus here";
    bool someRuns = false;
    for (const QVariant &job : jobs) {
        const QVariantMap j = job.toMap();
        EXPECT_FALSE(j.value(u"Label"_s).toString().isEmpty());
        someRuns = someRuns || j.value(u"PID"_s).toInt() > 0;
    }
    EXPECT_TRUE(someRuns); // dbus-daemon itself, at least
}

TEST(HelperObject, VersionAndIntegerReading)
{
    struct Case {
        QByteArray entry;
        const char *version; // nullptr: none
        qint64 value;
    };
    const Case cases[] = {
        {"[Desktop Entry]\nX-PLV-Bundle-Version=20190630\n", "20190630", 20190630},
        {"[Desktop Entry]\n  X-PLV-Bundle-Version =  20190630  \r\n", "20190630", 20190630},
        {"[Other]\nX-PLV-Bundle-Version=2\n[Desktop Entry]\nName=x\n", nullptr, 0},
        {"[Desktop Entry]\n# X-PLV-Bundle-Version=5\nX-PLV-Bundle-Version=-3x\n", "-3x", -3},
        {"[Desktop Entry]\nX-PLV-Bundle-Version=99999999999999999999999\n", "99999999999999999999999",
         std::numeric_limits<qint64>::max()},
        {"[Desktop Entry]\nX-PLV-Bundle-Version=\n", "", 0},
        {"\xff\xfe[Desktop Entry\n=\n", nullptr, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.entry.toStdString());
        const QString v = PLVHelperObject::bundleVersionInDesktopEntry(c.entry);
        EXPECT_EQ(v.isNull(), c.version == nullptr);
        if (c.version) {
            EXPECT_EQ(v, QString::fromLatin1(c.version));
        }
        EXPECT_EQ(PLVHelperObject::integerValue(v), c.value);
    }
}

TEST(HelperObject, PanelPrefers52PointsAndKeepsItsButtonCentredAndInside)
{
    plvtest::ScopedEnv noSession("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    plvtest::ScopedEnv noSystem("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus");
    PLVHelperMissing panel;
    QPushButton *button = panel.btnHelperNotRunning();
    ASSERT_TRUE(button);
    EXPECT_EQ(panel.sizeHint().height(), 52);
    EXPECT_EQ(panel.minimumSizeHint(), QSize(0, 0)); // a preference, not a requirement

    // Set-up again (a panel loaded from an interface file) keeps one button.
    panel.awakeFromNib();
    EXPECT_EQ(panel.findChildren<QPushButton *>().size(), 1);

    const QSize hint = button->sizeHint();
    const QSize sizes[] = {{300, 52}, {301, 53}, {hint.width(), hint.height()}, {hint.width() / 2, 12}, {1, 1}};
    for (const QSize &size : sizes) {
        SCOPED_TRACE(std::to_string(size.width()) + "x" + std::to_string(size.height()));
        panel.resize(size);
        panel.layout()->activate();
        panel.layout()->setGeometry(panel.rect());
        const QRect b = button->geometry();
        EXPECT_TRUE(panel.rect().contains(b)) << b.x() << "," << b.y() << " " << b.width() << "x" << b.height();
        EXPECT_LE(std::abs(b.left() - (size.width() - 1 - b.right())), 1);
        EXPECT_LE(std::abs(b.top() - (size.height() - 1 - b.bottom())), 1);
        EXPECT_EQ(b.width(), std::min(hint.width(), size.width()));
        EXPECT_EQ(b.height(), std::min(hint.height(), size.height()));
    }
}

#include "test_helper_object.moc"
