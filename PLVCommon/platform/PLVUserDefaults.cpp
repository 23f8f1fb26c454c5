#include "PLVUserDefaults.h"

#include "PLVGroupContainer.h"
#include "PLVLog.h"
#include "PLVPlist.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <mutex>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

struct Identity {
    dev_t dev = 0;
    ino_t ino = 0;
    off_t size = -1;
    qint64 mtimeNs = 0;
    bool operator==(const Identity &) const = default;
};

bool identityOf(const QString &path, Identity *out)
{
    struct stat st {};
    if (::stat(QFile::encodeName(path).constData(), &st) != 0)
        return false;
    *out = {st.st_dev, st.st_ino, st.st_size, qint64(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec};
    return true;
}

// Parsed dictionaries by path, reused while the file is the same file.
struct ReadCache {
    struct Item {
        Identity identity;
        QVariantMap map;
    };
    std::mutex mutex;
    QHash<QString, Item> items;
};

ReadCache &readCache()
{
    static ReadCache *c = new ReadCache;
    return *c;
}

enum class FileState { Missing, Valid, Corrupt };

FileState readStore(const QString &path, QVariantMap *out)
{
    Identity id;
    if (!identityOf(path, &id)) {
        out->clear();
        return FileState::Missing;
    }
    ReadCache &cache = readCache();
    {
        std::lock_guard lock(cache.mutex);
        auto it = cache.items.constFind(path);
        if (it != cache.items.cend() && it->identity == id) {
            *out = it->map;
            return FileState::Valid;
        }
    }
    if (id.size == 0) {
        out->clear();
        return FileState::Valid; // an empty file holds nothing worth keeping
    }
    const QVariant parsed = PLVPlist::readDictionary(path);
    if (!parsed.isValid()) {
        out->clear();
        return FileState::Corrupt;
    }
    *out = parsed.toMap();
    std::lock_guard lock(cache.mutex);
    cache.items.insert(path, {id, *out});
    return FileState::Valid;
}

void moveCorruptAside(const QString &path)
{
    const QString stamp = QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString target = path + QStringLiteral(".corrupt-") + stamp;
    for (int n = 1; QFileInfo::exists(target); ++n)
        target = path + QStringLiteral(".corrupt-") + stamp + QLatin1Char('-') + QString::number(n);
    if (QFile::rename(path, target))
        qCWarning(plvShared).noquote() << "Settings file" << path << "could not be read; kept it as" << target
                                       << "and started a new one";
}

// Exclusive lock on "<file>.lock" for the life of the object.
class FileLock
{
public:
    explicit FileLock(const QString &path)
    {
        m_fd = ::open(QFile::encodeName(path + QStringLiteral(".lock")).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        if (m_fd < 0)
            return;
        while (::flock(m_fd, LOCK_EX) != 0) {
            if (errno != EINTR) {
                ::close(m_fd);
                m_fd = -1;
                return;
            }
        }
    }
    ~FileLock()
    {
        if (m_fd >= 0)
            ::close(m_fd); // closing releases the lock
    }
    bool locked() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};

} // namespace

PLVUserDefaults::PLVUserDefaults(const QString &suiteName) : m_path(PLVGroupContainer::preferencesFilePath(suiteName)) {}

PLVUserDefaults PLVUserDefaults::withFile(const QString &path) { return PLVUserDefaults(FileTag{}, path); }

QVariantMap PLVUserDefaults::dictionaryRepresentation() const
{
    QVariantMap map;
    if (!m_path.isEmpty())
        readStore(m_path, &map);
    return map;
}

QVariant PLVUserDefaults::objectForKey(const QString &key) const { return dictionaryRepresentation().value(key); }

QString PLVUserDefaults::stringForKey(const QString &key) const
{
    const QVariant v = objectForKey(key);
    return v.typeId() == QMetaType::QString ? v.toString() : QString();
}

qint64 PLVUserDefaults::integerForKey(const QString &key) const { return objectForKey(key).toLongLong(); }

double PLVUserDefaults::doubleForKey(const QString &key) const { return objectForKey(key).toDouble(); }

float PLVUserDefaults::floatForKey(const QString &key) const { return objectForKey(key).toFloat(); }

bool PLVUserDefaults::boolForKey(const QString &key) const
{
    const QVariant v = objectForKey(key);
    if (v.typeId() == QMetaType::QString) {
        const QString s = v.toString().trimmed().toLower();
        return s == QLatin1String("yes") || s == QLatin1String("true") || s.toLongLong() != 0;
    }
    return v.toBool();
}

QVariantMap PLVUserDefaults::dictionaryForKey(const QString &key) const { return objectForKey(key).toMap(); }

QVariantList PLVUserDefaults::arrayForKey(const QString &key) const
{
    const QVariant v = objectForKey(key);
    return v.typeId() == QMetaType::QVariantList ? v.toList() : QVariantList();
}

bool PLVUserDefaults::setObject(const QVariant &value, const QString &key)
{
    return update([&](QVariantMap &map) {
        if (value.isValid())
            map.insert(key, value);
        else
            map.remove(key);
    });
}

bool PLVUserDefaults::update(const std::function<void(QVariantMap &)> &change)
{
    if (m_path.isEmpty() || !PLVGroupContainer::ensureFolder(QFileInfo(m_path).absolutePath()))
        return false;
    FileLock lock(m_path);
    if (!lock.locked())
        return false;
    QVariantMap map;
    if (readStore(m_path, &map) == FileState::Corrupt)
        moveCorruptAside(m_path);
    change(map);
    if (!PLVPlist::writeFile(m_path, map))
        return false;
    // Later reads of this process reuse what it wrote, in the types any reader
    // of the file would get.
    Identity written;
    if (identityOf(m_path, &written)) {
        ReadCache &cache = readCache();
        std::lock_guard lock(cache.mutex);
        cache.items.insert(m_path, {written, PLVPlist::normalized(map).toMap()});
    }
    return true;
}

bool PLVUserDefaults::synchronize()
{
    if (m_path.isEmpty())
        return false;
    if (QFileInfo::exists(m_path))
        return QFileInfo(m_path).isWritable();
    return update([](QVariantMap &) {});
}
