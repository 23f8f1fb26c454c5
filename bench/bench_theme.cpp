// The theme's costs: a switch between dark and light with 50 theme objects
// alive, against the bare post of the same notification with nobody listening;
// tinting a 32 x 32 point image (64 x 64 pixels out), against one bare QPainter
// composition of the same image into a bitmap of that size.
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/drawing/ImageExtra.h"

#include <QApplication>
#include <QPainter>
#include <QTemporaryDir>

#include "PLVBench.h"

#include <memory>
#include <vector>

namespace {

const QString kDark = QStringLiteral("PLVWindowBackgroundStyleDark");
const QString kLight = QStringLiteral("PLVWindowBackgroundStyleLight");

void switchWith(benchmark::State &state, int objects)
{
    std::vector<std::unique_ptr<PLVColor>> themes;
    for (int i = 0; i < objects; ++i)
        themes.push_back(std::make_unique<PLVColor>());
    PLVNotificationCenter *center = PLVNotificationCenter::defaultCenter();
    bool dark = false;
    for (auto _ : state) {
        center->postNotificationName(dark ? kDark : kLight);
        dark = !dark;
    }
    if (objects > 0 && themes.back()->windowBackgroundStyle() != (dark ? 0 : 1))
        state.SkipWithError("the theme objects did not follow");
    if (objects > 0)
        state.SetItemsProcessed(state.iterations() * objects); // reported per theme object
    state.SetLabel(std::to_string(objects) + " theme objects");
}

void switchBaseline(benchmark::State &state) { switchWith(state, 0); }
void switchFifty(benchmark::State &state) { switchWith(state, 50); }

QImage icon()
{
    QImage img(QSize(32, 32), QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing);
    p.setBrush(Qt::black);
    p.drawEllipse(QRectF(4, 4, 24, 24));
    return img;
}

void tintBaseline(benchmark::State &state)
{
    const QImage source = icon();
    for (auto _ : state) {
        QImage out(QSize(64, 64), QImage::Format_ARGB32_Premultiplied);
        out.fill(Qt::transparent);
        QPainter p(&out);
        p.drawImage(QRectF(0, 0, 64, 64), source);
        p.end();
        benchmark::DoNotOptimize(out.constBits());
    }
}

void tint(benchmark::State &state)
{
    const QImage source = icon();
    const QColor colour(30, 120, 220);
    for (auto _ : state) {
        const QImage out = ImageExtra::tintedImageWithColor(source, colour, 0.8f);
        benchmark::DoNotOptimize(out.constBits());
    }
}

} // namespace

BENCHMARK(switchBaseline)->Name("theme_switch/baseline");
BENCHMARK(switchFifty)->Name("theme_switch/fifty_objects");
BENCHMARK(tintBaseline)->Name("tint/baseline");
BENCHMARK(tint)->Name("tint/tinted_32pt_at_2x");

int main(int argc, char **argv) { return plvbench::main<QApplication>(argc, argv); }
