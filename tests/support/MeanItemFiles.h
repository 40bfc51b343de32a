#pragma once

#include "LoggerDataItems.h"
#include "LoggerFileInfo.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <string>
#include <vector>

class LoggerBase;

// What the crash and concurrency tests write as DataMean items and read back from the data files
// of their logger, and the small pieces of their talk between parent and child processes.

// Item number n: its time stamp n milliseconds after firstSecond, n as its quality and n plus
// shift as its mean, so that every item in a file says which one it is.
DataMean numberedMeanItem(int32_t firstSecond, int64_t number, float shift = 0.0f);

// Items first .. first + count - 1 as one block through the write engine, with its order check.
PtrLoggerFileInfo writeNumberedMeans(LoggerBase& logger, int32_t firstSecond, int64_t first, int count,
                                     float shift = 0.0f);

// The items of a data file as a writer left it: its whole items, and the bytes of a torn last
// item behind them.
struct FileContent {
    bool readable = false; // the file opened and holds at least its header
    std::vector<DataMean> items;
    int tornBytes = 0;
};

FileContent readDataFile(const QString& name);

// An integer from the environment; fallback where it is unset or no number.
int intVariable(const char* name, int fallback);

// "key=value" out of a line of words; empty where the key is missing.
QByteArray field(const QByteArray& line, const QByteArray& key);

// Item numbers as runs of consecutive ones, "0-299,300-301" written "0-301": a number twice or
// out of order shows as a run of its own. Empty for no numbers.
std::string numberRuns(const std::vector<int64_t>& numbers);
