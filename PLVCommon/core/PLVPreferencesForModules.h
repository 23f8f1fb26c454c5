#pragma once
#include <QString>
#include <QVariant>

// Per-module settings: one dictionary per module in the group settings, under
// the module's bundle identifier. Nothing is kept in memory; every call reads
// or writes the store.
//
// Storing a value tells the other processes ("TQWidgetSettingsDidChange"
// through the group notification centre) unless this process is the widget
// host, so that the widget hears the application's changes without its own
// writes echoing back. Removing a value tells nobody.
class PLVPreferencesForModules
{
public:
    static const QString widgetSettingsDidChangeNotification; // "TQWidgetSettingsDidChange"

    static PLVPreferencesForModules *standardUserDefaults();

    // Invalid when the module has no dictionary or no such key.
    QVariant objectForKey(const QString &key, const QString &forBundleIdentifier) const;
    // Posts also when the value did not change. An invalid value, a null key or
    // a null identifier do nothing.
    void setObject(const QVariant &object, const QString &forKey, const QString &forBundleIdentifier);
    // Writes the module's dictionary back (an empty one when it had none).
    void removeObjectForKey(const QString &key, const QString &forBundleIdentifier);
    void notifyChangesExternally();

private:
    PLVPreferencesForModules() = default;
};
