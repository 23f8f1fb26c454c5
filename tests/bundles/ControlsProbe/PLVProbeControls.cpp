// Controls of a module bundle: subclasses whose texts come from this bundle's table.
#include "PLVCommon/controls/PLVButton.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

class PLVProbeButton : public PLVButton
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVProbeButton(QWidget *parent = nullptr) : PLVButton(parent) {}
};

PLV_REGISTER_CLASS(PLVProbeButton)

#include "PLVProbeControls.moc"
