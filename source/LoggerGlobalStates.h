#pragma once

#include "LoggerState.h"

#include <QString>

// Reads and writes the three small files through which the writer and all readers share the
// facts "the store is usable", "data may be read" and the state word. On the instrument a
// kernel module provides them under /proc/qz-logger; the environment variable
// QZLOGGER_STATE_DIR names another directory with the same three files, for development
// machines and tests.
//
// Nothing is cached: each query opens, reads and closes its file, so that a process sees a
// change made by another one at its next query. No lock exists between processes; only the
// writer writes the state word and the readable flag.
class LoggerGlobalStates {
public:
    static constexpr const char* kDefaultStateDirectory = "/proc/qz-logger";
    static constexpr const char* kStateDirectoryVariable = "QZLOGGER_STATE_DIR";
    static constexpr const char* kAvailableFileName = "available";
    static constexpr const char* kReadableFileName = "readable";
    static constexpr const char* kLoggerStateFileName = "loggerstate";

    static LoggerGlobalStates& getInstance();

    virtual ~LoggerGlobalStates();
    LoggerGlobalStates(const LoggerGlobalStates&) = delete;
    LoggerGlobalStates& operator=(const LoggerGlobalStates&) = delete;

    // The directory of the three files: QZLOGGER_STATE_DIR where set and not empty, else
    // /proc/qz-logger. Taken anew on each access.
    static QString getStateDirectory();

    // True where the file "available" holds a non-zero integer; false where it can't be opened.
    bool isAvailable() const;
    // True where the file "readable" holds a non-zero integer; false where it can't be opened.
    bool isReadable() const;
    // Writes "1" or "0", without a line end. A file that can't be opened is passed over
    // silently; the result tells whether the text was written.
    bool setReadable(bool readable);
    // The state word from the file "loggerstate"; LOGGER_STATE_LOGGER_FAILED where it can't be
    // opened, 0 where its text is not a decimal integer.
    LoggerState getLoggerState() const;
    // Writes the word as decimal text, without a line end, and then hands "Write Logger State: "
    // + the word in hexadecimal to LoggerDb::loggerMessage as a routine text. A file that can't
    // be opened is passed over silently; the result tells whether the text was written.
    bool setLoggerState(LoggerState state);

private:
    LoggerGlobalStates();
};
