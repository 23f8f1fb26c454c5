// The display-name and icon registries, against module bundles built for the
// tests (tests/bundles/Registry*), and the per-module settings with the
// notification that tells the widget host about them.
#include "support/PLVTest.h"

#include <PLVCommon/core/PLVDisplaynameForModules.h>
#include <PLVCommon/core/PLVIconsForModules.h>
#include <PLVCommon/core/PLVPreferencesForModules.h>
#include <PLVCommon/platform/TQIsTodayExtenstion.h>
#include <PLVCommon/platform/PLVBundle.h>
#include <PLVCommon/platform/PLVPlist.h>
#include <PLVCommon/shared/UserDefaultsExtras.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QIcon>
#include <QLocale>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

const QString kCPU = QStringLiteral("com.tallowcrest.plvCPU");
const QString kMemory = QStringLiteral("com.tallowcrest.plvMEM");
const QString kNoBundle = QStringLiteral("com.example.notLoaded");
const QString kTodayWidget = QStringLiteral("todayWidget");

class Registries : public ::testing::Test
{
protected:
    void SetUp() override
    {
        for (const char *name : {"RegistryCPU", "RegistryLowercaseCPU", "RegistryFans", "RegistryBare"}) {
            const QString path = QStringLiteral(PLV_TEST_BUNDLES_DIR "/%1.plvbundle3").arg(QLatin1String(name));
            ASSERT_NE(PLVBundle::bundleWithPath(path), nullptr) << path.toStdString();
        }
        QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
    }
    void TearDown() override { QLocale::setDefault(QLocale::c()); }

    PLVDisplaynameForModules *names = PLVDisplaynameForModules::displayname();
    PLVIconsForModules *icons = PLVIconsForModules::icons();
};

class ModulePreferences : public ::testing::Test
{
protected:
    QString notificationFile() const { return container.notificationsFolder() + QStringLiteral("/TQWidgetSettingsDidChange"); }
    QString lastRandomKey() const { return PLVPlist::readDictionary(notificationFile()).toMap().value(QStringLiteral("randomKey")).toString(); }

    plvtest::TempGroupContainer container;
    PLVPreferencesForModules *prefs = PLVPreferencesForModules::standardUserDefaults();
};

} // namespace

PLV_TEST_CHILD(prefs_widget_set)
{
    QCoreApplication app(plvtest::childArgc, plvtest::childArgv);
    if (!TQIsTodayExtenstion::isTodayExtention())
        return 2;
    PLVPreferencesForModules::standardUserDefaults()->setObject(qint64(5), kTodayWidget, kCPU);
    return 0;
}

TEST_F(Registries, NamesAndIconsComeFromEachModulesOwnBundle)
{
    EXPECT_TRUE(names->displaynameForBundleIdentifier(kCPU).isNull()) << "never registered";
    EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(kCPU), QStringLiteral("ukn"));
    EXPECT_TRUE(icons->iconForBundleIdentifier(kCPU).isNull());
    const struct {
        QString identifier;
        const char *name, *shortName;
    } cases[] = {
        {kCPU, "Processeur", "pro"},
        {QStringLiteral("com.tallowcrest.plvFans"), "Ventilateurs", "ven"}, // names an icon file it lacks
        // Not the processor's identifier in letter case: its bundle's translation of "ukn", not of "cpu".
        {QStringLiteral("com.tallowcrest.plvcpu"), "Processeur (minuscules)", "inc"},
        {kMemory, "Unknown", "mem"},   // a bundle without manifest keys or translations
        {kNoBundle, "Unknown", "ukn"}, // no bundle at all
    };
    for (const auto &c : cases) {
        names->addDisplaynameForBundleIdentifier(c.identifier);
        icons->addIconForBundleIdentifier(c.identifier);
        EXPECT_EQ(names->displaynameForBundleIdentifier(c.identifier), QLatin1String(c.name));
        EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(c.identifier), QLatin1String(c.shortName));
        if (c.identifier != kCPU) {
            EXPECT_EQ(icons->iconForBundleIdentifier(c.identifier), PLVIconsForModules::actionTemplateImage()) << c.name;
        }
    }
    const QImage icon = icons->iconForBundleIdentifier(kCPU);
    ASSERT_EQ(icon.size(), QSize(24, 24));
    EXPECT_EQ(icon.pixelColor(3, 12), QColor(200, 30, 30)); // red left half
    EXPECT_EQ(icon.pixelColor(20, 12), QColor(30, 30, 200)); // blue right half

    // Registering again overwrites; the bundle has no English table, so the keys show.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    names->addDisplaynameForBundleIdentifier(kCPU);
    EXPECT_EQ(names->displaynameForBundleIdentifier(kCPU), QStringLiteral("PROCESSOR_DISPLAY_NAME"));
    EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(kCPU), QStringLiteral("cpu"));
    EXPECT_EQ(names->displaynameDictionary().size(), 5);
}

TEST(ActionTemplateImage, ThemeIconWhenThereIsOneElseTheFrameworksOwn)
{
    QIcon::setThemeName(QStringLiteral("plv-no-such-theme"));
    const QImage framework = PLVIconsForModules::frameworkActionTemplateImage();
    EXPECT_FALSE(PLVBundle::frameworkBundle()->pathForResource(QStringLiteral("PLVActionTemplate"), QStringLiteral("png")).isEmpty());
    EXPECT_EQ(framework.size(), QSize(32, 32));
    EXPECT_EQ(PLVIconsForModules::actionTemplateImage(), framework);

    // The offscreen platform knows no icon folders; a desktop session gives the XDG ones.
    QIcon::setThemeSearchPaths(
        QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("icons"), QStandardPaths::LocateDirectory));
    QIcon::setThemeName(QStringLiteral("Adwaita"));
    if (QIcon::fromTheme(QStringLiteral("emblem-system")).isNull())
        GTEST_SKIP() << "no icon theme with emblem-system installed";
    EXPECT_FALSE(PLVIconsForModules::actionTemplateImage().isNull());
    EXPECT_NE(PLVIconsForModules::actionTemplateImage(), framework);
}

// Each post rewrites the notification file with a new random key.
TEST_F(ModulePreferences, EachModuleKeepsItsOwnDictionaryAndEverySetPosts)
{
    prefs->removeObjectForKey(kTodayWidget, kNoBundle); // a module with no dictionary yet
    const QVariant stored = UserDefaultsExtras::getValueFromThePrefDico(kNoBundle);
    EXPECT_EQ(stored.typeId(), QMetaType::QVariantMap);
    EXPECT_TRUE(stored.toMap().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(notificationFile())) << "removing posts nothing";

    prefs->setObject(qint64(1), kTodayWidget, kCPU);
    const QString first = lastRandomKey();
    EXPECT_FALSE(first.isEmpty());
    prefs->setObject(qint64(1), kTodayWidget, kCPU); // unchanged, posted all the same
    EXPECT_NE(lastRandomKey(), first);
    prefs->setObject(QStringLiteral("red"), QStringLiteral("graphColor"), kCPU);
    prefs->setObject(qint64(0), kTodayWidget, kMemory);
    EXPECT_EQ(prefs->objectForKey(kTodayWidget, kCPU).toLongLong(), 1);
    EXPECT_EQ(prefs->objectForKey(kTodayWidget, kMemory).toLongLong(), 0);
    EXPECT_FALSE(prefs->objectForKey(QStringLiteral("graphColor"), kMemory).isValid());
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(kCPU).toMap().size(), 2) << "a dictionary under the identifier";

    const QString beforeRemoval = lastRandomKey();
    prefs->removeObjectForKey(kTodayWidget, kCPU);
    EXPECT_EQ(lastRandomKey(), beforeRemoval) << "removing posts nothing";
    EXPECT_FALSE(prefs->objectForKey(kTodayWidget, kCPU).isValid());
    EXPECT_EQ(prefs->objectForKey(QStringLiteral("graphColor"), kCPU).toString(), QStringLiteral("red"));

    // Null arguments change nothing.
    prefs->setObject(QVariant(), QStringLiteral("graphColor"), kCPU);
    prefs->setObject(qint64(1), QString(), kCPU);
    prefs->removeObjectForKey(QString(), kCPU);
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(kCPU).toMap().size(), 1);
}

TEST_F(ModulePreferences, TheWidgetHostStoresWithoutPosting)
{
    const plvtest::ChildResult child = plvtest::runChild(QStringLiteral("prefs_widget_set"));
    ASSERT_EQ(child.exitCode, 0) << "2 = the child is not a widget host; " << child.err.toStdString();
    EXPECT_EQ(prefs->objectForKey(kTodayWidget, kCPU).toLongLong(), 5);
    EXPECT_FALSE(QFileInfo::exists(notificationFile()));
}
