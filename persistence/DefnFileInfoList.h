#pragma once

#include "LoggerFileInfo.h"

#include <memory>
#include <vector>

// The file-list operations that every class of the DefnBaseType family performs on its own
// vector of file infos; only the element class differs.
namespace DefnFileInfoList {

template <class FileInfo> int size(const std::vector<std::shared_ptr<FileInfo>>& files)
{
    return static_cast<int>(files.size());
}

// A file info of another class than the list's is not appended: the list belongs to one table.
template <class FileInfo>
void append(std::vector<std::shared_ptr<FileInfo>>& files, const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    auto typed = std::dynamic_pointer_cast<FileInfo>(fileInfo);
    if (typed) {
        files.push_back(std::move(typed));
    }
}

// A position outside the list removes nothing.
template <class FileInfo> void remove(std::vector<std::shared_ptr<FileInfo>>& files, int index)
{
    if (index >= 0 && index < size(files)) {
        files.erase(files.begin() + index);
    }
}

// A position outside the list finds an empty pointer.
template <class FileInfo>
std::shared_ptr<LoggerFileInfo> at(const std::vector<std::shared_ptr<FileInfo>>& files, int index)
{
    if (index >= 0 && index < size(files)) {
        return files[static_cast<std::size_t>(index)];
    }
    return nullptr;
}

} // namespace DefnFileInfoList
