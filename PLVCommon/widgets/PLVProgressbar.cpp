#include "PLVProgressbar.h"

#include "PLVCommon/drawing/PLVPixelCache.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

PLV_REGISTER_CLASS(PLVProgressbar)
PLV_REGISTER_CLASS(PLVMiniProgressbar)
PLV_REGISTER_CLASS(PLVBatteryBar)

namespace {

QColor systemRed() { return PLVPlatformColors::colorNamed(QStringLiteral("systemRedColor"), PLVPlatformColors::isDark(), 0.9); }

// Track and value part of both bars. The value part's width is clamped to the
// track: NaN or a negative value shows an empty track, more than 100 a full one.
void drawBar(QPainter &painter, const QRectF &bounds, float percent, const QColor &fill)
{
    double w = std::ceil(double(percent) * bounds.width() / 100.0);
    w = std::isnan(w) ? 0.0 : std::clamp(w, 0.0, bounds.width());
    QPainterPath track;
    track.addRoundedRect(bounds, 2.0, 2.0);
    PLVPixelCache::fillPath(painter, track, QColor::fromRgbF(0, 0, 0, 0.2f));
    painter.setRenderHint(QPainter::Antialiasing);
    if (w <= 0)
        return;
    QPainterPath value;
    value.addRoundedRect(QRectF(bounds.x(), bounds.y(), w, bounds.height()), 2.0, 2.0);
    painter.fillPath(value, fill);
}

} // namespace

// --- PLVProgressbar

PLVProgressbar::PLVProgressbar(QWidget *parent) : PLVView(parent) {}

void PLVProgressbar::setProgressValue(float value)
{
    if (value == m_progressValue)
        return;
    m_progressValue = value;
    update();
}

void PLVProgressbar::setInnerColor(const QColor &color)
{
    m_innerColor = color;
    update();
}

QColor PLVProgressbar::themeColor(const char *role) const
{
    QObject *theme = m_colorObject.data();
    if (!theme) {
        if (!m_ownTheme)
            m_ownTheme = new PLVColor(const_cast<PLVProgressbar *>(this));
        theme = m_ownTheme;
    }
    return theme->property(role).value<QColor>();
}

QColor PLVProgressbar::fillColor() const
{
    const float p = m_progressValue;
    if (m_isProgressHasAlertAndWarningColor) {
        const float q = p / 100.0f;
        if (q > m_alertValue)
            return themeColor("alertColor");
        if (q > m_warningValue)
            return themeColor("warningColor");
        return m_innerColor;
    }
    if (p < 10.0f && m_isProgressHasAlertColor)
        return systemRed();
    return m_innerColor;
}

void PLVProgressbar::drawRect(QPainter &painter, const QRectF &dirtyRect)
{
    PLVView::drawRect(painter, dirtyRect);
    painter.save();
    drawBar(painter, bounds(), m_progressValue, fillColor());
    painter.restore();
}

// --- PLVMiniProgressbar

PLVMiniProgressbar::PLVMiniProgressbar(QWidget *parent) : PLVView(parent) {}

void PLVMiniProgressbar::setProgressValue(float value)
{
    if (value == m_progressValue)
        return;
    m_progressValue = value;
    update();
}

void PLVMiniProgressbar::setInnerColor(const QColor &color)
{
    m_innerColor = color;
    update();
}

QColor PLVMiniProgressbar::fillColor() const
{
    return m_progressValue < 10.0f && m_isProgressHasAlertColor ? systemRed() : m_innerColor;
}

void PLVMiniProgressbar::drawRect(QPainter &painter, const QRectF &dirtyRect)
{
    PLVView::drawRect(painter, dirtyRect);
    painter.save();
    drawBar(painter, bounds(), m_progressValue, fillColor());
    painter.restore();
}

// --- PLVBatteryBar

PLVBatteryBar::PLVBatteryBar(QWidget *parent)
    : PLVView(parent)
    , m_innerColor(PLVPlatformColors::colorNamed(QStringLiteral("systemGreenColor"), PLVPlatformColors::isDark()))
{
}

void PLVBatteryBar::setProgressValue(float value)
{
    if (value == m_progressValue)
        return;
    m_progressValue = value;
    update();
}

void PLVBatteryBar::setInnerColor(const QColor &)
{
    m_innerColor = PLVPlatformColors::colorNamed(QStringLiteral("systemGreenColor"), PLVPlatformColors::isDark());
    update();
}

void PLVBatteryBar::setBorderColor(const QColor &color)
{
    m_borderColor = color;
    update();
}

double PLVBatteryBar::fillWidth() const
{
    const float p = m_progressValue;
    const float f = std::ceil(13.0f * p / 100.0f);
    if (p == 0.0f || p == -1.0f)
        return f;
    // Any other value shows at least a sliver; NaN and runaway values are held
    // to the body, so the fill never leaves the battery.
    return std::isnan(f) ? 2.0 : std::clamp(double(f), 2.0, 13.0);
}

QColor PLVBatteryBar::fillColor() const { return m_progressValue < 11.0f && m_isProgressHasAlertColor ? systemRed() : m_innerColor; }

namespace {

// The battery's fixed shape, built once: the 1-point outline of the rounded
// rectangle (0.5, 0.5, 16, 9), radius 2, as the area between its two offsets
// (the same pixels as the stroke, filled), and the terminal beside it. One
// path, so one fill draws both.
const QPainterPath &batteryOutline()
{
    static const QPainterPath path = [] {
        QPainterPath p;
        p.addRoundedRect(QRectF(0, 0, 17, 10), 2.5, 2.5);
        p.addRoundedRect(QRectF(1, 1, 15, 8), 1.5, 1.5); // odd-even: the inside
        p.moveTo(QPointF(18, 3));
        p.cubicTo(QPointF(18.83, 3), QPointF(19.5, 3.9), QPointF(19.5, 5));
        p.cubicTo(QPointF(19.5, 6.1), QPointF(18.83, 7), QPointF(18, 7));
        p.closeSubpath();
        return p;
    }();
    return path;
}

} // namespace

void PLVBatteryBar::drawRect(QPainter &painter, const QRectF &dirtyRect)
{
    PLVView::drawRect(painter, dirtyRect);
    painter.save();
    PLVPixelCache::fillPath(painter, batteryOutline(), m_borderColor);
    painter.setRenderHint(QPainter::Antialiasing);
    const double w = fillWidth();
    if (w > 0) {
        QPainterPath fill;
        fill.addRoundedRect(QRectF(2, 2, w, 6), 1.0, 1.0);
        painter.fillPath(fill, fillColor());
    }
    painter.restore();
}
