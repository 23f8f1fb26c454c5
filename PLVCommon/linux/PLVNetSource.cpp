#include "PLVNetSource.h"

#include "PLVCommon/linux/PLVDiskSource.h"

#include <QDir>
#include <QFile>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <linux/wireless.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace {

QString addressText(int family, const void *raw)
{
    char text[INET6_ADDRSTRLEN] = {};
    return ::inet_ntop(family, raw, text, sizeof text) ? QString::fromLatin1(text) : QString();
}

QByteArray readTrimmed(const QString &path) { return PLVSysFile::read(path, 4096).trimmed(); }

std::optional<quint64> readCounter(const QString &path)
{
    bool ok = false;
    const quint64 v = readTrimmed(path).toULongLong(&ok);
    return ok ? std::optional<quint64>(v) : std::nullopt;
}

// "wlan0: 0000   54.  -56.  -256  ..." : interface, status, link quality, signal level, noise.
void readWireless(const PLVSysRoot &root, QList<PLVNetInterface> &interfaces)
{
    const QByteArray text = PLVSysFile::read(root.path(QStringLiteral("proc/net/wireless")));
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

void liveAddresses(QList<PLVNetInterface> &interfaces)
{
    ifaddrs *list = nullptr;
    if (::getifaddrs(&list) != 0)
        return;
    for (const ifaddrs *a = list; a; a = a->ifa_next) {
        if (!a->ifa_addr || (a->ifa_addr->sa_family != AF_INET && a->ifa_addr->sa_family != AF_INET6))
            continue;
        const bool v4 = a->ifa_addr->sa_family == AF_INET;
        const QString address = v4 ? addressText(AF_INET, &reinterpret_cast<const sockaddr_in *>(a->ifa_addr)->sin_addr)
                                   : addressText(AF_INET6, &reinterpret_cast<const sockaddr_in6 *>(a->ifa_addr)->sin6_addr);
        const QString name = QString::fromLocal8Bit(a->ifa_name);
        for (PLVNetInterface &i : interfaces)
            if (i.name == name)
                i.addresses << address;
    }
    ::freeifaddrs(list);
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

PLVNetSource::PLVNetSource(const PLVSysRoot &root) : m_root(root) {}

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
    std::map<QString, Kind> kinds;
    const QString base = m_root.path(QStringLiteral("sys/class/net"));
    for (const QString &name : QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString dir = base + QLatin1Char('/') + name;
        // An interface removed between the listing and the reads has no counters: left out.
        const auto rx = readCounter(dir + QStringLiteral("/statistics/rx_bytes"));
        const auto tx = readCounter(dir + QStringLiteral("/statistics/tx_bytes"));
        if (name == QLatin1String("lo") || !rx || !tx)
            continue;
        bool ok = false;
        int ifindex = readTrimmed(dir + QStringLiteral("/ifindex")).toInt(&ok);
        if (!ok)
            ifindex = -1;
        Kind &kind = kinds[name];
        if (const auto known = m_kinds.find(name); known != m_kinds.end() && known->second.ifindex == ifindex && ifindex >= 0) {
            kind = known->second;
        } else {
            kind.ifindex = ifindex;
            kind.loopback = readTrimmed(dir + QStringLiteral("/type")) == "772"; // ARPHRD_LOOPBACK under another name
            kind.physical = QFile::exists(dir + QStringLiteral("/device"));
            kind.wireless = QFile::exists(dir + QStringLiteral("/wireless")) || QFile::exists(dir + QStringLiteral("/phy80211"));
        }
        if (kind.loopback)
            continue;
        PLVNetInterface i;
        i.name = name;
        i.ifindex = ifindex;
        i.physical = kind.physical;
        i.wireless = kind.wireless;
        i.operState = QString::fromLatin1(readTrimmed(dir + QStringLiteral("/operstate")));
        i.hardwareAddress = QString::fromLatin1(readTrimmed(dir + QStringLiteral("/address")));
        // speed answers EINVAL while the link is down: unknown.
        const qint64 speed = readTrimmed(dir + QStringLiteral("/speed")).toLongLong(&ok);
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
        result << i;
    }
    m_previous = std::move(seen);
    m_kinds = std::move(kinds);
    std::stable_sort(result.begin(), result.end(),
                     [](const PLVNetInterface &a, const PLVNetInterface &b) { return a.physical && !b.physical; });
    readWireless(m_root, result);
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
