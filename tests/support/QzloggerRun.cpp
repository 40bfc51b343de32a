#include "QzloggerRun.h"

#include "ConfigurationText.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <csignal>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

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

TerminalRun runToolOnTerminal(const QStringList& arguments)
{
    TerminalRun run;
    int terminal = -1;
    int child = -1;
    if (openpty(&terminal, &child, nullptr, nullptr, nullptr) != 0)
        return run;
    std::vector<QByteArray> words{QFile::encodeName(qzloggerProgram())};
    for (const QString& argument : arguments)
        words.push_back(argument.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        close(terminal);
        dup2(child, STDOUT_FILENO);
        dup2(child, STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(child);
    // The terminal gives EIO once the program and its last descriptor of it are gone.
    const QDeadlineTimer deadline(60000);
    char buffer[4096];
    while (pid > 0) {
        pollfd ready{terminal, POLLIN, 0};
        if (poll(&ready, 1, static_cast<int>(deadline.remainingTime())) <= 0) {
            kill(pid, SIGKILL);
            break;
        }
        const ssize_t length = read(terminal, buffer, sizeof(buffer));
        if (length <= 0)
            break;
        run.shown.append(buffer, static_cast<int>(length));
    }
    close(terminal);
    int status = 0;
    if (pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && !deadline.hasExpired())
        run.status = WEXITSTATUS(status);
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
