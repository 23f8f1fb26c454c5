#pragma once
#include <QByteArray>
#include <QImage>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// Desktop applications as freedesktop.org defines them: desktop entries
// in <data dir>/applications for every XDG data dir ($XDG_DATA_HOME first, then
// $XDG_DATA_DIRS), and their icons in the icon themes under <data dir>/icons
// and in <data dir>/pixmaps.
namespace PLVDesktopApps {

struct Entry {
    QString id;             // "org.example.App" for .../applications/org.example.App.desktop
    QString path;
    QString name;
    QString icon;           // theme icon name or absolute path
    QStringList exec;       // Exec split into arguments, field codes removed
    QString tryExec;
    QString startupWMClass;
    bool dbusActivatable = false;
};

// What identifies a running process to the matcher.
struct ProcessIdentity {
    QByteArray executable;  // /proc/PID/exe target, may be empty
    QByteArray commandName; // the kernel's short name
    QByteArray argv0;       // first word of /proc/PID/cmdline, may be empty
};

// XDG_DATA_HOME (default ~/.local/share), then XDG_DATA_DIRS (default /usr/local/share:/usr/share).
QStringList dataDirs();

// Every visible application entry, each id once (the first data dir wins;
// Hidden=true hides the id). Cached until an applications folder changes.
QList<Entry> entries();

// The entry that launches the process, by confidence: the executable's path
// equals the entry's program or TryExec; their file names agree; StartupWMClass
// names the process; the entry's id is the process's name.
std::optional<Entry> entryForProcess(const ProcessIdentity &process);

// The icon named in an entry at about `size` pixels: an absolute path is read
// as it is; a name is looked up in the current icon theme, the themes it
// inherits, "hicolor", then the pixmaps folders. Null when nothing is found.
QImage iconImage(const QString &icon, int size = 64);

// Parsing, exposed for the tests.
std::optional<Entry> parseEntry(const QString &path, const QString &id);
QStringList splitExec(const QString &exec);

} // namespace PLVDesktopApps
