#pragma once
// A private message bus and the system services played on it, for the tests
// of the samplers and modules that ask UPower and BlueZ.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include "support/PLVTest.h"

namespace plvtest {

// A dbus-daemon of its own (the session configuration: anyone may own any
// name), stopped with the object.
class PrivateBus
{
public:
    PrivateBus()
    {
        const QString daemon = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
        if (daemon.isEmpty() || !m_dir.isValid())
            return;
        m_address = QStringLiteral("unix:path=") + m_dir.path() + QStringLiteral("/bus");
        m_daemon.start(daemon, {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                                QStringLiteral("--address=") + m_address});
        // Ready once a client gets through: the socket file appears before the
        // daemon listens on it.
        int probe = 0;
        const auto accepts = [&] {
            const QString name = QStringLiteral("plv-test-probe-%1").arg(++probe);
            const bool connected = QFileInfo::exists(m_dir.path() + QStringLiteral("/bus"))
                                   && QDBusConnection::connectToBus(m_address, name).isConnected();
            QDBusConnection::disconnectFromBus(name);
            return connected;
        };
        if (!m_daemon.waitForStarted() || !waitUntil(accepts))
            m_address.clear();
    }
    ~PrivateBus()
    {
        m_daemon.terminate();
        m_daemon.waitForFinished(5000);
    }
    // Empty when no bus could be started.
    QString address() const { return m_address; }

private:
    QTemporaryDir m_dir;
    QProcess m_daemon;
    QString m_address;
};

// plv_bus_standin playing "upower" or "bluez" on a bus, from a scenario file
// (see tests/standins/plv_bus_standin.cpp).
class BusStandIn
{
public:
    BusStandIn(const QString &address, const QString &kind, const QString &scenarioFile)
    {
        m_process.start(QStringLiteral(PLV_TEST_BINARY_DIR "/standins/plv_bus_standin"), {address, kind, scenarioFile});
        m_ready = m_process.waitForStarted() && waitForLine("ready");
    }
    ~BusStandIn() { stop(); }
    bool isReady() const { return m_ready; }
    // Sends one command and waits for its "ok".
    bool command(const QString &line)
    {
        if (m_process.state() != QProcess::Running)
            return false;
        m_process.write(line.toUtf8() + '\n');
        return waitForLine("ok");
    }
    void stop()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        m_process.kill();
        m_process.waitForFinished(5000);
    }

private:
    bool waitForLine(const QByteArray &line)
    {
        return waitUntil([&] {
            if (m_process.canReadLine() || m_process.waitForReadyRead(50)) {
                while (m_process.canReadLine())
                    if (m_process.readLine().trimmed() == line)
                        return true;
            }
            return false;
        });
    }

    QProcess m_process;
    bool m_ready = false;
};

} // namespace plvtest
