#pragma once
#include <QColor>
#include <QComboBox>
#include <QImage>
#include <QPointer>

#include "PLVCommon/theme/PLVColor.h"

// A pop-up button that draws its own small arrow, tinted with the theme's
// window-title label colour, in place of the style's.
class PLVSelectorButton : public QComboBox
{
    Q_OBJECT
    Q_PROPERTY(PLVColor *colorObject READ colorObject WRITE setColorObject)
    Q_PROPERTY(QColor colorArrow READ colorArrow WRITE setColorArrow)
public:
    Q_INVOKABLE explicit PLVSelectorButton(QWidget *parent = nullptr);
    ~PLVSelectorButton() override;

    // The theme object (an outlet; not owned). Without one, awakeFromNib makes
    // its own so that the arrow still follows the appearance.
    PLVColor *colorObject() const { return m_colorObject; }
    void setColorObject(PLVColor *colorObject) { m_colorObject = colorObject; }

    QColor colorArrow() const { return m_colorArrow; }
    void setColorArrow(const QColor &color);
    QImage imageArrow() const { return m_imageArrow; }

    // Drawn pressed: while the pointer holds it down or its list is open.
    bool isHighlighted() const { return m_highlighted; }
    void setHighlighted(bool highlighted);

    // Binds the arrow colour to the theme and loads the arrow.
    Q_INVOKABLE void awakeFromNib();

    void showPopup() override;
    void hidePopup() override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    QPointer<PLVColor> m_colorObject;
    QColor m_colorArrow;
    QImage m_imageArrow;
    bool m_highlighted = false;
};
