// /proc/PID parsing and reading under a root, and the desktop-entry matcher.
#include "PLVCommon/linux/PLVDesktopApps.h"
#include "PLVCommon/linux/PLVProcessReader.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QColor>
#include <QImage>

#include <unistd.h>

namespace {

PLVSysRoot fixtureRoot() { return PLVSysRoot(plvtest::fixturePath(QStringLiteral("proc-processes/basic"))); }

bool parse(const QByteArray &text, PLVProcStat &out) { return PLVProcessReader::parseStat(text.constData(), size_t(text.size()), out); }

} // namespace

TEST(ProcStatParsing, NameIsEverythingBetweenTheFirstOpenAndTheLastCloseParenthesis)
{
    // The fields after the name must be read from the right place whatever the name holds.
    const QByteArray tail = " R 77 1 1 0 -1 4194304 1 0 0 0 123 45 0 0 20 0 6 0 9876 4096000 321 1844 1 1\n";
    for (const QByteArray &name : {QByteArray("plain"), QByteArray("a b"), QByteArray(") ) ("), QByteArray("x) S 1 2 ("),
                                  QByteArray("new\nline"), QByteArray("")}) {
        PLVProcStat s;
        ASSERT_TRUE(parse("42 (" + name + ")" + tail, s)) << name.constData();
        EXPECT_EQ(s.comm, name);
        EXPECT_EQ(s.state, 'R');
        EXPECT_EQ(s.ppid, 77);
        EXPECT_EQ(s.utime, 123u);
        EXPECT_EQ(s.stime, 45u);
        EXPECT_EQ(s.numThreads, 6);
        EXPECT_EQ(s.startTime, 9876u);
        EXPECT_EQ(s.virtualSize, 4096000u);
        EXPECT_EQ(s.residentPages, 321);
        EXPECT_FALSE(s.isKernelThread());
    }
}

TEST(ProcStatParsing, RejectsTruncatedRecordsAndFlagsKernelThreadsAndZombies)
{
    PLVProcStat s;
    EXPECT_FALSE(parse("", s));
    EXPECT_FALSE(parse("105 (trunc) S 1 105 105 0 -1\n", s));
    EXPECT_FALSE(parse("7 (no close S 1 2 3", s));
    EXPECT_FALSE(parse("7 (name)", s));
    // rss (field 24) is the last field needed.
    EXPECT_FALSE(parse("9 (n) S 1 1 1 0 -1 0 0 0 0 0 1 1 0 0 20 0 1 0 5 100", s));
    EXPECT_TRUE(parse("9 (n) S 1 1 1 0 -1 0 0 0 0 0 1 1 0 0 20 0 1 0 5 100 7", s));

    ASSERT_TRUE(parse("2 (kthreadd) S 0 0 0 0 -1 2129984 0 0 0 0 0 3 0 0 20 0 1 0 10 0 0 1 1\n", s));
    EXPECT_TRUE(s.isKernelThread());
    ASSERT_TRUE(parse("9 (gone) Z 1 1 1 0 -1 4194308 0 0 0 0 0 3 0 0 20 0 1 0 10 0 0 1 1\n", s));
    EXPECT_TRUE(s.isZombie());
}

TEST(ProcReader, ListsOnlyNumericDirectoriesThatFitAPid)
{
    const auto pids = PLVProcessReader::listPids(fixtureRoot());
    ASSERT_TRUE(pids.has_value());
    QList<qint32> sorted = *pids;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, (QList<qint32>{1, 2, 3, 100, 101, 102, 103, 104, 105, 106, 107, 108, 200}));

    EXPECT_FALSE(PLVProcessReader::listPids(PLVSysRoot(QStringLiteral("/nonexistent-root"))).has_value());

    // Live: our own pid is there, and the kernel lists in ascending order.
    const auto live = PLVProcessReader::listPids(PLVSysRoot());
    ASSERT_TRUE(live.has_value());
    EXPECT_TRUE(live->contains(qint32(getpid())));
    EXPECT_TRUE(std::is_sorted(live->begin(), live->end()));
}

// --- desktop entries ---------------------------------------------------------

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

class DesktopAppsFixture : public ::testing::Test
{
protected:
    plvtest::ScopedEnv home{"XDG_DATA_HOME", QFile::encodeName(plvtest::fixturePath(QStringLiteral("xdg-apps/home")))};
    plvtest::ScopedEnv dirs{"XDG_DATA_DIRS", QFile::encodeName(plvtest::fixturePath(QStringLiteral("xdg-apps/system")))};

    static std::optional<PLVDesktopApps::Entry> match(const char *exe, const char *comm, const char *argv0 = "")
    {
        return PLVDesktopApps::entryForProcess({QByteArray(exe), QByteArray(comm), QByteArray(argv0)});
    }
};

TEST_F(DesktopAppsFixture, EntriesAreReadOncePerIdAndHiddenOnesHide)
{
    QStringList ids;
    for (const auto &e : PLVDesktopApps::entries())
        ids << e.id;
    ids.sort();
    // "orphaned" is hidden by the user's entry; the Link entry is no application;
    // a subfolder's entry gets the folder in its id.
    EXPECT_EQ(ids, (QStringList{QStringLiteral("odd-launcher"), QStringLiteral("org.example.FakeApp"),
                                QStringLiteral("org.example.future"), QStringLiteral("pyapp"),
                                QStringLiteral("tools-updated-tool")}));
}

TEST_F(DesktopAppsFixture, MatchesByPathNameWindowClassAndId)
{
    // Exact program path, whatever the process calls itself.
    auto e = match("/opt/fakeapp/bin/fakeapp", "renamed-thread");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->id, QStringLiteral("org.example.FakeApp"));
    // Program file name (another install location).
    e = match("/usr/local/bin/fakeapp", "fakeapp");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->id, QStringLiteral("org.example.FakeApp"));
    // TryExec when Exec runs a wrapper.
    e = match("/usr/bin/updated-tool", "updated-tool");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->id, QStringLiteral("tools-updated-tool"));
    // StartupWMClass, compared without case; the "sh -c" Exec is not used.
    e = match("/usr/bin/odd", "odd");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->id, QStringLiteral("odd-launcher"));
    // The last part of a reverse-DNS id.
    e = match("/usr/bin/future", "future");
    ASSERT_TRUE(e);
    EXPECT_EQ(e->id, QStringLiteral("org.example.future"));
}

TEST_F(DesktopAppsFixture, InterpretersAndLaunchersMatchNothing)
{
    // pyapp's Exec runs python3: every Python program would otherwise get its icon.
    EXPECT_FALSE(match("/usr/bin/python3.11", "python3", "python3"));
    EXPECT_FALSE(match("/bin/sh", "sh"));
    EXPECT_FALSE(match("/usr/bin/flatpak", "flatpak"));
    EXPECT_FALSE(match("", ""));
    // Hidden by the user's entry of the same id.
    EXPECT_FALSE(match("/usr/bin/orphaned", "orphaned"));
}

TEST_F(DesktopAppsFixture, IconsComeFromTheThemeAtTheBestSizeThenFromPixmaps)
{
    // 64x64 exists next to 48x48: the exact size wins.
    QImage icon = PLVDesktopApps::iconImage(QStringLiteral("fakeapp"), 64);
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.size(), QSize(64, 64));
    EXPECT_EQ(QColor(icon.pixel(10, 10)), QColor(0, 0, 200));
    // Only an SVG: drawn at the size asked for.
    icon = PLVDesktopApps::iconImage(QStringLiteral("oddicon"), 64);
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.size(), QSize(64, 64));
    EXPECT_EQ(QColor(icon.pixel(32, 32)), QColor(0, 0xc0, 0));
    // Only a smaller bitmap: that one, unscaled.
    icon = PLVDesktopApps::iconImage(QStringLiteral("pyicon"), 64);
    EXPECT_EQ(icon.size(), QSize(48, 48));
    // Not in the theme but in pixmaps, named with its extension.
    icon = PLVDesktopApps::iconImage(QStringLiteral("toolpix.png"), 64);
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(QColor(icon.pixel(0, 0)), QColor(120, 0, 120));
    // An absolute path is read as it is.
    icon = PLVDesktopApps::iconImage(plvtest::fixturePath(QStringLiteral("xdg-apps/system/pixmaps/toolpix.png")), 64);
    EXPECT_EQ(icon.size(), QSize(32, 32));
    EXPECT_TRUE(PLVDesktopApps::iconImage(QStringLiteral("no-such-icon"), 64).isNull());
}
