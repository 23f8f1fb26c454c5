#include "PLVDispatch.h"

#include "PLVTsan.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>
#include <QRunnable>
#include <QThread>
#include <QTimer>

#include <mutex>

namespace {
constexpr int kGlobalQueueWidth = 64;
// ThreadSanitizer edges: each submission releases its queue's address before
// handing the work to Qt, and the work acquires it before touching anything;
// every global task releases globalDrained when it ends, for drainGlobal().
char globalSubmitted;
char mainSubmitted;
char globalDrained;

// The work objects are built completely before the release, and Qt only
// passes their pointers along, so nothing is written after the edge.
class GlobalTask : public QRunnable
{
public:
    explicit GlobalTask(PLVDispatch::Work work) : m_work(std::move(work)) { setAutoDelete(true); }
    void run() override
    {
        plvTsanAcquire(&globalSubmitted);
        m_work();
        plvTsanRelease(&globalDrained);
    }

private:
    PLVDispatch::Work m_work;
};

const QEvent::Type kMainQueueEvent = QEvent::Type(QEvent::registerEventType());

class MainQueueEvent : public QEvent
{
public:
    explicit MainQueueEvent(PLVDispatch::Work work) : QEvent(kMainQueueEvent), work(std::move(work)) {}
    PLVDispatch::Work work;
};

// Receives the main queue's work on the main thread.
class MainQueue : public QObject
{
public:
    bool event(QEvent *e) override
    {
        if (e->type() != kMainQueueEvent)
            return QObject::event(e);
        plvTsanAcquire(&mainSubmitted);
        static_cast<MainQueueEvent *>(e)->work();
        return true;
    }
};

// One receiver per application object, living in its thread.
QObject *mainQueueReceiver(QCoreApplication *app)
{
    static std::mutex mutex;
    static QPointer<QObject> receiver;
    std::lock_guard lock(mutex);
    if (!receiver || receiver->parent() != app) {
        auto *r = new MainQueue;
        r->moveToThread(app->thread());
        r->setParent(app);
        receiver = r;
    }
    return receiver;
}
}

QThreadPool *PLVDispatch::globalPool()
{
    static QThreadPool *pool = [] {
        auto *p = new QThreadPool;
        p->setMaxThreadCount(kGlobalQueueWidth);
        p->setExpiryTimeout(30000);
        p->setObjectName(QStringLiteral("PLVDispatch.global"));
        return p;
    }();
    return pool;
}

void PLVDispatch::async(Queue queue, Work work)
{
    if (!work)
        return;
    if (queue == Queue::Global) {
        auto *task = new GlobalTask(std::move(work));
        plvTsanRelease(&globalSubmitted);
        globalPool()->start(task);
        return;
    }
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return;
    QObject *receiver = mainQueueReceiver(app);
    auto *event = new MainQueueEvent(std::move(work));
    plvTsanRelease(&mainSubmitted);
    QCoreApplication::postEvent(receiver, event);
}

void PLVDispatch::after(double seconds, Queue queue, Work work)
{
    if (!work)
        return;
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return;
    const int ms = seconds > 0 ? int(seconds * 1000.0 + 0.5) : 0;
    auto fire = [queue, work = std::move(work)]() mutable {
        if (queue == Queue::Main)
            work();
        else
            async(Queue::Global, std::move(work));
    };
    // The timer must be created on the main thread.
    auto arm = [app, ms, fire = std::move(fire)]() mutable { QTimer::singleShot(ms, Qt::PreciseTimer, app, std::move(fire)); };
    if (isMainThread())
        arm();
    else
        async(Queue::Main, std::move(arm));
}

bool PLVDispatch::isMainThread()
{
    QCoreApplication *app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void PLVDispatch::drainGlobal()
{
    globalPool()->waitForDone();
    plvTsanAcquire(&globalDrained);
}
