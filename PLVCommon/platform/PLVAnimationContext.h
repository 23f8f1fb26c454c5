#pragma once
#include <QEasingCurve>
#include <QObject>
#include <QVariant>

#include <functional>

// Groups of property animations that run together and end with one callback.
//
// Inside runAnimationGroup's set-up block, animate() turns a property change
// into an animation of the group's duration and timing; outside a group, or
// with a duration of 0, it sets the value at once. A new animation of the same
// property of the same object replaces the running one from where it stands.
// Main thread only.
class PLVAnimationContext
{
public:
    enum class Timing { Default, EaseOut, Linear };

    static void runAnimationGroup(const std::function<void(PLVAnimationContext &)> &changes,
                                  const std::function<void()> &completionHandler = {});
    // The group being set up, or null.
    static PLVAnimationContext *currentContext();

    double duration() const { return m_duration; }
    void setDuration(double seconds) { m_duration = seconds > 0 ? seconds : 0.0; }
    bool allowsImplicitAnimation() const { return m_allowsImplicitAnimation; }
    void setAllowsImplicitAnimation(bool allows) { m_allowsImplicitAnimation = allows; }
    Timing timingFunction() const { return m_timing; }
    void setTimingFunction(Timing timing) { m_timing = timing; }

    // Ease-out is the cubic Bézier (0, 0, 0.58, 1); the default timing is ease-in-out.
    static QEasingCurve easingCurve(Timing timing);

    static void animate(QObject *target, const char *property, const QVariant &value);
    // Animations still running, in every group.
    static int runningAnimationCount();

private:
    PLVAnimationContext() = default;
    double m_duration = 0.25;
    bool m_allowsImplicitAnimation = false;
    Timing m_timing = Timing::Default;
    QObject *m_group = nullptr;
    friend struct PLVAnimationContextAccess;
};
