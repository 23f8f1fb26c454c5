#include "PLVModulesDictionary.h"

#include "PLVCommon/core/PLVGenericModuleController.h"

#include <QCoreApplication>
#include <QThread>

namespace {

// The last reference may go on a worker: tear down on the controller's own thread.
void release(PLVGenericModuleController *controller)
{
    if (!controller)
        return;
    if (controller->thread() == QThread::currentThread() || !QCoreApplication::instance()) {
        PLVGenericModuleController::destroy(controller);
        return;
    }
    QMetaObject::invokeMethod(controller, [controller] { PLVGenericModuleController::destroy(controller); },
                              Qt::QueuedConnection);
}

} // namespace

PLVModulesDictionary::PLVModulesDictionary(QObject *parent) : QObject(parent) {}

PLVModulesDictionary::~PLVModulesDictionary()
{
    QHash<QString, Controller> gone;
    {
        std::lock_guard lock(m_mutex);
        gone.swap(m_controllers);
    }
}

void PLVModulesDictionary::insert(const QString &bundleIdentifier, PLVGenericModuleController *controller)
{
    Controller strong(controller, &release);
    Controller previous;
    {
        std::lock_guard lock(m_mutex);
        previous = m_controllers.value(bundleIdentifier);
        m_controllers.insert(bundleIdentifier, strong);
    }
}

void PLVModulesDictionary::remove(const QString &bundleIdentifier)
{
    Controller gone;
    {
        std::lock_guard lock(m_mutex);
        gone = m_controllers.take(bundleIdentifier);
    }
}

PLVModulesDictionary::Controller PLVModulesDictionary::value(const QString &bundleIdentifier) const
{
    std::lock_guard lock(m_mutex);
    return m_controllers.value(bundleIdentifier);
}

bool PLVModulesDictionary::contains(const QString &bundleIdentifier) const
{
    std::lock_guard lock(m_mutex);
    return m_controllers.contains(bundleIdentifier);
}

QStringList PLVModulesDictionary::keys() const
{
    std::lock_guard lock(m_mutex);
    return m_controllers.keys();
}

int PLVModulesDictionary::count() const
{
    std::lock_guard lock(m_mutex);
    return int(m_controllers.size());
}
