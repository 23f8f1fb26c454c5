// Plays a system service on a given bus: its objects, their properties and the
// few methods the monitor calls, answered with the real signatures and refused
// the way the real services refuse.
//
//   plv_bus_standin ADDRESS upower|bluez SCENARIO.json
//
// The scenario maps object paths to interfaces to properties, each property a
// typed text "u:2", "d:81.5", "x:5400", "i:-1", "b:true", "s:text", "y:80",
// "o:/path". It prints "ready" once it owns the service's name, then reads
// commands on standard input, one per line, and answers "ok" to each:
//   set PATH INTERFACE PROPERTY TYPED   (adds the object or interface as needed)
//   remove PATH                         (the object is gone)
//   vanish                              (gives up the name, keeps running)
//   hang                                (stops answering anything)
//   quit
#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSocketNotifier>
#include <QTextStream>

#include <cstdio>
#include <unistd.h>

namespace {

using Properties = QVariantMap;
using Interfaces = QMap<QString, Properties>;
using Objects = QMap<QString, Interfaces>;

QVariant typedValue(const QString &text)
{
    const QString type = text.section(QLatin1Char(':'), 0, 0);
    const QString value = text.section(QLatin1Char(':'), 1);
    if (type == QLatin1String("u"))
        return QVariant::fromValue(uint(value.toUInt()));
    if (type == QLatin1String("i"))
        return QVariant::fromValue(int(value.toInt()));
    if (type == QLatin1String("x"))
        return QVariant::fromValue(qlonglong(value.toLongLong()));
    if (type == QLatin1String("t"))
        return QVariant::fromValue(qulonglong(value.toULongLong()));
    if (type == QLatin1String("d"))
        return QVariant::fromValue(value.toDouble());
    if (type == QLatin1String("b"))
        return QVariant::fromValue(value == QLatin1String("true"));
    if (type == QLatin1String("y"))
        return QVariant::fromValue(uchar(value.toUInt()));
    if (type == QLatin1String("q"))
        return QVariant::fromValue(ushort(value.toUInt()));
    if (type == QLatin1String("o"))
        return QVariant::fromValue(QDBusObjectPath(value));
    return QVariant::fromValue(value);
}

QDBusVariant wrapped(const QVariant &v) { return QDBusVariant(v); }

class Service : public QDBusVirtualObject
{
public:
    Service(QString kind, Objects objects) : m_kind(std::move(kind)), m_objects(std::move(objects)) {}

    bool hanging = false;

    QString introspect(const QString &) const override { return {}; }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        if (hanging)
            return true; // no reply: the caller waits for its timeout
        QDBusMessage reply = answer(message);
        connection.send(reply);
        return true;
    }

    Objects &data() { return m_objects; }

private:
    QDBusMessage error(const QDBusMessage &m, const char *name, const QString &text) const
    {
        return m.createErrorReply(QLatin1String(name), text);
    }

    QDBusMessage answer(const QDBusMessage &m)
    {
        const QString path = m.path();
        const QString interface = m.interface();
        const QString member = m.member();
        // The object manager and the manager object live at paths that hold no properties.
        if (m_kind == QLatin1String("bluez") && path == QLatin1String("/")
            && interface == QLatin1String("org.freedesktop.DBus.ObjectManager")) {
            if (member != QLatin1String("GetManagedObjects"))
                return error(m, "org.freedesktop.DBus.Error.UnknownMethod", QStringLiteral("Unknown method"));
            return managedObjects(m);
        }
        if (m_kind == QLatin1String("upower") && path == QLatin1String("/org/freedesktop/UPower")
            && interface == QLatin1String("org.freedesktop.UPower")) {
            if (member == QLatin1String("EnumerateDevices") && m.signature().isEmpty()) {
                QList<QDBusObjectPath> paths;
                for (auto it = m_objects.cbegin(); it != m_objects.cend(); ++it)
                    if (it.value().contains(QStringLiteral("org.freedesktop.UPower.Device"))
                        && !it.key().endsWith(QLatin1String("/DisplayDevice")))
                        paths << QDBusObjectPath(it.key());
                return m.createReply(QVariant::fromValue(paths));
            }
            if (member == QLatin1String("GetDisplayDevice") && m.signature().isEmpty())
                return m.createReply(QVariant::fromValue(QDBusObjectPath(QStringLiteral("/org/freedesktop/UPower/devices/DisplayDevice"))));
            return error(m, "org.freedesktop.DBus.Error.UnknownMethod", QStringLiteral("Unknown method"));
        }
        const auto object = m_objects.constFind(path);
        if (object == m_objects.cend())
            return error(m, "org.freedesktop.DBus.Error.UnknownObject", QStringLiteral("No such object path '%1'").arg(path));
        if (interface == QLatin1String("org.freedesktop.DBus.Properties")) {
            const QVariantList args = m.arguments();
            if (member == QLatin1String("GetAll") && m.signature() == QLatin1String("s")) {
                const auto props = object->constFind(args.at(0).toString());
                if (props == object->cend())
                    return error(m, "org.freedesktop.DBus.Error.InvalidArgs", QStringLiteral("No such interface"));
                return m.createReply(QVariant::fromValue(dbusMap(*props)));
            }
            if (member == QLatin1String("Get") && m.signature() == QLatin1String("ss")) {
                const auto props = object->constFind(args.at(0).toString());
                if (props == object->cend() || !props->contains(args.at(1).toString()))
                    return error(m, "org.freedesktop.DBus.Error.InvalidArgs", QStringLiteral("No such property"));
                return m.createReply(QVariant::fromValue(wrapped(props->value(args.at(1).toString()))));
            }
            if (member == QLatin1String("Set"))
                return error(m, "org.freedesktop.DBus.Error.PropertyReadOnly", QStringLiteral("Read-only"));
        }
        return error(m, "org.freedesktop.DBus.Error.UnknownMethod", QStringLiteral("Unknown method"));
    }

    static QDBusArgument dbusMap(const Properties &props)
    {
        QDBusArgument arg;
        arg.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QDBusVariant>());
        for (auto it = props.cbegin(); it != props.cend(); ++it) {
            arg.beginMapEntry();
            arg << it.key() << wrapped(it.value());
            arg.endMapEntry();
        }
        arg.endMap();
        return arg;
    }

    QDBusMessage managedObjects(const QDBusMessage &m) const
    {
        QDBusArgument arg;
        arg.beginMap(QMetaType::fromType<QDBusObjectPath>(), QMetaType::fromType<QMap<QString, QVariantMap>>());
        for (auto o = m_objects.cbegin(); o != m_objects.cend(); ++o) {
            arg.beginMapEntry();
            arg << QDBusObjectPath(o.key());
            arg.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QVariantMap>());
            for (auto i = o->cbegin(); i != o->cend(); ++i) {
                arg.beginMapEntry();
                arg << i.key();
                arg.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QDBusVariant>());
                for (auto p = i->cbegin(); p != i->cend(); ++p) {
                    arg.beginMapEntry();
                    arg << p.key() << wrapped(p.value());
                    arg.endMapEntry();
                }
                arg.endMap();
                arg.endMapEntry();
            }
            arg.endMap();
            arg.endMapEntry();
        }
        arg.endMap();
        return m.createReply(QVariant::fromValue(arg));
    }

    QString m_kind;
    Objects m_objects;
};

Objects loadScenario(const QString &file)
{
    QFile f(file);
    Objects objects;
    if (!f.open(QIODevice::ReadOnly))
        return objects;
    const QJsonObject root = QJsonDocument::fromJson(f.readAll()).object();
    for (auto o = root.begin(); o != root.end(); ++o) {
        const QJsonObject interfaces = o->toObject();
        for (auto i = interfaces.begin(); i != interfaces.end(); ++i) {
            const QJsonObject props = i->toObject();
            Properties &target = objects[o.key()][i.key()];
            for (auto p = props.begin(); p != props.end(); ++p)
                target.insert(p.key(), typedValue(p->toString()));
        }
    }
    return objects;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 4) {
        std::fprintf(stderr, "usage: plv_bus_standin ADDRESS upower|bluez SCENARIO.json\n");
        return 2;
    }
    qDBusRegisterMetaType<QMap<QString, QVariantMap>>();
    const QString kind = args.at(2);
    const QString serviceName = kind == QLatin1String("upower") ? QStringLiteral("org.freedesktop.UPower")
                                                                : QStringLiteral("org.bluez");
    QDBusConnection bus = QDBusConnection::connectToBus(args.at(1), QStringLiteral("standin"));
    if (!bus.isConnected()) {
        std::fprintf(stderr, "plv_bus_standin: cannot connect to %s\n", qPrintable(args.at(1)));
        return 1;
    }
    Service service(kind, loadScenario(args.at(3)));
    if (!bus.registerVirtualObject(QStringLiteral("/"), &service, QDBusConnection::SubPath)
        || !bus.registerService(serviceName)) {
        std::fprintf(stderr, "plv_bus_standin: cannot own %s\n", qPrintable(serviceName));
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray pending;
    QObject::connect(&input, &QSocketNotifier::activated, &app, [&] {
        char buf[4096];
        const ssize_t n = ::read(STDIN_FILENO, buf, sizeof buf);
        if (n <= 0) {
            app.quit(); // the test went away
            return;
        }
        pending.append(buf, n);
        qsizetype end;
        while ((end = pending.indexOf('\n')) >= 0) {
            const QStringList words = QString::fromUtf8(pending.left(end)).split(QLatin1Char(' '), Qt::SkipEmptyParts);
            pending.remove(0, end + 1);
            if (words.isEmpty())
                continue;
            const QString &command = words.first();
            if (command == QLatin1String("set") && words.size() == 5)
                service.data()[words.at(1)][words.at(2)].insert(words.at(3), typedValue(words.at(4)));
            else if (command == QLatin1String("remove") && words.size() == 2)
                service.data().remove(words.at(1));
            else if (command == QLatin1String("vanish"))
                bus.unregisterService(serviceName);
            else if (command == QLatin1String("hang"))
                service.hanging = true;
            else if (command == QLatin1String("quit"))
                app.quit();
            std::printf("ok\n");
            std::fflush(stdout);
        }
    });
    return app.exec();
}
