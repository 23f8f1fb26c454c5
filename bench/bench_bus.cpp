// The battery and Bluetooth samplers, each against a floor measured in the
// same run:
//   battery_kernel/…  kernelBatteryData() on the recorded laptop tree against
//                     opening and reading the same files with no parsing.
//   upower/…          batteryData() against the same D-Bus calls (device list,
//                     display device, GetAll of each device) with no parsing.
//   bluez/…           bluetoothData() against one bare GetManagedObjects call.
// UPower and BlueZ are played by plv_bus_standin on a private dbus-daemon.
#include "PLVCommon/linux/PLVSystemBus.h"
#include "PLVCommon/stats/TQBatteryInfo.h"
#include "PLVCommon/stats/TQBluetoothInfo.h"

#include "PLVBench.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

namespace {

const QString kLaptop = QStringLiteral(PLV_BENCH_FIXTURES "/power_supply/laptop");

struct Services {
    QTemporaryDir dir;
    QProcess daemon, upower, bluez;
    QString address;

    static bool waitReady(QProcess &p)
    {
        for (int i = 0; i < 100; ++i) {
            if (p.waitForReadyRead(100) && p.readAll().contains("ready"))
                return true;
            if (p.state() != QProcess::Running)
                return false;
        }
        return false;
    }

    Services()
    {
#ifdef PLV_BENCH_STANDIN
        const QString dbus = QStandardPaths::findExecutable(QStringLiteral("dbus-daemon"));
        if (dbus.isEmpty())
            return;
        const QString socket = dir.path() + QStringLiteral("/bus");
        daemon.start(dbus, {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--nopidfile"),
                            QStringLiteral("--address=unix:path=") + socket});
        for (int i = 0; i < 100 && !QFileInfo::exists(socket); ++i)
            QThread::msleep(20);
        const QString candidate = QStringLiteral("unix:path=") + socket;
        upower.start(QStringLiteral(PLV_BENCH_STANDIN),
                     {candidate, QStringLiteral("upower"), QStringLiteral(PLV_BENCH_FIXTURES "/dbus/upower-laptop.json")});
        bluez.start(QStringLiteral(PLV_BENCH_STANDIN),
                    {candidate, QStringLiteral("bluez"), QStringLiteral(PLV_BENCH_FIXTURES "/dbus/bluez-devices.json")});
        if (waitReady(upower) && waitReady(bluez))
            address = candidate;
#endif
    }
    ~Services()
    {
        for (QProcess *p : {&upower, &bluez, &daemon}) {
            p->kill();
            p->waitForFinished(5000);
        }
    }
};

Services &services()
{
    static Services s;
    return s;
}

void BM_BatteryKernelBaseline(benchmark::State &state)
{
    // The files kernelBatteryData() opens for the laptop tree: the listing,
    // each entry's type, and the battery's own files.
    std::vector<std::string> files;
    const QString base = kLaptop + QStringLiteral("/sys/class/power_supply/");
    for (const QString &entry : QDir(base).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        for (const QString &f : QDir(base + entry).entryList(QDir::Files))
            files.push_back((base + entry + QLatin1Char('/') + f).toStdString());
    const std::string folder = base.toStdString();
    char buf[4096];
    for (auto _ : state) {
        const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ::close(dir);
        for (const std::string &f : files) {
            const int fd = ::open(f.c_str(), O_RDONLY | O_CLOEXEC);
            benchmark::DoNotOptimize(::read(fd, buf, sizeof buf));
            ::close(fd);
        }
    }
}
BENCHMARK(BM_BatteryKernelBaseline)->Name("battery_kernel/baseline");

void BM_BatteryKernelSampler(benchmark::State &state)
{
    TQBatteryInfo info{PLVSysRoot(kLaptop), std::make_shared<PLVSystemBus>(QStringLiteral("unix:path=/nonexistent"))};
    for (auto _ : state)
        benchmark::DoNotOptimize(info.kernelBatteryData());
}
BENCHMARK(BM_BatteryKernelSampler)->Name("battery_kernel/sampler");

QDBusMessage bareCall(QDBusConnection &c, const QString &service, const QString &path, const QString &iface,
                      const QString &method, const QVariantList &args = {})
{
    QDBusMessage m = QDBusMessage::createMethodCall(service, path, iface, method);
    m.setArguments(args);
    return c.call(m, QDBus::Block, 250);
}

void BM_UPowerBaseline(benchmark::State &state)
{
    if (services().address.isEmpty()) {
        state.SkipWithError("no private bus or stand-in");
        return;
    }
    QDBusConnection c = QDBusConnection::connectToBus(services().address, QStringLiteral("bench-upower"));
    const QString service = QStringLiteral("org.freedesktop.UPower"), path = QStringLiteral("/org/freedesktop/UPower");
    const QStringList devices{QStringLiteral("/org/freedesktop/UPower/devices/DisplayDevice"),
                              QStringLiteral("/org/freedesktop/UPower/devices/battery_BAT0"),
                              QStringLiteral("/org/freedesktop/UPower/devices/line_power_AC"),
                              QStringLiteral("/org/freedesktop/UPower/devices/mouse_hidpp_battery_0")};
    for (auto _ : state) {
        benchmark::DoNotOptimize(bareCall(c, service, path, service, QStringLiteral("EnumerateDevices")));
        benchmark::DoNotOptimize(bareCall(c, service, path, service, QStringLiteral("GetDisplayDevice")));
        for (const QString &d : devices)
            benchmark::DoNotOptimize(bareCall(c, service, d, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("GetAll"),
                                              {QStringLiteral("org.freedesktop.UPower.Device")}));
    }
}
BENCHMARK(BM_UPowerBaseline)->Name("upower/baseline")->UseRealTime();

void BM_UPowerSampler(benchmark::State &state)
{
    if (services().address.isEmpty()) {
        state.SkipWithError("no private bus or stand-in");
        return;
    }
    QTemporaryDir empty;
    TQBatteryInfo info{PLVSysRoot(empty.path()), std::make_shared<PLVSystemBus>(services().address)};
    for (auto _ : state)
        benchmark::DoNotOptimize(info.batteryData());
}
BENCHMARK(BM_UPowerSampler)->Name("upower/sampler")->UseRealTime();

void BM_BlueZBaseline(benchmark::State &state)
{
    if (services().address.isEmpty()) {
        state.SkipWithError("no private bus or stand-in");
        return;
    }
    QDBusConnection c = QDBusConnection::connectToBus(services().address, QStringLiteral("bench-bluez"));
    for (auto _ : state)
        benchmark::DoNotOptimize(bareCall(c, QStringLiteral("org.bluez"), QStringLiteral("/"),
                                          QStringLiteral("org.freedesktop.DBus.ObjectManager"), QStringLiteral("GetManagedObjects")));
}
BENCHMARK(BM_BlueZBaseline)->Name("bluez/baseline")->UseRealTime();

void BM_BlueZSampler(benchmark::State &state)
{
    if (services().address.isEmpty()) {
        state.SkipWithError("no private bus or stand-in");
        return;
    }
    TQBluetoothInfo info(std::make_shared<PLVSystemBus>(services().address));
    for (auto _ : state)
        benchmark::DoNotOptimize(info.bluetoothData());
}
BENCHMARK(BM_BlueZSampler)->Name("bluez/sampler")->UseRealTime();

} // namespace

int main(int argc, char **argv) { return plvbench::main<QCoreApplication>(argc, argv); }
