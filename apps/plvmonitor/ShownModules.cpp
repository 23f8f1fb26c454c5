#include "ShownModules.h"

#include "PLVCommon/core/PLVDisplaynameForModules.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"

namespace {
const QString orderKey = QStringLiteral("plvStatusItemsOrder");
const QString hiddenKey = QStringLiteral("plvStatusItemsHidden");
} // namespace

QStringList ShownModules::shown(const QStringList &loaded)
{
    const QStringList order = UserDefaultsExtras::getValueFromThePrefDico(orderKey).toStringList();
    const QStringList hidden = UserDefaultsExtras::getValueFromThePrefDico(hiddenKey).toStringList();
    QStringList out;
    for (const QString &id : order)
        if (loaded.contains(id) && !out.contains(id) && !hidden.contains(id))
            out << id;
    for (const QString &id : loaded)
        if (!out.contains(id) && !hidden.contains(id) && !order.contains(id))
            out << id;
    return out;
}

void ShownModules::setShown(const QStringList &shownInOrder, const QStringList &loaded)
{
    QStringList hidden = UserDefaultsExtras::getValueFromThePrefDico(hiddenKey).toStringList();
    // Modules not loaded in this run keep their place in the hidden list.
    hidden.removeIf([&](const QString &id) { return loaded.contains(id) || shownInOrder.contains(id); });
    for (const QString &id : loaded)
        if (!shownInOrder.contains(id))
            hidden << id;
    UserDefaultsExtras::updateThePrefArrayWithObject(QVariantList(shownInOrder.cbegin(), shownInOrder.cend()), orderKey);
    UserDefaultsExtras::updateThePrefArrayWithObject(QVariantList(hidden.cbegin(), hidden.cend()), hiddenKey);
}

void ShownModules::setVisible(const QString &identifier, bool visible, const QStringList &loaded)
{
    QStringList list = shown(loaded);
    if (visible && !list.contains(identifier)) {
        // Back at its place among the loaded modules.
        const qsizetype at = loaded.indexOf(identifier);
        qsizetype pos = 0;
        while (pos < list.size() && loaded.indexOf(list[pos]) < at)
            ++pos;
        list.insert(pos, identifier);
    } else if (!visible) {
        list.removeAll(identifier);
    }
    setShown(list, loaded);
}

QStringList ShownModules::named(const QStringList &names, const QStringList &loaded, QStringList *unknown)
{
    QStringList out;
    auto *registry = PLVDisplaynameForModules::displayname();
    for (const QString &raw : names) {
        const QString name = raw.trimmed();
        if (name.isEmpty())
            continue;
        QString found;
        for (const QString &id : loaded)
            if (id == name
                || registry->displayname3LettersNameForBundleIdentifier(id).compare(name, Qt::CaseInsensitive) == 0)
                found = id;
        if (found.isEmpty()) {
            if (unknown)
                *unknown << name;
        } else if (!out.contains(found)) {
            out << found;
        }
    }
    return out;
}
