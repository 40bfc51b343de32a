#include "DefnDisturbType.h"

#include "CatalogueMapping.h"
#include "DefnFileInfoList.h"
#include "DefnTypeQueries.h"

DefnDisturbType::~DefnDisturbType() = default;

int DefnDisturbType::getFileListSize() const
{
    return DefnFileInfoList::size(FileInfos);
}

void DefnDisturbType::clearFileList()
{
    FileInfos.clear();
}

void DefnDisturbType::AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo)
{
    DefnFileInfoList::append(FileInfos, fileInfo);
}

void DefnDisturbType::removeFileInfo(int index)
{
    DefnFileInfoList::remove(FileInfos, index);
}

std::shared_ptr<LoggerFileInfo> DefnDisturbType::getFileInfo(int index) const
{
    return DefnFileInfoList::at(FileInfos, index);
}

QString DefnDisturbType::getConfigId() const
{
    return ConfigId;
}

std::vector<QString> DefnDisturbType::readIds(LoggerDataType dataType)
{
    return DefnTypeQueries::configIds(readPtrDisturbTypes(dataType));
}

std::vector<DefnDisturbType> DefnDisturbType::readDisturbTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::values(readPtrDisturbTypes(dataType));
}

std::vector<DefnDisturbType> DefnDisturbType::readDisturbTypes(LoggerDataType dataType,
                                                               const QString& configId)
{
    return DefnTypeQueries::values(readPtrDisturbTypes(dataType, configId));
}

std::vector<std::shared_ptr<DefnDisturbType>> DefnDisturbType::readPtrDisturbTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::byDataType<DefnDisturbType>(dataType);
}

std::vector<std::shared_ptr<DefnDisturbType>> DefnDisturbType::readPtrDisturbTypes(LoggerDataType dataType,
                                                                                   const QString& configId)
{
    return DefnTypeQueries::byDataTypeAndConfigId<DefnDisturbType>(dataType, configId);
}
