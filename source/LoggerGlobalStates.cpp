#include "LoggerGlobalStates.h"

#include "LoggerDb.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

namespace {

QString stateFilePath(const char* fileName)
{
    return QDir(LoggerGlobalStates::getStateDirectory()).filePath(QString::fromLatin1(fileName));
}

// Opens, reads whole and closes the file. False where it can't be opened.
bool readStateFile(const char* fileName, QByteArray& content)
{
    QFile file(stateFilePath(fileName));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    content = file.readAll();
    file.close();
    return true;
}

// A decimal integer; 0 where the text is none. Blanks and a line end around the number are
// allowed, as a file written by hand or by the shell has them.
int toStateInteger(const QByteArray& content)
{
    bool ok = false;
    const int value = content.trimmed().toInt(&ok, 10);
    return ok ? value : 0;
}

// Opens the file write-only and writes the text without a line end. A kernel file is written
// in one piece; on a regular file a reader may find it empty between truncation and write,
// which reads as 0.
bool writeStateFile(const char* fileName, const QByteArray& text)
{
    QFile file(stateFilePath(fileName));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    const bool written = file.write(text) == text.size();
    file.close();
    return written;
}

} // namespace

LoggerGlobalStates& LoggerGlobalStates::getInstance()
{
    static LoggerGlobalStates instance;
    return instance;
}

LoggerGlobalStates::LoggerGlobalStates() = default;

LoggerGlobalStates::~LoggerGlobalStates() = default;

QString LoggerGlobalStates::getStateDirectory()
{
    const QString directory = qEnvironmentVariable(kStateDirectoryVariable);
    return directory.isEmpty() ? QString::fromLatin1(kDefaultStateDirectory) : directory;
}

bool LoggerGlobalStates::isAvailable() const
{
    QByteArray content;
    if (!readStateFile(kAvailableFileName, content))
        return false;
    return toStateInteger(content) != 0;
}

bool LoggerGlobalStates::isReadable() const
{
    QByteArray content;
    if (!readStateFile(kReadableFileName, content))
        return false;
    return toStateInteger(content) != 0;
}

bool LoggerGlobalStates::setReadable(bool readable)
{
    return writeStateFile(kReadableFileName, readable ? QByteArrayLiteral("1") : QByteArrayLiteral("0"));
}

LoggerState LoggerGlobalStates::getLoggerState() const
{
    QByteArray content;
    if (!readStateFile(kLoggerStateFileName, content))
        return LOGGER_STATE_LOGGER_FAILED;
    return toStateInteger(content);
}

bool LoggerGlobalStates::setLoggerState(LoggerState state)
{
    const bool written = writeStateFile(kLoggerStateFileName, QByteArray::number(state, 10));
    if (written)
        LoggerDb::getInstance().loggerMessage("Write Logger State: " + QByteArray::number(state, 16).toStdString(),
                                              LOGGER_MESSAGE_ROUTINE);
    return written;
}
