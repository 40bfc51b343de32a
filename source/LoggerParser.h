#pragma once

#include "ITCXMLNode.h"
#include "TrackObject.h"

#include <QString>

struct LoggerDatabaseInfos;

// Reads the storage configuration "database.xml" into a LoggerDatabaseInfos and hands its
// quotas to the LoggerMemoryManager. The file's root element is "dataBase"; each setting is a
// child element of the setting's name whose attribute "value" holds it, the quotas below the
// child "memory":
//
//   <dataBase>
//     <dbName value="logger.db"/>
//     <memory><cyclicMean value="20"/> ...</memory>
//   </dataBase>
//
// Elements that are no setting are passed over, and of two elements of one name the first
// counts. Log lines go to the category "Logger.Parser".
class LoggerParser : public TrackObject {
public:
    LoggerParser();
    ~LoggerParser() override;
    LoggerParser(const LoggerParser&) = delete;
    LoggerParser& operator=(const LoggerParser&) = delete;

    // Parses the file and reads every setting into infos: dropSchema, targetPath (only where the
    // element is there), desktopPath, fileDir, dbName and the eighteen quotas. False where the
    // file is no XML, has another root or no "memory", and where any setting is missing or a
    // quota is no number; all settings are still tried then, and those found are in infos.
    bool loadFile(const QString& file, LoggerDatabaseInfos& infos);
    // Sets the quota of every family of loggers from infos.
    void setMemoryManager(LoggerDatabaseInfos& infos);

    // The first child of that name, or the empty node.
    ITCXMLNode findSubNode(const ITCXMLNode& node, const QString& name) const;
    // Whether the node has a child of that name.
    bool existsNodeStringValue(const ITCXMLNode& node, const QString& name) const;
    // The attribute "value" of the first child of that name. False, logged as an error, where
    // there is no such child or it has no such attribute; value is then left as it was.
    bool getNodeStringValue(const ITCXMLNode& node, const QString& name, QString& value) const;
    // getNodeStringValue as a decimal number. False, logged as an error, also where the text is
    // no finite number; value is then left as it was.
    bool getNodeDoubleValue(const ITCXMLNode& node, const QString& name, double& value) const;

private:
    void logValues(const LoggerDatabaseInfos& infos) const;
};
