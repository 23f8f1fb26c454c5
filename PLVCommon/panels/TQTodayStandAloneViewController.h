#pragma once
#include "PLVCommon/core/PLVModulesDictionary.h"
#include "PLVCommon/panels/TQView.h"
#include "PLVCommon/platform/PLVLayoutConstraint.h"
#include "PLVCommon/platform/PLVViewController.h"

#include <QMargins>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QStringList>

#include <functional>

class PLVBundle;
class PLVDisplaynameForModules;
class PLVIconsForModules;
class PLVPreferencesForModules;
class PLVTimer;

// The root of the widget window: loads the one module bundle the host names,
// runs that module's update timer, shows its compact or expanded widget view
// above a "Show More"/"Show Less" bar, and offers an editing pane in which the
// user picks the view. It relays the monitor's settings changes
// ("TQWidgetSettingsDidChange" between processes) as the process-local
// "PLVTodaySettingsChangedReceived".
//
// The heights are the concrete host's business: it activates containerHeight,
// sets its constant for each view type and show-more state, and calls
// setIsShowMoreActive(); this class does none of that.
class TQTodayStandAloneViewController : public PLVViewController
{
    Q_OBJECT
    Q_PROPERTY(bool isTodayExpanded READ isTodayExpanded WRITE setIsTodayExpanded)
    Q_PROPERTY(bool isShowMoreActive READ isShowMoreActive)
    Q_PROPERTY(qint64 viewTypeToDisplay READ viewTypeToDisplay WRITE setViewTypeToDisplay)
public:
    Q_INVOKABLE explicit TQTodayStandAloneViewController(QObject *parent = nullptr);
    ~TQTodayStandAloneViewController() override;

    // Hooks for the concrete host.
    // The bundle whose plug-ins folder holds the module bundles (base: none).
    virtual PLVBundle *bundlePlugIns() const { return nullptr; }
    // The folders searched, recursively: the plug-ins folder of bundlePlugIns().
    virtual QStringList plugInsFolders() const;
    // The base name of the module bundle: "PLVBundlePlugin" of the main bundle.
    virtual QString bundlePluginName() const;
    virtual void updateExpandedStatusSubclass() {}
    virtual QString preferenceKey() const { return QStringLiteral("todayShowMoreGeneric"); }

    // Widget host calls.
    void widgetPerformUpdateWithCompletionHandler(const std::function<void(qint64)> &completionHandler);
    QMargins widgetMarginInsetsForProposedMarginInsets(const QMargins &) const { return QMargins(); }
    bool widgetAllowsEditing() const { return true; }
    void widgetDidBeginEditing();
    void widgetDidEndEditing();

    // View controller.
    void loadView() override;
    virtual void viewDidLoad();
    void viewWillDisappear();

    void prepareViewClockContent();
    void preparePrefPane();
    void addPreferenceView();
    void prepareSubviews();
    TQView *showMoreView();
    void loadBundles();
    void loadSpecialBundles();
    bool isItForThisPlatform(PLVBundle *bundle) const;
    virtual void addBundle(PLVBundle *bundle);
    virtual bool isItaComputerWithBattery() const;
    QWidget *currentStatusbarTodayView() const;
    virtual void changeDisplayView();
    Q_INVOKABLE void changeViewType(QObject *sender = nullptr);
    qint64 viewTypeToDisplay() const { return m_viewTypeToDisplay; }
    void setViewTypeToDisplay(qint64 type);
    void savePreferenceViewType();
    qint64 preferenceViewType() const;
    void loadDisplayPreferences();
    void bindVariables();
    void unbindVariables();
    Q_INVOKABLE void showMoreButton(QObject *sender = nullptr);
    void updateExpandedStatus();
    bool isTodayExpanded() const { return m_isTodayExpanded; }
    void setIsTodayExpanded(bool expanded) { m_isTodayExpanded = expanded; }
    bool isShowMoreActive() const { return m_isShowMoreActive; }
    void setIsShowMoreActive(bool active);
    qint64 getShowMoreDefaults() const;
    void saveShowMoreDefaults();
    Q_INVOKABLE void settingsDidChange();
    QString PLVLoc(const QString &key) const;

    // Fields.
    PLVIconsForModules *iconsForModules() const { return m_iconsForModules; }
    PLVDisplaynameForModules *displaynameForModules() const { return m_displaynameForModules; }
    PLVPreferencesForModules *preferencesForModules() const { return m_preferencesForModules; }
    PLVModulesDictionary *modules() const { return m_modules; }
    PLVTimer *generalTimer() const { return m_generalTimer; }
    bool isItMacbook() const { return m_isItMacbook; }
    QString moduleBundleIdentifier() const { return m_moduleBundleIdentifier; }
    bool isNotifierReady() const { return m_isNotifierReady; }
    QList<QObject *> extraBundles() const { return m_extraBundles; }
    QPushButton *btnShowMore() const { return m_btnShowMore; }
    PLVLayoutConstraint *btnShowMoreViewHeightConstraint() const { return m_btnShowMoreViewHeightConstraint; }
    TQView *superContainerView() const { return m_superContainerView; }
    TQView *containerView() const { return m_containerView; }
    QWidget *statusbarTodayStandAloneView() const { return m_statusbarTodayStandAloneView; }
    void setStatusbarTodayStandAloneView(QWidget *view) { m_statusbarTodayStandAloneView = view; }
    QWidget *statusbarTodayCompactView() const { return m_statusbarTodayCompactView; }
    void setStatusbarTodayCompactView(QWidget *view) { m_statusbarTodayCompactView = view; }
    TQView *preferenceView() const { return m_preferenceView; }
    QRadioButton *btnCompact() const { return m_btnCompact; }
    QRadioButton *btnExpanded() const { return m_btnExpanded; }
    PLVLayoutConstraint *containerHeight() const { return m_containerHeight; }

    // Why no module is shown (empty once one is): for the host to tell the user.
    QString moduleProblem() const { return m_moduleProblem; }

private:
    void layoutRootNow();
    QStringList candidateBundlePaths(const QString &wantedName) const;

    PLVIconsForModules *m_iconsForModules = nullptr;
    PLVDisplaynameForModules *m_displaynameForModules = nullptr;
    PLVPreferencesForModules *m_preferencesForModules = nullptr;
    PLVModulesDictionary *m_modules = nullptr;
    PLVTimer *m_generalTimer = nullptr;
    bool m_isItMacbook = false;
    QString m_moduleBundleIdentifier;
    bool m_isNotifierReady = false;
    QList<QObject *> m_extraBundles;
    QPointer<QPushButton> m_btnShowMore;
    QPointer<PLVLayoutConstraint> m_btnShowMoreViewHeightConstraint;
    QPointer<TQView> m_superContainerView;
    bool m_isTodayExpanded = false;
    bool m_isShowMoreActive = false;
    QPointer<TQView> m_containerView;
    QPointer<QWidget> m_statusbarTodayStandAloneView;
    QPointer<QWidget> m_statusbarTodayCompactView;
    qint64 m_viewTypeToDisplay = 0;
    QPointer<TQView> m_preferenceView;
    QPointer<QRadioButton> m_btnCompact;
    QPointer<QRadioButton> m_btnExpanded;
    QPointer<PLVLayoutConstraint> m_containerHeight;
    QPointer<TQView> m_rootView;
    QString m_moduleProblem;
};
