// The process table and the GPU refresh, each against the bare reads it cannot avoid.
//
// proctable/baseline: list /proc, then open each /proc/PID and read stat and
// statm into a buffer. proctable/refresh: a TQProcessTable kept across
// iterations, as a module keeps it between ticks. proctable/refresh_cold: a
// new table each time (every process seen for the first time).
// proctable/stateless: the same facts through TQProcessInfo's one-shot queries.
//
// gpuinfo/baseline: the bare reads of the sysfs files a refresh needs on the
// "amd" fixture tree (a discrete card beside a bridge and an audio function);
// gpuinfo/refresh: one gpuCoresInformation on the same tree.
#include "PLVCommon/linux/PLVGPUSources.h"
#include "PLVCommon/linux/PLVSysFile.h"
#include "PLVCommon/stats/TQGPUInfo.h"
#include "PLVCommon/stats/TQProcessInfo.h"
#include "PLVCommon/stats/TQProcessTable.h"

#include <benchmark/benchmark.h>

#include <QFile>
#include <QFileInfo>
#include <QString>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <cstdlib>

namespace {

int countProcesses()
{
    TQProcessTable table;
    table.refresh();
    return table.processCount();
}

void setProcessLabel(benchmark::State &state)
{
    state.SetLabel(std::to_string(countProcesses()) + " processes");
}

void ProcBaseline(benchmark::State &state)
{
    char buf[4096];
    for (auto _ : state) {
        DIR *dir = ::opendir("/proc");
        int n = 0;
        while (dirent *e = ::readdir(dir)) {
            if (e->d_name[0] < '1' || e->d_name[0] > '9')
                continue;
            char path[sizeof e->d_name + 8];
            std::snprintf(path, sizeof path, "/proc/%s", e->d_name);
            const int fd = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            if (fd < 0)
                continue;
            benchmark::DoNotOptimize(PLVSysFile::readAt(fd, "stat", buf, sizeof buf));
            benchmark::DoNotOptimize(PLVSysFile::readAt(fd, "statm", buf, sizeof buf));
            ::close(fd);
            ++n;
        }
        ::closedir(dir);
        benchmark::DoNotOptimize(n);
    }
    setProcessLabel(state);
}
BENCHMARK(ProcBaseline)->Name("proctable/baseline")->Unit(benchmark::kMicrosecond);

void ProcTableRefresh(benchmark::State &state)
{
    TQProcessTable table;
    table.refresh();
    for (auto _ : state) {
        table.refresh();
        benchmark::DoNotOptimize(table.processes().data());
    }
    setProcessLabel(state);
}
BENCHMARK(ProcTableRefresh)->Name("proctable/refresh")->Unit(benchmark::kMicrosecond);

void ProcTableRefreshWithTop(benchmark::State &state)
{
    TQProcessTable table;
    table.refresh();
    for (auto _ : state) {
        table.refresh();
        benchmark::DoNotOptimize(table.topByCPUShare(5));
        benchmark::DoNotOptimize(table.topByResidentSize(5));
    }
    setProcessLabel(state);
}
BENCHMARK(ProcTableRefreshWithTop)->Name("proctable/refresh_top5")->Unit(benchmark::kMicrosecond);

void ProcTableCold(benchmark::State &state)
{
    for (auto _ : state) {
        TQProcessTable table;
        table.refresh();
        benchmark::DoNotOptimize(table.processes().data());
    }
    setProcessLabel(state);
}
BENCHMARK(ProcTableCold)->Name("proctable/refresh_cold")->Unit(benchmark::kMicrosecond);

void ProcStateless(benchmark::State &state)
{
    for (auto _ : state) {
        for (qint32 pid : TQProcessInfo::runningProcesses()) {
            benchmark::DoNotOptimize(TQProcessInfo::processNameForPid(pid));
            benchmark::DoNotOptimize(TQProcessInfo::parentPidforPid(pid));
            benchmark::DoNotOptimize(TQProcessInfo::processResidentSizeForPid(pid));
            benchmark::DoNotOptimize(TQProcessInfo::processTotalTimeForPid(pid));
            benchmark::DoNotOptimize(TQProcessInfo::processNumberOfThreadsForPid(pid));
            benchmark::DoNotOptimize(TQProcessInfo::processStartDateForPid(pid));
        }
    }
    setProcessLabel(state);
}
BENCHMARK(ProcStateless)->Name("proctable/stateless")->Unit(benchmark::kMicrosecond);

QString gpuFixture()
{
    return QStringLiteral(PLV_BENCH_FIXTURES "/gpu/amd");
}

void GPUBaseline(benchmark::State &state)
{
    const QByteArray devices = QFile::encodeName(gpuFixture() + QStringLiteral("/sys/bus/pci/devices"));
    static const char *const displayFiles[] = {"vendor", "device", "firmware_node/path", "power/runtime_status",
                                               "gpu_busy_percent", "mem_info_vram_total", "mem_info_vram_used",
                                               "mem_info_gtt_total", "mem_info_gtt_used"};
    char buf[256];
    for (auto _ : state) {
        DIR *dir = ::opendir(devices.constData());
        if (!dir) {
            state.SkipWithError("no fixture tree");
            break;
        }
        while (dirent *e = ::readdir(dir)) {
            if (e->d_name[0] == '.')
                continue;
            const int fd = ::openat(::dirfd(dir), e->d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            if (PLVSysFile::readAt(fd, "class", buf, sizeof buf) > 3 && std::strncmp(buf, "0x03", 4) == 0) {
                for (const char *f : displayFiles)
                    benchmark::DoNotOptimize(PLVSysFile::readAt(fd, f, buf, sizeof buf));
                benchmark::DoNotOptimize(::readlinkat(fd, "driver", buf, sizeof buf));
            }
            ::close(fd);
        }
        ::closedir(dir);
    }
}
BENCHMARK(GPUBaseline)->Name("gpuinfo/baseline")->Unit(benchmark::kMicrosecond);

void GPURefresh(benchmark::State &state)
{
    TQGPUInfo info(std::make_shared<PLVGPUSources>(PLVSysRoot(gpuFixture()),
                                                   std::make_shared<PLVNVML>(PLVNVMLFunctions{})));
    for (auto _ : state)
        benchmark::DoNotOptimize(info.gpuCoresInformation());
    state.SetLabel(std::to_string(info.numGPUs()) + " GPU");
}
BENCHMARK(GPURefresh)->Name("gpuinfo/refresh")->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
