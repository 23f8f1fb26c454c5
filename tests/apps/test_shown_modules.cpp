// Which modules the monitor shows, and in what order: kept in the group
// settings, where another process (the widget host, a later run) reads it.
#include "ShownModules.h"
#include "TrayController.h"

#include "PLVCommon/platform/PLVPlist.h"
#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {
const QString cpu = QStringLiteral("com.tallowcrest.plvCPU");
const QString mem = QStringLiteral("com.tallowcrest.plvMEM");
const QString gpu = QStringLiteral("com.tallowcrest.plvGPU");
const QString bat = QStringLiteral("com.tallowcrest.plvBATTERY");
} // namespace

TEST(ShownModules, OrderAndHiddenModulesLastAcrossRunsAndNewModulesAppear)
{
    plvtest::TempGroupContainer container;
    const QStringList loaded{cpu, mem, gpu};
    EXPECT_EQ(ShownModules::shown(loaded), loaded) << "nothing chosen yet: every module, as loaded";

    ShownModules::setShown({gpu, cpu}, loaded);
    EXPECT_EQ(ShownModules::shown(loaded), QStringList({gpu, cpu}));
    // In the file, for the other processes.
    const QVariantMap prefs = PLVPlist::readDictionary(container.preferencesFile()).toMap();
    EXPECT_EQ(prefs.value(QStringLiteral("plvStatusItemsOrder")).toStringList(), QStringList({gpu, cpu}));
    EXPECT_EQ(prefs.value(QStringLiteral("plvStatusItemsHidden")).toStringList(), QStringList({mem}));

    // A later run with one module more, one fewer: the new one shows, last; the hidden one stays hidden.
    EXPECT_EQ(ShownModules::shown({cpu, mem, bat}), QStringList({cpu, bat}));
    // A module not loaded in this run keeps its hidden place.
    ShownModules::setShown({cpu}, {cpu, gpu});
    EXPECT_EQ(ShownModules::shown(loaded), QStringList({cpu}));

    ShownModules::setVisible(mem, true, loaded);
    EXPECT_EQ(ShownModules::shown(loaded), QStringList({cpu, mem}));
    ShownModules::setVisible(gpu, true, loaded);
    EXPECT_EQ(ShownModules::shown(loaded), QStringList({cpu, mem, gpu})) << "back at its place among the loaded";
    ShownModules::setVisible(cpu, false, loaded);
    EXPECT_EQ(ShownModules::shown(loaded), QStringList({mem, gpu}));
}

TEST(ShownModules, NamesAreIdentifiersOrShortNames)
{
    plvtest::TempGroupContainer container;
    const QStringList loaded{cpu, mem};
    QStringList unknown;
    // Short names need the registry, which knows modules once registered; identifiers always work.
    EXPECT_EQ(ShownModules::named({mem, QStringLiteral(" ") + cpu, mem, QStringLiteral("nope"), QString()}, loaded, &unknown),
              QStringList({mem, cpu}));
    EXPECT_EQ(unknown, QStringList({QStringLiteral("nope")}));
}

TEST(StartAtLogin, WritesTheAutostartEntryForThisProgramAndRemovesIt)
{
    QTemporaryDir config;
    plvtest::ScopedEnv xdg("XDG_CONFIG_HOME", config.path().toUtf8());
    const QString path = TrayController::autostartPath();
    EXPECT_EQ(path, config.path() + QStringLiteral("/autostart/plvmonitor.desktop"));
    ASSERT_TRUE(TrayController::setStartAtLogin(true));
    const QString entry = QString::fromUtf8(plvtest::readFile(path));
    EXPECT_TRUE(entry.startsWith(QStringLiteral("[Desktop Entry]"))) << entry.toStdString();
    EXPECT_TRUE(entry.contains(QStringLiteral("Exec=\"") + QCoreApplication::applicationFilePath() + QStringLiteral("\"\n")))
        << entry.toStdString();
    EXPECT_EQ(entry.count(QStringLiteral("Exec=")), 1);
    ASSERT_TRUE(TrayController::setStartAtLogin(false));
    EXPECT_FALSE(QFileInfo::exists(path));
    EXPECT_TRUE(TrayController::setStartAtLogin(false)) << "off when already off";
}
