#pragma once
// Small shapes drawn again and again in the same place at the same scale (a
// bar's track, the battery's outline) are filled once into an image of device
// pixels and blitted after that: a blit costs a fraction of an anti-aliased
// path fill. The ring rasteriser places its images the same way.
#include <QPoint>

class QColor;
class QImage;
class QPainter;
class QPainterPath;
class QTransform;

namespace PLVPixelCache {

// Fills `path` (the painter's coordinates) in `color`, anti-aliased, through a
// cache of filled pictures kept per path, colour, scale and sub-pixel offset.
// Painters that rotate or shear fill the path directly.
void fillPath(QPainter &painter, const QPainterPath &path, const QColor &color);

// Whether a device transform only scales (the same in x and y, either
// orientation) and moves: then device pixels can be prepared in advance.
bool isAxisAligned(const QTransform &device);

// Draws an image of device pixels with its top left corner on the device pixel
// `at`, whatever the painter's world transform.
void blit(QPainter &painter, QImage &image, QPoint at);

} // namespace PLVPixelCache
