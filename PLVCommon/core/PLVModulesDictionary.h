#pragma once
#include <QHash>

#include <memory>
#include <mutex>
#include <QObject>
#include <QSharedPointer>
#include <QStringList>

class PLVGenericModuleController;

// A host's loaded module controllers by bundle identifier.
//
// The update timer looks controllers up from the global queue while the host
// changes the table on the main thread, so access is locked, and a lookup hands
// out a strong reference: a controller removed meanwhile lives until the update
// that holds it returns, and is then deleted on the main thread.
//
// The entries live in a table shared with Lookup handles, so an update that is
// in flight when the host destroys the dictionary finds an empty table rather
// than freed memory (a QPointer checked on a worker cannot promise that).
class PLVModulesDictionary : public QObject
{
    Q_OBJECT
    struct Table;

public:
    using Controller = QSharedPointer<PLVGenericModuleController>;

    // A weak handle on the entries, safe to copy to and use on any thread; it
    // finds nothing once the dictionary is gone.
    class Lookup
    {
    public:
        Lookup() = default;
        Controller value(const QString &bundleIdentifier) const;

    private:
        friend class PLVModulesDictionary;
        std::weak_ptr<Table> m_table;
    };
    Lookup lookup() const;

    explicit PLVModulesDictionary(QObject *parent = nullptr);
    ~PLVModulesDictionary() override;

    // Takes ownership: the controller is torn down and deleted once the table
    // and every update holding it have let go.
    void insert(const QString &bundleIdentifier, PLVGenericModuleController *controller);
    void remove(const QString &bundleIdentifier);
    Controller value(const QString &bundleIdentifier) const;
    bool contains(const QString &bundleIdentifier) const;
    QStringList keys() const;
    int count() const;

private:
    struct Table {
        std::mutex mutex;
        QHash<QString, Controller> controllers;
    };
    std::shared_ptr<Table> m_table;
};
