#include "PLVTimer.h"

#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVModulesDictionary.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVDispatch.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"

#include <climits>
#include <cmath>

PLV_REGISTER_CLASS(PLVTimer)

namespace {
constexpr float kDefaultInterval = 2.0f;
}

PLVTimer::PLVTimer(QObject *parent) : QObject(parent) {}

PLVTimer::~PLVTimer()
{
    endTimer();
    PLVNotificationCenter::defaultCenter()->removeObserver(this);
}

void PLVTimer::init()
{
    PLVNotificationCenter *center = PLVNotificationCenter::defaultCenter();
    center->addObserver(this, "timerChanged", QStringLiteral("PLVUpdateTimerValue"));
    center->addObserver(this, "updateModuleFromTimer", QStringLiteral("TCWindowDidOpen"));
    m_timersArray.clear();
    timerChanged();
}

void PLVTimer::timerChanged()
{
    const QVariant stored = UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("plvSlideInterval"));
    const float candidate = stored.isValid() ? stored.toFloat() : -1.0f;
    // With nothing stored, -1 never equals the 2 s in force, so every
    // "PLVUpdateTimerValue" restarts the clock.
    if (candidate == m_timerInterval)
        return;
    setTimerInterval(candidate);
}

void PLVTimer::setTimerInterval(float seconds)
{
    m_timerInterval = seconds;
    endTimer();
    startTimer();
}

void PLVTimer::startTimer()
{
    if (m_plvTimer)
        return;
    // NaN compares false and stays: the interval then reads NaN.
    if (m_timerInterval <= 0.0f)
        m_timerInterval = kDefaultInterval;
    updateModuleFromTimer();
    // A period that is not a finite positive number (NaN) ticks at the default pace.
    const double period = std::isfinite(m_timerInterval) && m_timerInterval > 0 ? double(m_timerInterval)
                                                                                  : double(kDefaultInterval);
    const double ms = std::min(period * 1000.0, double(INT_MAX));
    m_plvTimer = new QTimer(this);
    m_plvTimer->setTimerType(Qt::CoarseTimer);
    m_plvTimer->setInterval(std::max(1, int(std::lround(ms))));
    connect(m_plvTimer, &QTimer::timeout, this, &PLVTimer::updateModuleFromTimer);
    m_plvTimer->start();
}

void PLVTimer::endTimer()
{
    if (!m_plvTimer)
        return;
    m_plvTimer->stop();
    delete m_plvTimer;
    m_plvTimer = nullptr;
}

void PLVTimer::updateModuleFromTimer()
{
    // One hand-off to the global queue and one back per tick, not one per
    // module: waking a thread costs more than most modules' whole update. The
    // modules update one after another in array order, then their views, in
    // the same order, on the main queue. A module still busy with an earlier
    // tick returns at once (its isProcessing guard), so one that hangs holds
    // back the others of its own tick only.
    if (m_timersArray.isEmpty())
        return;
    const PLVModulesDictionary::Lookup modules = m_lookup;
    QPointer<PLVTimer> self = this; // read on the main thread only, where the timer dies
    PLVDispatch::asyncGlobal([modules, self, identifiers = m_timersArray] {
        for (const QString &identifier : identifiers)
            if (const auto controller = modules.value(identifier))
                controller->updateModel();
        PLVDispatch::asyncMain([modules, self, identifiers] {
            for (const QString &identifier : identifiers) {
                if (const auto controller = modules.value(identifier))
                    controller->updateViews();
                if (self)
                    emit self->moduleViewsUpdated(identifier);
            }
        });
    });
}

void PLVTimer::updateModuleForBundleIdentifier(const QString &bundleIdentifier)
{
    // The controller is looked up afresh at each step, so a module removed in
    // between is skipped.
    const PLVModulesDictionary::Lookup modules = m_lookup;
    QPointer<PLVTimer> self = this; // read on the main thread only, where the timer dies
    PLVDispatch::asyncGlobal([modules, self, bundleIdentifier] {
        if (const auto controller = modules.value(bundleIdentifier))
            controller->updateModel();
        PLVDispatch::asyncMain([modules, self, bundleIdentifier] {
            if (const auto controller = modules.value(bundleIdentifier))
                controller->updateViews();
            if (self)
                emit self->moduleViewsUpdated(bundleIdentifier);
        });
    });
}

void PLVTimer::setModules(PLVModulesDictionary *modules)
{
    m_modules = modules;
    m_lookup = modules ? modules->lookup() : PLVModulesDictionary::Lookup();
}

void PLVTimer::addModule(const QString &bundleIdentifier)
{
    if (m_timersArray.contains(bundleIdentifier))
        return;
    updateModuleForBundleIdentifier(bundleIdentifier);
    m_timersArray.append(bundleIdentifier);
}

void PLVTimer::removeModule(const QString &bundleIdentifier) { m_timersArray.removeAll(bundleIdentifier); }
