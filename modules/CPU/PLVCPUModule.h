#pragma once
#include "PLVCommon/core/PLVSamplingModule.h"

#include "PLVCommon/stats/TQProcessTable.h"
#include "PLVCommon/stats/TQSystemInfo.h"

#include <memory>

// The processor module: machine-wide and per-core CPU shares, load, tasks and
// threads, the time since boot and the five busiest processes, sampled every tick.
class PLVCPUModuleModel : public PLVSamplingModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVCPUModuleModel(QObject *parent = nullptr) : PLVSamplingModuleModel(parent) {}

    // "3 d 4 h 12 min": the up-time components in words of this module's table.
    QString upTimeText(const PLVDateComponents &c) const;

protected:
    QVariantMap sample() override;
    void systemRootDidChange(const PLVSysRoot &root) override;

private:
    std::unique_ptr<TQSystemInfo> m_info;
    std::shared_ptr<PLVSharedProcessTable> m_processes;
};

class PLVCPUModuleController : public PLVSamplingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVCPUModuleController(QObject *parent = nullptr)
        : PLVSamplingModuleController(&PLVCPUModuleModel::staticMetaObject, QStringLiteral("CPU"), parent) {}
};
