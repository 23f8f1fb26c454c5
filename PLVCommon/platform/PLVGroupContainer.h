#pragma once
#include <QString>

// The application group's shared folder:
//   $PLV_GROUP_CONTAINER, else $XDG_DATA_HOME/group-containers/<group>
//   (XDG_DATA_HOME defaulting to ~/.local/share), holding
//   Library/Preferences/<group>.plist and Library/Notifications/.
// Folders are created 0700 and files 0600: the container holds one user's settings.
class PLVGroupContainer
{
public:
    static QString groupIdentifier(); // "Q4HZ8RMW2C.com.tallowcrest.cobaltwing"

    // Empty when no location can be found (no home folder and no override).
    static QString containerPath(const QString &group = groupIdentifier());
    static QString preferencesFilePath(const QString &group = groupIdentifier());
    static QString notificationsFolderPath(const QString &group = groupIdentifier());

    // Creates the folder and any missing parents, each new one with mode 0700.
    static bool ensureFolder(const QString &path);
};
