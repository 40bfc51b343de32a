#include "DataItemsCalculator.h"

#include <cstdint>

DataItemsCalculator::DataItemsCalculator()
{
    start(0, 0);
}

DataItemsCalculator::~DataItemsCalculator() = default;

void DataItemsCalculator::start(int maxItems, int itemSize)
{
    mMaxItems = maxItems;
    mItemSize = itemSize;
    mTotalItems = 0;
    mCurrentItems = 0;
    mLimitPassed = false;
    mLimitReached = false;
}

void DataItemsCalculator::calcNext(int items, int itemSize)
{
    mItemSize = itemSize;
    mCurrentItems = items;
    // The sums are kept in 32 bits, as the sizes they become are; wrapping instead of
    // overflowing keeps absurd catalogue values from being undefined behaviour.
    const auto wrapped = [](long long value) { return static_cast<int>(static_cast<int32_t>(value)); };
    if (mMaxItems < 1 || static_cast<long long>(mMaxItems) > static_cast<long long>(items) + mTotalItems) {
        mTotalItems = wrapped(static_cast<long long>(mTotalItems) + items);
        mLimitReached = false;
        return;
    }
    const int rest = wrapped(static_cast<long long>(mMaxItems) - mTotalItems);
    mTotalItems = mMaxItems;
    mCurrentItems = rest;
    mLimitReached = true;
    if (rest < 1) {
        mLimitPassed = true;
        mCurrentItems = 0;
    }
}

int DataItemsCalculator::getTotalSize() const
{
    return static_cast<int32_t>(static_cast<long long>(mItemSize) * mTotalItems);
}
