#pragma once
#include <QHash>
#include <mutex>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

// The few NVML entry points the GPU statistics use, declared here (NVML has no
// build-time presence): libnvidia-ml.so.1 is opened with dlopen when the
// NVIDIA driver installed it. Tests fill the table with their own functions.
struct PLVNVMLFunctions {
    using Return = int;          // nvmlReturn_t, 0 = NVML_SUCCESS
    using Device = struct PLVNVMLDevice *; // nvmlDevice_t, opaque
    struct Utilization {         // nvmlUtilization_t
        unsigned int gpu;
        unsigned int memory;
    };
    struct Memory {              // nvmlMemory_t
        unsigned long long total;
        unsigned long long free;
        unsigned long long used;
    };
    static constexpr unsigned int initFlagNoAttach = 2; // NVML_INIT_FLAG_NO_ATTACH: leave other GPUs asleep

    Return (*initWithFlags)(unsigned int flags) = nullptr;                      // nvmlInitWithFlags
    Return (*init)() = nullptr;                                                 // nvmlInit_v2
    Return (*shutdown)() = nullptr;                                             // nvmlShutdown
    Return (*deviceGetHandleByPciBusId)(const char *busId, Device *device) = nullptr; // ..._v2
    Return (*deviceGetUtilizationRates)(Device device, Utilization *utilization) = nullptr;
    Return (*deviceGetMemoryInfo)(Device device, Memory *memory) = nullptr;
};

class PLVNVML
{
public:
    // libnvidia-ml.so.1 of this system, loaded on first use; unavailable when absent.
    static std::shared_ptr<PLVNVML> system();
    explicit PLVNVML(const PLVNVMLFunctions &functions);

    bool isAvailable() const;
    // Whether a session can leave the GPUs it is not asked about alone
    // (nvmlInitWithFlags with NO_ATTACH); older libraries attach every GPU.
    bool canLeaveOtherGPUsAlone() const { return m_functions.initWithFlags != nullptr; }

    struct DeviceStatistics {
        std::optional<unsigned int> utilization; // percent
        std::optional<PLVNVMLFunctions::Memory> memory;
    };
    // One session: init, one query per PCI bus id ("0000:01:00.0"), shutdown, so
    // that no handle keeps a GPU awake between refreshes. Empty when the session
    // cannot start (no driver, driver and library of different versions).
    QHash<QString, DeviceStatistics> query(const QStringList &pciBusIds);

private:
    PLVNVMLFunctions m_functions;
    std::mutex m_mutex; // one session at a time
};
