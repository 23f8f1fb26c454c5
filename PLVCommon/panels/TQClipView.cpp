#include "TQClipView.h"

#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QAbstractScrollArea>
#include <QScrollBar>

PLV_REGISTER_CLASS(TQClipView)

TQClipView::TQClipView(QWidget *parent) : PLVView(parent) {}

QAbstractScrollArea *TQClipView::scrollArea() const
{
    auto *area = qobject_cast<QAbstractScrollArea *>(parentWidget());
    return area && area->viewport() == this ? area : nullptr;
}

QPointF TQClipView::boundsOrigin() const
{
    const QAbstractScrollArea *area = scrollArea();
    return area ? QPointF(area->horizontalScrollBar()->value(), area->verticalScrollBar()->value()) : QPointF();
}

void TQClipView::setBoundsOrigin(const QPointF &origin)
{
    if (QAbstractScrollArea *area = scrollArea()) {
        area->horizontalScrollBar()->setValue(qRound(origin.x()));
        area->verticalScrollBar()->setValue(qRound(origin.y()));
    }
}

void TQClipView::scrollToPoint(const QPointF &point)
{
    if (inLiveResize(window()))
        return;
    setBoundsOrigin(point);
}

void TQClipView::setInLiveResize(QWidget *window, bool inLiveResize)
{
    if (window)
        window->setProperty("plvInLiveResize", inLiveResize);
}

bool TQClipView::inLiveResize(const QWidget *window)
{
    return window && window->property("plvInLiveResize").toBool();
}
