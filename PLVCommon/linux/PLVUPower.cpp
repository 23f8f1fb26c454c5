#include "PLVUPower.h"

#include <QDBusArgument>
#include <QDBusObjectPath>

namespace {

const QString kService = QStringLiteral("org.freedesktop.UPower");
const QString kPath = QStringLiteral("/org/freedesktop/UPower");
const QString kInterface = QStringLiteral("org.freedesktop.UPower");
const QString kDeviceInterface = QStringLiteral("org.freedesktop.UPower.Device");

// A property of the type the interface declares, else the fallback: a service
// that sends another type is not believed.
template<typename T>
T typed(const QVariantMap &properties, const char *name, T fallback)
{
    const QVariant v = properties.value(QLatin1String(name));
    return v.metaType() == QMetaType::fromType<T>() ? v.value<T>() : fallback;
}

} // namespace

PLVUPower::PLVUPower(std::shared_ptr<PLVSystemBus> bus) : m_bus(std::move(bus)) {}

PLVSystemBus::Failure PLVUPower::readDevice(const QString &path, Device &device) const
{
    QVariantMap p;
    const PLVSystemBus::Reply reply = m_bus->getAll(kService, path, kDeviceInterface, p);
    device = Device();
    device.path = path;
    if (!reply.ok())
        return reply.failure;
    device.type = typed<uint>(p, "Type", 0);
    device.state = typed<uint>(p, "State", 0);
    device.powerSupply = typed<bool>(p, "PowerSupply", false);
    device.isPresent = typed<bool>(p, "IsPresent", false);
    device.online = typed<bool>(p, "Online", false);
    device.percentage = std::clamp(typed<double>(p, "Percentage", 0), 0.0, 100.0);
    device.timeToEmpty = std::max<qint64>(0, typed<qlonglong>(p, "TimeToEmpty", 0));
    device.timeToFull = std::max<qint64>(0, typed<qlonglong>(p, "TimeToFull", 0));
    device.capacity = std::clamp(typed<double>(p, "Capacity", 0), 0.0, 100.0);
    device.chargeCycles = typed<int>(p, "ChargeCycles", -1);
    if (device.chargeCycles < 0)
        device.chargeCycles = -1;
    device.energy = typed<double>(p, "Energy", 0);
    device.energyFull = typed<double>(p, "EnergyFull", 0);
    device.energyFullDesign = typed<double>(p, "EnergyFullDesign", 0);
    device.energyRate = typed<double>(p, "EnergyRate", 0);
    device.nativePath = typed<QString>(p, "NativePath", {});
    device.model = typed<QString>(p, "Model", {});
    device.vendor = typed<QString>(p, "Vendor", {});
    return PLVSystemBus::Failure::None;
}

PLVUPower::Snapshot PLVUPower::read() const
{
    Snapshot snapshot;
    const PLVSystemBus::Reply list = m_bus->call(kService, kPath, kInterface, QStringLiteral("EnumerateDevices"));
    snapshot.failure = list.failure;
    if (!list.ok())
        return snapshot;
    QList<QDBusObjectPath> paths;
    if (list.arguments.size() != 1 || list.arguments.first().userType() != qMetaTypeId<QDBusArgument>()
        || list.arguments.first().value<QDBusArgument>().currentSignature() != QLatin1String("ao")) {
        snapshot.failure = PLVSystemBus::Failure::Error;
        return snapshot;
    }
    list.arguments.first().value<QDBusArgument>() >> paths;

    const PLVSystemBus::Reply display = m_bus->call(kService, kPath, kInterface, QStringLiteral("GetDisplayDevice"));
    if (display.ok() && display.arguments.size() == 1 && display.arguments.first().userType() == qMetaTypeId<QDBusObjectPath>()) {
        const QString path = display.arguments.first().value<QDBusObjectPath>().path();
        snapshot.hasDisplayDevice = readDevice(path, snapshot.displayDevice) == PLVSystemBus::Failure::None;
    } else if (display.failure == PLVSystemBus::Failure::NotResponding) {
        snapshot.failure = display.failure;
        return snapshot;
    }

    for (const QDBusObjectPath &path : std::as_const(paths)) {
        Device device;
        const PLVSystemBus::Failure failure = readDevice(path.path(), device);
        if (failure == PLVSystemBus::Failure::None)
            snapshot.devices.push_back(device);
        else if (failure != PLVSystemBus::Failure::NoObject) {
            // The service stopped answering half-way: nothing of this reading is kept.
            snapshot = Snapshot();
            snapshot.failure = failure;
            return snapshot;
        }
    }
    return snapshot;
}
