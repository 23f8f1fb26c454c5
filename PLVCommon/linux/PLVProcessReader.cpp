#include "PLVCommon/linux/PLVProcessReader.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace PLVProcessReader {

namespace {

bool isAllDigits(const char *name)
{
    if (!name || !*name)
        return false;
    for (const char *p = name; *p; ++p)
        if (*p < '0' || *p > '9')
            return false;
    return true;
}

// Decimal pid text; pids above INT32_MAX are not pids.
std::optional<qint32> pidFromName(const char *name)
{
    if (!isAllDigits(name) || std::strlen(name) > 10)
        return std::nullopt;
    const long long v = std::atoll(name);
    if (v > 0x7fffffffLL)
        return std::nullopt;
    return qint32(v);
}

// Sum of the "<key>   N kB" lines of a /proc status-like text whose key is listed.
template <size_t N>
std::optional<quint64> sumKiBLines(const QByteArray &text, const char *const (&keys)[N])
{
    bool any = false;
    quint64 total = 0;
    for (const QByteArray &line : text.split('\n')) {
        for (const char *key : keys) {
            const size_t klen = std::strlen(key);
            if (size_t(line.size()) > klen && std::memcmp(line.constData(), key, klen) == 0
                && line.at(qsizetype(klen)) == ':') {
                const char *p = line.constData() + klen + 1;
                unsigned long long v = 0;
                if (PLVSysFile::parseU64(p, line.constData() + line.size(), v)) {
                    total += v * 1024;
                    any = true;
                }
            }
        }
    }
    return any ? std::optional<quint64>(total) : std::nullopt;
}

QByteArray readAllAt(int dirfd, const char *path, size_t cap)
{
    QByteArray buf(qsizetype(cap), Qt::Uninitialized);
    const ssize_t n = PLVSysFile::readAt(dirfd, path, buf.data(), cap);
    if (n < 0)
        return {};
    buf.truncate(qsizetype(n));
    return buf;
}

std::optional<quint64> voluntarySwitchesIn(const QByteArray &status)
{
    static const char *const key = "voluntary_ctxt_switches:";
    const qsizetype at = status.indexOf(key);
    if (at < 0 || (at > 0 && status.at(at - 1) != '\n'))
        return std::nullopt;
    const char *p = status.constData() + at + qsizetype(std::strlen(key));
    unsigned long long v = 0;
    if (!PLVSysFile::parseU64(p, status.constData() + status.size(), v))
        return std::nullopt;
    return quint64(v);
}

} // namespace

bool parseStat(const char *text, size_t length, PLVProcStat &out)
{
    if (!text || length == 0)
        return false;
    const char *begin = text;
    const char *end = text + length;
    const char *open = static_cast<const char *>(std::memchr(begin, '(', length));
    if (!open)
        return false;
    // The last ")" closes the name: nothing after the name can contain one.
    const char *close = nullptr;
    for (const char *p = end; p > open + 1;) {
        --p;
        if (*p == ')') {
            close = p;
            break;
        }
    }
    if (!close)
        return false;

    PLVProcStat s;
    s.comm = QByteArray(open + 1, close - open - 1);
    const char *p = close + 1;
    while (p < end && *p == ' ')
        ++p;
    if (p >= end)
        return false;
    s.state = *p++;

    // Fields 4 (ppid) to 24 (rss), 1-based as in proc(5).
    long long f[25] = {};
    for (int field = 4; field <= 24; ++field) {
        if (!PLVSysFile::parseI64(p, end, f[field]))
            return false; // every field up to rss is required
    }
    s.ppid = qint32(f[4]);
    s.flags = quint32(f[9]);
    s.utime = quint64(f[14] < 0 ? 0 : f[14]);
    s.stime = quint64(f[15] < 0 ? 0 : f[15]);
    s.numThreads = f[20];
    s.startTime = quint64(f[22] < 0 ? 0 : f[22]);
    s.virtualSize = quint64(f[23] < 0 ? 0 : f[23]);
    s.residentPages = f[24];
    out = std::move(s);
    return true;
}

std::optional<QList<qint32>> listPids(const PLVSysRoot &root)
{
    const QByteArray proc = root.nativePath("proc");
    DIR *dir = ::opendir(proc.constData());
    if (!dir)
        return std::nullopt;
    QList<qint32> pids;
    pids.reserve(512);
    while (dirent *e = ::readdir(dir)) {
        if (e->d_type != DT_DIR && e->d_type != DT_UNKNOWN)
            continue;
        if (const auto pid = pidFromName(e->d_name))
            pids.append(*pid);
    }
    ::closedir(dir);
    return pids;
}

PidDir::PidDir(const PLVSysRoot &root, qint32 pid)
{
    if (pid <= 0)
        return;
    char rel[32];
    std::snprintf(rel, sizeof rel, "proc/%d", pid);
    m_fd = ::open(root.nativePath(rel).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

PidDir::PidDir(int procFd, qint32 pid)
{
    if (pid <= 0 || procFd < 0)
        return;
    char rel[16];
    std::snprintf(rel, sizeof rel, "%d", pid);
    m_fd = ::openat(procFd, rel, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

PidDir::~PidDir()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

bool PidDir::readStat(PLVProcStat &out) const
{
    if (m_fd < 0)
        return false;
    char buf[1024];
    const ssize_t n = PLVSysFile::readAt(m_fd, "stat", buf, sizeof buf);
    return n > 0 && parseStat(buf, size_t(n), out);
}

bool PidDir::readStatm(quint64 &sizePages, quint64 &residentPages) const
{
    if (m_fd < 0)
        return false;
    char buf[256];
    const ssize_t n = PLVSysFile::readAt(m_fd, "statm", buf, sizeof buf);
    if (n <= 0)
        return false;
    const char *p = buf;
    unsigned long long size = 0, resident = 0;
    if (!PLVSysFile::parseU64(p, buf + n, size) || !PLVSysFile::parseU64(p, buf + n, resident))
        return false;
    sizePages = size;
    residentPages = resident;
    return true;
}

QByteArray PidDir::readLink(const char *name) const
{
    if (m_fd < 0)
        return {};
    char buf[4096];
    const ssize_t n = ::readlinkat(m_fd, name, buf, sizeof buf);
    if (n <= 0 || size_t(n) >= sizeof buf) // truncated paths are no paths
        return {};
    return QByteArray(buf, qsizetype(n));
}

QByteArray PidDir::executablePath() const
{
    QByteArray path = readLink("exe");
    static const char deleted[] = " (deleted)";
    if (path.endsWith(deleted))
        path.chop(qsizetype(sizeof deleted - 1));
    return path;
}

std::optional<quint64> PidDir::footprint() const
{
    if (m_fd < 0)
        return std::nullopt;
    const QByteArray text = readAllAt(m_fd, "smaps_rollup", 8192);
    if (text.isEmpty())
        return std::nullopt;
    static const char *const keys[] = {"Private_Clean", "Private_Dirty", "Swap"};
    return sumKiBLines(text, keys);
}

std::optional<quint64> PidDir::voluntaryContextSwitches() const
{
    if (m_fd < 0)
        return std::nullopt;
    const int taskFd = ::openat(m_fd, "task", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (taskFd >= 0) {
        DIR *dir = ::fdopendir(taskFd);
        if (!dir) {
            ::close(taskFd);
        } else {
            bool any = false;
            quint64 total = 0;
            while (dirent *e = ::readdir(dir)) {
                if (!isAllDigits(e->d_name))
                    continue;
                char rel[sizeof e->d_name + 8];
                std::snprintf(rel, sizeof rel, "%s/status", e->d_name);
                if (const auto v = voluntarySwitchesIn(readAllAt(::dirfd(dir), rel, 4096))) {
                    total += *v;
                    any = true;
                }
            }
            ::closedir(dir);
            if (any)
                return total;
        }
    }
    return voluntarySwitchesIn(readAllAt(m_fd, "status", 4096));
}

std::optional<uid_t> PidDir::owner() const
{
    struct stat st{};
    if (m_fd < 0 || ::fstat(m_fd, &st) != 0)
        return std::nullopt;
    return st.st_uid;
}

QByteArray PidDir::firstArgument() const
{
    if (m_fd < 0)
        return {};
    char buf[4096];
    const ssize_t n = PLVSysFile::readAt(m_fd, "cmdline", buf, sizeof buf);
    if (n <= 0)
        return {};
    return QByteArray(buf); // up to the first NUL
}

ProcDir::ProcDir(const PLVSysRoot &root) : m_path(root.nativePath("proc")) { open(); }

ProcDir::~ProcDir()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

bool ProcDir::open()
{
    if (m_fd < 0)
        m_fd = ::open(m_path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return m_fd >= 0;
}

bool ProcDir::listPids(std::vector<qint32> &out) const
{
    out.clear();
    if (m_fd < 0 || lseek(m_fd, 0, SEEK_SET) != 0)
        return false;
    alignas(8) char buf[32768];
    for (;;) {
        const long n = syscall(SYS_getdents64, m_fd, buf, sizeof buf);
        if (n < 0)
            return false;
        if (n == 0)
            break;
        for (long off = 0; off < n;) {
            // glibc's dirent64 has the layout of the kernel's linux_dirent64.
            const auto *d = reinterpret_cast<const struct dirent64 *>(buf + off);
            off += d->d_reclen;
            if (d->d_type != DT_DIR && d->d_type != DT_UNKNOWN)
                continue;
            const char *p = d->d_name;
            if (*p < '1' || *p > '9')
                continue;
            long long v = 0;
            for (; *p >= '0' && *p <= '9' && v <= 0x7fffffffLL; ++p)
                v = v * 10 + (*p - '0');
            if (*p == '\0' && v <= 0x7fffffffLL)
                out.push_back(qint32(v));
        }
    }
    if (!std::is_sorted(out.begin(), out.end())) // live /proc is sorted; fixture folders are not
        std::sort(out.begin(), out.end());
    return true;
}

ssize_t ProcDir::readStat(qint32 pid, char *buf, size_t cap) const
{
    char rel[32];
    std::snprintf(rel, sizeof rel, "%d/stat", pid);
    return m_fd < 0 ? -1 : PLVSysFile::readAt(m_fd, rel, buf, cap);
}

HeldStat &HeldStat::operator=(HeldStat &&other) noexcept
{
    if (this != &other) {
        close();
        m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
}

bool HeldStat::open(const PidDir &dir)
{
    close();
    if (dir.isOpen())
        m_fd = ::openat(dir.fd(), "stat", O_RDONLY | O_CLOEXEC);
    return m_fd >= 0;
}

void HeldStat::close()
{
    if (m_fd >= 0)
        ::close(m_fd);
    m_fd = -1;
}

ssize_t HeldStat::read(char *buf, size_t cap) const
{
    if (m_fd < 0 || cap == 0)
        return -1;
    ssize_t n;
    do {
        n = ::pread(m_fd, buf, cap - 1, 0);
    } while (n < 0 && errno == EINTR);
    if (n >= 0)
        buf[n] = '\0';
    return n;
}

int defaultHeldFilesLimit()
{
    rlimit lim{};
    if (getrlimit(RLIMIT_NOFILE, &lim) != 0 || lim.rlim_cur == RLIM_INFINITY)
        return 1024;
    return int(std::min<rlim_t>(lim.rlim_cur / 2, 1024));
}

} // namespace PLVProcessReader
