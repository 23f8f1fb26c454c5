#pragma once
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QVariant>

#include <functional>

class PLVCombinedScrollView;

// A stand-in for an object's animator: properties set through it animate with
// the current animation group (and are set at once outside one). A proxy made
// without animation sets them at once.
class TQAnimatorProxy
{
public:
    TQAnimatorProxy(QObject *target, bool animates) : m_target(target), m_animates(animates) {}
    QObject *target() const { return m_target.data(); }
    bool animates() const { return m_animates; }
    void setValue(const char *property, const QVariant &value) const;

private:
    QPointer<QObject> m_target;
    bool m_animates;
};

// Runs changes inside animation groups: ease-out for plain animations, linear
// for scrolling.
class TQAnimator : public QObject
{
    Q_OBJECT
public:
    using Block = std::function<void()>;

    static void animateWithDuration(double duration, const Block &animation);
    // With a duration of 0 or less both blocks run before this returns;
    // otherwise the completion runs when the group's animations have ended.
    static void animateWithDuration(double duration, const Block &animation, const Block &completionHandler);
    // Scrolls the clip view's bounds origin to the point, linearly, then lets
    // the scrollers follow and runs the completion.
    static void animateScrollView(PLVCombinedScrollView *scrollView, double duration, const QPointF &toPoint,
                                  const Block &animation, const Block &completionHandler);
    // Replaces a running scroll animation by a 0.05 s one to where the view stands.
    static void stopAnimationScrollView(PLVCombinedScrollView *scrollView, const Block &animation,
                                        const Block &completionHandler);

    static TQAnimatorProxy animatorProxyFor(QObject *object);
    // Sets at once (no animation) when the duration is 0 or less.
    static TQAnimatorProxy animatorProxyFor(QObject *object, float duration);
};
