// What one GPU refresh costs through NVML, with the session kept open between
// refreshes and with a session per refresh, against a floor measured in the
// same run: reading the same sysfs files bare.
//   gpu_nvml/baseline        the sysfs reads alone
//   gpu_nvml/session_kept    read() of a GPU that cannot runtime-suspend
//   gpu_nvml/session_per_read read() of a suspendable GPU, each read due
// The NVML here is a counting stand-in that costs nothing: the times show our
// own overhead, and the "nvml_calls" counter the calls each way makes. On real
// hardware a session start also attaches the GPU (and, without persistence
// mode, the driver sets the GPU up again), which these numbers cannot show.
// Where this machine has an NVIDIA GPU and its driver's NVML, the same three
// run again against the real library and sysfs (gpu_nvml_real/...); elsewhere
// that group reports itself skipped.
#include "PLVCommon/linux/PLVGPUSources.h"

#include <benchmark/benchmark.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <fcntl.h>
#include <unistd.h>

namespace {

using F = PLVNVMLFunctions;
int calls = 0;
char gpu = 0; // the one device's handle points here

std::shared_ptr<PLVNVML> countingNVML()
{
    F f;
    f.init = [] { ++calls; return F::success; };
    f.shutdown = [] { ++calls; return F::success; };
    f.deviceGetHandleByPciBusId = [](const char *, F::Device *d) {
        ++calls;
        *d = reinterpret_cast<F::Device>(&gpu);
        return F::success;
    };
    f.deviceGetName = [](F::Device, char *name, unsigned int) {
        ++calls;
        qstrcpy(name, "NVIDIA H100 80GB HBM3");
        return F::success;
    };
    f.deviceGetUtilizationRates = [](F::Device, F::Utilization *u) {
        ++calls;
        *u = {12, 3};
        return F::success;
    };
    f.deviceGetMemoryInfo = [](F::Device, F::Memory *m) {
        ++calls;
        *m = {85520809984ULL, 84977582080ULL, 543227904ULL};
        return F::success;
    };
    return std::make_shared<PLVNVML>(f);
}

// One NVIDIA GPU bound to its driver, awake, with the given power/control.
struct Tree {
    QTemporaryDir dir;
    QString device;
    explicit Tree(const char *control)
    {
        device = dir.path() + QStringLiteral("/sys/bus/pci/devices/0000:00:06.0");
        QDir().mkpath(device + QStringLiteral("/power"));
        const std::pair<const char *, const char *> files[] = {
            {"class", "0x030200\n"}, {"vendor", "0x10de\n"}, {"device", "0x2330\n"},
            {"power/runtime_status", "active\n"}, {"power/control", control}, {"power/autosuspend_delay_ms", "5000\n"}};
        for (const auto &[name, text] : files) {
            QFile f(device + QLatin1Char('/') + QLatin1String(name));
            if (f.open(QIODevice::WriteOnly))
                f.write(text);
        }
        QFile::link(QStringLiteral("../../../bus/pci/drivers/nvidia"), device + QStringLiteral("/driver"));
    }
};

void refresh(benchmark::State &state, const char *control)
{
    Tree tree(control);
    PLVGPUSources sources(PLVSysRoot(tree.dir.path()), countingNVML());
    double now = 0;
    sources.setClock([&now] { return now += 60000; }); // every read is due
    sources.read();
    calls = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(sources.read());
    state.counters["nvml_calls"] = benchmark::Counter(double(calls) / double(state.iterations()));
}

// The bare reads a refresh of one device makes: the floor both baselines measure.
void bareDeviceReads(benchmark::State &state, const QByteArray &dir)
{
    char buf[4096];
    for (auto _ : state) {
        const int fd = ::open(dir.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (const char *name : {"class", "vendor", "device", "power/runtime_status", "power/control"}) {
            const int f = ::openat(fd, name, O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::read(f, buf, sizeof buf));
            ::close(f);
        }
        char link[256];
        benchmark::DoNotOptimize(::readlinkat(fd, "driver", link, sizeof link));
        ::close(fd);
    }
}

void BM_baseline(benchmark::State &state)
{
    Tree tree("on\n");
    const QByteArray dir = QFile::encodeName(tree.device);
    bareDeviceReads(state, dir);
}

// The first NVIDIA display controller of this machine's sysfs, or empty.
QString realNvidiaDevice()
{
    const QDir devices(QStringLiteral("/sys/bus/pci/devices"));
    for (const QString &name : devices.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name)) {
        auto read = [&](const char *file) {
            QFile f(devices.filePath(name) + QLatin1Char('/') + QLatin1String(file));
            return f.open(QIODevice::ReadOnly) ? f.readAll().trimmed() : QByteArray();
        };
        if (read("vendor") == "0x10de" && read("class").startsWith("0x03"))
            return name;
    }
    return {};
}

void realSysfs(benchmark::State &state)
{
    const QString address = realNvidiaDevice();
    if (address.isEmpty())
        return state.SkipWithError("no NVIDIA GPU here");
    const QByteArray dir = QFile::encodeName(QStringLiteral("/sys/bus/pci/devices/") + address);
    bareDeviceReads(state, dir);
}

void realQuery(benchmark::State &state, bool keepOpen)
{
    const QString address = realNvidiaDevice();
    const auto nvml = PLVNVML::system();
    if (address.isEmpty() || !nvml->isAvailable())
        return state.SkipWithError("no NVIDIA GPU or no NVML here");
    if (nvml->query({address}, keepOpen).value(address).memory == std::nullopt)
        return state.SkipWithError("NVML gave no statistics");
    for (auto _ : state)
        benchmark::DoNotOptimize(nvml->query({address}, keepOpen));
    nvml->close();
}

// The whole GPU refresh of the real machine, as the GPU module makes it.
void realRefresh(benchmark::State &state)
{
    if (realNvidiaDevice().isEmpty())
        return state.SkipWithError("no NVIDIA GPU here");
    PLVGPUSources sources;
    double now = 0;
    sources.setClock([&now] { return now += 60000; });
    sources.read();
    for (auto _ : state)
        benchmark::DoNotOptimize(sources.read());
}

} // namespace

BENCHMARK(realSysfs)->Name("gpu_nvml_real/baseline");
BENCHMARK_CAPTURE(realQuery, kept, true)->Name("gpu_nvml_real/session_kept");
BENCHMARK_CAPTURE(realQuery, per_read, false)->Name("gpu_nvml_real/session_per_read");
BENCHMARK(realRefresh)->Name("gpu_nvml_real/refresh");
BENCHMARK(BM_baseline)->Name("gpu_nvml/baseline");
BENCHMARK_CAPTURE(refresh, kept, "on\n")->Name("gpu_nvml/session_kept");
BENCHMARK_CAPTURE(refresh, per_read, "auto\n")->Name("gpu_nvml/session_per_read");
BENCHMARK_MAIN();
