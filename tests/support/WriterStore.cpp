#include "WriterStore.h"

#include "ChildTestProcess.h"
#include "LoggerDb.h"
#include "LoggerGlobalStates.h"

#include <QDir>
#include <QFile>
#include <QStringList>

namespace {

constexpr const char* kMountPointTemplate = "/var/log/qzlogger-test-XXXXXX";
constexpr const char* kPidFileName = "qzlogger.writer.pid";
constexpr const char* kPidFileVariable = "QZLOGGER_PID_FILE";

QString loggerPathOf(const QString& mountPoint)
{
    return mountPoint + QStringLiteral("/logger");
}

} // namespace

WriterStore::WriterStore() : WriterStore(Options())
{
}

WriterStore::WriterStore(const Options& options) : mOptions(options)
{
}

WriterStore::~WriterStore()
{
    LoggerDb::getInstance().close();
    mCard.stop();
    mBus.stop();
    if (mVariablesSet) {
        restoreVariable(kPidFileVariable, mHadPidFile, mEarlierPidFile);
        restoreVariable(LoggerGlobalStates::kStateDirectoryVariable, mHadStateDir, mEarlierStateDir);
        qunsetenv(kMountPointVariable);
    }
}

bool WriterStore::fail(const QString& error)
{
    mError = error;
    return false;
}

void WriterStore::restoreVariable(const char* name, bool had, const QByteArray& value)
{
    if (had)
        qputenv(name, value);
    else
        qunsetenv(name);
}

bool WriterStore::start()
{
    if (!mBus.start())
        return fail(QStringLiteral("private system bus: ") + mBus.errorString());

    mMountPoint = std::make_unique<QTemporaryDir>(QString::fromLatin1(kMountPointTemplate));
    if (!mMountPoint->isValid())
        return fail(QStringLiteral("mount point: ") + mMountPoint->errorString());
    if (!QDir().mkpath(loggerPath()))
        return fail(QStringLiteral("cannot make ") + loggerPath());
    if (!mStateDirectory.isValid())
        return fail(QStringLiteral("state directory: ") + mStateDirectory.errorString());

    if (mOptions.startCard) {
        QStringList options{QStringLiteral("--state"),       QString::number(mOptions.cardState),
                            QStringLiteral("--mount-point"), mountPoint(),
                            QStringLiteral("--logger-path"), loggerPath()};
        if (mOptions.loggerSize >= 0)
            options << QStringLiteral("--logger-size") << QString::number(mOptions.loggerSize);
        if (!mCard.start(options))
            return fail(QStringLiteral("card simulator: ") + mCard.errorString());
    }

    mHadPidFile = qEnvironmentVariableIsSet(kPidFileVariable);
    mEarlierPidFile = qgetenv(kPidFileVariable);
    mHadStateDir = qEnvironmentVariableIsSet(LoggerGlobalStates::kStateDirectoryVariable);
    mEarlierStateDir = qgetenv(LoggerGlobalStates::kStateDirectoryVariable);
    mVariablesSet = true;
    qputenv(kPidFileVariable, QFile::encodeName(pidFile()));
    qputenv(LoggerGlobalStates::kStateDirectoryVariable, QFile::encodeName(stateDirectory()));
    qputenv(kMountPointVariable, QFile::encodeName(mountPoint()));

    LoggerDb::getInstance().setWriterMode(true);
    if (!mOptions.initialize)
        return true;
    if (!initializeWriter())
        return fail(QStringLiteral("LoggerDb::initialize failed: ") + LoggerDb::getInstance().getLastError());
    return true;
}

bool WriterStore::initializeWriter()
{
    return LoggerDb::getInstance().initialize(mountPoint(), loggerPath(), QString::fromLatin1(kDataFolder),
                                              QString::fromLatin1(kDbName), mOptions.dropSchema);
}

QString WriterStore::mountPoint() const
{
    return mMountPoint ? mMountPoint->path() : QString();
}

QString WriterStore::loggerPath() const
{
    return loggerPathOf(mountPoint());
}

QString WriterStore::dataFolderPath() const
{
    return loggerPath() + QLatin1Char('/') + QLatin1String(kDataFolder);
}

QString WriterStore::databaseFile() const
{
    return loggerPath() + QLatin1Char('/') + QLatin1String(kDbName);
}

QString WriterStore::pidFile() const
{
    return mStateDirectory.filePath(QString::fromLatin1(kPidFileName));
}

QString WriterStore::stateDirectory() const
{
    return mStateDirectory.path();
}

LoggerState WriterStore::readLoggerStateFile() const
{
    QFile file(
        QDir(stateDirectory()).filePath(QString::fromLatin1(LoggerGlobalStates::kLoggerStateFileName)));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().trimmed().toInt();
}

void WriterStore::handOver()
{
    LoggerDb::getInstance().releaseWriterLock();
}

void WriterStore::exportTo(ChildTestProcess& child) const
{
    child.setVariable(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), mBus.address());
    child.setVariable(QString::fromLatin1(kPidFileVariable), pidFile());
    child.setVariable(QString::fromLatin1(LoggerGlobalStates::kStateDirectoryVariable), stateDirectory());
    child.setVariable(QString::fromLatin1(kMountPointVariable), mountPoint());
}

bool ReaderStore::isAvailable()
{
    return !qEnvironmentVariable(WriterStore::kMountPointVariable).isEmpty();
}

ReaderStore::~ReaderStore()
{
    LoggerDb::getInstance().close();
}

bool ReaderStore::start()
{
    if (!isAvailable())
        return false;
    LoggerDb::getInstance().setWriterMode(false);
    return LoggerDb::getInstance().initialize(mountPoint(), loggerPath(),
                                              QString::fromLatin1(WriterStore::kDataFolder),
                                              QString::fromLatin1(WriterStore::kDbName), false);
}

bool ReaderStore::startAsWriter()
{
    if (!isAvailable())
        return false;
    LoggerDb::getInstance().setWriterMode(true);
    return LoggerDb::getInstance().initialize(mountPoint(), loggerPath(),
                                              QString::fromLatin1(WriterStore::kDataFolder),
                                              QString::fromLatin1(WriterStore::kDbName), false);
}

QString ReaderStore::mountPoint() const
{
    return qEnvironmentVariable(WriterStore::kMountPointVariable);
}

QString ReaderStore::loggerPath() const
{
    return loggerPathOf(mountPoint());
}

QString ReaderStore::databaseFile() const
{
    return loggerPath() + QLatin1Char('/') + QLatin1String(WriterStore::kDbName);
}
