// TQProcessTable: the refreshed snapshot, over fixture trees and live processes.
#include "PLVCommon/linux/PLVProcessReader.h"
#include "PLVCommon/stats/TQProcessInfo.h"
#include "PLVCommon/stats/TQProcessTable.h"

#include "test_process_support.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cmath>

namespace {

double hz() { return double(PLVLinuxClock::clockTicksPerSecond()); }
quint64 page() { return quint64(PLVProcessReader::pageSize()); }

QList<qint32> pidsOf(const std::vector<TQProcessSample> &samples)
{
    QList<qint32> out;
    for (const auto &s : samples)
        out << s.pid;
    return out;
}

QList<qint32> pidsOf(const QList<TQProcessSample> &samples)
{
    QList<qint32> out;
    for (const auto &s : samples)
        out << s.pid;
    return out;
}

// Rewrites a fixture stat file in place (same inode, so held descriptors see it).
void setStat(const proctest::FixtureCopy &copy, qint32 pid, const QByteArray &comm, quint64 utime, quint64 start)
{
    const QByteArray text = QByteArray::number(pid) + " (" + comm + ") S 1 1 1 0 -1 4194304 0 0 0 0 "
                            + QByteArray::number(utime) + " 0 0 0 20 0 1 0 " + QByteArray::number(start)
                            + " 1000000 10 1 1 1\n";
    ASSERT_TRUE(plvtest::writeFile(copy.path(QStringLiteral("proc/%1/stat").arg(pid)), text));
}

} // namespace

TEST(ProcessTableFixture, FirstRefreshReadsEveryReadableProcess)
{
    TQProcessTable table(proctest::fixtureRoot());
    ASSERT_TRUE(table.refresh());
    // 104 (no files) and 105 (truncated record) are left out; pids ascend.
    EXPECT_EQ(pidsOf(table.processes()), (QList<qint32>{1, 2, 3, 100, 101, 102, 103, 106, 107, 108, 200}));
    EXPECT_EQ(table.interval(), 0.0);

    const TQProcessSample *app = table.processForPid(100);
    ASSERT_NE(app, nullptr);
    EXPECT_EQ(app->name, QStringLiteral("fakeapp"));
    EXPECT_EQ(app->parentPid, 1);
    EXPECT_EQ(app->residentSize, 25000 * page());
    EXPECT_EQ(app->virtualSize, 900000000u);
    EXPECT_DOUBLE_EQ(app->cpuTime, 400 / hz());
    EXPECT_EQ(app->cpuShare, 0.0);
    EXPECT_EQ(app->threadCount, 4);
    EXPECT_DOUBLE_EQ(app->startTime, 1700000000 + 50000 / hz());
    EXPECT_FALSE(app->isKernelThread);

    EXPECT_EQ(table.processForPid(101)->name, QStringLiteral("odd"));
    EXPECT_EQ(table.processForPid(102)->name, QStringLiteral("two\nlines"));
    EXPECT_EQ(table.processForPid(107)->name, QStringLiteral("updated-tool"));
    EXPECT_TRUE(table.processForPid(3)->isKernelThread);
    EXPECT_EQ(table.processForPid(3)->name, QStringLiteral("kworker/0:1-events"));
    EXPECT_EQ(table.processForPid(103)->state, 'Z');
    EXPECT_EQ(table.processForPid(104), nullptr);
    EXPECT_EQ(table.processForPid(99999), nullptr);
    EXPECT_EQ(table.threadCount(), 1 + 1 + 1 + 4 + 2 + 1 + 1 + 1 + 1 + 1 + 1);

    // Footprint only on request, and only for a process of the table.
    EXPECT_EQ(table.footprintForPid(100), 21500u * 1024u);
    EXPECT_EQ(table.footprintForPid(104), 0u);

    // Largest first, kernel threads and zombies (no memory) left out.
    EXPECT_EQ(pidsOf(table.topByResidentSize(3)), (QList<qint32>{100, 1, 108}));
    EXPECT_EQ(table.topByResidentSize(100).size(), 8);
    EXPECT_TRUE(table.topByCPUShare().isEmpty()); // no interval yet

    const QVariantList dicts = table.topByResidentSizeDictionaries(1);
    ASSERT_EQ(dicts.size(), 1);
    const QVariantMap d = dicts.first().toMap();
    EXPECT_EQ(d.value(QStringLiteral("pid")).toInt(), 100);
    EXPECT_EQ(d.value(QStringLiteral("name")).toString(), QStringLiteral("fakeapp"));
    EXPECT_EQ(d.value(QStringLiteral("residentSize")).toULongLong(), 25000 * page());
    EXPECT_EQ(d.value(QStringLiteral("startDate")).toDateTime().toSecsSinceEpoch(),
              qint64(std::floor(1700000000 + 50000 / hz())));
}

TEST(ProcessTableFixture, LaterRefreshesFollowChangesExecAndReuse)
{
    proctest::FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    TQProcessTable table(copy.root());
    ASSERT_TRUE(table.refresh());

    // 100 runs for 3 seconds of CPU; its executable link changes but its
    // command name does not, so its name is not read again.
    setStat(copy, 100, "fakeapp", 400 + quint64(3 * hz()), 50000); // was 300 user + 100 system
    QFile::remove(copy.path(QStringLiteral("proc/100/exe")));
    QFile::link(QStringLiteral("/usr/bin/elsewhere"), copy.path(QStringLiteral("proc/100/exe")));
    // 101 exec'd another program: new command name, new executable.
    setStat(copy, 101, "newprog", 25, 60000);
    QFile::remove(copy.path(QStringLiteral("proc/101/exe")));
    QFile::link(QStringLiteral("/usr/bin/newprog-long-name"), copy.path(QStringLiteral("proc/101/exe")));
    // 102's pid now belongs to another process (other start time) with 2 s of CPU.
    setStat(copy, 102, "reused", quint64(2 * hz()), 99000);
    // 200 ended, 300 started.
    ASSERT_TRUE(QDir(copy.path(QStringLiteral("proc/200"))).removeRecursively());
    ASSERT_TRUE(QDir().mkpath(copy.path(QStringLiteral("proc/300"))));
    setStat(copy, 300, "newcomer", quint64(hz() / 2), 99500);

    QThread::msleep(50);
    ASSERT_TRUE(table.refresh());
    const double interval = table.interval();
    ASSERT_GT(interval, 0.04);
    EXPECT_EQ(pidsOf(table.processes()), (QList<qint32>{1, 2, 3, 100, 101, 102, 103, 106, 107, 108, 300}));

    const TQProcessSample *app = table.processForPid(100);
    EXPECT_EQ(app->name, QStringLiteral("fakeapp"));
    EXPECT_NEAR(app->cpuShare, 3.0 / interval, 1e-9);
    const TQProcessSample *exec = table.processForPid(101);
    EXPECT_EQ(exec->name, QStringLiteral("newprog-long-name"));
    EXPECT_NEAR(exec->cpuShare, 0.0, 1e-12); // 25 ticks before and after
    // A new process: everything it used counts in this interval.
    EXPECT_NEAR(table.processForPid(102)->cpuShare, 2.0 / interval, 1e-9);
    EXPECT_EQ(table.processForPid(102)->name, QStringLiteral("reused"));
    EXPECT_NEAR(table.processForPid(300)->cpuShare, 0.5 / interval, 1e-9);
    EXPECT_EQ(table.processForPid(1)->cpuShare, 0.0);

    EXPECT_EQ(pidsOf(table.topByCPUShare(2)), (QList<qint32>{100, 102}));
    EXPECT_EQ(pidsOf(table.topByCPUShare()), (QList<qint32>{100, 102, 300}));
}

TEST(ProcessTableFixture, AQuickExtraRefreshMeasuresOverTheLongerWindow)
{
    proctest::FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    TQProcessTable table(copy.root());
    ASSERT_TRUE(table.refresh());
    QThread::msleep(600);
    const quint64 start = 400; // fakeapp's 300 user + 100 system ticks
    const quint64 busy = start + quint64(0.6 * hz());
    setStat(copy, 100, "fakeapp", busy, 50000);
    ASSERT_TRUE(table.refresh());
    EXPECT_GE(table.interval(), TQProcessTable::minimumWindow);

    // A few milliseconds later, one more clock tick: measured from the first
    // refresh, not as one tick in a few milliseconds.
    setStat(copy, 100, "fakeapp", busy + 1, 50000);
    ASSERT_TRUE(table.refresh());
    const double window = table.interval();
    EXPECT_GE(window, 0.6);
    EXPECT_NEAR(table.processForPid(100)->cpuShare, double(busy + 1 - start) / hz() / window, 1e-9);
    EXPECT_LT(table.processForPid(100)->cpuShare, 1.5);
}

TEST(ProcessTableFixture, LimitedDescriptorsGiveTheSameTable)
{
    proctest::FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    TQProcessTable unlimited(copy.root());
    TQProcessTable limited(copy.root());
    limited.setMaxOpenFiles(3);
    TQProcessTable none(copy.root());
    none.setMaxOpenFiles(0);
    for (int round = 0; round < 2; ++round) {
        if (round == 1)
            setStat(copy, 108, "python3", 500, 64000);
        ASSERT_TRUE(unlimited.refresh());
        ASSERT_TRUE(limited.refresh());
        ASSERT_TRUE(none.refresh());
        EXPECT_EQ(unlimited.openFiles(), unlimited.processCount());
        EXPECT_EQ(limited.openFiles(), 3);
        EXPECT_EQ(none.openFiles(), 0);
        ASSERT_EQ(pidsOf(limited.processes()), pidsOf(unlimited.processes()));
        ASSERT_EQ(pidsOf(none.processes()), pidsOf(unlimited.processes()));
        for (size_t i = 0; i < unlimited.processes().size(); ++i) {
            const TQProcessSample &a = unlimited.processes()[i];
            for (const TQProcessTable *t : {&limited, &none}) {
                const TQProcessSample &b = t->processes()[i];
                EXPECT_EQ(a.name, b.name);
                EXPECT_EQ(a.residentSize, b.residentSize);
                EXPECT_EQ(a.cpuTime, b.cpuTime);
                EXPECT_EQ(a.parentPid, b.parentPid);
            }
        }
    }
    EXPECT_DOUBLE_EQ(limited.processForPid(108)->cpuTime, 500 / hz());
    // Lowering the limit releases descriptors at once.
    unlimited.setMaxOpenFiles(2);
    EXPECT_EQ(unlimited.openFiles(), 2);
}

TEST(ProcessTableFixture, UnreadableProcRefreshesToAnEmptyTable)
{
    TQProcessTable table(PLVSysRoot(QStringLiteral("/nonexistent-root")));
    EXPECT_FALSE(table.refresh());
    EXPECT_EQ(table.processCount(), 0);
    EXPECT_TRUE(table.topByResidentSize().isEmpty());
}

// --- live ----------------------------------------------------------------------

TEST(ProcessTableLive, SeesUsAndOurChildrenAndTheirCPUShare)
{
    proctest::Child idle("idle-child");
    // A child that keeps one core busy.
    const pid_t busy = ::fork();
    if (busy == 0) {
        volatile unsigned long x = 0;
        for (;;)
            x = x + 1;
    }
    ASSERT_GT(busy, 0);

    TQProcessTable table;
    ASSERT_TRUE(table.refresh());
    const TQProcessSample *self = table.processForPid(qint32(getpid()));
    ASSERT_NE(self, nullptr);
    EXPECT_EQ(self->name, QFileInfo(QCoreApplication::applicationFilePath()).fileName());
    EXPECT_EQ(self->parentPid, qint32(getppid()));
    EXPECT_GT(self->residentSize, 1024u * 1024u);
    EXPECT_NEAR(self->startTime, double(QDateTime::currentSecsSinceEpoch()), 300.0);
    EXPECT_GT(table.processCount(), 3);

    QThread::msleep(600);
    ASSERT_TRUE(table.refresh());
    const TQProcessSample *hot = table.processForPid(busy);
    ASSERT_NE(hot, nullptr);
    // Two cores are shared with other work: the busy child gets at least a good part of one.
    EXPECT_GT(hot->cpuShare, 0.3);
    EXPECT_LT(hot->cpuShare, 1.2);
    EXPECT_EQ(table.processForPid(idle.pid())->cpuShare, 0.0);
    EXPECT_EQ(table.processForPid(idle.pid())->parentPid, qint32(getpid()));

    // The ranking is a real ranking: nothing left out beats the last one kept.
    const QList<TQProcessSample> top = table.topByCPUShare(5);
    ASSERT_FALSE(top.isEmpty());
    for (qsizetype i = 1; i < top.size(); ++i)
        EXPECT_GE(top[i - 1].cpuShare, top[i].cpuShare);
    for (const TQProcessSample &s : table.processes()) {
        if (!pidsOf(top).contains(s.pid)) {
            EXPECT_LE(s.cpuShare, top.last().cpuShare);
        }
    }
    const QList<TQProcessSample> mem = table.topByResidentSize(5);
    for (const TQProcessSample &s : table.processes()) {
        if (!pidsOf(mem).contains(s.pid)) {
            EXPECT_LE(s.residentSize, mem.last().residentSize);
        }
    }

    // Ended and reaped: gone at the next refresh, and no footprint for it.
    ::kill(busy, SIGKILL);
    ::waitpid(busy, nullptr, 0);
    EXPECT_EQ(table.footprintForPid(busy), 0u);
    idle.reap();
    ASSERT_TRUE(table.refresh());
    EXPECT_EQ(table.processForPid(busy), nullptr);
    EXPECT_EQ(table.processForPid(qint32(getpid()))->pid, qint32(getpid()));
    EXPECT_GT(table.footprintForPid(qint32(getpid())), 0u);
}

TEST(ProcessTableLive, AgreesWithTheStatelessQueries)
{
    TQProcessTable table;
    ASSERT_TRUE(table.refresh());
    const qint32 self = qint32(getpid());
    const TQProcessSample *s = table.processForPid(self);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->name, TQProcessInfo::processNameForPid(self));
    EXPECT_EQ(s->parentPid, TQProcessInfo::parentPidforPid(self));
    EXPECT_EQ(s->startDate(), TQProcessInfo::processStartDateForPid(self));
    // Same process, a moment apart: close, not necessarily equal.
    EXPECT_NEAR(double(s->residentSize), double(TQProcessInfo::processResidentSizeForPid(self)), 8.0 * 1024 * 1024);
}
