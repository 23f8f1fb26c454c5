#pragma once
#include "PLVCommon/core/PLVSamplingModule.h"
#include "PLVCommon/linux/PLVDiskSource.h"

#include <memory>

// The disks module: mounted file systems with their free space, read and
// write rates per disk with their histories, and the processes doing the most
// I/O among those this user may look at.
class PLVDiskModuleModel : public PLVSamplingModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVDiskModuleModel(QObject *parent = nullptr) : PLVSamplingModuleModel(parent) {}

protected:
    QVariantMap sample() override;
    void systemRootDidChange(const PLVSysRoot &root) override { m_source = std::make_unique<PLVDiskSource>(root); }

private:
    std::unique_ptr<PLVDiskSource> m_source;
};

class PLVDiskModuleController : public PLVSamplingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVDiskModuleController(QObject *parent = nullptr)
        : PLVSamplingModuleController(&PLVDiskModuleModel::staticMetaObject, QStringLiteral("Disk"), parent) {}
};
