#include "PLVHwmonSource.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>

#include <climits>
#include <fcntl.h>
#include <unistd.h>

namespace {

// Attributes are a few bytes: one open and read, no QFile.
QByteArray readSmall(const QString &path)
{
    char buf[256];
    const ssize_t n = PLVSysFile::readAt(AT_FDCWD, QFile::encodeName(path).constData(), buf, sizeof buf);
    return n > 0 ? QByteArray(buf, n).trimmed() : QByteArray();
}

std::optional<qint64> readInteger(const QString &path)
{
    bool ok = false;
    const qint64 v = readSmall(path).toLongLong(&ok);
    return ok ? std::optional<qint64>(v) : std::nullopt;
}

QString readText(const QString &path) { return QString::fromUtf8(readSmall(path)); }

// Folder entries sorted the way people count: "hwmon2" before "hwmon10".
QStringList naturalEntries(const QString &dir, QDir::Filters filters)
{
    QStringList names = QDir(dir).entryList(filters | QDir::NoDotAndDotDot);
    auto split = [](const QString &s) {
        qsizetype i = s.size();
        while (i > 0 && s[i - 1].isDigit())
            --i;
        return std::pair<QStringView, qlonglong>(QStringView(s).left(i), i < s.size() ? QStringView(s).mid(i).toLongLong() : -1);
    };
    std::sort(names.begin(), names.end(), [&](const QString &a, const QString &b) {
        const auto [pa, na] = split(a);
        const auto [pb, nb] = split(b);
        return pa != pb ? a < b : na < nb;
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
    // Name prefixes of the drivers and zone types people meet, by what they measure.
    static const std::pair<const char *, const char *> kGroups[]{
        {"coretemp", "CPU"}, {"k10temp", "CPU"}, {"k8temp", "CPU"}, {"zenpower", "CPU"}, {"x86_pkg_temp", "CPU"},
        {"cpu_thermal", "CPU"}, {"cpu-thermal", "CPU"}, {"cputhermal", "CPU"}, {"soc_thermal", "CPU"}, {"soc-thermal", "CPU"},
        {"via_cputemp", "CPU"}, {"amdgpu", "GPU"}, {"radeon", "GPU"}, {"nouveau", "GPU"}, {"i915", "GPU"}, {"xe", "GPU"},
        {"nvidia", "GPU"}, {"gpu_thermal", "GPU"}, {"gpu-thermal", "GPU"}, {"nvme", "NVMe"}, {"drivetemp", "Disk"},
        {"iwlwifi", "Wi-Fi"}, {"ath1", "Wi-Fi"}, {"mt7", "Wi-Fi"}, {"BAT", "Battery"}, {"battery", "Battery"},
        {"acpitz", "Board"}, {"nct", "Board"}, {"it8", "Board"}, {"f71", "Board"}, {"w83", "Board"}, {"asus", "Board"},
        {"dell_smm", "Board"}, {"thinkpad", "Board"}, {"pch_", "Board"}, {"applesmc", "Board"}, {"INT3400", "Board"},
        {"TFN", "Board"}, {"SEN", "Board"},
    };
    for (const auto &[prefix, group] : kGroups)
        if (chip.startsWith(QLatin1String(prefix)))
            return QLatin1String(group);
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
