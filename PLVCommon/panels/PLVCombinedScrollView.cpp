#include "PLVCombinedScrollView.h"

#include "TQClipView.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QEvent>
#include <QScrollBar>
#include <QWheelEvent>

PLV_REGISTER_CLASS(PLVCombinedScrollView)

PLVCombinedScrollView::PLVCombinedScrollView(QWidget *parent) : QScrollArea(parent)
{
    updateForAutoLayout();
}

PLVCombinedScrollView::~PLVCombinedScrollView()
{
    if (m_watchedWindow)
        m_watchedWindow->removeEventFilter(this);
}

TQClipView *PLVCombinedScrollView::contentView() const { return qobject_cast<TQClipView *>(viewport()); }

void PLVCombinedScrollView::updateForAutoLayout()
{
    auto *clip = new TQClipView;
    setViewport(clip);
    clip->setAutoFillBackground(false);
    setFrameShape(QFrame::NoFrame);
    setAutoFillBackground(false);
    setWidgetResizable(false);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    watchWindow();
}

void PLVCombinedScrollView::setDocumentView(QWidget *view)
{
    if (!view)
        return;
    // Pinned at the top and both sides; the bottom is free, so it keeps its height.
    setWidget(view);
    followWidth();
}

void PLVCombinedScrollView::followWidth()
{
    if (QWidget *doc = widget(); doc && doc->width() != viewport()->width())
        doc->resize(viewport()->width(), doc->height());
}

void PLVCombinedScrollView::boundsDidChange(QObject *object)
{
    if (object != this)
        return;
    if (QWidget *doc = widget())
        scrollViewNeeded(doc->height() != height());
}

void PLVCombinedScrollView::boundsDidChange2(QObject *object)
{
    if (!object || object != window())
        return;
    if (QWidget *doc = widget())
        scrollViewNeeded(doc->height() != height());
}

void PLVCombinedScrollView::scrollViewNeeded(bool needed)
{
    if (needed && !m_bouncingEnabled) {
        m_horizontalElasticity = 0;
        m_verticalElasticity = 0;
        setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
        scrollToTop();
        m_bouncingEnabled = true;
    } else if (!needed && m_bouncingEnabled) {
        scrollToTop();
        m_horizontalElasticity = 1;
        m_verticalElasticity = 1;
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        m_bouncingEnabled = false;
    }
}

void PLVCombinedScrollView::scrollToTop()
{
    if (TQClipView *clip = contentView())
        clip->scrollToPoint(QPointF(0, 0));
}

void PLVCombinedScrollView::wheelEvent(QWheelEvent *event)
{
    if (!m_bouncingEnabled) {
        event->ignore(); // on to the superview
        return;
    }
    QScrollArea::wheelEvent(event);
}

bool PLVCombinedScrollView::viewportEvent(QEvent *event)
{
    if (event->type() == QEvent::Resize)
        followWidth();
    return QScrollArea::viewportEvent(event);
}

bool PLVCombinedScrollView::event(QEvent *event)
{
    const bool handled = QScrollArea::event(event);
    switch (event->type()) {
    case QEvent::Resize: boundsDidChange(this); break;
    case QEvent::ParentChange:
    case QEvent::Show: watchWindow(); break;
    default: break;
    }
    return handled;
}

void PLVCombinedScrollView::watchWindow()
{
    QWidget *w = window();
    if (w == m_watchedWindow || w == this)
        return;
    if (m_watchedWindow)
        m_watchedWindow->removeEventFilter(this);
    m_watchedWindow = w;
    w->installEventFilter(this);
}

bool PLVCombinedScrollView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_watchedWindow && event->type() == QEvent::Resize)
        boundsDidChange2(watched);
    return QScrollArea::eventFilter(watched, event);
}
