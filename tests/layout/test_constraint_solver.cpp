#include "PLVCommon/layout/PLVConstraintSolver.h"

#include <gtest/gtest.h>

namespace {

using S = PLVConstraintSolver;
using R = S::Relation;

// x = value, as a constraint (x - value = 0).
S::ConstraintId pin(S &s, S::Variable x, double value, double priority = S::Required, R rel = R::Equal)
{
    return s.addConstraint({{x, 1.0}}, -value, rel, priority);
}

TEST(ConstraintSolver, EqualitiesWithMultiplierAndConstant)
{
    // The shapes layout makes: a = b × m + c, chained, and a sum (trailing = leading + width).
    S s;
    const auto leading = s.addVariable(), width = s.addVariable(), trailing = s.addVariable(), half = s.addVariable();
    pin(s, leading, 6);
    pin(s, width, 120);
    s.addConstraint({{trailing, 1}, {leading, -1}, {width, -1}}, 0, R::Equal);
    s.addConstraint({{half, 1}, {trailing, -0.5}}, -2, R::Equal); // half = trailing × 0.5 + 2
    s.solve();
    EXPECT_DOUBLE_EQ(s.value(trailing), 126);
    EXPECT_DOUBLE_EQ(s.value(half), 65);
    EXPECT_TRUE(s.unsatisfiedConstraints().isEmpty());
}

TEST(ConstraintSolver, HigherPriorityWinsAndTiesGoToTheFirst)
{
    struct Case {
        double p1, p2, expected;
    } cases[] = {
        {750, 500, 100},  // higher first
        {250, 500, 200},  // higher second
        {500, 500, 100},  // tie: the earlier one
        {1000, 999, 100}, // required beats the strongest optional
    };
    for (const Case &c : cases) {
        S s;
        const auto h = s.addVariable();
        const auto first = pin(s, h, 100, c.p1);
        const auto second = pin(s, h, 200, c.p2);
        s.solve();
        EXPECT_DOUBLE_EQ(s.value(h), c.expected) << c.p1 << " vs " << c.p2;
        EXPECT_EQ(s.unsatisfiedConstraints(), QList<S::ConstraintId>{c.expected == 100 ? second : first});
    }
}

TEST(ConstraintSolver, UnsatisfiableRequiredIsReportedOnceAndTheRestStillSolves)
{
    S s;
    QList<S::ConstraintId> reported;
    s.setConflictHandler([&](S::ConstraintId id) { reported.append(id); });
    const auto x = s.addVariable(), y = s.addVariable();
    const auto a = pin(s, x, 10);
    const auto b = pin(s, x, 20);
    s.addConstraint({{y, 1}, {x, -2}}, 0, R::Equal); // y = 2x, still honoured
    s.solve();
    s.solve();
    EXPECT_DOUBLE_EQ(s.value(x), 10);
    EXPECT_DOUBLE_EQ(s.value(y), 20);
    EXPECT_EQ(reported, QList<S::ConstraintId>{b});

    // Removing the winner lets the other one through; removal is idempotent.
    EXPECT_TRUE(s.removeConstraint(a));
    EXPECT_FALSE(s.removeConstraint(a));
    s.solve();
    EXPECT_DOUBLE_EQ(s.value(x), 20);
    EXPECT_DOUBLE_EQ(s.value(y), 40);
    EXPECT_TRUE(s.unsatisfiedConstraints().isEmpty());
    EXPECT_EQ(reported.size(), 1);
}

TEST(ConstraintSolver, RemovalFallsBackToTheWeakerConstraintAndThenToTheStay)
{
    S s;
    const auto x = s.addVariable(42);
    const auto strong = pin(s, x, 10, 750);
    const auto weak = pin(s, x, 30, 250);
    s.solve();
    EXPECT_DOUBLE_EQ(s.value(x), 10);
    s.removeConstraint(strong);
    s.solve();
    EXPECT_DOUBLE_EQ(s.value(x), 30);
    s.removeConstraint(weak);
    s.setValue(x, 7);
    s.solve();
    EXPECT_DOUBLE_EQ(s.value(x), 7); // nothing determines it: it stays
}

TEST(ConstraintSolver, InequalitiesHoldAtTheirBoundOnlyWhenBroken)
{
    struct Case {
        R relation;
        double bound, wanted, expected;
    } cases[] = {
        {R::GreaterOrEqual, 50, 10, 50},
        {R::GreaterOrEqual, 50, 80, 80},
        {R::LessOrEqual, 100, 150, 100},
        {R::LessOrEqual, 100, 10, 10},
    };
    for (const Case &c : cases) {
        S s;
        const auto x = s.addVariable(), y = s.addVariable();
        pin(s, x, c.bound, S::Required, c.relation);
        pin(s, x, c.wanted, 500);
        s.addConstraint({{y, 1}, {x, -1}}, -1, R::Equal); // y follows x
        s.solve();
        EXPECT_DOUBLE_EQ(s.value(x), c.expected);
        EXPECT_DOUBLE_EQ(s.value(y), c.expected + 1);
    }
}

TEST(ConstraintSolver, ContradictoryInequalitiesAndBadInputStayHarmless)
{
    S s;
    int reports = 0;
    s.setConflictHandler([&](S::ConstraintId) { ++reports; });
    const auto x = s.addVariable();
    pin(s, x, 100, S::Required, R::GreaterOrEqual);
    const auto below = pin(s, x, 50, S::Required, R::LessOrEqual);
    const auto unknown = s.addConstraint({{x + 7, 1}}, 0, R::Equal);
    const auto nan = s.addConstraint({{x, 1}}, std::nan(""), R::Equal);
    s.solve();
    EXPECT_DOUBLE_EQ(s.value(x), 100);
    EXPECT_EQ(s.unsatisfiedConstraints(), (QList<S::ConstraintId>{below, unknown, nan}));
    EXPECT_EQ(reports, 1); // the impossible bound; malformed constraints are not conflicts
    EXPECT_FALSE(s.setConstant(below, std::nan("")));
    EXPECT_FALSE(s.setConstant(12345, 1));
}

} // namespace
