#include "FileInfoPersistance.h"

#include "CatalogueMapping.h"
#include "LoggerAssert.h"
#include "LoggerDb.h"
#include "LoggerFileInfoTypes.h"

#include <new>

FileInfoPersistance::~FileInfoPersistance() = default;

std::shared_ptr<LoggerFileInfo> FileInfoPersistance::createMeasuredType(LoggerFileInfoMeasure* fileInfo)
{
    return std::shared_ptr<LoggerFileInfo>(fileInfo);
}

std::shared_ptr<LoggerFileInfo> FileInfoPersistance::createEventType(LoggerFileInfoEvent* fileInfo)
{
    return std::shared_ptr<LoggerFileInfo>(fileInfo);
}

std::shared_ptr<LoggerFileInfo> FileInfoPersistance::createPqEventType(LoggerFileInfoPqEvent* fileInfo)
{
    return std::shared_ptr<LoggerFileInfo>(fileInfo);
}

std::shared_ptr<LoggerFileInfo> FileInfoPersistance::createDisturbType(LoggerFileInfoDisturb* fileInfo)
{
    return std::shared_ptr<LoggerFileInfo>(fileInfo);
}

std::shared_ptr<LoggerFileInfo> FileInfoPersistance::createOperatorType(LoggerFileInfoOperator* fileInfo)
{
    return std::shared_ptr<LoggerFileInfo>(fileInfo);
}

std::shared_ptr<LoggerFileInfo> FileInfoPersistance::createInstance(LoggerType type)
{
    switch (type) {
    case LoggerType::NONE:
        return std::make_shared<LoggerFileInfo>();
    case LoggerType::CYCLIC:
        return createMeasuredType(new LoggerFileInfoMeasure());
    case LoggerType::EVENT:
        return createEventType(new LoggerFileInfoEvent());
    case LoggerType::PQEVENT:
        return createPqEventType(new LoggerFileInfoPqEvent());
    case LoggerType::DISTURB:
        return createDisturbType(new LoggerFileInfoDisturb());
    case LoggerType::OPERATOR:
        return createOperatorType(new LoggerFileInfoOperator());
    }
    return nullptr;
}

LoggerFileInfo* FileInfoPersistance::newInstance(LoggerType type, LoggerDataType dataType)
{
    LoggerFileInfo* fileInfo = nullptr;
    switch (type) {
    case LoggerType::NONE:
        fileInfo = new (std::nothrow) LoggerFileInfo();
        break;
    case LoggerType::CYCLIC:
        fileInfo = new (std::nothrow) LoggerFileInfoMeasure();
        break;
    case LoggerType::EVENT:
        fileInfo = new (std::nothrow) LoggerFileInfoEvent();
        break;
    case LoggerType::PQEVENT:
        fileInfo = new (std::nothrow) LoggerFileInfoPqEvent();
        break;
    case LoggerType::DISTURB:
        fileInfo = new (std::nothrow) LoggerFileInfoDisturb();
        break;
    case LoggerType::OPERATOR:
        fileInfo = new (std::nothrow) LoggerFileInfoOperator();
        break;
    default:
        LOGGER_ASSERT(false && "Logger newInstance wrong type");
    }
    if (fileInfo != nullptr) {
        fileInfo->DataType = dataType;
        fileInfo->mType = type;
    }
    return fileInfo;
}

std::shared_ptr<LoggerFileInfoMeasure>
FileInfoPersistance::getMeasuredType(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    return std::dynamic_pointer_cast<LoggerFileInfoMeasure>(fileInfo);
}

std::shared_ptr<LoggerFileInfoEvent>
FileInfoPersistance::getEventType(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    return std::dynamic_pointer_cast<LoggerFileInfoEvent>(fileInfo);
}

std::shared_ptr<LoggerFileInfoPqEvent>
FileInfoPersistance::getPqEventType(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    return std::dynamic_pointer_cast<LoggerFileInfoPqEvent>(fileInfo);
}

std::shared_ptr<LoggerFileInfoDisturb>
FileInfoPersistance::getDisturbType(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    return std::dynamic_pointer_cast<LoggerFileInfoDisturb>(fileInfo);
}

std::shared_ptr<LoggerFileInfoOperator>
FileInfoPersistance::getOperatorType(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    return std::dynamic_pointer_cast<LoggerFileInfoOperator>(fileInfo);
}

std::shared_ptr<LoggerFileInfo> FileInfoPersistance::readFileInfo(LoggerType type, int id)
{
    LoggerDb& db = LoggerDb::getInstance();
    if (!db.isInitialized()) {
        db.setError(QStringLiteral("Database is not initialized"));
        return nullptr;
    }
    return qzdb::findFileInfo(type, id);
}

bool FileInfoPersistance::persist(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    if (!LoggerDb::getInstance().isInitialized()) {
        return false;
    }
    return qzdb::persistFileInfo(fileInfo);
}

bool FileInfoPersistance::update(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    if (!LoggerDb::getInstance().isInitialized()) {
        return false;
    }
    return qzdb::updateFileInfo(fileInfo);
}

bool FileInfoPersistance::remove(const std::shared_ptr<LoggerFileInfo>& fileInfo)
{
    if (!LoggerDb::getInstance().isInitialized()) {
        return false;
    }
    return qzdb::eraseFileInfo(fileInfo);
}
