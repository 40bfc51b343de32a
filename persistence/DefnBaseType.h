#pragma once

#include "qzlogger_export.h"

#include "LoggerTypes.h"

#include <QString>

#include <cstdint>
#include <memory>

class LoggerFileInfo;

// One logger in the catalogue: its key, the time range in which it was in use, its kind and the
// layout of its items. The classes derived from it add the logger's identification and the list
// of its files; mType says which of them an object is, and so which table it is stored in.
// An object of the base class itself stands for a logger of type NONE and has no files.
class QZLOGGER_EXPORT DefnBaseType {
public:
    DefnBaseType() = default;
    virtual ~DefnBaseType();

    // The file list. The base has none: it counts 0, appends and removes nothing and finds no
    // file.
    virtual int getFileListSize() const;
    virtual void clearFileList();
    virtual void AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo);
    virtual void removeFileInfo(int index);
    virtual std::shared_ptr<LoggerFileInfo> getFileInfo(int index) const;

    // The measuring interval in seconds; 0 but for measured quantities.
    virtual double getInterval() const;
    // The logger's identification string; empty where the class has none.
    virtual QString getConfigId() const;

    int32_t Id = 0;
    DataTimespec UtcStart = {0, 0};
    DataTimespec UtcEnd = {0, 0};
    LoggerType mType = LoggerType::NONE;
    LoggerDataType mDataType = LoggerDataType::NONE;
};

using PtrDefnBaseType = std::shared_ptr<DefnBaseType>;
