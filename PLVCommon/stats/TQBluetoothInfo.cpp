#include "TQBluetoothInfo.h"

#include "PLVCommon/linux/PLVBlueZ.h"
#include "PLVCommon/linux/PLVSystemBus.h"

TQBluetoothInfo::TQBluetoothInfo(std::shared_ptr<PLVSystemBus> bus)
    : m_bluez(std::make_unique<PLVBlueZ>(bus ? std::move(bus) : PLVSystemBus::shared()))
{
}

TQBluetoothInfo::~TQBluetoothInfo() = default;

QVariantMap TQBluetoothInfo::bluetoothData() const
{
    const PLVBlueZ::Snapshot snapshot = m_bluez->read();
    bool powered = false;
    for (const PLVBlueZ::Adapter &a : snapshot.adapters)
        powered = powered || a.powered;
    QVariantList devices;
    for (const PLVBlueZ::Device &d : snapshot.devices) {
        if (!d.connected)
            continue;
        QVariantMap entry{{QStringLiteral("name"), d.name},
                          {QStringLiteral("address"), d.address},
                          {QStringLiteral("icon"), d.icon}};
        if (d.batteryPercentage)
            entry.insert(QStringLiteral("batteryPercentage"), *d.batteryPercentage);
        devices << entry;
    }
    return {{QStringLiteral("bluetoothServiceStatus"), int(snapshot.failure)},
            {QStringLiteral("bluetoothAdapterCount"), int(snapshot.adapters.size())},
            {QStringLiteral("bluetoothPowered"), powered},
            {QStringLiteral("bluetoothConnectedCount"), int(devices.size())},
            {QStringLiteral("bluetoothDevices"), devices}};
}
