#pragma once
// Output for the bars that run a command instead of hosting status items:
// waybar's custom module (one JSON object per line), the i3bar protocol
// (swaybar, i3bar: a header, then an endless array of block lists, and click
// events on standard input), polybar's script module and plain text. Whatever
// a module writes, every line stays valid for its protocol.
#include "ModuleFace.h"

#include <QList>
#include <QObject>
#include <QPoint>

#include <optional>

class QFile;
class QSocketNotifier;

class BarOutput : public QObject
{
    Q_OBJECT
public:
    enum class Protocol { Waybar, I3bar, Polybar, Text };
    static std::optional<Protocol> protocolNamed(const QString &name);

    // What goes out before the first update (the i3bar header and the opening bracket).
    static QByteArray header(Protocol protocol);
    // One update, newline included; `first` is false from the second update on.
    static QByteArray line(Protocol protocol, const QList<ModuleFace> &faces, bool first);
    // One line of i3bar click events: the module (its "name" or "instance"),
    // null for the opening bracket, blank lines and anything unreadable; and
    // where on the screen the click was, null when the bar does not say.
    struct Click {
        QString module;
        QPoint at;
    };
    static Click click(const QByteArray &eventLine);

    // Writes to standard output; reads click events from standard input for i3bar.
    explicit BarOutput(Protocol protocol, QObject *parent = nullptr);
    ~BarOutput() override;
    void write(const QList<ModuleFace> &faces);

signals:
    // A click on the block of this module (bundle identifier or short name).
    void clicked(const QString &module, const QPoint &at);

private:
    void readClicks();

    Protocol m_protocol;
    bool m_first = true;
    QFile *m_out = nullptr;
    QSocketNotifier *m_in = nullptr;
    QByteArray m_pending;
};
