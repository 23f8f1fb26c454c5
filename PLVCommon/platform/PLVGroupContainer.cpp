#include "PLVGroupContainer.h"

#include <QDir>
#include <QFileInfo>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

QString homeFolder()
{
    const QByteArray home = qgetenv("HOME");
    if (!home.isEmpty())
        return QString::fromLocal8Bit(home);
    if (const passwd *pw = getpwuid(getuid()); pw && pw->pw_dir && *pw->pw_dir)
        return QString::fromLocal8Bit(pw->pw_dir);
    return {};
}

} // namespace

QString PLVGroupContainer::groupIdentifier()
{
    return QStringLiteral("Q4HZ8RMW2C.com.tallowcrest.cobaltwing");
}

QString PLVGroupContainer::containerPath(const QString &group)
{
    const QByteArray overridden = qgetenv("PLV_GROUP_CONTAINER");
    if (!overridden.isEmpty())
        return QDir::cleanPath(QString::fromLocal8Bit(overridden));
    QString dataHome = QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME"));
    if (dataHome.isEmpty() || !QDir::isAbsolutePath(dataHome)) {
        const QString home = homeFolder();
        if (home.isEmpty())
            return {};
        dataHome = home + QStringLiteral("/.local/share");
    }
    return QDir::cleanPath(dataHome + QStringLiteral("/group-containers/") + group);
}

QString PLVGroupContainer::preferencesFilePath(const QString &group)
{
    const QString container = containerPath(group);
    if (container.isEmpty())
        return {};
    return container + QStringLiteral("/Library/Preferences/") + group + QStringLiteral(".plist");
}

QString PLVGroupContainer::notificationsFolderPath(const QString &group)
{
    const QString container = containerPath(group);
    if (container.isEmpty())
        return {};
    return container + QStringLiteral("/Library/Notifications");
}

bool PLVGroupContainer::ensureFolder(const QString &path)
{
    if (path.isEmpty())
        return false;
    const QString clean = QDir::cleanPath(QDir(path).absolutePath());
    if (QFileInfo(clean).isDir())
        return true;
    const QStringList parts = clean.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    QString current;
    for (const QString &part : parts) {
        current += QLatin1Char('/') + part;
        const QByteArray native = QFile::encodeName(current);
        if (::mkdir(native.constData(), 0700) != 0 && errno != EEXIST)
            return false;
    }
    return QFileInfo(clean).isDir();
}
