#include "PLVGenericViews.h"

#include "PLVCommon/platform/TQIsTodayExtenstion.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVUserNotificationCenter.h"

PLV_REGISTER_CLASS(PLVGenericStatusbarview)
PLV_REGISTER_CLASS(PLVGenericStatusbarCompactExpandedView)
PLV_REGISTER_CLASS(PLVGenericPreferencesModuleview)
PLV_REGISTER_CLASS(PLVGenericPreferenceNotificationview)

PLVGenericStatusbarview::PLVGenericStatusbarview(QWidget *parent) : PLVGenericModelDataView(parent) {}

PLVGenericStatusbarCompactExpandedView::PLVGenericStatusbarCompactExpandedView(QWidget *parent)
    : PLVGenericModelDataView(parent)
{
}

bool PLVGenericStatusbarCompactExpandedView::isTodayExtention() const { return TQIsTodayExtenstion::isTodayExtention(); }

void PLVGenericStatusbarCompactExpandedView::removeFromSuperview()
{
    PLVGenericModelDataView::removeFromSuperview();
    clearView();
}

PLVGenericPreferencesModuleview::PLVGenericPreferencesModuleview(QWidget *parent) : PLVGenericModelDataView(parent) {}

PLVGenericPreferenceNotificationview::PLVGenericPreferenceNotificationview(QWidget *parent)
    : PLVGenericModelDataView(parent)
{
}

void PLVGenericPreferenceNotificationview::setPlvPreferencesDefault(PLVPreferencesForModules *store)
{
    m_preferences = store;
    loadPreferences();
}

void PLVGenericPreferenceNotificationview::awakeFromNib()
{
    PLVUserNotificationCenter::defaultUserNotificationCenter()->setDelegate(this);
}

bool PLVGenericPreferenceNotificationview::shouldPresentNotification(const QString &, const QString &) { return true; }
