// Swatch sheets, so that the palette itself can be judged: the theme object's
// roles (panel roles in the current style, menu-bar roles normal and
// highlighted) and the widget palette's fixed colours.
#include "PLVGallery.h"

#include "PLVCommon/platform/PLVView.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"
#include "PLVCommon/theme/TQColor.h"
#include "PLVCommon/drawing/BezierPathExtra.h"

#include <QMetaProperty>
#include <QPainter>

namespace {

// One row: a rounded swatch and the role's name, in the theme's own colours.
void swatchRow(QPainter &p, qreal x, qreal y, const QString &name, const QColor &colour, const QFont &font,
               const QColor &text)
{
    QPainterPath path;
    BezierPathExtra::appendBezierPathWithRoundedRectangle(path, QRectF(x, y + 1, 26, 11), 3, 3);
    // A hairline in the text's colour, so that faint roles still show their size.
    QColor outline = text;
    outline.setAlphaF(0.25f);
    p.setPen(QPen(outline, 0.5));
    p.setBrush(colour);
    p.drawPath(path);
    PLVView::drawString(p, name, QPointF(x + 32, y), font, text);
}

class ThemeSwatchView : public PLVView
{
public:
    ThemeSwatchView()
    {
        highlighted.setStatusItemBackgroundStyle(1);
    }
    PLVColor theme, highlighted;

protected:
    void drawRect(QPainter &p, const QRectF &) override
    {
        p.setRenderHint(QPainter::Antialiasing);
        const QFont font = theme.fontforLeftLabels();
        const QFont title = theme.fontforModuletitle();
        const qreal rowH = 15, top = height() - 22;
        const bool dark = theme.windowBackgroundStyle() != 0;

        // Panel roles, on the panel.
        QStringList window;
        const QMetaObject *mo = theme.metaObject();
        for (int i = mo->propertyOffset(); i < mo->propertyCount(); ++i) {
            const QString name = QLatin1String(mo->property(i).name());
            if (mo->property(i).metaType() == QMetaType::fromType<QColor>() && !name.startsWith(u"status"))
                window << name;
        }
        PLVView::drawString(p, dark ? QStringLiteral("Panel roles, dark") : QStringLiteral("Panel roles, light"),
                            QPointF(10, top), title, theme.windowTitleLabelColor());
        qreal y = top - 20;
        for (const QString &name : window) {
            swatchRow(p, 10, y, name, theme.property(name.toLatin1()).value<QColor>(), font, theme.windowLabelColor());
            y -= rowH;
        }

        // Menu-bar roles on a bar of each appearance, normal then highlighted.
        const QStringList status = {QStringLiteral("statusLabelColor"), QStringLiteral("statusSecondaryLabelColor"),
                                    QStringLiteral("statusTertiaryLabelColor"),
                                    QStringLiteral("statusQuarternaryLabelColor"), QStringLiteral("statusIconColor")};
        const qreal x0 = 250, w = 220;
        const auto block = [&](qreal yTop, const QString &heading, const QColor &background, PLVColor &t) {
            const qreal h = 20 + rowH * status.size() + 6;
            QPainterPath bar;
            BezierPathExtra::appendBezierPathWithRoundedRectangle(bar, QRectF(x0, yTop - h + 14, w, h), 6, 6);
            p.setPen(Qt::NoPen);
            p.setBrush(background);
            p.drawPath(bar);
            PLVView::drawString(p, heading, QPointF(x0 + 8, yTop - 4), font, t.statusLabelColor());
            qreal yy = yTop - 22;
            for (const QString &name : status) {
                swatchRow(p, x0 + 8, yy, name, t.property(name.toLatin1()).value<QColor>(), font,
                          t.statusSecondaryLabelColor());
                yy -= rowH;
            }
            return yTop - h - 8;
        };
        const bool darkBar = TQColor::isSystemDarkTheme();
        qreal yb = block(top, darkBar ? QStringLiteral("Menu bar, dark") : QStringLiteral("Menu bar, light"),
                         darkBar ? QColor(34, 34, 34) : QColor(246, 246, 246), theme);
        block(yb, QStringLiteral("Menu bar, highlighted"),
              PLVPlatformColors::colorNamed(QStringLiteral("selectedMenuItemColor"), darkBar), highlighted);
    }
};

// The widget palette: LEDs, the label ladder on its white background, the
// backgrounds by window colour, and lighter/darker steps of the accent.
class WidgetPaletteView : public PLVView
{
protected:
    void drawRect(QPainter &p, const QRectF &) override
    {
        p.setRenderHint(QPainter::Antialiasing);
        PLVColor theme;
        const QFont font = theme.fontforLeftLabels();
        const QColor text = PLVPlatformColors::labelColor(TQColor::isSystemDarkTheme());
        const qreal top = height() - 20;
        const auto chips = [&](qreal y, const QString &label, const QList<QColor> &colours, const QColor &behind) {
            PLVView::drawString(p, label, QPointF(10, y), font, text);
            qreal x = 150;
            for (const QColor &c : colours) {
                QPainterPath r;
                BezierPathExtra::appendBezierPathWithRoundedRectangle(r, QRectF(x - 2, y - 2, 24, 18), 4, 4);
                p.setPen(Qt::NoPen);
                if (behind.isValid()) {
                    p.setBrush(behind);
                    p.drawPath(r);
                }
                QPainterPath chip;
                BezierPathExtra::appendBezierPathWithRoundedRectangle(chip, QRectF(x, y, 20, 14), 0, 5);
                QColor outline = text;
                outline.setAlphaF(0.3f);
                p.setBrush(c.isValid() ? c : QColor(0, 0, 0, 0));
                p.setPen(QPen(outline, 0.5, c.isValid() ? Qt::SolidLine : Qt::DashLine));
                p.drawPath(chip);
                x += 26;
            }
        };
        chips(top, QStringLiteral("LEDs"),
              {TQColor::ledGreenColor(), TQColor::ledAmberColor(), TQColor::ledRedColor(), TQColor::tqSenaryledRedColor(),
               TQColor::ledGreenColorDaltonien(), TQColor::ledRedColorDaltonien(), TQColor::darkTintColor(),
               TQColor::touchbarGrayColor()},
              {});
        chips(top - 24, QStringLiteral("Label ladder"),
              {TQColor::tqLabelColor(), TQColor::tqSecondaryLabelColor(), TQColor::tqTertiaryLabelColor(),
               TQColor::tqQuaternaryLabelColor(), TQColor::tqQuinaryLabelColor(), TQColor::tqSenaryLabelColor(),
               TQColor::tqSeptenaryLabelColor(), TQColor::tqOctonaryLabelColor(), TQColor::tqNonaryLabelColor(),
               TQColor::tqDenaryLabelColor(), TQColor::tqDenaryPlusLabelColor()},
              TQColor::backgroundColorColored());
        QList<QColor> backgrounds, overlays;
        for (quint64 n : {0, 1, 2, 3, 10, 11}) {
            backgrounds << TQColor::backgroundColor(n);
            overlays << TQColor::darkerBackgroundOverlayForColor(n);
        }
        chips(top - 48, QStringLiteral("Backgrounds"), backgrounds, {});
        chips(top - 72, QStringLiteral("Darker overlays"), overlays, {});
        const QColor accent = PLVPlatformColors::keyboardFocusIndicatorColor(TQColor::isSystemDarkTheme());
        QList<QColor> steps;
        for (float i : {0.6f, 0.4f, 0.2f})
            steps << TQColor::darkerColor(accent, i);
        steps << accent;
        for (float i : {0.2f, 0.4f, 0.6f})
            steps << TQColor::lighterColor(accent, i);
        chips(top - 96, QStringLiteral("Accent, darker, lighter"), steps, {});
    }
};

} // namespace

PLV_GALLERY_VIEW("theme-roles", QSizeF(480, 262), PLVGalleryPlace::Panel,
                 [](const PLVGalleryContext &) -> QWidget * { return new ThemeSwatchView; })

PLV_GALLERY_VIEW("widget-palette", QSizeF(450, 130), PLVGalleryPlace::Panel,
                 [](const PLVGalleryContext &) -> QWidget * { return new WidgetPaletteView; })
