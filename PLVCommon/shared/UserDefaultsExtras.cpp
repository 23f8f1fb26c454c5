#include "UserDefaultsExtras.h"

#include "PLVCommon/platform/PLVGroupContainer.h"
#include "PLVCommon/platform/PLVPlist.h"

#include <QDir>
#include <QFileInfo>

PLVUserDefaults UserDefaultsExtras::appUserDefaults()
{
    return PLVUserDefaults(PLVGroupContainer::groupIdentifier());
}

QVariant UserDefaultsExtras::getValueFromThePrefDico(const QString &key)
{
    return appUserDefaults().objectForKey(key);
}

void UserDefaultsExtras::updateThePrefDico(qint64 value, const QString &forkey)
{
    appUserDefaults().setInteger(value, forkey);
}

void UserDefaultsExtras::updateThePrefDicoWithInteger(qint64 value, const QString &forkey)
{
    appUserDefaults().setInteger(value, forkey);
}

void UserDefaultsExtras::updateThePrefDicoWithDouble(double value, const QString &forkey)
{
    appUserDefaults().setDouble(value, forkey);
}

void UserDefaultsExtras::updateThePrefDicoWithObject(const QVariant &value, const QString &forkey)
{
    appUserDefaults().setObject(value, forkey);
}

void UserDefaultsExtras::updateThePrefArrayWithObject(const QVariantList &value, const QString &forkey)
{
    appUserDefaults().setObject(value, forkey);
}

bool UserDefaultsExtras::urlPathToPreferencesGroup()
{
    const QString path = PLVGroupContainer::preferencesFilePath();
    return !path.isEmpty() && QFileInfo::exists(path);
}

QString UserDefaultsExtras::legacyPreferencesFilePath()
{
    QString config = QString::fromLocal8Bit(qgetenv("XDG_CONFIG_HOME"));
    if (config.isEmpty() || !QDir::isAbsolutePath(config)) {
        const QString home = QDir::homePath();
        if (home.isEmpty() || home == QLatin1String("/"))
            return {};
        config = home + QStringLiteral("/.config");
    }
    return config + QStringLiteral("/com.tallowcrest.cobaltwing.plist");
}

void UserDefaultsExtras::transferLocalToGroupPreferencesIfNeeded()
{
    if (urlPathToPreferencesGroup())
        return;
    const QString legacy = legacyPreferencesFilePath();
    if (legacy.isEmpty())
        return;
    const QVariantMap old = PLVPlist::readDictionary(legacy).toMap();
    // One write for all keys; it creates the group file even when nothing was copied.
    appUserDefaults().update([&](QVariantMap &group) {
        for (auto it = old.cbegin(); it != old.cend(); ++it)
            group.insert(it.key(), it.value());
    });
}
