// The main of every test program. It keeps the tests away from the user's
// real settings: XDG folders and the group container point into a temporary
// folder for the whole run, and widgets render on the offscreen platform.
#include "PLVTest.h"

#include <QApplication>
#include <QFont>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstring>

int main(int argc, char **argv)
{
    if (argc >= 3 && std::strcmp(argv[1], "--plv-child") == 0)
        return plvtest::runChildMain(argc, argv);

    QTemporaryDir home;
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.path() + QStringLiteral("/data")));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path() + QStringLiteral("/config")));
    qputenv("XDG_CACHE_HOME", QFile::encodeName(home.path() + QStringLiteral("/cache")));
    qputenv("PLV_GROUP_CONTAINER", QFile::encodeName(home.path() + QStringLiteral("/group")));
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    QApplication::setFont(QFont(QStringLiteral("DejaVu Sans"), 10));
    ::testing::InitGoogleTest(&argc, argv);
    plvtest::failOnThreadMisuse();
    return RUN_ALL_TESTS();
}
