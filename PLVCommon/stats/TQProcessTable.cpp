#include "PLVCommon/stats/TQProcessTable.h"

#include "PLVCommon/linux/PLVProcessReader.h"

#include <QFile>
#include <QHash>

#include <time.h>

#include <algorithm>
#include <cmath>
#include <limits>

using PLVProcessReader::PidDir;

namespace {

double monotonicSeconds()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) / 1e9;
}

QString nameFromExecutable(const QByteArray &path)
{
    const qsizetype slash = path.lastIndexOf('/');
    return QFile::decodeName(slash >= 0 ? path.mid(slash + 1) : path);
}

} // namespace

struct TQProcessTable::Entry {
    qint32 pid = 0;
    PLVProcessReader::HeldStat stat;
    quint64 startTicks = 0;
    // CPU ticks at the last two baselines; 0 for a process that did not exist yet.
    quint64 baseTicks = 0;
    quint64 olderBaseTicks = 0;
    QByteArray comm;
    TQProcessSample sample;
};

QDateTime TQProcessSample::startDate() const
{
    return QDateTime::fromSecsSinceEpoch(qint64(std::floor(startTime)), Qt::UTC);
}

QVariantMap TQProcessSample::dictionary() const
{
    return {
        {QStringLiteral("pid"), pid},
        {QStringLiteral("parentPid"), parentPid},
        {QStringLiteral("name"), name},
        {QStringLiteral("residentSize"), residentSize},
        {QStringLiteral("cpuTime"), cpuTime},
        {QStringLiteral("cpuShare"), cpuShare},
        {QStringLiteral("threadCount"), threadCount},
        {QStringLiteral("startDate"), startDate()},
    };
}

TQProcessTable::TQProcessTable(const PLVSysRoot &root)
    : m_root(root), m_proc(std::make_unique<PLVProcessReader::ProcDir>(root)),
      m_maxOpenFiles(PLVProcessReader::defaultHeldFilesLimit())
{
}

TQProcessTable::~TQProcessTable() = default;

void TQProcessTable::setMaxOpenFiles(int count)
{
    m_maxOpenFiles = std::max(0, count);
    // Release what is over the new limit; those processes are opened per refresh from now on.
    for (auto it = m_entries.rbegin(); it != m_entries.rend() && m_openFiles > m_maxOpenFiles; ++it)
        closeEntry(*it);
}

void TQProcessTable::closeEntry(Entry &entry)
{
    if (entry.stat.isOpen()) {
        entry.stat.close();
        --m_openFiles;
    }
}

// Reads one process. A new entry (or one whose pid was reused) is opened through
// its /proc/PID directory, which also gives the executable's name; a known one
// re-reads its held stat file.
bool TQProcessTable::readEntry(Entry &entry, bool isNew)
{
    char buf[1024];
    ssize_t n = -1;
    if (!isNew) {
        n = entry.stat.isOpen() ? entry.stat.read(buf, sizeof buf) : m_proc->readStat(entry.pid, buf, sizeof buf);
        if (n <= 0)
            return false; // ended: a held file of a dead process reads ESRCH
    }

    PLVProcStat stat;
    bool parsed = n > 0 && PLVProcessReader::parseStat(buf, size_t(n), stat);
    if (parsed && stat.startTime != entry.startTicks)
        isNew = true; // the pid belongs to another process now
    if (!isNew && !parsed)
        return false;

    const bool renamed = !isNew && stat.comm != entry.comm;
    if (isNew || renamed) {
        const PidDir dir(m_proc->fd(), entry.pid);
        if (!dir.isOpen())
            return false;
        if (isNew) {
            closeEntry(entry);
            if (m_openFiles < m_maxOpenFiles && entry.stat.open(dir))
                ++m_openFiles;
            n = entry.stat.isOpen() ? entry.stat.read(buf, sizeof buf) : PLVSysFile::readAt(dir.fd(), "stat", buf, sizeof buf);
            if (n <= 0 || !PLVProcessReader::parseStat(buf, size_t(n), stat)) {
                closeEntry(entry);
                return false;
            }
            entry.startTicks = stat.startTime;
            entry.baseTicks = entry.olderBaseTicks = 0;
        }
        if (!isNew) {
            // Renamed: make sure the directory opened now is still the same process.
            PLVProcStat again;
            if (!dir.readStat(again) || again.startTime != entry.startTicks)
                return false;
        }
        // The name comes from the same directory, so it belongs to the same process.
        const QByteArray exe = stat.isKernelThread() ? QByteArray() : dir.executablePath();
        QString name = exe.isEmpty() ? QString() : nameFromExecutable(exe);
        if (name.isEmpty())
            name = QString::fromUtf8(stat.comm);
        entry.sample.name = name.isNull() ? QStringLiteral("") : name;
        entry.comm = stat.comm;
    }

    const double hz = double(PLVLinuxClock::clockTicksPerSecond());
    const quint64 ticks = stat.utime + stat.stime;
    TQProcessSample &s = entry.sample;
    s.pid = entry.pid;
    s.parentPid = stat.ppid > -2 ? stat.ppid : -1;
    s.residentSize = stat.residentPages > 0 ? quint64(stat.residentPages) * quint64(PLVProcessReader::pageSize()) : 0;
    s.virtualSize = stat.virtualSize;
    s.cpuTime = double(ticks) / hz;
    s.threadCount = int(std::clamp<qint64>(stat.numThreads, 0, std::numeric_limits<int>::max()));
    s.startTime = m_bootInstant + double(stat.startTime) / hz;
    s.state = stat.state;
    s.isKernelThread = stat.isKernelThread();
    if (m_interval > 0.0) {
        // A process new since the baseline spent all its CPU time in the window.
        const quint64 base = m_measureFromOlderBase ? entry.olderBaseTicks : entry.baseTicks;
        s.cpuShare = ticks > base ? double(ticks - base) / hz / m_interval : 0.0;
    } else {
        s.cpuShare = 0.0;
    }
    if (m_advanceBase) {
        entry.olderBaseTicks = entry.baseTicks;
        entry.baseTicks = ticks;
    }
    return true;
}

bool TQProcessTable::refresh()
{
    if (!m_proc->open() || !m_proc->listPids(m_listing)) {
        for (Entry &e : m_entries)
            closeEntry(e);
        m_entries.clear();
        m_samples.clear();
        return false;
    }

    // Shares are measured over at least minimumWindow seconds: a refresh soon
    // after the last baseline (an extra tick when a window opens) measures from
    // the baseline before, so that 10 ms clock ticks do not make shares jump.
    const double now = monotonicSeconds();
    const bool recent = m_refreshes > 0 && now - m_baseTime < minimumWindow;
    m_measureFromOlderBase = recent && m_olderBaseTime >= 0.0;
    m_advanceBase = m_refreshes == 0 || !recent;
    m_interval = m_refreshes > 0 ? now - (m_measureFromOlderBase ? m_olderBaseTime : m_baseTime) : 0.0;
    if (m_advanceBase) {
        m_olderBaseTime = m_refreshes > 0 ? m_baseTime : -1.0;
        m_baseTime = now;
    }
    m_bootInstant = PLVLinuxClock::bootInstant(m_root).value_or(0.0);
    ++m_refreshes;

    // Merge the sorted listing with the sorted entries of the last refresh.
    std::vector<Entry> next;
    next.reserve(m_listing.size());
    auto old = m_entries.begin();
    for (const qint32 pid : m_listing) {
        while (old != m_entries.end() && old->pid < pid) {
            closeEntry(*old); // gone
            ++old;
        }
        Entry entry;
        bool isNew = true;
        if (old != m_entries.end() && old->pid == pid) {
            entry = std::move(*old); // the held file moves with it
            ++old;
            isNew = false;
        } else {
            entry.pid = pid;
        }
        // A held file that fails to read may belong to a pid that was reused
        // since: the listing still has the pid, so try it once as a new process.
        if (readEntry(entry, isNew) || (!isNew && readEntry(entry, true)))
            next.push_back(std::move(entry));
        else
            closeEntry(entry);
    }
    for (; old != m_entries.end(); ++old)
        closeEntry(*old);
    m_entries = std::move(next);

    m_samples.clear();
    m_samples.reserve(m_entries.size());
    for (const Entry &e : m_entries)
        m_samples.push_back(e.sample);
    return true;
}

const TQProcessSample *TQProcessTable::processForPid(qint32 pid) const
{
    const auto it = std::lower_bound(m_samples.begin(), m_samples.end(), pid,
                                     [](const TQProcessSample &s, qint32 p) { return s.pid < p; });
    return it != m_samples.end() && it->pid == pid ? &*it : nullptr;
}

qint64 TQProcessTable::threadCount() const
{
    qint64 total = 0;
    for (const TQProcessSample &s : m_samples)
        total += s.threadCount;
    return total;
}

QList<TQProcessSample> TQProcessTable::top(bool byCPU, int count) const
{
    std::vector<const TQProcessSample *> candidates;
    candidates.reserve(m_samples.size());
    for (const TQProcessSample &s : m_samples)
        if (byCPU ? s.cpuShare > 0.0 : s.residentSize > 0)
            candidates.push_back(&s);
    const size_t n = std::min(candidates.size(), size_t(std::max(0, count)));
    auto higher = [byCPU](const TQProcessSample *a, const TQProcessSample *b) {
        if (byCPU ? a->cpuShare != b->cpuShare : a->residentSize != b->residentSize)
            return byCPU ? a->cpuShare > b->cpuShare : a->residentSize > b->residentSize;
        return a->pid < b->pid;
    };
    std::partial_sort(candidates.begin(), candidates.begin() + qsizetype(n), candidates.end(), higher);
    QList<TQProcessSample> out;
    out.reserve(qsizetype(n));
    for (size_t i = 0; i < n; ++i)
        out.append(*candidates[i]);
    return out;
}

QList<TQProcessSample> TQProcessTable::topByCPUShare(int count) const { return top(true, count); }

QList<TQProcessSample> TQProcessTable::topByResidentSize(int count) const { return top(false, count); }

QVariantList TQProcessTable::topByCPUShareDictionaries(int count) const
{
    QVariantList out;
    for (const TQProcessSample &s : topByCPUShare(count))
        out.append(s.dictionary());
    return out;
}

QVariantList TQProcessTable::topByResidentSizeDictionaries(int count) const
{
    QVariantList out;
    for (const TQProcessSample &s : topByResidentSize(count))
        out.append(s.dictionary());
    return out;
}

quint64 TQProcessTable::footprintForPid(qint32 pid) const
{
    const auto it = std::lower_bound(m_entries.begin(), m_entries.end(), pid,
                                     [](const Entry &e, qint32 p) { return e.pid < p; });
    if (it == m_entries.end() || it->pid != pid)
        return 0;
    const PidDir dir(m_proc->fd(), pid);
    PLVProcStat stat;
    // Same directory for both reads: the start time proves it is the same process.
    if (!dir.readStat(stat) || stat.startTime != it->startTicks)
        return 0;
    return dir.footprint().value_or(0);
}

std::shared_ptr<PLVSharedProcessTable> PLVSharedProcessTable::forRoot(const PLVSysRoot &root)
{
    static std::mutex mutex;
    static QHash<QString, std::weak_ptr<PLVSharedProcessTable>> tables; // by the root's path
    std::lock_guard lock(mutex);
    const QString key = root.path(QString());
    if (auto table = tables.value(key).lock())
        return table;
    auto table = std::make_shared<PLVSharedProcessTable>(root);
    tables.insert(key, table);
    return table;
}

bool PLVSharedProcessTable::refreshIfOlder(double maxAge)
{
    const double now = monotonicSeconds();
    // Shares need two refreshes: the second comes at the next tick, whatever maxAge says.
    const double age = m_table.refreshCount() < 2 ? freshFor : std::max(maxAge, freshFor);
    if (m_refreshedAt < 0 || now - m_refreshedAt >= age) {
        m_listed = m_table.refresh();
        m_refreshedAt = now;
    }
    return m_listed;
}

