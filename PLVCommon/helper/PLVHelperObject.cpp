#include "PLVCommon/helper/PLVHelperObject.h"

#include "PLVCommon/desktop/PLVDesktopApps.h"
#include "PLVCommon/linux/PLVSysFile.h"
#include "PLVCommon/linux/PLVSystemdJobs.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVBuildConfig.h"

#include <QFileInfo>
#include <QStandardPaths>

#include <limits>

PLV_REGISTER_CLASS(PLVHelperObject)

QString PLVHelperObject::helperIdentifier()
{
    return QStringLiteral("Q4HZ8RMW2C.com.tallowcrest.plvsmchelper3");
}

QString PLVHelperObject::installerBundleIdentifier()
{
    return QStringLiteral("com.tallowcrest.cobaltwingpluginsmanager3");
}

QUrl PLVHelperObject::downloadPageURL()
{
    const QString configured = QStringLiteral(PLV_HELPER_DOWNLOAD_URL);
    if (!configured.isEmpty())
        return QUrl(configured);
    const PLVBundle *framework = PLVBundle::frameworkBundle();
    const QString page = framework ? framework->pathForResource(QStringLiteral("plvhelper"), QStringLiteral("html"))
                                   : QString();
    return page.isEmpty() ? QUrl() : QUrl::fromLocalFile(page);
}

QUrl PLVHelperObject::urlToHelperInstaller()
{
    const QString id = installerBundleIdentifier();
    for (const PLVDesktopApps::Entry &entry : PLVDesktopApps::entries()) {
        if (entry.id != id)
            continue;
        if (!entry.tryExec.isEmpty()) {
            const QString program = entry.tryExec.startsWith(QLatin1Char('/'))
                                        ? entry.tryExec
                                        : QStandardPaths::findExecutable(entry.tryExec);
            if (program.isEmpty() || !QFileInfo(program).isExecutable())
                return {};
        }
        return QUrl::fromLocalFile(entry.path);
    }
    return {};
}

bool PLVHelperObject::isHelperDownloaded()
{
    return !urlToHelperInstaller().isEmpty();
}

QString PLVHelperObject::bundleVersionInDesktopEntry(const QByteArray &text)
{
    bool inMain = false;
    for (const QByteArray &rawLine : text.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (line.isEmpty() || line.startsWith('#'))
            continue;
        if (line.startsWith('[')) {
            inMain = line == "[Desktop Entry]";
            continue;
        }
        const qsizetype eq = line.indexOf('=');
        if (inMain && eq > 0 && line.left(eq).trimmed() == "X-PLV-Bundle-Version")
            return QString::fromUtf8(line.mid(eq + 1).trimmed());
    }
    return {};
}

QString PLVHelperObject::bundleVersionHelper()
{
    const QUrl installer = urlToHelperInstaller();
    if (installer.isEmpty())
        return {};
    const QByteArray text = PLVSysFile::read(installer.toLocalFile(), 1 << 20);
    return text.isNull() ? QString() : bundleVersionInDesktopEntry(text);
}

qint64 PLVHelperObject::integerValue(const QString &text)
{
    qsizetype i = 0;
    while (i < text.size() && text.at(i).isSpace())
        ++i;
    bool negative = false;
    if (i < text.size() && (text.at(i) == QLatin1Char('-') || text.at(i) == QLatin1Char('+')))
        negative = text.at(i++) == QLatin1Char('-');
    constexpr qint64 max = std::numeric_limits<qint64>::max();
    qint64 value = 0;
    for (; i < text.size() && text.at(i) >= QLatin1Char('0') && text.at(i) <= QLatin1Char('9'); ++i) {
        const int digit = text.at(i).unicode() - '0';
        if (value > (max - digit) / 10)
            return negative ? std::numeric_limits<qint64>::min() : max;
        value = value * 10 + digit;
    }
    return negative ? -value : value;
}

bool PLVHelperObject::isHelperUpToDate()
{
    const QString version = bundleVersionHelper();
    return !version.isNull() && integerValue(version) >= kMinimumHelperVersion;
}

QVariantList PLVHelperObject::getJobsDicts()
{
    return PLVSystemdJobs::userAndSystemJobDictionaries();
}

qint32 PLVHelperObject::pidInJobs(const QVariantList &jobs, const QString &label)
{
    for (const QVariant &job : jobs) {
        const QVariantMap dict = job.toMap();
        if (dict.value(QStringLiteral("Label")).toString().contains(label))
            return dict.value(QStringLiteral("PID"), 0).toInt();
    }
    return -1;
}

qint32 PLVHelperObject::pidOfAppPresentInLaunchDForBundleID(const QString &label)
{
    if (label.isNull())
        return -1;
    return pidInJobs(getJobsDicts(), label);
}

bool PLVHelperObject::isHelperRunning()
{
    return pidOfAppPresentInLaunchDForBundleID(helperIdentifier()) > 0;
}
