#include "TQBatteryInfo.h"

#include "PLVCommon/linux/PLVPowerSupply.h"
#include "PLVCommon/linux/PLVSystemBus.h"
#include "PLVCommon/linux/PLVUPower.h"

#include <algorithm>
#include <optional>

namespace {

using State = PLVPowerSupply::State;

// Several batteries as one: charging wins over discharging, full only when
// all are full.
unsigned combinedState(const std::vector<unsigned> &states)
{
    const auto any = [&](State s) { return std::find(states.begin(), states.end(), unsigned(s)) != states.end(); };
    if (states.empty())
        return unsigned(State::Unknown);
    if (any(State::Charging))
        return unsigned(State::Charging);
    if (any(State::Discharging))
        return unsigned(State::Discharging);
    if (std::all_of(states.begin(), states.end(), [](unsigned s) { return s == unsigned(State::FullyCharged); }))
        return unsigned(State::FullyCharged);
    if (any(State::PendingCharge))
        return unsigned(State::PendingCharge);
    return states.front();
}

void insertIfPositive(QVariantMap &map, const QString &key, qint64 seconds)
{
    if (seconds > 0)
        map.insert(key, seconds);
}

} // namespace

TQBatteryInfo::TQBatteryInfo(const PLVSysRoot &root, std::shared_ptr<PLVSystemBus> bus)
    : m_root(root), m_upower(std::make_unique<PLVUPower>(bus ? std::move(bus) : PLVSystemBus::shared()))
{
}

TQBatteryInfo::~TQBatteryInfo() = default;

QVariantMap TQBatteryInfo::kernelBatteryData() const
{
    QVariantMap data{{QStringLiteral("batteryCount"), 0}};
    std::vector<PLVPowerSupply::Battery> batteries;
    for (const PLVPowerSupply::Battery &b : PLVPowerSupply::batteries(m_root))
        if (b.system && b.present)
            batteries.push_back(b);
    if (batteries.empty())
        return data;

    data.insert(QStringLiteral("batteryCount"), int(batteries.size()));
    data.insert(QStringLiteral("batterySource"), QStringLiteral("kernel"));
    QVariantList list;
    std::vector<unsigned> states;
    double energy = 0, full = 0, power = 0, percentSum = 0, healthFull = 0, healthDesign = 0;
    bool energiesKnown = true, powerKnown = true, percentagesKnown = true, healthKnown = true;
    int percentCount = 0;
    std::optional<int> cycles;
    for (const PLVPowerSupply::Battery &b : batteries) {
        QVariantMap entry{{QStringLiteral("name"), b.name},
                          {QStringLiteral("model"), b.model},
                          {QStringLiteral("state"), unsigned(b.state)}};
        states.push_back(unsigned(b.state));
        if (b.percentage) {
            entry.insert(QStringLiteral("percentage"), *b.percentage);
            percentSum += *b.percentage;
            ++percentCount;
        } else {
            percentagesKnown = false;
        }
        if (b.health) {
            entry.insert(QStringLiteral("health"), *b.health);
        }
        if (b.cycleCount) {
            entry.insert(QStringLiteral("cycleCount"), *b.cycleCount);
            cycles = std::max(cycles.value_or(0), *b.cycleCount);
        }
        energiesKnown = energiesKnown && b.energyWh && b.energyFullWh && *b.energyFullWh > 0;
        if (energiesKnown) {
            energy += *b.energyWh;
            full += *b.energyFullWh;
        }
        powerKnown = powerKnown && b.powerW;
        if (powerKnown)
            power += *b.powerW;
        healthKnown = healthKnown && b.energyFullWh && b.energyFullDesignWh && *b.energyFullDesignWh > 0;
        if (healthKnown) {
            healthFull += *b.energyFullWh;
            healthDesign += *b.energyFullDesignWh;
        }
        list << entry;
    }
    data.insert(QStringLiteral("batteryList"), list);
    const unsigned state = combinedState(states);
    data.insert(QStringLiteral("batteryState"), state);
    if (batteries.size() == 1) {
        const PLVPowerSupply::Battery &b = batteries.front();
        if (b.percentage)
            data.insert(QStringLiteral("batteryPercentage"), *b.percentage);
        if (b.health)
            data.insert(QStringLiteral("batteryHealth"), *b.health);
        insertIfPositive(data, QStringLiteral("batteryTimeToEmpty"), b.timeToEmpty.value_or(0));
        insertIfPositive(data, QStringLiteral("batteryTimeToFull"), b.timeToFull.value_or(0));
    } else {
        // Energies add up; percentages of batteries of different sizes do not.
        if (energiesKnown)
            data.insert(QStringLiteral("batteryPercentage"), std::clamp(100.0 * energy / full, 0.0, 100.0));
        else if (percentagesKnown && percentCount > 0)
            data.insert(QStringLiteral("batteryPercentage"), percentSum / percentCount);
        if (healthKnown)
            data.insert(QStringLiteral("batteryHealth"), 100.0 * healthFull / healthDesign);
        if (energiesKnown && powerKnown && power > 0) {
            if (state == unsigned(State::Discharging))
                insertIfPositive(data, QStringLiteral("batteryTimeToEmpty"), qint64(3600.0 * energy / power));
            else if (state == unsigned(State::Charging))
                insertIfPositive(data, QStringLiteral("batteryTimeToFull"), qint64(3600.0 * (full - energy) / power));
        }
    }
    if (cycles)
        data.insert(QStringLiteral("batteryCycleCount"), *cycles);
    return data;
}

QVariantMap TQBatteryInfo::batteryData() const
{
    const PLVUPower::Snapshot snapshot = m_upower->read();
    std::vector<PLVUPower::Device> batteries;
    for (const PLVUPower::Device &d : snapshot.devices)
        if (d.type == PLVUPower::kTypeBattery && d.powerSupply && d.isPresent)
            batteries.push_back(d);

    if (batteries.empty()) {
        QVariantMap data = kernelBatteryData();
        data.insert(QStringLiteral("batteryServiceStatus"), int(snapshot.failure));
        return data;
    }

    QVariantMap data{{QStringLiteral("batteryServiceStatus"), int(snapshot.failure)},
                     {QStringLiteral("batteryCount"), int(batteries.size())},
                     {QStringLiteral("batterySource"), QStringLiteral("UPower")}};
    QVariantList list;
    std::vector<unsigned> states;
    double capacityWeighted = 0, designSum = 0, capacitySum = 0;
    int capacityCount = 0, cycles = -1;
    for (const PLVUPower::Device &d : batteries) {
        QVariantMap entry{{QStringLiteral("name"), d.nativePath.isEmpty() ? d.path.section(QLatin1Char('/'), -1) : d.nativePath},
                          {QStringLiteral("model"), d.model},
                          {QStringLiteral("state"), d.state},
                          {QStringLiteral("percentage"), d.percentage}};
        states.push_back(d.state);
        if (d.capacity > 0) {
            entry.insert(QStringLiteral("health"), d.capacity);
            capacitySum += d.capacity;
            ++capacityCount;
            if (d.energyFullDesign > 0) {
                capacityWeighted += d.capacity * d.energyFullDesign;
                designSum += d.energyFullDesign;
            }
        }
        if (d.chargeCycles >= 0) {
            entry.insert(QStringLiteral("cycleCount"), d.chargeCycles);
            cycles = std::max(cycles, d.chargeCycles);
        }
        list << entry;
    }
    data.insert(QStringLiteral("batteryList"), list);
    if (capacityCount > 0)
        data.insert(QStringLiteral("batteryHealth"),
                    designSum > 0 && capacityCount == int(batteries.size()) ? capacityWeighted / designSum
                                                                            : capacitySum / capacityCount);
    if (cycles >= 0)
        data.insert(QStringLiteral("batteryCycleCount"), cycles);

    // The display device is UPower's own sum of the system batteries: the
    // figures the desktop shows. Without it, the single battery's.
    const PLVUPower::Device *headline = nullptr;
    if (snapshot.hasDisplayDevice && snapshot.displayDevice.type == PLVUPower::kTypeBattery && snapshot.displayDevice.isPresent)
        headline = &snapshot.displayDevice;
    else if (batteries.size() == 1)
        headline = &batteries.front();
    if (headline) {
        data.insert(QStringLiteral("batteryPercentage"), headline->percentage);
        data.insert(QStringLiteral("batteryState"), headline->state);
        if (headline->state == unsigned(State::Discharging))
            insertIfPositive(data, QStringLiteral("batteryTimeToEmpty"), headline->timeToEmpty);
        if (headline->state == unsigned(State::Charging))
            insertIfPositive(data, QStringLiteral("batteryTimeToFull"), headline->timeToFull);
    } else {
        double energy = 0, full = 0;
        for (const PLVUPower::Device &d : batteries) {
            energy += d.energy;
            full += d.energyFull;
        }
        if (full > 0)
            data.insert(QStringLiteral("batteryPercentage"), std::clamp(100.0 * energy / full, 0.0, 100.0));
        data.insert(QStringLiteral("batteryState"), combinedState(states));
    }
    return data;
}
