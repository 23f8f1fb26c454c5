// The Linux readers behind the CPU and memory sampler: what TQSystemInfo's own
// tests cannot reach (CPU lists, kept-open files, cached figures). The
// /proc/stat columns are covered through TQSystemInfo on fixtures.
#include "PLVCommon/linux/PLVHostSource.h"
#include "PLVCommon/linux/PLVSysFile.h"
#include "support/PLVTest.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>

using plvtest::fixturePath;

namespace {

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
    EXPECT_EQ(cpuList("\n"), (std::vector<int>{})); // `offline` with nothing offline
    for (const char *bad : {"3-1", "0-", "0,,1", "ff", "0-99999999"})
        EXPECT_EQ(cpuList(bad), (std::vector<int>{-2})) << bad;
}

TEST(OpenSysFile, LiveFilesStayOpenFixtureFilesAreOpenedAfresh)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(QStringLiteral("f"));
    ASSERT_TRUE(plvtest::writeFile(file, "first\n"));
    // Under the live root the descriptor stays open: rewriting in place must
    // show, also when the content outgrows the buffer.
    const PLVOpenSysFile live(PLVSysRoot(), QFile::encodeName(file.mid(1)).constData());
    const PLVOpenSysFile fixture(PLVSysRoot(dir.path()), "f");
    std::vector<char> buf;
    ASSERT_EQ(live.read(buf), 6);
    const QByteArray big(10000, 'x');
    ASSERT_TRUE(plvtest::writeFile(file, big));
    ASSERT_EQ(live.read(buf), 10000);
    EXPECT_EQ(QByteArray(buf.data()), big);
    ASSERT_TRUE(plvtest::writeFile(file, "2\n"));
    ASSERT_EQ(live.read(buf), 2);
    EXPECT_STREQ(buf.data(), "2\n");

    // A fixture file is looked up on every read, so a test may delete or replace it.
    ASSERT_TRUE(QFile::remove(file));
    EXPECT_EQ(fixture.read(buf), -1);
    ASSERT_TRUE(plvtest::writeFile(file, "new!"));
    ASSERT_EQ(fixture.read(buf), 4);
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
    PLVMemInfo a, b;
    ASSERT_TRUE(PLVHostSource::readMemInfo(live, a) && PLVHostSource::readMemInfo(live, b));
    EXPECT_EQ(a.kB[PLVMemInfo::MemTotal], b.kB[PLVMemInfo::MemTotal]);
    EXPECT_GT(b.kB[PLVMemInfo::MemTotal], 0u);
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
