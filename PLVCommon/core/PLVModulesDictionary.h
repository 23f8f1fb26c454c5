#pragma once
#include <QHash>
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
class PLVModulesDictionary : public QObject
{
    Q_OBJECT
public:
    using Controller = QSharedPointer<PLVGenericModuleController>;

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
    mutable std::mutex m_mutex;
    QHash<QString, Controller> m_controllers;
};
