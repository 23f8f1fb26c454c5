#include "PLVGenericOverviewView.h"

#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

PLV_REGISTER_CLASS(PLVGenericOverviewView)

namespace {

constexpr double kRingWidth = 7.0;
constexpr double kTextHeight = 16.0;

// A text centred at the top of its rectangle. The tile's widths were chosen
// for narrower fonts than most Linux desktops use, where "100%" would lose its
// last digit: a text that is too wide is first set up to a fifth smaller, and
// only what still does not fit is cut short with an ellipsis.
void drawCentred(QPainter &painter, const QString &text, const QRectF &rect, const QFont &font, const QColor &color)
{
    if (text.isEmpty() || rect.width() <= 0)
        return;
    QFont fitted = font;
    const int size = font.pixelSize(); // the theme's fonts are sized in view points
    for (int smaller = size - 1; smaller >= size * 4 / 5 && QFontMetricsF(fitted).horizontalAdvance(text) > rect.width();
         --smaller)
        fitted.setPixelSize(smaller);
    const QString shown = QFontMetricsF(fitted).elidedText(text, Qt::ElideRight, rect.width());
    PLVView::drawStringInRect(painter, shown, rect, fitted, color, Qt::AlignHCenter | Qt::AlignTop);
}

} // namespace

PLVGenericOverviewView::PLVGenericOverviewView(QWidget *parent) : PLVGenericModelDataView(parent) {}

PLVGenericOverviewView::~PLVGenericOverviewView() { PLVBinding::unbind(this, "iconColor"); }

void PLVGenericOverviewView::awakeFromNib()
{
    // Loaded from an interface file and then set up again by hand: one theme.
    if (!m_colorObject)
        m_colorObject = new PLVColor(this);
    bindVariables();
}

void PLVGenericOverviewView::bindVariables()
{
    if (m_colorObject)
        PLVBinding::bind(this, "iconColor", m_colorObject, QStringLiteral("windowTitleLabelColor"));
}

void PLVGenericOverviewView::setIconColor(const QColor &color)
{
    m_iconColor = color;
    setNeedsDisplay();
}

float PLVGenericOverviewView::arcStartAngle() const
{
    // Past the ends the arc would wind the wrong way round (a negative value
    // draws three quarters), so the value is held to the ring's range.
    const float percent = std::isnan(m_currentValue) ? 0.0f : std::clamp(m_currentValue, 0.0f, 100.0f);
    return (percent / 100.0f) * -360.0f + 90.0f;
}

QColor PLVGenericOverviewView::platformColor(const char *name, double alpha) const
{
    const bool dark = m_colorObject ? m_colorObject->windowBackgroundStyle() != 0 : PLVPlatformColors::isDark();
    return PLVPlatformColors::colorNamed(QString::fromLatin1(name), dark, alpha);
}

void PLVGenericOverviewView::drawRect(QPainter &painter, const QRectF &dirtyRect)
{
    PLVGenericModelDataView::drawRect(painter, dirtyRect);
    drawDisplayname(painter);
    drawValueString(painter);
    updateBackground(painter);
}

void PLVGenericOverviewView::drawDisplayname(QPainter &painter)
{
    if (m_moduleTrigram.isEmpty() || !m_iconColor.isValid() || !m_colorObject)
        return;
    const QRectF b = bounds();
    drawCentred(painter, m_moduleTrigram.toUpper(), QRectF(0, b.height() - 28, b.width(), kTextHeight),
                m_colorObject->fontforMiniOverviewModuletitle(), m_iconColor);
}

void PLVGenericOverviewView::drawValueString(QPainter &painter)
{
    if (m_stringValue.isNull() || !m_colorObject)
        return;
    const double w = bounds().width(), h = bounds().height();
    if (m_stringValue2.isNull()) {
        drawCentred(painter, m_stringValue, QRectF(12, h / 2 - 10, w - 24, kTextHeight),
                    m_colorObject->fontforModuletitle(), m_iconColor);
        return;
    }
    const QFont font = m_colorObject->fontforMiniOverviewDoubleString();
    drawCentred(painter, m_stringValue, QRectF(7, h / 2 - 11, w - 14, kTextHeight), font, m_iconColor);
    drawCentred(painter, m_stringValue2, QRectF(7, h / 2 - 22, w - 14, kTextHeight), font, m_iconColor);
}

void PLVGenericOverviewView::updateBackground(QPainter &painter)
{
    if (m_stringValue.isNull())
        updateNoGauge(painter);
    else if (m_stringValue2.isNull())
        updateGaugeRing(painter);
}

void PLVGenericOverviewView::updateNoGauge(QPainter &painter)
{
    const float w = float(bounds().width()), h = float(bounds().height());
    const float side = std::min(w - 3, h - 3);
    if (side <= 0)
        return;
    QPainterPath square;
    square.addRoundedRect(QRectF((w - side) / 2, (h - side) / 2, side, side), 8, 8);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(square, platformColor("labelColor", 0.1));
}

void PLVGenericOverviewView::updateGaugeRing(QPainter &painter)
{
    const double w = bounds().width(), h = bounds().height();
    const double radius = std::min(w - kRingWidth, h - kRingWidth) / 2;
    if (radius <= 0)
        return;
    const QRectF circle(w / 2 - radius, h / 2 - radius, 2 * radius, 2 * radius);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(platformColor("labelColor", 0.1), kRingWidth, Qt::SolidLine, Qt::FlatCap));
    painter.drawEllipse(circle);

    const double start = double(arcStartAngle());
    if (start >= 90)
        return;
    // Qt counts its angles with y down; ours go counter-clockwise with y up.
    QPainterPath arc;
    arc.arcMoveTo(circle, -start);
    arc.arcTo(circle, -start, -(90 - start));
    const QColor color = m_innerColor.isValid() ? m_innerColor : platformColor("systemBlueColor", 0.9);
    painter.setPen(QPen(color, kRingWidth, Qt::SolidLine, Qt::FlatCap));
    painter.drawPath(arc);
}
