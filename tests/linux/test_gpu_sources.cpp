// GPU property tables from sysfs fixture trees, NVML through an injected
// function table, and TQGPUInfo over them.
#include "PLVCommon/linux/PLVGPUSources.h"
#include "PLVCommon/stats/TQGPUInfo.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qint64 MiB = 1 << 20;
constexpr qint64 GiB = qint64(1) << 30;

PLVSysRoot gpuRoot(const char *name) { return PLVSysRoot(plvtest::fixturePath(u"gpu/"_s + QLatin1String(name))); }

// A stand-in for libnvidia-ml that knows one GPU, 0000:01:00.0 (55% busy, 6 of
// 8 GiB free): it counts sessions and records the bus ids asked for.
struct FakeNVML {
    static inline int initResult = 0, inits = 0, shutdowns = 0;
    static inline unsigned int flags = 0;
    static inline QStringList asked;
    static void reset(int result = 0)
    {
        initResult = result;
        inits = shutdowns = 0;
        flags = 0;
        asked.clear();
    }
    static PLVNVMLFunctions::Device handle() { return reinterpret_cast<PLVNVMLFunctions::Device>(&asked); }
    static std::shared_ptr<PLVNVML> library(bool withFlags = true)
    {
        using F = PLVNVMLFunctions;
        F f;
        if (withFlags)
            f.initWithFlags = [](unsigned int fl) { ++inits, flags = fl; return initResult; };
        else
            f.init = [] { ++inits; return initResult; };
        f.shutdown = [] { ++shutdowns; return 0; };
        f.deviceGetHandleByPciBusId = [](const char *busId, F::Device *d) {
            asked << QString::fromLatin1(busId);
            *d = handle();
            return asked.last() == u"0000:01:00.0"_s ? 0 : 13; // NVML_ERROR_NOT_FOUND
        };
        f.deviceGetUtilizationRates = [](F::Device d, F::Utilization *u) {
            *u = {55, 20};
            return d == handle() ? 0 : 1;
        };
        f.deviceGetMemoryInfo = [](F::Device d, F::Memory *m) {
            *m = {8ULL << 30, 6ULL << 30, 2ULL << 30}; // total, free, used
            return d == handle() ? 0 : 1;
        };
        return std::make_shared<PLVNVML>(f);
    }
};

std::shared_ptr<PLVNVML> noNVML() { return std::make_shared<PLVNVML>(PLVNVMLFunctions{}); }

QVariantMap statsOf(const QVariantMap &accelerator) { return accelerator.value(u"PerformanceStatistics"_s).toMap(); }

// A writable copy of a GPU fixture.
class GPUCopy
{
public:
    explicit GPUCopy(const char *name)
    {
        QProcess::execute(u"cp"_s, {u"-a"_s, gpuRoot(name).path(u"sys"_s), m_dir.path()});
    }
    PLVSysRoot root() const { return PLVSysRoot(m_dir.path()); }
    bool write(const QString &relative, const QByteArray &text) const
    {
        const QString path = m_dir.path() + u"/sys/bus/pci/devices/"_s + relative;
        return QDir().mkpath(QFileInfo(path).absolutePath()) && plvtest::writeFile(path, text);
    }

private:
    QTemporaryDir m_dir;
};

} // namespace

TEST(GPUSourcesFixture, EachVendorsCardAsTheModuleSeesIt)
{
    enum Library { None, Working, Mismatched };
    const struct {
        const char *fixture;
        Library nvml;
        const char *key, *vendor, *model;
        quint64 cards;
        qint64 total, free, utilisation; // -1: not published
        int sessions;                    // NVML sessions opened
    } rows[] = {
        // Host bridges and the GPUs' HDMI audio functions are not display controllers.
        {"amd", None, "\\_SB_.PCI0.GPP0.SWUS.SWDS.VGA_", "AMD", "Navi 21", 1, 16368 * MiB, 16368 * MiB - GiB, 37, 0},
        {"amd-nobusy", None, "\\_SB_.PCI0.PEG0.PEGP", "AMD", "", 1, 3 * GiB, 3 * GiB - 256 * MiB, -1, 0},
        {"nvidia", Working, "\\_SB_.PCI0.PEG0.PEGP", "nVidia", "GA104", 1, 8 * GiB, 6 * GiB, 55, 1},
        {"nvidia", None, "\\_SB_.PCI0.PEG0.PEGP", "nVidia", "GA104", 1, -1, -1, -1, 0},
        {"nvidia", Mismatched, "\\_SB_.PCI0.PEG0.PEGP", "nVidia", "GA104", 1, -1, -1, -1, 1},
        // Without firmware paths both cards share one key: the later (nouveau, no statistics) stays.
        {"noacpi", None, "keyUnknown", "nVidia", "", 2, -1, -1, -1, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.fixture << " NVML " << row.nvml);
        FakeNVML::reset(row.nvml == Mismatched ? 18 : 0); // NVML_ERROR_LIB_RM_VERSION_MISMATCH
        auto nvml = row.nvml == None ? noNVML() : FakeNVML::library();
        TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot(row.fixture), nvml));
        EXPECT_EQ(info.numGPUs(), row.cards);
        const QVariantMap card = info.gpuData().value(QString::fromLatin1(row.key)).toMap();
        EXPECT_EQ(card.value(u"vendorID"_s).toString(), QLatin1String(row.vendor));
        EXPECT_FALSE(card.value(u"vendorFullName"_s).toString().isEmpty());
        EXPECT_TRUE(card.value(u"vendorFullName"_s).toString().contains(QLatin1String(row.model)));
        EXPECT_EQ(card.value(u"totalVRAM"_s, -1).toLongLong(), row.total);
        EXPECT_EQ(card.value(u"freeVRAM"_s, -1).toLongLong(), row.free);
        EXPECT_EQ(card.value(u"deviceUtilization"_s, -1).toLongLong(), row.utilisation);
        // One session per refresh, closed again, asking only for the awake NVIDIA
        // GPU and leaving the others unattached; a session that failed is not closed.
        EXPECT_EQ(FakeNVML::inits, row.sessions);
        if (row.nvml == Working) {
            EXPECT_EQ(FakeNVML::asked, QStringList{u"0000:01:00.0"_s});
            EXPECT_EQ(FakeNVML::shutdowns, 1);
            EXPECT_EQ(FakeNVML::flags, PLVNVMLFunctions::initFlagNoAttach);
        } else {
            EXPECT_TRUE(FakeNVML::asked.isEmpty());
            EXPECT_EQ(FakeNVML::shutdowns, 0);
        }
    }
}

TEST(GPUSourcesFixture, TablesCarryTheIdsAsLittleEndianDataAndTheGTTFigures)
{
    const auto t = PLVGPUSources(gpuRoot("amd"), noNVML()).read();
    ASSERT_EQ(t.pciDevices.size(), 1);
    ASSERT_EQ(t.accelerators.size(), 1);
    EXPECT_EQ(t.pciDevices[0].value(u"vendor-id"_s).toByteArray(), QByteArray("\x02\x10\0\0", 4));
    EXPECT_EQ(t.pciDevices[0].value(u"device-id"_s).toByteArray(), QByteArray("\xbf\x73\0\0", 4));
    const QVariantMap stats = statsOf(t.accelerators[0]);
    EXPECT_EQ(stats.value(u"gartSizeBytes"_s).toLongLong(), 16 * GiB);
    EXPECT_EQ(stats.value(u"gartFreeBytes"_s).toLongLong(), 16 * GiB - 50 * MiB);
}

TEST(GPUSourcesFixture, IntelBusyShareComesFromTheIdleResidency)
{
    // i915 keeps RC6 residency under its DRM card (not under a connector such as
    // card0-HDMI-A-1, whose counter would say otherwise); xe keeps gtidle residency.
    const struct { const char *fixture, *counter, *key; qint64 start; } drivers[] = {
        {"intel", "0000:00:02.0/drm/card1/gt/gt0/rc6_residency_ms", "\\_SB_.PCI0.GFX0", 100000},
        {"intel-xe", "0000:03:00.0/tile0/gt0/gtidle/idle_residency_ms", "\\_SB_.PCI0.RP05.PXSX", 5000},
    };
    for (const auto &d : drivers) {
        SCOPED_TRACE(d.fixture);
        GPUCopy copy(d.fixture);
        auto sources = std::make_shared<PLVGPUSources>(copy.root(), noNVML());
        double now = 0;
        sources->setClock([&now] { return now; });
        TQGPUInfo info(sources);
        auto utilisation = [&](double at, qint64 idle) {
            now = at;
            EXPECT_TRUE(copy.write(QString::fromLatin1(d.counter), QByteArray::number(idle) + '\n'));
            const QVariantMap card = info.gpuCoresInformation().value(QString::fromLatin1(d.key)).toMap();
            return card.value(u"deviceUtilization"_s, -1).toLongLong();
        };
        // One read is no rate yet: unknown, not 0.
        const QVariantMap first = info.gpuData().value(QString::fromLatin1(d.key)).toMap();
        EXPECT_EQ(first.value(u"vendorID"_s).toString(), u"Intel"_s);
        EXPECT_FALSE(first.contains(u"deviceUtilization"_s));
        EXPECT_FALSE(first.contains(u"totalVRAM"_s));
        EXPECT_EQ(utilisation(1000, d.start + 250), 75);  // idle 250 ms of 1000
        EXPECT_EQ(utilisation(2000, d.start + 1260), 0);  // idle longer than the time (counter rounding)
        EXPECT_EQ(utilisation(3000, 5), -1);              // the counter went back: driver reloaded
    }
}

TEST(GPUSourcesFixture, SuspendedGPUsAreNotWoken)
{
    FakeNVML::reset();
    const auto t = PLVGPUSources(gpuRoot("suspended"), FakeNVML::library()).read();
    // A 3D controller (class 0x0302) counts as a display controller.
    ASSERT_EQ(t.pciDevices.size(), 3);
    ASSERT_EQ(t.accelerators.size(), 3);
    // NVML is not even opened: the only NVIDIA GPU sleeps.
    EXPECT_EQ(FakeNVML::inits, 0);
    int asleep = 0;
    for (const QVariantMap &acc : t.accelerators) {
        if (acc.value(u"runtime-status"_s).toString() != u"suspended"_s)
            continue;
        ++asleep;
        // The AMD eGPU's counters are in the tree; they were not read.
        EXPECT_FALSE(acc.contains(u"PerformanceStatistics"_s)) << acc.value(u"IOClass"_s).toString().toStdString();
        EXPECT_FALSE(acc.contains(u"VRAM,totalMB"_s));
    }
    EXPECT_EQ(asleep, 2);

    // A sleeping GPU is idle: utilisation 0 and no memory figures.
    TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot("suspended"), FakeNVML::library()));
    EXPECT_EQ(info.numGPUs(), 3u);
    for (const char *key : {"\\_SB_.PCI0.PEG0.PEGP", "\\_SB_.PCI0.RP09.PXSX"}) {
        const QVariantMap card = info.gpuData().value(QLatin1String(key)).toMap();
        EXPECT_EQ(card.value(u"deviceUtilization"_s, -1).toLongLong(), 0) << key;
        EXPECT_FALSE(card.contains(u"totalVRAM"_s)) << key;
    }
}

TEST(GPUSourcesFixture, OldNVMLIsNotOpenedWhileAnotherNVIDIAGPUSleeps)
{
    // Two NVIDIA GPUs, one awake, one asleep; a library without init flags would attach (wake) both.
    GPUCopy copy("nvidia");
    const std::pair<const char *, const char *> files[] = {
        {"class", "0x030000\n"}, {"vendor", "0x10de\n"}, {"device", "0x2484\n"},
        {"power/runtime_status", "suspended\n"}};
    for (const auto &[file, text] : files)
        ASSERT_TRUE(copy.write(u"0000:02:00.0/"_s + QLatin1String(file), text));
    const QString driver = copy.root().path(u"sys/bus/pci/devices/0000:02:00.0/driver"_s);
    ASSERT_TRUE(QFile::link(u"../../../bus/pci/drivers/nvidia"_s, driver));
    FakeNVML::reset();

    EXPECT_EQ(PLVGPUSources(copy.root(), FakeNVML::library(false)).read().accelerators.size(), 2);
    EXPECT_EQ(FakeNVML::inits, 0);

    const auto t = PLVGPUSources(copy.root(), FakeNVML::library(true)).read();
    EXPECT_EQ(FakeNVML::inits, 1);
    EXPECT_EQ(FakeNVML::asked, QStringList{u"0000:01:00.0"_s});
    EXPECT_EQ(statsOf(t.accelerators.at(0)).value(u"Device Utilization %"_s).toLongLong(), 55);
}

TEST(GPUSourcesFixture, VirtualGPUsAndAPassThroughStub)
{
    const auto t = PLVGPUSources(gpuRoot("virtual"), noNVML()).read();
    // virtio, qxl, bochs and the vfio-bound card are display controllers; only the first three have drivers.
    ASSERT_EQ(t.pciDevices.size(), 4);
    QStringList drivers;
    for (const QVariantMap &acc : t.accelerators)
        drivers << acc.value(u"IOClass"_s).toString();
    EXPECT_EQ(drivers, (QStringList{u"virtio-pci"_s, u"qxl"_s, u"bochs-drm"_s}));
    EXPECT_EQ(t.accelerators.at(1).value(u"IOPCIMatch"_s).toString(), u"0x01001b36"_s); // 4 digits each
    EXPECT_EQ(t.pciDevices.at(0).value(u"model"_s).toByteArray(), QByteArray("Virtio 1.0 GPU"));
    EXPECT_EQ(t.pciDevices.at(1).value(u"model"_s).toByteArray(), QByteArray("QXL paravirtual graphic card"));
    // QEMU's bochs adapter (1234:1111) has no entry in pci.ids; its name still says what it is.
    EXPECT_TRUE(t.pciDevices.at(2).value(u"model"_s).toByteArray().endsWith(" [1234:1111]"));
    EXPECT_EQ(PLVGPUSources::modelName(0x7777, 0x0001), u"Display controller [7777:0001]"_s);
    const QString knownVendor = PLVGPUSources::modelName(0x10de, 0xfffe);
    EXPECT_TRUE(knownVendor.startsWith(u"NVIDIA"_s) && knownVendor.endsWith(u" device [10de:fffe]"_s))
        << knownVendor.toStdString();

    TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot("virtual"), noNVML()));
    EXPECT_EQ(info.numGPUs(), 3u);
    const QVariantMap data = info.gpuData();
    EXPECT_EQ(data.keys(), (QStringList{u"\\_SB_.PCI0.S08_"_s, u"\\_SB_.PCI0.S10_"_s, u"keyUnknown"_s}));
    for (const QVariant &v : data) {
        // Awake but without statistics: utilisation unknown, no memory figures.
        EXPECT_EQ(v.toMap().keys(), (QStringList{u"vendorFullName"_s, u"vendorID"_s}));
        EXPECT_EQ(v.toMap().value(u"vendorID"_s).toString(), u"Unknown"_s);
    }
}

TEST(GPUSourcesLive, ThisMachinesDisplayControllers)
{
    // However many GPUs this machine has, every display controller is listed once.
    int expected = 0;
    for (const QString &addr : QDir(u"/sys/bus/pci/devices"_s).entryList(QDir::AllEntries | QDir::NoDotAndDotDot))
        if (plvtest::readFile(u"/sys/bus/pci/devices/%1/class"_s.arg(addr)).startsWith("0x03"))
            ++expected;
    const auto t = PLVGPUSources().read();
    EXPECT_EQ(t.pciDevices.size(), expected);
    EXPECT_LE(t.accelerators.size(), t.pciDevices.size());
    TQGPUInfo info;
    EXPECT_EQ(info.numGPUs() == 0, t.accelerators.isEmpty());
}
