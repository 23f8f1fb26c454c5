// A group notification's trip between two real processes: from the moment a
// child process calls postNotificationName to the moment this process's
// observer runs on its main thread. Both ends read CLOCK_MONOTONIC, which is
// one clock for the whole machine, so the trip is measured directly.
//
//   groupnotify_trip/baseline          the floor: the child replaces a file the
//                                      same way (write, fsync, rename) and this
//                                      process blocks in read() on a bare inotify
//                                      watch of the folder
//   groupnotify_trip/post_to_inotify   the centre's post seen by a bare inotify
//                                      watch: the writer's share of the trip
//   groupnotify_trip/post_to_observer  the centre: plist write by QSaveFile,
//                                      inotify reader thread, the watcher's queue
//                                      and its modification-time check, the
//                                      global queue, the main queue, the observer
//
// Each case makes 300 posts, one at a time, with a pause between them so that
// each post has its own file modification time. The reported time is the mean
// trip; the counters give the median (p50_us) and 99th percentile (p99_us).
#include <PLVCommon/shared/TQGroupNotificationCenter.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QTimer>
#include <QEventLoop>

#include <benchmark/benchmark.h>

#include <sys/inotify.h>
#include <poll.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

constexpr int kPosts = 300;
constexpr int kPauseMs = 10;
const QString kName = QStringLiteral("BenchTrip");

qint64 nowNs()
{
    timespec ts {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return qint64(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// --- the posting child --------------------------------------------------------

// Reads "go" lines; for each, notes the time, posts, and answers with the time.
int posterMain(int argc, char **argv)
{
    const QByteArray mode = argv[2];
    const QByteArray target = argv[3];
    QCoreApplication app(argc, argv);
    TQGroupNotificationCenter *center = mode == "center" ? TQGroupNotificationCenter::defaultCenter() : nullptr;
    const QByteArray payload = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                               "<key>randomKey</key><string>abcdefghijklmnopqrst</string></dict></plist>\n";
    char line[64];
    while (fgets(line, sizeof line, stdin)) {
        if (std::strncmp(line, "go", 2) != 0)
            break;
        const qint64 t0 = nowNs();
        if (center) {
            center->postNotificationName(kName);
        } else {
            const QByteArray tmp = target + ".tmp";
            const int fd = ::open(tmp.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
            if (fd < 0 || ::write(fd, payload.constData(), size_t(payload.size())) != payload.size())
                return 1;
            ::fsync(fd);
            ::close(fd);
            ::rename(tmp.constData(), target.constData());
        }
        fprintf(stdout, "%lld\n", static_cast<long long>(t0));
        fflush(stdout);
    }
    return 0;
}

// --- the observing parent -----------------------------------------------------

class TripObserver : public QObject
{
    Q_OBJECT
public:
    qint64 arrivedAt = 0;
    QEventLoop *loop = nullptr;
    Q_INVOKABLE void arrived()
    {
        arrivedAt = nowNs();
        if (loop)
            loop->quit();
    }
};

struct Poster {
    QProcess process;

    bool start(const char *mode, const QString &target)
    {
        process.start(QCoreApplication::applicationFilePath(),
                      {QStringLiteral("--poster"), QString::fromLatin1(mode), target});
        return process.waitForStarted(10000);
    }
    void go()
    {
        process.write("go\n");
        process.waitForBytesWritten(1000);
    }
    qint64 postedAt()
    {
        while (!process.canReadLine())
            if (!process.waitForReadyRead(10000))
                return -1;
        return process.readLine().trimmed().toLongLong();
    }
    ~Poster()
    {
        process.write("quit\n");
        process.closeWriteChannel();
        if (!process.waitForFinished(5000))
            process.kill();
    }
};

void report(benchmark::State &state, std::vector<double> trips)
{
    if (trips.empty())
        return;
    std::sort(trips.begin(), trips.end());
    auto at = [&](double q) { return trips[std::min(trips.size() - 1, size_t(q * double(trips.size())))]; };
    state.counters["p50_us"] = at(0.50) / 1e3;
    state.counters["p99_us"] = at(0.99) / 1e3;
    state.counters["max_us"] = trips.back() / 1e3;
    state.counters["posts"] = double(trips.size());
}

// A bare inotify reader of the folder; `mode` says how the child posts.
void tripToInotify(benchmark::State &state, const char *mode, const QString &folder)
{
    QDir().mkpath(folder);
    const int fd = inotify_init1(IN_CLOEXEC);
    inotify_add_watch(fd, QFile::encodeName(folder).constData(), IN_MOVED_TO | IN_CREATE | IN_CLOSE_WRITE);
    Poster poster;
    if (fd < 0 || !poster.start(mode, folder + QLatin1Char('/') + kName)) {
        state.SkipWithError("could not start");
        return;
    }
    std::vector<double> trips;
    alignas(inotify_event) char buffer[4096];
    for (auto _ : state) {
        QThread::msleep(kPauseMs);
        for (pollfd p{fd, POLLIN, 0}; ::poll(&p, 1, 0) > 0;) // events of earlier posts
            if (::read(fd, buffer, sizeof buffer) <= 0)
                break;
        poster.go();
        qint64 arrived = 0;
        while (!arrived) {
            pollfd p{fd, POLLIN, 0};
            if (::poll(&p, 1, 10000) <= 0)
                break;
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            for (ssize_t off = 0; off < n;) {
                const auto *e = reinterpret_cast<const inotify_event *>(buffer + off);
                off += ssize_t(sizeof(inotify_event) + e->len);
                if (e->len && kName == QString::fromLocal8Bit(e->name))
                    arrived = nowNs();
            }
        }
        const qint64 posted = poster.postedAt();
        if (!arrived || posted < 0) {
            state.SkipWithError("a post was lost");
            break;
        }
        trips.push_back(double(arrived - posted));
        state.SetIterationTime(double(arrived - posted) / 1e9);
    }
    ::close(fd);
    report(state, trips);
}

void tripBaseline(benchmark::State &state)
{
    tripToInotify(state, "raw", QDir::cleanPath(QString::fromLocal8Bit(qgetenv("PLV_GROUP_CONTAINER"))) + QStringLiteral("/raw"));
}

void tripPostToInotify(benchmark::State &state)
{
    tripToInotify(state, "center", TQGroupNotificationCenter::defaultCenter()->notificationsFolderURL().toLocalFile());
}

void tripThroughTheCentre(benchmark::State &state)
{
    TQGroupNotificationCenter *center = TQGroupNotificationCenter::defaultCenter();
    TripObserver observer;
    center->addObserver(&observer, "arrived", kName);
    Poster poster;
    if (!center->isValid() || !poster.start("center", kName)) {
        state.SkipWithError("could not start");
        return;
    }
    std::vector<double> trips;
    for (auto _ : state) {
        QThread::msleep(kPauseMs);
        observer.arrivedAt = 0;
        poster.go();
        // Sleeps in the event loop until the observer runs (or 10 s pass).
        QEventLoop loop;
        observer.loop = &loop;
        QTimer::singleShot(10000, &loop, &QEventLoop::quit);
        if (!observer.arrivedAt)
            loop.exec();
        observer.loop = nullptr;
        const qint64 posted = poster.postedAt();
        if (!observer.arrivedAt || posted < 0) {
            state.SkipWithError("a post was lost");
            break;
        }
        trips.push_back(double(observer.arrivedAt - posted));
        state.SetIterationTime(double(observer.arrivedAt - posted) / 1e9);
    }
    center->removeObserver(&observer);
    report(state, trips);
}

} // namespace

BENCHMARK(tripBaseline)->Name("groupnotify_trip/baseline")->Iterations(kPosts)->Repetitions(1)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(tripPostToInotify)->Name("groupnotify_trip/post_to_inotify")->Iterations(kPosts)->Repetitions(1)->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(tripThroughTheCentre)->Name("groupnotify_trip/post_to_observer")->Iterations(kPosts)->Repetitions(1)->UseManualTime()->Unit(benchmark::kMicrosecond);

int main(int argc, char **argv)
{
    if (argc >= 4 && std::strcmp(argv[1], "--poster") == 0)
        return posterMain(argc, argv);

    // A container of its own, shared with the children through the environment.
    QTemporaryDir dir;
    qputenv("PLV_GROUP_CONTAINER", QFile::encodeName(dir.path() + QStringLiteral("/group")));
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

#include "bench_groupnotify.moc"
