#include "PLVDisplaynameForModules.h"

#include "PLVCommon/platform/PLVBundle.h"
#include "PLVModuleIdentifiers.h"

PLVDisplaynameForModules *PLVDisplaynameForModules::displayname()
{
    static PLVDisplaynameForModules *registry = new PLVDisplaynameForModules;
    return registry;
}

void PLVDisplaynameForModules::addDisplaynameForBundleIdentifier(const QString &bundleIdentifier)
{
    if (bundleIdentifier.isNull())
        return;
    PLVBundle *bundle = PLVBundle::bundleWithIdentifier(bundleIdentifier);

    // A bundle without the key gives the empty string, as does a missing bundle.
    QString name;
    if (bundle) {
        const QString key = bundle->objectForInfoDictionaryKey(QLatin1String(kPLVBundleDisplayName)).toString();
        name = bundle->localizedString(key.isEmpty() ? QString() : key, QStringLiteral(""));
    }
    m_displaynameDictionary.insert(bundleIdentifier, name.isEmpty() ? QStringLiteral("Unknown") : name);

    // The short name is translated by the module itself; without its bundle
    // there is none, and lookups answer "ukn".
    if (bundle)
        m_displaythreelettersnameDictionary.insert(
            bundleIdentifier, bundle->localizedString(PLVShortNameKeyForBundleIdentifier(bundleIdentifier),
                                                      QStringLiteral("")));
    else
        m_displaythreelettersnameDictionary.remove(bundleIdentifier);
}

QString PLVDisplaynameForModules::displaynameForBundleIdentifier(const QString &bundleIdentifier) const
{
    return m_displaynameDictionary.value(bundleIdentifier);
}

QString PLVDisplaynameForModules::displayname3LettersNameForBundleIdentifier(const QString &bundleIdentifier) const
{
    const auto it = m_displaythreelettersnameDictionary.constFind(bundleIdentifier);
    return it == m_displaythreelettersnameDictionary.cend() ? QString::fromLatin1(kPLVUnknownShortNameKey) : it.value();
}
