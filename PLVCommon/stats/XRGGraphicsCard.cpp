#include "PLVCommon/stats/XRGGraphicsCard.h"

#include <QMetaType>

#include <optional>

namespace {

constexpr quint32 unknownId = 0xFFFF;

// The first four bytes of byte data, little-endian; unknownId otherwise.
quint32 idFrom(const QVariant &value)
{
    if (value.typeId() != QMetaType::QByteArray)
        return unknownId;
    const QByteArray bytes = value.toByteArray();
    if (bytes.size() < 4)
        return unknownId;
    return quint32(quint8(bytes[0])) | quint32(quint8(bytes[1])) << 8 | quint32(quint8(bytes[2])) << 16
           | quint32(quint8(bytes[3])) << 24;
}

// A number of the table; values of other types count as absent.
std::optional<qint64> numberFrom(const QVariantMap &table, const QString &key)
{
    const auto it = table.constFind(key);
    if (it == table.cend())
        return std::nullopt;
    switch (it->typeId()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return it->toLongLong();
    case QMetaType::Double:
    case QMetaType::Float: {
        const double d = it->toDouble(); // truncated toward zero
        if (!(d > -9.2e18 && d < 9.2e18))
            return std::nullopt;
        return qint64(d);
    }
    default:
        return std::nullopt;
    }
}

QString upperText(const QVariantMap &table, const QString &key, bool *present)
{
    const auto it = table.constFind(key);
    *present = it != table.cend() && it->typeId() == QMetaType::QString;
    return *present ? it->toString().toUpper() : QString();
}

} // namespace

bool XRGGraphicsCard::matchingPCIDevice(const QVariantMap &pciDevice, const QVariantMap &accelerator)
{
    const quint32 vendor = idFrom(pciDevice.value(QStringLiteral("vendor-id")));
    const quint32 device = idFrom(pciDevice.value(QStringLiteral("device-id")));
    if (vendor == unknownId)
        return false;
    bool present = false;
    QString match = upperText(accelerator, QStringLiteral("IOPCIMatch"), &present);
    if (!present)
        match = upperText(accelerator, QStringLiteral("IOPCIPrimaryMatch"), &present);
    if (device != unknownId) {
        const quint32 key = quint32((quint64(device) << 16) | vendor);
        return match.contains(QString::number(key, 16).toUpper());
    }
    const QString key = QString::number(vendor, 16).toUpper();
    return match.contains(key + QLatin1Char(' ')) || match.endsWith(key);
}

XRGGraphicsCard::XRGGraphicsCard(const QVariantMap &pciDevice, const QVariantMap &accelerator)
{
    const QVariant model = pciDevice.value(QStringLiteral("model"));
    if (model.typeId() == QMetaType::QByteArray)
        m_fullCardName = QString::fromUtf8(model.toByteArray());
    const QVariant acpi = pciDevice.value(QStringLiteral("acpi-path"));
    if (acpi.typeId() == QMetaType::QString)
        m_acpiPath = acpi.toString();
    const QVariant vendorId = pciDevice.value(QStringLiteral("vendor-id"));
    if (vendorId.typeId() == QMetaType::QByteArray && vendorId.toByteArray().size() >= 4)
        setVendor(idFrom(vendorId));

    if (const auto mb = numberFrom(accelerator, QStringLiteral("VRAM,totalMB")))
        setTotalVRAM(*mb * 1024 * 1024);
    else if (const auto pciMb = numberFrom(pciDevice, QStringLiteral("VRAM,totalMB")))
        setTotalVRAM(*pciMb * 1024 * 1024);
    else if (const auto bytes = numberFrom(pciDevice, QStringLiteral("ATY,memsize")))
        setTotalVRAM(*bytes);
    else
        setTotalVRAM(-1);

    const QVariant statsValue = accelerator.value(QStringLiteral("PerformanceStatistics"));
    const bool hasStats = statsValue.typeId() == QMetaType::QVariantMap;
    const QVariantMap stats = statsValue.toMap();
    if (hasStats) {
        if (stats.contains(QStringLiteral("Device Utilization %")))
            setDeviceUtilization(numberFrom(stats, QStringLiteral("Device Utilization %")).value_or(0));
        else if (stats.contains(QStringLiteral("Device Unit 0 Utilization %")))
            setDeviceUtilization(numberFrom(stats, QStringLiteral("Device Unit 0 Utilization %")).value_or(0));
        else if (stats.contains(QStringLiteral("GPU Core Utilization")))
            setDeviceUtilization(numberFrom(stats, QStringLiteral("GPU Core Utilization")).value_or(0) / 10000000);
        else
            setDeviceUtilization(-1);

        setFreeVRAM(numberFrom(stats, QStringLiteral("vramFreeBytes")).value_or(-1));
        setUsedVRAM(numberFrom(stats, QStringLiteral("vramUsedBytes")).value_or(-1));
        setCpuWait(numberFrom(stats, QStringLiteral("hardwareWaitTime")).value_or(0));

        const qint64 total = totalVRAM(), used = usedVRAM(), free = freeVRAM();
        if (!((used > 0 && used <= total) || (free > 0 && free <= total))) {
            setUsedVRAM(numberFrom(stats, QStringLiteral("inUseVidMemoryBytes")).value_or(-1));
            setFreeVRAM(-1);
        }
    }

    if (!valuesOkay()) {
        if (hasStats) {
            setFreeVRAM(numberFrom(stats, QStringLiteral("gartFreeBytes")).value_or(-1));
            setUsedVRAM(numberFrom(stats, QStringLiteral("gartUsedBytes")).value_or(-1));
            setTotalVRAM(numberFrom(stats, QStringLiteral("gartSizeBytes")).value_or(-1));
        }
        if (!valuesOkay()) {
            setTotalVRAM(0);
            setFreeVRAM(0);
            setUsedVRAM(0);
        }
    }
}

bool XRGGraphicsCard::valuesOkay()
{
    const qint64 t = totalVRAM(), u = usedVRAM(), f = freeVRAM();
    const bool tKnown = t != -1, uKnown = u != -1, fKnown = f != -1;
    if (!tKnown && uKnown && fKnown) {
        setTotalVRAM(u + f);
        return u >= 0 && u <= u + f;
    }
    if (tKnown && !uKnown && fKnown && f != 0) {
        setUsedVRAM(t - f);
        return t - f >= 0 && t - f <= t;
    }
    if (tKnown && !uKnown && f == 0) {
        setUsedVRAM(0);
        setFreeVRAM(t);
        return false;
    }
    if (tKnown && uKnown && !fKnown) {
        setFreeVRAM(u == 0 ? t : t - u);
        return u >= 0 && u <= t && u != 0;
    }
    return tKnown && uKnown && fKnown && u >= 0 && u <= t;
}

QString XRGGraphicsCard::vendorString() const
{
    switch (vendor()) {
    case 0x1002:
        return QStringLiteral("AMD");
    case 0x10DE:
        return QStringLiteral("nVidia");
    case 0x8086:
        return QStringLiteral("Intel");
    default:
        return {};
    }
}
