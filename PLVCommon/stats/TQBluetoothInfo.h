#pragma once
#include <QVariantMap>

#include <memory>

class PLVBlueZ;
class PLVSystemBus;

// The Bluetooth devices connected through BlueZ, with their battery levels.
//
// bluetoothData() keys:
//   "bluetoothServiceStatus"   int, PLVSystemBus::Failure of the BlueZ reading (0 = answered)
//   "bluetoothAdapterCount"    int
//   "bluetoothPowered"         bool, some adapter is powered
//   "bluetoothConnectedCount"  int
//   "bluetoothDevices"         the connected devices, one map each: "name", "address",
//                              "icon", and "batteryPercentage" (int) when the device tells
// Without an answer from BlueZ the counts are 0 and the list is empty.
class TQBluetoothInfo
{
public:
    explicit TQBluetoothInfo(std::shared_ptr<PLVSystemBus> bus = nullptr);
    ~TQBluetoothInfo();

    // One reading. Thread-safe.
    QVariantMap bluetoothData() const;

private:
    std::unique_ptr<PLVBlueZ> m_bluez;
};
