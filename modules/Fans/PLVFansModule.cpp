#include "PLVFansModule.h"

#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"

PLV_REGISTER_CLASS(PLVFansModuleModel)
PLV_REGISTER_CLASS(PLVFansModuleController)

QVariantMap PLVFansModuleModel::sample()
{
    QVariantMap values;
    QVariantList fans;
    QStringList lines;
    QVariantMap histories;
    std::optional<qint64> fastest;
    for (const PLVFanSensor &f : m_source->fans()) {
        const QString name = PLVLoc(f.group) + QLatin1Char(' ') + f.label;
        QVariantMap entry{{QStringLiteral("id"), f.id}, {QStringLiteral("group"), f.group},
                          {QStringLiteral("label"), f.label}, {QStringLiteral("name"), name},
                          {QStringLiteral("control"), f.control}};
        QString text;
        if (f.rpm) {
            entry.insert(QStringLiteral("rpm"), *f.rpm);
            text = PLVLoc(QStringLiteral("%1 rpm")).arg(*f.rpm);
            histories.insert(f.id, pushHistory(QStringLiteral("fan:") + f.id, float(*f.rpm)));
            if (!fastest || *f.rpm > *fastest)
                fastest = *f.rpm;
        } else {
            text = PLVLoc(QStringLiteral("unavailable"));
        }
        if (f.dutyPercent) {
            entry.insert(QStringLiteral("dutyPerc"), *f.dutyPercent);
            text += QStringLiteral(", ") + StringExtras::floatToPercentageString(float(*f.dutyPercent));
        }
        if (f.control == 0)
            text += QStringLiteral(", ") + PLVLoc(QStringLiteral("full speed"));
        else if (f.control == 1)
            text += QStringLiteral(", ") + PLVLoc(QStringLiteral("manual"));
        else if (f.control >= 2)
            text += QStringLiteral(", ") + PLVLoc(QStringLiteral("automatic"));
        entry.insert(QStringLiteral("text"), text);
        lines << name + QStringLiteral(": ") + text;
        fans << entry;
    }
    values.insert(QStringLiteral("fanSensors"), fans);
    values.insert(QStringLiteral("fanHistories"), histories);
    values.insert(QStringLiteral("fanSensorsText"), lines.isEmpty() ? QStringList{PLVLoc(QStringLiteral("none found"))} : lines);
    if (fastest) {
        values.insert(QStringLiteral("fanSpeed"), *fastest);
        values.insert(QStringLiteral("fanStatusText"), PLVLoc(QStringLiteral("%1 rpm")).arg(*fastest));
    } else {
        values.insert(QStringLiteral("fanStatusText"), PLVLoc(QStringLiteral("none found")));
    }
    return values;
}
