#pragma once
// One status item on the session bus through the StatusNotifierItem protocol:
// its own connection and bus name ("org.kde.StatusNotifierItem-<pid>-<n>"), the
// object /StatusNotifierItem, and a registration with the
// org.kde.StatusNotifierWatcher that the panel's tray runs. The picture goes
// over the bus as IconPixmap (ARGB32, network byte order); NewIcon and
// NewToolTip are sent only when they changed. Activate and ContextMenu come
// back as signals with the point the host gave.
#include <QDBusArgument>
#include <QDBusConnection>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPoint>

struct SNIPixmap {
    int width = 0;
    int height = 0;
    QByteArray argb; // ARGB32, network byte order
    static SNIPixmap fromImage(const QImage &image);
};
using SNIPixmapList = QList<SNIPixmap>;
struct SNIToolTip {
    QString iconName;
    SNIPixmapList icon;
    QString title;
    QString description;
};
Q_DECLARE_METATYPE(SNIPixmap)
Q_DECLARE_METATYPE(SNIToolTip)
QDBusArgument &operator<<(QDBusArgument &arg, const SNIPixmap &pixmap);
const QDBusArgument &operator>>(const QDBusArgument &arg, SNIPixmap &pixmap);
QDBusArgument &operator<<(QDBusArgument &arg, const SNIToolTip &tip);
const QDBusArgument &operator>>(const QDBusArgument &arg, SNIToolTip &tip);

class StatusNotifierItem : public QObject
{
    Q_OBJECT
public:
    static constexpr const char *watcherService = "org.kde.StatusNotifierWatcher";
    static constexpr const char *watcherPath = "/StatusNotifierWatcher";
    static void registerTypes();
    // Whether a watcher with a tray host is on the session bus.
    static bool trayHostAvailable();

    StatusNotifierItem(const QString &id, const QString &title, QObject *parent = nullptr);
    ~StatusNotifierItem() override;

    bool isOnBus() const { return !m_serviceName.isEmpty(); }
    QString serviceName() const { return m_serviceName; }
    // Asks the watcher to show the item (again, after a watcher restart).
    void registerWithWatcher();

    // The pictures at each scale; NewIcon only when they differ from the last.
    void setIcon(const QList<QImage> &images);
    void setToolTip(const QString &title, const QString &description);
    void setPanelOpen(bool open);

    QString id() const { return m_id; }
    QString title() const { return m_title; }
    SNIPixmapList iconPixmap() const { return m_pixmaps; }
    SNIToolTip toolTip() const { return m_toolTip; }
    bool panelOpen() const { return m_panelOpen; }

signals:
    void activated(const QPoint &at);
    void contextMenuRequested(const QPoint &at);
    // For the adaptor: what hosts listen to.
    void newIcon();
    void newToolTip();

private:
    friend class StatusNotifierItemAdaptor;
    QDBusConnection m_connection;
    QString m_connectionName;
    QString m_serviceName;
    QString m_id;
    QString m_title;
    SNIPixmapList m_pixmaps;
    SNIToolTip m_toolTip;
    bool m_panelOpen = false;
};
