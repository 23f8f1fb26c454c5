// Per-module settings and the notification that tells the widget host about them.
#include "support/PLVTest.h"

#include <PLVCommon/core/PLVPreferencesForModules.h>
#include <PLVCommon/core/TQIsTodayExtenstion.h>
#include <PLVCommon/platform/PLVPlist.h>
#include <PLVCommon/shared/TQGroupNotificationCenter.h>
#include <PLVCommon/shared/UserDefaultsExtras.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QThread>

#include <gtest/gtest.h>

using plvtest::waitUntil;

namespace {

const QString kCPU = QStringLiteral("com.tallowcrest.plvCPU");
const QString kMemory = QStringLiteral("com.tallowcrest.plvMEM");
const QString kBluetooth = QStringLiteral("com.tallowcrest.plvBT");
const QString kTodayWidget = QStringLiteral("todayWidget");

// A widget host runs under any application class but QApplication.
int childArgc = 1;
char childProgram[] = "plv-widget-host";
char *childArgv[] = {childProgram, nullptr};

class SettingsObserver : public QObject
{
    Q_OBJECT
public:
    int calls = 0;
    Q_INVOKABLE void settingsDidChange() { ++calls; }
    void observe()
    {
        TQGroupNotificationCenter::defaultCenter()->addObserver(
            this, "settingsDidChange", PLVPreferencesForModules::widgetSettingsDidChangeNotification);
    }
};

class ModulePreferences : public ::testing::Test
{
protected:
    QString notificationFile() const { return container.notificationsFolder() + QStringLiteral("/TQWidgetSettingsDidChange"); }
    QString lastRandomKey() const
    {
        return PLVPlist::readDictionary(notificationFile()).toMap().value(QStringLiteral("randomKey")).toString();
    }

    plvtest::TempGroupContainer container;
    PLVPreferencesForModules *prefs = PLVPreferencesForModules::standardUserDefaults();
};

} // namespace

PLV_TEST_CHILD(prefs_widget_set)
{
    QCoreApplication app(childArgc, childArgv);
    if (!TQIsTodayExtenstion::isTodayExtention())
        return 2;
    PLVPreferencesForModules::standardUserDefaults()->setObject(qint64(5), kTodayWidget, kCPU);
    return 0;
}

TEST_F(ModulePreferences, EachModuleKeepsItsOwnDictionary)
{
    prefs->setObject(qint64(1), kTodayWidget, kCPU);
    prefs->setObject(QStringLiteral("red"), QStringLiteral("graphColor"), kCPU);
    prefs->setObject(qint64(0), kTodayWidget, kMemory);
    EXPECT_EQ(prefs->objectForKey(kTodayWidget, kCPU).toLongLong(), 1);
    EXPECT_EQ(prefs->objectForKey(kTodayWidget, kMemory).toLongLong(), 0);
    EXPECT_FALSE(prefs->objectForKey(QStringLiteral("graphColor"), kMemory).isValid());
    EXPECT_FALSE(prefs->objectForKey(kTodayWidget, kBluetooth).isValid());
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(kCPU).toMap().size(), 2) << "a dictionary under the identifier";

    prefs->removeObjectForKey(kTodayWidget, kCPU);
    EXPECT_FALSE(prefs->objectForKey(kTodayWidget, kCPU).isValid());
    EXPECT_EQ(prefs->objectForKey(QStringLiteral("graphColor"), kCPU).toString(), QStringLiteral("red"));

    // Null arguments change nothing.
    prefs->setObject(QVariant(), QStringLiteral("graphColor"), kCPU);
    prefs->setObject(qint64(1), QString(), kCPU);
    prefs->removeObjectForKey(QString(), kCPU);
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(kCPU).toMap().size(), 1);
}

TEST_F(ModulePreferences, EverySetPostsEvenWhenTheValueIsUnchanged)
{
    SettingsObserver observer;
    observer.observe();
    prefs->setObject(qint64(1), kTodayWidget, kCPU);
    ASSERT_TRUE(waitUntil([&] { return observer.calls == 1; }));
    const QString first = lastRandomKey();
    QThread::msleep(20); // a later tick of the file clock, so the posts stay apart
    prefs->setObject(qint64(1), kTodayWidget, kCPU);
    ASSERT_TRUE(waitUntil([&] { return observer.calls == 2; }));
    EXPECT_NE(lastRandomKey(), first);
    waitUntil([] { return false; }, std::chrono::milliseconds(300));
    EXPECT_EQ(observer.calls, 2);
}

TEST_F(ModulePreferences, RemovingWritesTheDictionaryBackAndPostsNothing)
{
    prefs->removeObjectForKey(kTodayWidget, kBluetooth); // a module with no dictionary yet
    const QVariant stored = UserDefaultsExtras::getValueFromThePrefDico(kBluetooth);
    EXPECT_EQ(stored.typeId(), QMetaType::QVariantMap);
    EXPECT_TRUE(stored.toMap().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(notificationFile()));

    prefs->setObject(qint64(1), kTodayWidget, kCPU);
    const QString afterSet = lastRandomKey();
    prefs->removeObjectForKey(kTodayWidget, kCPU);
    EXPECT_FALSE(afterSet.isEmpty());
    EXPECT_EQ(lastRandomKey(), afterSet);
}

TEST_F(ModulePreferences, TheWidgetHostStoresWithoutPosting)
{
    const plvtest::ChildResult child = plvtest::runChild(QStringLiteral("prefs_widget_set"));
    ASSERT_EQ(child.exitCode, 0) << "2 = the child is not a widget host; " << child.err.toStdString();
    EXPECT_EQ(prefs->objectForKey(kTodayWidget, kCPU).toLongLong(), 5);
    EXPECT_FALSE(QFileInfo::exists(notificationFile()));
}

#include "test_registries_preferences.moc"
