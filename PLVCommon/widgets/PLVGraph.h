#pragma once
// History graphs: one or two series of a PLVGraphArrays drawn as filled areas,
// one sample per point column, and a row of them over a PLVGraphArraysMultiple.
#include "PLVCommon/platform/PLVView.h"
#include "PLVCommon/stats/PLVGraphArrays.h"

#include <QPointer>
#include <QPolygonF>

// Where each series sits for a graph type (0 to 3): a value v of series k is
// drawn at yPos_k + coeff_k * scale_k * v. Types outside 0..3 keep `layout`.
struct PLVGraphLayout {
    float coeff1 = 0, yPos1 = 0, coeff2 = 0, yPos2 = 0;
    // `height` is the drawing area's height; false for an unknown type.
    bool setForType(int type, float height);
};

// Fills the area between the baseline and a history of `n` points. Values that
// cannot be drawn are pinned: NaN and negative samples to the baseline, runaway
// and infinite ones to [lo, hi], so a bad sample never reaches the rasteriser
// as a coordinate it would refuse. `scratch` is reused between calls.
void PLVFillHistory(QPainter &painter, const QPointF *points, qint64 n, qint64 closeAtX, double yPos, double factor,
                    double lo, double hi, const QColor &color, QPolygonF &scratch);

class PLVGraph : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(QObject *colorObject READ colorObject WRITE setColorObject)
    Q_PROPERTY(QObject *graphObject READ graphObjectAsObject WRITE setGraphObject)
    Q_PROPERTY(bool isMaxValueDynamic READ isMaxValueDynamic WRITE setIsMaxValueDynamic)
    Q_PROPERTY(float maxValue READ maxValue WRITE setMaxValue)
    Q_PROPERTY(float maxValue2 READ maxValue2 WRITE setMaxValue2)
    Q_PROPERTY(int graphDefinedType READ graphDefinedType WRITE setGraphDefinedType)
    Q_PROPERTY(QColor graphColor READ graphColor WRITE setGraphColor)
    Q_PROPERTY(QColor graphColor2 READ graphColor2 WRITE setGraphColor2)
public:
    Q_INVOKABLE explicit PLVGraph(QWidget *parent = nullptr);
    ~PLVGraph() override;

    QObject *colorObject() const { return m_colorObject.data(); }
    void setColorObject(QObject *object) { m_colorObject = object; }
    PLVGraphArrays *graphObject() const { return m_graphObject.data(); }
    QObject *graphObjectAsObject() const;
    void setGraphObject(QObject *buffer);
    PLVGraphArrays *externGraphObject() const { return m_externGraphObject.data(); }

    // Binds the fill colours to the theme object's graph roles (a theme object
    // of its own when the interface file connected none), gives the graph a
    // history of its own when none was connected, then initVariables().
    void awakeFromNib() override;
    void initVariables();
    void updateArrayDueToWidthChange();
    void updateGraph(QPainter &painter);
    void updateMax();
    // Draws `buffer` instead of graphObject; null goes back to graphObject.
    void updateGraphObject(PLVGraphArrays *buffer);

    float maxValue() const { return m_maxValue; }
    // Ignored (scales kept) unless m is positive and finite.
    void setMaxValue(float m);
    float maxValue2() const { return m_maxValue2; }
    void setMaxValue2(float m) { m_maxValue2 = m; }
    bool isMaxValueDynamic() const { return m_isMaxValueDynamic; }
    void setIsMaxValueDynamic(bool dynamic) { m_isMaxValueDynamic = dynamic; }
    int graphDefinedType() const { return m_graphDefinedType; }
    void setGraphDefinedType(int type) { m_graphDefinedType = type; }
    QColor graphColor() const { return m_graphColor; }
    // Colour changes redraw, so a theme switch shows without waiting for a tick.
    void setGraphColor(const QColor &color);
    QColor graphColor2() const { return m_graphColor2; }
    void setGraphColor2(const QColor &color);

    qint32 maxSize() const { return m_maxSize; }
    float scale() const { return m_scale; }
    float scale2() const { return m_scale2; }
    const PLVGraphLayout &graphLayout() const { return m_layout; }

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    QPointer<QObject> m_colorObject;
    QPointer<PLVGraphArrays> m_graphObject;
    QPointer<PLVGraphArrays> m_externGraphObject;
    qint32 m_maxSize = 0;
    float m_scale = 0, m_scale2 = 0;
    float m_maxValue = 0, m_maxValue2 = 0;
    bool m_isMaxValueDynamic = false;
    int m_graphDefinedType = 0;
    QColor m_graphColor, m_graphColor2;
    PLVGraphLayout m_layout;
    QPolygonF m_scratch;
};

// N history graphs side by side, one buffer of a PLVGraphArraysMultiple each.
// Shared properties are passed on to every graph; maxima can also be set per
// graph. Every change of N or of the width rebuilds the graphs (and empties the
// histories).
class PLVGraphMultiple : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(QObject *colorObject READ colorObject WRITE setColorObject)
    Q_PROPERTY(QObject *graphObject READ graphObjectAsObject WRITE setGraphObject)
    Q_PROPERTY(qint64 numberOfGraphs READ numberOfGraphs WRITE setNumberOfGraphs)
    Q_PROPERTY(bool isMaxValueDynamic READ isMaxValueDynamic WRITE setIsMaxValueDynamic)
    Q_PROPERTY(float maxValue READ maxValue WRITE setMaxValue)
    Q_PROPERTY(float maxValue2 READ maxValue2 WRITE setMaxValue2)
    Q_PROPERTY(int graphDefinedType READ graphDefinedType WRITE setGraphDefinedType)
    Q_PROPERTY(QColor graphColor READ graphColor WRITE setGraphColor)
    Q_PROPERTY(QColor graphColor2 READ graphColor2 WRITE setGraphColor2)
public:
    Q_INVOKABLE explicit PLVGraphMultiple(QWidget *parent = nullptr);
    ~PLVGraphMultiple() override;

    QObject *colorObject() const { return m_colorObject.data(); }
    void setColorObject(QObject *object) { m_colorObject = object; }
    PLVGraphArraysMultiple *graphObject() const { return m_graphObject.data(); }
    QObject *graphObjectAsObject() const;
    void setGraphObject(QObject *buffers);

    void awakeFromNib() override;
    qint64 numberOfGraphs() const { return m_numberOfGraphs; }
    void setNumberOfGraphs(qint64 n);
    void reLayoutGraph();
    void setNeedsDisplay(bool needed = true);

    void setGraphColor(const QColor &color);
    QColor graphColor() const { return m_graphColor; }
    void setGraphColor2(const QColor &color);
    QColor graphColor2() const { return m_graphColor2; }
    void setGraphDefinedType(int type);
    int graphDefinedType() const { return m_graphDefinedType; }
    void setIsMaxValueDynamic(bool dynamic);
    bool isMaxValueDynamic() const { return m_isMaxValueDynamic; }
    void setMaxValue(float m);
    float maxValue() const { return m_maxValue; }
    void setMaxValue2(float m);
    float maxValue2() const { return m_maxValue2; }
    void maxValue(float value, qint64 forGraphAtIndex);
    void maxValue2(float value, qint64 forGraphAtIndex);

    const QList<PLVGraph *> &unitGraphViews() const { return m_unitGraphViews; }
    qint64 gutGapBetweenGraphs() const { return m_gutGapBetweenGraphs; }
    bool isReconfiguring() const { return m_isReconfiguring; }

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    template <class F> void forEachUnit(F f)
    {
        if (m_numberOfGraphs != 0)
            for (PLVGraph *g : std::as_const(m_unitGraphViews))
                f(g);
    }

    QPointer<QObject> m_colorObject;
    QPointer<PLVGraphArraysMultiple> m_graphObject;
    qint32 m_maxSize = 0;
    QList<PLVGraph *> m_unitGraphViews;
    bool m_isGraphAlreadyBuiltOnce = false;
    bool m_isReconfiguring = false;
    qint64 m_gutGapBetweenGraphs = 5;
    float m_lastBoundsWidth = -1;
    qint64 m_numberOfGraphs = 0;
    QColor m_graphColor, m_graphColor2;
    int m_graphDefinedType = 0;
    bool m_isMaxValueDynamic = false;
    float m_maxValue = 0, m_maxValue2 = 0;
};
