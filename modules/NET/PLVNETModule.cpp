#include "PLVNETModule.h"

#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"

PLV_REGISTER_CLASS(PLVNETModuleModel)
PLV_REGISTER_CLASS(PLVNETModuleController)

QVariantMap PLVNETModuleModel::sample()
{
    const bool bits = moduleSetting(QStringLiteral("useBits")).toBool();
    auto rateText = [bits](double bytesPerSecond) {
        return StringExtras::buildStringToDisplayForValueBandwith(quint64(bytesPerSecond), bits);
    };

    const QList<PLVNetInterface> interfaces = m_source->interfaces();
    // The machine's traffic is that of its physical interfaces: bridges, veth
    // pairs and tunnels carry the same bytes again. A machine without any
    // (a container) counts them all.
    bool anyPhysical = false;
    for (const PLVNetInterface &i : interfaces)
        anyPhysical = anyPhysical || i.physical;

    QVariantMap values;
    QVariantList list;
    QStringList lines;
    double down = 0, up = 0;
    const PLVNetInterface *primary = nullptr;
    for (const PLVNetInterface &i : interfaces) {
        if (i.physical || !anyPhysical) {
            down += i.rxRate;
            up += i.txRate;
        }
        const bool linkUp = i.operState == QLatin1String("up");
        if (linkUp && !primary && (i.physical || !anyPhysical))
            primary = &i;
        QVariantMap entry{{QStringLiteral("name"), i.name},
                          {QStringLiteral("physical"), i.physical},
                          {QStringLiteral("wireless"), i.wireless},
                          {QStringLiteral("state"), i.operState},
                          {QStringLiteral("hardwareAddress"), i.hardwareAddress},
                          {QStringLiteral("addresses"), i.addresses},
                          {QStringLiteral("rxBytes"), i.rxBytes},
                          {QStringLiteral("txBytes"), i.txBytes},
                          {QStringLiteral("downloadRate"), quint64(i.rxRate)},
                          {QStringLiteral("uploadRate"), quint64(i.txRate)},
                          {QStringLiteral("downloadText"), rateText(i.rxRate)},
                          {QStringLiteral("uploadText"), rateText(i.txRate)}};
        if (i.speedMbps > 0)
            entry.insert(QStringLiteral("speedMbps"), i.speedMbps);
        if (!i.ssid.isEmpty())
            entry.insert(QStringLiteral("ssid"), i.ssid);
        if (i.signalDbm)
            entry.insert(QStringLiteral("signalDbm"), *i.signalDbm);
        list << entry;
        QString line = QStringLiteral("%1 (%2): ↓ %3 ↑ %4")
                           .arg(i.name, PLVLoc(i.operState.isEmpty() ? QStringLiteral("unknown") : i.operState),
                                rateText(i.rxRate), rateText(i.txRate));
        if (!i.addresses.isEmpty())
            line += QStringLiteral(", ") + i.addresses.first();
        lines << line;
    }
    values.insert(QStringLiteral("netInterfaces"), list);
    // The panel's Wi-Fi line: none without a wireless link.
    values.insert(QStringLiteral("netWirelessLines"), QStringList());
    values.insert(QStringLiteral("netInterfacesText"), lines.isEmpty() ? QStringList{PLVLoc(QStringLiteral("none found"))} : lines);
    values.insert(QStringLiteral("netDownloadRate"), quint64(down));
    values.insert(QStringLiteral("netUploadRate"), quint64(up));
    values.insert(QStringLiteral("netDownloadText"), rateText(down));
    values.insert(QStringLiteral("netUploadText"), rateText(up));
    values.insert(QStringLiteral("netStatusText"), QStringLiteral("↓ %1 ↑ %2").arg(rateText(down), rateText(up)));
    values.insert(QStringLiteral("netDownloadHistory"), pushHistory(QStringLiteral("netDownloadHistory"), float(down)));
    values.insert(QStringLiteral("netUploadHistory"), pushHistory(QStringLiteral("netUploadHistory"), float(up)));
    if (primary) {
        values.insert(QStringLiteral("netInterfaceName"), primary->name);
        values.insert(QStringLiteral("netAddressText"),
                      primary->addresses.isEmpty() ? PLVLoc(QStringLiteral("no address")) : primary->addresses.first());
        if (primary->wireless) {
            QString wifi = primary->ssid.isEmpty() ? PLVLoc(QStringLiteral("unknown network")) : primary->ssid;
            if (primary->signalDbm)
                wifi += QStringLiteral(", %1 dBm").arg(*primary->signalDbm);
            values.insert(QStringLiteral("netWirelessText"), wifi);
            values.insert(QStringLiteral("netWirelessLines"), QStringList{wifi});
        }
    } else {
        values.insert(QStringLiteral("netAddressText"), PLVLoc(QStringLiteral("not connected")));
    }
    return values;
}
