// The disks, sensors and network samplers, each against a floor measured in
// the same run: the bare reads of the same files (open, read, close, as the
// sampler does for sysfs attributes), the same folder listings and the same
// statvfs calls, with no parsing.
//   disk_volumes/…    mount table and statvfs of the mounts shown
//   disk_activity/…   /proc/diskstats and each disk's sequence number (what tells a replug)
//   disk_io/…         /proc/PID/io and comm of every process (the sampler reads comm
//                     only for new processes and those that did I/O)
//   sensors/…         a laptop's hwmon and thermal trees (this machine may have none)
//   net/…             every interface's attributes and counters
#include "PLVCommon/linux/PLVDiskSource.h"
#include "PLVCommon/linux/PLVHwmonSource.h"
#include "PLVCommon/linux/PLVNetSource.h"

#include "PLVBench.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

using plvbench::listFolder;
using plvbench::readFile;

std::vector<std::string> files(const QString &root, const QStringList &nameFilters)
{
    std::vector<std::string> out;
    QDirIterator it(root, nameFilters, QDir::Files, QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
    while (it.hasNext())
        out.push_back(QFile::encodeName(it.next()).toStdString());
    return out;
}

void diskVolumesBaseline(benchmark::State &state)
{
    std::vector<std::string> mounts;
    for (const PLVMountedVolume &v : PLVDiskSource().volumes())
        mounts.push_back(QFile::encodeName(v.mountPoint).toStdString());
    for (auto _ : state) {
        size_t n = readFile("/proc/self/mountinfo");
        struct statvfs st {};
        for (const std::string &m : mounts)
            n += ::statvfs(m.c_str(), &st) == 0 ? 1 : 0;
        benchmark::DoNotOptimize(n);
    }
    state.SetLabel(std::to_string(mounts.size()) + " mounts");
}
BENCHMARK(diskVolumesBaseline)->Name("disk_volumes/baseline");

void diskVolumes(benchmark::State &state)
{
    PLVDiskSource source;
    for (auto _ : state)
        benchmark::DoNotOptimize(source.volumes());
}
BENCHMARK(diskVolumes)->Name("disk_volumes/volumes");

void diskActivityBaseline(benchmark::State &state)
{
    std::vector<std::string> disks;
    for (const PLVDiskActivity &d : PLVDiskSource().activity())
        disks.push_back("/sys/block/" + d.name.toStdString());
    for (auto _ : state) {
        size_t n = readFile("/proc/diskstats");
        for (const std::string &d : disks)
            n += readFile(d + "/diskseq");
        benchmark::DoNotOptimize(n);
    }
    state.SetLabel(std::to_string(disks.size()) + " disks");
}
BENCHMARK(diskActivityBaseline)->Name("disk_activity/baseline");

void diskActivity(benchmark::State &state)
{
    PLVDiskSource source;
    double t = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(source.activity(t += 2));
}
BENCHMARK(diskActivity)->Name("disk_activity/activity");

void diskIOBaseline(benchmark::State &state)
{
    for (auto _ : state) {
        size_t n = 0;
        if (DIR *d = ::opendir("/proc")) {
            while (const dirent *e = ::readdir(d)) {
                if (e->d_name[0] < '1' || e->d_name[0] > '9')
                    continue;
                const std::string pid = std::string("/proc/") + e->d_name;
                n += readFile(pid + "/io") + readFile(pid + "/comm");
            }
            ::closedir(d);
        }
        benchmark::DoNotOptimize(n);
    }
}
BENCHMARK(diskIOBaseline)->Name("disk_io/baseline");

void diskIO(benchmark::State &state)
{
    PLVDiskSource source;
    double t = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(source.topProcesses(t += 2, 5));
}
BENCHMARK(diskIO)->Name("disk_io/topProcesses");

const QString kLaptop = QStringLiteral(PLV_BENCH_FIXTURES "/sys-laptop");

void sensorsBaseline(benchmark::State &state)
{
    const std::vector<std::string> attributes =
        files(kLaptop + QStringLiteral("/sys/class"), {QStringLiteral("name"), QStringLiteral("temp*_input"), QStringLiteral("temp*_label"),
                                                       QStringLiteral("fan*_input"), QStringLiteral("fan*_label"), QStringLiteral("pwm*"),
                                                       QStringLiteral("type"), QStringLiteral("temp")});
    std::vector<std::string> folders;
    for (const char *c : {"/sys/class/hwmon", "/sys/class/thermal"}) {
        const std::string base = QFile::encodeName(kLaptop).toStdString() + c;
        folders.push_back(base);
        for (const QString &e : QDir(QString::fromStdString(base)).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
            folders.push_back(base + "/" + e.toStdString());
    }
    for (auto _ : state) {
        size_t n = 0;
        for (const std::string &f : folders)
            n += listFolder(f);
        for (const std::string &f : attributes)
            n += readFile(f);
        benchmark::DoNotOptimize(n);
    }
    state.SetLabel(std::to_string(attributes.size()) + " files");
}
BENCHMARK(sensorsBaseline)->Name("sensors/baseline");

void sensorsTemperatures(benchmark::State &state)
{
    const PLVHwmonSource source{PLVSysRoot(kLaptop)};
    for (auto _ : state)
        benchmark::DoNotOptimize(source.temperatures());
}
BENCHMARK(sensorsTemperatures)->Name("sensors/temperatures");

void sensorsFans(benchmark::State &state)
{
    const PLVHwmonSource source{PLVSysRoot(kLaptop)};
    for (auto _ : state)
        benchmark::DoNotOptimize(source.fans());
}
BENCHMARK(sensorsFans)->Name("sensors/fans");

void netBaseline(benchmark::State &state)
{
    std::vector<std::string> interfaces;
    for (const QString &e : QDir(QStringLiteral("/sys/class/net")).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        interfaces.push_back("/sys/class/net/" + e.toStdString());
    for (auto _ : state) {
        size_t n = listFolder("/sys/class/net") + readFile("/proc/net/wireless");
        for (const std::string &i : interfaces)
            for (const char *a : {"/statistics/rx_bytes", "/statistics/tx_bytes", "/type", "/ifindex", "/operstate", "/address", "/speed"})
                n += readFile(i + a);
        benchmark::DoNotOptimize(n);
    }
    state.SetLabel(std::to_string(interfaces.size()) + " interfaces");
}
BENCHMARK(netBaseline)->Name("net/baseline");

void netInterfaces(benchmark::State &state)
{
    PLVNetSource source;
    double t = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(source.interfaces(t += 2));
}
BENCHMARK(netInterfaces)->Name("net/interfaces");

} // namespace

BENCHMARK_MAIN();
