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
    // Each push, then the first series and its maximum: the 5 and the 2 drop
    // out, and the maximum follows what is still held, never below 0.
    const struct {
        float push;
        Points expected;
        float max;
    } steps[] = {
        {5, {{0, 0}, {1, 0}, {2, 0}, {4, 5}}, 5}, {2, {{0, 0}, {1, 0}, {2, 5}, {4, 2}}, 5},
        {7, {{0, 0}, {1, 5}, {2, 2}, {4, 7}}, 7}, {1, {{0, 5}, {1, 2}, {2, 7}, {4, 1}}, 7},
        {3, {{0, 2}, {1, 7}, {2, 1}, {4, 3}}, 7},   {-1, {{0, 7}, {1, 1}, {2, 3}, {4, -1}}, 7},
        {-2, {{0, 1}, {1, 3}, {2, -1}, {4, -2}}, 3}, {-3, {{0, 3}, {1, -1}, {2, -2}, {4, -3}}, 3},
        {-4, {{0, -1}, {1, -2}, {2, -3}, {4, -4}}, 0},
    };
    for (const auto &s : steps) {
        g.addNewValue(s.push);
        EXPECT_EQ(points(g.arrayToDisplay(), 4), s.expected) << "after " << s.push;
        EXPECT_EQ(g.currentMaxValue(), s.max) << "after " << s.push;
    }
    EXPECT_EQ(points(g.arrayToDisplay2(), 4), (Points{{0, 0}, {1, 0}, {2, 0}, {3, 0}})) << "series 2 untouched";

    // The larger series maximum wins, whichever series holds it.
    g.addNewValue2(9);
    EXPECT_EQ(g.maxValue(), 9.0f);
    g.addNewValue(12);
    EXPECT_EQ(g.maxValue(), 12.0f);
}

TEST(GraphArrays, SizeRulesSinglePointAndReset)
{
    PLVGraphArrays g;
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
    m.addNewValue2(6, 2);
    EXPECT_EQ(m.graphArrayAtIndex(2)->arrayToDisplay2()[4], QPointF(5, 6));

    m.setArrayMaxSize(7);
    EXPECT_EQ(m.graphArrayAtIndex(2)->maxSizeVar(), 7);
    EXPECT_EQ(m.graphArrayAtIndex(2)->arrayToDisplay2()[4], QPointF(4, 0)) << "a new size starts over";
}
