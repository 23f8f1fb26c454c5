#include "PLVCommon/linux/PLVPowerSupply.h"
#include "PLVCommon/platform/PLVPlist.h"
#include "support/PLVTest.h"
#include "support/PLVTestBus.h"
#include "test_monitor_run.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <utility>

namespace {

QProcessEnvironment withoutPlugIns()
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("PLV_PLUGINS_PATH"));
    return env;
}

} // namespace

TEST(Plvmonitor, RunsTheModulesOfItsPlugInsFolderAndShowsChangingValues)
{
    plvtest::TempGroupContainer container;
    QProcessEnvironment env = withoutPlugIns();
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), QStringLiteral(PLV_TEST_BUNDLES_DIR));
    const MonitorRun r = plvmonitor({QStringLiteral("--interval"), QStringLiteral("0.05"), QStringLiteral("--ticks"),
                              QStringLiteral("3")}, env);
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    ASSERT_EQ(r.lines.size(), 3) << r.lines.join(QLatin1Char('\n')).toStdString();
    QList<int> ticks;
    const QRegularExpression tick(QStringLiteral("UKN tickText=tick (\\d+)"));
    for (const QString &line : r.lines) {
        const auto m = tick.match(line);
        ASSERT_TRUE(m.hasMatch()) << line.toStdString();
        ticks << m.captured(1).toInt();
    }
    EXPECT_LT(ticks[0], ticks[1]);
    EXPECT_LT(ticks[1], ticks[2]);

    // The interval went into the shared settings, where every process reads it.
    const QVariantMap prefs = PLVPlist::readDictionary(container.preferencesFile()).toMap();
    EXPECT_DOUBLE_EQ(prefs.value(QStringLiteral("plvSlideInterval")).toDouble(), 0.05);

    // Every value, numbers included, on request.
    const MonitorRun all = plvmonitor({QStringLiteral("--all"), QStringLiteral("--ticks"), QStringLiteral("1")}, env);
    ASSERT_EQ(all.lines.size(), 1);
    EXPECT_TRUE(all.lines[0].contains(QStringLiteral("tick=")));
    EXPECT_TRUE(all.lines[0].contains(QStringLiteral("modelOnMainThread=false")));
}

TEST(Plvmonitor, SaysPlainlyWhenItHasNothingToRunOrIsMisused)
{
    plvtest::TempGroupContainer container;
    QTemporaryDir empty;
    QProcessEnvironment env = withoutPlugIns();
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), empty.path());
    const MonitorRun none = plvmonitor({QStringLiteral("--ticks"), QStringLiteral("1")}, env);
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(none.err.contains("no module bundles found")) << none.err.toStdString();

    const MonitorRun bad = plvmonitor({QStringLiteral("--interval"), QStringLiteral("soon")}, env);
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.err.contains("--interval")) << bad.err.toStdString();
    const MonitorRun noTree = plvmonitor({QStringLiteral("--root"), empty.path() + QStringLiteral("/absent")}, env);
    EXPECT_EQ(noTree.exitCode, 2);
    EXPECT_TRUE(noTree.err.contains("--root")) << noTree.err.toStdString();

    const MonitorRun info = plvmonitor({QStringLiteral("--info")}, env);
    EXPECT_EQ(info.exitCode, 0);
    EXPECT_TRUE(info.lines.join(QLatin1Char('\n')).contains(container.path())) << info.lines.join(QLatin1Char('\n')).toStdString();
}

TEST(Plvmonitor, RunsWholeModulesOnARecordedMachineWithOfflineCPUs)
{
    // Two cores with SMT turned off: CPUs 0 and 2 online, 1 and 3 present but
    // offline. The tree comes through the option or the variable alike.
    plvtest::TempGroupContainer container;
    const QString tree = plvtest::fixturePath(QStringLiteral("machine/smt-off"));
    QProcessEnvironment env = withoutPlugIns();
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), QStringLiteral(PLV_BUILD_PLUGINS_DIR));
    QProcessEnvironment viaVariable = env;
    viaVariable.insert(QStringLiteral("PLV_SYSTEM_ROOT"), tree);
    const QStringList ticks{QStringLiteral("--interval"), QStringLiteral("0.05"), QStringLiteral("--ticks"), QStringLiteral("3")};
    const QRegularExpression cores(QStringLiteral("CPU cpuCoreUsageText=((?:\\d+% )*)\\S.* loadAverageText=(\\S+ \\S+ \\S+) "));
    // --only limits the lines to the modules named, in their order.
    const QStringList only{QStringLiteral("--only"), QStringLiteral("mem,cpu")};
    for (const auto &[args, environment] : {std::pair{QStringList{QStringLiteral("--root"), tree} + ticks, env},
                                            std::pair{ticks + only, viaVariable}}) {
        const MonitorRun r = plvmonitor(args, environment);
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
        ASSERT_EQ(r.lines.size(), 3);
        EXPECT_EQ(r.lines.last().contains(QStringLiteral("| NET ")), !args.contains(QStringLiteral("--only")));
        if (args.contains(QStringLiteral("--only"))) {
            EXPECT_LT(r.lines.last().indexOf(QStringLiteral("MEM ")), r.lines.last().indexOf(QStringLiteral("CPU ")));
        }
        ASSERT_TRUE(cores.match(r.lines.last()).hasMatch()) << r.lines.last().toStdString();
        QStringList first;
        for (const QString &line : r.lines) {
            const auto m = cores.match(line);
            if (!m.hasMatch())
                continue; // a line printed before the module's first update
            // One entry per online CPU; the first tick shows the shares since
            // boot, and they stand on the later ones (no tick elapsed in a
            // recorded tree: nothing new to show).
            const QStringList shown = m.captured(1).split(QLatin1Char(' '), Qt::SkipEmptyParts);
            EXPECT_EQ(shown.size(), 2) << line.toStdString();
            EXPECT_FALSE(shown.contains(QStringLiteral("100%"))) << line.toStdString();
            EXPECT_EQ(m.captured(2), QStringLiteral("7.66 3.60 1.44")) << "the recorded load, not this machine's";
            if (first.isEmpty())
                first = shown;
            EXPECT_EQ(shown, first) << line.toStdString();
        }
    }
}

TEST(Plvmonitor, RunsTheBatteryAndBluetoothModulesOnThisMachine)
{
    plvtest::TempGroupContainer container;
    QTemporaryDir plugins;
    for (const char *name : {"BATTERY", "BT"})
        ASSERT_TRUE(QFile::link(QStringLiteral(PLV_BUILD_PLUGINS_DIR "/") + QLatin1String(name) + QStringLiteral(".plvbundle3"),
                                plugins.path() + QLatin1Char('/') + QLatin1String(name) + QStringLiteral(".plvbundle3")));
    QProcessEnvironment env = withoutPlugIns();
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), plugins.path());
    const bool battery = PLVPowerSupply::hasSystemBattery();

    // No system bus at all: the Bluetooth module says so and the monitor runs on.
    env.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), QStringLiteral("unix:path=/nonexistent/plv-bus"));
    MonitorRun r = plvmonitor({QStringLiteral("--interval"), QStringLiteral("0.05"), QStringLiteral("--ticks"), QStringLiteral("2")}, env);
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    ASSERT_GE(r.lines.size(), 2);
    EXPECT_TRUE(r.lines.last().contains(QStringLiteral("BLT ")) && r.lines.join(QLatin1Char(' ')).contains(QStringLiteral("bluetoothSummaryText=No system bus")))
        << r.lines.join(QLatin1Char('\n')).toStdString();
    EXPECT_EQ(r.lines.last().contains(QStringLiteral("BAT ")), battery) << r.lines.last().toStdString();
    EXPECT_EQ(r.err.contains("BATTERY.plvbundle3: only for computers with a battery"), !battery) << r.err.toStdString();

    // BlueZ on the bus the variable names.
    plvtest::PrivateBus bus;
    if (bus.address().isEmpty())
        GTEST_SKIP() << "dbus-daemon could not be started";
    plvtest::BusStandIn bluez(bus.address(), QStringLiteral("bluez"), plvtest::fixturePath(QStringLiteral("dbus/bluez-devices.json")));
    ASSERT_TRUE(bluez.isReady());
    env.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), bus.address());
    // A busy machine may print a tick before the first update is in: any of a few ticks.
    r = plvmonitor({QStringLiteral("--ticks"), QStringLiteral("4")}, env);
    const QString all = r.lines.join(QLatin1Char('\n'));
    EXPECT_TRUE(all.contains(QStringLiteral("bluetoothDevicesText=WH-1000XM4 80%, MX Master 3"))) << all.toStdString() << r.err.toStdString();
}
