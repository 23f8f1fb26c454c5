#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/platform/PLVPlist.h"
#include "support/PLVTest.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString kProbePath = QStringLiteral(PLV_TEST_BUNDLES_DIR "/PlatformProbe.plvbundle3");

class LocalToTests : public QObject
{
    Q_OBJECT
};

} // namespace

TEST(Bundle, ReadsItsInformationAndFindsResources)
{
    PLVBundle *probe = PLVBundle::bundleWithPath(kProbePath);
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(probe, PLVBundle::bundleWithPath(kProbePath + QStringLiteral("/")));
    EXPECT_EQ(probe->bundleIdentifier(), QStringLiteral("com.tallowcrest.test.probe"));
    EXPECT_EQ(probe->objectForInfoDictionaryKey(QStringLiteral("PLVBundleDisplayName")).toString(), QStringLiteral("Probe"));
    EXPECT_EQ(probe->objectForInfoDictionaryKey(QStringLiteral("PLVMacbookOnly")), QVariant(qint64(0)));
    EXPECT_FALSE(probe->objectForInfoDictionaryKey(QStringLiteral("Missing")).isValid());

    const QString icon = probe->pathForResource(QStringLiteral("probe-icon"), QStringLiteral("png"));
    EXPECT_TRUE(QFileInfo(icon).isFile());
    EXPECT_EQ(probe->pathForResource(QStringLiteral("probe-icon.png"), QString()), icon);
    EXPECT_TRUE(probe->pathForResource(QStringLiteral("missing"), QStringLiteral("png")).isNull());
    EXPECT_TRUE(probe->pathForResource(QStringLiteral("../Info"), QStringLiteral("plist")).isNull())
        << "lookups stay inside Resources";

    EXPECT_EQ(PLVBundle::bundleWithPath(QStringLiteral("/no/such/bundle.plvbundle3")), nullptr);
}

TEST(Bundle, LoadsItsCodeAndCreatesThePrincipalClass)
{
    PLVBundle *probe = PLVBundle::bundleWithPath(kProbePath);
    ASSERT_NE(probe, nullptr);
    EXPECT_FALSE(probe->isLoaded());
    EXPECT_EQ(PLVClassRegistry::classNamed(QStringLiteral("PLVProbePrincipal")), nullptr) << "not registered before loading";

    const QMetaObject *principal = probe->principalClass();
    ASSERT_NE(principal, nullptr) << probe->loadError().toStdString();
    EXPECT_TRUE(probe->isLoaded());
    EXPECT_STREQ(principal->className(), "PLVProbePrincipal");
    EXPECT_EQ(PLVBundle::bundleForClass(principal), probe);
    EXPECT_EQ(PLVBundle::bundleWithIdentifier(QStringLiteral("com.tallowcrest.test.probe")), probe);

    std::unique_ptr<QObject> object(PLVClassRegistry::createInstance(principal));
    ASSERT_NE(object, nullptr);
    bool initialised = false;
    QMetaObject::invokeMethod(object.get(), "wasInitialised", Q_RETURN_ARG(bool, initialised));
    EXPECT_TRUE(initialised);

    // A class of this bundle translates with this bundle's table.
    plvtest::ScopedLocale fr(QStringLiteral("fr_FR"));
    QString text;
    QMetaObject::invokeMethod(object.get(), "translate", Q_RETURN_ARG(QString, text), Q_ARG(QString, QStringLiteral("Hello")));
    EXPECT_EQ(text, QStringLiteral("Bonjour"));
}

TEST(Bundle, LocalizedStringFallsBackToValueThenKey)
{
    PLVBundle *probe = PLVBundle::bundleWithPath(kProbePath);
    ASSERT_NE(probe, nullptr);
    {
        plvtest::ScopedLocale en(QStringLiteral("en_US"));
        EXPECT_EQ(probe->localizedString(QStringLiteral("Hello")), QStringLiteral("Hello"));
    }
    plvtest::ScopedLocale fr(QStringLiteral("fr_FR"));
    EXPECT_EQ(probe->localizedString(QStringLiteral("Hello")), QStringLiteral("Bonjour"));
    EXPECT_EQ(probe->localizedString(QStringLiteral("Untranslated")), QStringLiteral("Untranslated"));
    EXPECT_EQ(probe->localizedString(QStringLiteral("Untranslated"), QStringLiteral("Fallback")), QStringLiteral("Fallback"));
    EXPECT_EQ(probe->localizedString(QString(), QString()), QStringLiteral(""));
    EXPECT_EQ(probe->localizedString(QStringLiteral("Hello"), QString(), QStringLiteral("OtherTable")), QStringLiteral("Hello"));
}

TEST(Bundle, FrameworkAndMainBundlesAreFoundFromTheirCode)
{
    PLVBundle *framework = PLVBundle::frameworkBundle();
    ASSERT_NE(framework, nullptr);
    EXPECT_EQ(framework->bundleIdentifier(), QStringLiteral("com.tallowcrest.PLVCommon"));
    EXPECT_TRUE(QFileInfo(framework->resourcePath()).isDir());
    EXPECT_EQ(PLVBundle::bundleForClass(&PLVNotificationCenter::staticMetaObject), framework);
    EXPECT_EQ(PLVBundle::bundleWithIdentifier(QStringLiteral("com.tallowcrest.PLVCommon")), framework);

    // Classes of the executable belong to the main bundle: here, the test program's folder.
    PLVBundle *main = PLVBundle::mainBundle();
    ASSERT_NE(main, nullptr);
    EXPECT_EQ(PLVBundle::bundleForClass(&LocalToTests::staticMetaObject), main);
    EXPECT_EQ(QFileInfo(main->bundlePath()).canonicalFilePath(),
              QFileInfo(QCoreApplication::applicationDirPath()).canonicalFilePath());
    EXPECT_EQ(PLVBundle::bundleForClass(nullptr), nullptr);
}

TEST(Bundle, BrokenBundlesFailToLoadWithAReason)
{
    QTemporaryDir dir;
    const QString noExe = dir.filePath(QStringLiteral("NoExe.plvbundle3"));
    QDir().mkpath(noExe + QStringLiteral("/Contents"));
    PLVPlist::writeFile(noExe + QStringLiteral("/Contents/Info.plist"),
                        QVariantMap{{QStringLiteral("CFBundleIdentifier"), QStringLiteral("x.noexe")}});
    PLVBundle *a = PLVBundle::bundleWithPath(noExe);
    ASSERT_NE(a, nullptr);
    EXPECT_FALSE(a->load());
    EXPECT_FALSE(a->loadError().isEmpty());
    EXPECT_EQ(a->principalClass(), nullptr);

    const QString junk = dir.filePath(QStringLiteral("Junk.plvbundle3"));
    QDir().mkpath(junk + QStringLiteral("/Contents/Linux"));
    PLVPlist::writeFile(junk + QStringLiteral("/Contents/Info.plist"),
                        QVariantMap{{QStringLiteral("CFBundleExecutable"), QStringLiteral("libJunk.so")},
                                    {QStringLiteral("NSPrincipalClass"), QStringLiteral("Junk")}});
    plvtest::writeFile(junk + QStringLiteral("/Contents/Linux/libJunk.so"), "not an ELF file");
    PLVBundle *b = PLVBundle::bundleWithPath(junk);
    ASSERT_NE(b, nullptr);
    EXPECT_FALSE(b->load());
    EXPECT_FALSE(b->loadError().isEmpty());
    EXPECT_FALSE(b->isLoaded());

    // A folder without Info.plist is a bundle with an empty information dictionary.
    PLVBundle *bare = PLVBundle::bundleWithPath(dir.path());
    ASSERT_NE(bare, nullptr);
    EXPECT_TRUE(bare->infoDictionary().isEmpty());
    EXPECT_TRUE(bare->bundleIdentifier().isEmpty());
}

#include "test_bundle.moc"
