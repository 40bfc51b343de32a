#include "DefnMeasureType.h"

#include "DefnFileInfoList.h"

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
