#include "PLVModuleIdentifiers.h"

QString PLVShortNameKeyForBundleIdentifier(const QString &bundleIdentifier)
{
    for (const PLVModuleIdentifier &row : kPLVModuleIdentifiers)
        if (bundleIdentifier == QLatin1String(row.bundleIdentifier))
            return QString::fromLatin1(row.shortNameKey);
    return QString::fromLatin1(kPLVUnknownShortNameKey);
}
