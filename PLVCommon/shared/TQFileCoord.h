#pragma once
#include <QString>
#include <QUrl>

#include <atomic>
#include <memory>

class QThreadPool;
class TQGroupNotificationCenter;

// Watches one notification file on behalf of the group notification centre.
//
// The file is replaced by rename on every post, so a watch on the file itself
// would be lost after the first one: the process keeps one inotify watch per
// folder (shared by every watcher in it), and a reader thread hands the events
// whose name is this file's to the watcher's own serial queue. There the
// modification time decides whether anything new happened; a new time is
// passed on to the delegate through the global queue.
//
// Creating a watcher registers it at once; it does not create the file.
class TQFileCoord
{
public:
    explicit TQFileCoord(const QUrl &url, TQGroupNotificationCenter *delegate = nullptr);
    // Unregisters and waits for a running callback; the file is kept.
    ~TQFileCoord();

    TQFileCoord(const TQFileCoord &) = delete;
    TQFileCoord &operator=(const TQFileCoord &) = delete;

    QUrl presentedItemURL() const { return m_targetURL; }
    // The watcher's own serial queue; null after remove().
    QThreadPool *presentedItemOperationQueue() const { return m_queue.get(); }

    // The change callback, run on the watcher's queue: stats the file and, when
    // its modification time differs from the last one seen (0 at first, so the
    // first callback always passes), hands the name to the delegate.
    void presentedItemDidChange();

    // Unregisters, cancels queued callbacks (waiting for a running one), forgets
    // the delegate and deletes the watched file. Call on the main thread.
    void remove();
    void removeFile();

    double lastModificationDate() const { return m_lastModificationDate.load(); }
    TQGroupNotificationCenter *delegate() const { return m_delegate.load(); }
    void setDelegate(TQGroupNotificationCenter *delegate) { m_delegate.store(delegate); }
    bool isRegistered() const { return m_registered; }

    // Called by the reader thread for an event on this watcher's file name.
    void enqueueChange();

private:
    void unregister();

    std::unique_ptr<QThreadPool> m_queue;

    char m_callbacksDone = 0; // ThreadSanitizer: callbacks ended before a wait returned
    std::atomic<double> m_lastModificationDate{0.0};
    QUrl m_targetURL;
    QString m_path;
    QString m_name;
    std::atomic<TQGroupNotificationCenter *> m_delegate{nullptr};
    bool m_registered = false;
};
