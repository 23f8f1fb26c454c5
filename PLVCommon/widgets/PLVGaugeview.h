#pragma once
// Small fixed-size indicators of one percentage: a vertical bar, a pie, a ring
// or a 20-point history graph; and a row of them.
#include "PLVCommon/platform/PLVView.h"
#include "PLVCommon/widgets/PLVGraph.h"

#include <QStringList>

class PLVGaugeview : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(int gaugeDefinedType READ gaugeDefinedType WRITE setGaugeDefinedType)
    Q_PROPERTY(int graphDefinedType READ graphDefinedType WRITE setGraphDefinedType)
    Q_PROPERTY(bool isMaxValueDynamic READ isMaxValueDynamic WRITE setIsMaxValueDynamic)
    Q_PROPERTY(float currentValue READ currentValue WRITE setCurrentValue)
    Q_PROPERTY(float currentValue2 READ currentValue2 WRITE setCurrentValue2)
    Q_PROPERTY(float maxValue READ maxValue WRITE setMaxValue)
    Q_PROPERTY(float maxValue2 READ maxValue2 WRITE setMaxValue2)
    Q_PROPERTY(QColor innerColor READ innerColor WRITE setInnerColor)
    Q_PROPERTY(QColor innerColor2 READ innerColor2 WRITE setInnerColor2)
    Q_PROPERTY(QColor outerColor READ outerColor WRITE setOuterColor)
public:
    static constexpr int kHistoryCapacity = 30;

    Q_INVOKABLE explicit PLVGaugeview(QWidget *parent = nullptr);
    // "Bar", "Pie chart", "Circular chart", "Graph": forms 1 to 4.
    static QStringList gaugeListAvailable();

    int gaugeDefinedType() const { return m_gaugeDefinedType; }
    // Sets the width of the form (6, 16, 16, 20); form 4 restarts its history.
    void setGaugeDefinedType(int type);
    int graphDefinedType() const { return m_graphDefinedType; }
    void setGraphDefinedType(int type);
    bool isGraphActive() const { return m_isGraphActive; }
    bool isMaxValueDynamic() const { return m_isMaxValueDynamic; }
    void setIsMaxValueDynamic(bool dynamic) { m_isMaxValueDynamic = dynamic; }
    float currentValue() const { return m_currentValue; }
    void setCurrentValue(float value);
    float currentValue2() const { return m_currentValue2; }
    // Never redraws: series 2 shows with the next redraw series 1 causes.
    void setCurrentValue2(float value);
    float maxValue() const { return m_maxValue; }
    void setMaxValue(float m);
    float maxValue2() const { return m_maxValue2; }
    void setMaxValue2(float m);
    QColor innerColor() const { return m_innerColor; }
    void setInnerColor(const QColor &color);
    QColor innerColor2() const { return m_innerColor2; }
    void setInnerColor2(const QColor &color) { m_innerColor2 = color; }
    QColor outerColor() const { return m_outerColor; }
    void setOuterColor(const QColor &color);

    void initGaugeGraphWithWidth(float width);
    void addNewGraphValue(float value);
    void addNewGraphValue2(float value);

    float scale() const { return m_scale; }
    float scale2() const { return m_scale2; }
    float currentMaxValue() const { return m_currentMaxValue; }
    float currentMaxValue2() const { return m_currentMaxValue2; }
    qint32 maxSize() const { return m_maxSize; }
    const QPointF *pointArray() const { return m_pointArray; }
    const QPointF *pointArray2() const { return m_pointArray2; }

    void updateGaugeSimple(QPainter &painter);
    void updateGaugePie(QPainter &painter);
    void updateGaugeRing(QPainter &painter);
    void updateGaugeGraph(QPainter &painter);

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    static void push(QPointF *points, qint32 n, float value, float &seriesMax);
    // The value as forms 1 to 3 draw it: 0 to 100, NaN as 0.
    float shownPercent() const;

    int m_gaugeDefinedType = 0;
    int m_graphDefinedType = 0;
    bool m_isGraphActive = false;
    bool m_isMaxValueDynamic = false;
    float m_currentValue = 0, m_currentValue2 = 0;
    float m_maxValue = 0, m_maxValue2 = 0;
    QColor m_innerColor, m_innerColor2, m_outerColor;
    float m_scale = 0, m_scale2 = 0;
    float m_currentMaxValue = 0, m_currentMaxValue2 = 0;
    PLVGraphLayout m_layout;
    qint32 m_maxSize = 0;
    QPointF m_pointArray[kHistoryCapacity];
    QPointF m_pointArray2[kHistoryCapacity];
    QPolygonF m_scratch;
};

// N gauges in a row, 1 point apart; the view sizes itself to fit them.
class PLVGaugeViewMultiple : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(qint64 numberOfGauges READ numberOfGauges WRITE setNumberOfGauges)
    Q_PROPERTY(int gaugeDefinedType READ gaugeDefinedType WRITE setGaugeDefinedType)
    Q_PROPERTY(int graphDefinedType READ graphDefinedType WRITE setGraphDefinedType)
    Q_PROPERTY(bool isMaxValueDynamic READ isMaxValueDynamic WRITE setIsMaxValueDynamic)
    Q_PROPERTY(QColor innerColor READ innerColor WRITE setInnerColor)
    Q_PROPERTY(QColor innerColor2 READ innerColor2 WRITE setInnerColor2)
    Q_PROPERTY(QColor outerColor READ outerColor WRITE setOuterColor)
public:
    Q_INVOKABLE explicit PLVGaugeViewMultiple(QWidget *parent = nullptr);
    static QStringList gaugeListAvailable() { return PLVGaugeview::gaugeListAvailable(); }

    qint64 numberOfGauges() const { return m_numberOfGauges; }
    void setNumberOfGauges(qint64 n);
    void reLayoutGauge();

    int gaugeDefinedType() const { return m_gaugeDefinedType; }
    void setGaugeDefinedType(int type);
    int graphDefinedType() const { return m_graphDefinedType; }
    void setGraphDefinedType(int type);
    bool isMaxValueDynamic() const { return m_isMaxValueDynamic; }
    void setIsMaxValueDynamic(bool dynamic);
    QColor innerColor() const { return m_innerColor; }
    void setInnerColor(const QColor &color);
    QColor innerColor2() const { return m_innerColor2; }
    void setInnerColor2(const QColor &color);
    QColor outerColor() const { return m_outerColor; }
    void setOuterColor(const QColor &color);

    void currentValue(float value, qint64 forGaugeAtIndex);
    void currentValue2(float value, qint64 forGaugeAtIndex);
    void maxValue(float value, qint64 forGaugeAtIndex);
    void maxValue2(float value, qint64 forGaugeAtIndex);
    // Checks the index only, not a rebuild in progress: a caller colours one
    // gauge by its own warning or alert state.
    void innerColor(const QColor &color, qint64 forGaugeAtIndex);

    const QList<PLVGaugeview *> &unitGaugeViews() const { return m_unitGaugeViews; }
    bool isReconfiguring() const { return m_isReconfiguring; }

private:
    PLVGaugeview *unit(qint64 index, bool evenWhileReconfiguring = false) const;
    template <class F> void forEachUnit(F f)
    {
        if (m_numberOfGauges != 0)
            for (PLVGaugeview *g : std::as_const(m_unitGaugeViews))
                f(g);
    }

    QList<PLVGaugeview *> m_unitGaugeViews;
    bool m_isGaugeAlreadyBuiltOnce = false;
    bool m_isReconfiguring = false;
    qint64 m_numberOfGauges = 0;
    int m_gaugeDefinedType = 0;
    int m_graphDefinedType = 0;
    bool m_isMaxValueDynamic = false;
    QColor m_innerColor, m_innerColor2, m_outerColor;
};
