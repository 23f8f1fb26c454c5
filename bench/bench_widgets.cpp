// Redrawing the drawing widgets, as a tick does: a 350-point graph of each type,
// the four gauge forms and the bars, at 1x and 2x. Each group's floor is
// measured in the same run on the same image: an empty view's paint plus one
// anti-aliased fill of a path of the same length (350 points for the graphs,
// the gauge's 20, a rounded rectangle for the bars).
#include "PLVCommon/platform/PLVView.h"
#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/widgets/PLVGaugeview.h"
#include "PLVCommon/widgets/PLVGraph.h"
#include "PLVCommon/widgets/PLVProgressbar.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QTemporaryDir>

#include "PLVBench.h"

#include <cmath>
#include <functional>
#include <memory>

namespace {

const QColor kBackground(236, 236, 236);
const QColor kFill(0, 122, 255);

float sample(int i) { return 40 + 30 * std::sin(i / 7.0) + float((i * 13) % 17); }

QImage imageFor(QSize size, int scale)
{
    QImage img(size * scale, QImage::Format_ARGB32_Premultiplied);
    img.setDevicePixelRatio(scale);
    return img;
}

void redraw(benchmark::State &state, QWidget &view, int scale)
{
    QImage img = imageFor(view.size(), scale);
    for (auto _ : state) {
        img.fill(kBackground);
        view.render(&img, QPoint(), QRegion(), QWidget::DrawChildren);
        benchmark::DoNotOptimize(img.constBits());
    }
}

// The floor: an empty view painted, then one fill of `shape` on the same image.
void floorWith(benchmark::State &state, QSize size, int scale, const QPainterPath &shape)
{
    PLVView empty;
    empty.resize(size);
    QImage img = imageFor(size, scale);
    for (auto _ : state) {
        img.fill(kBackground);
        empty.render(&img, QPoint(), QRegion(), QWidget::DrawChildren);
        QPainter p(&img);
        p.setRenderHint(QPainter::Antialiasing);
        p.fillPath(shape, kFill);
        p.end();
        benchmark::DoNotOptimize(img.constBits());
    }
}

QPainterPath historyPath(int n, double height)
{
    QPolygonF points;
    points << QPointF(0, height);
    for (int i = 0; i < n; ++i)
        points << QPointF(i, height - sample(i) * height / 120);
    points << QPointF(n, height);
    QPainterPath path;
    path.addPolygon(points);
    path.closeSubpath();
    return path;
}

void graphFloor(benchmark::State &state, int scale) { floorWith(state, QSize(350, 60), scale, historyPath(350, 60)); }

void graph(benchmark::State &state)
{
    const int type = int(state.range(0)), scale = int(state.range(1));
    PLVGraphArrays buffer;
    buffer.initArraysWithMaxSize(350);
    for (int i = 0; i < 350; ++i) {
        buffer.addNewValue(sample(i));
        buffer.addNewValue2(sample(i + 100));
    }
    PLVGraph view;
    view.resize(350, 60);
    view.setGraphObject(&buffer);
    view.initVariables();
    view.setGraphDefinedType(type);
    view.setMaxValue(120);
    view.setGraphColor(kFill);
    view.setGraphColor2(QColor(255, 149, 0));
    redraw(state, view, scale);
}

void gaugeFloor(benchmark::State &state, int scale) { floorWith(state, QSize(20, 22), scale, historyPath(20, 18)); }

void gauge(benchmark::State &state)
{
    const int form = int(state.range(0)), scale = int(state.range(1));
    PLVGaugeview view;
    view.resize(20, 22);
    view.setGaugeDefinedType(form);
    view.setInnerColor(kFill);
    view.setOuterColor(QColor(128, 128, 128, 90));
    view.setIsMaxValueDynamic(true);
    for (int i = 0; i < 20; ++i)
        view.setCurrentValue(sample(i) / 1.2f);
    redraw(state, view, scale);
}

void barFloor(benchmark::State &state, int scale)
{
    QPainterPath rounded;
    rounded.addRoundedRect(QRectF(0, 0, 100, 10), 2, 2);
    floorWith(state, QSize(100, 10), scale, rounded);
}

void bar(benchmark::State &state)
{
    const int kind = int(state.range(0)), scale = int(state.range(1));
    std::unique_ptr<QWidget> view;
    if (kind == 0) {
        auto *b = new PLVProgressbar;
        b->setInnerColor(kFill);
        b->setProgressValue(63.3f);
        view.reset(b);
    } else if (kind == 1) {
        auto *b = new PLVMiniProgressbar;
        b->setInnerColor(kFill);
        b->setProgressValue(63.3f);
        view.reset(b);
    } else {
        auto *b = new PLVBatteryBar;
        b->setBorderColor(QColor(90, 90, 90));
        b->setProgressValue(63.3f);
        view.reset(b);
    }
    view->resize(kind == 2 ? QSize(22, 12) : QSize(100, 10));
    redraw(state, *view, scale);
}

} // namespace

BENCHMARK_CAPTURE(graphFloor, x1, 1)->Name("graph_1x/baseline");
BENCHMARK(graph)->Name("graph_1x/type")->ArgsProduct({{0, 1, 2, 3}, {1}});
BENCHMARK_CAPTURE(graphFloor, x2, 2)->Name("graph_2x/baseline");
BENCHMARK(graph)->Name("graph_2x/type")->ArgsProduct({{0, 1, 2, 3}, {2}});
BENCHMARK_CAPTURE(gaugeFloor, x1, 1)->Name("gauge_1x/baseline");
BENCHMARK(gauge)->Name("gauge_1x/form")->ArgsProduct({{1, 2, 3, 4}, {1}});
BENCHMARK_CAPTURE(gaugeFloor, x2, 2)->Name("gauge_2x/baseline");
BENCHMARK(gauge)->Name("gauge_2x/form")->ArgsProduct({{1, 2, 3, 4}, {2}});
BENCHMARK_CAPTURE(barFloor, x1, 1)->Name("bar_1x/baseline");
BENCHMARK(bar)->Name("bar_1x/kind")->ArgsProduct({{0, 1, 2}, {1}});
BENCHMARK_CAPTURE(barFloor, x2, 2)->Name("bar_2x/baseline");
BENCHMARK(bar)->Name("bar_2x/kind")->ArgsProduct({{0, 1, 2}, {2}});

int main(int argc, char **argv) { return plvbench::main<QApplication>(argc, argv); }
