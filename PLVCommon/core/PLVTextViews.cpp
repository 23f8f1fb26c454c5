#include "PLVTextViews.h"

#include "PLVCommon/core/PLVModelDataFeed.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/theme/PLVColor.h"

#include <QApplication>
#include <QPainter>

PLV_REGISTER_CLASS(PLVTextStatusbarView)
PLV_REGISTER_CLASS(PLVTextPanelView)

void PLVTextLines::update(const PLVModelData &data)
{
    lines.clear();
    for (int i = 0; i < textKeys.size(); ++i) {
        const QVariant v = data.value(textKeys[i]);
        const QString label = textLabels.value(i);
        // A list of texts (one per disk, sensor, interface) shows a line each,
        // the label on the first.
        const QStringList values = v.typeId() == QMetaType::QStringList ? v.toStringList() : QStringList{v.toString()};
        for (int k = 0; k < values.size(); ++k)
            lines << (label.isEmpty() || k > 0 ? values[k] : label + QLatin1Char(' ') + values[k]);
    }
}

void PLVTextLines::draw(QPainter &painter, const QRectF &bounds, const QColor &color) const
{
    const QFont font = QApplication::font();
    QFont bold = font;
    bold.setBold(true);
    QStringList all = lines;
    if (!title.isEmpty())
        all.prepend(title);
    // From the top edge down: in bottom-left coordinates the top is the largest y.
    qreal y = bounds.height();
    for (int i = 0; i < all.size(); ++i) {
        const QFont &f = (i == 0 && !title.isEmpty()) ? bold : font;
        const qreal h = PLVView::sizeOfString(all[i], f).height();
        y -= h;
        if (y < -h / 2)
            break;
        PLVView::drawString(painter, all[i], QPointF(2, y), f, color);
    }
}

PLVTextLines *PLVTextLines::of(QWidget *view)
{
    if (auto *s = qobject_cast<PLVTextStatusbarView *>(view))
        return &s->text;
    if (auto *p = qobject_cast<PLVTextPanelView *>(view))
        return &p->text;
    return nullptr;
}

PLVTextStatusbarView::PLVTextStatusbarView(QWidget *parent) : PLVGenericStatusbarview(parent) {}

void PLVTextStatusbarView::updateView()
{
    text.update(modelData());
    setNeedsDisplay();
}

void PLVTextStatusbarView::drawRect(QPainter &painter, const QRectF &)
{
    text.draw(painter, bounds(), palette().color(QPalette::WindowText));
}

// The theme object is made with the view, so that it follows the same
// appearance notifications as the panel's other views from the start.
PLVTextPanelView::PLVTextPanelView(QWidget *parent)
    : PLVGenericStatusbarCompactExpandedView(parent)
    , m_theme(new PLVColor(this))
{
}

QObject *PLVTextPanelView::theme() { return m_theme; }

void PLVTextPanelView::updateView()
{
    text.update(modelData());
    PLVModelDataFeed::feed(this, modelData().snapshot(), theme());
    setNeedsDisplay();
}

void PLVTextPanelView::drawRect(QPainter &painter, const QRectF &)
{
    text.draw(painter, bounds(), palette().color(QPalette::WindowText));
}
