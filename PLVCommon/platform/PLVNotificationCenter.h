#pragma once
#include <QMetaType>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantMap>

#include <functional>

// One posted notification: its name, the object that posted it (may be null)
// and a dictionary of extra information.
struct PLVNotification {
    QString name;
    QObject *object = nullptr;
    QVariantMap userInfo;
};
Q_DECLARE_METATYPE(PLVNotification)

// The process-local notification centre.
//
// Observers are either an object and the name of one of its invokable methods
// (taking no argument or one `const PLVNotification &`), or a function. An empty
// name observes every name; a null object observes every sender. Delivery is
// synchronous, on the posting thread, in registration order. An observer object
// is removed automatically when it is destroyed; an observer removed while a
// notification is being delivered is not called for it any more.
class PLVNotificationCenter : public QObject
{
    Q_OBJECT
public:
    using Block = std::function<void(const PLVNotification &)>;

    static PLVNotificationCenter *defaultCenter();

    // Does nothing (with a warning) when the observer has no such method.
    void addObserver(QObject *observer, const char *selector, const QString &name, const QObject *object = nullptr);
    // Returns the token that stands for the observer; pass it to removeObserver.
    // The token is owned by the centre; `context`, when given, removes the
    // observer automatically when it is destroyed.
    QObject *addObserverForName(const QString &name, const QObject *object, Block block, QObject *context = nullptr);

    void postNotification(const PLVNotification &notification);
    void postNotificationName(const QString &name, QObject *object = nullptr, const QVariantMap &userInfo = {});

    // Every registration of the observer (or of the token).
    void removeObserver(QObject *observer);
    // The observer's registrations for that name (an empty name: every name),
    // limited to that sender when one is given.
    void removeObserver(QObject *observer, const QString &name, const QObject *object = nullptr);

    // Number of registrations (for tests and diagnostics).
    int observerCount() const;

    PLVNotificationCenter();
    ~PLVNotificationCenter() override;

private:
    struct Private;
    std::unique_ptr<Private> d;
};
