#include "StringExtras.h"

#include "PLVCommon/platform/PLVBundle.h"

#include <QLocale>

#include <charconv>

namespace {

enum Unit { Bps, KBps, MBps, GBps, TBps, bps, Kbps, Mbps, Gbps, Tbps, MB, GB, TB, UnitCount };
const char *const kUnitKeys[UnitCount] = {"B/s", "KB/s", "MB/s", "GB/s", "TB/s", "b/s", "Kb/s",
                                          "Mb/s", "Gb/s", "Tb/s", "MB", "GB", "TB"};

// The unit words and the decimal separator of the default locale, looked up
// once per locale and thread: a table lookup costs more than the formatting.
struct LocaleWords {
    QLocale locale;
    bool filled = false;
    QString decimalPoint;
    QString units[UnitCount];
};

const LocaleWords &words()
{
    thread_local LocaleWords cache;
    const QLocale current;
    if (!cache.filled || !(cache.locale == current)) {
        cache.locale = current;
        cache.decimalPoint = current.decimalPoint();
        for (int u = 0; u < UnitCount; ++u)
            cache.units[u] = StringExtras::PLVLoc(QString::fromLatin1(kUnitKeys[u]));
        cache.filled = true;
    }
    return cache;
}

// printf's "%.<decimals>f" (rounding ties to even, as printf does), then the
// default locale's decimal separator. std::to_chars ignores LC_NUMERIC, which
// the application sets from the environment, so only QLocale decides.
QString fixed(double value, int decimals)
{
    char buf[400]; // the longest double in fixed notation with one decimal fits
    const auto result = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, decimals);
    if (result.ec != std::errc())
        return QStringLiteral("");
    QString text = QString::fromLatin1(buf, result.ptr - buf);
    if (decimals > 0) {
        const qsizetype dot = text.lastIndexOf(QLatin1Char('.'));
        if (dot >= 0)
            text.replace(dot, 1, words().decimalPoint);
    }
    return text;
}

// "%llu": digits only, no grouping (1024 KB/s, not 1,024 KB/s).
QString whole(quint64 value)
{
    char buf[24];
    const auto result = std::to_chars(buf, buf + sizeof buf, value);
    return QString::fromLatin1(buf, result.ptr - buf);
}

QString withUnit(const QString &number, Unit unit)
{
    const QString &word = words().units[unit];
    QString text;
    text.reserve(number.size() + 1 + word.size());
    text.append(number).append(QLatin1Char(' ')).append(word);
    return text;
}

// Byte units, or the bit unit of the same step.
Unit rateUnit(Unit byteUnit, bool isBits) { return isBits ? Unit(byteUnit + bps) : byteUnit; }

QString capacity(double bytes, double gigabyteFrom)
{
    const double megabytes = bytes * 0x1p-20;
    if (megabytes >= gigabyteFrom)
        return withUnit(fixed(megabytes * 0x1p-10, 1), GB);
    return withUnit(fixed(megabytes, 0), MB);
}

} // namespace

QString StringExtras::PLVLoc(const QString &key)
{
    if (key.isNull())
        return QStringLiteral("");
    const PLVBundle *bundle = PLVBundle::frameworkBundle();
    return bundle ? bundle->localizedString(key, QStringLiteral("")) : key;
}

QString StringExtras::buildStringToDisplayForValueBandwith(quint64 value, bool isBits)
{
    const quint64 rate = isBits ? value * 8 : value; // wraps above 2^61 bytes/s, as before
    if (rate == 0)
        return QStringLiteral("0 ") + words().units[rateUnit(Bps, isBits)];
    // Each step only strictly above its power of 1024; above MB the value is
    // truncated and shows no decimal.
    if (rate > (quint64(1) << 40))
        return withUnit(whole(rate >> 40), rateUnit(TBps, isBits));
    if (rate > (quint64(1) << 30))
        return withUnit(whole(rate >> 30), rateUnit(GBps, isBits));
    if (rate > (quint64(1) << 20)) {
        const float megabytes = float(double(rate) * 0x1p-20);
        if (megabytes < 100)
            return withUnit(fixed(double(megabytes), 1), rateUnit(MBps, isBits));
        return withUnit(whole(rate >> 20), rateUnit(MBps, isBits));
    }
    if (rate > 1024)
        return withUnit(whole(rate >> 10), rateUnit(KBps, isBits));
    return withUnit(whole(rate), rateUnit(Bps, isBits));
}

QString StringExtras::buildStringToDisplayForValueBandwith(quint64 value)
{
    return buildStringToDisplayForValueBandwith(value, false);
}

QString StringExtras::doubleCapacityToString(double value) { return capacity(value, 1024); }

QString StringExtras::doubleCapacityToShortString(double value) { return capacity(value, 900); }

QString StringExtras::doubleCapacityDiskToString(double value)
{
    const double megabytes = value / 1000000.0;
    if (megabytes >= 1000000.0)
        return withUnit(fixed(megabytes / 1000000.0, 1), TB);
    if (megabytes >= 1000.0)
        return withUnit(fixed(megabytes / 1000.0, 1), GB);
    return withUnit(fixed(megabytes, 0), MB);
}

QString StringExtras::floatToPercentageString(float value)
{
    return fixed(double(value), 0) + QLatin1Char('%');
}

QString StringExtras::stringByAppendingPercentage(const QString &receiver)
{
    if (receiver.isNull())
        return QStringLiteral("");
    return receiver + QLatin1Char('%');
}
