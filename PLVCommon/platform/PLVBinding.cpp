#include "PLVBinding.h"

#include <QHash>
#include <QMetaProperty>
#include <mutex>
#include <QPointer>

namespace {

QObject *asObject(const QVariant &v)
{
    if (v.metaType().flags() & QMetaType::PointerToQObject)
        return v.value<QObject *>();
    return nullptr;
}

QVariant step(const QVariant &current, const QString &key)
{
    if (QObject *o = asObject(current))
        return o->property(key.toUtf8().constData());
    if (current.typeId() == QMetaType::QVariantMap)
        return current.toMap().value(key);
    return {};
}

class BindingLink : public QObject
{
    Q_OBJECT
public:
    BindingLink(QObject *target, QByteArray property, QObject *source, QStringList path)
        : m_target(target), m_property(std::move(property)), m_source(source), m_path(std::move(path))
    {
        moveToThread(target->thread());
    }

    // Re-walks the path, re-attaches to every notify signal on it and pushes the value.
    Q_INVOKABLE void refresh()
    {
        for (const auto &c : std::as_const(m_connections))
            disconnect(c);
        m_connections.clear();
        if (!m_source || !m_target)
            return;
        QVariant current = QVariant::fromValue<QObject *>(m_source.data());
        const int refreshIndex = metaObject()->indexOfMethod("refresh()");
        for (const QString &key : std::as_const(m_path)) {
            if (QObject *o = asObject(current)) {
                const QMetaObject *mo = o->metaObject();
                const int pi = mo->indexOfProperty(key.toUtf8().constData());
                if (pi >= 0 && mo->property(pi).hasNotifySignal())
                    m_connections.append(connect(o, mo->property(pi).notifySignal(), this, metaObject()->method(refreshIndex)));
            }
            current = step(current, key);
        }
        m_target->setProperty(m_property.constData(), current);
    }

private:
    QPointer<QObject> m_target;
    QByteArray m_property;
    QPointer<QObject> m_source;
    QStringList m_path;
    QList<QMetaObject::Connection> m_connections;
};

struct Key {
    const QObject *target;
    QByteArray property;
    bool operator==(const Key &o) const { return target == o.target && property == o.property; }
};
size_t qHash(const Key &k, size_t seed = 0) { return qHashMulti(seed, k.target, k.property); }

struct Links {
    std::mutex mutex;
    QHash<Key, BindingLink *> links;
};
Links &links()
{
    static Links *l = new Links; // outlives every object that might unbind at exit
    return *l;
}

void forget(const Key &key, BindingLink *link)
{
    Links &l = links();
    std::lock_guard lock(l.mutex);
    auto it = l.links.find(key);
    if (it != l.links.end() && it.value() == link)
        l.links.erase(it);
}

} // namespace

bool PLVBinding::bind(QObject *target, const char *property, QObject *source, const QString &keyPath)
{
    if (!target || !property || !source || keyPath.isEmpty())
        return false;
    const int pi = target->metaObject()->indexOfProperty(property);
    if (pi < 0 || !target->metaObject()->property(pi).isWritable())
        return false;
    unbind(target, property);

    const Key key{target, QByteArray(property)};
    auto *link = new BindingLink(target, key.property, source, keyPath.split(QLatin1Char('.')));
    {
        Links &l = links();
        std::lock_guard lock(l.mutex);
        l.links.insert(key, link);
    }
    auto drop = [key, link] {
        forget(key, link);
        link->deleteLater();
    };
    QObject::connect(target, &QObject::destroyed, link, drop, Qt::DirectConnection);
    QObject::connect(source, &QObject::destroyed, link, drop, Qt::DirectConnection);
    link->refresh();
    return true;
}

void PLVBinding::unbind(QObject *target, const char *property)
{
    if (!target || !property)
        return;
    BindingLink *link = nullptr;
    {
        Links &l = links();
        std::lock_guard lock(l.mutex);
        link = l.links.take(Key{target, QByteArray(property)});
    }
    delete link;
}

bool PLVBinding::isBound(const QObject *target, const char *property)
{
    Links &l = links();
    std::lock_guard lock(l.mutex);
    return l.links.contains(Key{target, QByteArray(property)});
}

QVariant PLVBinding::valueForKeyPath(const QObject *object, const QString &keyPath)
{
    if (!object)
        return {};
    QVariant current = QVariant::fromValue<QObject *>(const_cast<QObject *>(object));
    for (const QString &key : keyPath.split(QLatin1Char('.')))
        current = step(current, key);
    return current;
}

#include "PLVBinding.moc"
