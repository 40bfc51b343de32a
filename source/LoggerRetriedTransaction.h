#pragma once

#include <functional>
#include <string>

// The frame of every catalogue operation, in the writer and in the readers. It holds the
// database mutex of LoggerDb for its whole run, opens a transaction made current for the
// thread, runs the body and commits. While SQLite is busy it tries again, up to 501 times,
// waiting 501 ms, then 500 ms, down to 1 ms. No catalogue exception leaves it; any other
// exception passes on after the mutex is unlocked.
//
// The result is the frame's success flag AND what the body returned.
bool retriedTransaction(const std::string& description, const std::function<bool()>& body);
