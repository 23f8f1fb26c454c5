// The views of a status item rendered into real images: the activity arrows in
// each mode and shape, the width rules of the value label, and the three-letter
// name following the theme.
#include "PLVCommon/menubar/PLVMenuBarText.h"
#include "PLVCommon/menubar/PLVMenubarIndicator.h"
#include "PLVCommon/theme/PLVColor.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QPainter>

#include <cmath>

namespace {

using plvtest::at, plvtest::render;

// Counts the events of one type that reach a widget.
struct EventCounter : QObject {
    EventCounter(QWidget *w, QEvent::Type t) : type(t) { w->installEventFilter(this); }
    bool eventFilter(QObject *, QEvent *e) override
    {
        count += e->type() == type;
        return false;
    }
    QEvent::Type type;
    int count = 0;
};

const QColor icon(0, 0, 0);
const QColor red(255, 0, 0);

} // namespace

TEST(MenubarIndicator, EachModeLaysItsHighlightOverTheRestingArrow)
{
    // Inside the arrow head at (4, 3): the composed colour over a transparent background.
    const struct {
        int mode;
        float power;
        QColor expected;
    } cases[] = {
        {0, 0.0f, QColor(0, 0, 0, 255)},       // plain, whatever the strength
        {0, 1.0f, QColor(0, 0, 0, 255)},
        {1, 0.0f, QColor(255, 0, 0, 255)},     // highlight colour at any activity
        {2, 0.0f, QColor(0, 0, 0, 77)},        // idle: only the faint base
        {2, 1.0f, QColor(255, 0, 0, 255)},     // busy: full highlight over it
        {2, 0.5f, QColor(196, 0, 0, 166)},     // half: 0.5 red over 0.3 black
        {3, 1.0f, QColor(0, 0, 0, 255)},       // resting colour by strength
        {3, 0.0f, QColor(0, 0, 0, 77)},
        {7, 1.0f, QColor(0, 0, 0, 128)},       // unknown mode: the base laid twice
    };
    for (const auto &c : cases) {
        for (const qint64 direction : {1, 0}) {
            PLVMenubarIndicator v;
            v.setArrowDirection(direction);
            v.setUpDownIconColor(icon);
            v.setUpArrowColor(direction == 1 ? red : QColor(Qt::green));
            v.setDownArrowColor(direction == 0 ? red : QColor(Qt::green));
            v.setIsUsingColoredArrow(c.mode);
            // The other direction's strength must not matter.
            v.setUploadColorPower(direction == 1 ? c.power : 1.0f - c.power);
            v.setDownloadColorPower(direction == 0 ? c.power : 1.0f - c.power);
            const QColor got = at(render(v, 2), 4, 3);
            EXPECT_NEAR(got.alpha(), c.expected.alpha(), 3) << "mode " << c.mode << " power " << c.power << " direction " << direction;
            EXPECT_NEAR(got.red(), c.expected.red(), 4) << "mode " << c.mode << " power " << c.power << " direction " << direction;
            EXPECT_EQ(got.green(), 0) << "mode " << c.mode << " direction " << direction;
        }
    }
}

TEST(MenubarIndicator, ShapesCoverTheirOwnOutlineAndAShapeChangeRedrawsIt)
{
    // Points that tell the outlines apart (y upward): the head's left tip, the
    // stem, the square's corner, the circle's edge.
    const struct {
        qreal x, y;
        bool arrowUp, arrowDown, circle, square;
    } points[] = {
        {0.6, 2.2, true, false, false, false},
        {4.0, 0.6, true, true, true, true},
        {1.6, 0.6, false, false, false, true},
        {1.6, 4.4, false, false, true, true},
        {0.6, 3.8, false, true, false, false},
        {7.6, 5.6, false, false, false, false},
    };
    for (const qint64 direction : {1, 0}) {
        PLVMenubarIndicator v;
        v.setArrowDirection(direction);
        v.setUpDownIconColor(icon);
        for (const int shape : {0, 1, 2, 3}) {
            // Drawn once with the arrow, then switched: the outline must follow.
            v.setIndicatorShape(0);
            (void)render(v, 4);
            v.setIndicatorShape(shape);
            const QImage img = render(v, 4);
            for (const auto &p : points) {
                const bool expected = shape == 0 ? (direction == 1 ? p.arrowUp : p.arrowDown)
                                      : shape == 1 ? p.circle
                                      : shape == 2 ? p.square
                                                   : false;
                EXPECT_EQ(at(img, p.x, p.y).alpha() > 128, expected)
                    << "shape " << shape << " direction " << direction << " at " << p.x << "," << p.y;
            }
        }
    }
}

TEST(MenubarIndicator, ADirectionOtherThanUpOrDownDrawsNothing)
{
    PLVMenubarIndicator v;
    v.setArrowDirection(2);
    v.setUpDownIconColor(icon);
    v.setIsUsingColoredArrow(1);
    const QImage img = render(v, 2);
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x)
            ASSERT_EQ(qAlpha(img.pixel(x, y)), 0) << x << "," << y;
}

TEST(MenubarIndicatorsView, PlacesUpAboveDownAndPassesEachSettingToItsIndicator)
{
    PLVMenubarIndicatorsView pair;
    pair.setFrameSize(QSizeF(8, 15));
    // Set before the indicators exist: handed over when they are made.
    pair.setIndicatorShape(1);
    pair.setUpDownIconColor(Qt::blue);
    pair.awakeFromNib();
    pair.awakeFromNib(); // a second wake makes no second pair
    ASSERT_TRUE(pair.upArrow() && pair.downArrow());
    EXPECT_EQ(pair.findChildren<PLVMenubarIndicator *>().size(), 2);
    EXPECT_EQ(pair.upArrow()->frame(), QRectF(0, 9, 8, 6));
    EXPECT_EQ(pair.downArrow()->frame(), QRectF(0, 0, 8, 6));
    EXPECT_EQ(pair.upArrow()->arrowDirection(), 1);
    EXPECT_EQ(pair.downArrow()->arrowDirection(), 0);
    EXPECT_EQ(pair.downArrow()->indicatorShape(), 1);
    EXPECT_EQ(pair.upArrow()->upDownIconColor(), QColor(Qt::blue));

    pair.setUpArrowColor(Qt::red);
    pair.setDownArrowColor(Qt::green);
    pair.setIsUsingColoredUPArrow(2);
    pair.setIsUsingColoredDOWNArrow(3);
    pair.setUploadColorPower(0.75f);
    pair.setDownloadColorPower(0.25f);
    EXPECT_EQ(pair.upArrow()->upArrowColor(), QColor(Qt::red));
    EXPECT_NE(pair.downArrow()->upArrowColor(), QColor(Qt::red));
    EXPECT_EQ(pair.downArrow()->downArrowColor(), QColor(Qt::green));
    EXPECT_EQ(pair.upArrow()->isUsingColoredArrow(), 2);
    EXPECT_EQ(pair.downArrow()->isUsingColoredArrow(), 3);
    EXPECT_FLOAT_EQ(pair.upArrow()->uploadColorPower(), 0.75f);
    EXPECT_FLOAT_EQ(pair.downArrow()->downloadColorPower(), 0.25f);

    // On screen: the up arrow glows in its colour, above the down one.
    const QImage img = render(pair, 2);
    EXPECT_GT(at(img, 4, 9 + 1).red(), 150);
    EXPECT_LT(at(img, 4, 7.5).alpha(), 10) << "the gap between the two";
}

TEST(MenubarIndicatorsView, AnUnchangedStrengthCausesNoRedraw)
{
    PLVMenubarIndicatorsView pair;
    pair.setFrameSize(QSizeF(8, 15));
    pair.awakeFromNib();
    pair.setIsUsingColoredUPArrow(2);
    pair.show();
    ASSERT_TRUE(plvtest::waitUntil([&] { return pair.isVisible(); }));
    QCoreApplication::processEvents();
    EventCounter paints(pair.upArrow(), QEvent::Paint);
    pair.setUploadColorPower(0.5f);
    ASSERT_TRUE(plvtest::waitUntil([&] { return paints.count > 0; }));
    QCoreApplication::processEvents();
    const int afterFirst = paints.count;
    pair.setUploadColorPower(0.5f);
    for (int i = 0; i < 5; ++i)
        QCoreApplication::processEvents();
    EXPECT_EQ(paints.count, afterFirst);
}

namespace {
// A label whose measured text width a test chooses.
class FixedFittingText : public PLVMenuBarText
{
public:
    qreal fitting = 0;
    QSizeF fittingSize(const QSizeF &) const override { return QSizeF(fitting, 16); }
};
} // namespace

TEST(MenuBarText, EachValueKindHasItsWidthRule)
{
    const QString null;
    const struct {
        qint64 type;
        QString text;
        qreal fitting;
        int expected;
    } cases[] = {
        {0, QStringLiteral("12%"), 0, 28},
        {0, QStringLiteral("100%"), 0, 34},
        {0, QStringLiteral("1000%"), 0, 60},       // other lengths keep the width
        {1, QStringLiteral("1.2MB/s"), 50, 52},    // 7 characters
        {1, QStringLiteral("1.2MB/s"), 60, 62},    // wider text: its width + 2
        {1, QStringLiteral("12KB/s"), 30, 44},
        {1, QStringLiteral("12KB/s"), 44, 44},
        {2, QStringLiteral("12%"), 0, 60},
        {3, QStringLiteral("12%"), 0, 60},
        {4, QString(QStringLiteral("")), 0, 4},    // no text: the insets alone
        {5, QStringLiteral("9°"), 0, 18},
        {5, QStringLiteral("42°C"), 0, 26},
        {9, QStringLiteral("12%"), 0, 60},
        {0, null, 0, 60},                          // nothing to show: nothing measured
    };
    for (const auto &c : cases) {
        FixedFittingText label;
        label.setFrameSize(QSizeF(60, 22));
        label.fitting = c.fitting;
        label.setTextUnitType(c.type);
        label.setTextString(c.text);
        EXPECT_EQ(label.width(), c.expected) << "type " << c.type << " text \"" << c.text.toStdString() << "\"";
        EXPECT_EQ(label.height(), 22) << "the height stays";
    }
}

TEST(MenuBarText, TheRuleAppliesAtTheNextTextAndASameSizeIsNoResize)
{
    PLVMenuBarText label;
    label.setFrameSize(QSizeF(60, 22));
    label.setTextString(QStringLiteral("12%"));
    EXPECT_EQ(label.width(), 28);
    label.setTextUnitType(5);
    EXPECT_EQ(label.width(), 28) << "stored only";
    label.setTextString(QStringLiteral("7%"));
    EXPECT_EQ(label.width(), 18);

    // A measured width: the text plus 4, in whole points; growing with the text.
    label.setTextUnitType(4);
    label.setTextString(QStringLiteral("1"));
    const int narrow = label.width();
    label.setTextString(QStringLiteral("1 234 567"));
    EXPECT_GT(label.width(), narrow);
    EXPECT_EQ(label.sizeOfLabelString(), std::ceil(label.textWidth() + 4));

    label.setTextUnitType(0);
    label.show();
    ASSERT_TRUE(plvtest::waitUntil([&] { return label.isVisible(); }));
    EventCounter resizes(&label, QEvent::Resize);
    label.setTextString(QStringLiteral("42%"));
    label.setTextString(QStringLiteral("42%"));
    QCoreApplication::processEvents();
    EXPECT_EQ(resizes.count, 1);
    PLVMenuBarText::resizeView(nullptr, 10, 10); // nothing to resize: nothing happens
}

TEST(MenuBarText, TheValueIsDrawnInItsColourWithinTheItem)
{
    PLVMenuBarText label;
    label.setFrameSize(QSizeF(60, 22));
    label.setTextColor(Qt::red);
    label.setTextString(QStringLiteral("88%"));
    const QImage img = render(label, 2);
    int red = 0, other = 0;
    for (int y = 0; y < img.height(); ++y)
        for (int x = 0; x < img.width(); ++x) {
            const QColor c = img.pixelColor(x, y);
            if (c.alpha() > 200)
                (c.red() > 200 && c.green() < 60 ? red : other)++;
        }
    EXPECT_GT(red, 20);
    EXPECT_EQ(other, 0);
}

TEST(MenuBarDoubleText, ShowsUploadAboveDownload)
{
    PLVMenuBarDoubleText view;
    view.setFrameSize(QSizeF(60, 22));
    view.setTextStringUp(QStringLiteral("12 KB/s")); // before the labels exist
    view.awakeFromNib();
    view.setTextStringDown(QStringLiteral("3 MB/s"));
    ASSERT_TRUE(view.textFieldUp() && view.textFieldDown());
    EXPECT_EQ(view.textFieldUp()->stringValue(), QStringLiteral("12 KB/s"));
    EXPECT_EQ(view.textFieldDown()->stringValue(), QStringLiteral("3 MB/s"));
    EXPECT_GT(view.textFieldUp()->frame().y(), view.textFieldDown()->frame().y());
}

TEST(ModuleNameStatusBarView, ShowsThreeCapitalsInTheThemesLabelColour)
{
    PLVColor theme;
    PLVModuleNameStatusBarView view;
    view.setFrameSize(QSizeF(30, 22));
    view.setThreeLetterName(QStringLiteral("cpu"));
    view.setColorObject(&theme); // before the letters exist: bound when they are made
    view.awakeFromNib();
    EXPECT_EQ(view.width(), 10);
    ASSERT_TRUE(view.letterTop() && view.letterMiddle() && view.letterBottom());
    EXPECT_EQ(view.letterTop()->frame(), QRectF(0, 10, 14, 11));
    EXPECT_EQ(view.letterMiddle()->frame(), QRectF(0, 4, 14, 11));
    EXPECT_EQ(view.letterBottom()->frame(), QRectF(0, -2, 14, 11));
    const QStringList shown{view.letterTop()->stringValue(), view.letterMiddle()->stringValue(),
                            view.letterBottom()->stringValue()};
    EXPECT_EQ(shown, QStringList({QStringLiteral("C"), QStringLiteral("P"), QStringLiteral("U")}));

    view.setThreeLetterName(QStringLiteral("ab"));
    EXPECT_EQ(view.letterTop()->stringValue(), QStringLiteral("C")) << "a short name changes nothing on screen";

    // The letters follow the theme at once: normal, then highlighted.
    EXPECT_EQ(view.letterMiddle()->textColor(), theme.statusLabelColor());
    theme.setStatusItemBackgroundStyle(1);
    EXPECT_EQ(view.letterMiddle()->textColor(), theme.statusLabelColor());

    // Drawn: some ink in each third of the column.
    theme.setStatusLabelColor(Qt::red);
    const QImage img = render(view, 2);
    for (const auto &band : {std::pair{14.0, 21.0}, std::pair{8.0, 14.0}, std::pair{1.0, 8.0}}) {
        int ink = 0;
        for (qreal y = band.first; y < band.second; y += 0.5)
            for (qreal x = 0; x < 10; x += 0.5)
                ink += at(img, x, y).red() > 128 && at(img, x, y).alpha() > 128;
        EXPECT_GT(ink, 2) << "between y " << band.first << " and " << band.second;
    }
}
