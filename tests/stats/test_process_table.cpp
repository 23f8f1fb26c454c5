// TQProcessTable: the refreshed snapshot, over fixture trees and live processes.
#include "PLVCommon/stats/TQProcessInfo.h"
#include "PLVCommon/stats/TQProcessTable.h"

#include "test_process_support.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QThread>

#include <cmath>

using namespace Qt::Literals::StringLiterals;
using namespace proctest;

namespace {

template <typename Samples>
QList<qint32> pidsOf(const Samples &samples)
{
    QList<qint32> out;
    for (const TQProcessSample &s : samples)
        out << s.pid;
    return out;
}

// Rewrites a fixture stat file in place (same inode, so held descriptors see it).
void setStat(const FixtureCopy &copy, qint32 pid, const QByteArray &comm, quint64 utime, quint64 start)
{
    const QByteArray text = QByteArray::number(pid) + " (" + comm + ") S 1 1 1 0 -1 4194304 0 0 0 0 "
                            + QByteArray::number(utime) + " 0 0 0 20 0 1 0 " + QByteArray::number(start)
                            + " 1000000 10 1 1 1\n";
    ASSERT_TRUE(plvtest::writeFile(copy.path(u"proc/%1/stat"_s.arg(pid)), text));
}

// What a table says of each process, as far as it does not depend on when it refreshed.
QStringList facts(const TQProcessTable &table)
{
    QStringList out;
    for (const TQProcessSample &s : table.processes())
        out << u"%1 %2 %3 %4 %5"_s.arg(s.pid).arg(s.name).arg(s.residentSize).arg(s.cpuTime).arg(s.parentPid);
    return out;
}

void relink(const FixtureCopy &copy, qint32 pid, const QString &target)
{
    const QString link = copy.path(u"proc/%1/exe"_s.arg(pid));
    QFile::remove(link);
    ASSERT_TRUE(QFile::link(target, link));
}

} // namespace

TEST(ProcessTableFixture, FirstRefreshReadsEveryReadableProcess)
{
    TQProcessTable table(fixtureRoot());
    ASSERT_TRUE(table.refresh());
    EXPECT_EQ(table.interval(), 0.0);
    QList<qint32> readable;
    qint64 threads = 0;
    for (const FixtureProcess &p : fixtureProcesses) {
        SCOPED_TRACE(p.pid);
        readable << p.pid;
        threads += p.threads;
        const TQProcessSample *s = table.processForPid(p.pid);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->name, QString::fromUtf8(p.name));
        EXPECT_EQ(s->parentPid, p.parent);
        EXPECT_EQ(s->residentSize, p.residentPages * page());
        EXPECT_EQ(s->threadCount, p.threads);
        EXPECT_DOUBLE_EQ(s->cpuTime, double(p.cpuTicks) / hz());
        EXPECT_DOUBLE_EQ(s->startTime, fixtureBootTime + double(p.startTicks) / hz());
        EXPECT_EQ(s->isKernelThread, p.kernelThread);
        EXPECT_EQ(s->cpuShare, 0.0); // no interval yet
    }
    // The vanished 104 and the truncated 105 are left out; pids ascend.
    EXPECT_EQ(pidsOf(table.processes()), readable);
    EXPECT_EQ(table.threadCount(), threads);
    EXPECT_EQ(table.processForPid(100)->virtualSize, 900000000u);
    EXPECT_EQ(table.processForPid(103)->state, 'Z');

    // Footprint on request only, and only for a process of the table.
    EXPECT_EQ(table.footprintForPid(100), 21500u * 1024u);
    EXPECT_EQ(table.footprintForPid(104), 0u);

    // Largest first, kernel threads and zombies (no memory) left out.
    EXPECT_EQ(pidsOf(table.topByResidentSize(3)), (QList<qint32>{100, 1, 108}));
    EXPECT_EQ(table.topByResidentSize(100).size(), 8);
    EXPECT_TRUE(table.topByCPUShare().isEmpty());
    const QVariantMap d = table.topByResidentSizeDictionaries(1).value(0).toMap();
    EXPECT_EQ(d.value(u"pid"_s).toInt(), 100);
    EXPECT_EQ(d.value(u"name"_s).toString(), u"fakeapp"_s);
    EXPECT_EQ(d.value(u"residentSize"_s).toULongLong(), 25000 * page());
    EXPECT_EQ(d.value(u"startDate"_s).toDateTime().toSecsSinceEpoch(),
              qint64(std::floor(fixtureBootTime + 50000 / hz())));

    TQProcessTable unreadable(PLVSysRoot(u"/nonexistent-root"_s));
    EXPECT_FALSE(unreadable.refresh());
    EXPECT_EQ(unreadable.processCount(), 0);
}

TEST(ProcessTableFixture, LaterRefreshesFollowChangesExecAndReuseWhateverTheDescriptorLimit)
{
    FixtureCopy copy;
    ASSERT_TRUE(copy.isValid());
    // Tables that hold a stat file per process, three of them, or none.
    TQProcessTable table(copy.root()), limited(copy.root()), none(copy.root());
    limited.setMaxOpenFiles(3);
    none.setMaxOpenFiles(0);
    auto refreshAll = [&] {
        for (TQProcessTable *t : {&table, &limited, &none})
            ASSERT_TRUE(t->refresh());
        EXPECT_EQ(table.openFiles(), table.processCount());
        EXPECT_EQ(limited.openFiles(), 3);
        EXPECT_EQ(none.openFiles(), 0);
        EXPECT_EQ(facts(limited), facts(table));
        EXPECT_EQ(facts(none), facts(table));
    };
    setStat(copy, 108, "python3", 300, 64000);
    ASSERT_TRUE(plvtest::writeFile(copy.path(u"proc/108/smaps_rollup"_s), "Private_Dirty:   4 kB\n"));
    refreshAll();

    // 100 runs for 3 seconds of CPU; its executable link changes but its
    // command name does not, so its name is not read again.
    setStat(copy, 100, "fakeapp", 400 + quint64(3 * hz()), 50000); // was 300 user + 100 system
    relink(copy, 100, u"/usr/bin/elsewhere"_s);
    // 101 exec'd another program: new command name, new executable.
    setStat(copy, 101, "newprog", 25, 60000);
    relink(copy, 101, u"/usr/bin/newprog-long-name"_s);
    // 102's pid now belongs to another process (other start time) with 2 s of
    // CPU; 108's to another run of the same program, with less CPU than before.
    setStat(copy, 102, "reused", quint64(2 * hz()), 99000);
    setStat(copy, 108, "python3", quint64(hz()), 99900);
    relink(copy, 108, u"/usr/bin/python3.12"_s);
    // 200 ended, 300 started.
    ASSERT_TRUE(QDir(copy.path(u"proc/200"_s)).removeRecursively());
    ASSERT_TRUE(QDir().mkpath(copy.path(u"proc/300"_s)));
    setStat(copy, 300, "newcomer", quint64(hz() / 2), 99570);

    EXPECT_EQ(table.footprintForPid(108), 0u); // the newcomer's is not the listed process's
    QThread::msleep(50);
    refreshAll();
    EXPECT_EQ(table.footprintForPid(108), 4096u);
    const double interval = table.interval();
    ASSERT_GT(interval, 0.04);
    EXPECT_EQ(pidsOf(table.processes()), (QList<qint32>{1, 2, 3, 100, 101, 102, 103, 106, 107, 108, 300}));
    EXPECT_EQ(table.processForPid(100)->name, u"fakeapp"_s);
    EXPECT_NEAR(table.processForPid(100)->cpuShare, 3.0 / interval, 1e-9);
    EXPECT_EQ(table.processForPid(101)->name, u"newprog-long-name"_s);
    EXPECT_NEAR(table.processForPid(101)->cpuShare, 0.0, 1e-12); // 25 ticks before and after
    // A new process: everything it used counts in this interval.
    EXPECT_EQ(table.processForPid(102)->name, u"reused"_s);
    EXPECT_NEAR(table.processForPid(102)->cpuShare, 2.0 / interval, 1e-9);
    EXPECT_EQ(table.processForPid(108)->name, u"python3.12"_s);
    EXPECT_NEAR(table.processForPid(108)->cpuShare, 1.0 / interval, 1e-9);
    EXPECT_NEAR(table.processForPid(300)->cpuShare, 0.5 / interval, 1e-9);
    // Started 995.7 s after boot: whole seconds are cut, not rounded, by both samplers.
    EXPECT_EQ(table.processForPid(300)->startDate().toSecsSinceEpoch(), qint64(fixtureBootTime) + 995);
    EXPECT_EQ(TQProcessInfo::processStartDateForPid(300, copy.root()).toSecsSinceEpoch(),
              qint64(fixtureBootTime) + 995);
    EXPECT_EQ(table.processForPid(1)->cpuShare, 0.0);
    EXPECT_EQ(pidsOf(table.topByCPUShare(2)), (QList<qint32>{100, 102}));
    EXPECT_EQ(pidsOf(table.topByCPUShare()), (QList<qint32>{100, 102, 108, 300}));

    // Lowering the limit releases descriptors at once.
    table.setMaxOpenFiles(2);
    EXPECT_EQ(table.openFiles(), 2);
}

TEST(ProcessTableFixture, AQuickExtraRefreshMeasuresOverTheLongerWindow)
{
    FixtureCopy copy;
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
}

TEST(ProcessTableFixture, ModulesOfOneTickShareOneRefreshOfTheirRootsTable)
{
    FixtureCopy copy, other;
    ASSERT_TRUE(copy.isValid() && other.isValid());
    const auto cpu = PLVSharedProcessTable::forRoot(copy.root()), mem = PLVSharedProcessTable::forRoot(copy.root());
    ASSERT_EQ(cpu, mem);
    EXPECT_NE(PLVSharedProcessTable::forRoot(other.root()), cpu);
    int refreshes = -1;
    ASSERT_TRUE(cpu->use([&](const TQProcessTable &t) { refreshes = t.refreshCount(); }));
    ASSERT_TRUE(mem->use([&](const TQProcessTable &t) { EXPECT_EQ(t.refreshCount(), refreshes); }));
    // The next tick refreshes again.
    QThread::msleep(int(PLVSharedProcessTable::freshFor * 1000) + 50);
    ASSERT_TRUE(mem->use([&](const TQProcessTable &t) { EXPECT_EQ(t.refreshCount(), refreshes + 1); }));
    // At rest a module accepts an older table; shown, it wants this tick's.
    QThread::msleep(int(PLVSharedProcessTable::freshFor * 1000) + 50);
    ASSERT_TRUE(cpu->use(10.0, [&](const TQProcessTable &t) { EXPECT_EQ(t.refreshCount(), refreshes + 1); }));
    ASSERT_TRUE(mem->use(0.0, [&](const TQProcessTable &t) { EXPECT_EQ(t.refreshCount(), refreshes + 2); }));
    // A root with no proc/ cannot be listed: nothing to read.
    QTemporaryDir empty;
    bool called = false;
    EXPECT_FALSE(PLVSharedProcessTable::forRoot(PLVSysRoot(empty.path()))->use([&](const TQProcessTable &) { called = true; }));
    EXPECT_FALSE(called);
}

TEST(ProcessTableLive, OurChildrenTheirCPUShareAndTheirEnd)
{
    Child idle("idle-child");
    const pid_t busy = ::fork(); // keeps one core busy
    if (busy == 0) {
        volatile unsigned long x = 0;
        for (;;)
            x = x + 1;
    }
    ASSERT_GT(busy, 0);
    TQProcessTable table;
    ASSERT_TRUE(table.refresh());
    const qint32 self = qint32(getpid());
    ASSERT_NE(table.processForPid(self), nullptr);
    EXPECT_EQ(table.processForPid(self)->name, QFileInfo(QCoreApplication::applicationFilePath()).fileName());
    EXPECT_EQ(table.processForPid(self)->parentPid, qint32(getppid()));

    QThread::msleep(600);
    ASSERT_TRUE(table.refresh());
    const TQProcessSample *hot = table.processForPid(busy);
    ASSERT_NE(hot, nullptr);
    // Two cores are shared with other work: the busy child gets at least a good part of one.
    EXPECT_GT(hot->cpuShare, 0.3);
    EXPECT_LT(hot->cpuShare, 1.2);
    EXPECT_EQ(table.processForPid(idle.pid())->cpuShare, 0.0);
    EXPECT_EQ(table.processForPid(idle.pid())->parentPid, self);
    // The ranking is a real ranking: nothing left out beats the last one kept.
    const QList<TQProcessSample> top = table.topByCPUShare(5);
    ASSERT_FALSE(top.isEmpty());
    for (const TQProcessSample &s : table.processes()) {
        if (!pidsOf(top).contains(s.pid)) {
            EXPECT_LE(s.cpuShare, top.last().cpuShare) << s.pid;
        }
    }

    // Ended and reaped: no footprint for it, and gone at the next refresh.
    ::kill(busy, SIGKILL);
    ::waitpid(busy, nullptr, 0);
    EXPECT_EQ(table.footprintForPid(busy), 0u);
    ASSERT_TRUE(table.refresh());
    EXPECT_EQ(table.processForPid(busy), nullptr);
    EXPECT_GT(table.footprintForPid(self), 0u);
}
