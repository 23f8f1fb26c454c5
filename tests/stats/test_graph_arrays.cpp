// Sample histories: the shift, the newest point's x, the maxima, sizing.
#include "PLVCommon/stats/PLVGraphArrays.h"

#include <gtest/gtest.h>

namespace {

using Points = std::vector<std::pair<double, double>>;

Points points(const QPointF *p, qint64 n)
{
    Points out;
    for (qint64 k = 0; k < n; ++k)
        out.emplace_back(p[k].x(), p[k].y());
    return out;
}

} // namespace

TEST(GraphArrays, PushShiftsValuesLeftAndPutsTheNewestOneColumnFurther)
{
    PLVGraphArrays g;
    g.initArraysWithMaxSize(4);
    EXPECT_EQ(points(g.arrayToDisplay(), 4), (Points{{0, 0}, {1, 0}, {2, 0}, {3, 0}}));
    g.addNewValue(5);
    EXPECT_EQ(points(g.arrayToDisplay(), 4), (Points{{0, 0}, {1, 0}, {2, 0}, {4, 5}}));
    EXPECT_EQ(g.currentMaxValue(), 5.0f);
    g.addNewValue(2);
    g.addNewValue(7);
    g.addNewValue(1);
    EXPECT_EQ(points(g.arrayToDisplay(), 4), (Points{{0, 5}, {1, 2}, {2, 7}, {4, 1}}));
    EXPECT_EQ(g.currentMaxValue(), 7.0f);
    // The 5 and then the 2 drop out; the maximum follows what is still held.
    g.addNewValue(3);
    EXPECT_EQ(g.currentMaxValue(), 7.0f);
    g.addNewValue(0);
    g.addNewValue(0);
    EXPECT_EQ(points(g.arrayToDisplay(), 4), (Points{{0, 1}, {1, 3}, {2, 0}, {4, 0}}));
    EXPECT_EQ(g.currentMaxValue(), 3.0f);
    // The second series was never touched.
    EXPECT_EQ(points(g.arrayToDisplay2(), 4), (Points{{0, 0}, {1, 0}, {2, 0}, {3, 0}}));
}

TEST(GraphArrays, MaximaNeverBelowZeroAndTheLargerSeriesWins)
{
    PLVGraphArrays g;
    g.initArraysWithMaxSize(3);
    g.addNewValue(-3);
    EXPECT_EQ(g.currentMaxValue(), 0.0f);
    EXPECT_EQ(g.arrayToDisplay()[2].y(), -3.0);

    g.addNewValue(2);
    g.addNewValue2(7);
    EXPECT_EQ(g.maxValue(), 7.0f);
    g.addNewValue(9);
    EXPECT_EQ(g.maxValue(), 9.0f);
}

TEST(GraphArrays, SizeRulesSinglePointAndReset)
{
    PLVGraphArrays g;
    EXPECT_EQ(g.maxSizeVar(), 0);
    g.addNewValue(1); // unsized: ignored rather than written before the array
    EXPECT_EQ(g.currentMaxValue(), 0.0f);

    g.initArraysWithMaxSize(1);
    g.addNewValue(4);
    EXPECT_EQ(points(g.arrayToDisplay(), 1), (Points{{1, 4}}));
    g.addNewValue(-2);
    EXPECT_EQ(points(g.arrayToDisplay(), 1), (Points{{1, -2}}));
    EXPECT_EQ(g.currentMaxValue(), 0.0f);

    // Sizes outside 1..350 are clamped: the arrays are fixed inside the object.
    g.initArraysWithMaxSize(-5);
    EXPECT_EQ(g.maxSizeVar(), 1);
    g.initArraysWithMaxSize(1000);
    EXPECT_EQ(g.maxSizeVar(), 350);
    for (int i = 1; i <= 400; ++i)
        g.addNewValue(float(i));
    EXPECT_EQ(g.arrayToDisplay()[349], QPointF(350, 400));
    EXPECT_EQ(g.arrayToDisplay()[0], QPointF(0, 51));

    g.awakeFromNib();
    EXPECT_EQ(g.arrayToDisplay()[349], QPointF(349, 0));
    g.addNewValue(6);
    g.addNewValue2(8);
    g.initArrays();
    EXPECT_EQ(g.currentMaxValue(), 0.0f);
    EXPECT_EQ(g.currentMaxValue2(), 8.0f) << "series 2 keeps its maximum until its next push";
    EXPECT_EQ(g.arrayToDisplay2()[349], QPointF(349, 0));
}

TEST(GraphArraysMultiple, BuffersSizedFromTheStoredSizeAndKeptWhileNothingChanges)
{
    PLVGraphArraysMultiple m;
    m.setNumberOfGraphs(2);
    m.setArrayMaxSize(5);
    m.addNewValue(3, 0);
    PLVGraphArrays *first = m.graphArrayAtIndex(0);
    m.setArrayMaxSize(5);
    m.setNumberOfGraphs(2);
    EXPECT_EQ(m.graphArrayAtIndex(0), first) << "the same count must not replace the buffers";
    EXPECT_EQ(first->arrayToDisplay()[4], QPointF(5, 3)) << "the same size must not reset";

    // Out-of-range indices answer nothing and take no value.
    EXPECT_EQ(m.graphArrayAtIndex(2), nullptr);
    EXPECT_EQ(m.graphArrayAtIndex(-1), nullptr);
    m.addNewValue(9, 2);
    m.addNewValue2(9, -1);
    EXPECT_EQ(first->maxValue(), 3.0f);

    // More graphs at the same width: the owner does not set the size again,
    // yet every new buffer must take pushes at that size.
    m.setNumberOfGraphs(3);
    m.setArrayMaxSize(5);
    for (qint64 i = 0; i < 3; ++i)
        EXPECT_EQ(m.graphArrayAtIndex(i)->maxSizeVar(), 5) << i;
    m.addNewValue2(6, 2);
    EXPECT_EQ(m.graphArrayAtIndex(2)->arrayToDisplay2()[4], QPointF(5, 6));

    m.setArrayMaxSize(7);
    EXPECT_EQ(m.graphArrayAtIndex(2)->maxSizeVar(), 7);
    EXPECT_EQ(m.graphArrayAtIndex(2)->arrayToDisplay2()[4], QPointF(4, 0)) << "a new size starts over";
}
