#include <PLVCommon/platform/PLVClassRegistry.h>

#include <QObject>

class PLVExternalPrincipal : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE PLVExternalPrincipal() = default;
};

PLV_REGISTER_CLASS(PLVExternalPrincipal)

#include "external.moc"
