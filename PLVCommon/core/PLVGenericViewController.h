#pragma once
#include "PLVCommon/core/PLVGenericViews.h"
#include "PLVCommon/platform/PLVModelData.h"
#include "PLVCommon/platform/PLVViewController.h"

#include <QPointer>

class PLVPreferencesForModules;

// A module's view controller: one outlet per place the module shows its data,
// loaded from the module's interface file, and the `modelData` it fans out to
// those views by binding (the panel's views in the monitor application, the
// widget's views in the widget host).
class PLVGenericViewController : public PLVViewController
{
    Q_OBJECT
    Q_PROPERTY(PLVModelData modelData READ modelData WRITE setModelData NOTIFY modelDataChanged)
    Q_PROPERTY(QString bundleIdentifier READ bundleIdentifier WRITE setBundleIdentifier)
    // Outlets: not owned (the view tree owns its views); null once a view is gone.
    Q_PROPERTY(PLVGenericPreferenceNotificationview *preferenceNotificationview READ preferenceNotificationview WRITE setPreferenceNotificationview)
    Q_PROPERTY(PLVGenericPreferencesModuleview *preferencesview READ preferencesview WRITE setPreferencesview)
    Q_PROPERTY(PLVGenericStatusbarview *statusbarview READ statusbarview WRITE setStatusbarview)
    Q_PROPERTY(PLVGenericStatusbarCompactExpandedView *statusbarcompactview READ statusbarcompactview WRITE setStatusbarcompactview)
    Q_PROPERTY(PLVGenericStatusbarCompactExpandedView *statusbarExpandedview READ statusbarExpandedview WRITE setStatusbarExpandedview)
    Q_PROPERTY(PLVGenericStatusbarCompactExpandedView *statusbarTodayExpandedview READ statusbarTodayExpandedview WRITE setStatusbarTodayExpandedview)
    Q_PROPERTY(PLVGenericStatusbarCompactExpandedView *statusbarTodayCompactview READ statusbarTodayCompactview WRITE setStatusbarTodayCompactview)
    Q_PROPERTY(PLVGenericStatusbarCompactExpandedView *statusbarTodayMiniview READ statusbarTodayMiniview WRITE setStatusbarTodayMiniview)
    Q_PROPERTY(PLVGenericStatusbarCompactExpandedView *statusbarTodayMiniTop5view READ statusbarTodayMiniTop5view WRITE setStatusbarTodayMiniTop5view)
    Q_PROPERTY(PLVView *statusbarTodayOverviewview READ statusbarTodayOverviewview WRITE setStatusbarTodayOverviewview)
    Q_PROPERTY(QWidget *helperMissingView READ helperMissingView WRITE setHelperMissingView)
public:
    Q_INVOKABLE explicit PLVGenericViewController(QObject *parent = nullptr);
    ~PLVGenericViewController() override;

    PLVModelData modelData() const { return m_modelData; }
    void setModelData(const PLVModelData &data);
    QString bundleIdentifier() const { return m_bundleIdentifier; }
    // Stores it and passes it on to the alert-settings pane.
    void setBundleIdentifier(const QString &identifier);
    PLVPreferencesForModules *plvPreferencesDefault() const { return m_preferences; }
    // Stores it (not owned), hands the pane the identifier and the store, then loadPreferences().
    void setPlvPreferencesDefault(PLVPreferencesForModules *store);

    void awakeFromNib() override;
    bool isTodayExtention() const;
    void bindDataModel();
    void unBindDataModel();

    Q_INVOKABLE virtual void updateViews() {}
    Q_INVOKABLE virtual void loadPreferences() {}
    // Runs twice when the monitor application wakes the controller: register idempotently.
    Q_INVOKABLE virtual void registerNotification() {}

    QString PLVLoc(const QString &key) const;

    PLVGenericPreferenceNotificationview *preferenceNotificationview() const { return m_preferenceNotificationview; }
    void setPreferenceNotificationview(PLVGenericPreferenceNotificationview *v) { m_preferenceNotificationview = v; }
    PLVGenericPreferencesModuleview *preferencesview() const { return m_preferencesview; }
    void setPreferencesview(PLVGenericPreferencesModuleview *v) { m_preferencesview = v; }
    PLVGenericStatusbarview *statusbarview() const { return m_statusbarview; }
    void setStatusbarview(PLVGenericStatusbarview *v) { m_statusbarview = v; }
    PLVGenericStatusbarCompactExpandedView *statusbarcompactview() const { return m_statusbarcompactview; }
    void setStatusbarcompactview(PLVGenericStatusbarCompactExpandedView *v) { m_statusbarcompactview = v; }
    PLVGenericStatusbarCompactExpandedView *statusbarExpandedview() const { return m_statusbarExpandedview; }
    void setStatusbarExpandedview(PLVGenericStatusbarCompactExpandedView *v) { m_statusbarExpandedview = v; }
    PLVGenericStatusbarCompactExpandedView *statusbarTodayExpandedview() const { return m_statusbarTodayExpandedview; }
    void setStatusbarTodayExpandedview(PLVGenericStatusbarCompactExpandedView *v) { m_statusbarTodayExpandedview = v; }
    PLVGenericStatusbarCompactExpandedView *statusbarTodayCompactview() const { return m_statusbarTodayCompactview; }
    void setStatusbarTodayCompactview(PLVGenericStatusbarCompactExpandedView *v) { m_statusbarTodayCompactview = v; }
    PLVGenericStatusbarCompactExpandedView *statusbarTodayMiniview() const { return m_statusbarTodayMiniview; }
    void setStatusbarTodayMiniview(PLVGenericStatusbarCompactExpandedView *v) { m_statusbarTodayMiniview = v; }
    PLVGenericStatusbarCompactExpandedView *statusbarTodayMiniTop5view() const { return m_statusbarTodayMiniTop5view; }
    void setStatusbarTodayMiniTop5view(PLVGenericStatusbarCompactExpandedView *v) { m_statusbarTodayMiniTop5view = v; }
    // The widget's overview view; any view with a `modelData` property binds.
    PLVView *statusbarTodayOverviewview() const { return m_statusbarTodayOverviewview; }
    void setStatusbarTodayOverviewview(PLVView *v) { m_statusbarTodayOverviewview = v; }
    QWidget *helperMissingView() const { return m_helperMissingView; }
    void setHelperMissingView(QWidget *v) { m_helperMissingView = v; }

signals:
    void modelDataChanged();

private:
    // The views bound in this kind of process, in binding order.
    QList<QWidget *> boundViews() const;

    PLVModelData m_modelData;
    QString m_bundleIdentifier;
    PLVPreferencesForModules *m_preferences = nullptr;
    QPointer<PLVGenericPreferenceNotificationview> m_preferenceNotificationview;
    QPointer<PLVGenericPreferencesModuleview> m_preferencesview;
    QPointer<PLVGenericStatusbarview> m_statusbarview;
    QPointer<PLVGenericStatusbarCompactExpandedView> m_statusbarcompactview;
    QPointer<PLVGenericStatusbarCompactExpandedView> m_statusbarExpandedview;
    QPointer<PLVGenericStatusbarCompactExpandedView> m_statusbarTodayExpandedview;
    QPointer<PLVGenericStatusbarCompactExpandedView> m_statusbarTodayCompactview;
    QPointer<PLVGenericStatusbarCompactExpandedView> m_statusbarTodayMiniview;
    QPointer<PLVGenericStatusbarCompactExpandedView> m_statusbarTodayMiniTop5view;
    QPointer<PLVView> m_statusbarTodayOverviewview;
    QPointer<QWidget> m_helperMissingView;
};

// The minimal view controller of the widget-host variant.
class PLVNCGenericViewController : public PLVViewController
{
    Q_OBJECT
    Q_PROPERTY(QString bundleIdentifier READ bundleIdentifier WRITE setBundleIdentifier)
public:
    Q_INVOKABLE explicit PLVNCGenericViewController(QObject *parent = nullptr);
    QString bundleIdentifier() const { return m_bundleIdentifier; }
    void setBundleIdentifier(const QString &identifier) { m_bundleIdentifier = identifier; }
    Q_INVOKABLE virtual void updateViews() {}

private:
    QString m_bundleIdentifier;
};
