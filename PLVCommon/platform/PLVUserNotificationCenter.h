#pragma once
#include <QObject>
#include <QPointer>
#include <QString>

// The desktop's notification service (org.freedesktop.Notifications on the
// session bus). A delegate may veto each notification through an invokable
// `bool shouldPresentNotification(QString title, QString informativeText)`.
// Without a session bus nothing is shown.
class PLVUserNotificationCenter : public QObject
{
    Q_OBJECT
public:
    static PLVUserNotificationCenter *defaultUserNotificationCenter();

    QObject *delegate() const { return m_delegate.data(); }
    void setDelegate(QObject *delegate) { m_delegate = delegate; }

    // True when the notification was handed to the desktop.
    bool deliverNotification(const QString &title, const QString &informativeText);

private:
    QPointer<QObject> m_delegate;
};
