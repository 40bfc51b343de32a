// Fuzz target of the data-file layer. An input is a control block (DataFileFuzzInput.h) that
// chooses one operation of LoggerFileSystem with its times, counts, block and element sizes and
// the sizes of the file info, followed by the bytes of the data file it works on. The file is
// written under a private root for each input, and the operation runs on it as a reader or the
// writer would call it: read operations get exactly the buffer that their own sizing answer
// asks for, so that AddressSanitizer sees every byte written or read beyond it.
//
// Besides the sanitizers the target checks what each operation promises and aborts where an
// answer breaks it: positions on items, sizes in whole items and within the file, item numbers
// that wrap in two's complement, buffer bytes that are the file's bytes or zeros, refusals of
// negative counts and positions as -1, 0 or false.
//
// The same entry point runs without libFuzzer: a small driver replays the seed corpus through
// it in the normal and in the sanitizer build.

#include "DataFileFuzzInput.h"

#include "LoggerFileInfo.h"
#include "LoggerFileIo.h"
#include "LoggerFileSystem.h"
#include "LoggerHeader.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QtGlobal>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <vector>

namespace {

using namespace DataFileFuzzInput;

#define FUZZ_CHECK(condition)                                                                                \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            std::fprintf(stderr, "DataFileFuzzer: %s failed at line %d\n", #condition, __LINE__);            \
            std::abort();                                                                                    \
        }                                                                                                    \
    } while (false)

constexpr int32_t kCreatedSec = 1783036800; // 2026-07-03 00:00:00 UTC
constexpr int32_t kBaseTypeId = 7;
constexpr unsigned char kUntouched = 0xAB; // what a buffer holds before an operation fills it

// A private data root for the process: every input writes its file anew, so it lies on
// /dev/shm where there is one. It goes with everything in it when the process ends normally; a
// finding ends the process at once, so a runner names a folder of its own for the roots in
// QZLOGGER_FUZZ_TMPDIR and removes that.
class FuzzRoot {
public:
    FuzzRoot()
    {
        const QByteArray parent = qEnvironmentVariableIsSet("QZLOGGER_FUZZ_TMPDIR")
                                      ? qgetenv("QZLOGGER_FUZZ_TMPDIR")
                                  : QDir("/dev/shm").exists() ? QByteArray("/dev/shm")
                                                              : QDir::tempPath().toLocal8Bit();
        QByteArray pattern = parent + "/qzlogger-fuzz-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            std::perror("DataFileFuzzer: mkdtemp");
            std::abort();
        }
        mPath = QString::fromLocal8Bit(pattern);
        LoggerFileSystem::setPath(mPath + "/data");
        // Qt's warnings about seeks on closed files are expected here and would only slow the
        // run down.
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    }
    ~FuzzRoot() { QDir(mPath).removeRecursively(); }
    QString exportFile() const { return mPath + "/export.raw"; }
    FuzzRoot(const FuzzRoot&) = delete;
    FuzzRoot& operator=(const FuzzRoot&) = delete;

private:
    QString mPath;
};

FuzzRoot& fuzzRoot()
{
    static FuzzRoot root;
    return root;
}

// Cuts the file to a given length at the Nth positioned read of an operation: a file that
// eviction or a writer's repair shortens while a reader is inside it.
class CuttingFileIo : public LoggerFileIo {
public:
    CuttingFileIo(const QByteArray& path, int cutAtRead, off_t length)
        : mPath(path), mCutAtRead(cutAtRead), mLength(length)
    {
    }

    ssize_t pread(int descriptor, void* buffer, size_t length, off_t position) override
    {
        if (++mReads == mCutAtRead && ::truncate(mPath.constData(), mLength) != 0) {
            std::perror("DataFileFuzzer: truncate");
            std::abort();
        }
        return LoggerFileIo::pread(descriptor, buffer, length, position);
    }

    bool hasCut() const { return mReads >= mCutAtRead; }

private:
    QByteArray mPath;
    int mCutAtRead;
    off_t mLength;
    int mReads = 0;
};

// What the file held when the operation began.
struct FileModel {
    bool exists = false;
    const uint8_t* bytes = nullptr;
    int64_t size = 0;

    // The byte at offset, 0 past the end as a read that comes back short leaves it.
    uint8_t at(int64_t offset) const { return offset >= 0 && offset < size ? bytes[offset] : 0; }
    int32_t word(int64_t offset) const
    {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i)
            value |= static_cast<uint32_t>(at(offset + i)) << (8 * i);
        return static_cast<int32_t>(value);
    }
    // The header's unique id as a reader gets it: -1 where the file is too short to hold one.
    int32_t uniqueId() const { return exists && size >= 36 ? word(32) : -1; }
};

// base + offset taken modulo 2^32 into the range of an int, worked out as a plain number.
int32_t wrapped(int32_t base, int64_t offset)
{
    constexpr int64_t kModulus = int64_t(1) << 32;
    int64_t value = (static_cast<int64_t>(base) + offset % kModulus) % kModulus;
    if (value < 0)
        value += kModulus;
    return static_cast<int32_t>(value > INT32_MAX ? value - kModulus : value);
}

timespec timeOf(int32_t sec, int32_t nsec)
{
    timespec time{};
    time.tv_sec = sec;
    time.tv_nsec = nsec;
    return time;
}

class Run {
public:
    Run(const Control& control, const uint8_t* fileBytes, size_t fileSize)
        : mControl(control), mOperation(static_cast<Operation>(control.operation % OperationCount)),
          mStart(timeOf(control.startSec, control.startNsec)), mEnd(timeOf(control.endSec, control.endNsec))
    {
        mBlockSize = (control.flags & RawBlockSize) != 0
                         ? control.blockSize
                         : kBlockSizes[control.blockSizeChoice % kBlockSizeChoices];
        mInfo.UtcCreated = DataTimespec{kCreatedSec, 0};
        mInfo.DataType = LoggerDataType::MEAN;
        mInfo.GuidLow = 0x1234ABCD;
        mInfo.GuidHigh = 0x0BADF00D;
        mInfo.mType = LoggerType::CYCLIC;
        mInfo.HeaderSize = (control.flags & RawFileInfoSizes) != 0 ? control.headerSize : kLoggerHeaderSize;
        mInfo.DataBlockSize = (control.flags & RawFileInfoSizes) != 0 ? control.dataBlockSize : mBlockSize;
        mFileName = LoggerFileSystem::getFullFileName(&mInfo).toLocal8Bit();
        mFile.exists = (control.flags & RemoveFirst) == 0;
        mFile.bytes = fileBytes;
        mFile.size = mFile.exists ? static_cast<int64_t>(fileSize) : 0;
    }

    void prepareFile()
    {
        if (!mFile.exists) {
            ::unlink(mFileName.constData());
            return;
        }
        static bool folderMade = false;
        if (!folderMade) {
            const QDate day = LoggerFileSystem::getDateTime(&mInfo).date();
            FUZZ_CHECK(LoggerFileSystem::createFolder(day.year(), day.month(), day.day()));
            folderMade = true;
        }
        const int descriptor = ::open(mFileName.constData(), O_WRONLY | O_CREAT | O_TRUNC, 0660);
        FUZZ_CHECK(descriptor >= 0);
        int64_t done = 0;
        while (done < mFile.size) {
            const ssize_t result =
                ::write(descriptor, mFile.bytes + done, static_cast<size_t>(mFile.size - done));
            FUZZ_CHECK(result > 0);
            done += result;
        }
        ::close(descriptor);
    }

    void operator()()
    {
        prepareFile();
        if ((mControl.flags & NullFileInfo) != 0) {
            withoutFileInfo();
            return;
        }
        switch (mOperation) {
        case GetUtcPosition: getUtcPosition(); break;
        case GetBufferSize: getBufferSize(); break;
        case GetNumItems: getNumItems(); break;
        case GetEventBufferSize: getEventBufferSize(); break;
        case ReadUtcRange: readUtcRange(); break;
        case ReadData: readData(); break;
        case ReadSingleDataElements: readSingleDataElements(); break;
        case ReadEventData: readEventData(); break;
        case GetUniqueId: getUniqueId(); break;
        case ReadHeaderOfFileInfo: readHeaderOfFileInfo(); break;
        case ReadHeaderOfOpenFile: readHeaderOfOpenFile(); break;
        case OpenFile: openFile(); break;
        case ReopenFile: reopenFile(); break;
        case UpdateData: updateData(); break;
        case FileCounts: fileCounts(); break;
        case WriteExportFile: writeExportFile(); break;
        case OperationCount: break;
        }
    }

private:
    // The items that the binary search sees with a block size: none where the file info's
    // header lies outside the file.
    int64_t searchableItems(int32_t blockSize) const
    {
        const int64_t headerSize = mInfo.HeaderSize;
        if (!mFile.exists || blockSize <= 0 || headerSize < 0 || mFile.size <= headerSize)
            return 0;
        return (mFile.size - headerSize) / blockSize;
    }

    // The search reads the first and the last item's time stamp before anything else; where
    // either lies partly past the end of the file (items shorter than a time stamp), it fails.
    bool searchCanRead(int32_t blockSize) const
    {
        const int64_t items = searchableItems(blockSize);
        return items > 0 && mInfo.HeaderSize + (items - 1) * blockSize + 8 <= mFile.size;
    }

    bool isItemOffset(int64_t position, int32_t blockSize) const
    {
        const int64_t items = searchableItems(blockSize);
        const int64_t headerSize = mInfo.HeaderSize;
        return items > 0 && position >= headerSize && (position - headerSize) % blockSize == 0 &&
               (position - headerSize) / blockSize < items;
    }

    // Every operation under test runs with the cutting file layer where the control asks for it.
    template <typename F> auto underTest(F operation)
    {
        std::unique_ptr<CuttingFileIo> cut;
        if (mControl.cutAtRead != 0 && mFile.exists) {
            const off_t length = static_cast<off_t>(static_cast<uint32_t>(mControl.cutLength) %
                                                    static_cast<uint64_t>(mFile.size + 1));
            cut = std::make_unique<CuttingFileIo>(mFileName, mControl.cutAtRead, length);
        }
        LoggerFileIo* previous = LoggerFileIo::install(cut.get());
        auto result = operation();
        LoggerFileIo::install(previous);
        mCutSeen = cut && cut->hasCut();
        return result;
    }

    // Without a cut the operation saw the file as it was written; with one, bytes read after
    // the cut are zeros, and searches that hit it fail.
    bool wasExact() const { return !mCutSeen; }

    // Bytes of a buffer that an operation filled from file offset `from` on: the file's bytes,
    // or zeros where the file ended before them or was cut under the read.
    void expectFileBytes(const char* buffer, int64_t length, int64_t from) const
    {
        for (int64_t i = 0; i < length; ++i) {
            const uint8_t got = static_cast<uint8_t>(buffer[i]);
            const uint8_t expected = mFile.at(from + i);
            FUZZ_CHECK(got == expected || (!wasExact() && got == 0));
        }
    }

    static std::unique_ptr<char[]> untouchedBuffer(int64_t size)
    {
        FUZZ_CHECK(size >= 0 && size <= INT32_MAX);
        std::unique_ptr<char[]> buffer(new char[static_cast<size_t>(size)]);
        std::memset(buffer.get(), kUntouched, static_cast<size_t>(size));
        return buffer;
    }

    void getUtcPosition()
    {
        const bool upper = (mControl.flags & Upper) != 0;
        const int position =
            underTest([&] { return LoggerFileSystem::getUtcPosition(&mInfo, mStart, mBlockSize, upper); });
        FUZZ_CHECK(position == -1 || isItemOffset(position, mBlockSize));
        if (wasExact())
            FUZZ_CHECK((position >= 0) == searchCanRead(mBlockSize));
    }

    // The range rule from the two searches, as the range operations must apply it.
    int64_t rangeSize(int maxItems)
    {
        const int64_t startPosition = LoggerFileSystem::getUtcPosition(&mInfo, mStart, mBlockSize, true);
        const int64_t endPosition = LoggerFileSystem::getUtcPosition(&mInfo, mEnd, mBlockSize, false);
        FUZZ_CHECK((startPosition < 0) == (endPosition < 0));
        if (startPosition < 0)
            return 0;
        int64_t size = endPosition - startPosition + mBlockSize;
        const int64_t limit = static_cast<int64_t>(maxItems) * mBlockSize;
        if (limit >= 0 && size > limit)
            size = limit;
        return size;
    }

    void expectRangeSize(int64_t size, int maxItems)
    {
        const int64_t items = searchableItems(mBlockSize);
        if (mBlockSize <= 0 || items == 0) {
            FUZZ_CHECK(size == 0);
            return;
        }
        FUZZ_CHECK(size % mBlockSize == 0);
        FUZZ_CHECK(size <= items * mBlockSize && size >= -items * mBlockSize);
        if (maxItems >= 0)
            FUZZ_CHECK(size <= static_cast<int64_t>(maxItems) * mBlockSize);
        FUZZ_CHECK(size == rangeSize(maxItems));
    }

    void getBufferSize()
    {
        const int size = underTest([&] {
            return LoggerFileSystem::getBufferSize(&mInfo, mStart, mEnd, mControl.count, mBlockSize);
        });
        if (wasExact())
            expectRangeSize(size, mControl.count);
        else
            FUZZ_CHECK(size == 0 || std::abs(static_cast<int64_t>(size)) <= mFile.size);
    }

    void getNumItems()
    {
        const int items = underTest(
            [&] { return LoggerFileSystem::getNumItems(&mInfo, mStart, mEnd, mControl.count, mBlockSize); });
        if (!wasExact())
            return;
        if (mBlockSize <= 0) {
            FUZZ_CHECK(items == 0);
            return;
        }
        const int bytes = LoggerFileSystem::getBufferSize(&mInfo, mStart, mEnd, mControl.count, mBlockSize);
        FUZZ_CHECK(static_cast<int64_t>(items) * mBlockSize == bytes);
    }

    void getEventBufferSize()
    {
        const int count = mControl.count;
        const int size = underTest(
            [&] { return LoggerFileSystem::getEventBufferSize(&mInfo, count, mStart, mBlockSize); });
        FUZZ_CHECK(size >= 0);
        if (!wasExact())
            return;
        const int64_t items = searchableItems(mBlockSize);
        if (count <= 0 || !searchCanRead(mBlockSize)) {
            FUZZ_CHECK(size == 0);
            return;
        }
        FUZZ_CHECK(size % mBlockSize == 0);
        FUZZ_CHECK(size <= std::min<int64_t>(count, items) * mBlockSize);
        // count items that end at the item of the time, or as many as there are before it.
        const int64_t position = LoggerFileSystem::getUtcPosition(&mInfo, mStart, mBlockSize, false);
        const int64_t item = (position - mInfo.HeaderSize) / mBlockSize;
        FUZZ_CHECK(size == std::min<int64_t>(count, item + 1) * mBlockSize);
    }

    void readUtcRange()
    {
        timespec first = timeOf(-7, -7);
        timespec last = timeOf(-7, -7);
        const bool read = underTest([&] { return LoggerFileSystem::readUtcRange(&mInfo, first, last); });
        const int64_t headerSize = mInfo.HeaderSize;
        const int32_t blockSize = mInfo.DataBlockSize;
        const int64_t items = mFile.exists && blockSize > 0 && headerSize >= 0 && mFile.size > headerSize
                                  ? (mFile.size - headerSize) / blockSize
                                  : 0;
        if (!wasExact())
            return;
        FUZZ_CHECK(read == (items > 0));
        if (!read) {
            FUZZ_CHECK(first.tv_sec == -7 && last.tv_sec == -7);
            return;
        }
        // A time stamp that cannot be read whole is left as far as it was read, from zeros.
        const auto expectStamp = [&](const timespec& time, int64_t offset) {
            FUZZ_CHECK(time.tv_sec == mFile.word(offset) && time.tv_nsec == mFile.word(offset + 4));
        };
        expectStamp(first, headerSize);
        expectStamp(last, headerSize + (items - 1) * blockSize);
    }

    // The item number that a range read reports for the item at `position`.
    int32_t itemNumberAt(int64_t position) const
    {
        return wrapped(mFile.uniqueId(), (position - mInfo.HeaderSize) / mBlockSize);
    }

    void readData()
    {
        const int maxItems = mControl.count;
        // The reader's way: size, allocate exactly that, read.
        const int bufferSize = LoggerFileSystem::getBufferSize(&mInfo, mStart, mEnd, maxItems, mBlockSize);
        const int64_t startPosition = LoggerFileSystem::getUtcPosition(&mInfo, mStart, mBlockSize, true);
        const auto buffer = untouchedBuffer(std::max(bufferSize, 0));
        int firstItemIndex = -7;
        const int bytes = underTest([&] {
            return LoggerFileSystem::readData(&mInfo, mStart, mEnd, maxItems, mBlockSize, buffer.get(),
                                              firstItemIndex);
        });
        if (!mFile.exists || mBlockSize <= 0) {
            FUZZ_CHECK(bytes == -1);
            return;
        }
        FUZZ_CHECK(bytes <= bufferSize || bytes == -1 || bytes == 0);
        if (wasExact())
            FUZZ_CHECK(bytes == bufferSize);
        if (bytes <= 0)
            return;
        if (wasExact())
            FUZZ_CHECK(firstItemIndex == itemNumberAt(startPosition));
        expectFileBytes(buffer.get(), bytes, startPosition);
    }

    void readSingleDataElements()
    {
        const int maxItems = mControl.count;
        const int elementOffset = mControl.elementOffset;
        const int elementSize = mControl.elementSize;
        const int bufferSize = LoggerFileSystem::getBufferSize(&mInfo, mStart, mEnd, maxItems, mBlockSize);
        const int64_t startPosition = LoggerFileSystem::getUtcPosition(&mInfo, mStart, mBlockSize, true);
        const auto buffer = untouchedBuffer(std::max(bufferSize, 0));
        int firstItemIndex = -7;
        const int bytes = underTest([&] {
            return LoggerFileSystem::readSingleDataElements(&mInfo, mStart, mEnd, maxItems, mBlockSize,
                                                            elementOffset, elementSize, buffer.get(),
                                                            firstItemIndex);
        });
        if (!mFile.exists || mBlockSize <= 0 || elementSize <= 0) {
            FUZZ_CHECK(bytes == -1);
            return;
        }
        FUZZ_CHECK(bytes <= bufferSize || bytes == -1 || bytes == 0);
        if (bytes <= 0)
            return;
        FUZZ_CHECK(startPosition + elementOffset >= 0);
        if (wasExact())
            FUZZ_CHECK(bytes == bufferSize && firstItemIndex == itemNumberAt(startPosition));
        // The element of the kth item stands at k times the element size, the last one cut to
        // what the buffer holds.
        int64_t source = startPosition + elementOffset;
        for (int64_t destination = 0; destination < bytes; destination += elementSize) {
            const int64_t length = std::min<int64_t>(elementSize, bytes - destination);
            expectFileBytes(buffer.get() + destination, length, source);
            source += mBlockSize;
        }
    }

    void readEventData()
    {
        int firstItem = mControl.item;
        int maxItems = mControl.count;
        int bufferSize = 0;
        if ((mControl.flags & CallerSizedEvents) != 0) {
            // A page read: the count items that end at the time, sized by getEventBufferSize.
            const int count = mControl.count;
            bufferSize = LoggerFileSystem::getEventBufferSize(&mInfo, count, mEnd, mBlockSize);
            const int64_t position = LoggerFileSystem::getUtcPosition(&mInfo, mEnd, mBlockSize, false);
            const int64_t item = position >= 0 ? (position - mInfo.HeaderSize) / mBlockSize : 0;
            firstItem = static_cast<int>(
                std::min<int64_t>(std::max<int64_t>(item - std::max(count, 0) + 1, 0), INT32_MAX));
        } else {
            // Sized by its own answer without a buffer.
            int unused = 0;
            bufferSize = LoggerFileSystem::readEventData(&mInfo, firstItem, mEnd, mBlockSize, maxItems,
                                                         nullptr, unused);
        }
        const auto buffer = untouchedBuffer(std::max(bufferSize, 0));
        int firstItemIndex = -7;
        const int bytes = underTest([&] {
            return LoggerFileSystem::readEventData(&mInfo, firstItem, mEnd, mBlockSize, maxItems,
                                                   buffer.get(), firstItemIndex);
        });
        if (!mFile.exists || mBlockSize <= 0 || firstItem < 0) {
            FUZZ_CHECK(bytes == -1);
            return;
        }
        FUZZ_CHECK(bytes == -1 || bytes <= std::max(bufferSize, 0));
        if (wasExact())
            FUZZ_CHECK(bytes == bufferSize && firstItemIndex == wrapped(mFile.uniqueId(), firstItem));
        if (bytes > 0)
            expectFileBytes(buffer.get(), bytes,
                            mInfo.HeaderSize + static_cast<int64_t>(mBlockSize) * firstItem);
    }

    void getUniqueId()
    {
        const int uniqueId = underTest([&] { return LoggerFileSystem::getUniqueId(&mInfo); });
        if (wasExact())
            FUZZ_CHECK(uniqueId == mFile.uniqueId());
    }

    static void fillUntouched(LoggerHeader& header) { std::memset(&header, kUntouched, sizeof(header)); }
    static bool isUntouched(const LoggerHeader& header)
    {
        LoggerHeader untouched;
        fillUntouched(untouched);
        return std::memcmp(&header, &untouched, sizeof(header)) == 0;
    }

    void readHeaderOfFileInfo()
    {
        LoggerHeader header;
        fillUntouched(header);
        const bool read = underTest([&] { return LoggerFileSystem::readHeader(&mInfo, header); });
        FUZZ_CHECK(read == mFile.exists);
        if (!wasExact())
            return;
        if (mFile.size >= kLoggerHeaderSize)
            expectFileBytes(reinterpret_cast<const char*>(&header), kLoggerHeaderSize, 0);
        else
            FUZZ_CHECK(isUntouched(header));
    }

    void readHeaderOfOpenFile()
    {
        QFile file(QString::fromLocal8Bit(mFileName));
        const bool opened = file.open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        FUZZ_CHECK(opened == mFile.exists);
        const int64_t position = mControl.count;
        if (opened && position >= 0 && position <= mFile.size)
            FUZZ_CHECK(file.seek(position));
        const int64_t from = file.pos();
        LoggerHeader header;
        fillUntouched(header);
        const bool read = underTest([&] { return LoggerFileSystem::readHeader(file, header); });
        if (!wasExact())
            return;
        FUZZ_CHECK(read ==
                   (opened && mFile.size >= kLoggerHeaderSize && from + kLoggerHeaderSize <= mFile.size));
        if (read) {
            expectFileBytes(reinterpret_cast<const char*>(&header), kLoggerHeaderSize, from);
            FUZZ_CHECK(file.pos() == from + kLoggerHeaderSize);
        } else {
            FUZZ_CHECK(isUntouched(header));
        }
    }

    int64_t fileSizeNow() const
    {
        QFile file(QString::fromLocal8Bit(mFileName));
        return file.exists() ? file.size() : -1;
    }

    void openFile()
    {
        QFile file;
        const bool create = (mControl.flags & Create) != 0;
        const int itemIndex = mControl.item;
        const int uniqueId = mControl.count;
        float parameter1 = 1.0f;
        float parameter2 = 2.0f;
        mInfo.mFilePosition = -7;
        mInfo.mFirstDataItem = false;
        const bool opened = underTest([&] {
            return LoggerFileSystem::openFile(&mInfo, file, itemIndex, kBaseTypeId, create, 0, uniqueId,
                                              parameter1, parameter2);
        });
        const int64_t headerSize = mInfo.HeaderSize;
        const int32_t blockSize = mInfo.DataBlockSize;
        if (headerSize < 0 || blockSize < 0) {
            // A malformed row: refused, and the file stays as it was.
            FUZZ_CHECK(!opened && !file.isOpen() && fileSizeNow() == (mFile.exists ? mFile.size : -1));
            return;
        }
        if (!mFile.exists && !create) {
            FUZZ_CHECK(!opened && !file.isOpen() && fileSizeNow() == -1);
            return;
        }
        if (!opened) {
            FUZZ_CHECK(!file.isOpen());
            return;
        }
        if (!wasExact()) {
            file.close();
            return;
        }
        if (!file.isOpen()) {
            // Made anew: a header of the arguments and nothing else.
            FUZZ_CHECK(fileSizeNow() == kLoggerHeaderSize && mInfo.mFilePosition == kLoggerHeaderSize);
            FUZZ_CHECK(LoggerFileSystem::getUniqueId(&mInfo) == uniqueId);
            return;
        }
        // Open for the writer, placed on an item boundary inside what an int reaches.
        FUZZ_CHECK(blockSize > 0 && headerSize >= 0);
        const int64_t size = file.size();
        const int64_t position = mInfo.mFilePosition;
        FUZZ_CHECK(position >= headerSize && (position - headerSize) % blockSize == 0);
        FUZZ_CHECK(file.pos() == position);
        const int64_t items = (size - headerSize) / blockSize;
        if (itemIndex < 0)
            FUZZ_CHECK(position == headerSize + items * blockSize);
        else
            FUZZ_CHECK(position == headerSize + static_cast<int64_t>(itemIndex) * blockSize);
        FUZZ_CHECK(mInfo.mFirstDataItem == (items == 0));
        file.close();
    }

    void reopenFile()
    {
        QFile file(QString::fromLocal8Bit(mFileName));
        qint64 size = -7;
        const bool opened = underTest([&] { return LoggerFileSystem::reopenFile(&mInfo, file, size); });
        const int64_t headerSize = mInfo.HeaderSize;
        const int32_t blockSize = mInfo.DataBlockSize;
        if (!wasExact()) {
            file.close();
            return;
        }
        const bool expected = mFile.exists && blockSize > 0 && headerSize >= 0 && mFile.size >= headerSize;
        FUZZ_CHECK(opened == expected);
        FUZZ_CHECK(opened == file.isOpen());
        if (!opened)
            return;
        FUZZ_CHECK(size == mFile.size);
        const int64_t items = (mFile.size - headerSize) / blockSize;
        FUZZ_CHECK(mInfo.mFilePosition == headerSize + items * blockSize);
        file.close();
    }

    void updateData()
    {
        QFile file;
        float parameter1 = 1.0f;
        float parameter2 = 2.0f;
        LoggerFileSystem::openFile(&mInfo, file, -1, kBaseTypeId, false, 0, 0, parameter1, parameter2);
        const bool open = file.isOpen();
        const int64_t recorded = mInfo.mFilePosition;
        // The patch is the file's own bytes turned over, so that a write shows.
        const int size =
            std::min<int>(mControl.elementSize, static_cast<int>(std::min<int64_t>(mFile.size, 4096)));
        std::vector<char> patch(static_cast<size_t>(std::max(size, 0)));
        for (size_t i = 0; i < patch.size(); ++i)
            patch[i] = static_cast<char>(~mFile.bytes[i]);
        const int position = mControl.count;
        const bool updated = underTest([&] {
            return LoggerFileSystem::updateData(file, &mInfo, patch.empty() ? nullptr : patch.data(), size,
                                                position);
        });
        if (!mFile.exists) {
            FUZZ_CHECK(!updated);
            return;
        }
        if (!open || !wasExact()) {
            file.close();
            return;
        }
        FUZZ_CHECK(updated == (recorded >= 0));
        if (updated)
            FUZZ_CHECK(file.pos() == recorded);
        file.close();
        if (size > 0 && position >= 0 && position <= (1 << 20)) {
            QFile check(QString::fromLocal8Bit(mFileName));
            FUZZ_CHECK(check.open(QIODevice::ReadOnly));
            FUZZ_CHECK(check.seek(position));
            const QByteArray written = check.read(size);
            FUZZ_CHECK(written == QByteArray(patch.data(), size));
        }
    }

    void fileCounts()
    {
        const int fileSize = LoggerFileSystem::getFileSize(&mInfo);
        const bool hasItems = LoggerFileSystem::hasDataItems(&mInfo);
        const int items = LoggerFileSystem::getNumDataItems(&mInfo);
        const int64_t headerSize = mInfo.HeaderSize;
        const int32_t blockSize = mInfo.DataBlockSize;
        FUZZ_CHECK(fileSize == mFile.size);
        FUZZ_CHECK(hasItems == (headerSize >= 0 && mFile.size > headerSize));
        FUZZ_CHECK(items >= 0);
        FUZZ_CHECK(items == (blockSize > 0 && headerSize >= 0 && mFile.size > headerSize
                                 ? (mFile.size - headerSize) / blockSize
                                 : 0));
    }

    // An export of `count` items of `elementSize` bytes from a buffer that holds exactly them:
    // no item where either is 0 or below.
    void writeExportFile()
    {
        const int itemSize = mControl.elementSize;
        const int count = mControl.count;
        const int64_t bytes = itemSize > 0 && count > 0 ? static_cast<int64_t>(itemSize) * count : 0;
        if (bytes > (1 << 16))
            return;
        const auto data = untouchedBuffer(bytes);
        for (int64_t i = 0; i < bytes; ++i)
            data[i] = static_cast<char>(mFile.at(i % std::max<int64_t>(mFile.size, 1)) ^ (i & 0xFF));
        const QString name = fuzzRoot().exportFile();
        const int written = LoggerFileSystem::writeData(name, itemSize, count, data.get());
        FUZZ_CHECK(written == bytes);
        QFile file(name);
        FUZZ_CHECK(file.open(QIODevice::ReadOnly));
        FUZZ_CHECK(file.readAll() == QByteArray(data.get(), static_cast<int>(bytes)));
        file.close();
        file.remove();
    }

    // Without a file info every operation refuses: -1, 0 or false, and touches nothing.
    void withoutFileInfo()
    {
        const auto buffer = untouchedBuffer(64);
        int firstItemIndex = -7;
        timespec first = timeOf(-7, -7);
        timespec last = first;
        LoggerHeader header;
        fillUntouched(header);
        QFile file;
        qint64 size = -7;
        float parameter1 = 1.0f;
        float parameter2 = 2.0f;
        const int count = mControl.count;
        FUZZ_CHECK(LoggerFileSystem::getUtcPosition(nullptr, mStart, mBlockSize, true) == -1);
        FUZZ_CHECK(LoggerFileSystem::getBufferSize(nullptr, mStart, mEnd, count, mBlockSize) == 0);
        FUZZ_CHECK(LoggerFileSystem::getNumItems(nullptr, mStart, mEnd, count, mBlockSize) == 0);
        FUZZ_CHECK(LoggerFileSystem::getEventBufferSize(nullptr, count, mStart, mBlockSize) == 0);
        FUZZ_CHECK(!LoggerFileSystem::readUtcRange(nullptr, first, last));
        FUZZ_CHECK(LoggerFileSystem::readData(nullptr, mStart, mEnd, count, mBlockSize, buffer.get(),
                                              firstItemIndex) == -1);
        FUZZ_CHECK(LoggerFileSystem::readSingleDataElements(nullptr, mStart, mEnd, count, mBlockSize,
                                                            mControl.elementOffset, mControl.elementSize,
                                                            buffer.get(), firstItemIndex) == -1);
        FUZZ_CHECK(LoggerFileSystem::readEventData(nullptr, mControl.item, mEnd, mBlockSize, count,
                                                   buffer.get(), firstItemIndex) == -1);
        FUZZ_CHECK(LoggerFileSystem::getUniqueId(nullptr) == -1);
        FUZZ_CHECK(!LoggerFileSystem::readHeader(static_cast<LoggerFileInfo*>(nullptr), header));
        FUZZ_CHECK(!LoggerFileSystem::openFile(nullptr, file, mControl.item, kBaseTypeId,
                                               (mControl.flags & Create) != 0, 0, count, parameter1,
                                               parameter2));
        FUZZ_CHECK(!LoggerFileSystem::reopenFile(nullptr, file, size));
        FUZZ_CHECK(!LoggerFileSystem::updateData(file, nullptr, buffer.get(), 8, count));
        FUZZ_CHECK(LoggerFileSystem::getFileSize(nullptr) == -1);
        FUZZ_CHECK(!LoggerFileSystem::hasDataItems(nullptr));
        FUZZ_CHECK(LoggerFileSystem::getNumDataItems(nullptr) == 0);
        FUZZ_CHECK(!file.isOpen() && size == 0 && firstItemIndex == -7 && first.tv_sec == -7 &&
                   last.tv_sec == -7);
        FUZZ_CHECK(isUntouched(header) && parameter1 == 1.0f && parameter2 == 2.0f);
        for (int i = 0; i < 64; ++i)
            FUZZ_CHECK(static_cast<unsigned char>(buffer[i]) == kUntouched);
        // The file on the card is as it was written.
        FUZZ_CHECK(fileSizeNow() == (mFile.exists ? mFile.size : -1));
    }

    const Control mControl;
    const Operation mOperation;
    const timespec mStart;
    const timespec mEnd;
    int32_t mBlockSize = 0;
    LoggerFileInfo mInfo;
    QByteArray mFileName;
    FileModel mFile;
    bool mCutSeen = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzzRoot();
    if (size < kControlSize)
        return 0;
    Run run(controlOf(data), data + kControlSize, size - kControlSize);
    run();
    return 0;
}
