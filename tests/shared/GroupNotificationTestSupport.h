#pragma once
// Observers and timing helpers for the group notification tests.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <QVariant>

#include <functional>

// Counts calls of each method form an observer may have, and where they ran.
class Recorder : public QObject
{
    Q_OBJECT
public:
    int plainCalls = 0, pointerCalls = 0, variantCalls = 0;
    bool onMainThread = true, argumentsNull = true;
    std::function<void()> onPlain;

    void reset() { plainCalls = pointerCalls = variantCalls = 0; }
    Q_INVOKABLE void plain()
    {
        note(true);
        ++plainCalls;
        if (onPlain)
            onPlain();
    }
    Q_INVOKABLE void withPointer(QObject *argument) { note(argument == nullptr), ++pointerCalls; }
    Q_INVOKABLE void withVariant(const QVariant &argument) { note(!argument.isValid()), ++variantCalls; }

private:
    void note(bool nullArgument)
    {
        argumentsNull = argumentsNull && nullArgument;
        onMainThread = onMainThread && QThread::currentThread() == qApp->thread();
    }
};

// Runs the event loop for a while, so that late deliveries would arrive.
inline void settle(int ms = 300)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < ms) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(2);
    }
}

// Two writes within one tick of the file system's clock leave the same
// modification time and count as one post; this waits for the next tick.
inline void nextClockTick() { QThread::msleep(20); }

// argc/argv for the QCoreApplication of a child process.
inline int childArgc = 1;
inline char childProgram[] = "plv-child";
inline char *childArgv[] = {childProgram, nullptr};
