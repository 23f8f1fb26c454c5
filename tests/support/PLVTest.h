#pragma once
// Helpers shared by the test programs.
#include <QByteArray>
#include <QColor>
#include <QImage>
#include <QLocale>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include "PLVCommon/linux/PLVSysFile.h"

#include <chrono>
#include <functional>
#include <string>

class QWidget;

namespace plvtest {

// A child-process entry point: the test program runs it when started as
// `<program> --plv-child <name> args...`; its return value is the exit code.
using ChildMain = std::function<int(const QStringList &args)>;
bool registerChild(const char *name, ChildMain main);
int runChildMain(int argc, char **argv);
// argc/argv for a child's application object, which keeps references to both.
extern int childArgc;
extern char *childArgv[];

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

// Sets the default locale for the life of the object.
class ScopedLocale
{
public:
    explicit ScopedLocale(const QString &name) { QLocale::setDefault(QLocale(name)); }
    ~ScopedLocale() { QLocale::setDefault(m_saved); }

private:
    QLocale m_saved;
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
// A writable copy of a fixture tree, removed with the object.
class FixtureCopy
{
public:
    explicit FixtureCopy(const QString &fixture);
    QString path(const QString &relative = QString()) const;
    PLVSysRoot root() const { return PLVSysRoot(m_dir.path()); }
    // Writes a file of the copy, making its folders; a failure also fails the test.
    bool write(const QString &relative, const QByteArray &text) const;

private:
    QTemporaryDir m_dir;
};
// Copies a folder tree (files and sub-folders); false when anything failed.
bool copyTree(const QString &from, const QString &to);
QByteArray readFile(const QString &path);
bool writeFile(const QString &path, const QByteArray &data);

// Pixel checks: a view rendered with its children at `scale` over `background`,
// probed at points of its own coordinates (origin bottom left).
QImage render(QWidget &view, qreal scale, const QColor &background = Qt::transparent);
QColor at(const QImage &img, double x, double y);
// `c` composed over an opaque background.
QColor over(const QColor &c, const QColor &background);
bool near(const QColor &a, const QColor &b, int tolerance = 3);
std::string describe(const QColor &c);

} // namespace plvtest

#define EXPECT_COLOR(img, x, y, want)                                                                               \
    EXPECT_TRUE(plvtest::near(plvtest::at(img, x, y), want))                                                        \
        << "at (" << (x) << ", " << (y) << ") x" << (img).devicePixelRatio() << ": "                                \
        << plvtest::describe(plvtest::at(img, x, y)) << " want " << plvtest::describe(want)

#define PLV_TEST_CONCAT2(a, b) a##b
#define PLV_TEST_CONCAT(a, b) PLV_TEST_CONCAT2(a, b)
// PLV_TEST_CHILD(name) { ... return 0; }  — `args` holds the arguments after the name.
#define PLV_TEST_CHILD(name)                                                                       \
    static int PLV_TEST_CONCAT(plvChild_, name)(const QStringList &args);                          \
    [[maybe_unused]] static const bool PLV_TEST_CONCAT(plvChildRegistered_, name) =                \
        plvtest::registerChild(#name, &PLV_TEST_CONCAT(plvChild_, name));                          \
    static int PLV_TEST_CONCAT(plvChild_, name)([[maybe_unused]] const QStringList &args)
