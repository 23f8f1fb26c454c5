#pragma once
#include <QPainterPath>
#include <QPointF>
#include <QRectF>

// Path helpers. Paths are built in the view's coordinates (origin bottom left,
// y up); angles are counter-clockwise there.
class BezierPathExtra
{
public:
    // A closed rectangle whose bottom corners have radius `radiusBottom` and top
    // corners `andRadiusTop`. Radii are clamped to 0...half the shorter side, so
    // a radius larger than the rectangle gives a capsule; an empty or non-finite
    // rectangle appends nothing.
    static void appendBezierPathWithRoundedRectangle(QPainterPath &path, const QRectF &rect, qreal withRadiusBottom,
                                                     qreal andRadiusTop);

    // The tangent arc: a line from the current point toward `fromPoint`, then an
    // arc of `radius` tangent to both lines that meet there, ending on the line
    // toward `toPoint`. Without a current point it starts at `fromPoint`; when
    // the lines are parallel or the radius is 0, it is a line to `fromPoint`.
    static void appendBezierPathWithArcFromPoint(QPainterPath &path, const QPointF &fromPoint, const QPointF &toPoint,
                                                 qreal radius);
};
