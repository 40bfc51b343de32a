#include "LoggerKey.h"

LoggerKey::LoggerKey(LoggerType type, LoggerDataType dataType, int id)
    : type(type), dataType(dataType), id(id)
{
}

uint32_t LoggerKey::hashValue() const
{
    // Unsigned arithmetic wraps like the target's 32-bit int without undefined behaviour.
    const uint32_t value = static_cast<uint32_t>(id) * 100u + static_cast<uint32_t>(type);
    return value * 100u + static_cast<uint32_t>(dataType);
}

uint32_t LoggerTypeStruct::hashValue() const
{
    return static_cast<uint32_t>(type) * 100u + static_cast<uint32_t>(dataType);
}

uint qHash(const LoggerKey& key, uint seed)
{
    return key.hashValue() ^ seed;
}

uint qHash(const LoggerTypeStruct& key, uint seed)
{
    return key.hashValue() ^ seed;
}
