// Battery and Bluetooth samplers: the kernel's power supplies on recorded
// trees, UPower and BlueZ played on a private bus by plv_bus_standin.
#include "PLVCommon/linux/PLVBlueZ.h"
#include "PLVCommon/linux/PLVPowerSupply.h"
#include "PLVCommon/linux/PLVSystemBus.h"
#include "PLVCommon/linux/PLVUPower.h"
#include "PLVCommon/stats/TQBatteryInfo.h"
#include "PLVCommon/stats/TQBluetoothInfo.h"
#include "support/PLVTest.h"
#include "support/PLVTestBus.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Failure = PLVSystemBus::Failure;
using State = PLVPowerSupply::State;

QString powerFixture(const char *name) { return plvtest::fixturePath(QStringLiteral("power_supply/") + QLatin1String(name)); }
QString busFixture(const char *name) { return plvtest::fixturePath(QStringLiteral("dbus/") + QLatin1String(name)); }
const QString kBat0 = QStringLiteral("/org/freedesktop/UPower/devices/battery_BAT0");
const QString kHeadset = QStringLiteral("/org/bluez/hci0/dev_38_18_4C_12_34_56");

// A bus nobody listens on.
std::shared_ptr<PLVSystemBus> noBus() { return std::make_shared<PLVSystemBus>(QStringLiteral("unix:path=/nonexistent/plv-bus")); }

struct Expected {
    const char *tree;
    bool systemBattery;
    int count;
    State state;
    std::optional<double> percentage, health;
    std::optional<qint64> timeToEmpty, timeToFull;
    std::optional<int> cycles;
};

} // namespace

TEST(BatteryKernel, RecordedTreesGiveChargeStateTimeHealthAndCycles)
{
    const Expected cases[] = {
        // energy_* counters: 38.37 of 50.49 Wh at 9.862 W; 50.49 of 57.0 Wh design.
        {"laptop", true, 1, State::Discharging, 76.0, 100.0 * 50.49 / 57.0, 14006, std::nullopt, 312},
        // charge_* counters: 2.1 of 4.0 Ah at 1.5 A, design 4.4 Ah; cycle_count 0 means not counted.
        {"charge", true, 1, State::Charging, 52.0, 100.0 * 4.0 / 4.4, std::nullopt, 4560, std::nullopt},
        // A mouse's battery (scope Device) is not the computer's.
        {"peripheral", false, 0, State::Unknown, std::nullopt, std::nullopt, std::nullopt, std::nullopt, std::nullopt},
    };
    for (const Expected &e : cases) {
        SCOPED_TRACE(e.tree);
        const PLVSysRoot root(powerFixture(e.tree));
        EXPECT_EQ(PLVPowerSupply::hasSystemBattery(root), e.systemBattery);
        const QVariantMap d = TQBatteryInfo(root, noBus()).batteryData();
        EXPECT_EQ(d.value(QStringLiteral("batteryServiceStatus")).toInt(), int(Failure::NoBus));
        EXPECT_EQ(d.value(QStringLiteral("batteryCount")).toInt(), e.count);
        const auto optDouble = [&](const char *key) {
            return d.contains(QLatin1String(key)) ? std::optional<double>(d.value(QLatin1String(key)).toDouble()) : std::nullopt;
        };
        const auto optInt = [&](const char *key) {
            return d.contains(QLatin1String(key)) ? std::optional<qint64>(d.value(QLatin1String(key)).toLongLong()) : std::nullopt;
        };
        EXPECT_EQ(optDouble("batteryPercentage"), e.percentage);
        ASSERT_EQ(optDouble("batteryHealth").has_value(), e.health.has_value());
        if (e.health) {
            EXPECT_NEAR(*optDouble("batteryHealth"), *e.health, 1e-9);
        }
        EXPECT_EQ(optInt("batteryTimeToEmpty"), e.timeToEmpty);
        EXPECT_EQ(optInt("batteryTimeToFull"), e.timeToFull);
        EXPECT_EQ(optInt("batteryCycleCount"), e.cycles ? std::optional<qint64>(*e.cycles) : std::nullopt);
        if (e.count > 0) {
            EXPECT_EQ(d.value(QStringLiteral("batteryState")).toUInt(), unsigned(e.state));
            EXPECT_EQ(d.value(QStringLiteral("batterySource")).toString(), QStringLiteral("kernel"));
        }
    }
    // The peripheral is still listed by the reader, as not the system's.
    const auto all = PLVPowerSupply::batteries(PLVSysRoot(powerFixture("peripheral")));
    ASSERT_EQ(all.size(), 1u);
    EXPECT_FALSE(all[0].system);
    EXPECT_EQ(all[0].percentage, 55.0);
    EXPECT_EQ(PLVPowerSupply::externalPowerOnline(PLVSysRoot(powerFixture("laptop"))), true);
    EXPECT_EQ(PLVPowerSupply::externalPowerOnline(PLVSysRoot(powerFixture("peripheral"))), false);
}

TEST(BatteryKernel, FailedReadsTwoBatteriesAndAVanishingBatteryGiveNeutralValues)
{
    QTemporaryDir dir;
    ASSERT_TRUE(plvtest::copyTree(powerFixture("laptop"), dir.path()));
    const QString bat0 = dir.path() + QStringLiteral("/sys/class/power_supply/BAT0/");
    TQBatteryInfo info{PLVSysRoot(dir.path()), noBus()};

    // A file that cannot be read (EIO, ENODATA on real hardware; a folder here,
    // where read() fails with EISDIR) is unknown, never zero.
    for (const char *file : {"capacity", "energy_now", "status"}) {
        ASSERT_TRUE(QFile::remove(bat0 + QLatin1String(file)));
        ASSERT_TRUE(QDir().mkdir(bat0 + QLatin1String(file)));
    }
    QVariantMap d = info.batteryData();
    EXPECT_EQ(d.value(QStringLiteral("batteryCount")).toInt(), 1);
    EXPECT_FALSE(d.contains(QStringLiteral("batteryPercentage")));
    EXPECT_FALSE(d.contains(QStringLiteral("batteryTimeToEmpty")));
    EXPECT_EQ(d.value(QStringLiteral("batteryState")).toUInt(), unsigned(State::Unknown));
    EXPECT_TRUE(d.contains(QStringLiteral("batteryHealth"))) << "full and design are still readable";

    // A second battery: energies add up (BAT0 restored: 38.37 + 10 of 50.49 + 20 Wh).
    ASSERT_TRUE(QDir(bat0).removeRecursively());
    ASSERT_TRUE(plvtest::copyTree(powerFixture("laptop") + QStringLiteral("/sys/class/power_supply/BAT0"), bat0));
    const QString bat1 = dir.path() + QStringLiteral("/sys/class/power_supply/BAT1/");
    ASSERT_TRUE(plvtest::copyTree(powerFixture("laptop") + QStringLiteral("/sys/class/power_supply/BAT0"), bat1));
    plvtest::writeFile(bat1 + QStringLiteral("energy_now"), "10000000\n");
    plvtest::writeFile(bat1 + QStringLiteral("energy_full"), "20000000\n");
    plvtest::writeFile(bat1 + QStringLiteral("cycle_count"), "40\n");
    d = info.batteryData();
    EXPECT_EQ(d.value(QStringLiteral("batteryCount")).toInt(), 2);
    EXPECT_NEAR(d.value(QStringLiteral("batteryPercentage")).toDouble(), 100.0 * 48.37 / 70.49, 1e-9);
    EXPECT_EQ(d.value(QStringLiteral("batteryCycleCount")).toInt(), 312);
    EXPECT_EQ(d.value(QStringLiteral("batteryList")).toList().size(), 2);

    // Both pulled out: present 0 and an entry that is gone.
    plvtest::writeFile(bat0 + QStringLiteral("present"), "0\n");
    ASSERT_TRUE(QDir(bat1).removeRecursively());
    d = info.batteryData();
    EXPECT_EQ(d.value(QStringLiteral("batteryCount")).toInt(), 0);
    EXPECT_FALSE(d.contains(QStringLiteral("batteryPercentage")));
    EXPECT_FALSE(d.contains(QStringLiteral("batteryList")));
    EXPECT_FALSE(PLVPowerSupply::hasSystemBattery(PLVSysRoot(dir.path())));
}

class BusSamplers : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (bus.address().isEmpty())
            GTEST_SKIP() << "dbus-daemon could not be started";
        client = std::make_shared<PLVSystemBus>(bus.address());
    }
    plvtest::PrivateBus bus;
    std::shared_ptr<PLVSystemBus> client;
};

TEST_F(BusSamplers, UPowerIsTheTruthAndTheKernelTheFallback)
{
    QTemporaryDir empty;
    plvtest::BusStandIn upower(bus.address(), QStringLiteral("upower"), busFixture("upower-laptop.json"));
    ASSERT_TRUE(upower.isReady());
    TQBatteryInfo info{PLVSysRoot(empty.path()), client};

    QVariantMap d = info.batteryData();
    EXPECT_EQ(d.value(QStringLiteral("batteryServiceStatus")).toInt(), int(Failure::None));
    EXPECT_EQ(d.value(QStringLiteral("batterySource")).toString(), QStringLiteral("UPower"));
    EXPECT_EQ(d.value(QStringLiteral("batteryCount")).toInt(), 1) << "the mouse does not power the computer";
    EXPECT_DOUBLE_EQ(d.value(QStringLiteral("batteryPercentage")).toDouble(), 76.0);
    EXPECT_EQ(d.value(QStringLiteral("batteryState")).toUInt(), unsigned(State::Discharging));
    EXPECT_EQ(d.value(QStringLiteral("batteryTimeToEmpty")).toLongLong(), 14006);
    EXPECT_FALSE(d.contains(QStringLiteral("batteryTimeToFull")));
    EXPECT_DOUBLE_EQ(d.value(QStringLiteral("batteryHealth")).toDouble(), 88.58);
    EXPECT_EQ(d.value(QStringLiteral("batteryCycleCount")).toInt(), 312);

    // The display device changes first (UPower sums the batteries into it).
    ASSERT_TRUE(upower.command(QStringLiteral("set /org/freedesktop/UPower/devices/DisplayDevice org.freedesktop.UPower.Device State u:1")));
    ASSERT_TRUE(upower.command(QStringLiteral("set /org/freedesktop/UPower/devices/DisplayDevice org.freedesktop.UPower.Device TimeToFull x:1800")));
    d = info.batteryData();
    EXPECT_EQ(d.value(QStringLiteral("batteryState")).toUInt(), unsigned(State::Charging));
    EXPECT_EQ(d.value(QStringLiteral("batteryTimeToFull")).toLongLong(), 1800);
    EXPECT_FALSE(d.contains(QStringLiteral("batteryTimeToEmpty"))) << "a stale time to empty is not shown while charging";

    // The real service refuses objects it does not have.
    PLVUPower::Device device;
    EXPECT_EQ(PLVUPower(client).readDevice(QStringLiteral("/org/freedesktop/UPower/devices/battery_BAT9"), device), Failure::NoObject);
    EXPECT_EQ(device.chargeCycles, -1);

    // The battery is pulled: UPower knows none, nor does the kernel.
    ASSERT_TRUE(upower.command(QStringLiteral("remove ") + kBat0));
    d = info.batteryData();
    EXPECT_EQ(d.value(QStringLiteral("batteryCount")).toInt(), 0);
    EXPECT_FALSE(d.contains(QStringLiteral("batteryHealth")));

    // UPower leaves the bus: the kernel's tree answers.
    TQBatteryInfo laptop{PLVSysRoot(powerFixture("laptop")), client};
    ASSERT_TRUE(upower.command(QStringLiteral("vanish")));
    d = laptop.batteryData();
    EXPECT_EQ(d.value(QStringLiteral("batteryServiceStatus")).toInt(), int(Failure::NoService));
    EXPECT_EQ(d.value(QStringLiteral("batterySource")).toString(), QStringLiteral("kernel"));
    EXPECT_EQ(d.value(QStringLiteral("batteryCycleCount")).toInt(), 312);
}

TEST_F(BusSamplers, AServiceThatStopsAnsweringCostsOneShortTimeoutThenNothing)
{
    plvtest::BusStandIn upower(bus.address(), QStringLiteral("upower"), busFixture("upower-laptop.json"));
    ASSERT_TRUE(upower.isReady());
    TQBatteryInfo info{PLVSysRoot(powerFixture("peripheral")), client};
    ASSERT_EQ(info.batteryData().value(QStringLiteral("batterySource")).toString(), QStringLiteral("UPower"));
    ASSERT_TRUE(upower.command(QStringLiteral("hang")));

    QElapsedTimer timer;
    timer.start();
    QVariantMap d = info.batteryData();
    const qint64 first = timer.restart();
    EXPECT_EQ(d.value(QStringLiteral("batteryServiceStatus")).toInt(), int(Failure::NotResponding));
    EXPECT_EQ(d.value(QStringLiteral("batteryCount")).toInt(), 0) << "nothing of the last good reading stays";
    d = info.batteryData();
    const qint64 second = timer.elapsed();
    EXPECT_EQ(d.value(QStringLiteral("batteryServiceStatus")).toInt(), int(Failure::NotResponding));
    EXPECT_LT(first, 3 * PLVSystemBus::kCallTimeout.count());
    EXPECT_LT(second, PLVSystemBus::kCallTimeout.count()) << "a silent service is left alone for a while";
}

TEST_F(BusSamplers, BlueZConnectedDevicesWithTheirOwnBatteryLevels)
{
    plvtest::BusStandIn bluez(bus.address(), QStringLiteral("bluez"), busFixture("bluez-devices.json"));
    ASSERT_TRUE(bluez.isReady());
    TQBluetoothInfo info(client);

    QVariantMap d = info.bluetoothData();
    EXPECT_EQ(d.value(QStringLiteral("bluetoothServiceStatus")).toInt(), int(Failure::None));
    EXPECT_EQ(d.value(QStringLiteral("bluetoothAdapterCount")).toInt(), 1);
    EXPECT_TRUE(d.value(QStringLiteral("bluetoothPowered")).toBool());
    QVariantList devices = d.value(QStringLiteral("bluetoothDevices")).toList();
    ASSERT_EQ(devices.size(), 2) << "the paired phone is not connected";
    const QVariantMap headset = devices[0].toMap(), mouse = devices[1].toMap();
    EXPECT_EQ(headset.value(QStringLiteral("name")).toString(), QStringLiteral("WH-1000XM4"));
    EXPECT_EQ(headset.value(QStringLiteral("icon")).toString(), QStringLiteral("audio-headset"));
    EXPECT_EQ(headset.value(QStringLiteral("batteryPercentage")).toInt(), 80);
    EXPECT_EQ(mouse.value(QStringLiteral("name")).toString(), QStringLiteral("MX Master 3"));
    EXPECT_FALSE(mouse.contains(QStringLiteral("batteryPercentage"))) << "no neighbour's battery";

    // The headset disconnects; a nameless device shows its address.
    ASSERT_TRUE(bluez.command(QStringLiteral("set ") + kHeadset + QStringLiteral(" org.bluez.Device1 Connected b:false")));
    ASSERT_TRUE(bluez.command(QStringLiteral("set /org/bluez/hci0/dev_E4_2A_55_01_02_03 org.bluez.Device1 Alias s:")));
    ASSERT_TRUE(bluez.command(QStringLiteral("set /org/bluez/hci0/dev_E4_2A_55_01_02_03 org.bluez.Device1 Name s:")));
    d = info.bluetoothData();
    devices = d.value(QStringLiteral("bluetoothDevices")).toList();
    ASSERT_EQ(devices.size(), 1);
    EXPECT_EQ(devices[0].toMap().value(QStringLiteral("name")).toString(), QStringLiteral("E4:2A:55:01:02:03"));

    // The adapter goes (unplugged dongle), then the service.
    ASSERT_TRUE(bluez.command(QStringLiteral("remove /org/bluez/hci0")));
    d = info.bluetoothData();
    EXPECT_EQ(d.value(QStringLiteral("bluetoothAdapterCount")).toInt(), 0);
    ASSERT_TRUE(bluez.command(QStringLiteral("vanish")));
    d = info.bluetoothData();
    EXPECT_EQ(d.value(QStringLiteral("bluetoothServiceStatus")).toInt(), int(Failure::NoService));
    EXPECT_EQ(d.value(QStringLiteral("bluetoothConnectedCount")).toInt(), 0);
    EXPECT_TRUE(d.value(QStringLiteral("bluetoothDevices")).toList().isEmpty());

    // The bus itself goes.
    bluez.stop();
    EXPECT_EQ(TQBluetoothInfo(noBus()).bluetoothData().value(QStringLiteral("bluetoothServiceStatus")).toInt(), int(Failure::NoBus));
}
