// CPU shares, core folding, configuration changes, load and up time of
// TQSystemInfo, on fixture trees (copied where a test changes them between
// samples) and on this machine.
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/stats/TQSystemInfo.h"
#include "support/PLVTest.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>

using plvtest::fixturePath;

namespace {

const char *const kKinds[] = {"user", "system", "idle", "nice"};

float value(const QVariantMap &d, const QString &key)
{
    const QVariant v = d.value(key);
    EXPECT_EQ(v.typeId(), QMetaType::Float) << key.toStdString();
    return v.toFloat();
}

QString key(const char *kind, const char *scope, int index)
{
    return QLatin1String(kind) + QStringLiteral("CPU") + QLatin1String(scope) + QString::number(index);
}

// Expected user, system, idle and nice shares of one "All" or "Phy" index.
void expectShares(const QVariantMap &d, const char *scope, int index, std::array<float, 4> shares)
{
    for (int k = 0; k < 4; ++k)
        EXPECT_FLOAT_EQ(value(d, key(kKinds[k], scope, index)), shares[size_t(k)])
            << kKinds[k] << "CPU" << scope << index;
}

// A writable copy of a fixture tree.
struct FixtureCopy {
    explicit FixtureCopy(const char *name)
    {
        ok = plvtest::copyTree(fixturePath(QStringLiteral("proc-cpu/") + QLatin1String(name)), dir.path());
    }
    PLVSysRoot root() const { return PLVSysRoot(dir.path()); }
    bool write(const char *relative, const QByteArray &text) const
    {
        const QString path = dir.filePath(QLatin1String(relative));
        return QDir().mkpath(QFileInfo(path).path()) && plvtest::writeFile(path, text);
    }
    QTemporaryDir dir;
    bool ok = false;
};

// Counts the core-change notifications posted while it lives.
struct CoreChangeCounter {
    CoreChangeCounter()
    {
        token = PLVNotificationCenter::defaultCenter()->addObserverForName(
            QStringLiteral("PLV_CPU_NEED_UPDATE_COREINFO"), nullptr, [this](const PLVNotification &n) {
                EXPECT_EQ(n.object, nullptr);
                ++count;
            });
    }
    ~CoreChangeCounter() { PLVNotificationCenter::defaultCenter()->removeObserver(token); }
    QObject *token = nullptr;
    int count = 0;
};

} // namespace

TEST(SystemInfoCpu, FirstSampleGivesSharesSinceBootFoldedOntoSiblingCores)
{
    TQSystemInfo info(PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/ht2way"))));
    EXPECT_EQ(info.cpuCoresInformation(),
              (QVariantMap{{QStringLiteral("physicalcpu"), 4}, {QStringLiteral("logicalcpu"), 8}}));
    EXPECT_EQ(info.modulophy(), 2);

    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value());
    // Presented order 0,4 | 1,5 | 2,6 | 3,7: index 1 is kernel CPU 4, the sibling of CPU 0.
    EXPECT_EQ(info.logicalCPUNumbers(), (QList<int>{0, 4, 1, 5, 2, 6, 3, 7}));
    expectShares(*d, "All", 0, {0.1f, 0.1f, 0.8f, 0.0f});
    expectShares(*d, "All", 1, {0.3f, 0.0f, 0.6f, 0.1f});
    // CPU 1: system takes irq, softirq and steal; idle takes iowait; guest stays out.
    expectShares(*d, "All", 2, {0.1f, 0.1f, 0.8f, 0.0f});
    expectShares(*d, "All", 3, {0.5f, 0.25f, 0.25f, 0.0f});
    expectShares(*d, "Phy", 0, {0.2f, 0.05f, 0.7f, 0.05f});
    expectShares(*d, "Phy", 1, {0.3f, 0.175f, 0.525f, 0.0f});
    expectShares(*d, "Phy", 3, {0.0f, 0.0f, 1.0f, 0.0f});
    // Phy keys exist beyond the four cores (zeros), as every index below numCPUs has all eight.
    expectShares(*d, "Phy", 7, {0, 0, 0, 0});
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("userCPU")), 1000.0f / 8000);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("systemCPU")), 450.0f / 8000);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("idleCPU")), 6450.0f / 8000);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("niceCPU")), 100.0f / 8000);

    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("loadAverage0")), 1.5f);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("loadAverage2")), 0.25f);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("tasksCount")), 3.0f);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("threadsCount")), 412.0f);
    EXPECT_TRUE(d->value(QStringLiteral("upTime")).canConvert<PLVDateComponents>());
    // 8 CPUs × 8 keys, 4 machine-wide, 3 load averages, tasks, threads, up time.
    EXPECT_EQ(d->size(), 64 + 4 + 3 + 2 + 1);
}

TEST(SystemInfoCpu, SecondSampleWithoutNewTicksHasZerosAndNoMachineShares)
{
    TQSystemInfo info(PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/ht2way"))));
    ASSERT_TRUE(info.cpuData().has_value());
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value());
    for (int i = 0; i < 8; ++i) {
        expectShares(*d, "All", i, {0, 0, 0, 0});
        expectShares(*d, "Phy", i, {0, 0, 0, 0});
    }
    for (const char *machine : {"userCPU", "systemCPU", "idleCPU", "niceCPU"})
        EXPECT_FALSE(d->contains(QLatin1String(machine))) << machine;
    EXPECT_TRUE(d->contains(QStringLiteral("loadAverage1")));
}

TEST(SystemInfoCpu, WithoutHyperThreadingEachCpuIsItsOwnCore)
{
    for (const char *fixture : {"noht", "hybrid12"}) {
        // hybrid12: 12 logical on 8 physical gives a ratio of 1.5, truncated to 1.
        TQSystemInfo info(PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/") + QLatin1String(fixture))));
        EXPECT_EQ(info.modulophy(), 1) << fixture;
        const std::optional<QVariantMap> d = info.cpuData();
        ASSERT_TRUE(d.has_value());
        const int count = int(info.numCPUs());
        for (int i = 0; i < count; ++i)
            for (const char *kind : kKinds)
                EXPECT_EQ(value(*d, key(kind, "Phy", i)), value(*d, key(kind, "All", i))) << fixture << i;
    }
    TQSystemInfo noht(PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/noht"))));
    const QVariantMap d = *noht.cpuData();
    expectShares(d, "All", 0, {0.6f, 0.2f, 0.2f, 0.0f});
    expectShares(d, "All", 1, {0.0f, 0.0f, 0.7f, 0.3f});
    EXPECT_EQ(noht.cpuCoresInformation().value(QStringLiteral("physicalcpu")), 4);
    TQSystemInfo hybrid(PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/hybrid12"))));
    EXPECT_EQ(hybrid.cpuCoresInformation().value(QStringLiteral("physicalcpu")), 8);
}

TEST(SystemInfoCpu, OfflineCpusShiftLaterIndicesDown)
{
    TQSystemInfo info(PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/offline-middle"))));
    EXPECT_EQ(info.numCPUs(), 8u);
    EXPECT_EQ(info.numLogCPU(), 6u);
    EXPECT_EQ(info.cpuNumbers(), (QList<int>{0, 1, 5, 2, 6, 3, 4, 7}));
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value());
    EXPECT_EQ(info.logicalCPUNumbers(), (QList<int>{0, 1, 5, 2, 6, 7}));
    // Kernel CPU n has user share (n + 1) / 10.
    expectShares(*d, "All", 2, {0.6f, 0, 0.4f, 0});
    expectShares(*d, "All", 5, {0.8f, 0, 0.2f, 0});
    // The two last indices have no running CPU behind them but still have their keys.
    expectShares(*d, "All", 6, {0, 0, 0, 0});
    expectShares(*d, "All", 7, {0, 0, 0, 0});
    EXPECT_FALSE(d->contains(QStringLiteral("userCPUAll8")));
}

TEST(SystemInfoCpu, HotPluggedCpuDropsOneSampleAndPostsOnce)
{
    FixtureCopy fx("hotplug");
    ASSERT_TRUE(fx.ok);
    CoreChangeCounter changes;
    TQSystemInfo info(fx.root());
    ASSERT_EQ(info.numLogCPU(), 3u);
    ASSERT_TRUE(info.cpuData().has_value());

    // CPU 3 comes online; CPU 0 moves on by 100 user and 100 idle ticks.
    ASSERT_TRUE(fx.write("sys/devices/system/cpu/online", "0-3\n"));
    ASSERT_TRUE(fx.write("sys/devices/system/cpu/cpu3/online", "1\n"));
    ASSERT_TRUE(fx.write("sys/devices/system/cpu/cpu3/topology/core_cpus_list", "3\n"));
    ASSERT_TRUE(fx.write("proc/stat", "cpu  0 0 0 0\n"
                                      "cpu0 200 0 100 900\ncpu1 100 0 100 800\ncpu2 100 0 100 800\n"
                                      "cpu3 10 0 10 80\nbtime 1700000000\n"));
    EXPECT_FALSE(info.cpuData().has_value());
    EXPECT_EQ(changes.count, 1);

    // The dropped sample rotated nothing: CPU 0's delta still runs from the first sample.
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value());
    EXPECT_EQ(changes.count, 1) << "the new count was stored with the first notification";
    expectShares(*d, "All", 0, {0.5f, 0, 0.5f, 0});
    expectShares(*d, "All", 1, {0, 0, 0, 0});
    // CPU 3 had no earlier counters: its share is since boot.
    expectShares(*d, "All", 3, {0.1f, 0.1f, 0.8f, 0});
    EXPECT_EQ(info.numLogCPU(), 4u);
    EXPECT_EQ(info.cpuCoresInformation().value(QStringLiteral("logicalcpu")), 4);
    EXPECT_FALSE(info.didCoreConfigurationChanged());

    ASSERT_TRUE(fx.write("sys/devices/system/cpu/online", "0-2\n"));
    EXPECT_TRUE(info.didCoreConfigurationChanged());
    EXPECT_FALSE(info.didCoreConfigurationChanged());
    EXPECT_EQ(changes.count, 2);
}

TEST(SystemInfoCpu, ObserverMayAskForCoreInformationWhileTheSampleIsDropped)
{
    FixtureCopy fx("hotplug");
    ASSERT_TRUE(fx.ok);
    TQSystemInfo info(fx.root());
    QVariantMap fromObserver;
    QObject *token = PLVNotificationCenter::defaultCenter()->addObserverForName(
        QStringLiteral("PLV_CPU_NEED_UPDATE_COREINFO"), nullptr,
        [&](const PLVNotification &) { fromObserver = info.cpuCoresInformation(); });
    ASSERT_TRUE(fx.write("sys/devices/system/cpu/online", "0-3\n"));
    EXPECT_FALSE(info.cpuData().has_value());
    PLVNotificationCenter::defaultCenter()->removeObserver(token);
    EXPECT_EQ(fromObserver.value(QStringLiteral("logicalcpu")), 4);
}

TEST(SystemInfoCpu, CountersAreSubtractedAsIntegersAndNeverGoBackwards)
{
    FixtureCopy fx("noht");
    ASSERT_TRUE(fx.ok);
    // Counters past 2^40: a float subtraction would lose deltas this small.
    ASSERT_TRUE(fx.write("proc/stat", "cpu  0 0 0 0\n"
                                      "cpu0 1099511627776 0 0 1099511627776\n"
                                      "cpu1 100 0 100 800 50\n"
                                      "cpu2 5 5 5 5\ncpu3 5 5 5 5\n"));
    TQSystemInfo info(fx.root());
    ASSERT_TRUE(info.cpuData().has_value());
    // CPU 1: idle + iowait drops by 10 (iowait can run backwards) while user rises by 30.
    ASSERT_TRUE(fx.write("proc/stat", "cpu  0 0 0 0\n"
                                      "cpu0 1099511627806 0 0 1099511627786\n"
                                      "cpu1 130 0 100 800 40\n"
                                      "cpu2 5 5 5 5\ncpu3 5 5 5 5\n"));
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value());
    expectShares(*d, "All", 0, {0.75f, 0, 0.25f, 0});
    expectShares(*d, "All", 1, {1.0f, 0, 0, 0});
    expectShares(*d, "All", 2, {0, 0, 0, 0});
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("userCPU")), 60.0f / 70);
}

TEST(SystemInfoCpu, UnreadableOrMalformedProcStatKeepsThePreviousCounters)
{
    FixtureCopy fx("noht");
    ASSERT_TRUE(fx.ok);
    TQSystemInfo info(fx.root());
    ASSERT_TRUE(info.cpuData().has_value());
    const QByteArray good = plvtest::readFile(fx.dir.filePath(QStringLiteral("proc/stat")));

    for (const QByteArray &bad : {QByteArray("cpu  1 2 3 4\ncpu0 700 0 200\n"), QByteArray("garbage\n"), QByteArray()}) {
        if (bad.isNull())
            ASSERT_TRUE(QFile::remove(fx.dir.filePath(QStringLiteral("proc/stat"))));
        else
            ASSERT_TRUE(fx.write("proc/stat", bad));
        const std::optional<QVariantMap> d = info.cpuData();
        ASSERT_TRUE(d.has_value());
        EXPECT_FALSE(d->contains(QStringLiteral("userCPUAll0"))) << bad.constData();
        EXPECT_FALSE(d->contains(QStringLiteral("userCPU")));
        EXPECT_TRUE(d->contains(QStringLiteral("loadAverage0"))) << "load does not depend on /proc/stat";
    }
    EXPECT_FALSE(info.cpuData()->contains(QStringLiteral("upTime"))) << "no btime without /proc/stat";

    // Back to good counters, CPU 0 40 user ticks further: measured from the last good sample.
    QByteArray later = good;
    later.replace("cpu0 600 ", "cpu0 640 ");
    ASSERT_TRUE(fx.write("proc/stat", later));
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value());
    expectShares(*d, "All", 0, {1.0f, 0, 0, 0});
    expectShares(*d, "All", 1, {0, 0, 0, 0});
}

TEST(SystemInfoCpu, WithoutSysEveryListedCpuIsSampled)
{
    CoreChangeCounter changes;
    TQSystemInfo info(PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/nosys"))));
    EXPECT_EQ(info.numCPUs(), 2u);
    EXPECT_EQ(info.modulophy(), 1);
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value());
    expectShares(*d, "All", 1, {0.3f, 0.1f, 0.6f, 0});
    EXPECT_FALSE(info.didCoreConfigurationChanged());
    EXPECT_EQ(changes.count, 0);
}

TEST(SystemInfoCpu, UpTimeCountsCalendarUnitsFromTheBootInstant)
{
    FixtureCopy fx("nosys");
    ASSERT_TRUE(fx.ok);
    // Booted 2 days, 3 hours, 4 minutes and 30 seconds ago.
    const qint64 boot = QDateTime::currentSecsSinceEpoch() - (2 * 86400 + 3 * 3600 + 4 * 60 + 30);
    ASSERT_TRUE(fx.write("proc/stat", "cpu  0 0 0 0\ncpu0 1 1 1 1\nbtime " + QByteArray::number(boot) + "\n"));
    QVariantMap d;
    TQSystemInfo::updateUpTime(d, fx.root());
    ASSERT_TRUE(d.value(QStringLiteral("upTime")).canConvert<PLVDateComponents>());
    EXPECT_EQ(d.value(QStringLiteral("upTime")).value<PLVDateComponents>(), (PLVDateComponents{0, 2, 3, 4}));

    QVariantMap none;
    TQSystemInfo::updateUpTime(none, PLVSysRoot(QStringLiteral("/nonexistent-plv-root")));
    EXPECT_FALSE(none.contains(QStringLiteral("upTime")));
}

TEST(DateComponents, MonthsFirstThenDaysHoursMinutes)
{
    const auto local = [](int y, int mo, int d, int h, int mi) { return QDateTime(QDate(y, mo, d), QTime(h, mi)); };
    // A month from 31 January ends on the last day of February (2024 is a leap year).
    EXPECT_EQ(PLVDateComponents::between(local(2024, 1, 31, 10, 0), local(2024, 3, 1, 12, 30)),
              (PLVDateComponents{1, 1, 2, 30}));
    EXPECT_EQ(PLVDateComponents::between(local(2023, 11, 15, 23, 50), local(2024, 2, 15, 23, 49)),
              (PLVDateComponents{2, 30, 23, 59}));
    EXPECT_EQ(PLVDateComponents::between(local(2024, 1, 1, 0, 0), QDateTime(QDate(2024, 1, 1), QTime(0, 0, 59))),
              (PLVDateComponents{0, 0, 0, 0}));
    // A clock set back before the boot instant gives zeros, not negative components.
    EXPECT_EQ(PLVDateComponents::between(local(2024, 2, 1, 0, 0), local(2024, 1, 1, 0, 0)), PLVDateComponents{});
    const QVariant v = QVariant::fromValue(PLVDateComponents{1, 2, 3, 4});
    EXPECT_EQ(v.value<PLVDateComponents>().minute, 4);
}

TEST(SystemInfoCpu, LiveSharesAreFractionsThatSumToOne)
{
    TQSystemInfo info;
    ASSERT_TRUE(info.cpuData().has_value());
    // Let every CPU tick a few times (USER_HZ is 100), partly busy.
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(150);
    volatile unsigned spin = 0;
    while (std::chrono::steady_clock::now() < until)
        spin = spin + 1;
    QThread::msleep(100);
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value()) << "no CPU came or went during the test";

    float sum = 0;
    for (const char *kind : kKinds) {
        const float share = value(*d, QLatin1String(kind) + QStringLiteral("CPU"));
        EXPECT_GE(share, 0.0f);
        EXPECT_LE(share, 1.0f);
        sum += share;
    }
    EXPECT_NEAR(sum, 1.0f, 1e-5f);
    EXPECT_GT(value(*d, QStringLiteral("userCPU")), 0.0f) << "the spin loop ran in user mode";

    const QList<int> logical = info.logicalCPUNumbers();
    EXPECT_EQ(logical.size(), sysconf(_SC_NPROCESSORS_ONLN));
    for (int j = 0; j < logical.size(); ++j) {
        float cpuSum = 0;
        for (const char *kind : kKinds) {
            const float share = value(*d, key(kind, "All", j));
            EXPECT_GE(share, 0.0f);
            EXPECT_LE(share, 1.0f);
            cpuSum += share;
        }
        EXPECT_NEAR(cpuSum, 1.0f, 1e-5f) << "CPU index " << j;
    }

    EXPECT_GE(value(*d, QStringLiteral("loadAverage0")), 0.0f);
    EXPECT_GE(value(*d, QStringLiteral("loadAverage1")), 0.0f);
    EXPECT_GE(value(*d, QStringLiteral("loadAverage2")), 0.0f);
    EXPECT_GE(value(*d, QStringLiteral("tasksCount")), 1.0f);
    EXPECT_GE(value(*d, QStringLiteral("threadsCount")), value(*d, QStringLiteral("tasksCount")));

    // Up time agrees with /proc/uptime to the minute.
    const double uptime = plvtest::readFile(QStringLiteral("/proc/uptime")).split(' ').value(0).toDouble();
    const PLVDateComponents up = d->value(QStringLiteral("upTime")).value<PLVDateComponents>();
    const QDateTime now = QDateTime::currentDateTime();
    const PLVDateComponents expected = PLVDateComponents::between(now.addMSecs(-qint64(uptime * 1000)), now);
    EXPECT_EQ(up.month, expected.month);
    EXPECT_EQ(up.day, expected.day);
    EXPECT_NEAR(double(up.hour * 60 + up.minute), double(expected.hour * 60 + expected.minute), 1.0);
}
