#pragma once
#include "PLVCommon/core/PLVForwardingModuleController.h"
#include "PLVCommon/core/PLVGenericModuleModel.h"

#include "PLVCommon/stats/PLVGraphArrays.h"

#include <memory>
#include <mutex>

class TQBatteryInfo;

// The battery module: charge, state, time to empty or full, health and charge
// cycles of the computer's own batteries, from UPower or else the kernel.
class PLVBATTERYModuleModel : public PLVGenericModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVBATTERYModuleModel(QObject *parent = nullptr);
    ~PLVBATTERYModuleModel() override;
    void init() override;
    void updateModel() override;

    // Reads the power supplies of another system tree, and asks UPower on
    // another bus (empty: the system bus).
    Q_INVOKABLE void setSystemRoot(const QString &root);
    Q_INVOKABLE void setSystemBusAddress(const QString &address);

private:
    void rebuild();
    QString durationText(qint64 seconds) const;

    std::mutex m_mutex;
    QString m_root;
    QString m_busAddress;
    std::unique_ptr<TQBatteryInfo> m_battery;
    PLVGraphArrays m_history; // charge, percent
};

class PLVBATTERYModuleController : public PLVForwardingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVBATTERYModuleController(QObject *parent = nullptr);
    const QMetaObject *modelObjClass() const override;
    QString moduleName() const override { return QStringLiteral("BATTERY"); }
};
