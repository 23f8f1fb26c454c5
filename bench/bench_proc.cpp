// The process table and the GPU refresh, each against the bare reads it cannot avoid.
//
// proctable/baseline: list /proc, then open each /proc/PID and read stat and
// statm into a buffer. proctable/refresh: a TQProcessTable kept across
// iterations, as a module keeps it between ticks. proctable/refresh_cold: a
// new table each time (every process seen for the first time).
// proctable/stateless: the same facts through TQProcessInfo's one-shot queries.
#include "PLVCommon/linux/PLVSysFile.h"
#include "PLVCommon/stats/TQProcessInfo.h"
#include "PLVCommon/stats/TQProcessTable.h"

#include <benchmark/benchmark.h>

#include <QFileInfo>
#include <QString>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
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

} // namespace

BENCHMARK_MAIN();
