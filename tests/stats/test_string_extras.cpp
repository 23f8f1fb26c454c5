// Rate, capacity and percentage texts: ladders, switch points, locales and
// the framework's translated unit words.
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/stats/StringExtras.h"

#include <QFileInfo>
#include <QLocale>

#include <gtest/gtest.h>

TEST(StringExtras, LaddersSwitchPointsAndLocales)
{
    ASSERT_TRUE(QFileInfo::exists(PLVBundle::frameworkBundle()->resourcePath() + QStringLiteral("/Localizable_fr.qm")));
    enum Kind { Bytes, Bits, Memory, ShortMemory, Disk, Percent };
    const struct {
        const char *locale; // the default locale from this row on
        Kind kind;
        double value; // every rate here is exact as a double
        const char *expected;
    } cases[] = {
        // A grouping locale: 1024 must not become "1,024". Rates step strictly above powers of 1024.
        {"en_US", Bytes, 0, "0 B/s"}, {"", Bytes, 1024, "1024 B/s"}, {"", Bytes, 1025, "1 KB/s"},
        {"", Bytes, 1048576, "1024 KB/s"}, {"", Bytes, 1048577, "1.0 MB/s"}, {"", Bytes, 13107200, "12.5 MB/s"},
        {"", Bytes, 104752742, "99.9 MB/s"},
        {"", Bytes, 104857000, "100.0 MB/s"}, // below 100 before rounding: still one decimal
        {"", Bytes, 104857600, "100 MB/s"}, {"", Bytes, 1073741824, "1024 MB/s"}, {"", Bytes, 1073741825, "1 GB/s"},
        {"", Bytes, 1099511627776.0 * 3 / 2, "1 TB/s"}, // truncated, no decimal
        // Bits are bytes × 8, on the same ladder (1600 b/s takes the K step); 2^61 × 8 wraps to 0.
        {"", Bits, 0, "0 b/s"}, {"", Bits, 128, "1024 b/s"}, {"", Bits, 200, "1 Kb/s"}, {"", Bits, 1000, "7 Kb/s"},
        {"", Bits, 1638400, "12.5 Mb/s"}, {"", Bits, 0x1p61, "0 b/s"},
        {"", Memory, 1073741824, "1.0 GB"}, {"", Memory, 1072693248, "1023 MB"}, {"", Memory, 943718400, "900 MB"},
        {"", Memory, 17179869184.0 * 1.25, "20.0 GB"},
        {"", ShortMemory, 943718400, "0.9 GB"}, {"", ShortMemory, 942669824, "899 MB"},
        {"", Disk, 999999999, "1000 MB"}, {"", Disk, 1e9, "1.0 GB"}, {"", Disk, 256060514304, "256.1 GB"},
        {"", Disk, 999999999999, "1000.0 GB"}, {"", Disk, 1e12, "1.0 TB"},
        // Already in percent (no scaling of fractions), halves to the even neighbour as "%.0f" does.
        {"", Percent, 42.6, "43%"}, {"", Percent, 0, "0%"}, {"", Percent, 0.42, "0%"}, {"", Percent, 2.5, "2%"},
        {"", Percent, 3.5, "4%"},
        // A comma locale the framework has no table for: decimal comma, English units.
        {"de_DE", Bytes, 13107200, "12,5 MB/s"}, {"", Memory, 1073741824 * 1.5, "1,5 GB"}, {"", Disk, 1e12, "1,0 TB"},
        {"", Percent, 42.6, "43%"},
        // French, from the framework's own table.
        {"fr_FR", Bytes, 13107200, "12,5 Mo/s"}, {"", Bytes, 0, "0 o/s"}, {"", Bytes, 1073741825, "1 Go/s"},
        {"", Bytes, 1099511627777, "1 To/s"}, {"", Bits, 100, "800 bit/s"}, {"", Bits, 1638400, "12,5 Mbit/s"},
        {"", ShortMemory, 943718400, "0,9 Go"}, {"", Disk, 1e12, "1,0 To"},
        // Back to English: the words follow the default locale.
        {"en_GB", Bytes, 13107200, "12.5 MB/s"},
    };
    for (const auto &c : cases) {
        if (*c.locale)
            QLocale::setDefault(QLocale(QLatin1String(c.locale))); // each test runs in its own process
        QString text;
        switch (c.kind) {
        case Bytes: text = StringExtras::buildStringToDisplayForValueBandwith(quint64(c.value)); break;
        case Bits: text = StringExtras::buildStringToDisplayForValueBandwith(quint64(c.value), true); break;
        case Memory: text = StringExtras::doubleCapacityToString(c.value); break;
        case ShortMemory: text = StringExtras::doubleCapacityToShortString(c.value); break;
        case Disk: text = StringExtras::doubleCapacityDiskToString(c.value); break;
        case Percent: text = StringExtras::floatToPercentageString(float(c.value)); break;
        }
        EXPECT_EQ(text.toStdString(), c.expected) << QLocale().name().toStdString() << " " << c.value;
    }
}

TEST(StringExtras, TranslationLookupAndPercentSignNeverGiveNull)
{
    QLocale::setDefault(QLocale(QLatin1String("fr_FR")));
    EXPECT_EQ(StringExtras::PLVLoc(QStringLiteral("MB")).toStdString(), "Mo");
    EXPECT_EQ(StringExtras::PLVLoc(QStringLiteral("no such key")).toStdString(), "no such key");
    EXPECT_EQ(StringExtras::stringByAppendingPercentage(QStringLiteral("42")).toStdString(), "42%");
    EXPECT_EQ(StringExtras::stringByAppendingPercentage(QStringLiteral("")).toStdString(), "%");
    for (const QString &empty : {StringExtras::PLVLoc(QString()), StringExtras::stringByAppendingPercentage(QString())}) {
        EXPECT_TRUE(empty.isEmpty());
        EXPECT_FALSE(empty.isNull());
    }
}
