#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

// Whether the computer runs on a battery of its own: an entry of
// /sys/class/power_supply with type "Battery", scope absent or "System" (not a
// mouse or a phone) and present 1 (present absent counts as present).
namespace PLVPowerSupply {
bool hasSystemBattery(const PLVSysRoot &root = PLVSysRoot());
}
