#pragma once
#include "PLVCommon/linux/PLVSystemBus.h"

#include <QString>

#include <memory>
#include <optional>
#include <vector>

// BlueZ (org.bluez on the system bus): its adapters and the devices it knows,
// read in one ObjectManager.GetManagedObjects call.
class PLVBlueZ
{
public:
    struct Adapter {
        QString path;
        QString address;
        QString name; // Alias, else Name
        bool powered = false;
    };
    struct Device {
        QString path;
        QString adapterPath;
        QString address;
        QString name; // Alias, else Name, else the address
        QString icon; // freedesktop icon name ("audio-headset", "input-mouse")
        bool connected = false;
        bool paired = false;
        std::optional<int> batteryPercentage; // org.bluez.Battery1, 0-100
    };
    struct Snapshot {
        PLVSystemBus::Failure failure = PLVSystemBus::Failure::NoBus;
        std::vector<Adapter> adapters;
        std::vector<Device> devices; // in object path order
    };

    explicit PLVBlueZ(std::shared_ptr<PLVSystemBus> bus = PLVSystemBus::shared());
    Snapshot read() const;

private:
    std::shared_ptr<PLVSystemBus> m_bus;
};
