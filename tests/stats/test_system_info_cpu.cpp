// CPU shares, core folding, configuration changes, load and up time of
// TQSystemInfo, on fixture trees and on this machine.
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/stats/TQSystemInfo.h"
#include "support/PLVTest.h"

#include <QThread>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

const char *const kKinds[] = {"user", "system", "idle", "nice"};

PLVSysRoot cpuFixture(const char *name) { return PLVSysRoot(plvtest::fixturePath(QStringLiteral("proc-cpu/") + QLatin1String(name))); }

// Every figure is a float, as the modules read them.
float value(const QVariantMap &d, const QString &key)
{
    EXPECT_EQ(d.value(key).typeId(), QMetaType::Float) << key.toStdString();
    return d.value(key).toFloat();
}

// A kind's key under a suffix: "All3", "Phy0", or "" for the machine.
QString key(const char *kind, const QString &suffix) { return QLatin1String(kind) + QStringLiteral("CPU") + suffix; }

void expectShares(const QVariantMap &d, const QString &suffix, std::array<float, 4> shares)
{
    for (size_t k = 0; k < 4; ++k)
        EXPECT_FLOAT_EQ(value(d, key(kKinds[k], suffix)), shares[k]) << key(kKinds[k], suffix).toStdString();
}

QVariantMap sample(TQSystemInfo &info)
{
    const std::optional<QVariantMap> d = info.cpuData();
    EXPECT_TRUE(d.has_value()) << "sample dropped";
    return d.value_or(QVariantMap());
}

// A writable copy of a CPU fixture tree.
struct FixtureCopy : plvtest::FixtureCopy {
    explicit FixtureCopy(const char *name) : plvtest::FixtureCopy(QStringLiteral("proc-cpu/") + QLatin1String(name)) {}
};

} // namespace

TEST(SystemInfoCpu, CoreCountsPresentedOrderAndKeysOfEachLayout)
{
    const QList<int> twelve{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    const struct {
        const char *fixture;
        quint32 cpus;
        int physical, logical;
        qint64 modulophy;
        QList<int> order, sampled;
        float lastUser; // user share of the last sampled CPU
    } layouts[] = {
        // Siblings n and n+4 presented next to each other.
        {"ht2way", 8, 4, 8, 2, {0, 4, 1, 5, 2, 6, 3, 7}, {0, 4, 1, 5, 2, 6, 3, 7}, 0.0f},
        // Single-thread cores known from thread_siblings_list only, as on older kernels.
        {"noht", 4, 4, 4, 1, {0, 1, 2, 3}, {0, 1, 2, 3}, 0.0f},
        // 12 logical on 8 physical: a ratio of 1.5 truncates to 1.
        {"hybrid12", 12, 8, 12, 1, twelve, twelve, 0.12f},
        // CPUs 3 and 4 offline: each stands alone, 0 and 7 have lost their siblings,
        // and the indices after a stopped CPU shift down (CPU 7 is index 5).
        {"offline-middle", 8, 4, 6, 1, {0, 1, 5, 2, 6, 3, 4, 7}, {0, 1, 5, 2, 6, 7}, 0.8f},
        // No /sys (some containers): the CPUs /proc/stat lists, no counts known.
        {"nosys", 2, 0, 0, 1, {0, 1}, {0, 1}, 0.3f},
    };
    for (const auto &l : layouts) {
        SCOPED_TRACE(l.fixture);
        TQSystemInfo info(cpuFixture(l.fixture));
        EXPECT_EQ(info.cpuCoresInformation(),
                  (QVariantMap{{QStringLiteral("physicalcpu"), l.physical}, {QStringLiteral("logicalcpu"), l.logical}}));
        EXPECT_EQ(std::tuple(info.numCPUs(), info.modulophy(), info.cpuNumbers()), std::tuple(l.cpus, l.modulophy, l.order));
        const QVariantMap d = sample(info);
        EXPECT_EQ(info.logicalCPUNumbers(), l.sampled);
        EXPECT_FLOAT_EQ(value(d, QStringLiteral("userCPUAll%1").arg(l.sampled.size() - 1)), l.lastUser);
        // Every index up to the CPU count has its eight keys, zeros past the running CPUs, and
        // none beyond; then the machine's four, three load averages, tasks, threads and up time.
        for (qsizetype j = l.sampled.size(); j < qsizetype(l.cpus); ++j)
            EXPECT_EQ(value(d, QStringLiteral("userCPUAll%1").arg(j)), 0.0f);
        EXPECT_EQ(d.size(), qsizetype(8 * l.cpus + 4 + 6));
        for (quint32 i = 0; l.modulophy == 1 && i < l.cpus; ++i) // each CPU its own core
            for (const char *kind : kKinds)
                EXPECT_EQ(value(d, key(kind, QStringLiteral("Phy%1").arg(i))), value(d, key(kind, QStringLiteral("All%1").arg(i))));
    }
}

TEST(SystemInfoCpu, FirstSampleIsSinceBootAndASecondWithoutTicksHasNoShares)
{
    TQSystemInfo info(cpuFixture("ht2way"));
    const QVariantMap d = sample(info);
    expectShares(d, QStringLiteral("All0"), {0.1f, 0.1f, 0.8f, 0.0f});
    expectShares(d, QStringLiteral("All1"), {0.3f, 0.0f, 0.6f, 0.1f}); // kernel CPU 4, the sibling of CPU 0
    // CPU 1: system takes irq, softirq and steal; idle takes iowait; guest is already in user.
    expectShares(d, QStringLiteral("All2"), {0.1f, 0.1f, 0.8f, 0.0f});
    expectShares(d, QStringLiteral("Phy0"), {0.2f, 0.05f, 0.7f, 0.05f});
    expectShares(d, QStringLiteral("Phy1"), {0.3f, 0.175f, 0.525f, 0.0f});
    expectShares(d, QStringLiteral("Phy7"), {0, 0, 0, 0}); // beyond the four cores: zeros
    expectShares(d, QString(), {1000.0f / 8000, 450.0f / 8000, 6450.0f / 8000, 100.0f / 8000});
    EXPECT_FLOAT_EQ(value(d, QStringLiteral("loadAverage1")), 0.75f);
    EXPECT_FLOAT_EQ(value(d, QStringLiteral("tasksCount")), 3.0f);
    EXPECT_FLOAT_EQ(value(d, QStringLiteral("threadsCount")), 412.0f);
    EXPECT_TRUE(d.value(QStringLiteral("upTime")).canConvert<PLVDateComponents>());

    const QVariantMap again = sample(info);
    for (int i = 0; i < 8; ++i)
        for (const char *scope : {"All", "Phy"})
            expectShares(again, QLatin1String(scope) + QString::number(i), {0, 0, 0, 0});
    EXPECT_EQ(again.size(), 8 * 8 + 6) << "no machine-wide shares";
}

TEST(SystemInfoCpu, TheTaskCountIsKeptAsLongAsTheHostAllows)
{
    plvtest::FixtureCopy fx(QStringLiteral("proc-cpu/ht2way"));
    TQSystemInfo info(fx.root());
    info.setTaskCountMaxAge(60);
    EXPECT_FLOAT_EQ(value(sample(info), QStringLiteral("tasksCount")), 3.0f);
    ASSERT_TRUE(fx.write(QStringLiteral("proc/4000/stat"), "4000 (new) S 1"));
    EXPECT_FLOAT_EQ(value(sample(info), QStringLiteral("tasksCount")), 3.0f) << "younger than a minute";
    info.setTaskCountMaxAge(0);
    EXPECT_FLOAT_EQ(value(sample(info), QStringLiteral("tasksCount")), 4.0f);
}

TEST(SystemInfoCpu, HotPluggedCpuDropsOneSampleAndPostsOnce)
{
    FixtureCopy fx("hotplug");
    TQSystemInfo info(fx.root());
    // The usual answer to the notification; it must not deadlock with the sample posting it.
    // (No early return before the observer is removed: it refers to this frame.)
    int posts = 0;
    QVariantMap fromObserver;
    QObject *token = PLVNotificationCenter::defaultCenter()->addObserverForName(
        QStringLiteral("PLV_CPU_NEED_UPDATE_COREINFO"), nullptr, [&](const PLVNotification &n) {
            EXPECT_EQ(n.object, nullptr);
            ++posts;
            fromObserver = info.cpuCoresInformation();
        });
    sample(info);

    // CPU 3 comes online; CPU 0 moves on by 100 user and 100 idle ticks.
    EXPECT_TRUE(fx.write("sys/devices/system/cpu/online", "0-3\n"));
    EXPECT_TRUE(fx.write("sys/devices/system/cpu/cpu3/online", "1\n"));
    EXPECT_TRUE(fx.write("sys/devices/system/cpu/cpu3/topology/core_cpus_list", "3\n"));
    EXPECT_TRUE(fx.write("proc/stat", "cpu  0 0 0 0\ncpu0 200 0 100 900\ncpu1 100 0 100 800\n"
                                      "cpu2 100 0 100 800\ncpu3 10 0 10 80\n"));
    EXPECT_FALSE(info.cpuData().has_value());
    EXPECT_EQ(posts, 1);
    EXPECT_EQ(fromObserver.value(QStringLiteral("logicalcpu")), 4);

    // The dropped sample rotated nothing: CPU 0's delta still runs from the first sample.
    const QVariantMap d = sample(info);
    EXPECT_EQ(posts, 1) << "the new count was stored with the first notification";
    expectShares(d, QStringLiteral("All0"), {0.5f, 0, 0.5f, 0});
    expectShares(d, QStringLiteral("All1"), {0, 0, 0, 0});
    expectShares(d, QStringLiteral("All3"), {0.1f, 0.1f, 0.8f, 0}); // no earlier counters: since boot
    EXPECT_FALSE(info.didCoreConfigurationChanged());

    EXPECT_TRUE(fx.write("sys/devices/system/cpu/online", "0-2\n"));
    EXPECT_TRUE(info.didCoreConfigurationChanged());
    EXPECT_FALSE(info.didCoreConfigurationChanged());
    EXPECT_EQ(posts, 2);
    PLVNotificationCenter::defaultCenter()->removeObserver(token);
}

TEST(SystemInfoCpu, DeltasAreIntegerNeverNegativeAndSkipBadReadings)
{
    FixtureCopy fx("noht");
    // Counters past 2^40, where a float subtraction would lose deltas this small.
    const auto stat = [&](int user0, int idle0, int user1, int iowait1) {
        return fx.write("proc/stat", QStringLiteral("cpu  0 0 0 0\ncpu0 %1 0 0 %2\ncpu1 %3 0 100 800 %4\n"
                                                    "cpu2 5 5 5 5\ncpu3 5 5 5 5\n")
                                         .arg(1099511627776 + user0).arg(1099511627776 + idle0)
                                         .arg(user1).arg(iowait1).toLatin1());
    };
    ASSERT_TRUE(stat(0, 0, 100, 50));
    TQSystemInfo info(fx.root());
    sample(info);
    // CPU 1: idle + iowait drops by 10 (iowait can run backwards) while user rises by 30.
    ASSERT_TRUE(stat(30, 10, 130, 40));
    QVariantMap d = sample(info);
    expectShares(d, QStringLiteral("All0"), {0.75f, 0, 0.25f, 0});
    expectShares(d, QStringLiteral("All1"), {1.0f, 0, 0, 0});
    EXPECT_FLOAT_EQ(value(d, QStringLiteral("userCPU")), 60.0f / 70);

    // Too few columns, no CPU line, no file at all: no CPU keys, and nothing rotated.
    const QString file = fx.path(QStringLiteral("proc/stat"));
    for (const QByteArray &bad : {QByteArray("cpu  1 2 3 4\ncpu0 700 0 200\n"), QByteArray("garbage\n"), QByteArray()}) {
        ASSERT_TRUE(bad.isNull() ? QFile::remove(file) : fx.write("proc/stat", bad));
        d = sample(info);
        EXPECT_FALSE(d.contains(QStringLiteral("userCPUAll0")) || d.contains(QStringLiteral("userCPU"))) << bad.data();
        EXPECT_TRUE(d.contains(QStringLiteral("loadAverage0"))) << "load does not depend on /proc/stat";
    }
    ASSERT_TRUE(stat(70, 10, 130, 40));
    d = sample(info);
    expectShares(d, QStringLiteral("All0"), {1.0f, 0, 0, 0});
    expectShares(d, QStringLiteral("All1"), {0, 0, 0, 0});
}

TEST(SystemInfoCpu, WithoutSysTheOnlineCountNeverChangesAndBtimeGivesTheUpTime)
{
    FixtureCopy fx("nosys");
    // Booted 2 days, 3 hours, 4 minutes and 30 seconds ago.
    const qint64 boot = QDateTime::currentSecsSinceEpoch() - (2 * 86400 + 3 * 3600 + 4 * 60 + 30);
    QByteArray stat = plvtest::readFile(fx.path(QStringLiteral("proc/stat")));
    ASSERT_TRUE(fx.write("proc/stat", stat.replace("btime 1700000000", "btime " + QByteArray::number(boot))));
    TQSystemInfo info(fx.root());
    EXPECT_EQ(sample(info).value(QStringLiteral("upTime")).value<PLVDateComponents>(), (PLVDateComponents{0, 2, 3, 4}));
    EXPECT_FALSE(info.didCoreConfigurationChanged());

    TQSystemInfo nothing(PLVSysRoot(QStringLiteral("/nonexistent-plv-root")));
    EXPECT_EQ(nothing.numCPUs(), 1u);
    EXPECT_EQ(sample(nothing), QVariantMap()) << "no CPU, load or up-time keys";
}

TEST(DateComponents, MonthsFirstThenDaysHoursMinutes)
{
    const auto at = [](int y, int mo, int d, int h, int mi, int s = 0) { return QDateTime(QDate(y, mo, d), QTime(h, mi, s)); };
    const struct {
        QDateTime from, to;
        PLVDateComponents expected;
    } cases[] = {
        {at(2024, 1, 31, 10, 0), at(2024, 3, 1, 12, 30), {1, 1, 2, 30}}, // to the last day of February, in a leap year
        {at(2023, 11, 15, 23, 50), at(2024, 2, 15, 23, 49), {2, 30, 23, 59}},
        {at(2024, 1, 1, 0, 0), at(2024, 1, 1, 0, 0, 59), {0, 0, 0, 0}},
        {at(2024, 2, 1, 0, 0), at(2024, 1, 1, 0, 0), {0, 0, 0, 0}}, // a clock set back before boot: zeros
    };
    for (const auto &c : cases)
        EXPECT_EQ(PLVDateComponents::between(c.from, c.to), c.expected) << c.from.toString().toStdString();
}

// The processor module's test checks the machine-wide shares of a live sample;
// these are the figures it does not look at.
TEST(SystemInfoCpu, LiveSampleAgreesWithTheKernel)
{
    TQSystemInfo info;
    sample(info);
    QThread::msleep(100);
    const QVariantMap d = sample(info);
    EXPECT_EQ(info.logicalCPUNumbers().size(), sysconf(_SC_NPROCESSORS_ONLN)) << "every online CPU counted, once";
    // The second sample lists /proc and reads the load again: the kept-open readers start over.
    EXPECT_GE(value(d, QStringLiteral("tasksCount")), 1.0f);
    EXPECT_GE(value(d, QStringLiteral("threadsCount")), value(d, QStringLiteral("tasksCount")));
    EXPECT_GE(value(d, QStringLiteral("loadAverage0")), 0.0f);

    // Up time agrees with /proc/uptime (the same boot clock) to the minute.
    const double uptime = plvtest::readFile(QStringLiteral("/proc/uptime")).split(' ').value(0).toDouble();
    const QDateTime now = QDateTime::currentDateTime();
    const PLVDateComponents e = PLVDateComponents::between(now.addMSecs(-qint64(uptime * 1000)), now);
    const PLVDateComponents up = d.value(QStringLiteral("upTime")).value<PLVDateComponents>();
    const auto minutes = [](const PLVDateComponents &c) { return double((c.day * 24 + c.hour) * 60 + c.minute); };
    EXPECT_EQ(up.month, e.month);
    EXPECT_NEAR(minutes(up), minutes(e), 1.0);
}
