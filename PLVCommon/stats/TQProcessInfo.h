#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QDateTime>
#include <QImage>
#include <QList>
#include <QMap>
#include <QString>

// A top-level process identifier -> the identifiers of its direct children.
using TQGroupedProcesses = QMap<qint32, QList<qint32>>;

// Stateless questions about the running processes, answered from <root>/proc
// (the root is "/" except in tests). Nothing is kept between calls; a process
// that cannot be read, or that ended meanwhile, gives the neutral value each
// operation names. For a refresh of the whole table every tick, TQProcessTable
// is the faster way.
//
// The user filter ("isOnlyUser") keeps the caller's own processes: those whose
// /proc/PID directory belongs to the caller's effective uid (the kernel gives a
// non-dumpable process, such as a setuid program, to root, so it is not "own"
// even when started by the user) and whose resident size is readable and not 0
// (which leaves out zombies and kernel threads). Root's own processes are those
// running as root, not every process.
class TQProcessInfo
{
public:
    // Every pid, in the reverse of the kernel's listing order (highest pid first
    // on a live system). Empty when /proc cannot be listed.
    static QList<qint32> runningProcesses(const PLVSysRoot &root = PLVSysRoot());
    static QList<qint32> runningUserProcesses(const PLVSysRoot &root = PLVSysRoot());
    static QList<qint32> runningProcessesisOnlyUser(bool isOnlyUser, const PLVSysRoot &root = PLVSysRoot());

    // One level of grouping: top-level pid -> its direct children. A grandchild is
    // filed under its own parent, which is then dropped as a child, so the
    // grandchild does not appear; nor does a process whose parent is not listed.
    static TQGroupedProcesses runningParentProcesses(const PLVSysRoot &root = PLVSysRoot());
    static TQGroupedProcesses runningUserParentProcesses(const PLVSysRoot &root = PLVSysRoot());
    static TQGroupedProcesses runningParentProcessesisOnlyUser(bool isOnlyUser,
                                                               const PLVSysRoot &root = PLVSysRoot());

    // Last component of the executable's path, else the short name.
    static QString processNameForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // The kernel's command name (at most 15 bytes); null when unreadable.
    static QString processShortNameForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // Executable path; null when unreadable (kernel threads, zombies, other users' processes).
    static QString processPathExeForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // Current directory; null when unreadable.
    static QString processPathForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    static bool canReadProcessDataForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // Bytes; 0 on failure.
    static quint64 processResidentSizeForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    static quint64 processVirtualSizeForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // Private memory plus swap (smaps_rollup), the footprint of the process; 0 on failure.
    static quint64 processMemorySizeForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    static int processNumberOfThreadsForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // User + system CPU seconds; 0.0 on failure.
    static double processTotalTimeForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // CPU seconds per second since the start (1.0 = one core busy); -1.0 when
    // the time since the start is not positive.
    static double processAvgCPUSinceStartForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // Voluntary context switches of all threads; all bits set on failure.
    static quint64 processTotalIdleWakeupForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // Linux keeps no per-process energy: always the failure value, all bits set.
    static quint64 processTotalCPUGPUEnergyForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // Whole seconds, UTC; null when unreadable.
    static QDateTime processStartDateForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    // -1 when unreadable.
    static qint32 parentPidforPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());

    // The icon of the desktop application whose entry matches the process, else
    // defaultIconForProcess().
    static QImage iconForPid(qint32 pid, const PLVSysRoot &root = PLVSysRoot());
    static QImage defaultIconForProcess();
    // Raises and focuses the process's window where the desktop allows another
    // program to do so (EWMH on X11 and XWayland, org.freedesktop.Application on
    // the session bus); nothing otherwise.
    static void bringRunningAppToForegroundForPID(qint32 pid);

    // Memory capacity: "%.0f MB" below 1024 MB, else "%.1f GB", localised.
    static QString bytesToReadbleString(quint64 bytes);
    static QString PLVLoc(const QString &key);

    static constexpr quint64 failureValue = ~quint64(0);
};
