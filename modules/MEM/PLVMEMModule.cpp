#include "PLVMEMModule.h"

#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"
#include "PLVCommon/stats/TQSystemInfo.h"

PLV_REGISTER_CLASS(PLVMEMModuleModel)
PLV_REGISTER_CLASS(PLVMEMModuleController)

void PLVMEMModuleModel::systemRootDidChange(const PLVSysRoot &root)
{
    m_root = root;
    m_processes = PLVSharedProcessTable::forRoot(root);
}

QVariantMap PLVMEMModuleModel::sample()
{
    QVariantMap values = TQSystemInfo::memoryData(m_root);
    for (const char *key : {"memTotal", "memFree", "memApp", "memWired", "memCache", "memCompress", "memActive", "memInactive"})
        if (values.contains(QLatin1String(key)))
            values.insert(QLatin1String(key) + QStringLiteral("Text"),
                          StringExtras::doubleCapacityToString(values.value(QLatin1String(key)).toDouble()));
    // Swap figures are -1 when the system does not tell.
    for (const char *key : {"memTotalSwap", "memSwapUsed", "memSwapAvailable"}) {
        const double bytes = values.value(QLatin1String(key), -1.0).toDouble();
        values.insert(QLatin1String(key) + QStringLiteral("Text"),
                      bytes < 0 ? PLVLoc(QStringLiteral("unavailable")) : StringExtras::doubleCapacityToString(bytes));
    }
    // In use: the pressure (what is not available any more), else what is not free.
    float used = values.value(QStringLiteral("memPressure"), -1.0f).toFloat();
    const double total = values.value(QStringLiteral("memTotal")).toDouble();
    if (used < 0 && total > 0)
        used = float(100.0 * (1.0 - values.value(QStringLiteral("memFree")).toDouble() / total));
    if (used >= 0) {
        values.insert(QStringLiteral("memUsedPerc"), used);
        values.insert(QStringLiteral("memUsedText"), StringExtras::floatToPercentageString(used));
        values.insert(QStringLiteral("memHistory"), pushHistory(QStringLiteral("memHistory"), used));
    }
    m_processes->use(detailMaxAge(), [&](const TQProcessTable &table) {
        QStringList tops;
        for (const TQProcessSample &p : table.topByResidentSize(5))
            tops << QStringLiteral("%1 %2").arg(p.name, StringExtras::doubleCapacityToString(double(p.residentSize)));
        values.insert(QStringLiteral("memTopProcesses"), table.topByResidentSizeDictionaries(5));
        values.insert(QStringLiteral("memTopProcessesText"), tops.join(QStringLiteral(", ")));
    });
    return values;
}
