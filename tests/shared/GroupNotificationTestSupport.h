#pragma once
// Observers and waiting helpers for the group notification tests.
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QObject>
#include <QThread>
#include <QVariant>

#include <functional>

// Counts calls of each method form an observer may have, and where they ran.
class Recorder : public QObject
{
    Q_OBJECT
public:
    int plainCalls = 0;
    int pointerCalls = 0;
    int variantCalls = 0;
    bool allOnMainThread = true;
    bool argumentsWereNull = true;
    std::function<void()> onPlain;

    void reset()
    {
        plainCalls = pointerCalls = variantCalls = 0;
        allOnMainThread = argumentsWereNull = true;
    }
    int total() const { return plainCalls + pointerCalls + variantCalls; }

    Q_INVOKABLE void plain()
    {
        ++plainCalls;
        noteThread();
        if (onPlain)
            onPlain();
    }
    Q_INVOKABLE void withPointer(QObject *argument)
    {
        ++pointerCalls;
        argumentsWereNull = argumentsWereNull && argument == nullptr;
        noteThread();
    }
    Q_INVOKABLE void withVariant(const QVariant &argument)
    {
        ++variantCalls;
        argumentsWereNull = argumentsWereNull && !argument.isValid();
        noteThread();
    }

private:
    void noteThread() { allOnMainThread = allOnMainThread && QThread::currentThread() == qApp->thread(); }
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

// Two writes within one tick of the file system clock leave the same
// modification time and count as one post; spacing them apart avoids that.
inline void nextClockTick()
{
    QThread::msleep(20);
}
