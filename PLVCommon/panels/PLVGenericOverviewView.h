#pragma once
// The small tile that stands for one module in the widget's overview: the
// module's short code at the top, and in the middle one value over a ring
// gauge, two values one above the other, or, with no value, an empty rounded
// square. Its owner fills the properties on every update and asks for the
// redraw; only a new text colour redraws by itself.
#include "PLVCommon/core/PLVGenericModelDataView.h"

#include <QColor>
#include <QString>

class PLVColor;

class PLVGenericOverviewView : public PLVGenericModelDataView
{
    Q_OBJECT
    Q_PROPERTY(float currentValue READ currentValue WRITE setCurrentValue)
    Q_PROPERTY(float currentValue2 READ currentValue2 WRITE setCurrentValue2)
    Q_PROPERTY(QString moduleTrigram READ moduleTrigram WRITE setModuleTrigram)
    Q_PROPERTY(QColor iconColor READ iconColor WRITE setIconColor)
    Q_PROPERTY(QColor outerColor READ outerColor WRITE setOuterColor)
    Q_PROPERTY(QColor innerColor READ innerColor WRITE setInnerColor)
    Q_PROPERTY(QString stringValue READ stringValue WRITE setStringValue)
    Q_PROPERTY(QString stringValue2 READ stringValue2 WRITE setStringValue2)
public:
    Q_INVOKABLE explicit PLVGenericOverviewView(QWidget *parent = nullptr);
    ~PLVGenericOverviewView() override;

    // Makes the theme object (once) and binds the text colour to it.
    void awakeFromNib() override;
    void bindVariables();
    Q_INVOKABLE virtual void updateView() {}

    PLVColor *colorObject() const { return m_colorObject; }

    // Percent; outside 0 to 100 (or NaN) the ring shows empty or full.
    float currentValue() const { return m_currentValue; }
    void setCurrentValue(float value) { m_currentValue = value; }
    float currentValue2() const { return m_currentValue2; }
    void setCurrentValue2(float value) { m_currentValue2 = value; }
    QString moduleTrigram() const { return m_moduleTrigram; }
    void setModuleTrigram(const QString &trigram) { m_moduleTrigram = trigram; }
    QColor iconColor() const { return m_iconColor; }
    void setIconColor(const QColor &color);
    QColor outerColor() const { return m_outerColor; }
    void setOuterColor(const QColor &color) { m_outerColor = color; }
    // An invalid colour draws the value arc in the desktop's blue.
    QColor innerColor() const { return m_innerColor; }
    void setInnerColor(const QColor &color) { m_innerColor = color; }
    // A null text is "no value"; an empty one is a value that shows nothing.
    QString stringValue() const { return m_stringValue; }
    void setStringValue(const QString &text) { m_stringValue = text; }
    QString stringValue2() const { return m_stringValue2; }
    void setStringValue2(const QString &text) { m_stringValue2 = text; }

    // The value arc's start, in degrees counter-clockwise from the x axis; it
    // runs counter-clockwise from there to 90 (the top).
    float arcStartAngle() const;

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    void drawDisplayname(QPainter &painter);
    void drawValueString(QPainter &painter);
    void updateBackground(QPainter &painter);
    void updateNoGauge(QPainter &painter);
    void updateGaugeRing(QPainter &painter);
    // The desktop's named colour for the theme's window style, alpha replaced.
    QColor platformColor(const char *name, double alpha) const;

    PLVColor *m_colorObject = nullptr; // a child of the view
    float m_currentValue = 0;
    float m_currentValue2 = 0;
    QString m_moduleTrigram;
    QColor m_iconColor;
    QColor m_outerColor;
    QColor m_innerColor;
    QString m_stringValue;
    QString m_stringValue2;
};
