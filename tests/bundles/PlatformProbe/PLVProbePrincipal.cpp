// Principal class of the probe bundle: lets tests see which bundle code
// lives in and which table its classes translate with.
#include "PLVCommon/platform/PLVBundle.h"
#include "PLVCommon/platform/PLVClassRegistry.h"

#include <QObject>

class PLVProbePrincipal : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE PLVProbePrincipal() = default;
    Q_INVOKABLE void init() { initialised = true; }
    Q_INVOKABLE QString translate(const QString &key) const { return PLVLocalizedStringForClass(metaObject(), key); }
    Q_INVOKABLE bool wasInitialised() const { return initialised; }

private:
    bool initialised = false;
};

PLV_REGISTER_CLASS(PLVProbePrincipal)

#include "PLVProbePrincipal.moc"
