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
            load(f.deviceGetName, "nvmlDeviceGetName");
            load(f.deviceGetUtilizationRates, "nvmlDeviceGetUtilizationRates");
            load(f.deviceGetMemoryInfo, "nvmlDeviceGetMemoryInfo");
            qCDebug(plvStats) << "NVML loaded";
        }
        return std::make_shared<PLVNVML>(f);
    }();
    return nvml;
}

PLVNVML::PLVNVML(const PLVNVMLFunctions &functions) : m_functions(functions) {}

PLVNVML::~PLVNVML()
{
    std::lock_guard lock(m_mutex);
    closeLocked();
}

bool PLVNVML::isAvailable() const
{
    return (m_functions.init || m_functions.initWithFlags) && m_functions.shutdown
           && m_functions.deviceGetHandleByPciBusId;
}

bool PLVNVML::isOpen() const
{
    std::lock_guard lock(m_mutex);
    return m_open;
}

void PLVNVML::close()
{
    std::lock_guard lock(m_mutex);
    closeLocked();
}

void PLVNVML::closeLocked()
{
    if (!m_open)
        return;
    m_functions.shutdown();
    m_open = false;
    m_handles.clear(); // handles do not outlive their session
}

QHash<QString, PLVNVML::DeviceStatistics> PLVNVML::query(const QStringList &pciBusIds, bool keepOpen)
{
    QHash<QString, DeviceStatistics> out;
    if (!isAvailable() || pciBusIds.isEmpty())
        return out;
    std::lock_guard lock(m_mutex);
    if (!m_open) {
        // A plain init: the flag that would keep other GPUs unattached also
        // keeps every handle lookup from finding the GPU asked for.
        const PLVNVMLFunctions::Return started = m_functions.init ? m_functions.init() : m_functions.initWithFlags(0);
        if (started != PLVNVMLFunctions::success) {
            qCDebug(plvStats) << "NVML did not start:" << started;
            return out;
        }
        m_open = true;
    }
    for (const QString &busId : pciBusIds) {
        PLVNVMLFunctions::Device device = m_handles.value(busId);
        if (!device) {
            if (m_functions.deviceGetHandleByPciBusId(busId.toLatin1().constData(), &device) != PLVNVMLFunctions::success
                || !device)
                continue;
            m_handles.insert(busId, device);
        }
        DeviceStatistics stats;
        PLVNVMLFunctions::Utilization utilization{};
        if (m_functions.deviceGetUtilizationRates
            && m_functions.deviceGetUtilizationRates(device, &utilization) == PLVNVMLFunctions::success)
            stats.utilization = utilization.gpu;
        PLVNVMLFunctions::Memory memory{};
        if (m_functions.deviceGetMemoryInfo && m_functions.deviceGetMemoryInfo(device, &memory) == PLVNVMLFunctions::success)
            stats.memory = memory;
        if (const auto known = m_names.constFind(busId); known != m_names.cend()) {
            stats.name = known.value();
        } else if (m_functions.deviceGetName) {
            char name[PLVNVMLFunctions::nameBufferSize] = {};
            if (m_functions.deviceGetName(device, name, sizeof name) == PLVNVMLFunctions::success) {
                name[sizeof name - 1] = '\0';
                stats.name = QString::fromUtf8(name).trimmed();
                m_names.insert(busId, stats.name);
            }
        }
        out.insert(busId, stats);
    }
    if (!keepOpen)
        closeLocked();
    return out;
}
