#include "PLVLabelView.h"

#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QFontMetricsF>
#include <QPainter>

#include <cmath>

PLV_REGISTER_CLASS(PLVLabelView)

PLVLabelView::PLVLabelView(QWidget *parent) : PLVView(parent), m_font(font()) {}

void PLVLabelView::setStringValue(const QString &text)
{
    if (text == m_stringValue)
        return;
    m_stringValue = text;
    setNeedsDisplay();
}

void PLVLabelView::setTextFont(const QFont &font)
{
    m_font = font;
    setNeedsDisplay();
}

void PLVLabelView::setTextColor(const QColor &color)
{
    m_textColor = color;
    setNeedsDisplay();
}

void PLVLabelView::setAlignment(Qt::Alignment alignment)
{
    m_alignment = alignment;
    setNeedsDisplay();
}

void PLVLabelView::setDrawsBackground(bool draws)
{
    m_drawsBackground = draws;
    setNeedsDisplay();
}

void PLVLabelView::setBackgroundColor(const QColor &color)
{
    m_backgroundColor = color;
    setNeedsDisplay();
}

qreal PLVLabelView::textWidth() const
{
    return m_stringValue.isEmpty() ? 0 : PLVView::sizeOfString(m_stringValue, m_font).width();
}

QSizeF PLVLabelView::fittingSize(const QSizeF &bound) const
{
    const qreal w = std::ceil(textWidth()) + 2 * inset;
    const qreal h = std::ceil(QFontMetricsF(m_font).height());
    return QSizeF(std::min(w, bound.width()), std::min(h, bound.height()));
}

void PLVLabelView::drawRect(QPainter &painter, const QRectF &)
{
    if (m_drawsBackground && m_backgroundColor.isValid())
        painter.fillRect(bounds(), m_backgroundColor);
    if (m_stringValue.isEmpty())
        return;
    const QColor color = m_textColor.isValid() ? m_textColor : palette().color(QPalette::WindowText);
    const QRectF inside = bounds().adjusted(inset, 0, -inset, 0);
    PLVView::drawStringInRect(painter, m_stringValue, inside, m_font, color, m_alignment);
}
