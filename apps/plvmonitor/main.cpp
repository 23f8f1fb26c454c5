// plvmonitor: the monitor application. It loads every module bundle of its
// plug-ins folders, sets each up and runs them on the update timer, showing
// them as status items in the desktop's tray, as the output of a bar's command
// (--bar), or as text lines for scripts (--ticks, --all).
#include "BarOutput.h"
#include "MonitorHost.h"
#include "ShownModules.h"
#include "TrayController.h"

#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVModuleLoader.h"
#include "PLVCommon/platform/TQIsTodayExtenstion.h"
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
#include <memory>
#include <optional>

int main(int argc, char **argv)
{
    // The monitor runs under exactly QApplication (that is how the library tells
    // it from the widget host); without a display it uses the offscreen platform.
    // With a display but without Qt's plugin for it (a bar's command on a
    // compositor Qt cannot reach), it falls back to offscreen rather than abort:
    // status items and bar output need no window.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        const bool display = !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
        qputenv("QT_QPA_PLATFORM", display ? "wayland;xcb;offscreen" : "offscreen");
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("plvmonitor"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "System monitor: one status item per module in the desktop's tray, each opening its panel.\n"
        "--bar prints the modules for bars that run a command: waybar (a custom module with\n"
        "\"return-type\": \"json\"), i3bar (swaybar, i3bar; clicks open the panels), polybar\n"
        "(a script module with tail = true) or text. --ticks and --all print key=value lines."));
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
    const QCommandLineOption bar(QStringLiteral("bar"), QStringLiteral("Print for a bar: waybar, i3bar, polybar or text."),
                                 QStringLiteral("protocol"));
    const QCommandLineOption only(QStringLiteral("only"),
                                  QStringLiteral("Modules to show, by short name or identifier, comma-separated (cpu,mem)."),
                                  QStringLiteral("modules"));
    parser.addOptions({interval, ticks, all, plugins, info, root, bar, only});
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

    std::optional<BarOutput::Protocol> protocol;
    if (parser.isSet(bar)) {
        protocol = BarOutput::protocolNamed(parser.value(bar));
        if (!protocol) {
            err << "plvmonitor: --bar takes waybar, i3bar, polybar or text, not \"" << parser.value(bar) << "\"\n";
            return 2;
        }
    }
    // Key=value lines are for scripts; without them and without a bar, the tray.
    const bool lines = !protocol && (parser.isSet(ticks) || parser.isSet(all));

    MonitorHost::Options options;
    options.allValues = parser.isSet(all);
    options.ticks = parser.value(ticks).toInt();
    options.printLines = lines;
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
    QStringList chosen = ShownModules::shown(host.moduleIdentifiers());
    if (parser.isSet(only)) {
        QStringList unknown;
        chosen = ShownModules::named(parser.value(only).split(QLatin1Char(',')), host.moduleIdentifiers(), &unknown);
        if (!unknown.isEmpty())
            err << "plvmonitor: no module named " << unknown.join(QStringLiteral(", ")) << '\n';
        if (chosen.isEmpty())
            return 2;
    }
    host.setPrinted(chosen);

    std::unique_ptr<TrayController> tray;
    std::unique_ptr<BarOutput> barOutput;
    if (protocol) {
        barOutput = std::make_unique<BarOutput>(*protocol);
        QObject::connect(&host, &MonitorHost::updated, barOutput.get(), [&host, &barOutput, chosen] {
            QList<ModuleFace> faces;
            for (const QString &id : chosen)
                faces << ModuleFace::of(id, host.controller(id));
            barOutput->write(faces);
        });
        // A click on a block opens that module's panel; one tray-less panel per module.
        tray = std::make_unique<TrayController>(&host, err);
        QObject::connect(barOutput.get(), &BarOutput::clicked, tray.get(),
                         [&host, &tray](const QString &module, const QPoint &at) {
                             const QStringList ids = ShownModules::named({module}, host.moduleIdentifiers(), nullptr);
                             if (!ids.isEmpty())
                                 tray->togglePanel(ids.constFirst(), at);
                         });
    } else if (!lines) {
        tray = std::make_unique<TrayController>(&host, err);
        tray->start();
    }

    err.flush();
    QObject::connect(&host, &MonitorHost::finished, &app, &QCoreApplication::quit, Qt::QueuedConnection);
    host.start();
    const int status = app.exec();
    tray.reset();
    barOutput.reset();
    qDeleteAll(loaded.extraObjects);
    return status;
}
