#include "PLVCommon/drawing/PLVPixelCache.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <cmath>
#include <vector>

namespace {

struct Entry {
    QPainterPath path;
    QRgb color;
    double m11, m22, fx, fy; // scale, orientation and sub-pixel offset of the device transform
    QImage image;
    QPoint offset; // of the image's corner from the transform's whole-pixel origin
};

} // namespace

bool PLVPixelCache::isAxisAligned(const QTransform &device)
{
    const double scale = std::abs(device.m11());
    return device.m12() == 0 && device.m21() == 0 && std::abs(device.m22()) == scale && scale > 0
           && device.type() <= QTransform::TxScale;
}

void PLVPixelCache::blit(QPainter &painter, QImage &image, QPoint at)
{
    // Without the world transform only the device's scale and the offset of a
    // redirected paint remain.
    painter.save();
    painter.resetTransform();
    const QTransform base = painter.deviceTransform();
    const qreal dpr = base.m11() > 0 ? base.m11() : 1.0;
    if (image.devicePixelRatio() != dpr) // set once on a kept image: setting it detaches
        image.setDevicePixelRatio(dpr);
    painter.drawImage(base.inverted().map(QPointF(at)), image);
    painter.restore();
}

void PLVPixelCache::fillPath(QPainter &painter, const QPainterPath &path, const QColor &color)
{
    const QTransform device = painter.deviceTransform();
    if (!isAxisAligned(device) || path.isEmpty()) {
        painter.save();
        painter.setRenderHint(QPainter::Antialiasing);
        painter.fillPath(path, color);
        painter.restore();
        return;
    }
    const double ox = std::floor(device.dx()), oy = std::floor(device.dy());
    const double fx = device.dx() - ox, fy = device.dy() - oy;
    const QRgb rgba = color.rgba();
    // A few bars and batteries at a scale or two: a short list suffices.
    thread_local std::vector<Entry> cache;
    Entry *hit = nullptr;
    for (Entry &e : cache) {
        if (e.color == rgba && e.m11 == device.m11() && e.m22 == device.m22() && e.fx == fx && e.fy == fy && e.path == path) {
            hit = &e;
            break;
        }
    }
    if (!hit) {
        if (cache.size() >= 16)
            cache.erase(cache.begin());
        // The transform without its whole pixels of offset: the picture is the
        // same wherever the shape lands on a whole pixel.
        const QTransform local(device.m11(), 0, 0, device.m22(), fx, fy);
        const QRect box = local.mapRect(path.boundingRect()).toAlignedRect();
        Entry e{path, rgba, device.m11(), device.m22(), fx, fy, QImage(box.size(), QImage::Format_ARGB32_Premultiplied),
                box.topLeft()};
        e.image.fill(Qt::transparent);
        QPainter p(&e.image);
        p.setRenderHint(QPainter::Antialiasing);
        p.setTransform(local * QTransform::fromTranslate(-box.left(), -box.top()));
        p.fillPath(path, color);
        p.end();
        cache.push_back(std::move(e));
        hit = &cache.back();
    }
    blit(painter, hit->image, QPoint(int(ox), int(oy)) + hit->offset);
}
