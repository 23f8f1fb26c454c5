#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QVariantMap>

#include <memory>
#include <mutex>
#include <vector>

namespace PLVProcessReader { class ProcDir; }

// One process as the last refresh of a TQProcessTable saw it.
struct TQProcessSample {
    qint32 pid = 0;
    qint32 parentPid = -1;
    QString name;            // as TQProcessInfo::processNameForPid: executable's file name, else the short name
    quint64 residentSize = 0; // bytes
    quint64 virtualSize = 0;  // bytes
    double cpuTime = 0.0;     // user + system seconds since the start
    // CPU seconds per second over the table's interval() (1.0 = one core busy).
    // 0 on the first refresh; for a process that started during the interval,
    // all of its CPU time counts in it.
    double cpuShare = 0.0;
    int threadCount = 0;
    double startTime = 0.0;   // seconds since 1970
    char state = 0;
    bool isKernelThread = false;

    QDateTime startDate() const;
    // "pid", "parentPid", "name", "residentSize", "cpuTime", "cpuShare",
    // "threadCount", "startDate": the shape the modules publish in modelData.
    QVariantMap dictionary() const;
};

// A snapshot of the process table that a module refreshes each tick.
//
// A refresh lists <root>/proc through a directory handle kept open, and reads
// one file per process: stat, which holds the parent, name, CPU times, thread
// count, start time and resident size. The stat file of a known process is
// kept open and re-read with pread(); a new process is opened once through its
// /proc/PID directory, and its executable's name is read then and again only
// when its command name changes (exec). A pid that is reused is recognised by
// its start time and treated as a new process. The footprint (smaps_rollup)
// costs a walk of the page tables and is read only where asked.
//
// Held file descriptors are limited (setMaxOpenFiles, by default half the
// soft RLIMIT_NOFILE); processes beyond the limit are opened at each refresh.
//
// Not thread-safe: one owner refreshes and reads (a module's updateModel).
class TQProcessTable
{
public:
    explicit TQProcessTable(const PLVSysRoot &root = PLVSysRoot());
    ~TQProcessTable();
    TQProcessTable(const TQProcessTable &) = delete;
    TQProcessTable &operator=(const TQProcessTable &) = delete;

    // Re-reads the table. False when /proc cannot be listed (the table is then empty).
    bool refresh();

    // Ascending pid order.
    const std::vector<TQProcessSample> &processes() const { return m_samples; }
    const TQProcessSample *processForPid(qint32 pid) const;
    int processCount() const { return int(m_samples.size()); }
    qint64 threadCount() const;
    // Seconds over which the last refresh measured CPU shares: since the refresh
    // before, or since the one before that when the last came less than
    // minimumWindow ago. 0 after the first refresh.
    double interval() const { return m_interval; }
    static constexpr double minimumWindow = 0.5;
    int refreshCount() const { return m_refreshes; }

    // The `count` processes with the highest CPU share / resident size, highest
    // first; ties in pid order. Processes with a share or size of 0 are left out.
    QList<TQProcessSample> topByCPUShare(int count = 5) const;
    QList<TQProcessSample> topByResidentSize(int count = 5) const;
    // The same as lists of dictionaries (TQProcessSample::dictionary).
    QVariantList topByCPUShareDictionaries(int count = 5) const;
    QVariantList topByResidentSizeDictionaries(int count = 5) const;

    // Private memory plus swap of a process of the last refresh, read now; 0 when
    // unreadable or when the pid now belongs to another process.
    quint64 footprintForPid(qint32 pid) const;

    void setMaxOpenFiles(int count);
    int maxOpenFiles() const { return m_maxOpenFiles; }
    int openFiles() const { return m_openFiles; }

private:
    struct Entry;
    bool readEntry(Entry &entry, bool isNew);
    void closeEntry(Entry &entry);
    QList<TQProcessSample> top(bool byCPU, int count) const;

    PLVSysRoot m_root;
    std::unique_ptr<PLVProcessReader::ProcDir> m_proc;
    std::vector<Entry> m_entries;          // ascending pid
    std::vector<TQProcessSample> m_samples; // ascending pid, parallel to m_entries
    std::vector<qint32> m_listing;
    double m_bootInstant = 0.0;
    double m_baseTime = 0.0;               // CLOCK_MONOTONIC seconds of the last baseline
    double m_olderBaseTime = -1.0;         // the one before; negative when none
    bool m_measureFromOlderBase = false;
    bool m_advanceBase = true;
    double m_interval = 0.0;
    int m_refreshes = 0;
    int m_maxOpenFiles = 0;
    int m_openFiles = 0;
};

// The process table the modules of one process share: the processor and the
// memory modules both show the busiest processes, and each reading the whole
// of /proc every tick doubled the monitor's largest cost at rest. A tick's
// first module refreshes it; a module that comes within `freshFor` seconds of
// that refresh (the same tick) reads the same snapshot. Thread-safe: modules
// update on background threads.
class PLVSharedProcessTable
{
public:
    // The table of this root, made on first use and kept while someone holds it.
    static std::shared_ptr<PLVSharedProcessTable> forRoot(const PLVSysRoot &root);
    explicit PLVSharedProcessTable(const PLVSysRoot &root) : m_table(root) {}

    static constexpr double freshFor = 0.2;
    // Refreshes the table when its last refresh is at least maxAge seconds
    // old (and never twice within freshFor), then hands it to `read` under
    // the table's lock. False (and `read` not called) when /proc cannot be
    // listed.
    template <typename Read>
    bool use(double maxAge, Read &&read)
    {
        std::lock_guard lock(m_mutex);
        if (!refreshIfOlder(maxAge))
            return false;
        read(static_cast<const TQProcessTable &>(m_table));
        return true;
    }
    template <typename Read>
    bool use(Read &&read) { return use(0.0, std::forward<Read>(read)); }

private:
    bool refreshIfOlder(double maxAge);

    std::mutex m_mutex;
    TQProcessTable m_table;
    double m_refreshedAt = -1;
    bool m_listed = false;
};

