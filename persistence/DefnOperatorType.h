#pragma once

#include "DefnBaseType.h"
#include "LoggerFileInfoTypes.h"

#include <memory>
#include <vector>

// The operator log (type OPERATOR): one per store, so it has no identification of its own;
// only its files.
class DefnOperatorType : public DefnBaseType {
public:
    DefnOperatorType() { mType = LoggerType::OPERATOR; }
    ~DefnOperatorType() override;

    int getFileListSize() const override;
    void clearFileList() override;
    // Appends a LoggerFileInfoOperator only; another class is ignored.
    void AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo) override;
    void removeFileInfo(int index) override;
    std::shared_ptr<LoggerFileInfo> getFileInfo(int index) const override;

    // The files in the order of the list; stored as links, which come back in no set order.
    std::vector<std::shared_ptr<LoggerFileInfoOperator>> FileInfos;
};
