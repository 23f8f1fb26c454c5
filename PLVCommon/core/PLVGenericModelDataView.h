#pragma once
#include "PLVCommon/platform/PLVModelData.h"
#include "PLVCommon/platform/PLVView.h"

// The part every module view shares: the `modelData` it is bound to.
class PLVGenericModelDataView : public PLVView
{
    Q_OBJECT
    Q_PROPERTY(PLVModelData modelData READ modelData WRITE setModelData NOTIFY modelDataChanged)
public:
    Q_INVOKABLE explicit PLVGenericModelDataView(QWidget *parent = nullptr);

    PLVModelData modelData() const { return m_modelData; }
    void setModelData(const PLVModelData &data);

    QString PLVLoc(const QString &key) const;

signals:
    void modelDataChanged();

private:
    PLVModelData m_modelData;
};
