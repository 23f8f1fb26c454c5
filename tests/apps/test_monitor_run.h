#pragma once
// The built plvmonitor run to its end, for the tests of its command line.
#include <QProcess>

struct MonitorRun {
    int exitCode = -1; // -1: crashed or killed
    QList<QByteArray> rawLines; // standard output as a bar reads it: blank lines kept
    QStringList lines;          // the same, blank lines left out
    QByteArray err;
};

inline MonitorRun plvmonitor(const QStringList &args, const QProcessEnvironment &env = QProcessEnvironment::systemEnvironment())
{
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(QStringLiteral(PLV_BUILD_BIN_DIR "/plvmonitor"), args);
    if (!p.waitForFinished(60000)) {
        p.kill();
        p.waitForFinished();
    }
    MonitorRun r;
    r.exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    const QByteArray out = p.readAllStandardOutput();
    r.rawLines = out.split('\n');
    if (r.rawLines.last().isEmpty())
        r.rawLines.removeLast();
    r.lines = QString::fromUtf8(out).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    r.err = p.readAllStandardError();
    return r;
}
