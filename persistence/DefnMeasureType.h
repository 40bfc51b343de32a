#pragma once

#include "DataMeasType.h"
#include "DefnBaseType.h"
#include "LoggerFileInfoTypes.h"

#include <memory>
#include <vector>

// A logger of measured values (type CYCLIC): the description of its quantity and its files.
class DefnMeasureType : public DefnBaseType {
public:
    DefnMeasureType() { mType = LoggerType::CYCLIC; }
    ~DefnMeasureType() override;

    int getFileListSize() const override;
    void clearFileList() override;
    // Appends a LoggerFileInfoMeasure only; another class is ignored.
    void AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo) override;
    void removeFileInfo(int index) override;
    std::shared_ptr<LoggerFileInfo> getFileInfo(int index) const override;
    double getInterval() const override;
    QString getConfigId() const override;

    DataMeasType MeasType; // what is measured, with the logger's identification as configId
    // The files in the order of the list; stored as links, which come back in no set order.
    std::vector<std::shared_ptr<LoggerFileInfoMeasure>> FileInfos;
};
