#include "DefnBaseType.h"

#include "LoggerFileInfo.h"

DefnBaseType::~DefnBaseType() = default;

int DefnBaseType::getFileListSize() const
{
    return 0;
}

void DefnBaseType::clearFileList()
{
}

void DefnBaseType::AppendFileInfo(std::shared_ptr<LoggerFileInfo>)
{
}

void DefnBaseType::removeFileInfo(int)
{
}

std::shared_ptr<LoggerFileInfo> DefnBaseType::getFileInfo(int) const
{
    return nullptr;
}

double DefnBaseType::getInterval() const
{
    return 0.0;
}

QString DefnBaseType::getConfigId() const
{
    return QString();
}
