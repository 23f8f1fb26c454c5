#pragma once
#include <QList>
#include <mutex>
#include <QObject>
#include <QVariantMap>

#include <memory>

class PLVGPUSources;

// Per-GPU name, vendor, video memory and utilisation, gathered at each request.
//
// gpuData maps a card's ACPI path (without one, its PCI address "0000:03:00.0";
// "keyUnknown" when the tables give neither) to:
//   "vendorFullName"     model name, or ""
//   "vendorID"           "AMD", "nVidia", "Intel" or "Unknown"
//   "totalVRAM"          bytes, only when greater than 0
//   "freeVRAM"           bytes (possibly -1), only with "totalVRAM"
//   "deviceUtilization"  percent, only when known
// Entries of earlier refreshes stay until a card with the same key replaces them.
class TQGPUInfo : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantMap gpuData READ gpuData)
    Q_PROPERTY(quint64 numGPUs READ numGPUs)

public:
    // Reads this machine's sysfs (and NVML when present), once now.
    explicit TQGPUInfo(QObject *parent = nullptr);
    explicit TQGPUInfo(std::shared_ptr<PLVGPUSources> sources, QObject *parent = nullptr);
    ~TQGPUInfo() override;

    // Refresh, then gpuData.
    QVariantMap gpuCoresInformation();
    // The refresh over given tables: pairs accelerators with PCI devices (a
    // direct pass, then the leftovers) and publishes one entry per card.
    void refreshWithTables(const QList<QVariantMap> &pciDevices, const QList<QVariantMap> &accelerators);

    QVariantMap gpuData() const;
    quint64 numGPUs() const;

private:
    std::shared_ptr<PLVGPUSources> m_sources;
    std::mutex m_refreshMutex; // updates of overlapping ticks take turns: the sources keep rate history
    mutable std::mutex m_mutex;
    QVariantMap m_gpuData;
    quint64 m_numGPUs = 0;
};
