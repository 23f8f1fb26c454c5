#pragma once
#include "PLVCommon/linux/PLVSysFile.h"

#include <QList>
#include <QString>

#include <optional>

// Temperatures and fans from the kernel's hardware-monitoring classes:
// /sys/class/hwmon/hwmonN (tempN_input and tempN_label, fanN_input and
// fanN_label, pwmN and pwmN_enable) and /sys/class/thermal/thermal_zoneN
// (type, temp) for the zones no hwmon chip already shows.
struct PLVTemperatureSensor {
    QString id;    // stable while the device stays: chip, device and input
    QString group; // "CPU", "GPU", "NVMe", "Board", "Disk", "Wi-Fi", "Battery", else the chip's name
    QString label; // the driver's label ("Package id 0", "Composite", "edge"), else the chip's name
    std::optional<double> celsius; // absent while the sensor does not answer (EIO, ENODATA)
};

struct PLVFanSensor {
    QString id;
    QString group;
    QString label;
    std::optional<qint64> rpm;       // absent while the input does not answer
    std::optional<int> dutyPercent;  // pwmN scaled from 0..255, where readable
    // pwmN_enable: 0 no control (full speed), 1 manual, 2 and above automatic;
    // -1 when the driver has no such file.
    int control = -1;
};

class PLVHwmonSource
{
public:
    explicit PLVHwmonSource(const PLVSysRoot &root = PLVSysRoot());

    // In the order of the chips and zones, inputs in number order.
    QList<PLVTemperatureSensor> temperatures() const;
    QList<PLVFanSensor> fans() const;

    // The group a chip or zone name belongs to ("coretemp" → "CPU").
    static QString groupForChip(const QString &chip);

private:
    struct Chip {
        QString dir;   // folder holding the attributes
        QString name;
        QString group;
        QString device; // what the "device" link names, for stable ids
        QStringList files;
    };
    QList<Chip> chips() const;

    PLVSysRoot m_root;
};
