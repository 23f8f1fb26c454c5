#include "PLVHwmonSource.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

#include <climits>
#include <unistd.h>

namespace {

std::optional<qint64> readInteger(const QString &path)
{
    const QByteArray text = PLVSysFile::read(path, 64).trimmed();
    bool ok = false;
    const qint64 v = text.toLongLong(&ok);
    return ok ? std::optional<qint64>(v) : std::nullopt;
}

QString readText(const QString &path) { return QString::fromUtf8(PLVSysFile::read(path, 256).trimmed()); }

// Folder entries sorted the way people count: "hwmon2" before "hwmon10".
QStringList naturalEntries(const QString &dir, QDir::Filters filters)
{
    QStringList names = QDir(dir).entryList(filters | QDir::NoDotAndDotDot);
    std::sort(names.begin(), names.end(), [](const QString &a, const QString &b) {
        static const QRegularExpression digits(QStringLiteral("(\\d+)"));
        const auto ma = digits.match(a), mb = digits.match(b);
        const QString pa = a.left(ma.hasMatch() ? ma.capturedStart() : a.size());
        const QString pb = b.left(mb.hasMatch() ? mb.capturedStart() : b.size());
        if (pa != pb || !ma.hasMatch() || !mb.hasMatch())
            return a < b;
        const qlonglong na = ma.captured(1).toLongLong(), nb = mb.captured(1).toLongLong();
        return na != nb ? na < nb : a < b;
    });
    return names;
}

// Input numbers of "<prefix>N<suffix>" files, ascending.
QList<int> inputNumbers(const QStringList &files, const QString &prefix, const QString &suffix)
{
    QList<int> numbers;
    for (const QString &f : files) {
        if (!f.startsWith(prefix) || !f.endsWith(suffix) || f.size() <= prefix.size() + suffix.size())
            continue;
        bool ok = false;
        const int n = f.mid(prefix.size(), f.size() - prefix.size() - suffix.size()).toInt(&ok);
        if (ok)
            numbers << n;
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

} // namespace

PLVHwmonSource::PLVHwmonSource(const PLVSysRoot &root) : m_root(root) {}

QString PLVHwmonSource::groupForChip(const QString &chip)
{
    static const QList<std::pair<QRegularExpression, QString>> kGroups{
        {QRegularExpression(QStringLiteral("^(coretemp|k10temp|k8temp|zenpower|x86_pkg_temp|cpu[-_]?thermal|soc[-_]thermal|via_cputemp)")), QStringLiteral("CPU")},
        {QRegularExpression(QStringLiteral("^(amdgpu|radeon|nouveau|i915|xe|nvidia|gpu[-_]?thermal)")), QStringLiteral("GPU")},
        {QRegularExpression(QStringLiteral("^nvme")), QStringLiteral("NVMe")},
        {QRegularExpression(QStringLiteral("^drivetemp")), QStringLiteral("Disk")},
        {QRegularExpression(QStringLiteral("^iwlwifi|^ath\\d|^mt7")), QStringLiteral("Wi-Fi")},
        {QRegularExpression(QStringLiteral("^(BAT\\d|battery)")), QStringLiteral("Battery")},
        {QRegularExpression(QStringLiteral("^(acpitz|nct\\d|it8\\d|f71|w83|asus|dell_smm|thinkpad|pch_|applesmc|INT3400|TFN|SEN\\d)")), QStringLiteral("Board")},
    };
    for (const auto &[pattern, group] : kGroups)
        if (pattern.match(chip).hasMatch())
            return group;
    return chip;
}

QList<PLVHwmonSource::Chip> PLVHwmonSource::chips() const
{
    QList<Chip> result;
    const QString base = m_root.path(QStringLiteral("sys/class/hwmon"));
    for (const QString &entry : naturalEntries(base, QDir::Dirs)) {
        Chip chip;
        chip.dir = base + QLatin1Char('/') + entry;
        chip.name = readText(chip.dir + QStringLiteral("/name"));
        // Older drivers keep their attributes on the device itself.
        if (chip.name.isEmpty()) {
            chip.dir += QStringLiteral("/device");
            chip.name = readText(chip.dir + QStringLiteral("/name"));
        }
        if (chip.name.isEmpty())
            continue;
        chip.group = groupForChip(chip.name);
        // The device the link names ("coretemp.0", "nvme0", "0000:03:00.0")
        // stays when hwmon numbers move; chips without one keep their number.
        char link[PATH_MAX];
        const ssize_t n = ::readlink(QFile::encodeName(base + QLatin1Char('/') + entry + QStringLiteral("/device")).constData(),
                                     link, sizeof link - 1);
        chip.device = n > 0 ? QFileInfo(QFile::decodeName(QByteArray(link, n))).fileName() : entry;
        chip.files = QDir(chip.dir).entryList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot);
        result << chip;
    }
    return result;
}

QList<PLVTemperatureSensor> PLVHwmonSource::temperatures() const
{
    QList<PLVTemperatureSensor> result;
    QSet<QString> chipNames;
    for (const Chip &chip : chips()) {
        chipNames.insert(chip.name);
        const QList<int> inputs = inputNumbers(chip.files, QStringLiteral("temp"), QStringLiteral("_input"));
        for (int n : inputs) {
            const QString prefix = chip.dir + QStringLiteral("/temp%1").arg(n);
            PLVTemperatureSensor s;
            s.id = QStringLiteral("%1:%2:temp%3").arg(chip.name, chip.device).arg(n);
            s.group = chip.group;
            s.label = readText(prefix + QStringLiteral("_label"));
            if (s.label.isEmpty())
                s.label = inputs.size() == 1 ? chip.name : QStringLiteral("%1 %2").arg(chip.name).arg(n);
            if (const auto milli = readInteger(prefix + QStringLiteral("_input")))
                s.celsius = double(*milli) / 1000.0;
            result << s;
        }
    }
    // Thermal zones register an hwmon chip named after their type (dashes as
    // underscores); only the zones without one are added, and the package zone
    // only when no coretemp chip shows the package already.
    const QString zones = m_root.path(QStringLiteral("sys/class/thermal"));
    for (const QString &entry : naturalEntries(zones, QDir::Dirs)) {
        if (!entry.startsWith(QStringLiteral("thermal_zone")))
            continue;
        const QString dir = zones + QLatin1Char('/') + entry;
        const QString type = readText(dir + QStringLiteral("/type"));
        if (type.isEmpty() || chipNames.contains(QString(type).replace(QLatin1Char('-'), QLatin1Char('_'))))
            continue;
        if (type == QLatin1String("x86_pkg_temp") && chipNames.contains(QStringLiteral("coretemp")))
            continue;
        PLVTemperatureSensor s;
        s.id = QStringLiteral("zone:%1:%2").arg(type, entry);
        s.group = groupForChip(type);
        s.label = type;
        if (const auto milli = readInteger(dir + QStringLiteral("/temp")))
            s.celsius = double(*milli) / 1000.0;
        result << s;
    }
    return result;
}

QList<PLVFanSensor> PLVHwmonSource::fans() const
{
    QList<PLVFanSensor> result;
    for (const Chip &chip : chips()) {
        const QList<int> inputs = inputNumbers(chip.files, QStringLiteral("fan"), QStringLiteral("_input"));
        for (int n : inputs) {
            const QString prefix = chip.dir + QStringLiteral("/fan%1").arg(n);
            PLVFanSensor f;
            f.id = QStringLiteral("%1:%2:fan%3").arg(chip.name, chip.device).arg(n);
            f.group = chip.group;
            f.label = readText(prefix + QStringLiteral("_label"));
            if (f.label.isEmpty())
                f.label = inputs.size() == 1 ? chip.name : QStringLiteral("%1 %2").arg(chip.name).arg(n);
            f.rpm = readInteger(prefix + QStringLiteral("_input"));
            // The duty cycle of the same channel, where the driver drives it.
            const QString pwm = chip.dir + QStringLiteral("/pwm%1").arg(n);
            if (const auto duty = readInteger(pwm); duty && *duty >= 0 && *duty <= 255)
                f.dutyPercent = int((*duty * 100 + 127) / 255);
            f.control = int(readInteger(pwm + QStringLiteral("_enable")).value_or(-1));
            result << f;
        }
    }
    return result;
}
