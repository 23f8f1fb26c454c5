#pragma once
#include "PLVCommon/core/PLVSamplingModule.h"

#include <memory>

class TQBluetoothInfo;

// The Bluetooth module: the devices connected through BlueZ and their battery
// levels, or plainly why there is nothing to show.
class PLVBTModuleModel : public PLVSamplingModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVBTModuleModel(QObject *parent = nullptr);
    ~PLVBTModuleModel() override;

protected:
    QVariantMap sample() override;
    // BlueZ has no files under the root: only the bus matters.
    void systemRootDidChange(const PLVSysRoot &root) override;

private:
    std::unique_ptr<TQBluetoothInfo> m_bluetooth;
};

class PLVBTModuleController : public PLVSamplingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVBTModuleController(QObject *parent = nullptr)
        : PLVSamplingModuleController(&PLVBTModuleModel::staticMetaObject, QStringLiteral("BT"), parent) {}
};
