#include "PLVNotificationCenter.h"

#include "PLVLog.h"

#include <QMetaMethod>
#include <mutex>
#include <QSet>

#include <vector>

namespace {

struct Entry {
    quint64 id = 0;
    QObject *observer = nullptr;          // identity, also after destruction began
    QPointer<QObject> guard;              // cleared once the observer is destroyed
    QMetaMethod method;                   // selector observers
    bool passNotification = false;
    PLVNotificationCenter::Block block;   // function observers
    QString name;
    const QObject *sender = nullptr;
};

// Token standing for a function observer.
class BlockToken : public QObject
{
public:
    using QObject::QObject;
};

} // namespace

struct PLVNotificationCenter::Private {
    mutable std::mutex mutex;
    std::vector<Entry> entries;
    QSet<quint64> live;
    QSet<QObject *> watched; // observers whose destruction we already listen to
    quint64 nextId = 1;
};

PLVNotificationCenter::PLVNotificationCenter() : d(std::make_unique<Private>())
{
    qRegisterMetaType<PLVNotification>();
}

PLVNotificationCenter::~PLVNotificationCenter()
{
    // The tokens of function observers belong to the centre.
    for (const Entry &e : d->entries)
        if (e.block)
            delete e.observer;
}

PLVNotificationCenter *PLVNotificationCenter::defaultCenter()
{
    // Never destroyed: observers may unregister from their own destructors at exit.
    static PLVNotificationCenter *center = new PLVNotificationCenter;
    return center;
}

void PLVNotificationCenter::addObserver(QObject *observer, const char *selector, const QString &name, const QObject *object)
{
    if (!observer || !selector)
        return;
    const QMetaObject *mo = observer->metaObject();
    QMetaMethod method;
    bool passNotification = false;
    const QByteArray withArg = QByteArray(selector) + "(PLVNotification)";
    const QByteArray noArg = QByteArray(selector) + "()";
    int index = mo->indexOfMethod(QMetaObject::normalizedSignature(withArg.constData()).constData());
    if (index >= 0) {
        passNotification = true;
    } else {
        index = mo->indexOfMethod(noArg.constData());
    }
    if (index < 0) {
        qCWarning(plvPlatform) << "PLVNotificationCenter:" << mo->className() << "has no invokable" << selector;
        return;
    }
    method = mo->method(index);

    Entry e;
    e.observer = observer;
    e.guard = observer;
    e.method = method;
    e.passNotification = passNotification;
    e.name = name;
    e.sender = object;

    bool connectDestroyed = false;
    {
        std::lock_guard lock(d->mutex);
        e.id = d->nextId++;
        d->live.insert(e.id);
        d->entries.push_back(std::move(e));
        if (!d->watched.contains(observer)) {
            d->watched.insert(observer);
            connectDestroyed = true;
        }
    }
    if (connectDestroyed)
        connect(observer, &QObject::destroyed, this, [this](QObject *gone) {
            removeObserver(gone);
            std::lock_guard lock(d->mutex);
            d->watched.remove(gone);
        }, Qt::DirectConnection);
}

QObject *PLVNotificationCenter::addObserverForName(const QString &name, const QObject *object, Block block, QObject *context)
{
    auto *token = new BlockToken;
    Entry e;
    e.observer = token;
    e.guard = token;
    e.block = std::move(block);
    e.name = name;
    e.sender = object;
    {
        std::lock_guard lock(d->mutex);
        e.id = d->nextId++;
        d->live.insert(e.id);
        d->entries.push_back(std::move(e));
    }
    if (context)
        connect(context, &QObject::destroyed, this, [this, token] { removeObserver(token); }, Qt::DirectConnection);
    return token;
}

void PLVNotificationCenter::postNotificationName(const QString &name, QObject *object, const QVariantMap &userInfo)
{
    postNotification(PLVNotification{name, object, userInfo});
}

void PLVNotificationCenter::postNotification(const PLVNotification &n)
{
    std::vector<Entry> targets;
    {
        std::lock_guard lock(d->mutex);
        for (const Entry &e : d->entries) {
            if (!e.name.isEmpty() && e.name != n.name)
                continue;
            if (e.sender && e.sender != n.object)
                continue;
            targets.push_back(e);
        }
    }
    for (const Entry &e : targets) {
        {
            std::lock_guard lock(d->mutex);
            if (!d->live.contains(e.id))
                continue;
        }
        QObject *observer = e.guard.data();
        if (!observer)
            continue;
        if (e.block) {
            e.block(n);
        } else if (e.passNotification) {
            e.method.invoke(observer, Qt::DirectConnection, Q_ARG(PLVNotification, n));
        } else {
            e.method.invoke(observer, Qt::DirectConnection);
        }
    }
}

void PLVNotificationCenter::removeObserver(QObject *observer)
{
    removeObserver(observer, QString(), nullptr);
}

void PLVNotificationCenter::removeObserver(QObject *observer, const QString &name, const QObject *object)
{
    if (!observer)
        return;
    std::vector<QObject *> tokens;
    {
        std::lock_guard lock(d->mutex);
        auto &entries = d->entries;
        for (auto it = entries.begin(); it != entries.end();) {
            const bool match = it->observer == observer && (name.isEmpty() || it->name == name)
                               && (!object || it->sender == object);
            if (match) {
                d->live.remove(it->id);
                if (it->block)
                    tokens.push_back(it->observer);
                it = entries.erase(it);
            } else {
                ++it;
            }
        }
    }
    // A token whose registration is gone stands for nothing any more.
    for (QObject *token : tokens)
        delete token;
}

int PLVNotificationCenter::observerCount() const
{
    std::lock_guard lock(d->mutex);
    return int(d->entries.size());
}
