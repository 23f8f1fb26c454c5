// The display-name and icon registries, against module bundles built for the
// tests (tests/bundles/Registry*).
#include "support/PLVTest.h"

#include <PLVCommon/core/PLVDisplaynameForModules.h>
#include <PLVCommon/core/PLVIconsForModules.h>
#include <PLVCommon/platform/PLVBundle.h>

#include <QIcon>
#include <QLocale>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace {

const QString kCPU = QStringLiteral("com.tallowcrest.plvCPU");
const QString kLowercaseCPU = QStringLiteral("com.tallowcrest.plvcpu");
const QString kFans = QStringLiteral("com.tallowcrest.plvFans");
const QString kMemory = QStringLiteral("com.tallowcrest.plvMEM");
const QString kNoBundle = QStringLiteral("com.example.notLoaded");

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

} // namespace

TEST_F(Registries, NamesComeFromEachModulesOwnTranslations)
{
    names->addDisplaynameForBundleIdentifier(kCPU);
    names->addDisplaynameForBundleIdentifier(kFans);
    EXPECT_EQ(names->displaynameForBundleIdentifier(kCPU), QStringLiteral("Processeur"));
    EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(kCPU), QStringLiteral("pro"));
    EXPECT_EQ(names->displaynameForBundleIdentifier(kFans), QStringLiteral("Ventilateurs"));
    EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(kFans), QStringLiteral("ven"));

    // Registering again overwrites; the bundle has no English table, so the keys show.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    names->addDisplaynameForBundleIdentifier(kCPU);
    EXPECT_EQ(names->displaynameForBundleIdentifier(kCPU), QStringLiteral("PROCESSOR_DISPLAY_NAME"));
    EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(kCPU), QStringLiteral("cpu"));
    EXPECT_EQ(names->displaynameDictionary().size(), 2);
}

TEST_F(Registries, LetterCaseOfTheIdentifierDecidesTheShortNameKey)
{
    names->addDisplaynameForBundleIdentifier(kLowercaseCPU);
    EXPECT_EQ(names->displaynameForBundleIdentifier(kLowercaseCPU), QStringLiteral("Processeur (minuscules)"));
    // The bundle translates both keys: the one chosen is "ukn", not "cpu".
    EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(kLowercaseCPU), QStringLiteral("inc"));
}

TEST_F(Registries, ModulesNeverRegisteredWithoutABundleOrWithoutManifestKeys)
{
    EXPECT_TRUE(names->displaynameForBundleIdentifier(kCPU).isNull());
    EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(kCPU), QStringLiteral("ukn"));
    EXPECT_TRUE(icons->iconForBundleIdentifier(kCPU).isNull());

    for (const QString &identifier : {kNoBundle, kMemory}) {
        names->addDisplaynameForBundleIdentifier(identifier);
        icons->addIconForBundleIdentifier(identifier);
        EXPECT_EQ(names->displaynameForBundleIdentifier(identifier), QStringLiteral("Unknown"));
        EXPECT_EQ(icons->iconForBundleIdentifier(identifier), PLVIconsForModules::actionTemplateImage());
    }
    EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(kNoBundle), QStringLiteral("ukn"));
    EXPECT_EQ(names->displayname3LettersNameForBundleIdentifier(kMemory), QStringLiteral("mem")) << "untranslated key";
}

TEST_F(Registries, IconsAreLoadedFromTheBundleOrFallBackToTheActionImage)
{
    icons->addIconForBundleIdentifier(kCPU);
    const QImage icon = icons->iconForBundleIdentifier(kCPU);
    ASSERT_EQ(icon.size(), QSize(24, 24));
    EXPECT_EQ(icon.pixelColor(3, 12), QColor(200, 30, 30)); // red left half
    EXPECT_EQ(icon.pixelColor(20, 12), QColor(30, 30, 200)); // blue right half

    icons->addIconForBundleIdentifier(kFans); // names a file its bundle lacks
    EXPECT_FALSE(icons->iconForBundleIdentifier(kFans).isNull());
    EXPECT_EQ(icons->iconForBundleIdentifier(kFans), PLVIconsForModules::actionTemplateImage());
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
    const QImage themed = PLVIconsForModules::actionTemplateImage();
    EXPECT_FALSE(themed.isNull());
    EXPECT_NE(themed, framework);
}
