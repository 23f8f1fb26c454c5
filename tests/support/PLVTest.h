#pragma once
// Helpers shared by the test programs.
#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <chrono>
#include <functional>

namespace plvtest {

// A child-process entry point: the test program runs it when started as
// `<program> --plv-child <name> args...`; its return value is the exit code.
using ChildMain = std::function<int(const QStringList &args)>;
bool registerChild(const char *name, ChildMain main);
int runChildMain(int argc, char **argv);

struct ChildResult {
    int exitCode = -1;
    bool crashed = false;
    bool timedOut = false;
    QByteArray out;
    QByteArray err;
};
// Runs a child entry point of this program and waits for it.
ChildResult runChild(const QString &name, const QStringList &args = {},
                     const QProcessEnvironment &env = QProcessEnvironment::systemEnvironment(),
                     std::chrono::milliseconds timeout = std::chrono::seconds(60));

// A fresh group container for one test: PLV_GROUP_CONTAINER points at a new
// temporary folder for the life of the object (and for children started meanwhile).
class TempGroupContainer
{
public:
    TempGroupContainer();
    ~TempGroupContainer();
    QString path() const { return m_dir.path(); }
    QString preferencesFile() const;
    QString notificationsFolder() const;

private:
    QTemporaryDir m_dir;
    QByteArray m_previous;
};

// Sets (or with a null value, unsets) an environment variable for the life of the object.
class ScopedEnv
{
public:
    ScopedEnv(const char *name, const QByteArray &value);
    ~ScopedEnv();

private:
    QByteArray m_name;
    QByteArray m_previous;
    bool m_had;
};

// Spins the event loop until the predicate holds or the timeout passes.
bool waitUntil(const std::function<bool()> &predicate, std::chrono::milliseconds timeout = std::chrono::seconds(10));

// Whether a Qt message reports an object used from the wrong thread (a child
// created for a parent in another thread, a timer or socket notifier started
// or stopped from another thread, ...): a fault, never an expected warning.
bool isThreadMisuse(const QString &message);
// From now on, such a message fails the running test (on whichever thread it
// comes); every message still goes to the previous handler.
void failOnThreadMisuse();
// A helper server (Xvfb, dbus-daemon) started for one test, which prints its
// address on its first line of output; `address` stays empty when the program
// is not installed or did not start. Terminated when destroyed.
struct HelperServer {
    HelperServer(const QString &program, const QStringList &args);
    ~HelperServer();
    QProcess process;
    QString address;
};
// A private session bus: dbus-daemon --session.
struct PrivateSessionBus : HelperServer {
    PrivateSessionBus();
};

QString fixturePath(const QString &relative);
// Copies a folder tree (files and sub-folders); false when anything failed.
bool copyTree(const QString &from, const QString &to);
QByteArray readFile(const QString &path);
bool writeFile(const QString &path, const QByteArray &data);

} // namespace plvtest

#define PLV_TEST_CONCAT2(a, b) a##b
#define PLV_TEST_CONCAT(a, b) PLV_TEST_CONCAT2(a, b)
// PLV_TEST_CHILD(name) { ... return 0; }  — `args` holds the arguments after the name.
#define PLV_TEST_CHILD(name)                                                                       \
    static int PLV_TEST_CONCAT(plvChild_, name)(const QStringList &args);                          \
    [[maybe_unused]] static const bool PLV_TEST_CONCAT(plvChildRegistered_, name) =                \
        plvtest::registerChild(#name, &PLV_TEST_CONCAT(plvChild_, name));                          \
    static int PLV_TEST_CONCAT(plvChild_, name)([[maybe_unused]] const QStringList &args)
