#include "PLVHostSource.h"

#include <mutex>

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

// Files read on every sample of the live system, open for the process's life.
struct LiveFiles {
    PLVOpenSysFile meminfo{PLVSysRoot::live(), "proc/meminfo"};
    PLVOpenSysFile vmstat{PLVSysRoot::live(), "proc/vmstat"};
    PLVOpenSysFile loadavg{PLVSysRoot::live(), "proc/loadavg"};
    PLVOpenSysDir proc{PLVSysRoot::live(), "proc"};
    PLVOpenSysDir block{PLVSysRoot::live(), "sys/block"};
};

const LiveFiles &liveFiles()
{
    static const LiveFiles *files = new LiveFiles; // never closed: samplers may run at exit
    return *files;
}

ssize_t readHostFile(const PLVSysRoot &root, PLVOpenSysFile LiveFiles::*which, const char *relative,
                     std::vector<char> &buf)
{
    if (root.isLive())
        return (liveFiles().*which).read(buf);
    return PLVOpenSysFile(root, relative).read(buf);
}

bool listHostFolder(const PLVSysRoot &root, PLVOpenSysDir LiveFiles::*which, const char *relative,
                    const std::function<void(const char *)> &fn)
{
    if (root.isLive())
        return (liveFiles().*which).forEach(fn);
    return PLVOpenSysDir(root, relative).forEach(fn);
}

const char *lineEnd(const char *p, const char *end)
{
    const char *eol = static_cast<const char *>(std::memchr(p, '\n', size_t(end - p)));
    return eol ? eol : end;
}

// First line of a small text file, without trailing blanks and NULs; null when unreadable or empty.
QString firstLine(const PLVSysRoot &root, const char *relative)
{
    const QByteArray text = PLVSysFile::read(root.path(QString::fromLatin1(relative)), 64 * 1024);
    if (text.isNull())
        return {};
    qsizetype n = 0;
    while (n < text.size() && text[n] != '\n' && text[n] != '\0')
        ++n;
    const QString line = QString::fromUtf8(text.constData(), n).trimmed();
    return line.isEmpty() ? QString() : line;
}

struct MemField {
    const char *name;
    size_t length;
    PLVMemInfo::Field field;
};

#define PLV_MEM_FIELD(name) {#name, sizeof(#name) - 1, PLVMemInfo::name}
const MemField kMemFields[] = {
    PLV_MEM_FIELD(MemTotal),   PLV_MEM_FIELD(MemFree),      PLV_MEM_FIELD(MemAvailable),
    PLV_MEM_FIELD(Buffers),    PLV_MEM_FIELD(Cached),       PLV_MEM_FIELD(Active),
    PLV_MEM_FIELD(Inactive),   PLV_MEM_FIELD(Unevictable),  PLV_MEM_FIELD(SwapTotal),
    PLV_MEM_FIELD(SwapFree),   PLV_MEM_FIELD(Zswap),        PLV_MEM_FIELD(AnonPages),
    PLV_MEM_FIELD(Shmem),      PLV_MEM_FIELD(SReclaimable), PLV_MEM_FIELD(SUnreclaim),
    PLV_MEM_FIELD(KernelStack), PLV_MEM_FIELD(PageTables),
};
#undef PLV_MEM_FIELD

} // namespace

namespace PLVHostSource {

bool parseMemInfo(const char *text, const char *end, PLVMemInfo &out)
{
    out = PLVMemInfo();
    for (const char *p = text; p < end;) {
        const char *eol = lineEnd(p, end);
        const char *colon = static_cast<const char *>(std::memchr(p, ':', size_t(eol - p)));
        if (colon) {
            const size_t length = size_t(colon - p);
            for (const MemField &f : kMemFields) {
                if (f.length != length || std::memcmp(p, f.name, length) != 0)
                    continue;
                const char *v = colon + 1;
                unsigned long long value = 0;
                // A repeated line keeps its first value, as every reader of the file does.
                if (!out.has[f.field] && PLVSysFile::parseU64(v, eol, value)) {
                    out.kB[f.field] = value;
                    out.has[f.field] = true;
                }
                break;
            }
        }
        p = eol < end ? eol + 1 : end;
    }
    return true;
}

bool readMemInfo(const PLVSysRoot &root, PLVMemInfo &out)
{
    std::vector<char> &buf = PLVSysFile::scratchBuffer();
    const ssize_t n = readHostFile(root, &LiveFiles::meminfo, "proc/meminfo", buf);
    if (n < 0) {
        out = PLVMemInfo();
        return false;
    }
    return parseMemInfo(buf.data(), buf.data() + n, out);
}

// mem_used_total (third field of mm_stat) of every zram device.
static quint64 zramBytes(const PLVSysRoot &root)
{
    quint64 total = 0;
    const auto add = [&total](const char *text, ssize_t n) {
        // orig_data_size compr_data_size mem_used_total ...
        const char *p = text;
        unsigned long long v[3] = {};
        if (n > 0 && PLVSysFile::parseU64(p, text + n, v[0]) && PLVSysFile::parseU64(p, text + n, v[1])
            && PLVSysFile::parseU64(p, text + n, v[2]))
            total += v[2];
    };
    if (root.isLive()) {
        // Devices come and go rarely (hot_add): their files stay open once seen.
        static std::mutex mutex;
        static std::map<std::string, std::unique_ptr<PLVOpenSysFile>> files;
        std::vector<char> &buf = PLVSysFile::scratchBuffer();
        listHostFolder(root, &LiveFiles::block, "sys/block", [&](const char *name) {
            if (std::strncmp(name, "zram", 4) != 0)
                return;
            std::lock_guard lock(mutex);
            std::unique_ptr<PLVOpenSysFile> &file = files[name];
            if (!file)
                file = std::make_unique<PLVOpenSysFile>(root, ("sys/block/" + std::string(name) + "/mm_stat").c_str());
            add(buf.data(), file->read(buf));
        });
        return total;
    }
    const QByteArray block = root.nativePath("sys/block");
    char text[512];
    listHostFolder(root, &LiveFiles::block, "sys/block", [&](const char *name) {
        if (std::strncmp(name, "zram", 4) == 0)
            add(text, PLVSysFile::readAt(AT_FDCWD, (block + '/' + name + "/mm_stat").constData(), text, sizeof text));
    });
    return total;
}

bool vmStatistics(const PLVSysRoot &root, const PLVMemInfo &m, long pageSize, PLVVMStatistics &out)
{
    out = PLVVMStatistics();
    if (!m.has[PLVMemInfo::MemTotal] || !m.has[PLVMemInfo::MemFree])
        return false;
    using F = PLVMemInfo;
    out.free = m.bytes(F::MemFree);
    out.active = m.bytes(F::Active);
    out.inactive = m.bytes(F::Inactive);
    out.wired = m.bytes(F::SUnreclaim) + m.bytes(F::KernelStack) + m.bytes(F::PageTables) + m.bytes(F::Unevictable);
    const quint64 reclaimable = m.bytes(F::Buffers) + m.bytes(F::Cached) + m.bytes(F::SReclaimable);
    out.cache = reclaimable > m.bytes(F::Shmem) ? reclaimable - m.bytes(F::Shmem) : 0;
    out.app = m.bytes(F::AnonPages) + m.bytes(F::Shmem);
    out.compressed = m.bytes(F::Zswap) + zramBytes(root);

    std::vector<char> &buf = PLVSysFile::scratchBuffer();
    const ssize_t n = readHostFile(root, &LiveFiles::vmstat, "proc/vmstat", buf);
    if (n > 0 && pageSize > 0) {
        const char *end = buf.data() + n;
        for (const char *p = buf.data(); p < end && !(out.pageIns && out.pageOuts);) {
            const char *eol = lineEnd(p, end);
            unsigned long long kib = 0;
            const char *v = nullptr;
            std::optional<quint64> *slot = nullptr;
            if (eol - p > 7 && std::memcmp(p, "pgpgin ", 7) == 0) {
                v = p + 7;
                slot = &out.pageIns;
            } else if (eol - p > 8 && std::memcmp(p, "pgpgout ", 8) == 0) {
                v = p + 8;
                slot = &out.pageOuts;
            }
            if (slot && !*slot && PLVSysFile::parseU64(v, eol, kib))
                *slot = kib * 1024 / quint64(pageSize);
            p = eol < end ? eol + 1 : end;
        }
    }
    return true;
}

bool swapUsage(const PLVMemInfo &m, PLVSwapUsage &out)
{
    out = PLVSwapUsage();
    if (!m.has[PLVMemInfo::SwapTotal] || !m.has[PLVMemInfo::SwapFree])
        return false;
    out.total = m.bytes(PLVMemInfo::SwapTotal);
    out.available = m.bytes(PLVMemInfo::SwapFree);
    out.used = out.total > out.available ? out.total - out.available : 0;
    return true;
}

std::optional<int> memoryLevel(const PLVMemInfo &m)
{
    if (!m.has[PLVMemInfo::MemAvailable] || !m.has[PLVMemInfo::MemTotal] || m.kB[PLVMemInfo::MemTotal] == 0)
        return std::nullopt;
    const quint64 total = m.kB[PLVMemInfo::MemTotal];
    const quint64 available = std::min(m.kB[PLVMemInfo::MemAvailable], total);
    return int(available * 100 / total);
}

static quint64 countInstalledMemory(const PLVSysRoot &root, quint64 memTotalBytes)
{
    const QByteArray blockSizeText =
        PLVSysFile::read(root.path(QStringLiteral("sys/devices/system/memory/block_size_bytes")), 256);
    bool ok = false;
    const quint64 blockSize = blockSizeText.trimmed().toULongLong(&ok, 16);
    if (!ok || blockSize == 0)
        return memTotalBytes;
    const QByteArray folder = root.nativePath("sys/devices/system/memory");
    quint64 blocks = 0;
    char buf[16];
    PLVOpenSysDir(root, "sys/devices/system/memory").forEach([&](const char *name) {
        if (std::strncmp(name, "memory", 6) != 0 || name[6] < '0' || name[6] > '9')
            return;
        if (PLVSysFile::readAt(AT_FDCWD, (folder + '/' + name + "/online").constData(), buf, sizeof buf) > 0
            && buf[0] == '1')
            ++blocks;
    });
    const quint64 installed = blocks * blockSize;
    // Blocks cover all of RAM; fewer bytes than MemTotal means they were not all readable.
    return installed >= memTotalBytes ? installed : memTotalBytes;
}

quint64 installedMemory(const PLVSysRoot &root, const PLVMemInfo &m)
{
    const quint64 memTotal = m.has[PLVMemInfo::MemTotal] ? m.bytes(PLVMemInfo::MemTotal) : 0;
    static std::mutex mutex;
    static QString cachedRoot;
    static quint64 cachedMemTotal = 0;
    static quint64 cachedInstalled = 0;
    {
        std::lock_guard lock(mutex);
        if (!cachedRoot.isNull() && cachedRoot == root.root() && cachedMemTotal == memTotal)
            return cachedInstalled;
    }
    const quint64 installed = countInstalledMemory(root, memTotal);
    std::lock_guard lock(mutex);
    cachedRoot = root.root();
    cachedMemTotal = memTotal;
    cachedInstalled = installed;
    return installed;
}

std::optional<LoadAverage> loadAverage(const PLVSysRoot &root)
{
    std::vector<char> &buf = PLVSysFile::scratchBuffer();
    const ssize_t n = readHostFile(root, &LiveFiles::loadavg, "proc/loadavg", buf);
    if (n <= 0)
        return std::nullopt;
    // "0.11 0.13 0.06 1/85 5846"
    const char *p = buf.data();
    const char *end = p + n;
    LoadAverage out;
    // Parsed by hand: strtod follows LC_NUMERIC, which may want a decimal comma.
    for (double &average : out.averages) {
        unsigned long long whole = 0;
        if (!PLVSysFile::parseU64(p, end, whole))
            return std::nullopt;
        average = double(whole);
        if (p < end && *p == '.') {
            double scale = 0.1;
            for (++p; p < end && *p >= '0' && *p <= '9'; ++p, scale /= 10)
                average += (*p - '0') * scale;
        }
    }
    unsigned long long running = 0, threads = 0;
    if (!PLVSysFile::parseU64(p, end, running) || p >= end || *p != '/')
        return std::nullopt;
    ++p;
    if (!PLVSysFile::parseU64(p, end, threads))
        return std::nullopt;
    out.threads = quint32(threads);
    return out;
}

std::optional<quint32> taskCount(const PLVSysRoot &root)
{
    quint32 count = 0;
    const bool ok = listHostFolder(root, &LiveFiles::proc, "proc", [&](const char *name) {
        if (name[0] >= '1' && name[0] <= '9')
            ++count;
    });
    return ok ? std::optional<quint32>(count) : std::nullopt;
}

QString hwModel(const PLVSysRoot &root)
{
    QString model = firstLine(root, "sys/class/dmi/id/product_name");
    if (model.isNull())
        model = firstLine(root, "sys/firmware/devicetree/base/model");
    if (model.isNull())
        model = firstLine(root, "proc/device-tree/model");
    return model;
}

QString boardID(const PLVSysRoot &root)
{
    QString board = firstLine(root, "sys/class/dmi/id/board_name");
    // "compatible" is a list of NUL-separated strings, the most specific first.
    if (board.isNull())
        board = firstLine(root, "sys/firmware/devicetree/base/compatible");
    if (board.isNull())
        board = firstLine(root, "proc/device-tree/compatible");
    return board;
}

} // namespace PLVHostSource
