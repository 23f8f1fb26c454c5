#pragma once
// A private dbus-daemon for one test, with a configuration of the test's own,
// and the services played on it.
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace plvtest {

class PrivateBus
{
public:
    // `policy`: the <policy>/<include> elements of the configuration. The
    // default lets everyone own names and send anything (a session bus).
    explicit PrivateBus(const QString &policy = QString());
    ~PrivateBus();
    bool isRunning() const { return !m_address.isEmpty(); }
    QString address() const { return m_address; }
    QString folder() const { return m_dir.path(); }

    // Policy elements that behave like Debian's system bus: nobody owns a name
    // or sends a method call unless a policy file punches a hole for it.
    static QString systemBusDefaults();

private:
    QTemporaryDir m_dir;
    QProcess m_daemon;
    QString m_address;
};

// A process that prints a line once it serves, stopped when the object goes.
class ServiceProcess
{
public:
    ServiceProcess(const QString &program, const QStringList &args, const QByteArray &readyLine);
    ~ServiceProcess();
    bool isReady() const { return m_ready; }
    QProcess &process() { return m_process; }

protected:
    QProcess m_process;
    bool m_ready = false;
};

// plv_bus_standin playing "upower" or "bluez" on a bus, from a scenario file
// (see tests/standins/plv_bus_standin.cpp).
class BusStandIn : public ServiceProcess
{
public:
    BusStandIn(const QString &address, const QString &kind, const QString &scenarioFile);
    ~BusStandIn() { stop(); }
    // Sends one command and waits for its "ok".
    bool command(const QString &line);
    // Killed, as a crashed service would be.
    void stop();
};

} // namespace plvtest
