// The group notification centre between real processes: this test program's
// own children, and python3 reading and writing the files as any other
// process of the product may.
#include "GroupNotificationTestSupport.h"
#include "support/PLVTest.h"

#include <PLVCommon/platform/PLVPlist.h>
#include <PLVCommon/shared/TQGroupNotificationCenter.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QStandardPaths>

#include <gtest/gtest.h>

using plvtest::waitUntil;

// Posts the name given once.
PLV_TEST_CHILD(gn_post)
{
    QCoreApplication app(childArgc, childArgv);
    TQGroupNotificationCenter::defaultCenter()->postNotificationName(args.value(0));
    return 0;
}

// Observes the name given, says "ready", and reports what it received.
PLV_TEST_CHILD(gn_observe)
{
    QCoreApplication app(childArgc, childArgv);
    Recorder observer;
    TQGroupNotificationCenter::defaultCenter()->addObserver(&observer, "plain", args.value(0));
    fprintf(stdout, "ready\n");
    fflush(stdout);
    waitUntil([&] { return observer.plainCalls > 0; }, std::chrono::seconds(20));
    settle();
    fprintf(stdout, "calls=%d main=%d\n", observer.plainCalls, observer.onMainThread ? 1 : 0);
    return observer.plainCalls > 0 ? 0 : 1;
}

namespace {

class GroupNotificationProcesses : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(center->notificationsFolderURL().toLocalFile(), container.notificationsFolder())
            << "run each test in its own process (as ctest does)";
    }
    QString fileOf(const QString &name) const { return container.notificationsFolder() + QLatin1Char('/') + name; }

    plvtest::TempGroupContainer container;
    TQGroupNotificationCenter *center = TQGroupNotificationCenter::defaultCenter();
};

// Runs a short python3 program with the given arguments; its standard output.
QByteArray runPython(const QString &program, const QStringList &args, bool *ok)
{
    QProcess python;
    python.start(QStandardPaths::findExecutable(QStringLiteral("python3")),
                 QStringList{QStringLiteral("-c"), program} + args);
    *ok = python.waitForFinished(30000) && python.exitStatus() == QProcess::NormalExit && python.exitCode() == 0;
    if (!*ok)
        ADD_FAILURE() << python.readAllStandardError().toStdString();
    return python.readAllStandardOutput();
}

} // namespace

TEST_F(GroupNotificationProcesses, AChildsPostReachesTheParentsObserverOnItsMainThread)
{
    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("FromChild"));

    const plvtest::ChildResult child = plvtest::runChild(QStringLiteral("gn_post"), {QStringLiteral("FromChild")});
    ASSERT_EQ(child.exitCode, 0) << child.err.toStdString();
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls > 0; }));
    settle();
    EXPECT_EQ(observer.plainCalls, 1);
    EXPECT_TRUE(observer.onMainThread);
}

TEST_F(GroupNotificationProcesses, TheParentsPostReachesAChildsObserver)
{
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--plv-child"), QStringLiteral("gn_observe"), QStringLiteral("FromParent")});
    QByteArray out;
    ASSERT_TRUE(waitUntil([&] { return (out += child.readAllStandardOutput()).contains("ready\n"); }));

    center->postNotificationName(QStringLiteral("FromParent"));
    ASSERT_TRUE(child.waitForFinished(30000));
    out += child.readAllStandardOutput();
    EXPECT_EQ(child.exitCode(), 0) << child.readAllStandardError().toStdString();
    EXPECT_TRUE(out.contains("calls=1 main=1")) << out.toStdString();
}

TEST_F(GroupNotificationProcesses, Python3ReadsPostedFilesAndItsWritesAreDelivered)
{
    if (QStandardPaths::findExecutable(QStringLiteral("python3")).isEmpty())
        GTEST_SKIP() << "python3 is not installed";
    bool ok = false;

    const QVariantMap info{{QStringLiteral("module"), QStringLiteral("com.tallowcrest.plvCPU")},
                           {QStringLiteral("count"), qint64(7)}};
    center->postNotificationName(QStringLiteral("Interop"), info);
    const QByteArray read = runPython(QStringLiteral(R"(
import json, plistlib, sys
with open(sys.argv[1], "rb") as f:
    d = plistlib.load(f)
print(json.dumps({"randomKey": d["randomKey"], "userInfo": d.get("userInfo")}))
)"), {fileOf(QStringLiteral("Interop"))}, &ok);
    ASSERT_TRUE(ok);
    const QJsonObject seen = QJsonDocument::fromJson(read).object();
    EXPECT_EQ(seen.value(QStringLiteral("randomKey")).toString(),
              PLVPlist::readDictionary(fileOf(QStringLiteral("Interop"))).toMap().value(QStringLiteral("randomKey")));
    EXPECT_EQ(seen.value(QStringLiteral("userInfo")).toObject().toVariantMap().value(QStringLiteral("count")).toInt(), 7);

    Recorder observer;
    center->addObserver(&observer, "plain", QStringLiteral("Interop"));
    settle();

    // The way the product's writers replace a file: a temporary file renamed over it.
    const QString writeReplacing = QStringLiteral(R"(
import os, plistlib, sys, tempfile
fd, tmp = tempfile.mkstemp(dir=os.path.dirname(sys.argv[1]))
with os.fdopen(fd, "wb") as f:
    plistlib.dump({"randomKey": "fromPythonReplacing0"}, f)
os.replace(tmp, sys.argv[1])
)");
    nextClockTick();
    runPython(writeReplacing, {fileOf(QStringLiteral("Interop"))}, &ok);
    ASSERT_TRUE(ok);
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls == 1; }));

    // A writer that rewrites the file in place is seen too.
    const QString writeInPlace = QStringLiteral(R"(
import plistlib, sys
with open(sys.argv[1], "wb") as f:
    plistlib.dump({"randomKey": "fromPythonInPlace000", "userInfo": {"a": 1}}, f)
)");
    nextClockTick();
    runPython(writeInPlace, {fileOf(QStringLiteral("Interop"))}, &ok);
    ASSERT_TRUE(ok);
    ASSERT_TRUE(waitUntil([&] { return observer.plainCalls == 2; }));
    settle();
    EXPECT_EQ(observer.plainCalls, 2);
}
