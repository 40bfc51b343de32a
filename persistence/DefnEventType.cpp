#include "DefnEventType.h"

#include "DefnFileInfoList.h"

DefnEventType::~DefnEventType() = default;

int DefnEventType::getFileListSize() const
{
    return DefnFileInfoList::size(FileInfos);
}

void DefnEventType::clearFileList()
{
    FileInfos.clear();
}

void DefnEventType::AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo)
{
    DefnFileInfoList::append(FileInfos, fileInfo);
}

void DefnEventType::removeFileInfo(int index)
{
    DefnFileInfoList::remove(FileInfos, index);
}

std::shared_ptr<LoggerFileInfo> DefnEventType::getFileInfo(int index) const
{
    return DefnFileInfoList::at(FileInfos, index);
}

QString DefnEventType::getConfigId() const
{
    return ConfigId;
}
