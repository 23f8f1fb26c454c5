#include "PLVGaugeview.h"

#include "PLVCommon/drawing/PLVRingRaster.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

PLV_REGISTER_CLASS(PLVGaugeview)
PLV_REGISTER_CLASS(PLVGaugeViewMultiple)

namespace {

constexpr double kGraphHeight = 18.0; // every form draws on 18 points above y = 2

} // namespace

PLVGaugeview::PLVGaugeview(QWidget *parent) : PLVView(parent) {}

QStringList PLVGaugeview::gaugeListAvailable()
{
    return {QStringLiteral("Bar"), QStringLiteral("Pie chart"), QStringLiteral("Circular chart"), QStringLiteral("Graph")};
}

void PLVGaugeview::setGaugeDefinedType(int type)
{
    m_gaugeDefinedType = type;
    m_isGraphActive = false;
    const QSizeF size = frame().size();
    switch (type) {
    case 1: setFrameSize(QSizeF(6.0, size.height())); break;
    case 2:
    case 3: setFrameSize(QSizeF(16.0, size.height())); break;
    case 4:
        setFrameSize(QSizeF(20.0, size.height()));
        m_isGraphActive = true;
        initGaugeGraphWithWidth(20.0f);
        break;
    default: break;
    }
    update();
}

void PLVGaugeview::setGraphDefinedType(int type)
{
    m_graphDefinedType = type;
    update();
}

void PLVGaugeview::setCurrentValue(float value)
{
    if (m_isGraphActive) {
        m_currentValue = value;
        addNewGraphValue(value);
        update();
        return;
    }
    if (value == m_currentValue)
        return;
    m_currentValue = value;
    update();
}

void PLVGaugeview::setCurrentValue2(float value)
{
    if (m_isGraphActive) {
        m_currentValue2 = value;
        addNewGraphValue2(value);
        return;
    }
    m_currentValue2 = value;
}

void PLVGaugeview::setMaxValue(float m)
{
    if (!(m > 0) || !std::isfinite(m))
        return;
    m_maxValue = m;
    m_scale = float(kGraphHeight / double(m));
    m_scale2 = m_scale;
}

void PLVGaugeview::setMaxValue2(float m)
{
    if (!(m > 0) || !std::isfinite(m))
        return;
    m_maxValue2 = m;
    m_scale2 = float(kGraphHeight / double(m));
}

void PLVGaugeview::setInnerColor(const QColor &color)
{
    if (color == m_innerColor)
        return;
    m_innerColor = color;
    update();
}

void PLVGaugeview::setOuterColor(const QColor &color)
{
    if (color == m_outerColor)
        return;
    m_outerColor = color;
    update();
}

void PLVGaugeview::initGaugeGraphWithWidth(float width)
{
    m_maxSize = std::clamp(qint32(width), 0, kHistoryCapacity);
    m_scale = m_scale2 = 0.18f;
    m_currentMaxValue = m_currentMaxValue2 = 0;
    for (qint32 i = 0; i < m_maxSize; ++i) {
        m_pointArray[i] = QPointF(i, 0);
        m_pointArray2[i] = QPointF(i, 0);
    }
}

void PLVGaugeview::push(QPointF *points, qint32 n, float value, float &seriesMax)
{
    seriesMax = 0;
    if (n < 1)
        return;
    for (qint32 i = 1; i < n; ++i) {
        points[i - 1].setY(points[i].y());
        if (points[i].y() > double(seriesMax))
            seriesMax = float(points[i].y());
    }
    if (value > seriesMax)
        seriesMax = value;
    points[n - 1] = QPointF(n, double(value));
}

void PLVGaugeview::addNewGraphValue(float value)
{
    push(m_pointArray, m_maxSize, value, m_currentMaxValue);
    if (m_currentMaxValue2 > m_currentMaxValue)
        m_currentMaxValue = m_currentMaxValue2;
    if (m_isMaxValueDynamic)
        setMaxValue(m_currentMaxValue);
}

void PLVGaugeview::addNewGraphValue2(float value) { push(m_pointArray2, m_maxSize, value, m_currentMaxValue2); }

float PLVGaugeview::shownPercent() const
{
    // A percentage out of range shows as an empty or a full gauge, never as a
    // bar past its track or a pie wound round twice.
    return std::isnan(m_currentValue) ? 0.0f : std::clamp(m_currentValue, 0.0f, 100.0f);
}

void PLVGaugeview::drawRect(QPainter &painter, const QRectF &)
{
    switch (m_gaugeDefinedType) {
    case 1: updateGaugeSimple(painter); break;
    case 2: updateGaugePie(painter); break;
    case 3: updateGaugeRing(painter); break;
    case 4: updateGaugeGraph(painter); break;
    default: break;
    }
}

void PLVGaugeview::updateGaugeSimple(QPainter &painter)
{
    const double h = std::ceil(double(shownPercent() / 100.0f) * kGraphHeight);
    const double w = bounds().width();
    painter.fillRect(QRectF(0, 2, w, kGraphHeight), m_outerColor);
    painter.fillRect(QRectF(0, 2, w, h), m_innerColor);
}

void PLVGaugeview::updateGaugePie(QPainter &painter)
{
    // A disc of radius 8, and the value's wedge over it.
    PLVRingRaster::draw(painter, QPointF(8, 11), 8, 0, m_outerColor, m_innerColor, shownPercent() * 3.6);
}

void PLVGaugeview::updateGaugeRing(QPainter &painter)
{
    // The 3-point stroke of radius 6.5: the annulus between radii 5 and 8,
    // with flat ends along the radii.
    PLVRingRaster::draw(painter, QPointF(8, 11), 8, 5, m_outerColor, m_innerColor, shownPercent() * 3.6);
}

void PLVGaugeview::updateGaugeGraph(QPainter &painter)
{
    painter.fillRect(QRectF(0, 2, bounds().width(), kGraphHeight), m_outerColor);
    m_layout.setForType(m_graphDefinedType, float(kGraphHeight));
    painter.setRenderHint(QPainter::Antialiasing);
    // Within the graph area: a spike above the maximum stops at its top edge.
    PLVFillHistory(painter, m_pointArray, m_maxSize, m_maxSize, m_layout.yPos1 + 2.0, double(m_layout.coeff1) * m_scale, 2,
                   2 + kGraphHeight, m_innerColor, m_scratch);
    if (m_graphDefinedType != 0)
        PLVFillHistory(painter, m_pointArray2, m_maxSize, m_maxSize, m_layout.yPos2 + 2.0, double(m_layout.coeff2) * m_scale2,
                       2, 2 + kGraphHeight, m_innerColor2, m_scratch);
}

// --- PLVGaugeViewMultiple

PLVGaugeViewMultiple::PLVGaugeViewMultiple(QWidget *parent) : PLVView(parent) {}

void PLVGaugeViewMultiple::setNumberOfGauges(qint64 n)
{
    if (m_numberOfGauges != 0)
        m_isGaugeAlreadyBuiltOnce = true;
    m_numberOfGauges = n;
    m_isReconfiguring = true;
    m_unitGaugeViews.clear();
    for (QWidget *child : findChildren<QWidget *>(Qt::FindDirectChildrenOnly))
        delete child;
    for (qint64 i = 0; i < n; ++i) {
        auto *gauge = new PLVGaugeview(this);
        gauge->setFrame(QRectF(0, 0, 1.0, frame().height()));
        m_unitGaugeViews.append(gauge);
        addSubview(gauge);
    }
    reLayoutGauge();
    if (m_isGaugeAlreadyBuiltOnce) {
        setInnerColor(m_innerColor);
        setInnerColor2(m_innerColor2);
        setOuterColor(m_outerColor);
        setIsMaxValueDynamic(m_isMaxValueDynamic);
        setGraphDefinedType(m_graphDefinedType);
        setGaugeDefinedType(m_gaugeDefinedType);
    }
    m_isReconfiguring = false;
}

void PLVGaugeViewMultiple::reLayoutGauge()
{
    float x = 0;
    for (PLVGaugeview *gauge : std::as_const(m_unitGaugeViews)) {
        gauge->setFrameOrigin(QPointF(x, 0));
        x += float(gauge->frame().width()) + 1.0f;
    }
    // No gauge gives -1, which a view cannot be: it becomes 0 wide.
    setFrameSize(QSizeF(std::max(x - 1.0f, 0.0f), frame().height()));
}

void PLVGaugeViewMultiple::setGaugeDefinedType(int type)
{
    m_gaugeDefinedType = type;
    if (m_numberOfGauges == 0)
        return;
    forEachUnit([&](PLVGaugeview *g) { g->setGaugeDefinedType(m_gaugeDefinedType); });
    reLayoutGauge();
}

void PLVGaugeViewMultiple::setGraphDefinedType(int type)
{
    m_graphDefinedType = type;
    if (m_numberOfGauges == 0)
        return;
    forEachUnit([&](PLVGaugeview *g) { g->setGraphDefinedType(m_graphDefinedType); });
    reLayoutGauge();
}

void PLVGaugeViewMultiple::setIsMaxValueDynamic(bool dynamic)
{
    m_isMaxValueDynamic = dynamic;
    forEachUnit([&](PLVGaugeview *g) { g->setIsMaxValueDynamic(m_isMaxValueDynamic); });
}

void PLVGaugeViewMultiple::setInnerColor(const QColor &color)
{
    m_innerColor = color;
    forEachUnit([&](PLVGaugeview *g) { g->setInnerColor(m_innerColor); });
}

void PLVGaugeViewMultiple::setInnerColor2(const QColor &color)
{
    m_innerColor2 = color;
    forEachUnit([&](PLVGaugeview *g) { g->setInnerColor2(m_innerColor2); });
}

void PLVGaugeViewMultiple::setOuterColor(const QColor &color)
{
    m_outerColor = color;
    forEachUnit([&](PLVGaugeview *g) { g->setOuterColor(m_outerColor); });
}

PLVGaugeview *PLVGaugeViewMultiple::unit(qint64 index, bool evenWhileReconfiguring) const
{
    if (index < 0 || index >= m_numberOfGauges || index >= m_unitGaugeViews.size())
        return nullptr;
    if (m_isReconfiguring && !evenWhileReconfiguring)
        return nullptr;
    return m_unitGaugeViews.at(index);
}

void PLVGaugeViewMultiple::currentValue(float value, qint64 forGaugeAtIndex)
{
    if (PLVGaugeview *g = unit(forGaugeAtIndex))
        g->setCurrentValue(value);
}

void PLVGaugeViewMultiple::currentValue2(float value, qint64 forGaugeAtIndex)
{
    if (PLVGaugeview *g = unit(forGaugeAtIndex))
        g->setCurrentValue2(value);
}

void PLVGaugeViewMultiple::maxValue(float value, qint64 forGaugeAtIndex)
{
    if (PLVGaugeview *g = unit(forGaugeAtIndex))
        g->setMaxValue(value);
}

void PLVGaugeViewMultiple::maxValue2(float value, qint64 forGaugeAtIndex)
{
    if (PLVGaugeview *g = unit(forGaugeAtIndex))
        g->setMaxValue2(value);
}

void PLVGaugeViewMultiple::innerColor(const QColor &color, qint64 forGaugeAtIndex)
{
    if (PLVGaugeview *g = unit(forGaugeAtIndex, true))
        g->setInnerColor(color);
}
