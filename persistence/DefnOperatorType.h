#pragma once

#include "qzlogger_export.h"

#include "DefnBaseType.h"
#include "LoggerFileInfoTypes.h"

#include <QString>

#include <memory>
#include <vector>

// The operator log (type OPERATOR): one per store, so it has no identification of its own;
// only its files.
class QZLOGGER_EXPORT DefnOperatorType : public DefnBaseType {
public:
    DefnOperatorType() { mType = LoggerType::OPERATOR; }
    ~DefnOperatorType() override;

    // Typed reads in the transaction that the caller holds. A data type of NONE stands for
    // every data type. Results come in the order of the catalogue. Without a transaction current
    // in the calling thread, and where SQLite fails, they throw qzdb::Exception.
    static std::vector<DefnOperatorType> readOperatorTypes(LoggerDataType dataType);
    static std::vector<std::shared_ptr<DefnOperatorType>> readPtrOperatorTypes(LoggerDataType dataType);
    // The operator log has no identification string of its own; its loggers answer to
    // kConfigId. The result holds it once if any operator log is catalogued.
    static std::vector<QString> readIds();

    static constexpr const char* kConfigId = "operator";

    int getFileListSize() const override;
    void clearFileList() override;
    // Appends a LoggerFileInfoOperator only; another class is ignored.
    void AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo) override;
    // A position outside the list removes nothing and finds null.
    void removeFileInfo(int index) override;
    std::shared_ptr<LoggerFileInfo> getFileInfo(int index) const override;

    // The files in the order of the list; stored as links, which come back in no set order.
    std::vector<std::shared_ptr<LoggerFileInfoOperator>> FileInfos;
};
