#include "PLVDiskSource.h"

#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string_view>
#include <utility>

namespace {

// Mounts that hold people's files without a block device behind them.
bool isStorageWithoutDevice(const QByteArray &fsType)
{
    static const std::set<QByteArray> kinds{"nfs", "nfs4", "cifs", "smb3", "smbfs", "ceph", "glusterfs", "9p",
                                            "virtiofs", "zfs", "fuse.sshfs", "fuse.rclone"};
    return kinds.count(fsType) > 0;
}

QList<QByteArray> splitFields(const QByteArray &line)
{
    QList<QByteArray> fields;
    for (const QByteArray &f : line.split(' '))
        if (!f.isEmpty())
            fields << f;
    return fields;
}

QByteArray readTrimmed(const QString &path)
{
    char buf[512];
    const ssize_t n = PLVSysFile::readAt(AT_FDCWD, QFile::encodeName(path).constData(), buf, sizeof buf);
    return n > 0 ? QByteArray(buf, n).trimmed() : QByteArray();
}

// Sectors in /proc/diskstats are always 512 bytes, whatever the drive's own size.
constexpr double kSectorBytes = 512.0;

double rate(quint64 now, quint64 before, double seconds)
{
    return now >= before && seconds > 0 ? double(now - before) / seconds : 0.0;
}

} // namespace

PLVDiskSource::PLVDiskSource(const PLVSysRoot &root)
    : m_root(root), m_diskstats(root, "proc/diskstats"), m_mountinfo(root, "proc/self/mountinfo")
{
}

double PLVDiskSource::monotonicSeconds()
{
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return double(ts.tv_sec) + double(ts.tv_nsec) * 1e-9;
}

QString PLVDiskSource::unescapeMountField(const QByteArray &field)
{
    QByteArray out;
    out.reserve(field.size());
    for (qsizetype i = 0; i < field.size(); ++i) {
        const char c = field[i];
        if (c == '\\' && i + 3 < field.size()) {
            const char a = field[i + 1], b = field[i + 2], d = field[i + 3];
            if (a >= '0' && a <= '3' && b >= '0' && b <= '7' && d >= '0' && d <= '7') {
                out += char((a - '0') * 64 + (b - '0') * 8 + (d - '0'));
                i += 3;
                continue;
            }
        }
        out += c;
    }
    return QFile::decodeName(out);
}

QList<PLVMountedVolume> PLVDiskSource::volumes() const
{
    QList<PLVMountedVolume> result;
    for (PLVMountedVolume volume : mounts()) {
        struct statvfs st {};
        if (::statvfs(QFile::encodeName(m_root.path(volume.mountPoint)).constData(), &st) != 0 || st.f_blocks == 0)
            continue;
        const quint64 unit = st.f_frsize ? st.f_frsize : st.f_bsize;
        volume.totalBytes = quint64(st.f_blocks) * unit;
        volume.freeBytes = quint64(st.f_bavail) * unit;
        volume.usedBytes = quint64(st.f_blocks - std::min(st.f_bfree, st.f_blocks)) * unit;
        result << std::move(volume);
    }
    return result;
}

const QList<PLVMountedVolume> &PLVDiskSource::mounts() const
{
    // The kernel marks a held mount table readable with priority when a
    // mount came or went since the last look: until then the last parse
    // stands, and a tick costs one poll instead of the whole table's text.
    if (m_mountsKnown && m_root.isLive()) {
        pollfd changed{m_mountsWatch, POLLPRI, 0};
        if (m_mountsWatch >= 0 && ::poll(&changed, 1, 0) == 0)
            return m_mounts;
    }
    if (m_root.isLive() && m_mountsWatch < 0)
        m_mountsWatch = ::open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC);
    std::vector<char> &buf = PLVSysFile::scratchBuffer();
    const ssize_t length = m_mountinfo.read(buf);
    const std::string_view text(buf.data(), size_t(std::max<ssize_t>(length, 0)));
    struct Candidate {
        PLVMountedVolume volume;
        bool wholeTree = false; // its root inside the file system is "/": not a bind of a subfolder
    };
    std::vector<Candidate> found;
    std::map<QByteArray, size_t> byDevice; // "major:minor" -> index in found
    for (size_t start = 0; start < text.size();) {
        const size_t eol = std::min(text.find('\n', start), text.size());
        const std::string_view line = text.substr(start, eol - start);
        start = eol + 1;
        // id parent major:minor root mountpoint options [optional...] - fstype source superoptions
        // The file system and source come after " - "; most lines end here.
        const size_t sep = line.find(" - ");
        if (sep == std::string_view::npos)
            continue;
        const std::string_view tail = line.substr(sep + 3);
        const size_t space = tail.find(' ');
        const QByteArray fsType(tail.data(), qsizetype(std::min(space, tail.size())));
        const std::string_view afterType = space == std::string_view::npos ? std::string_view() : tail.substr(space + 1);
        const QByteArray source(afterType.data(), qsizetype(std::min(afterType.find(' '), afterType.size())));
        const bool blockDevice = source.startsWith("/dev/") && fsType != "squashfs";
        if (!blockDevice && !isStorageWithoutDevice(fsType))
            continue;
        const QList<QByteArray> f = splitFields(QByteArray(line.data(), qsizetype(sep)));
        if (f.size() < 6)
            continue;
        Candidate c;
        c.volume.mountPoint = unescapeMountField(f[4]);
        c.volume.device = unescapeMountField(source);
        c.volume.fsType = QString::fromLatin1(fsType);
        c.wholeTree = f[3] == "/";
        const auto it = byDevice.find(f[2]);
        if (it == byDevice.end()) {
            byDevice.emplace(f[2], found.size());
            found.push_back(std::move(c));
        } else if (!found[it->second].wholeTree && c.wholeTree) {
            found[it->second] = std::move(c); // the real mount beats a bind of one of its folders
        }
    }
    m_mounts.clear();
    for (Candidate &c : found)
        m_mounts << std::move(c.volume);
    m_mountsKnown = length >= 0;
    return m_mounts;
}

QList<PLVDiskActivity> PLVDiskSource::activity() { return activity(monotonicSeconds()); }

QList<PLVDiskActivity> PLVDiskSource::activity(double now)
{
    std::vector<char> &buf = PLVSysFile::scratchBuffer();
    const ssize_t n = m_diskstats.read(buf);
    QList<PLVDiskActivity> result;
    std::map<QByteArray, DiskCounters> seen;
    if (n > 0) {
        const char *p = buf.data();
        const char *const end = p + n;
        while (p < end) {
            const char *eol = static_cast<const char *>(std::memchr(p, '\n', size_t(end - p)));
            if (!eol)
                eol = end;
            // major minor name reads merged sectors ms writes merged sectors ms ...
            // Only the name and the two sector counts are needed: no allocation
            // for the other fields.
            std::string_view fields[10];
            int count = 0;
            for (const char *q = p; q < eol && count < 10;) {
                while (q < eol && *q == ' ')
                    ++q;
                const char *start = q;
                while (q < eol && *q != ' ')
                    ++q;
                if (q > start)
                    fields[count++] = std::string_view(start, size_t(q - start));
            }
            p = eol + 1;
            if (count < 10)
                continue;
            const QByteArray name(fields[2].data(), qsizetype(fields[2].size()));
            const QByteArray readSectors = QByteArray::fromRawData(fields[5].data(), qsizetype(fields[5].size()));
            const QByteArray writtenSectors = QByteArray::fromRawData(fields[9].data(), qsizetype(fields[9].size()));
            QByteArray sysName = name;
            sysName.replace('/', '!'); // "cciss/c0d0" is "cciss!c0d0" in sysfs
            const auto before = m_disks.find(name);
            // A partition, loop or device-mapper device stays one while it is
            // listed: nothing more to read for it.
            if (before != m_disks.end() && !before->second.isDisk) {
                seen.emplace(name, before->second);
                continue;
            }
            const QString block = QStringLiteral("sys/block/") + QString::fromLatin1(sysName);
            bool ok1 = false, ok2 = false;
            DiskCounters now_;
            // The sequence number is read every time through a file kept open;
            // a disk made again under the name gets its own.
            now_.seqFile = before != m_disks.end() && before->second.seqFile
                               ? before->second.seqFile
                               : std::make_shared<PLVOpenSysFile>(m_root, QFile::encodeName(block + QStringLiteral("/diskseq")).constData());
            {
                // Not the scratch buffer: that holds the diskstats being parsed.
                const ssize_t length = now_.seqFile->read(m_seqText);
                now_.seq = length > 0 ? QByteArray(m_seqText.data(), length).trimmed() : QByteArray();
            }
            if (before != m_disks.end() && before->second.seq != now_.seq)
                now_.seqFile.reset();
            now_.readSectors = readSectors.toULongLong(&ok1);
            now_.writtenSectors = writtenSectors.toULongLong(&ok2);
            now_.at = now;
            if (!ok1 || !ok2)
                continue;
            // What a disk is does not change while its sequence number stays;
            // without one (older kernels) it is read again every time.
            if (before != m_disks.end() && !now_.seq.isEmpty() && before->second.seq == now_.seq) {
                now_.isDisk = before->second.isDisk;
                now_.model = before->second.model;
                now_.removable = before->second.removable;
            } else {
                now_.isDisk = QFile::exists(m_root.path(block + QStringLiteral("/device")));
                now_.model = QString::fromUtf8(readTrimmed(m_root.path(block + QStringLiteral("/device/model"))));
                now_.removable = readTrimmed(m_root.path(block + QStringLiteral("/removable"))) == "1";
            }
            if (!now_.isDisk) {
                seen.emplace(name, now_);
                continue;
            }
            PLVDiskActivity disk;
            disk.name = QString::fromLatin1(name);
            disk.model = now_.model.isEmpty() ? disk.name : now_.model;
            disk.removable = now_.removable;
            if (before != m_disks.end() && before->second.seq == now_.seq) {
                const double dt = now - before->second.at;
                disk.readRate = rate(now_.readSectors, before->second.readSectors, dt) * kSectorBytes;
                disk.writeRate = rate(now_.writtenSectors, before->second.writtenSectors, dt) * kSectorBytes;
            }
            seen.emplace(name, now_);
            result << disk;
        }
    }
    m_disks = std::move(seen); // disks that went away are forgotten
    return result;
}

PLVDiskSource::~PLVDiskSource()
{
    closeHeldIoFiles();
    if (m_mountsWatch >= 0)
        ::close(m_mountsWatch);
}

void PLVDiskSource::closeHeldIoFiles()
{
    for (auto &[pid, counters] : m_processes) {
        if (counters.ioFd >= 0) {
            ::close(counters.ioFd);
            counters.ioFd = -1;
            --m_heldIoFiles;
        }
    }
}

QList<PLVProcessIO> PLVDiskSource::topProcesses(int count, double maxAge)
{
    return topProcesses(monotonicSeconds(), count, maxAge);
}

QList<PLVProcessIO> PLVDiskSource::topProcesses(double now, int count, double maxAge)
{
    // Rates need two looks: the second comes at the next call, whatever maxAge says.
    if (m_looks >= 2 && now >= m_processesAt && now - m_processesAt < maxAge)
        return m_busiest.mid(0, std::max(count, 0));
    QList<PLVProcessIO> result;
    std::map<qint64, ProcessCounters> seen;
    const int procFd = ::open(m_root.nativePath("proc").constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *dir = procFd >= 0 ? ::fdopendir(procFd) : nullptr;
    if (!dir) {
        if (procFd >= 0)
            ::close(procFd);
        closeHeldIoFiles();
        m_processes.clear();
        m_busiest.clear();
        return result;
    }
    const double dt = m_processesAt >= 0 ? now - m_processesAt : 0;
    char text[1024];
    char path[64];
    while (const dirent *e = ::readdir(dir)) {
        char *endp = nullptr;
        const long long pid = std::strtoll(e->d_name, &endp, 10);
        if (pid <= 0 || *endp != '\0')
            continue;
        const auto before = m_processes.find(pid);
        const bool known = before != m_processes.end();
        // A held file of a process that ended reads nothing (ESRCH), also when
        // its number was taken again since: then the new process is opened.
        int fd = known ? std::exchange(before->second.ioFd, -1) : -1;
        ssize_t n = fd >= 0 ? ::pread(fd, text, sizeof text - 1, 0) : -1;
        if (n <= 0 && fd >= 0) {
            ::close(fd);
            --m_heldIoFiles;
            fd = -1;
        }
        if (fd < 0) {
            // EACCES (another user's process) and vanished processes are skipped.
            std::snprintf(path, sizeof path, "%lld/io", pid);
            fd = ::openat(procFd, path, O_RDONLY | O_CLOEXEC);
            if (fd < 0)
                continue;
            n = ::pread(fd, text, sizeof text - 1, 0);
            if (n <= 0 || m_heldIoFiles >= kMaxHeldIoFiles) {
                ::close(fd);
                fd = -1;
            } else {
                ++m_heldIoFiles;
            }
        }
        if (n <= 0)
            continue;
        text[n] = '\0';
        ProcessCounters c;
        c.ioFd = fd;
        const char *r = std::strstr(text, "\nread_bytes:");
        const char *w = std::strstr(text, "\nwrite_bytes:");
        if (!r || !w) {
            if (fd >= 0) {
                ::close(fd);
                --m_heldIoFiles;
            }
            continue;
        }
        c.readBytes = std::strtoull(r + 12, nullptr, 10);
        c.writeBytes = std::strtoull(w + 13, nullptr, 10);
        const bool busy = known && (c.readBytes != before->second.readBytes || c.writeBytes != before->second.writeBytes);
        // The name tells a reused process number; it is only needed for a
        // process seen for the first time or one that did I/O.
        if (!known || busy) {
            std::snprintf(path, sizeof path, "%lld/comm", pid);
            const ssize_t m = PLVSysFile::readAt(procFd, path, text, sizeof text);
            c.name = m > 0 ? QByteArray(text, m).trimmed() : QByteArray();
        } else {
            c.name = before->second.name;
        }
        // A reused process number shows under another name: not the same process.
        if (dt > 0 && busy && before->second.name == c.name) {
            PLVProcessIO io;
            io.pid = pid;
            io.name = QString::fromUtf8(c.name);
            io.readRate = rate(c.readBytes, before->second.readBytes, dt);
            io.writeRate = rate(c.writeBytes, before->second.writeBytes, dt);
            if (io.readRate > 0 || io.writeRate > 0)
                result << io;
        }
        seen.emplace(pid, std::move(c));
    }
    ::closedir(dir);
    closeHeldIoFiles(); // of the processes that ended; the others moved to `seen`
    m_processes = std::move(seen);
    m_processesAt = now;
    ++m_looks;
    std::sort(result.begin(), result.end(), [](const PLVProcessIO &a, const PLVProcessIO &b) {
        return a.readRate + a.writeRate > b.readRate + b.writeRate;
    });
    m_busiest = result;
    return result.mid(0, std::max(count, 0));
}
