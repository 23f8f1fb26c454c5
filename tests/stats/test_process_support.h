#pragma once
// Helpers of the process tests: copies of the fixture tree, and real child
// processes that the tests shape (name, state) and reap.
#include "PLVCommon/linux/PLVSysFile.h"

#include "support/PLVTest.h"

#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <signal.h>
#include <unistd.h>

#include <cstring>

namespace proctest {

inline PLVSysRoot fixtureRoot() { return PLVSysRoot(plvtest::fixturePath(QStringLiteral("proc-processes/basic"))); }

// A writable copy of the process fixture, readable by every user.
class FixtureCopy
{
public:
    FixtureCopy()
    {
        QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-a"), plvtest::fixturePath(QStringLiteral("proc-processes/basic/proc")),
                                                 m_dir.path()});
        ::chmod(QFile::encodeName(m_dir.path()).constData(), 0755);
    }
    bool isValid() const { return QFileInfo(m_dir.path() + QStringLiteral("/proc/100/stat")).isFile(); }
    PLVSysRoot root() const { return PLVSysRoot(m_dir.path()); }
    QString path(const QString &relative) const { return m_dir.path() + QLatin1Char('/') + relative; }

private:
    QTemporaryDir m_dir;
};

// A forked child that sleeps until killed; reaped by the destructor.
class Child
{
public:
    // name: the kernel command name the child gives itself (PR_SET_NAME).
    // exitAtOnce: the child exits immediately and, unreaped, stays a zombie.
    explicit Child(const char *name = nullptr, bool exitAtOnce = false)
    {
        int fds[2];
        if (::pipe(fds) != 0)
            return;
        m_pid = ::fork();
        if (m_pid == 0) {
            ::close(fds[0]);
            if (name)
                ::prctl(PR_SET_NAME, name, 0, 0, 0);
            if (exitAtOnce)
                ::_exit(0);
            [[maybe_unused]] const ssize_t w = ::write(fds[1], "r", 1);
            for (;;)
                ::pause();
        }
        ::close(fds[1]);
        if (m_pid > 0 && !exitAtOnce) {
            char c;
            [[maybe_unused]] const ssize_t r = ::read(fds[0], &c, 1);
        }
        ::close(fds[0]);
    }
    ~Child() { reap(); }
    pid_t pid() const { return m_pid; }
    // Kills (if needed) and reaps: the pid no longer exists afterwards.
    void reap()
    {
        if (m_pid <= 0)
            return;
        ::kill(m_pid, SIGKILL);
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        m_pid = -1;
    }

private:
    pid_t m_pid = -1;
};

// The state letter of a live process, 0 when unreadable.
inline char liveState(pid_t pid)
{
    const QByteArray stat = plvtest::readFile(QStringLiteral("/proc/%1/stat").arg(pid));
    const qsizetype close = stat.lastIndexOf(')');
    return close > 0 && close + 2 < stat.size() ? stat.at(close + 2) : 0;
}

} // namespace proctest
