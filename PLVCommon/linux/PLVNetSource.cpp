#include "PLVNetSource.h"

#include "PLVCommon/linux/PLVDiskSource.h"

#include <QDir>
#include <QFile>

#include <arpa/inet.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/wireless.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

QString addressText(int family, const void *raw)
{
    char text[INET6_ADDRSTRLEN] = {};
    return ::inet_ntop(family, raw, text, sizeof text) ? QString::fromLatin1(text) : QString();
}

QByteArray readTrimmed(const PLVOpenSysFile &file)
{
    std::vector<char> &buf = PLVSysFile::scratchBuffer();
    const ssize_t n = file.read(buf);
    return n < 0 ? QByteArray() : QByteArray(buf.data(), n).trimmed();
}

std::optional<quint64> readCounter(const PLVOpenSysFile &file)
{
    bool ok = false;
    const quint64 v = readTrimmed(file).toULongLong(&ok);
    return ok ? std::optional<quint64>(v) : std::nullopt;
}

// "wlan0: 0000   54.  -56.  -256  ..." : interface, status, link quality, signal level, noise.
void readWireless(const PLVOpenSysFile &file, QList<PLVNetInterface> &interfaces)
{
    const QByteArray text = readTrimmed(file);
    for (const QByteArray &line : text.split('\n')) {
        const qsizetype colon = line.indexOf(':');
        if (colon <= 0)
            continue;
        const QString name = QString::fromLatin1(line.left(colon).trimmed());
        QList<QByteArray> f;
        for (const QByteArray &part : line.mid(colon + 1).split(' '))
            if (!part.isEmpty())
                f << part;
        if (f.size() < 3)
            continue;
        for (PLVNetInterface &i : interfaces) {
            if (i.name != name)
                continue;
            bool okQ = false, okS = false;
            const double quality = QByteArray(f[1]).replace('.', "").toDouble(&okQ);
            const double level = QByteArray(f[2]).replace('.', "").toDouble(&okS);
            if (okQ)
                i.linkQuality = int(quality);
            // Drivers reporting in dBm give a negative level; 0 means not associated.
            if (okS && level < 0)
                i.signalDbm = int(level);
        }
    }
}

QString liveSsid(const QString &name)
{
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return QString();
    char essid[IW_ESSID_MAX_SIZE + 1] = {};
    iwreq req{};
    std::strncpy(req.ifr_ifrn.ifrn_name, name.toLocal8Bit().constData(), IFNAMSIZ - 1);
    req.u.essid.pointer = essid;
    req.u.essid.length = IW_ESSID_MAX_SIZE;
    const int rc = ::ioctl(fd, SIOCGIWESSID, &req);
    ::close(fd);
    if (rc != 0)
        return QString();
    return QString::fromUtf8(essid, int(std::min<quint16>(req.u.essid.length, IW_ESSID_MAX_SIZE)));
}

// "fe800000000000000000000000000001 02 40 20 80 eth0": address, index, prefix, scope, flags, name.
void inet6Addresses(const PLVSysRoot &root, QList<PLVNetInterface> &interfaces)
{
    const QByteArray text = PLVSysFile::read(root.path(QStringLiteral("proc/net/if_inet6")));
    for (const QByteArray &line : text.split('\n')) {
        QList<QByteArray> f;
        for (const QByteArray &part : line.split(' '))
            if (!part.isEmpty())
                f << part;
        if (f.size() < 6 || f[0].size() != 32)
            continue;
        const QByteArray raw = QByteArray::fromHex(f[0]);
        if (raw.size() != 16)
            continue;
        const QString address = addressText(AF_INET6, raw.constData());
        const QString name = QString::fromLatin1(f[5]);
        for (PLVNetInterface &i : interfaces)
            if (i.name == name)
                i.addresses << address;
    }
}

} // namespace

PLVNetSource::PLVNetSource(const PLVSysRoot &root)
    : m_root(root), m_dir(root, "sys/class/net"), m_wireless(root, "proc/net/wireless")
{
}

PLVNetSource::~PLVNetSource()
{
    if (m_netlink >= 0)
        ::close(m_netlink);
}

void PLVNetSource::liveAddresses(QList<PLVNetInterface> &interfaces)
{
    // Only the addresses: getifaddrs() would dump every link's attributes and
    // statistics too, and open a socket for it, every sample.
    auto fail = [this] {
        ::close(m_netlink);
        m_netlink = -1;
    };
    if (m_netlink < 0)
        m_netlink = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (m_netlink < 0)
        return;
    struct {
        nlmsghdr header;
        ifaddrmsg body;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETADDR;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = ++m_netlinkSequence;
    request.body.ifa_family = AF_UNSPEC;
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    if (::sendto(m_netlink, &request, sizeof request, 0, reinterpret_cast<const sockaddr *>(&kernel), sizeof kernel) < 0)
        return fail();
    m_netlinkBuffer.resize(64 * 1024);
    for (;;) {
        const ssize_t n = ::recv(m_netlink, m_netlinkBuffer.data(), m_netlinkBuffer.size(), 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return fail();
        int left = int(n);
        for (auto *h = reinterpret_cast<nlmsghdr *>(m_netlinkBuffer.data()); NLMSG_OK(h, left); h = NLMSG_NEXT(h, left)) {
            if (h->nlmsg_seq != m_netlinkSequence)
                continue; // the rest of an answer given up on
            if (h->nlmsg_type == NLMSG_DONE)
                return;
            if (h->nlmsg_type == NLMSG_ERROR)
                return fail();
            if (h->nlmsg_type != RTM_NEWADDR)
                continue;
            const auto *address = static_cast<const ifaddrmsg *>(NLMSG_DATA(h));
            if (address->ifa_family != AF_INET && address->ifa_family != AF_INET6)
                continue;
            // IFA_LOCAL is the interface's own address; IFA_ADDRESS is the
            // peer's on a point-to-point link, and the own one elsewhere.
            const void *local = nullptr, *other = nullptr;
            int length = int(IFA_PAYLOAD(h));
            for (auto *a = IFA_RTA(address); RTA_OK(a, length); a = RTA_NEXT(a, length)) {
                if (a->rta_type == IFA_LOCAL)
                    local = RTA_DATA(a);
                else if (a->rta_type == IFA_ADDRESS)
                    other = RTA_DATA(a);
            }
            const void *raw = local ? local : other;
            if (!raw)
                continue;
            for (PLVNetInterface &i : interfaces)
                if (i.ifindex == int(address->ifa_index))
                    i.addresses << addressText(address->ifa_family, raw);
        }
    }
}

PLVNetSource::Held::Held(const PLVSysRoot &root, const QByteArray &dir)
    : ifindexFile(root, (dir + "/ifindex").constData()), rx(root, (dir + "/statistics/rx_bytes").constData()),
      tx(root, (dir + "/statistics/tx_bytes").constData()), operState(root, (dir + "/operstate").constData()),
      address(root, (dir + "/address").constData()), speed(root, (dir + "/speed").constData())
{
    bool ok = false;
    const int index = readTrimmed(ifindexFile).toInt(&ok);
    ifindex = ok ? index : -1;
    const QString path = root.path(QString::fromLocal8Bit(dir));
    loopback = readTrimmed(PLVOpenSysFile(root, (dir + "/type").constData())) == "772"; // ARPHRD_LOOPBACK under another name
    physical = QFile::exists(path + QStringLiteral("/device"));
    wireless = QFile::exists(path + QStringLiteral("/wireless")) || QFile::exists(path + QStringLiteral("/phy80211"));
}

quint64 PLVNetSource::counterDelta(quint64 before, quint64 now)
{
    if (now >= before)
        return now - before;
    constexpr quint64 k32 = quint64(1) << 32;
    // Drivers with 32-bit counters wrap at 2^32; a smaller step across the wrap
    // than half the range is a wrap, anything else a reset.
    if (before < k32) {
        const quint64 wrapped = now + k32 - before;
        if (wrapped < (k32 >> 1))
            return wrapped;
    }
    return 0;
}

QList<PLVNetInterface> PLVNetSource::interfaces() { return interfaces(PLVDiskSource::monotonicSeconds()); }

QList<PLVNetInterface> PLVNetSource::interfaces(double now)
{
    QList<PLVNetInterface> result;
    std::map<int, Counters> seen;
    std::map<QString, std::unique_ptr<Held>> held;
    QStringList names;
    m_dir.forEach([&](const char *name) {
        if (name[0] != '.')
            names << QString::fromLocal8Bit(name);
    });
    names.sort(Qt::CaseInsensitive);
    for (const QString &name : std::as_const(names)) {
        std::unique_ptr<Held> files;
        if (auto it = m_held.find(name); it != m_held.end())
            files = std::move(it->second);
        // The index tells the same interface from one made again under its name.
        bool ok = false;
        const int ifindex = files ? readTrimmed(files->ifindexFile).toInt(&ok) : -1;
        if (!files || !ok || ifindex != files->ifindex)
            files = std::make_unique<Held>(m_root, "sys/class/net/" + name.toLocal8Bit());
        Held &f = *files;
        if (f.loopback || name == QLatin1String("lo")) {
            held.emplace(name, std::move(files));
            continue;
        }
        // Not an interface (bonding_masters), or one removed since the listing: left out.
        const auto rx = readCounter(f.rx);
        const auto tx = readCounter(f.tx);
        if (!rx || !tx)
            continue;
        PLVNetInterface i;
        i.name = name;
        i.ifindex = f.ifindex;
        i.physical = f.physical;
        i.wireless = f.wireless;
        i.operState = QString::fromLatin1(readTrimmed(f.operState));
        i.hardwareAddress = QString::fromLatin1(readTrimmed(f.address));
        // speed answers EINVAL while the link is down: unknown.
        const qint64 speed = readTrimmed(f.speed).toLongLong(&ok);
        i.speedMbps = ok && speed > 0 ? speed : -1;
        i.rxBytes = *rx;
        i.txBytes = *tx;
        if (i.ifindex >= 0) {
            const auto before = m_previous.find(i.ifindex);
            if (before != m_previous.end() && now > before->second.at) {
                const double dt = now - before->second.at;
                i.rxRate = double(counterDelta(before->second.rx, i.rxBytes)) / dt;
                i.txRate = double(counterDelta(before->second.tx, i.txBytes)) / dt;
            }
            seen[i.ifindex] = Counters{i.rxBytes, i.txBytes, now};
        }
        held.emplace(name, std::move(files));
        result << i;
    }
    m_previous = std::move(seen);
    m_held = std::move(held);
    std::stable_sort(result.begin(), result.end(),
                     [](const PLVNetInterface &a, const PLVNetInterface &b) { return a.physical && !b.physical; });
    readWireless(m_wireless, result);
    if (m_root.isLive()) {
        liveAddresses(result);
        for (PLVNetInterface &i : result)
            if (i.wireless)
                i.ssid = liveSsid(i.name);
    } else {
        inet6Addresses(m_root, result);
    }
    return result;
}
