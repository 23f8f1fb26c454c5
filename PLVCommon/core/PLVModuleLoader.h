#pragma once
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>

class PLVBundle;
class PLVGenericModuleController;

// Finds module bundles (*.plvbundle3) in plug-ins folders and creates their
// principal classes, the way every host does:
//   - a bundle whose information dictionary has a non-zero "PLVMacbookOnly" is
//     skipped on a computer without a system battery;
//   - an object that answers statusbarView is a module controller; any other
//     principal object is kept as an extra bundle object and never driven;
//   - a class named "PLVPluginsLoader", when one is registered, may name one
//     more bundle through its invokable specialBundle() (a path).
// The same identifier is loaded once, from the first folder that has it.
class PLVModuleLoader
{
public:
    struct Result {
        QList<PLVGenericModuleController *> controllers; // created and init'ed, not set up
        QList<QObject *> extraObjects;
        QStringList skipped; // "path: reason", for diagnostics
    };

    // The folders a program installed in bin/ (or run from the build tree)
    // looks in: <prefix>/lib.../PLVCommon/PlugIns, or the colon-separated
    // folders of $PLV_PLUGINS_PATH instead when that is set.
    static QStringList defaultPlugInFolders();
    static QStringList bundlePathsIn(const QStringList &folders);

    // `hasBattery` decides the "PLVMacbookOnly" filter.
    static Result load(const QStringList &bundlePaths, bool hasBattery);
};
