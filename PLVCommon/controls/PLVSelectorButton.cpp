#include "PLVSelectorButton.h"

#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/drawing/ImageExtra.h"

#include <QAbstractItemView>
#include <QMouseEvent>
#include <QStyleOptionComboBox>
#include <QStylePainter>

PLV_REGISTER_CLASS(PLVSelectorButton)

PLVSelectorButton::PLVSelectorButton(QWidget *parent) : QComboBox(parent) {}

PLVSelectorButton::~PLVSelectorButton() { PLVBinding::unbind(this, "colorArrow"); }

void PLVSelectorButton::awakeFromNib()
{
    if (!m_colorObject)
        m_colorObject = new PLVColor(this);
    PLVBinding::bind(this, "colorArrow", m_colorObject, QStringLiteral("windowTitleLabelColor"));
    // The bundle of the class first, so a module may bring its own arrow.
    m_imageArrow = ImageExtra::imageNamedForClass(QStringLiteral("picot_popup.png"), metaObject());
    update();
}

void PLVSelectorButton::setColorArrow(const QColor &color)
{
    m_colorArrow = color;
    update();
}

void PLVSelectorButton::setHighlighted(bool highlighted)
{
    if (m_highlighted != highlighted) {
        m_highlighted = highlighted;
        update();
    }
}

void PLVSelectorButton::showPopup()
{
    setHighlighted(true);
    QComboBox::showPopup();
}

void PLVSelectorButton::hidePopup()
{
    QComboBox::hidePopup();
    setHighlighted(false);
}

void PLVSelectorButton::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton)
        setHighlighted(true);
    QComboBox::mousePressEvent(event);
}

void PLVSelectorButton::mouseReleaseEvent(QMouseEvent *event)
{
    QComboBox::mouseReleaseEvent(event);
    if (!view()->isVisible())
        setHighlighted(false);
}

void PLVSelectorButton::paintEvent(QPaintEvent *)
{
    QStylePainter painter(this);
    QStyleOptionComboBox opt;
    initStyleOption(&opt);
    opt.subControls &= ~QStyle::SC_ComboBoxArrow; // ours replaces the style's
    painter.drawComplexControl(QStyle::CC_ComboBox, opt);
    painter.drawControl(QStyle::CE_ComboBoxLabel, opt);

    if (m_imageArrow.isNull() || !m_colorArrow.isValid())
        return;
    const float alpha = float(m_colorArrow.alphaF()) - (m_highlighted ? 0.2f : 0.0f);
    const QImage tinted = ImageExtra::tintedImageWithColor(m_imageArrow, m_colorArrow, std::max(0.0f, alpha));
    const QSizeF size = ImageExtra::pointSize(m_imageArrow);
    // 1 point from the right edge, 2 above the bottom.
    const QRectF rect(width() - size.width() - 1.0, height() - 2.0 - size.height(), size.width(), size.height());
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(rect, tinted);
}
