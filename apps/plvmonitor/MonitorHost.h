#pragma once
#include "PLVCommon/core/PLVModulesDictionary.h"
#include "PLVCommon/core/PLVTimer.h"

#include <QObject>
#include <QSet>
#include <QStringList>
#include <QTextStream>

class PLVGenericModuleController;

// The monitor's module host: sets every loaded module up as the application
// does at start-up, and after each round of updates (every module updated
// once) emits updated(); for scripts it prints one line per round with each
// module's three-letter name and the values its model publishes.
class MonitorHost : public QObject
{
    Q_OBJECT
public:
    struct Options {
        bool allValues = false; // every key, not only the texts
        int ticks = 0;          // stop after this many rounds (0: run on)
        bool printLines = true; // the key=value lines on the output
    };

    MonitorHost(const Options &options, QTextStream &out, QObject *parent = nullptr);
    ~MonitorHost() override;
    // The modules the lines describe, in order (all loaded ones until set).
    void setPrinted(const QStringList &identifiers) { m_printed = identifiers; }

    // Sets up and registers one module; the host owns it from now on.
    void addModule(PLVGenericModuleController *controller);
    void start();
    QStringList moduleIdentifiers() const { return m_order; }
    PLVGenericModuleController *controller(const QString &bundleIdentifier) const;

    // One module's part of a line.
    static QString describe(const QString &shortName, const QVariantMap &values, bool allValues);

signals:
    // Every module has updated its views once more (main thread).
    void updated();
    void finished();

private:
    void moduleUpdated(const QString &bundleIdentifier);
    void printLine();

    Options m_options;
    QTextStream &m_out;
    PLVModulesDictionary m_modules;
    PLVTimer *m_timer = nullptr;
    QStringList m_order;
    QStringList m_printed;
    QSet<QString> m_reported;
    int m_lines = 0;
};
