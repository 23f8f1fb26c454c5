#include "PLVCommon/drawing/ImageExtra.h"

#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/drawing/ColorExtras.h"

#include <QFileInfo>
#include <QPainter>

#include <cmath>

namespace {

// The 2x bitmap every operation draws into, cleared.
QImage backing(const QSizeF &points)
{
    const QSize pixels(int(std::ceil(points.width() * 2)), int(std::ceil(points.height() * 2)));
    if (pixels.isEmpty())
        return {};
    QImage bitmap(pixels, QImage::Format_ARGB32_Premultiplied);
    bitmap.fill(Qt::transparent);
    return bitmap;
}

// Draws into the bitmap's whole pixel area, whatever ratio the bitmap carries.
void drawWhole(QPainter &p, const QImage &bitmap, const QImage &source, qreal opacity)
{
    p.setOpacity(opacity);
    p.drawImage(QRectF(0, 0, bitmap.width(), bitmap.height()), source);
}

} // namespace

QSizeF ImageExtra::pointSize(const QImage &image)
{
    if (image.isNull())
        return {};
    const qreal ratio = image.devicePixelRatio() > 0 ? image.devicePixelRatio() : 1.0;
    return QSizeF(image.width() / ratio, image.height() / ratio);
}

QImage ImageExtra::tintedImageWithColor(const QImage &image, const QColor &color)
{
    return tintedImageWithColor2(image, color, 1.0f);
}

QImage ImageExtra::tintedImageWithColor(const QImage &image, const QColor &color, float alpha)
{
    return tintedImageWithColor2(image, color, alpha);
}

QImage ImageExtra::tintedImageWithColor2(const QImage &image, const QColor &color, float alpha)
{
    if (!color.isValid())
        return {};
    QImage bitmap = backing(pointSize(image));
    if (bitmap.isNull())
        return {};
    const QColor tint = ColorExtras::colorWithAlphaComponent(color, 1.0);
    {
        QPainter p(&bitmap);
        drawWhole(p, bitmap, image, ColorExtras::unit(alpha));
        p.setOpacity(1.0);
        p.setCompositionMode(QPainter::CompositionMode_SourceAtop);
        p.fillRect(bitmap.rect(), tint);
    }
    bitmap.setDevicePixelRatio(2.0);
    return bitmap;
}

QImage ImageExtra::composeWithTreePartImageInRect(const QImage &image, const QRectF &rect, const QImage &leftImage,
                                                  const QImage &middleImage, const QImage &rightImage)
{
    QImage bitmap = backing(pointSize(image));
    if (bitmap.isNull())
        return {};
    {
        QPainter p(&bitmap);
        p.setRenderHint(QPainter::SmoothPixmapTransform);
        drawWhole(p, bitmap, image, 1.0);
        // The rectangle's origin is the bitmap's bottom left.
        const QRectF r(rect.x(), bitmap.height() - rect.y() - rect.height(), rect.width(), rect.height());
        if (r.isValid() && std::isfinite(r.x()) && std::isfinite(r.y())) {
            const qreal capL = leftImage.isNull() ? 0.0 : std::min(pointSize(leftImage).width(), r.width());
            const qreal capR =
                rightImage.isNull() ? 0.0 : std::min(pointSize(rightImage).width(), r.width() - capL);
            if (!leftImage.isNull())
                p.drawImage(QRectF(r.left(), r.top(), capL, r.height()), leftImage);
            if (!middleImage.isNull() && r.width() - capL - capR > 0)
                p.drawImage(QRectF(r.left() + capL, r.top(), r.width() - capL - capR, r.height()), middleImage);
            if (!rightImage.isNull())
                p.drawImage(QRectF(r.right() - capR, r.top(), capR, r.height()), rightImage);
        }
    }
    bitmap.setDevicePixelRatio(2.0);
    return bitmap;
}

QImage ImageExtra::imageNamed(const QString &name, const PLVBundle *inBundle)
{
    if (!inBundle || name.isEmpty())
        return {};
    const QFileInfo info(name);
    const QString base = info.completeBaseName().isEmpty() ? name : info.completeBaseName();
    const QString type = info.suffix();
    // "name.png" where "name" carries a dot of its own keeps all but the last part.
    const QString hiDpi = inBundle->pathForResource(base + QStringLiteral("@2x"), type);
    if (!hiDpi.isEmpty()) {
        QImage image(hiDpi);
        if (!image.isNull()) {
            image.setDevicePixelRatio(2.0);
            return image;
        }
    }
    const QString path = inBundle->pathForResource(base, type);
    return path.isEmpty() ? QImage() : QImage(path);
}

QImage ImageExtra::imageNamedForClass(const QString &name, const QMetaObject *metaObject)
{
    if (metaObject) {
        const QImage own = imageNamed(name, PLVBundle::bundleForClass(metaObject));
        if (!own.isNull())
            return own;
    }
    return imageNamed(name, PLVBundle::frameworkBundle());
}
