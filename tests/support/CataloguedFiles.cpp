#include "CataloguedFiles.h"

#include "DefnMeasureType.h"
#include "DefnPqEventType.h"
#include "DefnTypePersistance.h"
#include "FileInfoPersistance.h"
#include "LoggerRetriedTransaction.h"

namespace CataloguedFiles {

std::shared_ptr<DefnBaseType> measureType(const QString& configId, LoggerDataType dataType)
{
    DefnTypePersistance defn;
    auto type = defn.createMeasuredType();
    type->mDataType = dataType;
    defn.getMeasuredType(type)->MeasType.configId = configId;
    defn.getMeasuredType(type)->MeasType.interval = 1.0;
    if (!retriedTransaction("CataloguedFiles", [&] { return defn.persist(type) > 0; }))
        return nullptr;
    return type;
}

std::shared_ptr<DefnBaseType> pqEventType(const QString& configId)
{
    DefnTypePersistance defn;
    auto type = defn.createPqEventType();
    type->mDataType = LoggerDataType::PQEVENT;
    defn.getPqEventType(type)->ConfigId = configId;
    if (!retriedTransaction("CataloguedFiles", [&] { return defn.persist(type) > 0; }))
        return nullptr;
    return type;
}

bool catalogueFile(std::shared_ptr<DefnBaseType>& type, const std::shared_ptr<LoggerFileInfo>& info)
{
    return retriedTransaction("CataloguedFiles", [&] {
        if (!FileInfoPersistance().persist(info))
            return false;
        type->AppendFileInfo(info);
        return DefnTypePersistance().update(type);
    });
}

std::shared_ptr<LoggerFileInfo> addFile(std::shared_ptr<DefnBaseType>& type, DataFileBuilder& builder,
                                        uint32_t guid)
{
    builder.guid(guid, 0).baseTypeId(type->Id).loggerType(type->mType);
    if (builder.write().isEmpty())
        return nullptr;
    const PtrLoggerFileInfo plain = builder.fileInfo();
    auto info = FileInfoPersistance().createInstance(type->mType);
    info->UtcCreated = plain->UtcCreated;
    info->DataType = plain->DataType;
    info->GuidLow = plain->GuidLow;
    info->GuidHigh = plain->GuidHigh;
    info->HeaderSize = plain->HeaderSize;
    info->DataBlockSize = plain->DataBlockSize;
    if (builder.itemCount() > 0) {
        info->UtcStart = builder.stamp(0);
        info->UtcEnd = builder.stamp(builder.itemCount() - 1);
    }
    return catalogueFile(type, info) ? info : nullptr;
}

} // namespace CataloguedFiles
