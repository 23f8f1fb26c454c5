#pragma once
#include "PLVCommon/core/PLVGenericModuleController.h"

// The controller most modules need: each update runs the model's
// updateModel(), one at a time, and each view update goes to the view
// controller's updateViews(). Its view controller is PLVForwardingViewController,
// loaded from "PLVForwardingViewController.ui" in the module's own bundle.
class PLVForwardingModuleController : public PLVGenericModuleController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVForwardingModuleController(QObject *parent = nullptr);

    const QMetaObject *viewControllerClass() const override;
    // Ticks may overlap on the global queue: an update that finds the previous
    // one still running is skipped.
    void updateModel() override;
    void updateViews() override;
};
