// The Linux readers behind the CPU and memory sampler, where TQSystemInfo's
// own tests cannot reach: CPU lists, kept-open files, the load line.
#include "PLVCommon/linux/PLVHostSource.h"
#include "PLVCommon/linux/PLVSysFile.h"
#include "PLVCommon/stats/TQProcessInfo.h"
#include "PLVCommon/stats/TQProcessTable.h"
#include "PLVCommon/stats/TQSystemInfo.h"
#include "support/PLVTest.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>

TEST(CpuList, ParsesKernelRangesAndRejectsOtherText)
{
    const auto cpuList = [](const char *text) {
        std::vector<int> out{-1};
        return PLVSysFile::parseCpuList(text, text + strlen(text), out) ? out : std::vector<int>{-2};
    };
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
    // Under the live root the descriptor stays open: a rewrite in place must
    // show, also when the content outgrows the buffer or shrinks.
    const PLVOpenSysFile live(PLVSysRoot::live(), QFile::encodeName(file.mid(1)).constData());
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
    EXPECT_EQ(fixture.read(buf), 4);
}

TEST(HostSource, MalformedLoadAverageIsRejected)
{
    QTemporaryDir dir;
    ASSERT_TRUE(QDir(dir.path()).mkpath(QStringLiteral("proc")));
    for (const char *text : {"", "0.5 0.5\n", "0.5 0.5 0.5 7 100\n", "x 0.5 0.5 1/2 3\n"}) {
        ASSERT_TRUE(plvtest::writeFile(dir.filePath(QStringLiteral("proc/loadavg")), text));
        EXPECT_FALSE(PLVHostSource::loadAverage(PLVSysRoot(dir.path())).has_value()) << text;
    }
}

TEST(SysRoot, DefaultRootsFollowTheSystemRoot)
{
    const QString tree = plvtest::fixturePath(QStringLiteral("machine/smt-off"));
    ASSERT_TRUE(PLVSysRoot().isLive()) << "tests run on the real machine unless told otherwise";
    PLVSysRoot::setSystemRoot(tree + QStringLiteral("//"));
    EXPECT_EQ(PLVSysRoot().root(), tree);
    EXPECT_FALSE(PLVSysRoot().isLive());
    EXPECT_TRUE(PLVSysRoot::live().isLive()) << "live still means the real machine";

    // Readers made or called without a root read the recorded machine: the
    // load, the boot instant, the /proc walk, the CPU layout.
    QVariantMap values;
    TQSystemInfo::updateLoadInfo(values);
    EXPECT_FLOAT_EQ(values.value(QStringLiteral("loadAverage0")).toFloat(), 7.66f);
    EXPECT_EQ(values.value(QStringLiteral("tasksCount")).toInt(), 1);
    EXPECT_EQ(PLVLinuxClock::bootInstant(PLVSysRoot()), 1795388219.0);
    EXPECT_EQ(TQProcessInfo::runningProcesses(), QList<qint32>{1});
    TQProcessTable table;
    ASSERT_TRUE(table.refresh());
    EXPECT_EQ(table.processCount(), 1);
    TQSystemInfo info;
    EXPECT_EQ(info.numCPUs(), 4u);
    EXPECT_EQ(info.numLogCPU(), 2u);
    EXPECT_EQ(info.cpuNumbers(), (QList<int>{0, 1, 2, 3}));

    PLVSysRoot::setSystemRoot({});
    EXPECT_TRUE(PLVSysRoot().isLive());
}
