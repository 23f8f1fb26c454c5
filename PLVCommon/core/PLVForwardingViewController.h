#pragma once
#include "PLVCommon/core/PLVGenericViewController.h"

// A view controller that updates every view it bound, and translates the
// titles and labels of its text views with the "Localizable" table of the
// module's bundle (the bundle of its bundle identifier) when it wakes.
class PLVForwardingViewController : public PLVGenericViewController
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVForwardingViewController(QObject *parent = nullptr);

    void awakeFromNib() override;
    void updateViews() override;
    // The key in the module's table, or the key itself.
    QString moduleLoc(const QString &key) const;
};
