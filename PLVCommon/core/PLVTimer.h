#pragma once
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QTimer>

#include "PLVCommon/core/PLVModulesDictionary.h"

// The one clock that makes modules refresh. Every tick, for each registered
// module in registration order, the module's updateModel() runs on the global
// queue and then its updateViews() on the main queue. The period is the group
// setting "plvSlideInterval" (2.0 s when missing or not positive), re-read on
// the local notification "PLVUpdateTimerValue"; "TCWindowDidOpen" runs one
// extra tick. Successive ticks are not serialised: a module guards itself.
class PLVTimer : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVTimer(QObject *parent = nullptr);
    ~PLVTimer() override;

    // Subscribes, then reads the interval and starts the clock (one tick at once).
    Q_INVOKABLE void init();

    Q_INVOKABLE void timerChanged();
    // Stores the interval and restarts the clock.
    void setTimerInterval(float seconds);
    float timerInterval() const { return m_timerInterval; }
    void startTimer();
    void endTimer();
    bool isRunning() const { return m_plvTimer != nullptr; }

    Q_INVOKABLE void updateModuleFromTimer();
    // One asynchronous update of one module.
    void updateModuleForBundleIdentifier(const QString &bundleIdentifier);
    // A new module gets one update at once, then joins the ticks; a known one is ignored.
    void addModule(const QString &bundleIdentifier);
    void removeModule(const QString &bundleIdentifier);
    QStringList timersArray() const { return m_timersArray; }

    // Not owned; cleared when the host's table goes.
    PLVModulesDictionary *modules() const { return m_modules.data(); }
    void setModules(PLVModulesDictionary *modules);

signals:
    // After a module's updateViews() of one update returned (main thread).
    void moduleViewsUpdated(const QString &bundleIdentifier);

private:
    QTimer *m_plvTimer = nullptr;
    QStringList m_timersArray;
    float m_timerInterval = 0.0f;
    QPointer<PLVModulesDictionary> m_modules;
    // What updates on the global queue look modules up through: unlike the
    // QPointer, it stays safe when the host destroys the table meanwhile.
    PLVModulesDictionary::Lookup m_lookup;
};
