#include "PLVGenericModelDataView.h"

#include "PLVCommon/platform/PLVBundle.h"

PLVGenericModelDataView::PLVGenericModelDataView(QWidget *parent) : PLVView(parent) {}

void PLVGenericModelDataView::setModelData(const PLVModelData &data)
{
    if (data == m_modelData)
        return;
    m_modelData = data;
    emit modelDataChanged();
}

QString PLVGenericModelDataView::PLVLoc(const QString &key) const { return PLVLocalizedStringForClass(metaObject(), key); }
