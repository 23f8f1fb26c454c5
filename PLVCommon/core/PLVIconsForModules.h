#pragma once
#include <QHash>
#include <QImage>
#include <QString>

// Module icons by bundle identifier, loaded from each module bundle's
// resources. One registry per process; it only grows. Main thread only.
class PLVIconsForModules
{
public:
    static PLVIconsForModules *icons();

    // Registers the module's icon; when the bundle, its key or the file is
    // missing or unreadable, the action-template image instead.
    void addIconForBundleIdentifier(const QString &bundleIdentifier);
    // Null when the module was never registered.
    QImage iconForBundleIdentifier(const QString &bundleIdentifier) const;

    const QHash<QString, QImage> &iconsDictionary() const { return m_iconsDictionary; }

    // The desktop's "action" icon when the icon theme has one, else the
    // framework's own image; never null.
    static QImage actionTemplateImage();
    // The framework's own action image (used when the theme has none).
    static QImage frameworkActionTemplateImage();

private:
    PLVIconsForModules() = default;

    QHash<QString, QImage> m_iconsDictionary;
};
