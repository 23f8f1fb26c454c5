#include "PLVCommon/linux/PLVGPUSources.h"

#include "PLVCommon/platform/PLVLog.h"

#include <QDir>
#include <QFile>
#include <mutex>
#include <QRegularExpression>

extern "C" {
#include <pci/pci.h>
}

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <csetjmp>
#include <cstdlib>

namespace {

// Small sysfs attributes, read relative to an open device folder.
QByteArray readTrimmed(int dirfd, const char *name)
{
    char buf[4096];
    const ssize_t n = PLVSysFile::readAt(dirfd, name, buf, sizeof buf);
    if (n <= 0)
        return {};
    return QByteArray(buf, qsizetype(n)).trimmed();
}

std::optional<quint64> readNumber(int dirfd, const char *name, int base = 10)
{
    char buf[64];
    const ssize_t n = PLVSysFile::readAt(dirfd, name, buf, sizeof buf);
    if (n <= 0)
        return std::nullopt;
    char *end = nullptr;
    errno = 0;
    const unsigned long long v = std::strtoull(buf, &end, base);
    if (end == buf || errno != 0)
        return std::nullopt;
    while (*end == '\n' || *end == ' ')
        ++end;
    return *end == '\0' ? std::optional<quint64>(v) : std::nullopt;
}

QByteArray littleEndian32(quint32 v)
{
    QByteArray out(4, '\0');
    for (int i = 0; i < 4; ++i)
        out[i] = char((v >> (8 * i)) & 0xff);
    return out;
}

QString linkName(int dirfd, const char *name)
{
    char buf[4096];
    const ssize_t n = ::readlinkat(dirfd, name, buf, sizeof buf - 1);
    if (n <= 0)
        return {};
    const QByteArray target(buf, qsizetype(n));
    return QFile::decodeName(target.mid(target.lastIndexOf('/') + 1));
}

double monotonicMilliseconds()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) * 1000.0 + double(ts.tv_nsec) / 1e6;
}

bool isPassThroughStub(const QString &driver)
{
    return driver == QLatin1String("vfio-pci") || driver == QLatin1String("pci-stub")
           || driver == QLatin1String("pciback") || driver == QLatin1String("xen-pciback");
}

// Anything but an awake device (or one without runtime power management, or a
// tree without the file) is left alone: suspended, suspending, resuming, error.
bool isAsleep(const QByteArray &runtimeStatus)
{
    return !runtimeStatus.isEmpty() && runtimeStatus != "active" && runtimeStatus != "unsupported";
}

// The autosuspend delay assumed when the driver gives none: long enough for
// drivers that keep their own idle timer.
constexpr double kDefaultIdleMs = 10000;
// Added to the delay so that the device's timer has surely run out when the next read is due.
constexpr double kIdleMarginMs = 1000;

// libpci's hooks: the library must not print or exit on our behalf. Its error
// hook may not return, so it jumps back to the lookup that called libpci.
sigjmp_buf pciFailure; // guarded by the name lookup's mutex
[[noreturn]] void pciError(char *, ...) { siglongjmp(pciFailure, 1); }
void pciQuiet(char *, ...) {}

// Only plain data lives in this frame: the jump back from pciError skips
// nothing that needs destroying.
bool lookupPciName(pci_access *pci, char *buf, int size, int flags, quint16 vendor, quint16 device, const char **name)
{
    if (sigsetjmp(pciFailure, 0) != 0)
        return false;
    *name = pci_lookup_name(pci, buf, size, flags | PCI_LOOKUP_NO_NUMBERS | PCI_LOOKUP_NO_HWDB, vendor, device);
    return true;
}

struct PciNames {
    std::mutex mutex; // libpci's name cache is not thread-safe
    pci_access *pci = nullptr;
    bool failed = false; // the ids file could not be parsed: no names, no retry
    QByteArray idsFile;
    QHash<quint32, std::pair<QString, bool>> names; // name, from pci.ids
};
PciNames &pciNames()
{
    static PciNames n;
    return n;
}

std::pair<QString, bool> lookupModel(quint16 vendor, quint16 device)
{
    PciNames &n = pciNames();
    std::lock_guard lock(n.mutex);
    const quint32 key = (quint32(vendor) << 16) | device;
    if (const auto it = n.names.constFind(key); it != n.names.cend())
        return it.value();
    if (!n.pci && !n.failed) {
        // Only the name lookup is used, which needs no access method (pci_init
        // would give up on machines without one). Names come from libpci's
        // default ids file alone: udev's hwdb copy of it is skipped, which also
        // keeps libudev out of the process.
        n.pci = pci_alloc();
        if (n.pci) {
            n.pci->error = pciError;
            n.pci->warning = pciQuiet;
            n.pci->debug = pciQuiet;
            if (!n.idsFile.isEmpty())
                pci_set_name_list_path(n.pci, n.idsFile.data(), 0);
        }
    }
    QString deviceName, vendorName;
    if (n.pci) {
        char buf[512];
        const char *d = nullptr, *v = nullptr;
        bool ok = lookupPciName(n.pci, buf, sizeof buf, PCI_LOOKUP_DEVICE, vendor, device, &d);
        if (ok && d)
            deviceName = QString::fromUtf8(d);
        ok = ok && lookupPciName(n.pci, buf, sizeof buf, PCI_LOOKUP_VENDOR, vendor, 0, &v);
        if (ok && v)
            vendorName = QString::fromUtf8(v);
        if (!ok) {
            // A broken ids file: libpci's state is half built. It is dropped
            // (its memory and the open file leak, once) and names stay unknown.
            n.pci = nullptr;
            n.failed = true;
            deviceName.clear();
            vendorName.clear();
        }
    }
    const QString ids = QStringLiteral("[%1:%2]").arg(vendor, 4, 16, QLatin1Char('0')).arg(device, 4, 16, QLatin1Char('0'));
    std::pair<QString, bool> found;
    if (!deviceName.isEmpty())
        found = {deviceName, true};
    else if (!vendorName.isEmpty())
        found = {vendorName + QStringLiteral(" device ") + ids, false};
    else
        found = {QStringLiteral("Display controller ") + ids, false};
    n.names.insert(key, found);
    return found;
}

} // namespace

PLVGPUSources::PLVGPUSources(const PLVSysRoot &root, std::shared_ptr<PLVNVML> nvml)
    : m_root(root), m_devices(root, "sys/bus/pci/devices"), m_nvml(std::move(nvml)), m_clock(monotonicMilliseconds)
{
    // A recorded machine has no driver behind it: this machine's NVML would
    // answer for other GPUs than the tree's, or for none.
    if (!m_root.isLive() && m_nvml == PLVNVML::system())
        m_nvml.reset();
}

QString PLVGPUSources::modelName(quint16 vendor, quint16 device) { return lookupModel(vendor, device).first; }

bool PLVGPUSources::hasDeviceName(quint16 vendor, quint16 device) { return lookupModel(vendor, device).second; }

void PLVGPUSources::setIdsFile(const QString &path)
{
    PciNames &n = pciNames();
    std::lock_guard lock(n.mutex);
    if (n.pci)
        pci_cleanup(n.pci);
    n.pci = nullptr;
    n.failed = false;
    n.idsFile = QFile::encodeName(path);
    n.names.clear();
}

bool PLVGPUSources::mayTouch(int deviceFd, const QString &address, bool canSuspend)
{
    const auto it = m_touched.constFind(address);
    if (!canSuspend || it == m_touched.cend())
        return true;
    // Busy at the last reading: something else keeps the GPU awake, and the
    // reading goes on until it finds the GPU idle.
    if ((it->busy && *it->busy > 0) || (it->nvml && it->nvml->utilization && *it->nvml->utilization > 0))
        return true;
    // EIO when the driver does not use autosuspend; a negative delay keeps the
    // device from autosuspending, so there is no sleep to wait for.
    bool known = false;
    const qint64 delay = readTrimmed(deviceFd, "power/autosuspend_delay_ms").toLongLong(&known);
    if (known && delay < 0)
        return true;
    const double idleMs = known ? double(delay) : kDefaultIdleMs;
    return m_clock() - it->at > idleMs + kIdleMarginMs;
}

std::optional<qint64> PLVGPUSources::intelBusyPercent(int deviceFd, const QString &address, const QString &deviceDir,
                                                      const QString &driver)
{
    std::optional<quint64> idle;
    if (driver == QLatin1String("xe")) {
        idle = readNumber(deviceFd, "tile0/gt0/gtidle/idle_residency_ms");
    } else {
        // The DRM card of this device: "card1", not a connector such as "card1-DP-1".
        static const QRegularExpression cardName(QStringLiteral("^card[0-9]+$"));
        const QStringList entries = QDir(deviceDir + QStringLiteral("/drm")).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString &entry : entries) {
            if (!cardName.match(entry).hasMatch())
                continue;
            const QByteArray card = "drm/" + QFile::encodeName(entry);
            idle = readNumber(deviceFd, (card + "/gt/gt0/rc6_residency_ms").constData());
            if (!idle)
                idle = readNumber(deviceFd, (card + "/power/rc6_residency_ms").constData());
            break;
        }
    }
    if (!idle) {
        m_residency.remove(address);
        return std::nullopt;
    }
    const double now = m_clock();
    const auto previous = m_residency.constFind(address);
    const bool hadPrevious = previous != m_residency.cend();
    const Residency before = hadPrevious ? previous.value() : Residency{};
    m_residency.insert(address, Residency{double(*idle), now});
    if (!hadPrevious)
        return std::nullopt; // a rate needs two reads
    const double elapsed = now - before.at;
    const double idled = double(*idle) - before.idleMs;
    if (elapsed <= 0 || idled < 0)
        return std::nullopt; // counter reset (driver reloaded)
    const double busy = 100.0 - 100.0 * idled / elapsed;
    return qRound64(qBound(0.0, busy, 100.0));
}

void PLVGPUSources::readDevice(int fd, const QString &address, const QString &dir, Tables &tables, Pending &pending)
{
    const auto pciClass = readNumber(fd, "class", 16);
    if (!pciClass || ((*pciClass >> 16) & 0xff) != 0x03)
        return;
    const auto vendor = readNumber(fd, "vendor", 16);
    const auto device = readNumber(fd, "device", 16);
    if (!vendor || !device)
        return;

    QVariantMap pci;
    pci.insert(QStringLiteral("vendor-id"), littleEndian32(quint32(*vendor)));
    pci.insert(QStringLiteral("device-id"), littleEndian32(quint32(*device)));
    pci.insert(QStringLiteral("model"), modelName(quint16(*vendor), quint16(*device)).toUtf8());
    pci.insert(QStringLiteral("pci-address"), address);
    const QByteArray acpi = readTrimmed(fd, "firmware_node/path");
    if (!acpi.isEmpty())
        pci.insert(QStringLiteral("acpi-path"), QString::fromUtf8(acpi));
    tables.pciDevices.append(pci);

    const QString driver = linkName(fd, "driver");
    if (driver.isEmpty() || isPassThroughStub(driver))
        return;
    QVariantMap accelerator;
    accelerator.insert(QStringLiteral("IOPCIMatch"), QStringLiteral("0x%1%2")
                                                          .arg(*device, 4, 16, QLatin1Char('0'))
                                                          .arg(*vendor, 4, 16, QLatin1Char('0')));
    accelerator.insert(QStringLiteral("IOClass"), driver);
    accelerator.insert(QStringLiteral("pci-address"), address);
    // Nothing else of a sleeping GPU is read: that would wake it.
    const QByteArray runtimeStatus = readTrimmed(fd, "power/runtime_status");
    accelerator.insert(QStringLiteral("runtime-status"), QString::fromLatin1(runtimeStatus));
    const bool nvidia = driver == QLatin1String("nvidia");
    if (isAsleep(runtimeStatus)) {
        if (nvidia)
            pending.nvidiaAsleep = true;
        // Readings from before the sleep say nothing about the GPU now.
        if (const auto it = m_touched.find(address); it != m_touched.end())
            it->busy.reset(), it->nvml.reset();
        tables.accelerators.append(accelerator);
        return;
    }
    const bool canSuspend = runtimeStatus != "unsupported" && readTrimmed(fd, "power/control") == "auto";

    // A load figure whose read counts as activity: read when due, else the latest reading.
    auto busyPercent = [&](const std::function<std::optional<qint64>()> &read) {
        if (mayTouch(fd, address, canSuspend)) {
            Touched &touched = m_touched[address];
            touched.at = m_clock();
            touched.busy = read();
        }
        const auto it = m_touched.constFind(address);
        return it != m_touched.cend() ? it->busy : std::nullopt;
    };
    QVariantMap stats;
    if (driver == QLatin1String("amdgpu")) {
        const auto busy = busyPercent([fd]() -> std::optional<qint64> {
            const auto percent = readNumber(fd, "gpu_busy_percent");
            return percent ? std::optional<qint64>(qint64(*percent)) : std::nullopt;
        });
        if (busy)
            stats.insert(QStringLiteral("Device Utilization %"), *busy);
        // The memory figures come from the memory manager's books: reading them
        // does not resume the device.
        const auto vramTotal = readNumber(fd, "mem_info_vram_total");
        const auto vramUsed = readNumber(fd, "mem_info_vram_used");
        if (vramTotal && *vramTotal > 0)
            accelerator.insert(QStringLiteral("VRAM,totalMB"), qint64(*vramTotal >> 20));
        if (vramUsed)
            stats.insert(QStringLiteral("vramUsedBytes"), qint64(*vramUsed));
        if (vramTotal && vramUsed && *vramUsed <= *vramTotal)
            stats.insert(QStringLiteral("vramFreeBytes"), qint64(*vramTotal - *vramUsed));
        const auto gttTotal = readNumber(fd, "mem_info_gtt_total");
        const auto gttUsed = readNumber(fd, "mem_info_gtt_used");
        if (gttTotal)
            stats.insert(QStringLiteral("gartSizeBytes"), qint64(*gttTotal));
        if (gttUsed)
            stats.insert(QStringLiteral("gartUsedBytes"), qint64(*gttUsed));
        if (gttTotal && gttUsed && *gttUsed <= *gttTotal)
            stats.insert(QStringLiteral("gartFreeBytes"), qint64(*gttTotal - *gttUsed));
    } else if (driver == QLatin1String("i915") || driver == QLatin1String("xe")) {
        // The residency counters take a runtime PM reference too.
        if (const auto busy = busyPercent([&] { return intelBusyPercent(fd, address, dir, driver); }))
            stats.insert(QStringLiteral("Device Utilization %"), *busy);
    } else if (nvidia) {
        pending.nvidia.append({tables.accelerators.size(), tables.pciDevices.size() - 1, address,
                               mayTouch(fd, address, canSuspend), canSuspend});
        pending.nvidiaCanSuspend = pending.nvidiaCanSuspend || canSuspend;
    }
    // Present even when empty: an awake GPU whose driver tells nothing has an
    // unknown utilisation, not a utilisation of 0.
    accelerator.insert(QStringLiteral("PerformanceStatistics"), stats);
    tables.accelerators.append(accelerator);
}

void PLVGPUSources::applyNVML(QVariantMap &accelerator, QVariantMap &pciDevice, const PLVNVML::DeviceStatistics &nvml)
{
    QVariantMap stats = accelerator.value(QStringLiteral("PerformanceStatistics")).toMap();
    if (nvml.utilization)
        stats.insert(QStringLiteral("Device Utilization %"), qint64(*nvml.utilization));
    if (nvml.memory) {
        accelerator.insert(QStringLiteral("VRAM,totalMB"), qint64(nvml.memory->total >> 20));
        stats.insert(QStringLiteral("vramUsedBytes"), qint64(nvml.memory->used));
        stats.insert(QStringLiteral("vramFreeBytes"), qint64(nvml.memory->free));
    }
    accelerator.insert(QStringLiteral("PerformanceStatistics"), stats);
    // A card newer than this machine's pci.ids: NVML knows its name.
    const QByteArray vendor = pciDevice.value(QStringLiteral("vendor-id")).toByteArray();
    const QByteArray device = pciDevice.value(QStringLiteral("device-id")).toByteArray();
    if (!nvml.name.isEmpty() && vendor.size() >= 2 && device.size() >= 2
        && !hasDeviceName(quint16(quint8(vendor[0]) | quint8(vendor[1]) << 8), quint16(quint8(device[0]) | quint8(device[1]) << 8)))
        pciDevice.insert(QStringLiteral("model"), nvml.name.toUtf8());
}

PLVGPUSources::Tables PLVGPUSources::read()
{
    Tables tables;
    const QString devicesDir = m_root.path(QStringLiteral("sys/bus/pci/devices"));
    QStringList addresses;
    m_devices.forEach([&](const char *name) {
        if (name[0] != '.')
            addresses << QString::fromLocal8Bit(name);
    });
    addresses.sort();

    Pending pending;
    QHash<QString, bool> isDisplay;
    int devicesFd = -1;
    for (const QString &address : std::as_const(addresses)) {
        const auto known = m_isDisplay.constFind(address);
        if (known != m_isDisplay.cend() && !*known) {
            isDisplay.insert(address, false);
            continue;
        }
        if (devicesFd < 0)
            devicesFd = ::open(QFile::encodeName(devicesDir).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const QByteArray name = QFile::encodeName(address);
        const int fd = devicesFd >= 0 ? ::openat(devicesFd, name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
        if (fd < 0)
            continue;
        const auto pciClass = readNumber(fd, "class", 16);
        if (pciClass)
            isDisplay.insert(address, ((*pciClass >> 16) & 0xff) == 0x03);
        readDevice(fd, address, devicesDir + QLatin1Char('/') + address, tables, pending);
        ::close(fd);
    }
    if (devicesFd >= 0)
        ::close(devicesFd);
    m_isDisplay = std::move(isDisplay);

    // NVML: not at all while any NVIDIA GPU sleeps, then only for the GPUs due.
    if (!m_nvml)
        return tables;
    if (pending.nvidiaAsleep || pending.nvidia.isEmpty()) {
        m_nvml->close();
        return tables;
    }
    QStringList due;
    for (const NvidiaGPU &gpu : std::as_const(pending.nvidia))
        if (gpu.due)
            due << gpu.address;
    if (!due.isEmpty() && m_nvml->isAvailable()) {
        const auto results = m_nvml->query(due, !pending.nvidiaCanSuspend);
        const double now = m_clock();
        for (const QString &address : std::as_const(due)) {
            Touched &touched = m_touched[address];
            touched.at = now;
            touched.nvml.reset();
            if (const auto it = results.constFind(address); it != results.cend())
                touched.nvml = it.value();
        }
    } else if (pending.nvidiaCanSuspend) {
        m_nvml->close();
    }
    for (const NvidiaGPU &gpu : std::as_const(pending.nvidia)) {
        const auto it = m_touched.constFind(gpu.address);
        if (it != m_touched.cend() && it->nvml)
            applyNVML(tables.accelerators[gpu.accelerator], tables.pciDevices[gpu.pciDevice], *it->nvml);
    }
    return tables;
}
