#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVModulesDictionary.h"
#include "PLVCommon/core/PLVPreferencesForModules.h"
#include "PLVCommon/core/PLVTimer.h"
#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"
#include "support/PLVTest.h"

#include <QApplication>
#include <QLabel>

#include <gtest/gtest.h>

#include <cstdio>

using plvtest::waitUntil;

namespace {

const QString kTestModule = QStringLiteral(PLV_TEST_BUNDLES_DIR "/TestModule.plvbundle3");
const QString kTestModuleId = QStringLiteral("com.tallowcrest.test.module");

// What a host does with a bundle: load it and create its principal class.
PLVGenericModuleController *loadTestModule()
{
    PLVBundle *bundle = PLVBundle::bundleWithPath(kTestModule);
    if (!bundle)
        return nullptr;
    QObject *object = PLVClassRegistry::createInstance(bundle->principalClass());
    if (!PLVClassRegistry::respondsToSelector(object, "statusbarView")) {
        delete object;
        return nullptr;
    }
    return qobject_cast<PLVGenericModuleController *>(object);
}

int intProperty(const QObject *o, const char *name) { return o ? o->property(name).toInt() : -1; }

PLVModelData modelDataOf(const QObject *o) { return o ? o->property("modelData").value<PLVModelData>() : PLVModelData(); }

class WidgetHostApplication : public QApplication
{
    Q_OBJECT
public:
    using QApplication::QApplication;
};

// A probe for the controller's own tear-down.
class TeardownProbe : public PLVGenericModuleController
{
public:
    QStringList *log = nullptr;
    void unbindVariablesNCApp() override { log->append(QStringLiteral("unbindNC")); }
    void registerNotification() override { registered = true; }
    bool registered = false;
};

} // namespace

TEST(ModuleFramework, ABundleOnDiskRunsThroughTheTimerIntoItsViews)
{
    plvtest::TempGroupContainer container;
    UserDefaultsExtras::updateThePrefDicoWithDouble(0.03, QStringLiteral("plvSlideInterval"));

    PLVGenericModuleController *controller = loadTestModule();
    ASSERT_NE(controller, nullptr);
    EXPECT_EQ(controller->bundleIdentifier(), kTestModuleId);
    EXPECT_EQ(controller->moduleName(), QStringLiteral("Test"));
    ASSERT_NE(controller->modulemodelobj(), nullptr);
    EXPECT_STREQ(controller->modulemodelobj()->metaObject()->className(), "TestModuleModel");
    EXPECT_FALSE(controller->modulemodelobj()->modelData().isNull());
    EXPECT_EQ(controller->statusbarView(), nullptr) << "no view before set-up";

    controller->initMainApp();
    EXPECT_EQ(controller->moduleUsed(), 0);
    PLVViewController *vc = controller->viewcontroller();
    ASSERT_NE(vc, nullptr);
    EXPECT_STREQ(vc->metaObject()->className(), "TestModuleViewController");
    ASSERT_NE(controller->statusbarView(), nullptr);
    EXPECT_STREQ(controller->statusbarView()->metaObject()->className(), "TestStatusView");
    EXPECT_EQ(controller->statusbarCombinedView(), qobject_cast<PLVGenericViewController *>(vc)->statusbarcompactview());
    EXPECT_EQ(controller->statusbarStandAloneView(), qobject_cast<PLVGenericViewController *>(vc)->statusbarExpandedview());
    EXPECT_EQ(vc->property("bundleIdentifier").toString(), kTestModuleId);
    EXPECT_NE(vc->property("tickLabel").value<QLabel *>(), nullptr) << "a subclass's own outlet";
    EXPECT_EQ(controller->notificationCenterView(), nullptr);
    EXPECT_EQ(controller->statusbarTodayMiniView(), nullptr) << "absent from the interface file";
    // Application: bindDataModel registers, awakeFromNib registers again.
    EXPECT_EQ(intProperty(vc, "registrations"), 2);

    // One dictionary from the model through the view controller to the application's views.
    const PLVModelData data = controller->modulemodelobj()->modelData();
    EXPECT_EQ(modelDataOf(vc), data);
    EXPECT_EQ(modelDataOf(controller->statusbarView()), data);
    EXPECT_EQ(modelDataOf(controller->statusbarCombinedView()), data);
    EXPECT_EQ(modelDataOf(controller->preferenceNotificationView()), data);
    EXPECT_TRUE(modelDataOf(controller->statusbarTodayStandAloneView()).isNull()) << "widget views stay unbound here";

    PLVModulesDictionary modules;
    modules.insert(kTestModuleId, controller);
    PLVTimer timer;
    timer.setModules(&modules);
    timer.init();
    timer.addModule(kTestModuleId);
    ASSERT_TRUE(waitUntil([&] { return intProperty(controller->statusbarView(), "lastSeenTick") >= 3; }));
    EXPECT_TRUE(controller->statusbarView()->property("viewsOnMainThread").toBool());
    EXPECT_FALSE(data.value(QStringLiteral("modelOnMainThread")).toBool());
    EXPECT_TRUE(vc->property("tickLabel").value<QLabel *>()->text().startsWith(QStringLiteral("tick ")));

    // The model may swap its dictionary: the views follow.
    const PLVModelData replacement = PLVModelData::create();
    replacement.setValue(QStringLiteral("tick"), 1000);
    controller->modulemodelobj()->setModelData(replacement);
    ASSERT_TRUE(waitUntil([&] { return modelDataOf(controller->statusbarView()) == replacement; }));

    timer.endTimer();
    QPointer<PLVViewController> vcGuard(vc);
    modules.remove(kTestModuleId);
    ASSERT_TRUE(waitUntil([&] { return vcGuard.isNull(); })) << "the controller and its view controller go";
}

TEST(ModuleFramework, ControllerSetUpAndTearDownRules)
{
    // Never set up: tear-down unbinds a null view controller harmlessly.
    auto *bare = qobject_cast<PLVGenericModuleController *>(
        PLVClassRegistry::createInstance(&PLVGenericModuleController::staticMetaObject));
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(bare->moduleName(), QStringLiteral("Generic"));
    EXPECT_EQ(bare->viewcontroller(), nullptr);
    EXPECT_EQ(bare->preferencesModuleView(), nullptr);
    EXPECT_EQ(bare->moduleMenuOption(), nullptr);
    EXPECT_STREQ(bare->notificationobj()->metaObject()->className(), "PLVGenericNotification");
    PLVGenericModuleController::destroy(bare);

    // The visibility message sets every flag whatever its argument.
    PLVGenericModuleController *controller = loadTestModule();
    ASSERT_NE(controller, nullptr);
    PLVGenericModuleModel *model = controller->modulemodelobj();
    controller->notificationInforModelOfVisibleViews(nullptr);
    EXPECT_TRUE(model->isStatusViewVisible() && model->isStatusCompactViewVisible()
                && model->isStatusExpandedViewVisible() && model->isNotificationCenterViewVisible());

    // A store given before set-up reaches no view controller.
    PLVPreferencesForModules *store = PLVPreferencesForModules::standardUserDefaults();
    controller->setPlvPreferencesDefault(store);
    controller->initMainApp();
    auto *vc = qobject_cast<PLVGenericViewController *>(controller->viewcontroller());
    ASSERT_NE(vc, nullptr);
    EXPECT_EQ(vc->plvPreferencesDefault(), nullptr);
    EXPECT_EQ(intProperty(vc, "preferenceLoads"), 0);
    controller->setPlvPreferencesDefault(store);
    EXPECT_EQ(vc->plvPreferencesDefault(), store);
    EXPECT_EQ(vc->preferenceNotificationview()->plvPreferencesDefault(), store);
    EXPECT_EQ(vc->preferenceNotificationview()->bundleIdentifier(), kTestModuleId);
    EXPECT_EQ(intProperty(vc, "preferenceLoads"), 1);

    // The widget-host variant: its getter answers, the application's do not.
    controller->initNCApp();
    EXPECT_EQ(controller->moduleUsed(), 1);
    EXPECT_STREQ(controller->ncviewcontroller()->metaObject()->className(), "PLVViewController");
    EXPECT_EQ(controller->notificationCenterView(), nullptr) << "the base view controller has no interface file";

    // Destroyed as the widget variant: its own unbinding hook runs, through the final class.
    QStringList log;
    auto *probe = new TeardownProbe;
    probe->log = &log;
    probe->init();
    EXPECT_TRUE(probe->registered);
    probe->initNCApp();
    PLVGenericModuleController::destroy(probe);
    EXPECT_EQ(log, QStringList{QStringLiteral("unbindNC")});

    PLVGenericModuleController::destroy(controller);
}

TEST(ModuleFramework, ACompactViewTakenOutOfItsSuperviewClearsOnce)
{
    PLVGenericModuleController *controller = loadTestModule();
    ASSERT_NE(controller, nullptr);
    controller->initMainApp();
    PLVGenericStatusbarCompactExpandedView *compact = controller->statusbarCombinedView();
    ASSERT_NE(compact, nullptr);
    ASSERT_NE(compact->parentWidget(), nullptr);
    compact->removeFromSuperview();
    EXPECT_EQ(compact->parentWidget(), nullptr);
    EXPECT_EQ(intProperty(compact, "clears"), 1);
    PLVGenericModuleController::destroy(controller); // also deletes the detached view
}

TEST(ModuleFramework, AMissingInterfaceFileLeavesNullViews)
{
    class NoInterface : public PLVGenericModuleController
    {
    public:
        // A view controller class whose interface file exists nowhere.
        const QMetaObject *viewControllerClass() const override { return &PLVGenericViewController::staticMetaObject; }
    };
    auto *c = new NoInterface;
    c->init();
    c->initMainApp();
    ASSERT_NE(c->viewcontroller(), nullptr);
    EXPECT_EQ(c->viewcontroller()->view(), nullptr);
    EXPECT_EQ(c->statusbarView(), nullptr);
    EXPECT_EQ(c->preferenceNotificationView(), nullptr);
    PLVGenericModuleController::destroy(c);
}

// In the widget host only the widget's views are bound, once the module is set up.
PLV_TEST_CHILD(framework_widget_binding)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    WidgetHostApplication app(plvtest::childArgc, plvtest::childArgv);
    PLVGenericModuleController *controller = loadTestModule();
    if (!controller)
        return 2;
    controller->initMainApp();
    const PLVModelData data = controller->modulemodelobj()->modelData();
    auto *vc = qobject_cast<PLVGenericViewController *>(controller->viewcontroller());
    std::printf("today=%d,%d panel=%d,%d,%d registrations=%d",
                modelDataOf(vc->statusbarTodayExpandedview()) == data, modelDataOf(vc->statusbarTodayCompactview()) == data,
                !modelDataOf(vc->statusbarview()).isNull(), !modelDataOf(vc->statusbarcompactview()).isNull(),
                !modelDataOf(vc->preferenceNotificationview()).isNull(), intProperty(vc, "registrations"));
    PLVGenericModuleController::destroy(controller);
    return 0;
}

TEST(ModuleFramework, TheWidgetHostBindsOnlyTheWidgetViews)
{
    const auto r = plvtest::runChild(QStringLiteral("framework_widget_binding"));
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.out, QByteArray("today=1,1 panel=0,0,0 registrations=1")) << r.err.toStdString();
}

#include "test_module_framework.moc"
