#pragma once

#include <QString>

// The settings of "database.xml" as LoggerParser::loadFile reads them. The quotas are percents
// of the space the loggers may use on the card; LoggerParser::setMemoryManager hands them to the
// families of loggers. A setting that the file lacks keeps the value it had before the load.
struct LoggerDatabaseInfos {
    double cyclicMean = 0;
    double cyclicVtq = 0;
    double cyclicDtq = 0;
    double eventAlarm = 0;
    double eventOperator = 0;
    double eventQuality = 0;
    double eventSignal = 0;
    double disturbRms = 0;
    double disturbSamples = 0;
    double disturbSignals = 0;
    double disturbDigital = 0;
    double cyclicHistogram = 0;
    double cyclicHarmonics = 0;
    double cyclicStatistic = 0;
    double cyclicComplexArray = 0;
    double cyclicPrevailingArray = 0;
    double cyclicContributionArray = 0;
    double cyclicMeanArray = 0;
    bool dropSchema = false;
    QString targetPath;  // the card's mount point; empty: the card service names it
    QString desktopPath; // read and kept; nothing uses it
    QString fileDir;     // the data folder below the logger folder
    QString dbName;      // the catalogue's file name in the logger folder
};
