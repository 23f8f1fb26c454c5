#pragma once
#include "PLVCommon/platform/PLVView.h"

#include <QColor>
#include <QHash>
#include <QList>
#include <QPainterPath>
#include <QPointer>

#include <cstdint>
#include <limits>

class HVColorWell;
class HVColorGridView;
class QColorDialog;

// Where the grid of a colour well's popover takes its colours from. An invalid
// colour means an empty cell, which cannot be chosen.
class HVColorGridDelegate : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    virtual quint64 numberOfColumnsInColorWell(HVColorWell *well) = 0;
    virtual quint64 numberOfRowsInColorWell(HVColorWell *well) = 0;
    virtual QColor colorWell(HVColorWell *well, quint64 colorAtColumn, quint64 row) = 0;
};

// The preset palette: six hues over four saturation/brightness steps, and a row
// of greys from white to black.
class HVColorGridViewDefaultDelegate : public HVColorGridDelegate
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit HVColorGridViewDefaultDelegate(QObject *parent = nullptr);

    quint64 numberOfColumnsInColorWell(HVColorWell *well) override;
    quint64 numberOfRowsInColorWell(HVColorWell *well) override;
    QColor colorWell(HVColorWell *well, quint64 colorAtColumn, quint64 row) override;
    QColor colorAtColumn(quint64 column, quint64 row) const;

    void generateColors();
    // Keys "(column,row)".
    const QHash<QString, QColor> &colorMatrix() const { return m_colorMatrix; }
    void setColorMatrix(const QHash<QString, QColor> &matrix) { m_colorMatrix = matrix; }
    static QString keyFor(quint64 column, quint64 row);

private:
    QHash<QString, QColor> m_colorMatrix;
};

// A compact colour control: a swatch (left) that opens a popover of preset
// colours, and a button with a colour wheel (right) that opens the shared colour
// dialog. A colour chosen either way, or dropped on the well, becomes its value
// and is sent to the target.
class HVColorWell : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)
    Q_PROPERTY(bool showAlpha READ isShowAlpha WRITE setShowAlpha)
    Q_PROPERTY(qint64 sizeType READ sizeType WRITE setSizeType)
public:
    Q_INVOKABLE explicit HVColorWell(QWidget *parent = nullptr);
    ~HVColorWell() override;

    QColor color() const { return m_color; }
    // Notifies observers, redraws, sends the action and closes the popover.
    void setColor(const QColor &color);

    HVColorGridDelegate *delegate() const { return m_delegate; }
    // Not owned; null restores the preset palette.
    void setDelegate(HVColorGridDelegate *delegate);

    bool isShowAlpha() const { return m_showAlpha; }
    void setShowAlpha(bool show) { m_showAlpha = show; }

    // 0 regular, 1 small.
    qint64 sizeType() const { return m_sizeType; }
    void setSizeType(qint64 sizeType);

    // The action is a method name of the target: a slot or Q_INVOKABLE with no
    // parameter or one object pointer (the well). Sent on every chosen colour.
    QObject *target() const { return m_target; }
    void setTarget(QObject *target) { m_target = target; }
    QByteArray action() const { return m_action; }
    void setAction(const QByteArray &action) { m_action = action; }

    bool shouldDrawMouseOverIndicator() const { return m_mouseOverSwatch; }
    bool shouldDrawDarkerButtonRegion() const { return m_mouseOverButton; }
    bool shouldDrawButtonRegionWithSelectedColor() const { return m_panelOpen; }
    bool shouldDrawFocusRing() const { return m_focusRing; }
    void setShouldDrawFocusRing(bool draw);

    // Geometry in the well's coordinates (origin bottom left).
    QRectF colorSwatchFrame() const;
    QRectF buttonFrame() const;
    qreal cornerRadius() const { return m_sizeType == 1 ? 3.0 : 4.0; }
    const QPainterPath &controlColorSwatchPath();
    const QPainterPath &controlButtonPath();
    const QPainterPath &controlOuterBorderPath();

    // Sized for the main screen: one point more room on a 2x screen's finer pixels.
    QSizeF intrinsicContentSize() const;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

    HVColorGridView *colorGridView() const { return m_colorGridView; }
    QWidget *popover() const { return m_popover; }
    bool isPopoverShown() const;
    // The shared colour dialog, while it is open for this well; else null.
    QColorDialog *colorPanel() const;

    // Swatch drawing shared with the grid: black, a white lower-right half, then
    // the colour, so that a translucent colour shows both.
    static void drawColorSwatchWithFrame(QPainter &painter, const QRectF &frame, const QColor &color,
                                         bool shouldDrawBorder);

    Q_INVOKABLE void awakeFromNib() override;

signals:
    void colorChanged(const QColor &color);

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dragMoveEvent(QDragMoveEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    bool event(QEvent *event) override;

private:
    void setUp();
    void swatchClicked();
    void buttonClicked();
    void closePopover();
    void detachPanel();
    void sendAction();
    void updateTracking(const QPointF &qtPos);
    bool acceptsDrag(QDropEvent *event) const;

    QColor m_color;
    bool m_colorSet = false;
    bool m_showAlpha = false;
    qint64 m_sizeType = 0;
    bool m_mouseOverSwatch = false;
    bool m_mouseOverButton = false;
    bool m_panelOpen = false;
    bool m_focusRing = false;
    QPointer<HVColorGridDelegate> m_delegate;
    HVColorGridViewDefaultDelegate *m_defaultDelegate = nullptr;
    QPointer<QObject> m_target;
    QByteArray m_action;
    QPainterPath m_swatchPath, m_buttonPath, m_borderPath;
    QPointer<HVColorGridView> m_colorGridView;
    QPointer<QWidget> m_popover;
    QPointF m_pressPos;
    bool m_pressed = false;
    bool m_dragged = false;
};

// The popover's grid of swatches. Press a cell and release on it to choose its
// colour; releasing anywhere else chooses nothing.
class HVColorGridView : public PLVView
{
    Q_OBJECT
public:
    static constexpr quint64 NotFound = quint64(std::numeric_limits<qint64>::max());

    Q_INVOKABLE explicit HVColorGridView(QWidget *parent = nullptr);

    HVColorWell *colorWell() const { return m_colorWell; }
    void setColorWell(HVColorWell *well);

    double borderPadding = 6.0;
    double intercellSpacing = 2.0;
    double cellBorderLinewidth = 0.5;
    QColor cellBorderColor;
    double cellWidth = 44.0;
    double cellHeight = 23.0;

    bool shouldDrawSelectorRing() const { return m_shouldDrawSelectorRing; }
    quint64 mouseDownInColumnIndex() const { return m_downColumn; }
    quint64 mouseDownInRowIndex() const { return m_downRow; }
    bool mouseIsDown() const { return m_mouseIsDown; }
    bool mouseDraggedOutsideMouseDownCell() const { return m_draggedOutside; }

    QList<QColor> colors() const { return m_colors; }
    void setColors(const QList<QColor> &colors) { m_colors = colors; }

    quint64 numberOfColumns() const;
    quint64 numberOfRows() const;
    // In the grid's coordinates; row 0 at the top.
    QRectF frameForCell(quint64 column, quint64 row) const;
    // The cell under a point of the grid's coordinates, or false.
    bool cellAtPoint(const QPointF &point, quint64 *column, quint64 *row) const;
    QSizeF intrinsicContentSize() const;
    QSize sizeHint() const override;

    // The cell the arrow keys stand on (NotFound until a key is pressed).
    quint64 keyboardColumn() const { return m_keyColumn; }
    quint64 keyboardRow() const { return m_keyRow; }

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    QColor colorAt(quint64 column, quint64 row) const;
    void resetMouse();
    void drawSelector(QPainter &painter, quint64 column, quint64 row);

    QPointer<HVColorWell> m_colorWell;
    bool m_shouldDrawSelectorRing = false;
    quint64 m_downColumn = NotFound;
    quint64 m_downRow = NotFound;
    bool m_mouseIsDown = false;
    bool m_draggedOutside = false;
    quint64 m_keyColumn = NotFound;
    quint64 m_keyRow = NotFound;
    QList<QColor> m_colors;
};
