#include "PLVCommon/desktop/PLVDesktopApps.h"

#include <QCoreApplication>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHash>
#include <QIcon>
#include <mutex>
#include <QPainter>
#include <QSet>
#include <QSvgRenderer>
#include <QThread>

#include <cstdlib>

namespace PLVDesktopApps {

namespace {

// A desktop entry or theme index: small text files; null when unreadable or
// larger than maxSize.
QByteArray readSmallFile(const QString &path, qint64 maxSize)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    QByteArray text = f.read(maxSize + 1);
    if (text.size() > maxSize || f.error() != QFileDevice::NoError)
        return {};
    return text.isNull() ? QByteArray("") : text;
}

// Programs that run someone else's code: an entry whose Exec starts with one of
// them says nothing about which process is the application.
bool isLauncher(const QString &program)
{
    static const QSet<QString> launchers = {
        QStringLiteral("sh"),      QStringLiteral("bash"),    QStringLiteral("dash"),   QStringLiteral("zsh"),
        QStringLiteral("env"),     QStringLiteral("flatpak"), QStringLiteral("snap"),   QStringLiteral("perl"),
        QStringLiteral("ruby"),    QStringLiteral("java"),    QStringLiteral("node"),   QStringLiteral("gjs"),
        QStringLiteral("mono"),    QStringLiteral("wine"),    QStringLiteral("xdg-open"), QStringLiteral("pkexec"),
        QStringLiteral("sudo"),    QStringLiteral("gio"),     QStringLiteral("exo-open"), QStringLiteral("kioclient5"),
    };
    if (launchers.contains(program))
        return true;
    return program.startsWith(QLatin1String("python"));
}

QString fileName(const QString &path)
{
    const qsizetype slash = path.lastIndexOf(QLatin1Char('/'));
    return slash >= 0 ? path.mid(slash + 1) : path;
}

// Unescapes \s \n \t \r \\ in a desktop-entry value.
QString unescapeValue(const QString &raw)
{
    QString out;
    out.reserve(raw.size());
    for (qsizetype i = 0; i < raw.size(); ++i) {
        const QChar c = raw.at(i);
        if (c != QLatin1Char('\\') || i + 1 >= raw.size()) {
            out.append(c);
            continue;
        }
        const QChar n = raw.at(++i);
        switch (n.unicode()) {
        case 's': out.append(QLatin1Char(' ')); break;
        case 'n': out.append(QLatin1Char('\n')); break;
        case 't': out.append(QLatin1Char('\t')); break;
        case 'r': out.append(QLatin1Char('\r')); break;
        default: out.append(n); break;
        }
    }
    return out;
}

// The program an Exec line runs, after "env VAR=value ..." prefixes.
QString programOf(const QStringList &exec)
{
    qsizetype i = 0;
    if (i < exec.size() && fileName(exec.at(i)) == QLatin1String("env")) {
        ++i;
        while (i < exec.size() && (exec.at(i).contains(QLatin1Char('=')) || exec.at(i).startsWith(QLatin1Char('-'))))
            ++i;
    }
    return i < exec.size() ? exec.at(i) : QString();
}

QString resolveProgram(const QString &program)
{
    if (program.isEmpty() || program.startsWith(QLatin1Char('/')))
        return program;
    const QByteArray path = qgetenv("PATH");
    for (const QByteArray &dir : path.split(':')) {
        if (dir.isEmpty())
            continue;
        const QString candidate = QFile::decodeName(dir) + QLatin1Char('/') + program;
        if (QFileInfo(candidate).isExecutable())
            return candidate;
    }
    return program;
}

QString canonical(const QString &path)
{
    const QString c = QFileInfo(path).canonicalFilePath();
    return c.isEmpty() ? path : c;
}

struct EntryCache {
    std::mutex mutex;
    QStringList key; // the applications folders with their modification times
    QList<Entry> entries;
    QHash<QString, QImage> icons;
};

EntryCache &cache()
{
    static EntryCache *c = new EntryCache; // lives for the process
    return *c;
}

QStringList cacheKey(const QStringList &appDirs)
{
    QStringList key;
    for (const QString &dir : appDirs) {
        QFileInfo fi(dir);
        key << dir + QLatin1Char('@')
                   + (fi.exists() ? QString::number(fi.lastModified().toMSecsSinceEpoch()) : QStringLiteral("-"));
        // Entries often live one folder down (applications/kde4/...).
        QDirIterator sub(dir, QDir::Dirs | QDir::NoDotAndDotDot);
        while (sub.hasNext()) {
            sub.next();
            key << sub.filePath() + QLatin1Char('@') + QString::number(sub.fileInfo().lastModified().toMSecsSinceEpoch());
        }
    }
    return key;
}

QList<Entry> loadEntries(const QStringList &appDirs)
{
    QList<Entry> out;
    QSet<QString> seen;
    for (const QString &dir : appDirs) {
        QDirIterator it(dir, {QStringLiteral("*.desktop")}, QDir::Files, QDirIterator::Subdirectories);
        QStringList files;
        while (it.hasNext())
            files << it.next();
        files.sort();
        for (const QString &file : files) {
            QString id = file.mid(dir.size() + 1);
            id.chop(8); // ".desktop"
            id.replace(QLatin1Char('/'), QLatin1Char('-'));
            if (seen.contains(id))
                continue;
            seen.insert(id); // a hidden entry still hides the same id further down
            if (auto entry = parseEntry(file, id))
                out.append(*entry);
        }
    }
    return out;
}

// --- icon themes -----------------------------------------------------------

struct ThemeDir {
    QString path;       // relative to the theme folder
    int size = 0;       // pixels at scale 1
    int scale = 1;
    bool scalable = false;
};

struct Theme {
    QList<ThemeDir> dirs;
    QStringList inherits;
    bool found = false;
};

// Minimal reader of index.theme: the groups named in Directories with Size, Scale, Type.
Theme readTheme(const QString &name, const QStringList &bases)
{
    Theme theme;
    for (const QString &base : bases) {
        const QByteArray text = readSmallFile(base + QLatin1Char('/') + name + QStringLiteral("/index.theme"), 1 << 20);
        if (text.isNull())
            continue;
        theme.found = true;
        QHash<QString, QHash<QString, QString>> groups;
        QString group;
        for (const QByteArray &rawLine : text.split('\n')) {
            const QString line = QString::fromUtf8(rawLine).trimmed();
            if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
                continue;
            if (line.startsWith(QLatin1Char('[')) && line.endsWith(QLatin1Char(']'))) {
                group = line.mid(1, line.size() - 2);
                continue;
            }
            const qsizetype eq = line.indexOf(QLatin1Char('='));
            if (eq > 0)
                groups[group].insert(line.left(eq).trimmed(), line.mid(eq + 1).trimmed());
        }
        const auto &head = groups.value(QStringLiteral("Icon Theme"));
        theme.inherits = head.value(QStringLiteral("Inherits")).split(QLatin1Char(','), Qt::SkipEmptyParts);
        QStringList dirs = head.value(QStringLiteral("Directories")).split(QLatin1Char(','), Qt::SkipEmptyParts);
        dirs += head.value(QStringLiteral("ScaledDirectories")).split(QLatin1Char(','), Qt::SkipEmptyParts);
        for (const QString &d : dirs) {
            const auto &g = groups.value(d.trimmed());
            ThemeDir td;
            td.path = d.trimmed();
            td.size = g.value(QStringLiteral("Size")).toInt();
            td.scale = qMax(1, g.value(QStringLiteral("Scale"), QStringLiteral("1")).toInt());
            td.scalable = g.value(QStringLiteral("Type")) == QLatin1String("Scalable");
            if (td.size > 0)
                theme.dirs.append(td);
        }
        break; // the first index.theme of a theme describes it
    }
    return theme;
}

QImage loadImage(const QString &path, int size)
{
    if (path.endsWith(QLatin1String(".svg"), Qt::CaseInsensitive)
        || path.endsWith(QLatin1String(".svgz"), Qt::CaseInsensitive)) {
        QSvgRenderer renderer(path);
        if (!renderer.isValid())
            return {};
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        renderer.render(&painter, QRectF(0, 0, size, size));
        return image;
    }
    QImage image(path);
    return image;
}

// The current icon theme, as the platform theme reports it on the GUI thread;
// worker threads use the last name seen there.
QString currentThemeName()
{
    static std::mutex mutex;
    static QString last;
    std::lock_guard lock(mutex);
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance())
        && QThread::currentThread() == QCoreApplication::instance()->thread())
        last = QIcon::themeName();
    return last;
}

QImage lookupThemed(const QString &name, int size)
{
    QStringList bases;
    QStringList pixmapDirs;
    if (!qEnvironmentVariableIsEmpty("HOME"))
        bases << QDir::homePath() + QStringLiteral("/.icons");
    for (const QString &data : dataDirs()) {
        bases << data + QStringLiteral("/icons");
        pixmapDirs << data + QStringLiteral("/pixmaps");
    }

    QStringList chain;
    QStringList pending;
    const QString current = currentThemeName();
    if (!current.isEmpty())
        pending << current;
    pending << QStringLiteral("hicolor");
    static const QStringList extensions = {QStringLiteral(".png"), QStringLiteral(".svg"), QStringLiteral(".xpm")};
    while (!pending.isEmpty()) {
        const QString themeName = pending.takeFirst();
        if (chain.contains(themeName) || chain.size() > 8)
            continue;
        chain << themeName;
        const Theme theme = readTheme(themeName, bases);
        if (!theme.found)
            continue;
        // hicolor is looked at last, whatever the inheritance says.
        for (const QString &parent : theme.inherits)
            if (parent != QLatin1String("hicolor"))
                pending.prepend(parent);

        QStringList roots; // the data dirs that hold this theme
        for (const QString &base : bases)
            if (QFileInfo(base + QLatin1Char('/') + themeName).isDir())
                roots << base;
        QString best;
        double bestScore = 1e9;
        for (const ThemeDir &dir : theme.dirs) {
            for (const QString &base : roots) {
                for (const QString &ext : extensions) {
                    const QString path =
                        base + QLatin1Char('/') + themeName + QLatin1Char('/') + dir.path + QLatin1Char('/') + name + ext;
                    if (!QFileInfo::exists(path))
                        continue;
                    const int pixels = dir.size * dir.scale;
                    double score;
                    if (pixels == size)
                        score = 0; // drawn for this size
                    else if (dir.scalable || ext == QLatin1String(".svg"))
                        score = 1; // drawn at any size
                    else if (pixels > size)
                        score = 2 + (pixels - size) / 1000.0; // scaled down: still sharp
                    else
                        score = 3 + (size - pixels) / 1000.0;
                    if (score < bestScore) {
                        bestScore = score;
                        best = path;
                    }
                }
            }
        }
        if (!best.isEmpty()) {
            const QImage image = loadImage(best, size);
            if (!image.isNull())
                return image;
        }
    }
    for (const QString &dir : pixmapDirs) {
        for (const QString &ext : extensions) {
            const QString path = dir + QLatin1Char('/') + name + ext;
            if (QFileInfo::exists(path)) {
                const QImage image = loadImage(path, size);
                if (!image.isNull())
                    return image;
            }
        }
    }
    return {};
}

} // namespace

QStringList dataDirs()
{
    QStringList dirs;
    QString home = qEnvironmentVariable("XDG_DATA_HOME");
    if (home.isEmpty())
        home = QDir::homePath() + QStringLiteral("/.local/share");
    dirs << home;
    QString rest = qEnvironmentVariable("XDG_DATA_DIRS");
    if (rest.isEmpty())
        rest = QStringLiteral("/usr/local/share:/usr/share");
    for (const QString &d : rest.split(QLatin1Char(':'), Qt::SkipEmptyParts)) {
        QString dir = d;
        while (dir.size() > 1 && dir.endsWith(QLatin1Char('/')))
            dir.chop(1);
        if (!dirs.contains(dir))
            dirs << dir;
    }
    return dirs;
}

QStringList splitExec(const QString &exec)
{
    QStringList args;
    QString current;
    bool inQuotes = false;
    bool hasToken = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec.at(i);
        if (inQuotes) {
            if (c == QLatin1Char('\\') && i + 1 < exec.size()) {
                current.append(exec.at(++i));
            } else if (c == QLatin1Char('"')) {
                inQuotes = false;
            } else {
                current.append(c);
            }
            continue;
        }
        if (c == QLatin1Char('"')) {
            inQuotes = true;
            hasToken = true;
        } else if (c == QLatin1Char(' ') || c == QLatin1Char('\t')) {
            if (hasToken)
                args << current;
            current.clear();
            hasToken = false;
        } else if (c == QLatin1Char('%') && i + 1 < exec.size()) {
            // Field codes stand for arguments the launcher adds; "%%" is a percent sign.
            const QChar code = exec.at(++i);
            if (code == QLatin1Char('%')) {
                current.append(code);
                hasToken = true;
            }
        } else {
            current.append(c);
            hasToken = true;
        }
    }
    if (hasToken)
        args << current;
    return args;
}

std::optional<Entry> parseEntry(const QString &path, const QString &id)
{
    const QByteArray text = readSmallFile(path, 1 << 20);
    if (text.isNull())
        return std::nullopt;
    Entry entry;
    entry.id = id;
    entry.path = path;
    bool inMain = false;
    QString type;
    bool hidden = false;
    for (const QByteArray &rawLine : text.split('\n')) {
        const QString line = QString::fromUtf8(rawLine).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            inMain = line == QLatin1String("[Desktop Entry]");
            continue;
        }
        if (!inMain)
            continue;
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (eq <= 0)
            continue;
        const QString key = line.left(eq).trimmed();
        const QString value = line.mid(eq + 1).trimmed();
        if (key == QLatin1String("Type"))
            type = value;
        else if (key == QLatin1String("Name"))
            entry.name = unescapeValue(value);
        else if (key == QLatin1String("Icon"))
            entry.icon = unescapeValue(value);
        else if (key == QLatin1String("Exec"))
            entry.exec = splitExec(unescapeValue(value));
        else if (key == QLatin1String("TryExec"))
            entry.tryExec = unescapeValue(value);
        else if (key == QLatin1String("StartupWMClass"))
            entry.startupWMClass = unescapeValue(value);
        else if (key == QLatin1String("DBusActivatable"))
            entry.dbusActivatable = value == QLatin1String("true");
        else if (key == QLatin1String("Hidden"))
            hidden = value == QLatin1String("true");
    }
    if (hidden || type != QLatin1String("Application"))
        return std::nullopt;
    return entry;
}

QList<Entry> entries()
{
    QStringList appDirs;
    for (const QString &d : dataDirs())
        appDirs << d + QStringLiteral("/applications");
    const QStringList key = cacheKey(appDirs);
    EntryCache &c = cache();
    std::lock_guard lock(c.mutex);
    if (c.key != key) {
        c.entries = loadEntries(appDirs);
        c.key = key;
        c.icons.clear();
    }
    return c.entries;
}

std::optional<Entry> entryForProcess(const ProcessIdentity &process)
{
    const QString exePath = QFile::decodeName(process.executable);
    const QString exeName = fileName(exePath);
    const QString comm = QString::fromUtf8(process.commandName);
    const QString argv0Name = fileName(QFile::decodeName(process.argv0));
    QStringList names;
    for (const QString &n : {exeName, argv0Name, comm})
        if (!n.isEmpty() && !names.contains(n))
            names << n;
    if (names.isEmpty())
        return std::nullopt;

    const QList<Entry> all = entries();
    const QString exeCanonical = exePath.isEmpty() ? QString() : canonical(exePath);

    // 1. The entry runs exactly this executable.
    if (!exePath.isEmpty()) {
        for (const Entry &e : all) {
            for (const QString &program : {programOf(e.exec), e.tryExec}) {
                if (program.isEmpty() || isLauncher(fileName(program)))
                    continue;
                const QString resolved = resolveProgram(program);
                if (resolved == exePath || canonical(resolved) == exeCanonical)
                    return e;
            }
        }
    }
    // 2. Same program name.
    for (const Entry &e : all) {
        for (const QString &program : {programOf(e.exec), e.tryExec}) {
            const QString name = fileName(program);
            if (!name.isEmpty() && !isLauncher(name) && names.contains(name))
                return e;
        }
    }
    // 3. The window class the application announces (often its name, capitalised).
    for (const Entry &e : all) {
        if (e.startupWMClass.isEmpty())
            continue;
        for (const QString &n : names)
            if (e.startupWMClass.compare(n, Qt::CaseInsensitive) == 0)
                return e;
    }
    // 4. The entry is named after the program: "firefox-esr", "org.gnome.Calculator".
    for (const Entry &e : all) {
        const QString last = e.id.section(QLatin1Char('.'), -1);
        for (const QString &n : names)
            if (e.id.compare(n, Qt::CaseInsensitive) == 0 || last.compare(n, Qt::CaseInsensitive) == 0)
                return e;
    }
    return std::nullopt;
}

QImage iconImage(const QString &icon, int size)
{
    if (icon.isEmpty() || size <= 0)
        return {};
    if (icon.startsWith(QLatin1Char('/')))
        return loadImage(icon, size);
    const QString cacheName = icon + QLatin1Char('@') + QString::number(size);
    EntryCache &c = cache();
    {
        std::lock_guard lock(c.mutex);
        const auto it = c.icons.constFind(cacheName);
        if (it != c.icons.cend())
            return it.value();
    }
    QString name = icon;
    // Some entries name the file ("app.png") instead of the icon.
    for (const char *ext : {".png", ".svg", ".xpm"})
        if (name.endsWith(QLatin1String(ext)))
            name.chop(4);
    const QImage image = lookupThemed(name, size);
    std::lock_guard lock(c.mutex);
    c.icons.insert(cacheName, image);
    return image;
}

} // namespace PLVDesktopApps
