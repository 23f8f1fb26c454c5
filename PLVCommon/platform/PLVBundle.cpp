#include "PLVBundle.h"

#include "PLVBuildConfig.h"
#include "PLVClassRegistry.h"
#include "PLVPlist.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QLocale>
#include <mutex>
#include <QTranslator>

#include <dlfcn.h>
#include <link.h>

namespace {

struct Bundles {
    std::mutex mutex;
    QHash<QString, PLVBundle *> byPath;
    QHash<const QMetaObject *, PLVBundle *> byClass;
};

Bundles &bundles()
{
    static Bundles *b = new Bundles; // bundles live for the whole process
    return *b;
}

// Path of the loaded object file that contains the address; empty for the main program.
struct ObjectLookup {
    const void *address = nullptr;
    bool found = false;
    QString path;
};

int findObject(struct dl_phdr_info *info, size_t, void *data)
{
    auto *lookup = static_cast<ObjectLookup *>(data);
    const auto addr = reinterpret_cast<ElfW(Addr)>(lookup->address);
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr) &ph = info->dlpi_phdr[i];
        if (ph.p_type != PT_LOAD)
            continue;
        const ElfW(Addr) start = info->dlpi_addr + ph.p_vaddr;
        if (addr >= start && addr < start + ph.p_memsz) {
            lookup->found = true;
            lookup->path = QString::fromLocal8Bit(info->dlpi_name ? info->dlpi_name : "");
            return 1;
        }
    }
    return 0;
}

QString objectPathForAddress(const void *address, bool *found)
{
    ObjectLookup lookup;
    lookup.address = address;
    dl_iterate_phdr(findObject, &lookup);
    *found = lookup.found;
    return lookup.path;
}

QString executablePathOfProcess()
{
    return QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
}

// ".../X/Contents/Linux/file" -> ".../X"; empty otherwise.
QString bundleRootForCode(const QString &codePath)
{
    const QFileInfo fi(codePath);
    QDir dir = fi.absoluteDir();
    if (dir.dirName() != QLatin1String("Linux"))
        return {};
    if (!dir.cdUp() || dir.dirName() != QLatin1String("Contents"))
        return {};
    if (!dir.cdUp())
        return {};
    return dir.absolutePath();
}

} // namespace

struct PLVBundle::Private {
    QString path;
    QVariantMap info;
    mutable std::mutex mutex;
    mutable QHash<QString, std::shared_ptr<QTranslator>> translators; // table + locale -> translator
    void *handle = nullptr;
    QString loadError;
};

PLVBundle::PLVBundle(const QString &path) : d(std::make_unique<Private>())
{
    d->path = path;
    const QVariant info = PLVPlist::readDictionary(path + QStringLiteral("/Contents/Info.plist"));
    d->info = info.toMap();
}

PLVBundle::~PLVBundle() = default;

PLVBundle *PLVBundle::bundleWithPath(const QString &path)
{
    const QFileInfo fi(path);
    if (!fi.isDir())
        return nullptr;
    const QString canonical = fi.canonicalFilePath();
    Bundles &b = bundles();
    std::lock_guard lock(b.mutex);
    PLVBundle *&slot = b.byPath[canonical];
    if (!slot)
        slot = new PLVBundle(canonical);
    return slot;
}

PLVBundle *PLVBundle::bundleWithIdentifier(const QString &identifier)
{
    if (identifier.isEmpty())
        return nullptr;
    mainBundle();
    frameworkBundle();
    for (PLVBundle *bundle : allBundles())
        if (bundle->bundleIdentifier() == identifier)
            return bundle;
    return nullptr;
}

QList<PLVBundle *> PLVBundle::allBundles()
{
    Bundles &b = bundles();
    std::lock_guard lock(b.mutex);
    return b.byPath.values();
}

PLVBundle *PLVBundle::mainBundle()
{
    static PLVBundle *main = [] {
        const QString exe = executablePathOfProcess();
        const QString root = bundleRootForCode(exe);
        if (!root.isEmpty())
            if (PLVBundle *b = bundleWithPath(root))
                return b;
        const QFileInfo fi(exe);
        const QString installed = fi.absolutePath() + QLatin1Char('/') + QStringLiteral(PLV_BIN_TO_DATAROOT)
                                  + QLatin1Char('/') + fi.fileName();
        if (QFileInfo::exists(installed + QStringLiteral("/Contents/Info.plist")))
            if (PLVBundle *b = bundleWithPath(installed))
                return b;
        return bundleWithPath(fi.absolutePath());
    }();
    return main;
}

PLVBundle *PLVBundle::frameworkBundle()
{
    static PLVBundle *framework = [] {
        Dl_info info{};
        if (!dladdr(reinterpret_cast<const void *>(&PLVBundle::frameworkBundle), &info) || !info.dli_fname)
            return static_cast<PLVBundle *>(nullptr);
        const QFileInfo lib(QString::fromLocal8Bit(info.dli_fname));
        const QString dir = lib.absolutePath() + QLatin1Char('/') + QStringLiteral(PLV_LIB_TO_DATA);
        return bundleWithPath(dir);
    }();
    return framework;
}

PLVBundle *PLVBundle::bundleForClass(const QMetaObject *metaObject)
{
    if (!metaObject)
        return nullptr;
    Bundles &b = bundles();
    {
        std::lock_guard lock(b.mutex);
        if (PLVBundle *cached = b.byClass.value(metaObject))
            return cached;
    }
    bool found = false;
    const QString object = objectPathForAddress(metaObject, &found);
    PLVBundle *bundle = nullptr;
    if (found && !object.isEmpty()) {
        const QString root = bundleRootForCode(object);
        if (!root.isEmpty()) {
            bundle = bundleWithPath(root);
        } else {
            Dl_info self{};
            if (dladdr(reinterpret_cast<const void *>(&PLVBundle::frameworkBundle), &self) && self.dli_fname
                && QFileInfo(QString::fromLocal8Bit(self.dli_fname)).canonicalFilePath()
                       == QFileInfo(object).canonicalFilePath())
                bundle = frameworkBundle();
        }
    }
    if (!bundle)
        bundle = mainBundle();
    std::lock_guard lock(b.mutex);
    b.byClass.insert(metaObject, bundle);
    return bundle;
}

QString PLVBundle::bundlePath() const { return d->path; }

QString PLVBundle::bundleIdentifier() const
{
    return d->info.value(QStringLiteral("CFBundleIdentifier")).toString();
}

QVariantMap PLVBundle::infoDictionary() const { return d->info; }

QVariant PLVBundle::objectForInfoDictionaryKey(const QString &key) const { return d->info.value(key); }

QString PLVBundle::resourcePath() const { return d->path + QStringLiteral("/Contents/Resources"); }

QString PLVBundle::builtInPlugInsPath() const { return d->path + QStringLiteral("/Contents/PlugIns"); }

QString PLVBundle::executablePath() const
{
    const QString exe = d->info.value(QStringLiteral("CFBundleExecutable")).toString();
    if (exe.isEmpty())
        return {};
    return d->path + QStringLiteral("/Contents/Linux/") + exe;
}

QString PLVBundle::pathForResource(const QString &name, const QString &type) const
{
    if (name.isEmpty())
        return {};
    QString file = name;
    if (!type.isEmpty())
        file += (type.startsWith(QLatin1Char('.')) ? QString() : QStringLiteral(".")) + type;
    if (file.contains(QLatin1Char('/')))
        return {};
    const QString path = resourcePath() + QLatin1Char('/') + file;
    return QFileInfo(path).isFile() ? path : QString();
}

QString PLVBundle::localizedString(const QString &key, const QString &value, const QString &table) const
{
    if (key.isNull())
        return value.isEmpty() ? QStringLiteral("") : value;
    const QLocale locale;
    const QString cacheKey = table + QLatin1Char('/') + locale.name();
    std::shared_ptr<QTranslator> translator;
    {
        std::lock_guard lock(d->mutex);
        auto it = d->translators.find(cacheKey);
        if (it == d->translators.end()) {
            auto t = std::make_shared<QTranslator>();
            if (!t->load(locale, table, QStringLiteral("_"), resourcePath()))
                t.reset();
            it = d->translators.insert(cacheKey, t);
        }
        translator = it.value();
    }
    if (translator) {
        const QString text = translator->translate("Localizable", key.toUtf8().constData());
        if (!text.isEmpty())
            return text;
    }
    return value.isEmpty() ? key : value;
}

bool PLVBundle::load()
{
    std::lock_guard lock(d->mutex);
    if (d->handle)
        return true;
    const QString exe = executablePath();
    if (exe.isEmpty()) {
        d->loadError = QStringLiteral("no CFBundleExecutable in ") + d->path;
        return false;
    }
    d->handle = dlopen(QFile::encodeName(exe).constData(), RTLD_NOW | RTLD_LOCAL);
    if (!d->handle) {
        const char *err = dlerror();
        d->loadError = QString::fromLocal8Bit(err ? err : "dlopen failed");
        return false;
    }
    return true;
}

bool PLVBundle::isLoaded() const
{
    std::lock_guard lock(d->mutex);
    return d->handle != nullptr;
}

QString PLVBundle::loadError() const
{
    std::lock_guard lock(d->mutex);
    return d->loadError;
}

const QMetaObject *PLVBundle::principalClass()
{
    if (!load())
        return nullptr;
    const QString name = d->info.value(QStringLiteral("NSPrincipalClass")).toString();
    return name.isEmpty() ? nullptr : PLVClassRegistry::classNamed(name);
}

QString PLVLocalizedStringForClass(const QMetaObject *metaObject, const QString &key)
{
    PLVBundle *bundle = PLVBundle::bundleForClass(metaObject);
    if (!bundle)
        return key.isNull() ? QStringLiteral("") : key;
    return bundle->localizedString(key, QStringLiteral(""));
}
