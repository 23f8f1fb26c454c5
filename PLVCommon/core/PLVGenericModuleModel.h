#pragma once
#include "PLVCommon/platform/PLVModelData.h"

#include <mutex>
#include <QObject>

#include <atomic>

// A module's model: what it samples goes into `modelData`, the only channel
// from the model to the views. The visibility flags tell it which views show
// its data, so it can skip work nobody sees.
class PLVGenericModuleModel : public QObject
{
    Q_OBJECT
    Q_PROPERTY(PLVModelData modelData READ modelData WRITE setModelData NOTIFY modelDataChanged)
    Q_PROPERTY(bool isStatusViewVisible READ isStatusViewVisible WRITE setIsStatusViewVisible)
    Q_PROPERTY(bool isStatusCompactViewVisible READ isStatusCompactViewVisible WRITE setIsStatusCompactViewVisible)
    Q_PROPERTY(bool isStatusExpandedViewVisible READ isStatusExpandedViewVisible WRITE setIsStatusExpandedViewVisible)
    Q_PROPERTY(bool isNotificationCenterViewVisible READ isNotificationCenterViewVisible WRITE setIsNotificationCenterViewVisible)
public:
    Q_INVOKABLE explicit PLVGenericModuleModel(QObject *parent = nullptr);
    ~PLVGenericModuleModel() override;

    // Creates the empty dictionary, then registerNotification(), so that a
    // subclass's registration already sees `modelData`.
    Q_INVOKABLE virtual void init();

    // A module may replace its dictionary from the global queue while the main
    // thread reads it: both are guarded.
    PLVModelData modelData() const;
    void setModelData(const PLVModelData &data);

    // The flags are read by models on the global queue: atomics.
    bool isStatusViewVisible() const { return m_statusVisible; }
    void setIsStatusViewVisible(bool v) { m_statusVisible = v; }
    bool isStatusCompactViewVisible() const { return m_compactVisible; }
    void setIsStatusCompactViewVisible(bool v) { m_compactVisible = v; }
    bool isStatusExpandedViewVisible() const { return m_expandedVisible; }
    void setIsStatusExpandedViewVisible(bool v) { m_expandedVisible = v; }
    bool isNotificationCenterViewVisible() const { return m_notificationCenterVisible; }
    void setIsNotificationCenterViewVisible(bool v) { m_notificationCenterVisible = v; }

    Q_INVOKABLE virtual void registerNotification() {}
    Q_INVOKABLE virtual void updateModel() {}
    Q_INVOKABLE virtual void updateTopProcess() {}

    QString PLVLoc(const QString &key) const;

signals:
    void modelDataChanged();

private:
    mutable std::mutex m_dataLock;
    PLVModelData m_modelData;
    std::atomic<bool> m_statusVisible{false};
    std::atomic<bool> m_compactVisible{false};
    std::atomic<bool> m_expandedVisible{false};
    std::atomic<bool> m_notificationCenterVisible{false};
};

// What a module may send with its notifications; empty in the framework.
class PLVGenericNotification : public QObject
{
    Q_OBJECT
public:
    Q_INVOKABLE explicit PLVGenericNotification(QObject *parent = nullptr) : QObject(parent) {}
};
