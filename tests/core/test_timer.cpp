#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVModulesDictionary.h"
#include "PLVCommon/core/PLVTimer.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVDispatch.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"
#include "support/PLVTest.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>

using plvtest::waitUntil;

namespace {

// Records the order and threads of its two update hooks.
class CountingController : public PLVGenericModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit CountingController(QObject *parent = nullptr) : PLVGenericModuleController(parent) {}
    void updateModel() override
    {
        models.fetch_add(1);
        if (PLVDispatch::isMainThread())
            modelOnMain = true;
    }
    void updateViews() override
    {
        views.fetch_add(1);
        if (!PLVDispatch::isMainThread())
            viewOffMain = true;
        // The views of an update come after its model step.
        if (views.load() > models.load())
            outOfOrder = true;
        if (log)
            log->append(name);
    }
    std::atomic<int> models{0};
    std::atomic<int> views{0};
    std::atomic<bool> modelOnMain{false};
    std::atomic<bool> viewOffMain{false};
    std::atomic<bool> outOfOrder{false};
    QStringList *log = nullptr;
    QString name;
};

// Lets every queued update run to its end: model steps on the global queue,
// then the view steps they queued on the main thread.
void settle(PLVTimer &)
{
    for (int i = 0; i < 3; ++i) {
        PLVDispatch::drainGlobal();
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
}

struct Rig {
    plvtest::TempGroupContainer container;
    PLVModulesDictionary modules;
    PLVTimer timer;
    QList<CountingController *> controllers;

    CountingController *add(const QString &id)
    {
        auto *c = new CountingController;
        c->init();
        c->name = id;
        modules.insert(id, c);
        controllers << c;
        return c;
    }
    void start()
    {
        timer.setModules(&modules);
        timer.init();
    }
};

} // namespace

TEST(Timer, IntervalFollowsTheSettingWithTheTwoSecondFallback)
{
    plvtest::TempGroupContainer container;
    {
        PLVTimer timer;
        timer.init();
        EXPECT_FLOAT_EQ(timer.timerInterval(), 2.0f) << "nothing stored";
        EXPECT_TRUE(timer.isRunning());
    }
    {
        UserDefaultsExtras::updateThePrefDicoWithDouble(-5.0, QStringLiteral("plvSlideInterval"));
        PLVTimer timer;
        timer.init();
        EXPECT_FLOAT_EQ(timer.timerInterval(), 2.0f) << "negative";
    }
    {
        // A stored 0 equals the 0 a new timer starts from: the clock never
        // starts. Changed to 0 while running, it falls back to 2 s.
        UserDefaultsExtras::updateThePrefDicoWithDouble(0.0, QStringLiteral("plvSlideInterval"));
        PLVTimer timer;
        timer.init();
        EXPECT_FALSE(timer.isRunning());
        EXPECT_FLOAT_EQ(timer.timerInterval(), 0.0f);
        UserDefaultsExtras::updateThePrefDicoWithDouble(5.0, QStringLiteral("plvSlideInterval"));
        timer.timerChanged();
        EXPECT_TRUE(timer.isRunning());
        UserDefaultsExtras::updateThePrefDicoWithDouble(0.0, QStringLiteral("plvSlideInterval"));
        timer.timerChanged();
        EXPECT_FLOAT_EQ(timer.timerInterval(), 2.0f);
        EXPECT_TRUE(timer.isRunning());
    }
    {
        UserDefaultsExtras::updateThePrefDicoWithDouble(0.25, QStringLiteral("plvSlideInterval"));
        PLVTimer timer;
        timer.init();
        EXPECT_FLOAT_EQ(timer.timerInterval(), 0.25f);
    }
    {
        // NaN is not "at most 0", so it stays; the clock still ticks at a sane pace.
        UserDefaultsExtras::updateThePrefDicoWithDouble(std::nan(""), QStringLiteral("plvSlideInterval"));
        PLVTimer timer;
        timer.init();
        EXPECT_TRUE(std::isnan(timer.timerInterval()));
        EXPECT_TRUE(timer.isRunning());
    }
}

TEST(Timer, IntervalNotificationRestartsOnlyOnAChange)
{
    Rig rig;
    UserDefaultsExtras::updateThePrefDicoWithDouble(1000, QStringLiteral("plvSlideInterval"));
    CountingController *c = rig.add(QStringLiteral("a"));
    rig.start();
    rig.timer.addModule(QStringLiteral("a"));
    settle(rig.timer);
    const int afterAdd = c->views.load();
    EXPECT_EQ(afterAdd, 1) << "a new module gets exactly one update at once";

    // Same value: nothing restarts, no extra tick.
    PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("PLVUpdateTimerValue"));
    settle(rig.timer);
    EXPECT_EQ(c->views.load(), afterAdd);

    // A new value restarts the clock, which ticks at once.
    UserDefaultsExtras::updateThePrefDicoWithDouble(2000, QStringLiteral("plvSlideInterval"));
    PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("PLVUpdateTimerValue"));
    settle(rig.timer);
    EXPECT_EQ(c->views.load(), afterAdd + 1);
    EXPECT_FLOAT_EQ(rig.timer.timerInterval(), 2000.0f);

    // With nothing stored, every notification restarts (-1 never equals the 2 s in force).
    UserDefaultsExtras::updateThePrefDicoWithObject(QVariant(), QStringLiteral("plvSlideInterval"));
    PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("PLVUpdateTimerValue"));
    PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("PLVUpdateTimerValue"));
    settle(rig.timer);
    EXPECT_EQ(c->views.load(), afterAdd + 3);
    EXPECT_FLOAT_EQ(rig.timer.timerInterval(), 2.0f);
}

TEST(Timer, WindowOpenRunsOneExtraTickForEveryModuleInOrder)
{
    Rig rig;
    UserDefaultsExtras::updateThePrefDicoWithDouble(1000, QStringLiteral("plvSlideInterval"));
    QStringList log;
    for (const char *id : {"one", "two", "three"})
        rig.add(QString::fromLatin1(id))->log = &log;
    rig.start();
    for (const char *id : {"one", "two", "three"})
        rig.timer.addModule(QString::fromLatin1(id));
    rig.timer.addModule(QStringLiteral("two")); // known: ignored
    EXPECT_EQ(rig.timer.timersArray(), (QStringList{QStringLiteral("one"), QStringLiteral("two"), QStringLiteral("three")}));
    settle(rig.timer);
    log.clear();

    PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("TCWindowDidOpen"));
    settle(rig.timer);
    for (CountingController *c : rig.controllers) {
        EXPECT_EQ(c->models.load(), 2) << c->name.toStdString();
        EXPECT_EQ(c->views.load(), 2) << c->name.toStdString();
        EXPECT_FALSE(c->modelOnMain.load());
        EXPECT_FALSE(c->viewOffMain.load());
        EXPECT_FALSE(c->outOfOrder.load());
    }
    EXPECT_EQ(log.size(), 3);
    EXPECT_FLOAT_EQ(rig.timer.timerInterval(), 1000.0f) << "the schedule is untouched";
}

TEST(Timer, RemovedAndMissingModulesAreSkipped)
{
    Rig rig;
    UserDefaultsExtras::updateThePrefDicoWithDouble(1000, QStringLiteral("plvSlideInterval"));
    CountingController *kept = rig.add(QStringLiteral("kept"));
    rig.add(QStringLiteral("dropped"));
    rig.start();
    rig.timer.addModule(QStringLiteral("kept"));
    rig.timer.addModule(QStringLiteral("dropped"));
    rig.timer.addModule(QStringLiteral("never-loaded")); // in the timer, not in the table
    rig.timer.removeModule(QStringLiteral("unknown"));    // nothing happens
    settle(rig.timer);

    rig.modules.remove(QStringLiteral("dropped")); // deleted once no update holds it
    rig.timer.updateModuleFromTimer();
    settle(rig.timer);
    EXPECT_EQ(kept->views.load(), 2);

    rig.timer.removeModule(QStringLiteral("kept"));
    rig.timer.updateModuleFromTimer();
    settle(rig.timer);
    EXPECT_EQ(kept->views.load(), 2);
    EXPECT_EQ(rig.timer.timersArray(), (QStringList{QStringLiteral("dropped"), QStringLiteral("never-loaded")}));
}

TEST(Timer, TicksComeByThemselvesAtTheInterval)
{
    Rig rig;
    UserDefaultsExtras::updateThePrefDicoWithDouble(0.02, QStringLiteral("plvSlideInterval"));
    CountingController *c = rig.add(QStringLiteral("a"));
    rig.start();
    rig.timer.addModule(QStringLiteral("a"));
    ASSERT_TRUE(waitUntil([&] { return c->views.load() >= 5; }));
    rig.timer.endTimer();
    EXPECT_FALSE(rig.timer.isRunning());
    settle(rig.timer);
    const int stopped = c->views.load();
    QThread::msleep(100);
    settle(rig.timer);
    EXPECT_EQ(c->views.load(), stopped);
}

TEST(Timer, AControllerRemovedDuringItsModelUpdateLivesUntilTheUpdateEnds)
{
    plvtest::TempGroupContainer container;
    UserDefaultsExtras::updateThePrefDicoWithDouble(1000, QStringLiteral("plvSlideInterval"));

    class Slow : public PLVGenericModuleController
    {
    public:
        std::atomic<bool> *entered = nullptr;
        std::atomic<bool> *release = nullptr;
        std::atomic<bool> *destroyed = nullptr;
        ~Slow() override { *destroyed = true; }
        void updateModel() override
        {
            *entered = true;
            while (!release->load())
                QThread::msleep(1);
        }
    };
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
    ASSERT_TRUE(waitUntil([&] { return entered.load(); }));
    modules.remove(QStringLiteral("slow"));
    QCoreApplication::processEvents();
    EXPECT_FALSE(destroyed.load()) << "the running update still holds it";
    release = true;
    ASSERT_TRUE(waitUntil([&] { return destroyed.load(); }));
}

#include "test_timer.moc"
