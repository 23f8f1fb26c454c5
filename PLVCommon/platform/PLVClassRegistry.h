#pragma once
#include <QMetaObject>
#include <QObject>
#include <QString>

// Class name -> meta-object, for classes that are looked up by name at run
// time (principal classes of bundles, optional companion classes).
//
// A class is registered once, usually by PLV_REGISTER_CLASS in its .cpp file, so
// loading a bundle's library registers the classes it holds.
class PLVClassRegistry
{
public:
    static void registerClass(const QMetaObject *metaObject);
    // nullptr when no class of that name was registered.
    static const QMetaObject *classNamed(const QString &name);

    // alloc + init: creates the object through its Q_INVOKABLE default
    // constructor, then calls its invokable "init()" when it has one, so that
    // set-up may call virtual hooks of the final class. nullptr on failure.
    static QObject *createInstance(const QMetaObject *metaObject);
    static QObject *createInstance(const QString &className);

    // Whether the object has an invokable method (slot, signal or
    // Q_INVOKABLE) of that name, with any parameters.
    static bool respondsToSelector(const QObject *object, const char *selector);
};

#define PLV_REGISTER_CLASS_CONCAT2(a, b) a##b
#define PLV_REGISTER_CLASS_CONCAT(a, b) PLV_REGISTER_CLASS_CONCAT2(a, b)
#define PLV_REGISTER_CLASS(Class)                                                              \
    namespace {                                                                                \
    [[maybe_unused]] const bool PLV_REGISTER_CLASS_CONCAT(plvRegistered_, __LINE__) =          \
        (PLVClassRegistry::registerClass(&Class::staticMetaObject), true);                     \
    }
