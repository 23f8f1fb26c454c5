#pragma once
#include "PLVCommon/core/PLVForwardingModuleController.h"
#include "PLVCommon/core/PLVGenericModuleModel.h"

#include "PLVCommon/stats/PLVGraphArrays.h"

#include <memory>

class TQGPUInfo;

// The graphics module: per GPU its name, vendor, utilisation and video memory,
// refreshed every tick. A machine whose GPUs give no statistics is told so.
class PLVGPUModuleModel : public PLVGenericModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVGPUModuleModel(QObject *parent = nullptr);
    ~PLVGPUModuleModel() override;
    void init() override;
    void updateModel() override;

    // Samples the GPUs of another system tree (a fixture) instead of this
    // machine's, without NVML.
    Q_INVOKABLE void setSystemRoot(const QString &root);

private:
    std::unique_ptr<TQGPUInfo> m_gpu;
    PLVGraphArraysMultiple m_history; // utilisation per GPU, in the order of "gpuList"
};

class PLVGPUModuleController : public PLVForwardingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVGPUModuleController(QObject *parent = nullptr);
    const QMetaObject *modelObjClass() const override;
    QString moduleName() const override { return QStringLiteral("GPU"); }
};
