#pragma once

#include "qzlogger_export.h"

#include "DefnBaseType.h"
#include "LoggerFileInfoTypes.h"

#include <QString>

#include <memory>
#include <vector>

// A logger of disturbance recordings (type DISTURB): its identification and its files.
class QZLOGGER_EXPORT DefnDisturbType : public DefnBaseType {
public:
    DefnDisturbType() { mType = LoggerType::DISTURB; }
    ~DefnDisturbType() override;

    // Typed reads in the transaction that the caller holds. A data type of NONE stands for
    // every data type. Results come in the order of the catalogue. Without a transaction current
    // in the calling thread, and where SQLite fails, they throw qzdb::Exception.
    //
    // The identification strings of the loggers of a data type, each once.
    static std::vector<QString> readIds(LoggerDataType dataType);
    static std::vector<DefnDisturbType> readDisturbTypes(LoggerDataType dataType);
    static std::vector<DefnDisturbType> readDisturbTypes(LoggerDataType dataType, const QString& configId);
    static std::vector<std::shared_ptr<DefnDisturbType>> readPtrDisturbTypes(LoggerDataType dataType);
    static std::vector<std::shared_ptr<DefnDisturbType>> readPtrDisturbTypes(LoggerDataType dataType,
                                                                             const QString& configId);

    int getFileListSize() const override;
    void clearFileList() override;
    // Appends a LoggerFileInfoDisturb only; another class is ignored.
    void AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo) override;
    // A position outside the list removes nothing and finds null.
    void removeFileInfo(int index) override;
    std::shared_ptr<LoggerFileInfo> getFileInfo(int index) const override;
    QString getConfigId() const override;

    QString ConfigId; // the logger's identification string
    // The files in the order of the list; stored as links, which come back in no set order.
    std::vector<std::shared_ptr<LoggerFileInfoDisturb>> FileInfos;
};
