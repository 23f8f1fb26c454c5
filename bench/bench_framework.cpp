// The framework's own cost per tick per module: an update of a module whose
// updateModel and updateViews are empty, against one bare QThreadPool hop plus
// one main-queue hop.
#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVModulesDictionary.h"
#include "PLVCommon/core/PLVTimer.h"
#include "PLVCommon/platform/PLVDispatch.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QThreadPool>

#include "PLVBench.h"

namespace {

void waitFor(const bool &flag)
{
    while (!flag)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void tickBaseline(benchmark::State &state)
{
    QCoreApplication *app = QCoreApplication::instance();
    for (auto _ : state) {
        bool done = false;
        QThreadPool::globalInstance()->start([&] {
            QMetaObject::invokeMethod(app, [&] { done = true; }, Qt::QueuedConnection);
        });
        waitFor(done);
    }
}

void tickFramework(benchmark::State &state)
{
    const int moduleCount = int(state.range(0));
    PLVModulesDictionary modules;
    QStringList ids;
    for (int i = 0; i < moduleCount; ++i) {
        auto *controller = new PLVGenericModuleController;
        controller->init();
        ids << QStringLiteral("bench.module.%1").arg(i);
        modules.insert(ids.last(), controller);
    }
    PLVTimer timer; // not init'ed: no clock, ticks driven here
    timer.setModules(&modules);
    int pending = 0;
    bool done = false;
    QObject::connect(&timer, &PLVTimer::moduleViewsUpdated, [&] { done = --pending == 0; });
    for (const QString &id : ids)
        timer.addModule(id);
    pending = moduleCount;
    waitFor(done);
    for (auto _ : state) {
        done = false;
        pending = moduleCount;
        timer.updateModuleFromTimer();
        waitFor(done);
    }
    state.SetItemsProcessed(state.iterations() * moduleCount);
    state.SetLabel(std::to_string(moduleCount) + " modules per tick");
}

} // namespace

BENCHMARK(tickBaseline)->Name("tick/baseline")->UseRealTime();
BENCHMARK(tickFramework)->Name("tick/one_module")->Arg(1)->UseRealTime();
BENCHMARK(tickFramework)->Name("tick/nine_modules")->Arg(9)->UseRealTime();

int main(int argc, char **argv) { return plvbench::main<QCoreApplication>(argc, argv); }
