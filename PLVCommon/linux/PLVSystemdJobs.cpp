#include "PLVCommon/linux/PLVSystemdJobs.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QDBusVariant>

namespace PLVSystemdJobs {

namespace {

constexpr int kTimeoutMs = 3000;
const QString kService = QStringLiteral("org.freedesktop.systemd1");

struct UnitRow {
    QString name, activeState;
    QDBusObjectPath path;
};

// One element of ListUnits' a(ssssssouso): name, description, load state,
// active state, sub state, followed unit, unit path, job id, job type, job path.
std::optional<UnitRow> readRow(const QDBusArgument &arg)
{
    QString name, description, loadState, activeState, subState, following, jobType;
    QDBusObjectPath unitPath, jobPath;
    uint jobId = 0;
    arg.beginStructure();
    arg >> name >> description >> loadState >> activeState >> subState >> following >> unitPath >> jobId >> jobType
        >> jobPath;
    arg.endStructure();
    if (name.isEmpty())
        return std::nullopt;
    return UnitRow{name, activeState, unitPath};
}

} // namespace

QVariantList jobDictionaries(const QDBusConnection &bus)
{
    if (!bus.isConnected())
        return {};
    QDBusMessage list = QDBusMessage::createMethodCall(kService, QStringLiteral("/org/freedesktop/systemd1"),
                                                       QStringLiteral("org.freedesktop.systemd1.Manager"),
                                                       QStringLiteral("ListUnits"));
    list.setAutoStartService(false);
    const QDBusMessage reply = bus.call(list, QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QLatin1String("a(ssssssouso)")
        || reply.arguments().size() != 1)
        return {};

    QList<UnitRow> rows;
    const QDBusArgument array = reply.arguments().constFirst().value<QDBusArgument>();
    array.beginArray();
    while (!array.atEnd()) {
        if (auto row = readRow(array))
            rows.append(*row);
    }
    array.endArray();

    // A stopped unit has no main process, so only the others are asked, all at once.
    QList<std::pair<qsizetype, QDBusPendingCall>> pending;
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const UnitRow &row = rows.at(i);
        if (!row.name.endsWith(QLatin1String(".service")) || row.activeState == QLatin1String("inactive")
            || row.path.path().isEmpty())
            continue;
        QDBusMessage get = QDBusMessage::createMethodCall(kService, row.path.path(),
                                                          QStringLiteral("org.freedesktop.DBus.Properties"),
                                                          QStringLiteral("Get"));
        get << QStringLiteral("org.freedesktop.systemd1.Service") << QStringLiteral("MainPID");
        get.setAutoStartService(false);
        pending.append({i, bus.asyncCall(get, kTimeoutMs)});
    }
    QHash<qsizetype, quint32> pids;
    for (auto &[index, call] : pending) {
        call.waitForFinished();
        const QDBusMessage r = call.reply();
        if (r.type() != QDBusMessage::ReplyMessage || r.arguments().size() != 1)
            continue;
        const QVariant v = r.arguments().constFirst().value<QDBusVariant>().variant();
        if (v.metaType().id() == QMetaType::UInt)
            pids.insert(index, v.toUInt());
    }

    QVariantList jobs;
    jobs.reserve(rows.size());
    for (qsizetype i = 0; i < rows.size(); ++i) {
        QVariantMap job;
        job.insert(QStringLiteral("Label"), rows.at(i).name);
        const quint32 pid = pids.value(i, 0);
        if (pid > 0 && pid <= quint32(std::numeric_limits<qint32>::max()))
            job.insert(QStringLiteral("PID"), qint32(pid));
        jobs.append(job);
    }
    return jobs;
}

QVariantList userAndSystemJobDictionaries()
{
    QVariantList jobs = jobDictionaries(QDBusConnection::sessionBus());
    jobs += jobDictionaries(QDBusConnection::systemBus());
    return jobs;
}

} // namespace PLVSystemdJobs
