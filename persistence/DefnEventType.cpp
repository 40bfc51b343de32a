#include "DefnEventType.h"

#include "CatalogueMapping.h"
#include "DefnFileInfoList.h"
#include "DefnTypeQueries.h"

#include <cstring>
#include <ctime>

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

std::vector<QString> DefnEventType::readIds(LoggerDataType dataType)
{
    return DefnTypeQueries::configIds(readPtrEventTypes(dataType));
}

std::vector<DefnEventType> DefnEventType::readEventTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::values(readPtrEventTypes(dataType));
}

std::vector<DefnEventType> DefnEventType::readEventTypes(LoggerDataType dataType, const QString& configId)
{
    return DefnTypeQueries::values(readPtrEventTypes(dataType, configId));
}

std::vector<std::shared_ptr<DefnEventType>> DefnEventType::readPtrEventTypes(LoggerDataType dataType)
{
    return DefnTypeQueries::byDataType<DefnEventType>(dataType);
}

std::vector<std::shared_ptr<DefnEventType>> DefnEventType::readPtrEventTypes(LoggerDataType dataType,
                                                                             const QString& configId)
{
    return DefnTypeQueries::byDataTypeAndConfigId<DefnEventType>(dataType, configId);
}

void DefnEventType::addEventString(const std::string& text)
{
    for (const auto& eventString : EventStrings) {
        if (eventString && eventString->Description.size() == text.size() &&
            std::memcmp(eventString->Description.data(), text.data(), text.size()) == 0) {
            return;
        }
    }
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    EventStrings.push_back(std::make_shared<DefnEventString>(text, DataTimespec::fromTimespec(now)));
}

std::vector<std::string> DefnEventType::getEventStrings() const
{
    std::vector<std::string> texts;
    texts.reserve(EventStrings.size());
    for (const auto& eventString : EventStrings) {
        if (eventString) {
            texts.push_back(eventString->Description);
        }
    }
    return texts;
}
