#pragma once
#include "PLVCommon/core/PLVSamplingModule.h"

#include "PLVCommon/stats/TQProcessTable.h"

#include <memory>

// The memory module: memory in use by kind, pressure, page traffic, swap and
// the five processes with the most resident memory, sampled every tick.
class PLVMEMModuleModel : public PLVSamplingModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMEMModuleModel(QObject *parent = nullptr) : PLVSamplingModuleModel(parent) {}

protected:
    QVariantMap sample() override;
    void systemRootDidChange(const PLVSysRoot &root) override;

private:
    PLVSysRoot m_root;
    std::shared_ptr<PLVSharedProcessTable> m_processes;
};

class PLVMEMModuleController : public PLVSamplingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMEMModuleController(QObject *parent = nullptr)
        : PLVSamplingModuleController(&PLVMEMModuleModel::staticMetaObject, QStringLiteral("MEM"), parent) {}
};
