#pragma once

// The definitions of LoggerApi's private read templates, shared by the files that implement its
// getters.

#include "LoggerApi.h"
#include "LoggerHeader.h"

template <typename T>
std::shared_ptr<LoggerResult<T>> LoggerApi::readItems(LoggerType type, int baseTypeId, timespec start,
                                                      timespec end, int maxItems, int* firstItemId)
{
    int itemId = 0;
    LoggerHeader header{};
    std::shared_ptr<LoggerResult<T>> result =
        getValues<T, void*>(type, baseTypeId, start, end, maxItems, itemId, header);
    if (firstItemId != nullptr)
        *firstItemId = itemId;
    return result;
}

template <typename T>
std::shared_ptr<LoggerResult<T>> LoggerApi::readTimeRange(LoggerType type, LoggerDataType dataType,
                                                          const QString& id, timespec start, timespec end,
                                                          int maxItems, int* firstItemId)
{
    int baseTypeId = -1;
    if (!identify(type, dataType, id, baseTypeId, kFailedLookupPause)) {
        return nullptr;
    }
    std::shared_ptr<LoggerResult<T>> result = readItems<T>(type, baseTypeId, start, end, maxItems, firstItemId);
    reportReversedRange(start, end);
    return result;
}

template <typename T>
std::shared_ptr<LoggerResult<T>> LoggerApi::readTimeRange(LoggerType type, int baseTypeId, timespec start,
                                                          timespec end)
{
    if (!mDatabase.checkValidity()) {
        return nullptr;
    }
    // The base type carries its own data type; the read needs only the family.
    std::shared_ptr<LoggerResult<T>> result = readItems<T>(type, baseTypeId, start, end, -1, nullptr);
    reportReversedRange(start, end);
    return result;
}
