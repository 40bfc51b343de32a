// The binary search by time against a plain scan over the item times, on a few hundred
// random files: empty and large files, runs of equal time stamps, torn last items, and query
// times on items, between them, before the first and after the last. The seed is fixed, so a
// failure repeats.

#include "DataFileBuilder.h"
#include "FileFaults.h"
#include "LoggerFileInfo.h"
#include "LoggerFileSystem.h"
#include "ScopedTimeZone.h"
#include "TemporaryStoreRoot.h"

#include <QByteArray>
#include <QString>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kHeader = 44;
constexpr int64_t kNanosPerSecond = 1000000000;
constexpr int kMaxReportedMismatches = 20;

int64_t nanosOf(const DataTimespec& t)
{
    return int64_t(t.tv_sec) * kNanosPerSecond + t.tv_nsec;
}

DataTimespec fromNanos(int64_t nanos)
{
    const int64_t sec = nanos / kNanosPerSecond;
    return DataTimespec{static_cast<int32_t>(sec), static_cast<int32_t>(nanos - sec * kNanosPerSecond)};
}

timespec toTimespec(const DataTimespec& t)
{
    return t;
}

std::string describe(const DataTimespec& t)
{
    std::ostringstream text;
    text << t.tv_sec << "." << t.tv_nsec;
    return text.str();
}

// The position the search must give, found without a search. A time at or after the last item
// gives the last item, a time before the first item the header size. Otherwise an item with
// exactly that time gives the first item of its run; without one, the upper bound is the first
// item after the time and the lower bound the last item before it.
int expectedPosition(const std::vector<DataTimespec>& stamps, int blockSize,
                     const DataTimespec& utc, bool upper)
{
    const int count = static_cast<int>(stamps.size());
    if (count == 0)
        return -1;
    const int64_t time = nanosOf(utc);
    if (time >= nanosOf(stamps.back()))
        return kHeader + (count - 1) * blockSize;
    if (time < nanosOf(stamps.front()))
        return kHeader;
    int atOrAfter = 0;
    while (nanosOf(stamps[static_cast<size_t>(atOrAfter)]) < time)
        ++atOrAfter;
    if (nanosOf(stamps[static_cast<size_t>(atOrAfter)]) == time || upper)
        return kHeader + atOrAfter * blockSize;
    return kHeader + (atOrAfter - 1) * blockSize;
}

struct RandomFile {
    int blockSize = 16;
    std::vector<DataTimespec> stamps;
    QByteArray tornTail;
};

class RandomFiles {
public:
    explicit RandomFiles(uint32_t seed) : mRandom(seed) {}

    int uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(mRandom); }
    int64_t uniform64(int64_t low, int64_t high)
    {
        return std::uniform_int_distribution<int64_t>(low, high)(mRandom);
    }
    bool chance(int percent) { return uniform(1, 100) <= percent; }

    int itemCount()
    {
        const int kind = uniform(1, 100);
        if (kind <= 20)
            return uniform(0, 3);
        if (kind <= 65)
            return uniform(4, 64);
        if (kind <= 94)
            return uniform(65, 600);
        return uniform(601, 3000);
    }

    RandomFile next()
    {
        static const int kBlockSizes[] = {12, 16, 24, 32, 44, 56, 232};
        RandomFile file;
        file.blockSize = kBlockSizes[uniform(0, 6)];
        const int count = itemCount();
        const int runPercent = uniform(0, 40);
        int64_t time = uniform64(int64_t(1600000000) * kNanosPerSecond,
                                 int64_t(1800000000) * kNanosPerSecond);
        for (int i = 0; i < count; ++i) {
            if (i > 0 && !chance(runPercent)) {
                const int step = uniform(1, 100);
                if (step <= 30)
                    time += uniform64(1, 1000);                        // same second, mostly
                else if (step <= 90)
                    time += uniform64(1, 5 * kNanosPerSecond);
                else
                    time += uniform64(1, 100000 * kNanosPerSecond);
            }
            file.stamps.push_back(fromNanos(time));
        }
        if (chance(50)) {
            const int torn = uniform(1, file.blockSize - 1);
            for (int i = 0; i < torn; ++i)
                file.tornTail.append(static_cast<char>(uniform(0, 255)));
        }
        return file;
    }

    // Times on items, just beside them, between neighbours, and outside the file.
    std::vector<DataTimespec> queries(const RandomFile& file)
    {
        std::vector<DataTimespec> times;
        const auto& stamps = file.stamps;
        if (stamps.empty()) {
            times.push_back(fromNanos(uniform64(0, int64_t(2000000000) * kNanosPerSecond)));
            return times;
        }
        const int64_t first = nanosOf(stamps.front());
        const int64_t last = nanosOf(stamps.back());
        const int count = static_cast<int>(stamps.size());
        times.push_back(stamps.front());
        times.push_back(stamps.back());
        times.push_back(fromNanos(first - 1));
        times.push_back(fromNanos(last + 1));
        times.push_back(fromNanos(first - uniform64(2, 1000 * kNanosPerSecond)));
        times.push_back(fromNanos(last + uniform64(2, 1000 * kNanosPerSecond)));
        times.push_back(DataTimespec{0, 0});
        for (int i = 0; i < 8; ++i)
            times.push_back(stamps[static_cast<size_t>(uniform(0, count - 1))]);
        for (int i = 0; i < 8; ++i) {
            const int index = uniform(0, count - 1);
            times.push_back(fromNanos(nanosOf(stamps[static_cast<size_t>(index)]) + (chance(50) ? 1 : -1)));
        }
        for (int i = 0; i < 8 && count > 1; ++i) {
            const int index = uniform(0, count - 2);
            const int64_t low = nanosOf(stamps[static_cast<size_t>(index)]);
            const int64_t high = nanosOf(stamps[static_cast<size_t>(index) + 1]);
            if (high - low > 1)
                times.push_back(fromNanos(uniform64(low + 1, high - 1)));
        }
        for (int i = 0; i < 4; ++i)
            times.push_back(fromNanos(uniform64(first - kNanosPerSecond, last + kNanosPerSecond)));
        return times;
    }

private:
    std::mt19937 mRandom;
};

class UtcPositionPropertyTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.isValid());
        LoggerFileSystem::setPath(mStore.filePath("data"));
    }

    // Writes the random file where the store finds it and returns its file info.
    PtrLoggerFileInfo write(const RandomFile& file, int32_t uniqueId = 0) const
    {
        DataFileBuilder builder(LoggerDataType::VTQ, file.blockSize);
        builder.uniqueId(uniqueId).items(file.stamps).trailingBytes(file.tornTail);
        EXPECT_FALSE(builder.write().isEmpty());
        return builder.fileInfo();
    }

    ScopedTimeZone mZone{"UTC"};
    TemporaryStoreRoot mStore;
};

TEST_F(UtcPositionPropertyTest, SearchAgreesWithAScanOverTheItemTimes)
{
    RandomFiles random(20260703);
    int queries = 0;
    int mismatches = 0;
    for (int fileNumber = 0; fileNumber < 300; ++fileNumber) {
        const RandomFile file = random.next();
        const PtrLoggerFileInfo info = write(file);
        for (const DataTimespec& utc : random.queries(file)) {
            for (bool upper : {true, false}) {
                ++queries;
                const int expected = expectedPosition(file.stamps, file.blockSize, utc, upper);
                const int actual = LoggerFileSystem::getUtcPosition(info.get(), toTimespec(utc),
                                                                    file.blockSize, upper);
                if (actual == expected)
                    continue;
                if (++mismatches <= kMaxReportedMismatches) {
                    ADD_FAILURE() << "file " << fileNumber << ": " << file.stamps.size()
                                  << " items of " << file.blockSize << " bytes, "
                                  << file.tornTail.size() << " torn bytes; time "
                                  << describe(utc) << (upper ? " upper" : " lower")
                                  << ": expected " << expected << ", got " << actual;
                }
            }
        }
    }
    EXPECT_EQ(mismatches, 0) << "of " << queries << " searches";
    EXPECT_GT(queries, 10000);
}

// The range operations stand on two searches: from the positions of the scan follow the size,
// the item count and the bytes of a range read.
TEST_F(UtcPositionPropertyTest, RangeReadsFollowTheSearchedPositions)
{
    RandomFiles random(1783054800);
    int mismatches = 0;
    int nonEmptyReads = 0;
    for (int fileNumber = 0; fileNumber < 120; ++fileNumber) {
        RandomFile file = random.next();
        if (file.stamps.empty())
            file.stamps.push_back(DataTimespec{1700000000, 0});
        const int32_t uniqueId = random.uniform(0, 100000);
        const PtrLoggerFileInfo info = write(file, uniqueId);
        DataFileBuilder builder(LoggerDataType::VTQ, file.blockSize);
        builder.uniqueId(uniqueId).items(file.stamps);
        const QByteArray bytes = builder.bytes();
        const int block = file.blockSize;

        const std::vector<DataTimespec> times = random.queries(file);
        for (int i = 0; i < 12; ++i) {
            DataTimespec start = times[static_cast<size_t>(random.uniform(0, int(times.size()) - 1))];
            DataTimespec end = times[static_cast<size_t>(random.uniform(0, int(times.size()) - 1))];
            if (nanosOf(end) < nanosOf(start))
                std::swap(start, end);
            const int maxItems = random.chance(50) ? -1 : random.uniform(0, 50);

            const int startPosition = expectedPosition(file.stamps, block, start, true);
            const int endPosition = expectedPosition(file.stamps, block, end, false);
            int size = endPosition - startPosition + block;
            if (maxItems >= 0 && size > maxItems * block)
                size = maxItems * block;

            const int bufferSize = LoggerFileSystem::getBufferSize(info.get(), start, end,
                                                                   maxItems, block);
            const int items = LoggerFileSystem::getNumItems(info.get(), start, end, maxItems,
                                                            block);
            std::vector<char> buffer(static_cast<size_t>(bytes.size()), 0);
            int firstItemIndex = -1;
            const int read = LoggerFileSystem::readData(info.get(), start, end, maxItems, block,
                                                        buffer.data(), firstItemIndex);
            const bool bytesMatch = size <= 0
                || QByteArray(buffer.data(), size) == bytes.mid(startPosition, size);
            const int expectedIndex = (startPosition - kHeader) / block + uniqueId;
            if (size > 0)
                ++nonEmptyReads;

            if (bufferSize == size && items == size / block && read == size && bytesMatch
                && firstItemIndex == expectedIndex)
                continue;
            if (++mismatches <= kMaxReportedMismatches) {
                ADD_FAILURE() << "file " << fileNumber << ": " << file.stamps.size()
                              << " items of " << block << " bytes; range " << describe(start)
                              << " to " << describe(end) << ", maxItems " << maxItems
                              << ": expected size " << size << ", buffer size " << bufferSize
                              << ", items " << items << ", read " << read << ", bytes "
                              << (bytesMatch ? "equal" : "differ") << ", first index "
                              << firstItemIndex << " (expected " << expectedIndex << ")";
            }
        }
    }
    EXPECT_EQ(mismatches, 0);
    EXPECT_GT(nonEmptyReads, 500);
}

} // namespace
