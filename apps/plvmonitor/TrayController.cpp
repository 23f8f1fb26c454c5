#include "TrayController.h"

#include "ModuleFace.h"
#include "ModulePanel.h"
#include "MonitorHost.h"
#include "ShownModules.h"
#include "StatusNotifierItem.h"

#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"

#include <QActionGroup>
#include <QApplication>
#include <QCursor>
#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMenu>
#include <QSaveFile>
#include <QStandardPaths>
#include <QTextStream>

TrayController::TrayController(MonitorHost *host, QTextStream &err, QObject *parent)
    : QObject(parent), m_host(host), m_err(err)
{
    m_color = new PLVColor(this);
    m_highlighted = new PLVColor(this);
    m_highlighted->setStatusItemBackgroundStyle(1);
}

TrayController::~TrayController()
{
    qDeleteAll(m_panels);
    qDeleteAll(m_items);
    delete m_menu;
}

void TrayController::start()
{
    StatusNotifierItem::registerTypes();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected()) {
        // A tray started (or restarted) after the monitor gets the items too.
        m_watcher = new QDBusServiceWatcher(QString::fromLatin1(StatusNotifierItem::watcherService), bus,
                                            QDBusServiceWatcher::WatchForRegistration, this);
        connect(m_watcher, &QDBusServiceWatcher::serviceRegistered, this, &TrayController::watcherAppeared);
    }
    if (!StatusNotifierItem::trayHostAvailable()) {
        m_err << "plvmonitor: no system tray on the session bus (no StatusNotifierWatcher with a host); "
                 "running on, for a tray that starts later and for plvmonitor --bar" << Qt::endl;
        m_saidNoTray = true;
    }
    rebuildItems();
    connect(m_host, &MonitorHost::updated, this, &TrayController::refresh);
}

void TrayController::watcherAppeared()
{
    for (const QString &id : std::as_const(m_shown))
        if (StatusNotifierItem *item = m_items.value(id))
            item->registerWithWatcher();
}

void TrayController::rebuildItems()
{
    // Hosts list items in the order they registered: a new order means new items.
    qDeleteAll(m_items);
    m_items.clear();
    m_pictureKeys.clear();
    const QStringList loaded = m_host->moduleIdentifiers();
    m_shown = ShownModules::shown(loaded);
    for (const QString &id : std::as_const(m_shown)) {
        const ModuleFace face = ModuleFace::of(id, m_host->controller(id));
        auto *item = new StatusNotifierItem(QStringLiteral("plvmonitor-") + face.shortName, face.name, this);
        connect(item, &StatusNotifierItem::activated, this, [this, id](const QPoint &at) { togglePanel(id, at); });
        connect(item, &StatusNotifierItem::contextMenuRequested, this, &TrayController::showMenu);
        m_items.insert(id, item);
    }
    refresh();
    for (const QString &id : std::as_const(m_shown))
        m_items.value(id)->registerWithWatcher();
}

void TrayController::refresh()
{
    for (auto it = m_items.cbegin(); it != m_items.cend(); ++it) {
        PLVGenericModuleController *controller = m_host->controller(it.key());
        if (!controller)
            continue;
        const ModuleFace face = ModuleFace::of(it.key(), controller);
        QWidget *view = controller->statusbarView();
        // An item whose panel is open takes the highlighted look, as a menu's title does.
        const ModulePanel *panel = m_panels.value(it.key());
        const bool open = panel && panel->isVisible();
        const QColor textColor = open ? m_highlighted->statusLabelColor() : m_color->statusLabelColor();
        const QColor highlight = open ? PLVPlatformColors::colorNamed(QStringLiteral("selectedMenuItemColor"), PLVPlatformColors::isDark())
                                      : QColor();
        // A picture drawn from the same text in the same look is the same picture.
        const auto key = ModuleFace::pictureKey(view, textColor, highlight);
        const auto drawn = m_pictureKeys.constFind(it.key());
        if (!key || drawn == m_pictureKeys.cend() || !(*key == *drawn)) {
            // Both scales: hosts pick the one nearest their icon size.
            QList<QImage> images;
            if (view)
                images = {ModuleFace::render(view, 1, textColor, highlight), ModuleFace::render(view, 2, textColor, highlight)};
            it.value()->setIcon(images);
            if (key)
                m_pictureKeys.insert(it.key(), *key);
            else
                m_pictureKeys.remove(it.key());
        }
        QStringList lines = face.tooltip.split(QLatin1Char('\n'));
        if (!lines.isEmpty())
            lines.removeFirst();
        it.value()->setToolTip(face.name, lines.join(QLatin1Char('\n')).toHtmlEscaped());
    }
}

void TrayController::togglePanel(const QString &identifier, const QPoint &at)
{
    PLVGenericModuleController *controller = m_host->controller(identifier);
    if (!controller)
        return;
    ModulePanel *panel = m_panels.value(identifier);
    if (!panel) {
        panel = new ModulePanel(ModuleFace::of(identifier, controller).name, controller);
        connect(panel, &ModulePanel::openChanged, this, [this, identifier](bool open) {
            if (StatusNotifierItem *item = m_items.value(identifier))
                item->setPanelOpen(open);
            refresh();
        });
        m_panels.insert(identifier, panel);
    }
    if (panel->isVisible()) {
        panel->hide();
        return;
    }
    // Hosts that do not know where the click was send (0, 0): open by the pointer.
    panel->popupAt(at.isNull() ? QCursor::pos() : at);
    // An open panel wants fresh values now, not at the next tick.
    PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("TCWindowDidOpen"));
}

void TrayController::showMenu(const QPoint &at)
{
    delete m_menu;
    m_menu = new QMenu;
    m_menu->setAttribute(Qt::WA_DeleteOnClose);
    const QStringList loaded = m_host->moduleIdentifiers();

    QMenu *modules = m_menu->addMenu(tr("Modules"));
    for (const QString &id : loaded) {
        QAction *action = modules->addAction(ModuleFace::of(id, m_host->controller(id)).name);
        action->setCheckable(true);
        action->setChecked(m_shown.contains(id));
        connect(action, &QAction::toggled, this, [this, id, loaded](bool on) {
            ShownModules::setVisible(id, on, loaded);
            // Rebuilding deletes the item whose menu this is: after the menu has gone.
            QMetaObject::invokeMethod(this, &TrayController::rebuildItems, Qt::QueuedConnection);
        });
    }

    QMenu *interval = m_menu->addMenu(tr("Update interval"));
    auto *group = new QActionGroup(interval);
    const double current = UserDefaultsExtras::getValueFromThePrefDico(QStringLiteral("plvSlideInterval")).toDouble();
    for (const double seconds : {1.0, 2.0, 5.0, 10.0}) {
        QAction *action = interval->addAction(tr("%n second(s)", nullptr, int(seconds)));
        action->setCheckable(true);
        action->setChecked(current == seconds || (current <= 0 && seconds == 2.0));
        group->addAction(action);
        connect(action, &QAction::triggered, this, [seconds] {
            UserDefaultsExtras::updateThePrefDicoWithDouble(seconds, QStringLiteral("plvSlideInterval"));
            PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("PLVUpdateTimerValue"));
        });
    }

    QAction *login = m_menu->addAction(tr("Start at login"));
    login->setCheckable(true);
    login->setChecked(QFileInfo::exists(autostartPath()));
    connect(login, &QAction::toggled, this, [](bool on) { setStartAtLogin(on); });

    m_menu->addSeparator();
    connect(m_menu->addAction(tr("Quit")), &QAction::triggered, qApp, &QCoreApplication::quit, Qt::QueuedConnection);
    m_menu->popup(at.isNull() ? QCursor::pos() : at);
}

QString TrayController::autostartPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/autostart/plvmonitor.desktop");
}

bool TrayController::setStartAtLogin(bool on)
{
    const QString path = autostartPath();
    if (!on)
        return !QFileInfo::exists(path) || QFile::remove(path);
    if (!QDir().mkpath(QFileInfo(path).absolutePath()))
        return false;
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    // The installed entry, else the same keys; Exec names the program that runs
    // now, wherever it was installed.
    QString exec = QCoreApplication::applicationFilePath();
    exec.replace(QLatin1Char('\\'), QStringLiteral("\\\\")).replace(QLatin1Char('"'), QStringLiteral("\\\""));
    exec.replace(QLatin1Char('%'), QStringLiteral("%%"));
    QFile installed(QCoreApplication::applicationDirPath() + QStringLiteral("/../share/PLVCommon/autostart/plvmonitor.desktop"));
    QStringList lines;
    if (installed.open(QIODevice::ReadOnly))
        lines = QString::fromUtf8(installed.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (lines.isEmpty())
        lines = QStringList{QStringLiteral("[Desktop Entry]"), QStringLiteral("Type=Application"),
                            QStringLiteral("Name=PLV Monitor"), QStringLiteral("Icon=plvmonitor"),
                            QStringLiteral("Terminal=false"), QStringLiteral("Exec=plvmonitor")};
    for (QString &line : lines)
        if (line.startsWith(QLatin1String("Exec=")))
            line = QStringLiteral("Exec=\"%1\"").arg(exec);
    file.write(lines.join(QLatin1Char('\n')).toUtf8() + '\n');
    return file.commit();
}
