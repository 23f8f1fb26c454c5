#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QString>

#include <optional>
#include <vector>

// The kernel's power supplies (/sys/class/power_supply): whether the computer
// runs on a battery of its own, and what its batteries say.
namespace PLVPowerSupply {

// Charge state, numbered as UPower numbers it, so that both sources read alike.
enum class State : unsigned {
    Unknown = 0,
    Charging = 1,
    Discharging = 2,
    Empty = 3,
    FullyCharged = 4,
    PendingCharge = 5,
    PendingDischarge = 6,
};

// One battery entry. Every figure is absent when its file is missing or
// unreadable (drivers answer EIO or ENODATA while the battery's controller is
// busy), so a failed read never shows as a zero.
struct Battery {
    QString name;          // the entry's name, "BAT0"
    bool system = false;   // scope absent or "System": powers this computer
    bool present = true;   // "present" absent counts as present
    State state = State::Unknown;
    std::optional<double> percentage;   // 0-100
    std::optional<double> energyWh;     // now, full and design, in Wh; from charge_* x voltage when
    std::optional<double> energyFullWh; // the driver counts in Ah
    std::optional<double> energyFullDesignWh;
    std::optional<double> powerW;       // the rate of charge or discharge, positive
    std::optional<qint64> timeToEmpty;  // seconds, while discharging
    std::optional<qint64> timeToFull;   // seconds, while charging
    std::optional<double> health;       // full / design, percent
    std::optional<int> cycleCount;
    QString model;
    QString manufacturer;
};

// Whether an entry with type "Battery", scope absent or "System" (not a mouse
// or a phone) and present 1 (present absent counts as present) exists.
bool hasSystemBattery(const PLVSysRoot &root = PLVSysRoot());

// Every entry of type "Battery", in name order; peripherals included, with
// `system` false.
std::vector<Battery> batteries(const PLVSysRoot &root = PLVSysRoot());

// Whether a mains or USB supply is online; absent when there is none.
std::optional<bool> externalPowerOnline(const PLVSysRoot &root = PLVSysRoot());

} // namespace PLVPowerSupply
