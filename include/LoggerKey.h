#pragma once

#include "qzlogger_export.h"

#include "LoggerTypes.h"

#include <QtGlobal>
#include <functional>

// Identifies one logger: its kind, the layout of its items and the Id of its row in the
// catalogue. It is the key of the change flags shared between logger objects.
struct QZLOGGER_EXPORT LoggerKey {
    LoggerType type = LoggerType::NONE;
    LoggerDataType dataType = LoggerDataType::NONE;
    int32_t id = 0;

    LoggerKey() = default;
    LoggerKey(LoggerType type, LoggerDataType dataType, int id);

    bool operator==(const LoggerKey& other) const
    {
        return type == other.type && dataType == other.dataType && id == other.id;
    }
    bool operator!=(const LoggerKey& other) const { return !(*this == other); }

    // (id * 100 + type) * 100 + dataType in 32-bit arithmetic, wrapping as on the target.
    uint32_t hashValue() const;
};

// Identifies one family of loggers, the unit of a memory quota.
struct QZLOGGER_EXPORT LoggerTypeStruct {
    LoggerType type = LoggerType::NONE;
    LoggerDataType dataType = LoggerDataType::NONE;

    LoggerTypeStruct() = default;
    LoggerTypeStruct(LoggerType type, LoggerDataType dataType) : type(type), dataType(dataType) {}

    bool operator==(const LoggerTypeStruct& other) const
    {
        return type == other.type && dataType == other.dataType;
    }
    bool operator!=(const LoggerTypeStruct& other) const { return !(*this == other); }

    // type * 100 + dataType.
    uint32_t hashValue() const;
};

// Hash functions for QHash: the key's value combined with the table's seed by XOR.
QZLOGGER_EXPORT uint qHash(const LoggerKey& key, uint seed = 0);
QZLOGGER_EXPORT uint qHash(const LoggerTypeStruct& key, uint seed = 0);

namespace std {
template <> struct hash<LoggerKey> {
    size_t operator()(const LoggerKey& key) const { return key.hashValue(); }
};
template <> struct hash<LoggerTypeStruct> {
    size_t operator()(const LoggerTypeStruct& key) const { return key.hashValue(); }
};
} // namespace std
