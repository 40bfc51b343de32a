#pragma once

#include "LoggerTimeStamp.h"

#include <ctime>

// Time arithmetic for classes that work on a time stamp type of their own. T is timespec or
// any type that converts to a timespec and can be assigned from one, such as the on-disk
// DataTimespec. The arithmetic is that of LoggerTimeStamp, so that both give the same results.
template <typename T> class TimeStampBase {
public:
    // a minus b, as LoggerTimeStamp::subtract.
    static T subtract(const T& a, const T& b);
};

template <typename T> T TimeStampBase<T>::subtract(const T& a, const T& b)
{
    T result{};
    result = LoggerTimeStamp::subtract(static_cast<timespec>(a), static_cast<timespec>(b));
    return result;
}
