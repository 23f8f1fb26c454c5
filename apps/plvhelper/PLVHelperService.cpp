#include "PLVHelperService.h"

#include "PLVCommon/linux/PLVPowercap.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QThread>

#include <time.h>

namespace {

// Readings closer together than this give a noisy average; calls in between
// are answered from the last one (and a flood never reaches sysfs).
constexpr qint64 kMinWindowNs = 100'000'000;

qint64 monotonicNs()
{
    timespec ts {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return qint64(ts.tv_sec) * 1'000'000'000 + ts.tv_nsec;
}

const QString kErrorUnknownMethod = QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod");
const QString kErrorUnknownInterface = QStringLiteral("org.freedesktop.DBus.Error.UnknownInterface");
const QString kErrorUnknownProperty = QStringLiteral("org.freedesktop.DBus.Error.UnknownProperty");
const QString kErrorInvalidArgs = QStringLiteral("org.freedesktop.DBus.Error.InvalidArgs");
const QString kErrorLimitsExceeded = QStringLiteral("org.freedesktop.DBus.Error.LimitsExceeded");

} // namespace

QDBusArgument &operator<<(QDBusArgument &arg, const PLVPackagePower &p)
{
    arg.beginStructure();
    arg << p.name << p.watts << p.seconds;
    arg.endStructure();
    return arg;
}

const QDBusArgument &operator>>(const QDBusArgument &arg, PLVPackagePower &p)
{
    arg.beginStructure();
    arg >> p.name >> p.watts >> p.seconds;
    arg.endStructure();
    return arg;
}

Q_DECLARE_METATYPE(PLVPackagePower)

// --- rate limiter ----------------------------------------------------------

PLVRateLimiter::PLVRateLimiter(double burst, double perSecond, double totalBurst, double totalPerSecond)
    : m_burst(burst), m_perSecond(perSecond), m_totalBurst(totalBurst), m_totalPerSecond(totalPerSecond)
{
    m_total.tokens = totalBurst;
    m_total.lastNs = monotonicNs();
}

bool PLVRateLimiter::take(Bucket &bucket, double burst, double perSecond, qint64 nowNs)
{
    if (nowNs > bucket.lastNs) {
        bucket.tokens = qMin(burst, bucket.tokens + double(nowNs - bucket.lastNs) * 1e-9 * perSecond);
        bucket.lastNs = nowNs;
    }
    if (bucket.tokens < 1)
        return false;
    bucket.tokens -= 1;
    return true;
}

bool PLVRateLimiter::allow(const QString &caller, qint64 nowNs)
{
    auto it = m_callers.find(caller);
    if (it == m_callers.end()) {
        // Callers that have been quiet long enough to be full again are forgotten,
        // so many short-lived connections do not grow the table.
        if (m_callers.size() >= 256) {
            for (auto old = m_callers.begin(); old != m_callers.end();) {
                const double refilled = old->tokens + double(nowNs - old->lastNs) * 1e-9 * m_perSecond;
                old = refilled >= m_burst ? m_callers.erase(old) : std::next(old);
            }
        }
        it = m_callers.insert(caller, Bucket{m_burst, nowNs});
    }
    Bucket probe = *it;
    if (!take(probe, m_burst, m_perSecond, nowNs)) {
        *it = probe;
        return false;
    }
    if (!take(m_total, m_totalBurst, m_totalPerSecond, nowNs))
        return false; // the caller keeps its token: the refusal was not its doing
    *it = probe;
    return true;
}

QString PLVHelperService::introspectionXml()
{
    return QStringLiteral("<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\"\n"
                          "\"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n<node>"
                          "<interface name=\"org.freedesktop.DBus.Introspectable\">"
                          "<method name=\"Introspect\"><arg name=\"xml\" type=\"s\" direction=\"out\"/></method>"
                          "</interface>"
                          "<interface name=\"org.freedesktop.DBus.Peer\">"
                          "<method name=\"Ping\"/>"
                          "<method name=\"GetMachineId\"><arg name=\"id\" type=\"s\" direction=\"out\"/></method>"
                          "</interface>")
        + interfaceXml() + QStringLiteral("</node>");
}

// --- service ---------------------------------------------------------------

PLVHelperService::PLVHelperService(const QString &sysRoot)
    : m_root(sysRoot), m_limiter(/*burst*/ 20, /*per second*/ 10, /*total burst*/ 200, /*total per second*/ 100)
{
    qDBusRegisterMetaType<PLVPackagePower>();
    qDBusRegisterMetaType<QList<PLVPackagePower>>();
}

void PLVHelperService::sample(qint64 nowNs)
{
    const QList<PLVPowercap::Zone> zones = PLVPowercap::readPackageZones(m_root);
    QHash<QString, ZoneState> next;
    QList<QString> order;
    for (const PLVPowercap::Zone &zone : zones) {
        ZoneState state;
        const auto previous = m_zones.constFind(zone.id);
        if (previous != m_zones.constEnd()) {
            state = *previous;
            const qint64 window = nowNs - previous->atNs;
            if (window < kMinWindowNs) {
                next.insert(zone.id, state);
                order.append(zone.id);
                continue;
            }
            const auto delta = PLVPowercap::energyDelta(previous->energyUj, zone.energyUj, zone.maxEnergyRangeUj);
            if (delta)
                state.power = PLVPackagePower{zone.name, double(*delta) / 1e6 / (double(window) * 1e-9),
                                              double(window) * 1e-9};
            else
                state.power.reset(); // a counter that jumped back without wrapping: start afresh
        }
        state.energyUj = zone.energyUj;
        state.rangeUj = zone.maxEnergyRangeUj;
        state.atNs = nowNs;
        next.insert(zone.id, state);
        order.append(zone.id);
    }
    m_zones = std::move(next);
    m_order = std::move(order);
    m_lastSampleNs = nowNs;
}

QList<PLVPackagePower> PLVHelperService::packagePower()
{
    qint64 now = monotonicNs();
    if (m_lastSampleNs < 0 || now - m_lastSampleNs >= kMinWindowNs) {
        sample(now);
        // A package seen for the first time (the first call, often the one that
        // started the service) gets its second reading right away.
        bool fresh = false;
        for (const ZoneState &z : std::as_const(m_zones))
            fresh = fresh || (!z.power && z.atNs == now);
        if (fresh) {
            QThread::usleep(kMinWindowNs / 1000);
            now = monotonicNs();
            sample(now);
        }
    }
    QList<PLVPackagePower> out;
    for (const QString &id : std::as_const(m_order)) {
        const ZoneState &z = m_zones[id];
        if (z.power)
            out.append(*z.power);
    }
    return out;
}

QString PLVHelperService::introspect(const QString &path) const
{
    if (path != PLVHelperBus::kPath)
        return {};
    return interfaceXml();
}

QString PLVHelperService::interfaceXml()
{
    return QStringLiteral("<interface name=\"%1\">"
                          "<method name=\"Version\"><arg name=\"version\" type=\"u\" direction=\"out\"/></method>"
                          "<method name=\"PackagePower\">"
                          "<arg name=\"packages\" type=\"a(sdd)\" direction=\"out\"/></method>"
                          "</interface>")
        .arg(PLVHelperBus::kInterface);
}

bool PLVHelperService::handleMessage(const QDBusMessage &message, const QDBusConnection &connection)
{
    if (message.type() != QDBusMessage::MethodCallMessage)
        return true;
    auto answer = [&](const QDBusMessage &reply) {
        if (message.isReplyRequired())
            connection.send(reply);
        return true;
    };
    auto error = [&](const QString &name, const QString &text) { return answer(message.createErrorReply(name, text)); };

    if (!m_limiter.allow(message.service(), monotonicNs()))
        return error(kErrorLimitsExceeded, QStringLiteral("Too many requests; try again in a moment"));

    const QString interface = message.interface();
    const QString member = message.member();
    const QString signature = message.signature();

    if (interface == QLatin1String("org.freedesktop.DBus.Introspectable")) {
        if (member == QLatin1String("Introspect") && signature.isEmpty())
            return answer(message.createReply(introspectionXml()));
        return error(kErrorUnknownMethod, QStringLiteral("Unknown method or signature"));
    }
    if (interface == QLatin1String("org.freedesktop.DBus.Peer")) {
        if (member == QLatin1String("Ping") && signature.isEmpty())
            return answer(message.createReply());
        if (member == QLatin1String("GetMachineId") && signature.isEmpty())
            return answer(message.createReply(QString::fromLatin1(QDBusConnection::localMachineId())));
        return error(kErrorUnknownMethod, QStringLiteral("Unknown method or signature"));
    }
    if (interface == QLatin1String("org.freedesktop.DBus.Properties")) {
        // The helper has no properties; answer the generic tools that ask.
        if (member == QLatin1String("GetAll") && signature == QLatin1String("s"))
            return answer(message.createReply(QVariant::fromValue(QVariantMap())));
        if ((member == QLatin1String("Get") && signature == QLatin1String("ss"))
            || (member == QLatin1String("Set") && signature == QLatin1String("ssv")))
            return error(kErrorUnknownProperty, QStringLiteral("No such property"));
        return error(kErrorUnknownMethod, QStringLiteral("Unknown method or signature"));
    }
    if (!interface.isEmpty() && interface != PLVHelperBus::kInterface)
        return error(kErrorUnknownInterface, QStringLiteral("Unknown interface '%1'").arg(interface.left(255)));

    if (member == QLatin1String("Version") || member == QLatin1String("PackagePower")) {
        if (!signature.isEmpty())
            return error(kErrorInvalidArgs, QStringLiteral("%1 takes no arguments").arg(member));
        if (member == QLatin1String("Version"))
            return answer(message.createReply(QVariant::fromValue(uint(PLV_HELPER_VERSION))));
        return answer(message.createReply(QVariant::fromValue(packagePower())));
    }
    return error(kErrorUnknownMethod, QStringLiteral("Unknown method '%1'").arg(member.left(255)));
}
