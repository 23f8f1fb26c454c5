#pragma once
#include <QObject>
#include <QString>

#include <cstdint>

// The temperature unit the user chose for the whole system, followed on request.
//
// The system setting is the user's measurement system: the locale of
// LC_MEASUREMENT as the C library resolves it (LC_ALL, else LC_MEASUREMENT,
// else LANG). The US customary system reads as Fahrenheit (1), any other
// locale as Celsius (0): that includes no variable set and "C"/"POSIX", which
// are metric. Only a locale that cannot be read (a name Qt does not know)
// leaves the unit unknown (-1).
//
// While a client follows the system unit, a locale change of the application
// (QEvent::LocaleChange sent to qApp) re-reads it, and a different unit posts
// "TQSystemTemperatureDidChange" on PLVNotificationCenter::defaultCenter().
class TQSytemTemperatureSettting : public QObject
{
    Q_OBJECT
public:
    // Posted on the process-local centre, with no object, when the unit changed.
    static const QString didChangeNotification;
    // The process-local notification a locale change becomes (for subscribers
    // of the locale, like this class).
    static const QString localeDidChangeNotification;

    static TQSytemTemperatureSettting *sharedInstance();

    // Reads the setting now, stores it and returns it: 0 Celsius, 1 Fahrenheit, -1 unknown.
    int32_t temperatureSetting();
    // The value stored by the last read, without reading.
    int32_t storedTemperatureSetting() const { return m_temperatureSetting; }

    // True subscribes (again: two calls mean two subscriptions); false
    // removes every subscription of this object.
    void setSystemTemperatureUsed(bool used);
    bool systemTemperatureUsed() const { return m_systemTemperatureUsed; }

    Q_INVOKABLE void resitrationNotification();
    Q_INVOKABLE void localDidUpdate();

    // The measurement locale's name from the environment, resolved as the C
    // library does; empty when none is set.
    static QString measurementLocaleName();
    // The unit for a locale name: 1 Fahrenheit, 0 Celsius, -1 unknown.
    static int32_t temperatureSettingForLocaleName(const QString &name);

private:
    TQSytemTemperatureSettting();
    static void installLocaleChangeFilter();

    int32_t m_temperatureSetting = 0;
    bool m_systemTemperatureUsed = false;
};
