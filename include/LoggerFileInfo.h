#pragma once

#include "qzlogger_export.h"

#include "LoggerTypes.h"

#include <memory>

// The in-memory record of one data file. The name of the file, its folder and its place in
// the catalogue follow from these fields alone. The first-data-item flag and the file position
// are the writer's working state and are not stored in the catalogue.
class QZLOGGER_EXPORT LoggerFileInfo {
public:
    LoggerFileInfo() = default;
    explicit LoggerFileInfo(LoggerDataType dataType) : DataType(dataType) {}
    virtual ~LoggerFileInfo();

    int32_t Id = 0; // key of the row in the catalogue
    DataTimespec UtcCreated = {0, 0};
    DataTimespec UtcStart = {0, 0}; // first item, zero while there is none
    DataTimespec UtcEnd = {0, 0};   // last item
    LoggerDataType DataType = LoggerDataType::NONE;
    uint32_t GuidLow = 0; // the file name's unique part
    uint32_t GuidHigh = 0;
    int32_t HeaderSize = 0;      // bytes before the first item
    int32_t DataBlockSize = 0;   // bytes of one item; governs the file, not the data type
    bool mFirstDataItem = false; // true while the file holds no item
    int32_t mFilePosition = 0;   // byte offset of the next write
    LoggerType mType = LoggerType::NONE;
};

using PtrLoggerFileInfo = std::shared_ptr<LoggerFileInfo>;
