#pragma once
#include "PLVCommon/core/PLVSamplingModule.h"
#include "PLVCommon/linux/PLVNetSource.h"

#include <memory>

// The network module: download and upload rates of every interface and of the
// machine (its physical interfaces) with histories, in bits when the module's
// "useBits" setting is on, link state and addresses, and the wireless network
// and its signal where the kernel tells them.
class PLVNETModuleModel : public PLVSamplingModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVNETModuleModel(QObject *parent = nullptr) : PLVSamplingModuleModel(parent) {}

protected:
    QVariantMap sample() override;
    void systemRootDidChange(const PLVSysRoot &root) override { m_source = std::make_unique<PLVNetSource>(root); }

private:
    std::unique_ptr<PLVNetSource> m_source;
};

class PLVNETModuleController : public PLVSamplingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVNETModuleController(QObject *parent = nullptr)
        : PLVSamplingModuleController(&PLVNETModuleModel::staticMetaObject, QStringLiteral("NET"), parent) {}
};
