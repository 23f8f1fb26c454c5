#include "PLVCommon/theme/PLVAppearance.h"

#include "PLVCommon/platform/PLVNotificationCenter.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QEvent>
#include <QGuiApplication>
#include <QPalette>
#include <QThread>

namespace {

const QString kService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kInterface = QStringLiteral("org.freedesktop.portal.Settings");
const QString kNamespace = QStringLiteral("org.freedesktop.appearance");
// Long enough for a portal that D-Bus activates, short enough not to hang a
// start-up when something on the bus does not answer.
constexpr int kTimeoutMs = 2000;

using SettingsMap = QMap<QString, QVariantMap>;

// Values arrive as a plain value, a QDBusVariant, or (from Read) a variant
// wrapped in a variant.
QVariant unwrap(QVariant v)
{
    for (int i = 0; i < 3 && v.metaType() == QMetaType::fromType<QDBusVariant>(); ++i)
        v = v.value<QDBusVariant>().variant();
    return v;
}

int schemeOf(const QVariant &raw)
{
    const QVariant v = unwrap(raw);
    switch (v.metaType().id()) {
    case QMetaType::UInt:
    case QMetaType::Int:
    case QMetaType::UShort:
    case QMetaType::UChar:
    case QMetaType::Short:
    case QMetaType::LongLong:
    case QMetaType::ULongLong: {
        const qlonglong s = v.toLongLong();
        return s >= 0 && s <= 2 ? int(s) : 0; // unknown values mean no preference
    }
    default:
        return 0;
    }
}

// "(ddd)" in 0...1; anything else (out of range means "not set") is invalid.
QColor accentOf(const QVariant &raw)
{
    const QVariant v = unwrap(raw);
    if (v.metaType() != QMetaType::fromType<QDBusArgument>())
        return {};
    const QDBusArgument arg = v.value<QDBusArgument>();
    if (arg.currentSignature() != QLatin1String("(ddd)"))
        return {};
    double rgb[3] = {};
    arg.beginStructure();
    arg >> rgb[0] >> rgb[1] >> rgb[2];
    arg.endStructure();
    for (double c : rgb)
        if (!(c >= 0.0 && c <= 1.0))
            return {};
    return QColor::fromRgbF(float(rgb[0]), float(rgb[1]), float(rgb[2]));
}

QPalette currentPalette()
{
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return QGuiApplication::palette();
    return QPalette(Qt::white); // no GUI: a light default, never an error
}

} // namespace

// Receives the portal's SettingChanged(s namespace, s key, v value) as a whole
// message, so the value's type is checked here rather than by the signature.
class PLVPortalListener : public QObject
{
    Q_OBJECT
public:
    explicit PLVPortalListener(PLVAppearance *appearance)
        : QObject(appearance), m_appearance(appearance)
    {
    }

public slots:
    void settingChanged(const QDBusMessage &message)
    {
        const QVariantList args = message.arguments();
        if (args.size() != 3)
            return;
        m_appearance->settingChanged(args.at(0).toString(), args.at(1).toString(), args.at(2));
    }

private:
    PLVAppearance *m_appearance;
};

struct PLVAppearance::Private {
    bool portal = false;
    int scheme = -1;
    QColor portalAccent;
    bool dark = false;
    QColor accent;
};

PLVAppearance *PLVAppearance::sharedAppearance()
{
    static PLVAppearance *shared = [] {
        auto *a = new PLVAppearance;
        if (QCoreApplication *app = QCoreApplication::instance())
            a->moveToThread(app->thread());
        return a;
    }();
    return shared;
}

PLVAppearance::PLVAppearance()
    : d(std::make_unique<Private>())
{
    if (QCoreApplication *app = QCoreApplication::instance())
        app->installEventFilter(this);
    QDBusConnection bus = QDBusConnection::sessionBus();
    // Any sender: the portal may start (or restart) after us, under a new
    // unique name; the path and interface are the portal's alone.
    if (bus.isConnected())
        bus.connect(QString(), kPath, kInterface, QStringLiteral("SettingChanged"), new PLVPortalListener(this),
                    SLOT(settingChanged(QDBusMessage)));
    read();
    apply(d->scheme, d->portalAccent, false);
}

PLVAppearance::~PLVAppearance() = default;

void PLVAppearance::reload()
{
    read();
    apply(d->scheme, d->portalAccent, true);
}

void PLVAppearance::read()
{
    d->portal = false;
    d->scheme = -1;
    d->portalAccent = QColor();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    QDBusMessage call = QDBusMessage::createMethodCall(kService, kPath, kInterface, QStringLiteral("ReadAll"));
    call << QStringList{kNamespace};
    const QDBusMessage reply = bus.call(call, QDBus::Block, kTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return;
    // a{sa{sv}}
    const QDBusArgument arg = reply.arguments().constFirst().value<QDBusArgument>();
    if (arg.currentSignature() != QLatin1String("a{sa{sv}}"))
        return;
    d->portal = true;
    d->scheme = 0;
    arg.beginMap();
    while (!arg.atEnd()) {
        QString ns;
        QVariantMap values;
        arg.beginMapEntry();
        arg >> ns >> values;
        arg.endMapEntry();
        if (ns != kNamespace)
            continue;
        if (values.contains(QStringLiteral("color-scheme")))
            d->scheme = schemeOf(values.value(QStringLiteral("color-scheme")));
        if (values.contains(QStringLiteral("accent-color")))
            d->portalAccent = accentOf(values.value(QStringLiteral("accent-color")));
    }
    arg.endMap();
}

void PLVAppearance::apply(int scheme, const QColor &accent, bool post)
{
    const QPalette palette = currentPalette();
    const bool dark = scheme == 1 || (scheme != 2 && palette.color(QPalette::Window).lightness() < 128);
    const QColor newAccent = accent.isValid() ? accent : palette.color(QPalette::Highlight);
    const bool changed = dark != d->dark || newAccent != d->accent;
    d->scheme = scheme;
    d->portalAccent = accent;
    d->dark = dark;
    d->accent = newAccent;
    if (changed && post) {
        emit appearanceChanged();
        postCurrentStyle();
    }
}

void PLVAppearance::postCurrentStyle()
{
    PLVNotificationCenter::defaultCenter()->postNotificationName(
        d->dark ? QStringLiteral("PLVWindowBackgroundStyleDark") : QStringLiteral("PLVWindowBackgroundStyleLight"));
}

void PLVAppearance::settingChanged(const QString &nameSpace, const QString &key, const QVariant &value)
{
    if (nameSpace != kNamespace)
        return;
    if (key == QLatin1String("color-scheme"))
        apply(schemeOf(value), d->portalAccent, true);
    else if (key == QLatin1String("accent-color"))
        apply(d->scheme, accentOf(value), true);
    else
        return;
    d->portal = true;
}

bool PLVAppearance::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ApplicationPaletteChange && watched == QCoreApplication::instance())
        apply(d->scheme, d->portalAccent, true);
    return QObject::eventFilter(watched, event);
}

bool PLVAppearance::isDark() const { return d->dark; }
QColor PLVAppearance::accentColor() const { return d->accent; }
int PLVAppearance::colorScheme() const { return d->portal ? d->scheme : -1; }
bool PLVAppearance::hasPortal() const { return d->portal; }

#include "PLVAppearance.moc"
