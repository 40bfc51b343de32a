#include "DefnMeasureType.h"

#include "CatalogueMapping.h"
#include "DefnFileInfoList.h"
#include "DefnTypeQueries.h"

DefnMeasureType::~DefnMeasureType() = default;

int DefnMeasureType::getFileListSize() const
{
    return DefnFileInfoList::size(FileInfos);
}

void DefnMeasureType::clearFileList()
{
    FileInfos.clear();
}

void DefnMeasureType::AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo)
{
    DefnFileInfoList::append(FileInfos, fileInfo);
}

void DefnMeasureType::removeFileInfo(int index)
{
    DefnFileInfoList::remove(FileInfos, index);
}

std::shared_ptr<LoggerFileInfo> DefnMeasureType::getFileInfo(int index) const
{
    return DefnFileInfoList::at(FileInfos, index);
}

double DefnMeasureType::getInterval() const
{
    return MeasType.interval;
}

QString DefnMeasureType::getConfigId() const
{
    return MeasType.configId;
}

std::vector<QString> DefnMeasureType::readIds(LoggerDataType dataType)
{
    return DefnTypeQueries::configIds(readPtrMeasuredTypes(dataType));
}

std::vector<DefnMeasureType> DefnMeasureType::readMeasuredTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::values(readPtrMeasuredTypes(dataType));
}

std::vector<DefnMeasureType> DefnMeasureType::readMeasuredTypes(LoggerDataType dataType,
                                                                const QString& configId)
{
    return DefnTypeQueries::values(readPtrMeasuredTypes(dataType, configId));
}

std::vector<std::shared_ptr<DefnMeasureType>> DefnMeasureType::readPtrMeasuredTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::byDataType<DefnMeasureType>(dataType);
}

std::vector<std::shared_ptr<DefnMeasureType>> DefnMeasureType::readPtrMeasuredTypes(LoggerDataType dataType,
                                                                                    const QString& configId)
{
    return DefnTypeQueries::byDataTypeAndConfigId<DefnMeasureType>(dataType, configId);
}

int DefnMeasureType::countMeasuredTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::count<DefnMeasureType>(dataType);
}
