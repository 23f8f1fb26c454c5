#pragma once
#include <QDateTime>
#include <QDebug>
#include <QMetaType>

// Calendar components of the span between two instants, in the largest units
// first: whole months, then whole days, hours and minutes (seconds dropped).
// The sampler's "upTime" value.
struct PLVDateComponents {
    qint64 month = 0;
    qint64 day = 0;
    qint64 hour = 0;
    qint64 minute = 0;

    // With the Gregorian calendar in the local time zone, as a person would
    // count on a wall calendar: a month from 31 January ends on the last day of
    // February. A span that runs backwards (clock set back) gives zeros.
    static PLVDateComponents between(const QDateTime &from, const QDateTime &to);

    friend bool operator==(const PLVDateComponents &, const PLVDateComponents &) = default;
};
Q_DECLARE_METATYPE(PLVDateComponents)

QDebug operator<<(QDebug debug, const PLVDateComponents &c);
