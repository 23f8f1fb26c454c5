#pragma once
#include <QVariantList>

class QDBusConnection;

// The units of a systemd manager, as job dictionaries of a service launcher:
// "Label" (the unit name) and, for a unit whose main process runs, "PID".
namespace PLVSystemdJobs {

// The units of the manager reached on `bus` (systemd's ListUnits, then the
// MainPID of each service unit that is not inactive), in the order systemd
// lists them. No bus, no manager or a refused call: an empty list.
QVariantList jobDictionaries(const QDBusConnection &bus);

// The user's manager (session bus), then the system's (system bus), where the
// privileged helper runs.
QVariantList userAndSystemJobDictionaries();

} // namespace PLVSystemdJobs
