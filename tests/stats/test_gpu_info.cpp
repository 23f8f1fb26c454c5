// XRGGraphicsCard and TQGPUInfo over hand-made property tables: matching,
// card construction, reconciliation and the two pairing passes.
#include "PLVCommon/stats/TQGPUInfo.h"
#include "PLVCommon/stats/XRGGraphicsCard.h"

#include <gtest/gtest.h>

#include <QVariantMap>

namespace {

QByteArray le32(quint32 v)
{
    QByteArray b(4, '\0');
    for (int i = 0; i < 4; ++i)
        b[i] = char((v >> (8 * i)) & 0xff);
    return b;
}

QVariantMap pciDevice(quint32 vendor, quint32 device, const QString &acpi = QString(), const QByteArray &model = "GPU")
{
    QVariantMap d{{QStringLiteral("vendor-id"), le32(vendor)}, {QStringLiteral("device-id"), le32(device)},
                  {QStringLiteral("model"), model}};
    if (!acpi.isNull())
        d.insert(QStringLiteral("acpi-path"), acpi);
    return d;
}

QVariantMap accelerator(const QString &match, const QVariantMap &stats = {}, QVariant totalMB = {})
{
    QVariantMap a{{QStringLiteral("IOPCIMatch"), match}};
    if (!stats.isEmpty())
        a.insert(QStringLiteral("PerformanceStatistics"), stats);
    if (totalMB.isValid())
        a.insert(QStringLiteral("VRAM,totalMB"), totalMB);
    return a;
}

struct Memory {
    qint64 total, used, free;
};

Memory memoryOf(const XRGGraphicsCard &c) { return {c.totalVRAM(), c.usedVRAM(), c.freeVRAM()}; }

} // namespace

TEST(GraphicsCardMatching, DeviceAndVendorKeyInTheMatchString)
{
    const QVariantMap nvidia = pciDevice(0x10DE, 0x1234);
    EXPECT_TRUE(XRGGraphicsCard::matchingPCIDevice(nvidia, accelerator(QStringLiteral("0x123410de&0xffe0ffff"))));
    EXPECT_TRUE(XRGGraphicsCard::matchingPCIDevice(nvidia, accelerator(QStringLiteral("0x00001111 0x123410DE"))));
    EXPECT_FALSE(XRGGraphicsCard::matchingPCIDevice(nvidia, accelerator(QStringLiteral("0x123510DE"))));
    // No zero padding: device 0x0100, vendor 0x1B36 gives "1001B36", found in a padded match.
    EXPECT_TRUE(XRGGraphicsCard::matchingPCIDevice(pciDevice(0x1B36, 0x0100), accelerator(QStringLiteral("0x01001b36"))));
    // IOPCIPrimaryMatch only when IOPCIMatch is absent.
    EXPECT_TRUE(XRGGraphicsCard::matchingPCIDevice(nvidia, {{QStringLiteral("IOPCIPrimaryMatch"), QStringLiteral("0x123410DE")}}));
    EXPECT_FALSE(XRGGraphicsCard::matchingPCIDevice(nvidia, {{QStringLiteral("IOPCIMatch"), QStringLiteral("0x0")},
                                                             {QStringLiteral("IOPCIPrimaryMatch"), QStringLiteral("0x123410DE")}}));
    EXPECT_FALSE(XRGGraphicsCard::matchingPCIDevice(nvidia, {}));
}

TEST(GraphicsCardMatching, UnknownIdsAndWrongTypes)
{
    // Unknown vendor (missing, short or not data): never a match.
    QVariantMap noVendor = pciDevice(0x10DE, 0x1234);
    noVendor.remove(QStringLiteral("vendor-id"));
    EXPECT_FALSE(XRGGraphicsCard::matchingPCIDevice(noVendor, accelerator(QStringLiteral("0x123410DE FFFF"))));
    QVariantMap shortVendor = pciDevice(0x10DE, 0x1234);
    shortVendor.insert(QStringLiteral("vendor-id"), QByteArray("\xde\x10", 2));
    EXPECT_FALSE(XRGGraphicsCard::matchingPCIDevice(shortVendor, accelerator(QStringLiteral("0x123410DE FFFF"))));
    QVariantMap numberVendor = pciDevice(0x10DE, 0x1234);
    numberVendor.insert(QStringLiteral("vendor-id"), 0x10DE);
    EXPECT_FALSE(XRGGraphicsCard::matchingPCIDevice(numberVendor, accelerator(QStringLiteral("0x123410DE"))));

    // Unknown device: the vendor alone, followed by a space or at the end.
    QVariantMap noDevice = pciDevice(0x8086, 0);
    noDevice.remove(QStringLiteral("device-id"));
    EXPECT_TRUE(XRGGraphicsCard::matchingPCIDevice(noDevice, accelerator(QStringLiteral("0x0000 8086 x"))));
    EXPECT_TRUE(XRGGraphicsCard::matchingPCIDevice(noDevice, accelerator(QStringLiteral("0x12348086"))));
    EXPECT_FALSE(XRGGraphicsCard::matchingPCIDevice(noDevice, accelerator(QStringLiteral("0x80861234"))));
}

TEST(GraphicsCardValues, ReconciliationTable)
{
    struct Row {
        Memory in;
        bool okay;
        Memory out;
    };
    const Row rows[] = {
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
    for (const Row &row : rows) {
        XRGGraphicsCard card({}, {});
        card.setTotalVRAM(row.in.total);
        card.setUsedVRAM(row.in.used);
        card.setFreeVRAM(row.in.free);
        SCOPED_TRACE(testing::Message() << row.in.total << "/" << row.in.used << "/" << row.in.free);
        EXPECT_EQ(card.valuesOkay(), row.okay);
        const Memory m = memoryOf(card);
        EXPECT_EQ(m.total, row.out.total);
        EXPECT_EQ(m.used, row.out.used);
        EXPECT_EQ(m.free, row.out.free);
    }
}

TEST(GraphicsCardConstruction, IdentityAndTotalMemorySources)
{
    QVariantMap pci = pciDevice(0x1002, 0x73BF, QStringLiteral("\\_SB_.PCI0.GFX0"), "Radeon \xc3\xa9");
    pci.insert(QStringLiteral("ATY,memsize"), qint64(512) << 20);
    XRGGraphicsCard card(pci, accelerator(QStringLiteral("0x73bf1002"), {}, 1536));
    EXPECT_EQ(card.fullCardName(), QString::fromUtf8("Radeon \xc3\xa9"));
    EXPECT_EQ(card.acpiPath(), QStringLiteral("\\_SB_.PCI0.GFX0"));
    EXPECT_EQ(card.vendor(), 0x1002u);
    EXPECT_EQ(card.vendorString(), QStringLiteral("AMD"));
    // The accelerator's total wins; without statistics the rest stays 0.
    EXPECT_EQ(card.totalVRAM(), 1610612736);
    EXPECT_EQ(card.usedVRAM(), 0);
    EXPECT_EQ(card.freeVRAM(), 0);
    EXPECT_EQ(card.deviceUtilization(), 0);
    EXPECT_EQ(card.cpuWait(), 0);

    // Then the PCI device's VRAM,totalMB, then ATY,memsize as it is.
    QVariantMap pciMB = pci;
    pciMB.insert(QStringLiteral("VRAM,totalMB"), 256);
    EXPECT_EQ(XRGGraphicsCard(pciMB, accelerator(QStringLiteral("x"))).totalVRAM(), qint64(256) << 20);
    EXPECT_EQ(XRGGraphicsCard(pci, accelerator(QStringLiteral("x"))).totalVRAM(), qint64(512) << 20);

    // Wrong types count as absent: text model, numeric ACPI path, text total.
    QVariantMap odd{{QStringLiteral("model"), QStringLiteral("text")}, {QStringLiteral("acpi-path"), 5},
                    {QStringLiteral("vendor-id"), QByteArray("\x86\x80", 2)}};
    XRGGraphicsCard bare(odd, {{QStringLiteral("VRAM,totalMB"), QStringLiteral("2048")}});
    EXPECT_TRUE(bare.fullCardName().isEmpty());
    EXPECT_TRUE(bare.acpiPath().isEmpty());
    EXPECT_EQ(bare.vendor(), 0u);
    EXPECT_TRUE(bare.vendorString().isNull());
    // No total, used and free 0: the total becomes 0 + 0 and the values are okay.
    EXPECT_EQ(bare.totalVRAM(), 0);
}

TEST(GraphicsCardConstruction, UtilisationKeysInOrder)
{
    auto util = [](const QVariantMap &stats) {
        return XRGGraphicsCard(pciDevice(0x10DE, 1), accelerator(QStringLiteral("x"), stats, 1024)).deviceUtilization();
    };
    EXPECT_EQ(util({{QStringLiteral("Device Utilization %"), 12}, {QStringLiteral("GPU Core Utilization"), 455000000}}), 12);
    EXPECT_EQ(util({{QStringLiteral("Device Unit 0 Utilization %"), 7}}), 7);
    EXPECT_EQ(util({{QStringLiteral("GPU Core Utilization"), 455000000}}), 45);
    EXPECT_EQ(util({{QStringLiteral("GPU Core Utilization"), -455000000}}), -45); // toward zero
    EXPECT_EQ(util({{QStringLiteral("Device Utilization %"), QStringLiteral("12")}}), 0); // present, not a number
    EXPECT_EQ(util({{QStringLiteral("hardwareWaitTime"), 3}}), -1);
}

TEST(GraphicsCardConstruction, MemoryFiguresAndTheirFallbacks)
{
    const qint64 MB = 1 << 20;
    // Used and free from the statistics, consistent with the total.
    XRGGraphicsCard ok(pciDevice(0x10DE, 1),
                       accelerator(QStringLiteral("x"),
                                   {{QStringLiteral("vramUsedBytes"), 300 * MB}, {QStringLiteral("vramFreeBytes"), 724 * MB},
                                    {QStringLiteral("hardwareWaitTime"), 99}},
                                   1024));
    EXPECT_EQ(ok.usedVRAM(), 300 * MB);
    EXPECT_EQ(ok.freeVRAM(), 724 * MB);
    EXPECT_EQ(ok.cpuWait(), 99);

    // Neither figure usable: inUseVidMemoryBytes, free computed from it.
    XRGGraphicsCard inUse(pciDevice(0x10DE, 1),
                          accelerator(QStringLiteral("x"),
                                      {{QStringLiteral("vramUsedBytes"), 4096 * MB},
                                       {QStringLiteral("inUseVidMemoryBytes"), 100 * MB}},
                                      1024));
    EXPECT_EQ(inUse.usedVRAM(), 100 * MB);
    EXPECT_EQ(inUse.freeVRAM(), 924 * MB);

    // No figures at all but GART sizes: the GART figures replace them.
    XRGGraphicsCard gart(pciDevice(0x8086, 1),
                         accelerator(QStringLiteral("x"),
                                     {{QStringLiteral("gartSizeBytes"), 2048 * MB},
                                      {QStringLiteral("gartUsedBytes"), 512 * MB},
                                      {QStringLiteral("gartFreeBytes"), 1536 * MB}},
                                     1024));
    EXPECT_EQ(memoryOf(gart).total, 2048 * MB);
    EXPECT_EQ(memoryOf(gart).used, 512 * MB);
    EXPECT_EQ(memoryOf(gart).free, 1536 * MB);

    // No figures and no GART: all three 0.
    XRGGraphicsCard none(pciDevice(0x8086, 1), accelerator(QStringLiteral("x"), {{QStringLiteral("hardwareWaitTime"), 1}}, 1024));
    EXPECT_EQ(memoryOf(none).total, 0);
    EXPECT_EQ(memoryOf(none).used, 0);
    EXPECT_EQ(memoryOf(none).free, 0);
}

TEST(GPUInfoPairing, EdgeCasesOfThePublishedDictionary)
{
    TQGPUInfo info{std::shared_ptr<PLVGPUSources>()};
    EXPECT_EQ(info.numGPUs(), 0u);
    EXPECT_TRUE(info.gpuData().isEmpty());

    // No statistics, 1536 MB: total, free 0 and utilisation 0 are published.
    info.refreshWithTables({pciDevice(0x10DE, 0x1234, QStringLiteral("A"), "GeForce")},
                           {accelerator(QStringLiteral("0x123410DE"), {}, 1536)});
    EXPECT_EQ(info.numGPUs(), 1u);
    const QVariantMap a = info.gpuData().value(QStringLiteral("A")).toMap();
    EXPECT_EQ(a, (QVariantMap{{QStringLiteral("vendorFullName"), QStringLiteral("GeForce")},
                              {QStringLiteral("vendorID"), QStringLiteral("nVidia")},
                              {QStringLiteral("totalVRAM"), qint64(1610612736)},
                              {QStringLiteral("freeVRAM"), qint64(0)},
                              {QStringLiteral("deviceUtilization"), qint64(0)}}));

    // Statistics without memory figures: no memory keys, no utilisation key.
    info.refreshWithTables({pciDevice(0x1002, 0x1, QStringLiteral("B"), "Radeon")},
                           {accelerator(QStringLiteral("0x00011002"), {{QStringLiteral("hardwareWaitTime"), 0}}, 1024)});
    const QVariantMap b = info.gpuData().value(QStringLiteral("B")).toMap();
    EXPECT_EQ(b, (QVariantMap{{QStringLiteral("vendorFullName"), QStringLiteral("Radeon")},
                              {QStringLiteral("vendorID"), QStringLiteral("AMD")}}));
    // Earlier entries stay.
    EXPECT_TRUE(info.gpuData().contains(QStringLiteral("A")));

    // No accelerator: nothing changes but the count.
    const QVariantMap before = info.gpuData();
    info.refreshWithTables({pciDevice(0x8086, 0x2)}, {});
    EXPECT_EQ(info.numGPUs(), 0u);
    EXPECT_EQ(info.gpuData(), before);

    // Two cards without ACPI path: the last one is kept under "keyUnknown".
    TQGPUInfo twins{std::shared_ptr<PLVGPUSources>()};
    twins.refreshWithTables({pciDevice(0x1002, 0x1, QString(), "first"), pciDevice(0x10DE, 0x2, QString(), "second")},
                            {accelerator(QStringLiteral("0x00011002")), accelerator(QStringLiteral("0x000210DE"))});
    EXPECT_EQ(twins.numGPUs(), 2u);
    EXPECT_EQ(twins.gpuData().keys(), QStringList{QStringLiteral("keyUnknown")});
    EXPECT_EQ(twins.gpuData().value(QStringLiteral("keyUnknown")).toMap().value(QStringLiteral("vendorFullName")),
              QStringLiteral("second"));
    EXPECT_EQ(twins.gpuData().value(QStringLiteral("keyUnknown")).toMap().value(QStringLiteral("vendorID")),
              QStringLiteral("nVidia"));
}

TEST(GPUInfoPairing, ThePassesPairAsWritten)
{
    // One accelerator naming the second of two PCI devices: the scan pairs them,
    // the first device gets no card.
    TQGPUInfo scan{std::shared_ptr<PLVGPUSources>()};
    scan.refreshWithTables({pciDevice(0x8086, 0x1, QStringLiteral("P0"), "igpu"), pciDevice(0x10DE, 0x2, QStringLiteral("P1"), "dgpu")},
                           {accelerator(QStringLiteral("0x000210DE"))});
    EXPECT_EQ(scan.numGPUs(), 1u);
    EXPECT_EQ(scan.gpuData().keys(), QStringList{QStringLiteral("P1")});

    // The leftover pass takes every leftover accelerator for one PCI device, unmatched.
    TQGPUInfo leftovers{std::shared_ptr<PLVGPUSources>()};
    leftovers.refreshWithTables({pciDevice(0x8086, 0x1, QStringLiteral("P0"))},
                                {accelerator(QStringLiteral("nothing"), {}, 1), accelerator(QStringLiteral("else"), {}, 2)});
    EXPECT_EQ(leftovers.numGPUs(), 2u);
    // Both cards carry P0's key: the second accelerator's card is the one kept.
    EXPECT_EQ(leftovers.gpuData().value(QStringLiteral("P0")).toMap().value(QStringLiteral("totalVRAM")), qint64(2) << 20);

    // The direct pair ignores what an earlier scan took: accelerator 1 is paired twice.
    TQGPUInfo twice{std::shared_ptr<PLVGPUSources>()};
    twice.refreshWithTables({pciDevice(0x10DE, 0x2, QStringLiteral("P0")), pciDevice(0x10DE, 0x2, QStringLiteral("P1"))},
                            {accelerator(QStringLiteral("0x1")), accelerator(QStringLiteral("0x000210DE"))});
    EXPECT_EQ(twice.numGPUs(), 2u);
    EXPECT_EQ(twice.gpuData().keys(), (QStringList{QStringLiteral("P0"), QStringLiteral("P1")}));

    // PCI devices whose model is not byte data are not listed at all.
    TQGPUInfo noModel{std::shared_ptr<PLVGPUSources>()};
    QVariantMap textModel = pciDevice(0x10DE, 0x2, QStringLiteral("P0"));
    textModel.insert(QStringLiteral("model"), QStringLiteral("text"));
    noModel.refreshWithTables({textModel}, {accelerator(QStringLiteral("0x000210DE"))});
    EXPECT_EQ(noModel.numGPUs(), 0u);
}
