#pragma once
#include "PLVCommon/linux/PLVCpuSource.h"
#include "PLVCommon/linux/PLVSysFile.h"
#include "PLVCommon/stats/PLVDateComponents.h"

#include <QList>
#include <mutex>
#include <QString>
#include <QVariantMap>

#include <array>
#include <functional>
#include <optional>
#include <vector>

// CPU, load and memory sampler.
//
// One instance per consumer keeps the previous CPU tick counters, so each
// cpuData() gives the usage of the interval since the previous successful
// call (the first call: since boot). The static operations keep no state.
// Results are dictionaries with fixed keys; CPU shares are fractions 0..1,
// memory figures bytes, all as float unless noted.
//
// Every operation reads under a root folder ("/" by default) so that tests can
// sample fixture trees.
//
// CPU order: logical CPUs are presented with the sibling threads of one core
// next to each other (cores ordered by their lowest kernel CPU number), so that
// folding consecutive runs of modulophy() running CPUs onto physical cores
// groups real siblings. The "…CPUAll%u" index is the position among the
// running CPUs in that order; logicalCPUNumbers() tells which kernel CPU each
// index was in the last sample.
class TQSystemInfo
{
public:
    TQSystemInfo();
    explicit TQSystemInfo(const PLVSysRoot &root);
    ~TQSystemInfo();
    TQSystemInfo(const TQSystemInfo &) = delete;
    TQSystemInfo &operator=(const TQSystemInfo &) = delete;

    // Re-reads the core counts (and the CPU order) and stores them;
    // {"physicalcpu": int, "logicalcpu": int}.
    QVariantMap cpuCoresInformation();
    // CPU shares of the interval, plus the load and "upTime" keys; nullopt when
    // the number of online CPUs changed since the last look (then
    // "PLV_CPU_NEED_UPDATE_COREINFO" has been posted and nothing was rotated).
    std::optional<QVariantMap> cpuData();
    // Whether the number of online CPUs changed; when it did, the new count is
    // stored and "PLV_CPU_NEED_UPDATE_COREINFO" is posted on the default centre.
    bool didCoreConfigurationChanged();

    quint32 numCPUs() const;
    quint32 numPhyCPU() const;
    quint32 numLogCPU() const;
    qint64 modulophy() const;
    // Kernel CPU number of each presented CPU, numCPUs() entries, in the order
    // the per-CPU loop walks them.
    QList<int> cpuNumbers() const;
    // Kernel CPU number behind each "…CPUAll%u" index of the last sample that
    // counted CPUs (index j is entry j).
    QList<int> logicalCPUNumbers() const;

    // How old the count of tasks that cpuData() gives may be, in seconds (0,
    // the default: counted at every call). Counting lists the whole of /proc,
    // which costs as much as the rest of a sample; a host that shows the
    // count only in a panel asks for it at the panel's pace.
    void setTaskCountMaxAge(double seconds);

    static QVariantMap &updateLoadInfo(QVariantMap &dictionary, const PLVSysRoot &root = PLVSysRoot());
    static QVariantMap &updateUpTime(QVariantMap &dictionary, const PLVSysRoot &root = PLVSysRoot());
    static QVariantMap memoryData(const PLVSysRoot &root = PLVSysRoot());
    static QVariantMap &updateSwapUsed(QVariantMap &dictionary, const PLVSysRoot &root = PLVSysRoot());
    // Memory pressure in percent: 100 − percent of memory still available; −1 when unknown.
    static qint64 memoryStatus(const PLVSysRoot &root = PLVSysRoot());

    // Machine identification, in its Linux meaning: the model is the DMI
    // product name (the device-tree model on machines without DMI), the board
    // the DMI board name (the first device-tree "compatible" entry). Null when
    // the machine does not say.
    static QString hwModel(const PLVSysRoot &root = PLVSysRoot());
    static QString boardID(const PLVSysRoot &root = PLVSysRoot());
    // The platform's per-board energy constants have no counterpart on Linux:
    // always absent.
    static std::optional<QVariantMap> energyPowerSettings(const PLVSysRoot &root = PLVSysRoot());
    // Diagnostic: logs the board id and energyPowerSettings().
    static void testingdata();

private:
    static QVariantMap &insertLoadInfo(QVariantMap &dictionary, const PLVSysRoot &root,
                                       const std::function<std::optional<quint32>()> &taskCount);
    void applyCoreInfo();
    bool coreConfigurationChangedLocked(std::optional<quint32> logical);
    const std::array<QString, 8> &perCpuKeys(quint32 index);

    PLVSysRoot m_root;
    mutable std::mutex CPUUsageLock;
    double m_taskCountMaxAge = 0;
    std::optional<quint32> m_taskCount;
    double m_taskCountAt = -1; // monotonic seconds
    PLVCpuSource m_source;

    // Counters by kernel CPU number: the current and the previous sample.
    std::vector<PLVCpuTicks> cpuInfo;
    std::vector<char> cpuInfoHas;
    std::vector<PLVCpuTicks> prevCpuInfo;
    std::vector<char> prevCpuInfoHas;
    bool hasPrevCpuInfo = false;

    quint32 m_numCPUs = 0;
    quint32 m_numPhyCPU = 0;
    quint32 m_numLogCPU = 0;
    qint64 m_modulophy = 1;
    std::vector<int> m_order;       // kernel CPU of each presented CPU
    std::vector<char> m_running;    // scratch: running state in that order
    std::vector<int> m_lastLogical; // kernel CPU of each "All" index, last sample

    float _usercpu = 0, _systemcpu = 0, _idlecpu = 0, _nicecpu = 0;

    std::vector<std::array<QString, 8>> m_keys; // "userCPUAll%u" … "niceCPUPhy%u"
};
