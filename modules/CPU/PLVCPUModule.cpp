#include "PLVCPUModule.h"

#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/stats/StringExtras.h"

#include <QLocale>

#include <algorithm>

PLV_REGISTER_CLASS(PLVCPUModuleModel)
PLV_REGISTER_CLASS(PLVCPUModuleController)

namespace {

QString percentText(float fraction) { return StringExtras::floatToPercentageString(fraction * 100.0f); }

} // namespace

void PLVCPUModuleModel::systemRootDidChange(const PLVSysRoot &root)
{
    m_info = std::make_unique<TQSystemInfo>(root);
    m_processes = PLVSharedProcessTable::forRoot(root);
    modelData().insert(m_info->cpuCoresInformation());
}

QString PLVCPUModuleModel::upTimeText(const PLVDateComponents &c) const
{
    QStringList parts;
    if (c.month > 0)
        parts << QStringLiteral("%1 %2").arg(c.month).arg(PLVLoc(QStringLiteral("mo")));
    if (c.month > 0 || c.day > 0)
        parts << QStringLiteral("%1 %2").arg(c.day).arg(PLVLoc(QStringLiteral("d")));
    parts << QStringLiteral("%1 %2").arg(c.hour).arg(PLVLoc(QStringLiteral("h")));
    parts << QStringLiteral("%1 %2").arg(c.minute).arg(PLVLoc(QStringLiteral("min")));
    return parts.join(QLatin1Char(' '));
}

QVariantMap PLVCPUModuleModel::sample()
{
    m_info->setTaskCountMaxAge(detailMaxAge()); // the count shows in the panel only
    std::optional<QVariantMap> sample = m_info->cpuData();
    if (!sample) {
        // The set of CPUs changed: the sample was dropped. Re-read the layout
        // so that the next sample uses it.
        modelData().insert(m_info->cpuCoresInformation());
        return {};
    }
    QVariantMap values = *sample;
    // No CPU time passed since the last sample (a recorded tree read again):
    // nothing new to show, so what is on screen stands.
    if (!values.contains(QStringLiteral("idleCPU")))
        return {};
    const float usage = 1.0f - values.value(QStringLiteral("idleCPU")).toFloat();
    values.insert(QStringLiteral("cpuUsage"), usage);
    values.insert(QStringLiteral("cpuUsageText"), percentText(usage));
    for (const char *key : {"userCPU", "systemCPU", "niceCPU", "idleCPU"})
        values.insert(QLatin1String(key) + QStringLiteral("Text"), percentText(values.value(QLatin1String(key)).toFloat()));
    const QVariantList history = pushHistory(QStringLiteral("cpuHistory"), usage * 100.0f);
    float highest = 0.0f; // as a graph scales: never below 0
    for (const QVariant &v : history)
        highest = std::max(highest, v.toFloat());
    values.insert(QStringLiteral("cpuHistory"), history);
    values.insert(QStringLiteral("cpuHistoryMax"), highest);
    // Only the CPUs this sample counted: the sampler keeps zero shares for
    // every present CPU, and an offline one (SMT off, hot-unplugged) has no
    // load to show. A CPU whose ticks did not advance has all shares zero and
    // shows 0 %, so its load is the busy shares, not 1 - idle.
    QVariantList cores;
    QVariantList coreNumbers;
    QStringList coreTexts;
    const QList<int> running =
        values.contains(QStringLiteral("idleCPUAll0")) ? m_info->logicalCPUNumbers() : QList<int>();
    for (qsizetype i = 0; i < running.size(); ++i) {
        const QString n = QString::number(i);
        float usage = 0.0f;
        for (const char *key : {"userCPUAll", "systemCPUAll", "niceCPUAll"})
            usage += values.value(QLatin1String(key) + n).toFloat();
        cores << usage;
        coreNumbers << running[i];
        coreTexts << percentText(usage);
    }
    values.insert(QStringLiteral("cpuCoreUsage"), cores);
    values.insert(QStringLiteral("cpuCoreNumbers"), coreNumbers);
    values.insert(QStringLiteral("cpuCoreUsageText"), coreTexts.join(QLatin1Char(' ')));
    if (values.contains(QStringLiteral("loadAverage0"))) {
        const QLocale locale;
        QStringList loads;
        for (const char *key : {"loadAverage0", "loadAverage1", "loadAverage2"})
            loads << locale.toString(values.value(QLatin1String(key)).toDouble(), 'f', 2);
        values.insert(QStringLiteral("loadAverageText"), loads.join(QLatin1Char(' ')));
    }
    if (values.contains(QStringLiteral("tasksCount")))
        values.insert(QStringLiteral("tasksText"), QStringLiteral("%1 / %2")
                                                      .arg(values.value(QStringLiteral("tasksCount")).toLongLong())
                                                      .arg(values.value(QStringLiteral("threadsCount")).toLongLong()));
    // The busiest processes, in percent of one core as top(1) shows them.
    m_processes->use(detailMaxAge(), [&](const TQProcessTable &table) {
        QStringList tops;
        for (const TQProcessSample &p : table.topByCPUShare(5))
            tops << QStringLiteral("%1 %2").arg(p.name, StringExtras::floatToPercentageString(float(p.cpuShare * 100.0)));
        values.insert(QStringLiteral("cpuTopProcesses"), table.topByCPUShareDictionaries(5));
        values.insert(QStringLiteral("cpuTopProcessesText"), tops.join(QStringLiteral(", ")));
    });
    const QVariant upTime = values.value(QStringLiteral("upTime"));
    if (upTime.canConvert<PLVDateComponents>())
        values.insert(QStringLiteral("upTimeText"), upTimeText(upTime.value<PLVDateComponents>()));
    return values;
}
