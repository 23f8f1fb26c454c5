#include "TQTodayStandAloneViewController.h"

#include "TQAnimator.h"
#include "TQView.h"
#include "PLVCommon/core/PLVDisplaynameForModules.h"
#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVIconsForModules.h"
#include "PLVCommon/core/PLVPreferencesForModules.h"
#include "PLVCommon/core/PLVTimer.h"
#include "PLVCommon/linux/PLVPowerSupply.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVDispatch.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/TQGroupNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"

#include <QDir>
#include <QPushButton>
#include <QRadioButton>

PLV_REGISTER_CLASS(TQTodayStandAloneViewController)

namespace {

using C = PLVLayoutConstraint;
const QString kBundleExtension = QStringLiteral("plvbundle3");

// Depth-first, by name at each level, so that "the first match" means the same thing on every machine.
void collectBundles(const QString &folder, const QString &wanted, QStringList &out, int depth = 0)
{
    if (depth > 8)
        return;
    const QFileInfoList entries =
        QDir(folder).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name);
    for (const QFileInfo &entry : entries) {
        if (entry.fileName().endsWith(QLatin1Char('.') + kBundleExtension)) {
            if (entry.fileName() == wanted)
                out << entry.filePath();
            continue; // a bundle's insides are not plug-ins
        }
        collectBundles(entry.filePath(), wanted, out, depth + 1);
    }
}

} // namespace

TQTodayStandAloneViewController::TQTodayStandAloneViewController(QObject *parent) : PLVViewController(parent) {}

TQTodayStandAloneViewController::~TQTodayStandAloneViewController()
{
    unbindVariables();
    PLVNotificationCenter::defaultCenter()->removeObserver(this);
    if (m_isNotifierReady)
        TQGroupNotificationCenter::defaultCenter()->removeObserver(this);
    // The module's views stand in our tree: they go with it, before their module.
    if (m_rootView && !m_rootView->parentWidget())
        delete m_rootView;
    delete m_generalTimer;
    delete m_modules;
    qDeleteAll(m_extraBundles);
}

QStringList TQTodayStandAloneViewController::plugInsFolders() const
{
    PLVBundle *bundle = bundlePlugIns();
    return bundle ? QStringList{bundle->builtInPlugInsPath()} : QStringList();
}

QString TQTodayStandAloneViewController::bundlePluginName() const
{
    PLVBundle *main = PLVBundle::mainBundle();
    return main ? main->objectForInfoDictionaryKey(QStringLiteral("PLVBundlePlugin")).toString() : QString();
}

void TQTodayStandAloneViewController::widgetPerformUpdateWithCompletionHandler(
    const std::function<void(qint64)> &completionHandler)
{
    // The module's own timer drives updates: there is always new data.
    if (completionHandler)
        completionHandler(0);
}

void TQTodayStandAloneViewController::widgetDidBeginEditing()
{
    if (!m_preferenceView || !m_superContainerView)
        return;
    m_preferenceView->setHidden(false);
    m_superContainerView->setAlphaValue(1.0);
    QPointer<TQView> content = m_superContainerView.data();
    TQAnimator::animateWithDuration(
        0.25,
        [this] {
            TQAnimator::animatorProxyFor(m_preferenceView).setValue("alphaValue", 1.0);
            TQAnimator::animatorProxyFor(m_superContainerView).setValue("alphaValue", 0.0);
        },
        [content] {
            if (content)
                content->setHidden(true);
        });
}

void TQTodayStandAloneViewController::widgetDidEndEditing()
{
    if (!m_preferenceView || !m_superContainerView)
        return;
    m_superContainerView->setHidden(false);
    m_preferenceView->setAlphaValue(1.0);
    QPointer<TQView> pane = m_preferenceView.data();
    TQAnimator::animateWithDuration(
        0.25,
        [this] {
            TQAnimator::animatorProxyFor(m_preferenceView).setValue("alphaValue", 0.0);
            TQAnimator::animatorProxyFor(m_superContainerView).setValue("alphaValue", 1.0);
        },
        [pane] {
            if (pane)
                pane->setHidden(true);
        });
}

void TQTodayStandAloneViewController::loadView()
{
    auto *root = new TQView;
    root->setObjectName(QStringLiteral("todayRootView"));
    m_rootView = root;
    setView(root);
    viewDidLoad();
}

void TQTodayStandAloneViewController::viewDidLoad()
{
    prepareViewClockContent();
    if (!m_isNotifierReady)
        TQGroupNotificationCenter::defaultCenter()->addObserver(
            this, "settingsDidChange", PLVPreferencesForModules::widgetSettingsDidChangeNotification);
    m_isNotifierReady = true;
    m_isTodayExpanded = getShowMoreDefaults() != 0;
    updateExpandedStatus();
}

void TQTodayStandAloneViewController::viewWillDisappear()
{
    PLVNotificationCenter::defaultCenter()->removeObserver(this);
    TQGroupNotificationCenter::defaultCenter()->removeObserver(this);
}

void TQTodayStandAloneViewController::prepareViewClockContent()
{
    m_extraBundles.clear();
    preparePrefPane();
    prepareSubviews();
    m_modules = new PLVModulesDictionary;
    m_iconsForModules = PLVIconsForModules::icons();
    m_displaynameForModules = PLVDisplaynameForModules::displayname();
    m_isItMacbook = isItaComputerWithBattery();
    m_generalTimer = new PLVTimer;
    m_preferencesForModules = PLVPreferencesForModules::standardUserDefaults();
    bindVariables();
    m_generalTimer->init();
    loadSpecialBundles();
    loadBundles();
    if (!m_moduleBundleIdentifier.isEmpty())
        loadDisplayPreferences();
}

void TQTodayStandAloneViewController::preparePrefPane() { addPreferenceView(); }

void TQTodayStandAloneViewController::addPreferenceView()
{
    QWidget *root = m_rootView;
    auto *pane = new TQView(root);
    pane->setObjectName(QStringLiteral("preferenceView"));
    m_preferenceView = pane;
    TQView::addEdgeToEdgeConstraintsForSuperview(root, pane);
    pane->setHidden(true);
    pane->setAlphaValue(0.0);

    auto *compact = new QRadioButton(PLVLoc(QStringLiteral("Show Compact View")), pane);
    compact->setObjectName(QStringLiteral("btnCompact"));
    connect(compact, &QAbstractButton::clicked, this, [this, compact] { changeViewType(compact); });
    m_btnCompact = compact;
    TQView::addEdgeConstraintWithConstant(C::Top, pane, compact, 20);
    TQView::addEdgeConstraint(C::CenterX, pane, compact);

    auto *expanded = new QRadioButton(PLVLoc(QStringLiteral("Show Expanded View")), pane);
    expanded->setObjectName(QStringLiteral("btnExpanded"));
    connect(expanded, &QAbstractButton::clicked, this, [this, expanded] { changeViewType(expanded); });
    m_btnExpanded = expanded;
    C::constraintWithItem(expanded, C::Top, C::Equal, compact, C::Bottom, 1.0, 6.0)->setActive(true);
    C::constraintWithItem(expanded, C::Leading, C::Equal, compact, C::Leading, 1.0, 0.0)->setActive(true);
}

TQView *TQTodayStandAloneViewController::showMoreView()
{
    auto *bar = new TQView;
    bar->setObjectName(QStringLiteral("showMoreBar"));
    auto *button = new QPushButton(PLVLoc(QStringLiteral("Show More")), bar);
    button->setObjectName(QStringLiteral("btnShowMore"));
    button->setFlat(true); // borderless
    connect(button, &QAbstractButton::clicked, this, [this, button] { showMoreButton(button); });
    m_btnShowMore = button;
    return bar;
}

void TQTodayStandAloneViewController::prepareSubviews()
{
    QWidget *root = m_rootView;
    auto *super = new TQView(root);
    super->setObjectName(QStringLiteral("superContainerView"));
    m_superContainerView = super;
    TQView::addEdgeToEdgeConstraintsForSuperview(root, super);

    auto *container = new TQView(super);
    container->setObjectName(QStringLiteral("containerView"));
    m_containerView = container;
    for (int a : {C::Leading, C::Trailing, C::Top})
        TQView::addEdgeConstraint(a, super, container);
    m_containerHeight = TQView::edgeConstraint(C::Height, container, 0.0);

    TQView *bar = showMoreView();
    super->addSubview(bar);
    for (int a : {C::Leading, C::Trailing, C::Bottom})
        TQView::addEdgeConstraint(a, super, bar);
    m_btnShowMoreViewHeightConstraint = TQView::edgeConstraint(C::Height, bar, 32.0);
    m_btnShowMoreViewHeightConstraint->setActive(true);
    C::constraintWithItem(container, C::Bottom, C::Equal, bar, C::Top, 1.0, 0.0)->setActive(true);

    if (QPushButton *button = m_btnShowMore) {
        TQView::addEdgeConstraintWithConstant(C::CenterY, bar, button, -2);
        TQView::addEdgeConstraintWithConstant(C::Leading, bar, button, 6);
    }
}

QStringList TQTodayStandAloneViewController::candidateBundlePaths(const QString &wantedName) const
{
    QStringList paths;
    for (const QString &folder : plugInsFolders())
        collectBundles(folder, wantedName, paths);
    return paths;
}

void TQTodayStandAloneViewController::loadBundles()
{
    const QString plugin = bundlePluginName();
    if (plugin.isEmpty()) {
        m_moduleProblem = QStringLiteral("no module is configured");
        return;
    }
    const QString wanted = plugin + QLatin1Char('.') + kBundleExtension;
    const QStringList candidates = candidateBundlePaths(wanted);
    if (candidates.isEmpty()) {
        m_moduleProblem = QStringLiteral("no module bundle \"%1\" in %2")
                              .arg(wanted, plugInsFolders().join(QStringLiteral(", ")));
        return;
    }
    QStringList why;
    for (const QString &path : candidates) {
        PLVBundle *bundle = PLVBundle::bundleWithPath(path);
        if (!bundle)
            continue;
        if (!isItForThisPlatform(bundle)) {
            why << path + QStringLiteral(": only for computers with a battery");
            continue;
        }
        if (!bundle->load()) {
            why << path + QStringLiteral(": ") + bundle->loadError();
            continue;
        }
        addBundle(bundle);
        if (!m_moduleBundleIdentifier.isEmpty()) {
            m_moduleProblem.clear();
            return;
        }
        why << path + QStringLiteral(": not a module");
        break;
    }
    m_moduleProblem = why.join(QStringLiteral("; "));
}

void TQTodayStandAloneViewController::loadSpecialBundles()
{
    const QMetaObject *loaderClass = PLVClassRegistry::classNamed(QStringLiteral("PLVPluginsLoader"));
    if (!loaderClass)
        return;
    std::unique_ptr<QObject> loader(PLVClassRegistry::createInstance(loaderClass));
    QString special;
    if (loader && PLVClassRegistry::respondsToSelector(loader.get(), "specialBundle")
        && QMetaObject::invokeMethod(loader.get(), "specialBundle", Q_RETURN_ARG(QString, special)) && !special.isEmpty())
        if (PLVBundle *bundle = PLVBundle::bundleWithPath(special); bundle && bundle->load())
            addBundle(bundle);
}

bool TQTodayStandAloneViewController::isItForThisPlatform(PLVBundle *bundle) const
{
    if (!bundle)
        return false;
    return bundle->objectForInfoDictionaryKey(QStringLiteral("PLVMacbookOnly")).toLongLong() == 0 || m_isItMacbook;
}

bool TQTodayStandAloneViewController::isItaComputerWithBattery() const { return PLVPowerSupply::hasSystemBattery(); }

void TQTodayStandAloneViewController::addBundle(PLVBundle *bundle)
{
    const QMetaObject *principal = bundle ? bundle->principalClass() : nullptr;
    QObject *instance = principal ? PLVClassRegistry::createInstance(principal) : nullptr;
    if (!instance)
        return;
    auto *controller = qobject_cast<PLVGenericModuleController *>(instance);
    if (!controller || !PLVClassRegistry::respondsToSelector(instance, "statusbarView")) {
        m_extraBundles.append(instance);
        return;
    }
    const QString id = bundle->bundleIdentifier();
    controller->initMainApp();
    controller->setPlvPreferencesDefault(m_preferencesForModules);
    m_moduleBundleIdentifier = id;
    m_modules->insert(id, controller);
    m_generalTimer->addModule(id);
    m_iconsForModules->addIconForBundleIdentifier(id);
    m_displaynameForModules->addDisplaynameForBundleIdentifier(id);
    m_statusbarTodayStandAloneView = controller->statusbarTodayStandAloneView();
    m_statusbarTodayCompactView = controller->statusbarTodayCompactView();
}

QWidget *TQTodayStandAloneViewController::currentStatusbarTodayView() const
{
    return m_viewTypeToDisplay != 0 ? m_statusbarTodayStandAloneView.data() : m_statusbarTodayCompactView.data();
}

void TQTodayStandAloneViewController::changeDisplayView()
{
    for (QWidget *v : {m_statusbarTodayStandAloneView.data(), m_statusbarTodayCompactView.data()}) {
        if (!v)
            continue;
        if (auto *plv = qobject_cast<PLVView *>(v))
            plv->removeFromSuperview();
        else if (v->parentWidget()) {
            v->hide();
            v->setParent(nullptr);
        }
    }
    QWidget *current = currentStatusbarTodayView();
    if (current && m_containerView) {
        m_containerView->addSubview(current);
        for (int a : {C::Leading, C::Trailing, C::Top})
            TQView::addEdgeConstraint(a, m_containerView, current);
        // Low enough that the container's own height wins.
        TQView::addEdgeConstraintWithPriority(C::Bottom, m_containerView, current, 750);
    }
    layoutRootNow();
}

void TQTodayStandAloneViewController::changeViewType(QObject *)
{
    setViewTypeToDisplay(m_btnExpanded && m_btnExpanded->isChecked() ? 1 : 0);
    savePreferenceViewType();
}

void TQTodayStandAloneViewController::setViewTypeToDisplay(qint64 type)
{
    m_viewTypeToDisplay = type;
    if (m_btnCompact && m_btnExpanded) {
        // Set the one turning on: radio buttons of one pane exclude each other.
        (type != 0 ? m_btnExpanded : m_btnCompact)->setChecked(true);
        (type != 0 ? m_btnCompact : m_btnExpanded)->setChecked(false);
    }
    changeDisplayView();
}

void TQTodayStandAloneViewController::savePreferenceViewType()
{
    if (m_preferencesForModules && !m_moduleBundleIdentifier.isEmpty())
        m_preferencesForModules->setObject(QVariant::fromValue<qint64>(m_viewTypeToDisplay), QStringLiteral("todayWidget"),
                                           m_moduleBundleIdentifier);
}

qint64 TQTodayStandAloneViewController::preferenceViewType() const
{
    if (!m_preferencesForModules || m_moduleBundleIdentifier.isEmpty())
        return 0;
    bool ok = false;
    const qint64 type =
        m_preferencesForModules->objectForKey(QStringLiteral("todayWidget"), m_moduleBundleIdentifier).toLongLong(&ok);
    return ok ? type : 0;
}

void TQTodayStandAloneViewController::loadDisplayPreferences() { setViewTypeToDisplay(preferenceViewType()); }

void TQTodayStandAloneViewController::bindVariables()
{
    if (m_generalTimer)
        m_generalTimer->setModules(m_modules);
}

void TQTodayStandAloneViewController::unbindVariables()
{
    if (m_generalTimer)
        m_generalTimer->setModules(nullptr);
}

void TQTodayStandAloneViewController::showMoreButton(QObject *)
{
    m_isTodayExpanded = !m_isTodayExpanded;
    updateExpandedStatus();
    saveShowMoreDefaults();
}

void TQTodayStandAloneViewController::updateExpandedStatus()
{
    if (m_btnShowMore)
        m_btnShowMore->setText(PLVLoc(m_isTodayExpanded ? QStringLiteral("Show Less") : QStringLiteral("Show More")));
    updateExpandedStatusSubclass();
}

void TQTodayStandAloneViewController::setIsShowMoreActive(bool active)
{
    m_isShowMoreActive = active;
    // Only collapses: turning it back on leaves the bar's height as it is.
    if (!active && m_btnShowMoreViewHeightConstraint)
        m_btnShowMoreViewHeightConstraint->setConstant(0);
    layoutRootNow();
}

qint64 TQTodayStandAloneViewController::getShowMoreDefaults() const
{
    return UserDefaultsExtras::appUserDefaults().integerForKey(preferenceKey());
}

void TQTodayStandAloneViewController::saveShowMoreDefaults()
{
    const qint64 value = m_isTodayExpanded ? 1 : 0;
    const QString key = preferenceKey();
    // The button's action returns at once; the write follows on the main queue.
    PLVDispatch::asyncMain([value, key] {
        PLVUserDefaults defaults = UserDefaultsExtras::appUserDefaults();
        defaults.setInteger(value, key);
        defaults.synchronize();
    });
}

void TQTodayStandAloneViewController::settingsDidChange()
{
    PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("PLVTodaySettingsChangedReceived"));
}

QString TQTodayStandAloneViewController::PLVLoc(const QString &key) const
{
    return PLVLocalizedStringForClass(&TQTodayStandAloneViewController::staticMetaObject, key);
}

void TQTodayStandAloneViewController::layoutRootNow()
{
    if (m_rootView)
        PLVConstraintLayout::layoutSubtreeIfNeeded(m_rootView);
}
