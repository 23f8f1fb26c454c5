#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QByteArrayView>
#include <QList>
#include <QString>

#include <optional>

// Package energy counters of the kernel's powercap framework: the top-level
// zones "class/powercap/intel-rapl:N" (Intel's RAPL driver, also used by AMD
// processors) whose name is "package-N". The counters are readable by root only.
namespace PLVPowercap {

struct Zone {
    QString id;                 // "intel-rapl:0"
    QString name;               // "package-0"
    quint64 energyUj = 0;       // energy_uj
    quint64 maxEnergyRangeUj = 0; // max_energy_range_uj; 0 when unreadable
};

// A counter file's content: decimal digits, optionally followed by one newline.
std::optional<quint64> parseCounter(QByteArrayView text);

// The package zones under the root, in zone order. A zone whose energy counter
// cannot be read is left out.
QList<Zone> readPackageZones(const PLVSysRoot &root);

// Energy between two readings of a counter that wraps after `range`
// (max_energy_range_uj, the counter's largest value). A smaller second reading
// is a wrap; absent when the readings cannot come from such a counter.
std::optional<quint64> energyDelta(quint64 before, quint64 after, quint64 range);

} // namespace PLVPowercap
