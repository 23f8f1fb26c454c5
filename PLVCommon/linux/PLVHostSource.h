#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QString>
#include <QtGlobal>

#include <array>
#include <optional>

// The lines of /proc/meminfo the samplers use, in kB as the kernel writes them.
// A line that is absent or whose value does not parse is not "had"; a parsed 0
// is a real 0.
struct PLVMemInfo {
    enum Field {
        MemTotal, MemFree, MemAvailable, Buffers, Cached, Active, Inactive, Unevictable,
        SwapTotal, SwapFree, Zswap, AnonPages, Shmem, SReclaimable, SUnreclaim, KernelStack,
        PageTables, FieldCount
    };
    quint64 kB[FieldCount] = {};
    bool has[FieldCount] = {};

    quint64 bytes(Field f) const { return kB[f] * 1024; }
};

// The host's memory figures, in bytes (the counterpart of the VM statistics
// record). Linux has no page classes like the sampler's, so they are composed
// from /proc/meminfo:
//   free = MemFree; active = Active; inactive = Inactive;
//   wired = SUnreclaim + KernelStack + PageTables + Unevictable;
//   cache = Buffers + Cached + SReclaimable - Shmem (Shmem sits in Cached but
//           cannot be dropped, so it counts as application memory);
//   app = AnonPages + Shmem;
//   compressed = Zswap + the memory of every zram device (mm_stat mem_used_total).
struct PLVVMStatistics {
    quint64 free = 0;
    quint64 active = 0;
    quint64 inactive = 0;
    quint64 wired = 0;
    quint64 cache = 0;
    quint64 app = 0;
    quint64 compressed = 0;
    // Cumulative page-ins and page-outs in pages (/proc/vmstat pgpgin/pgpgout
    // are KiB); absent when /proc/vmstat does not give them.
    std::optional<quint64> pageIns;
    std::optional<quint64> pageOuts;
};

struct PLVSwapUsage {
    quint64 total = 0;
    quint64 available = 0;
    quint64 used = 0;
};

// The host-wide side of the host: memory, swap, load, boot instant and machine
// identification. Stateless for the caller; on the live system the files read
// on every sample stay open (PLVOpenSysFile). Thread-safe.
namespace PLVHostSource {

bool readMemInfo(const PLVSysRoot &root, PLVMemInfo &out);
bool parseMemInfo(const char *text, const char *end, PLVMemInfo &out);

// False when MemTotal or MemFree is missing (the statistics call failed).
bool vmStatistics(const PLVSysRoot &root, const PLVMemInfo &info, long pageSize, PLVVMStatistics &out);

// SwapTotal and SwapFree; false when either is missing. used = total - free.
bool swapUsage(const PLVMemInfo &info, PLVSwapUsage &out);

// Percent of memory still available (the counterpart of the memory status
// level): 100 × MemAvailable ÷ MemTotal, truncated, with MemAvailable capped at
// MemTotal. Absent without MemAvailable (kernels before 3.14) or MemTotal.
std::optional<int> memoryLevel(const PLVMemInfo &info);

// Installed memory in bytes: online memory blocks × block size, which counts
// the memory the kernel keeps for itself, unlike MemTotal; MemTotal when the
// blocks are not readable. 0 when neither is known. Counting the blocks reads
// one file per block, so the result is kept until MemTotal changes (memory hot
// plug changes it).
quint64 installedMemory(const PLVSysRoot &root, const PLVMemInfo &info);


// /proc/loadavg: the three averages (what getloadavg() reads) and the number
// of threads (the total after the slash of field 4).
struct LoadAverage {
    std::array<double, 3> averages{};
    quint32 threads = 0;
};
std::optional<LoadAverage> loadAverage(const PLVSysRoot &root);

// Number of processes: the numeric entries of /proc.
std::optional<quint32> taskCount(const PLVSysRoot &root);


// Machine model: DMI product_name, else the device-tree model; null when neither.
QString hwModel(const PLVSysRoot &root);
// Board: DMI board_name, else the first device-tree "compatible" entry; null when neither.
QString boardID(const PLVSysRoot &root);

} // namespace PLVHostSource
