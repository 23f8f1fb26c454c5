#pragma once
#include "PLVModuleKit.h"

#include "PLVCommon/stats/PLVGraphArrays.h"
#include "PLVCommon/stats/TQProcessTable.h"

// The memory module: memory in use by kind, pressure, page traffic, swap and
// the five processes with the most resident memory, sampled every tick.
class PLVMEMModuleModel : public PLVGenericModuleModel
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMEMModuleModel(QObject *parent = nullptr);
    void init() override;
    void updateModel() override;

private:
    PLVGraphArrays m_history; // memory in use, percent of installed memory
    TQProcessTable m_processes;
};

class PLVMEMModuleController : public PLVModuleControllerBase
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMEMModuleController(QObject *parent = nullptr);
    const QMetaObject *viewControllerClass() const override;
    const QMetaObject *modelObjClass() const override;
    QString moduleName() const override { return QStringLiteral("MEM"); }
};

class PLVMEMViewController : public PLVModuleViewControllerBase
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMEMViewController(QObject *parent = nullptr);
};

class PLVMEMStatusView : public PLVTextStatusbarView
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMEMStatusView(QWidget *parent = nullptr);
};

class PLVMEMPanelView : public PLVTextPanelView
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVMEMPanelView(QWidget *parent = nullptr);
};
