// A read session: while one runs on a thread, the file layer's operations on a data file share
// one open of it, and each operation still sees the file as it is at that moment. The opens and
// positioned reads are counted by a file layer of the test; the descriptors that a read holds
// are counted in /proc/self/fd. The file layer alone works on data files under a fresh root
// (DataFileBuilder); the read API works on a real catalogue on a simulated card (WriterStore),
// each of its tests in a process of its own.

#include "CataloguedFiles.h"
#include "DataFileBuilder.h"
#include "DefnBaseType.h"
#include "FileFaults.h"
#include "FileListInfo.h"
#include "LoggerApiBase.h"
#include "LoggerDataItems.h"
#include "LoggerFileInfo.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"
#include "LoggerReadSession.h"
#include "LoggerTestSeams.h"
#include "ScopedTimeZone.h"
#include "TemporaryStoreRoot.h"
#include "WriterStore.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <dirent.h>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Vtq = DataXtq<float>;
using VtqResult = LoggerResult<Vtq, void*>;
constexpr int kBlock = sizeof(Vtq);
static_assert(kBlock == 16, "a DataXtq<float> is 16 bytes");
constexpr int kHeader = DataFileBuilder::kHeaderSize;
constexpr int32_t kFirstItemSec = 1783036800 + 3600; // 2026-07-03 01:00:00 UTC
constexpr int kItems = 10;
constexpr int32_t kUniqueId = 300;
constexpr char kUntouched = static_cast<char>(0xAB);

timespec at(int32_t sec)
{
    timespec t{};
    t.tv_sec = sec;
    return t;
}

std::string hex(const QByteArray& bytes)
{
    return bytes.toHex().toStdString();
}

// The real file system, counting the opens of every data file and the positioned reads made
// on its descriptors while it is installed. A hook may run before each read. The counts are
// guarded by a mutex, since operations run on a second thread too.
class CountingFileIo : public LoggerFileIo {
public:
    CountingFileIo() { mPrevious = LoggerFileIo::install(this); }
    ~CountingFileIo() override { LoggerFileIo::install(mPrevious); }

    bool open(QFile& file, QIODevice::OpenMode mode) override
    {
        const bool opened = LoggerFileIo::open(file, mode);
        const int error = errno;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            ++mOpens[file.fileName()];
            if (opened)
                mNames[file.handle()] = file.fileName();
        }
        errno = error;
        return opened;
    }

    ssize_t pread(int descriptor, void* buffer, size_t length, off_t position) override
    {
        std::function<void(size_t)> beforeRead;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            const auto name = mNames.find(descriptor);
            ++mReads[name == mNames.end() ? QString() : name->second];
            beforeRead = mBeforeRead;
        }
        if (beforeRead)
            beforeRead(length);
        return LoggerFileIo::pread(descriptor, buffer, length, position);
    }

    int opens(const QString& path) const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mOpens.find(path);
        return found == mOpens.end() ? 0 : found->second;
    }

    int reads(const QString& path) const
    {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mReads.find(path);
        return found == mReads.end() ? 0 : found->second;
    }

    // Forgets the counts; the names of the descriptors open now stay known.
    void clear()
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mOpens.clear();
        mReads.clear();
    }

    void beforeEachRead(std::function<void(size_t length)> hook)
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mBeforeRead = std::move(hook);
    }

private:
    LoggerFileIo* mPrevious = nullptr;
    mutable std::mutex mMutex;
    std::map<QString, int> mOpens;
    std::map<QString, int> mReads;
    std::map<int, QString> mNames; // descriptor to file name, as of its last open
    std::function<void(size_t)> mBeforeRead;
};

// The descriptors of this process that name a file below folder, removed files included.
int descriptorsBelow(const QString& folder)
{
    const std::string prefix = QDir(folder).canonicalPath().toStdString() + '/';
    DIR* directory = ::opendir("/proc/self/fd");
    if (directory == nullptr)
        return -1;
    int count = 0;
    while (const dirent* entry = ::readdir(directory)) {
        const std::string link = std::string("/proc/self/fd/") + entry->d_name;
        char target[PATH_MAX];
        const ssize_t length = ::readlink(link.c_str(), target, sizeof(target));
        if (length > 0 &&
            std::string(target, static_cast<size_t>(length)).compare(0, prefix.size(), prefix) == 0)
            ++count;
    }
    ::closedir(directory);
    return count;
}

// The lowest limit of descriptors under which exactly `free` more can be opened than are open
// now: new descriptors take the lowest free numbers, and the limit bounds the numbers. -1 where
// /proc cannot tell.
int descriptorLimitLeaving(int free)
{
    DIR* directory = ::opendir("/proc/self/fd");
    if (directory == nullptr)
        return -1;
    std::set<int> open;
    while (const dirent* entry = ::readdir(directory)) {
        if (entry->d_name[0] != '.')
            open.insert(std::atoi(entry->d_name));
    }
    open.erase(::dirfd(directory));
    ::closedir(directory);
    int limit = 0;
    for (int left = free; left > 0; ++limit) {
        if (open.count(limit) == 0)
            --left;
    }
    return limit;
}

// Every operation of the file layer on one file, each once, with what it answered as a line of
// text: a read inside a session must answer line by line as the same reads outside one. The
// buffers are given in hex as far as the answer reaches, and whether the rest stayed untouched.
class Answers {
public:
    static constexpr int kBufferBytes = 4096;

    static std::vector<std::string> of(LoggerFileInfo* info, timespec start, timespec end)
    {
        std::vector<std::string> lines;
        const int block = info->DataBlockSize;
        // The bound keeps every read within its buffer.
        const int maxItems = block > 0 ? kBufferBytes / block : 1;
        timespec first{};
        timespec last{};
        const bool range = LoggerFileSystem::readUtcRange(info, first, last, block);
        lines.push_back("readUtcRange " + std::to_string(range) + " " + std::to_string(first.tv_sec) + " " +
                        std::to_string(last.tv_sec));
        lines.push_back("getBufferSize " +
                        std::to_string(LoggerFileSystem::getBufferSize(info, start, end, maxItems, block)));
        lines.push_back("getNumItems " +
                        std::to_string(LoggerFileSystem::getNumItems(info, start, end, maxItems, block)));
        lines.push_back("getUtcPosition start " +
                        std::to_string(LoggerFileSystem::getUtcPosition(info, start, block, true)));
        lines.push_back("getUtcPosition end " +
                        std::to_string(LoggerFileSystem::getUtcPosition(info, end, block, false)));
        lines.push_back("getEventBufferSize " +
                        std::to_string(LoggerFileSystem::getEventBufferSize(info, 3, end, block)));
        {
            Buffer buffer;
            const int size =
                LoggerFileSystem::readData(info, start, end, maxItems, block, buffer.data(), buffer.index);
            lines.push_back("readData " + buffer.describe(size));
        }
        {
            Buffer buffer;
            const int size = LoggerFileSystem::readSingleDataElements(info, start, end, maxItems, block, 12,
                                                                      4, buffer.data(), buffer.index);
            lines.push_back("readSingleDataElements " + buffer.describe(size));
        }
        {
            Buffer buffer;
            const int size =
                LoggerFileSystem::readEventData(info, 2, end, block, maxItems, buffer.data(), buffer.index);
            lines.push_back("readEventData " + buffer.describe(size));
        }
        LoggerHeader header{};
        header.uniqueId = -77;
        const bool read = LoggerFileSystem::readHeader(info, header);
        lines.push_back("readHeader " + std::to_string(read) + " " + std::to_string(header.uniqueId));
        lines.push_back("getUniqueId " + std::to_string(LoggerFileSystem::getUniqueId(info)));
        return lines;
    }

    // Outside a session each of the operations above opens the file once.
    static constexpr int kOpeningOperations = 11;

private:
    struct Buffer {
        std::vector<char> bytes = std::vector<char>(kBufferBytes, kUntouched);
        int index = -77;

        char* data() { return bytes.data(); }
        std::string describe(int size) const
        {
            const int shown = std::max(0, std::min(size, kBufferBytes));
            bool restUntouched = true;
            for (int i = shown; i < kBufferBytes; ++i)
                restUntouched = restUntouched && bytes[static_cast<size_t>(i)] == kUntouched;
            return std::to_string(size) + " index " + std::to_string(index) + " " +
                   hex(QByteArray(bytes.data(), shown)) +
                   (restUntouched ? " rest untouched" : " rest written");
        }
    };
};

// The file layer on a data file of ten items, one a second, under a fresh root.
class ReadSessionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mRoot.isValid());
        LoggerFileSystem::setPath(mRoot.filePath("data"));
        mBuilder.uniqueId(kUniqueId).itemsEvery(kItems, kFirstItemSec, 1);
        mPath = mBuilder.write();
        ASSERT_FALSE(mPath.isEmpty());
        mInfo = mBuilder.fileInfo();
    }

    static timespec t(int index) { return at(kFirstItemSec + index); }

    // A second file next to the first, of count items from the same first second on.
    PtrLoggerFileInfo otherFile(DataFileBuilder& builder, int count)
    {
        builder.guid(0x5151, 0x77).uniqueId(500).itemsEvery(count, kFirstItemSec, 1);
        EXPECT_FALSE(builder.write().isEmpty());
        return builder.fileInfo();
    }

    int bufferSize(const PtrLoggerFileInfo& info, timespec start, timespec end) const
    {
        return LoggerFileSystem::getBufferSize(info.get(), start, end, -1, kBlock);
    }

    int descriptorsOfTheStore() const { return descriptorsBelow(mRoot.path()); }

    ScopedTimeZone mZone{"UTC"};
    TemporaryStoreRoot mRoot;
    DataFileBuilder mBuilder{LoggerDataType::VTQ, kBlock};
    QString mPath;
    PtrLoggerFileInfo mInfo;
};

} // namespace

// --- one open

TEST_F(ReadSessionTest, EveryOperationOfTheFileLayerInASessionSharesOneOpenAndAnswersAsOutsideOne)
{
    CountingFileIo io;
    const std::vector<std::string> outside = Answers::of(mInfo.get(), t(2), t(7));
    EXPECT_EQ(io.opens(mPath), Answers::kOpeningOperations) << "outside a session each operation opens";
    EXPECT_EQ(descriptorsOfTheStore(), 0);

    io.clear();
    std::vector<std::string> inside;
    {
        LoggerReadSession session;
        inside = Answers::of(mInfo.get(), t(2), t(7));
        EXPECT_EQ(io.opens(mPath), 1);
        EXPECT_EQ(descriptorsOfTheStore(), 1) << "the session holds the file";
    }
    EXPECT_EQ(descriptorsOfTheStore(), 0) << "and closes it when it goes";
    EXPECT_EQ(inside, outside);
    // The answers are those of the file: items 2 to 7 of the ten, from unique id 300 on.
    EXPECT_EQ(inside[1], "getBufferSize " + std::to_string(6 * kBlock));
    EXPECT_EQ(inside[6], "readData " + std::to_string(6 * kBlock) + " index 302 " +
                             hex(mBuilder.bytes().mid(mBuilder.offsetOf(2), 6 * kBlock)) + " rest untouched");
    EXPECT_EQ(inside[9], "readHeader 1 300");
}

// --- a file that changes between two operations of one session

TEST_F(ReadSessionTest, AFileThatGrowsWithinASessionIsSeenAtItsNewSize)
{
    // The first ten items of a builder of fifteen are those of the file; the five after are
    // appended by hand as the writer appends them.
    DataFileBuilder grown(LoggerDataType::VTQ, kBlock);
    grown.uniqueId(kUniqueId).itemsEvery(kItems + 5, kFirstItemSec, 1);
    ASSERT_EQ(hex(grown.bytes().left(grown.offsetOf(kItems))), hex(mBuilder.bytes()));
    CountingFileIo io;
    LoggerReadSession session;

    EXPECT_EQ(bufferSize(mInfo, t(0), t(30)), kItems * kBlock);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(mInfo.get(), t(30), kBlock, false),
              mBuilder.offsetOf(kItems - 1));

    QFile file(mPath);
    ASSERT_TRUE(file.open(QIODevice::Append));
    ASSERT_EQ(file.write(grown.bytes().mid(grown.offsetOf(kItems))), 5 * kBlock);
    file.close();

    EXPECT_EQ(LoggerFileSystem::getUtcPosition(mInfo.get(), t(30), kBlock, false), grown.offsetOf(kItems + 4))
        << "the search of the same time is made anew on the grown file";
    EXPECT_EQ(bufferSize(mInfo, t(0), t(30)), (kItems + 5) * kBlock);
    std::vector<char> buffer(static_cast<size_t>((kItems + 5) * kBlock), kUntouched);
    int firstItemIndex = 0;
    ASSERT_EQ(LoggerFileSystem::readData(mInfo.get(), t(0), t(30), -1, kBlock, buffer.data(), firstItemIndex),
              (kItems + 5) * kBlock);
    EXPECT_EQ(firstItemIndex, kUniqueId);
    EXPECT_EQ(hex(QByteArray(buffer.data(), static_cast<int>(buffer.size()))),
              hex(grown.bytes().mid(kHeader)));
    EXPECT_EQ(io.opens(mPath), 1);
}

TEST_F(ReadSessionTest, AFileCutWithinASessionIsSeenCutAndWhatWentIsNeverRead)
{
    CountingFileIo io;
    LoggerReadSession session;
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), kItems * kBlock);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(mInfo.get(), t(9), kBlock, false), mBuilder.offsetOf(9));

    // Four whole items and the torn start of the fifth stay.
    ASSERT_TRUE(FileFaults::truncateTo(mPath, mBuilder.offsetOf(4) + 5));

    EXPECT_EQ(LoggerFileSystem::getUtcPosition(mInfo.get(), t(9), kBlock, false), mBuilder.offsetOf(3));
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), 4 * kBlock);
    std::vector<char> buffer(static_cast<size_t>(kItems * kBlock), kUntouched);
    int firstItemIndex = 0;
    ASSERT_EQ(LoggerFileSystem::readData(mInfo.get(), t(0), t(9), -1, kBlock, buffer.data(), firstItemIndex),
              4 * kBlock);
    EXPECT_EQ(hex(QByteArray(buffer.data(), 4 * kBlock)), hex(mBuilder.bytes().mid(kHeader, 4 * kBlock)));
    EXPECT_EQ(QByteArray(buffer.data() + 4 * kBlock, 6 * kBlock), QByteArray(6 * kBlock, kUntouched))
        << "nothing beyond the cut reaches the buffer";

    // A cut that comes after the search, right before the items of items 0 to 3 are read, leaves
    // two of them: the buffer holds zeros where the other two were asked for.
    io.beforeEachRead([this](size_t length) {
        if (length > static_cast<size_t>(kHeader))
            FileFaults::truncateTo(mPath, mBuilder.offsetOf(2));
    });
    std::fill(buffer.begin(), buffer.end(), kUntouched);
    ASSERT_EQ(LoggerFileSystem::readData(mInfo.get(), t(0), t(3), -1, kBlock, buffer.data(), firstItemIndex),
              4 * kBlock);
    io.beforeEachRead(nullptr);
    EXPECT_EQ(FileFaults::sizeOf(mPath), mBuilder.offsetOf(2));
    EXPECT_EQ(hex(QByteArray(buffer.data(), 4 * kBlock)),
              hex(mBuilder.bytes().mid(kHeader, 2 * kBlock) + QByteArray(2 * kBlock, '\0')));
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), 2 * kBlock);
    EXPECT_EQ(io.opens(mPath), 1);
}

TEST_F(ReadSessionTest, AFileRemovedWithinASessionIsMissingForTheOperationsAfterAndNotHeldOpen)
{
    CountingFileIo io;
    LoggerReadSession session;
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), kItems * kBlock);
    LoggerHeader header{};
    EXPECT_TRUE(LoggerFileSystem::readHeader(mInfo.get(), header));
    EXPECT_EQ(header.uniqueId, kUniqueId);
    EXPECT_EQ(descriptorsOfTheStore(), 1);

    ASSERT_TRUE(QFile::remove(mPath));

    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), 0);
    EXPECT_EQ(descriptorsOfTheStore(), 0) << "the removed file is let go, its space with it";
    std::vector<char> buffer(static_cast<size_t>(kItems * kBlock), kUntouched);
    int firstItemIndex = 55;
    EXPECT_EQ(LoggerFileSystem::readData(mInfo.get(), t(0), t(9), -1, kBlock, buffer.data(), firstItemIndex),
              -1);
    EXPECT_EQ(firstItemIndex, 55);
    EXPECT_EQ(buffer, std::vector<char>(buffer.size(), kUntouched));
    header.uniqueId = -5;
    EXPECT_FALSE(LoggerFileSystem::readHeader(mInfo.get(), header));
    EXPECT_EQ(header.uniqueId, -5);
    timespec first = at(1);
    timespec last = at(2);
    EXPECT_FALSE(LoggerFileSystem::readUtcRange(mInfo.get(), first, last, kBlock));
    EXPECT_EQ(LoggerFileSystem::getNumItems(mInfo.get(), t(0), t(9), -1, kBlock), 0);
    EXPECT_EQ(LoggerFileSystem::getUtcPosition(mInfo.get(), t(5), kBlock, true), -1);
    EXPECT_EQ(LoggerFileSystem::getUniqueId(mInfo.get()), -1);
    EXPECT_EQ(
        LoggerFileSystem::readEventData(mInfo.get(), 0, t(9), kBlock, -1, buffer.data(), firstItemIndex), -1);
    EXPECT_EQ(LoggerFileSystem::readSingleDataElements(mInfo.get(), t(0), t(9), -1, kBlock, 12, 4,
                                                       buffer.data(), firstItemIndex),
              -1);
    EXPECT_EQ(descriptorsOfTheStore(), 0);
}

TEST_F(ReadSessionTest, AFileRemovedAndMadeAnewUnderItsNameWithinASessionIsReadAnew)
{
    CountingFileIo io;
    LoggerReadSession session;
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), kItems * kBlock);
    EXPECT_EQ(LoggerFileSystem::getUniqueId(mInfo.get()), kUniqueId);

    // The same name and the same size, other items: every other second, from ten seconds before.
    DataFileBuilder anew(LoggerDataType::VTQ, kBlock);
    anew.uniqueId(900).itemsEvery(kItems, kFirstItemSec - 10, 2);
    ASSERT_TRUE(QFile::remove(mPath));
    ASSERT_EQ(anew.write(), mPath);
    ASSERT_EQ(FileFaults::sizeOf(mPath), mBuilder.offsetOf(kItems));

    // Of the new items, those at 0, 2, 4, 6 and 8 seconds lie in the range: items 5 to 9.
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), 5 * kBlock);
    std::vector<char> buffer(static_cast<size_t>(kItems * kBlock), kUntouched);
    int firstItemIndex = 0;
    ASSERT_EQ(LoggerFileSystem::readData(mInfo.get(), t(0), t(9), -1, kBlock, buffer.data(), firstItemIndex),
              5 * kBlock);
    EXPECT_EQ(firstItemIndex, 905);
    EXPECT_EQ(hex(QByteArray(buffer.data(), 5 * kBlock)),
              hex(anew.bytes().mid(anew.offsetOf(5), 5 * kBlock)));
    LoggerHeader header{};
    EXPECT_TRUE(LoggerFileSystem::readHeader(mInfo.get(), header));
    EXPECT_EQ(header.uniqueId, 900);
    EXPECT_EQ(LoggerFileSystem::getUniqueId(mInfo.get()), 900);
    EXPECT_EQ(io.opens(mPath), 2) << "opened once more for the new file, and only once";
    EXPECT_EQ(descriptorsOfTheStore(), 1);
}

// The writer rewrites its last write in place (LoggerBase::updateDatas) with a time at or after
// the one it replaces: the file keeps its size, and a search that the session made before the
// rewrite no longer holds.
TEST_F(ReadSessionTest, AnItemRewrittenInPlaceWithinASessionIsSearchedAnewAndNotReadOutsideTheRange)
{
    const timespec end = at(kFirstItemSec + kItems); // one second after the last item
    const DataTimespec rewritten{kFirstItemSec + kItems + 2, 0};
    std::vector<char> buffer(static_cast<size_t>(kItems * kBlock), kUntouched);
    int firstItemIndex = 0;
    int inside = 0;
    int readInside = 0;
    {
        LoggerReadSession session;
        ASSERT_EQ(bufferSize(mInfo, t(0), end), kItems * kBlock);
        ASSERT_TRUE(FileFaults::overwriteAt(mPath, mBuilder.offsetOf(kItems - 1),
                                            DataFileBuilder::itemBytes(kBlock, rewritten, kItems - 1)));
        ASSERT_EQ(FileFaults::sizeOf(mPath), mBuilder.offsetOf(kItems));
        inside = bufferSize(mInfo, t(0), end);
        readInside =
            LoggerFileSystem::readData(mInfo.get(), t(0), end, -1, kBlock, buffer.data(), firstItemIndex);
    }
    const int outside = bufferSize(mInfo, t(0), end);
    EXPECT_EQ(outside, (kItems - 1) * kBlock) << "the rewritten item lies after the range";
    EXPECT_EQ(inside, outside);
    EXPECT_EQ(readInside, outside);
    for (int index = 0; index * kBlock < readInside && index < kItems; ++index) {
        DataTimespec stamp{};
        std::memcpy(&stamp, buffer.data() + index * kBlock, sizeof(stamp));
        EXPECT_LE(stamp.tv_sec, end.tv_sec) << "item " << index << " lies outside the range";
    }
}

// --- nesting, ending, threads

TEST_F(ReadSessionTest, ANestedSessionJoinsTheOuterOneAndItsEndClosesNothing)
{
    CountingFileIo io;
    LoggerReadSession outer;
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), kItems * kBlock);
    {
        LoggerReadSession inner;
        EXPECT_EQ(bufferSize(mInfo, t(1), t(9)), 9 * kBlock);
        inner.end();
        EXPECT_EQ(descriptorsOfTheStore(), 1) << "the inner end leaves the outer session's file open";
        EXPECT_EQ(bufferSize(mInfo, t(2), t(9)), 8 * kBlock);
    }
    EXPECT_EQ(descriptorsOfTheStore(), 1) << "so does the inner object's going";
    EXPECT_EQ(bufferSize(mInfo, t(3), t(9)), 7 * kBlock);
    EXPECT_EQ(io.opens(mPath), 1) << "every operation under both objects shared the outer open";
}

TEST_F(ReadSessionTest, EndingTheSessionClosesItsFilesAndLaterOperationsOpenThemAgain)
{
    DataFileBuilder second(LoggerDataType::VTQ, kBlock);
    const PtrLoggerFileInfo other = otherFile(second, 4);
    const QString otherPath = LoggerFileSystem::getFullFileName(other.get());
    CountingFileIo io;
    ASSERT_EQ(descriptorsOfTheStore(), 0);
    LoggerReadSession session;
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), kItems * kBlock);
    EXPECT_EQ(bufferSize(other, t(0), t(9)), 4 * kBlock);
    EXPECT_EQ(bufferSize(mInfo, t(0), t(4)), 5 * kBlock);
    EXPECT_EQ(descriptorsOfTheStore(), 2);

    session.end();
    EXPECT_EQ(descriptorsOfTheStore(), 0);
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), kItems * kBlock);
    EXPECT_EQ(io.opens(mPath), 2) << "after the end an operation opens the file itself";
    EXPECT_EQ(descriptorsOfTheStore(), 0) << "and closes it";
    session.end();
    EXPECT_EQ(bufferSize(other, t(0), t(9)), 4 * kBlock);
    EXPECT_EQ(io.opens(otherPath), 2);
    EXPECT_EQ(descriptorsOfTheStore(), 0);
}

TEST_F(ReadSessionTest, ASessionBelongsToItsThreadAndAnotherThreadOpensTheFileItself)
{
    CountingFileIo io;
    LoggerReadSession session;
    EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), kItems * kBlock);
    ASSERT_EQ(io.opens(mPath), 1);

    int otherSize = -1;
    int otherOpens = -1;
    int otherDescriptors = -1;
    std::thread other([&] {
        otherSize = bufferSize(mInfo, t(2), t(9));
        otherOpens = io.opens(mPath);
        otherDescriptors = descriptorsOfTheStore();
    });
    other.join();
    EXPECT_EQ(otherSize, 8 * kBlock);
    EXPECT_EQ(otherOpens, 2) << "the other thread's operation opened the file for itself";
    EXPECT_EQ(otherDescriptors, 1) << "and closed it again: only this thread's session holds it";

    // A session of the other thread is its own: its operations share its one open, and it ends
    // with the thread's object.
    int sessionOpens = -1;
    std::thread withSession([&] {
        LoggerReadSession own;
        bufferSize(mInfo, t(0), t(9));
        bufferSize(mInfo, t(3), t(9));
        LoggerFileSystem::getUniqueId(mInfo.get());
        sessionOpens = io.opens(mPath);
    });
    withSession.join();
    EXPECT_EQ(sessionOpens, 3);
    EXPECT_EQ(descriptorsOfTheStore(), 1);

    EXPECT_EQ(bufferSize(mInfo, t(4), t(9)), 6 * kBlock);
    EXPECT_EQ(io.opens(mPath), 3) << "this thread's session still serves this thread";
}

// --- malformed rows

TEST_F(ReadSessionTest, ARowWhoseHeaderOrItemSizeLeavesNoItemReadsAlikeInsideAndOutsideASession)
{
    const int fileSize = mBuilder.offsetOf(kItems);
    struct Row {
        const char* what;
        int headerSize;
        int blockSize;
    };
    const std::vector<Row> rows = {
        {"a header that ends where the file ends", fileSize, kBlock},
        {"a header beyond the file", fileSize + 100, kBlock},
        {"a negative header", -8, kBlock},
        {"an item larger than all items together", kHeader, fileSize - kHeader + 1},
        {"an item size of 0", kHeader, 0},
        {"a negative item size", kHeader, -kBlock},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        auto malformed = std::make_shared<LoggerFileInfo>(*mInfo);
        malformed->HeaderSize = row.headerSize;
        malformed->DataBlockSize = row.blockSize;
        // The well-formed row of the same file before and after: a session that holds the file
        // for one row must not answer the other from it.
        const auto sequence = [&] {
            std::vector<std::string> lines = Answers::of(mInfo.get(), t(2), t(7));
            for (const std::string& line : Answers::of(malformed.get(), t(2), t(7)))
                lines.push_back("malformed " + line);
            for (const std::string& line : Answers::of(mInfo.get(), t(1), t(8)))
                lines.push_back(line);
            return lines;
        };
        const std::vector<std::string> outside = sequence();
        std::vector<std::string> inside;
        {
            LoggerReadSession session;
            inside = sequence();
        }
        EXPECT_EQ(inside, outside);
        EXPECT_EQ(LoggerFileSystem::getBufferSize(malformed.get(), t(0), t(9), -1, row.blockSize), 0);
        {
            LoggerReadSession session;
            EXPECT_EQ(bufferSize(mInfo, t(0), t(9)), kItems * kBlock);
            EXPECT_EQ(LoggerFileSystem::getBufferSize(malformed.get(), t(0), t(9), -1, row.blockSize), 0);
            EXPECT_EQ(LoggerFileSystem::getNumItems(malformed.get(), t(0), t(9), -1, row.blockSize), 0);
        }
    }
    EXPECT_EQ(descriptorsOfTheStore(), 0);
}

// ---------------------------------------------------------------------------------------------
// Through the read API

namespace {

class ReadFrame : public LoggerApiBase {};

class ReadSessionApiTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mStore.start()) << mStore.errorString().toStdString();
        setReadPauseObserverForTesting([this](unsigned long) {
            if (mInThePause)
                mInThePause();
        });
        setLoggerMessageObserverForTesting([this](const std::string& text, LoggerMessageType) {
            if (mBetweenThePasses && text.rfind("total items:", 0) == 0)
                mBetweenThePasses();
        });
        mType = CataloguedFiles::measureType(QStringLiteral("u.vtq"), LoggerDataType::VTQ);
        ASSERT_NE(mType, nullptr);
    }
    void TearDown() override
    {
        setReadPauseObserverForTesting(nullptr);
        setLoggerMessageObserverForTesting(nullptr);
    }

    // count items, step seconds apart from first on, in a new file of the type. The builder
    // stays with the fixture for the bytes it wrote.
    std::shared_ptr<LoggerFileInfo> addFile(int count, int32_t first, int32_t step = 1, int32_t uniqueId = 0)
    {
        mBuilders.emplace_back(LoggerDataType::VTQ, kBlock);
        DataFileBuilder& builder = mBuilders.back();
        builder.created(first).uniqueId(uniqueId).itemsEvery(count, first, step);
        auto info = CataloguedFiles::addFile(mType, builder, 0x400 + mFiles++);
        EXPECT_NE(info, nullptr);
        return info;
    }

    static QString pathOf(const std::shared_ptr<LoggerFileInfo>& info)
    {
        return LoggerFileSystem::getFullFileName(info.get());
    }

    std::shared_ptr<VtqResult> read(int32_t start, int32_t end)
    {
        int firstItemId = 0;
        LoggerHeader header{};
        return mFrame.getValues<Vtq, void*>(LoggerType::CYCLIC, mType->Id, at(start), at(end), -1,
                                            firstItemId, header);
    }

    int count(int32_t start, int32_t end)
    {
        return mFrame.getNumItems<Vtq, void*>(LoggerType::CYCLIC, mType->Id, at(start), at(end), -1);
    }

    static QByteArray itemBytes(const std::shared_ptr<VtqResult>& result, int index)
    {
        return QByteArray(reinterpret_cast<const char*>(&result->mItems[index]), kBlock);
    }

    static std::vector<int32_t> seconds(const std::shared_ptr<VtqResult>& result)
    {
        std::vector<int32_t> stamps;
        for (int index = 0; result && index < result->mNumItems; ++index)
            stamps.push_back(result->mItems[index].utc.tv_sec);
        return stamps;
    }

    static std::vector<int32_t> span(int32_t first, int32_t last)
    {
        std::vector<int32_t> stamps;
        for (int32_t second = first; second <= last; ++second)
            stamps.push_back(second);
        return stamps;
    }

    int descriptorsOfTheData() const { return descriptorsBelow(mStore.dataFolderPath()); }

    WriterStore mStore;
    ReadFrame mFrame;
    std::shared_ptr<DefnBaseType> mType;
    std::deque<DataFileBuilder> mBuilders;
    std::function<void()> mBetweenThePasses;
    std::function<void()> mInThePause;
    int mFiles = 0;
};

// Lowers the soft limit of descriptors for its lifetime and gives the old one back.
class LoweredDescriptorLimit {
public:
    explicit LoweredDescriptorLimit(rlim_t limit)
    {
        mSaved = ::getrlimit(RLIMIT_NOFILE, &mOriginal) == 0;
        rlimit lowered = mOriginal;
        lowered.rlim_cur = limit;
        mLowered = mSaved && ::setrlimit(RLIMIT_NOFILE, &lowered) == 0;
    }
    ~LoweredDescriptorLimit() { restore(); }
    LoweredDescriptorLimit(const LoweredDescriptorLimit&) = delete;
    LoweredDescriptorLimit& operator=(const LoweredDescriptorLimit&) = delete;

    bool isLowered() const { return mLowered; }
    void restore()
    {
        if (mLowered)
            mLowered = ::setrlimit(RLIMIT_NOFILE, &mOriginal) != 0;
    }

private:
    rlimit mOriginal{};
    bool mSaved = false;
    bool mLowered = false;
};

} // namespace

TEST_F(ReadSessionApiTest, GetValuesOverSeveralFilesOpensEachListedFileOnce)
{
    const auto before = addFile(10, 100);
    const auto first = addFile(10, 1000);
    const auto middle = addFile(10, 2000, 1, 10);
    const auto last = addFile(10, 3000, 1, 20);
    CountingFileIo io;

    const auto result = read(1005, 3004);

    ASSERT_NE(result, nullptr);
    std::vector<int32_t> expected = span(1005, 1009);
    for (const auto& part : {span(2000, 2009), span(3000, 3004)})
        expected.insert(expected.end(), part.begin(), part.end());
    EXPECT_EQ(seconds(result), expected);
    EXPECT_EQ(io.opens(pathOf(first)), 1);
    EXPECT_EQ(io.opens(pathOf(middle)), 1);
    EXPECT_EQ(io.opens(pathOf(last)), 1);
    EXPECT_EQ(io.opens(pathOf(before)), 0) << "a file outside the range is not listed";
}

TEST_F(ReadSessionApiTest, GetNumItemsOverSeveralFilesOpensEachListedFileOnce)
{
    const auto first = addFile(10, 1000);
    const auto middle = addFile(10, 2000, 1, 10);
    const auto last = addFile(10, 3000, 1, 20);
    CountingFileIo io;

    EXPECT_EQ(count(1005, 3004), 5 + 10 + 5);

    EXPECT_EQ(io.opens(pathOf(first)), 1);
    EXPECT_EQ(io.opens(pathOf(middle)), 1);
    EXPECT_EQ(io.opens(pathOf(last)), 1);
    EXPECT_EQ(descriptorsOfTheData(), 0);
}

TEST_F(ReadSessionApiTest, TheReadPassOfGetValuesReusesTheSearchesOfTheSizingPass)
{
    constexpr int kLarge = 40000;
    const auto info = addFile(kLarge, 10000, 1, 7);
    const DataFileBuilder& builder = mBuilders.back();
    const QString path = pathOf(info);
    const int32_t start = 10000 + 10000;
    const int32_t end = 10000 + 29999;
    CountingFileIo io;

    const auto result = read(start, end);
    const int readsInASession = io.reads(path);

    ASSERT_NE(result, nullptr);
    ASSERT_EQ(result->mNumItems, 20000);
    const QByteArray items(reinterpret_cast<const char*>(result->mItems), 20000 * kBlock);
    EXPECT_TRUE(items == builder.bytes().mid(builder.offsetOf(10000), 20000 * kBlock));

    // The operations of the read one after the other, each with an open of its own: the list
    // takes the file's range and sizes it, the sizing and the read pass size it again, and the
    // read pass reads the header and the items.
    io.clear();
    timespec first{};
    timespec lastStamp{};
    ASSERT_TRUE(LoggerFileSystem::readUtcRange(info.get(), first, lastStamp, kBlock));
    for (int pass = 0; pass < 3; ++pass)
        ASSERT_EQ(LoggerFileSystem::getBufferSize(info.get(), at(start), at(end), -1, kBlock),
                  20000 * kBlock);
    LoggerHeader header{};
    ASSERT_TRUE(LoggerFileSystem::readHeader(info.get(), header));
    std::vector<char> buffer(static_cast<size_t>(20000 * kBlock), kUntouched);
    int firstItemIndex = 0;
    ASSERT_EQ(LoggerFileSystem::readData(info.get(), at(start), at(end), 20000, kBlock, buffer.data(),
                                         firstItemIndex),
              20000 * kBlock);
    const int readsOneByOne = io.reads(path);
    EXPECT_EQ(io.opens(path), 6);
    EXPECT_TRUE(items == QByteArray(buffer.data(), static_cast<int>(buffer.size())))
        << "the items are those that the operations one by one read";

    io.clear();
    LoggerFileSystem::getBufferSize(info.get(), at(start), at(end), -1, kBlock);
    const int readsOfOneSizing = io.reads(path);

    EXPECT_LT(readsInASession, readsOneByOne);
    // A remembered search costs the one read of the last item's stamp that shows the file
    // unchanged: a sizing answered from memory reads twice, once for each end of the range.
    EXPECT_LE(readsInASession + 3 * (readsOfOneSizing - 2), readsOneByOne)
        << "of the four sizings of the range in the read, three are answered from memory; " << readsInASession
        << " reads in a session, " << readsOneByOne << " one by one, " << readsOfOneSizing << " for a sizing";
}

TEST_F(ReadSessionApiTest, NoDescriptorOfTheDataFilesStaysOpenAfterGetValuesNorDuringItsPause)
{
    addFile(10, 1000);
    addFile(10, 2000, 1, 10);
    addFile(10, 3000, 1, 20);
    ASSERT_EQ(descriptorsOfTheData(), 0);
    int betweenThePasses = -1;
    int inThePause = -1;
    mBetweenThePasses = [&] { betweenThePasses = descriptorsOfTheData(); };
    mInThePause = [&] { inThePause = descriptorsOfTheData(); };

    const auto result = read(1000, 3009);

    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mNumItems, 30);
    EXPECT_EQ(betweenThePasses, 3) << "the read holds each of its files once";
    EXPECT_EQ(inThePause, 0) << "the read lets its files go before its pause";
    EXPECT_EQ(descriptorsOfTheData(), 0);

    mBetweenThePasses = nullptr;
    EXPECT_EQ(count(1000, 3009), 30);
    EXPECT_EQ(descriptorsOfTheData(), 0);
}

TEST_F(ReadSessionApiTest, TheTimeFileListJoinsTheCallersSessionAndOtherwiseEndsItsOwn)
{
    const auto first = addFile(10, 1000);
    const auto second = addFile(10, 2000, 1, 10);
    const std::shared_ptr<DefnBaseType> type = mFrame.readBaseType(LoggerType::CYCLIC, mType->Id);
    ASSERT_NE(type, nullptr);
    CountingFileIo io;
    const auto readEach = [&](const std::vector<std::shared_ptr<LoggerFileInfo>>& files) {
        int items = 0;
        for (const auto& file : files) {
            std::vector<char> buffer(static_cast<size_t>(kItems * kBlock), kUntouched);
            int firstItemIndex = 0;
            items += LoggerFileSystem::readData(file.get(), at(1000), at(2009), -1, kBlock, buffer.data(),
                                                firstItemIndex) /
                     kBlock;
        }
        return items;
    };

    FileListInfo info;
    info.itemSize = kBlock;
    const auto alone = mFrame.getTimeFileList(type, at(1000), at(2009), -1, info);
    ASSERT_EQ(alone.size(), 2u);
    EXPECT_EQ(descriptorsOfTheData(), 0) << "a list without a caller's session closes what it opened";
    EXPECT_EQ(readEach(alone), 20);
    EXPECT_EQ(io.opens(pathOf(first)), 2);
    EXPECT_EQ(io.opens(pathOf(second)), 2);

    io.clear();
    {
        LoggerReadSession session;
        const auto joined = mFrame.getTimeFileList(type, at(1000), at(2009), -1, info);
        ASSERT_EQ(joined.size(), 2u);
        EXPECT_EQ(descriptorsOfTheData(), 2) << "the caller's session keeps the list's opens";
        EXPECT_EQ(readEach(joined), 20);
    }
    EXPECT_EQ(io.opens(pathOf(first)), 1);
    EXPECT_EQ(io.opens(pathOf(second)), 1);
    EXPECT_EQ(descriptorsOfTheData(), 0);
}

TEST_F(ReadSessionApiTest, AFileRemovedBetweenThePassesEndsTheReadWithWhatWasRead)
{
    addFile(10, 1000);
    const auto removed = addFile(10, 2000, 1, 10);
    addFile(10, 3000, 1, 20);
    mBetweenThePasses = [&] { ASSERT_TRUE(QFile::remove(pathOf(removed))); };

    const auto result = read(1000, 3009);

    ASSERT_NE(result, nullptr);
    EXPECT_EQ(seconds(result), span(1000, 1009));
    EXPECT_EQ(descriptorsOfTheData(), 0);
}

// The writer's rewrite of its last item in place (LoggerBase::updateDatas) keeps the file's
// size. A rewrite between the passes with a later time moves that item out of the range; the
// read pass must search the file as it is then, not answer from the sizing pass's search.
TEST_F(ReadSessionApiTest, AnItemRewrittenInPlaceBetweenThePassesWithALaterTimeIsNotRead)
{
    const auto info = addFile(10, 1000);
    const DataFileBuilder& builder = mBuilders.back();
    const QString path = pathOf(info);
    mBetweenThePasses = [&] {
        ASSERT_TRUE(FileFaults::overwriteAt(path, builder.offsetOf(9),
                                            DataFileBuilder::itemBytes(kBlock, DataTimespec{1012, 0}, 9)));
    };

    const auto result = read(1000, 1010);

    ASSERT_NE(result, nullptr);
    EXPECT_EQ(seconds(result), span(1000, 1008)) << "the item now at 1012 lies after the range";
    for (int index = 0; index < std::min(result->mNumItems, 9); ++index)
        EXPECT_EQ(hex(itemBytes(result, index)), hex(builder.itemBytes(index))) << index;
}

// Without a bound, a read holds every file of its range open at once. A logger of a file a day
// holds more files in a range of some years than a process may have open; the read must still
// give every item of them. The descriptors left are more than a read keeps open, so that the
// process never runs out of them: the sanitizers' own checks need descriptors too.
TEST_F(ReadSessionApiTest, AReadOverMoreFilesThanTheProcessMayStillOpenGivesEveryItem)
{
    constexpr int kFiles = 96;
    constexpr int kFree = 48; // descriptors left to open beyond those open now
    for (int file = 0; file < kFiles; ++file)
        addFile(2, 1000 + 10 * file, 1, 2 * file);
    std::vector<int32_t> expected;
    for (int file = 0; file < kFiles; ++file) {
        expected.push_back(1000 + 10 * file);
        expected.push_back(1000 + 10 * file + 1);
    }
    const int limitLeavingSome = descriptorLimitLeaving(kFree);
    ASSERT_GT(limitLeavingSome, 0);

    std::shared_ptr<VtqResult> result;
    {
        LoweredDescriptorLimit limit(static_cast<rlim_t>(limitLeavingSome));
        ASSERT_TRUE(limit.isLowered());
        result = read(1000, 1000 + 10 * kFiles);
    }

    ASSERT_NE(result, nullptr);
    EXPECT_EQ(result->mNumItems, 2 * kFiles);
    EXPECT_EQ(seconds(result), expected);
    EXPECT_EQ(descriptorsOfTheData(), 0);
}
