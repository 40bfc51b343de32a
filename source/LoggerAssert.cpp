#include "LoggerAssert.h"

#include <cstdio>
#include <cstdlib>

void loggerAssertionFailed(const char* expression, const char* file, int line, const char* function)
{
    std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", file, line, function, expression);
    std::fflush(stderr);
    std::abort();
}
