#include "PLVSamplingModule.h"

#include "PLVCommon/core/PLVPreferencesForModules.h"
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/stats/PLVGraphArrays.h"

PLVSamplingModuleModel::PLVSamplingModuleModel(QObject *parent) : PLVGenericModuleModel(parent) {}

PLVSamplingModuleModel::~PLVSamplingModuleModel() = default;

PLVSysRoot PLVSamplingModuleModel::systemRoot() const
{
    std::lock_guard lock(m_rootLock);
    return m_root;
}

void PLVSamplingModuleModel::setSystemRoot(const PLVSysRoot &root)
{
    std::lock_guard lock(m_rootLock);
    m_root = root;
    m_rootChanged = true;
}

QString PLVSamplingModuleModel::systemBusAddress() const
{
    std::lock_guard lock(m_rootLock);
    return m_busAddress;
}

void PLVSamplingModuleModel::setSystemBusAddress(const QString &address)
{
    std::lock_guard lock(m_rootLock);
    m_busAddress = address;
    m_rootChanged = true;
}

QString PLVSamplingModuleModel::moduleIdentifier() const
{
    const PLVBundle *bundle = PLVBundle::bundleForClass(metaObject());
    return bundle ? bundle->bundleIdentifier() : QString();
}

QVariant PLVSamplingModuleModel::moduleSetting(const QString &key) const
{
    const QString id = moduleIdentifier();
    return id.isEmpty() ? QVariant() : PLVPreferencesForModules::standardUserDefaults()->objectForKey(key, id);
}

PLVSamplingModuleModel *PLVSamplingModuleModel::of(PLVGenericModuleController *controller)
{
    return controller ? qobject_cast<PLVSamplingModuleModel *>(controller->modulemodelobj()) : nullptr;
}

QVariantList PLVSamplingModuleModel::pushHistory(const QString &key, float v)
{
    std::unique_ptr<PLVGraphArrays> &history = m_histories[key];
    if (!history) {
        history = std::make_unique<PLVGraphArrays>();
        history->initArraysWithMaxSize(PLVGraphArrays::kCapacity);
    }
    history->addNewValue(v);
    m_pushed.insert(key);
    return history->valuesToPublish();
}

void PLVSamplingModuleModel::updateModel()
{
    const PLVModelData data = modelData();
    if (data.isNull())
        return;
    bool rebuild = false;
    PLVSysRoot root;
    {
        std::lock_guard lock(m_rootLock);
        std::swap(rebuild, m_rootChanged);
        root = m_root;
    }
    if (rebuild) {
        // Another machine: nothing sampled before means anything any more.
        m_histories.clear();
        systemRootDidChange(root);
    }
    m_pushed.clear();
    const QVariantMap values = sample();
    if (values.isEmpty())
        return;
    for (auto it = m_histories.begin(); it != m_histories.end();)
        it = m_pushed.contains(it->first) ? std::next(it) : m_histories.erase(it);

    QSet<QString> published;
    published.reserve(values.size());
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        published.insert(it.key());
    for (const QString &key : std::as_const(m_published))
        if (!published.contains(key))
            data.remove(key);
    data.insert(values);
    m_published = std::move(published);
}

PLVSamplingModuleController::PLVSamplingModuleController(const QMetaObject *modelClass, const QString &name, QObject *parent)
    : PLVForwardingModuleController(parent), m_modelClass(modelClass), m_name(name)
{
}
