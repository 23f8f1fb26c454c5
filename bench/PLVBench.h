#pragma once
// Shared by the benchmark programs: the bare reads that floors are made of, and
// the set-up every program does around Google Benchmark.
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <string>

namespace plvbench {

// Where readFile puts what it read.
inline char *readBuffer()
{
    static char buf[65536];
    return buf;
}

// One read of at most 64 KiB of a file, as a floor's bare read; 0 when it cannot be read.
inline size_t readFile(const std::string &path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 0;
    const ssize_t n = ::read(fd, readBuffer(), 65536);
    ::close(fd);
    return n > 0 ? size_t(n) : 0;
}

// The number of entries of a folder, as a floor's bare listing.
inline size_t listFolder(const std::string &path)
{
    size_t n = 0;
    if (DIR *d = ::opendir(path.c_str())) {
        while (::readdir(d))
            ++n;
        ::closedir(d);
    }
    return n;
}

// Runs the registered benchmarks under an application object of type App, with
// a group container of their own (never the user's), no session bus (nothing
// asks the desktop's portal) and Qt's offscreen platform unless one is named.
template <typename App>
int main(int argc, char **argv)
{
    QTemporaryDir container;
    qputenv("PLV_GROUP_CONTAINER", QFile::encodeName(container.path()));
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/plv-bench");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    App app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

} // namespace plvbench
