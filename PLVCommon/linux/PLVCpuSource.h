#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QtGlobal>

#include <optional>
#include <vector>

// Tick counters of one CPU, folded into the four classes the sampler knows.
// From /proc/stat: user = user; system = system + irq + softirq + steal;
// idle = idle + iowait; nice = nice. (guest and guest_nice are already inside
// user and nice.)
struct PLVCpuTicks {
    quint64 user = 0;
    quint64 system = 0;
    quint64 idle = 0;
    quint64 nice = 0;
};

// The CPU counts and the order in which CPUs are presented.
struct PLVCoreInfo {
    // Present CPUs (the count every per-CPU loop runs over); 1 when unknown.
    quint32 cpuCount = 1;
    // Distinct cores among the online CPUs; absent when no topology is readable.
    std::optional<quint32> physical;
    // Online CPUs; absent when the online list is unreadable.
    std::optional<quint32> logical;
    // Kernel CPU number of each presented CPU (cpuCount entries): the sibling
    // threads of one core are adjacent, cores ordered by their lowest CPU.
    std::vector<int> order;
};

// The CPU side of the host: per-CPU tick counters, running state, core counts.
//
// One instance per sampler; it keeps its files open between samples (see
// PLVOpenSysFile). Not thread-safe: the sampler serialises calls.
class PLVCpuSource
{
public:
    explicit PLVCpuSource(const PLVSysRoot &root = PLVSysRoot());
    ~PLVCpuSource();
    PLVCpuSource(const PLVCpuSource &) = delete;
    PLVCpuSource &operator=(const PLVCpuSource &) = delete;

    const PLVSysRoot &root() const { return m_root; }

    // Counts from /sys/devices/system/cpu: present, online, and cores from
    // topology/core_cpus_list (thread_siblings_list on older kernels). Without
    // a readable `present` the CPUs are those /proc/stat lists.
    PLVCoreInfo coreInfo();

    // Number of online CPUs, re-read now; absent when unreadable.
    std::optional<quint32> logicalCount();

    // Tick counters of every CPU listed in /proc/stat, indexed by kernel CPU
    // number; has[n] says whether CPU n was listed (offline CPUs are not).
    // False when the file is missing, lists no CPU, or a CPU line carries
    // fewer than the four counters user, nice, system, idle.
    bool loadInfo(std::vector<PLVCpuTicks> &ticks, std::vector<char> &has);

    // Running state of each given kernel CPU, and the number of online CPUs,
    // from one reading of the `online` list. (The per-CPU cpuN/online files
    // say the same but cost several microseconds each, per sample.) Without a
    // readable list every CPU counts as running and the count is absent.
    std::optional<quint32> basicInfo(const std::vector<int> &cpus, std::vector<char> &running);

private:
    bool readOnline(std::vector<int> &online);

    PLVSysRoot m_root;
    PLVOpenSysFile m_stat;
    PLVOpenSysFile m_online;
    std::vector<char> m_buf;
    std::vector<int> m_onlineList;
    std::vector<char> m_onlineMask;
};

namespace PLVCpuStat {
// Parses the cpuN lines at the top of a /proc/stat text (see loadInfo).
bool parse(const char *text, const char *end, std::vector<PLVCpuTicks> &ticks, std::vector<char> &has);
} // namespace PLVCpuStat
