// The overview tile rendered at 1x and 2x in the light and the dark window
// style, probed at known points (origin bottom left).
#include "PLVCommon/panels/PLVGenericOverviewView.h"
#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"
#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace {

constexpr double W = 60, H = 80; // ring radius 26.5 about (30, 40); square 57 at (1.5, 11.5)
constexpr double kRadius = 26.5;

struct Look {
    qreal scale;
    bool dark;
};
const Look kLooks[] = {{1, false}, {2, false}, {1, true}, {2, true}};

std::string name(const Look &l) { return (l.dark ? "dark x" : "light x") + std::to_string(int(l.scale)); }

QColor background(const Look &l) { return PLVPlatformColors::windowBackgroundColor(l.dark); }

using plvtest::at, plvtest::over;
bool near(const QColor &a, const QColor &b) { return plvtest::near(a, b, 4); }

struct Tile {
    PLVGenericOverviewView view;
    explicit Tile(const Look &look)
    {
        view.setFrame(QRectF(0, 0, W, H));
        view.awakeFromNib();
        view.colorObject()->setWindowBackgroundStyle(look.dark ? 1 : 0);
    }
    QImage render(const Look &look) { return plvtest::render(view, look.scale, background(look)); }
};

QPointF onRing(double degrees)
{
    const double a = degrees * std::numbers::pi / 180;
    return {W / 2 + kRadius * std::cos(a), H / 2 + kRadius * std::sin(a)};
}

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// The arc runs counter-clockwise from its start to the top (90°); the probes
// sit 5° either side of each end and in the middle of each quarter.
struct ArcCase {
    float value;
    QList<double> arc;   // angles drawn in the value colour
    QList<double> track; // angles showing the track only
};
const ArcCase kArcCases[] = {
    {0, {}, {45, 135, 225, 315, 85, 95}},
    {25, {5, 45, 85}, {-5, 95, 135, 225, 315}},
    {75, {185, 225, 315, 45, 85}, {175, 135, 95}},
    {100, {45, 135, 225, 315, 85, 95}, {}},
    // Out of range: held to the ring's ends, never wound the other way.
    {-25, {}, {45, 135, 225, 315}},
    {150, {45, 135, 225, 315}, {}},
    {kNaN, {}, {45, 135, 225, 315}},
};

TEST(PLVGenericOverviewView, ValueArcStartsAtTheTopAndEndsWhereTheValueSays)
{
    for (const Look &look : kLooks) {
        const QColor track = over(PLVPlatformColors::colorNamed(QStringLiteral("labelColor"), look.dark, 0.1),
                                  background(look));
        for (const bool ownColour : {false, true}) {
            const QColor arcColour = ownColour ? QColor(255, 149, 0)
                                               : PLVPlatformColors::colorNamed(QStringLiteral("systemBlueColor"),
                                                                               look.dark, 0.9);
            for (const ArcCase &c : kArcCases) {
                Tile tile(look);
                tile.view.setCurrentValue(c.value);
                tile.view.setStringValue(QStringLiteral("")); // a value that shows no text
                if (ownColour)
                    tile.view.setInnerColor(arcColour);
                const QImage img = tile.render(look);
                for (const double a : c.arc) {
                    const QPointF p = onRing(a);
                    EXPECT_TRUE(near(at(img, p.x(), p.y()), over(arcColour, track)))
                        << name(look) << " value " << c.value << " at " << a << "°: "
                        << at(img, p.x(), p.y()).name().toStdString();
                }
                for (const double a : c.track) {
                    const QPointF p = onRing(a);
                    EXPECT_TRUE(near(at(img, p.x(), p.y()), track))
                        << name(look) << " value " << c.value << " at " << a << "°: "
                        << at(img, p.x(), p.y()).name().toStdString();
                }
            }
        }
    }
}

// What stands behind the values: the ring with one value, nothing with two,
// the rounded square with none.
TEST(PLVGenericOverviewView, BackgroundShapeFollowsHowManyValuesThereAre)
{
    enum Shape { Ring, None, Square };
    const struct {
        const char *text, *text2;
        Shape shape;
    } cases[] = {{"50%", nullptr, Ring}, {"1 KB/s", "2 KB/s", None}, {nullptr, nullptr, Square}};
    for (const Look &look : kLooks) {
        const QColor bg = background(look);
        const QColor tint = over(PLVPlatformColors::colorNamed(QStringLiteral("labelColor"), look.dark, 0.1), bg);
        const QColor arc =
            over(PLVPlatformColors::colorNamed(QStringLiteral("systemBlueColor"), look.dark, 0.9), tint);
        for (const auto &c : cases) {
            Tile tile(look);
            tile.view.setCurrentValue(50);
            if (c.text)
                tile.view.setStringValue(QString::fromLatin1(c.text));
            if (c.text2)
                tile.view.setStringValue2(QString::fromLatin1(c.text2));
            const QImage img = tile.render(look);
            const QPointF ring = onRing(315); // on the half a value of 50 fills
            const QColor onRingWant = c.shape == Ring ? arc : c.shape == Square ? tint : bg;
            EXPECT_TRUE(near(at(img, ring.x(), ring.y()), onRingWant)) << name(look) << " shape " << c.shape;
            // Inside the square's rounded corner, clear of the ring; then just
            // left of the square and just below it.
            EXPECT_TRUE(near(at(img, 6, 16), c.shape == Square ? tint : bg)) << name(look) << " shape " << c.shape;
            EXPECT_TRUE(near(at(img, 0.5, 16), bg)) << name(look) << " shape " << c.shape;
            EXPECT_TRUE(near(at(img, 6, 10.5), bg)) << name(look) << " shape " << c.shape;
        }
    }
}

// The bounding box, in view points, of the pixels where two images differ.
QRectF difference(const QImage &a, const QImage &b)
{
    int left = a.width(), right = -1, top = a.height(), bottom = -1;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (a.pixel(x, y) != b.pixel(x, y)) {
                left = std::min(left, x), right = std::max(right, x);
                top = std::min(top, y), bottom = std::max(bottom, y);
            }
    if (right < 0)
        return {};
    const qreal r = a.devicePixelRatio();
    return QRectF(left / r, (a.height() - 1 - bottom) / r, (right - left + 1) / r, (bottom - top + 1) / r);
}

TEST(PLVGenericOverviewView, TitleIsUpperCaseCentredInItsBandAndNeedsANameAndAColour)
{
    for (const Look &look : kLooks) {
        const auto shot = [&](const QString &trigram, bool colour = true) {
            Tile tile(look);
            tile.view.setStringValue(QStringLiteral("42%"));
            tile.view.setCurrentValue(42);
            tile.view.setModuleTrigram(trigram);
            if (!colour) {
                PLVBinding::unbind(&tile.view, "iconColor"); // else the theme gives it back
                tile.view.setIconColor(QColor());
            }
            return tile.render(look);
        };
        const QImage none = shot(QString());
        const QImage title = shot(QStringLiteral("CPU"));
        const QRectF box = difference(none, title);
        ASSERT_FALSE(box.isEmpty()) << name(look);
        // The band (0, H - 28, W, 16); the text hangs from its top.
        const double low = box.y(), high = box.y() + box.height();
        EXPECT_GE(low, H - 28) << name(look);
        EXPECT_LE(high, H - 12) << name(look);
        EXPECT_GE(high, H - 16) << name(look);
        EXPECT_NEAR(box.left(), W - box.right(), 1.0) << name(look);
        EXPECT_LT(box.width(), W / 2) << name(look);

        EXPECT_EQ(shot(QStringLiteral("cpu")), title) << name(look);
        EXPECT_EQ(shot(QStringLiteral("")), none) << name(look);
        EXPECT_EQ(shot(QStringLiteral("CPU"), false), shot(QString(), false)) << name(look);
    }
}

// The text colour follows the theme's window title colour.
TEST(PLVGenericOverviewView, TextColourFollowsTheThemeWindowTitleColour)
{
    Tile tile(kLooks[0]);
    for (const qint64 style : {1, 0, 1}) {
        tile.view.colorObject()->setWindowBackgroundStyle(style);
        EXPECT_EQ(tile.view.iconColor(), tile.view.colorObject()->windowTitleLabelColor());
    }
    EXPECT_NE(tile.view.iconColor(), QColor());
}

} // namespace
