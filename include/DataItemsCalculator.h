#pragma once

#include "qzlogger_export.h"

// Counts the items of a run of files against a bound, file by file. A file that fills the
// bound exactly already sets mLimitReached; the file after it then sets mLimitPassed and adds
// nothing. The file-list builders and the read frame of LoggerApiBase read the fields
// directly after each calcNext.
class QZLOGGER_EXPORT DataItemsCalculator {
public:
    DataItemsCalculator();
    virtual ~DataItemsCalculator();

    // A new count: maxItems below 1 means no bound.
    void start(int maxItems, int itemSize);
    // Counts the items of the next file, cut at the bound.
    void calcNext(int items, int itemSize);
    // mItemSize * mTotalItems in 32-bit arithmetic, with the item size of the file counted
    // last.
    int getTotalSize() const;

    int mItemSize = 0;          // bytes per item, as last given
    int mMaxItems = 0;          // bound of items; below 1 means no bound
    int mTotalItems = 0;        // items counted so far
    int mCurrentItems = 0;      // items granted to the file counted last
    bool mLimitPassed = false;  // the bound was already full when the last file came
    bool mLimitReached = false; // the last file was cut at the bound or exactly met it
};
