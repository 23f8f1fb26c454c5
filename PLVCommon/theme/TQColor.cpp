#include "PLVCommon/theme/TQColor.h"

#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"
#include "PLVCommon/drawing/ColorExtras.h"

#include <algorithm>
#include <cstdlib>

namespace {

QColor grey(int n, double alpha = 1.0)
{
    return ColorExtras::colorWithSRGBRed(n / 255.0, n / 255.0, n / 255.0, alpha);
}

QColor rgb255(int r, int g, int b, double alpha = 1.0)
{
    return ColorExtras::colorWithSRGBRed(r / 255.0, g / 255.0, b / 255.0, alpha);
}

QColor step(const QColor &base, double alpha)
{
    return ColorExtras::colorWithAlphaComponent(base, alpha);
}

// 0.95 stored in single precision, as every overlay row but one keeps it.
constexpr double kOverlayAlpha = double(0.95f);

struct HSB {
    double h, s, b;
};

HSB hsbOf(const QColor &c)
{
    return {ColorExtras::extrahueComponent(c), ColorExtras::extrasaturationComponent(c),
            ColorExtras::extrabrightnessComponent(c)};
}

} // namespace

qint64 TQColor::currentRelease() { return PLVColor::currentRelease(); }

QColor TQColor::redColor() { return PLVPlatformColors::colorNamed(QStringLiteral("redColor"), isSystemDarkTheme()); }
QColor TQColor::blackColor() { return ColorExtras::colorWithSRGBRed(0, 0, 0, 0.92); }
QColor TQColor::whiteColor() { return ColorExtras::colorWithSRGBRed(1, 1, 1, 1); }
QColor TQColor::lightColor() { return grey(252); }
QColor TQColor::darkColor() { return grey(38); }
QColor TQColor::ledGreenColorRegular() { return rgb255(67, 197, 39); }
QColor TQColor::ledRedColorRegular() { return rgb255(246, 70, 52); }
QColor TQColor::ledAmberColorRegular() { return rgb255(253, 195, 45); }
QColor TQColor::ledGreenColorDaltonien() { return rgb255(73, 53, 195); }
QColor TQColor::ledRedColorDaltonien() { return rgb255(227, 52, 34); }
QColor TQColor::ledAmberColorDaltonien() { return ledAmberColorRegular(); }
QColor TQColor::ledGreenColor() { return isColorBlindModeActivated() ? ledGreenColorDaltonien() : ledGreenColorRegular(); }
QColor TQColor::ledRedColor() { return isColorBlindModeActivated() ? ledRedColorDaltonien() : ledRedColorRegular(); }
QColor TQColor::ledAmberColor() { return isColorBlindModeActivated() ? ledAmberColorDaltonien() : ledAmberColorRegular(); }
QColor TQColor::tqSenaryledRedColor() { return step(ledRedColor(), 0.5); }
QColor TQColor::darkTintColor() { return ColorExtras::colorWithSRGBRed(1.0, 153 / 255.0, 0.0, 1.0); }
QColor TQColor::touchbarGrayColor() { return ColorExtras::colorWithSRGBRed(0.2, 0.2, 0.2, 1.0); }
QColor TQColor::grayColorTransparencyOverlay() { return grey(160, 0.13); }

QColor TQColor::randomColor()
{
    const auto component = [] { return double(arc4random() % 255u) / 255.0; };
    const double r = component(), g = component(), b = component();
    return ColorExtras::colorWithSRGBRed(r, g, b, 1.0);
}

QColor TQColor::tqLabelColor() { return isBackgroundDark() ? whiteColor() : blackColor(); }
QColor TQColor::tqSecondaryLabelColor() { return step(tqLabelColor(), 0.9); }
QColor TQColor::tqTertiaryLabelColor() { return step(tqLabelColor(), 0.8); }
QColor TQColor::tqQuaternaryLabelColor() { return step(tqLabelColor(), 0.7); }
QColor TQColor::tqQuinaryLabelColor() { return step(tqLabelColor(), 0.6); }
QColor TQColor::tqSenaryLabelColor() { return step(tqLabelColor(), 0.5); }
QColor TQColor::tqSeptenaryLabelColor() { return step(tqLabelColor(), 0.4); }
QColor TQColor::tqOctonaryLabelColor() { return step(tqLabelColor(), 0.3); }
QColor TQColor::tqNonaryLabelColor() { return step(tqLabelColor(), 0.2); }
QColor TQColor::tqDenaryLabelColor() { return step(tqLabelColor(), 0.1); }
QColor TQColor::tqDenaryPlusLabelColor() { return step(tqLabelColor(), 0.05); }
QColor TQColor::tqInvLabelColor() { return isBackgroundDark() ? blackColor() : whiteColor(); }
QColor TQColor::tqInvSecondaryLabelColor() { return step(tqInvLabelColor(), 0.9); }
QColor TQColor::tqInvTertiaryLabelColor() { return step(tqInvLabelColor(), 0.8); }
QColor TQColor::tqInvQuaternaryLabelColor() { return step(tqInvLabelColor(), 0.7); }
QColor TQColor::tqInvQuinaryLabelColor() { return step(tqInvLabelColor(), 0.6); }
QColor TQColor::tqInvSenaryLabelColor() { return step(tqInvLabelColor(), 0.5); }
QColor TQColor::tqInvSeptenaryLabelColor() { return step(tqInvLabelColor(), 0.4); }
QColor TQColor::tqInvOctonaryLabelColor() { return step(tqInvLabelColor(), 0.3); }
QColor TQColor::tqInvNonaryLabelColor() { return step(tqInvLabelColor(), 0.2); }
QColor TQColor::tqInvDenaryLabelColor() { return step(tqInvLabelColor(), 0.1); }
QColor TQColor::tqInvDenaryPlusLabelColor() { return step(tqInvLabelColor(), 0.05); }
QColor TQColor::knobOverlayColor() { return tqInvOctonaryLabelColor(); }
QColor TQColor::nonKeyWindowtintColor() { return ColorExtras::colorWithComponents(tqSeptenaryLabelColor()); }
QColor TQColor::linkColor()
{
    return ColorExtras::colorWithComponents(PLVPlatformColors::colorNamed(QStringLiteral("linkColor"), isSystemDarkTheme()));
}

QColor TQColor::backgroundColorWithoutTransparency(quint64 color)
{
    switch (color) {
    case 0: return grey(40);
    case 1: return grey(255);
    case 2: return rgb255(40, 45, 55);
    case 3: return grey(0);
    default: return {};
    }
}

QColor TQColor::backgroundColor(quint64 color)
{
    switch (color) {
    case 10:
    case 12:
    case 13: return ColorExtras::colorWithSRGBRed(0, 0, 0, 0);
    case 11: return grey(250, 0.0);
    default: return backgroundColorWithoutTransparency(color);
    }
}

QColor TQColor::darkerBackgroundOverlayForColor(quint64 color)
{
    switch (color) {
    case 0: return ColorExtras::colorWithSRGBRed(0.2, 0.2, 0.2, 1.0);
    case 1: return grey(246);
    case 2: return rgb255(50, 55, 65);
    case 3: return grey(18);
    case 10:
    case 12:
    case 13: return grey(45);
    case 11: return grey(236);
    default: return grey(61);
    }
}

QColor TQColor::darkerBackgroundOverlayNoTransparenctyForColor(quint64 color)
{
    switch (color) {
    case 0: return ColorExtras::colorWithSRGBRed(0.2, 0.2, 0.2, kOverlayAlpha);
    case 1: return grey(246, kOverlayAlpha);
    case 2: return rgb255(50, 55, 65, kOverlayAlpha);
    case 3: return grey(18, 0.95);
    case 10:
    case 12:
    case 13: return grey(61, kOverlayAlpha);
    case 11: return grey(246, kOverlayAlpha);
    default: return ColorExtras::colorWithSRGBRed(0.2, 0.2, 0.2, kOverlayAlpha);
    }
}

QColor TQColor::backgroundColorColored() { return backgroundColor(windowColor()); }
QColor TQColor::backgroundColorColoredNoTransparency() { return backgroundColorColored(); }
QColor TQColor::backgroundSegmentedColorColored() { return backgroundColorWithoutTransparency(windowColor()); }
QColor TQColor::darkerBackgroundOverlay() { return darkerBackgroundOverlayForColor(windowColor()); }
QColor TQColor::unitViewShadowColor() { return step(windowColor() == 1 ? whiteColor() : blackColor(), 0.5); }
bool TQColor::isBackgroundDark() { return isColorDark(backgroundColorColored()); }

QColor TQColor::tintColor()
{
    // The desktop has no control tint and no contrast switch to consult here.
    const bool dark = isSystemDarkTheme();
    const QString name = currentRelease() < 14 ? QStringLiteral("selectedMenuItemColor")
                                               : QStringLiteral("alternateSelectedControlColor");
    return ColorExtras::colorWithComponents(PLVPlatformColors::colorNamed(name, dark));
}

QColor TQColor::menubarHighlightColor()
{
    const bool dark = isSystemDarkTheme();
    if (currentRelease() > 13)
        return PLVPlatformColors::colorNamed(QStringLiteral("alternateSelectedControlColor"), dark);
    return ColorExtras::colorWithComponents(PLVPlatformColors::colorNamed(QStringLiteral("selectedMenuItemColor"), dark));
}

bool TQColor::isSystemDarkTheme() { return isSystemDarkThemeNewMethod(); }
bool TQColor::isSystemDarkThemeNewMethod() { return PLVPlatformColors::isDark(); }

QColor TQColor::lighterColor(const QColor &color, float forIntensity)
{
    if (!color.isValid())
        return {};
    const HSB c = hsbOf(color);
    const double b0 = c.b == 0 ? 0.1 : c.b;
    return ColorExtras::colorWithCalibratedHue(c.h, c.s, std::min(1.0, (forIntensity + 1.0) * b0), 1.0);
}

QColor TQColor::lighterSaturColor(const QColor &color, float forIntensity)
{
    if (!color.isValid())
        return {};
    const HSB c = hsbOf(color);
    const double s0 = c.s == 0 ? 0.1 : c.s;
    return ColorExtras::colorWithCalibratedHue(c.h, std::max(0.0, (1.0 - forIntensity) * s0), std::max(0.0, 0.7 * c.b),
                                               1.0);
}

QColor TQColor::darkerColor(const QColor &color, float forIntensity)
{
    if (!color.isValid())
        return {};
    const HSB c = hsbOf(color);
    return ColorExtras::colorWithCalibratedHue(c.h, c.s, std::max(0.0, (1.0 - forIntensity) * c.b), 1.0);
}

QColor TQColor::lighterColor(const QColor &color, float forIntensity, float /*forSaturation*/)
{
    if (!color.isValid())
        return {};
    const HSB c = hsbOf(color);
    const double b0 = c.b == 0 ? 0.1 : c.b;
    return ColorExtras::colorWithCalibratedHue(c.h, std::max(0.0, (1.0 - forIntensity) * c.s),
                                               std::min(1.0, (forIntensity + 1.0) * b0), 1.0);
}

QColor TQColor::darkerColor(const QColor &color, float forIntensity, float /*forSaturation*/)
{
    if (!color.isValid())
        return {};
    const HSB c = hsbOf(color);
    return ColorExtras::colorWithCalibratedHue(c.h, std::max(0.0, (1.0 - forIntensity) * c.s),
                                               std::max(0.0, (1.0 - forIntensity) * c.b), 1.0);
}

QColor TQColor::lighterDarkerColor(const QColor &color, float forIntensity)
{
    return isColorDark(color) ? lighterColor(color, forIntensity) : darkerColor(color, forIntensity);
}

bool TQColor::isColorDark(const QColor &color)
{
    const QColor c = ColorExtras::colorWithComponents(color);
    const double l = 0.299 * ColorExtras::extraredComponent(c) + 0.587 * ColorExtras::extragreenComponent(c) +
                     0.114 * ColorExtras::extrablueComponent(c);
    // QColor keeps 16 bits a component, so a grey of 0.5 reads back a hair
    // above it; half a step of slack keeps it dark.
    return 1.0 - l >= 0.5 - 0.5 / 65535.0;
}

float TQColor::tqRedComponent(const QColor &color) { return float(ColorExtras::extraredComponent(ColorExtras::colorWithComponents(color))); }
float TQColor::tqGreenComponent(const QColor &color) { return float(ColorExtras::extragreenComponent(ColorExtras::colorWithComponents(color))); }
float TQColor::tqBlueComponent(const QColor &color) { return float(ColorExtras::extrablueComponent(ColorExtras::colorWithComponents(color))); }

QColor TQColor::tqColorFromArrayColor(const QVariantList &array)
{
    if (array.size() < 4)
        return {};
    double v[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        v[i] = array.at(i).toDouble(&ok);
        if (!ok)
            return {};
    }
    return ColorExtras::colorWithCalibratedHue(v[0], v[1], v[2], v[3]);
}
