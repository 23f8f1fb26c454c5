#include "PLVPowerSupply.h"

#include <QDir>

namespace PLVPowerSupply {

bool hasSystemBattery(const PLVSysRoot &root)
{
    const QString base = root.path(QStringLiteral("sys/class/power_supply"));
    const QStringList entries = QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System);
    for (const QString &entry : entries) {
        const QString dir = base + QLatin1Char('/') + entry + QLatin1Char('/');
        if (PLVSysFile::read(dir + QStringLiteral("type")).trimmed() != "Battery")
            continue;
        const QByteArray scope = PLVSysFile::read(dir + QStringLiteral("scope")).trimmed();
        if (!scope.isEmpty() && scope != "System")
            continue;
        const QByteArray present = PLVSysFile::read(dir + QStringLiteral("present")).trimmed();
        if (!present.isEmpty() && present != "1")
            continue;
        return true;
    }
    return false;
}

} // namespace PLVPowerSupply
