#pragma once

#include "CatalogueMapping.h"
#include "LoggerTypes.h"

#include <QString>

#include <algorithm>
#include <memory>
#include <vector>

// The typed reads that every class of the DefnBaseType family offers over its own table; only
// the class differs. They run in the transaction that is current in the calling thread. A data
// type of NONE stands for every data type: no logger is catalogued with NONE.
namespace DefnTypeQueries {

template <class Type>
std::vector<std::shared_ptr<Type>> byDataType(LoggerDataType dataType, qzdb::Links links = qzdb::Links::Read)
{
    if (dataType == LoggerDataType::NONE) {
        return qzdb::queryAll<Type>(links);
    }
    return qzdb::queryByDataType<Type>(dataType, links);
}

template <class Type>
std::vector<std::shared_ptr<Type>> byDataTypeAndConfigId(LoggerDataType dataType, const QString& configId,
                                                         qzdb::Links links = qzdb::Links::Read)
{
    if (dataType == LoggerDataType::NONE) {
        return qzdb::queryByConfigId<Type>(configId, links);
    }
    return qzdb::queryByDataTypeAndConfigId<Type>(dataType, configId, links);
}

template <class Type> int count(LoggerDataType dataType)
{
    if (dataType == LoggerDataType::NONE) {
        return static_cast<int>(qzdb::queryAll<Type>().size());
    }
    return qzdb::countByDataType<Type>(dataType);
}

// Copies of the objects, file lists included (the file infos themselves are shared).
template <class Type> std::vector<Type> values(const std::vector<std::shared_ptr<Type>>& types)
{
    std::vector<Type> result;
    result.reserve(types.size());
    for (const auto& type : types) {
        result.push_back(*type);
    }
    return result;
}

// The identification strings in catalogue order, each once: one logger may be catalogued
// several times, once per configuration.
template <class Type> std::vector<QString> configIds(const std::vector<std::shared_ptr<Type>>& types)
{
    std::vector<QString> ids;
    for (const auto& type : types) {
        const QString id = type->getConfigId();
        if (std::find(ids.begin(), ids.end(), id) == ids.end()) {
            ids.push_back(id);
        }
    }
    return ids;
}

} // namespace DefnTypeQueries
