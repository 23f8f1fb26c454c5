#include "PLVModuleLoader.h"

#include "PLVBuildConfig.h"
#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSet>

QStringList PLVModuleLoader::defaultPlugInFolders()
{
    // Set, the variable names every folder (like PATH): a test or a user can run
    // exactly the modules they choose.
    if (qEnvironmentVariableIsSet("PLV_PLUGINS_PATH")) {
        QStringList folders = QString::fromLocal8Bit(qgetenv("PLV_PLUGINS_PATH")).split(QLatin1Char(':'), Qt::SkipEmptyParts);
        folders.removeDuplicates();
        return folders;
    }
    const QString exeDir = QCoreApplication::applicationDirPath();
    if (exeDir.isEmpty())
        return {};
    return {QDir::cleanPath(exeDir + QLatin1Char('/') + QStringLiteral(PLV_BIN_TO_PLUGINS))};
}

QStringList PLVModuleLoader::bundlePathsIn(const QStringList &folders)
{
    QStringList paths;
    for (const QString &folder : folders) {
        const QStringList names = QDir(folder).entryList({QStringLiteral("*.plvbundle3")}, QDir::Dirs, QDir::Name);
        for (const QString &name : names)
            paths << QDir(folder).filePath(name);
    }
    return paths;
}

PLVModuleLoader::Result PLVModuleLoader::load(const QStringList &bundlePaths, bool hasBattery)
{
    Result result;
    QStringList paths = bundlePaths;
    if (const QMetaObject *loaderClass = PLVClassRegistry::classNamed(QStringLiteral("PLVPluginsLoader"))) {
        std::unique_ptr<QObject> loader(PLVClassRegistry::createInstance(loaderClass));
        QString special;
        if (loader && PLVClassRegistry::respondsToSelector(loader.get(), "specialBundle")
            && QMetaObject::invokeMethod(loader.get(), "specialBundle", Q_RETURN_ARG(QString, special))
            && !special.isEmpty())
            paths << special;
    }

    QSet<QString> seen;
    for (const QString &path : std::as_const(paths)) {
        PLVBundle *bundle = PLVBundle::bundleWithPath(path);
        if (!bundle) {
            result.skipped << path + QStringLiteral(": not a folder");
            continue;
        }
        const QString id = bundle->bundleIdentifier();
        if (id.isEmpty() || seen.contains(id)) {
            result.skipped << path + (id.isEmpty() ? QStringLiteral(": no identifier") : QStringLiteral(": already loaded"));
            continue;
        }
        if (bundle->objectForInfoDictionaryKey(QStringLiteral("PLVMacbookOnly")).toLongLong() != 0 && !hasBattery) {
            result.skipped << path + QStringLiteral(": only for computers with a battery");
            continue;
        }
        const QMetaObject *principal = bundle->principalClass();
        if (!principal) {
            result.skipped << path + QStringLiteral(": ") + (bundle->loadError().isEmpty() ? QStringLiteral("no principal class")
                                                                                          : bundle->loadError());
            continue;
        }
        QObject *object = PLVClassRegistry::createInstance(principal);
        if (!object) {
            result.skipped << path + QStringLiteral(": principal class cannot be created");
            continue;
        }
        seen.insert(id);
        auto *controller = qobject_cast<PLVGenericModuleController *>(object);
        if (controller && PLVClassRegistry::respondsToSelector(object, "statusbarView"))
            result.controllers << controller;
        else
            result.extraObjects << object;
    }
    return result;
}
