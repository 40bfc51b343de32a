#pragma once

#include "DefnBaseType.h"
#include "DefnEventString.h"
#include "LoggerFileInfoTypes.h"

#include <memory>
#include <vector>

// A logger of alarm events (type EVENT): its identification, its files and the texts of its
// events in the order in which they were added.
class DefnEventType : public DefnBaseType {
public:
    DefnEventType() { mType = LoggerType::EVENT; }
    ~DefnEventType() override;

    int getFileListSize() const override;
    void clearFileList() override;
    // Appends a LoggerFileInfoEvent only; another class is ignored.
    void AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo) override;
    void removeFileInfo(int index) override;
    std::shared_ptr<LoggerFileInfo> getFileInfo(int index) const override;
    QString getConfigId() const override;

    QString ConfigId; // the logger's identification string
    // The files in the order of the list; stored as links, which come back in no set order.
    std::vector<std::shared_ptr<LoggerFileInfoEvent>> FileInfos;
    std::vector<std::shared_ptr<DefnEventString>> EventStrings; // kept in this order
};
