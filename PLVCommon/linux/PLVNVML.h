#pragma once
#include <QHash>
#include <QString>
#include <QStringList>

#include <memory>
#include <mutex>
#include <optional>

// The few NVML entry points the GPU statistics use, declared here (NVML has no
// build-time presence): libnvidia-ml.so.1 is opened with dlopen when the
// NVIDIA driver installed it. Tests fill the table with their own functions.
struct PLVNVMLFunctions {
    using Return = int;          // nvmlReturn_t
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
    // nvmlReturn_t values the code and the test stand-in tell apart.
    static constexpr Return success = 0;
    static constexpr Return errorUninitialized = 1;
    static constexpr Return errorInvalidArgument = 2;
    static constexpr Return errorNotFound = 6;
    static constexpr Return errorInsufficientSize = 7;
    static constexpr Return errorLibRmVersionMismatch = 18;
    // NVML_INIT_FLAG_NO_ATTACH. Under it the library attaches no GPU, and every
    // handle lookup answers NOT_FOUND: it is of no use for statistics.
    static constexpr unsigned int initFlagNoAttach = 2;
    static constexpr unsigned int nameBufferSize = 96; // NVML_DEVICE_NAME_V2_BUFFER_SIZE

    Return (*initWithFlags)(unsigned int flags) = nullptr;                      // nvmlInitWithFlags
    Return (*init)() = nullptr;                                                 // nvmlInit_v2
    Return (*shutdown)() = nullptr;                                             // nvmlShutdown
    Return (*deviceGetHandleByPciBusId)(const char *busId, Device *device) = nullptr; // ..._v2
    Return (*deviceGetName)(Device device, char *name, unsigned int length) = nullptr;
    Return (*deviceGetUtilizationRates)(Device device, Utilization *utilization) = nullptr;
    Return (*deviceGetMemoryInfo)(Device device, Memory *memory) = nullptr;
};

// Sessions with NVML. A session attaches the GPUs it is asked about (their
// handles are looked up by PCI bus id) and may stay open between refreshes:
// the caller decides, knowing whether the GPUs can runtime-suspend at all.
class PLVNVML
{
public:
    // libnvidia-ml.so.1 of this system, loaded on first use; unavailable when absent.
    static std::shared_ptr<PLVNVML> system();
    explicit PLVNVML(const PLVNVMLFunctions &functions);
    ~PLVNVML();
    PLVNVML(const PLVNVML &) = delete;
    PLVNVML &operator=(const PLVNVML &) = delete;

    bool isAvailable() const;

    struct DeviceStatistics {
        std::optional<unsigned int> utilization; // percent
        std::optional<PLVNVMLFunctions::Memory> memory;
        QString name; // NVML's product name, empty when it gave none
    };
    // Statistics per PCI bus id ("0000:01:00.0"), opening a session when none
    // is open. With keepOpen false the session (and every handle) is closed
    // again before returning. Empty when the session cannot start (no driver,
    // driver and library of different versions).
    QHash<QString, DeviceStatistics> query(const QStringList &pciBusIds, bool keepOpen);
    // Closes the session, if one is open.
    void close();
    bool isOpen() const;

private:
    void closeLocked();

    PLVNVMLFunctions m_functions;
    mutable std::mutex m_mutex; // one caller at a time; guards the session
    bool m_open = false;
    QHash<QString, PLVNVMLFunctions::Device> m_handles; // of the open session
    QHash<QString, QString> m_names;                    // product names never change
};
