#pragma once
#include "PLVCommon/core/PLVSamplingModule.h"

#include <memory>

class TQGPUInfo;

// The graphics module: per GPU its name, vendor, utilisation and video memory,
// refreshed every tick. A machine whose GPUs give no statistics is told so.
class PLVGPUModuleModel : public PLVSamplingModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVGPUModuleModel(QObject *parent = nullptr);
    ~PLVGPUModuleModel() override;

protected:
    QVariantMap sample() override;
    void systemRootDidChange(const PLVSysRoot &root) override;

private:
    std::unique_ptr<TQGPUInfo> m_gpu;
};

class PLVGPUModuleController : public PLVSamplingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVGPUModuleController(QObject *parent = nullptr)
        : PLVSamplingModuleController(&PLVGPUModuleModel::staticMetaObject, QStringLiteral("GPU"), parent) {}
};
