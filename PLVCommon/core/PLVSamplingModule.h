#pragma once
#include "PLVCommon/core/PLVForwardingModuleController.h"
#include "PLVCommon/core/PLVGenericModuleModel.h"
#include "PLVCommon/linux/PLVSysFile.h"

#include <QSet>
#include <QString>
#include <QVariantMap>

#include <map>
#include <memory>
#include <mutex>

class PLVGraphArrays;

// What every sampling module has in common, written once.
//
// A module is then:
//   - a model deriving from PLVSamplingModuleModel with sample(): read its
//     sampler, return this tick's values and their texts;
//   - a controller deriving from PLVSamplingModuleController that names the
//     model class and the module (a constructor, nothing else);
//   - "PLVForwardingViewController.ui", its French table and its icon.
//
// Each tick's dictionary is published whole: keys the previous tick published
// and this one does not are removed, so a disk, sensor or interface that went
// away leaves no stale value behind for a view to show.
class PLVSamplingModuleModel : public PLVGenericModuleModel
{
    Q_OBJECT
public:
    explicit PLVSamplingModuleModel(QObject *parent = nullptr);
    ~PLVSamplingModuleModel() override;

    void updateModel() override;

    // The system root the samplers read. Set before the first tick, or later:
    // the samplers are rebuilt before the next sample.
    PLVSysRoot systemRoot() const;
    void setSystemRoot(const PLVSysRoot &root);
    Q_INVOKABLE void setSystemRoot(const QString &root) { setSystemRoot(PLVSysRoot(root)); }
    // The system bus the samplers ask (empty: the real one), for modules built
    // on D-Bus services; a change rebuilds the samplers as a change of root does.
    QString systemBusAddress() const;
    Q_INVOKABLE void setSystemBusAddress(const QString &address);

    // The module's bundle identifier (of the bundle holding the final class).
    QString moduleIdentifier() const;
    // One of this module's settings (PLVPreferencesForModules), invalid when unset.
    QVariant moduleSetting(const QString &key) const;

protected:
    // On the global queue; the controller never runs two at once. An empty
    // dictionary publishes nothing: a tick the sampler had to drop keeps the
    // previous values on screen.
    virtual QVariantMap sample() = 0;
    // Before the first sample and after every change of root: build the samplers.
    virtual void systemRootDidChange(const PLVSysRoot &root) = 0;
    // Pushes v onto the history named key (350 points, created on first use)
    // and returns its values to publish, oldest first. A history not pushed
    // during a tick is dropped after it: its sensor or interface is gone.
    QVariantList pushHistory(const QString &key, float v);

private:
    mutable std::mutex m_rootLock;
    PLVSysRoot m_root;
    QString m_busAddress;
    bool m_rootChanged = true;
    QSet<QString> m_published;
    std::map<QString, std::unique_ptr<PLVGraphArrays>> m_histories;
    QSet<QString> m_pushed;
};

// The controller of a sampling module: the forwarding controller told which
// model class to make and what the module is called.
class PLVSamplingModuleController : public PLVForwardingModuleController
{
    Q_OBJECT
public:
    PLVSamplingModuleController(const QMetaObject *modelClass, const QString &name, QObject *parent = nullptr);
    const QMetaObject *modelObjClass() const override { return m_modelClass; }
    QString moduleName() const override { return m_name; }

private:
    const QMetaObject *m_modelClass;
    QString m_name;
};
