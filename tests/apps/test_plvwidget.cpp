#include "PLVCommon/core/PLVPreferencesForModules.h"
#include "PLVCommon/platform/PLVPlist.h"
#include "PLVCommon/shared/TQGroupNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"
#include "support/PLVTest.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

const QString kCpu = QStringLiteral("com.tallowcrest.plvCPU");

QProcessEnvironment widgetEnv(const QByteArray &display)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), QStringLiteral(PLV_BUILD_PLUGINS_DIR));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    if (display.isEmpty()) {
        env.remove(QStringLiteral("DISPLAY"));
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    } else {
        env.insert(QStringLiteral("DISPLAY"), QString::fromLatin1(display));
        env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    }
    return env;
}

// A running plvwidget whose report lines the test reads.
struct Widget {
    QProcess p;
    QStringList lines;
    Widget(const QStringList &args, const QProcessEnvironment &env)
    {
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(PLV_BUILD_BIN_DIR "/plvwidget"), args + QStringList{QStringLiteral("--report")});
        p.waitForStarted(10000);
    }
    ~Widget()
    {
        p.terminate();
        if (!p.waitForFinished(3000))
            p.kill();
        p.waitForFinished(3000);
    }
    // Waits for a line matching the pattern (lines read before it are kept).
    QString waitFor(const QString &pattern)
    {
        const QRegularExpression re(pattern);
        QString found;
        plvtest::waitUntil(
            [&] {
                while (p.canReadLine())
                    lines << QString::fromUtf8(p.readLine()).trimmed();
                for (const QString &l : std::as_const(lines))
                    if (re.match(l).hasMatch()) {
                        found = l;
                        return true;
                    }
                return p.state() != QProcess::Running;
            },
            std::chrono::seconds(20));
        lines.clear();
        return found;
    }
};

struct Xvfb {
    QProcess process;
    QByteArray display;
    Xvfb()
    {
        if (QStandardPaths::findExecutable(QStringLiteral("Xvfb")).isEmpty())
            return;
        process.start(QStringLiteral("Xvfb"), {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-noreset"),
                                               QStringLiteral("-nolisten"), QStringLiteral("tcp"), QStringLiteral("-screen"),
                                               QStringLiteral("0"), QStringLiteral("640x480x24")});
        if (!process.waitForStarted(5000))
            return;
        plvtest::waitUntil([this] { return process.canReadLine() || process.state() != QProcess::Running; });
        const QByteArray n = process.readLine().trimmed();
        if (!n.isEmpty() && plvtest::waitUntil([&] { return QFileInfo::exists(QStringLiteral("/tmp/.X11-unix/X") + QString::fromLatin1(n)); }))
            display = ":" + n;
    }
    ~Xvfb()
    {
        process.terminate();
        if (!process.waitForFinished(3000))
            process.kill();
        process.waitForFinished(3000);
    }
};

// Share of pixels within `tolerance` per channel, over the given rectangles.
double sameShare(const QImage &a, const QImage &b, const QList<QRect> &areas, int tolerance, int *ink)
{
    qint64 same = 0, total = 0;
    *ink = 0;
    for (const QRect &r : areas)
        for (int y = r.top(); y <= r.bottom(); ++y)
            for (int x = r.left(); x <= r.right(); ++x) {
                const QRgb p = a.pixel(x, y), q = b.pixel(x, y);
                ++total;
                same += std::abs(qRed(p) - qRed(q)) <= tolerance && std::abs(qGreen(p) - qGreen(q)) <= tolerance
                        && std::abs(qBlue(p) - qBlue(q)) <= tolerance;
                *ink += qGray(p) < 100;
            }
    return total ? double(same) / double(total) : 0.0;
}

TEST(Plvwidget, OnXFollowsTheMonitorAnimatesToTheNewSizeAndLooksAsRendered)
{
    plvtest::TempGroupContainer container;
    Xvfb x;
    if (x.display.isEmpty())
        GTEST_SKIP() << "Xvfb is not installed";
    QTemporaryDir out;
    const QString shot = out.filePath(QStringLiteral("x11.png"));
    Widget w({QStringLiteral("--module"), QStringLiteral("CPU"), QStringLiteral("--screenshot"), shot},
             widgetEnv(x.display));
    // Nothing saved: compact, at the top right corner of the screen.
    ASSERT_FALSE(w.waitFor(QStringLiteral("^settled view=compact showMore=0 size=260x40 at=356,24$")).isEmpty())
        << w.p.readAllStandardError().toStdString();

    // The monitor picks the expanded view: the widget follows, growing to it.
    PLVPreferencesForModules::standardUserDefaults()->setObject(1, QStringLiteral("todayWidget"), kCpu);
    ASSERT_FALSE(w.waitFor(QStringLiteral("^resizing 260x40 -> 260x152$")).isEmpty());
    ASSERT_FALSE(w.waitFor(QStringLiteral("^settled view=expanded showMore=0 size=260x152")).isEmpty());
    QImage onX;
    ASSERT_TRUE(plvtest::waitUntil([&] { return onX.load(shot) && onX.size() == QSize(260, 152); }));

    // The same views drawn offscreen (as the gallery draws them) look the same
    // where the live values do not show: the label column and the show-more bar.
    const QString refShot = out.filePath(QStringLiteral("offscreen.png"));
    {
        Widget ref({QStringLiteral("--screenshot"), refShot}, widgetEnv(QByteArray()));
        ASSERT_FALSE(ref.waitFor(QStringLiteral("^settled view=expanded")).isEmpty());
    }
    QImage offscreen(refShot);
    ASSERT_EQ(offscreen.size(), onX.size());
    int ink = 0;
    const double share = sameShare(onX.convertToFormat(QImage::Format_RGB32), offscreen.convertToFormat(QImage::Format_RGB32),
                                   {QRect(0, 0, 26, 120), QRect(0, 120, 260, 32)}, 40, &ink);
    EXPECT_GT(share, 0.97);
    EXPECT_GT(ink, 100); // labels and the button's title, not an empty window

    // A settings file turned to garbage: the widget keeps running on defaults.
    plvtest::writeFile(container.preferencesFile(), "\x01\x02 not a property list");
    TQGroupNotificationCenter::defaultCenter()->postNotificationName(PLVPreferencesForModules::widgetSettingsDidChangeNotification);
    ASSERT_FALSE(w.waitFor(QStringLiteral("^settled view=compact showMore=0 size=260x40")).isEmpty());
    EXPECT_EQ(w.p.state(), QProcess::Running);
}

TEST(Plvwidget, RemembersItsPlaceUnlessNoScreenShowsIt)
{
    plvtest::TempGroupContainer container;
    Xvfb x;
    if (x.display.isEmpty())
        GTEST_SKIP() << "Xvfb is not installed";
    struct Case {
        QVariantMap saved;
        QString expected;
    } cases[] = {
        {{{QStringLiteral("x"), 10}, {QStringLiteral("y"), 20}, {QStringLiteral("width"), 300}}, QStringLiteral("size=300x40 at=10,20")},
        {{{QStringLiteral("x"), -5000}, {QStringLiteral("y"), 9000}, {QStringLiteral("width"), 300}}, QStringLiteral("size=300x40 at=316,24")},
        {{{QStringLiteral("x"), QStringLiteral("left")}}, QStringLiteral("size=260x40 at=356,24")},
    };
    for (const Case &c : cases) {
        UserDefaultsExtras::appUserDefaults().setObject(QVariantMap{{QStringLiteral("CPU"), c.saved}}, QStringLiteral("plvWidgetFrames"));
        Widget w({QStringLiteral("--module"), QStringLiteral("CPU")}, widgetEnv(x.display));
        EXPECT_FALSE(w.waitFor(QStringLiteral("^settled view=compact .*") + QRegularExpression::escape(c.expected) + '$').isEmpty())
            << c.expected.toStdString();
    }
}

TEST(Plvwidget, SaysHowToPickAModuleAndWhyOneCannotBeShown)
{
    plvtest::TempGroupContainer container;
    QTemporaryDir plugins;
    const QString broken = plugins.filePath(QStringLiteral("Broken.plvbundle3/Contents"));
    QDir().mkpath(broken + QStringLiteral("/Linux"));
    PLVPlist::writeFile(broken + QStringLiteral("/Info.plist"),
                        QVariantMap{{QStringLiteral("CFBundleIdentifier"), QStringLiteral("com.example.broken")},
                                    {QStringLiteral("CFBundleExecutable"), QStringLiteral("libBroken.so")}});
    plvtest::writeFile(broken + QStringLiteral("/Linux/libBroken.so"), "not an ELF file");
    QProcessEnvironment env = widgetEnv(QByteArray());
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), plugins.path() + QLatin1Char(':') + QStringLiteral(PLV_BUILD_PLUGINS_DIR));
    struct Case {
        QStringList args;
        int exitCode;
        QString message;
    } cases[] = {
        {{}, 2, QStringLiteral("Pick one with: plvwidget --module NAME")},
        {{QStringLiteral("--module"), QStringLiteral("Nope")}, 2, QStringLiteral("installed modules: Broken, BATTERY, BT, CPU, ")},
        {{QStringLiteral("--module"), QStringLiteral("broken")}, 1, QStringLiteral("cannot show module Broken")},
    };
    for (const Case &c : cases) {
        QProcess p;
        p.setProcessEnvironment(env);
        p.start(QStringLiteral(PLV_BUILD_BIN_DIR "/plvwidget"), c.args);
        ASSERT_TRUE(p.waitForFinished(30000));
        EXPECT_EQ(p.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(p.exitCode(), c.exitCode) << c.args.join(' ').toStdString();
        EXPECT_TRUE(QString::fromUtf8(p.readAllStandardError()).contains(c.message)) << c.message.toStdString();
    }
    // A module that failed is not remembered as the choice.
    EXPECT_FALSE(UserDefaultsExtras::appUserDefaults().objectForKey(QStringLiteral("plvWidgetModule")).isValid());
}

} // namespace
