#include "PLVGPUModule.h"

#include "PLVCommon/linux/PLVGPUSources.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"
#include "PLVCommon/stats/TQGPUInfo.h"

PLV_REGISTER_CLASS(PLVGPUModuleModel)
PLV_REGISTER_CLASS(PLVGPUModuleController)

PLVGPUModuleModel::PLVGPUModuleModel(QObject *parent) : PLVGenericModuleModel(parent) {}

PLVGPUModuleModel::~PLVGPUModuleModel() = default;

void PLVGPUModuleModel::init()
{
    PLVGenericModuleModel::init();
    if (!m_gpu)
        m_gpu = std::make_unique<TQGPUInfo>();
}

void PLVGPUModuleModel::setSystemRoot(const QString &root)
{
    m_gpu = std::make_unique<TQGPUInfo>(std::make_shared<PLVGPUSources>(PLVSysRoot(root), nullptr));
}

void PLVGPUModuleModel::updateModel()
{
    const QVariantMap gpus = m_gpu->gpuCoresInformation();
    QVariantMap values{{QStringLiteral("gpuData"), gpus}, {QStringLiteral("numGPUs"), m_gpu->numGPUs()}};

    // Cards in the order of their keys, so that each keeps its place (and history).
    QVariantList list;
    QStringList summaries;
    bool anyStatistics = false;
    m_history.setNumberOfGraphs(gpus.size());
    m_history.setArrayMaxSize(PLVGraphArrays::kCapacity);
    qint64 index = 0;
    for (auto it = gpus.cbegin(); it != gpus.cend(); ++it, ++index) {
        const QVariantMap card = it.value().toMap();
        QString name = card.value(QStringLiteral("vendorFullName")).toString();
        if (name.isEmpty())
            name = PLVLoc(QStringLiteral("Graphics processor"));
        QVariantMap entry{{QStringLiteral("key"), it.key()},
                          {QStringLiteral("name"), name},
                          {QStringLiteral("vendor"), card.value(QStringLiteral("vendorID"))}};
        QStringList facts;
        if (card.contains(QStringLiteral("deviceUtilization"))) {
            const float utilisation = card.value(QStringLiteral("deviceUtilization")).toFloat();
            entry.insert(QStringLiteral("utilization"), utilisation);
            entry.insert(QStringLiteral("utilizationText"), StringExtras::floatToPercentageString(utilisation));
            facts << StringExtras::floatToPercentageString(utilisation);
            m_history.addNewValue(utilisation, index);
            anyStatistics = true;
        }
        if (card.contains(QStringLiteral("totalVRAM"))) {
            const double total = card.value(QStringLiteral("totalVRAM")).toDouble();
            const double free = card.value(QStringLiteral("freeVRAM")).toDouble();
            entry.insert(QStringLiteral("totalVRAM"), total);
            QString vram = StringExtras::doubleCapacityToString(total);
            if (free >= 0 && free <= total) {
                entry.insert(QStringLiteral("usedVRAM"), total - free);
                vram = PLVLoc(QStringLiteral("%1 of %2")).arg(StringExtras::doubleCapacityToString(total - free), vram);
                anyStatistics = true;
            }
            entry.insert(QStringLiteral("vramText"), vram);
            facts << PLVLoc(QStringLiteral("VRAM")) + QLatin1Char(' ') + vram;
        }
        if (facts.isEmpty())
            facts << PLVLoc(QStringLiteral("no statistics"));
        summaries << name + QStringLiteral(": ") + facts.join(QStringLiteral(", "));
        if (const PLVGraphArrays *h = m_history.graphArrayAtIndex(index))
            entry.insert(QStringLiteral("history"), h->valuesToPublish());
        list << entry;
    }
    values.insert(QStringLiteral("gpuList"), list);
    values.insert(QStringLiteral("gpuHasStatistics"), anyStatistics);
    if (list.isEmpty())
        values.insert(QStringLiteral("gpuSummaryText"), PLVLoc(QStringLiteral("No graphics processor found")));
    else if (!anyStatistics)
        values.insert(QStringLiteral("gpuSummaryText"),
                      summaries.join(QStringLiteral("; ")) + QStringLiteral(" (") + PLVLoc(QStringLiteral("the driver gives no statistics")) + QLatin1Char(')'));
    else
        values.insert(QStringLiteral("gpuSummaryText"), summaries.join(QStringLiteral("; ")));
    const QVariantMap first = list.value(0).toMap();
    values.insert(QStringLiteral("gpuStatusText"), first.value(QStringLiteral("utilizationText"), QStringLiteral("–")).toString());
    modelData().insert(values);
}

PLVGPUModuleController::PLVGPUModuleController(QObject *parent) : PLVForwardingModuleController(parent) {}
const QMetaObject *PLVGPUModuleController::modelObjClass() const { return &PLVGPUModuleModel::staticMetaObject; }
