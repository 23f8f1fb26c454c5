#include "PLVCommon/drawing/PLVRingRaster.h"

#include "PLVCommon/drawing/PLVPixelCache.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace {

constexpr double kTwoPi = 2 * M_PI;

float clamp01(float v) { return std::clamp(v, 0.0f, 1.0f); }

// Per pixel of the box around one ring: its radial coverage, its distance from
// the centre and its angle clockwise from 12 o'clock, all in device pixels.
struct Geometry {
    double outer = 0, inner = 0, fx = 0, fy = 0; // the key: radii and the centre's offset in its pixel
    int size = 0;                                // the box is size x size pixels
    std::vector<float> radial, distance, angle;
};

const Geometry &geometryFor(double outer, double inner, double fx, double fy)
{
    // A handful of gauge sizes and scales are alive at a time.
    thread_local std::vector<Geometry> cache;
    for (const Geometry &g : cache)
        if (g.outer == outer && g.inner == inner && g.fx == fx && g.fy == fy)
            return g;
    if (cache.size() >= 8)
        cache.erase(cache.begin());
    Geometry g;
    g.outer = outer;
    g.inner = inner;
    g.fx = fx;
    g.fy = fy;
    g.size = int(std::ceil(outer)) * 2 + 2;
    const double cx = g.size / 2 + fx, cy = g.size / 2 + fy; // the centre within the box
    const size_t n = size_t(g.size) * size_t(g.size);
    g.radial.resize(n);
    g.distance.resize(n);
    g.angle.resize(n);
    for (int y = 0; y < g.size; ++y) {
        for (int x = 0; x < g.size; ++x) {
            const double dx = x + 0.5 - cx, dy = y + 0.5 - cy; // y down
            const double d = std::hypot(dx, dy);
            double t = std::atan2(dx, -dy); // 0 at 12 o'clock, growing clockwise
            if (t < 0)
                t += kTwoPi;
            const size_t i = size_t(y) * size_t(g.size) + size_t(x);
            g.radial[i] = clamp01(float(outer - d + 0.5)) * (inner > 0 ? clamp01(float(d - inner + 0.5)) : 1.0f);
            g.distance[i] = float(d);
            g.angle[i] = float(t);
        }
    }
    cache.push_back(std::move(g));
    return cache.back();
}

void drawWithPaths(QPainter &painter, QPointF centre, double outerRadius, double innerRadius, const QColor &track,
                   const QColor &value, double sweep)
{
    // In the world's own orientation the visual clockwise may be either way:
    // work in device-independent pixels, y down, where it is Qt's negative.
    const QTransform world = painter.worldTransform();
    const double scale = std::sqrt(std::abs(world.determinant()));
    const QPointF c = world.map(centre);
    const double outer = outerRadius * scale, inner = innerRadius * scale;
    const QRectF outerBox(c.x() - outer, c.y() - outer, 2 * outer, 2 * outer);
    const QRectF innerBox(c.x() - inner, c.y() - inner, 2 * inner, 2 * inner);
    painter.save();
    painter.setWorldTransform(QTransform());
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath ring;
    ring.addEllipse(outerBox);
    if (inner > 0)
        ring.addEllipse(innerBox);
    painter.fillPath(ring, track);
    if (sweep > 0) {
        QPainterPath sector;
        sector.arcMoveTo(outerBox, 90);
        sector.arcTo(outerBox, 90, -sweep);
        if (inner > 0)
            sector.arcTo(innerBox, 90 - sweep, sweep);
        else
            sector.lineTo(c);
        sector.closeSubpath();
        painter.fillPath(sector, value);
    }
    painter.restore();
}

} // namespace

void PLVRingRaster::draw(QPainter &painter, QPointF centre, double outerRadius, double innerRadius, const QColor &track,
                         const QColor &value, double sweepDegrees)
{
    if (!(outerRadius > 0) || !std::isfinite(outerRadius) || !std::isfinite(centre.x()) || !std::isfinite(centre.y()))
        return;
    const double sweep = std::isnan(sweepDegrees) ? 0.0 : std::clamp(sweepDegrees, 0.0, 360.0);
    innerRadius = std::isfinite(innerRadius) ? std::clamp(innerRadius, 0.0, outerRadius) : 0.0;
    const QTransform device = painter.deviceTransform();
    const double scale = std::abs(device.m11());
    // Per-pixel tables pay off for gauge-sized rings; a large one is filled as paths.
    if (!PLVPixelCache::isAxisAligned(device) || outerRadius * scale > 256) {
        drawWithPaths(painter, centre, outerRadius, innerRadius, track, value, sweep);
        return;
    }

    const QPointF c = device.map(centre);
    const double outer = outerRadius * scale, inner = innerRadius * scale;
    // The box's corner on whole pixels; the centre's fraction is part of the geometry.
    const double left = std::floor(c.x()) - std::ceil(outer) - 1, top = std::floor(c.y()) - std::ceil(outer) - 1;
    const Geometry &g = geometryFor(outer, inner, c.x() - std::floor(c.x()), c.y() - std::floor(c.y()));

    thread_local QImage image;
    if (image.width() != g.size)
        image = QImage(g.size, g.size, QImage::Format_ARGB32_Premultiplied);
    const auto premultiplied = [](const QColor &col) {
        const QColor rgb = col.toRgb();
        const float a = float(rgb.alphaF());
        return std::array<float, 4>{a * float(rgb.redF()), a * float(rgb.greenF()), a * float(rgb.blueF()), a};
    };
    const auto t = premultiplied(track), v = premultiplied(value);
    const auto mix = [&](float valueCover, float trackKeep) {
        const auto channel = [&](int k) { return int(255 * (v[k] * valueCover + t[k] * trackKeep) + 0.5f); };
        return qRgba(channel(0), channel(1), channel(2), channel(3));
    };
    // Most pixels are wholly inside the ring and wholly in or out of the sector.
    const QRgb trackOnly = mix(0, 1), valueOverTrack = mix(1, 1 - v[3]);
    const float s = float(sweep * M_PI / 180.0), full = float(kTwoPi);
    for (int y = 0; y < g.size; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        const size_t row = size_t(y) * size_t(g.size);
        for (int x = 0; x < g.size; ++x) {
            const size_t i = row + size_t(x);
            const float radial = g.radial[i];
            if (radial <= 0) {
                line[x] = 0;
                continue;
            }
            float inSector = 0;
            if (s >= full) {
                inSector = 1;
            } else if (s > 0) {
                // Distance in pixels to the nearer end of the sector, along
                // the arc through the pixel: positive inside, negative outside.
                const float a = g.angle[i], d = g.distance[i];
                const float signedDistance = a <= s ? std::min(a, s - a) * d : -std::min(a - s, full - a) * d;
                inSector = clamp01(0.5f + signedDistance);
            }
            if (radial >= 1 && (inSector <= 0 || inSector >= 1)) {
                line[x] = inSector > 0 ? valueOverTrack : trackOnly;
                continue;
            }
            const float valueCover = radial * inSector;
            line[x] = mix(valueCover, radial * (1 - v[3] * valueCover));
        }
    }
    PLVPixelCache::blit(painter, image, QPoint(int(left), int(top)));
}
