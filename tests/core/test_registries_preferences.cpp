// Per-module settings and the notification that tells the widget host about them.
#include "support/PLVTest.h"

#include <PLVCommon/core/PLVPreferencesForModules.h>
#include <PLVCommon/core/TQIsTodayExtenstion.h>
#include <PLVCommon/platform/PLVPlist.h>
#include <PLVCommon/shared/TQGroupNotificationCenter.h>
#include <PLVCommon/shared/UserDefaultsExtras.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

using plvtest::waitUntil;

namespace {

const QString kCPU = QStringLiteral("com.tallowcrest.plvCPU");
const QString kMemory = QStringLiteral("com.tallowcrest.plvMEM");
const QString kBluetooth = QStringLiteral("com.tallowcrest.plvBT");
const QString kTodayWidget = QStringLiteral("todayWidget");

int childArgc = 1;
char childName[] = "plv-widget-host";
char *childArgv[] = {childName, nullptr};

class SettingsObserver : public QObject
{
    Q_OBJECT
public:
    int calls = 0;
    std::function<void()> onCall;
    Q_INVOKABLE void settingsDidChange()
    {
        ++calls;
        if (onCall)
            onCall();
    }
};

void settle(int ms = 300)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
    }
}

class ModulePreferences : public ::testing::Test
{
protected:
    QString notificationFile() const
    {
        return container.notificationsFolder() + QStringLiteral("/TQWidgetSettingsDidChange");
    }
    QString lastRandomKey() const
    {
        return PLVPlist::readDictionary(notificationFile()).toMap().value(QStringLiteral("randomKey")).toString();
    }

    plvtest::TempGroupContainer container;
    PLVPreferencesForModules *prefs = PLVPreferencesForModules::standardUserDefaults();
};

} // namespace

// A widget host: any application class other than QApplication.
PLV_TEST_CHILD(prefs_widget_set)
{
    QCoreApplication app(childArgc, childArgv);
    if (!TQIsTodayExtenstion::isTodayExtention())
        return 2;
    PLVPreferencesForModules::standardUserDefaults()->setObject(qint64(5), kTodayWidget, kCPU);
    return 0;
}

// A widget host that waits for the application's change and reads it.
PLV_TEST_CHILD(prefs_widget_observe)
{
    QCoreApplication app(childArgc, childArgv);
    SettingsObserver observer;
    QString seen;
    observer.onCall = [&] {
        seen = PLVPreferencesForModules::standardUserDefaults()->objectForKey(kTodayWidget, kCPU).toString();
    };
    TQGroupNotificationCenter::defaultCenter()->addObserver(&observer, "settingsDidChange",
                                                            PLVPreferencesForModules::widgetSettingsDidChangeNotification);
    fprintf(stdout, "ready\n");
    fflush(stdout);
    waitUntil([&] { return observer.calls > 0; }, std::chrono::seconds(20));
    fprintf(stdout, "calls=%d todayWidget=%s\n", observer.calls, qPrintable(seen));
    return observer.calls > 0 ? 0 : 1;
}

TEST_F(ModulePreferences, EachModuleKeepsItsOwnDictionary)
{
    prefs->setObject(qint64(1), kTodayWidget, kCPU);
    prefs->setObject(QStringLiteral("red"), QStringLiteral("graphColor"), kCPU);
    prefs->setObject(qint64(0), kTodayWidget, kMemory);
    UserDefaultsExtras::updateThePrefDicoWithInteger(3, QStringLiteral("plvSlideInterval"));

    EXPECT_EQ(prefs->objectForKey(kTodayWidget, kCPU).toLongLong(), 1);
    EXPECT_EQ(prefs->objectForKey(QStringLiteral("graphColor"), kCPU).toString(), QStringLiteral("red"));
    EXPECT_EQ(prefs->objectForKey(kTodayWidget, kMemory).toLongLong(), 0);
    EXPECT_FALSE(prefs->objectForKey(QStringLiteral("graphColor"), kMemory).isValid());
    EXPECT_FALSE(prefs->objectForKey(kTodayWidget, kBluetooth).isValid());
    // Stored where every process reads it: a dictionary under the identifier.
    const QVariantMap cpu = UserDefaultsExtras::getValueFromThePrefDico(kCPU).toMap();
    EXPECT_EQ(cpu.size(), 2);
    EXPECT_EQ(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("plvSlideInterval")).toLongLong(), 3);

    prefs->removeObjectForKey(kTodayWidget, kCPU);
    EXPECT_FALSE(prefs->objectForKey(kTodayWidget, kCPU).isValid());
    EXPECT_EQ(prefs->objectForKey(QStringLiteral("graphColor"), kCPU).toString(), QStringLiteral("red"));
}

TEST_F(ModulePreferences, EverySetPostsEvenWhenTheValueIsUnchanged)
{
    SettingsObserver observer;
    TQGroupNotificationCenter::defaultCenter()->addObserver(&observer, "settingsDidChange",
                                                            PLVPreferencesForModules::widgetSettingsDidChangeNotification);
    settle();
    observer.calls = 0;

    prefs->setObject(qint64(1), kTodayWidget, kCPU);
    ASSERT_TRUE(waitUntil([&] { return observer.calls == 1; }));
    const QString first = lastRandomKey();
    QThread::msleep(20); // a later tick of the file clock, so the two posts stay apart
    prefs->setObject(qint64(1), kTodayWidget, kCPU);
    ASSERT_TRUE(waitUntil([&] { return observer.calls == 2; }));
    EXPECT_NE(lastRandomKey(), first);
    settle();
    EXPECT_EQ(observer.calls, 2);
}

TEST_F(ModulePreferences, RemovingWritesTheDictionaryBackAndPostsNothing)
{
    prefs->removeObjectForKey(kTodayWidget, kBluetooth);
    const QVariant stored = UserDefaultsExtras::getValueFromThePrefDico(kBluetooth);
    EXPECT_EQ(stored.typeId(), QMetaType::QVariantMap);
    EXPECT_TRUE(stored.toMap().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(notificationFile()));

    prefs->setObject(qint64(1), kTodayWidget, kCPU);
    const QString afterSet = lastRandomKey();
    ASSERT_FALSE(afterSet.isEmpty());
    prefs->removeObjectForKey(kTodayWidget, kCPU);
    EXPECT_EQ(lastRandomKey(), afterSet);
}

TEST_F(ModulePreferences, NullArgumentsDoNothing)
{
    prefs->setObject(QVariant(), kTodayWidget, kCPU);
    prefs->setObject(qint64(1), QString(), kCPU);
    prefs->setObject(qint64(1), kTodayWidget, QString());
    prefs->removeObjectForKey(QString(), kMemory);
    EXPECT_FALSE(QFileInfo::exists(container.preferencesFile()));
    EXPECT_FALSE(QFileInfo::exists(notificationFile()));
    EXPECT_FALSE(prefs->objectForKey(QString(), kCPU).isValid());
}

TEST_F(ModulePreferences, TheWidgetHostStoresWithoutPosting)
{
    const plvtest::ChildResult child = plvtest::runChild(QStringLiteral("prefs_widget_set"));
    ASSERT_EQ(child.exitCode, 0) << "the child must count as a widget host; " << child.err.toStdString();
    EXPECT_EQ(prefs->objectForKey(kTodayWidget, kCPU).toLongLong(), 5);
    EXPECT_FALSE(QFileInfo::exists(notificationFile()));
}

TEST_F(ModulePreferences, TheApplicationsChangeReachesTheWidgetHost)
{
    QProcess widget;
    widget.start(QCoreApplication::applicationFilePath(),
                 {QStringLiteral("--plv-child"), QStringLiteral("prefs_widget_observe")});
    ASSERT_TRUE(widget.waitForStarted(10000));
    QByteArray out;
    ASSERT_TRUE(waitUntil([&] {
        out += widget.readAllStandardOutput();
        return out.contains("ready\n");
    }, std::chrono::seconds(20)));

    prefs->setObject(QStringLiteral("1"), kTodayWidget, kCPU);
    ASSERT_TRUE(widget.waitForFinished(30000));
    out += widget.readAllStandardOutput();
    EXPECT_EQ(widget.exitCode(), 0) << widget.readAllStandardError().toStdString();
    EXPECT_TRUE(out.contains("calls=1 todayWidget=1")) << out.toStdString();
}

#include "test_registries_preferences.moc"
