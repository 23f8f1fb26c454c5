#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QDBusVirtualObject>
#include <QHash>
#include <QList>
#include <QString>

#include <optional>

// The helper's names on the bus.
namespace PLVHelperBus {
inline const QString kName = QStringLiteral("Q4HZ8RMW2C.com.tallowcrest.plvsmchelper3");
inline const QString kPath = QStringLiteral("/Q4HZ8RMW2C/com/tallowcrest/plvsmchelper3");
inline const QString kInterface = kName;
} // namespace PLVHelperBus

// Per-caller token buckets, plus one shared by all callers so that many
// connections together cannot keep the service busy either.
class PLVRateLimiter
{
public:
    struct Bucket {
        double tokens = 0;
        qint64 lastNs = 0;
    };
    PLVRateLimiter(double burst, double perSecond, double totalBurst, double totalPerSecond);
    bool allow(const QString &caller, qint64 nowNs);

private:
    bool take(Bucket &bucket, double burst, double perSecond, qint64 nowNs);

    double m_burst, m_perSecond, m_totalBurst, m_totalPerSecond;
    QHash<QString, Bucket> m_callers;
    Bucket m_total;
};

// Package power of one processor package, averaged over `seconds`.
struct PLVPackagePower {
    QString name;
    double watts = 0;
    double seconds = 0;
};

// The object the helper serves. Every message is checked by hand (interface,
// member, exact signature) before anything is read; whatever is not one of
// the fixed methods gets a D-Bus error. No argument ever names a file.
class PLVHelperService : public QDBusVirtualObject
{
public:
    explicit PLVHelperService(const QString &sysRoot);

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override;
    QString introspect(const QString &path) const override;

    QList<PLVPackagePower> packagePower();

private:
    static QString interfaceXml();
    static QString introspectionXml();

    struct ZoneState {
        quint64 energyUj = 0;
        quint64 rangeUj = 0;
        qint64 atNs = 0;
        std::optional<PLVPackagePower> power;
    };
    void sample(qint64 nowNs);

    PLVSysRoot m_root;
    PLVRateLimiter m_limiter;
    QHash<QString, ZoneState> m_zones; // by zone id
    QList<QString> m_order;
    qint64 m_lastSampleNs = -1;
};
