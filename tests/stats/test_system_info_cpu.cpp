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
    // Phy keys exist beyond the four cores (zeros), as every index below numCPUs has all eight.
    expectShares(*d, "Phy", 7, {0, 0, 0, 0});
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("userCPU")), 1000.0f / 8000);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("systemCPU")), 450.0f / 8000);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("idleCPU")), 6450.0f / 8000);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("niceCPU")), 100.0f / 8000);

    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("loadAverage1")), 0.75f);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("tasksCount")), 3.0f);
    EXPECT_FLOAT_EQ(value(*d, QStringLiteral("threadsCount")), 412.0f);
    EXPECT_TRUE(d->value(QStringLiteral("upTime")).canConvert<PLVDateComponents>());
    // 8 CPUs × 8 keys, 4 machine-wide, 3 load averages, tasks, threads, up time.
    EXPECT_EQ(d->size(), 64 + 4 + 3 + 2 + 1);

    // Again, no tick since: every per-CPU key 0.0, no machine-wide shares.
    const QVariantMap again = *info.cpuData();
    for (int i = 0; i < 8; ++i)
        for (const char *scope : {"All", "Phy"})
            expectShares(again, scope, i, {0, 0, 0, 0});
    EXPECT_EQ(again.size(), 64 + 3 + 2 + 1) << "no machine-wide shares";
}

TEST(SystemInfoCpu, WithoutHyperThreadingEachCpuIsItsOwnCore)
{
    // noht: 4 single-thread cores (thread_siblings_list only, as older kernels);
    // hybrid12: 12 logical on 8 physical, a ratio of 1.5 truncated to 1.
    for (const auto &[fixture, physical] : {std::pair{"noht", 4}, std::pair{"hybrid12", 8}}) {
        TQSystemInfo info(PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/") + QLatin1String(fixture))));
        EXPECT_EQ(info.modulophy(), 1) << fixture;
        EXPECT_EQ(info.cpuCoresInformation().value(QStringLiteral("physicalcpu")), physical);
        const QVariantMap d = *info.cpuData();
        for (int i = 0; i < int(info.numCPUs()); ++i)
            for (const char *kind : kKinds)
                EXPECT_EQ(value(d, key(kind, "Phy", i)), value(d, key(kind, "All", i))) << fixture << i;
        if (physical == 4) {
            expectShares(d, "All", 0, {0.6f, 0.2f, 0.2f, 0.0f});
            expectShares(d, "All", 1, {0.0f, 0.0f, 0.7f, 0.3f});
        }
    }
}

TEST(SystemInfoCpu, OfflineCpusShiftLaterIndicesDown)
{
    // Siblings n and n+4; CPUs 3 and 4 offline, so 0 and 7 have lost their siblings.
    TQSystemInfo info(PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/offline-middle"))));
    EXPECT_EQ(info.numCPUs(), 8u);
    EXPECT_EQ(info.numLogCPU(), 6u);
    EXPECT_EQ(info.numPhyCPU(), 4u);
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
    // The usual answer to the notification; it must not deadlock with the sample posting it.
    QVariantMap fromObserver;
    QObject *token = PLVNotificationCenter::defaultCenter()->addObserverForName(
        QStringLiteral("PLV_CPU_NEED_UPDATE_COREINFO"), nullptr,
        [&](const PLVNotification &) { fromObserver = info.cpuCoresInformation(); });
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
    PLVNotificationCenter::defaultCenter()->removeObserver(token);
    EXPECT_EQ(fromObserver.value(QStringLiteral("logicalcpu")), 4);

    // The dropped sample rotated nothing: CPU 0's delta still runs from the first sample.
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value());
    EXPECT_EQ(changes.count, 1) << "the new count was stored with the first notification";
    expectShares(*d, "All", 0, {0.5f, 0, 0.5f, 0});
    expectShares(*d, "All", 1, {0, 0, 0, 0});
    // CPU 3 had no earlier counters: its share is since boot.
    expectShares(*d, "All", 3, {0.1f, 0.1f, 0.8f, 0});
    EXPECT_EQ(info.numLogCPU(), 4u);
    EXPECT_FALSE(info.didCoreConfigurationChanged());

    ASSERT_TRUE(fx.write("sys/devices/system/cpu/online", "0-2\n"));
    EXPECT_TRUE(info.didCoreConfigurationChanged());
    EXPECT_FALSE(info.didCoreConfigurationChanged());
    EXPECT_EQ(changes.count, 2);
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

TEST(SystemInfoCpu, WithoutSysEveryListedCpuIsSampledAndBtimeGivesTheUpTime)
{
    FixtureCopy fx("nosys");
    ASSERT_TRUE(fx.ok);
    // Booted 2 days, 3 hours, 4 minutes and 30 seconds ago.
    const qint64 boot = QDateTime::currentSecsSinceEpoch() - (2 * 86400 + 3 * 3600 + 4 * 60 + 30);
    QByteArray stat = plvtest::readFile(fx.dir.filePath(QStringLiteral("proc/stat")));
    stat.replace("btime 1700000000", "btime " + QByteArray::number(boot));
    ASSERT_TRUE(fx.write("proc/stat", stat));

    CoreChangeCounter changes;
    TQSystemInfo info(fx.root());
    EXPECT_EQ(info.numCPUs(), 2u);
    EXPECT_EQ(info.modulophy(), 1);
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value());
    expectShares(*d, "All", 1, {0.3f, 0.1f, 0.6f, 0});
    EXPECT_EQ(d->value(QStringLiteral("upTime")).value<PLVDateComponents>(), (PLVDateComponents{0, 2, 3, 4}));
    EXPECT_FALSE(info.didCoreConfigurationChanged());
    EXPECT_EQ(changes.count, 0);

    TQSystemInfo nothing(PLVSysRoot(QStringLiteral("/nonexistent-plv-root")));
    EXPECT_EQ(nothing.numCPUs(), 1u);
    EXPECT_EQ(nothing.cpuData(), QVariantMap()) << "no CPU, load or up-time keys";
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
    // Let every CPU tick a few times (USER_HZ is 100), partly busy in user mode.
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(150);
    for (volatile unsigned spin = 0; std::chrono::steady_clock::now() < until;)
        spin = spin + 1;
    QThread::msleep(100);
    const std::optional<QVariantMap> d = info.cpuData();
    ASSERT_TRUE(d.has_value()) << "no CPU came or went during the test";

    const auto expectFractionsOfOne = [&](const QString &suffix) {
        float sum = 0;
        for (const char *kind : kKinds) {
            const float share = value(*d, QLatin1String(kind) + QStringLiteral("CPU") + suffix);
            EXPECT_TRUE(share >= 0.0f && share <= 1.0f) << kind << suffix.toStdString() << " " << share;
            sum += share;
        }
        EXPECT_NEAR(sum, 1.0f, 1e-5f) << suffix.toStdString();
    };
    expectFractionsOfOne(QString());
    EXPECT_GT(value(*d, QStringLiteral("userCPU")), 0.0f);
    const QList<int> logical = info.logicalCPUNumbers();
    EXPECT_EQ(logical.size(), sysconf(_SC_NPROCESSORS_ONLN));
    for (int j = 0; j < logical.size(); ++j)
        expectFractionsOfOne(QStringLiteral("All") + QString::number(j));

    for (const char *load : {"loadAverage0", "loadAverage1", "loadAverage2", "tasksCount"})
        EXPECT_GE(value(*d, QLatin1String(load)), 0.0f) << load;
    EXPECT_GE(value(*d, QStringLiteral("threadsCount")), value(*d, QStringLiteral("tasksCount")));

    // Up time agrees with /proc/uptime (the same boot clock) to the minute.
    const double uptime = plvtest::readFile(QStringLiteral("/proc/uptime")).split(' ').value(0).toDouble();
    const QDateTime now = QDateTime::currentDateTime();
    const PLVDateComponents e = PLVDateComponents::between(now.addMSecs(-qint64(uptime * 1000)), now);
    const PLVDateComponents up = d->value(QStringLiteral("upTime")).value<PLVDateComponents>();
    const auto minutes = [](const PLVDateComponents &c) { return double((c.day * 24 + c.hour) * 60 + c.minute); };
    EXPECT_EQ(up.month, e.month);
    EXPECT_NEAR(minutes(up), minutes(e), 1.0);
}
