// The battery and Bluetooth modules, loaded from the build's plug-ins folder,
// on recorded power-supply trees and with UPower and BlueZ played on a
// private bus.
#include "PLVCommon/core/PLVModuleLoader.h"
#include "support/PLVTest.h"
#include "support/PLVTestBus.h"
#include "test_module_support.h"

#include <QLocale>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

namespace {

using namespace modtest;
QString text(const Controller &c, const char *key) { return value(c, key).toString(); }
const QString kNoBus = QStringLiteral("unix:path=/nonexistent/plv-bus");

} // namespace

TEST(BusModules, TheBatteryModuleLoadsOnlyWhereTheComputerHasABattery)
{
    const QStringList paths{QStringLiteral(PLV_BUILD_PLUGINS_DIR "/BATTERY.plvbundle3"), QStringLiteral(PLV_BUILD_PLUGINS_DIR "/BT.plvbundle3")};
    for (const bool hasBattery : {false, true}) {
        const PLVModuleLoader::Result loaded = PLVModuleLoader::load(paths, hasBattery);
        QStringList ids;
        for (PLVGenericModuleController *c : loaded.controllers) {
            ids << c->bundleIdentifier();
            PLVGenericModuleController::destroy(c);
        }
        ids.sort();
        const QStringList expected = hasBattery ? QStringList{QStringLiteral("com.tallowcrest.plvBATTERY"), QStringLiteral("com.tallowcrest.plvBT")}
                                                : QStringList{QStringLiteral("com.tallowcrest.plvBT")};
        EXPECT_EQ(ids, expected);
    }
}

TEST(BusModules, TheBatteryModuleShowsTheKernelsFiguresWithoutABusAndNothingStaleAfterwards)
{
    Controller battery = loadModule(QStringLiteral("BATTERY"));
    ASSERT_NE(battery, nullptr);
    QObject *model = battery->modulemodelobj();
    ASSERT_TRUE(QMetaObject::invokeMethod(model, "setSystemBusAddress", Q_ARG(QString, kNoBus)));
    ASSERT_TRUE(QMetaObject::invokeMethod(model, "setSystemRoot", Q_ARG(QString, plvtest::fixturePath(QStringLiteral("power_supply/laptop")))));
    battery->updateModel();
    battery->updateViews();
    EXPECT_EQ(text(battery, "batteryStatusText"), QStringLiteral("76%"));
    EXPECT_EQ(text(battery, "batteryStateText"), QStringLiteral("On battery"));
    EXPECT_EQ(text(battery, "batteryTimeText"), QStringLiteral("3:53 remaining")); // 14006 s
    EXPECT_EQ(text(battery, "batteryHealthText"), QStringLiteral("89%"));
    EXPECT_EQ(text(battery, "batteryCyclesText"), QStringLiteral("312"));
    EXPECT_EQ(text(battery, "batterySourceText"), QStringLiteral("kernel"));
    EXPECT_EQ(text(battery, "batteryServiceText"), QStringLiteral("no system bus"));
    EXPECT_EQ(viewLines(battery->statusbarView()), QStringList{QStringLiteral("bat 76%")});
    EXPECT_TRUE(viewLines(battery->statusbarStandAloneView()).contains(QStringLiteral("Health 89%")))
        << viewLines(battery->statusbarStandAloneView()).join(QLatin1Char('|')).toStdString();

    // Charging, in French, with the charge counters and no cycle count.
    const QLocale saved;
    QLocale::setDefault(QLocale(QStringLiteral("fr_FR")));
    QMetaObject::invokeMethod(model, "setSystemRoot", Q_ARG(QString, plvtest::fixturePath(QStringLiteral("power_supply/charge"))));
    battery->updateModel();
    EXPECT_EQ(text(battery, "batteryStateText"), QStringLiteral("En charge"));
    EXPECT_EQ(text(battery, "batteryTimeText"), QStringLiteral("1:16 avant la charge complète"));
    EXPECT_EQ(text(battery, "batteryCyclesText"), QStringLiteral("inconnu"));
    EXPECT_FALSE(battery->modulemodelobj()->modelData().contains(QStringLiteral("batteryTimeToEmpty")));

    // Only a mouse's battery left: nothing of the laptop's stays.
    QMetaObject::invokeMethod(model, "setSystemRoot", Q_ARG(QString, plvtest::fixturePath(QStringLiteral("power_supply/peripheral"))));
    battery->updateModel();
    QLocale::setDefault(saved);
    EXPECT_EQ(text(battery, "batterySummaryText"), QStringLiteral("Aucune batterie trouvée"));
    EXPECT_EQ(text(battery, "batteryStatusText"), QStringLiteral("–"));
    EXPECT_FALSE(battery->modulemodelobj()->modelData().contains(QStringLiteral("batteryPercentage")));
    EXPECT_FALSE(battery->modulemodelobj()->modelData().contains(QStringLiteral("batteryCycleCount")));
}

TEST(BusModules, TheBatteryModuleFollowsUPower)
{
    plvtest::PrivateBus bus;
    if (bus.address().isEmpty())
        GTEST_SKIP() << "dbus-daemon could not be started";
    plvtest::BusStandIn upower(bus.address(), QStringLiteral("upower"), plvtest::fixturePath(QStringLiteral("dbus/upower-laptop.json")));
    ASSERT_TRUE(upower.isReady());
    Controller battery = loadModule(QStringLiteral("BATTERY"));
    ASSERT_NE(battery, nullptr);
    QTemporaryDir empty;
    QMetaObject::invokeMethod(battery->modulemodelobj(), "setSystemRoot", Q_ARG(QString, empty.path()));
    QMetaObject::invokeMethod(battery->modulemodelobj(), "setSystemBusAddress", Q_ARG(QString, bus.address()));
    battery->updateModel();
    EXPECT_EQ(text(battery, "batterySourceText"), QStringLiteral("UPower"));
    EXPECT_EQ(text(battery, "batteryServiceText"), QStringLiteral("answering"));
    EXPECT_EQ(text(battery, "batterySummaryText"), QStringLiteral("On battery, 76%, 3:53 remaining"));

    ASSERT_TRUE(upower.command(QStringLiteral("vanish")));
    battery->updateModel();
    EXPECT_EQ(text(battery, "batteryServiceText"), QStringLiteral("not running"));
    EXPECT_EQ(text(battery, "batterySummaryText"), QStringLiteral("No battery found"));
}

TEST(BusModules, TheBluetoothModuleListsConnectedDevicesOrSaysWhyNot)
{
    plvtest::PrivateBus bus;
    if (bus.address().isEmpty())
        GTEST_SKIP() << "dbus-daemon could not be started";
    Controller bt = loadModule(QStringLiteral("BT"));
    ASSERT_NE(bt, nullptr);
    QObject *model = bt->modulemodelobj();

    QMetaObject::invokeMethod(model, "setSystemBusAddress", Q_ARG(QString, kNoBus));
    bt->updateModel();
    EXPECT_EQ(text(bt, "bluetoothSummaryText"), QStringLiteral("No system bus"));

    QMetaObject::invokeMethod(model, "setSystemBusAddress", Q_ARG(QString, bus.address()));
    bt->updateModel();
    EXPECT_EQ(text(bt, "bluetoothSummaryText"), QStringLiteral("Bluetooth service not running"));

    plvtest::BusStandIn bluez(bus.address(), QStringLiteral("bluez"), plvtest::fixturePath(QStringLiteral("dbus/bluez-devices.json")));
    ASSERT_TRUE(bluez.isReady());
    bt->updateModel();
    bt->updateViews();
    EXPECT_EQ(text(bt, "bluetoothSummaryText"), QStringLiteral("2 devices connected"));
    EXPECT_EQ(text(bt, "bluetoothDevicesText"), QStringLiteral("WH-1000XM4 80%, MX Master 3"));
    EXPECT_EQ(viewLines(bt->statusbarView()), QStringList{QStringLiteral("blt 2")});

    ASSERT_TRUE(bluez.command(QStringLiteral("set /org/bluez/hci0 org.bluez.Adapter1 Powered b:false")));
    ASSERT_TRUE(bluez.command(QStringLiteral("set /org/bluez/hci0/dev_38_18_4C_12_34_56 org.bluez.Device1 Connected b:false")));
    ASSERT_TRUE(bluez.command(QStringLiteral("set /org/bluez/hci0/dev_E4_2A_55_01_02_03 org.bluez.Device1 Connected b:false")));
    bt->updateModel();
    EXPECT_EQ(text(bt, "bluetoothSummaryText"), QStringLiteral("Bluetooth is off"));
    EXPECT_EQ(text(bt, "bluetoothDevicesText"), QStringLiteral("–"));
}
