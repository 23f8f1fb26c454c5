// The bar protocols: every line stays valid for its bar whatever a module
// writes, i3bar clicks are read from their endless array, and plvmonitor
// speaks each protocol from start to end on real modules.
#include "BarOutput.h"
#include "ModuleFace.h"

#include "support/PLVTest.h"
#include "test_monitor_run.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>

#include <optional>

namespace {

// Texts a module might write: quotes, escapes, markup, bar tags, line breaks,
// control characters, emoji, right-to-left script, a stray surrogate.
const QStringList nastyTexts = {
    QStringLiteral("plain 12%"),
    QStringLiteral("\"quoted\" \\back\\slash"),
    QStringLiteral("<b>bold</b> & <span foreground='red'>x</span>"),
    QStringLiteral("%{F#f00}red%{F-} %{A1:xterm:}click%{A}"),
    QStringLiteral("two\nlines\r\nand\ttab"),
    QString(QChar(0)) + QStringLiteral("nul \x1b[31m escape"),
    QStringLiteral("🔥 42°C ünïcödé 中文"),
    QStringLiteral("עברית 12% العربية"),
    QStringLiteral("lone ") + QChar(0xD800) + QStringLiteral(" surrogate"),
    QString(),
};

ModuleFace face(const QString &text)
{
    ModuleFace f;
    f.identifier = QStringLiteral("com.tallowcrest.plvCPU");
    f.shortName = QStringLiteral("cpu");
    f.name = QStringLiteral("Processor");
    f.text = text;
    f.tooltip = QStringLiteral("Processor\n") + text;
    f.percentage = ModuleFace::percentageIn(text);
    return f;
}

QJsonObject parseObject(const QByteArray &line)
{
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(line, &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << line.toStdString() << ": " << error.errorString().toStdString();
    return doc.object();
}

} // namespace

TEST(BarOutput, EveryLineStaysValidForItsProtocolWhateverAModuleWrites)
{
    for (const QString &text : nastyTexts) {
        const QList<ModuleFace> faces{face(text), face(QStringLiteral("second 3%"))};
        const std::string what = text.toStdString();
        for (const auto protocol : {BarOutput::Protocol::Waybar, BarOutput::Protocol::I3bar, BarOutput::Protocol::Polybar,
                                    BarOutput::Protocol::Text}) {
            for (const bool first : {true, false}) {
                const QByteArray line = BarOutput::line(protocol, faces, first);
                ASSERT_TRUE(line.endsWith('\n')) << what;
                EXPECT_EQ(line.count('\n'), 1) << "one update, one line: " << what;
                EXPECT_EQ(line.count('\r'), 0) << what;
                EXPECT_EQ(line.count('\0'), 0) << what;
                EXPECT_TRUE(QString::fromUtf8(line).toUtf8() == line) << "valid UTF-8: " << what;
            }
        }

        const QJsonObject waybar = parseObject(BarOutput::line(BarOutput::Protocol::Waybar, faces, true));
        const QString shown = waybar.value(QStringLiteral("text")).toString();
        // Waybar reads Pango markup: a module's "<" or "&" must arrive as text.
        EXPECT_FALSE(shown.contains(QLatin1Char('<'))) << what;
        EXPECT_FALSE(waybar.value(QStringLiteral("tooltip")).toString().contains(QStringLiteral("<b>"))) << what;
        EXPECT_EQ(waybar.value(QStringLiteral("class")).toArray(), QJsonArray({QStringLiteral("cpu"), QStringLiteral("cpu")}));
        if (text == QStringLiteral("plain 12%")) {
            EXPECT_EQ(waybar.value(QStringLiteral("percentage")).toInt(-1), 12);
        }

        QByteArray later = BarOutput::line(BarOutput::Protocol::I3bar, faces, false);
        ASSERT_TRUE(later.startsWith(',')) << "blocks after the first are continued with a comma";
        const QJsonDocument blocks = QJsonDocument::fromJson(later.mid(1));
        ASSERT_TRUE(blocks.isArray()) << later.toStdString();
        const QJsonObject block = blocks.array().first().toObject();
        EXPECT_EQ(block.value(QStringLiteral("markup")).toString(), QStringLiteral("none"));
        EXPECT_EQ(block.value(QStringLiteral("instance")).toString(), QStringLiteral("com.tallowcrest.plvCPU"));
        EXPECT_FALSE(block.value(QStringLiteral("full_text")).toString().isEmpty()) << "an empty text still shows the module";

        const QByteArray polybar = BarOutput::line(BarOutput::Protocol::Polybar, faces, true);
        EXPECT_FALSE(polybar.contains("%{")) << "no formatting tag reaches polybar: " << what;
    }
}

TEST(BarOutput, I3barStartsWithItsHeaderAndTheOpeningOfTheEndlessArray)
{
    const QByteArray header = BarOutput::header(BarOutput::Protocol::I3bar);
    const QList<QByteArray> lines = header.split('\n');
    ASSERT_GE(lines.size(), 2);
    const QJsonObject head = parseObject(lines[0]);
    EXPECT_EQ(head.value(QStringLiteral("version")).toInt(), 1);
    EXPECT_TRUE(head.value(QStringLiteral("click_events")).toBool());
    EXPECT_EQ(lines[1], "[");
    EXPECT_TRUE(BarOutput::header(BarOutput::Protocol::Waybar).isEmpty());
    EXPECT_FALSE(BarOutput::line(BarOutput::Protocol::I3bar, {face(QStringLiteral("x"))}, true).startsWith(','));
}

TEST(BarOutput, ClickEventsNameTheirModule)
{
    const struct {
        QByteArray line;
        QString module;
        QPoint at;
    } cases[] = {
        {"[", QString(), QPoint()},
        {"", QString(), QPoint()},
        {R"({"name":"cpu","instance":"com.tallowcrest.plvCPU","button":1,"x":10,"y":5})", QStringLiteral("com.tallowcrest.plvCPU"),
         QPoint(10, 5)},
        {R"(,{"name":"mem","button":1,"x":"10","y":5})", QStringLiteral("mem"), QPoint()},
        {R"([{"name":"gpu","instance":"","button":3,"x":1900})", QStringLiteral("gpu"), QPoint()},
        {"  ,  {\"instance\": \"x\"}  \r", QStringLiteral("x"), QPoint()},
        {R"(,{"name":)", QString(), QPoint()},
        {R"(,["cpu"])", QString(), QPoint()},
        {"garbage", QString(), QPoint()},
    };
    for (const auto &c : cases) {
        const BarOutput::Click click = BarOutput::click(c.line);
        EXPECT_EQ(click.module, c.module) << c.line.toStdString();
        EXPECT_EQ(click.at, c.at) << c.line.toStdString();
    }
}

TEST(BarOutput, PercentagesAreTakenFromTheText)
{
    const struct {
        QString text;
        int expected; // -1: none
    } cases[] = {
        {QStringLiteral("cpu 12%"), 12}, {QStringLiteral("12.6 %"), 13}, {QStringLiteral("3,4%"), 3},
        {QStringLiteral("250%"), 100},   {QStringLiteral("1.2 GB"), -1}, {QString(), -1},
    };
    for (const auto &c : cases)
        EXPECT_EQ(ModuleFace::percentageIn(c.text).value_or(-1), c.expected) << c.text.toStdString();
}

namespace {

// A real module's text extended by extraText.
MonitorRun runWith(const QStringList &args, const QByteArray &extraText = {})
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), QStringLiteral(PLV_TEST_BUNDLES_DIR));
    env.insert(QStringLiteral("PLV_TEST_MODULE_TEXT"), QString::fromUtf8(extraText));
    return plvmonitor(args, env);
}

} // namespace

TEST(BarOutput, PlvmonitorSpeaksEachProtocolOnARealModule)
{
    plvtest::TempGroupContainer container;
    const QByteArray nasty = " \"<i>\" %{F#f00}\nnext 🔥";
    const QStringList common{QStringLiteral("--interval"), QStringLiteral("0.05"), QStringLiteral("--ticks"), QStringLiteral("3")};

    const MonitorRun waybar = runWith(common + QStringList{QStringLiteral("--bar"), QStringLiteral("waybar")}, nasty);
    ASSERT_EQ(waybar.exitCode, 0) << waybar.err.toStdString();
    ASSERT_EQ(waybar.rawLines.size(), 3);
    QStringList texts;
    for (const QByteArray &line : waybar.rawLines)
        texts << parseObject(line).value(QStringLiteral("text")).toString();
    EXPECT_TRUE(texts[0].startsWith(QStringLiteral("tick "))) << texts[0].toStdString();
    EXPECT_NE(texts[0], texts[2]) << "the values move";

    const MonitorRun i3 = runWith(common + QStringList{QStringLiteral("--bar"), QStringLiteral("i3bar")}, nasty);
    ASSERT_EQ(i3.exitCode, 0) << i3.err.toStdString();
    ASSERT_EQ(i3.rawLines.size(), 5) << "header, opening bracket, three updates";
    EXPECT_EQ(parseObject(i3.rawLines[0]).value(QStringLiteral("version")).toInt(), 1);
    EXPECT_EQ(i3.rawLines[1], "[");
    for (int i = 2; i < 5; ++i) {
        const QByteArray body = i == 2 ? i3.rawLines[i] : i3.rawLines[i].mid(1);
        ASSERT_TRUE(QJsonDocument::fromJson(body).isArray()) << i3.rawLines[i].toStdString();
    }

    for (const QString &plain : {QStringLiteral("polybar"), QStringLiteral("text")}) {
        const MonitorRun r = runWith(common + QStringList{QStringLiteral("--bar"), plain}, nasty);
        ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
        ASSERT_EQ(r.rawLines.size(), 3) << plain.toStdString();
        EXPECT_TRUE(r.rawLines[0].contains("tick ")) << r.rawLines[0].toStdString();
    }

    // A bar reads a pipe that stays open: each update must arrive as it happens.
    QProcess live;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), QStringLiteral(PLV_TEST_BUNDLES_DIR));
    live.setProcessEnvironment(env);
    live.start(QStringLiteral(PLV_BUILD_BIN_DIR "/plvmonitor"), {QStringLiteral("--bar"), QStringLiteral("waybar")});
    EXPECT_TRUE(plvtest::waitUntil([&] { return live.canReadLine(); }, std::chrono::seconds(30)));
    EXPECT_EQ(live.state(), QProcess::Running);
    live.kill();
    live.waitForFinished();

    const MonitorRun bad = runWith({QStringLiteral("--bar"), QStringLiteral("lemonade")});
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_TRUE(bad.err.contains("--bar")) << bad.err.toStdString();
    const MonitorRun unknown = runWith({QStringLiteral("--bar"), QStringLiteral("text"), QStringLiteral("--only"), QStringLiteral("zzz")});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.err.contains("zzz")) << unknown.err.toStdString();
}

TEST(BarOutput, AnI3barClickOpensThatModulesPanelWhereTheClickWasAndAnotherClosesIt)
{
    plvtest::HelperServer xvfb(QStringLiteral("Xvfb"), {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-noreset"),
                                                     QStringLiteral("-nolisten"), QStringLiteral("tcp"), QStringLiteral("-screen"),
                                                     QStringLiteral("0"), QStringLiteral("1024x768x24")});
    if (xvfb.address.isEmpty())
        GTEST_SKIP() << "Xvfb is not installed";
    const QString xwininfo = QStandardPaths::findExecutable(QStringLiteral("xwininfo"));
    ASSERT_FALSE(xwininfo.isEmpty()) << "scripts/setup.sh installs x11-utils";
    const QString display = QLatin1Char(':') + xvfb.address;
    plvtest::TempGroupContainer container;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("PLV_PLUGINS_PATH"), QStringLiteral(PLV_TEST_BUNDLES_DIR));
    env.insert(QStringLiteral("DISPLAY"), display);
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    QProcess monitor;
    monitor.setProcessEnvironment(env);
    monitor.start(QStringLiteral(PLV_BUILD_BIN_DIR "/plvmonitor"), {QStringLiteral("--bar"), QStringLiteral("i3bar")});
    ASSERT_TRUE(plvtest::waitUntil([&] { return monitor.readAll().contains("full_text"); }, std::chrono::seconds(30)));

    // The panel as the X server has it: where its top left corner is, whether it is shown.
    struct Window {
        QPoint topLeft;
        int width = 0;
        bool shown = false;
    };
    const auto panel = [&]() -> std::optional<Window> {
        QProcess p;
        p.start(xwininfo, {QStringLiteral("-display"), display, QStringLiteral("-name"), QStringLiteral("Test module")});
        p.waitForFinished();
        const QString text = QString::fromUtf8(p.readAllStandardOutput());
        const auto field = [&](const char *name) {
            return QRegularExpression(QLatin1String(name) + QStringLiteral(":\\s+(\\S+)")).match(text).captured(1);
        };
        if (p.exitCode() != 0 || field("Width").isEmpty())
            return std::nullopt;
        return Window{QPoint(field("Absolute upper-left X").toInt(), field("Absolute upper-left Y").toInt()), field("Width").toInt(),
                      field("Map State") == QLatin1String("IsViewable")};
    };
    const QByteArray click = "{\"name\":\"ukn\",\"instance\":\"com.tallowcrest.test.module\",\"button\":1,\"x\":300,\"y\":10}\n";
    monitor.write("[\n" + click);
    ASSERT_TRUE(plvtest::waitUntil([&] { return panel() && panel()->shown; }, std::chrono::seconds(20)));
    const Window opened = *panel();
    // Centred under a click near the top of the screen.
    EXPECT_EQ(opened.topLeft, QPoint(300 - opened.width / 2, 10));

    monitor.write("," + click);
    EXPECT_TRUE(plvtest::waitUntil([&] { return panel() && !panel()->shown; }, std::chrono::seconds(20)));
    EXPECT_EQ(monitor.state(), QProcess::Running);
    monitor.kill();
    monitor.waitForFinished();
}
