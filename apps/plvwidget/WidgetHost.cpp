#include "WidgetHost.h"

#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVModulesDictionary.h"
#include "PLVCommon/core/PLVSamplingModule.h"
#include "PLVCommon/core/PLVTimer.h"
#include "PLVCommon/panels/TQAnimator.h"
#include "PLVCommon/platform/PLVBinding.h"
#include "PLVCommon/panels/TQClipView.h"
#include "PLVCommon/panels/TQView.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"

#include <QAction>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPixmap>
#include <QScreen>
#include <QTextStream>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace {

using C = PLVLayoutConstraint;
const QString kFramesKey = QStringLiteral("plvWidgetFrames");
constexpr int kDefaultWidth = 260;
constexpr int kEditingHeight = 76; // the pane's two radio buttons and their margins

} // namespace

WidgetViewController::WidgetViewController(QStringList folders, QString plugin, QObject *parent)
    : TQTodayStandAloneViewController(parent), m_folders(std::move(folders)), m_plugin(std::move(plugin))
{
}

void WidgetViewController::addBundle(PLVBundle *bundle)
{
    TQTodayStandAloneViewController::addBundle(bundle);
    const auto controller = modules() ? modules()->value(moduleBundleIdentifier()) : nullptr;
    if (!controller)
        return;
    // Modules without widget views of their own show their panel views, which
    // their view controller neither binds nor updates in a widget host: this does.
    auto borrow = [&](QWidget *panelView) {
        if (panelView && controller->viewcontroller()) {
            PLVBinding::bind(panelView, "modelData", controller->viewcontroller(), QStringLiteral("modelData"));
            m_borrowedViews.append(panelView);
        }
        return panelView;
    };
    if (!statusbarTodayCompactView())
        setStatusbarTodayCompactView(borrow(controller->statusbarCombinedView()));
    if (!statusbarTodayStandAloneView())
        setStatusbarTodayStandAloneView(borrow(controller->statusbarStandAloneView()));
    if (!m_borrowedViews.isEmpty())
        connect(generalTimer(), &PLVTimer::moduleViewsUpdated, this, [this] {
            for (const QPointer<QWidget> &v : std::as_const(m_borrowedViews))
                if (v)
                    QMetaObject::invokeMethod(v, "updateView");
        });
    for (QWidget *v : {statusbarTodayCompactView(), statusbarTodayStandAloneView()})
        if (v)
            m_naturalHeights.insert(v, std::max(v->height(), 20));
}

void WidgetViewController::changeDisplayView()
{
    TQTodayStandAloneViewController::changeDisplayView();
    updateHeights();
}

void WidgetViewController::updateExpandedStatusSubclass() { updateHeights(); }

void WidgetViewController::setEditing(bool editing)
{
    m_editing = editing;
    editing ? widgetDidBeginEditing() : widgetDidEndEditing();
    updateHeights();
}

void WidgetViewController::updateHeights()
{
    if (!containerHeight() || !btnShowMoreViewHeightConstraint())
        return;
    QWidget *current = currentStatusbarTodayView();
    const int natural = current ? m_naturalHeights.value(current, current->height()) : 0;
    const bool cut = natural > kCappedHeight;
    const int shown = isTodayExpanded() || !cut ? natural : kCappedHeight;
    containerHeight()->setConstant(m_editing ? std::max(shown, kEditingHeight) : shown);
    containerHeight()->setActive(true);
    if (cut)
        btnShowMoreViewHeightConstraint()->setConstant(32); // the base class never brings it back
    setIsShowMoreActive(cut);
}

WidgetHost::WidgetHost(WidgetViewController *controller, QString moduleName, Options options, QObject *parent)
    : QObject(parent), m_controller(controller), m_moduleName(std::move(moduleName)), m_options(std::move(options))
{
    m_window = controller->view();
    QWidget *w = m_window;
    w->setWindowTitle(QStringLiteral("plvwidget"));
    // Below the other windows and off the task bar (a utility window) where the
    // window manager honours it; an ordinary frameless window elsewhere.
    w->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint);
    w->setAttribute(Qt::WA_DeleteOnClose, false);
    w->installEventFilter(this);

    auto *edit = m_edit = new QAction(QStringLiteral("Edit Widget"), w);
    edit->setCheckable(true);
    connect(edit, &QAction::toggled, this, [this](bool on) {
        m_controller->setEditing(on);
    });
    auto *quit = new QAction(QStringLiteral("Quit"), w);
    connect(quit, &QAction::triggered, qApp, &QCoreApplication::quit);
    w->addActions({edit, quit});
    w->setContextMenuPolicy(Qt::ActionsContextMenu);

    if (auto *layout = PLVConstraintLayout::forView(w))
        connect(layout, &PLVConstraintLayout::fittingSizeChanged, this, &WidgetHost::fittingSizeChanged);

    m_saveTimer.setSingleShot(true);
    m_saveTimer.setInterval(400);
    connect(&m_saveTimer, &QTimer::timeout, this, &WidgetHost::saveFrame);
    connect(qApp, &QCoreApplication::aboutToQuit, this, &WidgetHost::saveFrame);

    // Each update of the module redraws it: a screenshot follows.
    if (PLVTimer *timer = controller->generalTimer())
        connect(timer, &PLVTimer::moduleViewsUpdated, this, [this] {
            if (m_placed)
                QTimer::singleShot(50, this, &WidgetHost::settled);
        });
    PLVNotificationCenter::defaultCenter()->addObserverForName(
        QStringLiteral("PLVTodaySettingsChangedReceived"), nullptr, [this](const PLVNotification &) { settingsChanged(); },
        this);
}

WidgetHost::~WidgetHost() = default;

QRect WidgetHost::placement(const QVariant &saved, const QSize &size)
{
    const QVariantMap frame = saved.toMap();
    bool okX = false, okY = false, okW = false;
    const double x = frame.value(QStringLiteral("x")).toDouble(&okX);
    const double y = frame.value(QStringLiteral("y")).toDouble(&okY);
    const double width = frame.value(QStringLiteral("width")).toDouble(&okW);
    // The saved width stays even when the place is no longer on any screen.
    const int w = okW && std::isfinite(width) && width >= 120 && width <= 4000 ? int(width) : size.width();
    if (okX && okY && std::isfinite(x) && std::isfinite(y) && std::abs(x) < 1e6 && std::abs(y) < 1e6) {
        const QRect rect(int(x), int(y), w, size.height());
        for (QScreen *screen : QGuiApplication::screens()) {
            const QRect seen = screen->availableGeometry().intersected(rect);
            if (seen.width() >= 40 && seen.height() >= 20)
                return rect;
        }
    }
    QScreen *primary = QGuiApplication::primaryScreen();
    const QRect area = primary ? primary->availableGeometry() : QRect(0, 0, 1024, 768);
    return QRect(area.right() - w - 24 + 1, area.top() + 24, w, size.height());
}

void WidgetHost::show()
{
    QWidget *w = m_window;
    m_controller->updateHeights();
    PLVConstraintLayout *layout = PLVConstraintLayout::forView(w);
    w->resize(kDefaultWidth, 100);
    const QSize fit = layout ? layout->fittingSize() : w->size();
    const QVariant saved = UserDefaultsExtras::appUserDefaults().dictionaryForKey(kFramesKey).value(m_moduleName);
    const QRect at = placement(saved, QSize(fit.width(), std::max(fit.height(), 32)));
    w->setGeometry(at);
    m_target = at.size();
    w->show();
    // The widget stays on the desktop: its module's details are always shown.
    if (PLVModulesDictionary *modules = m_controller->modules())
        if (PLVSamplingModuleModel *model =
                PLVSamplingModuleModel::of(modules->value(m_controller->moduleBundleIdentifier()).data()))
            model->setShowingDetails(true);
    m_placed = true;
    QTimer::singleShot(300, this, &WidgetHost::settled);
}

void WidgetHost::setEditing(bool editing) { m_edit->setChecked(editing); }

void WidgetHost::fittingSizeChanged(const QSize &size)
{
    QWidget *w = m_window;
    if (!w || !m_placed || size == m_target || size.height() <= 0)
        return;
    if (m_options.report)
        QTextStream(stdout) << "resizing " << w->width() << 'x' << w->height() << " -> " << size.width() << 'x'
                            << size.height() << Qt::endl;
    m_target = size;
    TQClipView::setInLiveResize(w, true);
    QPointer<QWidget> guard(w);
    TQAnimator::animateWithDuration(
        0.25, [w, size] { TQAnimator::animatorProxyFor(w).setValue("size", size); },
        [this, guard] {
            if (!guard)
                return;
            TQClipView::setInLiveResize(guard, false);
            PLVConstraintLayout::layoutSubtreeIfNeeded(guard);
            settled();
        });
}

void WidgetHost::settled()
{
    QWidget *w = m_window;
    if (!w || w->size() != m_target)
        return;
    if (!m_options.screenshotPath.isEmpty()) {
        // What the display server shows, where it can tell; the widget's own rendering elsewhere.
        QPixmap shot;
        if (QScreen *screen = w->screen(); screen && QGuiApplication::platformName() == QLatin1String("xcb"))
            shot = screen->grabWindow(w->winId());
        if (shot.isNull())
            shot = w->grab();
        shot.save(m_options.screenshotPath, "PNG");
    }
    if (m_options.report) {
        QTextStream out(stdout);
        out << "settled view=" << (m_controller->viewTypeToDisplay() != 0 ? "expanded" : "compact")
            << " showMore=" << (m_controller->isTodayExpanded() ? 1 : 0) << " size=" << w->width() << 'x' << w->height()
            << " at=" << w->x() << ',' << w->y() << Qt::endl;
    }
}

void WidgetHost::saveFrame()
{
    QWidget *w = m_window;
    if (!w || !m_placed || m_moduleName.isEmpty())
        return;
    const QVariantMap frame{{QStringLiteral("x"), w->x()}, {QStringLiteral("y"), w->y()},
                            {QStringLiteral("width"), w->width()}};
    UserDefaultsExtras::appUserDefaults().update([&](QVariantMap &all) {
        QVariantMap frames = all.value(kFramesKey).toMap();
        frames.insert(m_moduleName, frame);
        all.insert(kFramesKey, frames);
    });
}

void WidgetHost::settingsChanged()
{
    // The monitor may have changed the view type, the show-more state or the interval.
    m_controller->loadDisplayPreferences();
    const bool expanded = m_controller->getShowMoreDefaults() != 0;
    if (expanded != m_controller->isTodayExpanded()) {
        m_controller->setIsTodayExpanded(expanded);
        m_controller->updateExpandedStatus();
    }
    PLVNotificationCenter::defaultCenter()->postNotificationName(QStringLiteral("PLVUpdateTimerValue"));
}

bool WidgetHost::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_window)
        return false;
    switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
        if (m_placed && !TQClipView::inLiveResize(m_window))
            m_saveTimer.start();
        break;
    case QEvent::MouseButtonPress: {
        // No frame: the window moves by its background, and widens by its right edge.
        auto *press = static_cast<QMouseEvent *>(event);
        QWindow *handle = m_window->windowHandle();
        if (press->button() != Qt::LeftButton || !handle)
            break;
        if (press->position().x() >= m_window->width() - 6)
            handle->startSystemResize(Qt::RightEdge);
        else
            handle->startSystemMove();
        return true;
    }
    default: break;
    }
    return false;
}
