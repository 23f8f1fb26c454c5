#pragma once
#include "PLVCommon/core/PLVGenericModuleModel.h"
#include "PLVCommon/core/PLVGenericViewController.h"

#include <QDateTime>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <QVariantMap>

#include <atomic>

class PLVPreferencesForModules;

// The spine of a module: it owns the model, the view controller and a
// notification object, knows the module's bundle identifier, and is what the
// update timer drives with updateModel() (global queue) and updateViews() (main
// thread). Concrete modules override the class hooks and the update hooks.
//
// Created through PLVClassRegistry::createInstance (which runs init()), set up
// with initMainApp() or initNCApp(). Destroy it with destroy(), which runs the
// tear-down with the final class's hooks before deleting it.
class PLVGenericModuleController : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString bundleIdentifier READ bundleIdentifier)
    Q_PROPERTY(qint64 moduleUsed READ moduleUsed)
    Q_PROPERTY(bool isProcessing READ isProcessing WRITE setIsProcessing)
public:
    Q_INVOKABLE explicit PLVGenericModuleController(QObject *parent = nullptr);
    ~PLVGenericModuleController() override;

    // Bundle identifier, model, notification object, then registerNotification().
    Q_INVOKABLE virtual void init();
    // Tear-down, then delete.
    static void destroy(PLVGenericModuleController *controller);
    // Leaves the notification centre and unbinds the variant it was set up as;
    // runs once (also from the destructor, with the base hooks only).
    void tearDown();

    // Class hooks.
    virtual const QMetaObject *viewControllerClass() const;
    virtual const QMetaObject *ncViewControllerClass() const;
    virtual const QMetaObject *modelObjClass() const;
    virtual const QMetaObject *notificationObjClass() const;
    virtual QString moduleName() const;
    virtual QMenu *moduleMenuOption() const { return nullptr; }
    virtual QMenu *moduleMenuPref() const { return nullptr; }

    Q_INVOKABLE void initMainApp();
    Q_INVOKABLE void initNCApp();

    PLVPreferencesForModules *plvPreferencesDefault() const { return m_preferences; }
    // Stores it (not owned) and hands it to the view controller.
    void setPlvPreferencesDefault(PLVPreferencesForModules *store);

    bool isTodayExtention() const;
    void bindVariables();
    void unbindVariables();
    // Sets every visibility flag of the model; the argument is ignored.
    Q_INVOKABLE void notificationInforModelOfVisibleViews(QObject *sender);

    Q_INVOKABLE virtual void registerNotification() {}
    Q_INVOKABLE virtual void updateModel() {}
    Q_INVOKABLE virtual void updateViews() {}
    Q_INVOKABLE virtual void bindVariablesNCApp() {}
    Q_INVOKABLE virtual void unbindVariablesNCApp() {}

    // The view controller's views (null when absent). The combined view is the
    // compact one and the stand-alone view the expanded one.
    Q_INVOKABLE PLVGenericStatusbarview *statusbarView() const;
    Q_INVOKABLE PLVGenericStatusbarCompactExpandedView *statusbarCombinedView() const;
    Q_INVOKABLE PLVGenericStatusbarCompactExpandedView *statusbarStandAloneView() const;
    Q_INVOKABLE PLVGenericStatusbarCompactExpandedView *statusbarTodayStandAloneView() const;
    Q_INVOKABLE PLVGenericStatusbarCompactExpandedView *statusbarTodayCompactView() const;
    Q_INVOKABLE PLVGenericStatusbarCompactExpandedView *statusbarTodayMiniView() const;
    Q_INVOKABLE PLVGenericStatusbarCompactExpandedView *statusbarTodayMiniTop5View() const;
    Q_INVOKABLE PLVView *statusbarTodayOverviewView() const;
    Q_INVOKABLE PLVGenericPreferencesModuleview *preferencesModuleView() const;
    Q_INVOKABLE PLVGenericPreferenceNotificationview *preferenceNotificationView() const;
    // The one getter that reads the widget-host variant.
    Q_INVOKABLE QWidget *notificationCenterView() const;

    PLVViewController *viewcontroller() const { return m_viewcontroller; }
    PLVViewController *ncviewcontroller() const { return m_ncviewcontroller; }
    PLVGenericModuleModel *modulemodelobj() const { return m_model; }
    QObject *notificationobj() const { return m_notification; }
    QString bundleIdentifier() const { return m_bundleIdentifier; }
    qint64 moduleUsed() const { return m_moduleUsed; }
    QVariantMap dicoActions() const { return m_dicoActions; }
    void setDicoActions(const QVariantMap &actions) { m_dicoActions = actions; }
    QDateTime lastDate() const { return m_lastDate; }
    void setLastDate(const QDateTime &date) { m_lastDate = date; }
    // Written by modules on the global queue; the framework never reads it.
    bool isProcessing() const { return m_isProcessing.load(); }
    void setIsProcessing(bool processing) { m_isProcessing.store(processing); }
    // Sets isProcessing in one step, answering false when it was already set
    // (an update of this module is still running).
    bool tryBeginProcessing()
    {
        bool expected = false;
        return m_isProcessing.compare_exchange_strong(expected, true);
    }

    QString PLVLoc(const QString &key) const;

private:
    PLVGenericViewController *genericViewController() const;
    PLVViewController *makeViewController(const QMetaObject *cls);
    void setUpVariant(QPointer<PLVViewController> &slot, const QMetaObject *cls);

    QPointer<PLVViewController> m_ncviewcontroller;
    QPointer<PLVViewController> m_viewcontroller;
    PLVGenericModuleModel *m_model = nullptr;
    QObject *m_notification = nullptr;
    QString m_bundleIdentifier;
    qint64 m_moduleUsed = 0;
    QVariantMap m_dicoActions;
    QDateTime m_lastDate;
    std::atomic<bool> m_isProcessing{false};
    PLVPreferencesForModules *m_preferences = nullptr;
    bool m_tornDown = false;
};
