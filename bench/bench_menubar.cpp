// A status item's picture: the module's status view drawn as the monitor
// draws it each tick (a fresh transparent 2x image, the view rendered in), for
// the value label and for the text status view the modules use, and the
// conversion of that picture to the bus's ARGB bytes; against the floor of one
// QPainter::drawText of the same text into an image of the same size.
#include "ModuleFace.h"
#include "StatusNotifierItem.h"

#include "PLVCommon/core/PLVTextViews.h"
#include "PLVCommon/menubar/PLVMenuBarText.h"

#include <QApplication>
#include <QPainter>
#include <QTemporaryDir>

#include "PLVBench.h"

namespace {

const QString kText = QStringLiteral("cpu 12%");
const QSize kSize(60, 22);

void baseline(benchmark::State &state)
{
    const QFont font = QApplication::font();
    for (auto _ : state) {
        QImage image(kSize * 2, QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(2);
        image.fill(Qt::transparent);
        QPainter p(&image);
        p.setFont(font);
        p.setPen(Qt::black);
        p.drawText(QRectF(QPointF(0, 0), QSizeF(kSize)), Qt::AlignCenter, kText);
        p.end();
        benchmark::DoNotOptimize(image.constBits());
    }
}

void menuBarText(benchmark::State &state)
{
    PLVMenuBarText view;
    view.setFrameSize(QSizeF(kSize));
    view.setTextUnitType(2);
    view.setTextFont(QApplication::font());
    int n = 0;
    for (auto _ : state) {
        // A new value each tick, as the module sets it.
        view.setTextString(n++ % 2 ? kText : QStringLiteral("cpu 13%"));
        const QImage image = ModuleFace::render(&view, 2, Qt::black);
        benchmark::DoNotOptimize(image.constBits());
    }
}

void textStatusView(benchmark::State &state)
{
    PLVTextStatusbarView view;
    view.resize(kSize);
    view.setTextKeys({QStringLiteral("cpuUsageText")});
    view.setTextLabels({QStringLiteral("cpu")});
    PLVModelData data = PLVModelData::create();
    view.setModelData(data);
    int n = 0;
    for (auto _ : state) {
        data.insert({{QStringLiteral("cpuUsageText"), n++ % 2 ? QStringLiteral("12%") : QStringLiteral("13%")}});
        view.updateView();
        const QImage image = ModuleFace::render(&view, 2, Qt::black);
        benchmark::DoNotOptimize(image.constBits());
    }
}

void toBusBytes(benchmark::State &state)
{
    PLVMenuBarText view;
    view.setFrameSize(QSizeF(kSize));
    view.setTextString(kText);
    const QImage image = ModuleFace::render(&view, 2, Qt::black);
    for (auto _ : state) {
        const SNIPixmap pixmap = SNIPixmap::fromImage(image);
        benchmark::DoNotOptimize(pixmap.argb.constData());
    }
}

} // namespace

BENCHMARK(baseline)->Name("status_item/baseline");
BENCHMARK(menuBarText)->Name("status_item/menubar_text_2x");
BENCHMARK(textStatusView)->Name("status_item/text_status_view_2x");
BENCHMARK(toBusBytes)->Name("status_item/argb_for_the_bus_2x");

int main(int argc, char **argv) { return plvbench::main<QApplication>(argc, argv); }
