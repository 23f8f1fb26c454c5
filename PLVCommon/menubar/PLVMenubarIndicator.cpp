#include "PLVMenubarIndicator.h"

#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QPainter>

PLV_REGISTER_CLASS(PLVMenubarIndicator)
PLV_REGISTER_CLASS(PLVMenubarIndicatorsView)

PLVMenubarIndicator::PLVMenubarIndicator(QWidget *parent) : PLVView(parent)
{
    setFrameSize(QSizeF(8, 6));
}

void PLVMenubarIndicator::setUpDownIconColor(const QColor &color)
{
    m_upDownIconColor = color;
    setNeedsDisplay();
}

void PLVMenubarIndicator::setUpArrowColor(const QColor &color)
{
    m_upArrowColor = color;
    setNeedsDisplay();
}

void PLVMenubarIndicator::setDownArrowColor(const QColor &color)
{
    m_downArrowColor = color;
    setNeedsDisplay();
}

void PLVMenubarIndicator::setIsUsingColoredArrow(int mode)
{
    m_isUsingColoredArrow = mode;
    setNeedsDisplay();
}

void PLVMenubarIndicator::setIndicatorShape(int shape)
{
    m_indicatorShape = shape;
    m_upArrowBezier.reset();
    m_downArrowBezier.reset();
    setNeedsDisplay();
}

void PLVMenubarIndicator::setDownloadColorPower(float power)
{
    m_downloadColorPower = power;
    setNeedsDisplay();
}

void PLVMenubarIndicator::setUploadColorPower(float power)
{
    m_uploadColorPower = power;
    setNeedsDisplay();
}

namespace {
QPainterPath polygon(std::initializer_list<QPointF> points)
{
    QPainterPath path;
    path.setFillRule(Qt::OddEvenFill);
    path.addPolygon(QPolygonF(points));
    path.closeSubpath();
    return path;
}
} // namespace

QPainterPath PLVMenubarIndicator::getUpArrow() const
{
    // A stem 4 wide and 2 high under a head 8 wide and 4 high.
    return polygon({{2, 2}, {2, 0}, {6, 0}, {6, 2}, {8, 2}, {4, 6}, {0, 2}, {2, 2}});
}

QPainterPath PLVMenubarIndicator::getDownArrow() const
{
    return polygon({{2, 4}, {2, 6}, {6, 6}, {6, 4}, {8, 4}, {4, 0}, {0, 4}, {2, 4}});
}

QPainterPath PLVMenubarIndicator::circleShape() const
{
    QPainterPath path;
    path.addEllipse(QRectF(1, 0, 6, 6));
    return path;
}

QPainterPath PLVMenubarIndicator::squareShape() const
{
    QPainterPath path;
    path.addRoundedRect(QRectF(1, 0, 6, 6), 1, 1);
    return path;
}

QPainterPath PLVMenubarIndicator::outlineFor(bool up) const
{
    switch (m_indicatorShape) {
    case 0:
        return up ? getUpArrow() : getDownArrow();
    case 1:
        return circleShape();
    case 2:
        return squareShape();
    default:
        return QPainterPath();
    }
}

void PLVMenubarIndicator::drawArrow(QPainter &painter, bool up)
{
    std::optional<QPainterPath> &cached = up ? m_upArrowBezier : m_downArrowBezier;
    if (!cached)
        cached = outlineFor(up);
    const QPainterPath &outline = *cached;
    const QColor &highlight = up ? m_upArrowColor : m_downArrowColor;
    const float power = up ? m_uploadColorPower : m_downloadColorPower;
    const int mode = m_isUsingColoredArrow;

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    // The resting arrow: faint whenever a highlight may be laid over it.
    painter.setOpacity(mode == 0 ? 1.0 : 0.3);
    painter.fillPath(outline, m_upDownIconColor);
    switch (mode) {
    case 0:
        break;
    case 1:
        painter.setOpacity(1.0);
        painter.fillPath(outline, highlight);
        break;
    case 2:
        painter.setOpacity(std::clamp(double(power), 0.0, 1.0));
        painter.fillPath(outline, highlight);
        break;
    case 3:
        painter.setOpacity(std::clamp(double(power), 0.0, 1.0));
        painter.fillPath(outline, m_upDownIconColor);
        break;
    default:
        painter.fillPath(outline, m_upDownIconColor);
        break;
    }
    painter.restore();
}

void PLVMenubarIndicator::drawUpArrow(QPainter &painter)
{
    drawArrow(painter, true);
}

void PLVMenubarIndicator::drawDownArrow(QPainter &painter)
{
    drawArrow(painter, false);
}

void PLVMenubarIndicator::drawRect(QPainter &painter, const QRectF &)
{
    if (m_arrowDirection == 1)
        drawUpArrow(painter);
    else if (m_arrowDirection == 0)
        drawDownArrow(painter);
}

PLVMenubarIndicatorsView::PLVMenubarIndicatorsView(QWidget *parent) : PLVView(parent) {}

void PLVMenubarIndicatorsView::awakeFromNib()
{
    initVariables();
}

void PLVMenubarIndicatorsView::initVariables()
{
    if (m_upArrow || m_downArrow)
        return;
    m_downArrow = new PLVMenubarIndicator;
    m_downArrow->setFrame(QRectF(0, 0, 8, 6));
    m_upArrow = new PLVMenubarIndicator;
    m_upArrow->setFrame(QRectF(0, 9, 8, 6));
    addSubview(m_upArrow);
    addSubview(m_downArrow);
    m_upArrow->setArrowDirection(1);
    m_downArrow->setArrowDirection(0);
    setIndicatorShape(m_indicatorShape);
    setUpDownIconColor(m_upDownIconColor);
    setUpArrowColor(m_upArrowColor);
    setDownArrowColor(m_downArrowColor);
}

void PLVMenubarIndicatorsView::setIsUsingColoredUPArrow(int mode)
{
    m_isUsingColoredUPArrow = mode;
    if (m_upArrow)
        m_upArrow->setIsUsingColoredArrow(mode);
}

void PLVMenubarIndicatorsView::setIsUsingColoredDOWNArrow(int mode)
{
    m_isUsingColoredDOWNArrow = mode;
    if (m_downArrow)
        m_downArrow->setIsUsingColoredArrow(mode);
}

void PLVMenubarIndicatorsView::setIndicatorShape(int shape)
{
    m_indicatorShape = shape;
    if (m_upArrow)
        m_upArrow->setIndicatorShape(shape);
    if (m_downArrow)
        m_downArrow->setIndicatorShape(shape);
}

void PLVMenubarIndicatorsView::setDownloadColorPower(float power)
{
    if (power == m_downloadColorPower)
        return;
    m_downloadColorPower = power;
    if (m_downArrow)
        m_downArrow->setDownloadColorPower(power);
}

void PLVMenubarIndicatorsView::setUploadColorPower(float power)
{
    if (power == m_uploadColorPower)
        return;
    m_uploadColorPower = power;
    if (m_upArrow)
        m_upArrow->setUploadColorPower(power);
}

void PLVMenubarIndicatorsView::setUpDownIconColor(const QColor &color)
{
    m_upDownIconColor = color;
    if (m_upArrow)
        m_upArrow->setUpDownIconColor(color);
    if (m_downArrow)
        m_downArrow->setUpDownIconColor(color);
}

void PLVMenubarIndicatorsView::setUpArrowColor(const QColor &color)
{
    m_upArrowColor = color;
    if (m_upArrow)
        m_upArrow->setUpArrowColor(color);
}

void PLVMenubarIndicatorsView::setDownArrowColor(const QColor &color)
{
    m_downArrowColor = color;
    if (m_downArrow)
        m_downArrow->setDownArrowColor(color);
}
