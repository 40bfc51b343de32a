// The writer's running unique id past the end of an int: a logger whose number stands at
// INT32_MAX - 1 writes blocks across several files. The number runs on in two's complement: each
// new file's header begins where the last one ended, the non-volatile store receives the wrapped
// number, and readers number the items of every file accordingly. Simulated card, real catalogue
// (WriterStore); each test runs in a process of its own, and the sanitizer build runs them with
// every report fatal.

#include "DefnBaseType.h"
#include "DefnTypePersistance.h"
#include "LogCapture.h"
#include "LoggerBase.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerRetriedTransaction.h"
#include "NonVolatileInterface.h"
#include "TestLogger.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QFile>

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int kBlockSize = 16;
constexpr int32_t kDay = 1763802000; // 2025-11-22, in the middle of a day in any zone
const QString kMeasureId = QStringLiteral("mean_3s.signal_3s.out.mean_out");
// Two items fit a file: a block that finds its file past that begins the next one.
constexpr int kFileSize = 44 + 2 * kBlockSize;

// A number in the range of an int, taken modulo 2^32: worked out on 64 bits, as a count.
int32_t modulo32(int64_t value)
{
    while (value > INT32_MAX)
        value -= int64_t(1) << 32;
    while (value < INT32_MIN)
        value += int64_t(1) << 32;
    return static_cast<int32_t>(value);
}

class RememberingNonVolatile : public NonVolatileInterface {
public:
    explicit RememberingNonVolatile(int first) : mFirst(first) {}
    int readUniqueId() override { return mFirst; }
    void writeUniqueId(int uniqueId) override { mWritten.push_back(uniqueId); }

    int mFirst;
    std::vector<int> mWritten;
};

struct FileItems {
    PtrLoggerFileInfo info;
    int32_t headerUniqueId;
    int items;
};

class WriterUniqueIdWrapTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mLogCaptured);
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
    }

    bool write(int32_t first, int count)
    {
        const QByteArray block = testItems(testSeconds(first, count), kBlockSize);
        return mLogger.writeDatas(block.constData(), count, true, true) != nullptr;
    }

    // The logger's files as the catalogue lists them, with their headers' unique ids and items.
    std::vector<FileItems> files()
    {
        std::vector<FileItems> result;
        EXPECT_TRUE(mLogger.updateAccess());
        std::shared_ptr<DefnBaseType> type;
        EXPECT_TRUE(retriedTransaction("WriterUniqueIdWrapTest", [&] {
            type = DefnTypePersistance().readBaseType(LoggerType::CYCLIC, mLogger.getId());
            return true;
        }));
        if (!type)
            return result;
        for (int index = 0; index < type->getFileListSize(); ++index) {
            const PtrLoggerFileInfo info = type->getFileInfo(index);
            LoggerHeader header{};
            EXPECT_TRUE(LoggerFileSystem::readHeader(info.get(), header));
            result.push_back({info, header.uniqueId, LoggerFileSystem::getNumDataItems(info.get())});
        }
        return result;
    }

    // Every file continues the numbers of the one before, from `first` on, and every item of it
    // is numbered by readers as its file's first number plus its place. Gives the item count.
    int expectNumbersRunOnFrom(int32_t first)
    {
        const std::vector<FileItems> list = files();
        EXPECT_GE(list.size(), 3u);
        int64_t running = first;
        int total = 0;
        for (size_t index = 0; index < list.size(); ++index) {
            const FileItems& file = list[index];
            SCOPED_TRACE("file " + std::to_string(index));
            EXPECT_EQ(file.headerUniqueId, modulo32(running));
            QFile data(LoggerFileSystem::getFullFileName(file.info.get()));
            EXPECT_TRUE(data.open(QIODevice::ReadOnly));
            const QByteArray content = data.readAll();
            EXPECT_EQ(content.size(), 44 + file.items * kBlockSize);
            for (int item = 0; item < file.items && 44 + (item + 1) * kBlockSize <= content.size(); ++item) {
                SCOPED_TRACE("item " + std::to_string(item));
                DataTimespec stamp{};
                std::memcpy(&stamp, content.constData() + 44 + item * kBlockSize, sizeof(stamp));
                std::vector<char> buffer(kBlockSize, 0);
                int firstItemIndex = 0;
                EXPECT_EQ(LoggerFileSystem::readData(file.info.get(), stamp, stamp, -1, kBlockSize,
                                                     buffer.data(), firstItemIndex),
                          kBlockSize);
                EXPECT_EQ(firstItemIndex, modulo32(running + item));
            }
            running += file.items;
            total += file.items;
        }
        EXPECT_EQ(mLogger.getFirstUniqueId(), modulo32(running));
        return total;
    }

    const bool mLogCaptured = LogCapture::install();
    WriterStore mStore;
    TestLogger mLogger{kMeasureId, kBlockSize};
};

} // namespace

TEST_F(WriterUniqueIdWrapTest, ANumberFromTheNonVolatileStoreWrapsAcrossFilesAndIsStoredWrapped)
{
    RememberingNonVolatile store(INT32_MAX - 1);
    mLogger.setNonVolatile(&store);
    mLogger.setMaximumFileSize(kFileSize);
    ASSERT_TRUE(mLogger.startLogger());
    ASSERT_EQ(mLogger.getFirstUniqueId(), INT32_MAX - 1);

    for (int block = 0; block < 4; ++block)
        ASSERT_TRUE(write(kDay + block * 10, 3)) << block;

    EXPECT_EQ(expectNumbersRunOnFrom(INT32_MAX - 1), 12);
    // After each block the store holds the next number: INT32_MAX - 1 + 3, + 6, ... wrapped.
    EXPECT_EQ(store.mWritten,
              (std::vector<int>{INT32_MIN + 1, INT32_MIN + 4, INT32_MIN + 7, INT32_MIN + 10}));
    EXPECT_EQ(mLogger.getFirstUniqueId(), INT32_MIN + 10);
    mLogger.setNonVolatile(nullptr);
}

TEST_F(WriterUniqueIdWrapTest, ANumberSetAtTheLargestIntBeginsTheFirstFileAndWrapsWithTheFirstBlock)
{
    mLogger.setFirstUniqueId(INT32_MAX);
    mLogger.setMaximumFileSize(kFileSize);
    ASSERT_TRUE(mLogger.startLogger());
    ASSERT_EQ(mLogger.getFirstUniqueId(), INT32_MAX);

    ASSERT_TRUE(write(kDay, 1));
    EXPECT_EQ(mLogger.getFirstUniqueId(), INT32_MIN);
    for (int block = 1; block < 5; ++block)
        ASSERT_TRUE(write(kDay + block * 10, 2)) << block;

    EXPECT_EQ(expectNumbersRunOnFrom(INT32_MAX), 9);
    EXPECT_EQ(mLogger.getFirstUniqueId(), INT32_MIN + 8);
}
