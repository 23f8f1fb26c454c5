#include "PLVForwardingViewController.h"

#include "PLVCommon/core/PLVTextViews.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QLabel>

PLV_REGISTER_CLASS(PLVForwardingViewController)

PLVForwardingViewController::PLVForwardingViewController(QObject *parent) : PLVGenericViewController(parent) {}

QString PLVForwardingViewController::moduleLoc(const QString &key) const
{
    const PLVBundle *bundle = PLVBundle::bundleWithIdentifier(bundleIdentifier());
    return bundle ? bundle->localizedString(key, QStringLiteral("")) : key;
}

void PLVForwardingViewController::awakeFromNib()
{
    PLVGenericViewController::awakeFromNib();
    QWidget *root = view();
    if (!root)
        return;
    for (QWidget *w : root->findChildren<QWidget *>()) {
        if (PLVTextLines *text = PLVTextLines::of(w)) {
            text->title = moduleLoc(text->title);
            for (QString &label : text->textLabels)
                label = moduleLoc(label);
        } else if (auto *label = qobject_cast<QLabel *>(w)) {
            label->setText(moduleLoc(label->text())); // the captions of graphs and bars
        }
    }
}

void PLVForwardingViewController::updateViews()
{
    const bool widget = isTodayExtention();
    const QList<PLVGenericStatusbarCompactExpandedView *> panels =
        widget ? QList<PLVGenericStatusbarCompactExpandedView *>{statusbarTodayExpandedview(), statusbarTodayCompactview(),
                                                                 statusbarTodayMiniview(), statusbarTodayMiniTop5view()}
               : QList<PLVGenericStatusbarCompactExpandedView *>{statusbarcompactview(), statusbarExpandedview()};
    if (!widget && statusbarview())
        statusbarview()->updateView();
    for (PLVGenericStatusbarCompactExpandedView *view : panels)
        if (view)
            view->updateView();
}
