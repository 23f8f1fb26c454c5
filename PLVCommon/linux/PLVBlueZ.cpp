#include "PLVBlueZ.h"

#include <QDBusArgument>
#include <QDBusObjectPath>

namespace {

using Interfaces = QMap<QString, QVariantMap>;
using ManagedObjects = QMap<QDBusObjectPath, Interfaces>;

template<typename T>
T typed(const QVariantMap &properties, const char *name, T fallback)
{
    const QVariant v = properties.value(QLatin1String(name));
    return v.metaType() == QMetaType::fromType<T>() ? v.value<T>() : fallback;
}

QString firstNonEmpty(std::initializer_list<QString> texts)
{
    for (const QString &t : texts)
        if (!t.trimmed().isEmpty())
            return t.trimmed();
    return {};
}

} // namespace

PLVBlueZ::PLVBlueZ(std::shared_ptr<PLVSystemBus> bus) : m_bus(std::move(bus)) {}

PLVBlueZ::Snapshot PLVBlueZ::read() const
{
    Snapshot snapshot;
    const PLVSystemBus::Reply reply = m_bus->call(QStringLiteral("org.bluez"), QStringLiteral("/"),
                                                  QStringLiteral("org.freedesktop.DBus.ObjectManager"),
                                                  QStringLiteral("GetManagedObjects"));
    snapshot.failure = reply.failure;
    if (!reply.ok())
        return snapshot;
    if (reply.arguments.size() != 1 || reply.arguments.first().userType() != qMetaTypeId<QDBusArgument>()
        || reply.arguments.first().value<QDBusArgument>().currentSignature() != QLatin1String("a{oa{sa{sv}}}")) {
        snapshot.failure = PLVSystemBus::Failure::Error;
        return snapshot;
    }
    ManagedObjects objects;
    reply.arguments.first().value<QDBusArgument>() >> objects;
    for (auto it = objects.cbegin(); it != objects.cend(); ++it) {
        const Interfaces &interfaces = it.value();
        if (const auto a = interfaces.constFind(QStringLiteral("org.bluez.Adapter1")); a != interfaces.cend()) {
            Adapter adapter;
            adapter.path = it.key().path();
            adapter.address = typed<QString>(*a, "Address", {});
            adapter.name = firstNonEmpty({typed<QString>(*a, "Alias", {}), typed<QString>(*a, "Name", {})});
            adapter.powered = typed<bool>(*a, "Powered", false);
            snapshot.adapters.push_back(adapter);
        }
        if (const auto d = interfaces.constFind(QStringLiteral("org.bluez.Device1")); d != interfaces.cend()) {
            Device device;
            device.path = it.key().path();
            device.adapterPath = typed<QDBusObjectPath>(*d, "Adapter", {}).path();
            device.address = typed<QString>(*d, "Address", {});
            device.name = firstNonEmpty({typed<QString>(*d, "Alias", {}), typed<QString>(*d, "Name", {}), device.address});
            device.icon = typed<QString>(*d, "Icon", {});
            device.connected = typed<bool>(*d, "Connected", false);
            device.paired = typed<bool>(*d, "Paired", false);
            if (const auto b = interfaces.constFind(QStringLiteral("org.bluez.Battery1")); b != interfaces.cend()) {
                const QVariant percentage = b->value(QStringLiteral("Percentage"));
                if (percentage.metaType() == QMetaType::fromType<uchar>() && percentage.value<uchar>() <= 100)
                    device.batteryPercentage = percentage.value<uchar>();
            }
            snapshot.devices.push_back(device);
        }
    }
    return snapshot;
}
