#pragma once
// Rings and discs with a value sector, rasterised pixel by pixel from their
// coverage. A small round gauge is redrawn every tick; filled as curved paths
// it costs Qt's raster engine a bezier flattening and, at 2x, a hand-over of
// its anti-aliased spans to a thread pool, many times the cost of the pixels
// themselves. Here the geometry of each pixel (its distance from the centre
// and its angle) is computed once per size and scale, and a redraw only mixes
// two colours by coverage into a small image that is blitted in one go.
#include <QColor>
#include <QPointF>

class QPainter;

namespace PLVRingRaster {

// Draws a ring between `innerRadius` and `outerRadius` (0 inner: a disc)
// around `centre`, in the painter's coordinates, in `track`, and over it the
// sector that starts at 12 o'clock and runs clockwise, as seen on screen, over
// `sweepDegrees` (clamped to 0-360) in `value`. The sector's ends are flat,
// along the radii. Painters that rotate or shear, and rings over 256 device
// pixels in radius, get the same picture through path fills.
void draw(QPainter &painter, QPointF centre, double outerRadius, double innerRadius, const QColor &track,
          const QColor &value, double sweepDegrees);

} // namespace PLVRingRaster
