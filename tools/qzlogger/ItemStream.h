#pragma once

#include <qzlogger.h>

#include <QString>

#include <ctime>
#include <functional>
#include <vector>

// The items of one logger between two times, as its files hold them, in chunks of bounded size:
// a dump of a year of items holds one chunk at a time. The files are read through read-only
// opens; each is searched by time, as the read API searches it, and only whole items are read,
// so that an item the writer is appending is left for the next run.
namespace qzcli {

class ItemStream {
public:
    // The logger's files in the order its catalogue entry lists them, oldest first; the range
    // includes both ends.
    ItemStream(const DefnBaseType& type, timespec start, timespec end);

    // The items of the range and the size of one; after the search.
    long long itemCount() const { return mItemCount; }
    int itemSize() const { return mItemSize; }

    // Searches every file for the range; false with error() where a file of the logger cannot be
    // opened or read, or the files hold items of different sizes.
    bool search();
    // Leaves out all but the last `last` items of the range.
    void keepLast(long long last);

    // Hands the items on, oldest first, in chunks of whole items up to chunkBytes (at least one
    // item each); the sink answers false to stop. False with error() where a file could not be
    // read, or the sink stopped.
    using Sink = std::function<bool(const char* items, int count)>;
    bool run(const Sink& sink, int chunkBytes = 1 << 20);

    QString error() const { return mError; }

private:
    struct FileRange {
        QString path;
        qint64 headerSize = 0;
        qint64 first = 0; // item index of the first item in the range
        qint64 count = 0; // items in the range
    };

    bool searchFile(const LoggerFileInfo& row);

    std::vector<std::shared_ptr<LoggerFileInfo>> mRows;
    timespec mStart;
    timespec mEnd;
    std::vector<FileRange> mRanges;
    int mItemSize = 0;
    long long mItemCount = 0;
    QString mError;
};

} // namespace qzcli
