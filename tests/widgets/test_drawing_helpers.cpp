// Image tinting and composition, rounded paths with tangent arcs, colour
// components, and named images from bundles, rendered into real images.
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/drawing/BezierPathExtra.h"
#include "PLVCommon/drawing/ColorExtras.h"
#include "PLVCommon/drawing/ImageExtra.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QPainter>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

// A 16 x 16 point template: an opaque 8 x 8 black square at the centre of a
// transparent image, with a half-covered column at its right.
QImage templateImage(qreal ratio = 1.0)
{
    QImage img(QSize(16, 16) * ratio, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::transparent);
    QPainter p(&img);
    p.fillRect(QRectF(4 * ratio, 4 * ratio, 8 * ratio, 8 * ratio), Qt::black);
    p.fillRect(QRectF(12 * ratio, 4 * ratio, 1 * ratio, 8 * ratio), QColor(0, 0, 0, 128));
    p.end();
    img.setDevicePixelRatio(ratio);
    return img;
}

using plvtest::at;

// Fills a path built in bottom-left coordinates into a w x h point image at `scale`.
QImage fill(const QPainterPath &path, int w, int h, qreal scale)
{
    QImage img(QSize(w, h) * scale, QImage::Format_ARGB32_Premultiplied);
    img.fill(Qt::white);
    img.setDevicePixelRatio(scale);
    QPainter p(&img);
    p.translate(0, h);
    p.scale(1, -1);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillPath(path, Qt::black);
    return img;
}

bool inked(const QColor &c) { return c.lightness() < 100; }

} // namespace

TEST(ImageExtra, TintKeepsShapeAndCoverageAtTwiceThePixels)
{
    for (const qreal ratio : {1.0, 2.0}) {
        const QColor tint = QColor::fromRgbF(0.2f, 0.6f, 0.9f, 0.3f); // its own alpha is ignored
        const QImage full = ImageExtra::tintedImageWithColor(templateImage(ratio), tint);
        ASSERT_EQ(full.size(), QSize(32, 32)) << ratio;
        EXPECT_EQ(ImageExtra::pointSize(full), QSizeF(16, 16));
        EXPECT_EQ(at(full, 1, 1).alpha(), 0) << "transparent stays transparent";
        const QColor inside = at(full, 8, 8);
        EXPECT_EQ(inside.alpha(), 255);
        EXPECT_EQ(inside.rgb(), tint.rgb()) << "opaque pixels take exactly the tint";
        EXPECT_NEAR(at(full, 12.5, 8).alpha(), 128, 2) << "partial coverage is kept";
        EXPECT_NEAR(at(full, 12.5, 8).toRgb().red(), tint.toRgb().red(), 2) << "in the colour of the tint";

        const QImage faded = ImageExtra::tintedImageWithColor(templateImage(ratio), tint, 0.5f);
        EXPECT_NEAR(at(faded, 8, 8).alpha(), 128, 1) << "alpha halves the coverage";
        EXPECT_NEAR(at(faded, 8, 8).redF(), tint.redF(), 0.01) << "not the colour";
        EXPECT_NEAR(at(faded, 12.5, 8).alpha(), 64, 2);
    }
}

TEST(ImageExtra, BadInputsGiveNullImagesOrClampedAlpha)
{
    EXPECT_TRUE(ImageExtra::tintedImageWithColor(QImage(), Qt::red).isNull());
    EXPECT_TRUE(ImageExtra::tintedImageWithColor(templateImage(), QColor()).isNull());
    EXPECT_TRUE(ImageExtra::composeWithTreePartImageInRect(QImage(), QRectF(0, 0, 4, 4), templateImage(),
                                                           templateImage(), templateImage())
                    .isNull());
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(at(ImageExtra::tintedImageWithColor(templateImage(), Qt::red, 7.0f), 8, 8).alpha(), 255);
    EXPECT_EQ(at(ImageExtra::tintedImageWithColor(templateImage(), Qt::red, -1.0f), 8, 8).alpha(), 0);
    EXPECT_EQ(at(ImageExtra::tintedImageWithColor(templateImage(), Qt::red, nan), 8, 8).alpha(), 0);
}

TEST(ImageExtra, ThreePartImageStretchesTheMiddleBetweenCaps)
{
    QImage base(QSize(20, 10), QImage::Format_ARGB32_Premultiplied);
    base.fill(Qt::white);
    const auto solid = [](const QColor &c, int w) {
        QImage i(QSize(w, 4), QImage::Format_ARGB32_Premultiplied);
        i.fill(c);
        return i;
    };
    // The rectangle is in the 40 x 20 result's pixels, origin bottom left.
    const QImage out = ImageExtra::composeWithTreePartImageInRect(base, QRectF(4, 2, 30, 8), solid(Qt::red, 3),
                                                                  solid(Qt::green, 1), solid(Qt::blue, 5));
    ASSERT_EQ(out.size(), QSize(40, 20));
    const auto px = [&](int x, int y) { return out.pixelColor(x, 19 - y); };
    EXPECT_EQ(px(2, 5), QColor(Qt::white)) << "left of the rectangle";
    EXPECT_EQ(px(5, 5), QColor(Qt::red));
    EXPECT_EQ(px(20, 5), QColor(Qt::green)) << "the middle is stretched";
    EXPECT_EQ(px(31, 5), QColor(Qt::blue)) << "the right cap keeps its 5 pixels";
    EXPECT_EQ(px(28, 5), QColor(Qt::green));
    EXPECT_EQ(px(20, 12), QColor(Qt::white)) << "above the rectangle";
    EXPECT_EQ(px(20, 1), QColor(Qt::white)) << "below it: y counts from the bottom";
}

TEST(ImageExtra, NamedImagesComeFromTheBundleAndTheModuleBeforeTheFramework)
{
    QTemporaryDir dir;
    const QString bundlePath = dir.path() + QStringLiteral("/Probe.plvbundle3");
    ASSERT_TRUE(QDir().mkpath(bundlePath + QStringLiteral("/Contents/Resources")));
    const QString resources = bundlePath + QStringLiteral("/Contents/Resources/");
    ASSERT_TRUE(templateImage().save(resources + QStringLiteral("icon.png")));
    ASSERT_TRUE(templateImage(2).save(resources + QStringLiteral("wide@2x.png")));
    ASSERT_TRUE(plvtest::writeFile(resources + QStringLiteral("broken.png"), "not a png"));
    PLVBundle *bundle = PLVBundle::bundleWithPath(bundlePath);
    ASSERT_TRUE(bundle);

    EXPECT_EQ(ImageExtra::imageNamed(QStringLiteral("icon.png"), bundle).size(), QSize(16, 16));
    const QImage wide = ImageExtra::imageNamed(QStringLiteral("wide.png"), bundle);
    EXPECT_EQ(wide.size(), QSize(32, 32));
    EXPECT_EQ(ImageExtra::pointSize(wide), QSizeF(16, 16)) << "@2x is taken at ratio 2";
    for (const QString &missing : {QStringLiteral("icon.jpg"), QStringLiteral("nothing.png"), QStringLiteral("broken.png"),
                                   QStringLiteral("")})
        EXPECT_TRUE(ImageExtra::imageNamed(missing, bundle).isNull()) << missing.toStdString();
    EXPECT_TRUE(ImageExtra::imageNamed(QStringLiteral("icon.png"), nullptr).isNull());

    // A class outside any bundle finds the framework's own image.
    EXPECT_FALSE(ImageExtra::imageNamedForClass(QStringLiteral("picto_process_default.png"), &QObject::staticMetaObject)
                     .isNull());
}

TEST(BezierPathExtra, RoundedRectangleCornersAtOneAndTwoTimes)
{
    struct Case {
        qreal bottom, top;
        bool bottomSquare, topSquare;
    };
    for (const Case c : {Case{0, 4, true, false}, Case{4, 0, false, true}, Case{4, 4, false, false}}) {
        QPainterPath path;
        BezierPathExtra::appendBezierPathWithRoundedRectangle(path, QRectF(2, 2, 20, 12), c.bottom, c.top);
        for (const qreal scale : {1.0, 2.0}) {
            const QImage img = fill(path, 24, 16, scale);
            // Corner points 0.3 pt inside; the middle of each edge is always inked.
            EXPECT_EQ(inked(at(img, 2.3, 2.3)), c.bottomSquare) << c.bottom << " " << scale;
            EXPECT_EQ(inked(at(img, 21.7, 2.3)), c.bottomSquare) << c.bottom << " " << scale;
            EXPECT_EQ(inked(at(img, 2.3, 13.7)), c.topSquare) << c.top << " " << scale;
            EXPECT_EQ(inked(at(img, 21.7, 13.7)), c.topSquare) << c.top << " " << scale;
            EXPECT_TRUE(inked(at(img, 12, 2.3)));
            EXPECT_TRUE(inked(at(img, 12, 13.7)));
            EXPECT_TRUE(inked(at(img, 2.3, 8)));
            EXPECT_FALSE(inked(at(img, 1, 8))) << "nothing outside";
        }
    }
    QPainterPath path;
    BezierPathExtra::appendBezierPathWithRoundedRectangle(path, QRectF(2, 2, 20, 12), 0, 4);
    EXPECT_EQ(path.boundingRect(), QRectF(2, 2, 20, 12));
}

TEST(BezierPathExtra, DegenerateRectanglesAndRadii)
{
    const qreal nan = std::numeric_limits<qreal>::quiet_NaN();
    for (const QRectF r : {QRectF(5, 5, 0, 0), QRectF(5, 5, 10, 0), QRectF(5, 5, -4, 3), QRectF(nan, 0, 4, 4)}) {
        QPainterPath path;
        BezierPathExtra::appendBezierPathWithRoundedRectangle(path, r, 2, 2);
        EXPECT_TRUE(path.isEmpty()) << r.x() << " " << r.width() << " " << r.height();
    }
    // A radius larger than the rectangle is cut to half its height: round ends
    // that stay inside it. A NaN radius counts as 0.
    QPainterPath capsule;
    BezierPathExtra::appendBezierPathWithRoundedRectangle(capsule, QRectF(0, 0, 20, 8), 100, nan);
    EXPECT_EQ(capsule.boundingRect(), QRectF(0, 0, 20, 8));
    const QImage img = fill(capsule, 20, 8, 2);
    EXPECT_FALSE(inked(at(img, 0.3, 0.3)));
    EXPECT_TRUE(inked(at(img, 0.3, 4))) << "the bottom left is a quarter circle of radius 4";
    EXPECT_TRUE(inked(at(img, 0.3, 7.7))) << "the top corners are square";
    EXPECT_TRUE(inked(at(img, 19.7, 4)));
    EXPECT_TRUE(inked(at(img, 10, 0.3)));
}

TEST(BezierPathExtra, TangentArcMeetsBothLines)
{
    QPainterPath path;
    path.moveTo(0, 10);
    BezierPathExtra::appendBezierPathWithArcFromPoint(path, QPointF(0, 0), QPointF(10, 0), 4);
    // A line down to (0, 4), then a quarter circle centred at (4, 4) to (4, 0).
    EXPECT_EQ(path.currentPosition().toPoint(), QPoint(4, 0));
    ASSERT_GE(path.elementCount(), 3);
    EXPECT_TRUE(path.elementAt(1).isLineTo());
    EXPECT_EQ(QPointF(path.elementAt(1)), QPointF(0, 4)) << "the line ends where the arc is tangent";
    const QPointF mid = path.pointAtPercent(0.8);
    EXPECT_NEAR(std::hypot(mid.x() - 4, mid.y() - 4), 4, 0.05) << "on the circle";

    // Parallel lines or no radius: a plain line to the corner. No current point: start there.
    for (const qreal radius : {0.0, -3.0}) {
        QPainterPath p;
        p.moveTo(0, 0);
        BezierPathExtra::appendBezierPathWithArcFromPoint(p, QPointF(5, 0), QPointF(9, 0), radius == 0 ? 2 : radius);
        EXPECT_EQ(p.currentPosition(), QPointF(5, 0));
    }
    QPainterPath empty;
    BezierPathExtra::appendBezierPathWithArcFromPoint(empty, QPointF(3, 3), QPointF(6, 3), 1);
    EXPECT_EQ(empty.currentPosition(), QPointF(3, 3));
}

TEST(ColorExtras, ComponentsConversionsAndClamping)
{
    const QColor hsv = QColor::fromHsvF(0.5f, 0.25f, 0.75f, 0.5f);
    const QColor rgb = ColorExtras::colorWithComponents(hsv);
    EXPECT_EQ(rgb.spec(), QColor::Rgb);
    EXPECT_NEAR(ColorExtras::extrahueComponent(rgb), 0.5, 1e-3);
    EXPECT_NEAR(ColorExtras::extrasaturationComponent(rgb), 0.25, 1e-3);
    EXPECT_NEAR(ColorExtras::extrabrightnessComponent(rgb), 0.75, 1e-3);
    EXPECT_NEAR(ColorExtras::extraalphaComponent(rgb), 0.5, 1e-4);
    EXPECT_EQ(ColorExtras::extrahueComponent(QColor(128, 128, 128)), 0.0) << "a grey has hue 0";
    EXPECT_FALSE(ColorExtras::colorWithComponents(QColor()).isValid());
    EXPECT_EQ(ColorExtras::extraredComponent(QColor()), 0.0);

    // Out of range and NaN components are clamped, never an extended colour.
    const QColor wild = ColorExtras::colorWithSRGBRed(1.7, -0.2, std::numeric_limits<double>::quiet_NaN(), 3);
    EXPECT_EQ(wild.spec(), QColor::Rgb);
    EXPECT_EQ(wild, QColor::fromRgbF(1, 0, 0, 1));
    EXPECT_NEAR(ColorExtras::colorWithAlphaComponent(QColor(10, 20, 30, 40), 0.5).alphaF(), 0.5, 1e-4)
        << "alpha replaced, not multiplied";

    // Calibrated (generic, gamma 1.8) to sRGB: a mid grey gets lighter, black
    // and white stay, and reading back gives the calibrated values.
    EXPECT_NEAR(ColorExtras::colorWithCalibratedWhite(0.5).red(), 146, 1);
    const QColor clearBlack = ColorExtras::colorWithCalibratedWhite(0.0, 0.4);
    EXPECT_EQ(clearBlack.red(), 0);
    EXPECT_NEAR(clearBlack.alphaF(), 0.4, 1e-4);
    EXPECT_EQ(ColorExtras::colorWithCalibratedWhite(1.0).rgb(), qRgb(255, 255, 255));
    const QColor pink = ColorExtras::colorWithCalibratedRed(0.9, 0.225, 0.5625);
    EXPECT_NE(pink.rgb(), QColor::fromRgbF(0.9f, 0.225f, 0.5625f).rgb()) << "not the same pixels as sRGB";
    const QColor back = ColorExtras::calibratedComponents(pink);
    EXPECT_NEAR(back.redF(), 0.9, 2e-3);
    EXPECT_NEAR(back.greenF(), 0.225, 2e-3);
    EXPECT_NEAR(back.blueF(), 0.5625, 2e-3);
}
