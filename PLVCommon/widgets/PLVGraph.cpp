#include "PLVGraph.h"

#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/theme/PLVColor.h"

#include <QPainter>
#include <QResizeEvent>

#include <algorithm>
#include <cmath>

PLV_REGISTER_CLASS(PLVGraph)
PLV_REGISTER_CLASS(PLVGraphMultiple)

bool PLVGraphLayout::setForType(int type, float height)
{
    switch (type) {
    case 0: *this = {1.0f, 0, 0, 0}; return true;
    case 1: *this = {-0.5f, height * 0.5f, 0.5f, height * 0.5f}; return true;
    case 2: *this = {0.5f, 0, -0.5f, height}; return true;
    case 3: *this = {0.5f, 0, 0.5f, height * 0.5f}; return true;
    default: return false;
    }
}

void PLVFillHistory(QPainter &painter, const QPointF *points, qint64 n, qint64 closeAtX, double yPos, double factor,
                    double lo, double hi, const QColor &color, QPolygonF &scratch)
{
    auto pin = [&](double v) {
        if (!(v > 0)) // NaN and negative samples sit on the baseline
            return yPos;
        const double y = yPos + factor * v;
        if (std::isnan(y)) // 0 * inf: no scale yet
            return yPos;
        return std::clamp(y, lo, hi);
    };
    scratch.resize(n + 2);
    QPointF *out = scratch.data();
    out[0] = QPointF(0, yPos);
    for (qint64 i = 0; i < n; ++i)
        out[i + 1] = QPointF(points[i].x(), pin(points[i].y()));
    out[n + 1] = QPointF(double(closeAtX), yPos);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawPolygon(out, int(n + 2));
}

// --- PLVGraph

PLVGraph::PLVGraph(QWidget *parent) : PLVView(parent) {}

PLVGraph::~PLVGraph()
{
    PLVBinding::unbind(this, "graphColor");
    PLVBinding::unbind(this, "graphColor2");
}

QObject *PLVGraph::graphObjectAsObject() const { return m_graphObject.data(); }

void PLVGraph::setGraphObject(QObject *buffer) { m_graphObject = qobject_cast<PLVGraphArrays *>(buffer); }

void PLVGraph::awakeFromNib()
{
    if (!m_colorObject)
        m_colorObject = new PLVColor(this);
    PLVBinding::bind(this, "graphColor", m_colorObject, QStringLiteral("windowGraphBlueColor"));
    PLVBinding::bind(this, "graphColor2", m_colorObject, QStringLiteral("windowGraphBlueColor2"));
    if (!m_graphObject) {
        m_graphObject = new PLVGraphArrays(this);
        m_graphObject->awakeFromNib();
    }
    initVariables();
    // One sample per column: the history is as long as the graph is wide.
    if (m_maxSize > 0 && m_graphObject->maxSizeVar() != m_maxSize)
        updateArrayDueToWidthChange();
}

void PLVGraph::initVariables()
{
    m_maxSize = qint32(bounds().width());
    setAccessibleName(PLVBundle::mainBundle() ? PLVBundle::mainBundle()->localizedString(QStringLiteral("AccessGraph"), QString())
                                              : QStringLiteral("AccessGraph"));
}

void PLVGraph::resizeEvent(QResizeEvent *event)
{
    PLVView::resizeEvent(event);
    if (m_maxSize <= 0 || double(event->size().width()) == double(m_maxSize))
        return;
    m_maxSize = qint32(event->size().width());
    updateArrayDueToWidthChange();
}

void PLVGraph::updateArrayDueToWidthChange()
{
    if (m_graphObject)
        m_graphObject->initArraysWithMaxSize(m_maxSize);
    if (m_externGraphObject)
        m_externGraphObject->initArraysWithMaxSize(m_maxSize);
}

void PLVGraph::updateMax() { setMaxValue(m_graphObject ? m_graphObject->maxValue() : 0.0f); }

void PLVGraph::setMaxValue(float m)
{
    if (!(m > 0) || !std::isfinite(m))
        return;
    m_maxValue = m;
    m_scale = float(bounds().height() / double(m));
    m_scale2 = m_scale;
}

void PLVGraph::updateGraphObject(PLVGraphArrays *buffer) { m_externGraphObject = buffer; }

void PLVGraph::setGraphColor(const QColor &color)
{
    if (color == m_graphColor)
        return;
    m_graphColor = color;
    update();
}

void PLVGraph::setGraphColor2(const QColor &color)
{
    if (color == m_graphColor2)
        return;
    m_graphColor2 = color;
    update();
}

void PLVGraph::drawRect(QPainter &painter, const QRectF &) { updateGraph(painter); }

void PLVGraph::updateGraph(QPainter &painter)
{
    if (m_isMaxValueDynamic)
        updateMax();
    const double h = bounds().height();
    m_layout.setForType(m_graphDefinedType, float(h));
    const PLVGraphArrays *buffer = m_externGraphObject ? m_externGraphObject.data() : m_graphObject.data();
    // The buffer's arrays are fixed at its capacity: never read past them.
    // Samples past the edges are pinned one point outside: the clip cuts them
    // as it would the whole run, and the rasteriser never sees a huge coordinate.
    const qint64 n = buffer ? std::clamp<qint64>(m_maxSize, 0, PLVGraphArrays::kCapacity) : 0;
    const QPointF empty[1];
    const QPointF *series1 = buffer ? buffer->arrayToDisplay() : empty;
    const QPointF *series2 = buffer ? buffer->arrayToDisplay2() : empty;
    painter.setRenderHint(QPainter::Antialiasing);
    PLVFillHistory(painter, series1, n, m_maxSize, m_layout.yPos1, double(m_layout.coeff1) * m_scale, -1, h + 1, m_graphColor, m_scratch);
    if (m_graphDefinedType != 0)
        PLVFillHistory(painter, series2, n, m_maxSize, m_layout.yPos2, double(m_layout.coeff2) * m_scale2, -1, h + 1, m_graphColor2,
                       m_scratch);
}

// --- PLVGraphMultiple

PLVGraphMultiple::PLVGraphMultiple(QWidget *parent) : PLVView(parent) {}

PLVGraphMultiple::~PLVGraphMultiple()
{
    PLVBinding::unbind(this, "graphColor");
    PLVBinding::unbind(this, "graphColor2");
}

QObject *PLVGraphMultiple::graphObjectAsObject() const { return m_graphObject.data(); }

void PLVGraphMultiple::setGraphObject(QObject *buffers) { m_graphObject = qobject_cast<PLVGraphArraysMultiple *>(buffers); }

void PLVGraphMultiple::awakeFromNib()
{
    if (!m_colorObject)
        m_colorObject = new PLVColor(this);
    if (!m_graphObject)
        m_graphObject = new PLVGraphArraysMultiple(this);
    PLVBinding::bind(this, "graphColor", m_colorObject, QStringLiteral("windowGraphBlueColor"));
    PLVBinding::bind(this, "graphColor2", m_colorObject, QStringLiteral("windowGraphBlueColor2"));
    m_maxSize = qint32(bounds().width());
    setAccessibleName(PLVBundle::mainBundle()
                          ? PLVBundle::mainBundle()->localizedString(QStringLiteral("AccessMultiGraph"), QString())
                          : QStringLiteral("AccessMultiGraph"));
}

void PLVGraphMultiple::setNumberOfGraphs(qint64 n)
{
    if (m_numberOfGraphs != 0)
        m_isGraphAlreadyBuiltOnce = true;
    m_numberOfGraphs = n;
    m_gutGapBetweenGraphs = n == 2 || n == 3 ? 15 : n == 4 ? 10 : 5;
    const qint64 count = std::max<qint64>(n, 0);
    if (m_graphObject) {
        m_graphObject->setNumberOfGraphs(count);
        // No graph, no width to share out: the buffers keep their size.
        if (count > 0) {
            const double u = (double(frame().width()) - double(count - 1) * double(m_gutGapBetweenGraphs)) / double(count);
            m_graphObject->setArrayMaxSize(std::max<qint64>(qint64(std::floor(float(u))), 0));
        }
    }
    m_isReconfiguring = true;
    m_unitGraphViews.clear();
    for (QWidget *child : findChildren<QWidget *>(Qt::FindDirectChildrenOnly))
        delete child;
    for (qint64 i = 0; i < count; ++i) {
        auto *graph = new PLVGraph(this);
        graph->setFrame(QRectF(0, 0, 1.0, frame().height()));
        graph->updateGraphObject(m_graphObject ? m_graphObject->graphArrayAtIndex(i) : nullptr);
        m_unitGraphViews.append(graph);
        addSubview(graph);
    }
    reLayoutGraph();
    if (m_isGraphAlreadyBuiltOnce) {
        setMaxValue(m_maxValue);
        setMaxValue2(m_maxValue2);
        setGraphColor(m_graphColor);
        setGraphColor2(m_graphColor2);
        setIsMaxValueDynamic(m_isMaxValueDynamic);
        setGraphDefinedType(m_graphDefinedType);
    }
    m_isReconfiguring = false;
}

void PLVGraphMultiple::reLayoutGraph()
{
    if (m_numberOfGraphs == 0)
        return;
    const double m = m_graphObject ? double(std::clamp<qint64>(m_graphObject->arrayMaxSize(), 0, 1 << 20)) : 0.0;
    double x = 0;
    for (PLVGraph *graph : std::as_const(m_unitGraphViews)) {
        graph->setFrame(QRectF(x, 0, m, frame().height()));
        graph->initVariables();
        x += double(m_gutGapBetweenGraphs) + m;
    }
    m_lastBoundsWidth = float(bounds().width());
}

void PLVGraphMultiple::resizeEvent(QResizeEvent *event)
{
    PLVView::resizeEvent(event);
    if (float(bounds().width()) != m_lastBoundsWidth && m_numberOfGraphs != 0 && !m_isReconfiguring)
        setNumberOfGraphs(m_numberOfGraphs);
}

void PLVGraphMultiple::setNeedsDisplay(bool needed)
{
    PLVView::setNeedsDisplay(needed);
    for (PLVGraph *g : std::as_const(m_unitGraphViews))
        g->setNeedsDisplay(needed);
}

void PLVGraphMultiple::setGraphColor(const QColor &color)
{
    m_graphColor = color;
    forEachUnit([&](PLVGraph *g) { g->setGraphColor(m_graphColor); });
}

void PLVGraphMultiple::setGraphColor2(const QColor &color)
{
    m_graphColor2 = color;
    forEachUnit([&](PLVGraph *g) { g->setGraphColor2(m_graphColor2); });
}

void PLVGraphMultiple::setGraphDefinedType(int type)
{
    m_graphDefinedType = type;
    forEachUnit([&](PLVGraph *g) { g->setGraphDefinedType(m_graphDefinedType); });
}

void PLVGraphMultiple::setIsMaxValueDynamic(bool dynamic)
{
    m_isMaxValueDynamic = dynamic;
    forEachUnit([&](PLVGraph *g) { g->setIsMaxValueDynamic(m_isMaxValueDynamic); });
}

void PLVGraphMultiple::setMaxValue(float m)
{
    m_maxValue = m;
    forEachUnit([&](PLVGraph *g) { g->setMaxValue(m_maxValue); });
}

void PLVGraphMultiple::setMaxValue2(float m)
{
    m_maxValue2 = m;
    forEachUnit([&](PLVGraph *g) { g->setMaxValue2(m_maxValue2); });
}

void PLVGraphMultiple::maxValue(float value, qint64 forGraphAtIndex)
{
    if (forGraphAtIndex < 0 || forGraphAtIndex >= m_numberOfGraphs || m_isReconfiguring)
        return;
    m_unitGraphViews.at(forGraphAtIndex)->setMaxValue(value);
}

void PLVGraphMultiple::maxValue2(float value, qint64 forGraphAtIndex)
{
    if (forGraphAtIndex < 0 || forGraphAtIndex >= m_numberOfGraphs || m_isReconfiguring)
        return;
    m_unitGraphViews.at(forGraphAtIndex)->setMaxValue2(value);
}
