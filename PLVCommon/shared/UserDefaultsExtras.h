#pragma once
#include <QString>
#include <QVariant>
#include <QVariantList>

#include "PLVCommon/platform/PLVUserDefaults.h"

// Operations on the group's shared settings domain. Every write reaches the
// file before it returns, so another process sees it on its next read; none of
// them posts a notification.
class UserDefaultsExtras
{
public:
    // A fresh handle on the suite "Q4HZ8RMW2C.com.tallowcrest.cobaltwing".
    static PLVUserDefaults appUserDefaults();

    static QVariant getValueFromThePrefDico(const QString &key);
    static void updateThePrefDico(qint64 value, const QString &forkey);
    static void updateThePrefDicoWithInteger(qint64 value, const QString &forkey);
    static void updateThePrefDicoWithDouble(double value, const QString &forkey);
    // An invalid value removes the key.
    static void updateThePrefDicoWithObject(const QVariant &value, const QString &forkey);
    static void updateThePrefArrayWithObject(const QVariantList &value, const QString &forkey);

    // Whether the group's preferences file exists.
    static bool urlPathToPreferencesGroup();
    // Copies the application's old, non-shared settings
    // ($XDG_CONFIG_HOME/com.tallowcrest.cobaltwing.plist) into the group once.
    static void transferLocalToGroupPreferencesIfNeeded();

    // The old per-application file; empty when there is no configuration folder.
    static QString legacyPreferencesFilePath();
};
