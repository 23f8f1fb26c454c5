#include "PLVTEMPModule.h"

#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/shared/TQSytemTemperatureSettting.h"

#include <QLocale>

PLV_REGISTER_CLASS(PLVTEMPModuleModel)
PLV_REGISTER_CLASS(PLVTEMPModuleController)

int PLVTEMPModuleModel::temperatureUnit() const
{
    bool ok = false;
    const int own = moduleSetting(QStringLiteral("temperatureUnit")).toInt(&ok);
    if (ok && (own == 0 || own == 1))
        return own;
    // Read without the shared instance's stored value: this runs on the global queue.
    return TQSytemTemperatureSettting::temperatureSettingForLocaleName(TQSytemTemperatureSettting::measurementLocaleName()) == 1 ? 1 : 0;
}

QVariantMap PLVTEMPModuleModel::sample()
{
    const bool fahrenheit = temperatureUnit() == 1;
    const QString unit = fahrenheit ? QStringLiteral("°F") : QStringLiteral("°C");
    const QLocale locale;
    auto text = [&](double v) { return locale.toString(v, 'f', 0) + QLatin1Char(' ') + unit; };

    QVariantMap values;
    QVariantList sensors;
    QStringList lines;
    QVariantMap histories;
    std::optional<double> hottestCPU, hottest;
    for (const PLVTemperatureSensor &s : m_source->temperatures()) {
        const QString name = PLVLoc(s.group) + QLatin1Char(' ') + s.label;
        QVariantMap entry{{QStringLiteral("id"), s.id}, {QStringLiteral("group"), s.group},
                          {QStringLiteral("label"), s.label}, {QStringLiteral("name"), name}};
        if (s.celsius) {
            const double v = fahrenheit ? *s.celsius * 9.0 / 5.0 + 32.0 : *s.celsius;
            entry.insert(QStringLiteral("value"), v);
            entry.insert(QStringLiteral("text"), text(v));
            histories.insert(s.id, pushHistory(QStringLiteral("temp:") + s.id, float(v)));
            if (!hottest || v > *hottest)
                hottest = v;
            if (s.group == QLatin1String("CPU") && (!hottestCPU || v > *hottestCPU))
                hottestCPU = v;
        } else {
            entry.insert(QStringLiteral("text"), PLVLoc(QStringLiteral("unavailable")));
        }
        lines << name + QStringLiteral(": ") + entry.value(QStringLiteral("text")).toString();
        sensors << entry;
    }
    values.insert(QStringLiteral("tempSensors"), sensors);
    values.insert(QStringLiteral("tempHistories"), histories);
    values.insert(QStringLiteral("tempUnit"), fahrenheit ? 1 : 0);
    values.insert(QStringLiteral("tempSensorsText"), lines.isEmpty() ? QStringList{PLVLoc(QStringLiteral("none found"))} : lines);
    // The menu bar shows the hottest processor sensor, else the hottest of all.
    const std::optional<double> shown = hottestCPU ? hottestCPU : hottest;
    if (shown) {
        values.insert(QStringLiteral("tempValue"), *shown);
        values.insert(QStringLiteral("tempStatusText"), text(*shown));
    } else {
        values.insert(QStringLiteral("tempStatusText"), PLVLoc(QStringLiteral("none found")));
    }
    return values;
}
