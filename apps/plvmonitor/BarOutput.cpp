#include "BarOutput.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSocketNotifier>

#include <fcntl.h>
#include <unistd.h>

std::optional<BarOutput::Protocol> BarOutput::protocolNamed(const QString &name)
{
    if (name == QLatin1String("waybar"))
        return Protocol::Waybar;
    if (name == QLatin1String("i3bar") || name == QLatin1String("swaybar"))
        return Protocol::I3bar;
    if (name == QLatin1String("polybar"))
        return Protocol::Polybar;
    if (name == QLatin1String("text"))
        return Protocol::Text;
    return std::nullopt;
}

QByteArray BarOutput::header(Protocol protocol)
{
    if (protocol != Protocol::I3bar)
        return {};
    const QJsonObject head{{QStringLiteral("version"), 1}, {QStringLiteral("click_events"), true}};
    return QJsonDocument(head).toJson(QJsonDocument::Compact) + "\n[\n";
}

namespace {

// Polybar reads "%{...}" in a script's output as a formatting tag, and has no
// escape that every version honours; a zero-width space after the percent sign
// keeps the text as it reads and the tag inert.
QString polybarSafe(const QString &text)
{
    QString out = text;
    out.replace(QStringLiteral("%{"), QStringLiteral("%\u200B{"));
    return out;
}

// Waybar reads its texts and tooltips as Pango markup.
QString markupSafe(const QString &text)
{
    return text.toHtmlEscaped();
}

QString joinedText(const QList<ModuleFace> &faces, const QString &separator)
{
    QStringList parts;
    for (const ModuleFace &face : faces)
        parts << ModuleFace::oneLine(face.text.isEmpty() ? face.shortName.toUpper() : face.text);
    return parts.join(separator);
}

} // namespace

QByteArray BarOutput::line(Protocol protocol, const QList<ModuleFace> &faces, bool first)
{
    switch (protocol) {
    case Protocol::Waybar: {
        QStringList tooltips;
        QJsonArray classes;
        std::optional<int> percentage;
        for (const ModuleFace &face : faces) {
            tooltips << markupSafe(face.tooltip);
            classes << face.shortName;
            if (!percentage)
                percentage = face.percentage;
        }
        QJsonObject object{{QStringLiteral("text"), markupSafe(joinedText(faces, QStringLiteral("  ")))},
                           {QStringLiteral("tooltip"), tooltips.join(QStringLiteral("\n\n"))},
                           {QStringLiteral("class"), classes}};
        if (percentage)
            object.insert(QStringLiteral("percentage"), *percentage);
        return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
    }
    case Protocol::I3bar: {
        QJsonArray blocks;
        for (const ModuleFace &face : faces) {
            blocks << QJsonObject{{QStringLiteral("name"), face.shortName},
                                  {QStringLiteral("instance"), face.identifier},
                                  {QStringLiteral("full_text"), ModuleFace::oneLine(face.text.isEmpty() ? face.shortName.toUpper() : face.text)},
                                  {QStringLiteral("short_text"), face.percentage ? QStringLiteral("%1 %2%").arg(face.shortName.toUpper()).arg(*face.percentage)
                                                                                 : face.shortName.toUpper()},
                                  {QStringLiteral("markup"), QStringLiteral("none")}};
        }
        return (first ? QByteArray() : QByteArray(",")) + QJsonDocument(blocks).toJson(QJsonDocument::Compact) + '\n';
    }
    case Protocol::Polybar:
        return polybarSafe(joinedText(faces, QStringLiteral("  "))).toUtf8() + '\n';
    case Protocol::Text:
        return joinedText(faces, QStringLiteral(" | ")).toUtf8() + '\n';
    }
    return {};
}

BarOutput::Click BarOutput::click(const QByteArray &eventLine)
{
    QByteArray text = eventLine.trimmed();
    // The events form one endless array: "[" first, then objects, each after the first led by ",".
    while (!text.isEmpty() && (text.front() == '[' || text.front() == ','))
        text = text.mid(1).trimmed();
    if (text.isEmpty())
        return {};
    const QJsonDocument doc = QJsonDocument::fromJson(text);
    if (!doc.isObject())
        return {};
    const QJsonObject event = doc.object();
    const QString instance = event.value(QStringLiteral("instance")).toString();
    Click click{instance.isEmpty() ? event.value(QStringLiteral("name")).toString() : instance, QPoint()};
    // "x" and "y" are the click's place on the whole screen.
    const QJsonValue x = event.value(QStringLiteral("x")), y = event.value(QStringLiteral("y"));
    if (x.isDouble() && y.isDouble())
        click.at = QPoint(x.toInt(), y.toInt());
    return click;
}

BarOutput::BarOutput(Protocol protocol, QObject *parent) : QObject(parent), m_protocol(protocol)
{
    m_out = new QFile(this);
    // Straight to the descriptor: a bar reads a pipe, where stdio would hold lines back.
    (void)m_out->open(STDOUT_FILENO, QIODevice::WriteOnly | QIODevice::Unbuffered);
    const QByteArray head = header(protocol);
    if (!head.isEmpty())
        m_out->write(head);
    if (protocol == Protocol::I3bar) {
        ::fcntl(STDIN_FILENO, F_SETFL, ::fcntl(STDIN_FILENO, F_GETFL) | O_NONBLOCK);
        m_in = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
        connect(m_in, &QSocketNotifier::activated, this, &BarOutput::readClicks);
    }
}

BarOutput::~BarOutput() = default;

void BarOutput::write(const QList<ModuleFace> &faces)
{
    m_out->write(line(m_protocol, faces, m_first));
    m_first = false;
}

void BarOutput::readClicks()
{
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (n == 0) { // the bar closed our input: no more clicks, keep printing
            m_in->setEnabled(false);
            break;
        }
        if (n < 0)
            break;
        m_pending.append(buffer, n);
    }
    qsizetype end;
    while ((end = m_pending.indexOf('\n')) >= 0) {
        const Click c = click(m_pending.left(end));
        m_pending.remove(0, end + 1);
        if (!c.module.isEmpty())
            emit clicked(c.module, c.at);
    }
    if (m_pending.size() > 1 << 20) // a line that never ends is no event
        m_pending.clear();
}
