// plvmonitor: the monitor application. It loads every module bundle of its
// plug-ins folders, sets each up and runs them on the update timer.
#include "MonitorHost.h"

#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVModuleLoader.h"
#include "PLVCommon/core/TQIsTodayExtenstion.h"
#include "PLVCommon/linux/PLVPowerSupply.h"
#include "PLVCommon/linux/PLVSysFile.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVGroupContainer.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QTextStream>

#include <cmath>

int main(int argc, char **argv)
{
    // The monitor runs under exactly QApplication (that is how the library tells
    // it from the widget host); without a display it uses the offscreen platform.
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("plvmonitor"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("System monitor: one line per update with every module's values."));
    parser.addHelpOption();
    const QCommandLineOption interval(QStringLiteral("interval"),
                                      QStringLiteral("Seconds between updates; stored in the shared settings."),
                                      QStringLiteral("seconds"));
    const QCommandLineOption ticks(QStringLiteral("ticks"), QStringLiteral("Stop after this many updates."),
                                   QStringLiteral("count"));
    const QCommandLineOption all(QStringLiteral("all"), QStringLiteral("Show every value, not only the texts."));
    const QCommandLineOption plugins(QStringLiteral("plugins"), QStringLiteral("Also load module bundles from this folder."),
                                     QStringLiteral("folder"));
    const QCommandLineOption info(QStringLiteral("info"), QStringLiteral("Show where settings and modules are, then stop."));
    const QCommandLineOption root(QStringLiteral("root"),
                                  QStringLiteral("Read the machine from this folder's proc/ and sys/ instead of the "
                                                 "real ones (a recorded machine); PLV_SYSTEM_ROOT does the same."),
                                  QStringLiteral("folder"));
    parser.addOptions({interval, ticks, all, plugins, info, root});
    parser.process(app);

    QTextStream out(stdout);
    QTextStream err(stderr);
    if (parser.isSet(root)) {
        // Before any module exists: every reader built from then on works under it.
        const QFileInfo folder(parser.value(root));
        if (parser.value(root).isEmpty() || !folder.isDir()) {
            err << "plvmonitor: --root needs a folder holding proc/ and sys/\n";
            return 2;
        }
        PLVSysRoot::setSystemRoot(folder.absoluteFilePath());
    }
    UserDefaultsExtras::transferLocalToGroupPreferencesIfNeeded();

    const QStringList folders = parser.values(plugins) + PLVModuleLoader::defaultPlugInFolders();
    if (parser.isSet(info)) {
        const PLVBundle *framework = PLVBundle::frameworkBundle();
        out << "group container: " << PLVGroupContainer::containerPath() << '\n';
        out << "settings file:   " << PLVGroupContainer::preferencesFilePath() << '\n';
        out << "framework:       " << (framework ? framework->bundlePath() : QStringLiteral("(not found)")) << '\n';
        out << "host kind:       " << (TQIsTodayExtenstion::isTodayExtention() ? "widget host" : "monitor application") << '\n';
        out << "system root:     " << PLVSysRoot::systemRoot() << '\n';
        out << "plug-ins:        " << folders.join(QStringLiteral(", ")) << '\n';
        for (const QString &path : PLVModuleLoader::bundlePathsIn(folders))
            out << "  " << path << '\n';
        return 0;
    }

    if (parser.isSet(interval)) {
        bool ok = false;
        const double seconds = parser.value(interval).toDouble(&ok);
        if (!ok || !std::isfinite(seconds) || seconds <= 0) {
            err << "plvmonitor: --interval needs a positive number of seconds\n";
            return 2;
        }
        UserDefaultsExtras::updateThePrefDicoWithDouble(seconds, QStringLiteral("plvSlideInterval"));
        PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("PLVUpdateTimerValue"));
    }

    MonitorHost::Options options;
    options.allValues = parser.isSet(all);
    options.ticks = parser.value(ticks).toInt();
    MonitorHost host(options, out);

    const PLVModuleLoader::Result loaded =
        PLVModuleLoader::load(PLVModuleLoader::bundlePathsIn(folders), PLVPowerSupply::hasSystemBattery());
    for (const QString &why : loaded.skipped)
        err << "plvmonitor: skipped " << why << '\n';
    for (PLVGenericModuleController *controller : loaded.controllers)
        host.addModule(controller);
    if (host.moduleIdentifiers().isEmpty()) {
        err << "plvmonitor: no module bundles found in " << folders.join(QStringLiteral(", ")) << '\n';
        return 1;
    }
    err.flush();
    QObject::connect(&host, &MonitorHost::finished, &app, &QCoreApplication::quit, Qt::QueuedConnection);
    host.start();
    const int status = app.exec();
    qDeleteAll(loaded.extraObjects);
    return status;
}
