#include "PLVSysFile.h"

#include <QFile>

#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

PLVSysRoot::PLVSysRoot(const QString &root) : m_root(root.isEmpty() ? QStringLiteral("/") : root)
{
    while (m_root.size() > 1 && m_root.endsWith(QLatin1Char('/')))
        m_root.chop(1);
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
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return {};
    // /proc and /sys files report size 0: read until the end instead of trusting size().
    QByteArray out;
    char chunk[4096];
    for (;;) {
        const qint64 n = f.read(chunk, sizeof chunk);
        if (n < 0)
            return {};
        if (n == 0)
            break;
        out.append(chunk, qsizetype(n));
        if (out.size() > maxSize)
            return {};
    }
    return out.isNull() ? QByteArray("") : out;
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

} // namespace PLVSysFile

namespace PLVLinuxClock {

double bootInstant()
{
    timespec real{}, boot{};
    clock_gettime(CLOCK_REALTIME, &real);
    clock_gettime(CLOCK_BOOTTIME, &boot);
    return double(real.tv_sec - boot.tv_sec) + double(real.tv_nsec - boot.tv_nsec) / 1e9;
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
