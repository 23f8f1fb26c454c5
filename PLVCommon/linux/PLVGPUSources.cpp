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

bool isAsleep(const QByteArray &runtimeStatus)
{
    return runtimeStatus == "suspended" || runtimeStatus == "suspending";
}

// libpci's hooks: the library must not print or exit on our behalf.
[[noreturn]] void pciError(char *, ...) { std::abort(); }
void pciQuiet(char *, ...) {}

} // namespace

PLVGPUSources::PLVGPUSources(const PLVSysRoot &root, std::shared_ptr<PLVNVML> nvml)
    : m_root(root), m_nvml(std::move(nvml)), m_clock(monotonicMilliseconds)
{
}

QString PLVGPUSources::modelName(quint16 vendor, quint16 device)
{
    static std::mutex mutex; // libpci's name cache is not thread-safe
    static pci_access *pci = nullptr;
    static QHash<quint32, QString> names;
    std::lock_guard lock(mutex);
    const quint32 key = (quint32(vendor) << 16) | device;
    if (const auto it = names.constFind(key); it != names.cend())
        return it.value();
    if (!pci) {
        // Only the name lookup is used, which needs no access method (pci_init
        // would give up on machines without one). Names come from libpci's
        // default ids file alone: udev's hwdb copy of it is skipped, which also
        // keeps libudev out of the process.
        pci = pci_alloc();
        if (pci) {
            pci->error = pciError;
            pci->warning = pciQuiet;
            pci->debug = pciQuiet;
        }
    }
    QString deviceName, vendorName;
    if (pci) {
        char buf[512];
        if (const char *d = pci_lookup_name(pci, buf, sizeof buf, PCI_LOOKUP_DEVICE | PCI_LOOKUP_NO_NUMBERS | PCI_LOOKUP_NO_HWDB, vendor, device))
            deviceName = QString::fromUtf8(d);
        if (const char *v = pci_lookup_name(pci, buf, sizeof buf, PCI_LOOKUP_VENDOR | PCI_LOOKUP_NO_NUMBERS | PCI_LOOKUP_NO_HWDB, vendor))
            vendorName = QString::fromUtf8(v);
    }
    const QString ids = QStringLiteral("[%1:%2]").arg(vendor, 4, 16, QLatin1Char('0')).arg(device, 4, 16, QLatin1Char('0'));
    QString name;
    if (!deviceName.isEmpty())
        name = deviceName;
    else if (!vendorName.isEmpty())
        name = vendorName + QStringLiteral(" device ") + ids;
    else
        name = QStringLiteral("Display controller ") + ids;
    names.insert(key, name);
    return name;
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
    if (isAsleep(runtimeStatus)) {
        if (driver == QLatin1String("nvidia"))
            pending.nvidiaAsleep = true;
        tables.accelerators.append(accelerator);
        return;
    }

    QVariantMap stats;
    if (driver == QLatin1String("amdgpu")) {
        if (const auto busy = readNumber(fd, "gpu_busy_percent"))
            stats.insert(QStringLiteral("Device Utilization %"), qint64(*busy));
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
        if (const auto busy = intelBusyPercent(fd, address, dir, driver))
            stats.insert(QStringLiteral("Device Utilization %"), *busy);
    } else if (driver == QLatin1String("nvidia")) {
        pending.nvidia.append({tables.accelerators.size(), address});
    }
    // Present even when empty: an awake GPU whose driver tells nothing has an
    // unknown utilisation, not a utilisation of 0.
    accelerator.insert(QStringLiteral("PerformanceStatistics"), stats);
    tables.accelerators.append(accelerator);
}

PLVGPUSources::Tables PLVGPUSources::read()
{
    Tables tables;
    const QString devicesDir = m_root.path(QStringLiteral("sys/bus/pci/devices"));
    const QStringList addresses = QDir(devicesDir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);

    Pending pending;

    const int devicesFd = ::open(QFile::encodeName(devicesDir).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (devicesFd < 0)
        return tables;
    for (const QString &address : addresses) {
        const QByteArray name = QFile::encodeName(address);
        const int fd = ::openat(devicesFd, name.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0)
            continue;
        readDevice(fd, address, devicesDir + QLatin1Char('/') + address, tables, pending);
        ::close(fd);
    }
    ::close(devicesFd);

    // NVML: only for GPUs that are awake, and only when opening the library
    // leaves the sleeping ones alone.
    if (!pending.nvidia.isEmpty() && m_nvml && m_nvml->isAvailable()
        && (!pending.nvidiaAsleep || m_nvml->canLeaveOtherGPUsAlone())) {
        QStringList busIds;
        for (const auto &[index, address] : pending.nvidia)
            busIds << address;
        const auto results = m_nvml->query(busIds);
        for (const auto &[index, address] : pending.nvidia) {
            const auto it = results.constFind(address);
            if (it == results.cend())
                continue;
            QVariantMap &accelerator = tables.accelerators[index];
            QVariantMap stats = accelerator.value(QStringLiteral("PerformanceStatistics")).toMap();
            if (it->utilization)
                stats.insert(QStringLiteral("Device Utilization %"), qint64(*it->utilization));
            if (it->memory) {
                accelerator.insert(QStringLiteral("VRAM,totalMB"), qint64(it->memory->total >> 20));
                stats.insert(QStringLiteral("vramUsedBytes"), qint64(it->memory->used));
                stats.insert(QStringLiteral("vramFreeBytes"), qint64(it->memory->free));
            }
            accelerator.insert(QStringLiteral("PerformanceStatistics"), stats);
        }
    }
    return tables;
}
