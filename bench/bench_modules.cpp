// A full tick of every shipped module against the sum of their floors, both on
// this machine and in the same run.
//
// modules_tick/baseline: what the modules cannot avoid, as bare reads (open,
// read, close) with no parsing: for the processor module /proc/stat, loadavg,
// uptime and the CPU lists, plus the stat file of every process; for the memory
// module meminfo, vmstat and the memory blocks (the process table is the
// processor module's, shared); the display functions of the PCI bus and
// their statistics; the mount table, a statvfs per mount, diskstats, each
// disk's sequence number and every process's io and comm; the hwmon and
// thermal trees twice (temperatures and fans); every network interface's
// attributes and counters.
// modules_tick/all_modules: updateModel() of every module of the build's
// plug-ins folder, one after the other, as the update timer drives them.
#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVModuleLoader.h"
#include "PLVCommon/linux/PLVDiskSource.h"

#include "PLVBench.h"

#include <QApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTemporaryDir>

#include <dirent.h>
#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <string>
#include <vector>

namespace {

using plvbench::listFolder;
using plvbench::readFile;

std::vector<std::string> subfolders(const char *path)
{
    std::vector<std::string> out;
    for (const QString &e : QDir(QLatin1String(path)).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        out.push_back(std::string(path) + "/" + e.toStdString());
    return out;
}

// Every process's files named, as one pass over /proc.
size_t readProcesses(std::initializer_list<const char *> names)
{
    size_t n = 0;
    if (DIR *d = ::opendir("/proc")) {
        while (const dirent *e = ::readdir(d)) {
            if (e->d_name[0] < '1' || e->d_name[0] > '9')
                continue;
            const std::string pid = std::string("/proc/") + e->d_name + "/";
            for (const char *name : names)
                n += readFile(pid + name);
        }
        ::closedir(d);
    }
    return n;
}

struct Floor {
    std::vector<std::string> memoryBlocks = subfolders("/sys/devices/system/memory");
    std::vector<std::string> pciDevices = subfolders("/sys/bus/pci/devices");
    std::vector<std::string> mounts;
    std::vector<std::string> disks;
    std::vector<std::string> sensorFolders;
    std::vector<std::string> sensorFiles;
    std::vector<std::string> interfaces = subfolders("/sys/class/net");

    Floor()
    {
        PLVDiskSource source;
        for (const PLVMountedVolume &v : source.volumes())
            mounts.push_back(QFile::encodeName(v.mountPoint).toStdString());
        for (const PLVDiskActivity &d : source.activity())
            disks.push_back("/sys/block/" + d.name.toStdString() + "/diskseq");
        for (const char *c : {"/sys/class/hwmon", "/sys/class/thermal"}) {
            sensorFolders.push_back(c);
            for (const std::string &f : subfolders(c))
                sensorFolders.push_back(f);
            QDirIterator it(QLatin1String(c),
                            {QStringLiteral("name"), QStringLiteral("temp*_input"), QStringLiteral("temp*_label"),
                             QStringLiteral("fan*_input"), QStringLiteral("fan*_label"), QStringLiteral("pwm*"),
                             QStringLiteral("type"), QStringLiteral("temp")},
                            QDir::Files, QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
            while (it.hasNext())
                sensorFiles.push_back(QFile::encodeName(it.next()).toStdString());
        }
    }

    size_t processor() const
    {
        size_t n = 0;
        for (const char *f : {"/proc/stat", "/proc/loadavg", "/proc/uptime", "/sys/devices/system/cpu/present",
                              "/sys/devices/system/cpu/online"})
            n += readFile(f);
        return n + readProcesses({"stat"});
    }
    size_t memory() const
    {
        size_t n = readFile("/proc/meminfo") + readFile("/proc/vmstat") + listFolder("/sys/devices/system/memory");
        for (const std::string &b : memoryBlocks)
            n += readFile(b + "/online");
        return n;
    }
    size_t graphics() const
    {
        size_t n = listFolder("/sys/bus/pci/devices");
        for (const std::string &d : pciDevices)
            if (readFile(d + "/class") > 3 && std::string(plvbench::readBuffer(), 4) == "0x03")
                for (const char *f : {"/vendor", "/device", "/firmware_node/path", "/power/runtime_status",
                                      "/gpu_busy_percent", "/mem_info_vram_total", "/mem_info_vram_used"})
                    n += readFile(d + f);
        return n;
    }
    size_t storage() const
    {
        size_t n = readFile("/proc/self/mountinfo") + readFile("/proc/diskstats");
        struct statvfs st {};
        for (const std::string &m : mounts)
            n += ::statvfs(m.c_str(), &st) == 0 ? 1 : 0;
        for (const std::string &d : disks)
            n += readFile(d);
        return n + readProcesses({"io", "comm"});
    }
    size_t sensors() const
    {
        size_t n = 0;
        for (const std::string &f : sensorFolders)
            n += listFolder(f);
        for (const std::string &f : sensorFiles)
            n += readFile(f);
        return n;
    }
    size_t network() const
    {
        size_t n = listFolder("/sys/class/net") + readFile("/proc/net/wireless");
        for (const std::string &i : interfaces)
            for (const char *a : {"/statistics/rx_bytes", "/statistics/tx_bytes", "/type", "/ifindex", "/operstate", "/address", "/speed"})
                n += readFile(i + a);
        return n;
    }
};

QList<PLVGenericModuleController *> &modules()
{
    static QList<PLVGenericModuleController *> loaded = [] {
        QList<PLVGenericModuleController *> out =
            PLVModuleLoader::load(PLVModuleLoader::bundlePathsIn({QStringLiteral(PLV_BENCH_PLUGINS_DIR)}), false).controllers;
        for (PLVGenericModuleController *c : out)
            c->initMainApp();
        return out;
    }();
    return loaded;
}

void tickBaseline(benchmark::State &state)
{
    const Floor floor;
    for (auto _ : state) {
        // Temperatures and fans each walk the sensors.
        benchmark::DoNotOptimize(floor.processor() + floor.memory() + floor.graphics() + floor.storage() + floor.sensors()
                                 + floor.sensors() + floor.network());
    }
    state.SetLabel(std::to_string(floor.sensorFiles.size()) + " sensor files, " + std::to_string(floor.interfaces.size())
                   + " interfaces");
}
BENCHMARK(tickBaseline)->Name("modules_tick/baseline")->Unit(benchmark::kMillisecond)->UseRealTime();

void tickModules(benchmark::State &state)
{
    const QList<PLVGenericModuleController *> &all = modules();
    if (all.isEmpty()) {
        state.SkipWithError("no modules in " PLV_BENCH_PLUGINS_DIR);
        return;
    }
    for (PLVGenericModuleController *c : all) // the first sample of each has nothing to compare with
        c->updateModel();
    for (auto _ : state)
        for (PLVGenericModuleController *c : all)
            c->updateModel();
    QStringList names;
    for (PLVGenericModuleController *c : all)
        names << c->moduleName();
    state.SetLabel(names.join(QLatin1Char(' ')).toStdString());
}
BENCHMARK(tickModules)->Name("modules_tick/all_modules")->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    QTemporaryDir container;
    qputenv("PLV_GROUP_CONTAINER", QFile::encodeName(container.path()));
    QApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    for (PLVGenericModuleController *c : modules())
        PLVGenericModuleController::destroy(c);
    return 0;
}
