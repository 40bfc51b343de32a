#include "QuotaSnapshot.h"

#include "LoggerKey.h"
#include "LoggerMemoryManager.h"

std::map<LoggerFamily, double> currentQuotas()
{
    const LoggerMemoryManager& manager = LoggerMemoryManager::getInstance();
    std::map<LoggerFamily, double> quotas;
    for (const LoggerTypeStruct& family : LoggerMemoryManager::storageClasses())
        quotas[{family.type, family.dataType}] = manager.getMaximalLoggerSize(family.type, family.dataType);
    quotas[{LoggerType::CYCLIC, LoggerDataType::ITQ}] =
        manager.getMaximalLoggerSize(LoggerType::CYCLIC, LoggerDataType::ITQ);
    return quotas;
}
