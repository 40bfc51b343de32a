#pragma once

#include <QByteArray>

// Sets the process's time zone (the TZ variable, then tzset) for the lifetime of the object
// and restores the previous setting afterwards. Local-time conversions of the C library and
// of Qt follow it at once.
class ScopedTimeZone {
public:
    explicit ScopedTimeZone(const QByteArray& zone);
    ~ScopedTimeZone();
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

private:
    bool mHadZone;
    QByteArray mPreviousZone;
};
