// GPU property tables from sysfs fixture trees, NVML through an injected
// function table, and TQGPUInfo over them.
#include "PLVCommon/linux/PLVGPUSources.h"
#include "PLVCommon/stats/TQGPUInfo.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>

#include <functional>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr qint64 MiB = 1 << 20;
constexpr qint64 GiB = qint64(1) << 30;

PLVSysRoot gpuRoot(const char *name) { return PLVSysRoot(plvtest::fixturePath(u"gpu/"_s + QLatin1String(name))); }

// A stand-in for libnvidia-ml that refuses what the real library refuses. It
// knows two GPUs: 0000:01:00.0 (an RTX 3070, 55% busy, 6 of 8 GiB free) and
// 0000:00:06.0 (an H100 with the memory a real one reported). Sessions are
// reference-counted; lookups and queries outside a session answer
// UNINITIALIZED, handles of an earlier session are refused, and a session
// opened with NO_ATTACH finds no GPU (NOT_FOUND), as measured on an H100.
struct FakeNVML {
    using F = PLVNVMLFunctions;
    struct GPU {
        const char *busId, *name;
        F::Utilization utilization;
        F::Memory memory;
        int session; // the session that attached it
    };
    static inline GPU gpus[] = {
        {"0000:01:00.0", "NVIDIA GeForce RTX 3070", {55, 20}, {8ULL << 30, 6ULL << 30, 2ULL << 30}, 0},
        {"0000:00:06.0", "NVIDIA H100 80GB HBM3", {12, 3}, {85520809984ULL, 84977582080ULL, 543227904ULL}, 0},
    };
    static inline int initResult = 0, inits = 0, shutdowns = 0, refs = 0, session = 0;
    static inline bool noAttach = false;
    static inline QStringList asked;
    static void reset(int result = 0)
    {
        initResult = result;
        inits = shutdowns = refs = 0;
        noAttach = false;
        asked.clear();
        for (GPU &g : gpus)
            g.session = 0;
    }
    static F::Return start(unsigned int flags)
    {
        ++inits;
        if (initResult != F::success)
            return initResult;
        if (refs++ == 0)
            ++session, noAttach = flags & F::initFlagNoAttach;
        return F::success;
    }
    static GPU *attached(F::Device d, F::Return &error)
    {
        error = refs == 0 ? F::errorUninitialized : F::errorInvalidArgument;
        for (GPU &g : gpus)
            if (reinterpret_cast<F::Device>(&g) == d)
                return refs > 0 && g.session == session ? (error = F::success, &g) : nullptr;
        return nullptr;
    }
    static std::shared_ptr<PLVNVML> library(bool withPlainInit = true)
    {
        F f;
        f.initWithFlags = [](unsigned int flags) { return start(flags); };
        if (withPlainInit)
            f.init = [] { return start(0); };
        f.shutdown = [] {
            if (refs == 0)
                return F::errorUninitialized;
            ++shutdowns, --refs;
            return F::success;
        };
        f.deviceGetHandleByPciBusId = [](const char *busId, F::Device *d) {
            if (refs == 0)
                return F::errorUninitialized;
            asked << QString::fromLatin1(busId);
            for (GPU &g : gpus) {
                if (qstrcmp(g.busId, busId) != 0 || noAttach)
                    continue;
                g.session = session;
                *d = reinterpret_cast<F::Device>(&g);
                return F::success;
            }
            return F::errorNotFound;
        };
        f.deviceGetName = [](F::Device d, char *name, unsigned int length) {
            F::Return e;
            const GPU *g = attached(d, e);
            if (!g)
                return e;
            if (qstrlen(g->name) >= length)
                return F::errorInsufficientSize;
            qstrcpy(name, g->name);
            return F::success;
        };
        f.deviceGetUtilizationRates = [](F::Device d, F::Utilization *u) {
            F::Return e;
            if (const GPU *g = attached(d, e))
                *u = g->utilization;
            return e;
        };
        f.deviceGetMemoryInfo = [](F::Device d, F::Memory *m) {
            F::Return e;
            if (const GPU *g = attached(d, e))
                *m = g->memory;
            return e;
        };
        return std::make_shared<PLVNVML>(f);
    }
};

std::shared_ptr<PLVNVML> noNVML() { return std::make_shared<PLVNVML>(PLVNVMLFunctions{}); }

QVariantMap statsOf(const QVariantMap &accelerator) { return accelerator.value(u"PerformanceStatistics"_s).toMap(); }

// A writable copy of a GPU fixture; files are named from the PCI devices folder.
struct GPUCopy : plvtest::FixtureCopy {
    explicit GPUCopy(const char *name) : FixtureCopy(u"gpu/"_s + QLatin1String(name)) {}
    bool write(const QString &relative, const QByteArray &text) const
    {
        return FixtureCopy::write(u"sys/bus/pci/devices/"_s + relative, text);
    }
};

} // namespace

TEST(GPUSourcesFixture, EachVendorsCardAsTheModuleSeesIt)
{
    enum Library { None, Working, Mismatched };
    const struct {
        const char *fixture;
        Library nvml;
        bool idsFile; // false: pci.ids missing, as on the H100 machine
        const char *key, *vendor, *model;
        quint64 cards;
        qint64 total, free, utilisation; // -1: not published
        int sessions;                    // NVML sessions opened
    } rows[] = {
        // Host bridges and the GPUs' HDMI audio functions are not display controllers.
        {"amd", None, true, "\\_SB_.PCI0.GPP0.SWUS.SWDS.VGA_", "AMD", "Navi 21", 1, 16368 * MiB, 16368 * MiB - GiB, 37, 0},
        {"amd-nobusy", None, true, "\\_SB_.PCI0.PEG0.PEGP", "AMD", "", 1, 3 * GiB, 3 * GiB - 256 * MiB, -1, 0},
        {"nvidia", Working, true, "\\_SB_.PCI0.PEG0.PEGP", "nVidia", "GA104", 1, 8 * GiB, 6 * GiB, 55, 1},
        {"nvidia", None, true, "\\_SB_.PCI0.PEG0.PEGP", "nVidia", "GA104", 1, -1, -1, -1, 0},
        {"nvidia", Mismatched, true, "\\_SB_.PCI0.PEG0.PEGP", "nVidia", "GA104", 1, -1, -1, -1, 1},
        // A data-centre GPU in a virtual machine: no firmware path, and no pci.ids
        // entry, so NVML's name stands.
        {"h100", Working, false, "0000:00:06.0", "nVidia", "NVIDIA H100 80GB HBM3", 1, 85520809984, 84977582080, 12, 1},
        // Without firmware paths each card is known by its PCI address (this one: nouveau, no statistics).
        {"noacpi", None, true, "0000:02:00.0", "nVidia", "", 2, -1, -1, -1, 0},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(testing::Message() << row.fixture << " NVML " << row.nvml);
        FakeNVML::reset(row.nvml == Mismatched ? PLVNVMLFunctions::errorLibRmVersionMismatch : 0);
        PLVGPUSources::setIdsFile(row.idsFile ? QString() : u"/nonexistent/pci.ids"_s);
        auto nvml = row.nvml == None ? noNVML() : FakeNVML::library();
        TQGPUInfo info(std::make_shared<PLVGPUSources>(gpuRoot(row.fixture), nvml));
        PLVGPUSources::setIdsFile({});
        EXPECT_EQ(info.numGPUs(), row.cards);
        EXPECT_EQ(quint64(info.gpuData().size()), row.cards);
        const QVariantMap card = info.gpuData().value(QString::fromLatin1(row.key)).toMap();
        EXPECT_EQ(card.value(u"vendorID"_s).toString(), QLatin1String(row.vendor));
        EXPECT_FALSE(card.value(u"vendorFullName"_s).toString().isEmpty());
        EXPECT_TRUE(card.value(u"vendorFullName"_s).toString().contains(QLatin1String(row.model)))
            << card.value(u"vendorFullName"_s).toString().toStdString();
        EXPECT_EQ(card.value(u"totalVRAM"_s, -1).toLongLong(), row.total);
        EXPECT_EQ(card.value(u"freeVRAM"_s, -1).toLongLong(), row.free);
        EXPECT_EQ(card.value(u"deviceUtilization"_s, -1).toLongLong(), row.utilisation);
        // One session, asking only for the awake NVIDIA GPU. These GPUs cannot
        // runtime-suspend, so a session that started stays open for the next refresh.
        EXPECT_EQ(FakeNVML::inits, row.sessions);
        EXPECT_EQ(FakeNVML::shutdowns, 0);
        EXPECT_EQ(FakeNVML::asked.size(), row.nvml == Working ? 1 : 0);
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

TEST(GPUSourcesFixture, NVMLIsLeftAloneWhileAnyNVIDIAGPUSleeps)
{
    // Two NVIDIA GPUs that cannot runtime-suspend by themselves; the second one is put to sleep
    // by hand. Opening NVML then might attach (wake) it, so the session is closed and not reopened.
    for (const bool plainInit : {true, false}) {
        SCOPED_TRACE(plainInit ? "nvmlInit_v2" : "nvmlInitWithFlags");
        GPUCopy copy("nvidia");
        const std::pair<const char *, const char *> files[] = {
            {"class", "0x030000\n"}, {"vendor", "0x10de\n"}, {"device", "0x2484\n"},
            {"power/runtime_status", "active\n"}, {"power/control", "on\n"}};
        for (const auto &[file, text] : files)
            ASSERT_TRUE(copy.write(u"0000:02:00.0/"_s + QLatin1String(file), text));
        ASSERT_TRUE(QFile::link(u"../../../bus/pci/drivers/nvidia"_s,
                                copy.root().path(u"sys/bus/pci/devices/0000:02:00.0/driver"_s)));
        FakeNVML::reset();
        PLVGPUSources sources(copy.root(), FakeNVML::library(plainInit));
        auto utilisation = [&] {
            return statsOf(sources.read().accelerators.at(0)).value(u"Device Utilization %"_s, -1).toLongLong();
        };
        EXPECT_EQ(utilisation(), 55);
        EXPECT_EQ(utilisation(), 55);
        EXPECT_EQ(FakeNVML::inits, 1);     // kept open: nothing here can suspend
        EXPECT_EQ(FakeNVML::asked.count(u"0000:01:00.0"_s), 1); // its handle is looked up once per session
        EXPECT_FALSE(FakeNVML::noAttach);

        ASSERT_TRUE(copy.write(u"0000:02:00.0/power/runtime_status"_s, "suspended\n"));
        EXPECT_EQ(utilisation(), -1); // not even the awake GPU's: NVML is not touched
        EXPECT_EQ(FakeNVML::shutdowns, 1);
        EXPECT_EQ(utilisation(), -1);
        EXPECT_EQ(FakeNVML::inits, 1);

        ASSERT_TRUE(copy.write(u"0000:02:00.0/power/runtime_status"_s, "active\n"));
        EXPECT_EQ(utilisation(), 55); // a new session, new handles
        EXPECT_EQ(FakeNVML::inits, 2);
    }
}

TEST(GPUSourcesFixture, ASuspendableGPUIsReadNoMoreOftenThanItCouldSleep)
{
    // gpu_busy_percent and NVML queries resume the device and restart its
    // autosuspend timer. With runtime PM allowed ("auto", 5 s delay), they are
    // read again only once the GPU could have slept in between.
    const struct {
        const char *fixture, *address, *key;
        std::function<void(const GPUCopy &, qint64)> setBusy;
    } gpus[] = {
        {"amd", "0000:03:00.0", "\\_SB_.PCI0.GPP0.SWUS.SWDS.VGA_",
         [](const GPUCopy &c, qint64 v) { ASSERT_TRUE(c.write(u"0000:03:00.0/gpu_busy_percent"_s, QByteArray::number(v))); }},
        {"nvidia", "0000:01:00.0", "\\_SB_.PCI0.PEG0.PEGP",
         [](const GPUCopy &, qint64 v) { FakeNVML::gpus[0].utilization.gpu = unsigned(v); }},
    };
    for (const auto &gpu : gpus) {
        SCOPED_TRACE(gpu.fixture);
        GPUCopy copy(gpu.fixture);
        const QString dir = QLatin1String(gpu.address) + u"/power/"_s;
        ASSERT_TRUE(copy.write(dir + u"control"_s, "auto\n"));
        ASSERT_TRUE(copy.write(dir + u"autosuspend_delay_ms"_s, "5000\n"));
        FakeNVML::reset();
        gpu.setBusy(copy, 0);
        auto sources = std::make_shared<PLVGPUSources>(copy.root(), FakeNVML::library());
        double now = 0;
        sources->setClock([&now] { return now; });
        TQGPUInfo info(sources);
        auto utilisationAt = [&](double at) {
            now = at;
            const QVariantMap card = info.gpuCoresInformation().value(QLatin1String(gpu.key)).toMap();
            return card.value(u"deviceUtilization"_s, -1).toLongLong();
        };
        EXPECT_EQ(info.gpuData().value(QLatin1String(gpu.key)).toMap().value(u"deviceUtilization"_s, -1).toLongLong(), 0);
        gpu.setBusy(copy, 80);
        EXPECT_EQ(utilisationAt(2000), 0); // idle at the last read: the latest reading stands
        EXPECT_EQ(utilisationAt(6000), 0);
        EXPECT_EQ(utilisationAt(6500), 80);
        gpu.setBusy(copy, 30);
        EXPECT_EQ(utilisationAt(8500), 30); // busy: something else keeps it awake, read on
        // A suspendable GPU's session is not kept: the open client could hold it awake.
        EXPECT_EQ(FakeNVML::shutdowns, FakeNVML::inits);

        // Runtime PM switched off: nothing to let sleep, read on every refresh.
        gpu.setBusy(copy, 0);
        EXPECT_EQ(utilisationAt(9000), 0);
        ASSERT_TRUE(copy.write(dir + u"control"_s, "on\n"));
        gpu.setBusy(copy, 90);
        EXPECT_EQ(utilisationAt(9500), 90);

        // Asleep: not read, idle. Awake again before the delay ran out since the
        // last read (and idle then): the reading from before the sleep is not shown.
        gpu.setBusy(copy, 0);
        EXPECT_EQ(utilisationAt(10000), 0);
        ASSERT_TRUE(copy.write(dir + u"control"_s, "auto\n"));
        ASSERT_TRUE(copy.write(dir + u"runtime_status"_s, "suspended\n"));
        gpu.setBusy(copy, 70);
        EXPECT_EQ(utilisationAt(11000), 0);
        ASSERT_TRUE(copy.write(dir + u"runtime_status"_s, "active\n"));
        EXPECT_EQ(utilisationAt(12000), -1);
        EXPECT_EQ(utilisationAt(16500), 70);
        FakeNVML::gpus[0].utilization.gpu = 55;
    }
}

PLV_TEST_CHILD(modelNameWithIdsFile)
{
    PLVGPUSources::setIdsFile(args.value(0));
    printf("%s|%d\n", qPrintable(PLVGPUSources::modelName(0x10de, 0x2330)), int(PLVGPUSources::hasDeviceName(0x10de, 0x2330)));
    return 0;
}

TEST(GPUSourcesFixture, ABrokenIdsFileCostsTheNamesOnly)
{
    // libpci reports a parse error through a hook that must not return; it used to abort the monitor.
    QTemporaryDir dir;
    const QString good = dir.filePath(u"good.ids"_s), broken = dir.filePath(u"broken.ids"_s), junk = dir.filePath(u"junk.ids"_s);
    ASSERT_TRUE(plvtest::writeFile(good, "10de  NVIDIA Corporation\n\t2330  GH100 [H100 SXM5 80GB]\n"));
    ASSERT_TRUE(plvtest::writeFile(broken, "10de  NVIDIA Corporation\n\t2330  GH100 [H100 SXM5 80GB]\nzz  not an id\n"));
    ASSERT_TRUE(plvtest::writeFile(junk, QByteArray("\x1f\x8b\x08\0\xff\xfe\t\t\t\0garbage", 16)));
    const struct { QString file; const char *expected; } rows[] = {
        {good, "GH100 [H100 SXM5 80GB]|1"},
        {broken, "Display controller [10de:2330]|0"},
        {junk, "Display controller [10de:2330]|0"},
        {dir.path(), "Display controller [10de:2330]|0"}, // a folder
        {dir.filePath(u"missing.ids"_s), "Display controller [10de:2330]|0"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.file.toStdString());
        const plvtest::ChildResult r = plvtest::runChild(u"modelNameWithIdsFile"_s, {row.file});
        EXPECT_FALSE(r.crashed) << r.err.toStdString();
        EXPECT_EQ(r.exitCode, 0);
        EXPECT_EQ(r.out.trimmed(), QByteArray(row.expected));
    }
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
    EXPECT_EQ(data.keys(), (QStringList{u"0000:00:03.0"_s, u"\\_SB_.PCI0.S08_"_s, u"\\_SB_.PCI0.S10_"_s}));
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
