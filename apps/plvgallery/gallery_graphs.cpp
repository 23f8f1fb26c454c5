// History graphs, gauges and bars with representative data: a steady, a spiky
// and an empty history; values at 0, at the warning and alert thresholds, and
// at 100 %.
#include "PLVGallery.h"

#include "PLVCommon/core/PLVModelDataFeed.h"
#include "PLVCommon/platform/PLVView.h"
#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/widgets/PLVGaugeview.h"
#include "PLVCommon/widgets/PLVGraph.h"
#include "PLVCommon/widgets/PLVProgressbar.h"

#include <cmath>

namespace {

constexpr float kWarning = 0.7f, kAlert = 0.9f;
const float kValues[] = {0, 70.5f, 90.5f, 100}; // empty, warning, alert, full

// A view holding the sample views, with the theme they take colours from.
struct Board : PLVView {
    explicit Board(const PLVGalleryContext &ctx) : theme(new PLVColor(this))
    {
        theme->setWindowBackgroundStyle(ctx.dark ? 1 : 0);
    }
    template <class V> V *place(V *view, QRectF frame)
    {
        addSubview(view);
        view->setFrame(frame);
        return view;
    }
    // What a module does with a gauge: its own colour by threshold.
    QColor colourFor(float percent) const
    {
        return percent / 100 > kAlert ? theme->alertColor() : percent / 100 > kWarning ? theme->warningColor()
                                                                                      : theme->windowGraphBlueColor();
    }
    PLVColor *theme;
};

float steady(int i) { return 40 + 6 * std::sin(i / 9.0); }
float spiky(int i) { return (i * 37) % 11 == 0 ? 95.0f : 8 + (i * 13) % 17; }

void fill(PLVGraphArrays *buffer, float (*series1)(int), float (*series2)(int))
{
    for (int i = 0; i < PLVGraphArrays::kCapacity; ++i) {
        if (series1)
            buffer->addNewValue(series1(i));
        if (series2)
            buffer->addNewValue2(series2(i));
    }
}

} // namespace

// One graph per row: type 0 steady, spiky and empty, then types 1, 2 and 3.
PLV_GALLERY_VIEW("PLVGraph", QSizeF(350, 6 * 40 - 4), PLVGalleryPlace::Panel, [](const PLVGalleryContext &ctx) {
    auto *board = new Board(ctx);
    board->resize(350, 6 * 40 - 4);
    struct Row {
        int type;
        float (*s1)(int);
        float (*s2)(int);
    } rows[] = {{0, steady, nullptr}, {0, spiky, nullptr}, {0, nullptr, nullptr},
                {1, spiky, steady},   {2, steady, spiky},  {3, spiky, steady}};
    int y = 6 * 40 - 4;
    for (const Row &r : rows) {
        y -= 36;
        auto *graph = board->place(new PLVGraph, QRectF(0, y, 350, 36));
        graph->setColorObject(board->theme);
        graph->awakeFromNib();
        fill(graph->graphObject(), r.s1, r.s2);
        graph->setGraphDefinedType(r.type);
        graph->setMaxValue(100);
        y -= 4;
    }
    return board;
})

PLV_GALLERY_VIEW("PLVGraphMultiple", QSizeF(300, 40), PLVGalleryPlace::Panel, [](const PLVGalleryContext &ctx) {
    auto *board = new Board(ctx);
    board->resize(300, 40);
    auto *graphs = board->place(new PLVGraphMultiple, QRectF(0, 0, 300, 40));
    graphs->setColorObject(board->theme);
    graphs->awakeFromNib();
    graphs->setNumberOfGraphs(4);
    graphs->setGraphColor(board->theme->windowGraphBlueColor());
    graphs->setGraphColor2(board->theme->windowGraphBlueColor2());
    graphs->setGraphDefinedType(0);
    graphs->setMaxValue(100);
    float (*series[])(int) = {steady, spiky, nullptr, spiky};
    for (int g = 0; g < 4; ++g)
        if (series[g])
            for (int i = 0; i < PLVGraphArrays::kCapacity; ++i)
                graphs->graphObject()->addNewValue(series[g](i), g);
    return board;
})

// Rows: bar, pie, ring, graph; columns: 0, warning, alert, 100 %.
PLV_GALLERY_VIEW("PLVGaugeview", QSizeF(4 * 24, 4 * 24), PLVGalleryPlace::Panel, [](const PLVGalleryContext &ctx) {
    auto *board = new Board(ctx);
    board->resize(4 * 24, 4 * 24);
    const QColor track = PLVModelDataFeed::trackColor(board->theme);
    for (int form = 1; form <= 4; ++form) {
        for (int column = 0; column < 4; ++column) {
            const float value = kValues[column];
            auto *gauge = board->place(new PLVGaugeview, QRectF(column * 24 + 2, (4 - form) * 24 + 1, 1, 22));
            gauge->setGaugeDefinedType(form);
            gauge->setInnerColor(board->colourFor(value));
            gauge->setOuterColor(track);
            if (form == 4)
                for (int i = 0; i < 20; ++i)
                    gauge->setCurrentValue(i == 19 ? value : value * (0.5f + 0.5f * float((i * 7) % 5) / 4));
            else
                gauge->setCurrentValue(value);
        }
    }
    return board;
})

// One row per form, six gauges each, coloured one by one by their own state.
PLV_GALLERY_VIEW("PLVGaugeViewMultiple", QSizeF(130, 4 * 24), PLVGalleryPlace::Panel, [](const PLVGalleryContext &ctx) {
    auto *board = new Board(ctx);
    board->resize(130, 4 * 24);
    const float values[] = {0, 12, 45, 70.5f, 90.5f, 100};
    for (int form = 1; form <= 4; ++form) {
        auto *row = board->place(new PLVGaugeViewMultiple, QRectF(2, (4 - form) * 24 + 1, 1, 22));
        row->setNumberOfGauges(6);
        row->setGaugeDefinedType(form);
        row->setInnerColor(board->theme->windowGraphBlueColor());
        row->setOuterColor(PLVModelDataFeed::trackColor(board->theme));
        for (int g = 0; g < 6; ++g) {
            row->innerColor(board->colourFor(values[g]), g);
            for (int i = 0; i < (form == 4 ? 20 : 1); ++i)
                row->currentValue(values[g] * (form == 4 ? float(i + 1) / 20 : 1.0f), g);
        }
    }
    return board;
})

// Warning-and-alert bars at 0, 33, warning, alert and 100 %; then mini bars
// at 5 % (low: red) and 60 %.
PLV_GALLERY_VIEW("PLVProgressbar", QSizeF(120, 7 * 12), PLVGalleryPlace::Panel, [](const PLVGalleryContext &ctx) {
    auto *board = new Board(ctx);
    board->resize(120, 7 * 12);
    const float values[] = {0, 33.3f, 70.5f, 90.5f, 100};
    int y = 7 * 12;
    for (float v : values) {
        y -= 12;
        auto *bar = board->place(new PLVProgressbar, QRectF(4, y + 3, 112, 6));
        bar->setColorObject(board->theme);
        bar->setInnerColor(board->theme->windowProgressbarColor());
        bar->setIsProgressHasAlertAndWarningColor(true);
        bar->setWarningValue(kWarning);
        bar->setAlertValue(kAlert);
        bar->setProgressValue(v);
    }
    for (float v : {5.0f, 60.0f}) {
        y -= 12;
        auto *mini = board->place(new PLVMiniProgressbar, QRectF(4, y + 4, 112, 4));
        mini->setInnerColor(board->theme->windowProgressbarColor());
        mini->setIsProgressHasAlertColor(true);
        mini->setProgressValue(v);
    }
    return board;
})

// Empty, low (red), half and full.
PLV_GALLERY_VIEW("PLVBatteryBar", QSizeF(4 * 24, 14), PLVGalleryPlace::Panel, [](const PLVGalleryContext &ctx) {
    auto *board = new Board(ctx);
    board->resize(4 * 24, 14);
    const float values[] = {0, 8, 50, 100};
    for (int i = 0; i < 4; ++i) {
        auto *battery = board->place(new PLVBatteryBar, QRectF(i * 24 + 2, 2, 20, 10));
        battery->setBorderColor(board->theme->windowSecondaryLabelColor());
        battery->setInnerColor(QColor());
        battery->setIsProgressHasAlertColor(true);
        battery->setProgressValue(values[i]);
    }
    return board;
})
