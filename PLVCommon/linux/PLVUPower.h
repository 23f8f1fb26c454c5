#pragma once
#include "PLVCommon/linux/PLVSystemBus.h"

#include <QString>

#include <memory>
#include <vector>

// UPower (org.freedesktop.UPower on the system bus), which desktops treat as
// the truth about batteries: its display device (all system batteries as one)
// and every device it knows.
class PLVUPower
{
public:
    // Device types and states as UPower numbers them (the ones used here).
    static constexpr unsigned kTypeLinePower = 1;
    static constexpr unsigned kTypeBattery = 2;

    struct Device {
        QString path;
        unsigned type = 0;
        unsigned state = 0;
        bool powerSupply = false; // powers this computer (a laptop battery), not a peripheral
        bool isPresent = false;
        bool online = false;      // line power plugged in
        double percentage = 0;
        qint64 timeToEmpty = 0;   // seconds; 0 = unknown
        qint64 timeToFull = 0;
        double capacity = 0;      // health: percent of the design capacity; 0 = unknown
        int chargeCycles = -1;    // -1 = unknown
        double energy = 0, energyFull = 0, energyFullDesign = 0, energyRate = 0; // Wh, W
        QString nativePath, model, vendor;
    };

    struct Snapshot {
        PLVSystemBus::Failure failure = PLVSystemBus::Failure::NoBus;
        bool hasDisplayDevice = false;
        Device displayDevice;
        std::vector<Device> devices; // in the order UPower lists them
    };

    explicit PLVUPower(std::shared_ptr<PLVSystemBus> bus = PLVSystemBus::shared());

    // One reading: the display device and all devices. A device that vanishes
    // between the listing and its reading is left out.
    Snapshot read() const;
    // The properties of one device (UnknownObject when it is gone).
    PLVSystemBus::Failure readDevice(const QString &path, Device &device) const;

    PLVSystemBus &bus() const { return *m_bus; }

private:
    std::shared_ptr<PLVSystemBus> m_bus;
};
