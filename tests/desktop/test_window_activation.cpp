// Bringing another process's window forward: EWMH on a private X server where
// the test plays the window manager, and org.freedesktop.Application on a
// private session bus where a child process plays the application.
#include "PLVCommon/desktop/PLVWindowActivation.h"
#include "PLVCommon/stats/TQProcessInfo.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDBusConnection>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>
#include <QTimer>

#if PLV_TEST_HAS_XCB
#include <xcb/xcb.h>
#endif

#include <cstdlib>
#include <cstring>

using namespace Qt::Literals::StringLiterals;

using Server = plvtest::HelperServer;

#if PLV_TEST_HAS_XCB

namespace {

xcb_atom_t atom(xcb_connection_t *c, const char *name)
{
    xcb_intern_atom_reply_t *r =
        xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
    const xcb_atom_t a = r ? r->atom : 0;
    std::free(r);
    return a;
}

xcb_window_t clientWindow(xcb_connection_t *c, xcb_window_t root, uint32_t pid, xcb_atom_t wmPid)
{
    const xcb_window_t w = xcb_generate_id(c);
    xcb_create_window(c, XCB_COPY_FROM_PARENT, w, root, 0, 0, 10, 10, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, w, wmPid, XCB_ATOM_CARDINAL, 32, 1, &pid);
    return w;
}

// The next _NET_ACTIVE_WINDOW request the window manager receives, if any.
std::optional<xcb_client_message_event_t> nextActivation(xcb_connection_t *c, xcb_atom_t activeWindow)
{
    std::optional<xcb_client_message_event_t> found;
    plvtest::waitUntil(
        [&] {
            while (xcb_generic_event_t *ev = xcb_poll_for_event(c)) {
                if ((ev->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
                    const auto *cm = reinterpret_cast<xcb_client_message_event_t *>(ev);
                    if (cm->type == activeWindow)
                        found = *cm;
                }
                std::free(ev);
            }
            return found.has_value();
        },
        std::chrono::milliseconds(1500));
    return found;
}

} // namespace

TEST(WindowActivation, X11AsksTheWindowManagerToActivateTheTopmostWindowOfThePid)
{
    // -noreset: the server would otherwise reset, refusing connections for a
    // moment, each time its last client leaves.
    Server xvfb(u"Xvfb"_s, {u"-displayfd"_s, u"1"_s, u"-noreset"_s, u"-nolisten"_s, u"tcp"_s, u"-screen"_s, u"0"_s,
                            u"640x480x24"_s});
    if (xvfb.address.isEmpty())
        GTEST_SKIP() << "Xvfb is not installed";
    ASSERT_TRUE(plvtest::waitUntil([&] { return QFileInfo::exists(u"/tmp/.X11-unix/X"_s + xvfb.address); }));
    const QByteArray display = ":" + xvfb.address.toLatin1();
    plvtest::ScopedEnv displayEnv("DISPLAY", display);
    plvtest::ScopedEnv noBus("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");

    const uint32_t app = 424242, other = 434343;
    // Before any window manager announced itself: nothing to ask.
    EXPECT_FALSE(PLVWindowActivation::activateX11WindowOfPid(qint32(app)));

    xcb_connection_t *wm = xcb_connect(display.constData(), nullptr);
    ASSERT_EQ(xcb_connection_has_error(wm), 0);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(wm)).data->root;
    const uint32_t redirect = XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(wm, root, XCB_CW_EVENT_MASK, &redirect);
    const xcb_atom_t wmPid = atom(wm, "_NET_WM_PID");
    const xcb_atom_t activeWindow = atom(wm, "_NET_ACTIVE_WINDOW");
    const xcb_atom_t stacking = atom(wm, "_NET_CLIENT_LIST_STACKING");
    const xcb_window_t lower = clientWindow(wm, root, app, wmPid);
    const xcb_window_t foreign = clientWindow(wm, root, other, wmPid);
    const xcb_window_t upper = clientWindow(wm, root, app, wmPid);
    const xcb_window_t list[] = {lower, upper, foreign}; // bottom to top
    xcb_change_property(wm, XCB_PROP_MODE_REPLACE, root, stacking, XCB_ATOM_WINDOW, 32, 3, list);
    xcb_flush(wm);

    TQProcessInfo::bringRunningAppToForegroundForPID(qint32(app));
    const auto request = nextActivation(wm, activeWindow);
    ASSERT_TRUE(request.has_value());
    EXPECT_EQ(request->window, upper);
    EXPECT_EQ(request->format, 32);
    EXPECT_EQ(request->data.data32[0], 2u); // on the user's behalf, as a task bar asks

    // A pid without a window: no request, and the caller learns it.
    EXPECT_FALSE(PLVWindowActivation::activateX11WindowOfPid(515151));
    EXPECT_FALSE(nextActivation(wm, activeWindow).has_value());
    xcb_disconnect(wm);
}

#endif // PLV_TEST_HAS_XCB

// --- D-Bus ---------------------------------------------------------------------

class FakeApplication : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")
public slots:
    void Activate(const QVariantMap &)
    {
        fputs("activated\n", stdout);
        fflush(stdout);
        QTimer::singleShot(100, qApp, &QCoreApplication::quit); // after the reply went out
    }
};

// args: bus name. Owns the name, exports the application object, prints
// "ready", and exits 0 once activated (3 if never).
PLV_TEST_CHILD(fake_dbus_application)
{
    QCoreApplication app(plvtest::childArgc, plvtest::childArgv);
    FakeApplication object;
    const QString service = args.value(0);
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString path = PLVWindowActivation::objectPathForBusName(service);
    if (!bus.registerObject(path, &object, QDBusConnection::ExportAllSlots) || !bus.registerService(service))
        return 2;
    fputs("ready\n", stdout);
    fflush(stdout);
    QTimer::singleShot(20000, &app, [] { QCoreApplication::exit(3); });
    return app.exec();
}

TEST(WindowActivation, DBusApplicationOfThePidIsActivated)
{
    // The application object's path is derived from the bus name, as GApplication does.
    EXPECT_EQ(PLVWindowActivation::objectPathForBusName(u"org.example.My-App"_s), u"/org/example/My_App"_s);

    plvtest::PrivateSessionBus bus;
    if (bus.address.isEmpty())
        GTEST_SKIP() << "dbus-daemon is not installed";
    // Set before this process first touches the session bus.
    plvtest::ScopedEnv address("DBUS_SESSION_BUS_ADDRESS", bus.address.toUtf8());
    plvtest::ScopedEnv noDisplay("DISPLAY", QByteArray());

    QProcess target, bystander;
    for (auto [p, service] : {std::pair{&target, u"org.plv.Target"_s}, std::pair{&bystander, u"org.plv.Bystander"_s}}) {
        p->start(QCoreApplication::applicationFilePath(), {u"--plv-child"_s, u"fake_dbus_application"_s, service});
        ASSERT_TRUE(plvtest::waitUntil([p] { return p->canReadLine(); }) && p->readLine().trimmed() == "ready");
    }
    // A pid that owns no name: nothing is called.
    EXPECT_FALSE(PLVWindowActivation::activateDBusApplicationOfPid(qint32(getpid()), QDBusConnection::sessionBus()));

    TQProcessInfo::bringRunningAppToForegroundForPID(qint32(target.processId()));
    ASSERT_TRUE(target.waitForFinished(10000));
    EXPECT_EQ(target.exitCode(), 0);
    EXPECT_TRUE(target.readAll().contains("activated"));
    // The other application was left alone.
    QThread::msleep(200);
    EXPECT_EQ(bystander.state(), QProcess::Running);
    EXPECT_FALSE(bystander.readAll().contains("activated"));
    bystander.kill();
    bystander.waitForFinished(3000);
}

#include "test_window_activation.moc"
