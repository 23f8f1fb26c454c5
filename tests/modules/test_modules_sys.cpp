// The processor, memory, disks, temperatures, fans and network bundles, loaded
// as a host loads them, run whole on recorded trees (faults included) and on
// this machine.
#include "PLVCommon/core/PLVPreferencesForModules.h"
#include "support/PLVTest.h"
#include "test_module_support.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

using namespace modtest;
void tick(const Controller &c)
{
    c->updateModel();
    c->updateViews();
}

QStringList field(const QVariantList &list, const char *key)
{
    QStringList r;
    for (const QVariant &v : list)
        r << v.toMap().value(QLatin1String(key)).toString();
    return r;
}

using plvtest::FixtureCopy;

const QRegularExpression kRate(u"^\\d+(\\.\\d)? [KMGT]?B/s$"_s);

} // namespace

TEST(SystemModules, DisksOnADesktopTreeThenAVolumeGone)
{
    FixtureCopy fx("disks-desktop");
    for (const char *mp : {"/", "/boot/efi", "/home", "/mnt/nas", "media/user/USB STICK"})
        ASSERT_TRUE(QDir().mkpath(fx.path(QLatin1String(mp))));
    Controller disk = loadModule(u"Disk"_s, fx.path());
    ASSERT_NE(disk, nullptr);
    EXPECT_EQ(disk->bundleIdentifier(), u"com.tallowcrest.plvDisk"_s);
    tick(disk);
    EXPECT_EQ(field(value(disk, "diskVolumes").toList(), "mountPoint"),
              (QStringList{u"/"_s, u"/boot/efi"_s, u"/home"_s, u"/mnt/nas"_s, u"/media/user/USB STICK"_s}));
    EXPECT_EQ(field(value(disk, "diskDevices").toList(), "model"), (QStringList{u"Samsung SSD 970 EVO Plus 1TB"_s, u"USB DISK 3.0"_s}));
    EXPECT_TRUE(QRegularExpression(u"^\\d{1,3}%$"_s).match(value(disk, "diskUsedText").toString()).hasMatch());
    EXPECT_EQ(viewLines(disk->statusbarView()), QStringList{u"dsk R 0 B/s W 0 B/s"_s});
    const QStringList expanded = viewLines(disk->statusbarStandAloneView());
    ASSERT_EQ(expanded.size(), 8) << "five volumes, two disks, the busiest processes";
    EXPECT_TRUE(expanded[0].startsWith(u"/: "_s) && expanded[0].contains(u" free of "_s)) << expanded[0].toStdString();
    EXPECT_EQ(value(disk, "diskReadHistory").toList().size(), 350);

    // The stick pulled out: its volume and its disk leave the panel at once.
    ASSERT_TRUE(QDir(fx.path(u"media/user/USB STICK"_s)).removeRecursively());
    QByteArray stats = plvtest::readFile(fx.path(u"proc/diskstats"_s));
    stats.truncate(stats.indexOf("   8      16 sdb"));
    ASSERT_TRUE(plvtest::writeFile(fx.path(u"proc/diskstats"_s), stats));
    tick(disk);
    EXPECT_EQ(value(disk, "diskVolumes").toList().size(), 4);
    EXPECT_EQ(field(value(disk, "diskDevices").toList(), "name"), QStringList{u"nvme0n1"_s});
    EXPECT_FALSE(viewLines(disk->statusbarStandAloneView()).join(u'|').contains(u"USB"_s));
}

TEST(SystemModules, TemperaturesOfALaptopInTheChosenUnitAndWithoutASensorThatLeft)
{
    FixtureCopy fx("sys-laptop");
    Controller temp = loadModule(u"TEMP"_s, fx.path());
    ASSERT_NE(temp, nullptr);
    PLVPreferencesForModules::standardUserDefaults()->setObject(0, u"temperatureUnit"_s, u"com.tallowcrest.plvTEMP"_s);
    tick(temp);
    EXPECT_EQ(value(temp, "tempSensors").toList().size(), 16);
    EXPECT_EQ(value(temp, "tempStatusText").toString(), u"52 °C"_s) << "the hottest processor sensor";
    EXPECT_EQ(viewLines(temp->statusbarView()), QStringList{u"tmp 52 °C"_s});
    QStringList panel = viewLines(temp->statusbarStandAloneView());
    ASSERT_EQ(panel.size(), 16);
    EXPECT_EQ(panel[1], u"NVMe Composite: 39 °C"_s);
    EXPECT_TRUE(value(temp, "tempHistories").toMap().contains(u"amdgpu:0000:03:00.0:temp1"_s));

    PLVPreferencesForModules::standardUserDefaults()->setObject(1, u"temperatureUnit"_s, u"com.tallowcrest.plvTEMP"_s);
    ASSERT_TRUE(QDir(fx.path(u"sys/class/hwmon/hwmon3"_s)).removeRecursively());
    ASSERT_TRUE(plvtest::writeFile(fx.path(u"sys/class/hwmon/hwmon2/temp2_input"_s), ""));
    tick(temp);
    EXPECT_EQ(value(temp, "tempStatusText").toString(), u"126 °F"_s);
    panel = viewLines(temp->statusbarStandAloneView());
    EXPECT_EQ(panel.size(), 13);
    EXPECT_EQ(panel[5], u"CPU Core 0: unavailable"_s);
    const QVariantMap histories = value(temp, "tempHistories").toMap();
    EXPECT_FALSE(histories.contains(u"amdgpu:0000:03:00.0:temp1"_s)) << "no history of a sensor that left";
    EXPECT_NEAR(histories.value(u"coretemp:coretemp.0:temp1"_s).toList().last().toDouble(), 125.6, 1e-3);
}

TEST(SystemModules, FansOfALaptop)
{
    Controller fans = loadModule(u"Fans"_s, plvtest::fixturePath(u"sys-laptop"_s));
    ASSERT_NE(fans, nullptr);
    tick(fans);
    EXPECT_EQ(viewLines(fans->statusbarView()), QStringList{u"fan 2650 rpm"_s});
    EXPECT_EQ(viewLines(fans->statusbarStandAloneView()),
              (QStringList{u"GPU amdgpu: 1450 rpm, 30%, manual"_s, u"Board thinkpad: 2650 rpm, 100%, automatic"_s}));

    const QLocale saved;
    QLocale::setDefault(QLocale(u"fr_FR"_s));
    tick(fans);
    QLocale::setDefault(saved);
    EXPECT_EQ(value(fans, "fanStatusText").toString(), u"2650 tr/min"_s);
    EXPECT_EQ(viewLines(fans->statusbarStandAloneView()).last(), u"Carte mère thinkpad: 2650 tr/min, 100%, automatique"_s);
}

TEST(SystemModules, NetworkOfALaptopInBytesThenBits)
{
    FixtureCopy fx("net-laptop");
    Controller net = loadModule(u"NET"_s, fx.path());
    ASSERT_NE(net, nullptr);
    tick(net);
    EXPECT_EQ(field(value(net, "netInterfaces").toList(), "name"), (QStringList{u"enp0s31f6"_s, u"wlp2s0"_s, u"docker0"_s}));
    EXPECT_EQ(value(net, "netInterfaceName").toString(), u"wlp2s0"_s) << "the first physical interface that is up";
    EXPECT_EQ(value(net, "netAddressText").toString(), u"2a01:4f8:c0c1:2345::a1"_s);
    EXPECT_EQ(value(net, "netWirelessText").toString(), u"unknown network, -56 dBm"_s);
    EXPECT_EQ(viewLines(net->statusbarView()), QStringList{u"net ↓ 0 B/s ↑ 0 B/s"_s});
    EXPECT_EQ(viewLines(net->statusbarStandAloneView()).first(), u"Wi-Fi unknown network, -56 dBm"_s);

    PLVPreferencesForModules::standardUserDefaults()->setObject(true, u"useBits"_s, u"com.tallowcrest.plvNET"_s);
    // The Wi-Fi went away (card switched off): no wireless line is left behind.
    ASSERT_TRUE(QDir(fx.path(u"sys/class/net/wlp2s0"_s)).removeRecursively());
    tick(net);
    EXPECT_EQ(value(net, "netUploadText").toString(), u"0 b/s"_s);
    EXPECT_FALSE(value(net, "netWirelessText").isValid());
    EXPECT_TRUE(viewLines(net->statusbarStandAloneView()).first().startsWith(u"enp0s31f6 "_s)) << "no empty Wi-Fi line";
    EXPECT_EQ(value(net, "netAddressText").toString(), u"not connected"_s);
}

TEST(SystemModules, ProcessorOfATreeWithTwoCPUsOfflineThenBusy)
{
    FixtureCopy fx("proc-cpu/offline-middle");
    Controller cpu = loadModule(u"CPU"_s, fx.path());
    ASSERT_NE(cpu, nullptr);
    tick(cpu);
    // Since boot: 450 busy ticks of 1000 on average over the six online CPUs.
    EXPECT_EQ(value(cpu, "cpuUsageText").toString(), u"45%"_s);
    EXPECT_EQ(value(cpu, "cpuCoreUsageText").toString(), u"10% 20% 60% 30% 70% 80%"_s);
    EXPECT_EQ(value(cpu, "cpuCoreNumbers").toList(), (QVariantList{0, 1, 5, 2, 6, 7}));
    EXPECT_EQ(value(cpu, "loadAverageText").toString(), u"1.50 0.75 0.25"_s);
    EXPECT_EQ(value(cpu, "tasksText").toString(), u"3 / 412"_s);

    // Read again unchanged: no CPU time passed, and what is shown stands.
    tick(cpu);
    EXPECT_EQ(value(cpu, "cpuUsageText").toString(), u"45%"_s);

    // Then cpu0 and cpu1 busy for 100 ticks while the others idle.
    QByteArray stat = plvtest::readFile(fx.path(u"proc/stat"_s));
    stat.replace("cpu0 100 0 0 900", "cpu0 200 0 0 900").replace("cpu1 200 0 0 800", "cpu1 300 0 0 800");
    for (const char *idle : {"cpu2 300 0 0 700", "cpu5 600 0 0 400", "cpu6 700 0 0 300", "cpu7 800 0 0 200"}) {
        QByteArray next(idle);
        next.replace(next.lastIndexOf(' ') + 1, 3, QByteArray::number(next.mid(next.lastIndexOf(' ') + 1).toInt() + 100));
        stat.replace(idle, next);
    }
    ASSERT_TRUE(plvtest::writeFile(fx.path(u"proc/stat"_s), stat));
    tick(cpu);
    EXPECT_EQ(value(cpu, "cpuUsageText").toString(), u"33%"_s);
    EXPECT_EQ(value(cpu, "cpuCoreUsageText").toString(), u"100% 100% 0% 0% 0% 0%"_s);
    const QVariantList history = value(cpu, "cpuHistory").toList();
    ASSERT_EQ(history.size(), 350);
    EXPECT_NEAR(history[348].toFloat(), 45.0f, 0.01f);
    EXPECT_NEAR(history[349].toFloat(), 33.33f, 0.01f);
    EXPECT_NEAR(value(cpu, "cpuHistoryMax").toFloat(), 45.0f, 0.01f);
}

TEST(SystemModules, MemoryOfATreeWithSwapThenOfAnotherWithout)
{
    Controller mem = loadModule(u"MEM"_s, plvtest::fixturePath(u"proc-mem/full"_s));
    ASSERT_NE(mem, nullptr);
    tick(mem);
    EXPECT_EQ(value(mem, "memUsedText").toString(), u"50%"_s) << "half of the memory is available";
    EXPECT_EQ(value(mem, "memSwapUsedText").toString(), u"49 MB"_s) << "total less free";
    EXPECT_EQ(value(mem, "memTopProcesses").toList(), QVariantList{});

    // Another machine: its history starts afresh.
    qobject_cast<PLVSamplingModuleModel *>(mem->modulemodelobj())->setSystemRoot(PLVSysRoot(plvtest::fixturePath(u"proc-mem/noswap"_s)));
    tick(mem);
    const QVariantList history = value(mem, "memHistory").toList();
    ASSERT_EQ(history.size(), 350);
    EXPECT_EQ(history[348].toFloat(), 0.0f);
    EXPECT_EQ(history[349].toFloat(), value(mem, "memUsedPerc").toFloat());
    EXPECT_EQ(value(mem, "memTotalSwapText").toString(), u"0 MB"_s) << "no swap is not an unreadable swap";
}

TEST(SystemModules, DisksAndNetworkOnThisMachine)
{
    Controller disk = loadModule(u"Disk"_s);
    ASSERT_NE(disk, nullptr);
    tick(disk);
    EXPECT_TRUE(field(value(disk, "diskVolumes").toList(), "mountPoint").contains(u"/"_s));
    ASSERT_FALSE(value(disk, "diskDevices").toList().isEmpty());
    // Write and flush 16 MiB: this process must show among the busiest, and
    // the disks' write rate must rise.
    QTemporaryDir dir(QDir::currentPath() + u"/plv-io-XXXXXX"_s);
    const QByteArray block(1 << 20, 'x');
    const int fd = ::open(QFile::encodeName(dir.path() + u"/f"_s).constData(), O_WRONLY | O_CREAT, 0600);
    ASSERT_GE(fd, 0);
    for (int i = 0; i < 16; ++i)
        ASSERT_EQ(::write(fd, block.constData(), size_t(block.size())), block.size());
    ::fsync(fd);
    ::close(fd);
    QThread::msleep(200);
    tick(disk);
    EXPECT_GT(value(disk, "diskWriteRate").toULongLong(), 0u);
    EXPECT_TRUE(field(value(disk, "diskTopProcesses").toList(), "pid").contains(QString::number(QCoreApplication::applicationPid())))
        << value(disk, "diskTopProcessesText").toString().toStdString();

    PLVPreferencesForModules::standardUserDefaults()->setObject(false, u"useBits"_s, u"com.tallowcrest.plvNET"_s);
    Controller net = loadModule(u"NET"_s);
    ASSERT_NE(net, nullptr);
    tick(net);
    const QVariantList interfaces = value(net, "netInterfaces").toList();
    ASSERT_FALSE(interfaces.isEmpty());
    EXPECT_FALSE(field(interfaces, "name").contains(u"lo"_s));
    EXPECT_TRUE(kRate.match(value(net, "netDownloadText").toString()).hasMatch()) << value(net, "netDownloadText").toString().toStdString();
    for (const QVariant &i : interfaces) {
        if (i.toMap().value(u"state"_s) == u"up"_s && i.toMap().value(u"physical"_s).toBool()) {
            EXPECT_FALSE(i.toMap().value(u"addresses"_s).toStringList().isEmpty()) << i.toMap().value(u"name"_s).toString().toStdString();
        }
    }
}

TEST(SystemModules, SensorsOnThisMachineOrAPlainNoneFound)
{
    Controller temp = loadModule(u"TEMP"_s);
    Controller fans = loadModule(u"Fans"_s);
    ASSERT_TRUE(temp && fans);
    tick(temp);
    tick(fans);
    const bool anyTemp = !value(temp, "tempSensors").toList().isEmpty();
    EXPECT_EQ(anyTemp, value(temp, "tempValue").isValid());
    if (!anyTemp) {
        EXPECT_EQ(viewLines(temp->statusbarView()), QStringList{u"tmp none found"_s});
    }
    if (value(fans, "fanSensors").toList().isEmpty()) {
        EXPECT_EQ(viewLines(fans->statusbarStandAloneView()), QStringList{u"none found"_s});
    }
}
