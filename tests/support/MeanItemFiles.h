#pragma once

#include "LoggerDataItems.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <string>
#include <vector>

// What the crash and concurrency tests read back from the data files of a DataMean logger, and
// the small pieces of their talk between parent and child processes.

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
