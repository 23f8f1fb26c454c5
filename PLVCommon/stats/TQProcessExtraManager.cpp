#include "PLVCommon/stats/TQProcessExtraManager.h"

#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QCoreApplication>
#include <QHash>
#include <QMetaMethod>
#include <mutex>
#include <QPointer>
#include <QThread>
#include <QVariant>

#include <cmath>
#include <limits>
#include <optional>

namespace {

QObject *companion()
{
    const QMetaObject *mo = PLVClassRegistry::classNamed(QStringLiteral("TQProcessExtra"));
    if (!mo)
        return nullptr;
    static std::mutex mutex;
    static QHash<const QMetaObject *, QPointer<QObject>> instances; // one per class
    std::lock_guard lock(mutex);
    QPointer<QObject> &slot = instances[mo];
    if (!slot) {
        QObject *object = PLVClassRegistry::createInstance(mo);
        // Calls come from any thread; the instance belongs to the main thread
        // rather than to whichever worker happened to ask first, and lives as
        // long as the application.
        if (QCoreApplication *app = QCoreApplication::instance(); object && app) {
            if (object->thread() != app->thread())
                object->moveToThread(app->thread());
            object->setParent(app);
        }
        slot = object;
    }
    return slot.data();
}

// Calls the companion's invokable method `name` with the arguments converted to
// its parameter types. nullopt when there is no companion or no such method.
std::optional<QVariant> forward(const char *name, const QVariantList &args = {})
{
    QObject *object = companion();
    if (!object)
        return std::nullopt;
    const QMetaObject *mo = object->metaObject();
    for (int i = 0; i < mo->methodCount(); ++i) {
        const QMetaMethod method = mo->method(i);
        if (method.name() != name || method.parameterCount() != args.size()
            || method.methodType() == QMetaMethod::Signal || method.methodType() == QMetaMethod::Constructor)
            continue;
        QVariantList converted;
        bool convertible = true;
        for (int p = 0; p < args.size() && convertible; ++p) {
            QVariant v = args.at(p);
            convertible = v.convert(method.parameterMetaType(p));
            converted.append(v);
        }
        if (!convertible)
            continue;
        QGenericArgument a[10];
        for (int p = 0; p < converted.size() && p < 10; ++p)
            a[p] = QGenericArgument(converted[p].typeName(), converted[p].constData());
        QVariant result;
        QGenericReturnArgument ret;
        if (method.returnMetaType().id() != QMetaType::Void) {
            result = QVariant(method.returnMetaType(), nullptr);
            ret = QGenericReturnArgument(method.typeName(), result.data());
        }
        if (!method.invoke(object, Qt::DirectConnection, ret, a[0], a[1], a[2], a[3], a[4], a[5], a[6], a[7],
                           a[8], a[9]))
            return std::nullopt;
        return result;
    }
    return std::nullopt;
}

// A number that went through a 32-bit float, then to an integer.
std::optional<qint32> integerThroughFloat(const std::optional<QVariant> &value)
{
    if (!value)
        return std::nullopt;
    bool ok = false;
    const float f = value->toFloat(&ok);
    if (!ok || !std::isfinite(f))
        return std::nullopt;
    if (f >= float(std::numeric_limits<qint32>::max()))
        return std::numeric_limits<qint32>::max();
    if (f <= float(std::numeric_limits<qint32>::min()))
        return std::numeric_limits<qint32>::min();
    return qint32(f);
}

} // namespace

qint32 TQProcessExtraManager::extraParentForPid(qint32 pid)
{
    return integerThroughFloat(forward("extraParentForPid", {QVariant(pid)})).value_or(1);
}

float TQProcessExtraManager::gpuFPS()
{
    const auto value = forward("gpuFPS");
    if (!value)
        return 0.0f;
    bool ok = false;
    const float f = value->toFloat(&ok);
    return ok ? f : 0.0f;
}

int TQProcessExtraManager::systemBlueToothState()
{
    return integerThroughFloat(forward("systemBlueToothState")).value_or(-1);
}

void TQProcessExtraManager::systemBlueToothSetState(int state)
{
    forward("systemBlueToothSetState", {QVariant::fromValue<qint8>(qint8(state & 0xff))});
}
