#include "PLVModuleKit.h"

#include <QApplication>
#include <QPainter>
#include <QPalette>

void PLVModuleControllerBase::updateModel()
{
    if (!tryBeginProcessing())
        return;
    if (PLVGenericModuleModel *model = modulemodelobj())
        model->updateModel();
    setIsProcessing(false);
}

void PLVModuleControllerBase::updateViews()
{
    if (auto *vc = qobject_cast<PLVGenericViewController *>(viewcontroller()))
        vc->updateViews();
}

void PLVModuleViewControllerBase::updateViews()
{
    const bool widget = isTodayExtention();
    const QList<PLVGenericStatusbarCompactExpandedView *> panels =
        widget ? QList<PLVGenericStatusbarCompactExpandedView *>{statusbarTodayExpandedview(), statusbarTodayCompactview(),
                                                                 statusbarTodayMiniview(), statusbarTodayMiniTop5view()}
               : QList<PLVGenericStatusbarCompactExpandedView *>{statusbarcompactview(), statusbarExpandedview()};
    if (!widget && statusbarview())
        statusbarview()->updateView();
    for (PLVGenericStatusbarCompactExpandedView *view : panels)
        if (view)
            view->updateView();
}

void PLVTextLines::update(const PLVModelData &data, const std::function<QString(const QString &)> &translate)
{
    lines.clear();
    for (int i = 0; i < textKeys.size(); ++i) {
        const QString value = data.value(textKeys[i]).toString();
        const QString label = i < textLabels.size() ? translate(textLabels[i]) : QString();
        lines << (label.isEmpty() ? value : label + QLatin1Char(' ') + value);
    }
}

void PLVTextLines::draw(QPainter &painter, const QRectF &bounds, const QPalette &palette) const
{
    QFont font = QApplication::font();
    QFont bold = font;
    bold.setBold(true);
    const QColor color = palette.color(QPalette::WindowText);
    QStringList all = lines;
    if (!title.isEmpty())
        all.prepend(title);
    // Lines from the top edge down; in bottom-left coordinates the top is the largest y.
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

void PLVTextStatusbarView::updateView()
{
    m_text.update(modelData(), [this](const QString &k) { return PLVLoc(k); });
    setNeedsDisplay();
}

void PLVTextStatusbarView::drawRect(QPainter &painter, const QRectF &) { m_text.draw(painter, bounds(), palette()); }

void PLVTextPanelView::updateView()
{
    m_text.update(modelData(), [this](const QString &k) { return PLVLoc(k); });
    setNeedsDisplay();
}

void PLVTextPanelView::clearView() { m_text.lines.clear(); }

void PLVTextPanelView::drawRect(QPainter &painter, const QRectF &) { m_text.draw(painter, bounds(), palette()); }
