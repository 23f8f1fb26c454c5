// The controls: colour wells in each state and size, the popover's grid with a
// pressed cell, and the small controls of the preference panes.
#include "PLVGallery.h"

#include "PLVCommon/controls/HVColorWell.h"
#include "PLVCommon/controls/PLVButton.h"
#include "PLVCommon/controls/PLVSelectorButton.h"
#include "PLVCommon/controls/PLVTextField.h"
#include "PLVCommon/drawing/ColorExtras.h"

#include <QCoreApplication>
#include <QGridLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QRadioButton>

namespace {

// Children are placed by hand: the gallery renders views that are never shown,
// and layouts only settle once shown.
template <class W>
W *place(QWidget *parent, W *w, int x, int y, int width = -1, int height = -1)
{
    w->setParent(parent);
    const QSize hint = w->sizeHint();
    w->setGeometry(x, y, width > 0 ? width : hint.width(), height > 0 ? height : hint.height());
    return w;
}

QLabel *caption(QWidget *parent, const QString &text, int x, int y)
{
    auto *label = new QLabel(text);
    QFont f = label->font();
    f.setPointSizeF(8);
    label->setFont(f);
    return place(parent, label, x, y);
}

void sendMouse(QWidget *w, QEvent::Type type, QPointF pos, Qt::MouseButton button = Qt::NoButton)
{
    QMouseEvent e(type, pos, w->mapToGlobal(pos), button, type == QEvent::MouseMove ? Qt::NoButton : button,
                  Qt::NoModifier);
    QCoreApplication::sendEvent(w, &e);
}

HVColorWell *well(QWidget *parent, const QColor &color, qint64 sizeType, int x, int y)
{
    auto *w = new HVColorWell;
    w->setSizeType(sizeType);
    w->setColor(color);
    return place(parent, w, x, y);
}

} // namespace

PLV_GALLERY_VIEW("HVColorWell", QSizeF(300, 96), PLVGalleryPlace::Panel, [](const PLVGalleryContext &) {
    auto *root = new QWidget;
    const QColor blue = ColorExtras::colorWithCalibratedHue(7.0 / 12.0, 0.8, 0.8);
    well(root, Qt::white, 0, 8, 8);
    caption(root, QStringLiteral("white"), 8, 32);
    well(root, blue, 0, 80, 8);
    caption(root, QStringLiteral("colour"), 80, 32);
    well(root, ColorExtras::colorWithAlphaComponent(blue, 0.45), 0, 152, 8);
    caption(root, QStringLiteral("translucent"), 152, 32);
    auto *focused = well(root, ColorExtras::colorWithCalibratedHue(1.0, 0.9, 0.7), 0, 224, 8);
    focused->setShouldDrawFocusRing(true);
    caption(root, QStringLiteral("focus"), 224, 32);

    auto *overSwatch = well(root, blue, 0, 8, 52);
    sendMouse(overSwatch, QEvent::MouseMove, QPointF(20, 10));
    caption(root, QStringLiteral("over swatch"), 8, 76);
    auto *overButton = well(root, blue, 0, 80, 52);
    sendMouse(overButton, QEvent::MouseMove, QPointF(55, 10));
    caption(root, QStringLiteral("over button"), 80, 76);
    well(root, ColorExtras::colorWithCalibratedHue(1.0 / 3.0, 0.9, 0.7), 1, 152, 54);
    caption(root, QStringLiteral("small"), 152, 76);
    auto *smallOver = well(root, Qt::black, 1, 224, 54);
    sendMouse(smallOver, QEvent::MouseMove, QPointF(12, 8));
    caption(root, QStringLiteral("small, over"), 224, 76);
    return root;
})

PLV_GALLERY_VIEW("HVColorGridView", QSizeF(286, 135), PLVGalleryPlace::Panel, [](const PLVGalleryContext &) {
    // The grid as the popover shows it, its second row's green cell held down.
    auto *root = new QWidget;
    root->setAutoFillBackground(true);
    auto *owner = new HVColorWell(root);
    owner->hide();
    auto *grid = new HVColorGridView(root);
    grid->setColorWell(owner);
    grid->setGeometry(0, 0, 286, 135);
    const QRectF cell = grid->frameForCell(1, 1);
    sendMouse(grid, QEvent::MouseButtonPress, grid->toQt(cell.center()), Qt::LeftButton);
    return root;
})

PLV_GALLERY_VIEW("PLVSmallControls", QSizeF(330, 128), PLVGalleryPlace::Panel, [](const PLVGalleryContext &) {
    auto *root = new QWidget;
    auto *button = new PLVButton;
    button->setText(QStringLiteral("Copy"));
    button->awakeFromNib();
    place(root, button, 8, 8, 90);

    auto *popup = new PLVPopUpButton;
    popup->addItems({QStringLiteral("Celsius"), QStringLiteral("Fahrenheit")});
    popup->awakeFromNib();
    place(root, popup, 106, 8, 110);

    auto *selector = new PLVSelectorButton;
    selector->addItems({QStringLiteral("1 second"), QStringLiteral("2 seconds")});
    selector->awakeFromNib();
    place(root, selector, 224, 8, 98);

    auto *matrix = new PLVMatrix;
    auto *grid = new QGridLayout(matrix);
    grid->setContentsMargins(0, 0, 0, 0);
    const QStringList titles = {QStringLiteral("Bar"), QStringLiteral("Line"), QStringLiteral("Dots")};
    for (int r = 0; r < titles.size(); ++r) {
        auto *cell = new QRadioButton(titles[r], matrix);
        cell->setChecked(r == 1);
        grid->addWidget(cell, r, 0);
    }
    matrix->awakeFromNib();
    place(root, matrix, 8, 44, 90, 72);
    // The layout settles only when shown: set the cells' places now.
    for (int r = 0; r < titles.size(); ++r)
        matrix->cellAtRow(r, 0)->setGeometry(0, r * 24, 90, 22);

    auto *field = new PLVTextField;
    field->setPlaceholderText(QStringLiteral("Name"));
    field->awakeFromNib();
    place(root, field, 106, 44, 110);

    auto *copy = new PLVTextFieldCopy;
    copy->setText(QStringLiteral("Intel Core i7-8700 @ 3.20GHz"));
    copy->awakeFromNib();
    place(root, copy, 106, 78, 216);

    auto *value = new QLabel(QStringLiteral("62"));
    place(root, value, 224, 46, 20);
    auto *unit = new PLVTextFieldUnit;
    unit->setText(QStringLiteral("°C"));
    place(root, unit, 244, 44, 40);

    auto *pressed = new PLVSelectorButton;
    pressed->addItem(QStringLiteral("pressed"));
    pressed->awakeFromNib();
    pressed->setHighlighted(true);
    place(root, pressed, 224, 100, 98);
    return root;
})
