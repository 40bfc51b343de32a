#include "LoggerOperator.h"

#include "LoggerDb.h"

#include <QByteArray>
#include <QStringList>

#include <algorithm>
#include <cstring>

namespace {

constexpr int kUserCharacters = kOperatorUserSize - 1; // the record keeps room for a terminator
constexpr int kIpParts = 4;
constexpr char kDefaultUser[] = "device";

void message(const QString& text, LoggerMessageType type)
{
    LoggerDb::getInstance().loggerMessage(text.toStdString(), type);
}

} // namespace

LoggerOperator::LoggerOperator()
    : LoggerTemplate<DataOperator>(LoggerType::OPERATOR, LoggerDataType::OPERATOR, sizeof(DataOperator))
{
    mMaximumFileSize = kMaximumFileSize;
}

LoggerOperator::~LoggerOperator() = default;

QString LoggerOperator::getLoggerName()
{
    return QStringLiteral("LoggerOperator");
}

QString LoggerOperator::getConfiguratedMeasuredTypeId()
{
    return QStringLiteral("operator");
}

LoggerOperator& LoggerOperator::instance()
{
    static LoggerOperator operatorLogger;
    return operatorLogger;
}

LoggerOperator* LoggerOperator::getInstance()
{
    return &instance();
}

bool LoggerOperator::getEnabled()
{
    return instance().isEnabled();
}

bool LoggerOperator::initialize()
{
    message(QStringLiteral("Initializing LoggerOperator"), LOGGER_MESSAGE_INFO);
    return instance().initializeLogger();
}

bool LoggerOperator::start()
{
    message(QStringLiteral("Starting LoggerOperator"), LOGGER_MESSAGE_INFO);
    return instance().startLogger();
}

int LoggerOperator::getDaysPerFileInterval()
{
    return instance().getDaysPerFile();
}

void LoggerOperator::createDefault(DataOperator& item)
{
    std::memset(static_cast<void*>(&item), 0, sizeof(item));
}

void LoggerOperator::setUser(QString user, DataOperator& item)
{
    const QByteArray latin1 = user.toLatin1().left(kUserCharacters);
    std::memcpy(item.user, latin1.constData(), static_cast<size_t>(latin1.size()));
}

void LoggerOperator::setIp(QString ip, DataOperator& item)
{
    const QStringList parts = ip.split(QLatin1Char('.'));
    for (int index = 0; index < kIpParts; ++index) {
        item.ip[index] = static_cast<uint8_t>(parts.at(index).toInt(nullptr, 10));
    }
}

bool LoggerOperator::remove(bool reinitialize)
{
    if (!instance().mOperatorEnabled) {
        return true;
    }
    return instance().deleteActualLogger(reinitialize);
}

timespec LoggerOperator::getTime()
{
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return time;
}

bool LoggerOperator::getUserName(char* user)
{
    std::memcpy(user, kDefaultUser, sizeof(kDefaultUser));
    return true;
}

QString LoggerOperator::getQUserName()
{
    return QString::fromLatin1(kDefaultUser);
}

void LoggerOperator::closeTimer()
{
    instance().mCache.closeTimer();
}

bool LoggerOperator::logEvent(DataOperator item)
{
    if (!instance().mOperatorEnabled) {
        return true;
    }
    // Only both words at 0 count as unset: a time of a few nanoseconds is a time.
    if (item.utc.tv_sec == 0 && item.utc.tv_nsec == 0) {
        item.utc = getTime();
    }
    if (item.user[0] == 0) {
        getUserName(item.user);
    }
    message(QStringLiteral("LoggerOperator::logEvent, ") + QString::number(item.utc.tv_sec),
            LOGGER_MESSAGE_ROUTINE);
    return instance().writeLoggerItem(&item);
}

bool LoggerOperator::createNewOperatorFile(timespec time)
{
    if (!instance().mOperatorEnabled) {
        return false;
    }
    return instance().LoggerBase::createNewFile(time, LoggerDataType::OPERATOR);
}

bool LoggerOperator::isOperatorEnabled() const
{
    return mOperatorEnabled;
}

void LoggerOperator::setOperatorEnabled(bool enabled)
{
    mOperatorEnabled = enabled;
}
