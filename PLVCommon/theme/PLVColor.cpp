#include "PLVCommon/theme/PLVColor.h"

#include "PLVCommon/platform/TQIsTodayExtenstion.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"
#include "PLVCommon/shared/UserDefaultsExtras.h"
#include "PLVCommon/theme/PLVPlatformColors.h"
#include "PLVCommon/drawing/ColorExtras.h"

#include <QCoreApplication>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QHash>
#include <QOperatingSystemVersion>
#include <QWidget>

#include <array>
#include <atomic>
#include <cmath>

namespace {

std::atomic<qint64> g_release{-1}; // -1: not set by the host

QColor white(double alpha) { return ColorExtras::colorWithSRGBRed(1, 1, 1, alpha); }
QColor black(double alpha) { return ColorExtras::colorWithSRGBRed(0, 0, 0, alpha); }

QColor named(const char *name, bool dark, double alpha = -1)
{
    const QString n = QLatin1String(name);
    return alpha < 0 ? PLVPlatformColors::colorNamed(n, dark) : PLVPlatformColors::colorNamed(n, dark, alpha);
}

// Weights from -1 (lightest) to 1 (heaviest), onto Qt's 100...900 scale.
int qtWeight(double weight)
{
    static constexpr std::array<std::pair<double, int>, 9> table{{{-0.8, 100}, {-0.6, 200}, {-0.4, 300}, {0.0, 400},
                                                                  {0.23, 500}, {0.3, 600}, {0.4, 700}, {0.56, 800},
                                                                  {0.62, 900}}};
    if (!std::isfinite(weight) || weight <= table.front().first)
        return std::isfinite(weight) || weight < 0 ? table.front().second : table.back().second;
    for (size_t i = 1; i < table.size(); ++i) {
        if (weight <= table[i].first) {
            const auto [w0, q0] = table[i - 1];
            const auto [w1, q1] = table[i];
            return int(std::lround(q0 + (q1 - q0) * (weight - w0) / (w1 - w0)));
        }
    }
    return table.back().second;
}

bool hasEvenDigits(const QString &family)
{
    QFont f(family);
    f.setPixelSize(20);
    const QFontMetricsF m(f);
    const qreal zero = m.horizontalAdvance(QLatin1Char('0'));
    for (char c = '1'; c <= '9'; ++c)
        if (std::abs(m.horizontalAdvance(QLatin1Char(c)) - zero) > 0.01)
            return false;
    return true;
}

// The desktop's UI family, or, when its digits differ in width (values would
// jiggle as they change), the first common UI family whose digits do not.
QString uiFamily()
{
    const bool gui = qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr;
    if (!gui)
        return QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
    // The application font starts as the desktop's UI font; a host may pin another.
    const QString family = QGuiApplication::font().family();
    static QHash<QString, QString> chosen;
    const auto it = chosen.constFind(family);
    if (it != chosen.cend())
        return *it;
    QString result = family;
    if (!hasEvenDigits(family)) {
        for (const QString &candidate : {QStringLiteral("Noto Sans"), QStringLiteral("DejaVu Sans")}) {
            if (QFontDatabase::hasFamily(candidate) && hasEvenDigits(candidate)) {
                result = candidate;
                break;
            }
        }
    }
    chosen.insert(family, result);
    return result;
}

qint64 numberOf(const PLVNotification &n)
{
    if (n.userInfo.contains(QStringLiteral("object")))
        return n.userInfo.value(QStringLiteral("object")).toLongLong();
    if (n.object) {
        for (const char *p : {"integerValue", "value"}) {
            const QVariant v = n.object->property(p);
            if (v.isValid())
                return v.toLongLong();
        }
    }
    return 0;
}

} // namespace

PLVColor::PLVColor(QObject *parent)
    : QObject(parent)
{
    awakeFromNib();
}

PLVColor::~PLVColor()
{
    PLVNotificationCenter::defaultCenter()->removeObserver(this);
}

void PLVColor::awakeFromNib()
{
    PLVNotificationCenter *center = PLVNotificationCenter::defaultCenter();
    center->removeObserver(this); // set up twice (init, then an interface file): register once
    center->addObserver(this, "windowBackgroundStyleChangeDark", QStringLiteral("PLVWindowBackgroundStyleDark"));
    center->addObserver(this, "windowBackgroundStyleChangeLight", QStringLiteral("PLVWindowBackgroundStyleLight"));
    center->addObserver(this, "windowBackgroundColorIntegerDidChanged",
                        QStringLiteral("PLVBackgroundColorIntegerDidChanged"));
    center->addObserver(this, "menubarHighlightMode", QStringLiteral("PLVMenubarHighlightMode"));

    menubarHighlightMode();
    windowBackgroundStyleChangeDark({});
    setWarningColor(named("systemOrangeColor", true, 0.9));
    setAlertColor(named("systemRedColor", true, 0.9));

    const double regular = NSFontWeightRegular, medium = NSFontWeightMedium;
    setFontforLeftLabels(fontForTextWithWeight(regular, 11));
    setFontforTopProcess(fontForTextWithWeight(regular, 11));
    setFontforRightLabels(fontForTextWithWeight(medium, 11));
    setFontforModuletitle(fontForTextWithWeight(medium, 13));
    setFontforMiniModuletitle(fontForTextWithWeight(medium, 12));
    setFontforMiniOverviewModuletitle(fontForTextWithWeight(medium, 9));
    setFontforMiniOverviewDoubleString(fontForTextWithWeight(medium, 8));
    setFontforGPULabels(fontForTextWithWeight(medium, 11));

    if (TQIsTodayExtenstion::isTodayExtention())
        updateColorForTodayExtension();
}

void PLVColor::windowBackgroundStyleChangeDark(const PLVNotification &) { setWindowBackgroundStyle(1); }
void PLVColor::windowBackgroundStyleChangeLight(const PLVNotification &) { setWindowBackgroundStyle(0); }

void PLVColor::windowBackgroundColorIntegerDidChanged(const PLVNotification &notification)
{
    m_windowBackgroundIntegerColor = numberOf(notification);
    setWindowBackgroundStyle(m_windowBackgroundStyle);
}

void PLVColor::menubarHighlightMode(const PLVNotification &) { menubarHighlightMode(); }

void PLVColor::menubarHighlightMode()
{
    m_menuBarHighlightMode = getValueFromThePrefDico(QStringLiteral("plvMenubarHighlightType")).toBool();
    setStatusItemBackgroundStyle(m_statusItemBackgroundStyle);
}

void PLVColor::updateColorForTodayExtension()
{
    if (isDarkMenuBar())
        windowBackgroundStyleChangeDark({});
    else
        windowBackgroundStyleChangeLight({});
}

bool PLVColor::isDarkMenuBar() const { return PLVPlatformColors::isDark(); }

void PLVColor::setStatusItemBackgroundStyle(qint64 style)
{
    const qint64 effective = m_menuBarHighlightMode ? 0 : style;
    m_statusItemBackgroundStyle = effective;
    const bool dark = isDarkMenuBar();
    if (effective != 0) {
        setStatusLabelColor(named("alternateSelectedControlTextColor", dark));
        setStatusSecondaryLabelColor(named("alternateSelectedControlTextColor", dark, 0.8));
        setStatusTertiaryLabelColor(named("alternateSelectedControlTextColor", dark, 0.6));
        setStatusQuarternaryLabelColor(named("alternateSelectedControlTextColor", dark, 0.3));
        setStatusIconColor(named("alternateSelectedControlTextColor", dark));
    } else {
        setStatusLabelColor(named("labelColor", dark));
        setStatusSecondaryLabelColor(named("secondaryLabelColor", dark));
        setStatusTertiaryLabelColor(named("tertiaryLabelColor", dark));
        setStatusQuarternaryLabelColor(named("quaternaryLabelColor", dark));
        setStatusIconColor(dark ? named("alternateSelectedControlTextColor", dark) : named("labelColor", dark));
    }
    emit statusItemBackgroundStyleChanged();
}

// Assigned only when it changes, so that a redraw bound to it is not asked for
// when nothing changed.
void PLVColor::setStatusIconColor(const QColor &color)
{
    if (color == m_statusIconColor)
        return;
    m_statusIconColor = color;
    emit statusIconColorChanged();
}

void PLVColor::setWindowBackgroundStyle(qint64 style)
{
    m_windowBackgroundStyle = style;
    const bool dark = style != 0;
    const bool today = TQIsTodayExtenstion::isTodayExtention();
    static const QColor pink = ColorExtras::colorWithCalibratedRed(0.9, 0.225, 0.5625, 1.0);
    if (dark) {
        setWindowLabelColor(white(0.9));
        setWindowSecondaryLabelColor(white(0.75));
        setWindowTertiaryLabelColor(white(0.7));
        setWindowTitleLabelColor(white(0.85));
        setWindowProgressbarColor(today ? named("systemBlueColor", true, 0.8) : white(0.6));
        setWindowIconActiveColor(white(0.95));
        setWindowIconInactiveColor(white(0.35));
        setWindowTrafficLightInactiveColor(white(0.25));
        setWindowTitleBarColor(black(0.13));
        setWindowIconPushedColor(white(0.7));
        const bool coloured = m_windowBackgroundIntegerColor != 0;
        setWindowGraphBlueColor(coloured ? white(0.9) : named("keyboardFocusIndicatorColor", true, 1.0));
        setWindowGraphBlueColor2(coloured ? white(0.5) : pink);
    } else {
        setWindowLabelColor(black(currentRelease() > 14 ? 0.85 : 0.9));
        setWindowSecondaryLabelColor(black(0.7));
        setWindowTertiaryLabelColor(black(0.7));
        setWindowTitleLabelColor(black(0.65));
        setWindowProgressbarColor(today ? named("systemBlueColor", false, 0.8) : black(0.3));
        setWindowIconActiveColor(black(0.95));
        setWindowIconInactiveColor(black(0.25));
        setWindowTrafficLightInactiveColor(black(0.15));
        setWindowTitleBarColor(black(0.03));
        setWindowIconPushedColor(black(0.8));
        setWindowGraphBlueColor(named("keyboardFocusIndicatorColor", false, 1.0));
        setWindowGraphBlueColor2(pink);
    }
    emit windowBackgroundStyleChanged();
}

QWidget *PLVColor::statusItemView(QWidget *view) const
{
    const QMetaObject *cls = PLVClassRegistry::classNamed(QStringLiteral("PLVStatusItemView"));
    if (!view || !cls)
        return nullptr;
    // Only direct children count: a status item view deeper down belongs to
    // another item.
    for (QObject *child : view->children()) {
        auto *w = qobject_cast<QWidget *>(child);
        if (w && w->metaObject()->inherits(cls))
            return w;
    }
    return nullptr;
}

void PLVColor::refreshColorForView(QWidget *view)
{
    if (!view)
        return;
    QWidget *item = statusItemView(view->window());
    if (!item)
        return;
    const QVariant highlight = item->property("statusBarHighlight");
    if (highlight.isValid()) {
        setStatusItemBackgroundStyle(highlight.toBool() ? 1 : 0);
        return;
    }
    bool answer = false;
    if (PLVClassRegistry::respondsToSelector(item, "statusBarHighlight") &&
        QMetaObject::invokeMethod(item, "statusBarHighlight", Qt::DirectConnection, Q_RETURN_ARG(bool, answer)))
        setStatusItemBackgroundStyle(answer ? 1 : 0);
}

QVariant PLVColor::getValueFromThePrefDico(const QString &key) const
{
    return UserDefaultsExtras::getValueFromThePrefDico(key);
}

QFont PLVColor::fontForTextWithWeight(double weight, float forSize)
{
    QFont font(uiFamily());
    // Sizes are in points of the views' geometry, which are Qt's logical pixels.
    const int size = std::isfinite(forSize) && forSize >= 1 ? int(std::lround(forSize)) : 13;
    font.setPixelSize(size);
    font.setWeight(QFont::Weight(qtWeight(weight)));
    font.setHintingPreference(QFont::PreferNoHinting); // the same shapes at 1x and 2x
    return font;
}

qint64 PLVColor::currentRelease()
{
    const qint64 set = g_release.load();
    if (set >= 0)
        return set;
    const QOperatingSystemVersion os = QOperatingSystemVersion::current();
    // Only the designed-for system has a meaningful minor version.
    if (os.type() != QOperatingSystemVersion::MacOS)
        return 0;
    return std::max(0, os.minorVersion());
}

void PLVColor::setCurrentRelease(std::optional<qint64> release)
{
    g_release.store(release && *release >= 0 ? *release : -1);
}

void PLVColor::setStatusLabelColor(const QColor &color)
{
    m_statusLabelColor = color;
    emit statusLabelColorChanged();
}

void PLVColor::setStatusSecondaryLabelColor(const QColor &color)
{
    m_statusSecondaryLabelColor = color;
    emit statusSecondaryLabelColorChanged();
}

void PLVColor::setStatusTertiaryLabelColor(const QColor &color)
{
    m_statusTertiaryLabelColor = color;
    emit statusTertiaryLabelColorChanged();
}

void PLVColor::setStatusQuarternaryLabelColor(const QColor &color)
{
    m_statusQuarternaryLabelColor = color;
    emit statusQuarternaryLabelColorChanged();
}

void PLVColor::setWindowLabelColor(const QColor &color)
{
    m_windowLabelColor = color;
    emit windowLabelColorChanged();
}

void PLVColor::setWindowSecondaryLabelColor(const QColor &color)
{
    m_windowSecondaryLabelColor = color;
    emit windowSecondaryLabelColorChanged();
}

void PLVColor::setWindowTertiaryLabelColor(const QColor &color)
{
    m_windowTertiaryLabelColor = color;
    emit windowTertiaryLabelColorChanged();
}

void PLVColor::setWindowTitleLabelColor(const QColor &color)
{
    m_windowTitleLabelColor = color;
    emit windowTitleLabelColorChanged();
}

void PLVColor::setWindowTitleBarColor(const QColor &color)
{
    m_windowTitleBarColor = color;
    emit windowTitleBarColorChanged();
}

void PLVColor::setWindowProgressbarColor(const QColor &color)
{
    m_windowProgressbarColor = color;
    emit windowProgressbarColorChanged();
}

void PLVColor::setWindowIconActiveColor(const QColor &color)
{
    m_windowIconActiveColor = color;
    emit windowIconActiveColorChanged();
}

void PLVColor::setWindowIconInactiveColor(const QColor &color)
{
    m_windowIconInactiveColor = color;
    emit windowIconInactiveColorChanged();
}

void PLVColor::setWindowTrafficLightInactiveColor(const QColor &color)
{
    m_windowTrafficLightInactiveColor = color;
    emit windowTrafficLightInactiveColorChanged();
}

void PLVColor::setWindowIconPushedColor(const QColor &color)
{
    m_windowIconPushedColor = color;
    emit windowIconPushedColorChanged();
}

void PLVColor::setWarningColor(const QColor &color)
{
    m_warningColor = color;
    emit warningColorChanged();
}

void PLVColor::setAlertColor(const QColor &color)
{
    m_alertColor = color;
    emit alertColorChanged();
}

void PLVColor::setWindowGraphBlueColor(const QColor &color)
{
    m_windowGraphBlueColor = color;
    emit windowGraphBlueColorChanged();
}

void PLVColor::setWindowGraphBlueColor2(const QColor &color)
{
    m_windowGraphBlueColor2 = color;
    emit windowGraphBlueColor2Changed();
}

void PLVColor::setFontforLeftLabels(const QFont &font)
{
    m_fontforLeftLabels = font;
    emit fontforLeftLabelsChanged();
}

void PLVColor::setFontforRightLabels(const QFont &font)
{
    m_fontforRightLabels = font;
    emit fontforRightLabelsChanged();
}

void PLVColor::setFontforModuletitle(const QFont &font)
{
    m_fontforModuletitle = font;
    emit fontforModuletitleChanged();
}

void PLVColor::setFontforMiniModuletitle(const QFont &font)
{
    m_fontforMiniModuletitle = font;
    emit fontforMiniModuletitleChanged();
}

void PLVColor::setFontforMiniOverviewModuletitle(const QFont &font)
{
    m_fontforMiniOverviewModuletitle = font;
    emit fontforMiniOverviewModuletitleChanged();
}

void PLVColor::setFontforMiniOverviewDoubleString(const QFont &font)
{
    m_fontforMiniOverviewDoubleString = font;
    emit fontforMiniOverviewDoubleStringChanged();
}

void PLVColor::setFontforTopProcess(const QFont &font)
{
    m_fontforTopProcess = font;
    emit fontforTopProcessChanged();
}

void PLVColor::setFontforGPULabels(const QFont &font)
{
    m_fontforGPULabels = font;
    emit fontforGPULabelsChanged();
}

PLV_REGISTER_CLASS(PLVColor)
