// The Linux readers behind the CPU and memory sampler, on fixture trees and on
// this machine's /proc and /sys.
#include "PLVCommon/linux/PLVCpuSource.h"
#include "PLVCommon/linux/PLVHostSource.h"
#include "PLVCommon/linux/PLVSysFile.h"
#include "support/PLVTest.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstring>

using plvtest::fixturePath;

namespace {

PLVSysRoot cpuFixture(const char *name) { return PLVSysRoot(fixturePath(QStringLiteral("proc-cpu/") + QLatin1String(name))); }
PLVSysRoot memFixture(const char *name) { return PLVSysRoot(fixturePath(QStringLiteral("proc-mem/") + QLatin1String(name))); }

std::vector<int> cpuList(const char *text)
{
    std::vector<int> out{-1};
    if (!PLVSysFile::parseCpuList(text, text + strlen(text), out))
        return {-2};
    return out;
}

} // namespace

TEST(CpuList, ParsesKernelRangesAndRejectsOtherText)
{
    EXPECT_EQ(cpuList("0-3,8,10-11\n"), (std::vector<int>{0, 1, 2, 3, 8, 10, 11}));
    EXPECT_EQ(cpuList("5\n"), (std::vector<int>{5}));
    EXPECT_EQ(cpuList("1,5"), (std::vector<int>{1, 5}));
    EXPECT_EQ(cpuList("\n"), (std::vector<int>{})); // `offline` with nothing offline
    EXPECT_EQ(cpuList("3-1"), (std::vector<int>{-2}));
    EXPECT_EQ(cpuList("0-"), (std::vector<int>{-2}));
    EXPECT_EQ(cpuList("0,,1"), (std::vector<int>{-2}));
    EXPECT_EQ(cpuList("ff"), (std::vector<int>{-2}));
    EXPECT_EQ(cpuList("0-99999999"), (std::vector<int>{-2}));
}

TEST(OpenSysFile, LiveFileIsReReadFromTheStartAndGrowsPastItsBuffer)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("counter"));
    ASSERT_TRUE(plvtest::writeFile(file, "first\n"));
    // Under the live root the descriptor stays open; rewriting in place must show.
    const PLVOpenSysFile live(PLVSysRoot(), QFile::encodeName(file.mid(1)).constData());
    std::vector<char> buf;
    ASSERT_EQ(live.read(buf), 6);
    EXPECT_STREQ(buf.data(), "first\n");

    const QByteArray big(10000, 'x');
    ASSERT_TRUE(plvtest::writeFile(file, big));
    ASSERT_EQ(live.read(buf), 10000);
    EXPECT_EQ(QByteArray(buf.data()), big);

    ASSERT_TRUE(plvtest::writeFile(file, "2\n"));
    ASSERT_EQ(live.read(buf), 2);
    EXPECT_STREQ(buf.data(), "2\n");
}

TEST(OpenSysFile, FixtureFileIsOpenedAfreshSoDeletionAndReplacementShow)
{
    QTemporaryDir dir;
    ASSERT_TRUE(plvtest::writeFile(dir.filePath(QStringLiteral("f")), "old"));
    const PLVOpenSysFile file(PLVSysRoot(dir.path()), "f");
    std::vector<char> buf;
    ASSERT_EQ(file.read(buf), 3);

    ASSERT_TRUE(plvtest::writeFile(dir.filePath(QStringLiteral("g")), "new!"));
    ASSERT_TRUE(QFile::remove(dir.filePath(QStringLiteral("f"))));
    EXPECT_EQ(file.read(buf), -1);
    ASSERT_TRUE(QFile::rename(dir.filePath(QStringLiteral("g")), dir.filePath(QStringLiteral("f"))));
    ASSERT_EQ(file.read(buf), 4);
    EXPECT_STREQ(buf.data(), "new!");
}

TEST(ProcStat, FoldsColumnsIntoFourClassesPerKernelCpu)
{
    // cpu2 missing (offline); cpu3 from an old kernel with only four columns;
    // guest (column 9) is already inside user and must not be added again.
    const char text[] = "cpu  1 2 3 4 5 6 7 8 9 10\n"
                        "cpu0 10 20 30 40 50 60 70 80 90 100\n"
                        "cpu1 1 0 0 1\n"
                        "cpu3 7 6 5 4\n"
                        "intr 1 2 3\n"
                        "cpu9 1 1 1 1\n";
    std::vector<PLVCpuTicks> ticks;
    std::vector<char> has;
    ASSERT_TRUE(PLVCpuStat::parse(text, text + sizeof text - 1, ticks, has));
    ASSERT_EQ(has.size(), 4u) << "parsing stops at the first line that is not a CPU line";
    EXPECT_EQ(has, (std::vector<char>{1, 1, 0, 1}));
    EXPECT_EQ(ticks[0].user, 10u);
    EXPECT_EQ(ticks[0].nice, 20u);
    EXPECT_EQ(ticks[0].system, 30u + 60 + 70 + 80);
    EXPECT_EQ(ticks[0].idle, 40u + 50);
    EXPECT_EQ(ticks[3].user, 7u);
    EXPECT_EQ(ticks[3].system, 5u);
    EXPECT_EQ(ticks[3].idle, 4u);
    EXPECT_EQ(ticks[3].nice, 6u);

    // A second parse forgets CPUs that are no longer listed.
    const char fewer[] = "cpu  0 0 0 0\ncpu0 1 1 1 1\n";
    ASSERT_TRUE(PLVCpuStat::parse(fewer, fewer + sizeof fewer - 1, ticks, has));
    EXPECT_EQ(has[0], 1);
    EXPECT_EQ(has[1], 0);
    EXPECT_EQ(has[3], 0);
}

TEST(ProcStat, RejectsTextsThatAreNotCpuCounters)
{
    std::vector<PLVCpuTicks> ticks;
    std::vector<char> has;
    for (const char *text : {"", "intr 1 2 3\n", "cpu  1 2 3 4\n", "cpu  1 2 3 4\ncpu0 1 2 3\n",
                             "cpu  1 2 3 4\ncpu0 1 2 x 4\n", "cpu  1 2 3 4\ncpuX 1 2 3 4\n"})
        EXPECT_FALSE(PLVCpuStat::parse(text, text + strlen(text), ticks, has)) << text;
}

TEST(CpuSource, TwoWayThreadsArePresentedSiblingsFirst)
{
    PLVCpuSource source(cpuFixture("ht2way"));
    const PLVCoreInfo info = source.coreInfo();
    EXPECT_EQ(info.cpuCount, 8u);
    EXPECT_EQ(info.logical, 8u);
    EXPECT_EQ(info.physical, 4u);
    EXPECT_EQ(info.order, (std::vector<int>{0, 4, 1, 5, 2, 6, 3, 7}));
}

TEST(CpuSource, CoreCountsOfUnevenAndOlderTopologies)
{
    {
        // 4 two-thread cores and 4 single-thread cores.
        PLVCpuSource source(cpuFixture("hybrid12"));
        const PLVCoreInfo info = source.coreInfo();
        EXPECT_EQ(info.logical, 12u);
        EXPECT_EQ(info.physical, 8u);
        EXPECT_EQ(info.order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
    }
    {
        // Kernels before core_cpus_list only have thread_siblings_list.
        PLVCpuSource source(cpuFixture("noht"));
        const PLVCoreInfo info = source.coreInfo();
        EXPECT_EQ(info.logical, 4u);
        EXPECT_EQ(info.physical, 4u);
    }
}

TEST(CpuSource, OfflineCpusStandAloneAndAreNotRunning)
{
    // Siblings n and n+4; CPUs 3 and 4 offline, so 0 and 7 have lost their siblings.
    PLVCpuSource source(cpuFixture("offline-middle"));
    const PLVCoreInfo info = source.coreInfo();
    EXPECT_EQ(info.cpuCount, 8u);
    EXPECT_EQ(info.logical, 6u);
    EXPECT_EQ(info.physical, 4u);
    EXPECT_EQ(info.order, (std::vector<int>{0, 1, 5, 2, 6, 3, 4, 7}));

    std::vector<char> running;
    EXPECT_EQ(source.basicInfo(info.order, running), 6u);
    EXPECT_EQ(running, (std::vector<char>{1, 1, 1, 1, 1, 0, 0, 1}));
    EXPECT_EQ(source.logicalCount(), 6u);
}

TEST(CpuSource, WithoutSysTheCpusAreThoseProcStatLists)
{
    PLVCpuSource source(cpuFixture("nosys"));
    const PLVCoreInfo info = source.coreInfo();
    EXPECT_EQ(info.cpuCount, 2u);
    EXPECT_FALSE(info.logical.has_value());
    EXPECT_FALSE(info.physical.has_value());
    EXPECT_EQ(info.order, (std::vector<int>{0, 1}));
    std::vector<char> running;
    EXPECT_FALSE(source.basicInfo(info.order, running).has_value());
    EXPECT_EQ(running, (std::vector<char>{1, 1}));
    EXPECT_FALSE(source.logicalCount().has_value());

    PLVCpuSource empty(PLVSysRoot(QStringLiteral("/nonexistent-plv-root")));
    const PLVCoreInfo none = empty.coreInfo();
    EXPECT_EQ(none.cpuCount, 1u);
    EXPECT_EQ(none.order, (std::vector<int>{0}));
}

TEST(CpuSource, LiveCountsMatchTheKernel)
{
    PLVCpuSource source;
    const PLVCoreInfo info = source.coreInfo();
    ASSERT_TRUE(info.logical.has_value());
    EXPECT_EQ(*info.logical, quint32(sysconf(_SC_NPROCESSORS_ONLN)));
    EXPECT_GE(info.cpuCount, *info.logical);
    ASSERT_TRUE(info.physical.has_value());
    EXPECT_GE(*info.physical, 1u);
    EXPECT_LE(*info.physical, *info.logical);
    std::vector<int> sorted = info.order;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end()) << "each CPU presented once";

    std::vector<PLVCpuTicks> ticks;
    std::vector<char> has;
    ASSERT_TRUE(source.loadInfo(ticks, has));
    EXPECT_EQ(quint32(std::count(has.begin(), has.end(), 1)), *info.logical);
}

TEST(HostSource, LiveFoldersAndFilesReadAgainGiveFreshContent)
{
    // The live readers keep their descriptors; each listing must start over.
    const PLVSysRoot live;
    const auto first = PLVHostSource::taskCount(live);
    const auto second = PLVHostSource::taskCount(live);
    ASSERT_TRUE(first && second);
    EXPECT_GE(*first, 1u);
    EXPECT_NEAR(double(*second), double(*first), 20.0);
    const auto load = PLVHostSource::loadAverage(live);
    ASSERT_TRUE(load.has_value());
    EXPECT_GE(load->threads, *second);

    PLVMemInfo a, b;
    ASSERT_TRUE(PLVHostSource::readMemInfo(live, a));
    ASSERT_TRUE(PLVHostSource::readMemInfo(live, b));
    EXPECT_EQ(a.kB[PLVMemInfo::MemTotal], b.kB[PLVMemInfo::MemTotal]);
    EXPECT_GT(b.kB[PLVMemInfo::MemTotal], 0u);
}

TEST(HostSource, MemoryFiguresComposedFromMeminfo)
{
    const PLVSysRoot root = memFixture("full");
    PLVMemInfo info;
    ASSERT_TRUE(PLVHostSource::readMemInfo(root, info));
    // "Active(anon)", "SwapCached" and "Zswapped" must not be taken for their prefixes.
    EXPECT_EQ(info.kB[PLVMemInfo::Active], 120000u);
    EXPECT_EQ(info.kB[PLVMemInfo::SwapTotal], 200000u);
    EXPECT_EQ(info.kB[PLVMemInfo::Zswap], 2000u);

    PLVVMStatistics vm;
    ASSERT_TRUE(PLVHostSource::vmStatistics(root, info, 4096, vm));
    EXPECT_EQ(vm.free, 100000u * 1024);
    EXPECT_EQ(vm.active, 120000u * 1024);
    EXPECT_EQ(vm.inactive, 90000u * 1024);
    EXPECT_EQ(vm.wired, (8000u + 3000 + 4000 + 1000) * 1024);
    EXPECT_EQ(vm.cache, (5000u + 80000 + 15000 - 10000) * 1024);
    EXPECT_EQ(vm.app, (110000u + 10000) * 1024);
    // Zswap plus zram0's mem_used_total; zram1's unreadable mm_stat adds nothing.
    EXPECT_EQ(vm.compressed, 2000u * 1024 + 409600);
    EXPECT_EQ(vm.pageIns, 2048u * 1024 / 4096);
    EXPECT_EQ(vm.pageOuts, 4096u * 1024 / 4096);
    EXPECT_EQ(PLVHostSource::memoryLevel(info), 50);

    // Three of the four 128 MiB blocks are online.
    EXPECT_EQ(PLVHostSource::installedMemory(root, info), 3u * 0x8000000);

    PLVSwapUsage swap;
    ASSERT_TRUE(PLVHostSource::swapUsage(info, swap));
    EXPECT_EQ(swap.total, 200000u * 1024);
    EXPECT_EQ(swap.available, 150000u * 1024);
    EXPECT_EQ(swap.used, 50000u * 1024);
}

TEST(HostSource, MeminfoVariants)
{
    PLVMemInfo info;
    {
        // No space after the colon; MemAvailable present as 0 means no memory left.
        ASSERT_TRUE(PLVHostSource::readMemInfo(memFixture("nospace"), info));
        EXPECT_EQ(info.kB[PLVMemInfo::MemTotal], 380000u);
        EXPECT_TRUE(info.has[PLVMemInfo::MemAvailable]);
        EXPECT_EQ(PLVHostSource::memoryLevel(info), 0);
        // No memory blocks to count: MemTotal stands for installed memory.
        EXPECT_EQ(PLVHostSource::installedMemory(memFixture("nospace"), info), 380000u * 1024);
    }
    {
        // An old kernel: no MemAvailable at all, no slab split, no Zswap.
        ASSERT_TRUE(PLVHostSource::readMemInfo(memFixture("oldkernel"), info));
        EXPECT_FALSE(PLVHostSource::memoryLevel(info).has_value());
        PLVVMStatistics vm;
        ASSERT_TRUE(PLVHostSource::vmStatistics(memFixture("oldkernel"), info, 4096, vm));
        EXPECT_EQ(vm.cache, (5000u + 80000 - 10000) * 1024);
        EXPECT_EQ(vm.wired, (3000u + 4000 + 1000) * 1024);
        EXPECT_EQ(vm.compressed, 0u);
        EXPECT_EQ(vm.pageIns, 8192u * 1024 / 4096);
        EXPECT_FALSE(vm.pageOuts.has_value()) << "pgpgout is not a number";
    }
    {
        // MemFree does not parse: the statistics are not available.
        ASSERT_TRUE(PLVHostSource::readMemInfo(memFixture("malformed"), info));
        EXPECT_FALSE(info.has[PLVMemInfo::MemFree]);
        PLVVMStatistics vm;
        EXPECT_FALSE(PLVHostSource::vmStatistics(memFixture("malformed"), info, 4096, vm));
        PLVSwapUsage swap;
        EXPECT_FALSE(PLVHostSource::swapUsage(info, swap));
    }
    EXPECT_FALSE(PLVHostSource::readMemInfo(PLVSysRoot(QStringLiteral("/nonexistent-plv-root")), info));
}

TEST(HostSource, InstalledMemoryFollowsMemoryHotPlug)
{
    QTemporaryDir dir;
    ASSERT_TRUE(plvtest::copyTree(fixturePath(QStringLiteral("proc-mem/full")), dir.path()));
    const PLVSysRoot root(dir.path());
    PLVMemInfo info;
    ASSERT_TRUE(PLVHostSource::readMemInfo(root, info));
    EXPECT_EQ(PLVHostSource::installedMemory(root, info), 3u * 0x8000000);

    // Block 2 comes online, and with it MemTotal grows.
    ASSERT_TRUE(plvtest::writeFile(dir.filePath(QStringLiteral("sys/devices/system/memory/memory2/online")), "1\n"));
    QByteArray meminfo = plvtest::readFile(dir.filePath(QStringLiteral("proc/meminfo")));
    meminfo.replace("380000 kB", "511000 kB");
    ASSERT_TRUE(plvtest::writeFile(dir.filePath(QStringLiteral("proc/meminfo")), meminfo));
    ASSERT_TRUE(PLVHostSource::readMemInfo(root, info));
    EXPECT_EQ(PLVHostSource::installedMemory(root, info), 4u * 0x8000000);
}

TEST(HostSource, LoadTasksBootAndMachineFromFixtures)
{
    const PLVSysRoot root = cpuFixture("ht2way");
    const auto load = PLVHostSource::loadAverage(root);
    ASSERT_TRUE(load.has_value());
    EXPECT_DOUBLE_EQ(load->averages[0], 1.5);
    EXPECT_DOUBLE_EQ(load->averages[1], 0.75);
    EXPECT_DOUBLE_EQ(load->averages[2], 0.25);
    EXPECT_EQ(load->threads, 412u);
    EXPECT_EQ(PLVHostSource::taskCount(root), 3u) << "numeric entries of /proc only";
    EXPECT_EQ(PLVHostSource::bootInstant(root), 1700000000.0);
    EXPECT_EQ(PLVHostSource::hwModel(root), QStringLiteral("ThinkPad X1 Carbon Gen 9"));
    EXPECT_EQ(PLVHostSource::boardID(root), QStringLiteral("20XWCTO1WW"));

    const PLVSysRoot dt(fixturePath(QStringLiteral("machine/devicetree")));
    EXPECT_EQ(PLVHostSource::hwModel(dt), QStringLiteral("Raspberry Pi 4 Model B Rev 1.4"));
    EXPECT_EQ(PLVHostSource::boardID(dt), QStringLiteral("raspberrypi,4-model-b"));

    const PLVSysRoot none(QStringLiteral("/nonexistent-plv-root"));
    EXPECT_TRUE(PLVHostSource::hwModel(none).isNull());
    EXPECT_TRUE(PLVHostSource::boardID(none).isNull());
    EXPECT_FALSE(PLVHostSource::loadAverage(none).has_value());
    EXPECT_FALSE(PLVHostSource::taskCount(none).has_value());
    EXPECT_FALSE(PLVHostSource::bootInstant(none).has_value());
}

TEST(HostSource, MalformedLoadAverageIsRejected)
{
    QTemporaryDir dir;
    ASSERT_TRUE(QDir(dir.path()).mkpath(QStringLiteral("proc")));
    const QString file = dir.filePath(QStringLiteral("proc/loadavg"));
    const PLVSysRoot root(dir.path());
    for (const char *text : {"", "0.5 0.5\n", "0.5 0.5 0.5 7 100\n", "x 0.5 0.5 1/2 3\n"}) {
        ASSERT_TRUE(plvtest::writeFile(file, text));
        EXPECT_FALSE(PLVHostSource::loadAverage(root).has_value()) << text;
    }
}
