#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVPreferencesForModules.h"
#include "PLVCommon/linux/PLVPowerSupply.h"
#include "PLVCommon/panels/TQTodayStandAloneViewController.h"
#include "PLVCommon/panels/TQView.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVDispatch.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/platform/PLVPlist.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"
#include "support/PLVTest.h"

#include <QDir>
#include <QPushButton>
#include <QRadioButton>

#include <gtest/gtest.h>

namespace {

const QString kTestModuleId = QStringLiteral("com.tallowcrest.test.module");

// The host's side: where the plug-ins are and which one to show.
class Host : public TQTodayStandAloneViewController
{
public:
    Host(QStringList folders, QString plugin) : m_folders(std::move(folders)), m_plugin(std::move(plugin)) {}
    QStringList plugInsFolders() const override { return m_folders; }
    QString bundlePluginName() const override { return m_plugin; }
    int subclassUpdates = 0;
    void updateExpandedStatusSubclass() override { ++subclassUpdates; }

private:
    QStringList m_folders;
    QString m_plugin;
};

// A copy of the test module at folder/sub/TestModule.plvbundle3, with extra Info keys.
QString placeModule(const QString &folder, const QString &sub, const QVariantMap &info = {})
{
    const QString path = folder + QLatin1Char('/') + sub + QStringLiteral("/TestModule.plvbundle3");
    EXPECT_TRUE(plvtest::copyTree(QStringLiteral(PLV_TEST_BUNDLES_DIR "/TestModule.plvbundle3"), path));
    const QString plist = path + QStringLiteral("/Contents/Info.plist");
    QVariantMap dict = PLVPlist::readDictionary(plist).toMap();
    for (auto it = info.begin(); it != info.end(); ++it)
        dict.insert(it.key(), it.value());
    EXPECT_TRUE(PLVPlist::writeFile(plist, dict));
    return path;
}

QString loadedModulePath(const TQTodayStandAloneViewController &c)
{
    // The bundle whose code the module's controller comes from.
    const auto controller = c.modules()->value(c.moduleBundleIdentifier());
    PLVBundle *b = controller ? PLVBundle::bundleForClass(controller->metaObject()) : nullptr;
    return b ? QDir(b->bundlePath()).canonicalPath() : QString();
}

TEST(TodayController, LoadsTheFirstMatchingBundleThisMachineAccepts)
{
    plvtest::TempGroupContainer group;
    QTemporaryDir plugins;
    placeModule(plugins.path(), QStringLiteral("a"), {{QStringLiteral("PLVMacbookOnly"), 1}});
    const QString b = placeModule(plugins.path(), QStringLiteral("b/deeper"));
    placeModule(plugins.path(), QStringLiteral("c"));

    Host host({plugins.path()}, QStringLiteral("TestModule"));
    host.view();
    ASSERT_EQ(host.moduleBundleIdentifier(), kTestModuleId) << host.moduleProblem().toStdString();
    const QString expected = PLVPowerSupply::hasSystemBattery()
                                 ? QDir(plugins.path() + QStringLiteral("/a/TestModule.plvbundle3")).canonicalPath()
                                 : QDir(b).canonicalPath();
    EXPECT_EQ(loadedModulePath(host), expected);
    EXPECT_EQ(host.modules()->keys(), QStringList{kTestModuleId});
    EXPECT_TRUE(host.moduleProblem().isEmpty());
    // Compact by default: the compact view fills the container.
    EXPECT_EQ(host.currentStatusbarTodayView(), host.statusbarTodayCompactView());
    EXPECT_EQ(host.statusbarTodayCompactView()->parentWidget(), host.containerView());
    EXPECT_TRUE(host.btnCompact()->isChecked());
}

TEST(TodayController, WithoutAUsableModuleTheContainerStaysEmptyAndSaysWhy)
{
    plvtest::TempGroupContainer group;
    QTemporaryDir plugins;
    placeModule(plugins.path(), QStringLiteral("x"));
    // A bundle whose code cannot be loaded.
    const QString broken = plugins.path() + QStringLiteral("/Broken.plvbundle3/Contents");
    QDir().mkpath(broken + QStringLiteral("/Linux"));
    PLVPlist::writeFile(broken + QStringLiteral("/Info.plist"),
                        QVariantMap{{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.broken")},
                                    {QStringLiteral("CFBundleExecutable"), QStringLiteral("libBroken.so")},
                                    {QStringLiteral("NSPrincipalClass"), QStringLiteral("Nothing")}});
    plvtest::writeFile(broken + QStringLiteral("/Linux/libBroken.so"), "not an ELF file");

    for (const QString &plugin : {QString(), QStringLiteral("Missing"), QStringLiteral("Broken")}) {
        Host host({plugins.path()}, plugin);
        host.view();
        EXPECT_TRUE(host.moduleBundleIdentifier().isEmpty()) << plugin.toStdString();
        EXPECT_EQ(host.modules()->count(), 0);
        EXPECT_FALSE(host.moduleProblem().isEmpty());
        EXPECT_TRUE(host.containerView()->findChildren<QWidget *>().isEmpty());
        qint64 result = -1;
        host.widgetPerformUpdateWithCompletionHandler([&](qint64 r) { result = r; });
        EXPECT_EQ(result, 0);
        EXPECT_EQ(host.viewTypeToDisplay(), 0);
    }
}

TEST(TodayController, ViewTypeIsShownCheckedAndRemembered)
{
    plvtest::TempGroupContainer group;
    QTemporaryDir plugins;
    placeModule(plugins.path(), QStringLiteral("m"));
    {
        Host host({plugins.path()}, QStringLiteral("TestModule"));
        host.view();
        host.setViewTypeToDisplay(2);
        EXPECT_EQ(host.currentStatusbarTodayView(), host.statusbarTodayStandAloneView());
        EXPECT_EQ(host.statusbarTodayStandAloneView()->parentWidget(), host.containerView());
        EXPECT_EQ(host.statusbarTodayCompactView()->parentWidget(), nullptr);
        EXPECT_TRUE(host.btnExpanded()->isChecked());
        EXPECT_FALSE(host.btnCompact()->isChecked());
        // Only the shown view is tied to the container.
        EXPECT_TRUE(PLVLayoutConstraint::constraintsAffecting(host.statusbarTodayCompactView()).isEmpty());
        EXPECT_EQ(PLVLayoutConstraint::constraintsAffecting(host.statusbarTodayStandAloneView()).size(), 4);

        host.btnExpanded()->click(); // the radio button's action saves the choice
        EXPECT_EQ(PLVPreferencesForModules::standardUserDefaults()->objectForKey(QStringLiteral("todayWidget"), kTestModuleId).toLongLong(), 1);
    }
    Host again({plugins.path()}, QStringLiteral("TestModule"));
    again.view();
    EXPECT_EQ(again.viewTypeToDisplay(), 1);
    EXPECT_EQ(again.currentStatusbarTodayView(), again.statusbarTodayStandAloneView());
    again.btnCompact()->click();
    EXPECT_EQ(again.currentStatusbarTodayView(), again.statusbarTodayCompactView());
    EXPECT_EQ(PLVPreferencesForModules::standardUserDefaults()->objectForKey(QStringLiteral("todayWidget"), kTestModuleId).toLongLong(), 0);
}

TEST(TodayController, ShowMoreFlipsWritesAndTheBarCollapsesForGood)
{
    plvtest::TempGroupContainer group;
    Host host({}, QString());
    QWidget *root = host.view();
    root->resize(240, 300);
    EXPECT_EQ(host.subclassUpdates, 1); // from viewDidLoad
    EXPECT_EQ(host.btnShowMore()->text(), QStringLiteral("Show More"));

    auto stored = [] { return UserDefaultsExtras::appUserDefaults().objectForKey(QStringLiteral("todayShowMoreGeneric")); };
    host.btnShowMore()->click();
    EXPECT_TRUE(host.isTodayExpanded());
    EXPECT_EQ(host.btnShowMore()->text(), QStringLiteral("Show Less"));
    EXPECT_FALSE(stored().isValid()); // written on the main queue, after the action returned
    ASSERT_TRUE(plvtest::waitUntil([&] { return stored().toLongLong() == 1; }));
    host.btnShowMore()->click();
    EXPECT_FALSE(host.isTodayExpanded());
    ASSERT_TRUE(plvtest::waitUntil([&] { return stored().isValid() && stored().toLongLong() == 0; }));
    EXPECT_EQ(host.subclassUpdates, 3);

    // The geometry: container above a 32-point bar; the host's container height sets the total.
    host.containerHeight()->setConstant(100);
    host.containerHeight()->setActive(true);
    PLVConstraintLayout *layout = PLVConstraintLayout::forView(root);
    EXPECT_EQ(layout->fittingSize(), QSize(240, 132));
    PLVConstraintLayout::layoutSubtreeIfNeeded(root);
    QWidget *bar = host.btnShowMore()->parentWidget();
    EXPECT_EQ(bar->height(), 32);
    EXPECT_EQ(bar->width(), 240);
    host.setIsShowMoreActive(false);
    host.setIsShowMoreActive(true);
    EXPECT_TRUE(host.isShowMoreActive());
    EXPECT_EQ(host.btnShowMoreViewHeightConstraint()->constant(), 0);
    EXPECT_EQ(bar->height(), 0);
    EXPECT_EQ(layout->fittingSize(), QSize(240, 100));

    // A new controller starts from the stored state.
    UserDefaultsExtras::appUserDefaults().setInteger(1, QStringLiteral("todayShowMoreGeneric"));
    Host next({}, QString());
    next.view();
    EXPECT_TRUE(next.isTodayExpanded());
    EXPECT_EQ(next.btnShowMore()->text(), QStringLiteral("Show Less"));

    // The titles come from the framework's table.
    const QLocale saved;
    QLocale::setDefault(QLocale(QStringLiteral("fr_FR")));
    Host french({}, QString());
    french.view();
    QLocale::setDefault(saved);
    EXPECT_EQ(french.btnShowMore()->text(), QStringLiteral("Afficher moins"));
    EXPECT_EQ(french.btnExpanded()->text(), QStringLiteral("Afficher la vue détaillée"));
}

TEST(TodayController, EditingFadesBetweenTheModuleAndThePane)
{
    plvtest::TempGroupContainer group;
    Host host({}, QString());
    host.view()->resize(240, 200);
    EXPECT_TRUE(host.preferenceView()->isHidden());
    EXPECT_TRUE(host.widgetAllowsEditing());
    EXPECT_EQ(host.widgetMarginInsetsForProposedMarginInsets(QMargins(5, 5, 5, 5)), QMargins());

    host.widgetDidBeginEditing();
    EXPECT_FALSE(host.preferenceView()->isHidden());
    EXPECT_FALSE(host.superContainerView()->isHidden()); // hidden only once the fade ends
    ASSERT_TRUE(plvtest::waitUntil([&] { return host.superContainerView()->isHidden(); }));
    EXPECT_EQ(host.preferenceView()->alphaValue(), 1.0);
    EXPECT_EQ(host.superContainerView()->alphaValue(), 0.0);

    host.widgetDidEndEditing();
    EXPECT_FALSE(host.superContainerView()->isHidden());
    ASSERT_TRUE(plvtest::waitUntil([&] { return host.preferenceView()->isHidden(); }));
    EXPECT_EQ(host.superContainerView()->alphaValue(), 1.0);
    EXPECT_EQ(host.preferenceView()->alphaValue(), 0.0);
}

// The monitor's side: it stores a module setting, which tells the other processes.
PLV_TEST_CHILD(storeModuleSetting)
{
    PLVPreferencesForModules::standardUserDefaults()->setObject(args.value(0), QStringLiteral("someKey"), kTestModuleId);
    return 0;
}

TEST(TodayController, RelaysTheMonitorsSettingsChangesUntilItDisappears)
{
    plvtest::TempGroupContainer group;
    Host host({}, QString());
    host.view();
    EXPECT_TRUE(host.isNotifierReady());
    int received = 0;
    QObject receiver;
    PLVNotificationCenter::defaultCenter()->addObserverForName(
        QStringLiteral("PLVTodaySettingsChangedReceived"), nullptr,
        [&](const PLVNotification &) {
            EXPECT_TRUE(PLVDispatch::isMainThread());
            ++received;
        },
        &receiver);

    ASSERT_EQ(plvtest::runChild(QStringLiteral("storeModuleSetting"), {QStringLiteral("one")}).exitCode, 0);
    ASSERT_TRUE(plvtest::waitUntil([&] { return received == 1; }));

    // After it disappears, the relay is gone for good (it is registered once).
    host.viewWillDisappear();
    ASSERT_EQ(plvtest::runChild(QStringLiteral("storeModuleSetting"), {QStringLiteral("two")}).exitCode, 0);
    plvtest::waitUntil([] { return false; }, std::chrono::milliseconds(500));
    EXPECT_EQ(received, 1);
}

} // namespace
