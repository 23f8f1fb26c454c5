#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QByteArray>
#include <QList>

#include <utility>

#include <optional>
#include <vector>

#include <sys/types.h>

// Per-process readers over <root>/proc.
//
// Every query about one process goes through one open handle on its /proc/PID
// directory: once the directory is open, a pid that is reused by a new process
// makes the reads fail (ESRCH) instead of returning the newcomer's data.

// The fields of /proc/PID/stat that the samplers use.
struct PLVProcStat {
    QByteArray comm;            // between the first "(" and the last ")": may hold spaces, ")" and newlines
    char state = 0;             // R, S, D, Z, ...
    qint32 ppid = -1;
    quint32 flags = 0;
    quint64 utime = 0;          // clock ticks
    quint64 stime = 0;          // clock ticks
    qint64 numThreads = 0;
    quint64 startTime = 0;      // clock ticks after boot
    quint64 virtualSize = 0;    // bytes
    qint64 residentPages = 0;

    static constexpr quint32 kernelThreadFlag = 0x00200000; // PF_KTHREAD
    bool isKernelThread() const { return (flags & kernelThreadFlag) != 0; }
    bool isZombie() const { return state == 'Z' || state == 'X'; }
};

namespace PLVProcessReader {

// Parses the text of /proc/PID/stat; false for a truncated or malformed record.
bool parseStat(const char *text, size_t length, PLVProcStat &out);

// Numeric entries of <root>/proc in directory order (ascending pid on a live
// system). nullopt when /proc itself cannot be read.
std::optional<QList<qint32>> listPids(const PLVSysRoot &root);

// The page size, 4096 when the system does not say.
inline long pageSize() { return PLVLinuxClock::pageSize() > 0 ? PLVLinuxClock::pageSize() : 4096L; }

class PidDir
{
public:
    PidDir(const PLVSysRoot &root, qint32 pid);
    // Opens "<pid>" relative to an already open <root>/proc directory.
    PidDir(int procFd, qint32 pid);
    ~PidDir();
    PidDir(const PidDir &) = delete;
    PidDir &operator=(const PidDir &) = delete;

    bool isOpen() const { return m_fd >= 0; }
    int fd() const { return m_fd; }

    bool readStat(PLVProcStat &out) const;
    // statm: total program size and resident set, in pages.
    bool readStatm(quint64 &sizePages, quint64 &residentPages) const;
    // Target of a symbolic link of the directory ("exe", "cwd"); null when unreadable.
    QByteArray readLink(const char *name) const;
    // The executable's path without the " (deleted)" mark of a replaced binary.
    QByteArray executablePath() const;
    // argv[0] from cmdline; null when unreadable.
    QByteArray firstArgument() const;
    // Private_Clean + Private_Dirty + Swap of smaps_rollup, in bytes.
    std::optional<quint64> footprint() const;
    // Voluntary context switches summed over the process's threads.
    std::optional<quint64> voluntaryContextSwitches() const;
    // Owner of the directory: the effective uid of a dumpable process, root otherwise.
    std::optional<uid_t> owner() const;

private:
    int m_fd = -1;
};

// An open <root>/proc, listed again on every refresh of a process table.
class ProcDir
{
public:
    explicit ProcDir(const PLVSysRoot &root);
    ~ProcDir();
    ProcDir(const ProcDir &) = delete;
    ProcDir &operator=(const ProcDir &) = delete;

    // Opens <root>/proc if it is not open yet; false when it cannot.
    bool open();
    bool isOpen() const { return m_fd >= 0; }
    int fd() const { return m_fd; }
    // The numeric entries, ascending, read from the start again; false when
    // the directory cannot be read.
    bool listPids(std::vector<qint32> &out) const;
    // <pid>/stat read without holding it open; -1 when unreadable.
    ssize_t readStat(qint32 pid, char *buf, size_t cap) const;

private:
    QByteArray m_path;
    int m_fd = -1;
};

// A process's stat file held open between refreshes, so that reading it again
// costs one pread. A held file of a process that ended reads ESRCH.
class HeldStat
{
public:
    HeldStat() = default;
    ~HeldStat() { close(); }
    HeldStat(HeldStat &&other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    HeldStat &operator=(HeldStat &&other) noexcept;

    bool open(const PidDir &dir);
    bool isOpen() const { return m_fd >= 0; }
    void close();
    // The file from its start; -1 when unreadable.
    ssize_t read(char *buf, size_t cap) const;

private:
    int m_fd = -1;
};

// How many stat files a process table may hold open: half the soft limit on
// open files, and at most 1024 (each also pins a page-sized kernel buffer).
int defaultHeldFilesLimit();

} // namespace PLVProcessReader
