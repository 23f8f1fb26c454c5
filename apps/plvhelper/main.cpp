// plvhelper: the privileged helper of the monitor, a system service on the
// system bus answering fixed read-only questions (package power) that Linux
// keeps from unprivileged users. Also, with --activate, the small client that
// its desktop entry runs to have the bus start it.
#include "PLVHelperService.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>

#include <cstdio>

namespace {

// The bus comes from the command line only: the unit (system bus) or a test (a private bus).
QDBusConnection connectTo(const QCommandLineParser &args)
{
    if (args.isSet(QStringLiteral("address")))
        return QDBusConnection::connectToBus(args.value(QStringLiteral("address")), QStringLiteral("plvhelper"));
    if (args.isSet(QStringLiteral("session")))
        return QDBusConnection::sessionBus();
    return QDBusConnection::systemBus();
}

int activate(const QDBusConnection &bus)
{
    QDBusMessage call = QDBusMessage::createMethodCall(PLVHelperBus::kName, PLVHelperBus::kPath,
                                                       PLVHelperBus::kInterface, QStringLiteral("Version"));
    const QDBusMessage reply = bus.call(call, QDBus::Block, 30000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1) {
        std::fprintf(stderr, "plvhelper: the helper did not answer: %s\n", qPrintable(reply.errorMessage()));
        return 1;
    }
    std::printf("plvhelper %u is running\n", reply.arguments().constFirst().toUInt());
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("plvhelper"));
    QCoreApplication::setApplicationVersion(QString::number(PLV_HELPER_VERSION));

    QCommandLineParser args;
    args.setApplicationDescription(QStringLiteral("Privileged helper of the PLV monitor (system service)."));
    args.addHelpOption();
    args.addVersionOption();
    args.addOptions({
        {QStringLiteral("activate"), QStringLiteral("Ask the bus to start the helper, print its version and exit.")},
        {QStringLiteral("session"), QStringLiteral("Use the session bus instead of the system bus.")},
        {QStringLiteral("address"), QStringLiteral("Use the bus at this D-Bus address."), QStringLiteral("address")},
        {QStringLiteral("sysfs-root"), QStringLiteral("Read /sys under this folder (default /)."), QStringLiteral("folder")},
    });
    args.process(app);

    QDBusConnection bus = connectTo(args);
    if (!bus.isConnected()) {
        std::fprintf(stderr, "plvhelper: cannot connect to the bus: %s\n", qPrintable(bus.lastError().message()));
        return 1;
    }
    if (args.isSet(QStringLiteral("activate")))
        return activate(bus);

    const QString root = args.isSet(QStringLiteral("sysfs-root")) ? args.value(QStringLiteral("sysfs-root"))
                                                                  : QStringLiteral("/");
    PLVHelperService service(root);
    if (!bus.registerVirtualObject(PLVHelperBus::kPath, &service, QDBusConnection::SingleNode)) {
        std::fprintf(stderr, "plvhelper: cannot register the helper object\n");
        return 1;
    }
    if (!bus.registerService(PLVHelperBus::kName)) {
        std::fprintf(stderr, "plvhelper: cannot own %s: %s\n", qPrintable(PLVHelperBus::kName),
                     qPrintable(bus.lastError().message()));
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);
    return app.exec();
}
