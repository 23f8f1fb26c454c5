#include "PLVPowerSupply.h"

#include <QDir>

#include <algorithm>
#include <cmath>

namespace PLVPowerSupply {

namespace {

QStringList entries(const PLVSysRoot &root, QString &base)
{
    base = root.path(QStringLiteral("sys/class/power_supply"));
    // The entries are symbolic links to the devices; System keeps them listed.
    return QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
}

QByteArray text(const QString &dir, const char *file) { return PLVSysFile::read(dir + QLatin1String(file)).trimmed(); }

std::optional<long long> integer(const QString &dir, const char *file)
{
    const QByteArray value = text(dir, file);
    bool ok = false;
    const long long n = value.toLongLong(&ok);
    return ok ? std::optional<long long>(n) : std::nullopt;
}

bool isSystem(const QByteArray &scope) { return scope.isEmpty() || scope == "System"; }

State stateOf(const QByteArray &status)
{
    if (status == "Charging")
        return State::Charging;
    if (status == "Discharging")
        return State::Discharging;
    if (status == "Full")
        return State::FullyCharged;
    // Plugged in but held below full (a charge threshold, a hot battery).
    if (status == "Not charging")
        return State::PendingCharge;
    return State::Unknown;
}

// micro-units (µWh, µAh, µW, µA, µV) to units
std::optional<double> micro(const std::optional<long long> &v)
{
    return v ? std::optional<double>(double(*v) / 1e6) : std::nullopt;
}

} // namespace

bool hasSystemBattery(const PLVSysRoot &root)
{
    QString base;
    for (const QString &entry : entries(root, base)) {
        const QString dir = base + QLatin1Char('/') + entry + QLatin1Char('/');
        if (text(dir, "type") != "Battery" || !isSystem(text(dir, "scope")))
            continue;
        const QByteArray present = text(dir, "present");
        if (!present.isEmpty() && present != "1")
            continue;
        return true;
    }
    return false;
}

std::vector<Battery> batteries(const PLVSysRoot &root)
{
    std::vector<Battery> result;
    QString base;
    for (const QString &entry : entries(root, base)) {
        const QString dir = base + QLatin1Char('/') + entry + QLatin1Char('/');
        if (text(dir, "type") != "Battery")
            continue;
        Battery b;
        b.name = entry;
        b.system = isSystem(text(dir, "scope"));
        const QByteArray present = text(dir, "present");
        b.present = present.isEmpty() || present == "1";
        b.model = QString::fromUtf8(text(dir, "model_name"));
        b.manufacturer = QString::fromUtf8(text(dir, "manufacturer"));
        if (!b.present) {
            result.push_back(b);
            continue;
        }
        b.state = stateOf(text(dir, "status"));
        if (const auto cycles = integer(dir, "cycle_count"); cycles && *cycles > 0)
            b.cycleCount = int(*cycles); // 0 is what drivers say when they do not count

        // Energy counters in µWh, else charge counters in µAh times the voltage.
        std::optional<double> now = micro(integer(dir, "energy_now"));
        std::optional<double> full = micro(integer(dir, "energy_full"));
        std::optional<double> design = micro(integer(dir, "energy_full_design"));
        std::optional<double> rate = micro(integer(dir, "power_now"));
        if (!now && !full) {
            const std::optional<double> volts = micro(integer(dir, "voltage_now"));
            const std::optional<double> designVolts = micro(integer(dir, "voltage_min_design"));
            const auto wh = [](const std::optional<double> &ah, const std::optional<double> &v) {
                return ah && v && *v > 0 ? std::optional<double>(*ah * *v) : std::nullopt;
            };
            const std::optional<double> chargeNow = micro(integer(dir, "charge_now"));
            const std::optional<double> chargeFull = micro(integer(dir, "charge_full"));
            const std::optional<double> chargeDesign = micro(integer(dir, "charge_full_design"));
            const std::optional<double> amps = micro(integer(dir, "current_now"));
            now = wh(chargeNow, volts);
            full = wh(chargeFull, volts);
            design = wh(chargeDesign, designVolts ? designVolts : volts);
            rate = wh(amps, volts);
            // Health is a ratio of charges: no voltage needed.
            if (chargeFull && chargeDesign && *chargeDesign > 0)
                b.health = 100.0 * *chargeFull / *chargeDesign;
            // Times from charges: also without a voltage.
            if (chargeNow && amps && std::abs(*amps) > 0) {
                if (b.state == State::Discharging)
                    b.timeToEmpty = qint64(std::llround(3600.0 * *chargeNow / std::abs(*amps)));
                else if (b.state == State::Charging && chargeFull && *chargeFull > *chargeNow)
                    b.timeToFull = qint64(std::llround(3600.0 * (*chargeFull - *chargeNow) / std::abs(*amps)));
            }
            if (!b.percentage && chargeNow && chargeFull && *chargeFull > 0)
                b.percentage = std::clamp(100.0 * *chargeNow / *chargeFull, 0.0, 100.0);
        } else {
            if (full && design && *design > 0)
                b.health = 100.0 * *full / *design;
            if (now && rate && std::abs(*rate) > 0) {
                if (b.state == State::Discharging)
                    b.timeToEmpty = qint64(std::llround(3600.0 * *now / std::abs(*rate)));
                else if (b.state == State::Charging && full && *full > *now)
                    b.timeToFull = qint64(std::llround(3600.0 * (*full - *now) / std::abs(*rate)));
            }
        }
        b.energyWh = now;
        b.energyFullWh = full;
        b.energyFullDesignWh = design;
        if (rate)
            b.powerW = std::abs(*rate);
        // The driver's own estimates, where it gives them, are better than ours.
        if (const auto t = integer(dir, "time_to_empty_now"); t && *t > 0 && b.state == State::Discharging)
            b.timeToEmpty = *t;
        if (const auto t = integer(dir, "time_to_full_now"); t && *t > 0 && b.state == State::Charging)
            b.timeToFull = *t;
        if (const auto capacity = integer(dir, "capacity"); capacity && *capacity >= 0)
            b.percentage = double(std::min<long long>(*capacity, 100));
        else if (now && full && *full > 0)
            b.percentage = std::clamp(100.0 * *now / *full, 0.0, 100.0);
        if (b.percentage && b.state == State::Unknown && *b.percentage <= 0)
            b.state = State::Empty;
        result.push_back(b);
    }
    return result;
}

std::optional<bool> externalPowerOnline(const PLVSysRoot &root)
{
    QString base;
    std::optional<bool> online;
    for (const QString &entry : entries(root, base)) {
        const QString dir = base + QLatin1Char('/') + entry + QLatin1Char('/');
        const QByteArray type = text(dir, "type");
        if (type != "Mains" && !type.startsWith("USB"))
            continue;
        const QByteArray value = text(dir, "online");
        if (value.isEmpty())
            continue;
        online = online.value_or(false) || value != "0";
    }
    return online;
}

} // namespace PLVPowerSupply
