#include "PLVView.h"

#include "PLVClassRegistry.h"

#include <QFontMetricsF>
#include <QLayout>
#include <QPaintEvent>
#include <QPainter>
#include <QResizeEvent>

PLV_REGISTER_CLASS(PLVView)

PLVView::PLVView(QWidget *parent) : QWidget(parent) {}

PLVView::~PLVView() = default;

PLVView *PLVView::superview() const { return qobject_cast<PLVView *>(parentWidget()); }

// A plain QWidget parent knows nothing of bottom-left coordinates: it counts as flipped.
bool PLVView::superviewIsFlipped() const
{
    const PLVView *super = superview();
    return !super || super->isFlipped();
}

int PLVView::superviewHeight() const
{
    if (m_placedInHeight >= 0)
        return m_placedInHeight;
    return parentWidget() ? parentWidget()->height() : 0;
}

QRectF PLVView::frame() const
{
    const QRect g = geometry();
    if (superviewIsFlipped() || !parentWidget())
        return QRectF(g);
    return QRectF(g.x(), superviewHeight() - (g.y() + g.height()), g.width(), g.height());
}

void PLVView::setFrame(const QRectF &frame)
{
    if (superviewIsFlipped() || !parentWidget()) {
        setGeometry(QRect(qRound(frame.x()), qRound(frame.y()), qRound(frame.width()), qRound(frame.height())));
        return;
    }
    m_placedInHeight = parentWidget()->height();
    setGeometry(QRect(qRound(frame.x()), qRound(m_placedInHeight - frame.y() - frame.height()), qRound(frame.width()),
                      qRound(frame.height())));
}

void PLVView::setFrameSize(const QSizeF &size)
{
    QRectF f = frame();
    f.setSize(size);
    setFrame(f);
}

void PLVView::setFrameOrigin(const QPointF &origin)
{
    QRectF f = frame();
    f.moveTo(origin);
    setFrame(f);
}

void PLVView::addSubview(QWidget *view)
{
    if (!view || view == this)
        return;
    auto *plv = qobject_cast<PLVView *>(view);
    const QRectF f = plv ? plv->frame() : QRectF(view->geometry());
    view->setParent(this);
    if (plv)
        plv->setFrame(f);
    else
        view->setGeometry(f.toRect());
    view->show();
}

void PLVView::removeFromSuperview()
{
    if (!parentWidget())
        return;
    hide();
    setParent(nullptr);
}

void PLVView::setNeedsDisplay(bool needed)
{
    if (needed)
        update();
}

QPointF PLVView::toQt(const QPointF &p) const { return isFlipped() ? p : QPointF(p.x(), height() - p.y()); }

QRectF PLVView::toQt(const QRectF &r) const
{
    return isFlipped() ? r : QRectF(r.x(), height() - r.y() - r.height(), r.width(), r.height());
}

QPointF PLVView::fromQt(const QPointF &p) const { return toQt(p); }

void PLVView::drawRect(QPainter &, const QRectF &) {}

void PLVView::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!isFlipped()) {
        painter.translate(0, height());
        painter.scale(1, -1);
    }
    drawRect(painter, toQt(QRectF(event->rect())));
}

void PLVView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    // Unflipped subviews keep their distance from the bottom edge (unless a
    // layout places them).
    if (isFlipped() || layout())
        return;
    for (QObject *child : children()) {
        auto *view = qobject_cast<PLVView *>(child);
        if (!view || view->isWindow())
            continue;
        const int placedIn = view->superviewHeight();
        view->m_placedInHeight = height();
        if (placedIn != height())
            view->move(view->x(), view->y() + height() - placedIn);
    }
}

bool PLVView::event(QEvent *event)
{
    // A new superview: the current geometry is measured against it.
    if (event->type() == QEvent::ParentChange)
        m_placedInHeight = parentWidget() ? parentWidget()->height() : -1;
    return QWidget::event(event);
}

QSizeF PLVView::sizeOfString(const QString &text, const QFont &font)
{
    const QFontMetricsF fm(font);
    return QSizeF(fm.horizontalAdvance(text), fm.height());
}

void PLVView::drawString(QPainter &painter, const QString &text, const QPointF &point, const QFont &font,
                         const QColor &color)
{
    const QFontMetricsF fm(font);
    painter.save();
    painter.setFont(font);
    painter.setPen(color);
    // The line box grows away from the origin: upwards when y goes up. Undo a
    // bottom-left orientation locally, so glyphs stand upright.
    const bool yUp = painter.worldTransform().m22() < 0;
    painter.translate(point);
    if (yUp) {
        painter.scale(1, -1);
        painter.drawText(QPointF(0, -fm.descent()), text);
    } else {
        painter.drawText(QPointF(0, fm.ascent()), text);
    }
    painter.restore();
}

void PLVView::drawStringInRect(QPainter &painter, const QString &text, const QRectF &rect, const QFont &font,
                               const QColor &color, Qt::Alignment alignment)
{
    const QSizeF size = sizeOfString(text, font);
    qreal x = rect.left();
    if (alignment & Qt::AlignRight)
        x = rect.left() + rect.width() - size.width();
    else if (alignment & Qt::AlignHCenter)
        x = rect.left() + (rect.width() - size.width()) / 2;
    // The line box starts at the rectangle's smaller y (its bottom when y goes
    // up, its top when y goes down) or ends at the larger one.
    const bool yUp = painter.worldTransform().m22() < 0;
    const qreal nearEdge = rect.top();
    const qreal farEdge = rect.top() + rect.height() - size.height();
    qreal y = (alignment & Qt::AlignVCenter) ? (nearEdge + farEdge) / 2 : nearEdge;
    if ((alignment & Qt::AlignTop) && yUp)
        y = farEdge;
    else if ((alignment & Qt::AlignBottom) && !yUp)
        y = farEdge;
    drawString(painter, text, QPointF(x, y), font, color);
}
