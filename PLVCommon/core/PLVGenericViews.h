#pragma once
// The base classes of a module's views. Concrete drawing lives in the module
// bundles; these give each view the `modelData` it is bound to and its hooks.
#include "PLVCommon/core/PLVGenericModelDataView.h"

#include <QPointer>

class PLVPreferencesForModules;

// The view that stands in the panel's status item.
class PLVGenericStatusbarview : public PLVGenericModelDataView
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVGenericStatusbarview(QWidget *parent = nullptr);
    Q_INVOKABLE virtual void updateView() {}
};

// The compact and expanded forms, in the panel and in the widget.
class PLVGenericStatusbarCompactExpandedView : public PLVGenericModelDataView
{
    Q_OBJECT
    Q_PROPERTY(QObject *delegate READ delegate WRITE setDelegate)
public:
    Q_INVOKABLE explicit PLVGenericStatusbarCompactExpandedView(QWidget *parent = nullptr);

    QObject *delegate() const { return m_delegate.data(); }
    void setDelegate(QObject *delegate) { m_delegate = delegate; }

    Q_INVOKABLE virtual void updateView() {}
    // Drops drawing state; called each time the view leaves its superview.
    Q_INVOKABLE virtual void clearView() {}
    bool isTodayExtention() const;

    void removeFromSuperview() override;

private:
    QPointer<QObject> m_delegate; // not owned
};

// The module's preferences pane.
class PLVGenericPreferencesModuleview : public PLVGenericModelDataView
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVGenericPreferencesModuleview(QWidget *parent = nullptr);
};

// The module's alert-settings pane. It is the delegate of the desktop's
// notification service from the moment it wakes from the interface file, so a
// module decides how its alerts are presented.
class PLVGenericPreferenceNotificationview : public PLVGenericModelDataView
{
    Q_OBJECT
    Q_PROPERTY(QString bundleIdentifier READ bundleIdentifier WRITE setBundleIdentifier)
public:
    Q_INVOKABLE explicit PLVGenericPreferenceNotificationview(QWidget *parent = nullptr);

    PLVPreferencesForModules *plvPreferencesDefault() const { return m_preferences; }
    // Stores the store (not owned), then loadPreferences().
    void setPlvPreferencesDefault(PLVPreferencesForModules *store);
    QString bundleIdentifier() const { return m_bundleIdentifier; }
    void setBundleIdentifier(const QString &identifier) { m_bundleIdentifier = identifier; }

    Q_INVOKABLE virtual void loadPreferences() {}
    Q_INVOKABLE virtual void updateNotificationStatus() {}
    void awakeFromNib() override;

    // Default answer as the notification service's delegate: show everything.
    Q_INVOKABLE virtual bool shouldPresentNotification(const QString &title, const QString &informativeText);

private:
    PLVPreferencesForModules *m_preferences = nullptr;
    QString m_bundleIdentifier;
};
