#include "LogCapture.h"

#include "LoggerLogging.h"

#include <QFile>
#include <QTemporaryDir>

namespace {

QTemporaryDir& captureDirectory()
{
    static QTemporaryDir directory;
    return directory;
}

} // namespace

bool LogCapture::install()
{
    QTemporaryDir& directory = captureDirectory();
    if (!directory.isValid())
        return false;
    const QString config = directory.filePath(QStringLiteral("capture.properties"));
    if (LoggerLogging::getSource() != LoggerLogging::Source::NotConfigured)
        return LoggerLogging::getConfigurationFile() == config;
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    const QString text = QStringLiteral("log4j.rootLogger=INFO, capture\n"
                                        "log4j.appender.capture=org.apache.log4j.FileAppender\n"
                                        "log4j.appender.capture.File=%1\n"
                                        "log4j.appender.capture.Append=false\n"
                                        "log4j.appender.capture.ImmediateFlush=true\n"
                                        "log4j.appender.capture.layout=org.apache.log4j.PatternLayout\n"
                                        "log4j.appender.capture.layout.ConversionPattern=%c|%p|%m%n\n")
                             .arg(LogCapture::file());
    file.write(text.toUtf8());
    file.close();
    qputenv(LoggerLogging::kConfigVariable, QFile::encodeName(config));
    LoggerLogging::configure();
    return LoggerLogging::getSource() == LoggerLogging::Source::File;
}

LogCapture& LogCapture::instance()
{
    static LogCapture capture;
    install();
    return capture;
}

QString LogCapture::file()
{
    return captureDirectory().filePath(QStringLiteral("capture.log"));
}

QStringList LogCapture::lines()
{
    QFile log(file());
    if (!log.open(QIODevice::ReadOnly))
        return QStringList();
    QStringList result = QString::fromUtf8(log.readAll()).split(QLatin1Char('\n'));
    if (!result.isEmpty() && result.last().isEmpty())
        result.removeLast();
    return result;
}

int LogCapture::count(const QString& line)
{
    return lines().count(line);
}

QString LogCapture::text()
{
    return lines().join(QLatin1Char('\n'));
}
