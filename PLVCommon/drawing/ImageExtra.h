#pragma once
#include <QColor>
#include <QImage>
#include <QRectF>
#include <QString>

class PLVBundle;
struct QMetaObject;

// Image helpers for the widgets and the theme.
//
// An image's point size is its pixel size divided by its device pixel ratio.
// Images made here have a 2x backing: the point size of the source and
// (2 x width) x (2 x height) pixels of premultiplied ARGB, so they stay sharp on
// high-density screens. A null or empty source gives a null image.
class ImageExtra
{
public:
    static QImage tintedImageWithColor(const QImage &image, const QColor &color);
    static QImage tintedImageWithColor(const QImage &image, const QColor &color, float alpha);
    // The image's shape filled with the colour, made opaque: the colour replaces
    // every drawn pixel's colour and keeps its coverage, and `alpha` (0...1)
    // fades the shape. An invalid colour gives a null image.
    static QImage tintedImageWithColor2(const QImage &image, const QColor &color, float alpha);

    // The image with a three-part image drawn over it inside `rect`: the left and
    // right caps keep their widths, the middle stretches over the rest. `rect`
    // is in the result's pixels, origin bottom left.
    static QImage composeWithTreePartImageInRect(const QImage &image, const QRectF &rect, const QImage &leftImage,
                                                 const QImage &middleImage, const QImage &rightImage);

    // The resource `name` ("icon.png": base "icon", type "png") of the bundle,
    // or a null image. A "name@2x.type" beside it is preferred, at ratio 2.
    static QImage imageNamed(const QString &name, const PLVBundle *inBundle);
    // Looks in the bundle of the class first (a module's own resources), then
    // in the framework's.
    static QImage imageNamedForClass(const QString &name, const QMetaObject *metaObject);

    // The image's size in points.
    static QSizeF pointSize(const QImage &image);
};
