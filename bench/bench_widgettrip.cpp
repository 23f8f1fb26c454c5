// A module setting's trip from the monitor to the widget window: from the
// moment a monitor process stores a per-module setting to the moment the
// widget's relay has reposted it on the widget's main thread
// ("PLVTodaySettingsChangedReceived"), where the widget follows it. Both ends
// read CLOCK_MONOTONIC, one clock for the whole machine.
//
//   widgettrip/baseline          the floor: a bare group notification posted by
//                                the child and seen by a plain observer here
//   widgettrip/setting_to_relay  the monitor's locked settings write and its
//                                post, the group notification centre, and the
//                                widget controller's relay
//
// 200 changes, one at a time with a pause between them (each needs its own
// file modification time). The time is the mean trip; the counters give the
// median (p50_us) and the 99th percentile (p99_us).
#include <PLVCommon/core/PLVPreferencesForModules.h>
#include <PLVCommon/panels/TQTodayStandAloneViewController.h>
#include <PLVCommon/platform/PLVNotificationCenter.h>
#include <PLVCommon/shared/TQGroupNotificationCenter.h>

#include <QApplication>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <time.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr int kChanges = 200;
constexpr int kPauseMs = 10;
const QString kBaselineName = QStringLiteral("BenchWidgetBaseline");

qint64 nowNs()
{
    timespec ts {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return qint64(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// The monitor: under exactly QApplication, so its settings writes tell the widget.
int monitorMain(int argc, char **argv)
{
    const QByteArray mode = argv[2];
    QApplication app(argc, argv);
    char line[64];
    for (qint64 n = 0; fgets(line, sizeof line, stdin); ++n) {
        if (std::strncmp(line, "go", 2) != 0)
            break;
        const qint64 t0 = nowNs();
        if (mode == "setting")
            PLVPreferencesForModules::standardUserDefaults()->setObject(n, QStringLiteral("benchKey"),
                                                                        QStringLiteral("com.tallowcrest.plvCPU"));
        else
            TQGroupNotificationCenter::defaultCenter()->postNotificationName(kBaselineName);
        fprintf(stdout, "%lld\n", static_cast<long long>(t0));
        fflush(stdout);
    }
    return 0;
}

struct Monitor {
    QProcess process;
    bool start(const char *mode)
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        process.setProcessEnvironment(env);
        process.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--monitor"), QString::fromLatin1(mode)});
        return process.waitForStarted(10000);
    }
    void go()
    {
        process.write("go\n");
        process.waitForBytesWritten(1000);
    }
    qint64 changedAt()
    {
        while (!process.canReadLine())
            if (!process.waitForReadyRead(10000))
                return -1;
        return process.readLine().trimmed().toLongLong();
    }
    ~Monitor()
    {
        process.write("quit\n");
        process.closeWriteChannel();
        if (!process.waitForFinished(5000))
            process.kill();
    }
};

class Arrival : public QObject
{
    Q_OBJECT
public:
    qint64 at = 0;
    int count = 0;
    QEventLoop *loop = nullptr;
    Q_INVOKABLE void arrived()
    {
        ++count;
        if (at)
            return;
        at = nowNs();
        if (loop)
            loop->quit();
    }
};

// Runs the trips; `arrival` is called on the main thread when one lands here.
void trips(benchmark::State &state, const char *mode, Arrival &arrival)
{
    Monitor monitor;
    if (!monitor.start(mode)) {
        state.SkipWithError("could not start the monitor process");
        return;
    }
    std::vector<double> all;
    arrival.count = 0;
    for (auto _ : state) {
        // The pause runs the event loop, so that a late repeat of the previous
        // delivery lands here and not in the next trip.
        {
            QEventLoop pause;
            QTimer::singleShot(kPauseMs, &pause, &QEventLoop::quit);
            pause.exec();
        }
        arrival.at = 0;
        monitor.go();
        QEventLoop loop;
        arrival.loop = &loop;
        QTimer::singleShot(10000, &loop, &QEventLoop::quit);
        if (!arrival.at)
            loop.exec();
        arrival.loop = nullptr;
        const qint64 changed = monitor.changedAt();
        if (!arrival.at || changed < 0) {
            state.SkipWithError("a change was lost");
            break;
        }
        all.push_back(double(arrival.at - changed));
        state.SetIterationTime(double(arrival.at - changed) / 1e9);
    }
    if (all.empty())
        return;
    std::sort(all.begin(), all.end());
    auto q = [&](double f) { return all[std::min(all.size() - 1, size_t(f * double(all.size())))]; };
    state.counters["p50_us"] = q(0.50) / 1e3;
    state.counters["p99_us"] = q(0.99) / 1e3;
    state.counters["max_us"] = all.back() / 1e3;
    // Deliveries beyond one per change (a repeat of one change counts here, not as a trip).
    state.counters["repeats"] = double(arrival.count - int(all.size()));
}

void baseline(benchmark::State &state)
{
    Arrival arrival;
    TQGroupNotificationCenter::defaultCenter()->addObserver(&arrival, "arrived", kBaselineName);
    trips(state, "post", arrival);
    TQGroupNotificationCenter::defaultCenter()->removeObserver(&arrival, kBaselineName);
}

void settingToRelay(benchmark::State &state)
{
    TQTodayStandAloneViewController widget;
    widget.view(); // registers the relay
    Arrival arrival;
    PLVNotificationCenter::defaultCenter()->addObserver(&arrival, "arrived",
                                                        QStringLiteral("PLVTodaySettingsChangedReceived"));
    trips(state, "setting", arrival);
    PLVNotificationCenter::defaultCenter()->removeObserver(&arrival);
}

// The widget host's own application class: the library tells it from the monitor by it.
class WidgetBenchApplication : public QApplication
{
    Q_OBJECT
public:
    WidgetBenchApplication(int &argc, char **argv) : QApplication(argc, argv) {}
};

} // namespace

BENCHMARK(baseline)->Name("widgettrip/baseline")->Iterations(kChanges)->Repetitions(1)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(settingToRelay)->Name("widgettrip/setting_to_relay")->Iterations(kChanges)->Repetitions(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv)
{
    if (argc >= 3 && std::strcmp(argv[1], "--monitor") == 0)
        return monitorMain(argc, argv);
    QTemporaryDir dir;
    qputenv("PLV_GROUP_CONTAINER", QFile::encodeName(dir.path() + QStringLiteral("/group")));
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    WidgetBenchApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

#include "bench_widgettrip.moc"
