#pragma once
#include <QByteArray>
#include <QString>

#include <optional>

#include <sys/types.h>

#include <mutex>

#include <atomic>
#include <functional>
#include <vector>

// Small-file reading for /proc and /sys, and the root a reader works under.
//
// Every Linux reader takes a root folder ("/" on a live system) so that tests
// point it at fixture trees; PLVSysRoot joins paths under it.
//
// A default-constructed root is the process-wide system root: "/" unless the
// environment variable PLV_SYSTEM_ROOT (read once) or the host, through
// setSystemRoot() before it loads modules, names a folder holding a recorded
// proc/ and sys/. That way whole modules run on recorded trees.
class PLVSysRoot
{
public:
    // The system root.
    PLVSysRoot();
    explicit PLVSysRoot(const QString &root);
    // The real machine, whatever the system root is.
    static PLVSysRoot live() { return PLVSysRoot(QStringLiteral("/")); }

    // The folder default-constructed roots use. An empty text means "/".
    static QString systemRoot();
    static void setSystemRoot(const QString &root);

    QString root() const { return m_root; }
    // Whether this root is the real machine's "/".
    bool isLive() const { return m_root == QLatin1String("/"); }
    // "<root>/<relative>" with exactly one slash between them.
    QString path(const QString &relative) const;
    QByteArray nativePath(const char *relative) const;

private:
    QString m_root;
};

namespace PLVSysFile {

// A per-thread buffer of at least 64 KiB for reads on every sample (allocated
// once per thread, so no allocation or clearing per read).
std::vector<char> &scratchBuffer();

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

// A kernel CPU list such as "0-3,8,10-11\n" (the format of `online`, `present`
// and `topology/core_cpus_list`). False when the text is not such a list; an
// empty text is an empty list.
bool parseCpuList(const char *p, const char *end, std::vector<int> &out);

// Reads the whole file from its start into buf, growing it as needed and
// NUL-terminating it. Returns the length or -1. Uses pread, so several threads
// may share the descriptor. Give it a buffer that usually holds the whole file:
// a /proc file read in two parts is generated twice by the kernel.
ssize_t preadAll(int fd, std::vector<char> &buf);

} // namespace PLVSysFile

// A /proc or /sys file that is read again and again (every sample).
//
// On the live system the file is opened once and re-read from offset 0 with
// pread, which makes the kernel generate fresh content each time; that saves
// the path walk and the open/close pair on every sample. Under any other root
// (fixture trees, which tests rewrite and delete between samples) it is opened
// afresh on every read. Reading is thread-safe.
class PLVOpenSysFile
{
public:
    PLVOpenSysFile() = default;
    PLVOpenSysFile(const PLVSysRoot &root, const char *relative);
    ~PLVOpenSysFile();
    PLVOpenSysFile(PLVOpenSysFile &&other) noexcept;
    PLVOpenSysFile &operator=(PLVOpenSysFile &&other) noexcept;
    PLVOpenSysFile(const PLVOpenSysFile &) = delete;
    PLVOpenSysFile &operator=(const PLVOpenSysFile &) = delete;

    // The whole content, NUL-terminated, in buf; the length or -1.
    ssize_t read(std::vector<char> &buf) const;
    const QByteArray &path() const { return m_path; }

private:
    QByteArray m_path;
    bool m_keepOpen = false;
    mutable std::atomic<int> m_fd{-1};
};

// A /proc or /sys folder listed on every sample. On the live system it is
// opened once and rewound for each listing; under any other root it is opened
// afresh. Listings are serialised (they share the descriptor's position).
class PLVOpenSysDir
{
public:
    PLVOpenSysDir(const PLVSysRoot &root, const char *relative);
    ~PLVOpenSysDir();
    PLVOpenSysDir(const PLVOpenSysDir &) = delete;
    PLVOpenSysDir &operator=(const PLVOpenSysDir &) = delete;

    // Calls fn with the name of every entry ("." and ".." included); false
    // when the folder cannot be read.
    bool forEach(const std::function<void(const char *name)> &fn) const;
    const QByteArray &path() const { return m_path; }

private:
    QByteArray m_path;
    bool m_keepOpen = false;
    int m_fd = -1;
    mutable std::mutex m_mutex;
    mutable std::vector<char> m_buf;
};

namespace PLVLinuxClock {
// The boot instant in seconds since 1970: CLOCK_REALTIME - CLOCK_BOOTTIME, so
// that time spent suspended is counted as up time.
double bootInstant();
// The same under a root: live, as above; any other root, the "btime" line of
// its /proc/stat. Absent when that line is missing.
std::optional<double> bootInstant(const PLVSysRoot &root);
// Kernel clock ticks per second (_SC_CLK_TCK).
long clockTicksPerSecond();
// sysconf(_SC_PAGESIZE); 0 when it fails.
long pageSize();
} // namespace PLVLinuxClock
