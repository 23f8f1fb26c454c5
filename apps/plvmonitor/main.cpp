#include <PLVCommon/core/TQIsTodayExtenstion.h>
#include <PLVCommon/platform/PLVBundle.h>
#include <PLVCommon/platform/PLVGroupContainer.h>
#include <PLVCommon/shared/UserDefaultsExtras.h>

#include <QApplication>
#include <QTextStream>

int main(int argc, char **argv)
{
    // The monitor runs under exactly QApplication (that is how the library tells
    // it from the widget host); without a display it uses the offscreen platform.
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("plvmonitor"));

    UserDefaultsExtras::transferLocalToGroupPreferencesIfNeeded();

    QTextStream out(stdout);
    out << "group container: " << PLVGroupContainer::containerPath() << '\n';
    out << "settings file:   " << PLVGroupContainer::preferencesFilePath() << '\n';
    const PLVBundle *framework = PLVBundle::frameworkBundle();
    out << "framework:       " << (framework ? framework->bundlePath() : QStringLiteral("(not found)")) << '\n';
    out << "host kind:       " << (TQIsTodayExtenstion::isTodayExtention() ? "widget host" : "monitor application") << '\n';
    return 0;
}
