// Memory, swap and pressure figures of TQSystemInfo, on fixture trees and on
// this machine, and its machine identification.
#include "PLVCommon/stats/TQSystemInfo.h"
#include "support/PLVTest.h"

#include <QDir>

#include <gtest/gtest.h>

#include <unistd.h>

using plvtest::fixturePath;

namespace {

using Figures = std::vector<std::pair<const char *, float>>;

PLVSysRoot memFixture(const char *name) { return PLVSysRoot(fixturePath(QStringLiteral("proc-mem/") + QLatin1String(name))); }

float value(const QVariantMap &d, const char *key)
{
    const QVariant v = d.value(QLatin1String(key));
    EXPECT_EQ(v.typeId(), QMetaType::Float) << key;
    return v.toFloat();
}

void expectFigures(const QVariantMap &d, const Figures &figures)
{
    for (const auto &[key, expected] : figures)
        EXPECT_FLOAT_EQ(value(d, key), expected) << key;
}

const float kB = 1024;
const Figures kSwapUnknown{{"memTotalSwap", -1}, {"memSwapAvailable", -1}, {"memSwapUsed", -1}};

} // namespace

TEST(SystemInfoMemory, FiguresOfEachMeminfo)
{
    const float page = float(sysconf(_SC_PAGESIZE));
    // A folder in place of /proc/meminfo: tests run as root, so a mode would not stop the read.
    QTemporaryDir unreadable;
    ASSERT_TRUE(QDir(unreadable.path()).mkpath(QStringLiteral("proc/meminfo")));
    const struct {
        PLVSysRoot root;
        Figures figures;
        qsizetype keys;
        qint64 pressure;
    } cases[] = {
        // Installed: three online blocks of 128 MiB. Compressed: Zswap and zram0 (zram1 is unreadable).
        {memFixture("full"),
         {{"memFree", 100000 * kB}, {"memActive", 120000 * kB}, {"memInactive", 90000 * kB}, {"memWired", 16000 * kB},
          {"memCache", 90000 * kB}, {"memApp", 120000 * kB}, {"memCompress", 2000 * kB + 409600},
          {"memTotal", 3.0f * 0x8000000}, {"memfreePerc", 25}, {"memPressure", 50}, {"memPageIns", 2048 * kB / page},
          {"memPageOut", 4096 * kB / page}, {"memTotalSwap", 200000 * kB}, {"memSwapAvailable", 150000 * kB},
          {"memSwapUsed", 50000 * kB}},
         15, 50},
        // No blank after the colons; MemAvailable 0 is no memory left, not unknown; no memory
        // blocks: MemTotal is installed; no /proc/vmstat: no page counts.
        {memFixture("nospace"),
         {{"memFree", 100000 * kB}, {"memTotal", 380000 * kB}, {"memfreePerc", 26}, {"memPressure", 100}}, 13, 100},
        // No MemAvailable (kernels before 3.14): pressure unknown; no Zswap; pgpgout unreadable.
        {memFixture("oldkernel"), {{"memPressure", -1}, {"memCompress", 0}, {"memPageIns", 8192 * kB / page}}, 14, -1},
        {memFixture("noswap"), {{"memTotalSwap", 0}, {"memSwapAvailable", 0}, {"memSwapUsed", 0}}, 15, 50},
        // MemFree unparsable, swap lines missing: no memory keys, swap unknown.
        {memFixture("malformed"), kSwapUnknown, 3, 50},
        {PLVSysRoot(unreadable.path()), kSwapUnknown, 3, -1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.root.root().toStdString());
        const QVariantMap d = TQSystemInfo::memoryData(c.root);
        expectFigures(d, c.figures);
        EXPECT_EQ(d.size(), c.keys);
        EXPECT_EQ(TQSystemInfo::memoryStatus(c.root), c.pressure);
    }
    QVariantMap other{{QStringLiteral("other"), 1}};
    expectFigures(TQSystemInfo::updateSwapUsed(other, PLVSysRoot(unreadable.path())), kSwapUnknown);
    expectFigures(TQSystemInfo::updateSwapUsed(other, memFixture("full")), {{"memSwapUsed", 50000 * kB}});
    EXPECT_EQ(other.size(), 4);
}

TEST(SystemInfoMemory, InstalledMemoryFollowsMemoryHotPlug)
{
    // Counting the blocks is cached until MemTotal changes.
    QTemporaryDir dir;
    ASSERT_TRUE(plvtest::copyTree(fixturePath(QStringLiteral("proc-mem/full")), dir.path()));
    const PLVSysRoot root(dir.path());
    expectFigures(TQSystemInfo::memoryData(root), {{"memTotal", 3.0f * 0x8000000}});
    // Block 2 comes online, and with it MemTotal grows.
    ASSERT_TRUE(plvtest::writeFile(dir.filePath(QStringLiteral("sys/devices/system/memory/memory2/online")), "1\n"));
    const QString meminfo = dir.filePath(QStringLiteral("proc/meminfo"));
    ASSERT_TRUE(plvtest::writeFile(meminfo, plvtest::readFile(meminfo).replace("380000 kB", "511000 kB")));
    expectFigures(TQSystemInfo::memoryData(root), {{"memTotal", 4.0f * 0x8000000}});
}

TEST(SystemInfoMemory, LiveFiguresStayWithinInstalledMemory)
{
    const QVariantMap d = TQSystemInfo::memoryData();
    const float total = value(d, "memTotal");
    const float memTotal = float(sysconf(_SC_PHYS_PAGES)) * float(sysconf(_SC_PAGESIZE));
    EXPECT_GE(total, memTotal);
    EXPECT_LT(total, memTotal * 1.25f) << "installed memory is not far above what the kernel manages";
    for (const char *key : {"memInactive", "memActive", "memFree", "memWired", "memCache", "memApp", "memCompress"})
        EXPECT_TRUE(value(d, key) >= 0 && value(d, key) <= total) << key;
    for (const char *key : {"memfreePerc", "memPressure"})
        EXPECT_TRUE(value(d, key) >= 0 && value(d, key) <= 100) << key;
    EXPECT_GE(value(d, "memTotalSwap"), 0.0f);
    // A second reading of the kept-open /proc/meminfo starts over.
    const qint64 pressure = TQSystemInfo::memoryStatus();
    EXPECT_GE(pressure, 0);
    EXPECT_NEAR(double(pressure), double(value(d, "memPressure")), 5.0);
}

TEST(SystemInfoMachine, ModelAndBoardFromDmiElseTheDeviceTree)
{
    const PLVSysRoot dmi(fixturePath(QStringLiteral("proc-cpu/ht2way"))), dt(fixturePath(QStringLiteral("machine/devicetree")));
    EXPECT_EQ(TQSystemInfo::hwModel(dmi), QStringLiteral("ThinkPad X1 Carbon Gen 9"));
    EXPECT_EQ(TQSystemInfo::boardID(dmi), QStringLiteral("20XWCTO1WW"));
    EXPECT_EQ(TQSystemInfo::hwModel(dt), QStringLiteral("Raspberry Pi 4 Model B Rev 1.4"));
    EXPECT_EQ(TQSystemInfo::boardID(dt), QStringLiteral("raspberrypi,4-model-b")); // the first "compatible" entry
    EXPECT_TRUE(TQSystemInfo::hwModel(memFixture("full")).isNull());
    EXPECT_TRUE(TQSystemInfo::boardID(memFixture("full")).isNull());
}
