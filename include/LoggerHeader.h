#pragma once

#include <cstddef>
#include <cstdint>

constexpr int kLoggerHeaderSize = 44; // version, reserved, created, type, owner, word, id, scales
constexpr int32_t kLoggerHeaderVersion = 1;

// The 44 bytes at the start of every data file, little-endian, each field 4 bytes wide.
struct LoggerHeader {
    int32_t version; // 1 when written; no reader checks it
    int32_t reserved[2];
    int32_t utcCreatedSec; // UtcCreated of the file info
    int32_t utcCreatedNsec;
    int32_t dataType;   // LoggerDataType
    int32_t baseTypeId; // Id of the DefnBaseType row that owns the file
    int32_t headerWord; // in a HARMONICS file: 0 for 51 orders, 1 for 41
    int32_t uniqueId;   // running number of the file's first item within its logger
    float Parameter1;   // scales of the content (voltage scale of SAMPLES16, ...)
    float Parameter2;
};

static_assert(sizeof(LoggerHeader) == kLoggerHeaderSize, "the data file header is 44 bytes");
static_assert(offsetof(LoggerHeader, utcCreatedSec) == 12, "header layout");
static_assert(offsetof(LoggerHeader, dataType) == 20, "header layout");
static_assert(offsetof(LoggerHeader, baseTypeId) == 24, "header layout");
static_assert(offsetof(LoggerHeader, headerWord) == 28, "header layout");
static_assert(offsetof(LoggerHeader, uniqueId) == 32, "header layout");
static_assert(offsetof(LoggerHeader, Parameter1) == 36, "header layout");
static_assert(offsetof(LoggerHeader, Parameter2) == 40, "header layout");
