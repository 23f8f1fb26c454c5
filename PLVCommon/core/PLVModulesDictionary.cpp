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

PLVModulesDictionary::PLVModulesDictionary(QObject *parent) : QObject(parent), m_table(std::make_shared<Table>()) {}

PLVModulesDictionary::~PLVModulesDictionary()
{
    // Emptied, not only released: an update holding the table through a
    // Lookup finds nothing from now on.
    QHash<QString, Controller> gone;
    {
        std::lock_guard lock(m_table->mutex);
        gone.swap(m_table->controllers);
    }
}

void PLVModulesDictionary::insert(const QString &bundleIdentifier, PLVGenericModuleController *controller)
{
    Controller strong(controller, &release);
    Controller previous;
    {
        std::lock_guard lock(m_table->mutex);
        previous = m_table->controllers.value(bundleIdentifier);
        m_table->controllers.insert(bundleIdentifier, strong);
    }
}

void PLVModulesDictionary::remove(const QString &bundleIdentifier)
{
    Controller gone;
    {
        std::lock_guard lock(m_table->mutex);
        gone = m_table->controllers.take(bundleIdentifier);
    }
}

PLVModulesDictionary::Controller PLVModulesDictionary::value(const QString &bundleIdentifier) const
{
    std::lock_guard lock(m_table->mutex);
    return m_table->controllers.value(bundleIdentifier);
}

PLVModulesDictionary::Lookup PLVModulesDictionary::lookup() const
{
    Lookup handle;
    handle.m_table = m_table;
    return handle;
}

PLVModulesDictionary::Controller PLVModulesDictionary::Lookup::value(const QString &bundleIdentifier) const
{
    const std::shared_ptr<Table> table = m_table.lock();
    if (!table)
        return {};
    std::lock_guard lock(table->mutex);
    return table->controllers.value(bundleIdentifier);
}

bool PLVModulesDictionary::contains(const QString &bundleIdentifier) const
{
    std::lock_guard lock(m_table->mutex);
    return m_table->controllers.contains(bundleIdentifier);
}

QStringList PLVModulesDictionary::keys() const
{
    std::lock_guard lock(m_table->mutex);
    return m_table->controllers.keys();
}

int PLVModulesDictionary::count() const
{
    std::lock_guard lock(m_table->mutex);
    return int(m_table->controllers.size());
}
