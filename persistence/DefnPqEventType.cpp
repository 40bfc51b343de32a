#include "DefnPqEventType.h"

#include "CatalogueMapping.h"
#include "DefnFileInfoList.h"
#include "DefnTypeQueries.h"

DefnPqEventType::~DefnPqEventType() = default;

int DefnPqEventType::getFileListSize() const
{
    return DefnFileInfoList::size(FileInfos);
}

void DefnPqEventType::clearFileList()
{
    FileInfos.clear();
}

void DefnPqEventType::AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo)
{
    DefnFileInfoList::append(FileInfos, fileInfo);
}

void DefnPqEventType::removeFileInfo(int index)
{
    DefnFileInfoList::remove(FileInfos, index);
}

std::shared_ptr<LoggerFileInfo> DefnPqEventType::getFileInfo(int index) const
{
    return DefnFileInfoList::at(FileInfos, index);
}

QString DefnPqEventType::getConfigId() const
{
    return ConfigId;
}

std::vector<QString> DefnPqEventType::readIds(LoggerDataType dataType)
{
    return DefnTypeQueries::configIds(readPtrPqEventTypes(dataType));
}

std::vector<DefnPqEventType> DefnPqEventType::readPqEventTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::values(readPtrPqEventTypes(dataType));
}

std::vector<DefnPqEventType> DefnPqEventType::readPqEventTypes(LoggerDataType dataType,
                                                               const QString& configId)
{
    return DefnTypeQueries::values(readPtrPqEventTypes(dataType, configId));
}

std::vector<std::shared_ptr<DefnPqEventType>> DefnPqEventType::readPtrPqEventTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::byDataType<DefnPqEventType>(dataType);
}

std::vector<std::shared_ptr<DefnPqEventType>> DefnPqEventType::readPtrPqEventTypes(LoggerDataType dataType,
                                                                                   const QString& configId)
{
    return DefnTypeQueries::byDataTypeAndConfigId<DefnPqEventType>(dataType, configId);
}
