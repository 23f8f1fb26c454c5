#include "PLVCommon/panels/PLVCombinedScrollView.h"
#include "PLVCommon/panels/TQAnimator.h"
#include "PLVCommon/panels/TQClipView.h"
#include "PLVCommon/panels/TQView.h"
#include "PLVCommon/platform/PLVAnimationContext.h"
#include "support/PLVTest.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QWheelEvent>
#include <QWindow>

#include <gtest/gtest.h>

namespace {

using C = PLVLayoutConstraint;

// Geometry in the root's Qt coordinates (y down), which is what constraints speak.
QRect inRoot(QWidget *w, QWidget *root) { return QRect(w->mapTo(root, QPoint(0, 0)), w->size()); }

TEST(TQViewConstraints, EdgeOperationsPlaceViewsWithConstantsMultipliersAndPriorities)
{
    TQView root;
    root.resize(300, 200);
    auto *box = new TQView(&root);
    auto *inner = new TQView(box);
    auto *other = new TQView(&root);

    TQView::addEdgeToEdgeConstraintsForSuperview(&root, box);
    for (int a : {C::Leading, C::Top})
        TQView::addEdgeConstraintWithConstant(a, box, inner, 10);
    TQView::addEdgeConstraintWithConstant(C::Trailing, box, inner, -10); // the sign as given
    TQView::edgeConstraint(C::Height, inner, 40)->setActive(true);
    // other.height = box.height × 0.25 + 5; other shares box's leading/trailing/top by A-to-B.
    TQView::edgeConstraint(C::Height, box, other, 5, 0.25)->setActive(true);
    for (int a : {C::Leading, C::Trailing, C::Top})
        TQView::addEdgeConstraint(a, nullptr, other, box);
    // Two wishes for the same edge: the stronger one wins.
    TQView::addEdgeConstraintWithPriority(C::Bottom, box, inner, 250);
    TQView::edgeConstraint(C::Bottom, box, inner, -100)->setActive(true); // required, but clashes with top + height
    PLVConstraintLayout::layoutSubtreeIfNeeded(&root);

    // The root's size is only a wish: the required chain asks for 150 points.
    auto *layout = PLVConstraintLayout::forView(&root);
    EXPECT_EQ(layout->fittingSize(), QSize(300, 150));
    EXPECT_EQ(inRoot(box, &root), QRect(0, 0, 300, 150));
    EXPECT_EQ(inRoot(other, &root), QRect(0, 0, 300, 43)); // 150 × 0.25 + 5, rounded
    EXPECT_EQ(inRoot(inner, &root), QRect(10, 10, 280, 40));
    EXPECT_EQ(layout->unsatisfiedConstraints().size(), 1); // the weak bottom
    // A required constraint against another required one is left out, and the layout goes on.
    TQView::edgeConstraint(C::Height, box, 120)->setActive(true);
    PLVConstraintLayout::layoutSubtreeIfNeeded(&root);
    EXPECT_EQ(inRoot(box, &root), QRect(0, 0, 300, 150));
    EXPECT_EQ(layout->unsatisfiedConstraints().size(), 2);

    // Null views make nothing; a made constraint is inactive until activated.
    const int active = int(C::activeConstraints().size());
    TQView::addEdgeConstraint(C::Top, nullptr, inner);
    TQView::addEdgeToEdgeConstraintsForSuperview(&root, nullptr);
    EXPECT_EQ(TQView::edgeConstraint(C::Top, nullptr, inner, 0), nullptr);
    EXPECT_EQ(TQView::edgeConstraint(C::Top, nullptr, 0), nullptr);
    EXPECT_FALSE(TQView::edgeConstraint(C::Top, box, inner, 0)->isActive());
    EXPECT_EQ(int(C::activeConstraints().size()), active);
}

TEST(TQViewConstraints, RemovingAViewDropsItsTiesAndLowPriorityYieldsToTheContainerHeight)
{
    // The widget's arrangement: a content view pinned at the bottom with 750,
    // inside a container whose own height is required.
    TQView root;
    root.resize(200, 100);
    auto *container = new TQView(&root);
    for (int a : {C::Leading, C::Trailing, C::Top})
        TQView::addEdgeConstraint(a, &root, container);
    TQView::edgeConstraint(C::Height, container, 60)->setActive(true);
    auto *content = new TQView(container);
    content->setFrame(QRectF(0, 0, 200, 300));
    for (int a : {C::Leading, C::Trailing, C::Top})
        TQView::addEdgeConstraint(a, container, content);
    TQView::addEdgeConstraintWithPriority(C::Bottom, container, content, 750);
    PLVConstraintLayout::layoutSubtreeIfNeeded(&root);
    EXPECT_EQ(inRoot(container, &root), QRect(0, 0, 200, 60));
    EXPECT_EQ(inRoot(content, &root), QRect(0, 0, 200, 60));
    EXPECT_EQ(C::constraintsAffecting(content).size(), 4);

    content->removeFromSuperview();
    EXPECT_TRUE(C::constraintsAffecting(content).isEmpty());
    container->addSubview(content);
    TQView::addEdgeToEdgeConstraintsForSuperview(container, content);
    PLVConstraintLayout::layoutSubtreeIfNeeded(&root);
    EXPECT_EQ(inRoot(content, &root), QRect(0, 0, 200, 60));
    EXPECT_TRUE(PLVConstraintLayout::forView(&root)->unsatisfiedConstraints().isEmpty());
    // The root's own size is only a wish: required content heights ask for more.
    TQView::edgeConstraint(C::Bottom, &root, container, 0)->setActive(true);
    EXPECT_EQ(PLVConstraintLayout::forView(&root)->fittingSize(), QSize(200, 60));
    delete content; // its constraints go with it
    EXPECT_TRUE(C::constraintsAffecting(content).isEmpty());
}

TEST(TQViewOrder, SubviewsScreenOrderAndTheKeyLoop)
{
    TQView window;
    window.resize(200, 400);
    auto *group = new TQView(&window);
    group->setFrame(QRectF(0, 0, 200, 400));
    auto *button = new QPushButton(group);
    QLineEdit *fields[3];
    const int ys[3] = {100, 300, 200}; // window y of each field (bottom-left)
    for (int i = 0; i < 3; ++i) {
        fields[i] = new QLineEdit(i == 1 ? static_cast<QWidget *>(&window) : group);
        fields[i]->setGeometry(10, 400 - ys[i] - 20, 100, 20);
    }
    const QList<QWidget *> all = TQView::allSubviewsFor(&window);
    ASSERT_EQ(all.size(), 6);
    EXPECT_EQ(all.mid(0, 5), (QList<QWidget *>{&window, group, button, fields[0], fields[2]}));
    EXPECT_EQ(TQView::allSubviewsToIncludeInLoopFor(&window), (QList<QWidget *>{fields[0], fields[2], fields[1]}));
    EXPECT_EQ(TQView::viewsScreenOrdered({fields[0], fields[1], fields[2]}),
              (QList<QWidget *>{fields[1], fields[2], fields[0]}));

    TQView::updateLoopViewFor(&window);
    EXPECT_EQ(TQView::nextKeyView(fields[1]), nullptr); // deferred, never at once
    ASSERT_TRUE(plvtest::waitUntil([&] { return TQView::nextKeyView(fields[1]) != nullptr; }));
    EXPECT_EQ(TQView::nextKeyView(fields[1]), fields[2]);
    EXPECT_EQ(TQView::nextKeyView(fields[2]), fields[0]);
    EXPECT_EQ(TQView::nextKeyView(fields[0]), nullptr); // no wrap-around
}

TEST(TQViewOrder, LayerContentScaleWithoutAWindowIsTwo)
{
    EXPECT_EQ(TQView::layerContentScale(), 2.0);
    QWidget w;
    w.winId(); // a real window on the offscreen screen (ratio 1)
    EXPECT_EQ(TQView::layerContentScale(), w.windowHandle()->devicePixelRatio());
}

TEST(TQAnimatorTest, ZeroDurationIsSynchronousAndAPositiveOneAnimatesEaseOut)
{
    QStringList trace;
    for (double d : {0.0, -1.0}) {
        TQAnimator::animateWithDuration(d, [&] { trace << "a"; }, [&] { trace << "c"; });
        trace << "returned";
    }
    EXPECT_EQ(trace, (QStringList{"a", "c", "returned", "a", "c", "returned"}));

    TQView view;
    view.setAlphaValue(0.0);
    trace.clear();
    double midway = -1;
    QElapsedTimer clock;
    clock.start();
    TQAnimator::animateWithDuration(
        0.25, [&] { TQAnimator::animatorProxyFor(&view).setValue("alphaValue", 1.0); trace << "a"; },
        [&] { trace << "c"; });
    trace << "returned";
    EXPECT_LT(view.alphaValue(), 0.5);
    plvtest::waitUntil([&] { return clock.elapsed() >= 125; });
    midway = view.alphaValue();
    const qint64 sampledAt = clock.elapsed();
    ASSERT_TRUE(plvtest::waitUntil([&] { return trace.size() == 3; }));
    EXPECT_GE(clock.elapsed(), 240);
    EXPECT_EQ(trace, (QStringList{"a", "returned", "c"}));
    EXPECT_DOUBLE_EQ(view.alphaValue(), 1.0);
    // On the way, when this thread got to look before the end (a busy
    // machine may not let it); the curve itself runs ahead of a straight line.
    if (sampledAt < 200) {
        EXPECT_GT(midway, 0.0);
        EXPECT_LT(midway, 1.0);
    }
    EXPECT_GT(PLVAnimationContext::easingCurve(PLVAnimationContext::Timing::EaseOut).valueForProgress(0.5), 0.55);

    // No animation for a proxy without a duration.
    TQAnimator::animatorProxyFor(&view, 0.0f).setValue("alphaValue", 0.2);
    EXPECT_DOUBLE_EQ(view.alphaValue(), 0.2);
    EXPECT_EQ(PLVAnimationContext::easingCurve(PLVAnimationContext::Timing::Linear).valueForProgress(0.3), 0.3);
}

struct ScrollFixture {
    QWidget outer;
    PLVCombinedScrollView *scroll = nullptr;
    QWidget *doc = nullptr;
    int outerWheels = 0;
    ScrollFixture()
    {
        outer.resize(200, 200);
        scroll = new PLVCombinedScrollView(&outer);
        scroll->setGeometry(0, 0, 200, 100);
        doc = new QWidget;
        doc->resize(50, 100);
        scroll->setDocumentView(doc);
        outer.show(); // frame changes of hidden widgets are not sent until shown
    }
};

TEST(PLVCombinedScrollViewTest, ScrollsOnlyWhenHeightsDifferAndPassesWheelsOtherwise)
{
    ScrollFixture f;
    EXPECT_EQ(f.doc->width(), f.scroll->viewport()->width()); // follows the width, keeps its height
    struct Case {
        int docHeight;
        bool bouncing;
    } cases[] = {{100, false}, {101, true}, {100, false}, {99, true}, {400, true}};
    for (const Case &c : cases) {
        f.doc->resize(f.doc->width(), c.docHeight);
        f.scroll->resize(200, 101);
        f.scroll->resize(200, 100); // a frame change makes it look again
        EXPECT_EQ(f.scroll->bouncingEnabled(), c.bouncing) << c.docHeight;
        EXPECT_EQ(f.scroll->verticalScrollElasticity(), c.bouncing ? 0 : 1);
    }

    // Switching off scrolls back to the top.
    f.scroll->contentView()->scrollToPoint(QPointF(0, 120));
    EXPECT_EQ(f.scroll->verticalScrollBar()->value(), 120);
    f.scroll->scrollViewNeeded(false);
    EXPECT_EQ(f.scroll->verticalScrollBar()->value(), 0);

    // Qt passes an ignored wheel event from the window system on to the parent
    // (synthesized ones stay where they are sent): not bouncing, it is ignored.
    auto wheel = [&] {
        QWheelEvent e(QPointF(10, 10), f.scroll->viewport()->mapToGlobal(QPointF(10, 10)), QPoint(), QPoint(0, -120),
                      Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(f.scroll->viewport(), &e);
        return e.isAccepted();
    };
    EXPECT_FALSE(wheel());
    EXPECT_EQ(f.scroll->verticalScrollBar()->value(), 0);
    f.scroll->scrollViewNeeded(true);
    EXPECT_TRUE(wheel());
    EXPECT_GT(f.scroll->verticalScrollBar()->value(), 0);
}

TEST(PLVCombinedScrollViewTest, AnimatedScrollLinearStopAndLiveResize)
{
    ScrollFixture f;
    f.doc->resize(200, 1000);
    f.scroll->scrollViewNeeded(true);
    bool done = false, block = false;
    TQAnimator::animateScrollView(f.scroll, 0.2, QPointF(0, 400), [&] { block = true; }, [&] { done = true; });
    EXPECT_TRUE(block);
    ASSERT_TRUE(plvtest::waitUntil([&] { return f.scroll->verticalScrollBar()->value() > 0; }));
    int stoppedAt = -1;
    bool stopped = false;
    TQAnimator::stopAnimationScrollView(f.scroll, [&] { stoppedAt = f.scroll->verticalScrollBar()->value(); },
                                        [&] { stopped = true; });
    ASSERT_TRUE(plvtest::waitUntil([&] { return stopped && done; }));
    EXPECT_GT(stoppedAt, 0);
    EXPECT_LT(stoppedAt, 400);
    EXPECT_EQ(f.scroll->verticalScrollBar()->value(), stoppedAt); // stands where it was stopped

    TQClipView::setInLiveResize(&f.outer, true);
    f.scroll->contentView()->scrollToPoint(QPointF(0, 10));
    EXPECT_EQ(f.scroll->verticalScrollBar()->value(), stoppedAt);
    TQClipView::setInLiveResize(&f.outer, false);
    f.scroll->contentView()->scrollToPoint(QPointF(0, 10));
    EXPECT_EQ(f.scroll->verticalScrollBar()->value(), 10);
}

} // namespace
