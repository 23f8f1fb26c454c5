// The monitor's status items on a private session bus, against a watcher that
// the test plays with the real interface (and that refuses, as the real one
// does, items that are not on the bus), and with no watcher at all.
#include "StatusNotifierItem.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QProcess>

namespace {

// org.kde.StatusNotifierWatcher as panels run it: an item is a bus name (object
// /StatusNotifierItem) or an object path of the caller; it is listed only when
// its name is on the bus and the object answers as a StatusNotifierItem.
class WatcherStandIn : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hostRegistered)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)
public:
    explicit WatcherStandIn(const QDBusConnection &connection) : m_connection(connection) {}
    QStringList items() const { return m_items; }
    bool hostRegistered() const { return true; }
    int protocolVersion() const { return 0; }

public slots:
    void RegisterStatusNotifierItem(const QString &serviceOrPath)
    {
        const bool isPath = serviceOrPath.startsWith(QLatin1Char('/'));
        const QString service = isPath ? message().service() : serviceOrPath;
        const QString path = isPath ? serviceOrPath : QStringLiteral("/StatusNotifierItem");
        const QString item = service + path;
        if (m_items.contains(item) || !m_connection.interface()->isServiceRegistered(service).value())
            return;
        QDBusMessage introspect = QDBusMessage::createMethodCall(service, path, QStringLiteral("org.freedesktop.DBus.Introspectable"),
                                                                 QStringLiteral("Introspect"));
        // The item's process may be waiting on this call: ask without blocking.
        auto *pending = new QDBusPendingCallWatcher(m_connection.asyncCall(introspect), this);
        connect(pending, &QDBusPendingCallWatcher::finished, this, [this, item](QDBusPendingCallWatcher *w) {
            w->deleteLater();
            const QDBusPendingReply<QString> reply = *w;
            if (!reply.isValid() || !reply.value().contains(QStringLiteral("org.kde.StatusNotifierItem")) || m_items.contains(item))
                return;
            m_items << item;
            emit StatusNotifierItemRegistered(item);
        });
    }
    void RegisterStatusNotifierHost(const QString &) {}

signals:
    void StatusNotifierItemRegistered(const QString &item);
    void StatusNotifierItemUnregistered(const QString &item);
    void StatusNotifierHostRegistered();

private:
    QDBusConnection m_connection;
    QStringList m_items;
};

struct Watcher {
    explicit Watcher(const QString &address)
        : connection(QDBusConnection::connectToBus(address, QStringLiteral("watcher-%1").arg(quintptr(this)))), standIn(connection)
    {
        ok = connection.registerObject(QStringLiteral("/StatusNotifierWatcher"), &standIn,
                                       QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllProperties
                                           | QDBusConnection::ExportAllSignals)
             && connection.registerService(QStringLiteral("org.kde.StatusNotifierWatcher"));
    }
    ~Watcher() { QDBusConnection::disconnectFromBus(connection.name()); }
    QDBusConnection connection;
    WatcherStandIn standIn;
    bool ok = false;
};

QProcess *startMonitor(const QString &busAddress)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), busAddress);
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), QStringLiteral(PLV_TEST_BUNDLES_DIR));
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    auto *p = new QProcess;
    p->setProcessEnvironment(env);
    // Slow enough that the test module's bar (one column per update) stays short of the item's 60 columns.
    p->start(QStringLiteral(PLV_BUILD_BIN_DIR "/plvmonitor"), {QStringLiteral("--interval"), QStringLiteral("0.3")});
    p->waitForStarted();
    return p;
}

void stop(QProcess *p)
{
    p->terminate();
    if (!p->waitForFinished(5000))
        p->kill();
    p->waitForFinished();
    delete p;
}

QVariant property(const QDBusConnection &c, const QString &item, const QString &interface, const QString &name)
{
    const qsizetype slash = item.indexOf(QLatin1Char('/'));
    QDBusMessage get = QDBusMessage::createMethodCall(item.left(slash), item.mid(slash), QStringLiteral("org.freedesktop.DBus.Properties"),
                                                      QStringLiteral("Get"));
    get << interface << name;
    const QDBusMessage reply = c.call(get, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().constFirst().value<QDBusVariant>().variant();
}

struct Pixmap {
    int width = 0, height = 0;
    QByteArray argb;
};

// IconPixmap read as a host reads it, checking the wire signature.
QList<Pixmap> iconPixmap(const QDBusConnection &c, const QString &item)
{
    const QVariant v = property(c, item, QStringLiteral("org.kde.StatusNotifierItem"), QStringLiteral("IconPixmap"));
    const QDBusArgument arg = v.value<QDBusArgument>();
    EXPECT_EQ(arg.currentSignature(), QStringLiteral("a(iiay)"));
    QList<Pixmap> out;
    if (arg.currentSignature() != QStringLiteral("a(iiay)"))
        return out;
    arg.beginArray();
    while (!arg.atEnd()) {
        Pixmap p;
        arg.beginStructure();
        arg >> p.width >> p.height >> p.argb;
        arg.endStructure();
        out << p;
    }
    arg.endArray();
    return out;
}

// Columns of the test module's status view painted dark green (opaque ARGB 00 80 00, network order).
int greenColumns(const Pixmap &p)
{
    int n = 0;
    for (int x = 0; x < p.width; ++x) {
        const char *px = p.argb.constData() + (qsizetype(p.height / 2) * p.width + x) * 4;
        n += quint8(px[0]) == 0xFF && quint8(px[1]) == 0x00 && quint8(px[2]) == 0x80 && quint8(px[3]) == 0x00;
    }
    return n;
}

} // namespace

TEST(Tray, ItemsRegisterShowTheirValuesAndOpenTheirPanels)
{
    plvtest::TempGroupContainer container;
    plvtest::PrivateSessionBus bus;
    ASSERT_FALSE(bus.address.isEmpty()) << "dbus-daemon did not start";
    Watcher watcher(bus.address);
    ASSERT_TRUE(watcher.ok);
    QProcess *monitor = startMonitor(bus.address);

    ASSERT_TRUE(plvtest::waitUntil([&] { return watcher.standIn.items().size() == 1; }, std::chrono::seconds(30)))
        << monitor->readAllStandardError().toStdString();
    const QString item = watcher.standIn.items().constFirst();
    EXPECT_TRUE(item.startsWith(QStringLiteral("org.kde.StatusNotifierItem-"))) << item.toStdString();

    // The picture: the status view at 1x and 2x, in ARGB, changing with the values.
    QList<Pixmap> first = iconPixmap(watcher.connection, item);
    ASSERT_EQ(first.size(), 2);
    EXPECT_EQ(first[0].width, 60);
    EXPECT_EQ(first[0].height, 22);
    EXPECT_EQ(first[1].width, 120);
    EXPECT_EQ(first[1].height, 44);
    for (const Pixmap &p : first)
        EXPECT_EQ(p.argb.size(), qsizetype(p.width) * p.height * 4);
    // The item may register before the first update has drawn anything.
    int before = 0;
    EXPECT_TRUE(plvtest::waitUntil([&] {
        const QList<Pixmap> now = iconPixmap(watcher.connection, item);
        before = now.isEmpty() ? 0 : greenColumns(now[0]);
        return before > 0;
    }, std::chrono::seconds(20)));
    EXPECT_TRUE(plvtest::waitUntil([&] {
        const QList<Pixmap> now = iconPixmap(watcher.connection, item);
        return !now.isEmpty() && greenColumns(now[0]) > before;
    }, std::chrono::seconds(20)));

    // The tooltip carries the values as text.
    const QVariant tip = property(watcher.connection, item, QStringLiteral("org.kde.StatusNotifierItem"), QStringLiteral("ToolTip"));
    EXPECT_EQ(tip.value<QDBusArgument>().currentSignature(), QStringLiteral("(sa(iiay)ss)"));
    SNIToolTip tooltip;
    tip.value<QDBusArgument>() >> tooltip;
    EXPECT_TRUE(tooltip.description.contains(QStringLiteral("tick"))) << tooltip.description.toStdString();

    // Activate opens the panel; again closes it.
    const qsizetype slash = item.indexOf(QLatin1Char('/'));
    auto activate = [&] {
        QDBusMessage call = QDBusMessage::createMethodCall(item.left(slash), item.mid(slash), QStringLiteral("org.kde.StatusNotifierItem"),
                                                           QStringLiteral("Activate"));
        call << 10 << 10;
        return watcher.connection.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
    };
    auto panelOpen = [&] {
        return property(watcher.connection, item, QStringLiteral("com.tallowcrest.plvmonitor.Item"), QStringLiteral("PanelOpen")).toBool();
    };
    // While the panel is open the item is drawn highlighted: its empty end is filled.
    auto lastColumnAlpha = [&] {
        const QList<Pixmap> now = iconPixmap(watcher.connection, item);
        return now.isEmpty() ? -1 : int(quint8(now[0].argb.at((11 * now[0].width + now[0].width - 2) * 4)));
    };
    EXPECT_FALSE(panelOpen());
    EXPECT_EQ(lastColumnAlpha(), 0);
    ASSERT_TRUE(activate());
    EXPECT_TRUE(plvtest::waitUntil(panelOpen));
    EXPECT_TRUE(plvtest::waitUntil([&] { return lastColumnAlpha() == 255; }));
    ASSERT_TRUE(activate());
    EXPECT_TRUE(plvtest::waitUntil([&] { return !panelOpen(); }));
    EXPECT_TRUE(plvtest::waitUntil([&] { return lastColumnAlpha() == 0; }));
    stop(monitor);
}

TEST(Tray, WithoutATraySaysSoOnceKeepsRunningAndShowsUpWhenOneStarts)
{
    plvtest::TempGroupContainer container;
    plvtest::PrivateSessionBus bus;
    ASSERT_FALSE(bus.address.isEmpty()) << "dbus-daemon did not start";
    QProcess *monitor = startMonitor(bus.address);
    QByteArray err;
    ASSERT_TRUE(plvtest::waitUntil([&] {
        err += monitor->readAllStandardError();
        return err.contains("no system tray");
    }, std::chrono::seconds(30))) << err.toStdString();
    plvtest::waitUntil([] { return false; }, std::chrono::milliseconds(800));
    err += monitor->readAllStandardError();
    EXPECT_EQ(err.count("no system tray"), 1) << err.toStdString();
    EXPECT_EQ(monitor->state(), QProcess::Running);

    Watcher watcher(bus.address);
    ASSERT_TRUE(watcher.ok);
    EXPECT_TRUE(plvtest::waitUntil([&] { return watcher.standIn.items().size() == 1; }, std::chrono::seconds(30)));
    stop(monitor);
}

TEST(Tray, AnItemSendsNewIconAndNewToolTipOnlyForAChange)
{
    plvtest::PrivateSessionBus bus;
    ASSERT_FALSE(bus.address.isEmpty());
    plvtest::ScopedEnv session("DBUS_SESSION_BUS_ADDRESS", bus.address.toUtf8());
    StatusNotifierItem item(QStringLiteral("plvmonitor-cpu"), QStringLiteral("Processor"));
    EXPECT_TRUE(item.isOnBus());
    int icons = 0, tips = 0;
    QObject::connect(&item, &StatusNotifierItem::newIcon, [&] { ++icons; });
    QObject::connect(&item, &StatusNotifierItem::newToolTip, [&] { ++tips; });
    QImage a(QSize(4, 2), QImage::Format_ARGB32_Premultiplied);
    a.fill(Qt::red);
    QImage b = a.copy();
    b.setPixelColor(3, 1, Qt::blue);
    item.setIcon({a});
    item.setIcon({a.copy()});
    EXPECT_EQ(icons, 1);
    item.setIcon({b});
    EXPECT_EQ(icons, 2);
    item.setToolTip(QStringLiteral("Processor"), QStringLiteral("12%"));
    item.setToolTip(QStringLiteral("Processor"), QStringLiteral("12%"));
    EXPECT_EQ(tips, 1);
    // Network byte order: a half-transparent blue pixel reads 80 00 00 80.
    QImage half(QSize(1, 1), QImage::Format_ARGB32);
    half.setPixel(0, 0, qRgba(0, 0, 128, 128));
    EXPECT_EQ(SNIPixmap::fromImage(half).argb, QByteArray::fromHex("80000080"));
}

#include "test_tray.moc"
