#include "PLVTestBus.h"

#include "PLVTest.h"

#include <QFile>
#include <QStandardPaths>

namespace plvtest {

PrivateBus::PrivateBus(const QString &policy)
{
    if (QStandardPaths::findExecutable(QStringLiteral("dbus-daemon")).isEmpty() || !m_dir.isValid())
        return;
    // Other users reach the socket (the policy tests connect as nobody).
    QFile::setPermissions(m_dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                            | QFileDevice::ReadOther | QFileDevice::ExeOther
                                            | QFileDevice::ReadGroup | QFileDevice::ExeGroup);
    const QString rules = policy.isEmpty() ? QStringLiteral("<policy context=\"default\">"
                                                            "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                                                            "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy>")
                                           : policy;
    const QString config = m_dir.path() + QStringLiteral("/bus.conf");
    const QString text = QStringLiteral("<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration "
                                        "1.0//EN\" \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                                        "<busconfig><type>session</type><listen>unix:dir=%1</listen>"
                                        "<auth>EXTERNAL</auth>%2</busconfig>\n")
                             .arg(m_dir.path(), rules);
    if (!writeFile(config, text.toUtf8()))
        return;
    m_daemon.start(QStringLiteral("dbus-daemon"), {QStringLiteral("--config-file=") + config,
                                                   QStringLiteral("--nofork"), QStringLiteral("--print-address=1")});
    if (!m_daemon.waitForStarted(5000))
        return;
    waitUntil([this] { return m_daemon.canReadLine() || m_daemon.state() != QProcess::Running; });
    m_address = QString::fromUtf8(m_daemon.readLine()).trimmed();
}

PrivateBus::~PrivateBus()
{
    m_daemon.terminate();
    if (!m_daemon.waitForFinished(3000))
        m_daemon.kill();
    m_daemon.waitForFinished(3000);
}

QString PrivateBus::systemBusDefaults()
{
    return QStringLiteral("<policy context=\"default\"><allow user=\"*\"/><deny own=\"*\"/>"
                          "<deny send_type=\"method_call\"/><allow send_type=\"signal\"/>"
                          "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
                          "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
                          "<allow receive_type=\"method_call\"/><allow receive_type=\"method_return\"/>"
                          "<allow receive_type=\"error\"/><allow receive_type=\"signal\"/>"
                          "<allow send_destination=\"org.freedesktop.DBus\" send_interface=\"org.freedesktop.DBus\"/>"
                          "</policy>");
}

ServiceProcess::ServiceProcess(const QString &program, const QStringList &args, const QByteArray &readyLine)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(program, args);
    if (!m_process.waitForStarted(5000))
        return;
    waitUntil([this] { return m_process.canReadLine() || m_process.state() != QProcess::Running; });
    m_ready = m_process.readLine().trimmed() == readyLine;
}

ServiceProcess::~ServiceProcess()
{
    m_process.terminate();
    if (!m_process.waitForFinished(3000))
        m_process.kill();
    m_process.waitForFinished(3000);
}

BusStandIn::BusStandIn(const QString &address, const QString &kind, const QString &scenarioFile)
    : ServiceProcess(QStringLiteral(PLV_TEST_BINARY_DIR "/standins/plv_bus_standin"), {address, kind, scenarioFile}, "ready")
{
}

bool BusStandIn::command(const QString &line)
{
    if (m_process.state() != QProcess::Running)
        return false;
    m_process.write(line.toUtf8() + '\n');
    return waitUntil([&] {
        if (m_process.canReadLine() || m_process.waitForReadyRead(50))
            while (m_process.canReadLine())
                if (m_process.readLine().trimmed() == "ok")
                    return true;
        return false;
    });
}

void BusStandIn::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.kill();
    m_process.waitForFinished(5000);
}

} // namespace plvtest
