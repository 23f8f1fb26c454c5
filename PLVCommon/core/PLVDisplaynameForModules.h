#pragma once
#include <QHash>
#include <QString>

// Display names and three-letter short names of the modules, by bundle
// identifier, taken from each module bundle's "Localizable" table. One
// registry per process; it only grows. Main thread only: no lock.
class PLVDisplaynameForModules
{
public:
    static PLVDisplaynameForModules *displayname();

    // Looks the module's bundle up among the bundles this process knows; call
    // it after the bundle is opened. Registering again overwrites both names.
    void addDisplaynameForBundleIdentifier(const QString &bundleIdentifier);
    // Null when the module was never registered.
    QString displaynameForBundleIdentifier(const QString &bundleIdentifier) const;
    // "ukn" when the module was never registered.
    QString displayname3LettersNameForBundleIdentifier(const QString &bundleIdentifier) const;

    const QHash<QString, QString> &displaynameDictionary() const { return m_displaynameDictionary; }
    const QHash<QString, QString> &displaythreelettersnameDictionary() const
    {
        return m_displaythreelettersnameDictionary;
    }

private:
    PLVDisplaynameForModules() = default;

    QHash<QString, QString> m_displaynameDictionary;
    QHash<QString, QString> m_displaythreelettersnameDictionary;
};
