#include "PLVModelData.h"

#include <mutex>
#include <shared_mutex>

#include <atomic>

struct PLVModelData::Shared {
    mutable std::shared_mutex lock;
    QVariantMap map;
    std::atomic<quint64> generation{0};
};

namespace {
const int kModelDataTypeId = qRegisterMetaType<PLVModelData>();
}

PLVModelData PLVModelData::create()
{
    PLVModelData m;
    m.d = std::make_shared<Shared>();
    return m;
}

QVariant PLVModelData::value(const QString &key) const
{
    if (!d)
        return {};
    std::shared_lock lock(d->lock);
    return d->map.value(key);
}

bool PLVModelData::contains(const QString &key) const
{
    if (!d)
        return false;
    std::shared_lock lock(d->lock);
    return d->map.contains(key);
}

qsizetype PLVModelData::count() const
{
    if (!d)
        return 0;
    std::shared_lock lock(d->lock);
    return d->map.size();
}

QVariantMap PLVModelData::snapshot() const
{
    if (!d)
        return {};
    std::shared_lock lock(d->lock);
    return d->map; // implicitly shared: the copy is taken under the lock
}

quint64 PLVModelData::generation() const { return d ? d->generation.load(std::memory_order_acquire) : 0; }

void PLVModelData::setValue(const QString &key, const QVariant &value) const
{
    if (!d)
        return;
    std::unique_lock lock(d->lock);
    d->map.insert(key, value);
    d->generation.fetch_add(1, std::memory_order_release);
}

void PLVModelData::insert(const QVariantMap &values) const
{
    if (!d || values.isEmpty())
        return;
    std::unique_lock lock(d->lock);
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        d->map.insert(it.key(), it.value());
    d->generation.fetch_add(1, std::memory_order_release);
}

void PLVModelData::remove(const QString &key) const
{
    if (!d)
        return;
    std::unique_lock lock(d->lock);
    if (d->map.remove(key))
        d->generation.fetch_add(1, std::memory_order_release);
}

void PLVModelData::clear() const
{
    if (!d)
        return;
    std::unique_lock lock(d->lock);
    d->map.clear();
    d->generation.fetch_add(1, std::memory_order_release);
}
