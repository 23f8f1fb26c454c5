#include "ModulePanel.h"

#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVGenericViews.h"
#include "PLVCommon/core/PLVSamplingModule.h"
#include "PLVCommon/platform/PLVView.h"
#include "PLVCommon/theme/PLVAppearance.h"
#include "PLVCommon/theme/PLVColor.h"
#include "PLVCommon/theme/PLVPlatformColors.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

namespace {
constexpr int margin = 10;
constexpr int titleHeight = 24;
} // namespace

ModulePanel::ModulePanel(const QString &title, PLVGenericModuleController *controller, QWidget *parent)
    : QWidget(parent, Qt::Popup), m_title(title), m_controller(controller)
{
    setAttribute(Qt::WA_DeleteOnClose, false);
    setWindowTitle(title);
    m_color = new PLVColor(this);
    // The panel follows the desktop's appearance, as the widget host does.
    PLVAppearance *appearance = PLVAppearance::sharedAppearance();
    connect(appearance, &PLVAppearance::appearanceChanged, this, &ModulePanel::applyTheme);
    if (controller) {
        QWidget *view = controller->statusbarStandAloneView();
        if (!view)
            view = controller->statusbarCombinedView();
        m_view = view;
    }
    int width = 240, height = 40;
    if (m_view) {
        width = m_view->width();
        height = m_view->height();
    }
    resize(width + 2 * margin, height + titleHeight + 2 * margin);
    applyTheme();
}

ModulePanel::~ModulePanel()
{
    // Give the view back to the view controller's tree, which owns it.
    if (m_view && m_view->parentWidget() == this && m_home) {
        m_view->hide();
        m_view->setParent(m_home);
    }
}

void ModulePanel::applyTheme()
{
    const bool dark = PLVAppearance::sharedAppearance()->isDark();
    m_color->setWindowBackgroundStyle(dark ? 1 : 0);
    QPalette pal = palette();
    pal.setColor(QPalette::Window, PLVPlatformColors::windowBackgroundColor(dark));
    pal.setColor(QPalette::WindowText, m_color->windowLabelColor());
    setPalette(pal);
    if (m_view) {
        QPalette viewPalette = m_view->palette();
        viewPalette.setColor(QPalette::WindowText, m_color->windowLabelColor());
        viewPalette.setColor(QPalette::Text, m_color->windowLabelColor());
        m_view->setPalette(viewPalette);
    }
    update();
}

void ModulePanel::popupAt(const QPoint &at)
{
    if (m_view && m_view->parentWidget() != this) {
        m_home = m_view->parentWidget();
        m_view->setParent(this);
        m_view->move(margin, margin + titleHeight);
        m_view->show();
    }
    QScreen *screen = QGuiApplication::screenAt(at);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    QPoint pos = at - QPoint(width() / 2, 0);
    if (screen) {
        const QRect area = screen->availableGeometry();
        // Below a panel at the top, above one at the bottom.
        if (at.y() > area.center().y())
            pos.setY(at.y() - height());
        pos.setX(std::clamp(pos.x(), area.left(), std::max(area.left(), area.right() - width())));
        pos.setY(std::clamp(pos.y(), area.top(), std::max(area.top(), area.bottom() - height())));
    }
    move(pos);
    show();
    raise();
    activateWindow();
}

void ModulePanel::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    painter.fillRect(QRect(0, 0, width(), titleHeight + margin), m_color->windowTitleBarColor());
    painter.setPen(m_color->windowTitleLabelColor());
    painter.setFont(m_color->fontforModuletitle());
    painter.drawText(QRect(margin, 0, width() - 2 * margin, titleHeight + margin), Qt::AlignVCenter | Qt::AlignLeft, m_title);
}

void ModulePanel::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    // The details are on screen: the module reads them every tick now.
    if (PLVSamplingModuleModel *model = PLVSamplingModuleModel::of(m_controller))
        model->setShowingDetails(true);
    emit openChanged(true);
}

void ModulePanel::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    if (PLVSamplingModuleModel *model = PLVSamplingModuleModel::of(m_controller))
        model->setShowingDetails(false);
    emit openChanged(false);
}
