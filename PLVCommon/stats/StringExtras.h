#pragma once
#include <QString>
#include <QtGlobal>

// Formatting of the numbers every module shows: transfer rates, memory and
// disk capacities, percentages. One place fixes the unit ladders, divisors and
// switch points so that all modules write a value the same way.
//
// Numbers follow the default QLocale's decimal separator (12,5 MB/s in a comma
// locale) and never group digits; unit words go through the framework's
// "Localizable" table.
class StringExtras
{
public:
    // The key's translation in the framework bundle's "Localizable" table; the
    // key itself when there is none; "" for a null key.
    static QString PLVLoc(const QString &key);

    // Bytes per second (times 8, wrapping, for bits): B/s up to 1024, then KB/s,
    // MB/s (one decimal below 100), GB/s, TB/s, each step taken only strictly
    // above its power of 1024. Only the MB step shows a decimal.
    static QString buildStringToDisplayForValueBandwith(quint64 value, bool isBits);
    static QString buildStringToDisplayForValueBandwith(quint64 value);

    // Memory: "%.0f MB" below 1024 MB, else "%.1f GB" (powers of 1024).
    static QString doubleCapacityToString(double value);
    // The same, switching to GB from 900 MB on, so the text keeps three digits.
    static QString doubleCapacityToShortString(double value);
    // Disk: decimal units, "%.0f MB", from 1000 MB "%.1f GB", from 10^6 MB "%.1f TB".
    static QString doubleCapacityDiskToString(double value);
    // A value already in percent, rounded: 42.6 → "43%".
    static QString floatToPercentageString(float value);
    // The text followed by "%"; "" for a null text.
    static QString stringByAppendingPercentage(const QString &receiver);
};
