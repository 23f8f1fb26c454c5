// Sample histories: the shift, the newest point's x, the maxima, sizing.
#include "PLVCommon/stats/PLVGraphArrays.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <thread>

namespace {

using Column = std::vector<double>;

// The y (or x) values of the first n points.
Column column(const QPointF *p, qint64 n, qreal (QPointF::*of)() const = &QPointF::y)
{
    Column out;
    for (qint64 k = 0; k < n; ++k)
        out.push_back((p[k].*of)());
    return out;
}

} // namespace

TEST(GraphArrays, PushShiftsValuesLeftAndPutsTheNewestOneColumnFurther)
{
    PLVGraphArrays g;
    g.initArraysWithMaxSize(4);
    EXPECT_EQ(column(g.arrayToDisplay(), 4, &QPointF::x), (Column{0, 1, 2, 3}));
    // The maximum follows the values still held (the 5, then the 7 drop out), never below 0.
    const struct {
        float push;
        Column ys;
        float max;
    } steps[] = {
        {5, {0, 0, 0, 5}, 5},   {2, {0, 0, 5, 2}, 5},    {7, {0, 5, 2, 7}, 7},     {1, {5, 2, 7, 1}, 7},
        {3, {2, 7, 1, 3}, 7},   {-1, {7, 1, 3, -1}, 7},  {-2, {1, 3, -1, -2}, 3},  {-3, {3, -1, -2, -3}, 3},
        {-4, {-1, -2, -3, -4}, 0},
    };
    for (const auto &s : steps) {
        g.addNewValue(s.push);
        EXPECT_EQ(column(g.arrayToDisplay(), 4), s.ys) << "after " << s.push;
        EXPECT_EQ(g.currentMaxValue(), s.max) << "after " << s.push;
    }
    EXPECT_EQ(column(g.arrayToDisplay(), 4, &QPointF::x), (Column{0, 1, 2, 4}));
    EXPECT_EQ(column(g.arrayToDisplay2(), 4, &QPointF::x), (Column{0, 1, 2, 3})) << "series 2 untouched";
    EXPECT_EQ(column(g.arrayToDisplay2(), 4), Column(4, 0.0));

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
    EXPECT_EQ(g.arrayToDisplay()[0], QPointF(1, 4));
    g.addNewValue(-2);
    EXPECT_EQ(g.arrayToDisplay()[0], QPointF(1, -2));
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

TEST(GraphArraysMultiple, ResizedOnAWorkerThreadWithoutParentingAcrossThreads)
{
    // Models resize their histories on the global queue while the owner lives
    // on the main thread; the test programs fail on Qt's cross-thread warnings.
    PLVGraphArraysMultiple histories;
    histories.setArrayMaxSize(4);
    std::thread([&] {
        histories.setNumberOfGraphs(2);
        histories.addNewValue(5, 1);
    }).join();
    ASSERT_NE(histories.graphArrayAtIndex(1), nullptr);
    EXPECT_EQ(histories.graphArrayAtIndex(1)->thread(), histories.thread());
    EXPECT_EQ(histories.graphArrayAtIndex(1)->valuesToPublish().last().toFloat(), 5);
    std::thread([&] { histories.setNumberOfGraphs(1); }).join();
    EXPECT_EQ(histories.graphArrayAtIndex(1), nullptr);

    // And the guard that catches the fault, on whichever thread it happens.
    QObject owner;
    EXPECT_NONFATAL_FAILURE_ON_ALL_THREADS(std::thread([&] { QObject child(&owner); }).join(), "wrong thread");
}
