#include "PLVDateComponents.h"

PLVDateComponents PLVDateComponents::between(const QDateTime &from, const QDateTime &to)
{
    PLVDateComponents c;
    if (!from.isValid() || !to.isValid() || to <= from)
        return c;
    // The components only change when the span passes a whole minute (time
    // zones move by whole minutes), and working them out in local time asks
    // the system for its zone every time: once per minute of span is enough.
    thread_local QDateTime lastFrom;
    thread_local qint64 lastMinute = -1;
    thread_local PLVDateComponents last;
    const qint64 minute = from.secsTo(to) / 60;
    if (minute == lastMinute && from == lastFrom)
        return last;
    const QDateTime start = from.toLocalTime();
    const QDateTime end = to.toLocalTime();

    qint64 months = qint64(end.date().year() - start.date().year()) * 12 + (end.date().month() - start.date().month());
    while (months > 0 && start.addMonths(int(months)) > end)
        --months;
    QDateTime cursor = start.addMonths(int(months));

    qint64 days = cursor.date().daysTo(end.date());
    while (days > 0 && cursor.addDays(days) > end)
        --days;
    cursor = cursor.addDays(days);

    const qint64 seconds = qMax<qint64>(0, cursor.secsTo(end));
    c.month = months;
    c.day = days;
    c.hour = seconds / 3600;
    c.minute = seconds % 3600 / 60;
    lastFrom = from;
    lastMinute = minute;
    last = c;
    return c;
}

QDebug operator<<(QDebug debug, const PLVDateComponents &c)
{
    QDebugStateSaver saver(debug);
    debug.nospace() << "PLVDateComponents(month " << c.month << ", day " << c.day << ", hour " << c.hour
                    << ", minute " << c.minute << ')';
    return debug;
}
