#include "MonitorHost.h"

#include "PLVCommon/core/PLVDisplaynameForModules.h"
#include "PLVCommon/core/PLVGenericModuleController.h"
#include "PLVCommon/core/PLVIconsForModules.h"
#include "PLVCommon/core/PLVPreferencesForModules.h"

#include <QDateTime>
#include <QMetaType>

MonitorHost::MonitorHost(const Options &options, QTextStream &out, QObject *parent)
    : QObject(parent), m_options(options), m_out(out)
{
}

MonitorHost::~MonitorHost()
{
    delete m_timer;
}

void MonitorHost::addModule(PLVGenericModuleController *controller)
{
    const QString id = controller->bundleIdentifier();
    if (id.isEmpty() || m_modules.contains(id)) {
        PLVGenericModuleController::destroy(controller);
        return;
    }
    // As the application starts each module: views first, then the shared
    // per-module settings, the table by identifier and both registries (the
    // timer comes in start()).
    controller->initMainApp();
    controller->setPlvPreferencesDefault(PLVPreferencesForModules::standardUserDefaults());
    m_modules.insert(id, controller);
    m_order << id;
    PLVDisplaynameForModules::displayname()->addDisplaynameForBundleIdentifier(id);
    PLVIconsForModules::icons()->addIconForBundleIdentifier(id);
}

void MonitorHost::start()
{
    m_timer = new PLVTimer;
    m_timer->setModules(&m_modules);
    connect(m_timer, &PLVTimer::moduleViewsUpdated, this, &MonitorHost::moduleUpdated);
    m_timer->init();
    for (const QString &id : std::as_const(m_order))
        m_timer->addModule(id);
}

void MonitorHost::moduleUpdated(const QString &bundleIdentifier)
{
    m_reported.insert(bundleIdentifier);
    for (const QString &id : std::as_const(m_order))
        if (!m_reported.contains(id))
            return;
    m_reported.clear();
    if (m_options.printLines)
        printLine();
    emit updated();
    if (m_options.ticks > 0 && ++m_lines >= m_options.ticks)
        emit finished();
}

PLVGenericModuleController *MonitorHost::controller(const QString &bundleIdentifier) const
{
    return m_modules.value(bundleIdentifier).data();
}

namespace {

QString formatValue(const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::Float:
    case QMetaType::Double:
        return QString::number(v.toDouble(), 'g', 4);
    case QMetaType::QVariantList:
        return QStringLiteral("[%1]").arg(v.toList().size());
    case QMetaType::QVariantMap:
        return QStringLiteral("{%1}").arg(v.toMap().size());
    default:
        break;
    }
    const QString text = v.toString();
    return text.isEmpty() && v.isValid() && !v.canConvert<QString>() ? QString::fromLatin1(v.typeName()) : text;
}

} // namespace

QString MonitorHost::describe(const QString &shortName, const QVariantMap &values, bool allValues)
{
    QStringList parts;
    bool anyText = false;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        anyText = anyText || it.value().typeId() == QMetaType::QString;
    for (auto it = values.cbegin(); it != values.cend(); ++it) {
        // Texts are what the views show; numbers only when a module has no texts.
        if (!allValues && anyText && it.value().typeId() != QMetaType::QString)
            continue;
        parts << it.key() + QLatin1Char('=') + formatValue(it.value());
    }
    return shortName.toUpper() + QLatin1Char(' ') + (parts.isEmpty() ? QStringLiteral("(no values yet)") : parts.join(QLatin1Char(' ')));
}

void MonitorHost::printLine()
{
    QStringList modules;
    for (const QString &id : m_printed.isEmpty() ? std::as_const(m_order) : std::as_const(m_printed)) {
        const auto controller = m_modules.value(id);
        if (!controller || !controller->modulemodelobj())
            continue;
        const QString shortName = PLVDisplaynameForModules::displayname()->displayname3LettersNameForBundleIdentifier(id);
        modules << describe(shortName, controller->modulemodelobj()->modelData().snapshot(), m_options.allValues);
    }
    m_out << QDateTime::currentDateTime().toString(QStringLiteral("HH:mm:ss")) << "  " << modules.join(QStringLiteral(" | "))
          << Qt::endl;
}
