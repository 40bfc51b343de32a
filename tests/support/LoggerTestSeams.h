#pragma once

// Seams that the library's own tests use to observe and speed up what is otherwise bound to the
// wall clock. They fill the store's hooks and exist only in the test support: the shipped library
// has no such functions. Each setter takes an empty function to restore the real behaviour. Set
// them before the code under test runs, from the thread that runs it; they are not synchronised.

#include "LoggerTypes.h"

#include <QDate>

#include <functional>
#include <string>

// The retried transaction waits with QThread::msleep between its tries; a test of the full 501
// tries records the waits instead of sleeping 125.751 s.
void setRetrySleepForTesting(std::function<void(unsigned long milliseconds)> sleep);

// Sees every text that the retried transaction hands to LoggerDb::loggerMessage, with its message
// type, before it goes there. Routine texts (type 0) reach no log, so this is the only way to see
// the numbered retry texts.
void setRetryMessageObserverForTesting(
    std::function<void(const std::string& text, LoggerMessageType type)> observer);

// The date that LoggerDb::checkUtc takes for today, in place of the system clock's date in UTC.
void setCurrentDateForTesting(std::function<QDate()> today);

// Sees every text handed to LoggerDb::loggerMessage, with its message type, before it goes
// there; routine and trace texts (types 0 and 1) reach no log otherwise.
void setLoggerMessageObserverForTesting(
    std::function<void(const std::string& text, LoggerMessageType type)> observer);

// Sees every pause of the read API, in milliseconds, before it is slept.
void setReadPauseObserverForTesting(std::function<void(unsigned long milliseconds)> observer);

// Makes the list of files of a read by time open every file of the logger, as a check of the
// walk that passes over the files the catalogue places outside the range: both must answer
// alike. False restores the walk that passes them over.
void setFullTimeFileWalkForTesting(bool full);
