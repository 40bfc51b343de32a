#pragma once

#include "DefnBaseType.h"
#include "DefnDisturbType.h"
#include "DefnEventType.h"
#include "DefnMeasureType.h"
#include "DefnOperatorType.h"
#include "DefnPqEventType.h"
#include "LoggerFileInfo.h"

// A type's file infos by plain pointer, for the walks that only look at them. getFileInfo hands
// out a share of each file info, which costs two atomic operations per file and walk; a change of
// file walks a logger's list several times, and with thousands of files that would be most of
// the work in memory. The pointers are valid while the type's list is not changed.
namespace DefnFileInfoWalk {

namespace detail {

template <class FileInfo, class Visit>
void walk(const std::vector<std::shared_ptr<FileInfo>>& files, Visit& visit)
{
    const int size = static_cast<int>(files.size());
    for (int index = 0; index < size; ++index) {
        if (!visit(index, static_cast<LoggerFileInfo*>(files[static_cast<std::size_t>(index)].get()))) {
            return;
        }
    }
}

} // namespace detail

// Calls visit(index, file) for every entry of the list in its order, an empty entry as null,
// until visit returns false. A type of the base class has no files.
template <class Visit> void forEach(const DefnBaseType& type, Visit visit)
{
    if (const auto* measure = dynamic_cast<const DefnMeasureType*>(&type)) {
        detail::walk(measure->FileInfos, visit);
    } else if (const auto* event = dynamic_cast<const DefnEventType*>(&type)) {
        detail::walk(event->FileInfos, visit);
    } else if (const auto* pqEvent = dynamic_cast<const DefnPqEventType*>(&type)) {
        detail::walk(pqEvent->FileInfos, visit);
    } else if (const auto* disturb = dynamic_cast<const DefnDisturbType*>(&type)) {
        detail::walk(disturb->FileInfos, visit);
    } else if (const auto* operatorType = dynamic_cast<const DefnOperatorType*>(&type)) {
        detail::walk(operatorType->FileInfos, visit);
    }
}

} // namespace DefnFileInfoWalk
