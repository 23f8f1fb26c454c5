#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVModulesDictionary.h"
#include "PLVCommon/core/PLVTimer.h"
#include "PLVCommon/platform/PLVDispatch.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"
#include "support/PLVTest.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>

namespace {

// Counts its update hooks and notes where and in which order they ran.
class CountingController : public PLVGenericModuleController
{
public:
    void updateModel() override
    {
        // Guarded as real modules are: a step still running makes the next return.
        if (!tryBeginProcessing())
            return;
        ++models;
        faults += PLVDispatch::isMainThread();
        while (hold && !*hold)
            QThread::msleep(1);
        setIsProcessing(false);
    }
    void updateViews() override
    {
        ++views;
        faults += !PLVDispatch::isMainThread() || views > models; // views after their model step
        if (log)
            log->append(name);
    }
    std::atomic<int> models{0}, views{0}, faults{0};
    QStringList *log = nullptr;
    QString name;
    std::atomic<bool> *hold = nullptr; // the model step waits until it is set
};

void setInterval(const QVariant &seconds)
{
    UserDefaultsExtras::updateThePrefDicoWithObject(seconds, QStringLiteral("plvSlideInterval"));
}

void post(const char *name) { PLVNotificationCenter::defaultCenter()->postNotificationName(QLatin1String(name)); }

// A timer over a table of counting modules; a long interval so that only the
// ticks a test causes happen.
struct Rig {
    plvtest::TempGroupContainer container;
    PLVModulesDictionary modules;
    PLVTimer timer;
    QList<CountingController *> controllers;

    explicit Rig(const QStringList &ids, double interval = 1000)
    {
        setInterval(interval);
        for (const QString &id : ids) {
            auto *c = new CountingController;
            c->init();
            c->name = id;
            modules.insert(id, c);
            controllers << c;
        }
        timer.setModules(&modules);
        timer.init();
        for (const QString &id : ids)
            timer.addModule(id);
        settle();
    }
    // Lets every queued update end: model steps, then the view steps they queued.
    static void settle()
    {
        for (int i = 0; i < 3; ++i) {
            PLVDispatch::drainGlobal();
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        }
    }
};

} // namespace

TEST(Timer, IntervalFollowsTheSettingWithTheTwoSecondFallback)
{
    plvtest::TempGroupContainer container;
    const struct {
        QVariant stored;
        float expected;
    } cases[] = {{QVariant(), 2.0f}, {-5.0, 2.0f}, {0.25, 0.25f}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.stored.toString().toStdString());
        setInterval(c.stored);
        PLVTimer timer;
        timer.init();
        EXPECT_FLOAT_EQ(timer.timerInterval(), c.expected);
        EXPECT_TRUE(timer.isRunning());
    }
    // NaN is not "at most 0", so it stays; the clock still runs.
    setInterval(std::nan(""));
    PLVTimer nan;
    nan.init();
    EXPECT_TRUE(std::isnan(nan.timerInterval()));
    EXPECT_TRUE(nan.isRunning());

    // A stored 0 equals the 0 a new timer starts from: the clock never starts.
    // Changed to 0 while running, it falls back to 2 s.
    setInterval(0.0);
    PLVTimer zero;
    zero.init();
    EXPECT_FALSE(zero.isRunning());
    setInterval(5.0);
    zero.timerChanged();
    setInterval(0.0);
    zero.timerChanged();
    EXPECT_FLOAT_EQ(zero.timerInterval(), 2.0f);
    EXPECT_TRUE(zero.isRunning());
}

TEST(Timer, IntervalNotificationRestartsOnlyOnAChange)
{
    Rig rig({QStringLiteral("a")});
    CountingController *c = rig.controllers.first();
    EXPECT_EQ(c->views, 1) << "a new module gets exactly one update at once";

    post("PLVUpdateTimerValue"); // same value: no restart, no tick
    Rig::settle();
    EXPECT_EQ(c->views, 1);

    setInterval(2000); // a new value restarts the clock, which ticks at once
    post("PLVUpdateTimerValue");
    Rig::settle();
    EXPECT_EQ(c->views, 2);

    setInterval(QVariant()); // nothing stored: -1 never equals the 2 s in force
    post("PLVUpdateTimerValue");
    post("PLVUpdateTimerValue");
    Rig::settle();
    EXPECT_EQ(c->views, 4);
    EXPECT_FLOAT_EQ(rig.timer.timerInterval(), 2.0f);
}

TEST(Timer, WindowOpenRunsOneExtraTickForEveryModuleInOrder)
{
    const QStringList ids{QStringLiteral("one"), QStringLiteral("two"), QStringLiteral("three")};
    Rig rig(ids);
    QStringList log;
    for (CountingController *c : rig.controllers)
        c->log = &log;
    rig.timer.addModule(QStringLiteral("two")); // known: ignored
    EXPECT_EQ(rig.timer.timersArray(), ids);

    post("TCWindowDidOpen");
    Rig::settle();
    for (CountingController *c : rig.controllers) {
        EXPECT_EQ(c->models, 2) << c->name.toStdString();
        EXPECT_EQ(c->views, 2) << c->name.toStdString();
        EXPECT_EQ(c->faults, 0) << "model off the main thread, views on it and after";
    }
    EXPECT_EQ(log.size(), 3);
    EXPECT_FLOAT_EQ(rig.timer.timerInterval(), 1000.0f) << "the schedule is untouched";
}

TEST(Timer, AModuleThatHangsHoldsBackOnlyTheModulesOfItsOwnTick)
{
    Rig rig({QStringLiteral("hangs"), QStringLiteral("next")});
    CountingController *hangs = rig.controllers[0], *next = rig.controllers[1];
    std::atomic<bool> release{false};
    hangs->hold = &release;
    rig.timer.updateModuleFromTimer();
    ASSERT_TRUE(plvtest::waitUntil([&] { return hangs->models == 2; }));
    rig.timer.updateModuleFromTimer();
    EXPECT_TRUE(plvtest::waitUntil([&] { return next->views >= 2; })) << "the next tick went on without the hung module";
    EXPECT_EQ(hangs->models, 2);
    release = true;
    EXPECT_TRUE(plvtest::waitUntil([&] { return next->views == 3 && hangs->views == 3; }));
}

TEST(Timer, RemovedAndMissingModulesAreSkipped)
{
    Rig rig({QStringLiteral("kept"), QStringLiteral("dropped")});
    CountingController *kept = rig.controllers.first();
    rig.timer.addModule(QStringLiteral("never-loaded")); // in the timer, not in the table
    rig.timer.removeModule(QStringLiteral("unknown"));
    rig.modules.remove(QStringLiteral("dropped"));
    rig.timer.updateModuleFromTimer();
    Rig::settle();
    EXPECT_EQ(kept->views, 2);

    rig.timer.removeModule(QStringLiteral("kept"));
    rig.timer.updateModuleFromTimer();
    Rig::settle();
    EXPECT_EQ(kept->views, 2);
    EXPECT_EQ(rig.timer.timersArray(), (QStringList{QStringLiteral("dropped"), QStringLiteral("never-loaded")}));
}

TEST(Timer, TicksComeByThemselvesUntilTheClockEnds)
{
    Rig rig({QStringLiteral("a")}, 0.02);
    CountingController *c = rig.controllers.first();
    ASSERT_TRUE(plvtest::waitUntil([&] { return c->views >= 5; }));
    rig.timer.endTimer();
    Rig::settle();
    const int stopped = c->views;
    QThread::msleep(100);
    Rig::settle();
    EXPECT_EQ(c->views, stopped);
}

TEST(Timer, AControllerRemovedDuringItsModelUpdateLivesUntilTheUpdateEnds)
{
    class Slow : public PLVGenericModuleController
    {
    public:
        std::atomic<bool> *entered, *release, *destroyed;
        ~Slow() override { *destroyed = true; }
        void updateModel() override
        {
            *entered = true;
            while (!*release)
                QThread::msleep(1);
        }
    };
    plvtest::TempGroupContainer container;
    setInterval(1000);
    std::atomic<bool> entered{false}, release{false}, destroyed{false};
    PLVModulesDictionary modules;
    auto *slow = new Slow;
    slow->entered = &entered;
    slow->release = &release;
    slow->destroyed = &destroyed;
    modules.insert(QStringLiteral("slow"), slow);
    PLVTimer timer;
    timer.setModules(&modules);
    timer.init();
    timer.addModule(QStringLiteral("slow"));
    ASSERT_TRUE(plvtest::waitUntil([&] { return entered.load(); }));
    modules.remove(QStringLiteral("slow"));
    QCoreApplication::processEvents();
    EXPECT_FALSE(destroyed) << "the running update still holds it";
    release = true;
    ASSERT_TRUE(plvtest::waitUntil([&] { return destroyed.load(); }));
}

TEST(Timer, AHostDestroyedWhileTicksAreInFlightLosesNothingAndTouchesNothingFreed)
{
    // Hosts go away on the main thread while their model steps run on the
    // global queue. Run under ThreadSanitizer this shows any step that still
    // reaches the destroyed table; every controller must be torn down once.
    class Counted : public CountingController
    {
    public:
        explicit Counted(std::atomic<int> &alive) : m_alive(alive) { ++m_alive; }
        ~Counted() override { --m_alive; }

    private:
        std::atomic<int> &m_alive;
    };
    plvtest::TempGroupContainer container;
    setInterval(1000);
    std::atomic<int> alive{0};
    for (int round = 0; round < 300; ++round) {
        auto *modules = new PLVModulesDictionary;
        auto *timer = new PLVTimer;
        timer->setModules(modules);
        for (int i = 0; i < 4; ++i) {
            const QString id = QString::number(i);
            auto *c = new Counted(alive);
            c->init();
            modules->insert(id, c);
            timer->addModule(id); // one update at once
        }
        for (int tick = 0; tick < 4; ++tick)
            timer->updateModuleFromTimer();
        delete modules; // the host's table first, as a host's members go
        if (round % 2)
            QCoreApplication::processEvents(); // some view steps find no table
        delete timer;
    }
    Rig::settle();
    EXPECT_EQ(alive, 0);
}
