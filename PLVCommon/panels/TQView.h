#pragma once
#include "PLVCommon/platform/PLVLayoutConstraint.h"
#include "PLVCommon/platform/PLVView.h"

#include <QList>

class QGraphicsOpacityEffect;

// The base view of panels and of the widget window, and the class operations
// that pin views together with constraints, list views in the order they stand
// on screen and chain their text fields for the keyboard.
//
// Attributes are PLVLayoutConstraint's numbers: 3 top, 4 bottom, 5 leading,
// 6 trailing, 8 height, 9 horizontal centre, 10 vertical centre. Every
// constraint below is an equality; "add" operations activate it at once,
// the others return it inactive.
class TQView : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(bool adjustForKeyboardEnabled READ adjustForKeyboardEnabled WRITE setAdjustForKeyboardEnabled)
    Q_PROPERTY(double alphaValue READ alphaValue WRITE setAlphaValue)
public:
    Q_INVOKABLE explicit TQView(QWidget *parent = nullptr);

    bool adjustForKeyboardEnabled() const { return m_adjustForKeyboardEnabled; }
    void setAdjustForKeyboardEnabled(bool enabled) { m_adjustForKeyboardEnabled = enabled; }

    // Opacity of the view and its subviews, 0...1.
    double alphaValue() const { return m_alphaValue; }
    void setAlphaValue(double alpha);

    // subview.a = superview.a (nothing when either is missing).
    static void addEdgeConstraint(int attribute, QWidget *superview, QWidget *subview);
    static void addEdgeConstraintWithPriority(int attribute, QWidget *superview, QWidget *subview, float priority);
    // subview.a = superview.a + constant, the constant's sign as given for every edge.
    static void addEdgeConstraintWithConstant(int attribute, QWidget *superview, QWidget *subview, double constant);
    static PLVLayoutConstraint *edgeConstraint(int attribute, QWidget *superview, QWidget *subview, double constant);
    static PLVLayoutConstraint *edgeConstraint(int attribute, QWidget *superview, QWidget *subview, double constant,
                                               double multiplier);
    // view.a = constant.
    static PLVLayoutConstraint *edgeConstraint(int attribute, QWidget *view, double constant);
    // Leading, trailing, top, bottom of the subview to the superview.
    static void addEdgeToEdgeConstraintsForSuperview(QWidget *superview, QWidget *subview);
    // viewA.a = viewB.a; the superview is not used.
    static void addEdgeConstraint(int attribute, QWidget *superview, QWidget *fromViewA, QWidget *toViewB);
    static void addEdgeToEdgeConstraintsForSuperview(QWidget *superview, QWidget *fromViewA, QWidget *toViewB);

    // The view, then each subview's own list in order (depth-first pre-order).
    static QList<QWidget *> allSubviewsFor(QWidget *view);
    // The text fields among them.
    static QList<QWidget *> allSubviewsToIncludeInLoopFor(QWidget *view);
    // Top of the window first, by each view's frame origin taken in the view's
    // own coordinates and converted to the window's.
    static QList<QWidget *> viewsScreenOrdered(const QList<QWidget *> &views);
    // Chains the view's text fields top to bottom, after the current layout
    // pass; the last field gets no successor.
    static void updateLoopViewFor(QWidget *view);
    static QWidget *nextKeyView(const QWidget *view);
    static void setNextKeyView(QWidget *view, QWidget *next);

    // The device pixel ratio of the first application window; 2.0 without one.
    static double layerContentScale();
    static QObject *currentStoryboard() { return nullptr; }

private:
    bool m_adjustForKeyboardEnabled = false;
    double m_alphaValue = 1.0;
    QGraphicsOpacityEffect *m_opacity = nullptr;
};
