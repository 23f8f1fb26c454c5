#pragma once
#include "PLVCommon/core/PLVForwardingModuleController.h"
#include "PLVCommon/core/PLVGenericModuleModel.h"
#include "PLVCommon/linux/PLVSysFile.h"

#include <QSet>
#include <QString>
#include <QVariantMap>

#include <atomic>
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

    // Whether a window shows this module's details now (its drop-down panel,
    // the widget). Readings that only the details show and that cost a walk
    // of every process (the busiest processes) are taken every tick while
    // shown, and at rest about every kDetailRestSeconds: the status item and
    // its tooltip then show the busiest processes of the last few seconds,
    // at a fraction of the cost. Thread-safe.
    bool isShowingDetails() const { return m_showingDetails.load(std::memory_order_relaxed); }
    void setShowingDetails(bool shown) { m_showingDetails.store(shown, std::memory_order_relaxed); }
    // The module model of a controller, when it is a sampling module.
    static PLVSamplingModuleModel *of(PLVGenericModuleController *controller);
    static constexpr double kDetailRestSeconds = 10.0;

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
    // How old a detail reading may be at this tick, in seconds: 0 while the
    // details are shown, else kDetailRestSeconds less the timer's slack (so
    // that at the default interval every fifth tick takes one).
    double detailMaxAge() const { return isShowingDetails() ? 0.0 : kDetailRestSeconds - 0.5; }

private:
    std::atomic<bool> m_showingDetails{false};
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
