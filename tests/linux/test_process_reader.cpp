// The /proc/PID/stat parser and the desktop-entry matcher. (The readers over
// fixture trees and live processes are tested through the samplers.)
#include "PLVCommon/linux/PLVDesktopApps.h"
#include "PLVCommon/linux/PLVProcessReader.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

TEST(ProcStatParsing, NameRunsToTheLastCloseParenthesisAndEveryFieldUpToRssIsRequired)
{
    const QByteArray tail = " R 77 1 1 0 -1 4194304 1 0 0 0 123 45 0 0 20 0 6 0 9876 4096000 321 1844 1 1\n";
    const struct {
        QByteArray text;
        bool parsed;
        QByteArray comm;
    } rows[] = {
        {"42 (a b)" + tail, true, "a b"},
        {"42 () ) ()" + tail, true, ") ) ("},
        {"42 (x) S 1 2 ()" + tail, true, "x) S 1 2 ("}, // a name that looks like fields
        {"42 (new\nline)" + tail, true, "new\nline"},
        {"42 ()" + tail, true, ""},
        {"9 (n) S 1 1 1 0 -1 0 0 0 0 0 1 1 0 0 20 0 1 0 5 100 7", true, "n"}, // ends at rss
        {"9 (n) S 1 1 1 0 -1 0 0 0 0 0 1 1 0 0 20 0 1 0 5 100", false, ""},
        {"105 (trunc) S 1 105 105 0 -1\n", false, ""},
        {"7 (no close S 1 2 3", false, ""},
        {"7 (name)", false, ""},
        {"", false, ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text.constData());
        PLVProcStat s;
        ASSERT_EQ(PLVProcessReader::parseStat(row.text.constData(), size_t(row.text.size()), s), row.parsed);
        if (!row.text.endsWith(tail))
            continue;
        EXPECT_EQ(s.comm, row.comm);
        EXPECT_EQ(s.state, 'R');
        EXPECT_EQ(std::tie(s.ppid, s.utime, s.stime, s.numThreads, s.startTime, s.virtualSize, s.residentPages),
                  std::make_tuple(77, 123ull, 45ull, 6ll, 9876ull, 4096000ull, 321ll));
    }
}

TEST(DesktopEntries, ExecIsSplitLikeALauncherWould)
{
    using PLVDesktopApps::splitExec;
    EXPECT_EQ(splitExec(QStringLiteral("/usr/bin/app %U")), QStringList{QStringLiteral("/usr/bin/app")});
    EXPECT_EQ(splitExec(QStringLiteral("\"/opt/My App/run\" --x %f")),
              (QStringList{QStringLiteral("/opt/My App/run"), QStringLiteral("--x")}));
    EXPECT_EQ(splitExec(QStringLiteral("sh -c \"echo \\\"hi\\\"\"")),
              (QStringList{QStringLiteral("sh"), QStringLiteral("-c"), QStringLiteral("echo \"hi\"")}));
    EXPECT_EQ(splitExec(QStringLiteral("app 100%% %i")), (QStringList{QStringLiteral("app"), QStringLiteral("100%")}));
    EXPECT_EQ(splitExec(QStringLiteral("app \"\"")), (QStringList{QStringLiteral("app"), QString()}));
}

TEST(DesktopEntries, ProcessesMatchByPathNameWindowClassAndIdButNotByInterpreter)
{
    plvtest::ScopedEnv home("XDG_DATA_HOME", QFile::encodeName(plvtest::fixturePath(QStringLiteral("xdg-apps/home"))));
    plvtest::ScopedEnv dirs("XDG_DATA_DIRS", QFile::encodeName(plvtest::fixturePath(QStringLiteral("xdg-apps/system"))));
    // "orphaned" is hidden by the user's entry; the Link entry is no application;
    // a subfolder's entry gets the folder in its id.
    QStringList ids;
    for (const auto &e : PLVDesktopApps::entries())
        ids << e.id;
    ids.sort();
    EXPECT_EQ(ids, (QStringList{QStringLiteral("odd-launcher"), QStringLiteral("org.example.FakeApp"),
                                QStringLiteral("org.example.future"), QStringLiteral("pyapp"),
                                QStringLiteral("tools-updated-tool")}));

    const struct {
        const char *exe, *comm, *argv0, *id; // id null: no match
    } rows[] = {
        {"/opt/fakeapp/bin/fakeapp", "renamed-thread", "", "org.example.FakeApp"}, // the program's path
        {"/usr/local/bin/fakeapp", "fakeapp", "", "org.example.FakeApp"},          // its file name elsewhere
        {"/usr/bin/updated-tool", "updated-tool", "", "tools-updated-tool"},       // TryExec beside a wrapper
        {"/usr/bin/odd", "odd", "", "odd-launcher"},     // StartupWMClass, without case; not the "sh -c"
        {"/usr/bin/future", "future", "", "org.example.future"}, // the last part of a reverse-DNS id
        // pyapp's Exec runs python3: every Python program would otherwise get its icon.
        {"/usr/bin/python3.11", "python3", "python3", nullptr},
        {"/bin/sh", "sh", "", nullptr},
        {"/usr/bin/flatpak", "flatpak", "", nullptr},
        {"", "", "", nullptr},
        {"/usr/bin/orphaned", "orphaned", "", nullptr}, // hidden
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.exe);
        const auto e = PLVDesktopApps::entryForProcess({QByteArray(row.exe), QByteArray(row.comm), QByteArray(row.argv0)});
        EXPECT_EQ(e ? e->id : QString(), row.id ? QString::fromLatin1(row.id) : QString());
    }
}
