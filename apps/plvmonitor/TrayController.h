#pragma once
// The monitor in a desktop panel: one status item per shown module, each
// showing the picture of the module's status view and opening its panel, and
// a menu with the modules to show, the update interval, start at login and quit.
#include "ModuleFace.h"

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <memory>

class MonitorHost;
class ModulePanel;
class PLVColor;
class QDBusServiceWatcher;
class QMenu;
class QTextStream;
class StatusNotifierItem;

class TrayController : public QObject
{
    Q_OBJECT
public:
    TrayController(MonitorHost *host, QTextStream &err, QObject *parent = nullptr);
    ~TrayController() override;

    // Puts the items on the bus; says once when no tray is there to show them.
    void start();
    // Opens (or closes, when open) a module's panel next to a point on screen.
    void togglePanel(const QString &identifier, const QPoint &at);
    QStringList shownModules() const { return m_shown; }

    // The autostart entry: where it goes, and turning it on or off.
    static QString autostartPath();
    static bool setStartAtLogin(bool on);

private:
    void rebuildItems();
    void refresh();
    void showMenu(const QPoint &at);
    void watcherAppeared();

    MonitorHost *m_host;
    QTextStream &m_err;
    QStringList m_shown;
    QHash<QString, StatusNotifierItem *> m_items;
    QHash<QString, ModulePanel *> m_panels;
    QHash<QString, ModuleFace::PictureKey> m_pictureKeys; // what each item's picture was drawn from
    PLVColor *m_color = nullptr;       // the items' colours on the bar
    PLVColor *m_highlighted = nullptr; // and while their panel is open
    QDBusServiceWatcher *m_watcher = nullptr;
    QPointer<QMenu> m_menu;
    bool m_saidNoTray = false;
};
