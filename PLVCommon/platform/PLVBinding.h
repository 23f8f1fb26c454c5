#pragma once
#include <QObject>
#include <QString>
#include <QVariant>

// Bindings: a property of one object follows the value at a key path of another.
//
// The key path is a dot-separated list of property names; each step reads a
// property of a QObject or a key of a QVariantMap. The target receives the
// current value when bound and again whenever a property on the path emits its
// notify signal (delivered in the target's thread). A binding ends with
// unbind() or when either object is destroyed.
class PLVBinding
{
public:
    // Replaces an earlier binding of the same target property. False when the
    // target has no such writable property.
    static bool bind(QObject *target, const char *property, QObject *source, const QString &keyPath);
    static void unbind(QObject *target, const char *property);
    static bool isBound(const QObject *target, const char *property);

    // The value at the key path; invalid when a step is missing.
    static QVariant valueForKeyPath(const QObject *object, const QString &keyPath);
};
