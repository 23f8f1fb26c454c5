#include "StatusNotifierItem.h"

#include <QCoreApplication>
#include <QDBusAbstractAdaptor>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusPendingCall>
#include <QtEndian>

#include <atomic>

SNIPixmap SNIPixmap::fromImage(const QImage &image)
{
    SNIPixmap pixmap;
    if (image.isNull())
        return pixmap;
    // Hosts take the data as plain (not premultiplied) ARGB, most significant byte first.
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    pixmap.width = argb.width();
    pixmap.height = argb.height();
    pixmap.argb.resize(qsizetype(argb.width()) * argb.height() * 4);
    char *out = pixmap.argb.data();
    for (int y = 0; y < argb.height(); ++y, out += qsizetype(argb.width()) * 4)
        qToBigEndian<quint32>(argb.constScanLine(y), argb.width(), out);
    return pixmap;
}

QDBusArgument &operator<<(QDBusArgument &arg, const SNIPixmap &pixmap)
{
    arg.beginStructure();
    arg << pixmap.width << pixmap.height << pixmap.argb;
    arg.endStructure();
    return arg;
}

const QDBusArgument &operator>>(const QDBusArgument &arg, SNIPixmap &pixmap)
{
    arg.beginStructure();
    arg >> pixmap.width >> pixmap.height >> pixmap.argb;
    arg.endStructure();
    return arg;
}

QDBusArgument &operator<<(QDBusArgument &arg, const SNIToolTip &tip)
{
    arg.beginStructure();
    arg << tip.iconName << tip.icon << tip.title << tip.description;
    arg.endStructure();
    return arg;
}

const QDBusArgument &operator>>(const QDBusArgument &arg, SNIToolTip &tip)
{
    arg.beginStructure();
    arg >> tip.iconName >> tip.icon >> tip.title >> tip.description;
    arg.endStructure();
    return arg;
}

// org.kde.StatusNotifierItem on the item's object.
class StatusNotifierItemAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ id)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconName READ empty)
    Q_PROPERTY(SNIPixmapList IconPixmap READ iconPixmap)
    Q_PROPERTY(QString OverlayIconName READ empty)
    Q_PROPERTY(SNIPixmapList OverlayIconPixmap READ none)
    Q_PROPERTY(QString AttentionIconName READ empty)
    Q_PROPERTY(SNIPixmapList AttentionIconPixmap READ none)
    Q_PROPERTY(QString AttentionMovieName READ empty)
    Q_PROPERTY(QString IconThemePath READ empty)
    Q_PROPERTY(SNIToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
public:
    explicit StatusNotifierItemAdaptor(StatusNotifierItem *item) : QDBusAbstractAdaptor(item), m_item(item)
    {
        setAutoRelaySignals(false);
        connect(item, &StatusNotifierItem::newIcon, this, &StatusNotifierItemAdaptor::NewIcon);
        connect(item, &StatusNotifierItem::newToolTip, this, &StatusNotifierItemAdaptor::NewToolTip);
    }
    QString category() const { return QStringLiteral("Hardware"); }
    QString id() const { return m_item->m_id; }
    QString title() const { return m_item->m_title; }
    QString status() const { return QStringLiteral("Active"); }
    int windowId() const { return 0; }
    QString empty() const { return QString(); }
    SNIPixmapList iconPixmap() const { return m_item->m_pixmaps; }
    SNIPixmapList none() const { return {}; }
    SNIToolTip toolTip() const { return m_item->m_toolTip; }
    bool itemIsMenu() const { return false; }

public slots:
    void Activate(int x, int y) { emit m_item->activated(QPoint(x, y)); }
    void SecondaryActivate(int x, int y) { emit m_item->activated(QPoint(x, y)); }
    void ContextMenu(int x, int y) { emit m_item->contextMenuRequested(QPoint(x, y)); }
    void Scroll(int, const QString &) {}

signals:
    void NewTitle();
    void NewIcon();
    void NewAttentionIcon();
    void NewOverlayIcon();
    void NewToolTip();
    void NewStatus(const QString &status);

private:
    StatusNotifierItem *m_item;
};

// The monitor's own facts about the item, for scripts and tests.
class MonitorItemAdaptor : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.tallowcrest.plvmonitor.Item")
    Q_PROPERTY(bool PanelOpen READ panelOpen)
public:
    explicit MonitorItemAdaptor(StatusNotifierItem *item) : QDBusAbstractAdaptor(item), m_item(item) {}
    bool panelOpen() const { return m_item->panelOpen(); }

private:
    StatusNotifierItem *m_item;
};

void StatusNotifierItem::registerTypes()
{
    static const bool done = [] {
        qDBusRegisterMetaType<SNIPixmap>();
        qDBusRegisterMetaType<SNIPixmapList>();
        qDBusRegisterMetaType<SNIToolTip>();
        return true;
    }();
    (void)done;
}

bool StatusNotifierItem::trayHostAvailable()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(QString::fromLatin1(watcherService)).value())
        return false;
    QDBusMessage get = QDBusMessage::createMethodCall(QString::fromLatin1(watcherService), QString::fromLatin1(watcherPath),
                                                      QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << QStringLiteral("org.kde.StatusNotifierWatcher") << QStringLiteral("IsStatusNotifierHostRegistered");
    const QDBusMessage reply = bus.call(get, QDBus::Block, 2000);
    // A watcher that does not answer the question is taken at its word that it exists.
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return true;
    return reply.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

StatusNotifierItem::StatusNotifierItem(const QString &id, const QString &title, QObject *parent)
    : QObject(parent), m_connection(QString()), m_id(id), m_title(title)
{
    registerTypes();
    static std::atomic<int> instances{0};
    const int n = ++instances;
    m_connectionName = QStringLiteral("plvmonitor-item-%1").arg(n);
    // One connection per item: hosts find an item by bus name at the fixed path.
    m_connection = QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_connectionName);
    m_toolTip.title = title;
    new StatusNotifierItemAdaptor(this);
    new MonitorItemAdaptor(this);
    if (!m_connection.isConnected())
        return;
    const QString name = QStringLiteral("org.kde.StatusNotifierItem-%1-%2").arg(QCoreApplication::applicationPid()).arg(n);
    if (m_connection.registerService(name)
        && m_connection.registerObject(QStringLiteral("/StatusNotifierItem"), this, QDBusConnection::ExportAdaptors))
        m_serviceName = name;
}

StatusNotifierItem::~StatusNotifierItem()
{
    if (m_connection.isConnected()) {
        m_connection.unregisterObject(QStringLiteral("/StatusNotifierItem"));
        if (!m_serviceName.isEmpty())
            m_connection.unregisterService(m_serviceName);
    }
    QDBusConnection::disconnectFromBus(m_connectionName);
}

void StatusNotifierItem::registerWithWatcher()
{
    if (!isOnBus())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(QString::fromLatin1(watcherService), QString::fromLatin1(watcherPath),
                                                       QStringLiteral("org.kde.StatusNotifierWatcher"),
                                                       QStringLiteral("RegisterStatusNotifierItem"));
    call << m_serviceName;
    // Without waiting: a watcher that hangs must not stop the monitor.
    m_connection.asyncCall(call);
}

void StatusNotifierItem::setIcon(const QList<QImage> &images)
{
    SNIPixmapList pixmaps;
    for (const QImage &image : images)
        if (!image.isNull())
            pixmaps << SNIPixmap::fromImage(image);
    const bool same = pixmaps.size() == m_pixmaps.size()
                      && std::equal(pixmaps.cbegin(), pixmaps.cend(), m_pixmaps.cbegin(), [](const SNIPixmap &a, const SNIPixmap &b) {
                             return a.width == b.width && a.height == b.height && a.argb == b.argb;
                         });
    if (same)
        return;
    m_pixmaps = pixmaps;
    emit newIcon();
}

void StatusNotifierItem::setToolTip(const QString &title, const QString &description)
{
    if (m_toolTip.title == title && m_toolTip.description == description)
        return;
    m_toolTip.title = title;
    m_toolTip.description = description;
    emit newToolTip();
}

void StatusNotifierItem::setPanelOpen(bool open)
{
    m_panelOpen = open;
}

#include "StatusNotifierItem.moc"
