#include "PLVCommon/linux/PLVPowercap.h"

#include <QDir>

#include <algorithm>

namespace PLVPowercap {

std::optional<quint64> parseCounter(QByteArrayView text)
{
    if (text.endsWith('\n'))
        text.chop(1);
    if (text.isEmpty() || text.size() > 20)
        return std::nullopt;
    quint64 value = 0;
    for (const char c : text) {
        if (c < '0' || c > '9')
            return std::nullopt;
        const quint64 digit = quint64(c - '0');
        if (value > (~quint64(0) - digit) / 10)
            return std::nullopt;
        value = value * 10 + digit;
    }
    return value;
}

QList<Zone> readPackageZones(const PLVSysRoot &root)
{
    const QString base = root.path(QStringLiteral("sys/class/powercap"));
    QList<std::pair<int, Zone>> found;
    const QStringList names = QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System);
    for (const QString &id : names) {
        // Only top-level zones of the RAPL control type: "intel-rapl:0:0" is a
        // sub-zone (core, uncore), "intel-rapl-mmio:0" repeats a package.
        static const QLatin1String prefix("intel-rapl:");
        if (!id.startsWith(prefix))
            continue;
        bool ok = false;
        const int number = id.mid(prefix.size()).toInt(&ok);
        if (!ok || number < 0)
            continue;
        const QString dir = base + QLatin1Char('/') + id + QLatin1Char('/');
        const QByteArray name = PLVSysFile::read(dir + QStringLiteral("name"), 256).trimmed();
        if (!name.startsWith("package-"))
            continue; // psys, dram: not a processor package
        const auto energy = parseCounter(PLVSysFile::read(dir + QStringLiteral("energy_uj"), 64));
        if (!energy)
            continue;
        Zone zone;
        zone.id = id;
        zone.name = QString::fromLatin1(name);
        zone.energyUj = *energy;
        zone.maxEnergyRangeUj = parseCounter(PLVSysFile::read(dir + QStringLiteral("max_energy_range_uj"), 64)).value_or(0);
        found.append({number, zone});
    }
    std::sort(found.begin(), found.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    QList<Zone> zones;
    for (const auto &f : found)
        zones.append(f.second);
    return zones;
}

std::optional<quint64> energyDelta(quint64 before, quint64 after, quint64 range)
{
    if (after >= before)
        return after - before;
    if (range == 0 || before > range)
        return std::nullopt;
    return (range - before) + after;
}

} // namespace PLVPowercap
