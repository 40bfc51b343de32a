#include "DefnDisturbType.h"

#include "DefnFileInfoList.h"

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
