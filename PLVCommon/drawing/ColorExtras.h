#pragma once
#include <QColor>

// Colour helpers shared by the theme and the widgets.
//
// Every QColor of the library holds sRGB components: that is what Qt paints and
// what the desktop's displays assume. Colours that the palette defines in the
// calibrated (generic) RGB space of the original design, gamma 1.8 with its own
// primaries, are converted to sRGB when they are made, so that the pixels match
// what that design shows; calibratedComponents() reads them back in that space.
//
// Components outside 0...1 are clamped and NaN counts as 0, so a bad value
// gives a defined colour instead of Qt's extended-range one.
class ColorExtras
{
public:
    // The receiver in the RGB model (from HSV, HSL or CMYK); invalid stays invalid.
    static QColor colorWithComponents(const QColor &color);

    // The components as stored, without conversion; call them on the result of
    // colorWithComponents(). Hue is 0 for a grey. An invalid colour reads 0.
    static double extrahueComponent(const QColor &color);
    static double extrasaturationComponent(const QColor &color);
    static double extrabrightnessComponent(const QColor &color);
    static double extraalphaComponent(const QColor &color);
    static double extraredComponent(const QColor &color);
    static double extragreenComponent(const QColor &color);
    static double extrablueComponent(const QColor &color);

    static QColor colorWithSRGBRed(double red, double green, double blue, double alpha = 1.0);
    // Hue, saturation, brightness in the sRGB space.
    static QColor colorWithHue(double hue, double saturation, double brightness, double alpha = 1.0);
    static QColor colorWithCalibratedRed(double red, double green, double blue, double alpha = 1.0);
    static QColor colorWithCalibratedHue(double hue, double saturation, double brightness, double alpha = 1.0);
    static QColor colorWithCalibratedWhite(double white, double alpha = 1.0);
    // The colour's components in the calibrated RGB space (for reading only:
    // painting the result would show the wrong colour). Invalid stays invalid.
    static QColor calibratedComponents(const QColor &color);

    // The colour with its alpha replaced (not multiplied) by `alpha`.
    static QColor colorWithAlphaComponent(const QColor &color, double alpha);

    // Clamps to 0...1; NaN gives 0.
    static double unit(double value);
};
