#include "PLVCommon/linux/PLVNVML.h"

#include "PLVCommon/platform/PLVLog.h"

#include <dlfcn.h>

std::shared_ptr<PLVNVML> PLVNVML::system()
{
    static const std::shared_ptr<PLVNVML> nvml = [] {
        PLVNVMLFunctions f;
        // Kept open for the process's life once found: the table points into it.
        if (void *h = dlopen("libnvidia-ml.so.1", RTLD_NOW | RTLD_LOCAL)) {
            auto load = [h](auto &fn, const char *name) {
                fn = reinterpret_cast<std::remove_reference_t<decltype(fn)>>(dlsym(h, name));
            };
            load(f.initWithFlags, "nvmlInitWithFlags");
            load(f.init, "nvmlInit_v2");
            load(f.shutdown, "nvmlShutdown");
            load(f.deviceGetHandleByPciBusId, "nvmlDeviceGetHandleByPciBusId_v2");
            load(f.deviceGetUtilizationRates, "nvmlDeviceGetUtilizationRates");
            load(f.deviceGetMemoryInfo, "nvmlDeviceGetMemoryInfo");
            qCDebug(plvStats) << "NVML loaded";
        }
        return std::make_shared<PLVNVML>(f);
    }();
    return nvml;
}

PLVNVML::PLVNVML(const PLVNVMLFunctions &functions) : m_functions(functions) {}

bool PLVNVML::isAvailable() const
{
    return (m_functions.initWithFlags || m_functions.init) && m_functions.shutdown
           && m_functions.deviceGetHandleByPciBusId;
}

QHash<QString, PLVNVML::DeviceStatistics> PLVNVML::query(const QStringList &pciBusIds)
{
    QHash<QString, DeviceStatistics> out;
    if (!isAvailable() || pciBusIds.isEmpty())
        return out;
    std::lock_guard lock(m_mutex);
    const PLVNVMLFunctions::Return started = m_functions.initWithFlags
                                                 ? m_functions.initWithFlags(PLVNVMLFunctions::initFlagNoAttach)
                                                 : m_functions.init();
    if (started != 0) {
        qCDebug(plvStats) << "NVML did not start:" << started;
        return out;
    }
    for (const QString &busId : pciBusIds) {
        PLVNVMLFunctions::Device device = nullptr;
        if (m_functions.deviceGetHandleByPciBusId(busId.toLatin1().constData(), &device) != 0)
            continue;
        DeviceStatistics stats;
        PLVNVMLFunctions::Utilization utilization{};
        if (m_functions.deviceGetUtilizationRates
            && m_functions.deviceGetUtilizationRates(device, &utilization) == 0)
            stats.utilization = utilization.gpu;
        PLVNVMLFunctions::Memory memory{};
        if (m_functions.deviceGetMemoryInfo && m_functions.deviceGetMemoryInfo(device, &memory) == 0)
            stats.memory = memory;
        out.insert(busId, stats);
    }
    m_functions.shutdown();
    return out;
}
