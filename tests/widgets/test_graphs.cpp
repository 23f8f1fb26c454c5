// History graphs, gauges and bars rendered into real images at 1x and 2x, on a
// light and a dark background, and probed at known points (bottom-left points).
#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"
#include "PLVCommon/widgets/PLVGaugeview.h"
#include "PLVCommon/widgets/PLVGraph.h"
#include "PLVCommon/widgets/PLVProgressbar.h"
#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

const QColor kC1(0, 122, 255);
const QColor kC2(255, 149, 0);

struct Look {
    qreal scale;
    QColor background;
};
// 1x and 2x, light and dark.
const Look kLooks[] = {{1, QColor(236, 236, 236)}, {2, QColor(236, 236, 236)}, {1, QColor(30, 30, 30)}, {2, QColor(30, 30, 30)}};

QImage render(QWidget &view, const Look &look) { return plvtest::render(view, look.scale, look.background); }
using plvtest::at, plvtest::describe, plvtest::near, plvtest::over;

// A graph of width w and height h over a buffer holding the values, oldest first.
struct GraphFixture {
    PLVGraphArrays buffer;
    PLVGraph graph;
    GraphFixture(int w, int h, int type, float max, const QList<float> &s1, const QList<float> &s2 = {})
    {
        graph.setFrame(QRectF(0, 0, w, h));
        graph.setGraphObject(&buffer);
        graph.initVariables();
        buffer.initArraysWithMaxSize(w);
        for (float v : s1)
            buffer.addNewValue(v);
        for (float v : s2)
            buffer.addNewValue2(v);
        graph.setGraphDefinedType(type);
        graph.setMaxValue(max);
        graph.setGraphColor(kC1);
        graph.setGraphColor2(kC2);
    }
};

QList<float> constant(float v, int n = 100) { return QList<float>(n, v); }

} // namespace

TEST(Graph, EachTypePlacesItsSeriesWhereTheLayoutSays)
{
    struct Probe {
        double y;
        int series; // 1, 2 or 0 for the background
    };
    struct Case {
        const char *what;
        int type;
        int height;
        float max, v1, v2;
        QList<Probe> probes;
    } cases[] = {
        {"type 0: 50 of 100 on 50 points reaches 25", 0, 50, 100, 50, 0, {{0.5, 1}, {24.5, 1}, {25.5, 0}}},
        {"type 0: 200 of 100 runs past the top", 0, 50, 100, 200, 0, {{49.5, 1}}},
        {"type 1: series 1 hangs to the bottom, series 2 rises to the top", 1, 40, 10, 10, 10, {{0.5, 1}, {19.5, 1}, {20.5, 2}, {39.5, 2}}},
        {"type 1: halves of the maximum reach the quarter lines", 1, 40, 10, 5, 5, {{9.5, 0}, {10.5, 1}, {29.5, 2}, {30.5, 0}}},
        {"type 2: bottom-up and top-down meet in the middle", 2, 40, 10, 10, 10, {{0.5, 1}, {19.5, 1}, {20.5, 2}, {39.5, 2}}},
        {"type 2: half values leave the middle empty", 2, 40, 10, 5, 5, {{9.5, 1}, {10.5, 0}, {29.5, 0}, {30.5, 2}}},
        {"type 3: stacked halves", 3, 40, 10, 10, 5, {{19.5, 1}, {20.5, 2}, {29.5, 2}, {30.5, 0}}},
    };
    for (const Case &c : cases) {
        GraphFixture f(100, c.height, c.type, c.max, constant(c.v1), constant(c.v2));
        for (const Look &look : kLooks) {
            const QImage img = render(f.graph, look);
            for (const Probe &p : c.probes) {
                SCOPED_TRACE(c.what);
                const QColor want = p.series == 1 ? kC1 : p.series == 2 ? kC2 : look.background;
                EXPECT_COLOR(img, 50.5, p.y, want);
            }
        }
    }
}

TEST(Graph, KeepsTheLastValidLayoutAndIgnoresTheSecondMaximum)
{
    GraphFixture f(100, 40, 3, 10, constant(10), constant(5));
    const QImage stacked = render(f.graph, kLooks[0]);
    f.graph.setGraphDefinedType(7);
    f.graph.setMaxValue2(1);
    EXPECT_EQ(render(f.graph, kLooks[0]), stacked);
    // Never drawn before: no layout at all, every value on the baseline.
    GraphFixture fresh(100, 40, 9, 10, constant(10), constant(5));
    const QImage img = render(fresh.graph, kLooks[0]);
    EXPECT_COLOR(img, 50.5, 0.5, kLooks[0].background);
}

TEST(Graph, TheNewestSampleStandsInTheLastColumn)
{
    QList<float> values = constant(0, 99);
    values << 100;
    GraphFixture f(100, 50, 0, 100, values);
    for (const Look &look : kLooks) {
        const QImage img = render(f.graph, look);
        // The newest point is at x = 100, its neighbour at x = 98: the spike
        // fills the last two columns only, highest at the right edge.
        EXPECT_COLOR(img, 99.5, 20, kC1);
        if (look.scale == 2) {
            EXPECT_COLOR(img, 99.75, 30, kC1);
        }
        EXPECT_COLOR(img, 97.5, 5, look.background);
        EXPECT_COLOR(img, 50.5, 0.5, look.background);
    }
}

TEST(Graph, DynamicMaximumFollowsTheOwnBufferNotTheDrawnOne)
{
    GraphFixture f(100, 40, 0, 100, constant(20));
    PLVGraphArrays extern_;
    extern_.initArraysWithMaxSize(100);
    for (float v : constant(10))
        extern_.addNewValue(v);
    f.graph.updateGraphObject(&extern_);
    f.graph.setIsMaxValueDynamic(true);
    const QImage img = render(f.graph, kLooks[1]);
    // Maximum 20 from graphObject: 10 from the drawn buffer reaches half height.
    EXPECT_FLOAT_EQ(f.graph.maxValue(), 20);
    EXPECT_COLOR(img, 50.5, 19.5, kC1);
    EXPECT_COLOR(img, 50.5, 20.5, kLooks[1].background);
}

TEST(Graph, ANewWidthClearsTheHistoryTheSameWidthKeepsIt)
{
    GraphFixture f(100, 40, 0, 10, constant(10));
    f.graph.setFrameSize(QSizeF(100, 60));
    render(f.graph, kLooks[0]); // a hidden view gets its resize when drawn
    EXPECT_FLOAT_EQ(f.buffer.maxValue(), 10);
    f.graph.setFrameSize(QSizeF(80, 60));
    render(f.graph, kLooks[0]);
    EXPECT_EQ(f.graph.maxSize(), 80);
    EXPECT_EQ(f.buffer.maxSizeVar(), 80);
    EXPECT_FLOAT_EQ(f.buffer.maxValue(), 0);
}

TEST(GraphMultiple, SplitsItsWidthIntoUnitsAndPassesPropertiesOn)
{
    struct Case {
        qint64 n;
        qint64 gap;
        QList<double> xs;
        double width;
    } cases[] = {
        {4, 10, {0, 77, 154, 231}, 67},
        {2, 15, {0, 157}, 142}, // (300 - 15) / 2 = 142.5 -> 142
        {8, 5, {0, 38, 76, 114, 152, 190, 228, 266}, 33},
    };
    for (const Case &c : cases) {
        PLVGraphArraysMultiple buffers;
        PLVGraphMultiple view;
        view.setFrame(QRectF(0, 0, 300, 40));
        view.setGraphObject(&buffers);
        view.setGraphColor(kC2); // before N: stored only
        view.setNumberOfGraphs(1);
        view.setNumberOfGraphs(c.n); // the second build hands the stored colour on
        ASSERT_EQ(view.unitGraphViews().size(), c.n);
        EXPECT_EQ(view.gutGapBetweenGraphs(), c.gap);
        for (qint64 i = 0; i < c.n; ++i) {
            const PLVGraph *g = view.unitGraphViews().at(i);
            EXPECT_DOUBLE_EQ(g->frame().x(), c.xs.at(i)) << "n " << c.n << " graph " << i;
            EXPECT_DOUBLE_EQ(g->frame().width(), c.width);
            EXPECT_EQ(g->maxSize(), qint32(c.width));
            EXPECT_EQ(g->graphColor(), kC2);
            EXPECT_EQ(g->externGraphObject(), buffers.graphArrayAtIndex(i));
        }
        view.maxValue(50, c.n); // out of range: ignored
        view.maxValue(50, 0);
        EXPECT_FLOAT_EQ(view.unitGraphViews().at(0)->maxValue(), 50);
        EXPECT_FLOAT_EQ(view.unitGraphViews().at(1)->maxValue(), 0);
    }
}

TEST(GraphMultiple, FeedsEachUnitFromItsOwnBuffer)
{
    PLVGraphArraysMultiple buffers;
    PLVGraphMultiple view;
    view.setFrame(QRectF(0, 0, 300, 40));
    view.setGraphObject(&buffers);
    view.setNumberOfGraphs(4);
    view.setGraphColor(kC1);
    view.setMaxValue(10);
    for (int i = 0; i < 100; ++i)
        buffers.addNewValue(10, 2);
    const QImage img = render(view, kLooks[1]);
    EXPECT_COLOR(img, 154 + 33, 20, kC1);                 // the third unit, full
    EXPECT_COLOR(img, 77 + 33, 20, kLooks[1].background); // the second, empty
    EXPECT_COLOR(img, 150, 20, kLooks[1].background);     // the gap
}

TEST(Gauge, BarPieAndRingShowThePercentAtTheirGeometry)
{
    const QColor inner = kC1, outer(128, 128, 128);
    auto gauge = [&](int form, float value) {
        auto g = std::make_unique<PLVGaugeview>();
        g->setFrame(QRectF(0, 0, 1, 22));
        g->setGaugeDefinedType(form);
        g->setInnerColor(inner);
        g->setOuterColor(outer);
        g->setCurrentValue(value);
        return g;
    };
    // Bar: 50 -> ceil(9.0) = 9 from y = 2; 51 -> 10; 0 -> only the track.
    struct BarCase {
        float value;
        double top;
    } bars[] = {{50, 11}, {51, 12}, {0, 2}, {100, 20}};
    for (const BarCase &b : bars) {
        auto g = gauge(1, b.value);
        EXPECT_EQ(g->frame().width(), 6);
        for (const Look &look : kLooks) {
            const QImage img = render(*g, look);
            if (b.top > 2) {
                EXPECT_COLOR(img, 3, b.top - 0.5, inner);
            }
            if (b.top < 20) {
                EXPECT_COLOR(img, 3, b.top + 0.5, outer);
            }
            EXPECT_COLOR(img, 3, 1.5, look.background); // below the track
        }
    }
    // Pie and ring: the value part runs clockwise from 12 o'clock, 3.6 degrees
    // per percent. Probes on the pie's radius 5 and on the ring's centre line.
    struct ArcCase {
        int form;
        float value;
        double degrees; // counter-clockwise from 3 o'clock
        bool inner;
    } arcs[] = {
        {2, 25, 45, true},  {2, 25, 5, true},   {2, 25, 95, false},  {2, 25, -5, false}, {2, 25, 180, false},
        {2, 100, 180, true}, {2, 100, -90, true}, {2, 0, 45, false},  {2, 0, 180, false},
        {3, 25, 45, true},  {3, 25, 8, true},   {3, 25, 82, true},   {3, 25, 98, false}, {3, 25, -8, false},
        {3, 75, 200, true}, {3, 75, 170, false}, {3, 75, 98, false}, {3, 100, 270, true}, {3, 0, 45, false},
    };
    for (const ArcCase &a : arcs) {
        auto g = gauge(a.form, a.value);
        EXPECT_EQ(g->frame().width(), 16);
        const double r = a.form == 2 ? 5.0 : 6.5;
        const double x = 8 + r * std::cos(a.degrees * M_PI / 180), y = 11 + r * std::sin(a.degrees * M_PI / 180);
        for (const Look &look : kLooks) {
            if (look.scale < 2 && a.form == 3)
                continue; // a 3-point ring at 1x: probes on its centre line are anti-aliased
            const QImage img = render(*g, look);
            SCOPED_TRACE(testing::Message() << "form " << a.form << " value " << a.value << " at " << a.degrees);
            EXPECT_COLOR(img, x, y, a.inner ? inner : outer);
        }
    }
    // The ring's centre stays empty.
    const QImage ring = render(*gauge(3, 100), kLooks[1]);
    EXPECT_COLOR(ring, 8, 11, kLooks[1].background);
}

TEST(Gauge, GraphFormScrollsItsOwnHistory)
{
    PLVGaugeview g;
    g.setFrame(QRectF(0, 0, 1, 22));
    g.setGaugeDefinedType(4);
    EXPECT_EQ(g.frame().width(), 20);
    EXPECT_FLOAT_EQ(g.scale(), 0.18f);
    g.setInnerColor(kC1);
    g.setOuterColor(QColor(128, 128, 128));
    // The same value twice still scrolls: two columns at the right.
    g.setCurrentValue(100);
    g.setCurrentValue(100);
    const QImage img = render(g, kLooks[1]);
    EXPECT_COLOR(img, 19.5, 19.5, kC1);
    EXPECT_COLOR(img, 18.5, 10, kC1);
    EXPECT_COLOR(img, 16.5, 10, QColor(128, 128, 128));
    // A dynamic maximum follows the larger of both series, from series 1 only.
    g.setIsMaxValueDynamic(true);
    g.setGraphDefinedType(3);
    g.setCurrentValue2(300);
    EXPECT_FLOAT_EQ(g.maxValue(), 0);
    g.setCurrentValue(10);
    EXPECT_FLOAT_EQ(g.maxValue(), 300);
    EXPECT_FLOAT_EQ(g.scale(), 18.0f / 300);
    g.setMaxValue2(600);
    EXPECT_FLOAT_EQ(g.scale2(), 18.0f / 600);
}

TEST(GaugeViewMultiple, SizesItselfToItsRowOfGauges)
{
    struct Case {
        int form;
        qint64 n;
        double width;
    } cases[] = {{1, 4, 27}, {2, 4, 67}, {3, 4, 67}, {4, 4, 83}, {2, 3, 50}, {1, 0, 0}};
    for (const Case &c : cases) {
        PLVGaugeViewMultiple row;
        row.setFrame(QRectF(0, 0, 100, 22));
        row.setGaugeDefinedType(c.form);
        row.setNumberOfGauges(c.n);
        row.setGaugeDefinedType(c.form); // the first build leaves the form to the owner
        EXPECT_DOUBLE_EQ(row.frame().width(), c.width) << "form " << c.form << " n " << c.n;
    }
    PLVGaugeViewMultiple row;
    row.setFrame(QRectF(0, 0, 100, 22));
    row.setNumberOfGauges(3);
    row.setGaugeDefinedType(1);
    EXPECT_DOUBLE_EQ(row.frame().width(), 20);
    row.setGaugeDefinedType(2);
    EXPECT_DOUBLE_EQ(row.frame().width(), 50);
    row.setInnerColor(kC1);
    row.innerColor(kC2, 1);
    row.innerColor(kC2, 3); // out of range
    row.currentValue(40, 2);
    EXPECT_EQ(row.unitGaugeViews().at(0)->innerColor(), kC1);
    EXPECT_EQ(row.unitGaugeViews().at(1)->innerColor(), kC2);
    EXPECT_FLOAT_EQ(row.unitGaugeViews().at(2)->currentValue(), 40);
    // A new count rebuilds with the shared properties, not the per-gauge ones.
    row.setNumberOfGauges(2);
    EXPECT_EQ(row.unitGaugeViews().at(1)->innerColor(), kC1);
    EXPECT_EQ(row.unitGaugeViews().at(1)->gaugeDefinedType(), 2);
    EXPECT_FLOAT_EQ(row.unitGaugeViews().at(1)->currentValue(), 0);
}

TEST(Progressbar, ColourStagesAtTheThresholds)
{
    PLVColor theme;
    const QColor inner = kC1;
    const QColor red = PLVPlatformColors::colorNamed(QStringLiteral("systemRedColor"), PLVPlatformColors::isDark(), 0.9);
    struct Case {
        bool alert, alertAndWarning;
        float value;
        QColor want;
    } cases[] = {
        {false, true, 70, inner},
        {false, true, 70.1f, theme.warningColor()},
        {false, true, 90, theme.warningColor()},
        {false, true, 90.1f, theme.alertColor()},
        {true, true, 5, inner}, // the warning rule alone applies
        {true, false, 9.99f, red},
        {true, false, 10, inner},
        {false, false, 5, inner},
    };
    for (const Case &c : cases) {
        PLVProgressbar bar;
        bar.setColorObject(&theme);
        bar.setInnerColor(inner);
        bar.setIsProgressHasAlertColor(c.alert);
        bar.setIsProgressHasAlertAndWarningColor(c.alertAndWarning);
        bar.setWarningValue(0.7f);
        bar.setAlertValue(0.9f);
        bar.setProgressValue(c.value);
        EXPECT_EQ(bar.fillColor(), c.want) << c.value;
        if (!c.alertAndWarning) {
            PLVMiniProgressbar mini;
            mini.setInnerColor(inner);
            mini.setIsProgressHasAlertColor(c.alert);
            mini.setProgressValue(c.value);
            EXPECT_EQ(mini.fillColor(), c.want) << c.value;
        }
        // What is drawn is that colour, over the track.
        bar.setFrame(QRectF(0, 0, 100, 10));
        const QImage img = render(bar, kLooks[1]);
        EXPECT_COLOR(img, 2.5, 5, over(c.want, over(QColor(0, 0, 0, 51), kLooks[1].background)));
    }
}

TEST(Progressbar, ValuePartIsRoundedUpToWholePoints)
{
    // Two widths one after the other: the track's kept picture is that of its own width.
    for (const double width : {100.0, 60.0}) {
        PLVProgressbar bar;
        bar.setFrame(QRectF(0, 0, width, 10));
        bar.setInnerColor(kC1);
        bar.setProgressValue(33.3f * 100 / float(width));
        for (const Look &look : kLooks) {
            SCOPED_TRACE(testing::Message() << "width " << width << " scale " << look.scale);
            const QImage img = render(bar, look);
            EXPECT_COLOR(img, 33.5, 5, kC1);
            EXPECT_COLOR(img, 34.5, 5, over(QColor(0, 0, 0, 51), look.background));
            EXPECT_COLOR(img, width - 10, 0.25, over(QColor(0, 0, 0, 51), look.background));
            if (look.scale > 1) {
                EXPECT_COLOR(img, width - 0.25, 0.25, look.background); // outside the rounded corner
            }
        }
    }
}

TEST(BatteryBar, FillTerminalAndLowCharge)
{
    const bool dark = PLVPlatformColors::isDark();
    const QColor green = PLVPlatformColors::colorNamed(QStringLiteral("systemGreenColor"), dark);
    const QColor red = PLVPlatformColors::colorNamed(QStringLiteral("systemRedColor"), dark, 0.9);
    struct Case {
        float value;
        bool alert;
        double fillEnd; // x where the fill ends (2 = no fill)
        QColor fill;
    } cases[] = {{100, false, 15, green}, {1, false, 4, green}, {0, false, 2, green},
                 {10.5f, true, 4, red},   {11, true, 4, green}, {50, true, 9, green}};
    for (const Case &c : cases) {
        // The outline's kept picture follows its colour.
        const QColor border = &c - cases < 3 ? QColor(120, 120, 120) : QColor(40, 90, 200);
        PLVBatteryBar battery;
        battery.setFrame(QRectF(0, 0, 22, 12));
        battery.setInnerColor(Qt::magenta); // ignored: the fill is the system green
        battery.setBorderColor(border);
        battery.setIsProgressHasAlertColor(c.alert);
        battery.setProgressValue(c.value);
        for (const Look &look : kLooks) {
            if (look.scale < 2)
                continue; // the 1-point outline and the nub are anti-aliased at 1x
            const QImage img = render(battery, look);
            SCOPED_TRACE(testing::Message() << "value " << c.value);
            if (c.fillEnd > 2) {
                EXPECT_COLOR(img, c.fillEnd - 0.5, 5, over(c.fill, look.background));
            }
            EXPECT_COLOR(img, c.fillEnd + 0.5, 5, look.background);
            EXPECT_COLOR(img, 18.5, 5, border); // the terminal
            EXPECT_COLOR(img, 8, 0.75, border); // the body's bottom edge
        }
    }
}

// Bad input of every kind gets a defined picture: clamped or empty, never a
// crash, an assertion or a coordinate the rasteriser refuses.
TEST(Widgets, BadInputGivesADefinedPicture)
{
    const QColor bg = kLooks[1].background;
    struct GraphCase {
        const char *what;
        QList<float> values;
        float max;
        bool filled; // the last column, low down
    } graphs[] = {
        {"NaN", constant(kNaN), 10, false},
        {"+inf", constant(kInf), 10, true},
        {"-inf", constant(-kInf), 10, false},
        {"negative", constant(-5), 10, false},
        {"maximum 0", constant(5), 0, false},
        {"maximum NaN", constant(5), kNaN, false},
        {"maximum inf", constant(5), kInf, false},
        {"tiny maximum", constant(5), 1e-44f, true},
        {"empty history", {}, 10, false},
        {"one point", {8}, 10, true},
    };
    for (const GraphCase &c : graphs) {
        for (int type = 0; type < 4; ++type) {
            GraphFixture f(50, 40, type, c.max, c.values);
            const QImage img = render(f.graph, kLooks[1]);
            SCOPED_TRACE(testing::Message() << c.what << " type " << type);
            const double baseline = f.graph.graphLayout().yPos1;
            const double probe = f.graph.graphLayout().coeff1 > 0 ? baseline + 1.5 : baseline - 1.5;
            EXPECT_TRUE(near(at(img, 49.5, probe), c.filled ? kC1 : bg)) << describe(at(img, 49.5, probe));
        }
    }
    // Views of no size, and of a negative one.
    for (const QSizeF size : {QSizeF(0, 0), QSizeF(-5, -5), QSizeF(0, 40), QSizeF(40, 0)}) {
        GraphFixture f(50, 40, 1, 10, constant(5));
        f.graph.setFrameSize(size);
        render(f.graph, kLooks[1]);
        PLVGraphMultiple multi;
        multi.setFrame(QRectF(QPointF(), size));
        multi.setNumberOfGraphs(3);
        render(multi, kLooks[1]);
        multi.setNumberOfGraphs(0);
        multi.setNumberOfGraphs(-2);
        EXPECT_TRUE(multi.unitGraphViews().isEmpty());
    }
    // Gauges: out of range and NaN values are clamped or empty.
    struct GaugeCase {
        float value;
        bool full;
    } gauges[] = {{kNaN, false}, {-20, false}, {-kInf, false}, {150, true}, {kInf, true}};
    for (const GaugeCase &c : gauges) {
        for (int form = 1; form <= 4; ++form) {
            PLVGaugeview g;
            g.setFrame(QRectF(0, 0, 1, 22));
            g.setGaugeDefinedType(form);
            g.setInnerColor(kC1);
            g.setOuterColor(QColor(128, 128, 128));
            g.setIsMaxValueDynamic(form == 4 && c.full);
            for (int i = 0; i < (form == 4 ? 3 : 1); ++i) { // the graph: a few columns of it
                g.setCurrentValue(c.value);
                g.setCurrentValue2(c.value);
            }
            const QImage img = render(g, kLooks[1]);
            SCOPED_TRACE(testing::Message() << "form " << form << " value " << c.value);
            // Bar and graph: the top of the track; pie: its left; ring: its left.
            const QPointF probe = form == 1 ? QPointF(3, 19.5) : form == 2 ? QPointF(3, 11) : form == 3 ? QPointF(1.5, 11) : QPointF(19.5, 19.5);
            if (form != 3) {
                EXPECT_TRUE(near(at(img, probe.x(), probe.y()), c.full ? kC1 : QColor(128, 128, 128), 40))
                    << describe(at(img, probe.x(), probe.y()));
            }
            // Nothing outside the track.
            EXPECT_TRUE(near(at(img, 3, 21.5), bg)) << describe(at(img, 3, 21.5));
        }
    }
    // Bars: the value part stays inside the track.
    for (const float v : {kNaN, -50.0f, -kInf, 150.0f, kInf}) {
        PLVProgressbar bar;
        bar.setFrame(QRectF(0, 0, 40, 10));
        bar.setInnerColor(kC1);
        bar.setProgressValue(v);
        const QImage img = render(bar, kLooks[1]);
        const bool full = v > 100;
        EXPECT_TRUE(near(at(img, 20, 5), full ? kC1 : over(QColor(0, 0, 0, 51), bg))) << v;
        PLVBatteryBar battery;
        battery.setFrame(QRectF(0, 0, 22, 12));
        battery.setProgressValue(v);
        EXPECT_LE(battery.fillWidth(), 13.0) << v;
        EXPECT_GE(battery.fillWidth(), 2.0) << v; // a sliver: neither 0 nor -1
        render(battery, kLooks[1]);
    }
    PLVGaugeViewMultiple row;
    row.setNumberOfGauges(0);
    EXPECT_DOUBLE_EQ(row.frame().width(), 0);
    row.currentValue(5, 0);
    row.innerColor(kC1, -1);
}
