// The module bundles the monitor ships, loaded from the build's plug-ins folder
// the way a host loads them, sampling this machine (and GPU fixture trees).
#include "PLVCommon/core/PLVModelDataFeed.h"
#include "PLVCommon/core/PLVGenericViews.h"
#include "PLVCommon/widgets/PLVGaugeview.h"
#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/widgets/PLVGraph.h"
#include "PLVCommon/widgets/PLVProgressbar.h"
#include "PLVCommon/core/PLVModuleLoader.h"
#include "PLVCommon/stats/TQSystemInfo.h"
#include "support/PLVTest.h"
#include "test_module_support.h"

#include "PLVCommon/core/PLVSamplingModule.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTemporaryDir>
#include <QProcess>
#include <QRegularExpression>
#include <QThread>

#include <algorithm>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace modtest;

// As the update timer calls it: off the main thread, where the model lives.
void updateOffMainThread(const Controller &c)
{
    std::thread([&c] { c->updateModel(); }).join();
}

const QRegularExpression kPercent(QStringLiteral("^\\d{1,3}%$"));

} // namespace

TEST(Modules, ThePlugInsFolderHoldsTheShippedModules)
{
    const PLVModuleLoader::Result loaded =
        PLVModuleLoader::load(PLVModuleLoader::bundlePathsIn({QStringLiteral(PLV_BUILD_PLUGINS_DIR)}), false);
    QStringList ids;
    for (PLVGenericModuleController *c : loaded.controllers) {
        ids << c->bundleIdentifier();
        PLVGenericModuleController::destroy(c);
    }
    ids.sort();
    EXPECT_EQ(ids, (QStringList{QStringLiteral("com.tallowcrest.plvBT"), QStringLiteral("com.tallowcrest.plvCPU"),
                                QStringLiteral("com.tallowcrest.plvDisk"), QStringLiteral("com.tallowcrest.plvFans"),
                                QStringLiteral("com.tallowcrest.plvGPU"), QStringLiteral("com.tallowcrest.plvMEM"),
                                QStringLiteral("com.tallowcrest.plvNET"), QStringLiteral("com.tallowcrest.plvTEMP")}))
        << "the battery module is left out without a battery";
    EXPECT_TRUE(loaded.extraObjects.isEmpty());
}

TEST(Modules, TheProcessorModulePublishesSharesLoadUpTimeAndTheBusiestProcess)
{
    Controller cpu = loadModule(QStringLiteral("CPU"));
    ASSERT_NE(cpu, nullptr);
    EXPECT_EQ(cpu->bundleIdentifier(), QStringLiteral("com.tallowcrest.plvCPU"));

    // A child that keeps one core busy must show up among the busiest processes.
    QProcess busy;
    busy.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("while :; do :; done")});
    ASSERT_TRUE(busy.waitForStarted());
    const qint64 busyPid = busy.processId();
    updateOffMainThread(cpu);
    QThread::msleep(700);
    updateOffMainThread(cpu);
    cpu->updateViews();
    busy.kill();
    busy.waitForFinished();

    const float usage = value(cpu, "cpuUsage").toFloat();
    EXPECT_GT(usage, 0.2f) << "one core of the machine was busy";
    EXPECT_LE(usage, 1.0f);
    const float sum = value(cpu, "userCPU").toFloat() + value(cpu, "systemCPU").toFloat() + value(cpu, "niceCPU").toFloat()
                      + value(cpu, "idleCPU").toFloat();
    EXPECT_NEAR(sum, 1.0f, 1e-3f);
    EXPECT_TRUE(kPercent.match(value(cpu, "cpuUsageText").toString()).hasMatch()) << value(cpu, "cpuUsageText").toString().toStdString();
    TQSystemInfo info;
    info.cpuCoresInformation();
    EXPECT_EQ(value(cpu, "cpuCoreUsage").toList().size(), qsizetype(info.numLogCPU()));
    EXPECT_EQ(value(cpu, "loadAverageText").toString().split(QLatin1Char(' ')).size(), 3);
    EXPECT_TRUE(value(cpu, "upTimeText").toString().endsWith(QStringLiteral(" min")));

    const QVariantList history = value(cpu, "cpuHistory").toList();
    ASSERT_EQ(history.size(), 350);
    EXPECT_NEAR(history.last().toFloat(), usage * 100.0f, 1e-3f);

    const QVariantList top = value(cpu, "cpuTopProcesses").toList();
    ASSERT_FALSE(top.isEmpty());
    bool found = false;
    for (const QVariant &p : top)
        found = found || p.toMap().value(QStringLiteral("pid")).toLongLong() == busyPid;
    EXPECT_TRUE(found) << value(cpu, "cpuTopProcessesText").toString().toStdString();

    // The menu-bar view shows the text the model published.
    EXPECT_EQ(viewLines(cpu->statusbarView()), QStringList{QStringLiteral("cpu ") + value(cpu, "cpuUsageText").toString()});

    // At rest the busiest processes of the last look stand for some seconds;
    // while a panel shows them, every update looks again.
    QProcess later;
    later.start(QStringLiteral("/bin/sh"), {QStringLiteral("-c"), QStringLiteral("while :; do :; done")});
    ASSERT_TRUE(later.waitForStarted());
    auto laterIsTop = [&] {
        QThread::msleep(400);
        updateOffMainThread(cpu);
        for (const QVariant &p : value(cpu, "cpuTopProcesses").toList())
            if (p.toMap().value(QStringLiteral("pid")).toLongLong() == later.processId())
                return true;
        return false;
    };
    EXPECT_FALSE(laterIsTop());
    PLVSamplingModuleModel::of(cpu.get())->setShowingDetails(true);
    EXPECT_TRUE(laterIsTop());
    later.kill();
    later.waitForFinished();
}

TEST(Modules, TheMemoryModulePublishesMemoryInUseAndTheLargestProcesses)
{
    Controller mem = loadModule(QStringLiteral("MEM"));
    ASSERT_NE(mem, nullptr);
    // Make this process the largest one around.
    std::vector<char> ballast(256u << 20);
    std::memset(ballast.data(), 1, ballast.size());

    updateOffMainThread(mem);
    mem->updateViews();
    const float used = value(mem, "memUsedPerc").toFloat();
    EXPECT_GT(used, 0.0f);
    EXPECT_LT(used, 100.0f);
    EXPECT_TRUE(kPercent.match(value(mem, "memUsedText").toString()).hasMatch());
    EXPECT_TRUE(value(mem, "memTotalText").toString().contains(QRegularExpression(QStringLiteral("^\\d+(\\.\\d)? (MB|GB)$"))))
        << value(mem, "memTotalText").toString().toStdString();
    EXPECT_EQ(value(mem, "memHistory").toList().size(), 350);

    // Largest first, and this process among them (a compiler running beside
    // the tests may well be larger).
    const QVariantList top = value(mem, "memTopProcesses").toList();
    ASSERT_FALSE(top.isEmpty());
    quint64 previous = ~quint64(0);
    bool found = false;
    for (const QVariant &entry : top) {
        const QVariantMap p = entry.toMap();
        EXPECT_LE(p.value(QStringLiteral("residentSize")).toULongLong(), previous);
        previous = p.value(QStringLiteral("residentSize")).toULongLong();
        if (p.value(QStringLiteral("pid")).toLongLong() == QCoreApplication::applicationPid()) {
            found = true;
            EXPECT_GE(previous, quint64(ballast.size()));
        }
    }
    EXPECT_TRUE(found) << value(mem, "memTopProcessesText").toString().toStdString();

    const QStringList lines = viewLines(mem->statusbarStandAloneView());
    ASSERT_FALSE(lines.isEmpty());
    EXPECT_TRUE(lines.first().startsWith(QStringLiteral("App "))) << lines.join(QLatin1Char('|')).toStdString();
}

TEST(Modules, TheGraphicsModuleShowsEachCardOrSaysPlainlyWhatIsMissing)
{
    Controller gpu = loadModule(QStringLiteral("GPU"));
    ASSERT_NE(gpu, nullptr);
    QObject *model = gpu->modulemodelobj();

    // An AMD card whose driver reports utilisation and video memory.
    ASSERT_TRUE(QMetaObject::invokeMethod(model, "setSystemRoot", Q_ARG(QString, plvtest::fixturePath(QStringLiteral("gpu/amd")))));
    updateOffMainThread(gpu);
    QVariantList list = value(gpu, "gpuList").toList();
    ASSERT_EQ(list.size(), 1);
    QVariantMap card = list.first().toMap();
    EXPECT_EQ(card.value(QStringLiteral("vendor")).toString(), QStringLiteral("AMD"));
    EXPECT_FALSE(card.value(QStringLiteral("name")).toString().isEmpty());
    EXPECT_TRUE(card.contains(QStringLiteral("utilization")));
    EXPECT_TRUE(card.value(QStringLiteral("vramText")).toString().contains(QStringLiteral(" of "))) << card.value(QStringLiteral("vramText")).toString().toStdString();
    EXPECT_TRUE(value(gpu, "gpuHasStatistics").toBool());
    EXPECT_EQ(value(gpu, "gpuStatusText").toString(), card.value(QStringLiteral("utilizationText")).toString());

    // Two cards without firmware paths: two entries, and one more history.
    QMetaObject::invokeMethod(model, "setSystemRoot", Q_ARG(QString, plvtest::fixturePath(QStringLiteral("gpu/noacpi"))));
    updateOffMainThread(gpu);
    list = value(gpu, "gpuList").toList();
    ASSERT_EQ(list.size(), 2);
    EXPECT_NE(list.at(0).toMap().value(QStringLiteral("key")), list.at(1).toMap().value(QStringLiteral("key")));

    // A virtual GPU without statistics.
    QMetaObject::invokeMethod(model, "setSystemRoot", Q_ARG(QString, plvtest::fixturePath(QStringLiteral("gpu/virtual"))));
    updateOffMainThread(gpu);
    EXPECT_FALSE(value(gpu, "gpuHasStatistics").toBool());
    EXPECT_TRUE(value(gpu, "gpuSummaryText").toString().contains(QStringLiteral("no statistics")))
        << value(gpu, "gpuSummaryText").toString().toStdString();

    // No GPU at all, in French.
    const QLocale saved;
    QLocale::setDefault(QLocale(QStringLiteral("fr_FR")));
    QTemporaryDir empty;
    QMetaObject::invokeMethod(model, "setSystemRoot", Q_ARG(QString, empty.path()));
    updateOffMainThread(gpu);
    QLocale::setDefault(saved);
    EXPECT_EQ(value(gpu, "gpuList").toList().size(), 0);
    EXPECT_EQ(value(gpu, "gpuSummaryText").toString(), QStringLiteral("Aucun processeur graphique trouvé"));
}

// Each panel's interface file names keys of modelData; a key that no model
// writes would leave a graph, a gauge or a line empty for ever.
TEST(Modules, EveryKeyThePanelsReadIsPublished)
{
    struct Case {
        const char *module;
        const char *root; // a GPU fixture tree, or this machine
        QStringList drawingClasses;
    } cases[] = {
        {"CPU", nullptr, {"PLVGraph", "PLVGaugeview", "PLVGaugeViewMultiple", "PLVMiniProgressbar"}},
        {"MEM", nullptr, {"PLVGraph", "PLVGaugeview", "PLVProgressbar"}},
        {"GPU", "gpu/amd", {"PLVGraph", "PLVGaugeview", "PLVProgressbar"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.module);
        Controller module = loadModule(QLatin1String(c.module));
        ASSERT_NE(module, nullptr);
        if (c.root) {
            ASSERT_TRUE(QMetaObject::invokeMethod(module->modulemodelobj(), "setSystemRoot",
                                                  Q_ARG(QString, plvtest::fixturePath(QLatin1String(c.root)))));
        }
        updateOffMainThread(module); // shares are deltas: two samples
        QThread::msleep(50);
        updateOffMainThread(module);
        module->updateViews();
        const QVariantMap data = module->modulemodelobj()->modelData().snapshot();
        QWidget *root = module->statusbarView() ? module->statusbarView()->parentWidget() : nullptr;
        ASSERT_NE(root, nullptr);
        const QStringList keys = PLVModelDataFeed::keyPathsOf(root);
        for (const QString &key : keys)
            EXPECT_TRUE(PLVModelDataFeed::valueForKeyPath(data, key).isValid()) << key.toStdString();
        // The drawing views came from the interface file, live in the panel and got their values.
        PLVGenericStatusbarCompactExpandedView *panel = module->statusbarStandAloneView();
        ASSERT_NE(panel, nullptr);
        for (const QString &cls : c.drawingClasses) {
            const QList<QWidget *> views = panel->findChildren<QWidget *>();
            EXPECT_TRUE(std::any_of(views.begin(), views.end(), [&](QWidget *w) { return cls == QLatin1String(w->metaObject()->className()); }))
                << cls.toStdString();
        }
        for (PLVGraph *graph : panel->findChildren<PLVGraph *>(Qt::FindDirectChildrenOnly)) {
            ASSERT_NE(graph->graphObject(), nullptr);
            EXPECT_EQ(graph->graphObject()->maxSizeVar(), graph->maxSize());
            const QVariantList history =
                PLVModelDataFeed::valueForKeyPath(data, graph->property("historyKey").toString()).toList();
            ASSERT_FALSE(history.isEmpty());
            const QPointF newest = graph->graphObject()->arrayToDisplay()[graph->maxSize() - 1];
            EXPECT_EQ(newest, QPointF(graph->maxSize(), history.last().toFloat()));
        }
    }
    // A key no model writes is caught.
    EXPECT_FALSE(PLVModelDataFeed::valueForKeyPath({{QStringLiteral("gpuList"), QVariantList{}}}, QStringLiteral("gpuList.0.history")).isValid());
    EXPECT_FALSE(PLVModelDataFeed::valueForKeyPath({{QStringLiteral("cpuUsage"), 0.5}}, QStringLiteral("cpuUsage.x")).isValid());
}
