// Rate, capacity and percentage texts: ladders, switch points, locales and
// the framework's translated unit words.
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/stats/StringExtras.h"

#include <QFileInfo>
#include <QLocale>

#include <gtest/gtest.h>

namespace {

std::string rate(quint64 v, bool bits = false)
{
    return StringExtras::buildStringToDisplayForValueBandwith(v, bits).toStdString();
}

// Each test runs in its own process, so a default locale set here does not leak.
void useLocale(const char *name) { QLocale::setDefault(QLocale(QLatin1String(name))); }

} // namespace

TEST(StringExtras, RateLadderSwitchesStrictlyAbovePowersOf1024)
{
    useLocale("en_US"); // a grouping locale: 1024 must not become "1,024"
    EXPECT_EQ(rate(0), "0 B/s");
    EXPECT_EQ(rate(1024), "1024 B/s");
    EXPECT_EQ(rate(1025), "1 KB/s");
    EXPECT_EQ(rate(1048576), "1024 KB/s");
    EXPECT_EQ(rate(1048577), "1.0 MB/s");
    EXPECT_EQ(rate(13107200), "12.5 MB/s");
    EXPECT_EQ(rate(104752742), "99.9 MB/s");
    EXPECT_EQ(rate(104857000), "100.0 MB/s") << "below 100 before rounding: still one decimal";
    EXPECT_EQ(rate(104857600), "100 MB/s");
    EXPECT_EQ(rate(1073741824), "1024 MB/s");
    EXPECT_EQ(rate(1073741825), "1 GB/s");
    EXPECT_EQ(rate(1099511627776ULL * 3 / 2), "1 TB/s") << "truncated, no decimal";
    EXPECT_EQ(StringExtras::buildStringToDisplayForValueBandwith(1025).toStdString(), "1 KB/s");
}

TEST(StringExtras, BitRatesMultiplyByEightAndWrap)
{
    EXPECT_EQ(rate(0, true), "0 b/s");
    EXPECT_EQ(rate(128, true), "1024 b/s");
    // 1600 bits/s is above 1024, so it takes the K step like any other rate.
    EXPECT_EQ(rate(200, true), "1 Kb/s");
    EXPECT_EQ(rate(1000, true), "7 Kb/s");
    EXPECT_EQ(rate(1638400, true), "12.5 Mb/s");
    EXPECT_EQ(rate(1ULL << 61, true), "0 b/s") << "2^61 × 8 wraps to 0";
}

TEST(StringExtras, MemoryAndDiskCapacities)
{
    EXPECT_EQ(StringExtras::doubleCapacityToString(1073741824.0).toStdString(), "1.0 GB");
    EXPECT_EQ(StringExtras::doubleCapacityToString(1072693248.0).toStdString(), "1023 MB");
    EXPECT_EQ(StringExtras::doubleCapacityToString(17179869184.0 * 1.25).toStdString(), "20.0 GB");
    EXPECT_EQ(StringExtras::doubleCapacityToShortString(943718400.0).toStdString(), "0.9 GB");
    EXPECT_EQ(StringExtras::doubleCapacityToShortString(942669824.0).toStdString(), "899 MB");

    EXPECT_EQ(StringExtras::doubleCapacityDiskToString(999999999.0).toStdString(), "1000 MB");
    EXPECT_EQ(StringExtras::doubleCapacityDiskToString(1e9).toStdString(), "1.0 GB");
    EXPECT_EQ(StringExtras::doubleCapacityDiskToString(256060514304.0).toStdString(), "256.1 GB");
    EXPECT_EQ(StringExtras::doubleCapacityDiskToString(1e12).toStdString(), "1.0 TB");
    EXPECT_EQ(StringExtras::doubleCapacityDiskToString(999999999999.0).toStdString(), "1000.0 GB");
}

TEST(StringExtras, PercentagesRoundLikePrintf)
{
    EXPECT_EQ(StringExtras::floatToPercentageString(42.6f).toStdString(), "43%");
    EXPECT_EQ(StringExtras::floatToPercentageString(0).toStdString(), "0%");
    EXPECT_EQ(StringExtras::floatToPercentageString(0.42f).toStdString(), "0%") << "no scaling of fractions";
    // Exact halves go to the even neighbour, as "%.0f" does.
    EXPECT_EQ(StringExtras::floatToPercentageString(2.5f).toStdString(), "2%");
    EXPECT_EQ(StringExtras::floatToPercentageString(3.5f).toStdString(), "4%");

    EXPECT_EQ(StringExtras::stringByAppendingPercentage(QStringLiteral("42")).toStdString(), "42%");
    EXPECT_EQ(StringExtras::stringByAppendingPercentage(QStringLiteral("")).toStdString(), "%");
    const QString null = StringExtras::stringByAppendingPercentage(QString());
    EXPECT_TRUE(null.isEmpty());
    EXPECT_FALSE(null.isNull()) << "never nil";
}

TEST(StringExtras, CommaLocaleWritesDecimalCommaAndKeepsUntranslatedUnits)
{
    useLocale("de_DE"); // the framework has no German table
    EXPECT_EQ(rate(13107200), "12,5 MB/s");
    EXPECT_EQ(StringExtras::doubleCapacityToString(1073741824.0 * 1.5).toStdString(), "1,5 GB");
    EXPECT_EQ(StringExtras::doubleCapacityDiskToString(1e12).toStdString(), "1,0 TB");
    EXPECT_EQ(StringExtras::floatToPercentageString(42.6f).toStdString(), "43%");
}

TEST(StringExtras, FrenchTranslationEndToEnd)
{
    PLVBundle *framework = PLVBundle::frameworkBundle();
    ASSERT_NE(framework, nullptr);
    ASSERT_TRUE(QFileInfo::exists(framework->resourcePath() + QStringLiteral("/Localizable_fr.qm")))
        << framework->resourcePath().toStdString();

    useLocale("fr_FR");
    EXPECT_EQ(rate(13107200), "12,5 Mo/s");
    EXPECT_EQ(rate(0), "0 o/s");
    EXPECT_EQ(rate(1073741825), "1 Go/s");
    EXPECT_EQ(rate(1099511627777ULL), "1 To/s");
    EXPECT_EQ(rate(100, true), "800 bit/s");
    EXPECT_EQ(rate(1638400, true), "12,5 Mbit/s");
    EXPECT_EQ(StringExtras::doubleCapacityToShortString(943718400.0).toStdString(), "0,9 Go");
    EXPECT_EQ(StringExtras::doubleCapacityDiskToString(1e12).toStdString(), "1,0 To");

    EXPECT_EQ(StringExtras::PLVLoc(QStringLiteral("MB")).toStdString(), "Mo");
    EXPECT_EQ(StringExtras::PLVLoc(QStringLiteral("no such key")).toStdString(), "no such key");
    EXPECT_TRUE(StringExtras::PLVLoc(QString()).isEmpty());
    EXPECT_FALSE(StringExtras::PLVLoc(QString()).isNull());

    // Back to English: the table follows the default locale.
    useLocale("en_GB");
    EXPECT_EQ(rate(13107200), "12.5 MB/s");
}
