#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QVariantMap>

#include <memory>

class PLVSystemBus;
class PLVUPower;

// The computer's own batteries, asked of UPower (what the desktop shows) and,
// where UPower is absent, silent or knows no battery, read from the kernel's
// power supplies. Peripheral batteries (a mouse, a phone) are never counted.
//
// batteryData() keys; a figure that neither source knows is absent:
//   "batteryServiceStatus"  int, PLVSystemBus::Failure of the UPower reading (0 = answered)
//   "batteryCount"          int, system batteries present (0 = none found)
//   "batterySource"         "UPower" or "kernel", with at least one battery
//   "batteryPercentage"     double, 0-100, all batteries as one
//   "batteryState"          uint, UPower's numbering (PLVPowerSupply::State)
//   "batteryTimeToEmpty"    qint64 seconds, while discharging
//   "batteryTimeToFull"     qint64 seconds, while charging
//   "batteryHealth"         double, full capacity as a percent of the design capacity
//   "batteryCycleCount"     int, the most of any battery
//   "batteryList"           one map per battery: "name", "model", "percentage", "state",
//                           and "health", "cycleCount" when known
class TQBatteryInfo
{
public:
    explicit TQBatteryInfo(const PLVSysRoot &root = PLVSysRoot(), std::shared_ptr<PLVSystemBus> bus = nullptr);
    ~TQBatteryInfo();

    // One reading of both sources. Thread-safe.
    QVariantMap batteryData() const;
    // The kernel's side only, as batteryData() gives it without UPower.
    QVariantMap kernelBatteryData() const;

private:
    PLVSysRoot m_root;
    std::unique_ptr<PLVUPower> m_upower;
};
