#pragma once
// Which modules the monitor shows, and in what order, kept in the group
// settings so that the widget host and later runs see the same choice:
// "plvStatusItemsOrder" lists the shown modules in order, "plvStatusItemsHidden"
// the hidden ones. A loaded module in neither list is new and is shown last.
#include <QStringList>

class ShownModules
{
public:
    static QStringList shown(const QStringList &loaded);
    static void setShown(const QStringList &shownInOrder, const QStringList &loaded);
    // Shows or hides one module, keeping the order of the others.
    static void setVisible(const QString &identifier, bool visible, const QStringList &loaded);
    // Modules named by short name ("cpu") or identifier, in the order given;
    // unknown names go to `unknown`.
    static QStringList named(const QStringList &names, const QStringList &loaded, QStringList *unknown);
};
