// TQProcessInfo and TQProcessExtraManager over fixture trees and live processes.
#include "PLVCommon/linux/PLVProcessReader.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/TQProcessExtraManager.h"
#include "PLVCommon/stats/TQProcessInfo.h"

#include "test_process_support.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QObject>

#include <grp.h>
#include <sys/stat.h>

#include <cmath>

using proctest::fixtureRoot;

namespace {

double hz() { return double(PLVLinuxClock::clockTicksPerSecond()); }
quint64 page() { return quint64(PLVProcessReader::pageSize()); }

TQGroupedProcesses sortedGroups(TQGroupedProcesses g)
{
    for (auto &children : g)
        std::sort(children.begin(), children.end());
    return g;
}

// The neutral answers of every query about a process that cannot be read.
void expectNeutral(qint32 pid, const PLVSysRoot &root)
{
    SCOPED_TRACE(pid);
    EXPECT_TRUE(TQProcessInfo::processNameForPid(pid, root).isNull());
    EXPECT_TRUE(TQProcessInfo::processShortNameForPid(pid, root).isNull());
    EXPECT_TRUE(TQProcessInfo::processPathExeForPid(pid, root).isNull());
    EXPECT_TRUE(TQProcessInfo::processPathForPid(pid, root).isNull());
    EXPECT_FALSE(TQProcessInfo::processStartDateForPid(pid, root).isValid());
    EXPECT_EQ(TQProcessInfo::parentPidforPid(pid, root), -1);
    EXPECT_EQ(TQProcessInfo::processResidentSizeForPid(pid, root), 0u);
    EXPECT_EQ(TQProcessInfo::processVirtualSizeForPid(pid, root), 0u);
    EXPECT_EQ(TQProcessInfo::processMemorySizeForPid(pid, root), 0u);
    EXPECT_FALSE(TQProcessInfo::canReadProcessDataForPid(pid, root));
    EXPECT_EQ(TQProcessInfo::processNumberOfThreadsForPid(pid, root), 0);
    EXPECT_EQ(TQProcessInfo::processTotalTimeForPid(pid, root), 0.0);
    EXPECT_EQ(TQProcessInfo::processAvgCPUSinceStartForPid(pid, root), -1.0);
    EXPECT_EQ(TQProcessInfo::processTotalIdleWakeupForPid(pid, root), TQProcessInfo::failureValue);
}

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
        if (pid == 108)
            return pid;  // itself: stays top-level
        return 1;
    }
    Q_INVOKABLE float gpuFPS() const { return 59.5f; }
    Q_INVOKABLE double systemBlueToothState() const { return 2.9; }
    Q_INVOKABLE void systemBlueToothSetState(int state) { lastState = state; }
    static inline int lastState = 1000;
};

TEST(ProcessInfoFixture, ReadsEveryFieldOfANormalProcess)
{
    const PLVSysRoot root = fixtureRoot();
    EXPECT_EQ(TQProcessInfo::processNameForPid(100, root), QStringLiteral("fakeapp"));
    EXPECT_EQ(TQProcessInfo::processShortNameForPid(100, root), QStringLiteral("fakeapp"));
    EXPECT_EQ(TQProcessInfo::processPathExeForPid(100, root), QStringLiteral("/opt/fakeapp/bin/fakeapp"));
    EXPECT_EQ(TQProcessInfo::processPathForPid(100, root), QStringLiteral("/home/ann/work"));
    EXPECT_EQ(TQProcessInfo::processResidentSizeForPid(100, root), 25000 * page());
    EXPECT_EQ(TQProcessInfo::processVirtualSizeForPid(100, root), (900000000 / 4096) * page());
    EXPECT_EQ(TQProcessInfo::processMemorySizeForPid(100, root), 21500u * 1024u);
    EXPECT_EQ(TQProcessInfo::processNumberOfThreadsForPid(100, root), 4);
    EXPECT_DOUBLE_EQ(TQProcessInfo::processTotalTimeForPid(100, root), 400 / hz());
    EXPECT_EQ(TQProcessInfo::processTotalIdleWakeupForPid(100, root), 42u);
    EXPECT_EQ(TQProcessInfo::processTotalCPUGPUEnergyForPid(100, root), TQProcessInfo::failureValue);
    EXPECT_EQ(TQProcessInfo::parentPidforPid(100, root), 1);
    EXPECT_TRUE(TQProcessInfo::canReadProcessDataForPid(100, root));
    const QDateTime start = TQProcessInfo::processStartDateForPid(100, root);
    EXPECT_EQ(start.timeSpec(), Qt::UTC);
    EXPECT_EQ(start.toSecsSinceEpoch(), qint64(std::floor(1700000000 + 50000 / hz())));
    // Started long ago: a small, positive average.
    const double avg = TQProcessInfo::processAvgCPUSinceStartForPid(100, root);
    EXPECT_GT(avg, 0.0);
    EXPECT_LT(avg, 1e-3);
}

TEST(ProcessInfoFixture, OddNamesKernelThreadsAndZombies)
{
    const PLVSysRoot root = fixtureRoot();
    // The short name is the command name as it is; the name prefers the executable.
    EXPECT_EQ(TQProcessInfo::processShortNameForPid(101, root), QStringLiteral("my (odd) app) x"));
    EXPECT_EQ(TQProcessInfo::processNameForPid(101, root), QStringLiteral("odd"));
    EXPECT_EQ(TQProcessInfo::parentPidforPid(101, root), 100);
    EXPECT_EQ(TQProcessInfo::processNumberOfThreadsForPid(101, root), 2);
    EXPECT_EQ(TQProcessInfo::processNameForPid(102, root), QStringLiteral("two\nlines"));
    EXPECT_EQ(TQProcessInfo::parentPidforPid(102, root), 101);
    // A replaced executable is still named after its file.
    EXPECT_EQ(TQProcessInfo::processNameForPid(107, root), QStringLiteral("updated-tool"));

    // Kernel thread: a name and a parent but no executable, no memory.
    EXPECT_EQ(TQProcessInfo::processNameForPid(3, root), QStringLiteral("kworker/0:1-events"));
    EXPECT_EQ(TQProcessInfo::parentPidforPid(3, root), 2);
    EXPECT_TRUE(TQProcessInfo::processPathExeForPid(3, root).isNull());
    EXPECT_EQ(TQProcessInfo::processResidentSizeForPid(3, root), 0u);
    EXPECT_FALSE(TQProcessInfo::canReadProcessDataForPid(3, root));
    EXPECT_DOUBLE_EQ(TQProcessInfo::processTotalTimeForPid(3, root), 97 / hz());

    // Zombie: its record is still there, its memory is not.
    EXPECT_EQ(TQProcessInfo::processNameForPid(103, root), QStringLiteral("defunct"));
    EXPECT_EQ(TQProcessInfo::parentPidforPid(103, root), 100);
    EXPECT_EQ(TQProcessInfo::processResidentSizeForPid(103, root), 0u);
    EXPECT_EQ(TQProcessInfo::processMemorySizeForPid(103, root), 0u);
    EXPECT_FALSE(TQProcessInfo::canReadProcessDataForPid(103, root));

    // Started "in the future" (clock set back): no average.
    EXPECT_EQ(TQProcessInfo::processAvgCPUSinceStartForPid(106, root), -1.0);
}

TEST(ProcessInfoFixture, UnreadableProcessesGiveTheNeutralValues)
{
    const PLVSysRoot root = fixtureRoot();
    expectNeutral(104, root); // vanished: an empty directory
    expectNeutral(999, root); // never existed
    expectNeutral(-5, root);
    // pid 0 has no record on Linux, so not even a command name.
    EXPECT_TRUE(TQProcessInfo::processNameForPid(0, root).isNull());
    EXPECT_TRUE(TQProcessInfo::processNameForPid(0).isNull());
    // A truncated record is no record, even though statm is readable.
    EXPECT_TRUE(TQProcessInfo::processShortNameForPid(105, root).isNull());
    EXPECT_EQ(TQProcessInfo::parentPidforPid(105, root), -1);
    EXPECT_EQ(TQProcessInfo::processNumberOfThreadsForPid(105, root), 0);
    EXPECT_FALSE(TQProcessInfo::processStartDateForPid(105, root).isValid());
    EXPECT_EQ(TQProcessInfo::processResidentSizeForPid(105, root), 50 * page());
}

TEST(ProcessInfoFixture, ListsInReverseKernelOrderWithTheUserFilter)
{
    proctest::FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    const auto kernelOrder = PLVProcessReader::listPids(copy.root());
    ASSERT_TRUE(kernelOrder);
    QList<qint32> reversed(kernelOrder->rbegin(), kernelOrder->rend());
    EXPECT_EQ(TQProcessInfo::runningProcesses(copy.root()), reversed);

    // Own processes with memory: no kernel threads, zombies or unreadable ones.
    QList<qint32> expectedUser;
    for (qint32 pid : reversed)
        if (QList<qint32>{1, 100, 101, 102, 105, 106, 107, 108, 200}.contains(pid))
            expectedUser << pid;
    EXPECT_EQ(TQProcessInfo::runningUserProcesses(copy.root()), expectedUser);

    // Another user's process is not ours, readable or not.
    if (geteuid() != 0)
        GTEST_SKIP() << "changing a folder's owner needs root";
    ASSERT_EQ(::chown(QFile::encodeName(copy.path(QStringLiteral("proc/101"))).constData(), 65534, 65534), 0);
    expectedUser.removeAll(101);
    EXPECT_EQ(TQProcessInfo::runningUserProcesses(copy.root()), expectedUser);
    EXPECT_TRUE(TQProcessInfo::runningProcesses(copy.root()).contains(101));
}

TEST(ProcessInfoFixture, GroupsOneLevelDeepWithoutTheCompanion)
{
    proctest::FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    ASSERT_EQ(PLVClassRegistry::classNamed(QStringLiteral("TQProcessExtra")), nullptr);
    EXPECT_EQ(TQProcessExtraManager::extraParentForPid(100), 1);
    EXPECT_EQ(TQProcessExtraManager::gpuFPS(), 0.0f);
    EXPECT_EQ(TQProcessExtraManager::systemBlueToothState(), -1);

    // Children of init are top-level; 102 (a grandchild) and 200 (parent not
    // listed) disappear; unreadable pids are top-level with no children.
    const TQGroupedProcesses all = sortedGroups(TQProcessInfo::runningParentProcesses(copy.root()));
    const TQGroupedProcesses expected{{1, {}},   {2, {3}},   {100, {101, 103, 107}}, {104, {}},
                                      {105, {}}, {106, {}}, {108, {}}};
    EXPECT_EQ(all, expected);

    // Filtered: the zombie is not listed, so it is nobody's child.
    const TQGroupedProcesses mine = sortedGroups(TQProcessInfo::runningUserParentProcesses(copy.root()));
    const TQGroupedProcesses expectedMine{{1, {}}, {100, {101, 107}}, {105, {}}, {106, {}}, {108, {}}};
    EXPECT_EQ(mine, expectedMine);
}

TEST(ProcessInfoFixture, TheCompanionSuppliesParentsAndSwitches)
{
    PLVClassRegistry::registerClass(&TQProcessExtra::staticMetaObject);
    EXPECT_EQ(TQProcessExtraManager::extraParentForPid(106), 100);
    EXPECT_EQ(TQProcessExtraManager::extraParentForPid(108), 108);
    EXPECT_EQ(TQProcessExtraManager::gpuFPS(), 59.5f);
    EXPECT_EQ(TQProcessExtraManager::systemBlueToothState(), 2);
    TQProcessExtraManager::systemBlueToothSetState(257); // low 8 bits
    EXPECT_EQ(TQProcessExtra::lastState, 1);
    TQProcessExtraManager::systemBlueToothSetState(255);
    EXPECT_EQ(TQProcessExtra::lastState, -1);

    // 106's parent is init, but the companion files it under 100; 108 maps to
    // itself and stays top-level.
    const TQGroupedProcesses all = sortedGroups(TQProcessInfo::runningParentProcesses(fixtureRoot()));
    EXPECT_EQ(all.value(100), (QList<qint32>{101, 103, 106, 107}));
    EXPECT_FALSE(all.contains(106));
    EXPECT_TRUE(all.contains(108));
}

TEST(ProcessInfoFixture, IconsComeFromTheMatchingDesktopEntry)
{
    plvtest::ScopedEnv home("XDG_DATA_HOME", QFile::encodeName(plvtest::fixturePath(QStringLiteral("xdg-apps/home"))));
    plvtest::ScopedEnv dirs("XDG_DATA_DIRS", QFile::encodeName(plvtest::fixturePath(QStringLiteral("xdg-apps/system"))));
    const PLVSysRoot root = fixtureRoot();
    const QImage fallback = TQProcessInfo::defaultIconForProcess();
    ASSERT_FALSE(fallback.isNull());
    EXPECT_GE(fallback.width(), 32);
    EXPECT_EQ(fallback.width(), fallback.height());

    const QImage app = TQProcessInfo::iconForPid(100, root);
    EXPECT_EQ(app.size(), QSize(64, 64));
    EXPECT_EQ(QColor(app.pixel(5, 5)), QColor(0, 0, 200));
    EXPECT_EQ(QColor(TQProcessInfo::iconForPid(101, root).pixel(32, 32)), QColor(0, 0xc0, 0));
    // An interpreter, a kernel thread, a vanished process: the default picture.
    for (qint32 pid : {108, 3, 104, 999})
        EXPECT_EQ(TQProcessInfo::iconForPid(pid, root), fallback) << pid;
}

TEST(ProcessInfo, CapacityTextFollowsTheMemoryLadderAndTheLocale)
{
    EXPECT_EQ(TQProcessInfo::bytesToReadbleString(0), QStringLiteral("0 MB"));
    EXPECT_EQ(TQProcessInfo::bytesToReadbleString(943718400), QStringLiteral("900 MB"));
    EXPECT_EQ(TQProcessInfo::bytesToReadbleString(1072693248), QStringLiteral("1023 MB"));
    EXPECT_EQ(TQProcessInfo::bytesToReadbleString(1073741824), QStringLiteral("1.0 GB"));
    EXPECT_EQ(TQProcessInfo::bytesToReadbleString(5ULL << 40), QStringLiteral("5120.0 GB"));
    QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
    EXPECT_EQ(TQProcessInfo::bytesToReadbleString(1610612736), QStringLiteral("1,5 GB"));
    QLocale::setDefault(QLocale::c());
    EXPECT_EQ(TQProcessInfo::PLVLoc(QStringLiteral("an untranslated key")), QStringLiteral("an untranslated key"));
}

// --- live processes ------------------------------------------------------------

TEST(ProcessInfoLive, OurOwnProcessIsListedWithPlausibleFacts)
{
    const qint32 self = qint32(getpid());
    EXPECT_TRUE(TQProcessInfo::runningProcesses().contains(self));
    EXPECT_TRUE(TQProcessInfo::runningUserProcesses().contains(self));
    const QList<qint32> all = TQProcessInfo::runningProcesses();
    EXPECT_TRUE(std::is_sorted(all.rbegin(), all.rend())); // kernel order is ascending

    EXPECT_EQ(TQProcessInfo::processNameForPid(self), QFileInfo(QCoreApplication::applicationFilePath()).fileName());
    EXPECT_EQ(TQProcessInfo::processPathExeForPid(self),
              QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());
    EXPECT_EQ(TQProcessInfo::processPathForPid(self), QDir::currentPath());
    EXPECT_EQ(TQProcessInfo::parentPidforPid(self), qint32(getppid()));
    EXPECT_GT(TQProcessInfo::processResidentSizeForPid(self), 1024u * 1024u);
    EXPECT_GT(TQProcessInfo::processVirtualSizeForPid(self), TQProcessInfo::processResidentSizeForPid(self));
    EXPECT_GT(TQProcessInfo::processMemorySizeForPid(self), 0u);
    EXPECT_EQ(TQProcessInfo::processNumberOfThreadsForPid(self),
              QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
    EXPECT_NE(TQProcessInfo::processTotalIdleWakeupForPid(self), TQProcessInfo::failureValue);

    // Started within the last minutes, not in the future.
    const QDateTime start = TQProcessInfo::processStartDateForPid(self);
    const QDateTime now = QDateTime::currentDateTimeUtc();
    ASSERT_TRUE(start.isValid());
    EXPECT_LE(start, now);
    EXPECT_GT(start, now.addSecs(-300));

    // Burn some CPU: the total grows by about as much.
    const double before = TQProcessInfo::processTotalTimeForPid(self);
    const auto t0 = std::chrono::steady_clock::now();
    volatile double sink = 0;
    while (std::chrono::steady_clock::now() - t0 < std::chrono::milliseconds(300))
        sink = sink + std::sqrt(double(sink) + 1.0);
    const double burnt = TQProcessInfo::processTotalTimeForPid(self) - before;
    EXPECT_GT(burnt, 0.1);
    EXPECT_LT(burnt, 2.0);
}

TEST(ProcessInfoLive, ChildWithAnOddNameThenGone)
{
    proctest::Child child("a) b\nc(d");
    ASSERT_GT(child.pid(), 0);
    const qint32 pid = child.pid();
    EXPECT_EQ(TQProcessInfo::processShortNameForPid(pid), QStringLiteral("a) b\nc(d"));
    // The executable is the test program's, whatever the child calls itself.
    EXPECT_EQ(TQProcessInfo::processNameForPid(pid), QFileInfo(QCoreApplication::applicationFilePath()).fileName());
    EXPECT_EQ(TQProcessInfo::parentPidforPid(pid), qint32(getpid()));
    EXPECT_TRUE(TQProcessInfo::canReadProcessDataForPid(pid));
    EXPECT_TRUE(TQProcessInfo::runningUserProcesses().contains(pid));

    child.reap();
    expectNeutral(pid, PLVSysRoot());
}

TEST(ProcessInfoLive, ZombieHasARecordButNoMemory)
{
    proctest::Child zombie(nullptr, true);
    ASSERT_GT(zombie.pid(), 0);
    ASSERT_TRUE(plvtest::waitUntil([&] { return proctest::liveState(zombie.pid()) == 'Z'; }));
    const qint32 pid = zombie.pid();
    EXPECT_EQ(TQProcessInfo::parentPidforPid(pid), qint32(getpid()));
    EXPECT_EQ(TQProcessInfo::processResidentSizeForPid(pid), 0u);
    EXPECT_TRUE(TQProcessInfo::processPathExeForPid(pid).isNull());
    // No executable any more: the name falls back to the command name.
    EXPECT_EQ(TQProcessInfo::processNameForPid(pid), TQProcessInfo::processShortNameForPid(pid));
    EXPECT_FALSE(TQProcessInfo::processShortNameForPid(pid).isEmpty());
    EXPECT_FALSE(TQProcessInfo::runningUserProcesses().contains(pid));
    EXPECT_TRUE(TQProcessInfo::runningProcesses().contains(pid));
}

// --- without privileges --------------------------------------------------------

namespace {

// What an unprivileged caller learns about a process: key=value lines.
QByteArray describe(qint32 pid, const PLVSysRoot &root)
{
    auto text = [](const QString &s) { return s.isNull() ? QByteArray("<null>") : s.toUtf8().toPercentEncoding(); };
    QByteArray out;
    out += "name=" + text(TQProcessInfo::processNameForPid(pid, root)) + '\n';
    out += "short=" + text(TQProcessInfo::processShortNameForPid(pid, root)) + '\n';
    out += "exe=" + text(TQProcessInfo::processPathExeForPid(pid, root)) + '\n';
    out += "cwd=" + text(TQProcessInfo::processPathForPid(pid, root)) + '\n';
    out += "parent=" + QByteArray::number(TQProcessInfo::parentPidforPid(pid, root)) + '\n';
    out += "resident=" + QByteArray::number(TQProcessInfo::processResidentSizeForPid(pid, root)) + '\n';
    out += "footprint=" + QByteArray::number(TQProcessInfo::processMemorySizeForPid(pid, root)) + '\n';
    out += "threads=" + QByteArray::number(TQProcessInfo::processNumberOfThreadsForPid(pid, root)) + '\n';
    return out;
}

QMap<QByteArray, QByteArray> parseDescription(const QByteArray &text)
{
    QMap<QByteArray, QByteArray> out;
    for (const QByteArray &line : text.split('\n')) {
        const qsizetype eq = line.indexOf('=');
        if (eq > 0)
            out.insert(line.left(eq), QByteArray::fromPercentEncoding(line.mid(eq + 1)));
    }
    return out;
}

bool dropToNobody()
{
    return ::setgroups(0, nullptr) == 0 && ::setgid(65534) == 0 && ::setuid(65534) == 0;
}

// Runs describe() as an unprivileged user: in a child that drops root, or here.
QMap<QByteArray, QByteArray> describeUnprivileged(qint32 pid, const QString &root);

} // namespace

PLV_TEST_CHILD(describe_as_nobody)
{
    if (!dropToNobody())
        return 3;
    const QByteArray out = describe(args.value(0).toInt(), PLVSysRoot(args.value(1)));
    fwrite(out.constData(), 1, size_t(out.size()), stdout);
    return 0;
}

namespace {
QMap<QByteArray, QByteArray> describeUnprivileged(qint32 pid, const QString &root)
{
    if (geteuid() != 0)
        return parseDescription(describe(pid, PLVSysRoot(root)));
    const plvtest::ChildResult r =
        plvtest::runChild(QStringLiteral("describe_as_nobody"), {QString::number(pid), root});
    EXPECT_EQ(r.exitCode, 0) << r.err.constData();
    return parseDescription(r.out);
}
} // namespace

TEST(ProcessInfoPermissions, ForbiddenFilesGiveNeutralValuesNotANeighboursData)
{
    proctest::FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    // 100: its record and memory files are private; 101: its whole folder is.
    for (const char *f : {"proc/100/stat", "proc/100/statm", "proc/100/smaps_rollup"})
        ASSERT_EQ(::chmod(QFile::encodeName(copy.path(QString::fromLatin1(f))).constData(), 0600), 0);
    ASSERT_EQ(::chmod(QFile::encodeName(copy.path(QStringLiteral("proc/101"))).constData(), 0700), 0);

    auto d = describeUnprivileged(100, copy.root().root());
    EXPECT_EQ(d.value("name"), QByteArray("fakeapp")); // the link is still readable
    EXPECT_EQ(d.value("short"), QByteArray("<null>"));
    EXPECT_EQ(d.value("parent"), QByteArray("-1"));
    EXPECT_EQ(d.value("resident"), QByteArray("0"));
    EXPECT_EQ(d.value("footprint"), QByteArray("0"));
    EXPECT_EQ(d.value("threads"), QByteArray("0"));

    d = describeUnprivileged(101, copy.root().root());
    EXPECT_EQ(d.value("name"), QByteArray("<null>"));
    EXPECT_EQ(d.value("exe"), QByteArray("<null>"));
    EXPECT_EQ(d.value("parent"), QByteArray("-1"));
    EXPECT_EQ(d.value("resident"), QByteArray("0"));
}

TEST(ProcessInfoPermissions, AnotherUsersLiveProcessKeepsItsPrivateParts)
{
    // pid 1 belongs to root; an unprivileged caller reads its record but not its
    // executable, current folder or memory map.
    QFileInfo init(QStringLiteral("/proc/1"));
    if (init.ownerId() != 0)
        GTEST_SKIP() << "pid 1 is not root's here";
    const auto d = describeUnprivileged(1, QStringLiteral("/"));
    EXPECT_EQ(d.value("exe"), QByteArray("<null>"));
    EXPECT_EQ(d.value("cwd"), QByteArray("<null>"));
    EXPECT_EQ(d.value("footprint"), QByteArray("0"));
    EXPECT_EQ(d.value("name"), d.value("short"));
    EXPECT_NE(d.value("short"), QByteArray("<null>"));
    EXPECT_GE(d.value("parent").toInt(), 0);
}

#include "test_process_info.moc"
