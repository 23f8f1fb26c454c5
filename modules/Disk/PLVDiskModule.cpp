#include "PLVDiskModule.h"

#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"

PLV_REGISTER_CLASS(PLVDiskModuleModel)
PLV_REGISTER_CLASS(PLVDiskModuleController)

namespace {

QString rateText(double bytesPerSecond) { return StringExtras::buildStringToDisplayForValueBandwith(quint64(bytesPerSecond)); }

} // namespace

QVariantMap PLVDiskModuleModel::sample()
{
    QVariantMap values;
    QVariantList volumes;
    QStringList volumeLines;
    int main = -1;
    const QList<PLVMountedVolume> mounted = m_source->volumes();
    for (const PLVMountedVolume &v : mounted) {
        const float usedPerc = v.totalBytes ? float(100.0 * double(v.usedBytes) / double(v.totalBytes)) : 0.0f;
        const QString freeText = StringExtras::doubleCapacityDiskToString(double(v.freeBytes));
        const QString totalText = StringExtras::doubleCapacityDiskToString(double(v.totalBytes));
        volumes << QVariantMap{{QStringLiteral("mountPoint"), v.mountPoint},
                               {QStringLiteral("device"), v.device},
                               {QStringLiteral("fsType"), v.fsType},
                               {QStringLiteral("totalSize"), v.totalBytes},
                               {QStringLiteral("freeSize"), v.freeBytes},
                               {QStringLiteral("usedSize"), v.usedBytes},
                               {QStringLiteral("usedPerc"), usedPerc},
                               {QStringLiteral("freeText"), freeText},
                               {QStringLiteral("totalText"), totalText}};
        volumeLines << PLVLoc(QStringLiteral("%1: %2 free of %3")).arg(v.mountPoint, freeText, totalText);
        if (main < 0 || v.mountPoint == QLatin1String("/"))
            main = int(volumes.size() - 1);
    }
    values.insert(QStringLiteral("diskVolumes"), volumes);
    values.insert(QStringLiteral("diskVolumesText"),
                  volumeLines.isEmpty() ? QStringList{PLVLoc(QStringLiteral("none found"))} : volumeLines);
    if (main >= 0) {
        const QVariantMap v = volumes[main].toMap();
        values.insert(QStringLiteral("diskUsedPerc"), v.value(QStringLiteral("usedPerc")));
        values.insert(QStringLiteral("diskUsedText"), StringExtras::floatToPercentageString(v.value(QStringLiteral("usedPerc")).toFloat()));
    }

    double read = 0, write = 0;
    QVariantList disks;
    QStringList diskLines;
    for (const PLVDiskActivity &d : m_source->activity()) {
        read += d.readRate;
        write += d.writeRate;
        disks << QVariantMap{{QStringLiteral("name"), d.name},
                             {QStringLiteral("model"), d.model},
                             {QStringLiteral("removable"), d.removable},
                             {QStringLiteral("readRate"), quint64(d.readRate)},
                             {QStringLiteral("writeRate"), quint64(d.writeRate)}};
        diskLines << PLVLoc(QStringLiteral("%1: read %2, write %3")).arg(d.model, rateText(d.readRate), rateText(d.writeRate));
    }
    values.insert(QStringLiteral("diskDevices"), disks);
    values.insert(QStringLiteral("diskDevicesText"), diskLines);
    values.insert(QStringLiteral("diskReadRate"), quint64(read));
    values.insert(QStringLiteral("diskWriteRate"), quint64(write));
    values.insert(QStringLiteral("diskReadText"), rateText(read));
    values.insert(QStringLiteral("diskWriteText"), rateText(write));
    values.insert(QStringLiteral("diskActivityText"),
                  PLVLoc(QStringLiteral("R %1 W %2")).arg(rateText(read), rateText(write)));
    values.insert(QStringLiteral("diskReadHistory"), pushHistory(QStringLiteral("diskReadHistory"), float(read)));
    values.insert(QStringLiteral("diskWriteHistory"), pushHistory(QStringLiteral("diskWriteHistory"), float(write)));

    QVariantList top;
    QStringList topTexts;
    for (const PLVProcessIO &p : m_source->topProcesses(5, detailMaxAge())) {
        top << QVariantMap{{QStringLiteral("pid"), p.pid},
                           {QStringLiteral("name"), p.name},
                           {QStringLiteral("readRate"), quint64(p.readRate)},
                           {QStringLiteral("writeRate"), quint64(p.writeRate)}};
        topTexts << QStringLiteral("%1 %2").arg(p.name, rateText(p.readRate + p.writeRate));
    }
    values.insert(QStringLiteral("diskTopProcesses"), top);
    values.insert(QStringLiteral("diskTopProcessesText"), topTexts.isEmpty() ? PLVLoc(QStringLiteral("none")) : topTexts.join(QStringLiteral(", ")));
    return values;
}
