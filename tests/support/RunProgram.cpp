#include "RunProgram.h"

#include <QProcess>

int runProgram(const QString& program, const QStringList& arguments, QString& output)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForStarted(10000) || !process.waitForFinished(30000)) {
        process.kill();
        process.waitForFinished(1000);
        output = process.errorString();
        return -1;
    }
    output = QString::fromLocal8Bit(process.readAll()).trimmed();
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}
