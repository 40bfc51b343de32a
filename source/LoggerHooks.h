#pragma once

#include "LoggerTypes.h"

#include <QDate>

#include <functional>
#include <string>

// The points where the store waits on the wall clock, takes today's date or hands a text to the
// log, each behind a replaceable function. Every one is empty in a running store, which then
// sleeps, reads the clock or only logs. The library's own test programs fill them to observe and
// speed up what is otherwise bound to the clock; they set them before the code that uses them
// runs, from the thread that runs it. Not synchronised.
namespace LoggerHooks {

// Replaces the wait of the retried transaction between two tries.
std::function<void(unsigned long milliseconds)>& retrySleep();
// Sees every text of the retried transaction, with its message type, before the log does.
std::function<void(const std::string& text, LoggerMessageType type)>& retryMessage();
// The date that LoggerDb::checkUtc takes for today, in place of the clock's date in UTC.
std::function<QDate()>& today();
// Sees every text handed to LoggerDb::loggerMessage before it is filtered by type.
std::function<void(const std::string& text, LoggerMessageType type)>& loggerMessage();
// Sees every pause of the read API, in milliseconds, before it is slept.
std::function<void(unsigned long milliseconds)>& readPause();
// When true, the list of files of a read by time opens every file of the logger for its true
// range, also those that the catalogue places wholly outside the range; the answers are the
// same either way, and a test compares them.
bool& fullTimeFileWalk();

} // namespace LoggerHooks
