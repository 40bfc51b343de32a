#pragma once

#include "qzlogger_export.h"

#include "DataMeasType.h"
#include "DefnBaseType.h"
#include "LoggerFileInfoTypes.h"

#include <QString>

#include <memory>
#include <vector>

// A logger of measured values (type CYCLIC): the description of its quantity and its files.
class QZLOGGER_EXPORT DefnMeasureType : public DefnBaseType {
public:
    DefnMeasureType() { mType = LoggerType::CYCLIC; }
    ~DefnMeasureType() override;

    // Typed reads in the transaction that the caller holds. A data type of NONE stands for
    // every data type. Results come in the order of the catalogue. Without a transaction current
    // in the calling thread, and where SQLite fails, they throw qzdb::Exception.
    //
    // The identification strings of the loggers of a data type, each once.
    static std::vector<QString> readIds(LoggerDataType dataType);
    static std::vector<DefnMeasureType> readMeasuredTypes(LoggerDataType dataType);
    static std::vector<DefnMeasureType> readMeasuredTypes(LoggerDataType dataType, const QString& configId);
    static std::vector<std::shared_ptr<DefnMeasureType>> readPtrMeasuredTypes(LoggerDataType dataType);
    static std::vector<std::shared_ptr<DefnMeasureType>> readPtrMeasuredTypes(LoggerDataType dataType,
                                                                              const QString& configId);
    // The number of loggers of the data type; NONE counts them all.
    static int countMeasuredTypes(LoggerDataType dataType);

    int getFileListSize() const override;
    void clearFileList() override;
    // Appends a LoggerFileInfoMeasure only; another class is ignored.
    void AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo) override;
    // A position outside the list removes nothing and finds null.
    void removeFileInfo(int index) override;
    std::shared_ptr<LoggerFileInfo> getFileInfo(int index) const override;
    double getInterval() const override;
    QString getConfigId() const override;

    DataMeasType MeasType; // what is measured, with the logger's identification as configId
    // The files in the order of the list; stored as links, which come back in no set order.
    std::vector<std::shared_ptr<LoggerFileInfoMeasure>> FileInfos;
};
