#include "DefnOperatorType.h"

#include "CatalogueMapping.h"
#include "DefnFileInfoList.h"
#include "DefnTypeQueries.h"

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

std::vector<DefnOperatorType> DefnOperatorType::readOperatorTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::values(readPtrOperatorTypes(dataType));
}

std::vector<std::shared_ptr<DefnOperatorType>> DefnOperatorType::readPtrOperatorTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::byDataType<DefnOperatorType>(dataType);
}

std::vector<QString> DefnOperatorType::readIds()
{
    std::vector<QString> ids;
    if (!qzdb::queryAll<DefnOperatorType>().empty()) {
        ids.push_back(QString::fromLatin1(kConfigId));
    }
    return ids;
}
