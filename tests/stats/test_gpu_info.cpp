// XRGGraphicsCard and TQGPUInfo over hand-made property tables: matching,
// card construction, reconciliation and the two pairing passes.
#include "PLVCommon/stats/TQGPUInfo.h"
#include "PLVCommon/stats/XRGGraphicsCard.h"

#include <gtest/gtest.h>

#include <QVariantMap>
#include <QtEndian>

#include <tuple>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qint64 MB = 1 << 20;

QByteArray le32(quint32 v)
{
    v = qToLittleEndian(v);
    return QByteArray(reinterpret_cast<const char *>(&v), 4);
}

QVariantMap pciDevice(quint32 vendor, quint32 device, const QString &acpi = QString(), const QByteArray &model = "GPU")
{
    QVariantMap d{{u"vendor-id"_s, le32(vendor)}, {u"device-id"_s, le32(device)}, {u"model"_s, model}};
    if (!acpi.isNull())
        d.insert(u"acpi-path"_s, acpi);
    return d;
}

QVariantMap accelerator(const QString &match, const QVariantMap &stats = {}, QVariant totalMB = {})
{
    QVariantMap a{{u"IOPCIMatch"_s, match}};
    if (!stats.isEmpty())
        a.insert(u"PerformanceStatistics"_s, stats);
    if (totalMB.isValid())
        a.insert(u"VRAM,totalMB"_s, totalMB);
    return a;
}

// The table with `key` set to `value`, or removed when `value` is invalid.
QVariantMap with(QVariantMap map, const QString &key, const QVariant &value)
{
    if (value.isValid())
        map.insert(key, value);
    else
        map.remove(key);
    return map;
}

using Memory = std::tuple<qint64, qint64, qint64>; // total, used, free
Memory memoryOf(const XRGGraphicsCard &c) { return {c.totalVRAM(), c.usedVRAM(), c.freeVRAM()}; }

} // namespace

TEST(GraphicsCardMatching, DeviceAndVendorKeyInTheMatchString)
{
    const QVariantMap nvidia = pciDevice(0x10DE, 0x1234);
    const QVariantMap noDevice = with(pciDevice(0x8086, 0), u"device-id"_s, {});
    const struct { const char *what; QVariantMap pci, accelerator; bool matches; } rows[] = {
        {"key with a mask", nvidia, accelerator(u"0x123410de&0xffe0ffff"_s), true},
        {"key among others", nvidia, accelerator(u"0x00001111 0x123410DE"_s), true},
        {"another device", nvidia, accelerator(u"0x123510DE"_s), false},
        {"no zero padding in the key", pciDevice(0x1B36, 0x0100), accelerator(u"0x1001b36"_s), true},
        {"the key inside a padded match", pciDevice(0x1B36, 0x0100), accelerator(u"0x01001b36"_s), true},
        {"primary match", nvidia, {{u"IOPCIPrimaryMatch"_s, u"0x123410DE"_s}}, true},
        {"primary match only without IOPCIMatch", nvidia,
         {{u"IOPCIMatch"_s, u"0x0"_s}, {u"IOPCIPrimaryMatch"_s, u"0x123410DE"_s}}, false},
        {"no match string", nvidia, {}, false},
        {"no vendor", with(nvidia, u"vendor-id"_s, {}), accelerator(u"0x123410DE FFFF"_s), false},
        {"short vendor", with(nvidia, u"vendor-id"_s, QByteArray("\xde\x10")), accelerator(u"0x123410DE FFFF"_s),
         false},
        {"vendor not data", with(nvidia, u"vendor-id"_s, 0x10DE), accelerator(u"0x123410DE"_s), false},
        {"no device: vendor then a space", noDevice, accelerator(u"0x0000 8086 x"_s), true},
        {"no device: vendor at the end", noDevice, accelerator(u"0x12348086"_s), true},
        {"no device: vendor elsewhere", noDevice, accelerator(u"0x80861234"_s), false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(XRGGraphicsCard::matchingPCIDevice(row.pci, row.accelerator), row.matches) << row.what;
}

TEST(GraphicsCardValues, ReconciliationTable)
{
    const struct { Memory in; bool okay; Memory out; } rows[] = {
        {{-1, 100, 300}, true, {400, 100, 300}},     // total from used + free
        {{-1, -5, 10}, false, {5, -5, 10}},
        {{1000, -1, 300}, true, {1000, 700, 300}},   // used from total - free
        {{1000, -1, 1500}, false, {1000, -500, 1500}},
        {{1000, -1, 0}, false, {1000, 0, 1000}},     // a free figure of 0 is not trusted
        {{1000, 200, -1}, true, {1000, 200, 800}},   // free from total - used
        {{1000, 0, -1}, false, {1000, 0, 1000}},     // ... but nothing used is not okay
        {{1000, 1200, -1}, false, {1000, 1200, -200}},
        {{1000, 200, 800}, true, {1000, 200, 800}},  // all known
        {{1000, 0, 0}, true, {1000, 0, 0}},
        {{1000, 1200, 0}, false, {1000, 1200, 0}},
        {{-1, -1, 5}, false, {-1, -1, 5}},
        {{-1, -1, -1}, false, {-1, -1, -1}},
    };
    for (const auto &row : rows) {
        XRGGraphicsCard card({}, {});
        card.setTotalVRAM(std::get<0>(row.in));
        card.setUsedVRAM(std::get<1>(row.in));
        card.setFreeVRAM(std::get<2>(row.in));
        SCOPED_TRACE(testing::PrintToString(row.in));
        EXPECT_EQ(card.valuesOkay(), row.okay);
        EXPECT_EQ(memoryOf(card), row.out);
    }
}

TEST(GraphicsCardConstruction, IdentityAndTotalMemorySources)
{
    const QVariantMap pci =
        with(pciDevice(0x1002, 0x73BF, u"\\_SB_.PCI0.GFX0"_s, "Radeon \xc3\xa9"), u"ATY,memsize"_s, 512 * MB);
    XRGGraphicsCard card(pci, accelerator(u"0x73bf1002"_s, {}, 1536));
    EXPECT_EQ(card.fullCardName(), QString::fromUtf8("Radeon \xc3\xa9"));
    EXPECT_EQ(card.acpiPath(), u"\\_SB_.PCI0.GFX0"_s);
    EXPECT_EQ(card.vendorString(), u"AMD"_s);
    // The accelerator's total wins; without statistics the rest stays 0.
    EXPECT_EQ(memoryOf(card), Memory(1536 * MB, 0, 0));
    EXPECT_EQ(card.deviceUtilization(), 0);
    // Then the PCI device's VRAM,totalMB, then ATY,memsize as it is.
    EXPECT_EQ(XRGGraphicsCard(with(pci, u"VRAM,totalMB"_s, 256), accelerator(u"x"_s)).totalVRAM(), 256 * MB);
    EXPECT_EQ(XRGGraphicsCard(pci, accelerator(u"x"_s)).totalVRAM(), 512 * MB);

    // Wrong types count as absent: text model, numeric ACPI path, short vendor, text total.
    XRGGraphicsCard bare({{u"model"_s, u"text"_s}, {u"acpi-path"_s, 5}, {u"vendor-id"_s, QByteArray("\x86\x80", 2)}},
                         {{u"VRAM,totalMB"_s, u"2048"_s}});
    EXPECT_TRUE(bare.fullCardName().isEmpty());
    EXPECT_TRUE(bare.acpiPath().isEmpty());
    EXPECT_EQ(bare.vendor(), 0u);
    EXPECT_TRUE(bare.vendorString().isNull());
    EXPECT_EQ(bare.totalVRAM(), 0); // unknown, then 0 + 0 from used and free
}

TEST(GraphicsCardConstruction, UtilisationKeysInOrderAndMemoryFallbacks)
{
    auto card = [](const QVariantMap &stats) {
        return XRGGraphicsCard(pciDevice(0x10DE, 1), accelerator(u"x"_s, stats, 1024));
    };
    EXPECT_EQ(card({{u"Device Utilization %"_s, 12}, {u"GPU Core Utilization"_s, 455000000}}).deviceUtilization(), 12);
    EXPECT_EQ(card({{u"Device Unit 0 Utilization %"_s, 7}}).deviceUtilization(), 7);
    EXPECT_EQ(card({{u"GPU Core Utilization"_s, 455000000}}).deviceUtilization(), 45);
    EXPECT_EQ(card({{u"GPU Core Utilization"_s, -455000000}}).deviceUtilization(), -45); // toward zero
    EXPECT_EQ(card({{u"Device Utilization %"_s, u"12"_s}}).deviceUtilization(), 0);        // present, not a number
    EXPECT_EQ(card({{u"hardwareWaitTime"_s, 3}}).deviceUtilization(), -1);
    EXPECT_EQ(card({{u"hardwareWaitTime"_s, 99}}).cpuWait(), 99);

    const struct { const char *what; QVariantMap stats; Memory expected; } rows[] = {
        {"used and free as given",
         {{u"vramUsedBytes"_s, 300 * MB}, {u"vramFreeBytes"_s, 724 * MB}}, {1024 * MB, 300 * MB, 724 * MB}},
        {"used beyond the total: the memory in use, free from it",
         {{u"vramUsedBytes"_s, 4096 * MB}, {u"inUseVidMemoryBytes"_s, 100 * MB}}, {1024 * MB, 100 * MB, 924 * MB}},
        {"no figures: the GART's",
         {{u"gartSizeBytes"_s, 2048 * MB}, {u"gartUsedBytes"_s, 512 * MB}, {u"gartFreeBytes"_s, 1536 * MB}},
         {2048 * MB, 512 * MB, 1536 * MB}},
        {"no figures and no GART: all 0", {{u"hardwareWaitTime"_s, 1}}, {0, 0, 0}},
    };
    for (const auto &row : rows)
        EXPECT_EQ(memoryOf(card(row.stats)), row.expected) << row.what;
}

TEST(GPUInfoPairing, ThePublishedDictionaryAndItsEarlierEntries)
{
    TQGPUInfo info{std::shared_ptr<PLVGPUSources>()};
    // No statistics, 1536 MB: total, free 0 and utilisation 0 are published.
    info.refreshWithTables({pciDevice(0x10DE, 0x1234, u"A"_s, "GeForce")}, {accelerator(u"0x123410DE"_s, {}, 1536)});
    EXPECT_EQ(info.numGPUs(), 1u);
    const QVariantMap a{{u"vendorFullName"_s, u"GeForce"_s}, {u"vendorID"_s, u"nVidia"_s}, {u"totalVRAM"_s, 1536 * MB},
                        {u"freeVRAM"_s, qint64(0)}, {u"deviceUtilization"_s, qint64(0)}};
    EXPECT_EQ(info.gpuData().value(u"A"_s).toMap(), a);

    // Statistics without memory figures: no memory keys, no utilisation key.
    // The earlier entry stays.
    info.refreshWithTables({pciDevice(0x1002, 0x1, u"B"_s, "Radeon")},
                           {accelerator(u"0x00011002"_s, {{u"hardwareWaitTime"_s, 0}}, 1024)});
    EXPECT_EQ(info.gpuData().value(u"B"_s).toMap().keys(), (QStringList{u"vendorFullName"_s, u"vendorID"_s}));
    EXPECT_EQ(info.gpuData().keys(), (QStringList{u"A"_s, u"B"_s}));

    // No accelerator: nothing changes but the count.
    const QVariantMap before = info.gpuData();
    info.refreshWithTables({pciDevice(0x8086, 0x2)}, {});
    EXPECT_EQ(info.numGPUs(), 0u);
    EXPECT_EQ(info.gpuData(), before);
}

TEST(GPUInfoPairing, ThePassesPairAsWritten)
{
    // Every accelerator has its own size in MB, so a card's total tells which one it got.
    const struct {
        const char *what;
        QList<QVariantMap> pci, accelerators;
        quint64 cards;
        QMap<QString, qint64> totalMB; // by key
    } rows[] = {
        {"an accelerator naming the second device: the scan pairs them, the first gets no card",
         {pciDevice(0x8086, 0x1, u"P0"_s), pciDevice(0x10DE, 0x2, u"P1"_s)}, {accelerator(u"0x000210DE"_s, {}, 7)}, 1,
         {{u"P1"_s, 7}}},
        {"a leftover device takes every leftover accelerator, unmatched; the last card is kept",
         {pciDevice(0x8086, 0x1, u"P0"_s)}, {accelerator(u"nothing"_s, {}, 1), accelerator(u"else"_s, {}, 2)}, 2,
         {{u"P0"_s, 2}}},
        {"the direct pair ignores what an earlier scan took",
         {pciDevice(0x10DE, 0x2, u"P0"_s), pciDevice(0x10DE, 0x2, u"P1"_s)},
         {accelerator(u"0x1"_s, {}, 1), accelerator(u"0x000210DE"_s, {}, 2)}, 2, {{u"P0"_s, 2}, {u"P1"_s, 2}}},
        {"a device whose model is not data is not listed",
         {with(pciDevice(0x10DE, 0x2, u"P0"_s), u"model"_s, u"text"_s)}, {accelerator(u"0x000210DE"_s, {}, 1)}, 0, {}},
        {"two cards without an ACPI path: the last is kept under keyUnknown",
         {pciDevice(0x1002, 0x1), pciDevice(0x10DE, 0x2)},
         {accelerator(u"0x00011002"_s, {}, 1), accelerator(u"0x000210DE"_s, {}, 2)}, 2, {{u"keyUnknown"_s, 2}}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.what);
        TQGPUInfo info{std::shared_ptr<PLVGPUSources>()};
        info.refreshWithTables(row.pci, row.accelerators);
        EXPECT_EQ(info.numGPUs(), row.cards);
        const QVariantMap data = info.gpuData();
        QMap<QString, qint64> totals;
        for (auto it = data.cbegin(); it != data.cend(); ++it)
            totals.insert(it.key(), it->toMap().value(u"totalVRAM"_s).toLongLong() / MB);
        EXPECT_EQ(totals, row.totalMB);
    }
}
