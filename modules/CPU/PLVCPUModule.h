#pragma once
#include "PLVCommon/core/PLVForwardingModuleController.h"
#include "PLVCommon/core/PLVGenericModuleModel.h"

#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/stats/TQProcessTable.h"
#include "PLVCommon/stats/TQSystemInfo.h"

// The processor module: machine-wide and per-core CPU shares, load, tasks and
// threads, the time since boot and the five busiest processes, sampled every tick.
class PLVCPUModuleModel : public PLVGenericModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVCPUModuleModel(QObject *parent = nullptr);
    void init() override;
    void updateModel() override;

    // "3 d 4 h 12 min": the up-time components in words of this module's table.
    QString upTimeText(const PLVDateComponents &c) const;

private:
    TQSystemInfo m_info;
    PLVGraphArrays m_history; // machine-wide usage in percent
    TQProcessTable m_processes;
};

class PLVCPUModuleController : public PLVForwardingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVCPUModuleController(QObject *parent = nullptr);
    const QMetaObject *modelObjClass() const override;
    QString moduleName() const override { return QStringLiteral("CPU"); }
};
