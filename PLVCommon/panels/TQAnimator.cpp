#include "TQAnimator.h"

#include "PLVCombinedScrollView.h"
#include "TQClipView.h"
#include "PLVCommon/platform/PLVAnimationContext.h"

void TQAnimatorProxy::setValue(const char *property, const QVariant &value) const
{
    if (!m_target)
        return;
    if (m_animates)
        PLVAnimationContext::animate(m_target, property, value);
    else
        m_target->setProperty(property, value);
}

void TQAnimator::animateWithDuration(double duration, const Block &animation)
{
    animateWithDuration(duration, animation, Block());
}

void TQAnimator::animateWithDuration(double duration, const Block &animation, const Block &completionHandler)
{
    if (duration > 0) {
        PLVAnimationContext::runAnimationGroup(
            [&](PLVAnimationContext &context) {
                context.setDuration(duration);
                context.setAllowsImplicitAnimation(true);
                context.setTimingFunction(PLVAnimationContext::Timing::EaseOut);
                if (animation)
                    animation();
            },
            [completionHandler] {
                if (completionHandler)
                    completionHandler();
            });
        return;
    }
    if (animation)
        animation();
    if (completionHandler)
        completionHandler();
}

void TQAnimator::animateScrollView(PLVCombinedScrollView *scrollView, double duration, const QPointF &toPoint,
                                   const Block &animation, const Block &completionHandler)
{
    QPointer<PLVCombinedScrollView> guard(scrollView);
    PLVAnimationContext::runAnimationGroup(
        [&](PLVAnimationContext &context) {
            context.setDuration(duration);
            context.setAllowsImplicitAnimation(true);
            context.setTimingFunction(PLVAnimationContext::Timing::Linear);
            if (scrollView)
                animatorProxyFor(scrollView->contentView()).setValue("boundsOrigin", toPoint);
            if (animation)
                animation();
        },
        [guard, completionHandler] {
            // The scrollers are the scroll position here: they already follow the clip view.
            if (guard)
                guard->viewport()->update();
            if (completionHandler)
                completionHandler();
        });
}

void TQAnimator::stopAnimationScrollView(PLVCombinedScrollView *scrollView, const Block &animation,
                                         const Block &completionHandler)
{
    const TQClipView *clip = scrollView ? scrollView->contentView() : nullptr;
    const QPointF here = clip ? clip->boundsOrigin() : QPointF(0, 0);
    animateScrollView(scrollView, 0.05, here, animation, completionHandler);
}

TQAnimatorProxy TQAnimator::animatorProxyFor(QObject *object) { return TQAnimatorProxy(object, true); }

TQAnimatorProxy TQAnimator::animatorProxyFor(QObject *object, float duration)
{
    return TQAnimatorProxy(object, duration > 0);
}
