#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <map>
#include <memory>
#include <optional>
#include <vector>

// Network interfaces from /sys/class/net (statistics/rx_bytes and tx_bytes,
// operstate, address, speed, wireless) and /proc/net/wireless (signal); addresses
// from the kernel's route netlink on the live system, IPv6 ones from /proc/net/if_inet6
// under any other root; the wireless network's name from the wireless
// extensions' ioctl, live only.
struct PLVNetInterface {
    QString name;
    int ifindex = -1;
    bool physical = false; // a device behind it (not a bridge, veth, tunnel)
    bool wireless = false;
    QString operState; // "up", "down", "dormant", "unknown", ...
    QString hardwareAddress;
    QStringList addresses;
    qint64 speedMbps = -1; // -1 when the link does not tell
    quint64 rxBytes = 0;
    quint64 txBytes = 0;
    double rxRate = 0; // bytes per second since the previous sample
    double txRate = 0;
    QString ssid;
    std::optional<int> signalDbm;
    std::optional<int> linkQuality; // the driver's own scale, as /proc/net/wireless shows it
};

class PLVNetSource
{
public:
    explicit PLVNetSource(const PLVSysRoot &root = PLVSysRoot());
    ~PLVNetSource();
    PLVNetSource(const PLVNetSource &) = delete;
    PLVNetSource &operator=(const PLVNetSource &) = delete;

    // Every interface but loopback, physical ones first, each in name order.
    // Rates are 0 on the first sample of an interface (by index, so a renamed
    // interface keeps its rates and a new one under an old name starts over)
    // and when a counter went back (a reset); a 32-bit counter that wrapped
    // is counted across the wrap.
    QList<PLVNetInterface> interfaces(double nowSeconds);
    QList<PLVNetInterface> interfaces();

    // The increase of a counter, with the wrap of a 32-bit counter counted and
    // anything else that went back (a reset) as 0.
    static quint64 counterDelta(quint64 before, quint64 now);

private:
    struct Counters {
        quint64 rx = 0;
        quint64 tx = 0;
        double at = 0;
    };
    // The files of one interface, held open between samples (on the live
    // system) and re-read with pread, with what the interface is (loopback,
    // backed by a device, wireless), which does not change while its index
    // stays. A new index under the name (the interface was made again) opens
    // them afresh.
    struct Held {
        Held(const PLVSysRoot &root, const QByteArray &dir);
        int ifindex = -1;
        bool loopback = false;
        bool physical = false;
        bool wireless = false;
        PLVOpenSysFile ifindexFile, rx, tx, operState, address, speed;
    };
    PLVSysRoot m_root;
    PLVOpenSysDir m_dir;
    PLVOpenSysFile m_wireless;
    std::map<int, Counters> m_previous;
    std::map<QString, std::unique_ptr<Held>> m_held; // by name
    // The addresses of the live system, from a route netlink socket kept open.
    void liveAddresses(QList<PLVNetInterface> &interfaces);
    int m_netlink = -1;
    quint32 m_netlinkSequence = 0;
    std::vector<char> m_netlinkBuffer;
};
