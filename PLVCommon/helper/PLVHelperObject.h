#pragma once
#include <QObject>
#include <QString>
#include <QUrl>
#include <QVariantList>

// Whether the privileged helper is installed, recent enough and running.
//
// The helper is a systemd service whose unit name contains helperIdentifier();
// its "installer application" is the desktop entry installed with it, looked up
// by installerBundleIdentifier() in the XDG data folders, and the entry's
// "X-PLV-Bundle-Version" is the installed helper's version. The job list is
// that of the user's systemd manager followed by the system's.
//
// Every query is synchronous and may be called from any thread.
class PLVHelperObject : public QObject
{
    Q_OBJECT
public:
    static constexpr qint64 kMinimumHelperVersion = 20190630;

    static QString helperIdentifier();
    static QString installerBundleIdentifier();
    // Where the user gets the helper: the configured download page, else the
    // helper's documentation among the framework's resources.
    static QUrl downloadPageURL();

    // The installer's desktop entry as a file URL; empty when not installed
    // (no entry, a hidden one, or one whose TryExec program is missing).
    static QUrl urlToHelperInstaller();
    static bool isHelperDownloaded();
    // The installer's version text; null when any step fails.
    static QString bundleVersionHelper();
    static bool isHelperUpToDate();

    static QVariantList getJobsDicts();
    // The "PID" of the first job whose "Label" contains `label` (0 when it has
    // none: loaded, not running); -1 when no label contains it.
    static qint32 pidOfAppPresentInLaunchDForBundleID(const QString &label);
    static bool isHelperRunning();

    // Parsing, exposed for the tests.
    // The "X-PLV-Bundle-Version" of a desktop entry's main group; null when absent.
    static QString bundleVersionInDesktopEntry(const QByteArray &text);
    // The leading integer of a text, as a numeric text's integer value is read:
    // blanks, a sign, digits; 0 when there is none; clamped to 64 bits.
    static qint64 integerValue(const QString &text);
    // The job search over a given list.
    static qint32 pidInJobs(const QVariantList &jobs, const QString &label);
};
