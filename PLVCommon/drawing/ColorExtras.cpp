#include "PLVCommon/drawing/ColorExtras.h"

#include <QColorSpace>
#include <QColorTransform>
#include <QPointF>

#include <cmath>

namespace {

// The calibrated RGB space of the original design: the generic RGB profile,
// gamma 1.8 with D65 white and its own primaries.
const QColorSpace &calibratedSpace()
{
    static const QColorSpace space(QPointF(0.3127, 0.3290), QPointF(0.630, 0.340), QPointF(0.295, 0.605),
                                   QPointF(0.155, 0.077), QColorSpace::TransferFunction::Gamma, 1.8f);
    return space;
}

const QColorTransform &toSRGB()
{
    static const QColorTransform t = calibratedSpace().transformationToColorSpace(QColorSpace::SRgb);
    return t;
}

const QColorTransform &fromSRGB()
{
    static const QColorTransform t = QColorSpace(QColorSpace::SRgb).transformationToColorSpace(calibratedSpace());
    return t;
}

QColor clampedRgb(const QColor &c)
{
    const QColor rgb = c.toRgb();
    return QColor::fromRgbF(float(ColorExtras::unit(rgb.redF())), float(ColorExtras::unit(rgb.greenF())),
                            float(ColorExtras::unit(rgb.blueF())), float(ColorExtras::unit(rgb.alphaF())));
}

} // namespace

double ColorExtras::unit(double value)
{
    if (std::isnan(value))
        return 0.0;
    return value < 0.0 ? 0.0 : (value > 1.0 ? 1.0 : value);
}

QColor ColorExtras::colorWithComponents(const QColor &color)
{
    if (!color.isValid())
        return {};
    return clampedRgb(color);
}

double ColorExtras::extrahueComponent(const QColor &color)
{
    if (!color.isValid())
        return 0.0;
    const float h = color.hsvHueF();
    return h < 0 ? 0.0 : double(h);
}

double ColorExtras::extrasaturationComponent(const QColor &color)
{
    return color.isValid() ? double(color.hsvSaturationF()) : 0.0;
}

double ColorExtras::extrabrightnessComponent(const QColor &color)
{
    return color.isValid() ? double(color.valueF()) : 0.0;
}

double ColorExtras::extraalphaComponent(const QColor &color)
{
    return color.isValid() ? double(color.alphaF()) : 0.0;
}

double ColorExtras::extraredComponent(const QColor &color)
{
    return color.isValid() ? double(color.redF()) : 0.0;
}

double ColorExtras::extragreenComponent(const QColor &color)
{
    return color.isValid() ? double(color.greenF()) : 0.0;
}

double ColorExtras::extrablueComponent(const QColor &color)
{
    return color.isValid() ? double(color.blueF()) : 0.0;
}

QColor ColorExtras::colorWithSRGBRed(double red, double green, double blue, double alpha)
{
    return QColor::fromRgbF(float(unit(red)), float(unit(green)), float(unit(blue)), float(unit(alpha)));
}

QColor ColorExtras::colorWithHue(double hue, double saturation, double brightness, double alpha)
{
    return QColor::fromHsvF(float(unit(hue) >= 1.0 ? 0.0 : unit(hue)), float(unit(saturation)),
                            float(unit(brightness)), float(unit(alpha)))
        .toRgb();
}

QColor ColorExtras::colorWithCalibratedRed(double red, double green, double blue, double alpha)
{
    const QColor calibrated = colorWithSRGBRed(red, green, blue, alpha);
    return clampedRgb(toSRGB().map(calibrated));
}

QColor ColorExtras::colorWithCalibratedHue(double hue, double saturation, double brightness, double alpha)
{
    // The HSB components are read in the calibrated space, then converted.
    const QColor calibrated = colorWithHue(hue, saturation, brightness, alpha);
    return clampedRgb(toSRGB().map(calibrated));
}

QColor ColorExtras::colorWithCalibratedWhite(double white, double alpha)
{
    return colorWithCalibratedRed(white, white, white, alpha);
}

QColor ColorExtras::calibratedComponents(const QColor &color)
{
    if (!color.isValid())
        return {};
    return clampedRgb(fromSRGB().map(clampedRgb(color)));
}

QColor ColorExtras::colorWithAlphaComponent(const QColor &color, double alpha)
{
    if (!color.isValid())
        return {};
    QColor c = clampedRgb(color);
    c.setAlphaF(float(unit(alpha)));
    return c;
}
