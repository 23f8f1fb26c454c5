#include "TQFileCoord.h"

#include "PLVCommon/platform/PLVDispatch.h"
#include "PLVCommon/platform/PLVLog.h"
#include "PLVCommon/platform/PLVTsan.h"
#include "TQGroupNotificationCenter.h"

#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QThreadPool>

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <thread>
#include <vector>

namespace {

// Every kind of event that can leave new contents or a new modification time
// under a name: a replacement by rename (our own posts), a file written in place
// (other writers), a new file, and a touch.
constexpr uint32_t kWatchMask = IN_CREATE | IN_CLOSE_WRITE | IN_MOVED_TO | IN_ATTRIB | IN_ONLYDIR;

// The process's registry of watchers: one inotify instance, one watch per
// folder and one reader thread. Instances per user are scarce (128 by default),
// so watchers share them instead of opening one each.
class PresenterRegistry
{
public:
    static PresenterRegistry &instance()
    {
        // Never destroyed: its reader thread runs for the life of the process.
        static PresenterRegistry *registry = new PresenterRegistry;
        return *registry;
    }

    void add(TQFileCoord *presenter, const QByteArray &folder, const QByteArray &name)
    {
        std::lock_guard lock(m_mutex);
        if (m_fd < 0) {
            m_fd = inotify_init1(IN_CLOEXEC);
            if (m_fd < 0) {
                qCWarning(plvShared) << "TQFileCoord: inotify unavailable:" << strerror(errno);
            } else {
                std::thread(&PresenterRegistry::readEvents, this, m_fd).detach();
            }
        }
        if (m_fd >= 0 && m_folderOfWatch.key(folder, -1) < 0) {
            // A folder that was deleted and made again needs a new watch; the
            // watchers registered in it meanwhile match again by folder and name.
            const int wd = inotify_add_watch(m_fd, folder.constData(), kWatchMask);
            if (wd >= 0)
                m_folderOfWatch.insert(wd, folder);
        }
        m_presenters.push_back({presenter, folder, name});
    }

    void remove(TQFileCoord *presenter)
    {
        std::lock_guard lock(m_mutex);
        std::erase_if(m_presenters, [presenter](const Registration &r) { return r.presenter == presenter; });
    }

private:
    struct Registration {
        TQFileCoord *presenter;
        QByteArray folder;
        QByteArray name;
    };

    void readEvents(int fd)
    {
        alignas(inotify_event) char buffer[64 * 1024];
        for (;;) {
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                qCWarning(plvShared) << "TQFileCoord: reading inotify events failed:" << strerror(errno);
                return;
            }
            for (ssize_t offset = 0; offset < n;) {
                const auto *event = reinterpret_cast<const inotify_event *>(buffer + offset);
                offset += ssize_t(sizeof(inotify_event) + event->len);
                dispatch(*event);
            }
        }
    }

    void dispatch(const inotify_event &event)
    {
        std::lock_guard lock(m_mutex);
        if (event.mask & IN_Q_OVERFLOW) {
            // Events were lost: let every watcher look; the modification time
            // check drops those with nothing new.
            for (const Registration &r : m_presenters)
                r.presenter->enqueueChange();
            return;
        }
        if (event.mask & IN_IGNORED) {
            m_folderOfWatch.remove(event.wd);
            return;
        }
        if (event.len == 0)
            return;
        const auto folder = m_folderOfWatch.constFind(event.wd);
        if (folder == m_folderOfWatch.cend())
            return;
        const QByteArray name(event.name); // NUL-padded by the kernel
        for (const Registration &r : m_presenters)
            if (r.name == name && r.folder == folder.value())
                r.presenter->enqueueChange();
    }

    std::mutex m_mutex;
    int m_fd = -1;
    QHash<int, QByteArray> m_folderOfWatch;
    std::vector<Registration> m_presenters;
};

} // namespace

TQFileCoord::TQFileCoord(const QUrl &url, TQGroupNotificationCenter *delegate)
    : m_queue(std::make_unique<QThreadPool>()), m_targetURL(url), m_delegate(delegate)
{
    m_queue->setMaxThreadCount(1); // serial, like the queue of a file presenter
    m_queue->setObjectName(QStringLiteral("TQFileCoord"));
    m_path = url.toLocalFile();
    const QFileInfo info(m_path);
    m_name = info.fileName();
    if (m_path.isEmpty() || m_name.isEmpty())
        return;
    PresenterRegistry::instance().add(this, QFile::encodeName(info.absolutePath()), QFile::encodeName(m_name));
    m_registered = true;
}

TQFileCoord::~TQFileCoord()
{
    unregister();
    if (m_queue) {
        m_queue->clear();
        m_queue->waitForDone();
        plvTsanAcquire(&m_callbacksDone);
    }
}

void TQFileCoord::unregister()
{
    if (!m_registered)
        return;
    PresenterRegistry::instance().remove(this);
    m_registered = false;
}

void TQFileCoord::enqueueChange()
{
    if (!m_queue)
        return;
    static const char handoff = 0; // the hand-off as ThreadSanitizer sees it
    std::function<void()> callback = [this] {
        plvTsanAcquire(&handoff);
        presentedItemDidChange();
        plvTsanRelease(&m_callbacksDone); // seen by whoever waits for the queue
    };
    plvTsanRelease(&handoff);
    m_queue->start(std::move(callback));
}

void TQFileCoord::presentedItemDidChange()
{
    struct stat st {};
    if (m_path.isEmpty() || ::stat(QFile::encodeName(m_path).constData(), &st) != 0)
        return; // gone: nothing to deliver until it is written again
    const double modified = double(st.st_mtim.tv_sec) + double(st.st_mtim.tv_nsec) / 1e9;
    // The same time again is a repeated event for a write already delivered.
    if (modified == m_lastModificationDate.load())
        return;
    m_lastModificationDate.store(modified);
    TQGroupNotificationCenter *center = m_delegate.load();
    if (!center)
        return;
    PLVDispatch::asyncGlobal([center, name = m_name] { center->fileDidChangeForNotificationName(name); });
}

void TQFileCoord::remove()
{
    unregister();
    if (m_queue) {
        m_queue->clear();
        m_queue->waitForDone(); // a running callback still reads the path
        plvTsanAcquire(&m_callbacksDone);
        m_queue.reset();
    }
    m_delegate.store(nullptr);
    removeFile();
    m_targetURL.clear();
    m_path.clear();
}

void TQFileCoord::removeFile()
{
    if (!m_path.isEmpty())
        QFile::remove(m_path);
}
