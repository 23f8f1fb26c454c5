// The widget's overview tiles: one value over its ring at 0, at the warning and
// alert thresholds and at 100 %, then two values, then no value.
#include "PLVGallery.h"

#include "PLVCommon/panels/PLVGenericOverviewView.h"
#include "PLVCommon/platform/PLVView.h"
#include "PLVCommon/theme/PLVColor.h"

namespace {

constexpr double kTileWidth = 60, kTileHeight = 108, kGap = 4;
constexpr int kTiles = 6;

struct Tile {
    const char *trigram;
    float value;
    const char *text;  // nullptr: no value
    const char *text2; // nullptr: one value
};
const Tile kTilesShown[kTiles] = {
    {"cpu", 0, "0%", nullptr},           {"mem", 70.5f, "71%", nullptr},  {"gpu", 90.5f, "91%", nullptr},
    {"dsk", 100, "100%", nullptr},       {"net", 0, "12 KB/s", "3.4 MB/s"}, {"bt", 0, nullptr, nullptr},
};

} // namespace

PLV_GALLERY_VIEW("PLVGenericOverviewView", QSizeF(kTiles * (kTileWidth + kGap) - kGap, kTileHeight),
                 PLVGalleryPlace::Panel, [](const PLVGalleryContext &ctx) {
                     auto *board = new PLVView;
                     board->resize(int(kTiles * (kTileWidth + kGap) - kGap), int(kTileHeight));
                     auto *theme = new PLVColor(board);
                     theme->setWindowBackgroundStyle(ctx.dark ? 1 : 0);
                     for (int i = 0; i < kTiles; ++i) {
                         const Tile &t = kTilesShown[i];
                         auto *tile = new PLVGenericOverviewView;
                         board->addSubview(tile);
                         tile->setFrame(QRectF(i * (kTileWidth + kGap), 0, kTileWidth, kTileHeight));
                         tile->awakeFromNib();
                         tile->setModuleTrigram(QString::fromLatin1(t.trigram));
                         tile->setCurrentValue(t.value);
                         // What a module does: its own colour past a threshold, the default blue below.
                         if (t.value > 90)
                             tile->setInnerColor(theme->alertColor());
                         else if (t.value > 70)
                             tile->setInnerColor(theme->warningColor());
                         if (t.text)
                             tile->setStringValue(QString::fromUtf8(t.text));
                         if (t.text2)
                             tile->setStringValue2(QString::fromUtf8(t.text2));
                     }
                     return board;
                 })
