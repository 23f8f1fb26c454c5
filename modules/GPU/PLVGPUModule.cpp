#include "PLVGPUModule.h"

#include "PLVCommon/linux/PLVGPUSources.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"
#include "PLVCommon/stats/TQGPUInfo.h"

PLV_REGISTER_CLASS(PLVGPUModuleModel)
PLV_REGISTER_CLASS(PLVGPUModuleController)

PLVGPUModuleModel::PLVGPUModuleModel(QObject *parent) : PLVSamplingModuleModel(parent) {}

PLVGPUModuleModel::~PLVGPUModuleModel() = default;

void PLVGPUModuleModel::systemRootDidChange(const PLVSysRoot &root)
{
    // A recorded tree gets no NVML: the sources leave this machine's alone there.
    m_gpu = std::make_unique<TQGPUInfo>(std::make_shared<PLVGPUSources>(root));
}

QVariantMap PLVGPUModuleModel::sample()
{
    const QVariantMap gpus = m_gpu->gpuCoresInformation();
    QVariantMap values{{QStringLiteral("gpuData"), gpus}, {QStringLiteral("numGPUs"), m_gpu->numGPUs()}};

    // Cards in the order of their keys, so that each keeps its place; each
    // history follows its card's key.
    QVariantList list;
    QStringList summaries;
    bool anyStatistics = false;
    for (auto it = gpus.cbegin(); it != gpus.cend(); ++it) {
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
            entry.insert(QStringLiteral("history"), pushHistory(QStringLiteral("gpu:") + it.key(), utilisation));
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
    return values;
}
