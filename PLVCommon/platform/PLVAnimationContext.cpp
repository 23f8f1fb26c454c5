#include "PLVAnimationContext.h"

#include <QHash>
#include <QParallelAnimationGroup>
#include <QPointer>
#include <QPropertyAnimation>
#include <QTimer>

struct PLVAnimationContextAccess {
    static QObject *&group(PLVAnimationContext &c) { return c.m_group; }
    static PLVAnimationContext make() { return PLVAnimationContext(); }
};

namespace {

QList<PLVAnimationContext *> &contextStack()
{
    static QList<PLVAnimationContext *> stack;
    return stack;
}

using Key = QPair<QObject *, QByteArray>;
QHash<Key, QPointer<QPropertyAnimation>> &running()
{
    static QHash<Key, QPointer<QPropertyAnimation>> table;
    return table;
}

void stopRunning(QObject *target, const QByteArray &property)
{
    const QPointer<QPropertyAnimation> old = running().take(Key(target, property));
    if (!old)
        return;
    old->stop();
    if (auto *group = qobject_cast<QAnimationGroup *>(old->group()))
        group->removeAnimation(old);
    old->deleteLater();
}

} // namespace

QEasingCurve PLVAnimationContext::easingCurve(Timing timing)
{
    switch (timing) {
    case Timing::Linear: return QEasingCurve(QEasingCurve::Linear);
    case Timing::EaseOut: {
        QEasingCurve curve(QEasingCurve::BezierSpline);
        curve.addCubicBezierSegment(QPointF(0.0, 0.0), QPointF(0.58, 1.0), QPointF(1.0, 1.0));
        return curve;
    }
    case Timing::Default: break;
    }
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(QPointF(0.42, 0.0), QPointF(0.58, 1.0), QPointF(1.0, 1.0));
    return curve;
}

PLVAnimationContext *PLVAnimationContext::currentContext()
{
    return contextStack().isEmpty() ? nullptr : contextStack().last();
}

void PLVAnimationContext::runAnimationGroup(const std::function<void(PLVAnimationContext &)> &changes,
                                            const std::function<void()> &completionHandler)
{
    auto *group = new QParallelAnimationGroup;
    PLVAnimationContext context = PLVAnimationContextAccess::make();
    PLVAnimationContextAccess::group(context) = group;
    contextStack().append(&context);
    if (changes)
        changes(context);
    contextStack().removeLast();

    auto finish = [group, completionHandler] {
        group->deleteLater();
        if (completionHandler)
            completionHandler();
    };
    if (group->animationCount() == 0) {
        // Nothing to wait for: the completion still comes after the caller returns.
        QTimer::singleShot(0, group, finish);
        return;
    }
    QObject::connect(group, &QAbstractAnimation::finished, group, finish);
    group->start();
}

void PLVAnimationContext::animate(QObject *target, const char *property, const QVariant &value)
{
    if (!target || !property)
        return;
    PLVAnimationContext *context = currentContext();
    stopRunning(target, property);
    const QVariant from = target->property(property);
    if (!context || context->m_duration <= 0 || !from.isValid() || from == value) {
        target->setProperty(property, value);
        return;
    }
    auto *animation = new QPropertyAnimation(target, property);
    animation->setDuration(int(context->m_duration * 1000.0 + 0.5));
    animation->setStartValue(from);
    animation->setEndValue(value);
    animation->setEasingCurve(easingCurve(context->m_timing));
    running().insert(Key(target, property), animation);
    QObject::connect(animation, &QAbstractAnimation::finished, animation, [target, name = QByteArray(property), animation] {
        auto it = running().find(Key(target, name));
        if (it != running().end() && it.value() == animation)
            running().erase(it);
    });
    QObject::connect(target, &QObject::destroyed, animation, [target, name = QByteArray(property)] {
        running().remove(Key(target, name));
    });
    static_cast<QParallelAnimationGroup *>(context->m_group)->addAnimation(animation);
}

int PLVAnimationContext::runningAnimationCount()
{
    int n = 0;
    for (const auto &a : std::as_const(running()))
        n += a && a->state() == QAbstractAnimation::Running;
    return n;
}
