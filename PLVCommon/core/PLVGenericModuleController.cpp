#include "PLVGenericModuleController.h"

#include "PLVCommon/platform/TQIsTodayExtenstion.h"
#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"

PLV_REGISTER_CLASS(PLVGenericModuleController)

PLVGenericModuleController::PLVGenericModuleController(QObject *parent) : QObject(parent) {}

PLVGenericModuleController::~PLVGenericModuleController() { tearDown(); }

void PLVGenericModuleController::destroy(PLVGenericModuleController *controller)
{
    if (!controller)
        return;
    controller->tearDown();
    delete controller;
}

void PLVGenericModuleController::tearDown()
{
    if (m_tornDown)
        return;
    m_tornDown = true;
    PLVNotificationCenter::defaultCenter()->removeObserver(this);
    if (m_moduleUsed == 0)
        unbindVariables();
    // Read again: unbinding may have changed the variant.
    if (m_moduleUsed == 1)
        unbindVariablesNCApp();
}

void PLVGenericModuleController::init()
{
    const PLVBundle *bundle = PLVBundle::bundleForClass(metaObject());
    m_bundleIdentifier = bundle ? bundle->bundleIdentifier() : QString();
    m_model = qobject_cast<PLVGenericModuleModel *>(PLVClassRegistry::createInstance(modelObjClass()));
    if (m_model)
        m_model->setParent(this);
    m_notification = PLVClassRegistry::createInstance(notificationObjClass());
    if (m_notification)
        m_notification->setParent(this);
    registerNotification();
}

const QMetaObject *PLVGenericModuleController::viewControllerClass() const { return &PLVViewController::staticMetaObject; }
const QMetaObject *PLVGenericModuleController::ncViewControllerClass() const { return &PLVViewController::staticMetaObject; }
const QMetaObject *PLVGenericModuleController::modelObjClass() const { return &PLVGenericModuleModel::staticMetaObject; }
const QMetaObject *PLVGenericModuleController::notificationObjClass() const { return &PLVGenericNotification::staticMetaObject; }
QString PLVGenericModuleController::moduleName() const { return QStringLiteral("Generic"); }

// The interface file named after the class, from the module's own bundle.
PLVViewController *PLVGenericModuleController::makeViewController(const QMetaObject *cls)
{
    auto *vc = qobject_cast<PLVViewController *>(PLVClassRegistry::createInstance(cls));
    if (!vc)
        return nullptr;
    vc->setParent(this);
    vc->setNibName(QString::fromLatin1(cls->className()), PLVBundle::bundleWithIdentifier(m_bundleIdentifier));
    if (!vc->nibBundle())
        vc->setNibName(QString::fromLatin1(cls->className()), PLVBundle::bundleForClass(cls));
    if (vc->metaObject()->indexOfProperty("bundleIdentifier") >= 0)
        vc->setProperty("bundleIdentifier", m_bundleIdentifier);
    return vc;
}

// Both variants: a fresh view controller from its interface file, views
// loaded before the first update, then bound.
void PLVGenericModuleController::setUpVariant(QPointer<PLVViewController> &slot, const QMetaObject *cls)
{
    delete slot.data();
    slot = makeViewController(cls);
    if (slot)
        slot->loadView();
}

void PLVGenericModuleController::initMainApp()
{
    setUpVariant(m_viewcontroller, viewControllerClass());
    bindVariables();
    m_moduleUsed = 0;
}

void PLVGenericModuleController::initNCApp()
{
    setUpVariant(m_ncviewcontroller, ncViewControllerClass());
    bindVariablesNCApp();
    m_moduleUsed = 1;
}

void PLVGenericModuleController::setPlvPreferencesDefault(PLVPreferencesForModules *store)
{
    m_preferences = store;
    if (PLVGenericViewController *vc = genericViewController())
        vc->setPlvPreferencesDefault(store);
}

bool PLVGenericModuleController::isTodayExtention() const { return TQIsTodayExtenstion::isTodayExtention(); }

void PLVGenericModuleController::bindVariables()
{
    if (m_viewcontroller && m_model)
        PLVBinding::bind(m_viewcontroller, "modelData", m_model, QStringLiteral("modelData"));
}

void PLVGenericModuleController::unbindVariables()
{
    if (m_viewcontroller)
        PLVBinding::unbind(m_viewcontroller, "modelData");
}

void PLVGenericModuleController::notificationInforModelOfVisibleViews(QObject *)
{
    if (!m_model)
        return;
    m_model->setIsNotificationCenterViewVisible(true);
    m_model->setIsStatusCompactViewVisible(true);
    m_model->setIsStatusExpandedViewVisible(true);
    m_model->setIsStatusViewVisible(true);
}

PLVGenericViewController *PLVGenericModuleController::genericViewController() const
{
    return qobject_cast<PLVGenericViewController *>(m_viewcontroller);
}

#define PLV_FORWARD(getter, Type, outlet)                                                                       \
    Type *PLVGenericModuleController::getter() const                                                            \
    {                                                                                                           \
        const PLVGenericViewController *vc = genericViewController();                                           \
        return vc ? vc->outlet() : nullptr;                                                                     \
    }
PLV_FORWARD(statusbarView, PLVGenericStatusbarview, statusbarview)
PLV_FORWARD(statusbarCombinedView, PLVGenericStatusbarCompactExpandedView, statusbarcompactview)
PLV_FORWARD(statusbarStandAloneView, PLVGenericStatusbarCompactExpandedView, statusbarExpandedview)
PLV_FORWARD(statusbarTodayStandAloneView, PLVGenericStatusbarCompactExpandedView, statusbarTodayExpandedview)
PLV_FORWARD(statusbarTodayCompactView, PLVGenericStatusbarCompactExpandedView, statusbarTodayCompactview)
PLV_FORWARD(statusbarTodayMiniView, PLVGenericStatusbarCompactExpandedView, statusbarTodayMiniview)
PLV_FORWARD(statusbarTodayMiniTop5View, PLVGenericStatusbarCompactExpandedView, statusbarTodayMiniTop5view)
PLV_FORWARD(statusbarTodayOverviewView, PLVView, statusbarTodayOverviewview)
PLV_FORWARD(preferencesModuleView, PLVGenericPreferencesModuleview, preferencesview)
PLV_FORWARD(preferenceNotificationView, PLVGenericPreferenceNotificationview, preferenceNotificationview)
#undef PLV_FORWARD

QWidget *PLVGenericModuleController::notificationCenterView() const
{
    return m_ncviewcontroller ? m_ncviewcontroller->view() : nullptr;
}

QString PLVGenericModuleController::PLVLoc(const QString &key) const { return PLVLocalizedStringForClass(metaObject(), key); }
