#pragma once
#include <QColor>
#include <QVariantList>

// Fixed colours of the widgets, a ladder of label colours, backgrounds by window
// colour number, and colour arithmetic. Class operations only; every answer is
// computed at the call. Components are sRGB unless a comment says calibrated.
// "No colour" is an invalid QColor.
class TQColor
{
public:
    static bool isColorBlindModeActivated() { return false; }
    static quint64 windowColor() { return 1; }
    static qint64 currentRelease();

    // Fixed colours.
    static QColor redColor();
    static QColor blackColor(); // deliberately not opaque: alpha 0.92
    static QColor whiteColor();
    static QColor lightColor();
    static QColor darkColor();
    static QColor ledGreenColorRegular();
    static QColor ledRedColorRegular();
    static QColor ledAmberColorRegular();
    static QColor ledGreenColorDaltonien();
    static QColor ledRedColorDaltonien();
    static QColor ledAmberColorDaltonien();
    static QColor ledGreenColor();
    static QColor ledRedColor();
    static QColor ledAmberColor();
    static QColor tqSenaryledRedColor();
    static QColor darkTintColor();
    static QColor touchbarGrayColor();
    static QColor grayColorTransparencyOverlay();
    // Each component (a random 32-bit number mod 255) / 255, so never 1.
    static QColor randomColor();

    // Label ladder: the base with its alpha replaced by the step's.
    static QColor tqLabelColor();
    static QColor tqSecondaryLabelColor();
    static QColor tqTertiaryLabelColor();
    static QColor tqQuaternaryLabelColor();
    static QColor tqQuinaryLabelColor();
    static QColor tqSenaryLabelColor();
    static QColor tqSeptenaryLabelColor();
    static QColor tqOctonaryLabelColor();
    static QColor tqNonaryLabelColor();
    static QColor tqDenaryLabelColor();
    static QColor tqDenaryPlusLabelColor();
    static QColor tqInvLabelColor();
    static QColor tqInvSecondaryLabelColor();
    static QColor tqInvTertiaryLabelColor();
    static QColor tqInvQuaternaryLabelColor();
    static QColor tqInvQuinaryLabelColor();
    static QColor tqInvSenaryLabelColor();
    static QColor tqInvSeptenaryLabelColor();
    static QColor tqInvOctonaryLabelColor();
    static QColor tqInvNonaryLabelColor();
    static QColor tqInvDenaryLabelColor();
    static QColor tqInvDenaryPlusLabelColor();
    static QColor knobOverlayColor();
    static QColor nonKeyWindowtintColor();
    static QColor linkColor();

    // Backgrounds by window colour number.
    static QColor backgroundColorWithoutTransparency(quint64 color);
    static QColor backgroundColor(quint64 color);
    static QColor darkerBackgroundOverlayForColor(quint64 color);
    static QColor darkerBackgroundOverlayNoTransparenctyForColor(quint64 color);
    static QColor backgroundColorColored();
    static QColor backgroundColorColoredNoTransparency();
    static QColor backgroundSegmentedColorColored();
    static QColor darkerBackgroundOverlay();
    static QColor unitViewShadowColor();
    static bool isBackgroundDark();

    // Desktop-dependent colours.
    static QColor tintColor();
    static QColor menubarHighlightColor();
    static bool isSystemDarkTheme();
    static bool isSystemDarkThemeNewMethod();

    // Arithmetic on hue, saturation and brightness; results are calibrated HSB
    // colours at alpha 1. Invalid in, invalid out.
    static QColor lighterColor(const QColor &color, float forIntensity);
    static QColor lighterSaturColor(const QColor &color, float forIntensity);
    static QColor darkerColor(const QColor &color, float forIntensity);
    static QColor lighterColor(const QColor &color, float forIntensity, float forSaturation);
    static QColor darkerColor(const QColor &color, float forIntensity, float forSaturation);
    static QColor lighterDarkerColor(const QColor &color, float forIntensity);

    // Luminance 0.299 r + 0.587 g + 0.114 b; dark when 1 - L >= 0.5. An invalid
    // colour counts as dark (black).
    static bool isColorDark(const QColor &color);
    static float tqRedComponent(const QColor &color);
    static float tqGreenComponent(const QColor &color);
    static float tqBlueComponent(const QColor &color);
    // A calibrated HSB colour from [hue, saturation, brightness, alpha]; fewer
    // than four numbers give no colour.
    static QColor tqColorFromArrayColor(const QVariantList &array);
};
