#include "ScopedTimeZone.h"

#include <QtGlobal>
#include <ctime>

ScopedTimeZone::ScopedTimeZone(const QByteArray& zone)
    : mHadZone(qEnvironmentVariableIsSet("TZ")), mPreviousZone(qgetenv("TZ"))
{
    qputenv("TZ", zone);
    tzset();
}

ScopedTimeZone::~ScopedTimeZone()
{
    if (mHadZone)
        qputenv("TZ", mPreviousZone);
    else
        qunsetenv("TZ");
    tzset();
}
