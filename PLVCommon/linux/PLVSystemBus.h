#pragma once
#include <QHash>
#include <QString>
#include <QVariantList>
#include <QVariantMap>

#include <chrono>
#include <memory>
#include <mutex>

// A connection to the system bus for the samplers that ask system services
// (UPower, BlueZ) on every tick. Calls never block a tick for long: each has a
// short timeout, and a service that timed out is not asked again for a while
// (its callers get NotResponding at once). A missing bus is looked for again
// now and then, so a service started after the monitor is found.
//
// The default bus follows DBUS_SYSTEM_BUS_ADDRESS (or the standard socket);
// tests give the address of a private bus instead.
class PLVSystemBus
{
public:
    enum class Failure {
        None,
        NoBus,         // no system bus to connect to
        NoService,     // nobody owns the service's name
        NoObject,      // the service does not know the object, interface or method
        NotResponding, // timed out now or recently
        Error,         // any other error reply, or a reply of the wrong signature
    };
    struct Reply {
        Failure failure = Failure::NoBus;
        QVariantList arguments; // complex values stay QDBusArgument, for the caller to read
        QString errorName;
        bool ok() const { return failure == Failure::None; }
    };

    static constexpr std::chrono::milliseconds kCallTimeout{250};
    static constexpr std::chrono::seconds kQuietAfterTimeout{10};
    static constexpr std::chrono::seconds kReconnectInterval{5};

    // The process-wide system bus.
    static std::shared_ptr<PLVSystemBus> shared();
    // A bus at `address` (empty: the system bus).
    explicit PLVSystemBus(const QString &address = QString());
    ~PLVSystemBus();
    PLVSystemBus(const PLVSystemBus &) = delete;
    PLVSystemBus &operator=(const PLVSystemBus &) = delete;

    // Calls a method and waits at most `timeout` for its reply. Thread-safe.
    Reply call(const QString &service, const QString &path, const QString &interface, const QString &method,
               const QVariantList &arguments = {}, std::chrono::milliseconds timeout = kCallTimeout);
    // org.freedesktop.DBus.Properties.GetAll, the properties as plain values
    // (nested structures stay QDBusArgument). Empty with a failure on error.
    Reply getAll(const QString &service, const QString &path, const QString &interface, QVariantMap &properties);

    bool isConnected();

private:
    bool ensureConnected();

    QString m_address;
    QString m_connectionName;
    std::mutex m_mutex;
    bool m_connected = false;
    std::chrono::steady_clock::time_point m_nextConnectAttempt{};
    QHash<QString, std::chrono::steady_clock::time_point> m_quietUntil;
};
