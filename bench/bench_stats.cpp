// Sampling, history and formatting costs, each against a floor measured in
// the same run:
//   sample/…   a full cpuData() + memoryData() against reading the same /proc
//              and /sys files (and listing the same folders) with no parsing;
//              bench/peers_stats.py adds python3-psutil doing the equivalent.
//   history/…  a push into a 350-point history against a bare memmove of its points.
//   format_*/… each formatting call against snprintf of the same number.
#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/stats/StringExtras.h"
#include "PLVCommon/stats/TQSystemInfo.h"

#include <benchmark/benchmark.h>

#include <QPointF>
#include <QString>

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

// The files one sample reads, opened once, each read whole from offset 0.
struct Floor {
    std::vector<int> files;
    std::vector<int> folders;
    std::vector<char> buf = std::vector<char>(64 * 1024);

    void addFile(const std::string &path)
    {
        const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0)
            files.push_back(fd);
    }
    void addFolder(const char *path)
    {
        const int fd = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd >= 0)
            folders.push_back(fd);
    }

    Floor()
    {
        addFile("/proc/stat");
        addFile("/sys/devices/system/cpu/online");
        addFile("/proc/loadavg");
        addFile("/proc/meminfo");
        addFile("/proc/vmstat");
        addFolder("/proc");
        addFolder("/sys/block");
        if (DIR *block = ::opendir("/sys/block")) {
            while (const dirent *e = ::readdir(block))
                if (std::strncmp(e->d_name, "zram", 4) == 0)
                    addFile(std::string("/sys/block/") + e->d_name + "/mm_stat");
            ::closedir(block);
        }
    }
    ~Floor()
    {
        for (int fd : files)
            ::close(fd);
        for (int fd : folders)
            ::close(fd);
    }

    size_t readAll()
    {
        size_t total = 0;
        for (int fd : files) {
            ssize_t n;
            off_t off = 0;
            while ((n = ::pread(fd, buf.data(), buf.size(), off)) > 0)
                off += n;
            total += size_t(off);
        }
        for (int fd : folders) {
            ::lseek(fd, 0, SEEK_SET);
            long n;
            while ((n = ::syscall(SYS_getdents64, fd, buf.data(), buf.size())) > 0)
                total += size_t(n);
        }
        return total;
    }
};

void sampleBaseline(benchmark::State &state)
{
    Floor floor;
    for (auto _ : state)
        benchmark::DoNotOptimize(floor.readAll());
    state.SetLabel(std::to_string(floor.files.size()) + " files, " + std::to_string(floor.folders.size()) + " folders");
}
BENCHMARK(sampleBaseline)->Name("sample/baseline");

void sampleFull(benchmark::State &state)
{
    TQSystemInfo info;
    for (auto _ : state) {
        std::optional<QVariantMap> cpu = info.cpuData();
        QVariantMap memory = TQSystemInfo::memoryData();
        benchmark::DoNotOptimize(cpu);
        benchmark::DoNotOptimize(memory);
    }
}
BENCHMARK(sampleFull)->Name("sample/cpuData+memoryData");

void sampleCpu(benchmark::State &state)
{
    TQSystemInfo info;
    for (auto _ : state) {
        std::optional<QVariantMap> cpu = info.cpuData();
        benchmark::DoNotOptimize(cpu);
    }
}
BENCHMARK(sampleCpu)->Name("sample/cpuData");

void sampleMemory(benchmark::State &state)
{
    for (auto _ : state) {
        QVariantMap memory = TQSystemInfo::memoryData();
        benchmark::DoNotOptimize(memory);
    }
}
BENCHMARK(sampleMemory)->Name("sample/memoryData");

void historyBaseline(benchmark::State &state)
{
    QPointF points[350] = {};
    float v = 0;
    for (auto _ : state) {
        std::memmove(points, points + 1, 349 * sizeof(QPointF));
        points[349] = QPointF(350, v);
        v += 1;
        benchmark::DoNotOptimize(points);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(historyBaseline)->Name("history/baseline");

void historyPush(benchmark::State &state)
{
    PLVGraphArrays history;
    history.awakeFromNib();
    float v = 0;
    for (auto _ : state) {
        history.addNewValue(v);
        v += 1;
        benchmark::DoNotOptimize(history.arrayToDisplay());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(historyPush)->Name("history/addNewValue");

// One group per formatting call: snprintf of the same number with the same format.
template <typename Format>
void formatCase(benchmark::State &state, Format format)
{
    for (auto _ : state) {
        QString text = format();
        benchmark::DoNotOptimize(text);
    }
}

template <typename Print>
void printCase(benchmark::State &state, Print print)
{
    char buf[64];
    for (auto _ : state) {
        print(buf);
        benchmark::DoNotOptimize(buf);
        benchmark::ClobberMemory();
    }
}

volatile quint64 gRate = 13107200;         // 12.5 MB/s
volatile quint64 gKiloRate = 524288;       // 512 KB/s
volatile double gMemory = 1610612736.0;    // 1.5 GB
volatile double gDisk = 256060514304.0;    // 256.1 GB
volatile float gPercent = 42.6f;

BENCHMARK_CAPTURE(printCase, rate, [](char *b) { std::snprintf(b, 64, "%.1f %s", double(gRate) / 1048576.0, "MB/s"); })
    ->Name("format_rate/baseline");
BENCHMARK_CAPTURE(formatCase, rate, [] { return StringExtras::buildStringToDisplayForValueBandwith(gRate); })
    ->Name("format_rate/buildStringToDisplayForValueBandwith");
BENCHMARK_CAPTURE(printCase, rate_kb, [](char *b) { std::snprintf(b, 64, "%llu %s", (unsigned long long)(gKiloRate >> 10), "KB/s"); })
    ->Name("format_rate_kb/baseline");
BENCHMARK_CAPTURE(formatCase, rate_kb, [] { return StringExtras::buildStringToDisplayForValueBandwith(gKiloRate); })
    ->Name("format_rate_kb/buildStringToDisplayForValueBandwith");
BENCHMARK_CAPTURE(printCase, memory, [](char *b) { std::snprintf(b, 64, "%.1f %s", gMemory / 1073741824.0, "GB"); })
    ->Name("format_capacity/baseline");
BENCHMARK_CAPTURE(formatCase, memory, [] { return StringExtras::doubleCapacityToString(gMemory); })
    ->Name("format_capacity/doubleCapacityToString");
BENCHMARK_CAPTURE(formatCase, memory_short, [] { return StringExtras::doubleCapacityToShortString(gMemory); })
    ->Name("format_capacity/doubleCapacityToShortString");
BENCHMARK_CAPTURE(printCase, disk, [](char *b) { std::snprintf(b, 64, "%.1f %s", gDisk / 1e9, "GB"); })
    ->Name("format_disk/baseline");
BENCHMARK_CAPTURE(formatCase, disk, [] { return StringExtras::doubleCapacityDiskToString(gDisk); })
    ->Name("format_disk/doubleCapacityDiskToString");
BENCHMARK_CAPTURE(printCase, percent, [](char *b) { std::snprintf(b, 64, "%.0f%%", double(gPercent)); })
    ->Name("format_percent/baseline");
BENCHMARK_CAPTURE(formatCase, percent, [] { return StringExtras::floatToPercentageString(gPercent); })
    ->Name("format_percent/floatToPercentageString");

} // namespace

BENCHMARK_MAIN();
