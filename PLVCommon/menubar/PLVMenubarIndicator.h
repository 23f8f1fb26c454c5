#pragma once
// The activity arrows beside a transfer rate in a status item: one arrow up
// (upload, write) and one down (download, read), each lighting up with the
// strength the module gives it. The owning module sets colours, shape, mode
// and strengths at every update; these views only draw.
#include "PLVCommon/platform/PLVView.h"

#include <QColor>
#include <QPainterPath>
#include <QPointer>

#include <optional>

// One indicator, 8 x 6 points: an arrow, a dot or a small rounded square.
class PLVMenubarIndicator : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(qint64 arrowDirection READ arrowDirection WRITE setArrowDirection)
    Q_PROPERTY(QColor upDownIconColor READ upDownIconColor WRITE setUpDownIconColor)
    Q_PROPERTY(QColor upArrowColor READ upArrowColor WRITE setUpArrowColor)
    Q_PROPERTY(QColor downArrowColor READ downArrowColor WRITE setDownArrowColor)
    Q_PROPERTY(int isUsingColoredArrow READ isUsingColoredArrow WRITE setIsUsingColoredArrow)
    Q_PROPERTY(int indicatorShape READ indicatorShape WRITE setIndicatorShape)
    Q_PROPERTY(float downloadColorPower READ downloadColorPower WRITE setDownloadColorPower)
    Q_PROPERTY(float uploadColorPower READ uploadColorPower WRITE setUploadColorPower)
public:
    Q_INVOKABLE explicit PLVMenubarIndicator(QWidget *parent = nullptr);

    // 1 up, 0 down; any other value draws nothing.
    qint64 arrowDirection() const { return m_arrowDirection; }
    void setArrowDirection(qint64 direction) { m_arrowDirection = direction; }
    QColor upDownIconColor() const { return m_upDownIconColor; }
    void setUpDownIconColor(const QColor &color);
    QColor upArrowColor() const { return m_upArrowColor; }
    void setUpArrowColor(const QColor &color);
    QColor downArrowColor() const { return m_downArrowColor; }
    void setDownArrowColor(const QColor &color);
    // 0 plain; 1 highlight colour; 2 highlight colour at the strength; 3 resting colour at the strength.
    int isUsingColoredArrow() const { return m_isUsingColoredArrow; }
    void setIsUsingColoredArrow(int mode);
    // 0 arrow, 1 circle, 2 rounded square; other values draw an empty shape.
    int indicatorShape() const { return m_indicatorShape; }
    void setIndicatorShape(int shape);
    float downloadColorPower() const { return m_downloadColorPower; }
    void setDownloadColorPower(float power);
    float uploadColorPower() const { return m_uploadColorPower; }
    void setUploadColorPower(float power);

    // Outlines in the indicator's own points, y upward.
    QPainterPath getUpArrow() const;
    QPainterPath getDownArrow() const;
    QPainterPath circleShape() const;
    QPainterPath squareShape() const;
    void drawUpArrow(QPainter &painter);
    void drawDownArrow(QPainter &painter);

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    QPainterPath outlineFor(bool up) const;
    void drawArrow(QPainter &painter, bool up);

    qint64 m_arrowDirection = 0;
    QColor m_upDownIconColor = Qt::black;
    QColor m_upArrowColor = Qt::black;
    QColor m_downArrowColor = Qt::black;
    int m_isUsingColoredArrow = 0;
    int m_indicatorShape = 0;
    float m_downloadColorPower = 0.0f;
    float m_uploadColorPower = 0.0f;
    // Built at the first draw, dropped when the shape changes.
    std::optional<QPainterPath> m_upArrowBezier;
    std::optional<QPainterPath> m_downArrowBezier;
};

// The pair: the up indicator above the down one, 3 points apart (8 x 15).
class PLVMenubarIndicatorsView : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(int isUsingColoredUPArrow READ isUsingColoredUPArrow WRITE setIsUsingColoredUPArrow)
    Q_PROPERTY(int isUsingColoredDOWNArrow READ isUsingColoredDOWNArrow WRITE setIsUsingColoredDOWNArrow)
    Q_PROPERTY(int indicatorShape READ indicatorShape WRITE setIndicatorShape)
    Q_PROPERTY(float downloadColorPower READ downloadColorPower WRITE setDownloadColorPower)
    Q_PROPERTY(float uploadColorPower READ uploadColorPower WRITE setUploadColorPower)
    Q_PROPERTY(QColor upDownIconColor READ upDownIconColor WRITE setUpDownIconColor)
    Q_PROPERTY(QColor upArrowColor READ upArrowColor WRITE setUpArrowColor)
    Q_PROPERTY(QColor downArrowColor READ downArrowColor WRITE setDownArrowColor)
public:
    Q_INVOKABLE explicit PLVMenubarIndicatorsView(QWidget *parent = nullptr);

    void awakeFromNib() override;
    // Creates and places both indicators (once), then hands them the shape and colours.
    void initVariables();

    PLVMenubarIndicator *upArrow() const { return m_upArrow; }
    PLVMenubarIndicator *downArrow() const { return m_downArrow; }

    int isUsingColoredUPArrow() const { return m_isUsingColoredUPArrow; }
    void setIsUsingColoredUPArrow(int mode);
    int isUsingColoredDOWNArrow() const { return m_isUsingColoredDOWNArrow; }
    void setIsUsingColoredDOWNArrow(int mode);
    int indicatorShape() const { return m_indicatorShape; }
    void setIndicatorShape(int shape);
    // Unchanged strengths (exact equality) are not passed on: they change most often.
    float downloadColorPower() const { return m_downloadColorPower; }
    void setDownloadColorPower(float power);
    float uploadColorPower() const { return m_uploadColorPower; }
    void setUploadColorPower(float power);
    QColor upDownIconColor() const { return m_upDownIconColor; }
    void setUpDownIconColor(const QColor &color);
    QColor upArrowColor() const { return m_upArrowColor; }
    void setUpArrowColor(const QColor &color);
    QColor downArrowColor() const { return m_downArrowColor; }
    void setDownArrowColor(const QColor &color);

private:
    QPointer<PLVMenubarIndicator> m_upArrow;
    QPointer<PLVMenubarIndicator> m_downArrow;
    int m_isUsingColoredUPArrow = 0;
    int m_isUsingColoredDOWNArrow = 0;
    int m_indicatorShape = 0;
    float m_downloadColorPower = 0.0f;
    float m_uploadColorPower = 0.0f;
    QColor m_upDownIconColor = Qt::black;
    QColor m_upArrowColor = Qt::black;
    QColor m_downArrowColor = Qt::black;
};
