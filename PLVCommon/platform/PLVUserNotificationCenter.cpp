#include "PLVUserNotificationCenter.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QMetaObject>
#include <QVariantMap>

PLVUserNotificationCenter *PLVUserNotificationCenter::defaultUserNotificationCenter()
{
    static PLVUserNotificationCenter *center = new PLVUserNotificationCenter;
    return center;
}

bool PLVUserNotificationCenter::deliverNotification(const QString &title, const QString &informativeText)
{
    if (QObject *d = m_delegate.data()) {
        bool present = true;
        if (d->metaObject()->indexOfMethod("shouldPresentNotification(QString,QString)") >= 0)
            QMetaObject::invokeMethod(d, "shouldPresentNotification", Qt::DirectConnection, Q_RETURN_ARG(bool, present),
                                      Q_ARG(QString, title), Q_ARG(QString, informativeText));
        if (!present)
            return false;
    }
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return false;
    QDBusMessage call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.Notifications"),
                                                      QStringLiteral("/org/freedesktop/Notifications"),
                                                      QStringLiteral("org.freedesktop.Notifications"),
                                                      QStringLiteral("Notify"));
    call << QCoreApplication::applicationName() << uint(0) << QString() << title << informativeText << QStringList()
         << QVariantMap() << int(-1);
    return bus.send(call);
}
