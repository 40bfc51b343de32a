#pragma once

#include "DataFileBuilder.h"
#include "DefnBaseType.h"
#include "LoggerFileInfo.h"
#include "LoggerTypes.h"

#include <QString>

#include <memory>

// Loggers and their data files put into the catalogue of an open store the way the writer
// puts them there, for tests and benchmarks of the read side that need exact files. The store
// (LoggerDb) must be initialised as the writer.
namespace CataloguedFiles {

// A measure type with that identification and data type, stored without files; null if the
// catalogue refused it.
std::shared_ptr<DefnBaseType> measureType(const QString& configId, LoggerDataType dataType);

// A power-quality event logger (type and data PQEVENT) with that identification, stored without
// files; null if the catalogue refused it.
std::shared_ptr<DefnBaseType> pqEventType(const QString& configId);

// Catalogues a file that the caller has already written where the store looks for it
// (LoggerFileSystem::getFullFileName of info) and links it as the type's newest file, in one
// transaction. info comes from FileInfoPersistance::createInstance of the type's logger type,
// with its range, sizes and name set. False if the catalogue refused it.
bool catalogueFile(std::shared_ptr<DefnBaseType>& type, const std::shared_ptr<LoggerFileInfo>& info);

// Writes the builder's file where the store looks for it, with the type as owner and the
// given unique part of its name, catalogues it with the range of its items and links it as the
// type's newest file. Null if the file or the catalogue failed.
std::shared_ptr<LoggerFileInfo> addFile(std::shared_ptr<DefnBaseType>& type, DataFileBuilder& builder,
                                        uint32_t guid);

} // namespace CataloguedFiles
