#include "HVColorWell.h"

#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/theme/PLVPlatformColors.h"
#include "PLVCommon/drawing/BezierPathExtra.h"
#include "PLVCommon/drawing/ColorExtras.h"
#include "PLVCommon/drawing/ImageExtra.h"

#include <QApplication>
#include <QColorDialog>
#include <QDrag>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMetaMethod>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QToolTip>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

PLV_REGISTER_CLASS(HVColorWell)
PLV_REGISTER_CLASS(HVColorGridView)
PLV_REGISTER_CLASS(HVColorGridViewDefaultDelegate)

namespace {

QColor darkGray() { return ColorExtras::colorWithCalibratedWhite(1.0 / 3.0); }
QColor lightGray() { return ColorExtras::colorWithCalibratedWhite(2.0 / 3.0); }
QColor borderGray() { return ColorExtras::colorWithCalibratedWhite(0.5); }

// Draws an image upright into a rectangle of a painter whose y axis goes up.
void drawImageUpright(QPainter &painter, const QImage &image, const QRectF &rect)
{
    painter.save();
    painter.translate(rect.left(), rect.bottom());
    painter.scale(1, -1);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(QRectF(0, 0, rect.width(), rect.height()), image);
    painter.restore();
}

// The one colour dialog of the process, shared by every well, and the well it
// is open for.
QPointer<QColorDialog> &sharedPanel()
{
    static QPointer<QColorDialog> panel;
    return panel;
}
QPointer<HVColorWell> &panelOwner()
{
    static QPointer<HVColorWell> owner;
    return owner;
}

} // namespace

// ---------------------------------------------------------------------------
// HVColorGridViewDefaultDelegate

HVColorGridViewDefaultDelegate::HVColorGridViewDefaultDelegate(QObject *parent) : HVColorGridDelegate(parent)
{
    generateColors();
}

QString HVColorGridViewDefaultDelegate::keyFor(quint64 column, quint64 row)
{
    return QString::asprintf("(%llu,%llu)", static_cast<unsigned long long>(column),
                             static_cast<unsigned long long>(row));
}

void HVColorGridViewDefaultDelegate::generateColors()
{
    static const double hues[6] = {7.0 / 12.0, 1.0 / 3.0, 1.0 / 6.0, 1.0 / 9.0, 1.0, 7.0 / 9.0};
    static const double steps[4][2] = {{0.7, 0.9}, {0.8, 0.8}, {0.9, 0.7}, {1.0, 1.0}};
    m_colorMatrix.clear();
    for (quint64 c = 0; c < 6; ++c) {
        for (quint64 r = 0; r < 4; ++r)
            m_colorMatrix.insert(keyFor(c, r), ColorExtras::colorWithCalibratedHue(hues[c], steps[r][0], steps[r][1], 1.0));
        m_colorMatrix.insert(keyFor(c, 4), ColorExtras::colorWithCalibratedHue(0.0, 0.0, 1.0 - 0.2 * double(c), 1.0));
    }
}

quint64 HVColorGridViewDefaultDelegate::numberOfColumnsInColorWell(HVColorWell *) { return 6; }
quint64 HVColorGridViewDefaultDelegate::numberOfRowsInColorWell(HVColorWell *) { return 5; }

QColor HVColorGridViewDefaultDelegate::colorWell(HVColorWell *, quint64 colorAtColumn, quint64 row)
{
    return this->colorAtColumn(colorAtColumn, row);
}

QColor HVColorGridViewDefaultDelegate::colorAtColumn(quint64 column, quint64 row) const
{
    return m_colorMatrix.value(keyFor(column, row));
}

// ---------------------------------------------------------------------------
// HVColorWell

HVColorWell::HVColorWell(QWidget *parent) : PLVView(parent)
{
    setMouseTracking(true);
    setAcceptDrops(true);
    setFocusPolicy(Qt::TabFocus);
    // Hugs its content like a fixed-size control; plain Qt layouts stand in for
    // the constraint layout here.
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setUp();
}

HVColorWell::~HVColorWell()
{
    if (panelOwner() == this)
        detachPanel();
}

void HVColorWell::awakeFromNib() { setUp(); }

void HVColorWell::setUp()
{
    // Drops are accepted from construction (setAcceptDrops); tooltips and the
    // pointer areas follow the frames, which depend on the size type.
    m_swatchPath = QPainterPath();
    m_buttonPath = QPainterPath();
    m_borderPath = QPainterPath();
    if (!m_colorSet) {
        m_color = QColor::fromRgbF(1, 1, 1, 1);
        m_colorSet = true;
    }
    if (!m_defaultDelegate)
        m_defaultDelegate = new HVColorGridViewDefaultDelegate(this);
    if (!m_delegate)
        m_delegate = m_defaultDelegate;
    resize(sizeHint());
    updateGeometry();
    update();
}

void HVColorWell::setColor(const QColor &color)
{
    const bool changed = color != m_color;
    m_color = color;
    m_colorSet = true;
    if (changed)
        emit colorChanged(m_color);
    update();
    sendAction();
    closePopover();
}

void HVColorWell::setDelegate(HVColorGridDelegate *delegate)
{
    m_delegate = delegate ? delegate : m_defaultDelegate;
    if (m_colorGridView)
        m_colorGridView->update();
}

void HVColorWell::setSizeType(qint64 sizeType)
{
    m_sizeType = sizeType;
    setUp();
}

void HVColorWell::setShouldDrawFocusRing(bool draw)
{
    if (m_focusRing != draw) {
        m_focusRing = draw;
        update();
    }
}

QRectF HVColorWell::colorSwatchFrame() const
{
    return m_sizeType == 1 ? QRectF(0.25, 0.25, 35, 17) : QRectF(0.25, 0.25, 44, 21);
}

QRectF HVColorWell::buttonFrame() const
{
    const QRectF swatch = colorSwatchFrame();
    const qreal side = m_sizeType == 1 ? 17 : 21;
    return QRectF(swatch.right() + 0.25, 0.25, side, side);
}

const QPainterPath &HVColorWell::controlColorSwatchPath()
{
    if (m_swatchPath.isEmpty()) {
        const QRectF f = colorSwatchFrame();
        const qreal r = cornerRadius(), x = f.x(), y = f.y(), top = f.y() + f.height(), right = f.x() + f.width();
        QPainterPath p;
        p.moveTo(x + r, top);
        BezierPathExtra::appendBezierPathWithArcFromPoint(p, QPointF(x, top), QPointF(x, top - r), r);
        p.lineTo(x, y + r);
        BezierPathExtra::appendBezierPathWithArcFromPoint(p, QPointF(x, y), QPointF(x + r, y), r);
        p.lineTo(right, y);
        p.lineTo(right, top);
        p.closeSubpath();
        m_swatchPath = p;
    }
    return m_swatchPath;
}

const QPainterPath &HVColorWell::controlButtonPath()
{
    if (m_buttonPath.isEmpty()) {
        const QRectF f = buttonFrame();
        const qreal r = cornerRadius(), x = f.x(), y = f.y(), top = f.y() + f.height(), right = f.x() + f.width();
        QPainterPath p;
        p.moveTo(right - r, top);
        BezierPathExtra::appendBezierPathWithArcFromPoint(p, QPointF(right, top), QPointF(right, top - r), r);
        p.lineTo(right, y + r);
        BezierPathExtra::appendBezierPathWithArcFromPoint(p, QPointF(right, y), QPointF(right - r, y), r);
        p.lineTo(x, y);
        p.lineTo(x, top);
        p.closeSubpath();
        m_buttonPath = p;
    }
    return m_buttonPath;
}

const QPainterPath &HVColorWell::controlOuterBorderPath()
{
    if (m_borderPath.isEmpty()) {
        const QRectF f = colorSwatchFrame().united(buttonFrame());
        const qreal r = cornerRadius(), x = f.x(), y = f.y(), top = f.y() + f.height(), right = f.x() + f.width();
        QPainterPath p;
        p.moveTo(x + r, top);
        BezierPathExtra::appendBezierPathWithArcFromPoint(p, QPointF(x, top), QPointF(x, top - r), r);
        p.lineTo(x, y + r);
        BezierPathExtra::appendBezierPathWithArcFromPoint(p, QPointF(x, y), QPointF(x + r, y), r);
        p.lineTo(right - r, y);
        BezierPathExtra::appendBezierPathWithArcFromPoint(p, QPointF(right, y), QPointF(right, y + r), r);
        p.lineTo(right, top - r);
        BezierPathExtra::appendBezierPathWithArcFromPoint(p, QPointF(right, top), QPointF(right - r, top), r);
        p.closeSubpath();
        m_borderPath = p;
    }
    return m_borderPath;
}

QSizeF HVColorWell::intrinsicContentSize() const
{
    const QScreen *screen = QGuiApplication::primaryScreen();
    const qreal e = screen && screen->devicePixelRatio() == 2.0 ? 1.0 : 2.0;
    return m_sizeType == 1 ? QSizeF(52 + e, 17 + e) : QSizeF(65 + e, 21 + e);
}

QSize HVColorWell::sizeHint() const
{
    const QSizeF s = intrinsicContentSize();
    return QSize(int(std::ceil(s.width())), int(std::ceil(s.height())));
}

bool HVColorWell::isPopoverShown() const { return m_popover && m_popover->isVisible(); }

QColorDialog *HVColorWell::colorPanel() const
{
    return panelOwner() == this && sharedPanel() && sharedPanel()->isVisible() ? sharedPanel().data() : nullptr;
}

void HVColorWell::drawColorSwatchWithFrame(QPainter &painter, const QRectF &frame, const QColor &color,
                                           bool shouldDrawBorder)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(frame, Qt::black);
    QPainterPath half;
    half.moveTo(frame.left(), frame.top());
    half.lineTo(frame.right(), frame.bottom());
    half.lineTo(frame.right(), frame.top());
    half.closeSubpath();
    painter.fillPath(half, Qt::white);
    painter.fillRect(frame, color);
    if (shouldDrawBorder) {
        painter.setPen(QPen(ColorExtras::colorWithAlphaComponent(darkGray(), 0.5), 0.5));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(frame);
    }
    painter.restore();
}

void HVColorWell::drawRect(QPainter &painter, const QRectF &)
{
    const bool dark = PLVPlatformColors::isDark();
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF swatch = colorSwatchFrame();
    const QRectF button = buttonFrame();
    const qreal r = cornerRadius();

    // Swatch: black, white below the rising diagonal, then the colour.
    const QPainterPath &swatchPath = controlColorSwatchPath();
    painter.fillPath(swatchPath, Qt::black);
    QPainterPath lower;
    lower.moveTo(swatch.x() - r, swatch.y() - r);
    lower.lineTo(swatch.right(), swatch.bottom());
    lower.lineTo(swatch.right(), swatch.y());
    lower.closeSubpath();
    painter.save();
    painter.setClipPath(swatchPath);
    painter.fillPath(lower, Qt::white);
    painter.restore();
    painter.fillPath(swatchPath, m_color);
    if (m_mouseOverSwatch) {
        // A light veil and a chevron at the right end say "this opens a menu",
        // drawn in whichever of black or white stands out on the colour.
        const bool onLight = m_color.alphaF() < 0.5 || m_color.lightnessF() > 0.55;
        const QColor ink = onLight ? QColor(0, 0, 0, 170) : QColor(255, 255, 255, 220);
        painter.fillPath(swatchPath, onLight ? QColor(0, 0, 0, 18) : QColor(255, 255, 255, 30));
        const qreal w = m_sizeType == 1 ? 5.0 : 6.0, h = w / 2.0;
        const QPointF c(swatch.right() - (m_sizeType == 1 ? 6.0 : 7.5), swatch.center().y());
        QPainterPath chevron;
        chevron.moveTo(c.x() - w / 2, c.y() + h / 2);
        chevron.lineTo(c.x(), c.y() - h / 2);
        chevron.lineTo(c.x() + w / 2, c.y() + h / 2);
        painter.strokePath(chevron, QPen(ink, 1.25, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    }

    // Button: the control colour, the accent while the dialog is open for this
    // well, a darker grey under the pointer; the wheel inside.
    QColor buttonColor = PLVPlatformColors::colorNamed(QStringLiteral("controlColor"), dark);
    if (m_panelOpen)
        buttonColor = PLVPlatformColors::colorNamed(QStringLiteral("alternateSelectedControlColor"), dark);
    else if (m_mouseOverButton)
        buttonColor = ColorExtras::colorWithCalibratedWhite(0.825, 1.0);
    painter.fillPath(controlButtonPath(), buttonColor);
    const QImage wheel = ImageExtra::imageNamedForClass(QStringLiteral("HVColorWheel.png"), metaObject());
    if (!wheel.isNull()) {
        const qreal inset = m_sizeType == 1 ? 2.5 : 3.0;
        drawImageUpright(painter, wheel, button.adjusted(inset, inset, -inset, -inset));
    }

    // Outer border and the separator between swatch and button.
    painter.strokePath(controlOuterBorderPath(), QPen(borderGray(), 0.5));
    const qreal sx = swatch.right() + 0.125;
    painter.setPen(QPen(borderGray(), 0.5));
    painter.drawLine(QPointF(sx, swatch.y()), QPointF(sx, swatch.bottom()));

    if (m_focusRing) {
        // Inside the border: the well's frame leaves no room outside it.
        painter.save();
        painter.setClipPath(controlOuterBorderPath());
        painter.strokePath(controlOuterBorderPath(),
                           QPen(PLVPlatformColors::keyboardFocusIndicatorColor(dark), 3.0));
        painter.restore();
    }
}

void HVColorWell::updateTracking(const QPointF &qtPos)
{
    const QPointF p = fromQt(qtPos);
    const bool overSwatch = colorSwatchFrame().contains(p);
    const bool overButton = !overSwatch && buttonFrame().contains(p);
    if (overSwatch != m_mouseOverSwatch || overButton != m_mouseOverButton) {
        m_mouseOverSwatch = overSwatch;
        m_mouseOverButton = overButton;
        update();
    }
}

void HVColorWell::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    m_pressed = true;
    m_dragged = false;
    m_pressPos = event->position();
    event->accept();
}

void HVColorWell::mouseMoveEvent(QMouseEvent *event)
{
    updateTracking(event->position());
    if (!m_pressed || m_dragged || !(event->buttons() & Qt::LeftButton))
        return;
    if ((event->position() - m_pressPos).manhattanLength() < QApplication::startDragDistance())
        return;
    if (!colorSwatchFrame().contains(fromQt(m_pressPos)))
        return;
    // The swatch is a drag source of its colour.
    m_dragged = true;
    auto *mime = new QMimeData;
    mime->setColorData(m_color);
    mime->setText(m_color.name(m_color.alpha() < 255 ? QColor::HexArgb : QColor::HexRgb));
    QPixmap pixmap(QSize(24, 14) * devicePixelRatioF());
    pixmap.setDevicePixelRatio(devicePixelRatioF());
    pixmap.fill(Qt::transparent);
    {
        QPainter p(&pixmap);
        drawColorSwatchWithFrame(p, QRectF(0.5, 0.5, 23, 13), m_color, true);
    }
    auto *drag = new QDrag(this);
    drag->setMimeData(mime);
    drag->setPixmap(pixmap);
    drag->exec(Qt::CopyAction | Qt::MoveAction, Qt::CopyAction);
    m_pressed = false;
}

void HVColorWell::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !m_pressed) {
        event->ignore();
        return;
    }
    m_pressed = false;
    if (m_dragged)
        return;
    const QPointF p = fromQt(event->position());
    if (colorSwatchFrame().contains(p))
        swatchClicked();
    else if (buttonFrame().contains(p))
        buttonClicked();
}

void HVColorWell::leaveEvent(QEvent *event)
{
    m_mouseOverSwatch = m_mouseOverButton = false;
    update();
    PLVView::leaveEvent(event);
}

void HVColorWell::keyPressEvent(QKeyEvent *event)
{
    // The keyboard reaches the presets like a click on the swatch.
    if (event->key() == Qt::Key_Space || event->key() == Qt::Key_Down) {
        swatchClicked();
        return;
    }
    PLVView::keyPressEvent(event);
}

void HVColorWell::focusInEvent(QFocusEvent *event)
{
    setShouldDrawFocusRing(true);
    PLVView::focusInEvent(event);
}

void HVColorWell::focusOutEvent(QFocusEvent *event)
{
    setShouldDrawFocusRing(false);
    PLVView::focusOutEvent(event);
}

bool HVColorWell::event(QEvent *event)
{
    if (event->type() == QEvent::ToolTip) {
        auto *help = static_cast<QHelpEvent *>(event);
        const QPointF p = fromQt(help->pos());
        QString tip;
        if (colorSwatchFrame().contains(p))
            tip = QStringLiteral("Click to choose a colour.");
        else if (buttonFrame().contains(p))
            tip = QStringLiteral("Click to show more colours or show your own.");
        if (!tip.isEmpty())
            QToolTip::showText(help->globalPos(), PLVLocalizedStringForClass(metaObject(), tip), this);
        else
            QToolTip::hideText();
        return true;
    }
    return PLVView::event(event);
}

void HVColorWell::swatchClicked()
{
    if (isPopoverShown()) {
        closePopover();
        return;
    }
    if (m_popover)
        m_popover->deleteLater();
    // The popover: a popup window that closes on any click outside it. A click
    // on the well that closes it is not replayed, so it does not reopen at once.
    auto *popover = new QWidget(this, Qt::Popup);
    popover->setAttribute(Qt::WA_NoMouseReplay);
    popover->setAutoFillBackground(true);
    popover->setObjectName(QStringLiteral("HVColorWellPopover"));
    auto *grid = new HVColorGridView(popover);
    grid->setColorWell(this);
    auto *layout = new QVBoxLayout(popover);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(grid);
    popover->resize(grid->sizeHint());
    m_colorGridView = grid;
    m_popover = popover;
    // Below the swatch, its left edge on the swatch's; above it, or pushed
    // sideways, where the screen ends.
    const QRectF swatch = toQt(colorSwatchFrame());
    QPoint origin = mapToGlobal(QPoint(int(swatch.left()), int(std::ceil(swatch.bottom())) + 2));
    if (const QScreen *screen = this->screen()) {
        const QRect avail = screen->availableGeometry();
        if (origin.y() + popover->height() > avail.bottom())
            origin.setY(mapToGlobal(QPoint(0, int(swatch.top()))).y() - 2 - popover->height());
        origin.setX(std::clamp(origin.x(), avail.left(), std::max(avail.left(), avail.right() - popover->width())));
    }
    popover->move(origin);
    popover->show();
    grid->setFocus(Qt::PopupFocusReason);
}

void HVColorWell::closePopover()
{
    if (m_popover && m_popover->isVisible())
        m_popover->close();
}

void HVColorWell::buttonClicked()
{
    if (colorPanel()) {
        sharedPanel()->close();
        return;
    }
    QPointer<QColorDialog> &panel = sharedPanel();
    if (!panel) {
        panel = new QColorDialog;
        panel->setAttribute(Qt::WA_DeleteOnClose, false);
        panel->setOption(QColorDialog::DontUseNativeDialog);
        panel->setOption(QColorDialog::NoButtons);
        panel->setModal(false);
        QObject::connect(qApp, &QCoreApplication::aboutToQuit, panel, &QObject::deleteLater);
    }
    if (panelOwner() && panelOwner() != this)
        panelOwner()->detachPanel();
    panelOwner() = this;
    m_panelOpen = true;
    update();
    panel->setOption(QColorDialog::ShowAlphaChannel, m_showAlpha);
    panel->setCurrentColor(m_color);
    // Observed only after it holds our colour, so opening sends no action.
    connect(panel, &QColorDialog::currentColorChanged, this, &HVColorWell::setColor);
    connect(panel, &QDialog::finished, this, &HVColorWell::detachPanel);
    panel->show();
    panel->raise();
    panel->activateWindow();
}

void HVColorWell::detachPanel()
{
    if (QColorDialog *panel = sharedPanel())
        panel->disconnect(this);
    if (panelOwner() == this)
        panelOwner() = nullptr;
    if (m_panelOpen) {
        m_panelOpen = false;
        update();
    }
}

void HVColorWell::sendAction()
{
    if (!m_target || m_action.isEmpty())
        return;
    const QMetaObject *mo = m_target->metaObject();
    for (int i = 0; i < mo->methodCount(); ++i) {
        const QMetaMethod method = mo->method(i);
        if (method.name() != m_action)
            continue;
        if (method.parameterCount() == 0) {
            method.invoke(m_target, Qt::DirectConnection);
            return;
        }
        if (method.parameterCount() == 1 && (method.parameterMetaType(0).flags() & QMetaType::PointerToQObject)) {
            const QMetaObject *wanted = method.parameterMetaType(0).metaObject();
            if (wanted && !metaObject()->inherits(wanted))
                continue;
            QObject *sender = this;
            method.invoke(m_target, Qt::DirectConnection,
                          QGenericArgument(method.parameterTypeName(0).constData(), &sender));
            return;
        }
    }
}

bool HVColorWell::acceptsDrag(QDropEvent *event) const
{
    // A drag that started here would only put the colour back.
    return event->source() != this && event->mimeData() && event->mimeData()->hasColor();
}

void HVColorWell::dragEnterEvent(QDragEnterEvent *event) { dragMoveEvent(event); }

void HVColorWell::dragMoveEvent(QDragMoveEvent *event)
{
    if (!acceptsDrag(event)) {
        event->ignore();
        return;
    }
    // A move where the source allows it; a source that only lends a copy still
    // gives its colour.
    if (event->possibleActions() & Qt::MoveAction)
        event->setDropAction(Qt::MoveAction);
    event->accept();
}

void HVColorWell::dropEvent(QDropEvent *event)
{
    if (!acceptsDrag(event)) {
        event->ignore();
        return;
    }
    const QColor color = qvariant_cast<QColor>(event->mimeData()->colorData());
    if (!color.isValid()) {
        event->ignore();
        return;
    }
    if (event->possibleActions() & Qt::MoveAction)
        event->setDropAction(Qt::MoveAction);
    event->accept();
    setColor(color);
    update();
}

// ---------------------------------------------------------------------------
// HVColorGridView

HVColorGridView::HVColorGridView(QWidget *parent) : PLVView(parent), cellBorderColor(darkGray())
{
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
}

void HVColorGridView::setColorWell(HVColorWell *well)
{
    m_colorWell = well;
    resize(sizeHint());
    updateGeometry();
    update();
}

quint64 HVColorGridView::numberOfColumns() const
{
    return m_colorWell && m_colorWell->delegate() ? m_colorWell->delegate()->numberOfColumnsInColorWell(m_colorWell) : 0;
}

quint64 HVColorGridView::numberOfRows() const
{
    return m_colorWell && m_colorWell->delegate() ? m_colorWell->delegate()->numberOfRowsInColorWell(m_colorWell) : 0;
}

QRectF HVColorGridView::frameForCell(quint64 column, quint64 row) const
{
    const QRectF topLeft(borderPadding, bounds().height() - borderPadding - cellHeight, cellWidth, cellHeight);
    return topLeft.translated(double(column) * (cellWidth + intercellSpacing),
                              -double(row) * (cellHeight + intercellSpacing));
}

bool HVColorGridView::cellAtPoint(const QPointF &point, quint64 *column, quint64 *row) const
{
    const quint64 columns = numberOfColumns(), rows = numberOfRows();
    for (quint64 c = 0; c < columns; ++c)
        for (quint64 r = 0; r < rows; ++r)
            if (frameForCell(c, r).contains(point)) {
                *column = c;
                *row = r;
                return true;
            }
    return false;
}

QSizeF HVColorGridView::intrinsicContentSize() const
{
    const quint64 columns = numberOfColumns(), rows = numberOfRows();
    if (columns == 0 || rows == 0)
        return QSizeF(2 * borderPadding, 2 * borderPadding);
    return QSizeF(double(columns) * cellWidth + double(columns - 1) * intercellSpacing + 2 * borderPadding,
                  double(rows) * cellHeight + double(rows - 1) * intercellSpacing + 2 * borderPadding);
}

QSize HVColorGridView::sizeHint() const
{
    const QSizeF s = intrinsicContentSize();
    return QSize(int(std::ceil(s.width())), int(std::ceil(s.height())));
}

QColor HVColorGridView::colorAt(quint64 column, quint64 row) const
{
    if (!m_colorWell || !m_colorWell->delegate())
        return {};
    return m_colorWell->delegate()->colorWell(m_colorWell, column, row);
}

void HVColorGridView::drawRect(QPainter &painter, const QRectF &)
{
    painter.setRenderHint(QPainter::Antialiasing);
    const quint64 columns = numberOfColumns(), rows = numberOfRows();
    for (quint64 c = 0; c < columns; ++c)
        for (quint64 r = 0; r < rows; ++r)
            if (const QColor color = colorAt(c, r); color.isValid())
                HVColorWell::drawColorSwatchWithFrame(painter, frameForCell(c, r), color, true);

    if (m_shouldDrawSelectorRing && m_mouseIsDown && m_downColumn != NotFound && m_downRow != NotFound)
        drawSelector(painter, m_downColumn, m_downRow);
    else if (!m_mouseIsDown && m_keyColumn != NotFound && m_keyRow != NotFound)
        drawSelector(painter, m_keyColumn, m_keyRow);
}

void HVColorGridView::drawSelector(QPainter &painter, quint64 column, quint64 row)
{
    const QRectF cell = frameForCell(column, row);
    painter.setPen(QPen(darkGray(), cellBorderLinewidth));
    painter.setBrush(Qt::white);
    painter.drawRect(cell.adjusted(-3, -3, 3, 3));
    const QColor color = colorAt(column, row);
    painter.setPen(QPen(lightGray(), cellBorderLinewidth));
    painter.setBrush(color.isValid() ? color : QColor(Qt::white));
    painter.drawRect(cell.adjusted(1, 1, -1, -1));
}

void HVColorGridView::keyPressEvent(QKeyEvent *event)
{
    // The keyboard's way through the presets: arrows move, Return or Space chooses.
    const quint64 columns = numberOfColumns(), rows = numberOfRows();
    if (columns == 0 || rows == 0) {
        PLVView::keyPressEvent(event);
        return;
    }
    const bool placed = m_keyColumn != NotFound && m_keyRow != NotFound;
    quint64 c = placed ? m_keyColumn : 0, r = placed ? m_keyRow : 0;
    switch (event->key()) {
    case Qt::Key_Left: c = placed && c > 0 ? c - 1 : c; break;
    case Qt::Key_Right: c = placed && c + 1 < columns ? c + 1 : c; break;
    case Qt::Key_Up: r = placed && r > 0 ? r - 1 : r; break;
    case Qt::Key_Down: r = placed && r + 1 < rows ? r + 1 : r; break;
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
        if (placed && m_colorWell) {
            if (const QColor color = colorAt(c, r); color.isValid())
                m_colorWell->setColor(color);
        }
        return;
    default:
        PLVView::keyPressEvent(event);
        return;
    }
    m_keyColumn = c;
    m_keyRow = r;
    update();
}

void HVColorGridView::resetMouse()
{
    m_mouseIsDown = false;
    m_shouldDrawSelectorRing = false;
    m_draggedOutside = false;
    m_downColumn = m_downRow = NotFound;
}

void HVColorGridView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    quint64 c = 0, r = 0;
    if (cellAtPoint(fromQt(event->position()), &c, &r)) {
        m_downColumn = c;
        m_downRow = r;
        m_mouseIsDown = true;
        m_shouldDrawSelectorRing = true;
        m_draggedOutside = false;
        update();
    }
}

void HVColorGridView::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_mouseIsDown)
        return;
    const bool inside = frameForCell(m_downColumn, m_downRow).contains(fromQt(event->position()));
    if (inside == m_shouldDrawSelectorRing)
        return;
    m_shouldDrawSelectorRing = inside;
    m_draggedOutside = !inside;
    update();
}

void HVColorGridView::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !m_mouseIsDown)
        return;
    const quint64 c = m_downColumn, r = m_downRow;
    const bool overPressedCell = frameForCell(c, r).contains(fromQt(event->position()));
    resetMouse();
    update();
    if (!overPressedCell || !m_colorWell)
        return;
    const QColor color = colorAt(c, r);
    if (color.isValid())
        m_colorWell->setColor(color); // closes the popover
}
