// Memory, swap and pressure figures of TQSystemInfo, on fixture trees and on
// this machine, and its machine identification.
#include "PLVCommon/stats/TQSystemInfo.h"
#include "support/PLVTest.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <unistd.h>

using plvtest::fixturePath;

namespace {

PLVSysRoot memFixture(const char *name) { return PLVSysRoot(fixturePath(QStringLiteral("proc-mem/") + QLatin1String(name))); }

float value(const QVariantMap &d, const char *key)
{
    const QVariant v = d.value(QLatin1String(key));
    EXPECT_EQ(v.typeId(), QMetaType::Float) << key;
    return v.toFloat();
}

} // namespace

TEST(SystemInfoMemory, FiguresOfAFullMeminfo)
{
    const QVariantMap d = TQSystemInfo::memoryData(memFixture("full"));
    const long page = sysconf(_SC_PAGESIZE);
    EXPECT_FLOAT_EQ(value(d, "memFree"), 100000.0f * 1024);
    EXPECT_FLOAT_EQ(value(d, "memActive"), 120000.0f * 1024);
    EXPECT_FLOAT_EQ(value(d, "memInactive"), 90000.0f * 1024);
    EXPECT_FLOAT_EQ(value(d, "memWired"), 16000.0f * 1024);
    EXPECT_FLOAT_EQ(value(d, "memCache"), 90000.0f * 1024);
    EXPECT_FLOAT_EQ(value(d, "memApp"), 120000.0f * 1024);
    EXPECT_FLOAT_EQ(value(d, "memCompress"), 2000.0f * 1024 + 409600);
    // Installed: three online blocks of 128 MiB; free share truncated to a whole percent.
    EXPECT_FLOAT_EQ(value(d, "memTotal"), 3.0f * 0x8000000);
    EXPECT_EQ(value(d, "memfreePerc"), 25.0f);
    EXPECT_EQ(value(d, "memPressure"), 50.0f);
    EXPECT_FLOAT_EQ(value(d, "memPageIns"), float(2048 * 1024 / page));
    EXPECT_FLOAT_EQ(value(d, "memPageOut"), float(4096 * 1024 / page));
    EXPECT_FLOAT_EQ(value(d, "memTotalSwap"), 200000.0f * 1024);
    EXPECT_FLOAT_EQ(value(d, "memSwapAvailable"), 150000.0f * 1024);
    EXPECT_FLOAT_EQ(value(d, "memSwapUsed"), 50000.0f * 1024);
    EXPECT_EQ(d.size(), 15);
    EXPECT_EQ(TQSystemInfo::memoryStatus(memFixture("full")), 50);
}

TEST(SystemInfoMemory, MemAvailableZeroIsFullPressureAndMissingIsUnknown)
{
    const QVariantMap nospace = TQSystemInfo::memoryData(memFixture("nospace"));
    EXPECT_EQ(value(nospace, "memPressure"), 100.0f);
    EXPECT_EQ(TQSystemInfo::memoryStatus(memFixture("nospace")), 100);
    EXPECT_FLOAT_EQ(value(nospace, "memFree"), 100000.0f * 1024) << "read without a space after the colon";
    EXPECT_FLOAT_EQ(value(nospace, "memTotal"), 380000.0f * 1024) << "no memory blocks: MemTotal";
    EXPECT_EQ(value(nospace, "memfreePerc"), 26.0f);
    EXPECT_FALSE(nospace.contains(QStringLiteral("memPageIns"))) << "no /proc/vmstat";
    EXPECT_FALSE(nospace.contains(QStringLiteral("memPageOut")));

    const QVariantMap old = TQSystemInfo::memoryData(memFixture("oldkernel"));
    EXPECT_EQ(value(old, "memPressure"), -1.0f);
    EXPECT_EQ(TQSystemInfo::memoryStatus(memFixture("oldkernel")), -1);
    EXPECT_FLOAT_EQ(value(old, "memCompress"), 0.0f);
    EXPECT_TRUE(old.contains(QStringLiteral("memPageIns")));
    EXPECT_FALSE(old.contains(QStringLiteral("memPageOut")));
}

TEST(SystemInfoMemory, SwapNoneUnknownAndUnreadable)
{
    const auto swap = [](const QVariantMap &d) {
        return std::array<float, 3>{value(d, "memTotalSwap"), value(d, "memSwapAvailable"), value(d, "memSwapUsed")};
    };
    const std::array<float, 3> unknown{-1.0f, -1.0f, -1.0f};
    EXPECT_EQ(swap(TQSystemInfo::memoryData(memFixture("noswap"))), (std::array<float, 3>{0, 0, 0}));

    // Swap lines missing, MemFree unparsable: no memory keys, swap −1 each.
    const QVariantMap malformed = TQSystemInfo::memoryData(memFixture("malformed"));
    EXPECT_EQ(swap(malformed), unknown);
    EXPECT_EQ(malformed.size(), 3);

    // /proc/meminfo that cannot be read at all (tests run as root, so a
    // folder in its place rather than a mode).
    QTemporaryDir dir;
    ASSERT_TRUE(QDir(dir.path()).mkpath(QStringLiteral("proc/meminfo")));
    const PLVSysRoot unreadable(dir.path());
    const QVariantMap d = TQSystemInfo::memoryData(unreadable);
    EXPECT_EQ(swap(d), unknown);
    EXPECT_EQ(d.size(), 3);
    EXPECT_EQ(TQSystemInfo::memoryStatus(unreadable), -1);

    QVariantMap other{{QStringLiteral("other"), 1}};
    EXPECT_EQ(swap(TQSystemInfo::updateSwapUsed(other, unreadable)), unknown);
    EXPECT_EQ(swap(TQSystemInfo::updateSwapUsed(other, memFixture("full")))[2], 50000.0f * 1024);
    EXPECT_EQ(other.size(), 4);
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
    EXPECT_LE(value(d, "memFree") + value(d, "memApp") + value(d, "memWired"), total);
    for (const char *key : {"memfreePerc", "memPressure"})
        EXPECT_TRUE(value(d, key) >= 0 && value(d, key) <= 100) << key;
    EXPECT_GE(value(d, "memPageIns"), 0.0f);
    const float swapTotal = value(d, "memTotalSwap");
    EXPECT_GE(swapTotal, 0.0f);
    EXPECT_NEAR(value(d, "memSwapUsed") + value(d, "memSwapAvailable"), swapTotal, swapTotal * 1e-6f + 1);
    EXPECT_NEAR(double(TQSystemInfo::memoryStatus()), double(value(d, "memPressure")), 5.0);
}

TEST(SystemInfoMachine, LinuxMeaningsOfModelBoardAndEnergySettings)
{
    const PLVSysRoot dmi(fixturePath(QStringLiteral("proc-cpu/ht2way")));
    EXPECT_EQ(TQSystemInfo::hwModel(dmi), QStringLiteral("ThinkPad X1 Carbon Gen 9"));
    EXPECT_EQ(TQSystemInfo::boardID(dmi), QStringLiteral("20XWCTO1WW"));
    const PLVSysRoot dt(fixturePath(QStringLiteral("machine/devicetree")));
    EXPECT_EQ(TQSystemInfo::hwModel(dt), QStringLiteral("Raspberry Pi 4 Model B Rev 1.4"));
    EXPECT_EQ(TQSystemInfo::boardID(dt), QStringLiteral("raspberrypi,4-model-b"));
    EXPECT_TRUE(TQSystemInfo::hwModel(memFixture("full")).isNull());
    EXPECT_TRUE(TQSystemInfo::boardID(memFixture("full")).isNull());
    EXPECT_FALSE(TQSystemInfo::energyPowerSettings(dmi).has_value());
}
