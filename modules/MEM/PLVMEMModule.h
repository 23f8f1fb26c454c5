#pragma once
#include "PLVCommon/core/PLVForwardingModuleController.h"
#include "PLVCommon/core/PLVGenericModuleModel.h"

#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/stats/TQProcessTable.h"

// The memory module: memory in use by kind, pressure, page traffic, swap and
// the five processes with the most resident memory, sampled every tick.
class PLVMEMModuleModel : public PLVGenericModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMEMModuleModel(QObject *parent = nullptr);
    void init() override;
    void updateModel() override;

private:
    PLVGraphArrays m_history; // memory in use, percent of installed memory
    TQProcessTable m_processes;
};

class PLVMEMModuleController : public PLVForwardingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMEMModuleController(QObject *parent = nullptr);
    const QMetaObject *modelObjClass() const override;
    QString moduleName() const override { return QStringLiteral("MEM"); }
};
