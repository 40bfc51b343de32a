#include "ProcessInfo.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>

namespace {

QByteArray readProcFile(pid_t pid, const char* name)
{
    QFile file(QStringLiteral("/proc/%1/%2").arg(static_cast<qlonglong>(pid)).arg(QLatin1String(name)));
    if (!file.open(QIODevice::ReadOnly)) {
        return QByteArray();
    }
    // Files below /proc report a size of 0: read until the end instead.
    return file.readAll();
}

} // namespace

QString ProcessInfo::getProcessName(pid_t pid)
{
    const QByteArray comm = readProcFile(pid, "comm").trimmed();
    if (!comm.isEmpty()) {
        return QString::fromLocal8Bit(comm);
    }
    // The command line is a list of words, each ended by a NUL; the first is the program.
    const QByteArray commandLine = readProcFile(pid, "cmdline");
    const int end = commandLine.indexOf('\0');
    const QByteArray program = end < 0 ? commandLine : commandLine.left(end);
    if (program.isEmpty()) {
        return QString();
    }
    return QFileInfo(QString::fromLocal8Bit(program)).fileName();
}
