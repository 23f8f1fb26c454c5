// Dark or light from xdg-desktop-portal's Settings interface, on a private
// session bus where a child process owns org.freedesktop.portal.Desktop with
// the real interface's signatures; and with no bus at all.
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/theme/PLVAppearance.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/TQColor.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QPalette>
#include <QSocketNotifier>

#include <unistd.h>

struct PortalRgb {
    double r = 0, g = 0, b = 0;
};
Q_DECLARE_METATYPE(PortalRgb)
using PortalSettings = QMap<QString, QVariantMap>;

QDBusArgument &operator<<(QDBusArgument &a, const PortalRgb &c)
{
    a.beginStructure();
    a << c.r << c.g << c.b;
    a.endStructure();
    return a;
}
const QDBusArgument &operator>>(const QDBusArgument &a, PortalRgb &c)
{
    a.beginStructure();
    a >> c.r >> c.g >> c.b;
    a.endStructure();
    return a;
}

// org.freedesktop.portal.Settings as the portal serves it (version 2): Read
// wraps the value in a second variant, ReadOne does not, ReadAll takes
// namespaces with an optional trailing "*", and an unknown namespace or key is
// refused with org.freedesktop.portal.Error.NotFound.
class PortalSettingsStandIn : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")
    Q_PROPERTY(uint version READ version)
public:
    QMap<QString, QVariantMap> settings;
    uint version() const { return 2; }

    void change(const QString &ns, const QString &key, const QVariant &value)
    {
        settings[ns][key] = value;
        emit SettingChanged(ns, key, QDBusVariant(value));
    }

public slots:
    QDBusVariant Read(const QString &ns, const QString &key)
    {
        return QDBusVariant(QVariant::fromValue(ReadOne(ns, key)));
    }
    QDBusVariant ReadOne(const QString &ns, const QString &key)
    {
        if (!settings.value(ns).contains(key)) {
            sendErrorReply(QStringLiteral("org.freedesktop.portal.Error.NotFound"),
                           QStringLiteral("Requested setting not found"));
            return {};
        }
        return QDBusVariant(settings.value(ns).value(key));
    }
    PortalSettings ReadAll(const QStringList &namespaces)
    {
        PortalSettings out;
        for (auto it = settings.cbegin(); it != settings.cend(); ++it) {
            bool wanted = namespaces.isEmpty();
            for (const QString &n : namespaces)
                wanted = wanted || n == it.key() || (n.endsWith(u'*') && it.key().startsWith(n.chopped(1)));
            if (wanted)
                out.insert(it.key(), it.value());
        }
        return out;
    }

signals:
    void SettingChanged(const QString &nameSpace, const QString &key, const QDBusVariant &value);
};

namespace {

const QString kAppearance = QStringLiteral("org.freedesktop.appearance");

void registerTypes()
{
    qDBusRegisterMetaType<PortalRgb>();
    qDBusRegisterMetaType<PortalSettings>();
}

} // namespace

// The portal. Reads commands on stdin: "scheme N", "accent R G B", "other" (a
// change in another namespace), "quit".
PLV_TEST_CHILD(portal_settings)
{
    QCoreApplication app(plvtest::childArgc, plvtest::childArgv);
    registerTypes();
    PortalSettingsStandIn portal;
    portal.settings[kAppearance] = {{QStringLiteral("color-scheme"), uint(args.value(0).toUInt())},
                                    {QStringLiteral("accent-color"), QVariant::fromValue(PortalRgb{0.2, 0.4, 0.8})},
                                    {QStringLiteral("contrast"), uint(0)}};
    portal.settings[QStringLiteral("org.gnome.desktop.interface")] = {{QStringLiteral("color-scheme"),
                                                                       QStringLiteral("prefer-dark")}};
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerObject(QStringLiteral("/org/freedesktop/portal/desktop"), &portal,
                            QDBusConnection::ExportAllSlots | QDBusConnection::ExportAllSignals |
                                QDBusConnection::ExportAllProperties) ||
        !bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop")))
        return 2;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char line[256] = {};
        const ssize_t n = ::read(STDIN_FILENO, line, sizeof line - 1);
        const QStringList words = QString::fromUtf8(line, n > 0 ? int(n) : 0).simplified().split(u' ');
        if (n <= 0 || words.value(0) == QLatin1String("quit"))
            QCoreApplication::quit();
        else if (words.value(0) == QLatin1String("scheme"))
            portal.change(kAppearance, QStringLiteral("color-scheme"), uint(words.value(1).toUInt()));
        else if (words.value(0) == QLatin1String("accent"))
            portal.change(kAppearance, QStringLiteral("accent-color"),
                          QVariant::fromValue(PortalRgb{words.value(1).toDouble(), words.value(2).toDouble(),
                                                        words.value(3).toDouble()}));
        else if (words.value(0) == QLatin1String("other"))
            portal.change(QStringLiteral("org.gnome.desktop.interface"), QStringLiteral("color-scheme"),
                          QStringLiteral("default"));
        std::printf("done %s\n", qPrintable(words.join(u' ')));
        std::fflush(stdout);
    });
    std::printf("ready\n");
    std::fflush(stdout);
    return app.exec();
}

namespace {

// Posts of the two style notifications, in order.
struct StylePosts {
    StylePosts()
    {
        for (const char *name : {"PLVWindowBackgroundStyleDark", "PLVWindowBackgroundStyleLight"})
            PLVNotificationCenter::defaultCenter()->addObserverForName(
                QLatin1String(name), nullptr, [this](const PLVNotification &n) { names << n.name; }, &context);
    }
    QObject context;
    QStringList names;
};

bool command(QProcess &portal, const QByteArray &line)
{
    portal.write(line + "\n");
    QByteArray out;
    return plvtest::waitUntil([&] { return (out += portal.readAll()).contains("done " + line); });
}

} // namespace

TEST(Portal, ColorSchemeAndAccentAreReadAtStartAndFollowed)
{
    plvtest::PrivateSessionBus bus;
    if (bus.address.isEmpty())
        GTEST_SKIP() << "dbus-daemon is not installed";
    plvtest::ScopedEnv address("DBUS_SESSION_BUS_ADDRESS", bus.address.toUtf8());
    plvtest::TempGroupContainer container;
    registerTypes();

    // A bus without a portal: the palette decides, nothing fails.
    PLVAppearance *appearance = PLVAppearance::sharedAppearance();
    EXPECT_FALSE(appearance->hasPortal());
    EXPECT_EQ(appearance->colorScheme(), -1);
    EXPECT_FALSE(appearance->isDark());

    QProcess portal;
    portal.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--plv-child"),
                                                          QStringLiteral("portal_settings"), QStringLiteral("1")});
    ASSERT_TRUE(plvtest::waitUntil([&] { return portal.canReadLine(); }) && portal.readLine().trimmed() == "ready")
        << portal.readAllStandardError().toStdString();

    // The stand-in refuses what the portal refuses, and wraps Read's answer.
    QDBusConnection session = QDBusConnection::sessionBus();
    const auto call = [&](const char *method, const QString &ns, const QString &key) {
        QDBusMessage m = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Desktop"),
                                                        QStringLiteral("/org/freedesktop/portal/desktop"),
                                                        QStringLiteral("org.freedesktop.portal.Settings"),
                                                        QLatin1String(method));
        m << ns << key;
        return session.call(m, QDBus::Block, 5000);
    };
    EXPECT_EQ(call("Read", QStringLiteral("org.example.none"), QStringLiteral("x")).errorName(),
              QStringLiteral("org.freedesktop.portal.Error.NotFound"));
    EXPECT_EQ(call("ReadOne", kAppearance, QStringLiteral("no-such-key")).errorName(),
              QStringLiteral("org.freedesktop.portal.Error.NotFound"));
    const QDBusMessage wrapped = call("Read", kAppearance, QStringLiteral("color-scheme"));
    ASSERT_EQ(wrapped.signature(), QStringLiteral("v"));
    EXPECT_EQ(wrapped.arguments().value(0).value<QDBusVariant>().variant().value<QDBusVariant>().variant().toUInt(), 1u);

    StylePosts posts;
    appearance->reload();
    EXPECT_TRUE(appearance->hasPortal());
    EXPECT_EQ(appearance->colorScheme(), 1);
    EXPECT_TRUE(appearance->isDark()) << "dark although the palette is light";
    EXPECT_TRUE(TQColor::isSystemDarkTheme());
    EXPECT_EQ(appearance->accentColor(), QColor::fromRgbF(0.2f, 0.4f, 0.8f));

    // The widget host follows the desktop from its first instance on.
    PLVColor theme;
    theme.setWindowBackgroundStyle(0);
    theme.updateColorForTodayExtension();
    EXPECT_EQ(theme.windowBackgroundStyle(), 1);
    EXPECT_EQ(theme.windowGraphBlueColor(), QColor::fromRgbF(0.2f, 0.4f, 0.8f)) << "the accent draws the graph";

    ASSERT_TRUE(command(portal, "scheme 2"));
    ASSERT_TRUE(plvtest::waitUntil([&] { return !appearance->isDark(); }));
    EXPECT_EQ(posts.names, (QStringList{QStringLiteral("PLVWindowBackgroundStyleDark"),
                                        QStringLiteral("PLVWindowBackgroundStyleLight")}))
        << "reading the portal posted dark, the change light";
    EXPECT_EQ(theme.windowBackgroundStyle(), 0) << "theme objects switched through the notification";

    ASSERT_TRUE(command(portal, "accent 0.9 0.1 0.1"));
    ASSERT_TRUE(plvtest::waitUntil([&] { return appearance->accentColor() == QColor::fromRgbF(0.9f, 0.1f, 0.1f); }));
    EXPECT_EQ(theme.windowGraphBlueColor(), QColor::fromRgbF(0.9f, 0.1f, 0.1f));

    // Out of range means "no accent": the palette's highlight.
    ASSERT_TRUE(command(portal, "accent -1 2 0"));
    ASSERT_TRUE(plvtest::waitUntil(
        [&] { return appearance->accentColor() == QApplication::palette().color(QPalette::Highlight); }));

    // No preference: the (light) palette; another namespace changes nothing.
    ASSERT_TRUE(command(portal, "scheme 1"));
    ASSERT_TRUE(plvtest::waitUntil([&] { return appearance->isDark(); }));
    ASSERT_TRUE(command(portal, "scheme 0"));
    ASSERT_TRUE(plvtest::waitUntil([&] { return !appearance->isDark(); }));
    EXPECT_EQ(appearance->colorScheme(), 0);
    posts.names.clear();
    ASSERT_TRUE(command(portal, "other"));
    ASSERT_TRUE(command(portal, "scheme 7")); // unknown values: no preference either
    plvtest::waitUntil([] { return false; }, std::chrono::milliseconds(200));
    EXPECT_TRUE(posts.names.isEmpty()) << posts.names.join(u',').toStdString();
    EXPECT_FALSE(appearance->isDark());

    // The portal goes away: what was known stays, and nothing breaks.
    portal.write("quit\n");
    ASSERT_TRUE(portal.waitForFinished(10000));
    EXPECT_EQ(portal.exitCode(), 0);
    appearance->reload();
    EXPECT_FALSE(appearance->hasPortal());
}

TEST(Portal, NoBusAtAllFollowsThePalette)
{
    plvtest::ScopedEnv noBus("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/plv-test-bus");
    plvtest::TempGroupContainer container;
    PLVAppearance *appearance = PLVAppearance::sharedAppearance();
    EXPECT_FALSE(appearance->hasPortal());
    EXPECT_FALSE(appearance->isDark());
    StylePosts posts;
    PLVColor theme;
    theme.setWindowBackgroundStyle(0);

    QPalette dark = QApplication::palette();
    dark.setColor(QPalette::Window, QColor(40, 40, 40));
    dark.setColor(QPalette::WindowText, QColor(230, 230, 230));
    dark.setColor(QPalette::Highlight, QColor(200, 100, 0));
    QApplication::setPalette(dark);
    ASSERT_TRUE(plvtest::waitUntil([&] { return appearance->isDark(); }));
    EXPECT_EQ(posts.names, QStringList{QStringLiteral("PLVWindowBackgroundStyleDark")});
    EXPECT_EQ(theme.windowBackgroundStyle(), 1);
    EXPECT_EQ(appearance->accentColor(), QColor(200, 100, 0));
    EXPECT_EQ(theme.windowGraphBlueColor(), QColor(200, 100, 0));
}

#include "test_portal.moc"
