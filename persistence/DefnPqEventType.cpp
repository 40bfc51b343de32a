#include "DefnPqEventType.h"

#include "DefnFileInfoList.h"

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
