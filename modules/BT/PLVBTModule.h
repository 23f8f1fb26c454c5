#pragma once
#include "PLVCommon/core/PLVForwardingModuleController.h"
#include "PLVCommon/core/PLVGenericModuleModel.h"

#include <memory>
#include <mutex>

class TQBluetoothInfo;

// The Bluetooth module: the devices connected through BlueZ and their battery
// levels, or plainly why there is nothing to show.
class PLVBTModuleModel : public PLVGenericModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVBTModuleModel(QObject *parent = nullptr);
    ~PLVBTModuleModel() override;
    void init() override;
    void updateModel() override;

    // Asks BlueZ on another bus (empty: the system bus).
    Q_INVOKABLE void setSystemBusAddress(const QString &address);

private:
    std::mutex m_mutex;
    std::unique_ptr<TQBluetoothInfo> m_bluetooth;
};

class PLVBTModuleController : public PLVForwardingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVBTModuleController(QObject *parent = nullptr);
    const QMetaObject *modelObjClass() const override;
    QString moduleName() const override { return QStringLiteral("BT"); }
};
