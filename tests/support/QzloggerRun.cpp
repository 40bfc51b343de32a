#include "QzloggerRun.h"

#include "ConfigurationText.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

QString qzloggerProgram()
{
    return QStringLiteral(QZLOGGER_TOOL);
}

ToolRun runTool(const QStringList& arguments)
{
    return runTool(arguments, QProcessEnvironment::systemEnvironment());
}

ToolRun runTool(const QStringList& arguments, const QProcessEnvironment& environment)
{
    ToolRun run;
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(qzloggerProgram(), arguments);
    if (!process.waitForStarted(10000) || !process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished(1000);
        run.output = process.errorString();
        return run;
    }
    run.standardOutput = process.readAllStandardOutput();
    const QByteArray errors = process.readAllStandardError();
    run.output = QString::fromLocal8Bit(run.standardOutput + errors).trimmed();
    run.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return run;
}

ToolRun runToolLive(const QStringList& arguments)
{
    QTemporaryDir configuration;
    if (!configuration.isValid() || !ConfigurationText()
                                         .without("targetPath")
                                         .set("fileDir", QByteArrayLiteral("data"))
                                         .set("dbName", QByteArrayLiteral("logger.db"))
                                         .writeTo(configuration.filePath(QStringLiteral("database.xml")))) {
        ToolRun failed;
        failed.output = QStringLiteral("the configuration for the live run could not be written");
        return failed;
    }
    const QByteArray earlier = qgetenv("XDG_CONFIG_HOME");
    const bool had = qEnvironmentVariableIsSet("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(configuration.path()));
    const ToolRun run = runTool(arguments);
    if (had)
        qputenv("XDG_CONFIG_HOME", earlier);
    else
        qunsetenv("XDG_CONFIG_HOME");
    return run;
}

std::unique_ptr<QTemporaryDir> copyCard(const QString& mountPoint)
{
    auto copy = std::make_unique<QTemporaryDir>(QStringLiteral("/var/log/qzlogger-card-XXXXXX"));
    if (!copy->isValid())
        return nullptr;
    const QDir source(mountPoint);
    QDirIterator walk(source.path(), QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QString from = walk.next();
        const QString to = copy->filePath(source.relativeFilePath(from));
        if (!QDir().mkpath(QFileInfo(to).path()) || !QFile::copy(from, to))
            return nullptr;
    }
    return copy;
}

QStringList rowOf(const QString& listing, const QString& first)
{
    for (const QString& line : listing.split(QLatin1Char('\n'))) {
        const QStringList columns = line.split(QLatin1Char(' '), Qt::SkipEmptyParts);
        if (!columns.isEmpty() && columns.first() == first)
            return columns;
    }
    return {};
}
