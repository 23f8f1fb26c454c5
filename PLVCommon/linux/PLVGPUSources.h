#pragma once
#include "PLVCommon/linux/PLVNVML.h"
#include "PLVCommon/linux/PLVSysFile.h"

#include <QHash>
#include <QList>
#include <QVariantMap>

#include <functional>
#include <memory>

// The two property tables the GPU statistics pair up, read from sysfs.
//
// PCI devices: every display controller (PCI class 0x03xxxx) under
// <root>/sys/bus/pci/devices, in address order:
//   "vendor-id", "device-id"  4-byte little-endian data
//   "model"                   UTF-8 data: libpci's device name, else a
//                             description built from the ids
//   "acpi-path"               firmware_node/path, when the firmware has one
//   "pci-address"             "0000:03:00.0"
//
// Accelerators: one per display controller bound to a GPU driver (not to a
// pass-through stub such as vfio-pci), in the same order:
//   "IOPCIMatch"              "0x<device><vendor>", 4 hex digits each
//   "IOClass"                 the driver's name
//   "pci-address", "runtime-status" (power/runtime_status as read)
//   "VRAM,totalMB"            when the driver reports its video memory
//   "PerformanceStatistics"   what the driver tells without privileges:
//       amdgpu  gpu_busy_percent -> "Device Utilization %" (see below);
//               mem_info_vram_used/total -> "vramUsedBytes", "vramFreeBytes";
//               mem_info_gtt_* -> "gartSizeBytes", "gartUsedBytes", "gartFreeBytes"
//       nvidia  NVML utilisation and memory -> the same keys
//       i915/xe the share of time the GPU was out of its idle state (RC6 or
//               gtidle residency) since the previous read -> "Device Utilization %"
//
// The statistics table of an awake GPU is there even when empty, so that a
// utilisation nobody measured stays unknown instead of becoming 0. A GPU whose
// runtime power state is anything but "active" is not touched beyond that
// file: reading statistics, or opening it through NVML, would wake it up. Its
// accelerator has no statistics table, which makes its utilisation 0. While
// any NVIDIA GPU sleeps, NVML is not used at all (and a session kept open is
// closed), since the library may attach every GPU it finds.
//
// Sources that count as activity (amdgpu's gpu_busy_percent resumes the
// device and restarts its autosuspend timer; i915's and xe's residency
// counters take a runtime PM reference; an NVML query wakes the GPU too) are
// read, on a GPU that may runtime-suspend (power/control "auto"), only when
// the previous read is longer ago than power/autosuspend_delay_ms (10 s when
// the driver gives none) plus a second, or when that read found the GPU busy
// (then something else keeps it awake); in between the latest reading stands.
// So the monitor is never what keeps an idle GPU awake. The memory figures of
// amdgpu do not touch the device and are read on every refresh. An NVML
// session stays open between refreshes only while no NVIDIA GPU can suspend
// (power/control "on"): there it saves the attach of every query, and there is
// no sleep to prevent.
class PLVGPUSources
{
public:
    explicit PLVGPUSources(const PLVSysRoot &root = PLVSysRoot(),
                           std::shared_ptr<PLVNVML> nvml = PLVNVML::system());

    struct Tables {
        QList<QVariantMap> pciDevices;
        QList<QVariantMap> accelerators;
    };
    // One scan of sysfs (and one NVML session when an NVIDIA GPU is awake).
    Tables read();

    // libpci's name for the device, else "<vendor> device [vvvv:dddd]", else
    // "Display controller [vvvv:dddd]". A pci.ids that cannot be read or
    // parsed gives no names (never a crash); nothing is looked up again.
    static QString modelName(quint16 vendor, quint16 device);
    // Whether pci.ids names the device itself.
    static bool hasDeviceName(quint16 vendor, quint16 device);
    // The ids file names come from (libpci's default when empty); clears the names known.
    static void setIdsFile(const QString &path);

    // The clock of the residency rates, in milliseconds (monotonic); tests set their own.
    void setClock(std::function<double()> milliseconds) { m_clock = std::move(milliseconds); }

private:
    struct Residency {
        double idleMs = 0;
        double at = 0;
    };
    struct NvidiaGPU {
        qsizetype accelerator, pciDevice;
        QString address;
        bool due;        // may be queried now
        bool canSuspend; // runtime power management allowed
    };
    struct Pending {
        QList<NvidiaGPU> nvidia;
        bool nvidiaAsleep = false;
        bool nvidiaCanSuspend = false;
    };
    // What the last read of a device's activity-counting sources gave.
    struct Touched {
        double at = 0;
        std::optional<qint64> busy;
        std::optional<PLVNVML::DeviceStatistics> nvml;
    };
    bool mayTouch(int deviceFd, const QString &address, bool canSuspend);
    void applyNVML(QVariantMap &accelerator, QVariantMap &pciDevice, const PLVNVML::DeviceStatistics &stats);
    void readDevice(int fd, const QString &address, const QString &dir, Tables &tables, Pending &pending);
    std::optional<qint64> intelBusyPercent(int deviceFd, const QString &address, const QString &deviceDir,
                                           const QString &driver);

    PLVSysRoot m_root;
    // The PCI devices folder, listed at every read; whether the device at an
    // address is a display controller is read once while it stays listed
    // (a PCI function's class does not change), so the other devices cost
    // nothing after the first read.
    PLVOpenSysDir m_devices;
    QHash<QString, bool> m_isDisplay;
    std::shared_ptr<PLVNVML> m_nvml;
    std::function<double()> m_clock;
    QHash<QString, Residency> m_residency; // by PCI address
    QHash<QString, Touched> m_touched;     // by PCI address
};
