#include "PLVBATTERYModule.h"

#include "PLVCommon/linux/PLVPowerSupply.h"
#include "PLVCommon/linux/PLVSystemBus.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"
#include "PLVCommon/stats/TQBatteryInfo.h"

PLV_REGISTER_CLASS(PLVBATTERYModuleModel)
PLV_REGISTER_CLASS(PLVBATTERYModuleController)

PLVBATTERYModuleModel::PLVBATTERYModuleModel(QObject *parent) : PLVSamplingModuleModel(parent) {}

PLVBATTERYModuleModel::~PLVBATTERYModuleModel() = default;

void PLVBATTERYModuleModel::systemRootDidChange(const PLVSysRoot &root)
{
    const QString bus = systemBusAddress();
    m_battery = std::make_unique<TQBatteryInfo>(root, bus.isEmpty() ? nullptr : std::make_shared<PLVSystemBus>(bus));
}

static QString durationText(qint64 seconds)
{
    const qint64 minutes = (seconds + 30) / 60;
    return QStringLiteral("%1:%2").arg(minutes / 60).arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

QVariantMap PLVBATTERYModuleModel::sample()
{
    QVariantMap values = m_battery->batteryData();
    using Failure = PLVSystemBus::Failure;
    const auto failure = Failure(values.value(QStringLiteral("batteryServiceStatus")).toInt());
    const QString service = failure == Failure::None           ? PLVLoc(QStringLiteral("answering"))
                            : failure == Failure::NoBus         ? PLVLoc(QStringLiteral("no system bus"))
                            : failure == Failure::NoService     ? PLVLoc(QStringLiteral("not running"))
                            : failure == Failure::NotResponding ? PLVLoc(QStringLiteral("not responding"))
                                                                : PLVLoc(QStringLiteral("unusable answer"));
    values.insert(QStringLiteral("batteryServiceText"), service);

    const QString unknown = PLVLoc(QStringLiteral("unknown"));
    const QString none = QStringLiteral("–");
    if (values.value(QStringLiteral("batteryCount")).toInt() == 0) {
        // Nothing of an earlier battery stays on show.
        for (const char *key : {"batteryStatusText", "batteryChargeText", "batteryStateText", "batteryTimeText",
                                "batteryHealthText", "batteryCyclesText", "batterySourceText"})
            values.insert(QLatin1String(key), none);
        values.insert(QStringLiteral("batterySummaryText"), PLVLoc(QStringLiteral("No battery found")));
        values.insert(QStringLiteral("batteryHistory"), pushHistory(QStringLiteral("batteryHistory"), 0));
        return values;
    }

    using State = PLVPowerSupply::State;
    const auto state = State(values.value(QStringLiteral("batteryState")).toUInt());
    QString stateText;
    switch (state) {
    case State::Charging: stateText = PLVLoc(QStringLiteral("Charging")); break;
    case State::Discharging: stateText = PLVLoc(QStringLiteral("On battery")); break;
    case State::Empty: stateText = PLVLoc(QStringLiteral("Empty")); break;
    case State::FullyCharged: stateText = PLVLoc(QStringLiteral("Charged")); break;
    case State::PendingCharge: stateText = PLVLoc(QStringLiteral("Plugged in, not charging")); break;
    case State::PendingDischarge: stateText = PLVLoc(QStringLiteral("Waiting to discharge")); break;
    default: stateText = unknown; break;
    }
    values.insert(QStringLiteral("batteryStateText"), stateText);

    const QVariant percentage = values.value(QStringLiteral("batteryPercentage"));
    const QString charge = percentage.isValid() ? StringExtras::floatToPercentageString(percentage.toFloat()) : none;
    values.insert(QStringLiteral("batteryChargeText"), charge);
    values.insert(QStringLiteral("batteryStatusText"),
                  state == State::Charging && percentage.isValid() ? charge + QStringLiteral(" ↑") : charge);
    values.insert(QStringLiteral("batteryHistory"), pushHistory(QStringLiteral("batteryHistory"), percentage.toFloat()));

    QString time = none;
    if (const qint64 empty = values.value(QStringLiteral("batteryTimeToEmpty")).toLongLong(); empty > 0)
        time = PLVLoc(QStringLiteral("%1 remaining")).arg(durationText(empty));
    else if (const qint64 full = values.value(QStringLiteral("batteryTimeToFull")).toLongLong(); full > 0)
        time = PLVLoc(QStringLiteral("%1 until full")).arg(durationText(full));
    else if (state == State::Charging || state == State::Discharging)
        time = PLVLoc(QStringLiteral("estimating"));
    values.insert(QStringLiteral("batteryTimeText"), time);

    const QVariant health = values.value(QStringLiteral("batteryHealth"));
    values.insert(QStringLiteral("batteryHealthText"), health.isValid() ? StringExtras::floatToPercentageString(health.toFloat()) : unknown);
    const QVariant cycles = values.value(QStringLiteral("batteryCycleCount"));
    values.insert(QStringLiteral("batteryCyclesText"), cycles.isValid() ? QLocale().toString(cycles.toInt()) : unknown);
    const bool fromUPower = values.value(QStringLiteral("batterySource")).toString() == QLatin1String("UPower");
    values.insert(QStringLiteral("batterySourceText"), fromUPower ? QStringLiteral("UPower") : PLVLoc(QStringLiteral("kernel")));
    values.insert(QStringLiteral("batterySummaryText"), stateText + QStringLiteral(", ") + charge
                                                            + (time == none ? QString() : QStringLiteral(", ") + time));
    return values;
}
