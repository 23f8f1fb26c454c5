#pragma once
#include <QByteArray>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <QVariantMap>

#include <atomic>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class TQFileCoord;

// Named events between the processes of the product, carried by files.
//
// Posting a name rewrites <group container>/Library/Notifications/<name>, an XML
// property list {"randomKey": 20 random characters, "userInfo": the poster's
// dictionary when given}, replaced atomically with mode 0600. Every process
// that observes the name watches that file (TQFileCoord) and, when its
// modification time changes, calls its observers on the main thread, with a
// null argument: the receiver learns that the event happened, nothing more.
//
// Observers are QObjects and the name of one of their invokable methods taking
// no argument, one pointer (passed null) or one QVariant (passed invalid).
// The centre keeps a guarded pointer to each observer and never deletes it: a
// QObject belongs to its parent or its owner, and holding it "strongly" would
// mean taking that ownership away. An observer destroyed while registered is
// skipped at delivery; its entry stays until a removal, as a registration does.
//
// Kept as the product has always behaved:
//   * registering a second observer under a name replaces the name's watcher
//     without removing the old one, which goes on watching and delivering;
//   * both removals clear every observer of the name (or of every name), not
//     only the given observer's, and delete the files of the removed watchers;
//   * on wake from sleep the watchers are torn down, and they are rebuilt when
//     the machine next goes to sleep.
// A name that is not a plain file name ("", ".", "..", containing '/' or NUL)
// is ignored by posting and observing, so nothing is written outside the folder.
//
// Posting may be done from any thread. Registration, removal, pause and wake
// belong to the main thread, where delivery runs too; the tables have no lock.
class TQGroupNotificationCenter : public QObject
{
    Q_OBJECT
public:
    static TQGroupNotificationCenter *defaultCenter();

    static QString generateRandomInternalRef();
    static bool isPlainFileName(const QString &name);

    QUrl notificationsFolderURL() const;
    // Empty for a name that is not a plain file name.
    QUrl urlForNotificationName(const QString &name) const;
    bool isNotificationFolderExist() const;
    void initFilesAndFolder();

    void postNotificationName(const QString &name);
    // An absent userInfo writes no "userInfo" key; an empty one writes an empty dictionary.
    void postNotificationName(const QString &name, const std::optional<QVariantMap> &userInfo);
    void addDefaultNotificationFileIfNotExisting(const QString &name);

    void addObserver(QObject *observer, const char *selector, const QString &name);
    // Clears every observer of the name, whichever object it is, and removes its watcher and file.
    void removeObserver(QObject *observer, const QString &name);
    // Clears every observer of every name and removes all watchers and their files.
    void removeObserver(QObject *observer);

    // Called by a watcher (from any thread): delivery follows on the main thread.
    void fileDidChangeForNotificationName(const QString &name);

    void pauseNotificationCenter();
    void wakeNotificationCenter();

    bool isValid() const { return m_isValid.load(); }
    void setIsValid(bool valid) { m_isValid.store(valid); }

    // Inspection of the tables (main thread).
    QStringList observedNames() const;
    int observerCountForName(const QString &name) const;
    bool hasObserverEntriesForName(const QString &name) const { return m_observers.contains(name); }
    TQFileCoord *fileCoordForName(const QString &name) const;
    int watcherCount() const { return int(m_watchers.size()); }
    // Watchers replaced by a later registration that still watch their file.
    int replacedWatcherCount() const { return int(m_replacedWatchers.size()); }

public Q_SLOTS:
    // The machine is about to sleep: rebuilds the watchers.
    void workspaceWillSleep();
    // The machine woke: tears the watchers down.
    void workspaceDidWake();
    // logind's PrepareForSleep(bool): true before sleeping, false after waking.
    void prepareForSleep(bool goingToSleep);

private:
    TQGroupNotificationCenter();
    ~TQGroupNotificationCenter() override;

    struct ObserverEntry {
        QPointer<QObject> observer;
        QByteArray selector;
    };

    void deliver(const QString &name);
    std::unique_ptr<TQFileCoord> makeFileCoord(const QString &name);
    void subscribeToSleepAndWake();

    QString m_folder;
    QHash<QString, QList<ObserverEntry>> m_observers;        // notificationNames
    std::map<QString, std::unique_ptr<TQFileCoord>> m_watchers; // fileCoordsNames
    std::vector<std::unique_ptr<TQFileCoord>> m_replacedWatchers;
    std::atomic<bool> m_isValid{false};
};
