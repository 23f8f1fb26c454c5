#pragma once
#include <QByteArray>
#include <QString>

#include <sys/types.h>

// Small-file reading for /proc and /sys, and the root a reader works under.
//
// Every Linux reader takes a root folder ("/" on a live system) so that tests
// point it at fixture trees; PLVSysRoot joins paths under it.
class PLVSysRoot
{
public:
    explicit PLVSysRoot(const QString &root = QStringLiteral("/"));
    QString root() const { return m_root; }
    bool isLive() const { return m_root == QLatin1String("/"); }
    // "<root>/<relative>" with exactly one slash between them.
    QString path(const QString &relative) const;
    QByteArray nativePath(const char *relative) const;

private:
    QString m_root;
};

namespace PLVSysFile {

// Reads at most cap bytes of the file at `path` relative to `dirfd` (AT_FDCWD
// for absolute paths) into buf, NUL-terminating it (so at most cap - 1 bytes of
// content). Returns the length read or -1; errno tells why.
ssize_t readAt(int dirfd, const char *path, char *buf, size_t cap);

// Whole small file, or a null QByteArray when it cannot be read.
QByteArray read(const QString &path, qsizetype maxSize = 4 * 1024 * 1024);

// Parsing helpers over [p, end): skip blanks, then read an unsigned decimal.
// False (with p unchanged) when no digit follows.
bool parseU64(const char *&p, const char *end, unsigned long long &out);
bool parseI64(const char *&p, const char *end, long long &out);

} // namespace PLVSysFile

namespace PLVLinuxClock {
// The boot instant in seconds since 1970: CLOCK_REALTIME - CLOCK_BOOTTIME, so
// that time spent suspended is counted as up time.
double bootInstant();
// Kernel clock ticks per second (_SC_CLK_TCK).
long clockTicksPerSecond();
} // namespace PLVLinuxClock
