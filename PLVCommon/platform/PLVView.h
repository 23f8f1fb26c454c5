#pragma once
#include <QColor>
#include <QFont>
#include <QRectF>
#include <QWidget>

class QPainter;

// A view whose geometry and drawing use bottom-left coordinates: the origin is
// the bottom left corner and y grows upwards, unless isFlipped() says the view
// keeps Qt's top-left origin.
//
// frame() is the view's rectangle in its superview's coordinates; bounds() is
// (0, 0, width, height). While a view is not flipped, its subviews keep their
// distance from its bottom edge when it is resized. drawRect() receives a
// painter already in the view's coordinates; the text helpers draw text upright
// whatever the orientation.
class PLVView : public QWidget
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVView(QWidget *parent = nullptr);
    ~PLVView() override;

    virtual bool isFlipped() const { return false; }

    QRectF frame() const;
    void setFrame(const QRectF &frame);
    void setFrameSize(const QSizeF &size);
    void setFrameOrigin(const QPointF &origin);
    QRectF bounds() const { return QRectF(0, 0, width(), height()); }

    // Adds the view as a subview at its current frame and shows it.
    void addSubview(QWidget *view);
    // Detaches the view from its superview (the caller keeps it).
    virtual void removeFromSuperview();
    PLVView *superview() const;

    void setNeedsDisplay(bool needed = true);

    // Called once the interface file that created the view is fully loaded.
    Q_INVOKABLE virtual void awakeFromNib() {}

    // Converts between this view's coordinates and Qt's widget coordinates.
    QPointF toQt(const QPointF &p) const;
    QRectF toQt(const QRectF &r) const;
    QPointF fromQt(const QPointF &p) const;

    // Text, drawn upright. `point` is the origin of the text's line box in the
    // painter's current coordinates: its bottom left corner when y goes up, its
    // top left corner in a flipped view.
    static QSizeF sizeOfString(const QString &text, const QFont &font);
    static void drawString(QPainter &painter, const QString &text, const QPointF &point, const QFont &font,
                           const QColor &color);
    // Inside a rectangle of the view's coordinates, aligned as given.
    static void drawStringInRect(QPainter &painter, const QString &text, const QRectF &rect, const QFont &font,
                                 const QColor &color, Qt::Alignment alignment = Qt::AlignLeft | Qt::AlignBottom);

protected:
    // Draws the view; the painter's origin and orientation are the view's own.
    virtual void drawRect(QPainter &painter, const QRectF &dirtyRect);

    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    bool event(QEvent *event) override;

private:
    bool superviewIsFlipped() const;
    int superviewHeight() const;

    // The superview height this view's geometry was placed against. Qt delays
    // the resize events of hidden widgets, so the distance from the bottom edge
    // is kept from this rather than from the superview's current height.
    int m_placedInHeight = -1;
};
