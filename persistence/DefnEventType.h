#pragma once

#include "qzlogger_export.h"

#include "DefnBaseType.h"
#include "DefnEventString.h"
#include "LoggerFileInfoTypes.h"

#include <QString>

#include <memory>
#include <string>
#include <vector>

// A logger of alarm events (type EVENT): its identification, its files and the texts of its
// events in the order in which they were added.
class QZLOGGER_EXPORT DefnEventType : public DefnBaseType {
public:
    DefnEventType() { mType = LoggerType::EVENT; }
    ~DefnEventType() override;

    // Typed reads in the transaction that the caller holds. A data type of NONE stands for
    // every data type. Results come in the order of the catalogue. Without a transaction current
    // in the calling thread, and where SQLite fails, they throw qzdb::Exception.
    //
    // The identification strings of the loggers of a data type, each once.
    static std::vector<QString> readIds(LoggerDataType dataType);
    static std::vector<DefnEventType> readEventTypes(LoggerDataType dataType);
    static std::vector<DefnEventType> readEventTypes(LoggerDataType dataType, const QString& configId);
    static std::vector<std::shared_ptr<DefnEventType>> readPtrEventTypes(LoggerDataType dataType);
    static std::vector<std::shared_ptr<DefnEventType>> readPtrEventTypes(LoggerDataType dataType,
                                                                         const QString& configId);

    int getFileListSize() const override;
    void clearFileList() override;
    // Appends a LoggerFileInfoEvent only; another class is ignored.
    void AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo) override;
    // A position outside the list removes nothing and finds null.
    void removeFileInfo(int index) override;
    std::shared_ptr<LoggerFileInfo> getFileInfo(int index) const override;
    QString getConfigId() const override;

    // Adds a text to the type's list unless the list has it already, compared byte by byte. A
    // new text has no row yet: it gets one, and its Id, when the type is stored.
    void addEventString(const std::string& text);
    // The texts in the order of the list.
    std::vector<std::string> getEventStrings() const;

    QString ConfigId; // the logger's identification string
    // The files in the order of the list; stored as links, which come back in no set order.
    std::vector<std::shared_ptr<LoggerFileInfoEvent>> FileInfos;
    std::vector<std::shared_ptr<DefnEventString>> EventStrings; // kept in this order
};
