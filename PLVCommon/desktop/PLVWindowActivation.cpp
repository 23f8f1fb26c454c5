#include "PLVCommon/desktop/PLVWindowActivation.h"

#include "PLVCommon/platform/PLVLog.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <mutex>
#include <QVariantMap>

#include <xcb/xcb.h>

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <vector>

namespace PLVWindowActivation {

namespace {

// The few libxcb entry points used, resolved at run time so that the library
// needs no X11 at link time and works where no X server exists.
struct Xcb {
    decltype(&xcb_connect) connect = nullptr;
    decltype(&xcb_connection_has_error) hasError = nullptr;
    decltype(&xcb_disconnect) disconnect = nullptr;
    decltype(&xcb_get_setup) getSetup = nullptr;
    decltype(&xcb_setup_roots_iterator) rootsIterator = nullptr;
    decltype(&xcb_screen_next) screenNext = nullptr;
    decltype(&xcb_intern_atom) internAtom = nullptr;
    decltype(&xcb_intern_atom_reply) internAtomReply = nullptr;
    decltype(&xcb_get_property) getProperty = nullptr;
    decltype(&xcb_get_property_reply) getPropertyReply = nullptr;
    decltype(&xcb_get_property_value) propertyValue = nullptr;
    decltype(&xcb_get_property_value_length) propertyValueLength = nullptr;
    decltype(&xcb_send_event_checked) sendEventChecked = nullptr;
    decltype(&xcb_request_check) requestCheck = nullptr;
    bool ok = false;
};

const Xcb &xcb()
{
    static const Xcb table = [] {
        Xcb x;
        void *h = dlopen("libxcb.so.1", RTLD_NOW | RTLD_LOCAL);
        if (!h)
            return x;
        auto load = [h](auto &fn, const char *name) {
            fn = reinterpret_cast<std::remove_reference_t<decltype(fn)>>(dlsym(h, name));
            return fn != nullptr;
        };
        x.ok = load(x.connect, "xcb_connect") && load(x.hasError, "xcb_connection_has_error")
               && load(x.disconnect, "xcb_disconnect") && load(x.getSetup, "xcb_get_setup")
               && load(x.rootsIterator, "xcb_setup_roots_iterator") && load(x.screenNext, "xcb_screen_next")
               && load(x.internAtom, "xcb_intern_atom") && load(x.internAtomReply, "xcb_intern_atom_reply")
               && load(x.getProperty, "xcb_get_property") && load(x.getPropertyReply, "xcb_get_property_reply")
               && load(x.propertyValue, "xcb_get_property_value")
               && load(x.propertyValueLength, "xcb_get_property_value_length")
               && load(x.sendEventChecked, "xcb_send_event_checked") && load(x.requestCheck, "xcb_request_check");
        return x; // the library stays loaded: its functions are kept
    }();
    return table;
}

class Connection
{
public:
    explicit Connection(const QByteArray &display)
    {
        const Xcb &x = xcb();
        if (!x.ok)
            return;
        int screen = 0;
        m_c = x.connect(display.isEmpty() ? nullptr : display.constData(), &screen);
        if (!m_c || x.hasError(m_c)) {
            if (m_c)
                x.disconnect(m_c);
            m_c = nullptr;
            return;
        }
        xcb_screen_iterator_t it = x.rootsIterator(x.getSetup(m_c));
        for (int i = 0; i < screen && it.rem; ++i)
            x.screenNext(&it);
        if (!it.rem) {
            x.disconnect(m_c);
            m_c = nullptr;
            return;
        }
        m_root = it.data->root;
    }
    ~Connection()
    {
        if (m_c)
            xcb().disconnect(m_c);
    }
    xcb_connection_t *get() const { return m_c; }
    xcb_window_t root() const { return m_root; }

    // XCB_ATOM_NONE when the atom does not exist yet (no one uses it).
    xcb_atom_t existingAtom(const char *name) const
    {
        const Xcb &x = xcb();
        xcb_intern_atom_reply_t *r =
            x.internAtomReply(m_c, x.internAtom(m_c, 1, uint16_t(std::strlen(name)), name), nullptr);
        const xcb_atom_t atom = r ? r->atom : xcb_atom_t(XCB_ATOM_NONE);
        std::free(r);
        return atom;
    }

    std::vector<uint32_t> cardinals(xcb_window_t window, xcb_atom_t property, xcb_atom_t type) const
    {
        return replyValues(xcb().getProperty(m_c, 0, window, property, type, 0, 1 << 16));
    }

    std::vector<uint32_t> replyValues(xcb_get_property_cookie_t cookie) const
    {
        const Xcb &x = xcb();
        std::vector<uint32_t> out;
        xcb_get_property_reply_t *r = x.getPropertyReply(m_c, cookie, nullptr);
        if (r && r->format == 32) {
            const int n = x.propertyValueLength(r) / 4;
            const auto *v = static_cast<const uint32_t *>(x.propertyValue(r));
            out.assign(v, v + n);
        }
        std::free(r);
        return out;
    }

private:
    xcb_connection_t *m_c = nullptr;
    xcb_window_t m_root = 0;
};

} // namespace

bool activateX11WindowOfPid(qint32 pid, const QByteArray &display)
{
    if (pid <= 0)
        return false;
    if (display.isEmpty() && qEnvironmentVariableIsEmpty("DISPLAY"))
        return false;
    const Connection conn(display);
    if (!conn.get())
        return false;
    const Xcb &x = xcb();
    const xcb_atom_t activeWindow = conn.existingAtom("_NET_ACTIVE_WINDOW");
    const xcb_atom_t wmPid = conn.existingAtom("_NET_WM_PID");
    if (activeWindow == XCB_ATOM_NONE || wmPid == XCB_ATOM_NONE)
        return false; // no EWMH window manager, or no client announces its pid

    // Bottom to top, so the last match is the topmost window.
    std::vector<uint32_t> clients;
    const xcb_atom_t stacking = conn.existingAtom("_NET_CLIENT_LIST_STACKING");
    if (stacking != XCB_ATOM_NONE)
        clients = conn.cardinals(conn.root(), stacking, XCB_ATOM_WINDOW);
    if (clients.empty()) {
        const xcb_atom_t list = conn.existingAtom("_NET_CLIENT_LIST");
        if (list != XCB_ATOM_NONE)
            clients = conn.cardinals(conn.root(), list, XCB_ATOM_WINDOW);
    }
    if (clients.empty())
        return false;

    // One round trip for all windows: send every request, then read the replies.
    std::vector<xcb_get_property_cookie_t> cookies;
    cookies.reserve(clients.size());
    for (uint32_t w : clients)
        cookies.push_back(x.getProperty(conn.get(), 0, w, wmPid, XCB_ATOM_CARDINAL, 0, 1));
    xcb_window_t target = XCB_WINDOW_NONE;
    for (size_t i = 0; i < clients.size(); ++i) {
        const std::vector<uint32_t> v = conn.replyValues(cookies[i]);
        if (!v.empty() && v.front() == uint32_t(pid))
            target = clients[i];
    }
    if (target == XCB_WINDOW_NONE)
        return false;

    xcb_client_message_event_t ev;
    std::memset(&ev, 0, sizeof ev);
    ev.response_type = XCB_CLIENT_MESSAGE;
    ev.format = 32;
    ev.window = target;
    ev.type = activeWindow;
    ev.data.data32[0] = 2; // source: pager, i.e. the user asked for it
    ev.data.data32[1] = XCB_CURRENT_TIME;
    ev.data.data32[2] = XCB_WINDOW_NONE;
    const xcb_void_cookie_t sent =
        x.sendEventChecked(conn.get(), 0, conn.root(),
                           XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                           reinterpret_cast<const char *>(&ev));
    xcb_generic_error_t *error = x.requestCheck(conn.get(), sent);
    const bool delivered = error == nullptr;
    std::free(error);
    qCDebug(plvStats) << "X11 activation of pid" << pid << "window" << target << (delivered ? "sent" : "failed");
    return delivered;
}

QString objectPathForBusName(const QString &name)
{
    QString path = QStringLiteral("/") + name;
    path.replace(QLatin1Char('.'), QLatin1Char('/'));
    path.replace(QLatin1Char('-'), QLatin1Char('_'));
    return path;
}

bool activateDBusApplicationOfPid(qint32 pid, const QDBusConnection &bus)
{
    if (pid <= 0 || !bus.isConnected() || !bus.interface())
        return false;
    const QDBusReply<QStringList> names = bus.interface()->registeredServiceNames();
    if (!names.isValid())
        return false;
    bool delivered = false;
    for (const QString &name : names.value()) {
        // Well-known names only, and only those an application can have ("a.b").
        if (name.startsWith(QLatin1Char(':')) || !name.contains(QLatin1Char('.'))
            || name.startsWith(QLatin1String("org.freedesktop.DBus")))
            continue;
        const QDBusReply<uint> owner = bus.interface()->servicePid(name);
        if (!owner.isValid() || owner.value() != uint(pid))
            continue;
        QDBusMessage call = QDBusMessage::createMethodCall(name, objectPathForBusName(name),
                                                           QStringLiteral("org.freedesktop.Application"),
                                                           QStringLiteral("Activate"));
        call << QVariantMap();
        const QDBusMessage reply = bus.call(call, QDBus::Block, 2000);
        if (reply.type() == QDBusMessage::ReplyMessage)
            delivered = true;
        qCDebug(plvStats) << "D-Bus activation of" << name << "for pid" << pid << reply.type();
        if (delivered)
            break;
    }
    return delivered;
}

bool activateApplicationOfPid(qint32 pid)
{
    if (activateX11WindowOfPid(pid))
        return true;
    return activateDBusApplicationOfPid(pid, QDBusConnection::sessionBus());
}

} // namespace PLVWindowActivation
