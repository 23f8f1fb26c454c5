#include "PLVCommon/linux/PLVGPUSources.h"

#include "PLVCommon/platform/PLVLog.h"

#include <QDir>
#include <QFile>
#include <QMutex>
#include <QRegularExpression>

extern "C" {
#include <pci/pci.h>
}

#include <time.h>
#include <unistd.h>

#include <cstdlib>

namespace {

QByteArray readTrimmed(const QString &path)
{
    const QByteArray text = PLVSysFile::read(path, 4096);
    return text.isNull() ? QByteArray() : text.trimmed();
}

std::optional<quint64> readNumber(const QString &path, int base = 10)
{
    const QByteArray text = readTrimmed(path);
    if (text.isEmpty())
        return std::nullopt;
    bool ok = false;
    const quint64 v = text.toULongLong(&ok, base);
    return ok ? std::optional<quint64>(v) : std::nullopt;
}

QByteArray littleEndian32(quint32 v)
{
    QByteArray out(4, '\0');
    for (int i = 0; i < 4; ++i)
        out[i] = char((v >> (8 * i)) & 0xff);
    return out;
}

QString linkName(const QString &path)
{
    char buf[4096];
    const ssize_t n = ::readlink(QFile::encodeName(path).constData(), buf, sizeof buf - 1);
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
    static QMutex mutex; // libpci's name cache is not thread-safe
    static pci_access *pci = nullptr;
    static QHash<quint32, QString> names;
    QMutexLocker lock(&mutex);
    const quint32 key = (quint32(vendor) << 16) | device;
    if (const auto it = names.constFind(key); it != names.cend())
        return it.value();
    if (!pci) {
        // Only the name lookup is used, which needs no access method (pci_init
        // would give up on machines without one); the ids file is libpci's default.
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
        if (const char *d = pci_lookup_name(pci, buf, sizeof buf, PCI_LOOKUP_DEVICE | PCI_LOOKUP_NO_NUMBERS, vendor, device))
            deviceName = QString::fromUtf8(d);
        if (const char *v = pci_lookup_name(pci, buf, sizeof buf, PCI_LOOKUP_VENDOR | PCI_LOOKUP_NO_NUMBERS, vendor))
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

std::optional<qint64> PLVGPUSources::intelBusyPercent(const QString &address, const QString &deviceDir,
                                                      const QString &driver)
{
    std::optional<quint64> idle;
    if (driver == QLatin1String("xe")) {
        idle = readNumber(deviceDir + QStringLiteral("/tile0/gt0/gtidle/idle_residency_ms"));
    } else {
        // The DRM card of this device: "card1", not a connector such as "card1-DP-1".
        static const QRegularExpression cardName(QStringLiteral("^card[0-9]+$"));
        const QStringList entries = QDir(deviceDir + QStringLiteral("/drm")).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString &entry : entries) {
            if (!cardName.match(entry).hasMatch())
                continue;
            const QString card = deviceDir + QStringLiteral("/drm/") + entry;
            idle = readNumber(card + QStringLiteral("/gt/gt0/rc6_residency_ms"));
            if (!idle)
                idle = readNumber(card + QStringLiteral("/power/rc6_residency_ms"));
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

PLVGPUSources::Tables PLVGPUSources::read()
{
    Tables tables;
    const QString devicesDir = m_root.path(QStringLiteral("sys/bus/pci/devices"));
    const QStringList addresses = QDir(devicesDir).entryList(QDir::AllEntries | QDir::NoDotAndDotDot, QDir::Name);

    struct PendingNVML {
        qsizetype accelerator;
        QString address;
    };
    QList<PendingNVML> nvidia;
    bool nvidiaAsleep = false;

    for (const QString &address : addresses) {
        const QString dir = devicesDir + QLatin1Char('/') + address;
        const auto pciClass = readNumber(dir + QStringLiteral("/class"), 16);
        if (!pciClass || ((*pciClass >> 16) & 0xff) != 0x03)
            continue;
        const auto vendor = readNumber(dir + QStringLiteral("/vendor"), 16);
        const auto device = readNumber(dir + QStringLiteral("/device"), 16);
        if (!vendor || !device)
            continue;

        QVariantMap pci;
        pci.insert(QStringLiteral("vendor-id"), littleEndian32(quint32(*vendor)));
        pci.insert(QStringLiteral("device-id"), littleEndian32(quint32(*device)));
        pci.insert(QStringLiteral("model"), modelName(quint16(*vendor), quint16(*device)).toUtf8());
        pci.insert(QStringLiteral("pci-address"), address);
        const QByteArray acpi = readTrimmed(dir + QStringLiteral("/firmware_node/path"));
        if (!acpi.isEmpty())
            pci.insert(QStringLiteral("acpi-path"), QString::fromUtf8(acpi));
        tables.pciDevices.append(pci);

        const QString driver = linkName(dir + QStringLiteral("/driver"));
        if (driver.isEmpty() || isPassThroughStub(driver))
            continue;
        QVariantMap accelerator;
        accelerator.insert(QStringLiteral("IOPCIMatch"), QStringLiteral("0x%1%2")
                                                              .arg(*device, 4, 16, QLatin1Char('0'))
                                                              .arg(*vendor, 4, 16, QLatin1Char('0')));
        accelerator.insert(QStringLiteral("IOClass"), driver);
        accelerator.insert(QStringLiteral("pci-address"), address);
        // Nothing else of a sleeping GPU is read: that would wake it.
        const QByteArray runtimeStatus = readTrimmed(dir + QStringLiteral("/power/runtime_status"));
        accelerator.insert(QStringLiteral("runtime-status"), QString::fromLatin1(runtimeStatus));
        if (isAsleep(runtimeStatus)) {
            if (driver == QLatin1String("nvidia"))
                nvidiaAsleep = true;
            tables.accelerators.append(accelerator);
            continue;
        }

        QVariantMap stats;
        if (driver == QLatin1String("amdgpu")) {
            if (const auto busy = readNumber(dir + QStringLiteral("/gpu_busy_percent")))
                stats.insert(QStringLiteral("Device Utilization %"), qint64(*busy));
            const auto vramTotal = readNumber(dir + QStringLiteral("/mem_info_vram_total"));
            const auto vramUsed = readNumber(dir + QStringLiteral("/mem_info_vram_used"));
            if (vramTotal && *vramTotal > 0)
                accelerator.insert(QStringLiteral("VRAM,totalMB"), qint64(*vramTotal >> 20));
            if (vramUsed)
                stats.insert(QStringLiteral("vramUsedBytes"), qint64(*vramUsed));
            if (vramTotal && vramUsed && *vramUsed <= *vramTotal)
                stats.insert(QStringLiteral("vramFreeBytes"), qint64(*vramTotal - *vramUsed));
            const auto gttTotal = readNumber(dir + QStringLiteral("/mem_info_gtt_total"));
            const auto gttUsed = readNumber(dir + QStringLiteral("/mem_info_gtt_used"));
            if (gttTotal)
                stats.insert(QStringLiteral("gartSizeBytes"), qint64(*gttTotal));
            if (gttUsed)
                stats.insert(QStringLiteral("gartUsedBytes"), qint64(*gttUsed));
            if (gttTotal && gttUsed && *gttUsed <= *gttTotal)
                stats.insert(QStringLiteral("gartFreeBytes"), qint64(*gttTotal - *gttUsed));
        } else if (driver == QLatin1String("i915") || driver == QLatin1String("xe")) {
            if (const auto busy = intelBusyPercent(address, dir, driver))
                stats.insert(QStringLiteral("Device Utilization %"), *busy);
        } else if (driver == QLatin1String("nvidia")) {
            nvidia.append({tables.accelerators.size(), address});
        }
        // Present even when empty: an awake GPU whose driver tells nothing has an
        // unknown utilisation, not a utilisation of 0.
        accelerator.insert(QStringLiteral("PerformanceStatistics"), stats);
        tables.accelerators.append(accelerator);
    }

    // NVML: only for GPUs that are awake, and only when opening the library
    // leaves the sleeping ones alone.
    if (!nvidia.isEmpty() && m_nvml && m_nvml->isAvailable() && (!nvidiaAsleep || m_nvml->canLeaveOtherGPUsAlone())) {
        QStringList busIds;
        for (const PendingNVML &p : nvidia)
            busIds << p.address;
        const auto results = m_nvml->query(busIds);
        for (const PendingNVML &p : nvidia) {
            const auto it = results.constFind(p.address);
            if (it == results.cend())
                continue;
            QVariantMap &accelerator = tables.accelerators[p.accelerator];
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
