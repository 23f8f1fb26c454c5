#pragma once
#include "PLVCommon/platform/PLVView.h"

#include <QPointer>
#include <QPushButton>


// The panel a module shows in place of its data while the privileged helper is
// missing, too old or not running: one button whose title says which, and whose
// action leads to the fix (the installer entry, else the download page).
//
// The title is computed at set-up; call updateTextAndAction() for a fresh one.
// The action tests the state again, so a stale title never leads astray.
class PLVHelperMissing : public PLVView
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVHelperMissing(QWidget *parent = nullptr);
    ~PLVHelperMissing() override;

    void awakeFromNib() override;

    void initTheView();
    void addButton();
    void updateTextAndAction();
    // Posts the fix to the main queue.
    Q_INVOKABLE void actionForButton();

    QPushButton *btnHelperNotRunning() const { return m_btnHelperNotRunning; }
    QString PLVLoc(const QString &key) const;

private:
    QPointer<QPushButton> m_btnHelperNotRunning;
};
