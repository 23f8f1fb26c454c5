#pragma once
#include "PLVCommon/core/PLVSamplingModule.h"

#include <memory>

class TQBatteryInfo;

// The battery module: charge, state, time to empty or full, health and charge
// cycles of the computer's own batteries, from UPower or else the kernel.
class PLVBATTERYModuleModel : public PLVSamplingModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVBATTERYModuleModel(QObject *parent = nullptr);
    ~PLVBATTERYModuleModel() override;

protected:
    QVariantMap sample() override;
    void systemRootDidChange(const PLVSysRoot &root) override;

private:
    std::unique_ptr<TQBatteryInfo> m_battery;
};

class PLVBATTERYModuleController : public PLVSamplingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVBATTERYModuleController(QObject *parent = nullptr)
        : PLVSamplingModuleController(&PLVBATTERYModuleModel::staticMetaObject, QStringLiteral("BATTERY"), parent) {}
};
