#pragma once
// Horizontal bars of one percentage: a rounded bar with an alert (and warning)
// colour, the same without the warning stage, and a small battery icon.
#include "PLVCommon/platform/PLVView.h"

#include <QPointer>

class PLVColor;

class PLVProgressbar : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(float progressValue READ progressValue WRITE setProgressValue)
    Q_PROPERTY(QColor innerColor READ innerColor WRITE setInnerColor)
    Q_PROPERTY(bool isProgressHasAlertColor READ isProgressHasAlertColor WRITE setIsProgressHasAlertColor)
    Q_PROPERTY(bool isProgressHasAlertAndWarningColor READ isProgressHasAlertAndWarningColor WRITE setIsProgressHasAlertAndWarningColor)
    Q_PROPERTY(float alertValue READ alertValue WRITE setAlertValue)
    Q_PROPERTY(float warningValue READ warningValue WRITE setWarningValue)
    Q_PROPERTY(QObject *colorObject READ colorObject WRITE setColorObject)
public:
    Q_INVOKABLE explicit PLVProgressbar(QWidget *parent = nullptr);

    float progressValue() const { return m_progressValue; }
    void setProgressValue(float value);
    QColor innerColor() const { return m_innerColor; }
    void setInnerColor(const QColor &color);
    bool isProgressHasAlertColor() const { return m_isProgressHasAlertColor; }
    void setIsProgressHasAlertColor(bool on) { m_isProgressHasAlertColor = on; }
    bool isProgressHasAlertAndWarningColor() const { return m_isProgressHasAlertAndWarningColor; }
    void setIsProgressHasAlertAndWarningColor(bool on) { m_isProgressHasAlertAndWarningColor = on; }
    float alertValue() const { return m_alertValue; }
    void setAlertValue(float fraction) { m_alertValue = fraction; }
    float warningValue() const { return m_warningValue; }
    void setWarningValue(float fraction) { m_warningValue = fraction; }
    // Not owned. Without one, the bar asks a theme object of its own.
    QObject *colorObject() const { return m_colorObject.data(); }
    void setColorObject(QObject *object) { m_colorObject = object; }

    // The colour the value part is filled with now.
    QColor fillColor() const;

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    QColor themeColor(const char *role) const;

    float m_progressValue = 0;
    QColor m_innerColor;
    bool m_isProgressHasAlertColor = false;
    bool m_isProgressHasAlertAndWarningColor = false;
    float m_alertValue = 0;
    float m_warningValue = 0;
    QPointer<QObject> m_colorObject;
    mutable PLVColor *m_ownTheme = nullptr;
};

class PLVMiniProgressbar : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(float progressValue READ progressValue WRITE setProgressValue)
    Q_PROPERTY(QColor innerColor READ innerColor WRITE setInnerColor)
    Q_PROPERTY(bool isProgressHasAlertColor READ isProgressHasAlertColor WRITE setIsProgressHasAlertColor)
public:
    Q_INVOKABLE explicit PLVMiniProgressbar(QWidget *parent = nullptr);

    float progressValue() const { return m_progressValue; }
    void setProgressValue(float value);
    QColor innerColor() const { return m_innerColor; }
    void setInnerColor(const QColor &color);
    bool isProgressHasAlertColor() const { return m_isProgressHasAlertColor; }
    void setIsProgressHasAlertColor(bool on) { m_isProgressHasAlertColor = on; }
    QColor fillColor() const;

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    float m_progressValue = 0;
    QColor m_innerColor;
    bool m_isProgressHasAlertColor = false;
};

// A battery 20 x 10 points whatever its bounds: body, terminal, and a fill that
// is always the system green (red when low and the alert flag is set).
class PLVBatteryBar : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(float progressValue READ progressValue WRITE setProgressValue)
    Q_PROPERTY(QColor innerColor READ innerColor WRITE setInnerColor)
    Q_PROPERTY(QColor borderColor READ borderColor WRITE setBorderColor)
    Q_PROPERTY(bool isProgressHasAlertColor READ isProgressHasAlertColor WRITE setIsProgressHasAlertColor)
public:
    Q_INVOKABLE explicit PLVBatteryBar(QWidget *parent = nullptr);

    float progressValue() const { return m_progressValue; }
    void setProgressValue(float value);
    QColor innerColor() const { return m_innerColor; }
    // Whatever the colour given, the fill is the system green.
    void setInnerColor(const QColor &color);
    QColor borderColor() const { return m_borderColor; }
    void setBorderColor(const QColor &color);
    bool isProgressHasAlertColor() const { return m_isProgressHasAlertColor; }
    void setIsProgressHasAlertColor(bool on) { m_isProgressHasAlertColor = on; }

    // The fill's width in points for the current value, and its colour.
    double fillWidth() const;
    QColor fillColor() const;

protected:
    void drawRect(QPainter &painter, const QRectF &dirtyRect) override;

private:
    float m_progressValue = 0;
    QColor m_innerColor;
    QColor m_borderColor;
    bool m_isProgressHasAlertColor = false;
};
