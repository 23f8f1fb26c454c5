#pragma once
// A one-line label drawn as a view (the status items' texts; the editable
// control is PLVTextField): its text, font, colour and alignment, drawn inside
// an inset of 2 points on each side. Transparent unless told to draw a background.
#include "PLVCommon/platform/PLVView.h"

#include <QColor>
#include <QFont>

class PLVLabelView : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(QString stringValue READ stringValue WRITE setStringValue)
    Q_PROPERTY(QFont font READ textFont WRITE setTextFont)
    Q_PROPERTY(QColor textColor READ textColor WRITE setTextColor)
    Q_PROPERTY(Qt::Alignment alignment READ alignment WRITE setAlignment)
    Q_PROPERTY(bool drawsBackground READ drawsBackground WRITE setDrawsBackground)
    Q_PROPERTY(QColor backgroundColor READ backgroundColor WRITE setBackgroundColor)
public:
    Q_INVOKABLE explicit PLVLabelView(QWidget *parent = nullptr);

    QString stringValue() const { return m_stringValue; }
    void setStringValue(const QString &text);
    QFont textFont() const { return m_font; }
    void setTextFont(const QFont &font);
    // An invalid colour draws with the palette's window text.
    QColor textColor() const { return m_textColor; }
    void setTextColor(const QColor &color);
    Qt::Alignment alignment() const { return m_alignment; }
    void setAlignment(Qt::Alignment alignment);
    bool drawsBackground() const { return m_drawsBackground; }
    void setDrawsBackground(bool draws);
    QColor backgroundColor() const { return m_backgroundColor; }
    void setBackgroundColor(const QColor &color);

    // The width of the text as drawn, without the insets.
    qreal textWidth() const;
    // The size the text needs, insets included, within `bound`.
    virtual QSizeF fittingSize(const QSizeF &bound) const;

    static constexpr qreal inset = 2;

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    QString m_stringValue;
    QFont m_font;
    QColor m_textColor;
    Qt::Alignment m_alignment = Qt::AlignLeft | Qt::AlignVCenter;
    bool m_drawsBackground = false;
    QColor m_backgroundColor;
};
