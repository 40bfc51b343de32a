#include "DefnOperatorType.h"

#include "DefnFileInfoList.h"

DefnOperatorType::~DefnOperatorType() = default;

int DefnOperatorType::getFileListSize() const
{
    return DefnFileInfoList::size(FileInfos);
}

void DefnOperatorType::clearFileList()
{
    FileInfos.clear();
}

void DefnOperatorType::AppendFileInfo(std::shared_ptr<LoggerFileInfo> fileInfo)
{
    DefnFileInfoList::append(FileInfos, fileInfo);
}

void DefnOperatorType::removeFileInfo(int index)
{
    DefnFileInfoList::remove(FileInfos, index);
}

std::shared_ptr<LoggerFileInfo> DefnOperatorType::getFileInfo(int index) const
{
    return DefnFileInfoList::at(FileInfos, index);
}
