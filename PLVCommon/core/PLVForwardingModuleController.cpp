#include "PLVForwardingModuleController.h"

#include "PLVCommon/core/PLVForwardingViewController.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

PLV_REGISTER_CLASS(PLVForwardingModuleController)

PLVForwardingModuleController::PLVForwardingModuleController(QObject *parent) : PLVGenericModuleController(parent) {}

const QMetaObject *PLVForwardingModuleController::viewControllerClass() const
{
    return &PLVForwardingViewController::staticMetaObject;
}

void PLVForwardingModuleController::updateModel()
{
    if (!tryBeginProcessing())
        return;
    if (PLVGenericModuleModel *model = modulemodelobj())
        model->updateModel();
    setIsProcessing(false);
}

void PLVForwardingModuleController::updateViews()
{
    if (auto *vc = qobject_cast<PLVGenericViewController *>(viewcontroller()))
        vc->updateViews();
}
