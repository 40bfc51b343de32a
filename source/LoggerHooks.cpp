#include "LoggerHooks.h"

namespace LoggerHooks {

std::function<void(unsigned long)>& retrySleep()
{
    static std::function<void(unsigned long)> hook;
    return hook;
}

std::function<void(const std::string&, LoggerMessageType)>& retryMessage()
{
    static std::function<void(const std::string&, LoggerMessageType)> hook;
    return hook;
}

std::function<QDate()>& today()
{
    static std::function<QDate()> hook;
    return hook;
}

std::function<void(const std::string&, LoggerMessageType)>& loggerMessage()
{
    static std::function<void(const std::string&, LoggerMessageType)> hook;
    return hook;
}

std::function<void(unsigned long)>& readPause()
{
    static std::function<void(unsigned long)> hook;
    return hook;
}

bool& fullTimeFileWalk()
{
    static bool hook = false;
    return hook;
}

} // namespace LoggerHooks
