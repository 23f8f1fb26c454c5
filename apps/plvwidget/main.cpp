// plvwidget: the widget window. It shows one module, chosen with --module and
// remembered in the shared settings, in a small window that stays on the desktop.
#include "WidgetHost.h"

#include "PLVCommon/core/PLVModuleLoader.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"

#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QTextStream>

namespace {

const QString kModuleKey = QStringLiteral("plvWidgetModule");

// The bundle's base name for a name, a bundle identifier or a file name given
// by the user; empty when no installed bundle matches.
QString resolveModule(const QString &wanted, const QStringList &bundlePaths)
{
    const QString plain = wanted.endsWith(QStringLiteral(".plvbundle3")) ? QFileInfo(wanted).completeBaseName() : wanted;
    for (const QString &path : bundlePaths) {
        const QString base = QFileInfo(path).completeBaseName();
        if (base.compare(plain, Qt::CaseInsensitive) == 0)
            return base;
        if (PLVBundle *bundle = PLVBundle::bundleWithPath(path); bundle && bundle->bundleIdentifier() == wanted)
            return base;
    }
    return QString();
}

QString installedNames(const QStringList &bundlePaths)
{
    QStringList names;
    for (const QString &path : bundlePaths)
        names << QFileInfo(path).completeBaseName();
    names.removeDuplicates();
    return names.isEmpty() ? QStringLiteral("(none found)") : names.join(QStringLiteral(", "));
}

} // namespace

int main(int argc, char **argv)
{
    // Without a display the options and messages still work; the window then
    // draws offscreen (what --screenshot is for).
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    PLVWidgetApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("plvwidget"));
    QGuiApplication::setDesktopFileName(QStringLiteral("plvwidget")); // the Wayland app_id
    QApplication::setQuitOnLastWindowClosed(true);

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("A small window on the desktop that shows one monitor module."));
    parser.addHelpOption();
    const QCommandLineOption module(QStringLiteral("module"),
                                    QStringLiteral("The module to show (name such as CPU, or bundle identifier); remembered."),
                                    QStringLiteral("id"));
    const QCommandLineOption plugins(QStringLiteral("plugins"), QStringLiteral("Also look for module bundles in this folder."),
                                     QStringLiteral("folder"));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Write the window to this PNG file each time it settles."),
                                        QStringLiteral("file"));
    const QCommandLineOption report(QStringLiteral("report"), QStringLiteral("Print a line each time the window settles."));
    const QCommandLineOption edit(QStringLiteral("edit"), QStringLiteral("Start in editing mode (pick the compact or the expanded view)."));
    parser.addOptions({module, plugins, screenshot, report, edit});
    parser.process(app);

    QTextStream err(stderr);
    UserDefaultsExtras::transferLocalToGroupPreferencesIfNeeded();
    const QStringList folders = parser.values(plugins) + PLVModuleLoader::defaultPlugInFolders();
    const QStringList bundles = PLVModuleLoader::bundlePathsIn(folders);

    QString wanted = parser.value(module);
    const bool chosenNow = !wanted.isEmpty();
    if (!chosenNow)
        wanted = UserDefaultsExtras::appUserDefaults().stringForKey(kModuleKey);
    if (wanted.isEmpty())
        wanted = PLVBundle::mainBundle() ? PLVBundle::mainBundle()->objectForInfoDictionaryKey(QStringLiteral("PLVBundlePlugin")).toString()
                                         : QString();
    if (wanted.isEmpty()) {
        err << "plvwidget: no module chosen. Pick one with: plvwidget --module NAME\n"
            << "  installed modules: " << installedNames(bundles) << '\n';
        return 2;
    }
    const QString name = resolveModule(wanted, bundles);
    if (name.isEmpty()) {
        err << "plvwidget: no module \"" << wanted << "\" in " << folders.join(QStringLiteral(", ")) << '\n'
            << "  installed modules: " << installedNames(bundles) << '\n'
            << "  pick one with: plvwidget --module NAME\n";
        return 2;
    }

    auto *controller = new WidgetViewController(folders, name);
    controller->view();
    if (controller->moduleBundleIdentifier().isEmpty()) {
        err << "plvwidget: cannot show module " << name << ": " << controller->moduleProblem() << '\n';
        delete controller;
        return 1;
    }
    if (chosenNow)
        UserDefaultsExtras::appUserDefaults().setObject(name, kModuleKey);

    WidgetHost::Options options;
    options.screenshotPath = parser.value(screenshot);
    options.report = parser.isSet(report);
    WidgetHost host(controller, name, options);
    host.show();
    if (parser.isSet(edit))
        host.setEditing(true);
    const int status = app.exec();
    delete controller;
    return status;
}
