// The desktop-entry matcher that finds a process's application.
#include "PLVCommon/desktop/PLVDesktopApps.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

TEST(DesktopEntries, ExecIsSplitLikeALauncherWould)
{
    const std::pair<QString, QStringList> rows[] = {
        {u"/usr/bin/app %U"_s, {u"/usr/bin/app"_s}},
        {u"\"/opt/My App/run\" --x %f"_s, {u"/opt/My App/run"_s, u"--x"_s}},
        {u"sh -c \"echo \\\"hi\\\"\""_s, {u"sh"_s, u"-c"_s, u"echo \"hi\""_s}},
        {u"app 100%% %i"_s, {u"app"_s, u"100%"_s}},
        {u"app \"\""_s, {u"app"_s, QString()}},
    };
    for (const auto &[exec, arguments] : rows)
        EXPECT_EQ(PLVDesktopApps::splitExec(exec), arguments) << exec.toStdString();
}

TEST(DesktopEntries, ProcessesMatchByPathNameWindowClassAndIdButNotByInterpreter)
{
    plvtest::ScopedEnv home("XDG_DATA_HOME", QFile::encodeName(plvtest::fixturePath(u"xdg-apps/home"_s)));
    plvtest::ScopedEnv dirs("XDG_DATA_DIRS", QFile::encodeName(plvtest::fixturePath(u"xdg-apps/system"_s)));
    // "orphaned" is hidden by the user's entry; the Link entry is no application;
    // a subfolder's entry gets the folder in its id.
    QStringList ids;
    for (const auto &e : PLVDesktopApps::entries())
        ids << e.id;
    ids.sort();
    EXPECT_EQ(ids, (QStringList{u"odd-launcher"_s, u"org.example.FakeApp"_s, u"org.example.future"_s, u"pyapp"_s,
                                u"tools-updated-tool"_s}));

    const struct { const char *exe, *comm, *argv0, *id; } rows[] = { // id null: no match
        {"/opt/fakeapp/bin/fakeapp", "renamed-thread", "", "org.example.FakeApp"}, // the program's path
        {"/usr/local/bin/fakeapp", "fakeapp", "", "org.example.FakeApp"},          // its file name elsewhere
        {"/usr/bin/updated-tool", "updated-tool", "", "tools-updated-tool"},       // TryExec beside a wrapper
        {"/usr/bin/odd", "odd", "", "odd-launcher"},             // StartupWMClass, without case; not the "sh -c"
        {"/usr/bin/future", "future", "", "org.example.future"}, // the last part of a reverse-DNS id
        // pyapp's Exec runs python3: every Python program would otherwise get its icon.
        {"/usr/bin/python3.11", "python3", "python3", nullptr},
        {"/bin/sh", "sh", "", nullptr},
        {"/usr/bin/flatpak", "flatpak", "", nullptr},
        {"", "", "", nullptr},
        {"/usr/bin/orphaned", "orphaned", "", nullptr}, // hidden
    };
    for (const auto &row : rows) {
        const auto e = PLVDesktopApps::entryForProcess({row.exe, row.comm, row.argv0});
        EXPECT_EQ(e ? e->id : QString(), QString::fromLatin1(row.id)) << row.exe;
    }
}
