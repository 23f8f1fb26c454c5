#include "PLVCpuSource.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace {

constexpr int kMaxCpuNumber = 65535;

bool readCpuList(const PLVSysRoot &root, const QString &relative, std::vector<int> &out)
{
    const QByteArray text = PLVSysFile::read(root.path(relative), 64 * 1024);
    if (text.isNull())
        return false;
    return PLVSysFile::parseCpuList(text.constData(), text.constData() + text.size(), out);
}

} // namespace

namespace PLVCpuStat {

bool parse(const char *text, const char *end, std::vector<PLVCpuTicks> &ticks, std::vector<char> &has)
{
    std::fill(has.begin(), has.end(), 0);
    bool any = false;
    const char *p = text;
    // The per-CPU lines come first, right after the machine-wide "cpu " line.
    while (p < end && end - p >= 3 && std::memcmp(p, "cpu", 3) == 0) {
        const char *eol = static_cast<const char *>(std::memchr(p, '\n', size_t(end - p)));
        if (!eol)
            eol = end;
        const char *q = p + 3;
        p = eol < end ? eol + 1 : end;
        if (q < eol && (*q == ' ' || *q == '\t'))
            continue; // the machine-wide line: the sampler sums per CPU itself
        unsigned long long number = 0;
        if (q >= eol || *q < '0' || *q > '9' || !PLVSysFile::parseU64(q, eol, number) || number > kMaxCpuNumber)
            return false;
        // user nice system idle [iowait irq softirq steal]; older kernels stop early.
        unsigned long long v[8] = {};
        int count = 0;
        while (count < 8 && PLVSysFile::parseU64(q, eol, v[count]))
            ++count;
        if (count < 4)
            return false;
        const size_t n = size_t(number);
        if (ticks.size() <= n) {
            ticks.resize(n + 1);
            has.resize(n + 1, 0);
        }
        ticks[n] = PLVCpuTicks{v[0], v[2] + v[5] + v[6] + v[7], v[3] + v[4], v[1]};
        has[n] = 1;
        any = true;
    }
    return any;
}

} // namespace PLVCpuStat

PLVCpuSource::PLVCpuSource(const PLVSysRoot &root)
    : m_root(root), m_stat(root, "proc/stat"), m_online(root, "sys/devices/system/cpu/online")
{
    m_buf.resize(64 * 1024);
}

PLVCpuSource::~PLVCpuSource() = default;

PLVCoreInfo PLVCpuSource::coreInfo()
{
    PLVCoreInfo info;

    std::vector<int> present;
    if (!readCpuList(m_root, QStringLiteral("sys/devices/system/cpu/present"), present) || present.empty()) {
        // No /sys (some containers): the CPUs the kernel reports ticks for.
        present.clear();
        std::vector<PLVCpuTicks> ticks;
        std::vector<char> has;
        if (loadInfo(ticks, has))
            for (size_t n = 0; n < has.size(); ++n)
                if (has[n])
                    present.push_back(int(n));
        if (present.empty())
            present.push_back(0);
    }
    info.cpuCount = quint32(present.size());

    std::vector<int> online;
    const bool onlineKnown = readCpuList(m_root, QStringLiteral("sys/devices/system/cpu/online"), online);
    if (onlineKnown)
        info.logical = quint32(online.size());
    const std::set<int> onlineSet(online.begin(), online.end());

    // A core is named by its lowest CPU. Offline CPUs have no topology folder:
    // each then stands alone, after the cores that precede its number.
    std::vector<std::pair<int, int>> keyed; // (core leader, kernel CPU)
    std::set<int> onlineCores;
    bool anyTopology = false;
    std::vector<int> siblings;
    for (int cpu : present) {
        int leader = cpu;
        const QString base = QStringLiteral("sys/devices/system/cpu/cpu%1/topology/").arg(cpu);
        if ((readCpuList(m_root, base + QStringLiteral("core_cpus_list"), siblings)
             || readCpuList(m_root, base + QStringLiteral("thread_siblings_list"), siblings))
            && !siblings.empty()) {
            anyTopology = true;
            leader = std::min(cpu, *std::min_element(siblings.begin(), siblings.end()));
        }
        keyed.emplace_back(leader, cpu);
        if (!onlineKnown || onlineSet.count(cpu))
            onlineCores.insert(leader);
    }
    if (anyTopology)
        info.physical = quint32(onlineCores.size());

    std::sort(keyed.begin(), keyed.end());
    info.order.reserve(keyed.size());
    for (const auto &k : keyed)
        info.order.push_back(k.second);
    return info;
}

bool PLVCpuSource::readOnline(std::vector<int> &online)
{
    const ssize_t n = m_online.read(m_buf);
    return n >= 0 && PLVSysFile::parseCpuList(m_buf.data(), m_buf.data() + n, online);
}

std::optional<quint32> PLVCpuSource::logicalCount()
{
    if (!readOnline(m_onlineList))
        return std::nullopt;
    return quint32(m_onlineList.size());
}

bool PLVCpuSource::loadInfo(std::vector<PLVCpuTicks> &ticks, std::vector<char> &has)
{
    const ssize_t n = m_stat.read(m_buf);
    if (n < 0) {
        std::fill(has.begin(), has.end(), 0);
        return false;
    }
    return PLVCpuStat::parse(m_buf.data(), m_buf.data() + n, ticks, has);
}

std::optional<quint32> PLVCpuSource::basicInfo(const std::vector<int> &cpus, std::vector<char> &running)
{
    running.assign(cpus.size(), 1);
    if (!readOnline(m_onlineList))
        return std::nullopt;
    std::fill(m_onlineMask.begin(), m_onlineMask.end(), 0);
    for (int cpu : m_onlineList) {
        if (m_onlineMask.size() <= size_t(cpu))
            m_onlineMask.resize(size_t(cpu) + 1, 0);
        m_onlineMask[size_t(cpu)] = 1;
    }
    for (size_t i = 0; i < cpus.size(); ++i)
        running[i] = cpus[i] >= 0 && size_t(cpus[i]) < m_onlineMask.size() && m_onlineMask[size_t(cpus[i])];
    return quint32(m_onlineList.size());
}
