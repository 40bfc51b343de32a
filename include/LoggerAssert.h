#pragma once

#include "qzlogger_export.h"

// Checks for the programming errors that the store names, such as a null type handed to
// persist. Unlike assert() they stay active in every build, NDEBUG included: such an error stops
// the process, with the text that assert() would print,
//   file:line: function: Assertion `false && "Logger persist nullptr"' failed.
// Write LOGGER_ASSERT(false && "Logger persist nullptr") where the error has been found, so that
// the message names it.
#define LOGGER_ASSERT(expression)                                                                            \
    ((expression) ? static_cast<void>(0) : loggerAssertionFailed(#expression, __FILE__, __LINE__, __func__))

// Prints the message to the standard error stream and aborts.
[[noreturn]] QZLOGGER_EXPORT void loggerAssertionFailed(const char* expression, const char* file, int line,
                                        const char* function);
