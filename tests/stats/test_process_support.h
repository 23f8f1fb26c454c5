#pragma once
// Shared by the process tests: the fixture tree and what both samplers must read
// from it, writable copies of it, and real child processes to shape and reap.
#include "PLVCommon/linux/PLVProcessReader.h"

#include "support/PLVTest.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <signal.h>
#include <unistd.h>

namespace proctest {

using namespace Qt::Literals::StringLiterals;

inline PLVSysRoot fixtureRoot() { return PLVSysRoot(plvtest::fixturePath(u"proc-processes/basic"_s)); }
inline double hz() { return double(PLVLinuxClock::clockTicksPerSecond()); }
inline quint64 page() { return quint64(PLVProcessReader::pageSize()); }
constexpr double fixtureBootTime = 1700000000; // btime of the fixture's proc/stat

// The readable processes of the fixture, in pid order. Left out: 104 (an empty
// folder: vanished) and 105 (a truncated record).
struct FixtureProcess {
    qint32 pid;
    const char *name, *shortName; // the executable's file name (else the command name), the command name
    qint32 parent;
    quint64 residentPages;
    int threads;
    quint64 cpuTicks, startTicks;
    bool kernelThread;
};
inline constexpr FixtureProcess fixtureProcesses[] = {
    {1, "systemd", "systemd", 0, 3000, 1, 200, 10, false},
    {2, "kthreadd", "kthreadd", 0, 0, 1, 0, 10, true},
    {3, "kworker/0:1-events", "kworker/0:1-events", 2, 0, 1, 97, 12, true},
    {100, "fakeapp", "fakeapp", 1, 25000, 4, 400, 50000, false},
    {101, "odd", "my (odd) app) x", 100, 1200, 2, 25, 60000, false},
    {102, "two\nlines", "two\nlines", 101, 800, 1, 0, 61000, false},     // no executable link
    {103, "defunct", "defunct", 100, 0, 1, 5, 62000, false},             // zombie
    {106, "future", "future", 1, 100, 1, 0, 1000000000000, false},       // starts after "now"
    {107, "updated-tool", "updated-tool", 100, 300, 1, 0, 63000, false}, // executable replaced
    {108, "python3.11", "python3", 1, 2000, 1, 0, 64000, false},
    {200, "orphaned", "orphaned", 999, 400, 1, 0, 65000, false},         // parent not listed
};

// A writable copy of the process fixture owned by the caller, readable by every user.
struct FixtureCopy : plvtest::FixtureCopy {
    FixtureCopy() : plvtest::FixtureCopy(u"proc-processes/basic"_s) { ::chmod(QFile::encodeName(path()).constData(), 0755); }
    bool isValid() const { return QFileInfo(path(u"proc/100/stat"_s)).isFile(); }
};

// A forked child that sleeps until killed, named `name` by the time the
// constructor returns; with exitAtOnce, it exits and stays an unreaped zombie.
class Child
{
public:
    explicit Child(const char *name = nullptr, bool exitAtOnce = false)
    {
        int fds[2];
        if (::pipe(fds) != 0)
            return;
        if ((m_pid = ::fork()) == 0) {
            if (name)
                ::prctl(PR_SET_NAME, name, 0, 0, 0);
            if (exitAtOnce || ::write(fds[1], "r", 1) != 1)
                ::_exit(0);
            for (;;)
                ::pause();
        }
        ::close(fds[1]);
        char c;
        if (m_pid > 0 && !exitAtOnce && ::read(fds[0], &c, 1) != 1)
            reap();
        ::close(fds[0]);
    }
    ~Child() { reap(); }
    pid_t pid() const { return m_pid; }
    // Kills and reaps: the pid no longer exists afterwards.
    void reap()
    {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        m_pid = -1;
    }

private:
    pid_t m_pid = -1;
};

} // namespace proctest
