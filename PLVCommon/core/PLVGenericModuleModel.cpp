#include "PLVGenericModuleModel.h"

#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"
#include "PLVCommon/platform/PLVNotificationCenter.h"

PLV_REGISTER_CLASS(PLVGenericModuleModel)
PLV_REGISTER_CLASS(PLVGenericNotification)

PLVGenericModuleModel::PLVGenericModuleModel(QObject *parent) : QObject(parent) {}

PLVGenericModuleModel::~PLVGenericModuleModel() { PLVNotificationCenter::defaultCenter()->removeObserver(this); }

void PLVGenericModuleModel::init()
{
    setModelData(PLVModelData::create());
    registerNotification();
}

PLVModelData PLVGenericModuleModel::modelData() const
{
    std::lock_guard lock(m_dataLock);
    return m_modelData;
}

void PLVGenericModuleModel::setModelData(const PLVModelData &data)
{
    {
        std::lock_guard lock(m_dataLock);
        if (data == m_modelData)
            return;
        m_modelData = data;
    }
    emit modelDataChanged();
}

QString PLVGenericModuleModel::PLVLoc(const QString &key) const { return PLVLocalizedStringForClass(metaObject(), key); }
