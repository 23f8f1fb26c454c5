#include "PLVCommon/stats/TQProcessInfo.h"

#include "PLVCommon/desktop/PLVDesktopApps.h"
#include "PLVCommon/linux/PLVProcessReader.h"
#include "PLVCommon/desktop/PLVWindowActivation.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/stats/StringExtras.h"
#include "PLVCommon/stats/TQProcessExtraManager.h"

#include <QFile>

#include <fcntl.h>
#include <unistd.h>

#include <cmath>

using PLVProcessReader::PidDir;

namespace {

QString lastPathComponent(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return QFile::decodeName(slash >= 0 ? path.mid(slash + 1) : path);
}

bool readRecord(qint32 pid, const PLVSysRoot &root, PLVProcStat &stat)
{
    const PidDir dir(root, pid);
    return dir.readStat(stat);
}

// The record of a process as the short name and start date accept it.
bool readUsableRecord(qint32 pid, const PLVSysRoot &root, PLVProcStat &stat)
{
    return readRecord(pid, root, stat) && stat.ppid >= 0;
}

quint64 residentBytes(const PidDir &dir)
{
    quint64 size = 0, resident = 0;
    if (!dir.readStatm(size, resident))
        return 0;
    return resident * quint64(PLVProcessReader::pageSize());
}

} // namespace

QList<qint32> TQProcessInfo::runningProcesses(const PLVSysRoot &root)
{
    return runningProcessesisOnlyUser(false, root);
}

QList<qint32> TQProcessInfo::runningUserProcesses(const PLVSysRoot &root)
{
    return runningProcessesisOnlyUser(true, root);
}

QList<qint32> TQProcessInfo::runningProcessesisOnlyUser(bool isOnlyUser, const PLVSysRoot &root)
{
    const auto listed = PLVProcessReader::listPids(root);
    if (!listed)
        return {};
    const QList<qint32> &pids = *listed;
    QList<qint32> out;
    out.reserve(pids.size());
    int procFd = -1;
    if (isOnlyUser)
        procFd = ::open(root.nativePath("proc").constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const uid_t self = geteuid();
    // The reverse of the kernel's order is the published order.
    for (qsizetype i = pids.size() - 1; i >= 0; --i) {
        const qint32 pid = pids.at(i);
        if (isOnlyUser) {
            const PidDir dir(procFd, pid);
            if (dir.owner() != self || residentBytes(dir) == 0)
                continue;
        }
        out.append(pid);
    }
    if (procFd >= 0)
        ::close(procFd);
    return out;
}

TQGroupedProcesses TQProcessInfo::runningParentProcesses(const PLVSysRoot &root)
{
    return runningParentProcessesisOnlyUser(false, root);
}

TQGroupedProcesses TQProcessInfo::runningUserParentProcesses(const PLVSysRoot &root)
{
    return runningParentProcessesisOnlyUser(true, root);
}

TQGroupedProcesses TQProcessInfo::runningParentProcessesisOnlyUser(bool isOnlyUser, const PLVSysRoot &root)
{
    const QList<qint32> pids = runningProcessesisOnlyUser(isOnlyUser, root);
    TQGroupedProcesses table;
    for (qint32 pid : pids)
        table.insert(pid, {});
    QList<qint32> children;
    for (qint32 pid : pids) {
        qint32 parent = parentPidforPid(pid, root);
        if (parent < 2) {
            // No parent, the kernel or init: the companion may know a better one.
            const qint32 extra = TQProcessExtraManager::extraParentForPid(pid);
            if (extra < 2 || extra == pid)
                continue;
            parent = extra;
        }
        auto it = table.find(parent);
        if (it != table.end())
            it->append(pid);
        children.append(pid);
    }
    for (qint32 child : children)
        table.remove(child);
    return table;
}

QString TQProcessInfo::processNameForPid(qint32 pid, const PLVSysRoot &root)
{
    if (pid == 0)
        return processShortNameForPid(pid, root);
    const QByteArray path = PidDir(root, pid).executablePath();
    if (!path.isEmpty()) {
        const QString name = lastPathComponent(path);
        if (!name.isEmpty())
            return name;
    }
    return processShortNameForPid(pid, root);
}

QString TQProcessInfo::processShortNameForPid(qint32 pid, const PLVSysRoot &root)
{
    PLVProcStat stat;
    if (!readUsableRecord(pid, root, stat))
        return {};
    const QString name = QString::fromUtf8(stat.comm);
    return name.isNull() ? QStringLiteral("") : name;
}

QString TQProcessInfo::processPathExeForPid(qint32 pid, const PLVSysRoot &root)
{
    const QByteArray path = PidDir(root, pid).executablePath();
    return path.isEmpty() ? QString() : QFile::decodeName(path);
}

QString TQProcessInfo::processPathForPid(qint32 pid, const PLVSysRoot &root)
{
    const QByteArray path = PidDir(root, pid).readLink("cwd");
    return path.isEmpty() ? QString() : QFile::decodeName(path);
}

bool TQProcessInfo::canReadProcessDataForPid(qint32 pid, const PLVSysRoot &root)
{
    return processResidentSizeForPid(pid, root) != 0;
}

quint64 TQProcessInfo::processResidentSizeForPid(qint32 pid, const PLVSysRoot &root)
{
    return residentBytes(PidDir(root, pid));
}

quint64 TQProcessInfo::processVirtualSizeForPid(qint32 pid, const PLVSysRoot &root)
{
    quint64 size = 0, resident = 0;
    if (!PidDir(root, pid).readStatm(size, resident))
        return 0;
    return size * quint64(PLVProcessReader::pageSize());
}

quint64 TQProcessInfo::processMemorySizeForPid(qint32 pid, const PLVSysRoot &root)
{
    return PidDir(root, pid).footprint().value_or(0);
}

int TQProcessInfo::processNumberOfThreadsForPid(qint32 pid, const PLVSysRoot &root)
{
    PLVProcStat stat;
    if (!readRecord(pid, root, stat) || stat.numThreads < 0)
        return 0;
    return int(qMin<qint64>(stat.numThreads, std::numeric_limits<int>::max()));
}

double TQProcessInfo::processTotalTimeForPid(qint32 pid, const PLVSysRoot &root)
{
    PLVProcStat stat;
    if (!readRecord(pid, root, stat))
        return 0.0;
    return double(stat.utime + stat.stime) / double(PLVLinuxClock::clockTicksPerSecond());
}

double TQProcessInfo::processAvgCPUSinceStartForPid(qint32 pid, const PLVSysRoot &root)
{
    const double total = processTotalTimeForPid(pid, root);
    const QDateTime start = processStartDateForPid(pid, root);
    if (!start.isValid())
        return -1.0;
    const double interval = double(QDateTime::currentMSecsSinceEpoch() - start.toMSecsSinceEpoch()) / 1000.0;
    if (!(interval > 0.0))
        return -1.0;
    return total / interval;
}

quint64 TQProcessInfo::processTotalIdleWakeupForPid(qint32 pid, const PLVSysRoot &root)
{
    return PidDir(root, pid).voluntaryContextSwitches().value_or(failureValue);
}

quint64 TQProcessInfo::processTotalCPUGPUEnergyForPid(qint32, const PLVSysRoot &)
{
    return failureValue;
}

QDateTime TQProcessInfo::processStartDateForPid(qint32 pid, const PLVSysRoot &root)
{
    PLVProcStat stat;
    if (!readUsableRecord(pid, root, stat))
        return {};
    const double seconds = PLVLinuxClock::bootInstant(root).value_or(0.0)
                           + double(stat.startTime) / double(PLVLinuxClock::clockTicksPerSecond());
    // Whole seconds, as the kernel's process record gives them elsewhere.
    return QDateTime::fromSecsSinceEpoch(qint64(std::floor(seconds)), Qt::UTC);
}

qint32 TQProcessInfo::parentPidforPid(qint32 pid, const PLVSysRoot &root)
{
    PLVProcStat stat;
    if (!readRecord(pid, root, stat))
        return -1;
    return stat.ppid > -2 ? stat.ppid : -1;
}

QImage TQProcessInfo::iconForPid(qint32 pid, const PLVSysRoot &root)
{
    const PidDir dir(root, pid);
    PLVProcStat stat;
    if (dir.readStat(stat) && !stat.isKernelThread()) {
        PLVDesktopApps::ProcessIdentity who;
        who.executable = dir.executablePath();
        who.commandName = stat.comm;
        who.argv0 = dir.firstArgument();
        if (const auto entry = PLVDesktopApps::entryForProcess(who)) {
            const QImage image = PLVDesktopApps::iconImage(entry->icon);
            if (!image.isNull())
                return image;
        }
    }
    return defaultIconForProcess();
}

QImage TQProcessInfo::defaultIconForProcess()
{
    PLVBundle *bundle = PLVBundle::frameworkBundle();
    if (!bundle)
        return {};
    const QString path = bundle->pathForResource(QStringLiteral("picto_process_default"), QStringLiteral("png"));
    return path.isEmpty() ? QImage() : QImage(path);
}

void TQProcessInfo::bringRunningAppToForegroundForPID(qint32 pid)
{
    if (pid <= 0)
        return;
    PLVWindowActivation::activateApplicationOfPid(pid);
}

QString TQProcessInfo::bytesToReadbleString(quint64 bytes)
{
    // One ladder and one rounding for every memory size the user reads.
    return StringExtras::doubleCapacityToString(double(bytes));
}

QString TQProcessInfo::PLVLoc(const QString &key)
{
    PLVBundle *bundle = PLVBundle::frameworkBundle();
    if (!bundle)
        return key.isNull() ? QStringLiteral("") : key;
    return bundle->localizedString(key, QStringLiteral(""));
}
