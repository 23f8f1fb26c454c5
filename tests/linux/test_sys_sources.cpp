// Disks, hardware sensors and network interfaces read from fixture trees laid
// out as the kernel lays them out, then broken the ways real machines break:
// disks pulled out, sensors that stop answering, counters that wrap or reset,
// interfaces renamed or gone.
#include "PLVCommon/linux/PLVDiskSource.h"
#include "PLVCommon/linux/PLVHwmonSource.h"
#include "PLVCommon/linux/PLVNetSource.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

using namespace Qt::Literals::StringLiterals;

namespace {

using plvtest::FixtureCopy;

QStringList mountPoints(const QList<PLVMountedVolume> &volumes)
{
    QStringList r;
    for (const PLVMountedVolume &v : volumes)
        r << v.mountPoint;
    return r;
}

QByteArray diskstats(quint64 nvmeRead, quint64 nvmeWritten, quint64 sdbRead)
{
    return QStringLiteral(" 259       0 nvme0n1 100 0 %1 0 100 0 %2 0 0 0 0 0 0 0 0 0 0\n"
                          " 259       2 nvme0n1p2 100 0 %1 0 100 0 %2 0 0 0 0 0 0 0 0 0 0\n"
                          "   7       0 loop0 58 0 999999 9 0 0 0 0 0 36 9 0 0 0 0 0 0\n"
                          "   8      16 sdb 910 20 %3 800 60 5 2048 90 0 600 890 0 0 0 0 0 0\n")
        .arg(nvmeRead).arg(nvmeWritten).arg(sdbRead)
        .toLatin1();
}

} // namespace

TEST(DiskSource, ShowsEachStorageFileSystemOnceAndLeavesOutPseudoBindAndPulledMounts)
{
    FixtureCopy fx("disks-desktop");
    for (const char *mp : {"/", "/boot/efi", "/home", "/mnt/nas", "/var/www", "/home/user/mirror", "/run", "/snap/core22/1380"})
        ASSERT_TRUE(QDir().mkpath(fx.path(QLatin1String(mp))));
    PLVDiskSource source(fx.root());
    // The USB stick's folder is missing, as when it was pulled out between the
    // mount table and statvfs: left out, not shown with another disk's sizes.
    EXPECT_EQ(mountPoints(source.volumes()), (QStringList{u"/"_s, u"/boot/efi"_s, u"/home"_s, u"/mnt/nas"_s}));

    ASSERT_TRUE(QDir().mkpath(fx.path(u"media/user/USB STICK"_s)));
    const QList<PLVMountedVolume> volumes = source.volumes();
    ASSERT_EQ(mountPoints(volumes).last(), u"/media/user/USB STICK"_s);
    EXPECT_EQ(volumes.last().device, u"/dev/sdb1"_s);
    EXPECT_EQ(volumes.last().fsType, u"vfat"_s);
    EXPECT_EQ(volumes[3].device, u"nas.local:/export/media"_s);
    for (const PLVMountedVolume &v : volumes) {
        EXPECT_GT(v.totalBytes, 0u) << v.mountPoint.toStdString();
        EXPECT_LE(v.usedBytes + v.freeBytes, v.totalBytes) << v.mountPoint.toStdString();
    }
    EXPECT_EQ(PLVDiskSource::unescapeMountField("/a\\040b\\011c\\134d\\04"), u"/a b\tc\\d\\04"_s);
}

TEST(DiskSource, AMountThatComesAndGoesOnTheLiveSystemIsSeenAtTheNextLook)
{
    // The mount table is parsed again only when the kernel says it changed.
    QTemporaryDir dir;
    const QByteArray at = QFile::encodeName(dir.path());
    PLVDiskSource source;
    auto shown = [&] {
        for (const PLVMountedVolume &v : source.volumes())
            if (v.mountPoint == dir.path())
                return true;
        return false;
    };
    EXPECT_FALSE(shown());
    // A memory file system under a device-like source counts as storage.
    if (::mount("/dev/plvtest-volume", at.constData(), "tmpfs", 0, "size=1m") != 0)
        GTEST_SKIP() << "cannot mount here: " << std::strerror(errno);
    EXPECT_TRUE(shown());
    ASSERT_EQ(::umount(at.constData()), 0);
    EXPECT_FALSE(shown());
}

TEST(DiskSource, RatesPerWholeDiskSurviveNeitherAReplugNorARemoval)
{
    FixtureCopy fx("disks-desktop");
    PLVDiskSource source(fx.root());
    fx.write(u"proc/diskstats"_s, diskstats(1000, 1000, 5000));
    QList<PLVDiskActivity> first = source.activity(10.0);
    ASSERT_EQ(first.size(), 2) << "partitions, loop and device-mapper devices are not disks";
    EXPECT_EQ(first[0].model, u"Samsung SSD 970 EVO Plus 1TB"_s);
    EXPECT_EQ(first[1].name, u"sdb"_s);
    EXPECT_TRUE(first[1].removable);
    EXPECT_EQ(first[0].readRate, 0.0);

    // 2048 sectors read and 4096 written in two seconds.
    fx.write(u"proc/diskstats"_s, diskstats(3048, 5096, 6000));
    const QList<PLVDiskActivity> second = source.activity(12.0);
    EXPECT_DOUBLE_EQ(second[0].readRate, 2048 * 512 / 2.0);
    EXPECT_DOUBLE_EQ(second[0].writeRate, 4096 * 512 / 2.0);
    EXPECT_DOUBLE_EQ(second[1].readRate, 1000 * 512 / 2.0);

    // Another stick under the same name: a new sequence number, counters from 0.
    fx.write(u"sys/block/sdb/diskseq"_s, "10\n");
    fx.write(u"proc/diskstats"_s, diskstats(3048, 5096, 9000));
    EXPECT_EQ(source.activity(14.0)[1].readRate, 0.0);
    // Counters that went back without a new sequence number: a reset, not a huge rate.
    fx.write(u"proc/diskstats"_s, diskstats(10, 5096, 9000));
    EXPECT_EQ(source.activity(16.0)[0].readRate, 0.0);

    // Pulled out: gone from the list; back in: starts from 0 again.
    fx.write(u"proc/diskstats"_s, diskstats(20, 5096, 0).split('\n').mid(0, 3).join('\n'));
    ASSERT_EQ(source.activity(18.0).size(), 1);
    fx.write(u"proc/diskstats"_s, diskstats(30, 5096, 9999));
    EXPECT_EQ(source.activity(20.0)[1].readRate, 0.0);

    // No diskstats at all (a root without /proc): nothing, no crash.
    ASSERT_TRUE(QFile::remove(fx.path(u"proc/diskstats"_s)));
    EXPECT_TRUE(source.activity(22.0).isEmpty());
}

TEST(DiskSource, TopProcessesAreTheBusiestSinceTheLastLookAndNeverAReusedNumber)
{
    FixtureCopy fx("disks-desktop");
    PLVDiskSource source(fx.root());
    EXPECT_TRUE(source.topProcesses(100.0, 5).isEmpty()) << "no rates before a second look";
    const QByteArray io = "rchar: 0\nwchar: 0\nsyscr: 0\nsyscw: 0\nread_bytes: %1\nwrite_bytes: %2\ncancelled_write_bytes: 0\n";
    fx.write(u"proc/4242/io"_s, QString::fromLatin1(io).arg(1000000000 + 20000000).arg(500000000 + 2000000).toLatin1());
    const QList<PLVProcessIO> top = source.topProcesses(102.0, 5);
    ASSERT_EQ(top.size(), 1) << "a process that did no I/O is left out";
    EXPECT_EQ(top[0].pid, 4242);
    EXPECT_EQ(top[0].name, u"rsync"_s);
    EXPECT_DOUBLE_EQ(top[0].readRate, 10000000.0);
    EXPECT_DOUBLE_EQ(top[0].writeRate, 1000000.0);

    // The number now belongs to another program, with its own counters.
    fx.write(u"proc/4242/comm"_s, "cc1plus\n");
    fx.write(u"proc/4242/io"_s, QString::fromLatin1(io).arg(1999999999).arg(0).toLatin1());
    // An unreadable io file (another user's process) is skipped.
    ASSERT_TRUE(QFile::remove(fx.path(u"proc/4243/io"_s)) && QDir().mkpath(fx.path(u"proc/4243/io"_s)));
    EXPECT_TRUE(source.topProcesses(104.0, 5).isEmpty());

    // A look younger than the age asked for stands; an older one is taken again.
    fx.write(u"proc/4242/io"_s, QString::fromLatin1(io).arg(1999999999 + 8000000).arg(0).toLatin1());
    EXPECT_TRUE(source.topProcesses(106.0, 5, 10.0).isEmpty());
    const QList<PLVProcessIO> later = source.topProcesses(114.0, 5, 10.0);
    ASSERT_EQ(later.size(), 1);
    EXPECT_DOUBLE_EQ(later[0].readRate, 800000.0) << "over the ten seconds since the last look";
}

TEST(DiskSource, ALiveProcessIsFollowedAcrossLooksThroughItsKeptIoFile)
{
    // A shell that, once looked at, has a child write 8 MB to a real disk and
    // reaps it: the child's I/O is then counted in the shell's own io file.
    QTemporaryDir dir(QDir::currentPath() + u"/io-XXXXXX"_s); // not tmpfs, which counts no block I/O
    ASSERT_TRUE(dir.isValid());
    QProcess shell;
    shell.start(u"sh"_s, {u"-c"_s, u"read go; dd if=/dev/zero of='%1/f' bs=1M count=8 conv=fsync 2>/dev/null; read end"_s.arg(dir.path())});
    ASSERT_TRUE(shell.waitForStarted());
    PLVDiskSource source;
    source.topProcesses(5);
    shell.write("\n");
    bool seen = false;
    ASSERT_TRUE(plvtest::waitUntil([&] {
        for (const PLVProcessIO &p : source.topProcesses(5))
            seen = seen || (p.pid == shell.processId() && p.writeRate > 0);
        return seen;
    }, std::chrono::seconds(20)))
        << "the shell's written bytes never showed";
    shell.write("\n");
    shell.waitForFinished();
}

TEST(HwmonSource, ALaptopsSensorsCarryTheirOwnLabelsGroupsAndValues)
{
    const PLVHwmonSource source(PLVSysRoot(plvtest::fixturePath(u"sys-laptop"_s)));
    struct Row {
        const char *group, *label;
        double celsius;
    };
    const std::vector<Row> expected{
        {"Board", "acpitz", 45.0},       {"NVMe", "Composite", 38.85}, {"NVMe", "Sensor 1", 38.85}, {"NVMe", "Sensor 2", 44.85},
        {"CPU", "Package id 0", 52.0},   {"CPU", "Core 0", 48.0},      {"CPU", "Core 1", 49.0},     {"CPU", "Core 2", 50.0},
        {"CPU", "Core 3", 51.0},         {"GPU", "edge", 41.0},        {"GPU", "junction", 43.0},   {"GPU", "mem", 40.0},
        {"Board", "thinkpad 1", 47.0},   {"Board", "thinkpad 2", 0.0}, {"Wi-Fi", "iwlwifi_1", 39.0},
        // Zones mirrored by an hwmon chip (acpitz, iwlwifi_1) or by coretemp (x86_pkg_temp) are not repeated.
        {"Board", "SEN1", 36.05},
    };
    const QList<PLVTemperatureSensor> sensors = source.temperatures();
    ASSERT_EQ(sensors.size(), qsizetype(expected.size()));
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(sensors[i].group, QLatin1String(expected[i].group)) << i;
        EXPECT_EQ(sensors[i].label, QLatin1String(expected[i].label)) << i;
        ASSERT_TRUE(sensors[i].celsius.has_value()) << i;
        EXPECT_DOUBLE_EQ(*sensors[i].celsius, expected[i].celsius) << i;
    }
    EXPECT_EQ(sensors[1].id, u"nvme:nvme0:temp1"_s) << "ids follow the device, not the hwmon number";

    const QList<PLVFanSensor> fans = source.fans();
    ASSERT_EQ(fans.size(), 2);
    EXPECT_EQ(fans[0].group, u"GPU"_s);
    EXPECT_EQ(fans[0].rpm, 1450);
    EXPECT_EQ(fans[0].dutyPercent, 30); // 76 of 255
    EXPECT_EQ(fans[0].control, 1);
    EXPECT_EQ(fans[1].label, u"thinkpad"_s);
    EXPECT_EQ(fans[1].rpm, 2650);
    EXPECT_EQ(fans[1].dutyPercent, 100);
    EXPECT_EQ(fans[1].control, 2);
}

TEST(HwmonSource, ASensorThatStopsAnsweringIsUnavailableAndItsNeighboursKeepTheirOwnValues)
{
    FixtureCopy fx("sys-laptop");
    // A read error (here EISDIR, as EIO or ENODATA from a driver) and an
    // empty answer; the fan of the dGPU stops answering too.
    ASSERT_TRUE(QFile::remove(fx.path(u"sys/class/hwmon/hwmon2/temp3_input"_s)));
    ASSERT_TRUE(QDir().mkpath(fx.path(u"sys/class/hwmon/hwmon2/temp3_input"_s)));
    fx.write(u"sys/class/hwmon/hwmon1/temp1_input"_s, "");
    fx.write(u"sys/class/hwmon/hwmon3/fan1_input"_s, "garbage\n");
    const PLVHwmonSource source(fx.root());
    const QList<PLVTemperatureSensor> sensors = source.temperatures();
    ASSERT_EQ(sensors.size(), 16);
    EXPECT_FALSE(sensors[1].celsius.has_value());
    EXPECT_EQ(sensors[2].celsius, 38.85);
    EXPECT_EQ(sensors[5].celsius, 48.0);
    EXPECT_FALSE(sensors[6].celsius.has_value()) << "Core 1";
    EXPECT_EQ(sensors[7].celsius, 50.0);
    EXPECT_FALSE(source.fans()[0].rpm.has_value());
    EXPECT_EQ(source.fans()[0].dutyPercent, 30);

    // The dGPU powered off: its chip is gone, nobody else's ids change.
    ASSERT_TRUE(QDir(fx.path(u"sys/class/hwmon/hwmon3"_s)).removeRecursively());
    const QList<PLVTemperatureSensor> after = source.temperatures();
    ASSERT_EQ(after.size(), 13);
    EXPECT_EQ(after[9].id, sensors[12].id);
    EXPECT_EQ(source.fans().size(), 1);

    // A machine without any (this kind of virtual machine): empty lists.
    const PLVHwmonSource none(PLVSysRoot(fx.path(u"nothing"_s)));
    EXPECT_TRUE(none.temperatures().isEmpty());
    EXPECT_TRUE(none.fans().isEmpty());
}

TEST(NetSource, InterfacesWithStateAddressesAndTheWirelessSignal)
{
    FixtureCopy fx("net-laptop");
    PLVNetSource source(fx.root());
    const QList<PLVNetInterface> list = source.interfaces(1.0);
    ASSERT_EQ(list.size(), 3) << "loopback is left out";
    EXPECT_EQ(list[0].name, u"enp0s31f6"_s);
    EXPECT_EQ(list[0].operState, u"down"_s);
    EXPECT_EQ(list[0].speedMbps, -1);
    EXPECT_EQ(list[1].name, u"wlp2s0"_s);
    EXPECT_TRUE(list[1].physical && list[1].wireless);
    EXPECT_EQ(list[1].hardwareAddress, u"a0:b3:c4:d5:e6:f7"_s);
    EXPECT_EQ(list[1].signalDbm, -56);
    EXPECT_EQ(list[1].linkQuality, 54);
    EXPECT_EQ(list[1].addresses, (QStringList{u"2a01:4f8:c0c1:2345::a1"_s, u"fe80::a2b3:c4ff:fed5:e6f7"_s}));
    EXPECT_EQ(list[2].name, u"docker0"_s);
    EXPECT_FALSE(list[2].physical);
    EXPECT_FALSE(list[2].signalDbm.has_value());
}

TEST(NetSource, RatesAcrossWrapsResetsRenamesAndRemovals)
{
    FixtureCopy fx("net-laptop");
    PLVNetSource source(fx.root());
    const QString wl = u"sys/class/net/wlp2s0/statistics/"_s;
    fx.write(wl + u"rx_bytes"_s, "4294967000\n"); // a 32-bit counter about to wrap
    fx.write(wl + u"tx_bytes"_s, "1000\n");
    source.interfaces(1.0);
    fx.write(wl + u"rx_bytes"_s, "704\n");
    fx.write(wl + u"tx_bytes"_s, "3000\n");
    fx.write(u"sys/class/net/docker0/statistics/tx_bytes"_s, "10\n"); // reset (the bridge came back)
    QList<PLVNetInterface> list = source.interfaces(3.0);
    EXPECT_DOUBLE_EQ(list[1].rxRate, 500.0);
    EXPECT_DOUBLE_EQ(list[1].txRate, 1000.0);
    EXPECT_EQ(list[2].txRate, 0.0);

    // Renamed by udev: same index, the rates go on.
    ASSERT_TRUE(QDir().rename(fx.path(u"sys/class/net/wlp2s0"_s), fx.path(u"sys/class/net/wlan0"_s)));
    fx.write(u"sys/class/net/wlan0/statistics/tx_bytes"_s, "5000\n");
    list = source.interfaces(5.0);
    ASSERT_EQ(list[1].name, u"wlan0"_s);
    EXPECT_DOUBLE_EQ(list[1].txRate, 1000.0);
    // Another interface under an old name (a new index): starts from 0.
    fx.write(u"sys/class/net/docker0/ifindex"_s, "9\n");
    fx.write(u"sys/class/net/docker0/statistics/tx_bytes"_s, "999999\n");
    EXPECT_EQ(source.interfaces(7.0)[2].txRate, 0.0);
    // Gone between the listing and the reads: left out.
    ASSERT_TRUE(QFile::remove(fx.path(u"sys/class/net/docker0/statistics/rx_bytes"_s)));
    EXPECT_EQ(source.interfaces(9.0).size(), 2);

    struct Case {
        quint64 before, now, delta;
    };
    for (const Case &c : {Case{10, 25, 15}, Case{0xFFFFFF00u, 0x10, 0x110}, Case{0xFFFFFF00u, 0x90000000u, 0},
                          Case{quint64(1) << 40, 5, 0}, Case{7, 7, 0}})
        EXPECT_EQ(PLVNetSource::counterDelta(c.before, c.now), c.delta) << c.before << " -> " << c.now;
}

namespace {

bool ipCommand(const QStringList &args)
{
    QProcess ip;
    ip.start(u"ip"_s, args);
    return ip.waitForFinished(10000) && ip.exitStatus() == QProcess::NormalExit && ip.exitCode() == 0;
}

bool ipLink(const QStringList &args) { return ipCommand(QStringList{u"link"_s} + args); }

// Broadcast Ethernet frames of `bytes` bytes each out of the interface.
bool sendFrames(const QString &interface, int count, int bytes)
{
    const int fd = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    sockaddr_ll to{};
    to.sll_family = AF_PACKET;
    to.sll_ifindex = int(::if_nametoindex(interface.toLatin1().constData()));
    to.sll_halen = 6;
    std::memset(to.sll_addr, 0xff, 6);
    QByteArray frame(bytes, '\0');
    std::memset(frame.data(), 0xff, 6);                 // destination: broadcast
    frame[12] = char(0x88), frame[13] = char(0xb5);      // local experimental EtherType
    bool ok = to.sll_ifindex > 0;
    for (int i = 0; ok && i < count; ++i)
        ok = ::sendto(fd, frame.constData(), size_t(frame.size()), 0, reinterpret_cast<sockaddr *>(&to), sizeof to) == frame.size();
    ::close(fd);
    return ok;
}

} // namespace

TEST(NetSource, ALiveInterfaceCountedThenRenamedThenGone)
{
    // A veth pair: what leaves one end arrives at the other.
    if (!ipLink({u"add"_s, u"plvtesta"_s, u"type"_s, u"veth"_s, u"peer"_s, u"name"_s, u"plvtestb"_s}))
        GTEST_SKIP() << "cannot create a veth pair here (needs CAP_NET_ADMIN)";
    struct Cleanup {
        ~Cleanup() { ipLink({u"del"_s, u"plvtesta"_s}); }
    } cleanup;
    ASSERT_TRUE(ipLink({u"set"_s, u"plvtesta"_s, u"up"_s}) && ipLink({u"set"_s, u"plvtestb"_s, u"up"_s}));
    auto find = [](const QList<PLVNetInterface> &list, const QString &name) -> const PLVNetInterface * {
        for (const PLVNetInterface &i : list)
            if (i.name == name)
                return &i;
        return nullptr;
    };
    PLVNetSource source;
    const QList<PLVNetInterface> first = source.interfaces(1.0);
    ASSERT_NE(find(first, u"plvtestb"_s), nullptr);
    EXPECT_FALSE(find(first, u"plvtestb"_s)->physical);

    ASSERT_TRUE(sendFrames(u"plvtesta"_s, 100, 1000));
    const QList<PLVNetInterface> second = source.interfaces(2.0);
    const PLVNetInterface *b = find(second, u"plvtestb"_s);
    ASSERT_NE(b, nullptr);
    EXPECT_GE(b->rxRate, 100000.0) << "100 frames of 1000 bytes in one second";
    EXPECT_LT(b->rxRate, 110000.0);
    EXPECT_GE(find(second, u"plvtesta"_s)->txRate, 100000.0);

    // 50 more frames, then renamed (the link must be down for it): the same
    // interface under its new name, its rate counted across the rename.
    ASSERT_TRUE(sendFrames(u"plvtesta"_s, 50, 1000));
    ASSERT_TRUE(ipLink({u"set"_s, u"plvtestb"_s, u"down"_s}) && ipLink({u"set"_s, u"plvtestb"_s, u"name"_s, u"plvtestc"_s}));
    const QList<PLVNetInterface> third = source.interfaces(3.0);
    ASSERT_NE(find(third, u"plvtestc"_s), nullptr);
    EXPECT_EQ(find(third, u"plvtestb"_s), nullptr);
    EXPECT_GE(find(third, u"plvtestc"_s)->rxRate, 50000.0);
    EXPECT_LT(find(third, u"plvtestc"_s)->rxRate, 60000.0);
    EXPECT_EQ(find(third, u"plvtestc"_s)->operState, u"down"_s);

    // Deleted (both ends go): gone from the next sample.
    ASSERT_TRUE(ipLink({u"del"_s, u"plvtesta"_s}));
    const QList<PLVNetInterface> fourth = source.interfaces(4.0);
    EXPECT_EQ(find(fourth, u"plvtesta"_s), nullptr);
    EXPECT_EQ(find(fourth, u"plvtestc"_s), nullptr);

    // Made again under an old name: a new interface, read afresh, with its address.
    ASSERT_TRUE(ipLink({u"add"_s, u"plvtesta"_s, u"type"_s, u"veth"_s, u"peer"_s, u"name"_s, u"plvtestb"_s}));
    ASSERT_TRUE(ipCommand({u"addr"_s, u"add"_s, u"198.51.100.7/32"_s, u"dev"_s, u"plvtesta"_s}));
    const QList<PLVNetInterface> fifth = source.interfaces(5.0);
    const PLVNetInterface *again = find(fifth, u"plvtesta"_s);
    ASSERT_NE(again, nullptr);
    EXPECT_NE(again->ifindex, find(first, u"plvtesta"_s)->ifindex);
    EXPECT_EQ(again->txRate, 0.0);
    EXPECT_EQ(again->addresses, QStringList{u"198.51.100.7"_s});
}
