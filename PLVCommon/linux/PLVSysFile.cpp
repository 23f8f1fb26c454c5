#include "PLVSysFile.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

namespace {

QString normalizedRoot(const QString &root)
{
    QString out = root.isEmpty() ? QStringLiteral("/") : root;
    while (out.size() > 1 && out.endsWith(QLatin1Char('/')))
        out.chop(1);
    return out;
}

struct SystemRoot
{
    std::mutex mutex;
    QString root = normalizedRoot(qEnvironmentVariable("PLV_SYSTEM_ROOT"));
};

SystemRoot &systemRootState()
{
    static SystemRoot *state = new SystemRoot; // never destroyed: readers may run at exit
    return *state;
}

} // namespace

PLVSysRoot::PLVSysRoot() : m_root(systemRoot()) {}

PLVSysRoot::PLVSysRoot(const QString &root) : m_root(normalizedRoot(root)) {}

QString PLVSysRoot::systemRoot()
{
    SystemRoot &state = systemRootState();
    std::lock_guard lock(state.mutex);
    return state.root;
}

void PLVSysRoot::setSystemRoot(const QString &root)
{
    SystemRoot &state = systemRootState();
    std::lock_guard lock(state.mutex);
    state.root = normalizedRoot(root);
}

QString PLVSysRoot::path(const QString &relative) const
{
    QString rel = relative;
    while (rel.startsWith(QLatin1Char('/')))
        rel.remove(0, 1);
    return m_root == QLatin1String("/") ? QLatin1Char('/') + rel : m_root + QLatin1Char('/') + rel;
}

QByteArray PLVSysRoot::nativePath(const char *relative) const
{
    return QFile::encodeName(path(QString::fromLocal8Bit(relative)));
}

namespace PLVSysFile {

ssize_t readAt(int dirfd, const char *path, char *buf, size_t cap)
{
    if (!buf || cap == 0)
        return -1;
    const int fd = ::openat(dirfd, path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    size_t total = 0;
    while (total + 1 < cap) {
        const ssize_t n = ::read(fd, buf + total, cap - 1 - total);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            const int saved = errno;
            ::close(fd);
            errno = saved;
            return -1;
        }
        if (n == 0)
            break;
        total += size_t(n);
    }
    ::close(fd);
    buf[total] = '\0';
    return ssize_t(total);
}

QByteArray read(const QString &path, qsizetype maxSize)
{
    // Plain system calls: QFile would add two stats and a read to every file.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return {};
    // /proc and /sys files report size 0: read until the end instead of trusting the size.
    QByteArray out("");
    char chunk[4096];
    for (;;) {
        const ssize_t n = ::read(fd, chunk, sizeof chunk);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 || out.size() + n > maxSize) {
            ::close(fd);
            return {};
        }
        if (n == 0)
            break;
        out.append(chunk, qsizetype(n));
    }
    ::close(fd);
    return out;
}

static void skipBlanks(const char *&p, const char *end)
{
    while (p < end && (*p == ' ' || *p == '\t'))
        ++p;
}

bool parseU64(const char *&p, const char *end, unsigned long long &out)
{
    const char *q = p;
    skipBlanks(q, end);
    if (q >= end || *q < '0' || *q > '9')
        return false;
    unsigned long long v = 0;
    while (q < end && *q >= '0' && *q <= '9') {
        v = v * 10 + unsigned(*q - '0');
        ++q;
    }
    out = v;
    p = q;
    return true;
}

bool parseI64(const char *&p, const char *end, long long &out)
{
    const char *q = p;
    skipBlanks(q, end);
    bool negative = false;
    if (q < end && (*q == '-' || *q == '+')) {
        negative = *q == '-';
        ++q;
    }
    unsigned long long v = 0;
    if (!parseU64(q, end, v))
        return false;
    out = negative ? -static_cast<long long>(v) : static_cast<long long>(v);
    p = q;
    return true;
}

bool parseCpuList(const char *p, const char *end, std::vector<int> &out)
{
    out.clear();
    for (;;) {
        while (p < end && (*p == ' ' || *p == '\t' || *p == '\n'))
            ++p;
        if (p >= end || *p == '\0')
            return true;
        unsigned long long first = 0, last = 0;
        if (!parseU64(p, end, first))
            return false;
        last = first;
        if (p < end && *p == '-') {
            ++p;
            if (!parseU64(p, end, last) || last < first)
                return false;
        }
        // kernel_max is at most 8191; anything larger is not a CPU list.
        if (last > 65535)
            return false;
        for (unsigned long long c = first; c <= last; ++c)
            out.push_back(int(c));
        if (p < end && *p == ',')
            ++p;
        else if (p < end && *p != '\n' && *p != ' ' && *p != '\t' && *p != '\0')
            return false;
    }
}

std::vector<char> &scratchBuffer()
{
    thread_local std::vector<char> buf(64 * 1024);
    return buf;
}

ssize_t preadAll(int fd, std::vector<char> &buf)
{
    if (buf.size() < 4096)
        buf.resize(4096);
    size_t total = 0;
    for (;;) {
        if (total + 1 >= buf.size())
            buf.resize(buf.size() * 2);
        const ssize_t n = ::pread(fd, buf.data() + total, buf.size() - 1 - total, off_t(total));
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return -1;
        }
        if (n == 0)
            break;
        total += size_t(n);
    }
    buf[total] = '\0';
    return ssize_t(total);
}

} // namespace PLVSysFile

PLVOpenSysFile::PLVOpenSysFile(const PLVSysRoot &root, const char *relative)
    : m_path(root.nativePath(relative)), m_keepOpen(root.isLive())
{
    if (m_keepOpen)
        m_fd.store(::open(m_path.constData(), O_RDONLY | O_CLOEXEC));
}

PLVOpenSysFile::~PLVOpenSysFile()
{
    const int fd = m_fd.load();
    if (fd >= 0)
        ::close(fd);
}

PLVOpenSysFile::PLVOpenSysFile(PLVOpenSysFile &&other) noexcept
    : m_path(std::move(other.m_path)), m_keepOpen(other.m_keepOpen), m_fd(other.m_fd.exchange(-1))
{
}

PLVOpenSysFile &PLVOpenSysFile::operator=(PLVOpenSysFile &&other) noexcept
{
    if (this != &other) {
        const int old = m_fd.exchange(other.m_fd.exchange(-1));
        if (old >= 0)
            ::close(old);
        m_path = std::move(other.m_path);
        m_keepOpen = other.m_keepOpen;
    }
    return *this;
}

ssize_t PLVOpenSysFile::read(std::vector<char> &buf) const
{
    if (m_path.isEmpty())
        return -1;
    if (m_keepOpen) {
        int fd = m_fd.load(std::memory_order_acquire);
        if (fd < 0) {
            // Not there at start-up (or not yet readable): try again, once per
            // read, and publish the descriptor for the other threads.
            const int opened = ::open(m_path.constData(), O_RDONLY | O_CLOEXEC);
            if (opened < 0)
                return -1;
            int expected = -1;
            if (m_fd.compare_exchange_strong(expected, opened, std::memory_order_acq_rel))
                fd = opened;
            else {
                ::close(opened);
                fd = expected;
            }
        }
        const ssize_t n = PLVSysFile::preadAll(fd, buf);
        // A file that is there but refuses the read (a link's speed while it
        // is down) refuses a fresh open's read too.
        if (n >= 0 || errno != ENODEV)
            return n;
        // The file went away under the descriptor (a CPU or device removed):
        // fall through to a fresh open, which tells whether it is back. The
        // held descriptor stays: another thread may be reading through it.
    }
    const int fd = ::open(m_path.constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return -1;
    const ssize_t n = PLVSysFile::preadAll(fd, buf);
    const int saved = errno;
    ::close(fd);
    errno = saved;
    return n;
}

PLVOpenSysDir::PLVOpenSysDir(const PLVSysRoot &root, const char *relative)
    : m_path(root.nativePath(relative)), m_keepOpen(root.isLive())
{
    if (m_keepOpen)
        m_fd = ::open(m_path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

PLVOpenSysDir::~PLVOpenSysDir()
{
    if (m_fd >= 0)
        ::close(m_fd);
}

bool PLVOpenSysDir::forEach(const std::function<void(const char *name)> &fn) const
{
    std::lock_guard lock(m_mutex);
    int fd = m_fd;
    if (fd < 0 || ::lseek(fd, 0, SEEK_SET) != 0)
        fd = ::open(m_path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    if (m_buf.empty())
        m_buf.resize(32 * 1024);
    bool ok = true;
    for (;;) {
        const long n = ::syscall(SYS_getdents64, fd, m_buf.data(), m_buf.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            ok = false;
            break;
        }
        if (n == 0)
            break;
        for (long at = 0; at < n;) {
            const auto *entry = reinterpret_cast<const dirent64 *>(m_buf.data() + at);
            fn(entry->d_name);
            at += entry->d_reclen;
        }
    }
    if (fd != m_fd)
        ::close(fd);
    return ok;
}

namespace PLVLinuxClock {

double bootInstant()
{
    timespec real{}, boot{};
    clock_gettime(CLOCK_REALTIME, &real);
    clock_gettime(CLOCK_BOOTTIME, &boot);
    return double(real.tv_sec - boot.tv_sec) + double(real.tv_nsec - boot.tv_nsec) / 1e9;
}

std::optional<double> bootInstant(const PLVSysRoot &root)
{
    if (root.isLive())
        return bootInstant();
    const QByteArray stat = PLVSysFile::read(root.path(QStringLiteral("proc/stat")));
    const qsizetype at = stat.startsWith("btime ") ? 0 : stat.indexOf("\nbtime ");
    if (stat.isNull() || at < 0)
        return std::nullopt;
    const char *p = stat.constData() + at + (at == 0 ? 6 : 7);
    unsigned long long seconds = 0;
    if (!PLVSysFile::parseU64(p, stat.constData() + stat.size(), seconds))
        return std::nullopt;
    return double(seconds);
}

long pageSize()
{
    static const long size = [] {
        const long s = ::sysconf(_SC_PAGESIZE);
        return s > 0 ? s : 0L;
    }();
    return size;
}

long clockTicksPerSecond()
{
    static const long ticks = [] {
        const long t = sysconf(_SC_CLK_TCK);
        return t > 0 ? t : 100L;
    }();
    return ticks;
}

} // namespace PLVLinuxClock
