#pragma once
#include <QMetaType>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include <memory>

// The dictionary a module's model fills and its views read.
//
// A handle: copies share one dictionary, so binding a view's `modelData` to the
// model's hands the view the same dictionary. The model writes from the global
// queue while views read on the main thread; every access is synchronised and
// readers get consistent snapshots. generation() grows with every write, so a
// view can tell cheaply whether anything changed since it last drew.
class PLVModelData
{
public:
    // A null handle (no dictionary), as a freshly created view holds.
    PLVModelData() = default;
    static PLVModelData create();

    bool isNull() const { return !d; }
    explicit operator bool() const { return bool(d); }

    QVariant value(const QString &key) const;
    bool contains(const QString &key) const;
    qsizetype count() const;
    QVariantMap snapshot() const;
    quint64 generation() const;

    // Writes on a null handle do nothing. Like a pointer, a const handle still
    // reaches a writable dictionary.
    void setValue(const QString &key, const QVariant &value) const;
    void insert(const QVariantMap &values) const; // all keys in one step
    void remove(const QString &key) const;
    void clear() const;

    // Same dictionary?
    bool operator==(const PLVModelData &other) const { return d == other.d; }
    bool operator!=(const PLVModelData &other) const { return d != other.d; }

private:
    struct Shared;
    std::shared_ptr<Shared> d;
};
Q_DECLARE_METATYPE(PLVModelData)
