#include "PLVCommon/drawing/BezierPathExtra.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

qreal length(QPointF v) { return std::hypot(v.x(), v.y()); }

// QPainterPath measures angles with y pointing down; the path's own
// coordinates have y up, so the angle of a point is taken with y negated.
qreal qtAngle(QPointF centre, QPointF p)
{
    return std::atan2(-(p.y() - centre.y()), p.x() - centre.x()) * 180.0 / std::numbers::pi;
}

} // namespace

void BezierPathExtra::appendBezierPathWithArcFromPoint(QPainterPath &path, const QPointF &fromPoint,
                                                      const QPointF &toPoint, qreal radius)
{
    if (!std::isfinite(fromPoint.x()) || !std::isfinite(fromPoint.y()) || !std::isfinite(toPoint.x()) ||
        !std::isfinite(toPoint.y()) || !std::isfinite(radius))
        return;
    if (path.elementCount() == 0)
        path.moveTo(fromPoint);
    const QPointF current = path.currentPosition();
    const QPointF v1 = current - fromPoint, v2 = toPoint - fromPoint;
    const qreal l1 = length(v1), l2 = length(v2);
    const qreal cross = v1.x() * v2.y() - v1.y() * v2.x();
    if (radius <= 0 || l1 == 0 || l2 == 0 || std::abs(cross) < 1e-9 * l1 * l2) {
        path.lineTo(fromPoint);
        return;
    }
    const QPointF u1 = v1 / l1, u2 = v2 / l2;
    const qreal cosTheta = std::clamp(QPointF::dotProduct(u1, u2), -1.0, 1.0);
    const qreal half = std::acos(cosTheta) / 2; // half the angle between the two lines
    const qreal tangent = radius / std::tan(half);
    const QPointF t1 = fromPoint + u1 * tangent, t2 = fromPoint + u2 * tangent;
    QPointF bisector = u1 + u2;
    bisector /= length(bisector);
    const QPointF centre = fromPoint + bisector * (radius / std::sin(half));

    path.lineTo(t1);
    const qreal start = qtAngle(centre, t1);
    qreal sweep = qtAngle(centre, t2) - start;
    while (sweep > 180)
        sweep -= 360;
    while (sweep < -180)
        sweep += 360;
    path.arcTo(QRectF(centre.x() - radius, centre.y() - radius, 2 * radius, 2 * radius), start, sweep);
}

void BezierPathExtra::appendBezierPathWithRoundedRectangle(QPainterPath &path, const QRectF &rect,
                                                          qreal withRadiusBottom, qreal andRadiusTop)
{
    const qreal x = rect.x(), y = rect.y(), w = rect.width(), h = rect.height();
    if (!(w > 0) || !(h > 0) || !std::isfinite(x) || !std::isfinite(y) || !std::isfinite(w) || !std::isfinite(h))
        return;
    const qreal limit = std::min(w, h) / 2;
    const auto fit = [limit](qreal r) { return std::isfinite(r) ? std::clamp(r, 0.0, limit) : 0.0; };
    const qreal rb = fit(withRadiusBottom), rt = fit(andRadiusTop);
    const qreal top = y + h, right = x + w;

    // A new subpath, so that the first tangent line does not start elsewhere.
    path.moveTo(x + 0.5 * w, top);
    appendBezierPathWithArcFromPoint(path, QPointF(x, top), QPointF(x, y), rt);
    appendBezierPathWithArcFromPoint(path, QPointF(x, y), QPointF(right, y), rb);
    appendBezierPathWithArcFromPoint(path, QPointF(right, y), QPointF(right, top), rb);
    appendBezierPathWithArcFromPoint(path, QPointF(right, top), QPointF(x, top), rt);
    path.closeSubpath();
}
