#include "TQSystemInfo.h"

#include "PLVCommon/linux/PLVHostSource.h"
#include "PLVCommon/platform/PLVLog.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"

#include <QTimeZone>

#include <cmath>

#include <time.h>

namespace {

const QString kNeedUpdateCoreInfo = QStringLiteral("PLV_CPU_NEED_UPDATE_COREINFO");

// A counter that went backwards (iowait does, on some kernels) adds nothing.
quint64 forward(quint64 now, quint64 before) { return now > before ? now - before : 0; }

} // namespace

TQSystemInfo::TQSystemInfo() : TQSystemInfo(PLVSysRoot()) {}

TQSystemInfo::TQSystemInfo(const PLVSysRoot &root) : m_root(root), m_source(root)
{
    applyCoreInfo();
}

TQSystemInfo::~TQSystemInfo() = default;

void TQSystemInfo::applyCoreInfo()
{
    const PLVCoreInfo info = m_source.coreInfo();
    m_numCPUs = info.cpuCount;
    if (info.physical)
        m_numPhyCPU = *info.physical;
    if (info.logical)
        m_numLogCPU = *info.logical;
    const float ratio = float(double(m_numLogCPU) / double(m_numPhyCPU));
    // n/0 is infinite and 0/0 NaN: no ratio. Fewer logical than physical CPUs
    // (a count left over from an earlier reading) would truncate to 0, and the
    // fold takes the index modulo this value, so it stays at least 1.
    m_modulophy = (ratio > 0 && std::isfinite(ratio)) ? qMax<qint64>(1, qint64(ratio)) : 1;
    m_order = info.order;
    m_order.resize(m_numCPUs, -1);
}

QVariantMap TQSystemInfo::cpuCoresInformation()
{
    std::lock_guard lock(CPUUsageLock);
    applyCoreInfo();
    return {{QStringLiteral("physicalcpu"), int(m_numPhyCPU)}, {QStringLiteral("logicalcpu"), int(m_numLogCPU)}};
}

bool TQSystemInfo::coreConfigurationChangedLocked(std::optional<quint32> logical)
{
    if (!logical || *logical == m_numLogCPU)
        return false;
    m_numLogCPU = *logical;
    return true;
}

bool TQSystemInfo::didCoreConfigurationChanged()
{
    bool changed = false;
    {
        std::lock_guard lock(CPUUsageLock);
        changed = coreConfigurationChangedLocked(m_source.logicalCount());
    }
    // Posted outside the lock: an observer may well call cpuCoresInformation().
    if (changed)
        PLVNotificationCenter::defaultCenter()->postNotificationName(kNeedUpdateCoreInfo);
    return changed;
}

const std::array<QString, 8> &TQSystemInfo::perCpuKeys(quint32 index)
{
    while (m_keys.size() <= index) {
        const QString n = QString::number(m_keys.size());
        m_keys.push_back({QStringLiteral("userCPUAll") + n, QStringLiteral("systemCPUAll") + n,
                          QStringLiteral("idleCPUAll") + n, QStringLiteral("niceCPUAll") + n,
                          QStringLiteral("userCPUPhy") + n, QStringLiteral("systemCPUPhy") + n,
                          QStringLiteral("idleCPUPhy") + n, QStringLiteral("niceCPUPhy") + n});
    }
    return m_keys[index];
}

std::optional<QVariantMap> TQSystemInfo::cpuData()
{
    QVariantMap dictionary;
    bool changed = false;
    {
        // Held over the whole sample: the counters are read into, and rotated
        // through, this instance's buffers.
        std::lock_guard lock(CPUUsageLock);
        const bool loadOK = m_source.loadInfo(cpuInfo, cpuInfoHas);
        // One reading of the online list gives the running CPUs and the count
        // the configuration check compares.
        const std::optional<quint32> logical = m_source.basicInfo(m_order, m_running);
        changed = coreConfigurationChangedLocked(logical);
        if (!changed && loadOK) {
            _usercpu = _systemcpu = _idlecpu = _nicecpu = 0;
            const quint32 count = m_numCPUs;
            for (quint32 i = 0; i < count; ++i)
                for (const QString &key : perCpuKeys(i))
                    dictionary.insert(key, 0.0f);

            qint64 j = -1;
            qint64 p = -1;
            float groupUser = 0, groupSystem = 0, groupIdle = 0, groupNice = 0, groupTotal = 0;
            m_lastLogical.clear();
            for (quint32 i = 0; i < count; ++i) {
                const int cpu = m_order[i];
                if (!m_running[i] || cpu < 0 || size_t(cpu) >= cpuInfoHas.size() || !cpuInfoHas[size_t(cpu)])
                    continue;
                ++j;
                if (j % m_modulophy == 0) {
                    groupUser = groupSystem = groupIdle = groupNice = groupTotal = 0;
                    ++p;
                }
                // Deltas in 64-bit integers first: two large counters subtracted
                // as floats would lose the difference.
                PLVCpuTicks d = cpuInfo[size_t(cpu)];
                if (hasPrevCpuInfo && size_t(cpu) < prevCpuInfoHas.size() && prevCpuInfoHas[size_t(cpu)]) {
                    const PLVCpuTicks &before = prevCpuInfo[size_t(cpu)];
                    d = {forward(d.user, before.user), forward(d.system, before.system),
                         forward(d.idle, before.idle), forward(d.nice, before.nice)};
                }
                const float user = float(d.user), system = float(d.system), idle = float(d.idle),
                            nice = float(d.nice);
                const float total = user + system + idle + nice;
                _usercpu += user;
                _systemcpu += system;
                _idlecpu += idle;
                _nicecpu += nice;
                groupUser += user;
                groupSystem += system;
                groupIdle += idle;
                groupNice += nice;
                groupTotal += total;
                m_lastLogical.push_back(cpu);

                if (total != 0) {
                    const auto &keys = perCpuKeys(quint32(j));
                    dictionary.insert(keys[0], user / total);
                    dictionary.insert(keys[1], system / total);
                    dictionary.insert(keys[2], idle / total);
                    dictionary.insert(keys[3], nice / total);
                }
                if (groupTotal != 0 && (j + 1) % m_modulophy == 0) {
                    const auto &keys = perCpuKeys(quint32(p));
                    dictionary.insert(keys[4], groupUser / groupTotal);
                    dictionary.insert(keys[5], groupSystem / groupTotal);
                    dictionary.insert(keys[6], groupIdle / groupTotal);
                    dictionary.insert(keys[7], groupNice / groupTotal);
                }
            }
            if (count != 0) {
                _usercpu /= float(count);
                _systemcpu /= float(count);
                _idlecpu /= float(count);
                _nicecpu /= float(count);
            }
            const float machineTotal = _usercpu + _systemcpu + _idlecpu + _nicecpu;
            if (machineTotal != 0) {
                dictionary.insert(QStringLiteral("userCPU"), _usercpu / machineTotal);
                dictionary.insert(QStringLiteral("systemCPU"), _systemcpu / machineTotal);
                dictionary.insert(QStringLiteral("idleCPU"), _idlecpu / machineTotal);
                dictionary.insert(QStringLiteral("niceCPU"), _nicecpu / machineTotal);
            }
            std::swap(prevCpuInfo, cpuInfo);
            std::swap(prevCpuInfoHas, cpuInfoHas);
            hasPrevCpuInfo = true;
        }
    }
    if (changed) {
        PLVNotificationCenter::defaultCenter()->postNotificationName(kNeedUpdateCoreInfo);
        return std::nullopt;
    }
    insertLoadInfo(dictionary, m_root, [this] {
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        const double seconds = double(now.tv_sec) + double(now.tv_nsec) / 1e9;
        std::lock_guard lock(CPUUsageLock);
        if (m_taskCountAt < 0 || !m_taskCount || seconds - m_taskCountAt >= m_taskCountMaxAge) {
            m_taskCount = PLVHostSource::taskCount(m_root);
            m_taskCountAt = seconds;
        }
        return m_taskCount;
    });
    updateUpTime(dictionary, m_root);
    return dictionary;
}

quint32 TQSystemInfo::numCPUs() const
{
    std::lock_guard lock(CPUUsageLock);
    return m_numCPUs;
}

quint32 TQSystemInfo::numPhyCPU() const
{
    std::lock_guard lock(CPUUsageLock);
    return m_numPhyCPU;
}

quint32 TQSystemInfo::numLogCPU() const
{
    std::lock_guard lock(CPUUsageLock);
    return m_numLogCPU;
}

qint64 TQSystemInfo::modulophy() const
{
    std::lock_guard lock(CPUUsageLock);
    return m_modulophy;
}

QList<int> TQSystemInfo::cpuNumbers() const
{
    std::lock_guard lock(CPUUsageLock);
    return QList<int>(m_order.begin(), m_order.end());
}

QList<int> TQSystemInfo::logicalCPUNumbers() const
{
    std::lock_guard lock(CPUUsageLock);
    return QList<int>(m_lastLogical.begin(), m_lastLogical.end());
}

void TQSystemInfo::setTaskCountMaxAge(double seconds)
{
    std::lock_guard lock(CPUUsageLock);
    m_taskCountMaxAge = seconds;
}

QVariantMap &TQSystemInfo::updateLoadInfo(QVariantMap &dictionary, const PLVSysRoot &root)
{
    return insertLoadInfo(dictionary, root, [&] { return PLVHostSource::taskCount(root); });
}

QVariantMap &TQSystemInfo::insertLoadInfo(QVariantMap &dictionary, const PLVSysRoot &root,
                                          const std::function<std::optional<quint32>()> &taskCount)
{
    const std::optional<PLVHostSource::LoadAverage> load = PLVHostSource::loadAverage(root);
    if (load) {
        if (const std::optional<quint32> tasks = taskCount()) {
            dictionary.insert(QStringLiteral("tasksCount"), float(*tasks));
            dictionary.insert(QStringLiteral("threadsCount"), float(load->threads));
        }
        dictionary.insert(QStringLiteral("loadAverage0"), float(load->averages[0]));
        dictionary.insert(QStringLiteral("loadAverage1"), float(load->averages[1]));
        dictionary.insert(QStringLiteral("loadAverage2"), float(load->averages[2]));
    }
    return dictionary;
}

QVariantMap &TQSystemInfo::updateUpTime(QVariantMap &dictionary, const PLVSysRoot &root)
{
    const std::optional<double> boot = PLVLinuxClock::bootInstant(root);
    if (!boot)
        return dictionary;
    const QDateTime bootDate = QDateTime::fromMSecsSinceEpoch(qint64(std::llround(*boot * 1000.0)), QTimeZone::utc());
    dictionary.insert(QStringLiteral("upTime"),
                      QVariant::fromValue(PLVDateComponents::between(bootDate, QDateTime::currentDateTimeUtc())));
    return dictionary;
}

static void insertSwap(QVariantMap &dictionary, const PLVMemInfo *info)
{
    PLVSwapUsage swap;
    const bool ok = info && PLVHostSource::swapUsage(*info, swap);
    dictionary.insert(QStringLiteral("memTotalSwap"), ok ? float(swap.total) : -1.0f);
    dictionary.insert(QStringLiteral("memSwapAvailable"), ok ? float(swap.available) : -1.0f);
    dictionary.insert(QStringLiteral("memSwapUsed"), ok ? float(swap.used) : -1.0f);
}

static qint64 pressureOf(const PLVMemInfo &info)
{
    const std::optional<int> level = PLVHostSource::memoryLevel(info);
    return level ? 100 - *level : -1;
}

QVariantMap TQSystemInfo::memoryData(const PLVSysRoot &root)
{
    QVariantMap dictionary;
    PLVMemInfo info;
    const bool read = PLVHostSource::readMemInfo(root, info);

    long pageSize = PLVLinuxClock::pageSize();
    if (pageSize == 0) {
        qCWarning(plvStats) << "Error Host Page Size";
        pageSize = 4096;
    }
    PLVVMStatistics vm;
    if (!read || !PLVHostSource::vmStatistics(root, info, pageSize, vm)) {
        qCWarning(plvStats) << "Error Host Statistics";
    } else {
        const quint64 installed = PLVHostSource::installedMemory(root, info);
        dictionary.insert(QStringLiteral("memApp"), float(vm.app));
        dictionary.insert(QStringLiteral("memInactive"), float(vm.inactive));
        dictionary.insert(QStringLiteral("memActive"), float(vm.active));
        dictionary.insert(QStringLiteral("memFree"), float(vm.free));
        dictionary.insert(QStringLiteral("memWired"), float(vm.wired));
        dictionary.insert(QStringLiteral("memCache"), float(vm.cache));
        dictionary.insert(QStringLiteral("memCompress"), float(vm.compressed));
        // Whole percent, truncated. No installed figure (MemTotal of 0) leaves
        // the key out rather than divide by zero.
        if (installed != 0)
            dictionary.insert(QStringLiteral("memfreePerc"), float(vm.free * 100 / installed));
        dictionary.insert(QStringLiteral("memPressure"), float(pressureOf(info)));
        if (vm.pageIns)
            dictionary.insert(QStringLiteral("memPageIns"), float(*vm.pageIns));
        if (vm.pageOuts)
            dictionary.insert(QStringLiteral("memPageOut"), float(*vm.pageOuts));
        dictionary.insert(QStringLiteral("memTotal"), float(installed));
    }
    // Swap comes from the same reading of /proc/meminfo.
    insertSwap(dictionary, read ? &info : nullptr);
    return dictionary;
}

QVariantMap &TQSystemInfo::updateSwapUsed(QVariantMap &dictionary, const PLVSysRoot &root)
{
    PLVMemInfo info;
    const bool read = PLVHostSource::readMemInfo(root, info);
    insertSwap(dictionary, read ? &info : nullptr);
    return dictionary;
}

qint64 TQSystemInfo::memoryStatus(const PLVSysRoot &root)
{
    PLVMemInfo info;
    if (!PLVHostSource::readMemInfo(root, info))
        return -1;
    return pressureOf(info);
}

QString TQSystemInfo::hwModel(const PLVSysRoot &root) { return PLVHostSource::hwModel(root); }

QString TQSystemInfo::boardID(const PLVSysRoot &root) { return PLVHostSource::boardID(root); }

std::optional<QVariantMap> TQSystemInfo::energyPowerSettings(const PLVSysRoot &)
{
    // The per-board energy constants files (pmenergy) exist only on the
    // original platform; Linux has nothing equivalent to read.
    return std::nullopt;
}

void TQSystemInfo::testingdata()
{
    const std::optional<QVariantMap> settings = energyPowerSettings();
    if (settings)
        qCInfo(plvStats).nospace() << "BOARD ID: " << *settings;
    else
        qCInfo(plvStats).nospace() << "BOARD ID: (null)";
}
