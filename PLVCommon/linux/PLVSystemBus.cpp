#include "PLVSystemBus.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QHash>

#include <atomic>

namespace {

std::atomic<int> g_connectionSerial{0};

PLVSystemBus::Failure failureOf(const QString &errorName)
{
    if (errorName == QLatin1String("org.freedesktop.DBus.Error.ServiceUnknown")
        || errorName == QLatin1String("org.freedesktop.DBus.Error.NameHasNoOwner"))
        return PLVSystemBus::Failure::NoService;
    if (errorName == QLatin1String("org.freedesktop.DBus.Error.UnknownObject")
        || errorName == QLatin1String("org.freedesktop.DBus.Error.UnknownInterface")
        || errorName == QLatin1String("org.freedesktop.DBus.Error.UnknownMethod")
        || errorName == QLatin1String("org.freedesktop.DBus.Error.UnknownProperty"))
        return PLVSystemBus::Failure::NoObject;
    if (errorName == QLatin1String("org.freedesktop.DBus.Error.NoReply")
        || errorName == QLatin1String("org.freedesktop.DBus.Error.Timeout")
        || errorName == QLatin1String("org.freedesktop.DBus.Error.TimedOut"))
        return PLVSystemBus::Failure::NotResponding;
    if (errorName == QLatin1String("org.freedesktop.DBus.Error.Disconnected")
        || errorName == QLatin1String("org.freedesktop.DBus.Error.NoServer"))
        return PLVSystemBus::Failure::NoBus;
    return PLVSystemBus::Failure::Error;
}

} // namespace

std::shared_ptr<PLVSystemBus> PLVSystemBus::shared()
{
    static const std::shared_ptr<PLVSystemBus> bus = std::make_shared<PLVSystemBus>();
    return bus;
}

PLVSystemBus::PLVSystemBus(const QString &address)
    : m_address(address)
    , m_connectionName(QStringLiteral("plv-system-bus-%1").arg(g_connectionSerial.fetch_add(1)))
{
}

PLVSystemBus::~PLVSystemBus()
{
    if (m_connected)
        QDBusConnection::disconnectFromBus(m_connectionName);
}

bool PLVSystemBus::ensureConnected()
{
    // Called with m_mutex held.
    if (m_connected) {
        if (QDBusConnection(m_connectionName).isConnected())
            return true;
        QDBusConnection::disconnectFromBus(m_connectionName); // the bus went away
        m_connected = false;
    }
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextConnectAttempt)
        return false;
    m_nextConnectAttempt = now + kReconnectInterval;
    QDBusConnection connection = m_address.isEmpty()
                                     ? QDBusConnection::connectToBus(QDBusConnection::SystemBus, m_connectionName)
                                     : QDBusConnection::connectToBus(m_address, m_connectionName);
    if (!connection.isConnected()) {
        QDBusConnection::disconnectFromBus(m_connectionName);
        return false;
    }
    m_connected = true;
    return true;
}

bool PLVSystemBus::isConnected()
{
    std::lock_guard lock(m_mutex);
    return ensureConnected();
}

PLVSystemBus::Reply PLVSystemBus::call(const QString &service, const QString &path, const QString &interface,
                                       const QString &method, const QVariantList &arguments,
                                       std::chrono::milliseconds timeout)
{
    Reply reply;
    {
        std::lock_guard lock(m_mutex);
        if (!ensureConnected()) {
            reply.failure = Failure::NoBus;
            return reply;
        }
        const auto quiet = m_quietUntil.constFind(service);
        if (quiet != m_quietUntil.cend()) {
            if (std::chrono::steady_clock::now() < *quiet) {
                reply.failure = Failure::NotResponding;
                return reply;
            }
            m_quietUntil.remove(service);
        }
    }
    // The call itself runs unlocked: QDBusConnection is thread-safe, and one
    // slow service must not hold up callers of another.
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage answer = QDBusConnection(m_connectionName).call(message, QDBus::Block, int(timeout.count()));
    if (answer.type() == QDBusMessage::ReplyMessage) {
        reply.failure = Failure::None;
        reply.arguments = answer.arguments();
        return reply;
    }
    reply.errorName = answer.errorName();
    reply.failure = answer.type() == QDBusMessage::ErrorMessage ? failureOf(reply.errorName) : Failure::Error;
    if (reply.failure == Failure::NotResponding) {
        std::lock_guard lock(m_mutex);
        m_quietUntil.insert(service, std::chrono::steady_clock::now() + kQuietAfterTimeout);
    }
    return reply;
}

PLVSystemBus::Reply PLVSystemBus::getAll(const QString &service, const QString &path, const QString &interface,
                                         QVariantMap &properties)
{
    properties.clear();
    Reply reply = call(service, path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("GetAll"),
                       {interface});
    if (!reply.ok())
        return reply;
    if (reply.arguments.size() != 1 || reply.arguments.first().userType() != qMetaTypeId<QDBusArgument>()) {
        reply.failure = Failure::Error;
        return reply;
    }
    const QDBusArgument argument = reply.arguments.first().value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String("a{sv}")) {
        reply.failure = Failure::Error;
        return reply;
    }
    argument >> properties;
    for (auto it = properties.begin(); it != properties.end(); ++it)
        if (it->userType() == qMetaTypeId<QDBusVariant>())
            *it = it->value<QDBusVariant>().variant();
    return reply;
}
