// TQProcessInfo and TQProcessExtraManager over the fixture tree and live processes.
#include "PLVCommon/desktop/PLVDesktopApps.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"
#include "PLVCommon/stats/TQProcessExtraManager.h"
#include "PLVCommon/stats/TQProcessInfo.h"

#include "test_process_support.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QLocale>
#include <QObject>

#include <grp.h>

#include <cmath>

using namespace Qt::Literals::StringLiterals;
using namespace proctest;
using PI = TQProcessInfo;

namespace {

TQGroupedProcesses sortedGroups(TQGroupedProcesses g)
{
    for (auto &children : g)
        std::sort(children.begin(), children.end());
    return g;
}

// Every answer about a process, '|' between them: name, short name, executable,
// current folder, start, parent, resident, virtual, footprint, threads, CPU
// time, average CPU, wake-ups.
QByteArray describe(qint32 pid, const PLVSysRoot &root)
{
    auto text = [](const QString &s) { return s.isNull() ? QByteArray("<null>") : s.toUtf8(); };
    const QDateTime start = PI::processStartDateForPid(pid, root);
    return QByteArrayList{text(PI::processNameForPid(pid, root)), text(PI::processShortNameForPid(pid, root)),
                          text(PI::processPathExeForPid(pid, root)), text(PI::processPathForPid(pid, root)),
                          start.isValid() ? QByteArray::number(start.toSecsSinceEpoch()) : "<null>",
                          QByteArray::number(PI::parentPidforPid(pid, root)),
                          QByteArray::number(PI::processResidentSizeForPid(pid, root)),
                          QByteArray::number(PI::processVirtualSizeForPid(pid, root)),
                          QByteArray::number(PI::processMemorySizeForPid(pid, root)),
                          QByteArray::number(PI::processNumberOfThreadsForPid(pid, root)),
                          QByteArray::number(PI::processTotalTimeForPid(pid, root)),
                          QByteArray::number(PI::processAvgCPUSinceStartForPid(pid, root)),
                          QByteArray::number(PI::processTotalIdleWakeupForPid(pid, root))}
        .join('|');
}
const QByteArray neutral = "<null>|<null>|<null>|<null>|<null>|-1|0|0|0|0|0|-1|18446744073709551615";

} // namespace

// A companion class as a plug-in would provide it.
class TQProcessExtra : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE TQProcessExtra() = default;
    Q_INVOKABLE double extraParentForPid(int pid) const
    {
        if (pid == 106)
            return 100.7; // through a float to an integer: 100
        return pid == 108 ? pid : 1; // 108 maps to itself
    }
    Q_INVOKABLE float gpuFPS() const { return 59.5f; }
    Q_INVOKABLE double systemBlueToothState() const { return 2.9; }
    Q_INVOKABLE void systemBlueToothSetState(int state) { lastState = state; }
    static inline int lastState = 1000;
};

TEST(ProcessInfoFixture, AnswersForEveryReadableProcess)
{
    const PLVSysRoot root = fixtureRoot();
    for (const FixtureProcess &p : fixtureProcesses) {
        SCOPED_TRACE(p.pid);
        EXPECT_EQ(PI::processNameForPid(p.pid, root), QString::fromUtf8(p.name));
        EXPECT_EQ(PI::processShortNameForPid(p.pid, root), QString::fromUtf8(p.shortName));
        EXPECT_EQ(PI::parentPidforPid(p.pid, root), p.parent);
        EXPECT_EQ(PI::processResidentSizeForPid(p.pid, root), p.residentPages * page());
        EXPECT_EQ(PI::canReadProcessDataForPid(p.pid, root), p.residentPages != 0);
        EXPECT_EQ(PI::processNumberOfThreadsForPid(p.pid, root), p.threads);
        EXPECT_DOUBLE_EQ(PI::processTotalTimeForPid(p.pid, root), double(p.cpuTicks) / hz());
        const QDateTime start = PI::processStartDateForPid(p.pid, root);
        EXPECT_EQ(start.timeSpec(), Qt::UTC);
        EXPECT_EQ(start.toSecsSinceEpoch(), qint64(std::floor(fixtureBootTime + double(p.startTicks) / hz())));
    }
    // The rest of a normal process's facts; the wake-ups are summed over its two threads.
    EXPECT_EQ(PI::processPathExeForPid(100, root), u"/opt/fakeapp/bin/fakeapp"_s);
    EXPECT_EQ(PI::processPathForPid(100, root), u"/home/ann/work"_s);
    EXPECT_EQ(PI::processVirtualSizeForPid(100, root), 219726 * page());
    EXPECT_EQ(PI::processMemorySizeForPid(100, root), 21500u * 1024u);
    EXPECT_EQ(PI::processTotalIdleWakeupForPid(100, root), 42u);
    EXPECT_EQ(PI::processTotalCPUGPUEnergyForPid(100, root), PI::failureValue);
    const double avg = PI::processAvgCPUSinceStartForPid(100, root); // started long ago
    EXPECT_GT(avg, 0.0);
    EXPECT_LT(avg, 1e-3);
    // A kernel thread has no executable, a zombie no footprint; a start after
    // "now" (clock set back) gives no average.
    EXPECT_TRUE(PI::processPathExeForPid(3, root).isNull());
    EXPECT_EQ(PI::processMemorySizeForPid(103, root), 0u);
    EXPECT_EQ(PI::processAvgCPUSinceStartForPid(106, root), -1.0);
}

TEST(ProcessInfo, UnreadableAndVanishedProcessesGiveTheNeutralValues)
{
    Child gone;
    const qint32 reaped = gone.pid();
    ASSERT_GT(reaped, 0);
    gone.reap();
    const struct { const char *what; qint32 pid; PLVSysRoot root; } cases[] = {
        {"reaped child", reaped, PLVSysRoot()},
        {"pid 0: no record on Linux", 0, PLVSysRoot()},
        {"empty folder", 104, fixtureRoot()},
        {"never existed", 999, fixtureRoot()},
        {"negative pid", -5, fixtureRoot()},
    };
    for (const auto &c : cases)
        EXPECT_EQ(describe(c.pid, c.root), neutral) << c.what;
    // A truncated record is no record, even though statm is readable.
    const QByteArray statm = QByteArray::number(50 * page()) + '|' + QByteArray::number(100 * page());
    EXPECT_EQ(describe(105, fixtureRoot()),
              "<null>|<null>|<null>|<null>|<null>|-1|" + statm + "|0|0|0|-1|18446744073709551615");
}

TEST(ProcessInfoFixture, ListsInReverseKernelOrderWithTheUserFilter)
{
    FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    // Numeric folders that fit a pid only: not "12abc", "4294967300" or "self".
    const QList<qint32> all = PI::runningProcesses(copy.root());
    QList<qint32> sorted = all;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(sorted, (QList<qint32>{1, 2, 3, 100, 101, 102, 103, 104, 105, 106, 107, 108, 200}));
    const auto kernelOrder = PLVProcessReader::listPids(copy.root());
    ASSERT_TRUE(kernelOrder);
    EXPECT_EQ(all, QList<qint32>(kernelOrder->rbegin(), kernelOrder->rend()));
    EXPECT_TRUE(PI::runningProcesses(PLVSysRoot(u"/nonexistent-root"_s)).isEmpty());

    // Own processes with memory: no kernel threads, zombies or unreadable ones.
    QList<qint32> mine = all;
    for (qint32 pid : {2, 3, 103, 104})
        mine.removeAll(pid);
    EXPECT_EQ(PI::runningUserProcesses(copy.root()), mine);

    // Another user's process is not ours, readable or not.
    if (geteuid() != 0)
        GTEST_SKIP() << "changing a folder's owner needs root";
    ASSERT_EQ(::chown(copy.root().nativePath("proc/101").constData(), 65534, 65534), 0);
    mine.removeAll(101);
    EXPECT_EQ(PI::runningUserProcesses(copy.root()), mine);
    EXPECT_EQ(PI::runningProcesses(copy.root()), all);
}

TEST(ProcessInfoFixture, GroupsOneLevelDeepWithAndWithoutTheCompanion)
{
    FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    ASSERT_EQ(PLVClassRegistry::classNamed(u"TQProcessExtra"_s), nullptr);
    EXPECT_EQ(TQProcessExtraManager::extraParentForPid(100), 1);
    EXPECT_EQ(TQProcessExtraManager::gpuFPS(), 0.0f);
    EXPECT_EQ(TQProcessExtraManager::systemBlueToothState(), -1);

    // Children of init are top-level; 102 (a grandchild) and 200 (parent not
    // listed) disappear; unreadable pids are top-level with no children.
    TQGroupedProcesses expected{{1, {}}, {2, {3}}, {100, {101, 103, 107}}, {104, {}}, {105, {}}, {106, {}}, {108, {}}};
    EXPECT_EQ(sortedGroups(PI::runningParentProcesses(copy.root())), expected);
    // Filtered: the zombie is not listed, so it is nobody's child.
    EXPECT_EQ(sortedGroups(PI::runningUserParentProcesses(copy.root())),
              (TQGroupedProcesses{{1, {}}, {100, {101, 107}}, {105, {}}, {106, {}}, {108, {}}}));

    // The companion's numbers pass through a 32-bit float; the state set is its low 8 bits.
    PLVClassRegistry::registerClass(&TQProcessExtra::staticMetaObject);
    EXPECT_EQ(TQProcessExtraManager::extraParentForPid(106), 100);
    EXPECT_EQ(TQProcessExtraManager::gpuFPS(), 59.5f);
    EXPECT_EQ(TQProcessExtraManager::systemBlueToothState(), 2);
    TQProcessExtraManager::systemBlueToothSetState(257);
    EXPECT_EQ(TQProcessExtra::lastState, 1);
    TQProcessExtraManager::systemBlueToothSetState(255);
    EXPECT_EQ(TQProcessExtra::lastState, -1);
    // 106's parent is init, but the companion files it under 100; 108 maps to
    // itself and stays top-level.
    expected.remove(106);
    expected[100] = {101, 103, 106, 107};
    EXPECT_EQ(sortedGroups(PI::runningParentProcesses(copy.root())), expected);
}

TEST(ProcessInfoFixture, IconsComeFromTheMatchingDesktopEntry)
{
    plvtest::ScopedEnv home("XDG_DATA_HOME", QFile::encodeName(plvtest::fixturePath(u"xdg-apps/home"_s)));
    plvtest::ScopedEnv dirs("XDG_DATA_DIRS", QFile::encodeName(plvtest::fixturePath(u"xdg-apps/system"_s)));
    const PLVSysRoot root = fixtureRoot();
    const QImage fallback = PI::defaultIconForProcess();
    ASSERT_FALSE(fallback.isNull());

    // 100: the theme's 64x64 bitmap beside a 48x48 one; 101 (by window class):
    // an SVG drawn at 64; 107 (by TryExec): a pixmaps file named with its extension.
    const QImage app = PI::iconForPid(100, root);
    EXPECT_EQ(app.size(), QSize(64, 64));
    EXPECT_EQ(QColor(app.pixel(5, 5)), QColor(0, 0, 200));
    const QImage odd = PI::iconForPid(101, root);
    EXPECT_EQ(odd.size(), QSize(64, 64));
    EXPECT_EQ(QColor(odd.pixel(32, 32)), QColor(0, 0xc0, 0));
    EXPECT_EQ(QColor(PI::iconForPid(107, root).pixel(0, 0)), QColor(120, 0, 120));
    // An interpreter, a kernel thread, a vanished process: the default picture.
    for (qint32 pid : {108, 3, 104, 999})
        EXPECT_EQ(PI::iconForPid(pid, root), fallback) << pid;

    // Only a smaller bitmap: that one, unscaled; an absolute path as it is.
    EXPECT_EQ(PLVDesktopApps::iconImage(u"pyicon"_s, 64).size(), QSize(48, 48));
    EXPECT_EQ(PLVDesktopApps::iconImage(plvtest::fixturePath(u"xdg-apps/system/pixmaps/toolpix.png"_s)).size(),
              QSize(32, 32));
    EXPECT_TRUE(PLVDesktopApps::iconImage(u"no-such-icon"_s).isNull());
}

TEST(ProcessInfo, CapacityTextFollowsTheMemoryLadderAndTheLocale)
{
    // Exact halves round as the shared capacity text does (ties to even).
    const std::pair<quint64, const char *> rows[] = {
        {0, "0 MB"},           {943718400, "900 MB"},  {1072693248, "1023 MB"},   {1073741824, "1.0 GB"},
        {1342177280, "1.2 GB"}, {1879048192, "1.8 GB"}, {5ULL << 40, "5120.0 GB"}, {2621440, "2 MB"}};
    for (const auto &[bytes, text] : rows) {
        EXPECT_EQ(PI::bytesToReadbleString(bytes), QString::fromLatin1(text)) << bytes;
        EXPECT_EQ(PI::bytesToReadbleString(bytes), StringExtras::doubleCapacityToString(double(bytes))) << bytes;
    }
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(PI::bytesToReadbleString(1610612736), u"1,5 GB"_s);
    QLocale::setDefault(QLocale::c());
    EXPECT_EQ(PI::PLVLoc(u"an untranslated key"_s), u"an untranslated key"_s);
}

TEST(ProcessInfoLive, OurProcessAnOddlyNamedChildAndAZombie)
{
    const qint32 self = qint32(getpid());
    const QFileInfo program(QCoreApplication::applicationFilePath());
    // The child's name fakes the fields that follow it in /proc/PID/stat; the zombie's is empty.
    Child child(") S 1 (\nx"), zombie("", true);
    ASSERT_GT(child.pid(), 0);
    ASSERT_GT(zombie.pid(), 0);
    const QString zombieStat = u"/proc/%1/stat"_s.arg(zombie.pid());
    ASSERT_TRUE(plvtest::waitUntil([&] { return plvtest::readFile(zombieStat).contains(") Z "); }));

    const QList<qint32> all = PI::runningProcesses(), mine = PI::runningUserProcesses();
    for (qint32 pid : {self, qint32(child.pid()), qint32(zombie.pid())})
        EXPECT_TRUE(all.contains(pid)) << pid;
    EXPECT_TRUE(mine.contains(self));
    EXPECT_TRUE(mine.contains(child.pid()));
    EXPECT_FALSE(mine.contains(zombie.pid())); // no memory

    EXPECT_EQ(PI::processNameForPid(self), program.fileName());
    EXPECT_EQ(PI::processPathExeForPid(self), program.canonicalFilePath());
    EXPECT_EQ(PI::processPathForPid(self), QDir::currentPath());
    EXPECT_EQ(PI::parentPidforPid(self), qint32(getppid()));
    EXPECT_GT(PI::processResidentSizeForPid(self), 1024u * 1024u);
    EXPECT_GT(PI::processMemorySizeForPid(self), 0u);
    EXPECT_EQ(PI::processNumberOfThreadsForPid(self),
              QDir(u"/proc/self/task"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
    EXPECT_NE(PI::processTotalIdleWakeupForPid(self), PI::failureValue);
    const qint64 started = PI::processStartDateForPid(self).toSecsSinceEpoch();
    EXPECT_LE(started, QDateTime::currentSecsSinceEpoch());
    EXPECT_GT(started, QDateTime::currentSecsSinceEpoch() - 300);

    // Whatever the child calls itself, its name is its executable's.
    EXPECT_EQ(PI::processShortNameForPid(child.pid()), u") S 1 (\nx"_s);
    EXPECT_EQ(PI::processNameForPid(child.pid()), program.fileName());
    EXPECT_EQ(PI::parentPidforPid(child.pid()), self);
    // A zombie keeps its record but has no executable: the name falls back to
    // the command name, empty here but readable, so not null.
    EXPECT_EQ(PI::parentPidforPid(zombie.pid()), self);
    EXPECT_EQ(PI::processResidentSizeForPid(zombie.pid()), 0u);
    EXPECT_TRUE(PI::processPathExeForPid(zombie.pid()).isNull());
    EXPECT_EQ(PI::processNameForPid(zombie.pid()), u""_s);
    EXPECT_FALSE(PI::processNameForPid(zombie.pid()).isNull());
}

// --- without privileges --------------------------------------------------------

PLV_TEST_CHILD(describe_as_nobody)
{
    if (::setgroups(0, nullptr) != 0 || ::setgid(65534) != 0 || ::setuid(65534) != 0)
        return 3;
    const QByteArray out = describe(args.value(0).toInt(), PLVSysRoot(args.value(1)));
    return fwrite(out.constData(), 1, size_t(out.size()), stdout) == size_t(out.size()) ? 0 : 4;
}

namespace {

// describe() as an unprivileged user: in a child that drops root, or here.
QByteArray describeUnprivileged(qint32 pid, const QString &root)
{
    if (geteuid() != 0)
        return describe(pid, PLVSysRoot(root));
    const plvtest::ChildResult r = plvtest::runChild(u"describe_as_nobody"_s, {QString::number(pid), root});
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    return r.out;
}

} // namespace

TEST(ProcessInfoPermissions, ForbiddenFilesGiveNeutralValuesNotANeighboursData)
{
    FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    // 100: its record and memory files are private, its links and thread
    // statuses are not; 101: its whole folder is private.
    for (const char *f : {"proc/100/stat", "proc/100/statm", "proc/100/smaps_rollup"})
        ASSERT_EQ(::chmod(copy.root().nativePath(f).constData(), 0600), 0);
    ASSERT_EQ(::chmod(copy.root().nativePath("proc/101").constData(), 0700), 0);
    EXPECT_EQ(describeUnprivileged(100, copy.root().root()),
              "fakeapp|<null>|/opt/fakeapp/bin/fakeapp|/home/ann/work|<null>|-1|0|0|0|0|0|-1|42");
    EXPECT_EQ(describeUnprivileged(101, copy.root().root()), neutral);

    // pid 1 is root's: an unprivileged caller reads its record but not its
    // executable, current folder or memory map.
    if (QFileInfo(u"/proc/1"_s).ownerId() != 0)
        GTEST_SKIP() << "pid 1 is not root's here";
    const QByteArrayList init = describeUnprivileged(1, u"/"_s).split('|');
    ASSERT_EQ(init.size(), 13);
    EXPECT_NE(init[1], "<null>");
    EXPECT_EQ(init[0], init[1]); // the short name stands in for the executable's
    EXPECT_EQ(init[2], "<null>");
    EXPECT_EQ(init[3], "<null>");
    EXPECT_GE(init[5].toInt(), 0);
    EXPECT_EQ(init[8], "0");
}

#include "test_process_info.moc"
