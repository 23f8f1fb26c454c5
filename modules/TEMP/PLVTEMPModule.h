#pragma once
#include "PLVCommon/core/PLVSamplingModule.h"
#include "PLVCommon/linux/PLVHwmonSource.h"

#include <memory>

// The temperatures module: every hwmon input and thermal zone with its label,
// in the unit of the module's "temperatureUnit" setting (0 Celsius,
// 1 Fahrenheit), or the system's unit when the module has none.
class PLVTEMPModuleModel : public PLVSamplingModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVTEMPModuleModel(QObject *parent = nullptr) : PLVSamplingModuleModel(parent) {}

    // 1 Fahrenheit, else Celsius.
    int temperatureUnit() const;

protected:
    QVariantMap sample() override;
    void systemRootDidChange(const PLVSysRoot &root) override { m_source = std::make_unique<PLVHwmonSource>(root); }

private:
    std::unique_ptr<PLVHwmonSource> m_source;
};

class PLVTEMPModuleController : public PLVSamplingModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVTEMPModuleController(QObject *parent = nullptr)
        : PLVSamplingModuleController(&PLVTEMPModuleModel::staticMetaObject, QStringLiteral("TEMP"), parent) {}
};
