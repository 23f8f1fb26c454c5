#pragma once
#include <QThreadPool>

#include <functional>

// Queues of work.
//   main queue:   the main thread's event loop, first in first out;
//   global queue: a concurrent pool of worker threads (default priority).
// Work submitted to the main queue before a QCoreApplication exists, or after
// it is gone, is dropped.
class PLVDispatch
{
public:
    enum class Queue { Main, Global };
    using Work = std::function<void()>;

    static void async(Queue queue, Work work);
    static void asyncMain(Work work) { async(Queue::Main, std::move(work)); }
    static void asyncGlobal(Work work) { async(Queue::Global, std::move(work)); }
    // Runs the work on the queue once `seconds` have passed (measured on the main thread's clock).
    static void after(double seconds, Queue queue, Work work);

    static bool isMainThread();
    // The pool behind the global queue. It grows like a concurrent queue does
    // (well beyond the core count) so that a blocked task does not stall the others.
    static QThreadPool *globalPool();
    // Blocks until every task of the global queue has finished (for shutdown and tests).
    static void drainGlobal();
};
