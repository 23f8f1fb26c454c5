#pragma once
#include "PLVCommon/core/PLVSamplingModule.h"
#include "PLVCommon/linux/PLVHwmonSource.h"

#include <memory>

// The fans module: the speed of every hwmon fan, with its PWM duty cycle and
// who drives it where the driver tells.
class PLVFansModuleModel : public PLVSamplingModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVFansModuleModel(QObject *parent = nullptr) : PLVSamplingModuleModel(parent) {}

protected:
    QVariantMap sample() override;
    void systemRootDidChange(const PLVSysRoot &root) override { m_source = std::make_unique<PLVHwmonSource>(root); }

private:
    std::unique_ptr<PLVHwmonSource> m_source;
};

class PLVFansModuleController : public PLVSamplingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVFansModuleController(QObject *parent = nullptr)
        : PLVSamplingModuleController(&PLVFansModuleModel::staticMetaObject, QStringLiteral("Fans"), parent) {}
};
