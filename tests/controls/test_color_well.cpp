// The colour well on real widgets: its pixels at 1x and 2x, the popover's grid
// driven with QTest's mouse, the shared colour dialog, and colour drops.
#include "PLVCommon/controls/HVColorWell.h"
#include "PLVCommon/drawing/ColorExtras.h"

#include "support/PLVTest.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QColorDialog>
#include <QDrag>
#include <QHelpEvent>
#include <QToolTip>
#include <QMimeData>
#include <QScreen>
#include <QTest>

#include <algorithm>
#include <memory>

namespace {

// Counts the actions a well sends.
class Target : public QObject
{
    Q_OBJECT
public:
    int calls = 0;
    QObject *lastSender = nullptr;
public slots:
    void colorChosen(HVColorWell *well)
    {
        ++calls;
        lastSender = well;
    }
};

// A palette with holes: (0,0) has no colour.
class HoleDelegate : public HVColorGridDelegate
{
public:
    quint64 numberOfColumnsInColorWell(HVColorWell *) override { return 2; }
    quint64 numberOfRowsInColorWell(HVColorWell *) override { return 1; }
    QColor colorWell(HVColorWell *, quint64 column, quint64) override
    {
        return column == 0 ? QColor() : QColor(Qt::red);
    }
};

QImage render(QWidget *w, qreal scale, const QColor &background = Qt::magenta)
{
    return plvtest::render(*w, scale, background);
}
using plvtest::at, plvtest::near;

// A shown well in a window, wired to a target.
struct Fixture {
    QWidget window;
    HVColorWell *well = new HVColorWell(&window);
    Target target;
    Fixture()
    {
        window.resize(400, 300);
        well->move(20, 20);
        well->setTarget(&target);
        well->setAction("colorChosen");
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    }
    ~Fixture()
    {
        if (auto *panel = well->colorPanel())
            panel->close();
    }
    // A point of the well's swatch or button, in Qt's coordinates.
    QPoint swatch() const { return well->toQt(well->colorSwatchFrame().center()).toPoint(); }
    QPoint button() const { return well->toQt(well->buttonFrame().center()).toPoint(); }
    HVColorGridView *openGrid()
    {
        QTest::mouseClick(well, Qt::LeftButton, {}, swatch());
        EXPECT_TRUE(well->isPopoverShown());
        return well->colorGridView();
    }
    QPoint cell(quint64 c, quint64 r) const
    {
        HVColorGridView *grid = well->colorGridView();
        return grid->toQt(grid->frameForCell(c, r).center()).toPoint();
    }
};

} // namespace

// The size a layout gives the well depends on the main screen's scale, so it
// is measured in children started at 1x and at 2x.
PLV_TEST_CHILD(wellSizes)
{
    QApplication app(plvtest::childArgc, plvtest::childArgv);
    HVColorWell regular, small;
    small.setSizeType(1);
    const QSizeF r = regular.intrinsicContentSize(), s = small.intrinsicContentSize();
    std::printf("%g %g %g %g %g\n", app.primaryScreen()->devicePixelRatio(), r.width(), r.height(), s.width(),
                s.height());
    return 0;
}

TEST(HVColorWell, IntrinsicSizeHasOnePointMoreRoomOnAnOrdinaryScreen)
{
    struct Case {
        const char *scale;
        QString expected;
    };
    for (const Case &c : {Case{"1", QStringLiteral("1 67 23 54 19")}, Case{"2", QStringLiteral("2 66 22 53 18")}}) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        env.insert(QStringLiteral("QT_SCALE_FACTOR"), QString::fromLatin1(c.scale));
        const plvtest::ChildResult result = plvtest::runChild(QStringLiteral("wellSizes"), {}, env);
        ASSERT_EQ(result.exitCode, 0) << result.err.constData();
        EXPECT_EQ(QString::fromLatin1(result.out).trimmed(), c.expected) << "scale " << c.scale;
    }
}

TEST(HVColorWell, DrawsSwatchOverBlackAndWhiteThenButtonAndBorder)
{
    for (const qreal scale : {1.0, 2.0}) {
        for (const qint64 sizeType : {0, 1}) {
            HVColorWell well;
            well.setSizeType(sizeType);
            const QRectF swatch = well.colorSwatchFrame(), button = well.buttonFrame();

            well.setColor(QColor(200, 30, 40));
            QImage img = render(&well, scale);
            EXPECT_TRUE(near(at(img, swatch.center().x(), swatch.center().y()), QColor(200, 30, 40)))
                << scale << " " << sizeType;
            // Outside the rounded outline at the swatch's corner: the background.
            EXPECT_EQ(at(img, 0.4, 0.4).rgb(), QColor(Qt::magenta).rgb()) << "rounded corner";
            // The wheel inside the button: strongly coloured pixels.
            int saturated = 0;
            for (qreal x = button.left() + 4; x < button.right() - 4; x += 0.5)
                saturated += at(img, x, button.center().y() + 2).hsvSaturation() > 120 ? 1 : 0;
            EXPECT_GT(saturated, 3) << "colour wheel";
            // The button's colour just inside its top edge, left of the wheel.
            const QColor buttonFill = at(img, button.left() + 1.5, button.top() + 1.5);
            EXPECT_FALSE(near(buttonFill, QColor(Qt::magenta), 30)) << "button filled";

            // Translucent: the black upper-left and the white lower-right show through.
            well.setColor(QColor(255, 0, 0, 128));
            img = render(&well, scale);
            const QColor upperLeft = at(img, swatch.left() + 4, swatch.bottom() - 3);
            const QColor lowerRight = at(img, swatch.right() - 4, swatch.top() + 3);
            EXPECT_TRUE(near(upperLeft, QColor(128, 0, 0), 4)) << upperLeft.name().toStdString();
            EXPECT_TRUE(near(lowerRight, QColor(255, 127, 127), 4)) << lowerRight.name().toStdString();
        }
    }
}

TEST(HVColorGridView, DrawsTheDelegatesColoursInSixByFiveCellsAndLeavesHolesEmpty)
{
    HVColorWell well;
    HVColorGridView grid;
    grid.setColorWell(&well);
    EXPECT_EQ(grid.intrinsicContentSize(), QSizeF(286, 135));
    grid.resize(grid.sizeHint());
    for (const qreal scale : {1.0, 2.0}) {
        const QImage img = render(&grid, scale);
        auto cellColor = [&](quint64 c, quint64 r) {
            const QPointF p = grid.frameForCell(c, r).center();
            // Upper left of the centre: over the black half, so an opaque colour shows as itself.
            return at(img, p.x() - 8, p.y() + 4);
        };
        EXPECT_TRUE(near(cellColor(0, 4), Qt::white)) << "greys run from white";
        EXPECT_TRUE(near(cellColor(5, 4), Qt::black)) << "to black";
        const QColor red = cellColor(4, 3);
        EXPECT_TRUE(near(red, HVColorGridViewDefaultDelegate().colorAtColumn(4, 3)));
        EXPECT_GT(red.red(), 240) << "full red at saturation and brightness 1";
        const QColor blue = cellColor(0, 0);
        EXPECT_GT(blue.blue(), blue.red());
        EXPECT_GT(blue.blue(), blue.green()) << "blue at the top left";
        EXPECT_EQ(at(img, 2, 2).rgb(), QColor(Qt::magenta).rgb()) << "padding left undrawn";
    }

    HoleDelegate holes;
    well.setDelegate(&holes);
    grid.resize(grid.sizeHint());
    const QImage img = render(&grid, 1.0);
    EXPECT_EQ(at(img, grid.frameForCell(0, 0).center().x(), grid.frameForCell(0, 0).center().y()).rgb(),
              QColor(Qt::magenta).rgb())
        << "no colour, no swatch";
    EXPECT_TRUE(near(at(img, grid.frameForCell(1, 0).center().x() - 8, grid.frameForCell(1, 0).center().y() + 4),
                     Qt::red));
}

TEST(HVColorGridView, PressAndReleaseOnOneCellChoosesItOnceAndClosesThePopover)
{
    Fixture f;
    HVColorGridView *grid = f.openGrid();
    ASSERT_TRUE(grid);
    const QColor expected = HVColorGridViewDefaultDelegate().colorAtColumn(2, 1);

    QTest::mousePress(grid, Qt::LeftButton, {}, f.cell(2, 1));
    EXPECT_TRUE(grid->mouseIsDown());
    EXPECT_TRUE(grid->shouldDrawSelectorRing());
    // The ring: white around the pressed cell, which no cell draws.
    const QImage pressed = render(grid, 1.0);
    const QRectF cell = grid->frameForCell(2, 1);
    EXPECT_TRUE(near(at(pressed, cell.left() - 2, cell.center().y()), Qt::white)) << "selector ring";

    QTest::mouseRelease(grid, Qt::LeftButton, {}, f.cell(2, 1));
    EXPECT_EQ(f.well->color(), expected);
    EXPECT_EQ(f.target.calls, 1);
    EXPECT_EQ(f.target.lastSender, f.well);
    EXPECT_FALSE(f.well->isPopoverShown());
}

TEST(HVColorGridView, ReleasingAnywhereButThePressedCellChoosesNothing)
{
    Fixture f;
    HVColorGridView *grid = f.openGrid();
    ASSERT_TRUE(grid);

    // Press one cell, release on another.
    QTest::mousePress(grid, Qt::LeftButton, {}, f.cell(0, 0));
    QTest::mouseMove(grid, f.cell(3, 2));
    EXPECT_FALSE(grid->shouldDrawSelectorRing()) << "ring only over the pressed cell";
    EXPECT_TRUE(grid->mouseDraggedOutsideMouseDownCell());
    QTest::mouseRelease(grid, Qt::LeftButton, {}, f.cell(3, 2));
    EXPECT_EQ(f.well->color(), QColor::fromRgbF(1, 1, 1, 1));
    EXPECT_EQ(f.target.calls, 0);
    EXPECT_TRUE(f.well->isPopoverShown());
    EXPECT_FALSE(grid->mouseIsDown());

    // Press outside every cell (the padding), release on a cell.
    QTest::mousePress(grid, Qt::LeftButton, {}, QPoint(2, 2));
    QTest::mouseRelease(grid, Qt::LeftButton, {}, f.cell(1, 1));
    EXPECT_EQ(f.target.calls, 0);

    // Out and back in before the release still chooses the pressed cell.
    QTest::mousePress(grid, Qt::LeftButton, {}, f.cell(5, 4));
    QTest::mouseMove(grid, f.cell(4, 4));
    QTest::mouseMove(grid, f.cell(5, 4));
    EXPECT_TRUE(grid->shouldDrawSelectorRing());
    QTest::mouseRelease(grid, Qt::LeftButton, {}, f.cell(5, 4));
    EXPECT_EQ(f.target.calls, 1);
    EXPECT_TRUE(near(f.well->color(), Qt::black));
}

TEST(HVColorGridView, ArrowKeysWalkTheCellsAndReturnChoosesOne)
{
    Fixture f;
    HVColorGridView *grid = f.openGrid();
    ASSERT_TRUE(grid);
    for (const Qt::Key key : {Qt::Key_Right, Qt::Key_Right, Qt::Key_Down, Qt::Key_Left, Qt::Key_Up, Qt::Key_Up,
                              Qt::Key_Down})
        QTest::keyClick(grid, key);
    // The first key lands on (0,0): then right, down, left, up (and up at the edge stays), down.
    EXPECT_EQ(grid->keyboardColumn(), 0u);
    EXPECT_EQ(grid->keyboardRow(), 1u);
    EXPECT_EQ(f.target.calls, 0);
    QTest::keyClick(grid, Qt::Key_Return);
    EXPECT_EQ(f.well->color(), HVColorGridViewDefaultDelegate().colorAtColumn(0, 1));
    EXPECT_EQ(f.target.calls, 1);
    EXPECT_FALSE(f.well->isPopoverShown());
}

TEST(HVColorGridView, AnEmptyCellCannotBeChosen)
{
    Fixture f;
    HoleDelegate holes;
    f.well->setDelegate(&holes);
    HVColorGridView *grid = f.openGrid();
    ASSERT_TRUE(grid);
    QTest::mouseClick(grid, Qt::LeftButton, {}, f.cell(0, 0));
    EXPECT_EQ(f.target.calls, 0);
    EXPECT_TRUE(f.well->isPopoverShown());
    QTest::mouseClick(grid, Qt::LeftButton, {}, f.cell(1, 0));
    EXPECT_EQ(f.well->color(), QColor(Qt::red));
    EXPECT_EQ(f.target.calls, 1);
}

TEST(HVColorWell, ButtonOpensTheSharedDialogWhoseColoursReachTheWellUntilItCloses)
{
    Fixture f;
    f.well->setColor(QColor(10, 20, 30));
    f.target.calls = 0;
    f.well->setShowAlpha(true);
    QTest::mouseClick(f.well, Qt::LeftButton, {}, f.button());
    QColorDialog *panel = f.well->colorPanel();
    ASSERT_TRUE(panel);
    EXPECT_TRUE(panel->isVisible());
    EXPECT_FALSE(panel->isModal());
    EXPECT_TRUE(panel->testOption(QColorDialog::ShowAlphaChannel));
    EXPECT_EQ(panel->currentColor(), QColor(10, 20, 30)) << "starts from the well's colour";
    EXPECT_TRUE(f.well->shouldDrawButtonRegionWithSelectedColor());
    EXPECT_EQ(f.target.calls, 0) << "opening chooses nothing";

    panel->setCurrentColor(QColor(0, 200, 0));
    EXPECT_EQ(f.well->color(), QColor(0, 200, 0));
    EXPECT_EQ(f.target.calls, 1);

    // A second well takes the one dialog over; the first lets go of it.
    HVColorWell other(&f.window);
    other.move(200, 20);
    other.show();
    QTest::mouseClick(&other, Qt::LeftButton, {}, other.toQt(other.buttonFrame().center()).toPoint());
    EXPECT_EQ(other.colorPanel(), panel) << "one shared dialog";
    EXPECT_FALSE(f.well->colorPanel());
    EXPECT_FALSE(f.well->shouldDrawButtonRegionWithSelectedColor());
    EXPECT_FALSE(panel->testOption(QColorDialog::ShowAlphaChannel)) << "the other well shows no alpha";
    panel->setCurrentColor(QColor(0, 0, 250));
    EXPECT_EQ(f.well->color(), QColor(0, 200, 0));
    EXPECT_EQ(other.color(), QColor(0, 0, 250));

    // Clicking the button again closes it.
    QTest::mouseClick(&other, Qt::LeftButton, {}, other.toQt(other.buttonFrame().center()).toPoint());
    EXPECT_FALSE(panel->isVisible());
    EXPECT_FALSE(other.shouldDrawButtonRegionWithSelectedColor());
    panel->setCurrentColor(QColor(1, 2, 3));
    EXPECT_EQ(other.color(), QColor(0, 0, 250)) << "a closed dialog no longer feeds the well";
}

TEST(HVColorWell, AcceptsAColourDroppedFromAnotherApplication)
{
    Fixture f;
    struct Case {
        const char *what;
        bool hasColor;
        Qt::DropActions offered;
        bool accepted;
        Qt::DropAction action;
    };
    for (const Case &c : {Case{"colour, move offered", true, Qt::CopyAction | Qt::MoveAction, true, Qt::MoveAction},
                          Case{"colour, copy only", true, Qt::CopyAction, true, Qt::CopyAction},
                          Case{"text only", false, Qt::CopyAction | Qt::MoveAction, false, Qt::IgnoreAction}}) {
        f.well->setColor(Qt::white);
        f.target.calls = 0;
        QMimeData mime;
        if (c.hasColor)
            mime.setColorData(QColor(Qt::darkCyan));
        else
            mime.setText(QStringLiteral("#008080"));
        const QPoint pos = f.swatch();
        QDragEnterEvent enter(pos, c.offered, &mime, Qt::LeftButton, {});
        QApplication::sendEvent(f.well, &enter);
        EXPECT_EQ(enter.isAccepted(), c.accepted) << c.what;
        if (c.accepted) {
            EXPECT_EQ(enter.dropAction(), c.action) << c.what;
        }
        QDropEvent drop(QPointF(pos), c.offered, &mime, Qt::LeftButton, {});
        QApplication::sendEvent(f.well, &drop);
        EXPECT_EQ(drop.isAccepted(), c.accepted) << c.what;
        EXPECT_EQ(f.well->color() == QColor(Qt::darkCyan), c.accepted) << c.what;
        EXPECT_EQ(f.target.calls, c.accepted ? 1 : 0) << c.what;
    }
}


TEST(HVColorWell, DraggingTheSwatchOffersItsColourForCopyOrMoveInsteadOfOpeningThePopover)
{
    Fixture f;
    f.well->setColor(QColor(12, 34, 56));
    QTest::mousePress(f.well, Qt::LeftButton, {}, f.swatch());
    // The offscreen platform ends every drag at once; the drag object stays until the event loop runs.
    QTest::mouseMove(f.well, f.swatch() + QPoint(QApplication::startDragDistance() + 4, 0));
    QDrag *drag = f.well->findChild<QDrag *>();
    ASSERT_TRUE(drag);
    EXPECT_EQ(qvariant_cast<QColor>(drag->mimeData()->colorData()), QColor(12, 34, 56));
    EXPECT_EQ(drag->supportedActions(), Qt::CopyAction | Qt::MoveAction);
    QTest::mouseRelease(f.well, Qt::LeftButton, {}, f.swatch() + QPoint(QApplication::startDragDistance() + 4, 0));
    EXPECT_FALSE(f.well->isPopoverShown());
    EXPECT_EQ(f.target.calls, 1) << "only the setColor above";
}

TEST(HVColorWell, PopoverOpensBelowTheSwatchOrAboveItAtTheScreensBottom)
{
    Fixture f;
    f.openGrid();
    const QRect wellOnScreen(f.well->mapToGlobal(QPoint(0, 0)), f.well->size());
    EXPECT_GE(f.well->popover()->geometry().top(), wellOnScreen.bottom());
    f.well->popover()->close();

    const QRect avail = f.window.screen()->availableGeometry();
    f.window.move(avail.left() + 10, avail.bottom() - 60);
    QTest::qWait(10);
    f.openGrid();
    const QRect low(f.well->mapToGlobal(QPoint(0, 0)), f.well->size());
    EXPECT_LE(f.well->popover()->geometry().bottom(), low.top()) << "above";
    EXPECT_LE(f.well->popover()->geometry().bottom(), avail.bottom());
}

TEST(HVColorWell, TooltipsSayWhatSwatchAndButtonDoInTheUsersLanguage)
{
    Fixture f;
    plvtest::ScopedLocale french(QStringLiteral("fr_FR"));
    for (const auto &[point, text] : {std::pair{f.swatch(), "Cliquez pour choisir une couleur."},
                                      std::pair{f.button(), "Cliquez pour afficher plus de couleurs ou les vôtres."}}) {
        QHelpEvent help(QEvent::ToolTip, point, f.well->mapToGlobal(point));
        QApplication::sendEvent(f.well, &help);
        EXPECT_EQ(QToolTip::text(), QString::fromUtf8(text));
    }
    QToolTip::hideText();
}

#include "test_color_well.moc"
