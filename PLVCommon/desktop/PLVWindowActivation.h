#pragma once
#include <QByteArray>
#include <QString>
#include <QtGlobal>

class QDBusConnection;

// Bringing another program's window to the front, as far as the desktop lets a
// program do that for another one.
//
// X11 (and X11 clients under XWayland): the window manager's client list
// (_NET_CLIENT_LIST_STACKING, else _NET_CLIENT_LIST) gives the windows whose
// _NET_WM_PID is the pid; the topmost one gets a _NET_ACTIVE_WINDOW request
// with source indication 2, the one pagers and task bars use for an explicit
// user request, so focus-stealing prevention lets it through. libxcb is loaded
// at run time; without it or without a display nothing happens.
//
// Wayland has no protocol for activating another client's surface. What is
// left is the application's own D-Bus interface: a session-bus name owned by
// the process that exports org.freedesktop.Application (GApplication,
// KDBusService) gets Activate. Without an activation token the compositor
// decides: it may raise the window or only mark it as wanting attention.
namespace PLVWindowActivation {

// X11 first, then D-Bus. True when a request was delivered to someone.
bool activateApplicationOfPid(qint32 pid);

// `display` null: $DISPLAY.
bool activateX11WindowOfPid(qint32 pid, const QByteArray &display = QByteArray());
bool activateDBusApplicationOfPid(qint32 pid, const QDBusConnection &bus);

// The object path org.freedesktop.Application uses for a bus name:
// "org.example.App-1" -> "/org/example/App_1".
QString objectPathForBusName(const QString &name);

} // namespace PLVWindowActivation
