#include "TQSytemTemperatureSettting.h"

#include "PLVCommon/platform/PLVDispatch.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"

#include <QCoreApplication>
#include <QEvent>
#include <QLocale>
#include <QPointer>

const QString TQSytemTemperatureSettting::didChangeNotification = QStringLiteral("TQSystemTemperatureDidChange");
const QString TQSytemTemperatureSettting::localeDidChangeNotification =
    QStringLiteral("PLVCurrentLocaleDidChangeNotification");

namespace {

// Turns the application's locale change into a process-local notification, so
// that subscribing and unsubscribing work as for any other notification.
class LocaleChangeFilter : public QObject
{
public:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::LocaleChange && watched == QCoreApplication::instance())
            PLVNotificationCenter::defaultCenter()->postNotificationName(
                TQSytemTemperatureSettting::localeDidChangeNotification);
        return false;
    }
};

} // namespace

TQSytemTemperatureSettting::TQSytemTemperatureSettting() = default;

TQSytemTemperatureSettting *TQSytemTemperatureSettting::sharedInstance()
{
    // Created once, reading nothing; never destroyed.
    static TQSytemTemperatureSettting *instance = [] {
        auto *settings = new TQSytemTemperatureSettting;
        if (QCoreApplication *app = QCoreApplication::instance())
            settings->moveToThread(app->thread());
        return settings;
    }();
    return instance;
}

QString TQSytemTemperatureSettting::measurementLocaleName()
{
    // Read here rather than through QLocale::system(): Qt reads the environment
    // once and caches the system locale, so a later change would go unseen.
    // Precedence is the C library's; an empty variable counts as unset.
    for (const char *variable : {"LC_ALL", "LC_MEASUREMENT", "LANG"}) {
        const QString value = qEnvironmentVariable(variable);
        if (!value.isEmpty())
            return value;
    }
    return {};
}

int32_t TQSytemTemperatureSettting::temperatureSettingForLocaleName(const QString &name)
{
    // "de_DE.UTF-8@euro" -> "de_DE"
    QString base = name.section(QLatin1Char('@'), 0, 0).section(QLatin1Char('.'), 0, 0);
    // Nothing set means the C locale, and C (containers, services) measures in
    // metric units like any other locale does.
    if (base.isEmpty() || base == QLatin1String("C") || base == QLatin1String("POSIX"))
        return 0;
    const QLocale locale(base);
    if (locale.language() == QLocale::C || locale.language() == QLocale::AnyLanguage)
        return -1; // a locale that cannot be read: its unit is unknown
    return locale.measurementSystem() == QLocale::ImperialUSSystem ? 1 : 0;
}

int32_t TQSytemTemperatureSettting::temperatureSetting()
{
    m_temperatureSetting = temperatureSettingForLocaleName(measurementLocaleName());
    return m_temperatureSetting;
}

void TQSytemTemperatureSettting::setSystemTemperatureUsed(bool used)
{
    m_systemTemperatureUsed = used;
    if (used)
        resitrationNotification();
    else
        PLVNotificationCenter::defaultCenter()->removeObserver(this);
}

void TQSytemTemperatureSettting::resitrationNotification()
{
    temperatureSetting();
    installLocaleChangeFilter();
    PLVNotificationCenter::defaultCenter()->addObserver(this, "localDidUpdate", localeDidChangeNotification);
}

void TQSytemTemperatureSettting::localDidUpdate()
{
    const int32_t previous = m_temperatureSetting;
    if (temperatureSetting() != previous)
        PLVNotificationCenter::defaultCenter()->postNotificationName(didChangeNotification);
}

void TQSytemTemperatureSettting::installLocaleChangeFilter()
{
    if (!QCoreApplication::instance())
        return;
    // One filter for the process, made and installed on the application's thread.
    auto install = [] {
        static QPointer<QObject> filter;
        QCoreApplication *app = QCoreApplication::instance();
        if (filter || !app)
            return;
        filter = new LocaleChangeFilter;
        filter->setParent(app);
        app->installEventFilter(filter);
    };
    if (PLVDispatch::isMainThread())
        install();
    else
        PLVDispatch::asyncMain(install);
}
