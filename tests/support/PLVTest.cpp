#include "PLVTest.h"

#include <unistd.h>

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QElapsedTimer>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>
#include <QWidget>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace plvtest {

namespace {
QHash<QString, ChildMain> &children()
{
    static QHash<QString, ChildMain> c;
    return c;
}
} // namespace

static char childName[] = "plv-test-child";
int childArgc = 1;
char *childArgv[] = {childName, nullptr};

bool registerChild(const char *name, ChildMain main)
{
    children().insert(QString::fromLatin1(name), std::move(main));
    return true;
}

int runChildMain(int argc, char **argv)
{
    const QString name = QString::fromLocal8Bit(argv[2]);
    QStringList args;
    for (int i = 3; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    auto it = children().constFind(name);
    if (it == children().cend()) {
        fprintf(stderr, "no child entry point named %s\n", argv[2]);
        return 127;
    }
    return it.value()(args);
}

ChildResult runChild(const QString &name, const QStringList &args, const QProcessEnvironment &env,
                     std::chrono::milliseconds timeout)
{
    ChildResult r;
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(QCoreApplication::applicationFilePath(), QStringList{QStringLiteral("--plv-child"), name} + args);
    if (!p.waitForStarted(10000))
        return r;
    if (!p.waitForFinished(int(timeout.count()))) {
        r.timedOut = true;
        p.kill();
        p.waitForFinished(5000);
    }
    r.exitCode = p.exitCode();
    r.crashed = p.exitStatus() == QProcess::CrashExit;
    r.out = p.readAllStandardOutput();
    r.err = p.readAllStandardError();
    return r;
}

TempGroupContainer::TempGroupContainer() : m_previous(qgetenv("PLV_GROUP_CONTAINER"))
{
    qputenv("PLV_GROUP_CONTAINER", QFile::encodeName(m_dir.path() + QStringLiteral("/group")));
}

TempGroupContainer::~TempGroupContainer() { qputenv("PLV_GROUP_CONTAINER", m_previous); }

QString TempGroupContainer::preferencesFile() const
{
    return m_dir.path() + QStringLiteral("/group/Library/Preferences/Q4HZ8RMW2C.com.tallowcrest.cobaltwing.plist");
}

QString TempGroupContainer::notificationsFolder() const
{
    return m_dir.path() + QStringLiteral("/group/Library/Notifications");
}

ScopedEnv::ScopedEnv(const char *name, const QByteArray &value)
    : m_name(name), m_previous(qgetenv(name)), m_had(qEnvironmentVariableIsSet(name))
{
    if (value.isNull())
        qunsetenv(name);
    else
        qputenv(name, value);
}

ScopedEnv::~ScopedEnv()
{
    if (m_had)
        qputenv(m_name.constData(), m_previous);
    else
        qunsetenv(m_name.constData());
}

bool waitUntil(const std::function<bool()> &predicate, std::chrono::milliseconds timeout)
{
    QElapsedTimer timer;
    timer.start();
    while (!predicate()) {
        if (timer.elapsed() > timeout.count())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

bool isThreadMisuse(const QString &message)
{
    // Qt's own wording of these faults (qobject.cpp, qtimer.cpp, qbasictimer.cpp,
    // qsocketnotifier.cpp, qpixmap.cpp), each specific to a cross-thread misuse.
    static const char *const patterns[] = {
        "Cannot create children for a parent that is in a different thread",
        "Cannot set parent, new parent is in a different thread",
        "Timers cannot be started from another thread",
        "Timers cannot be stopped from another thread",
        "Timers can only be used with threads started with QThread",
        "QBasicTimer::start: Timers cannot",
        "QBasicTimer::stop: Failed. Possibly trying to stop from a different thread",
        "Socket notifiers cannot be enabled or disabled from another thread",
        "QSocketNotifier: Can only be used with threads started with QThread",
        "is not the object's thread",
        "Cannot move objects with a parent",
        "Cannot send events to objects owned by a different thread",
        "It is not safe to use pixmaps outside the GUI thread",
    };
    for (const char *pattern : patterns)
        if (message.contains(QLatin1String(pattern)))
            return true;
    return false;
}

namespace {
bool guarding = false;
QtMessageHandler previousHandler = nullptr; // null: Qt's default one

void threadMisuseHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (previousHandler)
        previousHandler(type, context, message);
    else
        fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
    if (type != QtDebugMsg && type != QtInfoMsg && isThreadMisuse(message))
        ADD_FAILURE() << "Qt reported an object used from the wrong thread: " << message.toStdString();
}
} // namespace

void failOnThreadMisuse()
{
    if (!guarding)
        previousHandler = qInstallMessageHandler(threadMisuseHandler);
    guarding = true;
}

QString fixturePath(const QString &relative) { return QStringLiteral(PLV_TEST_FIXTURES "/") + relative; }

FixtureCopy::FixtureCopy(const QString &fixture)
{
    EXPECT_TRUE(copyTree(fixturePath(fixture), m_dir.path())) << fixture.toStdString();
}

QString FixtureCopy::path(const QString &relative) const
{
    return relative.isEmpty() ? m_dir.path() : m_dir.path() + QLatin1Char('/') + relative;
}

bool FixtureCopy::write(const QString &relative, const QByteArray &text) const
{
    const QString file = path(relative);
    const bool ok = QDir().mkpath(QFileInfo(file).path()) && writeFile(file, text);
    EXPECT_TRUE(ok) << file.toStdString();
    return ok;
}

bool copyTree(const QString &from, const QString &to)
{
    const QDir source(from);
    if (!source.exists() || !QDir().mkpath(to))
        return false;
    // System: links whose target is not in the tree (git keeps no empty folders) are copied too.
    QDirIterator it(from, QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const QString target = to + QLatin1Char('/') + source.relativeFilePath(path);
        if (it.fileInfo().isSymLink()) {
            // Links stay links, with their relative targets, as in /sys.
            char link[4096];
            const ssize_t n = ::readlink(QFile::encodeName(path).constData(), link, sizeof link - 1);
            if (n < 0 || !QDir().mkpath(QFileInfo(target).path())
                || ::symlink(QByteArray(link, n).constData(), QFile::encodeName(target).constData()) != 0)
                return false;
        } else if (it.fileInfo().isDir()) {
            if (!QDir().mkpath(target))
                return false;
        } else if (!QDir().mkpath(QFileInfo(target).path()) || !QFile::copy(path, target)) {
            return false;
        }
    }
    return true;
}

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &data)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(data) == data.size();
}

QImage render(QWidget &view, qreal scale, const QColor &background)
{
    QImage img((view.size() * scale).expandedTo(QSize(1, 1)), QImage::Format_ARGB32_Premultiplied);
    img.setDevicePixelRatio(scale);
    img.fill(background);
    view.render(&img, QPoint(), QRegion(), QWidget::DrawChildren);
    return img;
}

QColor at(const QImage &img, double x, double y)
{
    const qreal r = img.devicePixelRatio();
    const int px = std::clamp(int(std::floor(x * r)), 0, img.width() - 1);
    const int py = std::clamp(int(std::floor(img.height() - y * r)), 0, img.height() - 1);
    return img.pixelColor(px, py);
}

QColor over(const QColor &c, const QColor &bg)
{
    const double a = c.alphaF();
    return QColor::fromRgbF(float(c.redF() * a + bg.redF() * (1 - a)), float(c.greenF() * a + bg.greenF() * (1 - a)),
                            float(c.blueF() * a + bg.blueF() * (1 - a)));
}

bool near(const QColor &a, const QColor &b, int tolerance)
{
    return std::abs(a.red() - b.red()) <= tolerance && std::abs(a.green() - b.green()) <= tolerance
        && std::abs(a.blue() - b.blue()) <= tolerance;
}

std::string describe(const QColor &c) { return c.name(QColor::HexArgb).toStdString(); }

} // namespace plvtest

plvtest::HelperServer::HelperServer(const QString &program, const QStringList &args)
{
    if (QStandardPaths::findExecutable(program).isEmpty())
        return;
    process.start(program, args);
    if (process.waitForStarted(5000))
        waitUntil([this] { return process.canReadLine() || process.state() != QProcess::Running; });
    address = QString::fromUtf8(process.readLine()).trimmed();
}

plvtest::HelperServer::~HelperServer()
{
    process.terminate(); // lets Xvfb remove its lock file and socket
    if (!process.waitForFinished(3000))
        process.kill();
    process.waitForFinished(3000);
}

plvtest::PrivateSessionBus::PrivateSessionBus()
    : HelperServer(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address=1")})
{
}
