#pragma once
#include "PLVCommon/platform/PLVView.h"

#include <QPointF>

class QAbstractScrollArea;

// The visible part of a scroll view (its viewport). Its bounds origin is the
// scroll position, measured from the document's top left (the clip view is
// flipped). Scroll requests made while its window is being resized live are
// ignored, so a resize does not make the content jump.
class TQClipView : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(QPointF boundsOrigin READ boundsOrigin WRITE setBoundsOrigin)
public:
    Q_INVOKABLE explicit TQClipView(QWidget *parent = nullptr);
    bool isFlipped() const override { return true; }

    QPointF boundsOrigin() const;
    void setBoundsOrigin(const QPointF &origin);
    void scrollToPoint(const QPointF &point);

    // A window resized by the user or by its own animation says so here.
    static void setInLiveResize(QWidget *window, bool inLiveResize);
    static bool inLiveResize(const QWidget *window);

private:
    QAbstractScrollArea *scrollArea() const;
};
