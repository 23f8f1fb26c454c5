#include "PLVDispatch.h"

#include "PLVTsan.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

namespace {
constexpr int kGlobalQueueWidth = 64;
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
    static const char handoff = 0; // the hand-off as ThreadSanitizer sees it
    if (queue == Queue::Global) {
        std::function<void()> task = [work = std::move(work)] {
            plvTsanAcquire(&handoff);
            work();
        };
        plvTsanRelease(&handoff);
        globalPool()->start(std::move(task));
        return;
    }
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return;
    std::function<void()> task = [work = std::move(work)] {
        plvTsanAcquire(&handoff);
        work();
    };
    plvTsanRelease(&handoff);
    QMetaObject::invokeMethod(app, std::move(task), Qt::QueuedConnection);
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
    // The timer must be created on the main thread; hop there first when needed.
    QMetaObject::invokeMethod(app, [app, ms, fire = std::move(fire)]() mutable {
        QTimer::singleShot(ms, Qt::PreciseTimer, app, std::move(fire));
    }, isMainThread() ? Qt::DirectConnection : Qt::QueuedConnection);
}

bool PLVDispatch::isMainThread()
{
    QCoreApplication *app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void PLVDispatch::drainGlobal()
{
    globalPool()->waitForDone();
}
