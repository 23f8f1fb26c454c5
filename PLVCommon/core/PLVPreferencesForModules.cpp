#include "PLVPreferencesForModules.h"

#include "PLVCommon/platform/TQIsTodayExtenstion.h"
#include "PLVCommon/shared/TQGroupNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"

const QString PLVPreferencesForModules::widgetSettingsDidChangeNotification = QStringLiteral("TQWidgetSettingsDidChange");

PLVPreferencesForModules *PLVPreferencesForModules::standardUserDefaults()
{
    static PLVPreferencesForModules *instance = new PLVPreferencesForModules;
    return instance;
}

QVariant PLVPreferencesForModules::objectForKey(const QString &key, const QString &forBundleIdentifier) const
{
    if (key.isNull() || forBundleIdentifier.isNull())
        return {};
    return UserDefaultsExtras::appUserDefaults().dictionaryForKey(forBundleIdentifier).value(key);
}

void PLVPreferencesForModules::setObject(const QVariant &object, const QString &forKey, const QString &forBundleIdentifier)
{
    if (!object.isValid() || forKey.isNull() || forBundleIdentifier.isNull())
        return;
    // One locked read-modify-write of the module's dictionary: another process
    // writing another key of the same module at the same time keeps its key.
    UserDefaultsExtras::appUserDefaults().update([&](QVariantMap &settings) {
        QVariantMap module = settings.value(forBundleIdentifier).toMap();
        module.insert(forKey, object);
        settings.insert(forBundleIdentifier, module);
    });
    notifyChangesExternally();
}

void PLVPreferencesForModules::removeObjectForKey(const QString &key, const QString &forBundleIdentifier)
{
    if (key.isNull() || forBundleIdentifier.isNull())
        return;
    UserDefaultsExtras::appUserDefaults().update([&](QVariantMap &settings) {
        QVariantMap module = settings.value(forBundleIdentifier).toMap();
        module.remove(key);
        settings.insert(forBundleIdentifier, module);
    });
}

void PLVPreferencesForModules::notifyChangesExternally()
{
    if (TQIsTodayExtenstion::isTodayExtention())
        return;
    TQGroupNotificationCenter::defaultCenter()->postNotificationName(widgetSettingsDidChangeNotification);
}
