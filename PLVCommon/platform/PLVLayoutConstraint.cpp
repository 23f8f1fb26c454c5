#include "PLVLayoutConstraint.h"

#include "PLVLog.h"
#include "PLVView.h"
#include "PLVCommon/layout/PLVConstraintSolver.h"

#include <QEvent>
#include <QHash>
#include <QMetaEnum>

#include <algorithm>
#include <cmath>

namespace {

// Active constraints of the process, in activation order (main thread).
QList<QPointer<PLVLayoutConstraint>> &activeList()
{
    static QList<QPointer<PLVLayoutConstraint>> list;
    return list;
}

bool inSubtree(const QWidget *top, const QWidget *w) { return w && (w == top || top->isAncestorOf(w)); }

// Drops the constraints that tie a view's subtree to the outside when the view
// leaves its superview, and lays the new tree out when it joins one.
class ReparentWatcher : public QObject
{
public:
    static ReparentWatcher *instance()
    {
        static auto *watcher = new ReparentWatcher;
        return watcher;
    }
    void watch(QWidget *w)
    {
        if (w && !w->property("plvConstraintWatched").toBool()) {
            w->setProperty("plvConstraintWatched", true);
            w->installEventFilter(this);
        }
    }

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        // Qt tells a created window only that its parent is about to change, so
        // the ties are cut once it has changed: whatever linked the subtree to
        // views outside it belonged to the old place.
        if (event->type() == QEvent::ParentChange) {
            auto *view = static_cast<QWidget *>(object);
            QList<PLVLayoutConstraint *> cut;
            for (PLVLayoutConstraint *c : PLVLayoutConstraint::activeConstraints()) {
                if (c->secondItem() && inSubtree(view, c->firstItem()) != inSubtree(view, c->secondItem()))
                    cut.append(c);
            }
            PLVLayoutConstraint::deactivateConstraints(cut);
            if (view->parentWidget())
                if (PLVConstraintLayout *layout = PLVConstraintLayout::forView(view))
                    layout->invalidate();
        }
        return false;
    }
};

QString itemName(const QWidget *w)
{
    if (!w)
        return QStringLiteral("nil");
    return w->objectName().isEmpty() ? QString::fromLatin1(w->metaObject()->className()) : w->objectName();
}

} // namespace

PLVLayoutConstraint::PLVLayoutConstraint(QWidget *item1, Attribute a1, Relation r, QWidget *item2, Attribute a2,
                                         double multiplier, double constant)
    : QObject(item1), m_first(item1), m_second(item2), m_firstAttribute(a1), m_secondAttribute(a2), m_relation(r),
      m_multiplier(std::isfinite(multiplier) ? multiplier : 1.0), m_constant(std::isfinite(constant) ? constant : 0.0)
{
}

PLVLayoutConstraint::~PLVLayoutConstraint()
{
    activeList().removeAll(QPointer<PLVLayoutConstraint>(this));
    activeList().removeAll(QPointer<PLVLayoutConstraint>());
}

PLVLayoutConstraint *PLVLayoutConstraint::constraintWithItem(QWidget *item1, int attribute1, Relation relation,
                                                             QWidget *item2, int attribute2, double multiplier,
                                                             double constant)
{
    const bool firstOk = attribute1 >= Left && attribute1 <= CenterY;
    const bool secondOk = item2 ? (attribute2 >= Left && attribute2 <= CenterY) : attribute2 == NotAnAttribute;
    if (!item1 || !firstOk || !secondOk)
        return nullptr;
    return new PLVLayoutConstraint(item1, Attribute(attribute1), relation, item2, Attribute(attribute2), multiplier,
                                   constant);
}

void PLVLayoutConstraint::setConstant(double constant)
{
    if (!std::isfinite(constant) || constant == m_constant)
        return;
    m_constant = constant;
    if (m_active)
        requestLayout();
}

void PLVLayoutConstraint::setPriority(float priority)
{
    m_priority = std::clamp(std::isfinite(priority) ? priority : PriorityRequired, 1.0f, PriorityRequired);
    if (m_active)
        requestLayout();
}

void PLVLayoutConstraint::setActive(bool active)
{
    if (active == m_active)
        return;
    if (active && (!m_first || (m_secondAttribute != NotAnAttribute && !m_second)))
        return;
    m_active = active;
    if (active) {
        activeList().append(this);
        ReparentWatcher::instance()->watch(m_first);
        ReparentWatcher::instance()->watch(m_second);
        if (m_second)
            m_secondGone = connect(m_second, &QObject::destroyed, this, [this] { setActive(false); });
    } else {
        disconnect(m_secondGone);
        activeList().removeAll(QPointer<PLVLayoutConstraint>(this));
        m_conflictReported = false;
    }
    requestLayout();
}

void PLVLayoutConstraint::activateConstraints(const QList<PLVLayoutConstraint *> &constraints)
{
    for (PLVLayoutConstraint *c : constraints)
        if (c)
            c->setActive(true);
}

void PLVLayoutConstraint::deactivateConstraints(const QList<PLVLayoutConstraint *> &constraints)
{
    for (PLVLayoutConstraint *c : constraints)
        if (c)
            c->setActive(false);
}

QList<PLVLayoutConstraint *> PLVLayoutConstraint::activeConstraints()
{
    QList<PLVLayoutConstraint *> list;
    for (const auto &c : std::as_const(activeList()))
        if (c)
            list.append(c.data());
    return list;
}

QList<PLVLayoutConstraint *> PLVLayoutConstraint::constraintsAffecting(const QWidget *view)
{
    QList<PLVLayoutConstraint *> list;
    for (PLVLayoutConstraint *c : activeConstraints())
        if (view && (c->firstItem() == view || c->secondItem() == view))
            list.append(c);
    return list;
}

void PLVLayoutConstraint::requestLayout() const
{
    for (QWidget *item : {m_first.data(), m_second.data()})
        if (item && item->parentWidget())
            if (PLVConstraintLayout *layout = PLVConstraintLayout::forView(item))
                layout->invalidate();
}

QString PLVLayoutConstraint::description() const
{
    const QMetaEnum attrs = QMetaEnum::fromType<Attribute>();
    const char *rel = m_relation == Equal ? "==" : m_relation == LessThanOrEqual ? "<=" : ">=";
    QString text = itemName(m_first) + QLatin1Char('.') + QLatin1String(attrs.valueToKey(m_firstAttribute)) + QLatin1Char(' ')
                   + QLatin1String(rel) + QLatin1Char(' ');
    if (m_secondAttribute != NotAnAttribute)
        text += itemName(m_second) + QLatin1Char('.') + QLatin1String(attrs.valueToKey(m_secondAttribute))
                + QStringLiteral(" × %1 + ").arg(m_multiplier);
    return text + QStringLiteral("%1 @%2").arg(m_constant).arg(m_priority);
}

// ---------------------------------------------------------------------------

struct PLVConstraintLayout::Solution {
    QList<QWidget *> views;          // root first, then the constrained views
    QHash<QWidget *, QRectF> frames; // in root coordinates, y down
    QList<PLVLayoutConstraint *> unsatisfied;
    QList<PLVLayoutConstraint *> conflicts; // required ones, newly found
};

PLVConstraintLayout::PLVConstraintLayout(QWidget *root) : QLayout(root)
{
    setSizeConstraint(QLayout::SetNoConstraint);
    setContentsMargins(0, 0, 0, 0);
}

PLVConstraintLayout::~PLVConstraintLayout() = default;

void PLVConstraintLayout::addItem(QLayoutItem *item)
{
    // Views join through constraints, not as items.
    delete item;
}

QWidget *PLVConstraintLayout::rootOf(QWidget *view)
{
    QWidget *w = view;
    while (w && w->parentWidget())
        w = w->parentWidget();
    return w;
}

PLVConstraintLayout *PLVConstraintLayout::forView(QWidget *view)
{
    QWidget *root = rootOf(view);
    if (!root)
        return nullptr;
    if (!root->layout())
        return new PLVConstraintLayout(root);
    return qobject_cast<PLVConstraintLayout *>(root->layout());
}

void PLVConstraintLayout::layoutSubtreeIfNeeded(QWidget *view)
{
    if (PLVConstraintLayout *layout = forView(view))
        layout->setGeometry(layout->root()->rect());
}

PLVConstraintLayout::Solution PLVConstraintLayout::solve(const QSize &rootSize, float rootSizePriority) const
{
    using S = PLVConstraintSolver;
    Solution out;
    QWidget *top = root();
    QList<PLVLayoutConstraint *> constraints;
    for (PLVLayoutConstraint *c : PLVLayoutConstraint::activeConstraints()) {
        if (rootOf(c->firstItem()) != top || (c->secondItem() && rootOf(c->secondItem()) != top))
            continue;
        constraints.append(c);
    }

    S solver;
    struct Vars {
        S::Variable l, t, w, h;
    };
    QHash<QWidget *, Vars> vars;
    auto varsFor = [&](QWidget *v) {
        auto it = vars.find(v);
        if (it != vars.end())
            return *it;
        const QPoint at = v == top ? QPoint(0, 0) : v->mapTo(top, QPoint(0, 0));
        const QString name = itemName(v);
        const Vars nv{solver.addVariable(at.x(), name + QStringLiteral(".left")),
                      solver.addVariable(at.y(), name + QStringLiteral(".top")),
                      solver.addVariable(v->width(), name + QStringLiteral(".width")),
                      solver.addVariable(v->height(), name + QStringLiteral(".height"))};
        vars.insert(v, nv);
        out.views.append(v);
        return nv;
    };
    const Vars r = varsFor(top);
    solver.addConstraint({{r.l, 1}}, 0, S::Relation::Equal);
    solver.addConstraint({{r.t, 1}}, 0, S::Relation::Equal);
    solver.addConstraint({{r.w, 1}}, -rootSize.width(), S::Relation::Equal, rootSizePriority);
    solver.addConstraint({{r.h, 1}}, -rootSize.height(), S::Relation::Equal, rootSizePriority);

    auto terms = [](const Vars &v, PLVLayoutConstraint::Attribute a, double k) -> QList<S::Term> {
        switch (a) {
        case PLVLayoutConstraint::Left:
        case PLVLayoutConstraint::Leading: return {{v.l, k}};
        case PLVLayoutConstraint::Right:
        case PLVLayoutConstraint::Trailing: return {{v.l, k}, {v.w, k}};
        case PLVLayoutConstraint::Top: return {{v.t, k}};
        case PLVLayoutConstraint::Bottom: return {{v.t, k}, {v.h, k}};
        case PLVLayoutConstraint::Width: return {{v.w, k}};
        case PLVLayoutConstraint::Height: return {{v.h, k}};
        case PLVLayoutConstraint::CenterX: return {{v.l, k}, {v.w, k / 2}};
        case PLVLayoutConstraint::CenterY: return {{v.t, k}, {v.h, k / 2}};
        case PLVLayoutConstraint::NotAnAttribute: break;
        }
        return {};
    };

    QHash<S::ConstraintId, PLVLayoutConstraint *> byId;
    for (PLVLayoutConstraint *c : std::as_const(constraints)) {
        QList<S::Term> expr = terms(varsFor(c->firstItem()), c->firstAttribute(), 1.0);
        if (c->secondItem())
            expr += terms(varsFor(c->secondItem()), c->secondAttribute(), -c->multiplier());
        byId.insert(solver.addConstraint(expr, -c->constant(), S::Relation(int(c->relation())), c->priority()), c);
    }
    for (QWidget *v : std::as_const(out.views)) {
        const Vars nv = vars.value(v);
        solver.addConstraint({{nv.w, 1}}, 0, S::Relation::GreaterOrEqual);
        solver.addConstraint({{nv.h, 1}}, 0, S::Relation::GreaterOrEqual);
        // Controls keep their natural size unless told otherwise.
        if (v == top || qobject_cast<PLVView *>(v))
            continue;
        if (const QSize hint = v->sizeHint(); hint.isValid()) {
            solver.addConstraint({{nv.w, 1}}, -hint.width(), S::Relation::Equal, PLVLayoutConstraint::PriorityDefaultLow);
            solver.addConstraint({{nv.h, 1}}, -hint.height(), S::Relation::Equal, PLVLayoutConstraint::PriorityDefaultLow);
        }
    }

    solver.setConflictHandler([&](S::ConstraintId id) {
        if (PLVLayoutConstraint *c = byId.value(id))
            out.conflicts.append(c);
    });
    solver.solve();
    for (S::ConstraintId id : solver.unsatisfiedConstraints())
        if (PLVLayoutConstraint *c = byId.value(id))
            out.unsatisfied.append(c);
    for (QWidget *v : std::as_const(out.views)) {
        const Vars nv = vars.value(v);
        out.frames.insert(v, QRectF(solver.value(nv.l), solver.value(nv.t), solver.value(nv.w), solver.value(nv.h)));
    }
    return out;
}

QSize PLVConstraintLayout::fittingSize() const
{
    if (!root())
        return QSize();
    const Solution s = solve(root()->size(), 1.0f);
    const QRectF f = s.frames.value(root());
    return QSize(qRound(f.width()), qRound(f.height()));
}

void PLVConstraintLayout::setGeometry(const QRect &rect)
{
    QLayout::setGeometry(rect);
    QWidget *top = root();
    if (!top || m_inPass)
        return;
    m_inPass = true;
    Solution s = solve(top->size(), PLVLayoutConstraint::PriorityWindowSizeStayPut);
    m_unsatisfied = s.unsatisfied;
    for (PLVLayoutConstraint *c : std::as_const(s.conflicts)) {
        if (!c->m_conflictReported) {
            c->m_conflictReported = true;
            qCWarning(plvPlatform).noquote() << "Unable to satisfy constraint, leaving it out:" << c->description();
        }
    }

    // Ancestors first, so each view is placed in its superview's final geometry.
    auto depth = [top](const QWidget *w) {
        int d = 0;
        for (; w && w != top; w = w->parentWidget())
            ++d;
        return d;
    };
    QList<QWidget *> views = s.views;
    std::stable_sort(views.begin(), views.end(), [&](QWidget *a, QWidget *b) { return depth(a) < depth(b); });
    for (QWidget *v : std::as_const(views)) {
        if (v == top)
            continue;
        const QRectF f = s.frames.value(v);
        QWidget *parent = v->parentWidget();
        const QPointF origin = s.frames.contains(parent) ? s.frames.value(parent).topLeft()
                                                        : QPointF(parent->mapTo(top, QPoint(0, 0)));
        const int x0 = qRound(f.left() - origin.x()), y0 = qRound(f.top() - origin.y());
        const QRect g(x0, y0, qRound(f.right() - origin.x()) - x0, qRound(f.bottom() - origin.y()) - y0);
        auto *view = qobject_cast<PLVView *>(v);
        auto *super = qobject_cast<PLVView *>(parent);
        if (view && super && !super->isFlipped())
            view->setFrame(QRectF(g.x(), parent->height() - g.y() - g.height(), g.width(), g.height()));
        else if (view)
            view->setFrame(QRectF(g));
        else
            v->setGeometry(g);
    }
    m_inPass = false;

    const QRectF want = s.frames.value(top);
    const QSize wanted(qRound(want.width()), qRound(want.height()));
    if (wanted != top->size())
        emit fittingSizeChanged(wanted);
}
