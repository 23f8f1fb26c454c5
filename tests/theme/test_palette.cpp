// The widget palette's fixed colours and arithmetic, the desktop's named
// colours, and the theme object's roles, notifications and bindings.
#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"
#include "PLVCommon/theme/PLVAppearance.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"
#include "PLVCommon/theme/TQColor.h"
#include "PLVCommon/drawing/ColorExtras.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontInfo>
#include <QWidget>

#include <functional>

// The menu bar's status item view lives in the monitor application, outside the
// library; this one plays it.
class PLVStatusItemView : public QWidget
{
    Q_OBJECT
    Q_PROPERTY(bool statusBarHighlight MEMBER highlight)
public:
    Q_INVOKABLE explicit PLVStatusItemView(QWidget *parent = nullptr)
        : QWidget(parent)
    {
    }
    bool highlight = false;
};
PLV_REGISTER_CLASS(PLVStatusItemView)

// A view's colour property, for bindings.
class Swatch : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QColor color MEMBER color)
public:
    QColor color;
};

namespace {

struct Rgba {
    double r, g, b, a;
};

::testing::AssertionResult same(const QColor &c, Rgba e, double tol = 1e-4)
{
    if (!c.isValid())
        return ::testing::AssertionFailure() << "no colour";
    const QColor x = c.toRgb();
    if (std::abs(x.redF() - e.r) > tol || std::abs(x.greenF() - e.g) > tol || std::abs(x.blueF() - e.b) > tol ||
        std::abs(x.alphaF() - e.a) > tol)
        return ::testing::AssertionFailure() << "got (" << x.redF() << ", " << x.greenF() << ", " << x.blueF()
                                             << ", " << x.alphaF() << ")";
    return ::testing::AssertionSuccess();
}

// No session bus: the palette alone decides, and the user's desktop never leaks in.
class Theme : public ::testing::Test
{
protected:
    plvtest::ScopedEnv noBus{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/plv-test-bus"};
    plvtest::TempGroupContainer container;
};

constexpr double g255(int n) { return n / 255.0; }

} // namespace

TEST_F(Theme, FixedColoursAndBackgroundsByWindowColour)
{
    const struct {
        const char *name;
        std::function<QColor()> colour;
        Rgba expected;
    } fixed[] = {
        {"black", TQColor::blackColor, {0, 0, 0, 0.92}},
        {"senaryLedRed", TQColor::tqSenaryledRedColor, {g255(246), g255(70), g255(52), 0.5}},
        {"overlay", TQColor::grayColorTransparencyOverlay, {g255(160), g255(160), g255(160), 0.13}},
        {"tertiaryLabel", TQColor::tqTertiaryLabelColor, {0, 0, 0, 0.8}}, // replaced, not 0.92 x 0.8
        {"denaryPlusLabel", TQColor::tqDenaryPlusLabelColor, {0, 0, 0, 0.05}},
    };
    for (const auto &f : fixed)
        EXPECT_TRUE(same(f.colour(), f.expected)) << f.name;
    EXPECT_FALSE(TQColor::isBackgroundDark());

    const Rgba none{-1, -1, -1, -1};
    const struct {
        quint64 n;
        Rgba without, with, overlay, overlayNoTransparency;
    } rows[] = {
        {0, {g255(40), g255(40), g255(40), 1}, {g255(40), g255(40), g255(40), 1}, {0.2, 0.2, 0.2, 1}, {0.2, 0.2, 0.2, 0.95}},
        {2, {g255(40), g255(45), g255(55), 1}, {g255(40), g255(45), g255(55), 1}, {g255(50), g255(55), g255(65), 1},
         {g255(50), g255(55), g255(65), 0.95}},
        {3, {0, 0, 0, 1}, {0, 0, 0, 1}, {g255(18), g255(18), g255(18), 1}, {g255(18), g255(18), g255(18), 0.95}},
        {5, none, none, {g255(61), g255(61), g255(61), 1}, {0.2, 0.2, 0.2, 0.95}},
        {7, none, none, {g255(61), g255(61), g255(61), 1}, {0.2, 0.2, 0.2, 0.95}},
        {11, none, {g255(250), g255(250), g255(250), 0}, {g255(236), g255(236), g255(236), 1},
         {g255(246), g255(246), g255(246), 0.95}},
        {12, none, {0, 0, 0, 0}, {g255(45), g255(45), g255(45), 1}, {g255(61), g255(61), g255(61), 0.95}},
        {14, none, none, {g255(61), g255(61), g255(61), 1}, {0.2, 0.2, 0.2, 0.95}},
        {~0ull, none, none, {g255(61), g255(61), g255(61), 1}, {0.2, 0.2, 0.2, 0.95}},
    };
    const auto check = [](const QColor &c, Rgba e) {
        return e.a < 0 ? (c.isValid() ? ::testing::AssertionFailure() << "a colour where none is expected"
                                      : ::testing::AssertionSuccess())
                       : same(c, e);
    };
    for (const auto &r : rows) {
        EXPECT_TRUE(check(TQColor::backgroundColorWithoutTransparency(r.n), r.without)) << r.n;
        EXPECT_TRUE(check(TQColor::backgroundColor(r.n), r.with)) << r.n;
        EXPECT_TRUE(check(TQColor::darkerBackgroundOverlayForColor(r.n), r.overlay)) << r.n;
        EXPECT_TRUE(check(TQColor::darkerBackgroundOverlayNoTransparenctyForColor(r.n), r.overlayNoTransparency)) << r.n;
    }

    for (int i = 0; i < 200; ++i) {
        const QColor c = TQColor::randomColor();
        ASSERT_TRUE(c.redF() < 1 && c.greenF() < 1 && c.blueF() < 1 && c.alphaF() == 1) << "255/255 never occurs";
    }
    EXPECT_NE(TQColor::randomColor(), TQColor::randomColor());
}

TEST_F(Theme, ColourArithmeticWorksInCalibratedHueSaturationBrightness)
{
    const auto hsb = [](const QColor &c) {
        const QColor k = ColorExtras::calibratedComponents(c);
        return Rgba{ColorExtras::extrahueComponent(k), ColorExtras::extrasaturationComponent(k),
                    ColorExtras::extrabrightnessComponent(k), ColorExtras::extraalphaComponent(k)};
    };
    const QColor black(Qt::black);
    const QColor orange = QColor::fromHsvF(0.1f, 0.8f, 0.5f, 0.3f);
    const struct {
        const char *name;
        QColor result;
        Rgba expected; // h, s, b, a
        double tol;
    } cases[] = {
        {"lighter of black", TQColor::lighterColor(black, 0.5f), {0, 0, 0.15, 1}, 2e-3},
        {"lighter", TQColor::lighterColor(orange, 0.5f), {0.1, 0.8, 0.75, 1}, 5e-3},
        {"lighter capped", TQColor::lighterColor(orange, 3.0f), {0.1, 0.8, 1.0, 1}, 1e-2}, // just outside sRGB
        {"darker", TQColor::darkerColor(orange, 0.5f), {0.1, 0.8, 0.25, 1}, 5e-3},
        {"darker floored", TQColor::darkerColor(orange, 2.0f), {0, 0, 0, 1}, 5e-3},
        {"lighterSatur dims", TQColor::lighterSaturColor(orange, 0.5f), {0.1, 0.4, 0.35, 1}, 5e-3},
        {"saturation ignored", TQColor::lighterColor(orange, 0.5f, 0.9f), {0.1, 0.4, 0.75, 1}, 5e-3},
        {"darker, saturation ignored", TQColor::darkerColor(orange, 0.5f, 0.0f), {0.1, 0.4, 0.25, 1}, 5e-3},
        {"from array", TQColor::tqColorFromArrayColor({0.5, 0.5, 0.5, 0.25}), {0.5, 0.5, 0.5, 0.25}, 5e-3},
    };
    for (const auto &c : cases) {
        const Rgba got = hsb(c.result);
        EXPECT_NEAR(got.b, c.expected.b, c.tol) << c.name;
        EXPECT_NEAR(got.a, c.expected.a, 1e-4) << c.name;
        if (c.expected.b > 0) {
            EXPECT_NEAR(got.g, c.expected.g, c.tol) << c.name;
            if (c.expected.g > 0) {
                EXPECT_NEAR(got.r, c.expected.r, c.tol) << c.name;
            }
        }
    }
    EXPECT_TRUE(hsb(TQColor::lighterDarkerColor(black, 0.5f)).b > 0.1) << "dark colours get lighter";
    EXPECT_TRUE(hsb(TQColor::lighterDarkerColor(Qt::white, 0.5f)).b < 0.6) << "light ones darker";

    const struct {
        QColor colour;
        bool dark;
    } darkness[] = {{QColor::fromRgbF(0.5f, 0.5f, 0.5f), true}, {QColor::fromRgbF(0.51f, 0.51f, 0.51f), false},
                    {QColor(Qt::yellow), false}, {QColor(Qt::blue), true}, {QColor(), true}};
    for (const auto &d : darkness)
        EXPECT_EQ(TQColor::isColorDark(d.colour), d.dark) << d.colour.name().toStdString();
    EXPECT_FLOAT_EQ(TQColor::tqGreenComponent(QColor::fromRgbF(0.1f, 0.6f, 0.3f)), 0.6f);
    for (const QVariantList &bad : {QVariantList{}, QVariantList{0.1, 0.2, 0.3}, QVariantList{0.1, "x", 0.3, 1}})
        EXPECT_FALSE(TQColor::tqColorFromArrayColor(bad).isValid());
    EXPECT_FALSE(TQColor::lighterColor(QColor(), 0.5f).isValid());
}

TEST_F(Theme, NamedColoursForLightAndDarkFromThePaletteAndLadders)
{
    EXPECT_FALSE(PLVAppearance::sharedAppearance()->hasPortal());
    EXPECT_FALSE(TQColor::isSystemDarkTheme()) << "the offscreen palette is light";
    EXPECT_FALSE(PLVPlatformColors::colorNamed(QStringLiteral("noSuchColor"), false).isValid());
    EXPECT_FALSE(PLVPlatformColors::colorNamed(QString(), true, 0.5).isValid());
    for (const bool dark : {false, true}) {
        const double text = dark ? 1.0 : 0.0;
        EXPECT_TRUE(same(PLVPlatformColors::labelColor(dark), {text, text, text, 0.85})) << dark;
        EXPECT_TRUE(same(PLVPlatformColors::secondaryLabelColor(dark), {text, text, text, dark ? 0.55 : 0.5}));
        EXPECT_TRUE(same(PLVPlatformColors::colorNamed(QStringLiteral("systemRedColor"), dark, 0.3),
                         {1, g255(dark ? 69 : 59), g255(dark ? 58 : 48), 0.3}))
            << "alpha replaced";
        EXPECT_EQ(PLVPlatformColors::keyboardFocusIndicatorColor(dark).rgb(),
                  QApplication::palette().color(QPalette::Highlight).rgb())
            << "no portal accent: the palette's highlight";
        for (const QString &name : PLVPlatformColors::colorNames())
            EXPECT_TRUE(PLVPlatformColors::colorNamed(name, dark).isValid()) << name.toStdString();
    }
    // The palette's own text colour where it is of the asked appearance.
    QPalette tinted = QApplication::palette();
    tinted.setColor(QPalette::WindowText, QColor(20, 30, 40));
    QApplication::setPalette(tinted);
    EXPECT_TRUE(same(PLVPlatformColors::labelColor(false), {g255(20), g255(30), g255(40), 0.85}));
    EXPECT_TRUE(same(PLVPlatformColors::labelColor(true), {1, 1, 1, 0.85})) << "a light palette says nothing of dark";
}

TEST_F(Theme, NewThemeObjectIsDarkInTheAppWithItsFontsAndFixedAlerts)
{
    PLVColor theme;
    EXPECT_EQ(theme.windowBackgroundStyle(), 1);
    EXPECT_TRUE(same(theme.windowLabelColor(), {1, 1, 1, 0.9}));
    EXPECT_TRUE(same(theme.windowTitleBarColor(), {0, 0, 0, 0.13}));
    EXPECT_TRUE(same(theme.windowProgressbarColor(), {1, 1, 1, 0.6}));
    EXPECT_EQ(theme.statusItemBackgroundStyle(), 0);
    EXPECT_TRUE(same(theme.statusLabelColor(), {0, 0, 0, 0.85})) << "a light desktop's menu bar";
    EXPECT_TRUE(same(theme.statusIconColor(), {0, 0, 0, 0.85}));
    EXPECT_TRUE(same(theme.warningColor(), {1, g255(159), g255(10), 0.9}));
    EXPECT_TRUE(same(theme.alertColor(), {1, g255(69), g255(58), 0.9}));

    const struct {
        const char *role;
        int size;
        int weight;
    } fonts[] = {{"fontforLeftLabels", 11, QFont::Normal},          {"fontforTopProcess", 11, QFont::Normal},
                 {"fontforRightLabels", 11, QFont::Medium},         {"fontforModuletitle", 13, QFont::Medium},
                 {"fontforMiniModuletitle", 12, QFont::Medium},     {"fontforMiniOverviewModuletitle", 9, QFont::Medium},
                 {"fontforMiniOverviewDoubleString", 8, QFont::Medium}, {"fontforGPULabels", 11, QFont::Medium}};
    for (const auto &f : fonts) {
        const QFont font = PLVBinding::valueForKeyPath(&theme, QLatin1String(f.role)).value<QFont>();
        EXPECT_EQ(font.pixelSize(), f.size) << f.role;
        EXPECT_EQ(font.weight(), f.weight) << f.role;
        EXPECT_EQ(QFontInfo(font).family(), QStringLiteral("DejaVu Sans")) << f.role;
    }
    EXPECT_EQ(PLVColor::fontForTextWithWeight(0.4, -3).weight(), QFont::Bold);
    EXPECT_EQ(PLVColor::fontForTextWithWeight(0.4, -3).pixelSize(), 13) << "a bad size gives the default";
    EXPECT_EQ(PLVColor::fontForTextWithWeight(-5, 10).weight(), QFont::Thin);
    const QFontMetricsF digits(theme.fontforRightLabels());
    EXPECT_EQ(digits.horizontalAdvance(QStringLiteral("111")), digits.horizontalAdvance(QStringLiteral("888")))
        << "values do not shift as digits change";

    // Roles are read by name; an unknown one reads nothing.
    EXPECT_FALSE(theme.property("windowGraphGreenColor").isValid());
    EXPECT_FALSE(PLVBinding::valueForKeyPath(&theme, QStringLiteral("noSuchRole.red")).isValid());
}

TEST_F(Theme, NotificationsSwitchEveryInstanceAndBindingsFollow)
{
    PLVNotificationCenter *center = PLVNotificationCenter::defaultCenter();
    const int before = center->observerCount();
    auto *first = new PLVColor;
    PLVColor second;
    EXPECT_EQ(center->observerCount(), before + 8);
    Swatch swatch;
    ASSERT_TRUE(PLVBinding::bind(&swatch, "color", &second, QStringLiteral("windowLabelColor")));
    EXPECT_TRUE(same(swatch.color, {1, 1, 1, 0.9}));

    center->postNotificationName(QStringLiteral("PLVWindowBackgroundStyleLight"));
    for (PLVColor *t : {first, &second}) {
        EXPECT_EQ(t->windowBackgroundStyle(), 0);
        EXPECT_TRUE(same(t->windowLabelColor(), {0, 0, 0, 0.9}));
        EXPECT_TRUE(same(t->windowSecondaryLabelColor(), {0, 0, 0, 0.7}));
        EXPECT_TRUE(same(t->windowTertiaryLabelColor(), {0, 0, 0, 0.7}));
        EXPECT_TRUE(same(t->windowTitleBarColor(), {0, 0, 0, 0.03}));
    }
    EXPECT_TRUE(same(swatch.color, {0, 0, 0, 0.9})) << "the binding followed";

    // A coloured dark background turns both graphs white; light ignores the number.
    center->postNotificationName(QStringLiteral("PLVWindowBackgroundStyleDark"));
    center->postNotificationName(QStringLiteral("PLVBackgroundColorIntegerDidChanged"), nullptr,
                                 {{QStringLiteral("object"), 3}});
    EXPECT_EQ(second.windowBackgroundIntegerColor(), 3);
    EXPECT_TRUE(same(second.windowGraphBlueColor(), {1, 1, 1, 0.9}));
    EXPECT_TRUE(same(second.windowGraphBlueColor2(), {1, 1, 1, 0.5}));
    center->postNotificationName(QStringLiteral("PLVWindowBackgroundStyleLight"));
    EXPECT_EQ(second.windowBackgroundIntegerColor(), 3);
    EXPECT_EQ(second.windowGraphBlueColor().rgb(), QApplication::palette().color(QPalette::Highlight).rgb());
    EXPECT_EQ(second.windowGraphBlueColor().alphaF(), 1.0f);
    const QColor pink = ColorExtras::calibratedComponents(second.windowGraphBlueColor2());
    EXPECT_TRUE(same(pink, {0.9, 0.225, 0.5625, 1.0}, 2e-3)) << "the calibrated pink";

    center->postNotificationName(QStringLiteral("PLVWindowBackgroundStyleDark"));
    center->postNotificationName(QStringLiteral("PLVBackgroundColorIntegerDidChanged")); // no number: 0
    EXPECT_EQ(second.windowBackgroundIntegerColor(), 0);
    EXPECT_EQ(second.windowGraphBlueColor().rgb(), QApplication::palette().color(QPalette::Highlight).rgb());

    second.setWindowBackgroundStyle(2);
    EXPECT_TRUE(same(second.windowLabelColor(), {1, 1, 1, 0.9})) << "any non-zero style is dark";

    delete first;
    EXPECT_EQ(center->observerCount(), before + 4) << "a released instance stops observing";
    center->postNotificationName(QStringLiteral("PLVWindowBackgroundStyleLight"));
    EXPECT_EQ(second.windowBackgroundStyle(), 0);
}

TEST_F(Theme, StatusRolesHighlightUnlessTheSettingForbidsIt)
{
    PLVColor theme;
    int iconChanges = 0;
    QObject::connect(&theme, &PLVColor::statusIconColorChanged, [&] { ++iconChanges; });
    theme.setStatusItemBackgroundStyle(0);
    EXPECT_EQ(iconChanges, 0) << "an unchanged icon colour is not announced";

    theme.setStatusItemBackgroundStyle(1);
    EXPECT_EQ(theme.statusItemBackgroundStyle(), 1);
    EXPECT_TRUE(same(theme.statusLabelColor(), {1, 1, 1, 1}));
    EXPECT_TRUE(same(theme.statusSecondaryLabelColor(), {1, 1, 1, 0.8}));
    EXPECT_TRUE(same(theme.statusTertiaryLabelColor(), {1, 1, 1, 0.6}));
    EXPECT_TRUE(same(theme.statusQuarternaryLabelColor(), {1, 1, 1, 0.3}));
    EXPECT_EQ(iconChanges, 1);

    UserDefaultsExtras::updateThePrefDicoWithObject(true, QStringLiteral("plvMenubarHighlightType"));
    PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("PLVMenubarHighlightMode"));
    EXPECT_TRUE(theme.menuBarHighlightMode());
    theme.setStatusItemBackgroundStyle(1);
    EXPECT_EQ(theme.statusItemBackgroundStyle(), 0);
    EXPECT_TRUE(same(theme.statusLabelColor(), {0, 0, 0, 0.85}));
    EXPECT_TRUE(same(theme.statusQuarternaryLabelColor(), {0, 0, 0, 0.1}));

    // Only a direct child of the window is the status item view.
    UserDefaultsExtras::updateThePrefDicoWithObject(QVariant(), QStringLiteral("plvMenubarHighlightType"));
    theme.menubarHighlightMode();
    QWidget window, holder(&window);
    auto *deep = new PLVStatusItemView(&holder);
    deep->highlight = true;
    EXPECT_EQ(theme.statusItemView(&window), nullptr) << "a grandchild is not found";
    theme.refreshColorForView(&holder);
    EXPECT_EQ(theme.statusItemBackgroundStyle(), 0);
    auto *item = new PLVStatusItemView(&window);
    item->highlight = true;
    EXPECT_EQ(theme.statusItemView(&window), item);
    theme.refreshColorForView(deep);
    EXPECT_EQ(theme.statusItemBackgroundStyle(), 1);
    theme.refreshColorForView(nullptr);
    EXPECT_EQ(theme.statusItemView(nullptr), nullptr);
}

TEST_F(Theme, LightLabelAlphaFollowsTheRelease)
{
    for (const auto &[release, alpha] : {std::pair{15, 0.85}, std::pair{14, 0.9}, std::pair{0, 0.9}}) {
        PLVColor::setCurrentRelease(release);
        PLVColor theme;
        theme.setWindowBackgroundStyle(0);
        EXPECT_TRUE(same(theme.windowLabelColor(), {0, 0, 0, alpha})) << release;
    }
    PLVColor::setCurrentRelease(std::nullopt);
    EXPECT_EQ(PLVColor::currentRelease(), 0) << "Linux has no release of the designed-for system";
}

#include "test_palette.moc"
