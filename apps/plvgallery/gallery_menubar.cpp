// The views of a status item, each shown twice: on the bar, and with the item
// highlighted (its menu open).
#include "PLVGallery.h"

#include "PLVCommon/menubar/PLVMenuBarText.h"
#include "PLVCommon/menubar/PLVMenubarIndicator.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"

#include <QPainter>

namespace {

// Two halves: the normal item on the left, the highlighted one on the right.
class StatusItemPair : public PLVView
{
public:
    explicit StatusItemPair(bool dark) : m_dark(dark) { highlighted.setStatusItemBackgroundStyle(1); }
    PLVColor normal, highlighted;
    qreal half = 0;

protected:
    void drawRect(QPainter &p, const QRectF &) override
    {
        p.fillRect(QRectF(half, 0, width() - half, height()),
                   PLVPlatformColors::colorNamed(QStringLiteral("selectedMenuItemColor"), m_dark));
    }

private:
    bool m_dark;
};

PLVMenubarIndicatorsView *indicators(PLVColor &theme, bool dark, int mode, int shape, float up, float down)
{
    auto *view = new PLVMenubarIndicatorsView;
    view->setFrameSize(QSizeF(8, 15));
    view->awakeFromNib();
    view->setIndicatorShape(shape);
    view->setUpDownIconColor(theme.statusIconColor());
    view->setUpArrowColor(PLVPlatformColors::colorNamed(QStringLiteral("systemOrangeColor"), dark));
    view->setDownArrowColor(PLVPlatformColors::colorNamed(QStringLiteral("systemBlueColor"), dark));
    view->setIsUsingColoredUPArrow(mode);
    view->setIsUsingColoredDOWNArrow(mode);
    view->setUploadColorPower(up);
    view->setDownloadColorPower(down);
    return view;
}

PLVMenuBarText *valueText(PLVColor &theme, const QString &text, qint64 type, qreal x)
{
    auto *label = new PLVMenuBarText;
    label->setFrame(QRectF(x, 0, 20, 22));
    label->setTextUnitType(type);
    label->setTextColor(theme.statusLabelColor());
    label->setTextString(text);
    return label;
}

} // namespace

// Modes 0 to 3 (plain, highlight colour, highlight by strength, resting colour
// by strength) with the arrow, then the circle and the rounded square; upload
// busy, download nearly idle.
PLV_GALLERY_VIEW("PLVMenubarIndicatorsView", QSizeF(160, 22), PLVGalleryPlace::MenuBar, [](const PLVGalleryContext &ctx) {
    auto *pair = new StatusItemPair(ctx.dark);
    pair->half = 80;
    const struct { int mode, shape; } cases[] = {{0, 0}, {1, 0}, {2, 0}, {3, 0}, {2, 1}, {2, 2}};
    for (int side = 0; side < 2; ++side) {
        PLVColor &theme = side == 0 ? pair->normal : pair->highlighted;
        qreal x = side * pair->half + 6;
        for (const auto &c : cases) {
            PLVMenubarIndicatorsView *v = indicators(theme, ctx.dark, c.mode, c.shape, 1.0f, 0.25f);
            v->setFrameOrigin(QPointF(x, 3.5));
            pair->addSubview(v);
            x += 12;
        }
    }
    return pair;
})

// Whole items as modules build them: the three-letter name beside a value
// (width rule 0), and the network's arrows beside two stacked rates.
PLV_GALLERY_VIEW("PLVMenuBarText", QSizeF(240, 22), PLVGalleryPlace::MenuBar, [](const PLVGalleryContext &ctx) {
    auto *pair = new StatusItemPair(ctx.dark);
    pair->half = 120;
    for (int side = 0; side < 2; ++side) {
        PLVColor &theme = side == 0 ? pair->normal : pair->highlighted;
        const qreal x0 = side * pair->half + 4;
        auto *name = new PLVModuleNameStatusBarView;
        name->setFrame(QRectF(x0, 0, 10, 22));
        name->setThreeLetterName(QStringLiteral("cpu"));
        name->setColorObject(&theme);
        name->awakeFromNib();
        pair->addSubview(name);
        pair->addSubview(valueText(theme, QStringLiteral("12%"), 0, x0 + 11));

        PLVMenubarIndicatorsView *arrows = indicators(theme, ctx.dark, 2, 0, 0.9f, 0.3f);
        arrows->setFrameOrigin(QPointF(x0 + 46, 3.5));
        pair->addSubview(arrows);
        auto *rates = new PLVMenuBarDoubleText;
        rates->setFrame(QRectF(x0 + 56, 0, 58, 22));
        rates->awakeFromNib();
        rates->textFieldUp()->setTextColor(theme.statusLabelColor());
        rates->textFieldDown()->setTextColor(theme.statusLabelColor());
        rates->setTextStringUp(QStringLiteral("12 KB/s"));
        rates->setTextStringDown(QStringLiteral("1.4 MB/s"));
        pair->addSubview(rates);
    }
    return pair;
})
