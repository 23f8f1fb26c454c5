#include "TQView.h"

#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVDispatch.h"

#include <QApplication>
#include <QGraphicsOpacityEffect>
#include <QLineEdit>
#include <QPointer>
#include <QWindow>

#include <algorithm>
#include <cmath>

PLV_REGISTER_CLASS(TQView)

namespace {

using C = PLVLayoutConstraint;

// The successor in the keyboard loop, kept by a child object so that it goes with the view.
class KeyViewLink : public QObject
{
public:
    explicit KeyViewLink(QWidget *owner) : QObject(owner) { setObjectName(QStringLiteral("plvNextKeyView")); }
    QPointer<QWidget> next;
};

KeyViewLink *linkOf(const QWidget *view, bool create)
{
    if (!view)
        return nullptr;
    for (QObject *child : view->children())
        if (child->objectName() == QLatin1String("plvNextKeyView"))
            return static_cast<KeyViewLink *>(child);
    return create ? new KeyViewLink(const_cast<QWidget *>(view)) : nullptr;
}

// The frame origin in the superview's coordinates (bottom left unless the superview is flipped).
QPointF frameOrigin(const QWidget *view)
{
    if (auto *plv = qobject_cast<const PLVView *>(view))
        return plv->frame().topLeft();
    auto *super = qobject_cast<const PLVView *>(view->parentWidget());
    if (super && !super->isFlipped())
        return QPointF(view->x(), view->parentWidget()->height() - view->y() - view->height());
    return view->pos();
}

// The point, read in the view's own coordinates (y up unless the view is
// flipped), in its window's coordinates with y up.
double windowY(const QWidget *view)
{
    if (!view)
        return 0.0;
    const QPointF p = frameOrigin(view);
    auto *plv = qobject_cast<const PLVView *>(view);
    const bool flipped = plv && plv->isFlipped();
    const QPointF local(p.x(), flipped ? p.y() : view->height() - p.y());
    const QWidget *window = view->window();
    const QPointF inWindow = view == window ? local : QPointF(view->mapTo(window, QPoint(0, 0))) + local;
    return window->height() - inWindow.y();
}

} // namespace

TQView::TQView(QWidget *parent) : PLVView(parent) {}

void TQView::setAlphaValue(double alpha)
{
    alpha = std::isfinite(alpha) ? std::clamp(alpha, 0.0, 1.0) : 1.0;
    if (alpha == m_alphaValue)
        return;
    m_alphaValue = alpha;
    if (!m_opacity) {
        m_opacity = new QGraphicsOpacityEffect(this);
        setGraphicsEffect(m_opacity);
    }
    m_opacity->setOpacity(alpha);
}

void TQView::addEdgeConstraint(int attribute, QWidget *superview, QWidget *subview)
{
    addEdgeConstraintWithConstant(attribute, superview, subview, 0.0);
}

void TQView::addEdgeConstraintWithPriority(int attribute, QWidget *superview, QWidget *subview, float priority)
{
    if (PLVLayoutConstraint *c = edgeConstraint(attribute, superview, subview, 0.0)) {
        c->setPriority(priority);
        c->setActive(true);
    }
}

void TQView::addEdgeConstraintWithConstant(int attribute, QWidget *superview, QWidget *subview, double constant)
{
    if (PLVLayoutConstraint *c = edgeConstraint(attribute, superview, subview, constant))
        c->setActive(true);
}

PLVLayoutConstraint *TQView::edgeConstraint(int attribute, QWidget *superview, QWidget *subview, double constant)
{
    return edgeConstraint(attribute, superview, subview, constant, 1.0);
}

PLVLayoutConstraint *TQView::edgeConstraint(int attribute, QWidget *superview, QWidget *subview, double constant,
                                            double multiplier)
{
    if (!superview || !subview)
        return nullptr;
    return C::constraintWithItem(subview, attribute, C::Equal, superview, attribute, multiplier, constant);
}

PLVLayoutConstraint *TQView::edgeConstraint(int attribute, QWidget *view, double constant)
{
    return C::constraintWithItem(view, attribute, C::Equal, nullptr, C::NotAnAttribute, 1.0, constant);
}

void TQView::addEdgeToEdgeConstraintsForSuperview(QWidget *superview, QWidget *subview)
{
    for (int a : {C::Leading, C::Trailing, C::Top, C::Bottom})
        addEdgeConstraint(a, superview, subview);
}

void TQView::addEdgeConstraint(int attribute, QWidget *, QWidget *fromViewA, QWidget *toViewB)
{
    if (!fromViewA || !toViewB)
        return;
    if (auto *c = C::constraintWithItem(fromViewA, attribute, C::Equal, toViewB, attribute, 1.0, 0.0))
        c->setActive(true);
}

void TQView::addEdgeToEdgeConstraintsForSuperview(QWidget *superview, QWidget *fromViewA, QWidget *toViewB)
{
    for (int a : {C::Leading, C::Trailing, C::Top, C::Bottom})
        addEdgeConstraint(a, superview, fromViewA, toViewB);
}

QList<QWidget *> TQView::allSubviewsFor(QWidget *view)
{
    QList<QWidget *> all;
    if (!view)
        return all;
    all.append(view);
    for (QObject *child : view->children())
        if (auto *w = qobject_cast<QWidget *>(child); w && !w->isWindow())
            all += allSubviewsFor(w);
    return all;
}

QList<QWidget *> TQView::allSubviewsToIncludeInLoopFor(QWidget *view)
{
    QList<QWidget *> fields;
    for (QWidget *w : allSubviewsFor(view))
        if (qobject_cast<QLineEdit *>(w))
            fields.append(w);
    return fields;
}

QList<QWidget *> TQView::viewsScreenOrdered(const QList<QWidget *> &views)
{
    QList<QPair<double, QWidget *>> keyed;
    for (QWidget *v : views)
        keyed.append({windowY(v), v});
    std::stable_sort(keyed.begin(), keyed.end(), [](const auto &a, const auto &b) { return a.first > b.first; });
    QList<QWidget *> sorted;
    for (const auto &k : keyed)
        sorted.append(k.second);
    return sorted;
}

void TQView::updateLoopViewFor(QWidget *view)
{
    QPointer<QWidget> guard(view);
    // Through the global queue to the main queue: after the current layout pass, never at once.
    PLVDispatch::asyncGlobal([guard] {
        PLVDispatch::asyncMain([guard] {
            if (!guard)
                return;
            const QList<QWidget *> loop = viewsScreenOrdered(allSubviewsToIncludeInLoopFor(guard));
            for (qsizetype i = 0; i + 1 < loop.size(); ++i)
                setNextKeyView(loop[i], loop[i + 1]);
        });
    });
}

QWidget *TQView::nextKeyView(const QWidget *view)
{
    KeyViewLink *link = linkOf(view, false);
    return link ? link->next.data() : nullptr;
}

void TQView::setNextKeyView(QWidget *view, QWidget *next)
{
    if (!view)
        return;
    linkOf(view, true)->next = next;
    if (next && view->window() == next->window())
        QWidget::setTabOrder(view, next);
}

double TQView::layerContentScale()
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance()))
        return 2.0;
    for (QWidget *w : QApplication::topLevelWidgets()) {
        if (!w->isWindow() || !w->windowHandle())
            continue;
        const double scale = w->windowHandle()->devicePixelRatio();
        return scale > 0 ? scale : 2.0;
    }
    return 2.0;
}
