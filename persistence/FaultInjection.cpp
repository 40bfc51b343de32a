#include "FaultInjection.h"

namespace qzdb {

namespace {

std::atomic<long> sCalls{0};
std::atomic<long> sFailed{0};
std::atomic<long> sFirstFailing{0}; // 0: no call fails
std::atomic<long> sFailingCount{0};
std::atomic<int> sResultCode{0};

void start(long first, int resultCode, long count)
{
    sCalls = 0;
    sFailed = 0;
    sFirstFailing = first;
    sFailingCount = count;
    sResultCode = resultCode;
}

} // namespace

std::atomic<bool> FaultInjection::sActive{false};

void FaultInjection::startCounting()
{
    start(0, 0, 0);
    sActive = true;
}

void FaultInjection::failCalls(long first, int resultCode, long count)
{
    start(first, resultCode, count);
    sActive = true;
}

void FaultInjection::stop()
{
    sActive = false;
}

long FaultInjection::callCount()
{
    return sCalls.load();
}

long FaultInjection::failedCount()
{
    return sFailed.load();
}

int FaultInjection::nextCall()
{
    const long call = ++sCalls;
    const long first = sFirstFailing.load();
    if (first <= 0 || call < first || call - first >= sFailingCount.load())
        return 0;
    ++sFailed;
    return sResultCode.load();
}

} // namespace qzdb
