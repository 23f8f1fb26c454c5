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

namespace {

constexpr qint64 MiB = 1 << 20;
constexpr qint64 GiB = qint64(1) << 30;

PLVSysRoot gpuRoot(const char *name) { return PLVSysRoot(plvtest::fixturePath(QStringLiteral("gpu/") + QLatin1String(name))); }

QByteArray le32(quint32 v)
{
    QByteArray b(4, '\0');
    for (int i = 0; i < 4; ++i)
        b[i] = char((v >> (8 * i)) & 0xff);
    return b;
}

// A stand-in for libnvidia-ml: records the calls, answers for known bus ids.
struct FakeNVML {
    static inline int initResult = 0;
    static inline int inits = 0;
    static inline int shutdowns = 0;
    static inline unsigned int flags = 0;
    static inline QStringList asked;
    static inline QHash<QString, std::pair<PLVNVMLFunctions::Utilization, PLVNVMLFunctions::Memory>> devices;

    static void reset()
    {
        initResult = 0;
        inits = shutdowns = 0;
        flags = 0;
        asked.clear();
        devices.clear();
    }
    static PLVNVMLFunctions::Device handle(qsizetype i) { return reinterpret_cast<PLVNVMLFunctions::Device>(i + 1); }
    static qsizetype index(PLVNVMLFunctions::Device d) { return qsizetype(reinterpret_cast<quintptr>(d)) - 1; }

    static PLVNVMLFunctions table(bool withFlags = true)
    {
        PLVNVMLFunctions f;
        if (withFlags)
            f.initWithFlags = [](unsigned int fl) { ++inits; flags = fl; return initResult; };
        else
            f.init = [] { ++inits; return initResult; };
        f.shutdown = [] { ++shutdowns; return 0; };
        f.deviceGetHandleByPciBusId = [](const char *busId, PLVNVMLFunctions::Device *d) {
            const QString id = QString::fromLatin1(busId);
            asked << id;
            const qsizetype i = devices.keys().indexOf(id);
            if (i < 0)
                return 13; // NVML_ERROR_NOT_FOUND
            *d = handle(i);
            return 0;
        };
        f.deviceGetUtilizationRates = [](PLVNVMLFunctions::Device d, PLVNVMLFunctions::Utilization *u) {
            *u = devices.value(devices.keys().at(index(d))).first;
            return 0;
        };
        f.deviceGetMemoryInfo = [](PLVNVMLFunctions::Device d, PLVNVMLFunctions::Memory *m) {
            *m = devices.value(devices.keys().at(index(d))).second;
            return 0;
        };
        return f;
    }
};

std::shared_ptr<PLVNVML> noNVML() { return std::make_shared<PLVNVML>(PLVNVMLFunctions{}); }

QVariantMap entry(const TQGPUInfo &info, const QString &key) { return info.gpuData().value(key).toMap(); }

// A writable copy of a GPU fixture.
class GPUCopy
{
public:
    explicit GPUCopy(const char *name)
    {
        QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-a"), gpuRoot(name).path(QStringLiteral("sys")), m_dir.path()});
    }
    PLVSysRoot root() const { return PLVSysRoot(m_dir.path()); }
    bool write(const QString &relative, const QByteArray &text) const
    {
        const QString path = m_dir.path() + QStringLiteral("/sys/bus/pci/devices/") + relative;
        return QDir().mkpath(QFileInfo(path).absolutePath()) && plvtest::writeFile(path, text);
    }

private:
    QTemporaryDir m_dir;
};

} // namespace

TEST(GPUSourcesFixture, AMDCardWithBusyPercent)
{
    PLVGPUSources sources(gpuRoot("amd"), noNVML());
    const auto t = sources.read();
    // Host bridge and HDMI audio are not display controllers.
    ASSERT_EQ(t.pciDevices.size(), 1);
    ASSERT_EQ(t.accelerators.size(), 1);
    const QVariantMap &pci = t.pciDevices.first();
    EXPECT_EQ(pci.value(QStringLiteral("vendor-id")).toByteArray(), le32(0x1002));
    EXPECT_EQ(pci.value(QStringLiteral("device-id")).toByteArray(), le32(0x73bf));
    EXPECT_EQ(pci.value(QStringLiteral("model")).typeId(), QMetaType::QByteArray);
    EXPECT_TRUE(pci.value(QStringLiteral("model")).toByteArray().contains("Navi 21"));
    EXPECT_EQ(pci.value(QStringLiteral("acpi-path")).toString(), QStringLiteral("\\_SB_.PCI0.GPP0.SWUS.SWDS.VGA_"));
    const QVariantMap &acc = t.accelerators.first();
    EXPECT_EQ(acc.value(QStringLiteral("IOPCIMatch")).toString(), QStringLiteral("0x73bf1002"));
    EXPECT_EQ(acc.value(QStringLiteral("IOClass")).toString(), QStringLiteral("amdgpu"));
    EXPECT_EQ(acc.value(QStringLiteral("VRAM,totalMB")).toLongLong(), 16368);
    const QVariantMap stats = acc.value(QStringLiteral("PerformanceStatistics")).toMap();
    EXPECT_EQ(stats.value(QStringLiteral("Device Utilization %")).toLongLong(), 37);
    EXPECT_EQ(stats.value(QStringLiteral("vramUsedBytes")).toLongLong(), GiB);
    EXPECT_EQ(stats.value(QStringLiteral("vramFreeBytes")).toLongLong(), 16368 * MiB - GiB);
    EXPECT_EQ(stats.value(QStringLiteral("gartSizeBytes")).toLongLong(), 16 * GiB);
    EXPECT_EQ(stats.value(QStringLiteral("gartFreeBytes")).toLongLong(), 16 * GiB - 50 * MiB);

    TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot("amd"), noNVML()));
    EXPECT_EQ(info.numGPUs(), 1u);
    const QVariantMap card = entry(info, QStringLiteral("\\_SB_.PCI0.GPP0.SWUS.SWDS.VGA_"));
    EXPECT_EQ(card.value(QStringLiteral("vendorID")).toString(), QStringLiteral("AMD"));
    EXPECT_EQ(card.value(QStringLiteral("vendorFullName")).toString(), QString::fromUtf8(pci.value(QStringLiteral("model")).toByteArray()));
    EXPECT_EQ(card.value(QStringLiteral("totalVRAM")).toLongLong(), 16368 * MiB);
    EXPECT_EQ(card.value(QStringLiteral("freeVRAM")).toLongLong(), 16368 * MiB - GiB);
    EXPECT_EQ(card.value(QStringLiteral("deviceUtilization")).toLongLong(), 37);
}

TEST(GPUSourcesFixture, AMDCardWithoutBusyPercentHasNoUtilisation)
{
    TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot("amd-nobusy"), noNVML()));
    const QVariantMap card = entry(info, QStringLiteral("\\_SB_.PCI0.PEG0.PEGP"));
    EXPECT_EQ(card.value(QStringLiteral("totalVRAM")).toLongLong(), 3 * GiB);
    EXPECT_EQ(card.value(QStringLiteral("freeVRAM")).toLongLong(), 3 * GiB - 256 * MiB);
    EXPECT_FALSE(card.contains(QStringLiteral("deviceUtilization")));
}

TEST(GPUSourcesFixture, IntelBusyShareComesFromTheIdleResidency)
{
    GPUCopy copy("intel");
    auto sources = std::make_shared<PLVGPUSources>(copy.root(), noNVML());
    double now = 0;
    sources->setClock([&now] { return now; });
    TQGPUInfo info(sources);
    // One read is no rate yet: unknown, not 0.
    const QString key = QStringLiteral("\\_SB_.PCI0.GFX0");
    EXPECT_EQ(entry(info, key).value(QStringLiteral("vendorID")).toString(), QStringLiteral("Intel"));
    EXPECT_TRUE(entry(info, key).value(QStringLiteral("vendorFullName")).toString().contains(QStringLiteral("Iris Xe")));
    EXPECT_FALSE(entry(info, key).contains(QStringLiteral("deviceUtilization")));
    EXPECT_FALSE(entry(info, key).contains(QStringLiteral("totalVRAM")));

    // 1000 ms later the card was idle for 250 ms: 75% busy. (The connector's
    // counter beside the card would say otherwise.)
    now = 1000;
    ASSERT_TRUE(copy.write(QStringLiteral("0000:00:02.0/drm/card1/gt/gt0/rc6_residency_ms"), "100250\n"));
    info.gpuCoresInformation();
    EXPECT_EQ(entry(info, key).value(QStringLiteral("deviceUtilization")).toLongLong(), 75);
    // Idle the whole time, and more than the time (rounding of the counter): 0.
    now = 2000;
    ASSERT_TRUE(copy.write(QStringLiteral("0000:00:02.0/drm/card1/gt/gt0/rc6_residency_ms"), "101260\n"));
    info.gpuCoresInformation();
    EXPECT_EQ(entry(info, key).value(QStringLiteral("deviceUtilization")).toLongLong(), 0);
    // A counter that went back (driver reloaded) gives no rate.
    now = 3000;
    ASSERT_TRUE(copy.write(QStringLiteral("0000:00:02.0/drm/card1/gt/gt0/rc6_residency_ms"), "5\n"));
    info.gpuCoresInformation();
    // The dictionary of the last good refresh is replaced by one without utilisation.
    EXPECT_FALSE(entry(info, key).contains(QStringLiteral("deviceUtilization")));
    EXPECT_EQ(info.numGPUs(), 1u);
}

TEST(GPUSourcesFixture, IntelXeUsesGtIdle)
{
    GPUCopy copy("intel-xe");
    PLVGPUSources sources(copy.root(), noNVML());
    double now = 0;
    sources.setClock([&now] { return now; });
    sources.read();
    now = 500;
    ASSERT_TRUE(copy.write(QStringLiteral("0000:03:00.0/tile0/gt0/gtidle/idle_residency_ms"), "5400\n"));
    const auto t = sources.read();
    ASSERT_EQ(t.accelerators.size(), 1);
    EXPECT_EQ(t.accelerators.first().value(QStringLiteral("IOClass")).toString(), QStringLiteral("xe"));
    EXPECT_EQ(t.accelerators.first().value(QStringLiteral("PerformanceStatistics")).toMap()
                  .value(QStringLiteral("Device Utilization %")).toLongLong(), 20);
}

TEST(GPUSourcesFixture, NVIDIAThroughNVML)
{
    FakeNVML::reset();
    FakeNVML::devices.insert(QStringLiteral("0000:01:00.0"),
                             {PLVNVMLFunctions::Utilization{55, 20},
                              PLVNVMLFunctions::Memory{8ULL << 30, 6ULL << 30, 2ULL << 30}});
    TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot("nvidia"), std::make_shared<PLVNVML>(FakeNVML::table())));
    const QVariantMap card = entry(info, QStringLiteral("\\_SB_.PCI0.PEG0.PEGP"));
    EXPECT_EQ(card.value(QStringLiteral("vendorID")).toString(), QStringLiteral("nVidia"));
    EXPECT_TRUE(card.value(QStringLiteral("vendorFullName")).toString().contains(QStringLiteral("GA104")));
    EXPECT_EQ(card.value(QStringLiteral("deviceUtilization")).toLongLong(), 55);
    EXPECT_EQ(card.value(QStringLiteral("totalVRAM")).toLongLong(), 8 * GiB);
    EXPECT_EQ(card.value(QStringLiteral("freeVRAM")).toLongLong(), 6 * GiB);
    // One session per refresh, closed again, leaving other GPUs unattached.
    EXPECT_EQ(FakeNVML::asked, QStringList{QStringLiteral("0000:01:00.0")});
    EXPECT_EQ(FakeNVML::inits, 1);
    EXPECT_EQ(FakeNVML::shutdowns, 1);
    EXPECT_EQ(FakeNVML::flags, PLVNVMLFunctions::initFlagNoAttach);
}

TEST(GPUSourcesFixture, NVIDIAWithoutUsableNVMLHasNoStatistics)
{
    // Absent library, and a library that does not match the driver.
    FakeNVML::reset();
    FakeNVML::initResult = 18; // NVML_ERROR_LIB_RM_VERSION_MISMATCH
    for (auto nvml : {noNVML(), std::make_shared<PLVNVML>(FakeNVML::table())}) {
        TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot("nvidia"), nvml));
        const QVariantMap card = entry(info, QStringLiteral("\\_SB_.PCI0.PEG0.PEGP"));
        EXPECT_EQ(card, (QVariantMap{{QStringLiteral("vendorFullName"), card.value(QStringLiteral("vendorFullName"))},
                                     {QStringLiteral("vendorID"), QStringLiteral("nVidia")}}));
        EXPECT_FALSE(card.value(QStringLiteral("vendorFullName")).toString().isEmpty());
    }
    EXPECT_EQ(FakeNVML::inits, 1);
    EXPECT_EQ(FakeNVML::shutdowns, 0); // never shut down what did not start
    EXPECT_TRUE(FakeNVML::asked.isEmpty());
}

TEST(GPUSourcesFixture, SuspendedGPUsAreNotWoken)
{
    FakeNVML::reset();
    FakeNVML::devices.insert(QStringLiteral("0000:01:00.0"), {{90, 90}, {1, 1, 0}});
    PLVGPUSources sources(gpuRoot("suspended"), std::make_shared<PLVNVML>(FakeNVML::table()));
    const auto t = sources.read();
    ASSERT_EQ(t.accelerators.size(), 3);
    // NVML is not even opened: the only NVIDIA GPU sleeps.
    EXPECT_EQ(FakeNVML::inits, 0);
    for (const QVariantMap &acc : t.accelerators) {
        if (acc.value(QStringLiteral("runtime-status")).toString() != QLatin1String("suspended"))
            continue;
        // The AMD eGPU's counters are in the tree; they were not read.
        EXPECT_FALSE(acc.contains(QStringLiteral("PerformanceStatistics"))) << acc.value(QStringLiteral("IOClass")).toString().toStdString();
        EXPECT_FALSE(acc.contains(QStringLiteral("VRAM,totalMB")));
    }
    // A 3D controller (class 0x0302) counts as a display controller.
    EXPECT_EQ(t.pciDevices.size(), 3);

    TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot("suspended"), std::make_shared<PLVNVML>(FakeNVML::table())));
    EXPECT_EQ(info.numGPUs(), 3u);
    // A sleeping GPU is idle: utilisation 0 and no memory figures.
    const QVariantMap nvidia = entry(info, QStringLiteral("\\_SB_.PCI0.PEG0.PEGP"));
    EXPECT_EQ(nvidia.value(QStringLiteral("deviceUtilization")).toLongLong(), 0);
    EXPECT_FALSE(nvidia.contains(QStringLiteral("totalVRAM")));
    EXPECT_EQ(entry(info, QStringLiteral("\\_SB_.PCI0.RP09.PXSX")).value(QStringLiteral("deviceUtilization")).toLongLong(), 0);
}

TEST(GPUSourcesFixture, OldNVMLIsNotOpenedWhileAnotherNVIDIAGPUSleeps)
{
    // Two NVIDIA GPUs, one awake, one asleep; a library without init flags would attach (wake) both.
    GPUCopy copy("nvidia");
    for (const auto &[file, text] : std::initializer_list<std::pair<const char *, const char *>>{
             {"class", "0x030000\n"}, {"vendor", "0x10de\n"}, {"device", "0x2484\n"}, {"power/runtime_status", "suspended\n"}})
        ASSERT_TRUE(copy.write(QStringLiteral("0000:02:00.0/") + QLatin1String(file), text));
    ASSERT_TRUE(QFile::link(QStringLiteral("../../../bus/pci/drivers/nvidia"),
                            copy.root().path(QStringLiteral("sys/bus/pci/devices/0000:02:00.0/driver"))));
    FakeNVML::reset();
    FakeNVML::devices.insert(QStringLiteral("0000:01:00.0"), {{55, 0}, {8ULL << 30, 6ULL << 30, 2ULL << 30}});

    PLVGPUSources old(copy.root(), std::make_shared<PLVNVML>(FakeNVML::table(false)));
    EXPECT_EQ(old.read().accelerators.size(), 2);
    EXPECT_EQ(FakeNVML::inits, 0);

    PLVGPUSources current(copy.root(), std::make_shared<PLVNVML>(FakeNVML::table(true)));
    const auto t = current.read();
    EXPECT_EQ(FakeNVML::inits, 1);
    EXPECT_EQ(FakeNVML::asked, QStringList{QStringLiteral("0000:01:00.0")});
    EXPECT_EQ(t.accelerators.at(0).value(QStringLiteral("PerformanceStatistics")).toMap()
                  .value(QStringLiteral("Device Utilization %")).toLongLong(), 55);
}

TEST(GPUSourcesFixture, VirtualGPUsAndAPassThroughStub)
{
    PLVGPUSources sources(gpuRoot("virtual"), noNVML());
    const auto t = sources.read();
    // virtio, qxl, bochs and the vfio-bound card are display controllers; only the first three have drivers.
    ASSERT_EQ(t.pciDevices.size(), 4);
    ASSERT_EQ(t.accelerators.size(), 3);
    QStringList drivers;
    for (const QVariantMap &acc : t.accelerators)
        drivers << acc.value(QStringLiteral("IOClass")).toString();
    EXPECT_EQ(drivers, (QStringList{QStringLiteral("virtio-pci"), QStringLiteral("qxl"), QStringLiteral("bochs-drm")}));
    EXPECT_EQ(t.pciDevices.at(0).value(QStringLiteral("model")).toByteArray(), QByteArray("Virtio 1.0 GPU"));
    EXPECT_EQ(t.pciDevices.at(1).value(QStringLiteral("model")).toByteArray(), QByteArray("QXL paravirtual graphic card"));
    // QEMU's bochs adapter (1234:1111) has no entry in pci.ids; its name still says what it is.
    const QByteArray bochs = t.pciDevices.at(2).value(QStringLiteral("model")).toByteArray();
    EXPECT_EQ(bochs, PLVGPUSources::modelName(0x1234, 0x1111).toUtf8());
    EXPECT_FALSE(bochs.isEmpty());
    EXPECT_FALSE(t.pciDevices.at(2).contains(QStringLiteral("acpi-path")));

    TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot("virtual"), noNVML()));
    EXPECT_EQ(info.numGPUs(), 3u);
    const QVariantMap data = info.gpuData();
    EXPECT_EQ(data.keys(), (QStringList{QStringLiteral("\\_SB_.PCI0.S08_"), QStringLiteral("\\_SB_.PCI0.S10_"),
                                        QStringLiteral("keyUnknown")}));
    for (const QVariant &v : data) {
        const QVariantMap card = v.toMap();
        EXPECT_EQ(card.value(QStringLiteral("vendorID")).toString(), QStringLiteral("Unknown"));
        // Awake but without statistics: utilisation unknown, no memory figures.
        EXPECT_FALSE(card.contains(QStringLiteral("deviceUtilization")));
        EXPECT_FALSE(card.contains(QStringLiteral("totalVRAM")));
    }
}

TEST(GPUSourcesFixture, ModelNamesForIdsTheDatabaseLacks)
{
    EXPECT_EQ(PLVGPUSources::modelName(0x7777, 0x0001).toStdString(), "Display controller [7777:0001]");
    const QString knownVendor = PLVGPUSources::modelName(0x10de, 0xfffe);
    EXPECT_TRUE(knownVendor.endsWith(QStringLiteral(" device [10de:fffe]"))) << knownVendor.toStdString();
    EXPECT_TRUE(knownVendor.startsWith(QStringLiteral("NVIDIA"))) << knownVendor.toStdString();
}

TEST(GPUSourcesFixture, TwoGPUsWithoutACPIPathShareOneKey)
{
    TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot("noacpi"), noNVML()));
    EXPECT_EQ(info.numGPUs(), 2u);
    EXPECT_EQ(info.gpuData().keys(), QStringList{QStringLiteral("keyUnknown")});
    // The later card (nouveau, no statistics) replaces the AMD one.
    EXPECT_EQ(entry(info, QStringLiteral("keyUnknown")).value(QStringLiteral("vendorID")).toString(), QStringLiteral("nVidia"));
}

TEST(GPUSourcesLive, ThisMachinesDisplayControllers)
{
    // However many GPUs this machine has, every display controller is listed once.
    int expected = 0;
    for (const QString &addr : QDir(QStringLiteral("/sys/bus/pci/devices")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot)) {
        const QByteArray cls = plvtest::readFile(QStringLiteral("/sys/bus/pci/devices/%1/class").arg(addr)).trimmed();
        if (cls.startsWith("0x03"))
            ++expected;
    }
    PLVGPUSources sources;
    const auto t = sources.read();
    EXPECT_EQ(t.pciDevices.size(), expected);
    EXPECT_LE(t.accelerators.size(), t.pciDevices.size());
    TQGPUInfo info;
    EXPECT_LE(info.numGPUs(), quint64(expected + t.accelerators.size()));
    EXPECT_EQ(info.numGPUs() == 0, t.accelerators.isEmpty());
}
