#include "PLVBTModule.h"

#include "PLVCommon/linux/PLVSystemBus.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"
#include "PLVCommon/stats/TQBluetoothInfo.h"

PLV_REGISTER_CLASS(PLVBTModuleModel)
PLV_REGISTER_CLASS(PLVBTModuleController)

PLVBTModuleModel::PLVBTModuleModel(QObject *parent) : PLVSamplingModuleModel(parent) {}

PLVBTModuleModel::~PLVBTModuleModel() = default;

void PLVBTModuleModel::systemRootDidChange(const PLVSysRoot &)
{
    const QString bus = systemBusAddress();
    m_bluetooth = std::make_unique<TQBluetoothInfo>(bus.isEmpty() ? nullptr : std::make_shared<PLVSystemBus>(bus));
}

QVariantMap PLVBTModuleModel::sample()
{
    QVariantMap values = m_bluetooth->bluetoothData();
    using Failure = PLVSystemBus::Failure;
    const auto failure = Failure(values.value(QStringLiteral("bluetoothServiceStatus")).toInt());
    const int connected = values.value(QStringLiteral("bluetoothConnectedCount")).toInt();

    QVariantList list;
    QStringList lines;
    for (const QVariant &v : values.value(QStringLiteral("bluetoothDevices")).toList()) {
        QVariantMap device = v.toMap();
        QString line = device.value(QStringLiteral("name")).toString();
        if (device.contains(QStringLiteral("batteryPercentage"))) {
            const QString battery = StringExtras::floatToPercentageString(device.value(QStringLiteral("batteryPercentage")).toFloat());
            device.insert(QStringLiteral("batteryText"), battery);
            line += QLatin1Char(' ') + battery;
        }
        lines << line;
        list << device;
    }
    values.insert(QStringLiteral("bluetoothDevices"), list);

    QString summary;
    QString status = QStringLiteral("–");
    if (failure == Failure::NoBus)
        summary = PLVLoc(QStringLiteral("No system bus"));
    else if (failure == Failure::NoService || failure == Failure::NoObject)
        summary = PLVLoc(QStringLiteral("Bluetooth service not running"));
    else if (failure == Failure::NotResponding)
        summary = PLVLoc(QStringLiteral("Bluetooth service not responding"));
    else if (failure != Failure::None)
        summary = PLVLoc(QStringLiteral("Bluetooth service gave an unusable answer"));
    else if (values.value(QStringLiteral("bluetoothAdapterCount")).toInt() == 0)
        summary = PLVLoc(QStringLiteral("No Bluetooth adapter"));
    else if (!values.value(QStringLiteral("bluetoothPowered")).toBool()) {
        summary = PLVLoc(QStringLiteral("Bluetooth is off"));
        status = PLVLoc(QStringLiteral("off"));
    } else {
        summary = connected == 0 ? PLVLoc(QStringLiteral("No device connected"))
                  : connected == 1 ? PLVLoc(QStringLiteral("1 device connected"))
                                   : PLVLoc(QStringLiteral("%1 devices connected")).arg(connected);
        status = QString::number(connected);
    }
    values.insert(QStringLiteral("bluetoothSummaryText"), summary);
    values.insert(QStringLiteral("bluetoothStatusText"), status);
    values.insert(QStringLiteral("bluetoothDevicesText"), lines.isEmpty() ? QStringLiteral("–") : lines.join(QStringLiteral(", ")));
    return values;
}
