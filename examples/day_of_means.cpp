// Writes one day of 3-second mean values into a data file below a store root, finds a time by
// binary search and reads a range back. The root is the first argument, or a temporary folder
// that is removed at the end.

#include <qzlogger.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr int kIntervalSeconds = 3;
constexpr int kItemsPerDay = 86400 / kIntervalSeconds;
constexpr int kItemsPerBlock = 100;      // the writer appends a block at a time
constexpr time_t kDayStart = 1782864000; // 2026-07-01 00:00:00 UTC

timespec at(time_t seconds)
{
    timespec t{};
    t.tv_sec = seconds;
    return t;
}

DataMean meanAt(int index)
{
    DataMean item{};
    item.utc = at(kDayStart + static_cast<time_t>(index) * kIntervalSeconds);
    const float phase = static_cast<float>(index) * 2.0f * 3.14159265f / kItemsPerDay;
    item.mean = 230.0f + 3.0f * std::sin(phase);
    item.min = item.mean - 0.5f;
    item.max = item.mean + 0.5f;
    return item;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir temporaryRoot;
    const QString root = argc > 1 ? QString::fromLocal8Bit(argv[1]) : temporaryRoot.path();
    LoggerFileSystem::setPath(root);

    LoggerFileInfo info;
    LoggerFileSystem::initFileInfo(at(kDayStart), LoggerType::CYCLIC, LoggerDataType::MEAN,
                                   LoggerFileSystem::getDataItemSize(LoggerDataType::MEAN), &info);
    QFile file;
    float scale1 = 1.0f;
    float scale2 = 1.0f;
    if (!LoggerFileSystem::openFile(&info, file, -1, 1, true, 0, 0, scale1, scale2)) {
        std::fprintf(stderr, "cannot open %s: %s\n", qPrintable(LoggerFileSystem::getFullFileName(&info)),
                     qPrintable(LoggerFileSystem::getLastError()));
        return 1;
    }
    file.close();
    std::printf("created %s\n", qPrintable(LoggerFileSystem::toString(&info)));

    // Append block by block, opening and closing the file around each block as the writer does.
    std::vector<DataMean> block;
    for (int first = 0; first < kItemsPerDay; first += kItemsPerBlock) {
        block.clear();
        for (int i = first; i < first + kItemsPerBlock && i < kItemsPerDay; ++i)
            block.push_back(meanAt(i));
        if (!LoggerFileSystem::openFile(&info, file, -1, 1, false, 0, 0, scale1, scale2)) {
            std::fprintf(stderr, "cannot reopen: %s\n", qPrintable(LoggerFileSystem::getLastError()));
            return 1;
        }
        const qint64 bytes = static_cast<qint64>(block.size() * sizeof(DataMean));
        if (file.write(reinterpret_cast<const char*>(block.data()), bytes) != bytes) {
            std::fprintf(stderr, "write failed: %s\n", qPrintable(file.errorString()));
            return 1;
        }
        file.close();
    }
    std::printf("wrote %d items of %d bytes, file size %d\n", LoggerFileSystem::getNumDataItems(&info),
                info.DataBlockSize, LoggerFileSystem::getFileSize(&info));

    // Noon plus one and a half seconds lies between two items.
    const timespec noon = at(kDayStart + 12 * 3600);
    timespec between = noon;
    between.tv_nsec = 500000000;
    const int upper = LoggerFileSystem::getUtcPosition(&info, between, info.DataBlockSize, true);
    const int lower = LoggerFileSystem::getUtcPosition(&info, between, info.DataBlockSize, false);
    std::printf("12:00:00.5 lies between item %d and item %d\n",
                (lower - info.HeaderSize) / info.DataBlockSize,
                (upper - info.HeaderSize) / info.DataBlockSize);

    // One hour from noon on: 1200 items, read straight into a result.
    const timespec end = at(kDayStart + 13 * 3600 - 1);
    const int count = LoggerFileSystem::getNumItems(&info, noon, end, -1, info.DataBlockSize);
    PtrLoggerResultMean result = LoggerResult<DataMean, void*>::create(count);
    int firstItemIndex = 0;
    const int bytes = LoggerFileSystem::readData(&info, noon, end, -1, info.DataBlockSize,
                                                 reinterpret_cast<char*>(result->mItems), firstItemIndex);
    if (bytes < 0 || result->mNumItems == 0) {
        std::fprintf(stderr, "read failed\n");
        return 1;
    }
    double sum = 0.0;
    for (int i = 0; i < result->mNumItems; ++i)
        sum += result->mItems[i].mean;
    std::printf("read %d items (%d bytes) from item %d, %s to %s, mean %.3f\n", result->mNumItems, bytes,
                firstItemIndex, qPrintable(LoggerDebug::getUtcStr(result->mItems[0].utc)),
                qPrintable(LoggerDebug::getUtcStr(result->mItems[result->mNumItems - 1].utc)),
                sum / result->mNumItems);
    return 0;
}
