// Settings store: a write (locked read-modify-write, atomic replace) and a read,
// each against moving the same bytes with QSaveFile / QFile.
#include "PLVCommon/platform/PLVPlist.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

// A store the size of a real one: a few top-level keys and a dictionary per module.
struct Store {
    QTemporaryDir dir;
    QString prefs;
    QByteArray bytes;
    Store()
    {
        qputenv("PLV_GROUP_CONTAINER", QFile::encodeName(dir.path()));
        for (int i = 0; i < 20; ++i)
            UserDefaultsExtras::updateThePrefDicoWithInteger(i, QStringLiteral("key%1").arg(i));
        for (const char *module : {"plvCPU", "plvMEM", "plvDisk", "plvTEMP", "plvFans", "plvNET", "plvGPU", "plvBATTERY", "plvBT"})
            UserDefaultsExtras::updateThePrefDicoWithObject(
                QVariantMap{{QStringLiteral("todayWidget"), 1}, {QStringLiteral("graphColor"), QStringLiteral("#3080ff")}},
                QStringLiteral("com.tallowcrest.") + QLatin1String(module));
        prefs = UserDefaultsExtras::appUserDefaults().filePath();
        QFile f(prefs);
        f.open(QIODevice::ReadOnly);
        bytes = f.readAll();
    }
};

Store &store()
{
    static Store s;
    return s;
}

void settingsWriteBaseline(benchmark::State &state)
{
    Store &s = store();
    const QString path = s.dir.filePath(QStringLiteral("baseline.plist"));
    for (auto _ : state) {
        QSaveFile f(path);
        f.open(QIODevice::WriteOnly);
        f.write(s.bytes);
        benchmark::DoNotOptimize(f.commit());
    }
    state.SetLabel(std::to_string(s.bytes.size()) + " bytes");
}

void settingsWrite(benchmark::State &state)
{
    store();
    qint64 i = 0;
    for (auto _ : state)
        UserDefaultsExtras::updateThePrefDicoWithInteger(++i, QStringLiteral("plvSlideInterval"));
}

void settingsReadBaseline(benchmark::State &state)
{
    Store &s = store();
    for (auto _ : state) {
        QFile f(s.prefs);
        f.open(QIODevice::ReadOnly);
        benchmark::DoNotOptimize(f.readAll());
    }
}

// A read of an unchanged store (what a module does every tick).
void settingsRead(benchmark::State &state)
{
    store();
    for (auto _ : state)
        benchmark::DoNotOptimize(UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("plvSlideInterval")));
}

// The first read after another process wrote: the whole file is parsed.
void settingsReadAfterChange(benchmark::State &state)
{
    Store &s = store();
    for (auto _ : state)
        benchmark::DoNotOptimize(PLVPlist::readDictionary(s.prefs));
}

} // namespace

BENCHMARK(settingsWriteBaseline)->Name("settings_write/baseline");
BENCHMARK(settingsWrite)->Name("settings_write/updateThePrefDico");
BENCHMARK(settingsReadBaseline)->Name("settings_read/baseline");
BENCHMARK(settingsRead)->Name("settings_read/getValueFromThePrefDico");
BENCHMARK(settingsReadAfterChange)->Name("settings_read/after_change");
BENCHMARK_MAIN();
