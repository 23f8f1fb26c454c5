#include "PLVClassRegistry.h"

#include <QHash>
#include <QMetaMethod>
#include <mutex>

namespace {

struct Registry {
    std::mutex mutex;
    QHash<QString, const QMetaObject *> classes;
};

Registry &registry()
{
    static Registry r; // constructed on first use, also from static initialisers of bundles
    return r;
}

} // namespace

void PLVClassRegistry::registerClass(const QMetaObject *metaObject)
{
    if (!metaObject)
        return;
    Registry &r = registry();
    std::lock_guard lock(r.mutex);
    r.classes.insert(QString::fromLatin1(metaObject->className()), metaObject);
}

const QMetaObject *PLVClassRegistry::classNamed(const QString &name)
{
    Registry &r = registry();
    std::lock_guard lock(r.mutex);
    return r.classes.value(name, nullptr);
}

QObject *PLVClassRegistry::createInstance(const QMetaObject *metaObject)
{
    if (!metaObject)
        return nullptr;
    QObject *object = metaObject->newInstance();
    if (!object)
        return nullptr;
    const int init = object->metaObject()->indexOfMethod("init()");
    if (init >= 0)
        object->metaObject()->method(init).invoke(object, Qt::DirectConnection);
    return object;
}

QObject *PLVClassRegistry::createInstance(const QString &className)
{
    return createInstance(classNamed(className));
}

bool PLVClassRegistry::respondsToSelector(const QObject *object, const char *selector)
{
    if (!object || !selector)
        return false;
    const QMetaObject *mo = object->metaObject();
    const QByteArray name(selector);
    for (int i = 0; i < mo->methodCount(); ++i)
        if (mo->method(i).name() == name)
            return true;
    return false;
}
