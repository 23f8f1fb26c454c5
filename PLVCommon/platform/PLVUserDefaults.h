#pragma once
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <functional>

// A preferences domain: one property-list dictionary in a file.
//
// Every write is a read-modify-write of the whole file under an exclusive lock
// (flock on "<file>.lock"), and the new file replaces the old one atomically, so
// writers in different processes never lose each other's keys and a reader never
// sees half a file. Reads are cheap: the parsed dictionary is reused while the
// file's identity (inode, size, modification time) is unchanged.
//
// An unreadable or corrupt file reads as empty. The first write after that moves
// it aside ("<file>.corrupt-<time>") with one warning, so nothing is destroyed.
class PLVUserDefaults
{
public:
    // The domain of the suite in its group container.
    explicit PLVUserDefaults(const QString &suiteName);
    static PLVUserDefaults withFile(const QString &path);

    QString filePath() const { return m_path; }

    QVariant objectForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;
    qint64 integerForKey(const QString &key) const;
    double doubleForKey(const QString &key) const;
    float floatForKey(const QString &key) const;
    bool boolForKey(const QString &key) const;
    QVariantMap dictionaryForKey(const QString &key) const;
    QVariantList arrayForKey(const QString &key) const;
    QVariantMap dictionaryRepresentation() const;

    // An invalid value removes the key. False when the write could not be made.
    bool setObject(const QVariant &value, const QString &key);
    bool setInteger(qint64 value, const QString &key) { return setObject(QVariant::fromValue(value), key); }
    bool setDouble(double value, const QString &key) { return setObject(value, key); }
    bool setFloat(float value, const QString &key) { return setObject(double(value), key); }
    bool setBool(bool value, const QString &key) { return setObject(value, key); }
    bool removeObjectForKey(const QString &key) { return setObject(QVariant(), key); }

    // One locked read-modify-write: `change` edits the current dictionary and
    // the result is written back, also when nothing changed (so the file exists).
    bool update(const std::function<void(QVariantMap &)> &change);

    // Every write is already on disk; this answers whether the domain's file
    // can be written (and creates it when missing).
    bool synchronize();

private:
    struct FileTag {};
    PLVUserDefaults(FileTag, const QString &path) : m_path(path) {}
    QString m_path;
};
