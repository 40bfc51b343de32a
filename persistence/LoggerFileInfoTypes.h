#pragma once

#include "qzlogger_export.h"

#include "LoggerFileInfo.h"

// The file infos of the five kinds of loggers. Each has a catalogue table of its own with the
// columns of LoggerFileInfo, and adds no member: the class says which table a file belongs to,
// and a new object carries the matching mType.

class QZLOGGER_EXPORT LoggerFileInfoMeasure : public LoggerFileInfo {
public:
    LoggerFileInfoMeasure() { mType = LoggerType::CYCLIC; }
    explicit LoggerFileInfoMeasure(LoggerDataType dataType) : LoggerFileInfo(dataType)
    {
        mType = LoggerType::CYCLIC;
    }
    ~LoggerFileInfoMeasure() override;
};

class QZLOGGER_EXPORT LoggerFileInfoEvent : public LoggerFileInfo {
public:
    LoggerFileInfoEvent() { mType = LoggerType::EVENT; }
    explicit LoggerFileInfoEvent(LoggerDataType dataType) : LoggerFileInfo(dataType)
    {
        mType = LoggerType::EVENT;
    }
    ~LoggerFileInfoEvent() override;
};

class QZLOGGER_EXPORT LoggerFileInfoPqEvent : public LoggerFileInfo {
public:
    LoggerFileInfoPqEvent() { mType = LoggerType::PQEVENT; }
    explicit LoggerFileInfoPqEvent(LoggerDataType dataType) : LoggerFileInfo(dataType)
    {
        mType = LoggerType::PQEVENT;
    }
    ~LoggerFileInfoPqEvent() override;
};

class QZLOGGER_EXPORT LoggerFileInfoDisturb : public LoggerFileInfo {
public:
    LoggerFileInfoDisturb() { mType = LoggerType::DISTURB; }
    explicit LoggerFileInfoDisturb(LoggerDataType dataType) : LoggerFileInfo(dataType)
    {
        mType = LoggerType::DISTURB;
    }
    ~LoggerFileInfoDisturb() override;
};

class QZLOGGER_EXPORT LoggerFileInfoOperator : public LoggerFileInfo {
public:
    LoggerFileInfoOperator() { mType = LoggerType::OPERATOR; }
    explicit LoggerFileInfoOperator(LoggerDataType dataType) : LoggerFileInfo(dataType)
    {
        mType = LoggerType::OPERATOR;
    }
    ~LoggerFileInfoOperator() override;
};
